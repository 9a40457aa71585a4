// The database of challenges.
#include "sipauth/server/sipauth_server_db_private.h"

#include "sipauth/server/server_support.h"
#include "sipauth/session/session_support.h"

#include <atomic>
#include <thread>

namespace
{

using pb::own;
using server::authorization;
using server::challenge;
using server::digestState;
using support::string;
using support::textOf;

const char *path = "source/sipauth/server/sipauth_server_db";

class ServerDb : public session::Simulated
{
protected:
    void store( sipauthServerChallenge *ch ) { sipauth___ServerDbSetChallenge( db, ch, nullptr ); }

    // Stores a challenge with one nonce.
    pb::Ref<sipauthServerChallenge> stored( const char *nonce )
    {
        auto ch = challenge( { digestState( nonce ) } );
        store( ch );
        return ch;
    }

    void store( const char *nonce ) { auto ch = stored( nonce ); }

    pb::Ref<sipauthServerChallenge> find( const char *nonce )
    {
        return own( sipauth___ServerDbChallenge( db, authorization( nonce ), nullptr ) );
    }

    void advance( int64_t milliseconds ) { pb___SimulationAdvance( simulation, milliseconds ); }
    int64_t expire( int64_t olderThan ) { return sipauth___ServerDbExpireChallenges( db, olderThan ); }
    int64_t records() { return pbPriorityMapLength( db->recordsByAge ); }
    int64_t nonces() { return pbDictLength( db->recordsByNonce ); }

