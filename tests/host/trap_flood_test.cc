// Traps of too much: floods, reflection, lookups without end, and messages that are too big to be true.
#include "trap_support.h"

namespace
{

using namespace trap;

constexpr int flood = 2000;

TEST_F( Trap, RequestsWithoutCredentialsFillTheChallengeDatabase )
{
    constexpr int64_t burst = 100;
    setting( HOST_SETTING_CHALLENGE_RATE, 1 );
    setting( HOST_SETTING_CHALLENGE_BURST, burst );
    serve();
    int64_t before = alive( "SIPAUTH_SERVER_CHALLENGE" );
    for( int index = 0; index < flood; index++ )
        EXPECT_EQ( plain( plainSession(), requestOf( "REGISTER", index + 1 ) ), "401" );
    last.clear();
    run();
    EXPECT_GE( alive( "SIPAUTH_SERVER_CHALLENGE" ) - before, flood ) << "each one is remembered";

    before = alive( "SIPAUTH_SERVER_CHALLENGE" );
    int challenged = 0;
    for( int index = 0; index < flood; index++ )
        challenged += guarded( requestOf( "REGISTER", index + 1 ), 1024 + index ) == "401";
    EXPECT_EQ( challenged, burst );
    EXPECT_EQ( alive( "SIPAUTH_SERVER_CHALLENGE" ) - before, burst );
    EXPECT_EQ( hostServerNonces( server ), burst );
    EXPECT_EQ( hostServerTransactions( server ), 0 );
    EXPECT_EQ( count( HOST_REASON_LIMIT ), flood - burst );
}

TEST_F( Trap, AFloodOfOneNetworkLeavesTheOthersAlone )
{
    setting( HOST_SETTING_NETWORK_CHALLENGE_RATE, 1 );
    setting( HOST_SETTING_NETWORK_CHALLENGE_BURST, 10 );
    serve();
    for( int index = 0; index < 100; index++ )
        guarded( requestOf( "REGISTER", index + 1 ), 1024 + index );
    EXPECT_EQ( count( HOST_REASON_CHALLENGED ), 10 );
    const uint8_t elsewhere[] = { 198, 51, 100, 1 };
    auto peer = own( hostPeerCreate( HOST_TRANSPORT_UDP, elsewhere, 4, 5060, 0, 0 ) );
    Phone bob( *this, "bob", "builder", peer, "bob" );
    bob.login().clear();
    EXPECT_EQ( outcome(), "accepted" );
}

// Whoever sends from a victim's address has it flooded with answers that are much bigger than the requests.
TEST_F( Trap, ChallengesAreReflected )
{
    useDigest( { SIPAUTH_DIGEST_ALGORITHM_MD5, SIPAUTH_DIGEST_ALGORITHM_MD5_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA256,
                 SIPAUTH_DIGEST_ALGORITHM_SHA256_SESS, SIPAUTH_DIGEST_ALGORITHM_SHA512,
                 SIPAUTH_DIGEST_ALGORITHM_SHA512_SESS } );
    serve();
    const std::string small = "REGISTER sip:e SIP/2.0\r\nv:SIP/2.0/UDP h;branch=z9hG4bK1\r\nf:<sip:a@e>;tag=1\r\n"
                              "t:<sip:a@e>\r\ni:1\r\nCSeq:1 REGISTER\r\n\r\n";
    EXPECT_EQ( plain( plainSession(), small ), "401" );
    EXPECT_GT( plainAnswer.size(), 5 * small.size() );
    EXPECT_GT( plainAnswer.size(), 1200u ) << "more than fits a datagram";

    size_t sent = 0;
    for( int index = 0; index < 100; index++ )
    {
        guarded( small, 5060 + index );
        for( const Told &one : told )
            sent += one.wire.size();
        EXPECT_LE( sent, 3 * small.size() * static_cast<size_t>( index + 1 ) );
    }
    expectUnharmed();
}

TEST_F( Trap, LookupsNeverEnd )
{
    constexpr int64_t places = 20;
    useOddDirectory( true, 50 );
    setting( HOST_SETTING_LOOKUPS_MAX, places );
    serve();
    std::vector<pb::Ref<sipauthServerCotrans>> waiting;
    std::string answers;
    for( int index = 0; index < 51; index++ )
    {
        answers = plain( plainSession(), requestOf( "REGISTER", 1, worthless( "alice" ) ) );
        waiting.push_back( last );
    }
    EXPECT_EQ( answers, "403" ) << "the directory takes no more, and honest users are refused for good";
    pass( 2500 );
    EXPECT_EQ( plainOutcome( waiting.front() ), "403" ) << "so are those who waited";
    waiting.clear();
    last.clear();
    pass( 2500 );

    std::vector<Transaction> transactions;
    int64_t asked = odd::asked;
    for( int64_t index = 0; index < places + 5; index++ )
    {
        Phone phone( *this, "alice", "wonderland", udpPeer( 5060 + index ), "alice" );
        transactions.push_back( phone.login() );
    }
    EXPECT_EQ( odd::asked - asked, places );
    EXPECT_EQ( outcome(), "503" ) << "come again";
    EXPECT_EQ( linesOf( told.back().wire, "Retry-After" ).size(), 1u );
    told.clear();
    pass( 2500 );
    EXPECT_EQ( told.size(), static_cast<size_t>( places ) );
    for( const Told &one : told )
        EXPECT_EQ( one.status, 503 );
    EXPECT_EQ( hostServerTransactions( server ), 0 );
}

/// What a decoder of the plain host makes of a message: null when its limits refuse it.
pb::Ref<sipsnMessage> decodedWithin( const std::string &wire, sipsnLimits *limits )
{
    return own( sipsnMessageTryDecode( support::buffer( wire ), limits, nullptr ) );
}

TEST_F( Trap, MessagesAreTooBigToBeTrue )
{
    serve();
    auto unlimited = own( sipsnLimitsCreate() );
    sipsnLimitsSetMessageBytes( unlimited.inout(), 10'000'000 );
    sipsnLimitsSetHeaderLines( unlimited.inout(), 100'000 );
    sipsnLimitsSetHeaderLineBytes( unlimited.inout(), 1'000'000 );
    std::string lines;
    for( int index = 0; index < 10'000; index++ )
        lines += worthless( "alice" );
    std::string qops = replaced( worthless( "alice" ), "qop=auth", "qop=\"" + std::string( 8000, ',' ) + "auth\"" );
    std::string commas = replaced( worthless( "alice" ), "qop=auth,", "qop=auth," + std::string( 8000, ',' ) );
    for( const std::string &extra : { lines, qops, commas } )
    {
        std::string wire = requestOf( "REGISTER", 1, extra );
        EXPECT_FALSE( decodedWithin( wire, nullptr ) ) << "the decoder's own limits";
        auto message = decodedWithin( wire, unlimited );
        ASSERT_TRUE( message );
        told.clear();
        auto transaction = own( hostServerReceive( server, udpPeer(), message, static_cast<int64_t>( wire.size() ),
                                                   string( "alice" ), nullptr ) );
        run();
        EXPECT_EQ( outcome(), "401" );
    }
    expectUnharmed();
}

} // namespace
