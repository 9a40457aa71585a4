// Requests: the way of a lookup or query from the directory to its driver and back.
#include "usr/usr_request_private.h"

#include "pb/pb_hold.h"
#include "pb/pb_type.h"
#include "tr/tr_trace.h"
#include "usr/usr_decoy_private.h"
#include "usr/usr_driver.h"
#include "usr/usr_private.h"

#include <algorithm>
#include <iterator>
#include <string_view>

PB_TYPE( usr___Request, USR_REQUEST, usr, usr___RequestFreeFunc, nullptr );

static void usr___RequestFreeFunc( pbObj *obj )
{
    usr___Request *request = usr___RequestFrom( obj );
    PB_ASSERT( request );
    pb::poison( request->imp, request->stream, request->instance, request->endSignal, request->decoyName,
                request->userId, request->credentials );
}

namespace
{

pb::Ref<usr___Request> tryBegin( usr___DirectoryImp *imp, trStream *stream )
{
    PB_ASSERT( imp );
    PB_ASSERT( stream );
    auto request = pb::create<usr___Request>( usr___RequestSort() );
    request->imp = pb::share( imp );
    request->stream = pb::share( stream );
    return usr___DirectoryImpTryOpen( imp, request ) ? request : nullptr;
}

// The answers that say nothing bad of the directory, as whole lines: who watches the trace tells them by their text
// from failures, which are formatted.
struct Told
{
    std::string_view why;
    const char *text;
};
constexpr Told told[] = {
    { usr___notFound, "[usr___RequestEndWithout()] not found" },
    { usr___ambiguous, "[usr___RequestEndWithout()] ambiguous: several realms have this user name" },
    { usr___disabled, "[usr___RequestEndWithout()] disabled" },
    { usr___noPassword, "[usr___RequestEndWithout()] no password" },
};

// A line that makes the stream notable. Failures are written without asking whether somebody records: a watch is told,
// too.
void recordWithout( trStream *stream, const char *why )
{
    const Told *found =
        std::find_if( std::begin( told ), std::end( told ), [&]( const Told &each ) { return each.why == why; } );
    if( found != std::end( told ) )
        return tr::fail( stream, found->text );
    trStreamSetNotable( stream );
    trStreamTextFormatCstr( stream, "[usr___RequestEndWithout()] %lc", -1, why );
}

// What a request came to: a user, or why there is none, or both for a decoy.
struct Outcome
{
    pbString *userId;
    pbStore *credentials;
    const char *why;
};

// The caller holds the directory's monitor. The trace comes first: whoever sees the end finds it told.
void record( usr___Request *request, const Outcome &outcome )
{
    request->decoy = outcome.userId && outcome.why;
    if( !outcome.why )
        TR_TEXT_FORMAT( request->stream, "[usr___RequestEnd()] userId: %s", outcome.userId );
    else
    {
        recordWithout( request->stream, outcome.why );
        if( request->decoy )
            tr::text( request->stream, "[usr___RequestEndWithout()] A decoy takes the user's place." );
    }
    request->userId = pb::share( outcome.userId );
    request->credentials = pb::share( outcome.credentials );
    request->ended.store( true, std::memory_order_release );
}

// False when the request had ended before.
bool end( usr___Request *request, const Outcome &outcome )
{
    usr___DirectoryImp *imp = request->imp;
    pb::Ref<pbSignal> signal;
    pb::Ref<usr___DriverInstance> used; // released without the monitor
    {
        pb::Hold hold( imp->monitor );
        if( usr___RequestEnded( request ) )
            return false;
        record( request, outcome );
        signal = pb::share( request->endSignal.get() );
        usr___DirectoryImpLeave( imp, request );
        used = request->instance.take();
    }
    if( signal )
        pbSignalAssert( signal );
    return true;
}

void answer( usr___Request *request, const Outcome &outcome )
{
    if( !end( request, outcome ) )
        tr::text( request->stream, "[usr___RequestEnd()] An answer after the end was thrown away." );
}

// The signal of a request that is still open, null otherwise; made when CREATE says so.
pb::Ref<pbSignal> openSignal( usr___Request *request, bool create )
{
    if( !request || usr___RequestEnded( request ) )
        return nullptr;
    pb::Hold hold( request->imp->monitor );
    if( usr___RequestEnded( request ) )
        return nullptr;
    if( !request->endSignal && create )
        request->endSignal = pb::own( pbSignalCreate() );
    return pb::share( request->endSignal.get() );
}

} // namespace

usr___Request *usr___RequestTryLookup( usr___DirectoryImp *imp, trStream *stream, pbString *userName, pbString *realm )
{
    PB_ASSERT( userName );
    pb::Ref<usr___Request> request = tryBegin( imp, stream );
    if( !request )
        return nullptr;
    if( request->limits.decoys )
        request->decoyName = pb::share( userName );
    auto instance = pb::share( request->instance.get() );
    instance->driver->lookup( instance->driverObj, request, userName, realm );
    usr___DirectoryImpWait( imp, request, instance );
    return request.give();
}

usr___Request *usr___RequestTryQuery( usr___DirectoryImp *imp, trStream *stream, pbString *userId )
{
    PB_ASSERT( userId );
    pb::Ref<usr___Request> request = tryBegin( imp, stream );
    if( !request )
        return nullptr;
    auto instance = pb::share( request->instance.get() );
    instance->driver->query( instance->driverObj, request, userId );
    usr___DirectoryImpWait( imp, request, instance );
    return request.give();
}

void usr___RequestEnd( usr___Request *request, pbString *userId, pbStore *credentials )
{
    PB_ASSERT( request );
    PB_ASSERT( userId );
    answer( request, { userId, credentials, nullptr } );
}

void usr___RequestEndWithout( usr___Request *request, const char *why )
{
    PB_ASSERT( request );
    PB_ASSERT( why );
    if( !request->decoyName || !usr___DecoyFits( why ) )
        return answer( request, { nullptr, nullptr, why } );
    auto userId = pb::own( usr___DecoyUserId( request->decoyName ) );
    answer( request, { userId, pb::own( usr___DecoyCredentials( request->decoyName ) ), why } );
}

void usr___RequestGiveUp( usr___Request *request, const char *why )
{
    PB_ASSERT( request );
    PB_ASSERT( why );
    end( request, { nullptr, nullptr, why } );
}

pbBool usr___RequestEnded( usr___Request *request )
{
    PB_ASSERT( request );
    return request->ended.load( std::memory_order_acquire );
}

void usr___RequestEndAddSignalable( usr___Request *request, pbSignalable *signalable )
{
    PB_ASSERT( signalable );
    pb::Ref<pbSignal> signal = openSignal( request, true );
    if( !signal )
    {
        signal = pb::own( pbSignalCreate() );
        pbSignalAssert( signal );
    }
    pbSignalAddSignalable( signal, signalable );
}

void usr___RequestEndDelSignalable( usr___Request *request, pbSignalable *signalable )
{
    PB_ASSERT( signalable );
    pb::Ref<pbSignal> signal = openSignal( request, false );
    if( signal )
        pbSignalDelSignalable( signal, signalable );
}
