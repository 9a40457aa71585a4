// Directories of a configuration file: made, changed, read back and taken away as the file says.
#include "cs/cs_files.h"
#include "fake_driver.h"

#include <cs/cs_configuration.h>
#include <cs/cs_object.h>
#include <cs_toml/cs_toml.h>
#include <usr/usr_lookup_identifier.h>

namespace
{

using namespace fake;

const std::string head = "[object.users]\nsort = \"USR_DIRECTORY\"\n[object.users.config]\n";
const std::string alice = "[object.users.config.users.alice]\nuserName = \"alice\"\npassword = \"secret\"\n";

class Configuration : public Driven
{
protected:
    Configuration() { pbModuleStart( usrModule() ); }
    ~Configuration() override
    {
        configuration.clear();
        pbModuleStop( usrModule() );
    }

    bool load( const std::string &text )
    {
        cs_support::writeText( folder.file( "users.toml" ), text );
        reason.clear();
        if( configuration )
            return csConfigurationTryReload( configuration, reason.inout() );
        auto format = own( csTomlFormatCreate() );
        configuration =
            own( csConfigurationTryLoad( format, string( folder.file( "users.toml" ) ), nullptr, reason.inout() ) );
        return static_cast<bool>( configuration );
    }

    // What was said against the file, behind its name.
    std::string refusal()
    {
        std::string text = pb::text( reason );
        return text.substr( std::min( text.size(), folder.file( "users.toml" ).size() ) );
    }

    pb::Ref<usrDirectory> users()
    {
        return own( usrDirectoryFrom( csObject( string( "users" ), usrDirectorySort() ) ) );
    }

    cs_support::Folder folder;
    pb::Ref<csConfiguration> configuration;
    pb::Ref<pbString> reason;
};

TEST_F( Configuration, MakesADirectoryWhoseUsersReferencesName )
{
    ASSERT_TRUE( load( head + alice ) ) << pb::text( reason );
    EXPECT_EQ( idOf( lookupIn( users(), "alice" ) ), "alice" );
    auto reference = own( usrReferenceCreate( string( "users" ), string( "alice" ) ) );
    auto lookup = own( usrLookupIdentifierTryCreateWithReference( reference, nullptr ) );
    auto user = own( usrLookupIdentifierResult( lookup ) );
    EXPECT_EQ( passwordOf( queryOf( user ) ), "c2VjcmV0" );
}

TEST_F( Configuration, IsRefusedWithTheLineTheKeyAndTheReason )
{
    EXPECT_FALSE( load( head + "maxLookups = 0\n" ) );
    EXPECT_EQ( refusal(), ":4: object 'users': 'maxLookups': 0 is not within 1 and 1000000" );
    EXPECT_FALSE( load( head + alice + "enabled = 1\n" ) );
    EXPECT_EQ( refusal(), ":7: object 'users': 'users.alice.enabled': is no boolean" );
    EXPECT_FALSE( load( head + "driver = \"none\"\n" ) );
    EXPECT_EQ( refusal(), ":4: object 'users': driver: there is no driver \"none\"" );
    EXPECT_EQ( users().get(), nullptr );
}

TEST_F( Configuration, ChangesTheDirectoryInItsPlace )
{
    ASSERT_TRUE( load( head + alice ) );
    pb::Ref<usrDirectory> before = users();
    ASSERT_TRUE( load( head + "[object.users.config.users.bob]\nuserName = \"bob\"\npassword = \"b\"\n" ) );
    EXPECT_EQ( users().get(), before.get() );
    EXPECT_EQ( idOf( lookupIn( before, "bob" ) ), "bob" );
    EXPECT_EQ( idOf( lookupIn( before, "alice" ) ), "(null)" );
    EXPECT_FALSE( load( head + "driver = 1\n" ) );
    EXPECT_EQ( idOf( lookupIn( before, "bob" ) ), "bob" );
}

TEST_F( Configuration, KeepsTheDirectoryWhenItsNewConfigurationFailsAtWork )
{
    ASSERT_TRUE( load( head + alice ) );
    ASSERT_TRUE( load( head + "driver = \"fake\"\nbroken = true\n" ) ) << "no check beforehand finds this fault";
    EXPECT_EQ( idOf( lookupIn( users(), "alice" ) ), "alice" );
    EXPECT_EQ( texts( "USR_DIRECTORY" ).back(), "[usr___DirectoryImpTrySetConfig()] The configuration cannot be taken; "
                                                "the one before it stays in force." );
}

TEST_F( Configuration, LeavesADirectoryThatIsGoneToThoseWhoUseIt )
{
    ASSERT_TRUE( load( head + alice ) );
    pb::Ref<usrDirectory> before = users();
    ASSERT_TRUE( load( "" ) ) << pb::text( reason );
    EXPECT_EQ( users().get(), nullptr );
    EXPECT_EQ( idOf( lookupIn( before, "alice" ) ), "alice" );
}

TEST_F( Configuration, ReadsTheDirectoryBack )
{
    ASSERT_TRUE( load( head + "lookupTimeout = 2000\nmaxLookups = 7\n" + alice ) );
    auto read = own( csConfigurationRead( configuration, 0 ) );
    auto config = own( csUpdateObjectConfig( read, string( "users" ) ) );
    auto expected = Store().set( "maxLookups", int64_t{ 7 } );
    expected.set( "users",
                  Store().set( "alice", Store().set( "userName", "alice" ).set( "passwordBase64", "c2VjcmV0" ) ) );
    EXPECT_EQ( textOf( pbStoreToString( config ) ), textOf( pbStoreToString( expected ) ) );
}

} // namespace
