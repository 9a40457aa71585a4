// Users in memory: their configuration and whom a lookup finds.
#include "fake_driver.h"

#include "support/abort.h"

#include <usr/usr_administration.h>

namespace
{

using namespace fake;

Store user( const char *userName, const char *password = "secret" )
{
    return Store().set( "userName", userName ).set( "password", password );
}

// The configuration with users under the labels "0", "1" and so on.
Store with( std::initializer_list<Store> list )
{
    Store users;
    int64_t index = 0;
    for( const Store &item : list )
        users.set( std::to_string( index++ ).c_str(), item );
    return Store().set( "users", users );
}

pb::Ref<usrDirectory> directoryWith( std::initializer_list<Store> list )
{
    return own( usrDirectoryTryCreate( with( list ), nullptr, nullptr ) );
}

class Memory : public Driven
{
protected:
    // Why no user was found.
    std::string why( usrDirectory *directory, const char *userName, const char *realm = nullptr )
    {
        auto lookup = lookupIn( directory, userName, realm );
        EXPECT_TRUE( usrLookupEnd( lookup ) );
        EXPECT_FALSE( usrLookupHasResult( lookup ) );
        const std::string start = "[usr___RequestEndWithout()] ";
        std::string text = texts( "USR_LOOKUP" ).back();
        EXPECT_EQ( text.substr( 0, start.size() ), start );
        return text.substr( start.size() );
    }
};

std::string found( usrDirectory *directory, const char *userName, const char *realm = nullptr )
{
    return idOf( lookupIn( directory, userName, realm ) );
}

std::string refusal( const Store &config )
{
    pb::Ref<pbString> reason;
    EXPECT_FALSE( usrDirectoryCheckConfig( config, reason.inout() ) );
    EXPECT_EQ( usrDirectoryTryCreate( config, nullptr, nullptr ), nullptr );
    return pb::text( reason );
}

std::string shown( pbStore *store )
{
    return textOf( pbStoreToString( store ) );
}

TEST_F( Memory, FindsUsersOfTheConfiguration )
{
    auto users = directoryWith( { user( "alice" ), user( "bob \u20ac", "p\u00e4ss" ).set( "userId", "17" ) } );
    EXPECT_EQ( found( users, "alice" ), "alice" );
    EXPECT_EQ( found( users, "bob \u20ac" ), "17" );
    EXPECT_EQ( why( users, "Alice" ), "not found" );
    EXPECT_EQ( why( users, "17" ), "not found" );
    EXPECT_EQ( why( users, "" ), "not found" );
}

TEST_F( Memory, AnswersWithUserNameAndPassword )
{
    auto users = directoryWith( { user( "alice" ), user( "bob", "p\u00e4ss" ).set( "userId", "17" ) } );
    auto query = queryOf( own( usrLookupResult( lookupIn( users, "bob" ) ) ) );
    auto store = own( pbStoreFrom( usrQueryResult( query ) ) );
    EXPECT_EQ( pbStoreLength( store ), 2 );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "userName", -1 ) ), "bob" );
    EXPECT_EQ( textOf( pbStoreValueCstr( store, "passwordBase64", -1 ) ), "cMOkc3M=" );
    EXPECT_EQ( passwordOf( queryOf( own( usrUserCreate( users, string( "17" ) ) ) ) ), "cMOkc3M=" );
    auto nobody = queryOf( own( usrUserCreate( users, string( "bob" ) ) ) );
    EXPECT_TRUE( usrQueryEnd( nobody ) );
    EXPECT_FALSE( usrQueryHasResult( nobody ) );
    EXPECT_EQ( texts( "USR_QUERY" ).back(), "[usr___RequestEndWithout()] not found" );
}

TEST_F( Memory, FindsExactlyTheRealmElseTheUserWithoutRealm )
{
    auto users = directoryWith( { user( "alice" ).set( "userId", "none" ),
                                  user( "alice" ).set( "userId", "a" ).set( "realm", "a.org" ),
                                  user( "bob" ).set( "userId", "b" ).set( "realm", "a.org" ) } );
    EXPECT_EQ( found( users, "alice", "a.org" ), "a" );
    EXPECT_EQ( found( users, "alice", "A.org" ), "none" );
    EXPECT_EQ( found( users, "alice", "" ), "none" );
    EXPECT_EQ( found( users, "bob", "a.org" ), "b" );
    EXPECT_EQ( why( users, "bob", "b.org" ), "not found" );
}

