// A driver for tests, "fake": it does with each request what the test says, or keeps it for the test to answer.
#ifndef USR_FAKE_DRIVER_H
#define USR_FAKE_DRIVER_H

#include "pb/pb_process_object.h"
#include "pb/pb_simulation.h"
#include "support/text.h"
#include "usr/usr_driver.h"

#include <pb/pb_signal.h>
#include <pb/pb_timer.h>
#include <tr/tr_recorder.h>
#include <usr/usr_lookup.h>
#include <usr/usr_query.h>

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <vector>

namespace fake
{

using pb::own;
using support::string;
using support::textOf;

/// A lookup (with a user name) or query (with a user id) that the driver got.
struct Call
{
    pb::Ref<usr___Request> request;
    std::string label; ///< the key "label" of the configuration of the driver's object
    std::string userName;
    std::string realm; ///< "(null)" when there is none
    std::string userId;
};

/// What the one fake driver of a test does and has seen. Calls may come from several threads.
struct State
{
    std::mutex mutex;
    std::function<void( const Call &call )> onCall; ///< without it calls are kept
    std::vector<Call> calls;
    std::vector<std::string> closed; ///< labels, in order
    std::function<void( const std::string &label )> onClose;
};

inline State *state = nullptr;

inline std::string labelOf( pbObj *driver )
{
    return textOf( pbStoreValueCstr( pbStoreFrom( driver ), "label", -1 ) );
}

inline void take( Call call )
{
    if( state->onCall )
        return state->onCall( call );
    std::lock_guard lock( state->mutex );
    state->calls.push_back( std::move( call ) );
}

inline pbObj *tryCreate( pbStore *config, trStream *, pbString **reason )
{
    if( pbStoreValueTypeCstr( config, "broken", -1 ) == PB_STORE_TYPE_INVALID )
        return pbStoreObj( pbStoreRetain( config ) );
    *reason = pbStringCreateFromCstr( "broken: is broken", -1 );
    return nullptr;
}

inline void close( pbObj *driver )
{
    if( state->onClose )
        state->onClose( labelOf( driver ) );
    std::lock_guard lock( state->mutex );
    state->closed.push_back( labelOf( driver ) );
}

inline void lookup( pbObj *driver, usr___Request *request, pbString *userName, pbString *realm )
{
    take( { pb::share( request ), labelOf( driver ), pb::text( userName ), pb::text( realm ), "" } );
}

inline void query( pbObj *driver, usr___Request *request, pbString *userId )
{
    take( { pb::share( request ), labelOf( driver ), "", "", pb::text( userId ) } );
}

inline constexpr usr___Driver driver = {
    .name = "fake",
    .tryCreate = tryCreate,
    .close = close,
    .lookup = lookup,
    .query = query,
    .add = nullptr,
    .setPassword = nullptr,
    .setEnabled = nullptr,
    .remove = nullptr,
    .list = nullptr,
};

/// Answers a call with the user "alice".
inline void answer( const Call &call, const char *password = "secret" )
{
    auto credentials = own( usr___CredentialsStore( string( "alice" ), string( password ) ) );
    usr___RequestEnd( call.request, string( "id-alice" ), credentials );
}

/// What sets the key of a store, for configurations and arguments in one expression.
class Store
{
public:
    Store &set( const char *key, const char *value )
    {
        pbStoreSetValueCstr( store_.inout(), key, -1, string( value ) );
        return *this;
    }
    Store &set( const char *key, int64_t value )
    {
        pbStoreSetValueIntCstr( store_.inout(), key, -1, value );
        return *this;
    }
    Store &set( const char *key, bool value )
    {
        pbStoreSetValueBoolCstr( store_.inout(), key, -1, value );
        return *this;
    }
    Store &set( const char *key, const Store &value )
    {
        pbStoreSetStoreCstr( store_.inout(), key, -1, value );
        return *this;
    }
    operator pbStore *() const { return store_; }

private:
    pb::Ref<pbStore> store_ = own( pbStoreCreate() );
};

inline pb::Ref<usrLookup> lookupIn( usrDirectory *directory, const char *userName, const char *realm = nullptr )
{
    Store arguments;
    arguments.set( "userName", userName );
    if( realm )
        arguments.set( "realm", realm );
    return own( usrLookupTryCreateCstr( directory, "sipauth", -1, arguments, 0, nullptr ) );
}

inline pb::Ref<usrQuery> queryOf( usrUser *user )
{
    return own( usrQueryCreateCstr( user, "sipauthCredentials", -1, own( pbStoreCreate() ), nullptr ) );
}

/// The id of the user whom a lookup found, "(null)" when there is none.
inline std::string idOf( usrLookup *lookup )
{
    auto user = own( usrLookupResult( lookup ) );
    return user ? textOf( usrUserId( user ) ) : "(null)";
}

/// The password in a query's answer, as it stands there.
inline std::string passwordOf( usrQuery *query )
{
    auto store = own( pbStoreFrom( usrQueryResult( query ) ) );
    return store ? textOf( pbStoreValueCstr( store, "passwordBase64", -1 ) ) : "(null)";
}

/// A test with the driver registered and everything traced.
class Driven : public testing::Test
{
protected:
    Driven()
    {
        state = &state_;
        usr___DriverRegister( &driver );
        trSetRecorder( recorder );
    }
    ~Driven() override
    {
        trSetRecorder( nullptr );
        usr___DriverUnregister( &driver );
        state = nullptr;
    }

    pb::Ref<usrDirectory> directory( Store config = {} )
    {
        config.set( "driver", "fake" );
        return own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    }

    std::vector<std::string> texts( const char *stream )
    {
        auto lines = own( trRecorderTextsCstr( recorder, stream, -1 ) );
        std::vector<std::string> result;
        for( int64_t index = 0; index < pbVectorLength( lines ); index++ )
            result.push_back( textOf( pbStringFrom( pbVectorObjAt( lines, index ) ) ) );
        return result;
    }

    State state_;
    pb::Ref<trRecorder> recorder = own( trRecorderCreateMemory() );
};

/// The same on a simulated scheduler.
class Simulated : public Driven
{
protected:
    Simulated() { pbSchedulerSetCurrent( simulation ); }
    ~Simulated() override
    {
        run();
        pbSchedulerSetCurrent( nullptr );
        pbSchedulerStop( simulation );
    }

    void run()
    {
        while( pb___SimulationStep( simulation ) )
            ;
    }

    void pass( int64_t milliseconds )
    {
        pb___SimulationAdvance( simulation, milliseconds );
        run();
    }

    bool timerIsIdle() { return pb___SimulationNextTimer( simulation ) == -1; }

    pb::Ref<pbScheduler> simulation = own( pb___SimulationCreate( 20261121, -1 ) );
};

/// A process that counts how often it was woken.
class Waiter
{
public:
    ~Waiter() { pbProcessHalt( process_ ); }
    pbSignalable *signalable() { return signalable_; }
    int woken() const { return woken_; }

private:
    static void count( void *waiter ) { static_cast<Waiter *>( waiter )->woken_++; }

    int woken_ = 0;
    pb::Ref<pbProcess> process_ = own( pbProcessCreate( count, this, "waiter" ) );
    pb::Ref<pbSignalable> signalable_ = own( pbSignalableCreateWithProcess( process_ ) );
};

} // namespace fake

#endif
