// The table of proven sessions.
#include "host/host_server_sessions.h"

#include "server_support.h"

namespace
{

using host::server::Sessions;
using serving::string;
using serving::tcpPeer;
using serving::udpPeer;

class Table : public serving::Serving
{
protected:
    Table() { serve(); }

    pb::Ref<sipauthSession> session()
    {
        return pb::own( sipauthSessionCreate( stack, SIPAUTH_SESSION_FLAG_SERVER, nullptr ) );
    }
    pb::Ref<host___Session> add( const char *binding, hostPeer *peer )
    {
        return sessions.add( string( binding ), peer, session(), string( "nonce" ) );
    }
    bool has( const char *binding, hostPeer *peer )
    {
        return static_cast<bool>( sessions.find( string( binding ), peer ) );
    }

    Sessions sessions{ 100, 1000 };
};

} // namespace

TEST_F( Table, FindsASessionByBindingAndFlow )
{
    auto added = add( "alice", udpPeer() );
    EXPECT_EQ( sessions.find( string( "alice" ), udpPeer() ).get(), added.get() );
    EXPECT_FALSE( has( "bob", udpPeer() ) );
    EXPECT_FALSE( has( "alice", udpPeer( 5061 ) ) );
    EXPECT_FALSE( has( "alice", udpPeer( 5060, 2 ) ) );
    EXPECT_FALSE( has( "alice", tcpPeer() ) );
    EXPECT_EQ( sessions.length(), 1 );
}

TEST_F( Table, TellsConnectionsApart )
{
    add( "alice", tcpPeer( 1 ) ).clear();
    EXPECT_TRUE( has( "alice", tcpPeer( 1 ) ) );
    EXPECT_FALSE( has( "alice", tcpPeer( 2 ) ) );
}

TEST_F( Table, KeepsOneSessionForEachFlowOfABinding )
{
    auto first = add( "alice", udpPeer( 1 ) );
    auto second = add( "alice", udpPeer( 2 ) );
    auto third = add( "alice", udpPeer( 3 ) );
    sessions.drop( second );
    EXPECT_EQ( sessions.find( string( "alice" ), udpPeer( 1 ) ).get(), first.get() );
    EXPECT_FALSE( has( "alice", udpPeer( 2 ) ) );
    EXPECT_EQ( sessions.find( string( "alice" ), udpPeer( 3 ) ).get(), third.get() );
    sessions.drop( third );
    sessions.drop( first );
    EXPECT_FALSE( has( "alice", udpPeer( 1 ) ) );
    EXPECT_EQ( sessions.length(), 0 );
}

TEST_F( Table, ReplacesTheSessionOfABindingAndFlow )
{
    auto first = add( "alice", udpPeer() );
    auto second = add( "alice", udpPeer() );
    EXPECT_EQ( sessions.find( string( "alice" ), udpPeer() ).get(), second.get() );
    EXPECT_EQ( sessions.length(), 1 );
    EXPECT_FALSE( first->inTable );
}

TEST_F( Table, ForgetsASessionThatWasNotUsedForItsLifetime )
{
    add( "alice", udpPeer() ).clear();
    pass( 999 );
    EXPECT_TRUE( has( "alice", udpPeer() ) );
    pass( 1 );
    EXPECT_FALSE( has( "alice", udpPeer() ) );
    EXPECT_EQ( sessions.length(), 0 );
}

TEST_F( Table, CountsTheLifetimeFromTheLastUse )
{
    auto added = add( "alice", udpPeer() );
    pass( 900 );
    sessions.use( added );
    pass( 900 );
    EXPECT_TRUE( has( "alice", udpPeer() ) );
}

TEST_F( Table, LookingForASessionIsNoUse )
{
    add( "alice", udpPeer() ).clear();
    pass( 900 );
    EXPECT_TRUE( has( "alice", udpPeer() ) );
    pass( 100 );
    EXPECT_FALSE( has( "alice", udpPeer() ) );
}

