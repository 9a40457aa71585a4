// Administration: users are added, changed, deleted and listed; what is refused is said.
#include "fake_driver.h"

#include "support/abort.h"

#include <usr/usr_administration.h>

namespace
{

using namespace fake;
using testing::ElementsAre;

class Administration : public Driven
{
protected:
    int64_t add( const char *userName, const char *id = nullptr, const char *realm = nullptr,
                 const char *password = "secret" )
    {
        return usrDirectoryAddUser( users, id ? string( id ).get() : nullptr, string( userName ),
                                    realm ? string( realm ).get() : nullptr, string( password ), told() );
    }
    int64_t setPassword( const char *id, const char *password )
    {
        return usrDirectorySetPassword( users, string( id ), string( password ), told() );
    }
    int64_t setEnabled( const char *id, pbBool enabled )
    {
        return usrDirectorySetUserEnabled( users, string( id ), enabled, told() );
    }
    int64_t remove( const char *id ) { return usrDirectoryDeleteUser( users, string( id ), told() ); }

    std::vector<std::string> list()
    {
        pb::Ref<pbVector> listed;
        EXPECT_EQ( usrDirectoryListUsers( users, listed.inout(), told() ), USR_RESULT_OK );
        std::vector<std::string> lines;
        for( int64_t index = 0; index < pbVectorLength( listed ); index++ )
        {
            auto user = own( pbStoreFrom( pbVectorObjAt( listed, index ) ) );
            pbBool enabled = 0;
            EXPECT_TRUE( pbStoreValueBoolCstr( user, "enabled", -1, &enabled ) );
            lines.push_back( textOf( pbStoreValueCstr( user, "userId", -1 ) ) + " " +
                             textOf( pbStoreValueCstr( user, "userName", -1 ) ) + "@" +
                             textOf( pbStoreValueCstr( user, "realm", -1 ) ) + ( enabled ? "" : " disabled" ) );
        }
        return lines;
    }

    std::string id( const char *userName, const char *realm = nullptr )
    {
        return idOf( lookupIn( users, userName, realm ) );
    }

    pbString **told()
    {
        reason.clear();
        return reason.inout();
    }

