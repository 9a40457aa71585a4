// Limits on what one party may cause.
#include <host/host_limits.h>

#include "host/host_bucket.h"
#include "host/host_private.h"
#include "pb/pb_type.h"

#include <pb/pb_timestamp.h>

namespace
{

using host::BucketShape;
using host::TimeTable;

constexpr int64_t second = 1'000;
constexpr int64_t minute = 60 * second;
constexpr int64_t nanosecondsOfMillisecond = 1'000'000;
constexpr int64_t provenFor = 10 * minute;

// What parties are told apart by, so that one party's keys of different kinds differ.
enum class Kind : uint64_t
{
    network4 = 1,
    network6,
    source4,
    source6,
};

BucketShape shapeOf( hostSettings *settings, int64_t rate, int64_t burst, int64_t period )
{
    return BucketShape::of( hostSettingsValue( settings, rate ), period, hostSettingsValue( settings, burst ) );
}

// The first bytes of an address as a number.
uint64_t leading( const uint8_t *address, int64_t count )
{
    uint64_t number = 0;
    for( int64_t index = 0; index < count; index++ )
        number = number << 8 | address[index];
    return number;
}

// The buckets of one kind of parties.
struct Buckets
{
    BucketShape shape;
    TimeTable table;

    bool hasToken( uint64_t key, int64_t now ) const
    {
        return !shape.limits() || shape.hasToken( table.find( key, now ), now );
    }

    void take( uint64_t key, int64_t now )
    {
        if( shape.limits() )
            table.store( key, shape.take( table.find( key, now ), now ) );
    }

    void fill( uint64_t key ) { table.erase( key ); }

    void change( const BucketShape &newShape, int64_t capacity, int64_t now )
    {
        table =
            table.converted( capacity, now, [&]( int64_t fullAt ) { return newShape.convert( shape, fullAt, now ); } );
        shape = newShape;
    }
};

// All that limits keep; C++ objects, which the object holds by one pointer.
struct State
{
    explicit State( hostSettings *settings );

    uint64_t networkOf( hostPeer *peer ) const;
    uint64_t sourceOf( hostPeer *peer ) const;
    uint64_t addressOf( hostPeer *peer ) const;

    host::KeyMaker keys;
    BucketShape allShape;
    int64_t allFullAt = 0;
    Buckets networks;
    Buckets users;
    Buckets sources;
    TimeTable proven;
    int64_t openLookups = 0;
    int64_t failures = 0;  // of the directory, in a row
    int64_t nextProbe = 0; // when the next check is let through while the directory is unhealthy
};

BucketShape allOf( hostSettings *settings )
{
    return shapeOf( settings, HOST_SETTING_CHALLENGE_RATE, HOST_SETTING_CHALLENGE_BURST, second );
}

BucketShape networksOf( hostSettings *settings )
{
    return shapeOf( settings, HOST_SETTING_NETWORK_CHALLENGE_RATE, HOST_SETTING_NETWORK_CHALLENGE_BURST, second );
}

BucketShape usersOf( hostSettings *settings )
{
    return shapeOf( settings, HOST_SETTING_USER_FAILURE_RATE, HOST_SETTING_USER_FAILURE_BURST, minute );
}

BucketShape sourcesOf( hostSettings *settings )
{
    return shapeOf( settings, HOST_SETTING_SOURCE_FAILURE_RATE, HOST_SETTING_SOURCE_FAILURE_BURST, minute );
}

int64_t partiesOf( hostSettings *settings )
{
    return hostSettingsValue( settings, HOST_SETTING_BUCKETS_MAX );
}

State::State( hostSettings *settings )
    : allShape( allOf( settings ) ), networks{ networksOf( settings ), TimeTable( partiesOf( settings ) ) },
      users{ usersOf( settings ), TimeTable( partiesOf( settings ) ) }, sources{ sourcesOf( settings ),
                                                                                 TimeTable( partiesOf( settings ) ) },
      proven( partiesOf( settings ) )
{
}

uint64_t State::networkOf( hostPeer *peer ) const
{
    const uint8_t *address = hostPeerAddress( peer );
    if( hostPeerIsIpv4( peer ) )
        return keys.ofNumbers( static_cast<uint64_t>( Kind::network4 ), leading( address + 12, 3 ) );
    return keys.ofNumbers( static_cast<uint64_t>( Kind::network6 ), leading( address, 7 ) );
}

uint64_t State::sourceOf( hostPeer *peer ) const
{
    const uint8_t *address = hostPeerAddress( peer );
    if( hostPeerIsIpv4( peer ) )
        return keys.ofNumbers( static_cast<uint64_t>( Kind::source4 ), leading( address + 12, 4 ) );
    return keys.ofNumbers( static_cast<uint64_t>( Kind::source6 ), leading( address, 8 ) );
}

// The whole address: who owns one of a network has not proven to own the others.
uint64_t State::addressOf( hostPeer *peer ) const
{
    const uint8_t *address = hostPeerAddress( peer );
    return keys.ofNumbers( leading( address, 8 ), leading( address + 8, 8 ) );
}

} // namespace

struct hostLimits
{
    pb::Object object;
    State *state;
    pb::Field<hostSettings> settings;
};

PB_TYPE( hostLimits, HOST_LIMITS, host, host___LimitsFreeFunc, nullptr );

static void host___LimitsFreeFunc( pbObj *obj )
{
    hostLimits *limits = hostLimitsFrom( obj );
    PB_ASSERT( limits );
    delete limits->state;
    limits->state = nullptr;
    pb::poison( limits->settings );
}

