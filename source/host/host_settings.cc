// Settings. One table holds what there is to know of each; an object holds the numbers, by the table's order.
#include <host/host_settings.h>

#include "host/host_private.h"
#include "pb/pb_type.h"

#include <algorithm>
#include <iterator>

namespace
{

enum class Kind
{
    number,
    truth
};

struct Row
{
    const char *key;
    int64_t defaultValue;
    int64_t minimum;
    int64_t maximum;
    Kind kind = Kind::number;
};

constexpr int64_t most = 1'000'000'000;
constexpr int64_t day = 24 * 60 * 60 * 1000;
constexpr int64_t tokens = 10'000'000; // the time in which so many come is a number of nanoseconds
constexpr int64_t mebi = 1024 * 1024;

constexpr Row rows[] = {
    { "maxSessions", 200'000, 1, most },
    { "sessionLifetime", 7'200'000, 1, 365 * day },
    { "maxTransactionsPerSession", 16, 1, 1'000'000 },
    { "maxNonces", 262'144, 1, most },
    { "challengesPerSecond", 20'000, 0, 1'000'000 },
    { "challengesBurst", 40'000, 1, tokens },
    { "networkChallengesPerSecond", 500, 0, 1'000'000 },
    { "networkChallengesBurst", 2'000, 1, tokens },
    { "userFailuresPerMinute", 6, 0, 1'000'000 },
    { "userFailuresBurst", 10, 1, tokens },
    { "sourceFailuresPerMinute", 30, 0, 1'000'000 },
    { "sourceFailuresBurst", 60, 1, tokens },
    { "maxLimitedParties", 65'536, 1, 16 * mebi },
    { "maxOpenChecks", 1'000, 1, 1'000'000 },
    { "amplification", 3, 0, 1'000 },
    { "maxChallengeBytes", 1'200, 0, 65'535 },
    { "maxMessageBytes", 65'536, 1'024, 16 * mebi },
    { "maxHeaderLines", 256, 8, 65'536 },
    { "maxHeaderLineBytes", 8'192, 128, mebi },
    { "maxAuthorizations", 8, 1, 1'000 },
    { "maxAuthorizationBytes", 4'096, 128, mebi },
    { "directoryFailures", 5, 1, 1'000'000 },
    { "retryAfter", 5, 1, 86'400 },
    { "maxClientChallenges", 2, 1, 100 },
    { "clientBasic", 0, 0, 1, Kind::truth },
    { "clientDowngrade", 0, 0, 1, Kind::truth },
    { "clientBackoff", 1'000, 1, day },
    { "clientBackoffMax", 60'000, 1, day },
    { "checkUri", 1, 0, 2 },
};
static_assert( std::size( rows ) == HOST_SETTING_COUNT );
static_assert( std::all_of( std::begin( rows ), std::end( rows ),
                            []( const Row &row )
                            { return row.minimum <= row.defaultValue && row.defaultValue <= row.maximum; } ) );

bool within( const Row &row, int64_t value )
{
    return value >= row.minimum && value <= row.maximum;
}

template<class... Arguments>
bool refuse( pbString **reason, const char *format, Arguments... arguments )
{
    if( reason )
        *reason = pbStringCreateFromFormatCstr( format, -1, arguments... );
    return false;
}

// The value under the row's key as the row's kind, which other types of values are not.
bool tryRead( pbStore *config, const Row &row, int64_t *value )
{
    if( row.kind == Kind::number )
        return pbStoreValueIntCstr( config, row.key, -1, value );
    pbBool truth = 0;
    bool there = pbStoreValueBoolCstr( config, row.key, -1, &truth );
    *value = truth;
    return there;
}

void write( pb::Ref<pbStore> &store, const Row &row, int64_t value )
{
    if( row.kind == Kind::number )
        pbStoreSetValueIntCstr( store.inout(), row.key, -1, value );
    else
        pbStoreSetValueBoolCstr( store.inout(), row.key, -1, value != 0 );
}

} // namespace

struct hostSettings
{
    pb::Object object;
    int64_t values[HOST_SETTING_COUNT];
};

static int64_t host___SettingsCompFunc( pbObj *thisObj, pbObj *thatObj );
PB_TYPE( hostSettings, HOST_SETTINGS, host, host___SettingsFreeFunc, host___SettingsCompFunc );

static void host___SettingsFreeFunc( pbObj *obj )
{
    hostSettings *settings = hostSettingsFrom( obj );
    PB_ASSERT( settings );
    std::fill( std::begin( settings->values ), std::end( settings->values ), -1 );
}

static int64_t host___SettingsCompFunc( pbObj *thisObj, pbObj *thatObj )
{
    hostSettings *thisSettings = hostSettingsFrom( thisObj );
    hostSettings *thatSettings = hostSettingsFrom( thatObj );
    PB_ASSERT( thisSettings );
    PB_ASSERT( thatSettings );
    auto order =
        std::lexicographical_compare_three_way( std::begin( thisSettings->values ), std::end( thisSettings->values ),
                                                std::begin( thatSettings->values ), std::end( thatSettings->values ) );
    return order < 0 ? -1 : order > 0;
}

hostSettings *hostSettingsCreate()
{
    auto settings = pb::create<hostSettings>( hostSettingsSort() );
    std::transform( std::begin( rows ), std::end( rows ), settings->values,
                    []( const Row &row ) { return row.defaultValue; } );
    return settings.give();
}

hostSettings *hostSettingsCreateFrom( hostSettings *source )
{
    PB_ASSERT( source );
    return pb::copyOf( source ).give();
}

static bool host___SettingsTryTake( hostSettings *settings, pbStore *config, pbString *key, pbString **reason )
{
    const Row *row = std::find_if( std::begin( rows ), std::end( rows ),
                                   [&]( const Row &each ) { return pbStringEqualsCstr( key, each.key, -1 ); } );
    if( row == std::end( rows ) )
        return refuse( reason, "%s: there is no such setting", key );
    int64_t value = 0;
    if( !tryRead( config, *row, &value ) )
        return refuse( reason, row->kind == Kind::number ? "%s: not an integer" : "%s: not a truth value", key );
    if( !within( *row, value ) )
        return refuse( reason, "%s: %i is not within %i and %i", key, value, row->minimum, row->maximum );
    settings->values[row - rows] = value;
    return true;
}

hostSettings *hostSettingsTryRestore( pbStore *config, pbString **reason )
{
    auto settings = pb::own( hostSettingsCreate() );
    int64_t length = config ? pbStoreLength( config ) : 0;
    for( int64_t index = 0; index < length; index++ )
    {
        if( !host___SettingsTryTake( settings, config, pb::own( pbStoreKeyAt( config, index ) ), reason ) )
            return nullptr;
    }
    return settings.give();
}

pbStore *hostSettingsStore( hostSettings *settings, int64_t storeFlags )
{
    PB_ASSERT( settings );
    auto store = pb::own( pbStoreCreate() );
    for( const Row &row : rows )
    {
        int64_t value = settings->values[&row - rows];
        if( storeFlags || value != row.defaultValue )
            write( store, row, value );
    }
    return store.give();
}

int64_t hostSettingsValue( hostSettings *settings, int64_t setting )
{
    PB_ASSERT( settings );
    PB_ASSERT( HOST_SETTING_OK( setting ) );
    return settings->values[setting];
}

void hostSettingsSetValue( hostSettings **settings, int64_t setting, int64_t value )
{
    PB_ASSERT( settings );
    PB_ASSERT( *settings );
    PB_ASSERT( hostSettingValueOk( setting, value ) );
    pb::mutate( settings )->values[setting] = value;
}

pbBool hostSettingValueOk( int64_t setting, int64_t value )
{
    PB_ASSERT( HOST_SETTING_OK( setting ) );
    return within( rows[setting], value );
}

const char *hostSettingKey( int64_t setting )
{
    PB_ASSERT( HOST_SETTING_OK( setting ) );
    return rows[setting].key;
}

int64_t hostSettingDefault( int64_t setting )
{
    PB_ASSERT( HOST_SETTING_OK( setting ) );
    return rows[setting].defaultValue;
}
