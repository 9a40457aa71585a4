// Lookups.
#include "pb/pb_hold.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_directory_private.h"
#include "usr/usr_private.h"
#include "usr/usr_request_private.h"
#include "usr/usr_text.h"
#include "usr/usr_user_private.h"

#include <usr/usr_lookup.h>

/// A lookup keeps its directory; the request behind it, which the directory and the driver hold as well, does not.
struct usrLookup
{
    pb::Object object;
    pb::Field<usrDirectory> directory;
    pb::Field<usr___Request> request;
    pb::Field<usrUser> user; ///< made when first somebody asks; the directory's monitor guards it
};

PB_TYPE( usrLookup, USR_LOOKUP, usr, usr___LookupFreeFunc, nullptr );

static void usr___LookupFreeFunc( pbObj *obj )
{
    usrLookup *lookup = usrLookupFrom( obj );
    PB_ASSERT( lookup );
    // The directory goes last: nothing of it may be at work for this lookup then.
    pb::poison( lookup->user, lookup->request, lookup->directory );
}

namespace
{

constexpr const char *sipauthKind = "sipauth";

pb::Ref<usr___Request> tryBegin( usrDirectory *directory, trStream *stream, pbStore *arguments )
{
    auto userName = pb::own( pbStoreValueCstr( arguments, "userName", -1 ) );
    if( !userName )
    {
        tr::fail( stream, "[usrLookupTryCreateCstr()] The arguments have no user name." );
        return nullptr;
    }
    auto realm = pb::own( pbStoreValueCstr( arguments, "realm", -1 ) );
    if( realm )
        TR_TEXT_FORMAT( stream, "[usrLookupTryCreateCstr()] userName: %s, realm: %s", userName.get(), realm.get() );
    else
        TR_TEXT_FORMAT( stream, "[usrLookupTryCreateCstr()] userName: %s", userName.get() );
    auto request = pb::own( usr___RequestTryLookup( directory->imp, stream, userName, realm ) );
    if( !request )
        tr::fail( stream, "[usrLookupTryCreateCstr()] Too many lookups and queries are open." );
    return request;
}

} // namespace

usrLookup *usrLookupTryCreateCstr( usrDirectory *directory, const char *kind, int64_t kindLength, pbStore *arguments,
                                   int64_t flags, trAnchor *anchor )
{
    PB_ASSERT( directory );
    PB_ASSERT( kind );
    PB_ASSERT( kindLength >= -1 );
    PB_ASSERT( arguments );
    PB_ASSERT( !flags );
    auto stream = tr::begin( "USR_LOOKUP", anchor );
    if( !usr___TextIs( kind, kindLength, sipauthKind ) )
    {
        tr::fail( stream, "[usrLookupTryCreateCstr()] The directory does not know this kind of lookup." );
        return nullptr;
    }
    pb::Ref<usr___Request> request = tryBegin( directory, stream, arguments );
    if( !request )
        return nullptr;
    auto lookup = pb::create<usrLookup>( usrLookupSort() );
    lookup->directory = pb::share( directory );
    lookup->request = request;
    return lookup.give();
}

pbBool usrLookupEnd( usrLookup *lookup )
{
    PB_ASSERT( lookup );
    return usr___RequestEnded( lookup->request );
}

void usrLookupEndAddSignalable( usrLookup *lookup, pbSignalable *signalable )
{
    PB_ASSERT( lookup );
    usr___RequestEndAddSignalable( lookup->request, signalable );
}

void usrLookupEndDelSignalable( usrLookup *lookup, pbSignalable *signalable )
{
    PB_ASSERT( lookup );
    usr___RequestEndDelSignalable( lookup->request, signalable );
}

usrUser *usrLookupResult( usrLookup *lookup )
{
    PB_ASSERT( lookup );
    if( !usrLookupHasResult( lookup ) )
        return nullptr;
    usr___Request *request = lookup->request;
    pb::Hold hold( request->imp->monitor );
    if( !lookup->user )
        lookup->user = pb::own( usr___UserCreateWithCredentials( lookup->directory, request->userId,
                                                                 request->credentials, request->decoy ) );
    return lookup->user.shareOut();
}

pbBool usrLookupHasResult( usrLookup *lookup )
{
    PB_ASSERT( lookup );
    return usr___RequestEnded( lookup->request ) && lookup->request->userId;
}
