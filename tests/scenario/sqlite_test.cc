// A registrar whose users are in a database: they come, change their passwords and go while it is running.
#include "configured.h"

#include <usr_sqlite/usr_sqlite.h>

namespace scenario
{

class SqliteRoad : public ConfiguredRoad
{
protected:
    struct Registered
    {
        Registered() { usrSqliteRegister(); }
        ~Registered() { usrSqliteUnregister(); }
    };

    SqliteRoad()
    {
        EXPECT_EQ( load( file() ), "" );
        EXPECT_EQ( users::add( directory(), "id-alice", "alice", "example.org", "wonderland" ), "ok" );
    }
    ~SqliteRoad() override { configuration.clear(); }

    std::string file() { return fileText( "driver = \"sqlite\"\npath = \"" + folder / "users.db" + "\"\n" ); }

    Registered registered;
};

INSTANTIATE_TEST_SUITE_P(, SqliteRoad, everyDrive, driveName );

TEST_P( SqliteRoad, LetsAUserInWhoWasAdded )
{
    EXPECT_EQ( logIn( "bob", "builder" ), 403 );
    EXPECT_EQ( users::add( directory(), "id-bob", "bob", "example.org", "builder" ), "ok" );
    EXPECT_EQ( logIn( "bob", "builder" ), 200 );
    EXPECT_EQ( logIn( "bob", "wonderland" ), 403 );
    EXPECT_EQ( logIn( "alice", "wonderland" ), 200 );
}

TEST_P( SqliteRoad, TakesANewPasswordAndNoLongerTheOldOne )
{
    EXPECT_EQ( logIn( "alice", "wonderland" ), 200 );
    EXPECT_EQ( users::setPassword( directory(), "id-alice", "looking-glass" ), "ok" );
    EXPECT_EQ( logIn( "alice", "wonderland" ), 403 );
    EXPECT_EQ( logIn( "alice", "looking-glass" ), 200 );
}

TEST_P( SqliteRoad, ShutsAUserOutWhoIsDisabled )
{
    EXPECT_EQ( users::setEnabled( directory(), "id-alice", false ), "ok" );
    EXPECT_EQ( logIn( "alice", "wonderland" ), 403 );
    EXPECT_EQ( users::setEnabled( directory(), "id-alice", true ), "ok" );
    EXPECT_EQ( logIn( "alice", "wonderland" ), 200 );
}

TEST_P( SqliteRoad, ForgetsAUserWhoWasDeleted )
{
    EXPECT_EQ( logIn( "alice", "wonderland" ), 200 );
    EXPECT_EQ( users::remove( directory(), "id-alice" ), "ok" );
    EXPECT_EQ( logIn( "alice", "wonderland" ), 403 );
    EXPECT_EQ( users::list( directory() ), std::vector<std::string>{} );
}

TEST_P( SqliteRoad, LeavesASessionAloneWhoseUserIsDeleted )
{
    Parties parties = Road::parties( registrar() );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
    EXPECT_EQ( users::remove( directory(), "id-alice" ), "ok" );
    EXPECT_EQ( transact( parties ), 200 ) << "the session knows its user";
}

TEST_P( SqliteRoad, KnowsItsUsersAfterARestart )
{
    EXPECT_EQ( users::setPassword( directory(), "id-alice", "looking-glass" ), "ok" );
    configuration.clear();
    EXPECT_EQ( load( file() ), "" );
    EXPECT_EQ( logIn( "alice", "looking-glass" ), 200 );
}

TEST_P( SqliteRoad, LetsAClientInWhoIsAReference )
{
    Parties parties = Road::parties( registrar() );
    auto reference = own( usrReferenceCreate( string( "users" ), string( "id-alice" ) ) );
    parties.client = own(
        sipauthSessionCreateWithClientUserReference( registrar(), SIPAUTH_SESSION_FLAG_CLIENT, reference, nullptr ) );
    EXPECT_EQ( transact( parties ), 401 );
    EXPECT_EQ( transact( parties ), 200 );
}

} // namespace scenario