TEST_F( Memory, FindsWithoutRealmTheUserWithoutRealmElseTheOnlyOne )
{
    auto users = directoryWith( { user( "alice" ).set( "userId", "none" ),
                                  user( "alice" ).set( "userId", "a" ).set( "realm", "a.org" ),
                                  user( "bob" ).set( "userId", "b" ).set( "realm", "a.org" ),
                                  user( "carol" ).set( "userId", "c1" ).set( "realm", "a.org" ),
                                  user( "carol" ).set( "userId", "c2" ).set( "realm", "b.org" ) } );
    EXPECT_EQ( found( users, "alice" ), "none" );
    EXPECT_EQ( found( users, "bob" ), "b" );
    EXPECT_EQ( why( users, "carol" ), "ambiguous: several realms have this user name" );
    EXPECT_EQ( found( users, "carol", "b.org" ), "c2" );
}

TEST_F( Memory, FindsNobodyDisabledOrWithoutPassword )
{
    auto users =
        directoryWith( { user( "alice" ).set( "enabled", false ), user( "bob", "" ), Store().set( "userName", "carol" ),
                         user( "dave" ).set( "userId", "d" ),
                         user( "dave" ).set( "userId", "da" ).set( "realm", "a.org" ).set( "enabled", false ) } );
    EXPECT_EQ( why( users, "alice" ), "disabled" );
    EXPECT_EQ( why( users, "bob" ), "no password" );
    EXPECT_EQ( why( users, "carol" ), "no password" );
    EXPECT_EQ( why( users, "dave", "a.org" ), "disabled" ) << "the user without realm does not take the place";
    EXPECT_EQ( found( users, "dave" ), "d" );
    for( const char *id : { "alice", "bob", "da" } )
        EXPECT_FALSE( usrQueryHasResult( queryOf( own( usrUserCreate( users, string( id ) ) ) ) ) );
    auto lines = texts( "USR_QUERY" );
    EXPECT_EQ( lines.back(), "[usr___RequestEndWithout()] disabled" );
    EXPECT_EQ( lines[lines.size() - 3], "[usr___RequestEndWithout()] no password" );
}

TEST_F( Memory, TakesPasswordsInBase64 )
{
    auto users = directoryWith( { Store().set( "userName", "alice" ).set( "passwordBase64", "c2VjcmV0" ),
                                  Store().set( "userName", "bob" ).set( "passwordBase64", "" ) } );
    EXPECT_EQ( passwordOf( queryOf( own( usrUserCreate( users, string( "alice" ) ) ) ) ), "c2VjcmV0" );
    EXPECT_EQ( why( users, "bob" ), "no password" );
}

TEST_F( Memory, RefusesABrokenConfigurationWithTheKey )
{
    EXPECT_EQ( refusal( Store().set( "user", with( {} ) ) ), "user: is unknown" );
    EXPECT_EQ( refusal( Store().set( "users", "alice" ) ), "users: is no store" );
    EXPECT_EQ( refusal( Store().set( "users", Store().set( "x", "alice" ) ) ), "users.x: is no store" );
    EXPECT_EQ( refusal( with( { user( "a" ), Store() } ) ), "users.1.userName: is missing" );
    EXPECT_EQ( refusal( with( { user( "" ) } ) ), "users.0.userName: is empty" );
    EXPECT_EQ( refusal( with( { user( "a" ).set( "userId", "" ) } ) ), "users.0.userId: is empty" );
    EXPECT_EQ( refusal( with( { user( "a" ).set( "pasword", "" ) } ) ), "users.0.pasword: is unknown" );
    EXPECT_EQ( refusal( with( { user( "a" ).set( "realm", int64_t{ 1 } ) } ) ), "users.0.realm: is no string" );
    EXPECT_EQ( refusal( with( { user( "a" ).set( "enabled", "yes" ) } ) ), "users.0.enabled: is no boolean" );
    EXPECT_EQ( refusal( with( { user( "a" ).set( "passwordBase64", "YQ==" ) } ) ), "users.0.password: is there twice" );
    EXPECT_EQ( refusal( with( { Store().set( "userName", "a" ).set( "passwordBase64", "a" ) } ) ),
               "users.0.passwordBase64: is not base 64" );
    EXPECT_EQ( refusal( with( { user( "a" ), user( "b" ).set( "userId", "a" ) } ) ),
               "users.1.userId: another user has it" );
    EXPECT_EQ( refusal( with( { user( "a" ), user( "a" ).set( "userId", "b" ) } ) ),
               "users.1.userName: another user has it" );
    EXPECT_EQ(
        refusal( with( { user( "a" ).set( "realm", "r" ), user( "a" ).set( "userId", "b" ).set( "realm", "r" ) } ) ),
        "users.1.userName: another user has it" );
}