hostLimits *hostLimitsCreate( hostSettings *settings )
{
    PB_ASSERT( settings );
    auto limits = pb::create<hostLimits>( hostLimitsSort() );
    limits->settings = pb::share( settings );
    limits->state = new State( settings );
    return limits.give();
}

void hostLimitsSetSettings( hostLimits *limits, hostSettings *settings )
{
    PB_ASSERT( limits );
    PB_ASSERT( settings );
    State *state = limits->state;
    int64_t now = host::nanoseconds();
    int64_t parties = partiesOf( settings );
    state->allFullAt = allOf( settings ).convert( state->allShape, state->allFullAt, now );
    state->allShape = allOf( settings );
    state->networks.change( networksOf( settings ), parties, now );
    state->users.change( usersOf( settings ), parties, now );
    state->sources.change( sourcesOf( settings ), parties, now );
    state->proven = state->proven.converted( parties, now, []( int64_t until ) { return until; } );
    limits->settings = pb::share( settings );
}

pbBool hostLimitsTryChallenge( hostLimits *limits, hostPeer *peer )
{
    PB_ASSERT( limits );
    PB_ASSERT( peer );
    State *state = limits->state;
    int64_t now = host::nanoseconds();
    uint64_t network = state->networkOf( peer );
    bool ofAll = !state->allShape.limits() || state->allShape.hasToken( state->allFullAt, now );
    if( !ofAll || !state->networks.hasToken( network, now ) )
        return 0;
    state->allFullAt = state->allShape.take( state->allFullAt, now );
    state->networks.take( network, now );
    return 1;
}

pbBool hostLimitsMayCheck( hostLimits *limits, hostPeer *peer, pbString *user )
{
    PB_ASSERT( limits );
    PB_ASSERT( peer );
    State *state = limits->state;
    int64_t now = host::nanoseconds();
    return state->sources.hasToken( state->sourceOf( peer ), now ) &&
           ( !user || state->users.hasToken( state->keys.ofText( user ), now ) );
}

void hostLimitsCheckFailed( hostLimits *limits, hostPeer *peer, pbString *user )
{
    PB_ASSERT( limits );
    PB_ASSERT( peer );
    State *state = limits->state;
    int64_t now = host::nanoseconds();
    state->sources.take( state->sourceOf( peer ), now );
    if( user )
        state->users.take( state->keys.ofText( user ), now );
}

void hostLimitsCheckPassed( hostLimits *limits, hostPeer *peer, pbString *user )
{
    PB_ASSERT( limits );
    PB_ASSERT( peer );
    if( user )
        limits->state->users.fill( limits->state->keys.ofText( user ) );
}

pbBool hostLimitsTryBeginLookup( hostLimits *limits )
{
    PB_ASSERT( limits );
    if( limits->state->openLookups >= hostSettingsValue( limits->settings, HOST_SETTING_LOOKUPS_MAX ) )
        return 0;
    limits->state->openLookups++;
    return 1;
}

void hostLimitsEndLookup( hostLimits *limits, pbBool answered )
{
    PB_ASSERT( limits );
    State *state = limits->state;
    PB_ASSERT( state->openLookups > 0 );
    state->openLookups--;
    if( answered )
    {
        state->failures = 0;
        return;
    }
    if( ++state->failures == hostSettingsValue( limits->settings, HOST_SETTING_DIRECTORY_FAILURES ) )
        state->nextProbe = pbTimestamp() + hostSettingsValue( limits->settings, HOST_SETTING_RETRY_AFTER ) * second;
}

int64_t hostLimitsOpenLookups( hostLimits *limits )
{
    PB_ASSERT( limits );
    return limits->state->openLookups;
}

pbBool hostLimitsDirectoryHealthy( hostLimits *limits )
{
    PB_ASSERT( limits );
    State *state = limits->state;
    if( state->failures < hostSettingsValue( limits->settings, HOST_SETTING_DIRECTORY_FAILURES ) )
        return 1;
    int64_t now = pbTimestamp();
    if( now < state->nextProbe )
        return 0;
    state->nextProbe = now + hostSettingsValue( limits->settings, HOST_SETTING_RETRY_AFTER ) * second;
    return 1;
}

pbBool hostLimitsMaySend( hostLimits *limits, hostPeer *peer, int64_t received, int64_t bytes )
{
    PB_ASSERT( limits );
    PB_ASSERT( peer );
    PB_ASSERT( received >= 0 );
    PB_ASSERT( bytes >= 0 );
    int64_t amplification = hostSettingsValue( limits->settings, HOST_SETTING_AMPLIFICATION );
    int64_t allowed = 0;
    if( hostPeerTransport( peer ) != HOST_TRANSPORT_UDP || amplification == 0 ||
        __builtin_mul_overflow( received, amplification, &allowed ) || bytes <= allowed )
        return 1;
    int64_t now = host::nanoseconds();
    return limits->state->proven.find( limits->state->addressOf( peer ), now ) > now;
}

void hostLimitsSourceProven( hostLimits *limits, hostPeer *peer )
{
    PB_ASSERT( limits );
    PB_ASSERT( peer );
    // Only who is reached by datagrams needs a proof.
    if( hostPeerTransport( peer ) == HOST_TRANSPORT_UDP )
        limits->state->proven.store( limits->state->addressOf( peer ),
                                     host::nanoseconds() + provenFor * nanosecondsOfMillisecond );
}
