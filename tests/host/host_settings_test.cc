// Settings.
#include "support/abort.h"

#include <host/host_settings.h>
#include <pb/pb_std.hh>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace
{

using pb::own;

// Each setting with its key and default, as the header's comments tell them.
struct Told
{
    int64_t setting;
    const char *key;
    int64_t defaultValue;
};

constexpr Told told[] = {
    { HOST_SETTING_SESSIONS_MAX, "maxSessions", 200000 },
    { HOST_SETTING_SESSION_LIFETIME, "sessionLifetime", 7200000 },
    { HOST_SETTING_SESSION_TRANSACTIONS_MAX, "maxTransactionsPerSession", 16 },
    { HOST_SETTING_NONCES_MAX, "maxNonces", 262144 },
    { HOST_SETTING_CHALLENGE_RATE, "challengesPerSecond", 20000 },
    { HOST_SETTING_CHALLENGE_BURST, "challengesBurst", 40000 },
    { HOST_SETTING_NETWORK_CHALLENGE_RATE, "networkChallengesPerSecond", 500 },
    { HOST_SETTING_NETWORK_CHALLENGE_BURST, "networkChallengesBurst", 2000 },
    { HOST_SETTING_USER_FAILURE_RATE, "userFailuresPerMinute", 6 },
    { HOST_SETTING_USER_FAILURE_BURST, "userFailuresBurst", 10 },
    { HOST_SETTING_SOURCE_FAILURE_RATE, "sourceFailuresPerMinute", 30 },
    { HOST_SETTING_SOURCE_FAILURE_BURST, "sourceFailuresBurst", 60 },
    { HOST_SETTING_BUCKETS_MAX, "maxLimitedParties", 65536 },
    { HOST_SETTING_LOOKUPS_MAX, "maxOpenChecks", 1000 },
    { HOST_SETTING_AMPLIFICATION, "amplification", 3 },
    { HOST_SETTING_CHALLENGE_BYTES, "maxChallengeBytes", 1200 },
    { HOST_SETTING_MESSAGE_BYTES, "maxMessageBytes", 65536 },
    { HOST_SETTING_HEADER_LINES, "maxHeaderLines", 256 },
    { HOST_SETTING_HEADER_LINE_BYTES, "maxHeaderLineBytes", 8192 },
    { HOST_SETTING_AUTHORIZATIONS, "maxAuthorizations", 8 },
    { HOST_SETTING_AUTHORIZATION_BYTES, "maxAuthorizationBytes", 4096 },
    { HOST_SETTING_DIRECTORY_FAILURES, "directoryFailures", 5 },
    { HOST_SETTING_RETRY_AFTER, "retryAfter", 5 },
    { HOST_SETTING_CLIENT_CHALLENGES, "maxClientChallenges", 2 },
    { HOST_SETTING_CLIENT_ALLOW_BASIC, "clientBasic", 0 },
    { HOST_SETTING_CLIENT_ALLOW_DOWNGRADE, "clientDowngrade", 0 },
    { HOST_SETTING_CLIENT_BACKOFF, "clientBackoff", 1000 },
    { HOST_SETTING_CLIENT_BACKOFF_MAX, "clientBackoffMax", 60000 },
    { HOST_SETTING_CHECK_URI, "checkUri", 1 },
};
static_assert( std::size( told ) == HOST_SETTING_COUNT );

bool isTruth( int64_t setting )
{
    return setting == HOST_SETTING_CLIENT_ALLOW_BASIC || setting == HOST_SETTING_CLIENT_ALLOW_DOWNGRADE;
}

// The reason why a store with one value is refused.
std::string refusal( pbStore *store )
{
    pbString *why = nullptr;
    auto settings = own( hostSettingsTryRestore( store, &why ) );
    auto reason = own( why );
    return settings ? "(taken)" : pb::text( reason );
}

std::string refusalOfInt( const char *key, int64_t value )
{
    auto store = own( pbStoreCreate() );
    pbStoreSetValueIntCstr( store.inout(), key, -1, value );
    return refusal( store );
}

TEST( Settings, HaveKeysAndDefaults )
{
    auto settings = own( hostSettingsCreate() );
    std::set<std::string> keys;
    for( const Told &each : told )
    {
        EXPECT_STREQ( hostSettingKey( each.setting ), each.key );
        EXPECT_EQ( hostSettingDefault( each.setting ), each.defaultValue ) << each.key;
        EXPECT_EQ( hostSettingsValue( settings, each.setting ), each.defaultValue ) << each.key;
        EXPECT_TRUE( hostSettingValueOk( each.setting, each.defaultValue ) ) << each.key;
        keys.insert( each.key );
    }
    EXPECT_EQ( keys.size(), std::size( told ) );
}

TEST( Settings, ChangeOneByOneAndLeaveOtherHoldersAlone )
{
    for( const Told &each : told )
    {
        auto settings = own( hostSettingsCreate() );
        auto other = settings;
        auto copy = own( hostSettingsCreateFrom( settings ) );
        int64_t value = each.defaultValue == 1 ? 2 : 1;
        if( !hostSettingValueOk( each.setting, value ) )
            value = each.defaultValue + 1;
        hostSettingsSetValue( settings.inout(), each.setting, value );
        for( const Told &seen : told )
        {
            EXPECT_EQ( hostSettingsValue( settings, seen.setting ),
                       seen.setting == each.setting ? value : seen.defaultValue );
        }
        EXPECT_EQ( hostSettingsValue( other, each.setting ), each.defaultValue );
        EXPECT_EQ( hostSettingsValue( copy, each.setting ), each.defaultValue );
    }
}

TEST( Settings, OrderByTheirNumbersTheFirstOneFirst )
{
    auto one = own( hostSettingsCreate() );
    auto other = own( hostSettingsCreate() );
    EXPECT_TRUE( hostSettingsEquals( one, other ) );
    hostSettingsSetValue( one.inout(), HOST_SETTING_NONCES_MAX, 5 );
    EXPECT_FALSE( hostSettingsEquals( one, other ) );
    EXPECT_LT( hostSettingsCompare( one, other ), 0 );
    EXPECT_GT( hostSettingsCompare( other, one ), 0 );
    hostSettingsSetValue( other.inout(), HOST_SETTING_SESSIONS_MAX, 1 );
    EXPECT_GT( hostSettingsCompare( one, other ), 0 );
}

TEST( Settings, RestoreDefaultsFromNothing )
{
    auto defaults = own( hostSettingsCreate() );
    EXPECT_TRUE( hostSettingsEquals( own( hostSettingsTryRestore( nullptr, nullptr ) ), defaults ) );
    EXPECT_TRUE( hostSettingsEquals( own( hostSettingsTryRestore( own( pbStoreCreate() ), nullptr ) ), defaults ) );
}

TEST( Settings, AreStoredAndRestored )
{
    auto settings = own( hostSettingsCreate() );
    EXPECT_EQ( pbStoreLength( own( hostSettingsStore( settings, 0 ) ) ), 0 );
    auto all = own( hostSettingsStore( settings, 1 ) );
    EXPECT_EQ( pbStoreLength( all ), HOST_SETTING_COUNT );
    for( const Told &each : told )
    {
        EXPECT_EQ( pbStoreValueTypeCstr( all, each.key, -1 ),
                   isTruth( each.setting ) ? PB_STORE_TYPE_BOOL : PB_STORE_TYPE_INT );
    }
    hostSettingsSetValue( settings.inout(), HOST_SETTING_RETRY_AFTER, 7 );
    hostSettingsSetValue( settings.inout(), HOST_SETTING_CLIENT_ALLOW_BASIC, 1 );
    auto changed = own( hostSettingsStore( settings, 0 ) );
    EXPECT_EQ( pbStoreLength( changed ), 2 );
    for( int64_t flags : { 0, 1 } )
    {
        auto again = own( hostSettingsTryRestore( own( hostSettingsStore( settings, flags ) ), nullptr ) );
        ASSERT_TRUE( again );
        EXPECT_TRUE( hostSettingsEquals( again, settings ) );
    }
}

TEST( Settings, RefuseWhatIsUnknown )
{
    EXPECT_EQ( refusalOfInt( "maxSession", 1 ), "maxSession: there is no such setting" );
    EXPECT_EQ( refusalOfInt( "", 1 ), ": there is no such setting" );
}

TEST( Settings, RefuseValuesOfOtherTypes )
{
    for( const Told &each : told )
    {
        auto text = own( pbStoreCreate() );
        pbStoreSetValueCstr( text.inout(), each.key, -1, own( pbStringCreateFromCstr( "1", -1 ) ) );
        auto crossed = own( pbStoreCreate() );
        if( isTruth( each.setting ) )
            pbStoreSetValueIntCstr( crossed.inout(), each.key, -1, 1 );
        else
            pbStoreSetValueBoolCstr( crossed.inout(), each.key, -1, 1 );
        auto nested = own( pbStoreCreate() );
        pbStoreSetStoreCstr( nested.inout(), each.key, -1, text );
        std::string expected =
            std::string( each.key ) + ( isTruth( each.setting ) ? ": not a truth value" : ": not an integer" );
        EXPECT_EQ( refusal( text ), expected );
        EXPECT_EQ( refusal( crossed ), expected );
        EXPECT_EQ( refusal( nested ), expected );
    }
}

TEST( Settings, RefuseValuesOutOfBounds )
{
    EXPECT_EQ( refusalOfInt( "maxSessions", 0 ), "maxSessions: 0 is not within 1 and 1000000000" );
    EXPECT_EQ( refusalOfInt( "amplification", -1 ), "amplification: -1 is not within 0 and 1000" );
    EXPECT_EQ( refusalOfInt( "retryAfter", 86401 ), "retryAfter: 86401 is not within 1 and 86400" );
    EXPECT_EQ( refusalOfInt( "retryAfter", 86400 ), "(taken)" );
    for( const Told &each : told )
    {
        EXPECT_FALSE( hostSettingValueOk( each.setting, -1 ) ) << each.key;
        EXPECT_FALSE( hostSettingValueOk( each.setting, INT64_MAX ) ) << each.key;
        EXPECT_FALSE( hostSettingValueOk( each.setting, INT64_MIN ) ) << each.key;
    }
}

TEST( Settings, TakeZeroForNoLimitWhereItMeansThat )
{
    for( int64_t setting :
         { HOST_SETTING_CHALLENGE_RATE, HOST_SETTING_NETWORK_CHALLENGE_RATE, HOST_SETTING_USER_FAILURE_RATE,
           HOST_SETTING_SOURCE_FAILURE_RATE, HOST_SETTING_AMPLIFICATION, HOST_SETTING_CHALLENGE_BYTES } )
        EXPECT_TRUE( hostSettingValueOk( setting, 0 ) ) << hostSettingKey( setting );
    for( int64_t setting : { HOST_SETTING_SESSIONS_MAX, HOST_SETTING_NONCES_MAX, HOST_SETTING_BUCKETS_MAX,
                             HOST_SETTING_LOOKUPS_MAX, HOST_SETTING_CHALLENGE_BURST } )
        EXPECT_FALSE( hostSettingValueOk( setting, 0 ) ) << hostSettingKey( setting );
}

TEST( Settings, PrintAsTheirSort )
{
    EXPECT_EQ( pb::text( own( hostSettingsToString( own( hostSettingsCreate() ) ) ) ), "HOST_SETTINGS" );
}

TEST( SettingsDeathTest, RefuseWhatIsNoSetting )
{
    auto settings = own( hostSettingsCreate() );
    constexpr const char *path = "source/host/host_settings";
    EXPECT_ABORT( hostSettingsValue( settings, HOST_SETTING_COUNT ), path, "HOST_SETTING_OK( setting )" );
    EXPECT_ABORT( hostSettingsValue( settings, -1 ), path, "HOST_SETTING_OK( setting )" );
    EXPECT_ABORT( hostSettingKey( -1 ), path, "HOST_SETTING_OK( setting )" );
    EXPECT_ABORT( hostSettingDefault( HOST_SETTING_COUNT ), path, "HOST_SETTING_OK( setting )" );
    EXPECT_ABORT( hostSettingValueOk( HOST_SETTING_COUNT, 1 ), path, "HOST_SETTING_OK( setting )" );
    EXPECT_ABORT( hostSettingsSetValue( settings.inout(), HOST_SETTING_COUNT, 1 ), path,
                  "HOST_SETTING_OK( setting )" );
    EXPECT_ABORT( hostSettingsSetValue( settings.inout(), HOST_SETTING_RETRY_AFTER, 0 ), path,
                  "hostSettingValueOk( setting, value )" );
}

TEST( SettingsDeathTest, RefuseNull )
{
    constexpr const char *path = "source/host/host_settings";
    EXPECT_ABORT( hostSettingsValue( nullptr, 0 ), path, "settings" );
    EXPECT_ABORT( hostSettingsStore( nullptr, 0 ), path, "settings" );
    EXPECT_ABORT( hostSettingsCreateFrom( nullptr ), path, "source" );
    EXPECT_ABORT( hostSettingsSetValue( nullptr, 0, 1 ), path, "settings" );
    hostSettings *none = nullptr;
    EXPECT_ABORT( hostSettingsSetValue( &none, 0, 1 ), path, "*settings" );
}

} // namespace