    pb::Ref<sipauth___ServerDb> db = own( sipauth___ServerDbCreate( nullptr ) );
};

class ServerDbDeathTest : public ServerDb
{
};

TEST_F( ServerDb, IsEmptyWhenCreated )
{
    EXPECT_EQ( records(), 0 );
    EXPECT_EQ( nonces(), 0 );
    EXPECT_FALSE( find( "a" ) );
}

TEST_F( ServerDb, FindsAChallengeOnce )
{
    auto ch = stored( "a" );
    EXPECT_FALSE( find( "b" ) );
    EXPECT_EQ( find( "a" ).get(), ch.get() );
    EXPECT_FALSE( find( "a" ) );
    EXPECT_EQ( records(), 0 );
    EXPECT_EQ( nonces(), 0 );
}

TEST_F( ServerDb, FindsAChallengeByEitherNonceAndAfterThatByNeither )
{
    for( const char *nonce : { "a", "b" } )
    {
        auto ch = challenge( { digestState( "a" ), digestState( "b" ) } );
        store( ch );
        EXPECT_EQ( nonces(), 2 );
        EXPECT_EQ( find( nonce ).get(), ch.get() );
        EXPECT_FALSE( find( "a" ) );
        EXPECT_FALSE( find( "b" ) );
        EXPECT_EQ( records(), 0 );
    }
}

TEST_F( ServerDb, ComparesNothingButTheNonce )
{
    // Realm and opaque are compared when a state of the challenge is chosen.
    auto ch = stored( "a" );
    EXPECT_EQ( own( sipauth___ServerDbChallenge( db, authorization( "a", "opaque", "other.org" ), nullptr ) ).get(),
               ch.get() );
    store( "a" );
    EXPECT_TRUE( own( sipauth___ServerDbChallenge( db, authorization( "a", nullptr, nullptr ), nullptr ) ) );
    store( "a" );
    EXPECT_FALSE( find( "A" ) );
    EXPECT_FALSE( find( "a " ) );
}

TEST_F( ServerDb, FindsNothingForBasicOrWithoutNonce )
{
    store( "a" );
    auto basic = own( sipauthAuthorizationCreate( SIPAUTH_SCHEME_BASIC ) );
    EXPECT_EQ( sipauth___ServerDbChallenge( db, basic, nullptr ), nullptr );
    auto basicWithNonce = authorization( "a" );
    sipauthAuthorizationSetScheme( basicWithNonce.inout(), SIPAUTH_SCHEME_BASIC );
    EXPECT_EQ( sipauth___ServerDbChallenge( db, basicWithNonce, nullptr ), nullptr );
    EXPECT_FALSE( find( nullptr ) );
    EXPECT_EQ( records(), 1 );
}

TEST_F( ServerDb, KeepsAChallengeWithoutNoncesUntilItExpires )
{
    store( challenge( {} ) );
    EXPECT_EQ( records(), 1 );
    EXPECT_EQ( nonces(), 0 );
    advance( 1 );
    EXPECT_EQ( expire( 0 ), -1 );
    EXPECT_EQ( records(), 0 );
}

TEST_F( ServerDb, FindsTheNewerOfTwoChallengesWithOneNonce )
{
    store( "a" );
    advance( 5 );
    auto newer = stored( "a" );
    EXPECT_EQ( records(), 2 );
    EXPECT_EQ( nonces(), 1 );
    EXPECT_EQ( find( "a" ).get(), newer.get() );
    // The older one cannot be found any more, and stays until its own time.
    EXPECT_FALSE( find( "a" ) );
    EXPECT_EQ( records(), 1 );
    advance( 5 );
    EXPECT_EQ( expire( 10 ), now() - 10 );
    advance( 1 );
    EXPECT_EQ( expire( 10 ), -1 );
    EXPECT_EQ( records(), 0 );
}

TEST_F( ServerDb, LeavesANonceToTheNewerChallengeWhenTheOlderOneExpires )
{
    auto older = challenge( { digestState( "a" ), digestState( "b" ) } );
    store( older );
    advance( 1 );
    auto newer = stored( "a" );
    EXPECT_EQ( expire( 0 ), now() );
    EXPECT_FALSE( find( "b" ) );
    EXPECT_EQ( find( "a" ).get(), newer.get() );
}

TEST_F( ServerDb, LeavesANonceToTheNewerChallengeWhenTheOlderOneIsFound )
{
    auto older = challenge( { digestState( "a" ), digestState( "b" ) } );
    store( older );
    auto newer = stored( "a" );
    EXPECT_EQ( find( "b" ).get(), older.get() );
    EXPECT_EQ( find( "a" ).get(), newer.get() );
    EXPECT_EQ( records(), 0 );
}

TEST_F( ServerDb, TakesANonceTwiceInOneChallenge )
{
    auto ch = challenge( { digestState( "a", "x" ), digestState( "a", "y" ) } );
    store( ch );
    EXPECT_EQ( nonces(), 1 );
    EXPECT_EQ( find( "a" ).get(), ch.get() );
    EXPECT_EQ( records(), 0 );
    EXPECT_EQ( nonces(), 0 );
}

TEST_F( ServerDb, KeepsAChallengeThatIsStoredTwiceAsTwoRecords )
{
    auto ch = stored( "a" );
    store( ch );
    EXPECT_EQ( records(), 2 );
    EXPECT_EQ( find( "a" ).get(), ch.get() );
    EXPECT_FALSE( find( "a" ) );
    EXPECT_EQ( records(), 1 );
}

TEST_F( ServerDb, DoesNotNoticeThatItsCallerChangesAStoredChallenge )
{
    auto ch = stored( "a" );
    sipauthServerChallengeClearDigestStates( ch.inout() );
    EXPECT_EQ( sipauthServerChallengeDigestStatesLength( find( "a" ) ), 1 );
}

// Expiry

TEST_F( ServerDb, ReturnsMinusOneFromExpiryWhenItIsEmpty )
{
    EXPECT_EQ( expire( 0 ), -1 );
    EXPECT_EQ( expire( 1000 ), -1 );
    EXPECT_EQ( expire( INT64_MAX ), -1 );
}

TEST_F( ServerDb, ExpiresWithZeroWhatWasStoredBeforeThisMillisecond )
{
    store( "a" );
    store( "b" );
    advance( 1 );
    auto ch = stored( "c" );
    EXPECT_EQ( expire( 0 ), now() );
    EXPECT_FALSE( find( "a" ) );
    EXPECT_FALSE( find( "b" ) );
    EXPECT_EQ( records(), 1 );
    EXPECT_EQ( find( "c" ).get(), ch.get() );
}

TEST_F( ServerDb, KeepsWhatIsAsOldAsTheLimit )
{
    store( "a" );
    int64_t stored = now();
    advance( 10 );
    EXPECT_EQ( expire( 10 ), stored );
    EXPECT_EQ( records(), 1 );
    advance( 1 );
    EXPECT_EQ( expire( 10 ), -1 );
    EXPECT_EQ( records(), 0 );
    EXPECT_EQ( nonces(), 0 );
}

TEST_F( ServerDb, KeepsEverythingUnderTheLargestLimit )
{
    store( "a" );
    int64_t stored = now();
    advance( 1000000 );
    EXPECT_EQ( expire( INT64_MAX ), stored );
    EXPECT_EQ( records(), 1 );
}

TEST_F( ServerDb, TellsWhenTheOldestOfTheOthersWasStored )
{
    std::vector<int64_t> times;
    for( const char *nonce : { "a", "b", "c" } )
    {
        times.push_back( now() );
        store( nonce );
        advance( 10 );
    }
    EXPECT_EQ( expire( 30 ), times[0] );
    EXPECT_EQ( expire( 29 ), times[1] );
    EXPECT_TRUE( find( "b" ) );
    EXPECT_EQ( expire( 29 ), times[2] );
    EXPECT_EQ( expire( 9 ), -1 );
}

// Threads

TEST( ServerDbThreads, GetAChallengeOnceAmongThem )
{
    auto db = own( sipauth___ServerDbCreate( nullptr ) );
    constexpr int count = 200;
    for( int index = 0; index < count; index++ )
    {
        std::string nonce = std::to_string( index );
        sipauth___ServerDbSetChallenge( db, challenge( { digestState( nonce.c_str() ) } ), nullptr );
    }
    std::atomic<int> found = 0;
    auto look = [&]
    {
        for( int index = 0; index < count; index++ )
        {
            std::string nonce = std::to_string( index );
            auto ch = own( sipauth___ServerDbChallenge( db, authorization( nonce.c_str() ), nullptr ) );
            found += ch.get() != nullptr;
            sipauth___ServerDbSetChallenge( db, challenge( {} ), nullptr );
            (void) sipauth___ServerDbExpireChallenges( db, INT64_MAX );
        }
    };
    std::vector<std::thread> threads;
    for( int index = 0; index < 4; index++ )
        threads.emplace_back( look );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( found, count );
    EXPECT_EQ( pbPriorityMapLength( db->recordsByAge ), 4 * count );
    EXPECT_EQ( pbDictLength( db->recordsByNonce ), 0 );
}

// The trace

TEST_F( ServerDb, LinksRecordsBelowItselfAndBelowItsUsers )
{
    digest::Recording recording;
    auto user = own( trStreamCreateCstr( "USER", -1 ) );
    auto recorded = own( sipauth___ServerDbCreate( own( trAnchorCreate( user, 1 ) ) ) );
    sipauth___ServerDbSetChallenge( recorded, challenge( { digestState( "a" ) } ), own( trAnchorCreate( user, 2 ) ) );
    auto ch = own( sipauth___ServerDbChallenge( recorded, authorization( "a" ), own( trAnchorCreate( user, 3 ) ) ) );
    EXPECT_EQ( sipauth___ServerDbChallenge( recorded, authorization( "a" ), own( trAnchorCreate( user, 4 ) ) ),
               nullptr );
    int64_t dbNumber = trLineStreamNumber( recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH___SERVER_DB" ).at( 0 ) );
    auto records = recording.lines( TR_LINE_KIND_BEGIN, "SIPAUTH___SERVER_DB_RECORD" );
    ASSERT_EQ( records.size(), 1u );
    int64_t recordNumber = trLineStreamNumber( records[0] );
    auto below = recording.lines( TR_LINE_KIND_ANCHOR, "SIPAUTH___SERVER_DB" );
    ASSERT_EQ( below.size(), 1u );
    EXPECT_EQ( trLineAnchorKind( below[0] ), 9 );
    EXPECT_EQ( trLineChildNumber( below[0] ), recordNumber );
    auto links = recording.lines( TR_LINE_KIND_ANCHOR, "USER" );
    ASSERT_EQ( links.size(), 3u );
    EXPECT_EQ( trLineChildNumber( links[0] ), dbNumber );
    for( size_t index : { 1u, 2u } )
    {
        EXPECT_EQ( trLineAnchorKind( links[index] ), static_cast<int64_t>( index + 1 ) );
        EXPECT_EQ( trLineChildNumber( links[index] ), recordNumber );
    }
    EXPECT_EQ( recording.lines( TR_LINE_KIND_END, "SIPAUTH___SERVER_DB_RECORD" ).size(), 1u );
}

TEST_F( ServerDb, HasTheStandardFunctions )
{
    EXPECT_EQ( sipauth___ServerDbFrom( sipauth___ServerDbObj( db ) ), db.get() );
    EXPECT_EQ( sipauth___ServerDbFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauth___ServerDbToString( db ) ), "SIPAUTH___SERVER_DB" );
    EXPECT_TRUE( sipauth___ServerDbEquals( db, db ) );
    EXPECT_NE( sipauth___ServerDbCompare( db, own( sipauth___ServerDbCreate( nullptr ) ) ), 0 );
    sipauth___ServerDbRelease( sipauth___ServerDbRetain( db ) );
}

// What is refused

TEST_F( ServerDbDeathTest, RefusesNullAndANegativeAge )
{
    EXPECT_ABORT( sipauth___ServerDbSetChallenge( nullptr, challenge( {} ), nullptr ), path, "db" );
    EXPECT_ABORT( sipauth___ServerDbSetChallenge( db, nullptr, nullptr ), path, "challenge" );
    EXPECT_ABORT( sipauth___ServerDbChallenge( nullptr, authorization( "a" ), nullptr ), path, "db" );
    EXPECT_ABORT( sipauth___ServerDbChallenge( db, nullptr, nullptr ), path, "authorization" );
    EXPECT_ABORT( sipauth___ServerDbExpireChallenges( nullptr, 0 ), path, "db" );
    EXPECT_ABORT( sipauth___ServerDbExpireChallenges( db, -1 ), path, "olderThan >= 0" );
    auto other = string( "no database" );
    EXPECT_ABORT( sipauth___ServerDbFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH___SERVER_DB" );
}

} // namespace