TEST_F( Memory, HasACanonicalConfiguration )
{
    auto config = with( { user( "alice" ).set( "enabled", true ).set( "userId", "alice" ),
                          user( "bob" ).set( "userId", "17" ).set( "realm", "r" ).set( "enabled", false ) } );
    auto brief = Store().set(
        "users", Store()
                     .set( "alice", Store().set( "userName", "alice" ).set( "passwordBase64", "c2VjcmV0" ) )
                     .set( "17", Store()
                                     .set( "userId", "17" )
                                     .set( "userName", "bob" )
                                     .set( "realm", "r" )
                                     .set( "passwordBase64", "c2VjcmV0" )
                                     .set( "enabled", false ) ) );
    EXPECT_EQ( shown( own( usrDirectoryNormalizeConfig( config, 0 ) ) ), shown( brief ) );
    EXPECT_EQ( shown( own( usrDirectoryNormalizeConfig( brief, 0 ) ) ), shown( brief ) );
    auto full = own( usrDirectoryNormalizeConfig( config, 1 ) );
    auto alice = own( pbStoreStoreCstr( own( pbStoreStoreCstr( full, "users", -1 ) ), "alice", -1 ) );
    EXPECT_EQ( pbStoreLength( alice ), 4 );
    auto directory = own( usrDirectoryTryCreate( config, nullptr, nullptr ) );
    EXPECT_EQ( shown( own( usrDirectoryConfig( directory, 0 ) ) ), shown( brief ) );
    EXPECT_TRUE( pbStoreEquals( own( usrDirectoryConfig( directory, 1 ) ), full ) );
    auto empty = Store().set( "users", Store() );
    EXPECT_EQ( pbStoreLength( own( usrDirectoryNormalizeConfig( empty, 0 ) ) ), 0 );
    auto broken = Store().set( "users", "alice" );
    EXPECT_EQ( shown( own( usrDirectoryNormalizeConfig( broken, 0 ) ) ), shown( broken ) );
}

TEST_F( Memory, ShowsAdministeredUsersInItsConfiguration )
{
    auto users = directoryWith( { user( "alice" ) } );
    EXPECT_EQ( usrDirectoryAddUser( users, nullptr, string( "bob" ), nullptr, string( "b" ), nullptr ), USR_RESULT_OK );
    EXPECT_EQ( usrDirectoryDeleteUser( users, string( "alice" ), nullptr ), USR_RESULT_OK );
    EXPECT_EQ(
        shown( own( usrDirectoryConfig( users, 0 ) ) ),
        shown( Store().set(
            "users", Store().set( "bob", Store().set( "userName", "bob" ).set( "passwordBase64", "Yg==" ) ) ) ) );
}

TEST_F( Memory, TakesOtherUsersWithAnotherConfiguration )
{
    auto users = directoryWith( { user( "alice" ) } );
    auto before = own( usrLookupResult( lookupIn( users, "alice" ) ) );
    EXPECT_TRUE( usrDirectoryTrySetConfig( users, with( { user( "bob" ) } ), nullptr ) );
    EXPECT_EQ( why( users, "alice" ), "not found" );
    EXPECT_EQ( found( users, "bob" ), "bob" );
    EXPECT_EQ( passwordOf( queryOf( before ) ), "c2VjcmV0" ) << "who was found keeps the credentials of that moment";
}

TEST_F( Memory, KeepsAdministeredUsersWhenOnlyLimitsChange )
{
    auto users = directoryWith( { user( "alice" ) } );
    EXPECT_EQ( usrDirectoryAddUser( users, nullptr, string( "bob" ), nullptr, string( "b" ), nullptr ), USR_RESULT_OK );
    EXPECT_TRUE(
        usrDirectoryTrySetConfig( users, with( { user( "alice" ) } ).set( "maxLookups", int64_t{ 2 } ), nullptr ) );
    EXPECT_EQ( found( users, "bob" ), "bob" );
}

TEST_F( Memory, HoldsManyUsers )
{
    Store many;
    for( int number = 0; number < 20000; number++ )
        many.set( std::to_string( number ).c_str(), user( ( "user" + std::to_string( number ) ).c_str() ) );
    auto users = own( usrDirectoryTryCreate( Store().set( "users", many ), nullptr, nullptr ) );
    EXPECT_EQ( found( users, "user19999" ), "user19999" );
    EXPECT_EQ( why( users, "user20000" ), "not found" );
}

} // namespace
