// The keys of a directory.
#include "usr_seal/secrets.h"
#include "usr_seal/users.h"
#include "usr_seal/usr_seal_keys.h"

#include <sys/stat.h>

namespace
{

using secrets::secret;
using usr_seal::Keys;
using usr_seal::Row;
using usr_seal::Secret;

const std::string lineA = "1 QUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUE=\n";
const std::string lineB = "2 QkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkI=\n";

class KeysTest : public testing::Test
{
protected:
    void writeKeys( const std::string &text )
    {
        users::write( path, text );
        chmod( path.c_str(), 0600 );
    }

    // A row with a sealed password.
    Row sealed( Keys &keys, const std::string &password )
    {
        Row row{ "id", "alice", "example.org", true, 0, {} };
        EXPECT_TRUE( keys.seal( row, secret( password ), false, reason ) ) << reason;
        return row;
    }

    // The password of a row, or why it does not open.
    std::string opened( Keys &keys, const Row &row )
    {
        Secret password;
        return keys.open( row, password, reason ) ? secrets::textOf( password ) : reason;
    }

    users::Folder folder;
    std::string path = folder / "keys";
    std::string reason;
    const std::string changed = "the sealed password does not open: the row or its key was changed";
};

TEST_F( KeysTest, MakeTheirFileWhenTheFirstPasswordIsSealed )
{
    Keys keys( path );
    EXPECT_TRUE( keys.load( reason ) );
    EXPECT_FALSE( keys.fileThere() );
    Row row = sealed( keys, "secret" );
    EXPECT_TRUE( keys.fileThere() );
    EXPECT_EQ( opened( keys, row ), "secret" );
    EXPECT_EQ( row.sealed.find( "secret" ), std::string::npos );
    Keys others( path );
    EXPECT_TRUE( others.load( reason ) );
    EXPECT_EQ( opened( others, row ), "secret" );
}

TEST_F( KeysTest, AreNotMadeAnewWhenTheyWereLost )
{
    Keys keys( path );
    Row row{ "id", "alice", {}, true, 0, {} };
    EXPECT_FALSE( keys.seal( row, secret( "secret" ), true, reason ) );
    EXPECT_EQ( reason, path + " is missing, but there are passwords that were sealed with its keys" );
    EXPECT_FALSE( keys.fileThere() );
    EXPECT_TRUE( row.sealed.empty() );
}

TEST_F( KeysTest, BindAPasswordToItsWholeRow )
{
    Keys keys( path );
    const Row row = sealed( keys, "secret" );
    EXPECT_EQ( opened( keys, row ), "secret" );
    Row other = row;
    other.id = "ie";
    EXPECT_EQ( opened( keys, other ), changed );
    other = row;
    other.name = "alicE";
    EXPECT_EQ( opened( keys, other ), changed );
    other = row;
    other.realm = "example.com";
    EXPECT_EQ( opened( keys, other ), changed );
    other.realm.reset();
    EXPECT_EQ( opened( keys, other ), changed );
    other.realm = "";
    EXPECT_EQ( opened( keys, other ), changed );
}

TEST_F( KeysTest, DoNotConfuseNamesAndRealmsThatRunTogether )
{
    Keys keys( path );
    Row row{ "id", "ab", "c", true, 0, {} };
    ASSERT_TRUE( keys.seal( row, secret( "secret" ), false, reason ) );
    row.name = "a";
    row.realm = "bc";
    EXPECT_EQ( opened( keys, row ), changed );
    row.name = "abc";
    row.realm = "";
    EXPECT_EQ( opened( keys, row ), changed );
    row.id = "idab";
    row.name = "";
    row.realm = "c";
    EXPECT_EQ( opened( keys, row ), changed );
}

TEST_F( KeysTest, SealWithTheLastOneAndOpenWithAnyOne )
{
    writeKeys( lineA );
    Keys keys( path );
    ASSERT_TRUE( keys.load( reason ) );
    Row old = sealed( keys, "old" );
    EXPECT_EQ( old.key, 1 );
    writeKeys( lineA + lineB );
    Row fresh = sealed( keys, "fresh" );
    EXPECT_EQ( fresh.key, 2 );
    EXPECT_EQ( opened( keys, old ), "old" );
    EXPECT_EQ( opened( keys, fresh ), "fresh" );
}

TEST_F( KeysTest, AreReadAgainForARowWithANewKey )
{
    writeKeys( lineA );
    Keys readers( path );
    ASSERT_TRUE( readers.load( reason ) );
    writeKeys( lineA + lineB );
    Keys writers( path );
    Row row = sealed( writers, "fresh" );
    EXPECT_EQ( row.key, 2 );
    EXPECT_EQ( opened( readers, row ), "fresh" );
}

TEST_F( KeysTest, SayWhichOneIsLost )
{
    writeKeys( lineB );
    Keys keys( path );
    Row row = sealed( keys, "secret" );
    writeKeys( lineA );
    Keys others( path );
    ASSERT_TRUE( others.load( reason ) );
    EXPECT_EQ( opened( others, row ), "the password is sealed with key 2, which is unknown" );
    std::filesystem::remove( path );
    EXPECT_EQ( opened( others, row ),
               "the password is sealed with key 2, which is unknown (" + path + ": No such file or directory)" );
}

TEST_F( KeysTest, StayInForceWhenTheirFileTurnsBadButSealNothingMore )
{
    writeKeys( lineA );
    Keys keys( path );
    Row row = sealed( keys, "secret" );
    chmod( path.c_str(), 0644 );
    users::write( path, lineA + lineB );
    EXPECT_EQ( opened( keys, row ), "secret" );
    EXPECT_FALSE( keys.seal( row, secret( "other" ), false, reason ) );
    EXPECT_EQ( reason, path + ": others than its owner may access it; it must have mode 0600" );
}

TEST_F( KeysTest, RefuseABadFileAtOnce )
{
    users::write( path, lineA );
    chmod( path.c_str(), 0644 );
    EXPECT_FALSE( Keys( path ).load( reason ) );
    EXPECT_EQ( reason, path + ": others than its owner may access it; it must have mode 0600" );
}

} // namespace
