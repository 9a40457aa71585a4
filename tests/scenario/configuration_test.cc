// A registrar from a configuration file, which is loaded again while requests are under way.
#include "configured.h"

#include <deque>

namespace scenario
{

namespace
{

// What a file says of alice, last in the directory's part.
std::string alice( const std::string &password )
{
    return "[object.users.config.users.alice]\nuserName = \"alice\"\nrealm = \"example.org\"\npassword = \"" +
           password + "\"\n";
}

// Calls with sessions of their own, all of which take each step before any takes the next.
class Calls
{
public:
    // The moments at which something may happen to them.
    enum Moment
    {
        REQUEST_WRITTEN,
        REQUEST_ARRIVED,
        CHALLENGED,
        ANSWER_WRITTEN,
        ANSWER_ARRIVED,
        MOMENTS
    };

    explicit Calls( Host &host ) : host_( host ) {}
    void add( Parties parties ) { calls_.push_back( Call{ std::move( parties ), {}, {} } ); }

    // Takes them to a moment.
    void go( Moment moment )
    {
        if( moment == REQUEST_WRITTEN || moment == ANSWER_WRITTEN )
            writeToClients();
        else if( moment == REQUEST_ARRIVED || moment == ANSWER_ARRIVED )
            writeToServers();
        else
            EXPECT_EQ( take(), std::vector<int64_t>( calls_.size(), 401 ) );
    }

    // The status codes that the clients get.
    std::vector<int64_t> take()
    {
        std::vector<int64_t> statuses;
        for( Call &call : calls_ )
        {
            std::string response = call.servers.back().verdict();
            if( response.empty() )
                response = call.servers.back().respond( 200 );
            call.clients.back().receive( response );
            call.parties.challenge = call.clients.back().challenge();
            statuses.push_back( statusOf( response ) );
        }
        return statuses;
    }

private:
    struct Call
    {
        Parties parties;
        std::deque<ClientTransaction> clients;
        std::deque<ServerTransaction> servers;
    };

    void writeToClients()
    {
        for( Call &call : calls_ )
        {
            auto &client = call.clients.emplace_back( host_, call.parties.client, call.parties.challenge );
            client.write( requestOf( "REGISTER", ++call.parties.sequence ) );
        }
    }

    void writeToServers()
    {
        for( Call &call : calls_ )
            call.parties.wire = call.clients.back().sent();
        for( Call &call : calls_ )
            call.servers.emplace_back( host_, call.parties.server ).write( call.parties.wire );
    }

    Host &host_;
    std::deque<Call> calls_;
};

} // namespace

class Configured : public ConfiguredRoad
{
protected:
    // What comes of calls with alice's first password when the file becomes another one at a moment.
    std::vector<int64_t> statusesWithChangeAt( int moment, const std::string &file, bool refused = false )
    {
        EXPECT_EQ( load( first ), "" );
        Calls calls( host );
        for( int count = 0; count < 4; count++ )
            calls.add( parties( registrar() ) );
        for( int step = 0; step < Calls::MOMENTS; step++ )
        {
            calls.go( Calls::Moment( step ) );
            if( step == moment )
            {
                EXPECT_EQ( load( file ) != "", refused );
            }
        }
        return calls.take();
    }