TEST_F( Table, DropsOldSessionsWhenAnotherIsAdded )
{
    add( "alice", udpPeer() ).clear();
    add( "bob", udpPeer() ).clear();
    pass( 1000 );
    add( "carol", udpPeer() ).clear();
    EXPECT_EQ( sessions.length(), 1 );
}

TEST_F( Table, DropsTheOneUsedLongestAgoWhenItIsFull )
{
    sessions.setBounds( 2, 1000 );
    auto alice = add( "alice", udpPeer() );
    add( "bob", udpPeer() ).clear();
    sessions.use( alice );
    add( "carol", udpPeer() ).clear();
    EXPECT_TRUE( has( "alice", udpPeer() ) );
    EXPECT_FALSE( has( "bob", udpPeer() ) );
    EXPECT_TRUE( has( "carol", udpPeer() ) );
}

TEST_F( Table, ShrinksWithItsBounds )
{
    for( int64_t port = 1; port <= 10; port++ )
        add( std::to_string( port ).c_str(), udpPeer( port ) ).clear();
    sessions.setBounds( 3, 1000 );
    EXPECT_EQ( sessions.length(), 3 );
    EXPECT_TRUE( has( "10", udpPeer( 10 ) ) );
    EXPECT_TRUE( has( "8", udpPeer( 8 ) ) );
    EXPECT_FALSE( has( "7", udpPeer( 7 ) ) );
}

TEST_F( Table, HasNoMoreThanSixteenFlowsOfABinding )
{
    for( int64_t port = 1; port <= 20; port++ )
        add( "alice", udpPeer( port ) ).clear();
    EXPECT_EQ( sessions.length(), 16 );
    EXPECT_FALSE( has( "alice", udpPeer( 4 ) ) );
    EXPECT_TRUE( has( "alice", udpPeer( 5 ) ) );
    EXPECT_TRUE( has( "alice", udpPeer( 20 ) ) );
}

TEST_F( Table, DropsAllSessionsOfABinding )
{
    add( "alice", udpPeer( 1 ) ).clear();
    add( "alice", udpPeer( 2 ) ).clear();
    add( "bob", udpPeer( 3 ) ).clear();
    sessions.dropBinding( string( "alice" ) );
    EXPECT_EQ( sessions.length(), 1 );
    EXPECT_TRUE( has( "bob", udpPeer( 3 ) ) );
    sessions.dropBinding( string( "nobody" ) );
    sessions.dropAll();
    EXPECT_EQ( sessions.length(), 0 );
}

TEST_F( Table, ADroppedSessionStaysOut )
{
    auto added = add( "alice", udpPeer() );
    sessions.drop( added );
    sessions.drop( added );
    sessions.use( added );
    EXPECT_EQ( sessions.length(), 0 );
    EXPECT_FALSE( has( "alice", udpPeer() ) );
}

TEST_F( Table, KeepsItsOrderUnderRandomUse )
{
    // Against a plain list: the newest last.
    sessions.setBounds( 8, 1000000 );
    std::vector<std::string> order;
    for( int step = 0; step < 2000; step++ )
    {
        std::string name = std::to_string( pb___SimulationRandom( simulation, 12 ) );
        auto found = sessions.find( string( name ), udpPeer() );
        ASSERT_EQ( static_cast<bool>( found ), std::count( order.begin(), order.end(), name ) == 1 );
        std::erase( order, name );
        switch( pb___SimulationRandom( simulation, 3 ) )
        {
        case 0:
            if( found )
                sessions.drop( found );
            break;
        case 1:
            if( found )
            {
                sessions.use( found );
                order.push_back( name );
            }
            break;
        default:
            add( name.c_str(), udpPeer() ).clear();
            order.push_back( name );
            if( order.size() > 8 )
                order.erase( order.begin() );
        }
        ASSERT_EQ( sessions.length(), static_cast<int64_t>( order.size() ) );
        pass( 1 );
    }
}