    pb::Ref<usrDirectory> users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    pb::Ref<pbString> reason;
};

TEST_F( Administration, AddsUsers )
{
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( reason.get(), nullptr );
    EXPECT_EQ( add( "alice", "17", "example.org" ), USR_RESULT_OK );
    EXPECT_EQ( id( "alice" ), "alice" );
    EXPECT_EQ( id( "alice", "example.org" ), "17" );
    EXPECT_THAT( list(), ElementsAre( "alice alice@(null)", "17 alice@example.org" ) );
}

TEST_F( Administration, AddsNobodyTwice )
{
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( add( "alice", "17" ), USR_RESULT_EXISTS );
    EXPECT_EQ( pb::text( reason ), "there is a user with this id, or with this name and realm" );
    EXPECT_EQ( add( "bob", "alice" ), USR_RESULT_EXISTS );
    EXPECT_EQ( add( "alice", nullptr, "example.org" ), USR_RESULT_EXISTS ) << "the id is the user name";
    EXPECT_EQ( list().size(), 1u );
}

TEST_F( Administration, RefusesWhatIsEmpty )
{
    EXPECT_EQ( add( "" ), USR_RESULT_FAILED );
    EXPECT_EQ( pb::text( reason ), "userName: is empty" );
    EXPECT_EQ( add( "alice", "" ), USR_RESULT_FAILED );
    EXPECT_EQ( pb::text( reason ), "userId: is empty" );
    EXPECT_EQ( add( "alice", nullptr, nullptr, "" ), USR_RESULT_FAILED );
    EXPECT_EQ( pb::text( reason ), "password: is empty" );
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( setPassword( "alice", "" ), USR_RESULT_FAILED );
    EXPECT_EQ( pb::text( reason ), "password: is empty" );
}

TEST_F( Administration, SetsPasswords )
{
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( setPassword( "alice", "open" ), USR_RESULT_OK );
    EXPECT_EQ( passwordOf( queryOf( own( usrLookupResult( lookupIn( users, "alice" ) ) ) ) ), "b3Blbg==" );
    EXPECT_EQ( setPassword( "bob", "open" ), USR_RESULT_NOT_FOUND );
    EXPECT_EQ( pb::text( reason ), "there is no such user" );
}

TEST_F( Administration, DisablesAndEnables )
{
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( setEnabled( "alice", 0 ), USR_RESULT_OK );
    EXPECT_EQ( id( "alice" ), "(null)" );
    EXPECT_THAT( list(), ElementsAre( "alice alice@(null) disabled" ) );
    EXPECT_EQ( setEnabled( "alice", 5 ), USR_RESULT_OK );
    EXPECT_EQ( id( "alice" ), "alice" );
    EXPECT_EQ( setEnabled( "bob", 1 ), USR_RESULT_NOT_FOUND );
}

TEST_F( Administration, DeletesUsers )
{
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( add( "alice", "17", "example.org" ), USR_RESULT_OK );
    EXPECT_EQ( remove( "alice" ), USR_RESULT_OK );
    EXPECT_EQ( id( "alice" ), "17" ) << "the only one of this name now";
    EXPECT_EQ( remove( "17" ), USR_RESULT_OK );
    EXPECT_EQ( id( "alice" ), "(null)" );
    EXPECT_EQ( remove( "17" ), USR_RESULT_NOT_FOUND );
    EXPECT_TRUE( list().empty() );
    EXPECT_EQ( add( "alice" ), USR_RESULT_OK );
}

TEST_F( Administration, TellsWhoWasChangedButNoPassword )
{
    EXPECT_EQ( add( "alice", nullptr, nullptr, "open sesame" ), USR_RESULT_OK );
    EXPECT_EQ( setPassword( "alice", "open sesame" ), USR_RESULT_OK );
    EXPECT_EQ( setEnabled( "alice", 1 ), USR_RESULT_OK );
    EXPECT_EQ( remove( "alice" ), USR_RESULT_OK );
    auto lines = texts( "USR_DIRECTORY" );
    lines.erase( lines.begin() );
    EXPECT_THAT( lines,
                 ElementsAre( "[usrDirectoryAddUser()] userId: alice", "[usrDirectorySetPassword()] userId: alice",
                              "[usrDirectorySetUserEnabled()] userId: alice, enabled: 1",
                              "[usrDirectoryDeleteUser()] userId: alice" ) );
}

TEST_F( Administration, NeedsADriverThatCan )
{
    users = directory();
    EXPECT_EQ( add( "alice" ), USR_RESULT_UNSUPPORTED );
    EXPECT_EQ( pb::text( reason ), "the directory's driver cannot do this" );
    EXPECT_EQ( setPassword( "alice", "a" ), USR_RESULT_UNSUPPORTED );
    EXPECT_EQ( setEnabled( "alice", 1 ), USR_RESULT_UNSUPPORTED );
    EXPECT_EQ( remove( "alice" ), USR_RESULT_UNSUPPORTED );
    pbVector *listed = pbVectorCreate();
    pbVectorRelease( listed );
    EXPECT_EQ( usrDirectoryListUsers( users, &listed, nullptr ), USR_RESULT_UNSUPPORTED );
    EXPECT_EQ( listed, nullptr );
}

int64_t addFails( pbObj *, pbString *, pbString *, pbString *, pbString *, pbString **reason )
{
    *reason = pbStringCreateFromCstr( "the disk is full", -1 );
    return USR_RESULT_FAILED;
}

int64_t setPasswordFails( pbObj *, pbString *, pbString *, pbString ** )
{
    return USR_RESULT_FAILED;
}

int64_t listFails( pbObj *, pbVector **listed, pbString ** )
{
    *listed = pbVectorCreate();
    return USR_RESULT_FAILED;
}

TEST_F( Administration, PassesTheDriversReasonOn )
{
    usr___Driver failing = driver;
    failing.name = "failing";
    failing.add = addFails;
    failing.setPassword = setPasswordFails;
    failing.list = listFails;
    usr___DriverRegister( &failing );
    users = own( usrDirectoryTryCreate( Store().set( "driver", "failing" ), nullptr, nullptr ) );
    EXPECT_EQ( add( "alice" ), USR_RESULT_FAILED );
    EXPECT_EQ( pb::text( reason ), "the disk is full" );
    EXPECT_EQ( setPassword( "alice", "a" ), USR_RESULT_FAILED );
    EXPECT_EQ( pb::text( reason ), "the directory failed" );
    pbVector *listed = nullptr;
    EXPECT_EQ( usrDirectoryListUsers( users, &listed, nullptr ), USR_RESULT_FAILED );
    EXPECT_EQ( listed, nullptr );
    users.clear();
    usr___DriverUnregister( &failing );
}

TEST( AdministrationDeathTest, RefusesNull )
{
    const char *path = "source/usr/usr_administration";
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    auto text = string( "a" );
    EXPECT_ABORT( usrDirectoryAddUser( nullptr, text, text, text, text, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectoryAddUser( users, text, nullptr, text, text, nullptr ), path, "userName" );
    EXPECT_ABORT( usrDirectoryAddUser( users, text, text, text, nullptr, nullptr ), path, "password" );
    EXPECT_ABORT( usrDirectorySetPassword( nullptr, text, text, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectorySetPassword( users, nullptr, text, nullptr ), path, "userId" );
    EXPECT_ABORT( usrDirectorySetPassword( users, text, nullptr, nullptr ), path, "password" );
    EXPECT_ABORT( usrDirectorySetUserEnabled( nullptr, text, 1, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectorySetUserEnabled( users, nullptr, 1, nullptr ), path, "userId" );
    EXPECT_ABORT( usrDirectoryDeleteUser( nullptr, text, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectoryDeleteUser( users, nullptr, nullptr ), path, "userId" );
    pbVector *listed = nullptr;
    EXPECT_ABORT( usrDirectoryListUsers( nullptr, &listed, nullptr ), path, "directory" );
    EXPECT_ABORT( usrDirectoryListUsers( users, nullptr, nullptr ), path, "users" );
}

} // namespace