    const std::string first = fileText( alice( "wonderland" ) );
    const std::vector<int64_t> allAccepted = std::vector<int64_t>( 4, 200 );
    const std::vector<int64_t> allRefused = std::vector<int64_t>( 4, 403 );
};

INSTANTIATE_TEST_SUITE_P(, Configured, everyDrive, driveName );

TEST_P( Configured, RegistrarChecksTheUsersOfTheDirectoryThatItNames )
{
    ASSERT_EQ( load( first ), "" );
    EXPECT_EQ( logIn( "alice", "wonderland" ), 200 );
    EXPECT_EQ( logIn( "alice", "looking-glass" ), 403 );
    EXPECT_EQ( logIn( "hatter", "wonderland" ), 403 );
}

TEST_P( Configured, ClientIsTheUserOfAReference )
{
    ASSERT_EQ( load( first ), "" );
    Parties parties = Road::parties( registrar() );
    auto reference = own( usrReferenceCreate( string( "users" ), string( "alice" ) ) );
    parties.client = own(
        sipauthSessionCreateWithClientUserReference( registrar(), SIPAUTH_SESSION_FLAG_CLIENT, reference, nullptr ) );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
    EXPECT_EQ( transact( parties ), 200 );
}

TEST_P( Configured, ClientFailsWhenItsReferenceLeadsToNoUser )
{
    ASSERT_EQ( load( first ), "" );
    for( const char *directoryName : { "users", "nobody" } )
    {
        Parties parties = Road::parties( registrar() );
        auto reference = own( usrReferenceCreate( string( directoryName ), string( "hatter" ) ) );
        parties.client = own( sipauthSessionCreateWithClientUserReference( registrar(), SIPAUTH_SESSION_FLAG_CLIENT,
                                                                           reference, nullptr ) );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( transact( parties ), 0 ) << "no request leaves";
        EXPECT_TRUE( sipauthSessionError( parties.client ) );
    }
}

TEST_P( Configured, ClientIsTheUserWhomTheOptionsName )
{
    ASSERT_EQ( load( fileText( alice( "wonderland" ), "[object.registrar.config.clientUsrReference]\n"
                                                      "directoryName = \"users\"\nuserId = \"alice\"\n" ) ),
               "" );
    Parties parties = Road::parties( registrar() );
    parties.client = own( sipauthSessionCreate( registrar(), SIPAUTH_SESSION_FLAG_CLIENT, nullptr ) );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
}

TEST_P( Configured, PasswordThatIsChangedCountsFromTheNextLookupOn )
{
    for( int moment = 0; moment < Calls::MOMENTS; moment++ )
    {
        SCOPED_TRACE( moment );
        auto statuses = statusesWithChangeAt( moment, fileText( alice( "looking-glass" ) ) );
        if( moment < Calls::ANSWER_ARRIVED )
        {
            EXPECT_EQ( statuses, allRefused );
        }
        for( int64_t status : statuses )
            EXPECT_TRUE( status == 200 || status == 403 ) << status;
        EXPECT_EQ( logIn( "alice", "wonderland" ), 403 );
        EXPECT_EQ( logIn( "alice", "looking-glass" ), 200 );
    }
}

TEST_P( Configured, OptionsThatAreChangedCountForNewSessions )
{
    for( int moment = 0; moment < Calls::MOMENTS; moment++ )
    {
        SCOPED_TRACE( moment );
        const std::string minimal = "defaults = \"SIPAUTH_DEFAULTS_MINIMAL\"\n";
        EXPECT_EQ( statusesWithChangeAt( moment, fileText( alice( "wonderland" ), minimal ) ), allAccepted );
        Parties parties = Road::parties( registrar() );
        EXPECT_EQ( transact( parties ), 401 );
        EXPECT_EQ( transact( parties ), 200 );
        EXPECT_EQ( headerOf( parties.wire, "Authorization" ).find( "nc=" ), std::string::npos ) << parties.wire;
    }
}

TEST_P( Configured, FileThatIsBrokenChangesNothing )
{
    const std::string broken[] = { "[object.users\n", fileText( alice( "looking-glass" ) + "enabled = 1\n" ),
                                   fileText( "maxLookups = 0\n" + alice( "looking-glass" ) ) };
    for( int moment = 0; moment < Calls::MOMENTS; moment++ )
    {
        SCOPED_TRACE( moment );
        const std::string &file = broken[size_t( moment ) % std::size( broken )];
        EXPECT_EQ( statusesWithChangeAt( moment, file, true ), allAccepted );
        EXPECT_EQ( logIn( "alice", "wonderland" ), 200 );
        EXPECT_EQ( logIn( "alice", "looking-glass" ), 403 );
    }
}

TEST_P( Configured, RegistrarThatIsTakenAwayServesTheRequestsUnderWayToTheirEnd )
{
    ASSERT_EQ( load( first ), "" );
    Parties parties = Road::parties( registrar() );
    EXPECT_EQ( transact( parties ), 401 );
    csConfigurationUnload( configuration );
    EXPECT_FALSE( registrar() );
    EXPECT_EQ( transact( parties ), 403 ) << "its directory has no name any more, so that nobody is found";
}

} // namespace scenario
