// Several transactions at once, all of one client's and one server's session.
#include "road.h"

#include <algorithm>
#include <deque>

namespace scenario
{

class Parallel : public Road
{
protected:
    static constexpr int64_t count = 6;

    // Requests of as many transactions, written before any is read, as they leave.
    std::vector<std::string> sendAll( int64_t sequence )
    {
        for( int64_t index = 0; index < count; index++ )
        {
            sipauthChallenge *challenge = challenges.empty() ? nullptr : challenges[size_t( index )].get();
            clients.emplace_back( host, parties.client, challenge ).write( requestOf( "REGISTER", sequence + index ) );
        }
        std::vector<std::string> sent;
        for( ClientTransaction &client : clients )
            sent.push_back( client.sent() );
        return sent;
    }

    // The server's responses to requests, all of which are written before any is answered.
    std::vector<std::string> answerAll( const std::vector<std::string> &requests )
    {
        for( const std::string &request : requests )
            servers.emplace_back( host, parties.server ).write( request );
        std::vector<std::string> responses;
        for( ServerTransaction &server : servers )
        {
            std::string response = server.verdict();
            responses.push_back( response.empty() ? server.respond( 200 ) : response );
        }
        servers.clear();
        return responses;
    }

    void receiveAll( const std::vector<std::string> &responses )
    {
        challenges.clear();
        for( size_t index = 0; index < responses.size(); index++ )
        {
            clients[index].receive( responses[index] );
            challenges.push_back( clients[index].challenge() );
        }
        clients.clear();
    }

    static int64_t howMany( const std::vector<std::string> &responses, int64_t status )
    {
        return std::count_if( responses.begin(), responses.end(),
                              [&]( const std::string &response ) { return statusOf( response ) == status; } );
    }

    pb::Ref<sipauthStack> stack = own( sipauthStackCreate( options( SIPAUTH_DEFAULTS_STANDARD ), nullptr ) );
    Parties parties = Road::parties( stack );
    std::deque<ClientTransaction> clients;
    std::deque<ServerTransaction> servers;
    std::vector<pb::Ref<sipauthChallenge>> challenges;
};

INSTANTIATE_TEST_SUITE_P(, Parallel, everyDrive, driveName );

TEST_P( Parallel, AreChallengedEachWithAChallengeOfItsOwn )
{
    auto responses = answerAll( sendAll( 1 ) );
    EXPECT_EQ( howMany( responses, 401 ), count );
    receiveAll( responses );
    std::vector<std::string> nonces;
    for( const std::string &response : responses )
        nonces.push_back( response.substr( response.find( "nonce=\"" ), 20 ) );
    std::sort( nonces.begin(), nonces.end() );
    EXPECT_EQ( std::unique( nonces.begin(), nonces.end() ), nonces.end() );
}

TEST_P( Parallel, AreAcceptedInTurnsWhenEachAnswersItsOwnChallenge )
{
    receiveAll( answerAll( sendAll( 1 ) ) );
    auto responses = answerAll( sendAll( 100 ) );
    // Whichever is checked first is accepted, and from then on the session expects the next count of its nonce. The
    // next one has another nonce: it is refused, and what was expected forgotten.
    EXPECT_EQ( howMany( responses, 200 ), count / 2 );
    EXPECT_EQ( howMany( responses, 403 ), count / 2 );
    receiveAll( responses );
}

TEST_P( Parallel, AreAcceptedInTheOrderInWhichTheClientSignedThem )
{
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
    auto sent = sendAll( 100 );
    clients.clear();
    std::sort( sent.begin(), sent.end(),
               []( const std::string &a, const std::string &b )
               { return a.substr( a.find( "nc=" ), 11 ) < b.substr( b.find( "nc=" ), 11 ); } );
    for( const std::string &request : sent )
        EXPECT_EQ( howMany( answerAll( { request } ), 200 ), 1 ) << request;
}

TEST_P( Parallel, MayBeGivenUpAtAnyMoment )
{
    sendAll( 1 );
    clients.pop_front();
    clients.pop_back();
    for( int64_t index = 0; index < count; index++ )
    {
        servers.emplace_back( host, parties.server ).write( requestOf( "REGISTER", 100 + index ) );
        clients.emplace_back( host, parties.client ).write( requestOf( "REGISTER", 200 + index ) );
    }
    servers.pop_front();
    servers.pop_back();
    clients.clear();
    for( ServerTransaction &server : servers )
        EXPECT_EQ( statusOf( server.verdict() ), 401 );
    servers.clear();
    EXPECT_EQ( transact( parties ), 401 ) << "the sessions are free";
    EXPECT_EQ( transact( parties ), 200 );
}

} // namespace scenario
