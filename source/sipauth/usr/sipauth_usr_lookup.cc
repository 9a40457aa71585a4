// Lookups of a user: one lookup of a directory, of this library's own kind.
#include "pb/pb_type.h"
#include "sipauth/base/sipauth_anchor_private.h"
#include "sipauth/sipauth_private.h"
#include "tr/tr_trace.h"

#include <sipauth/sipauth_usr_lookup.h>
#include <usr/usr_lookup.h>

struct sipauthUsrLookup
{
    pb::Object object;
    pb::Field<trStream> stream;
    pb::Field<usrDirectory> directory;
    pb::Field<struct sipauthUsrLookupArguments> args;
    pb::Field<usrLookup> lookup;
};

PB_TYPE( sipauthUsrLookup, SIPAUTH_USR_LOOKUP, sipauth, sipauth___UsrLookupFreeFunc, nullptr );

sipauthUsrLookup *sipauthUsrLookupTryCreate( usrDirectory *directory, struct sipauthUsrLookupArguments *args,
                                             trAnchor *anchor )
{
    PB_ASSERT( directory );
    PB_ASSERT( args );
    auto lookup = pb::create<sipauthUsrLookup>( sipauthUsrLookupSort() );
    lookup->stream = tr::begin( "SIPAUTH_USR_LOOKUP", anchor );
    lookup->directory = pb::share( directory );
    lookup->args = pb::share( args );
    auto store = pb::own( sipauthUsrLookupArgumentsStore( args ) );
    auto lookupAnchor = pb::own( trAnchorCreate( lookup->stream, sipauth::anchorKindPart ) );
    lookup->lookup = pb::own( usrLookupTryCreateCstr( directory, "sipauth", -1, store, 0, lookupAnchor ) );
    if( lookup->lookup )
        return lookup.give();
    tr::fail( lookup->stream, "[sipauthUsrLookupTryCreate()] usrLookupTryCreate(): null" );
    return nullptr;
}

static void sipauth___UsrLookupFreeFunc( pbObj *obj )
{
    sipauthUsrLookup *lookup = sipauthUsrLookupFrom( obj );
    PB_ASSERT( lookup );
    pb::poison( lookup->stream, lookup->directory, lookup->args, lookup->lookup );
}

usrDirectory *sipauthUsrLookupDirectory( sipauthUsrLookup *lookup )
{
    PB_ASSERT( lookup );
    return lookup->directory.shareOut();
}

struct sipauthUsrLookupArguments *sipauthUsrLookupArguments( sipauthUsrLookup *lookup )
{
    PB_ASSERT( lookup );
    return lookup->args.shareOut();
}

void sipauthUsrLookupTraceCompleteAnchor( sipauthUsrLookup *lookup, trAnchor *anchor )
{
    PB_ASSERT( lookup );
    PB_ASSERT( anchor );
    trAnchorComplete( anchor, lookup->stream );
}

pbBool sipauthUsrLookupEnd( sipauthUsrLookup *lookup )
{
    PB_ASSERT( lookup );
    return usrLookupEnd( lookup->lookup );
}

void sipauthUsrLookupEndAddSignalable( sipauthUsrLookup *lookup, pbSignalable *signalable )
{
    PB_ASSERT( lookup );
    usrLookupEndAddSignalable( lookup->lookup, signalable );
}

void sipauthUsrLookupEndDelSignalable( sipauthUsrLookup *lookup, pbSignalable *signalable )
{
    PB_ASSERT( lookup );
    usrLookupEndDelSignalable( lookup->lookup, signalable );
}

usrUser *sipauthUsrLookupResult( sipauthUsrLookup *lookup )
{
    PB_ASSERT( lookup );
    return usrLookupResult( lookup->lookup );
}

pbBool sipauthUsrLookupHasResult( sipauthUsrLookup *lookup )
{
    PB_ASSERT( lookup );
    return usrLookupHasResult( lookup->lookup );
}
