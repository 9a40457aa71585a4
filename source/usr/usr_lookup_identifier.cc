// Lookups by reference: they end as they begin.
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_private.h"
#include "usr/usr_request_private.h"

#include <cs/cs_object.h>
#include <cs/cs_object_record.h>
#include <usr/usr_lookup_identifier.h>

struct usrLookupIdentifier
{
    pb::Object object;
    pb::Field<usrUser> user;
};

PB_TYPE( usrLookupIdentifier, USR_LOOKUP_IDENTIFIER, usr, usr___LookupIdentifierFreeFunc, nullptr );

static void usr___LookupIdentifierFreeFunc( pbObj *obj )
{
    usrLookupIdentifier *lookup = usrLookupIdentifierFrom( obj );
    PB_ASSERT( lookup );
    pb::poison( lookup->user );
}

namespace
{

// A reference from a configuration may name anything.
pb::Ref<usrDirectory> directoryWithName( pbString *name )
{
    if( !csObjectRecordNameOk( name ) )
        return nullptr;
    return pb::own( usrDirectoryFrom( csObject( name, usrDirectorySort() ) ) );
}

} // namespace

usrLookupIdentifier *usrLookupIdentifierTryCreateWithReference( usrReference *reference, trAnchor *anchor )
{
    PB_ASSERT( reference );
    auto stream = tr::begin( "USR_LOOKUP_IDENTIFIER", anchor );
    auto name = pb::own( usrReferenceDirectoryName( reference ) );
    auto userId = pb::own( usrReferenceUserId( reference ) );
    TR_TEXT_FORMAT( stream, "[usrLookupIdentifierTryCreateWithReference()] directoryName: %s, userId: %s", name.get(),
                    userId.get() );
    if( pbStringLength( userId ) == 0 )
    {
        tr::fail( stream, "[usrLookupIdentifierTryCreateWithReference()] The reference has no user id." );
        return nullptr;
    }
    pb::Ref<usrDirectory> directory = directoryWithName( name );
    if( !directory )
    {
        tr::fail( stream, "[usrLookupIdentifierTryCreateWithReference()] There is no directory of this name." );
        return nullptr;
    }
    auto lookup = pb::create<usrLookupIdentifier>( usrLookupIdentifierSort() );
    lookup->user = pb::own( usrUserCreate( directory, userId ) );
    return lookup.give();
}

pbBool usrLookupIdentifierEnd( usrLookupIdentifier *lookup )
{
    PB_ASSERT( lookup );
    return 1;
}

void usrLookupIdentifierEndAddSignalable( usrLookupIdentifier *lookup, pbSignalable *signalable )
{
    PB_ASSERT( lookup );
    usr___RequestEndAddSignalable( nullptr, signalable );
}

void usrLookupIdentifierEndDelSignalable( usrLookupIdentifier *lookup, pbSignalable *signalable )
{
    PB_ASSERT( lookup );
    usr___RequestEndDelSignalable( nullptr, signalable );
}

usrUser *usrLookupIdentifierResult( usrLookupIdentifier *lookup )
{
    PB_ASSERT( lookup );
    return lookup->user.shareOut();
}

pbBool usrLookupIdentifierHasResult( usrLookupIdentifier *lookup )
{
    PB_ASSERT( lookup );
    return 1;
}
