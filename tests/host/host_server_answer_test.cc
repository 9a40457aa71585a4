// The shape of a server's answers, and the limits on what it sends.
#include "server_support.h"

using namespace serving;

namespace
{

std::vector<std::string> algorithmsOf( const std::string &wire )
{
    std::vector<std::string> algorithms;
    for( const std::string &line : linesOf( wire, "WWW-Authenticate" ) )
    {
        size_t place = line.find( "algorithm=" );
        algorithms.push_back(
            place == std::string::npos ? "" : line.substr( place + 10, line.find( ',', place ) - place - 10 ) );
    }
    return algorithms;
}

using Names = std::vector<std::string>;

// All that the library has, so that a challenge is big.
const std::vector<int64_t> everyAlgorithm = { SIPAUTH_DIGEST_ALGORITHM_MD5,         SIPAUTH_DIGEST_ALGORITHM_MD5_SESS,
                                              SIPAUTH_DIGEST_ALGORITHM_SHA256,      SIPAUTH_DIGEST_ALGORITHM_SHA384,
                                              SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA512 };

} // namespace

TEST_F( Serving, OffersTwoLinesWithoutAProfile )
{
    useDigest( everyAlgorithm );
    serve();
    receive( requestOf( "REGISTER", 1 ), tcpPeer() ).clear();
    EXPECT_EQ( algorithmsOf( told.at( 0 ).wire ), ( Names{ "SHA-256", "MD5" } ) );
    EXPECT_EQ( hostServerNonces( server ), 2 );
}

TEST_F( Serving, OffersWhatTheProfileSays )
{
    useDigest( everyAlgorithm );
    profiles = own( hostProfilesCreate( HOST_PROFILE_STRICT ) );
    hostProfilesAddUserAgent( profiles, string( "old phone" ), HOST_PROFILE_LEGACY );
    serve();
    receive( requestOf( "REGISTER", 1 ), tcpPeer() ).clear();
    EXPECT_EQ( algorithmsOf( told.at( 0 ).wire ).size(), 6u );
    receive( requestOf( "REGISTER", 2, "User-Agent: Old Phone 1.0\r\n" ), tcpPeer() ).clear();
    EXPECT_EQ( algorithmsOf( told.at( 0 ).wire ), Names{ "MD5" } );
}

TEST_F( Serving, LearnsTheProfileOfAPhoneThatKnowsOnlyMd5 )
{
    useDigest( { SIPAUTH_DIGEST_ALGORITHM_SHA256, SIPAUTH_DIGEST_ALGORITHM_MD5 } );
    profiles = own( hostProfilesCreate( HOST_PROFILE_DEFAULT ) );
    hostProfilesSetLearn( profiles, 1 );
    serve();
    Phone alice = phone(); // does not know the spelling "SHA-256"
    const char *agent = "User-Agent: Simple 2.0\r\n";
    alice.send( "REGISTER", agent ).clear();
    EXPECT_EQ( algorithmsOf( told.at( 0 ).wire ), ( Names{ "SHA-256", "MD5" } ) );
    alice.send( "REGISTER", agent ).clear();
    EXPECT_EQ( outcome(), "accepted" );
    receive( requestOf( "REGISTER", 9, agent ), udpPeer() ).clear();
    EXPECT_EQ( algorithmsOf( told.at( 0 ).wire ), Names{ "MD5" } );
}

TEST_F( Serving, SendsASmallerChallengeWhenTheDatagramWouldBeTooBig )
{
    useDigest( everyAlgorithm );
    profiles = own( hostProfilesCreate( HOST_PROFILE_STRICT ) );
    setting( HOST_SETTING_AMPLIFICATION, 0 );
    setting( HOST_SETTING_CHALLENGE_BYTES, 900 );
    serve();
    receive( requestOf( "REGISTER", 1 ), udpPeer() ).clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_EQ( algorithmsOf( told[0].wire ), ( Names{ "SHA-256", "MD5" } ) );
    EXPECT_LE( told[0].wire.size(), 900u );
    setting( HOST_SETTING_CHALLENGE_BYTES, told[0].wire.size() - 1 );
    receive( requestOf( "REGISTER", 2 ), udpPeer() ).clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_EQ( algorithmsOf( told[0].wire ), Names{ "MD5" } );
    receive( requestOf( "REGISTER", 3 ), tcpPeer() ).clear();
    EXPECT_EQ( algorithmsOf( told.at( 0 ).wire ).size(), 6u );
}

TEST_F( Serving, SaysNothingWhenNoChallengeFits )
{
    setting( HOST_SETTING_CHALLENGE_BYTES, 200 );
    serve();
    receive( requestOf( "REGISTER", 1 ), udpPeer() ).clear();
    EXPECT_EQ( outcome(), "drop" );
    EXPECT_EQ( count( HOST_REASON_AMPLIFICATION ), 1 );
    EXPECT_EQ( hostServerNonces( server ), 0 );
    EXPECT_EQ( hostServerTransactions( server ), 0 );
}

TEST_F( Serving, SendsAtMostThreeTimesWhatItReceived )
{
    useDigest( everyAlgorithm );
    profiles = own( hostProfilesCreate( HOST_PROFILE_STRICT ) );
    setting( HOST_SETTING_CHALLENGE_BYTES, 0 );
    serve();
    std::string wire = requestOf( "REGISTER", 1 );
    receive( wire, tcpPeer() ).clear();
    size_t whole = told.at( 0 ).wire.size();
    ASSERT_GT( whole, 3 * wire.size() ); // else this test says nothing
    receive( wire, udpPeer() ).clear();
    ASSERT_EQ( outcome(), "401" );
    EXPECT_LE( told[0].wire.size(), 3 * wire.size() );
    // As if it had come in fewer bytes.
    told.clear();
    auto transaction = own( hostServerReceive( server, udpPeer(), decoded( wire ), 20, string( "alice" ), nullptr ) );
    run();
    EXPECT_EQ( outcome(), "drop" );
    EXPECT_EQ( count( HOST_REASON_AMPLIFICATION ), 1 );
}

TEST_F( Serving, SendsMoreToASourceThatAnsweredAChallenge )
{
    useDigest( everyAlgorithm );
    profiles = own( hostProfilesCreate( HOST_PROFILE_STRICT ) );
    setting( HOST_SETTING_CHALLENGE_BYTES, 0 );
    serve();
    Phone alice = phone();
    alice.login().clear();
    ASSERT_EQ( outcome(), "accepted" );
    std::string wire = requestOf( "REGISTER", 9 );
    receive( wire, udpPeer() ).clear();
    EXPECT_GT( told.at( 0 ).wire.size(), 3 * wire.size() );
}

TEST_F( Serving, ANonceFromElsewhereProvesNoSource )
{
    useDigest( everyAlgorithm );
    profiles = own( hostProfilesCreate( HOST_PROFILE_STRICT ) );
    setting( HOST_SETTING_CHALLENGE_BYTES, 0 );
    serve();
    Phone alice = phone();
    alice.send( "REGISTER" ).clear();
    receive( alice.sign( "REGISTER" ), udpPeer( 5060, 77 ) ).clear();
    EXPECT_EQ( outcome(), "accepted" );
    std::string wire = requestOf( "REGISTER", 9 );
    receive( wire, udpPeer( 5060, 77 ) ).clear();
    EXPECT_LE( told.at( 0 ).wire.size(), 3 * wire.size() );
}

TEST_F( Serving, SaysNothingToAFloodOfRequestsFromUnprovenSources )
{
    setting( HOST_SETTING_NETWORK_CHALLENGE_BURST, 2 );
    serve();
    Phone alice = phone();
    respond( alice.login(), 200 ); // one challenge
    receive( requestOf( "REGISTER", 8 ), udpPeer( 1, 200 ) ).clear();
    EXPECT_EQ( outcome(), "401" );
    Transaction dropped = receive( requestOf( "REGISTER", 9 ), udpPeer( 1, 201 ) );
    EXPECT_EQ( outcome(), "drop" );
    EXPECT_TRUE( hostServerTransactionStateless( dropped ) );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 1 );
    receive( requestOf( "REGISTER", 9 ), tcpPeer() ).clear();
    ASSERT_EQ( outcome(), "503" );
    EXPECT_EQ( told[0].flags, HOST_SEND_FINAL | HOST_SEND_STATELESS );
    EXPECT_EQ( linesOf( told[0].wire, "Retry-After" ).size(), 1u );
    receive( requestOf( "REGISTER", 9 ), udpPeer() ).clear(); // a proven source
    EXPECT_EQ( outcome(), "503" );
    alice.send( "REGISTER" ).clear(); // and who needs no challenge is served
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( Serving, LimitsTheGuessesAtAUser )
{
    setting( HOST_SETTING_USER_FAILURE_BURST, 3 );
    setting( HOST_SETTING_USER_FAILURE_RATE, 6 );
    serve();
    for( int64_t guess = 0; guess < 3; guess++ )
    {
        phone( "alice", "wrong", 6000 + guess ).login().clear();
        EXPECT_EQ( outcome(), "401" );
    }
    phone( "alice", "wrong", 6003 ).login().clear();
    EXPECT_EQ( outcome(), "503" );
    phone( "bob", "builder", 6004, "bob" ).login().clear();
    EXPECT_EQ( outcome(), "accepted" );
    pass( 10000 );
    phone( "alice", "wonderland", 6005 ).login().clear();
    EXPECT_EQ( outcome(), "accepted" );
    EXPECT_EQ( count( HOST_REASON_WRONG_RESPONSE ), 3 );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 1 );
}

TEST_F( Serving, GuessesAtAUserDoNotDisturbHerSession )
{
    setting( HOST_SETTING_USER_FAILURE_BURST, 1 );
    serve();
    Phone alice = phone();
    alice.login().clear();
    for( int64_t guess = 0; guess < 3; guess++ )
        phone( "alice", "wrong", 6000 + guess ).login().clear();
    EXPECT_EQ( outcome(), "503" );
    alice.send( "REGISTER" ).clear();
    EXPECT_EQ( outcome(), "accepted" );
}

TEST_F( Serving, LimitsTheGuessesAtUnknownUsersAlike )
{
    setting( HOST_SETTING_USER_FAILURE_BURST, 2 );
    serve();
    for( const char *user : { "alice", "nobody" } )
    {
        std::string outcomes;
        for( int guess = 0; guess < 4; guess++ )
        {
            phone( user, "wrong" ).login().clear();
            outcomes += outcome() + " ";
        }
        EXPECT_EQ( outcomes, "401 401 503 503 " ) << user;
    }
}

TEST_F( Serving, LimitsTheOpenTransactionsOfASession )
{
    setting( HOST_SETTING_SESSION_TRANSACTIONS_MAX, 2 );
    serve();
    Phone alice = phone();
    Transaction first = alice.login();
    Transaction second = alice.send( "REGISTER" );
    ASSERT_EQ( outcome(), "accepted" );
    std::string third = alice.sign( "REGISTER" );
    receive( third, udpPeer() ).clear();
    EXPECT_EQ( outcome(), "503" );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), 1 );
    respond( first, 200 );
    receive( third, udpPeer() ).clear(); // nothing was used up
    EXPECT_EQ( outcome(), "accepted" );
}
