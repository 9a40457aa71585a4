// Key files.
#include "usr_seal/secrets.h"
#include "usr_seal/users.h"
#include "usr_seal/usr_seal_key_file.h"

#include <sys/stat.h>
#include <unistd.h>

namespace
{

using usr_seal::FileStamp;
using usr_seal::Key;
using usr_seal::KeyFile;

const std::string keyA = "QUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUFBQUE=";
const std::string keyB = "QkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkJCQkI=";

// A key file in a folder of its own, and what reading it gives.
class KeyFileTest : public testing::Test
{
protected:
    KeyFile read()
    {
        reason.clear();
        return usr_seal::readKeyFile( path, keys, stamp, reason );
    }

    void writeKeys( const std::string &text, mode_t mode = 0600 )
    {
        users::write( path, text );
        chmod( path.c_str(), mode );
    }

    // Why a file is refused, without the path in front.
    std::string refused( const std::string &text, mode_t mode = 0600 )
    {
        writeKeys( text, mode );
        EXPECT_EQ( read(), KeyFile::bad );
        EXPECT_EQ( reason.rfind( path + ": ", 0 ), 0u ) << reason;
        return reason.substr( std::min( reason.size(), path.size() + 2 ) );
    }

    users::Folder folder;
    std::string path = folder / "keys";
    std::vector<Key> keys;
    FileStamp stamp;
    std::string reason;
};

TEST_F( KeyFileTest, IsMadeWithOneKeyForItsOwnerAlone )
{
    umask( 0 );
    ASSERT_TRUE( usr_seal::makeKeyFile( path, reason ) ) << reason;
    umask( 022 );
    struct stat status;
    ASSERT_EQ( stat( path.c_str(), &status ), 0 );
    EXPECT_EQ( status.st_mode & 07777, 0600u );
    ASSERT_EQ( read(), KeyFile::ready ) << reason;
    ASSERT_EQ( keys.size(), 1u );
    EXPECT_GE( keys[0].id, 1 );
    EXPECT_EQ( keys[0].bytes.length(), 32u );
}

TEST_F( KeyFileTest, LeavesNothingElseBehind )
{
    ASSERT_TRUE( usr_seal::makeKeyFile( path, reason ) );
    auto entries = std::filesystem::directory_iterator( folder.path() );
    EXPECT_EQ( std::distance( begin( entries ), end( entries ) ), 1 );
}

TEST_F( KeyFileTest, IsNeverMadeOverAnotherOne )
{
    writeKeys( "1 " + keyA + "\n" );
    ASSERT_TRUE( usr_seal::makeKeyFile( path, reason ) );
    EXPECT_EQ( users::contentOf( path ), "1 " + keyA + "\n" );
}

TEST_F( KeyFileTest, DiffersFromEveryOther )
{
    std::string other = folder / "other";
    ASSERT_TRUE( usr_seal::makeKeyFile( path, reason ) );
    ASSERT_TRUE( usr_seal::makeKeyFile( other, reason ) );
    EXPECT_NE( users::contentOf( path ), users::contentOf( other ) );
}

TEST_F( KeyFileTest, SaysWhyItCannotBeMade )
{
    EXPECT_FALSE( usr_seal::makeKeyFile( folder / "none/keys", reason ) );
    EXPECT_EQ( reason, folder / "none/keys: No such file or directory" );
}

TEST_F( KeyFileTest, HoldsSeveralKeysInTheirOrder )
{
    writeKeys( "# comment\n7 " + keyA + "\n\n3 " + keyB );
    ASSERT_EQ( read(), KeyFile::ready ) << reason;
    ASSERT_EQ( keys.size(), 2u );
    EXPECT_EQ( keys[0].id, 7 );
    EXPECT_EQ( secrets::textOf( keys[0].bytes ), std::string( 32, 'A' ) );
    EXPECT_EQ( keys[1].id, 3 );
    EXPECT_EQ( secrets::textOf( keys[1].bytes ), std::string( 32, 'B' ) );
}

TEST_F( KeyFileTest, IsRefusedWhenOthersMayReadIt )
{
    const std::string why = "others than its owner may access it; it must have mode 0600";
    EXPECT_EQ( refused( "1 " + keyA + "\n", 0644 ), why );
    EXPECT_EQ( refused( "1 " + keyA + "\n", 0640 ), why );
    EXPECT_EQ( refused( "1 " + keyA + "\n", 0602 ), why );
    writeKeys( "1 " + keyA + "\n", 0400 );
    EXPECT_EQ( read(), KeyFile::ready ) << reason;
}

TEST_F( KeyFileTest, IsRefusedWhenItBelongsToAnotherUser )
{
    if( geteuid() != 0 )
        GTEST_SKIP() << "only the superuser can give a file away";
    writeKeys( "1 " + keyA + "\n" );
    ASSERT_EQ( chown( path.c_str(), 65534, 65534 ), 0 );
    EXPECT_EQ( read(), KeyFile::bad );
    EXPECT_EQ( reason, path + ": belongs to another user" );
}

TEST_F( KeyFileTest, IsRefusedWhenALineHoldsNoKey )
{
    const std::string why = " holds no number and key of 32 bytes in base 64";
    EXPECT_EQ( refused( "1 " + keyA + "\nx\n" ), "line 2" + why );
    for( const std::string &line : { keyA, "0 " + keyA, "-1 " + keyA, "1" + keyA, "1  " + keyA, "1 " + keyA + " ",
                                     "1 " + keyA.substr( 1 ), "1 *" + keyA.substr( 1 ), "99999999999999999999 " + keyA,
                                     "1 " + keyA.substr( 0, 42 ) + "==", "1 " + keyA.substr( 0, 43 ) + "A" } )
        EXPECT_EQ( refused( line + "\n" ), "line 1" + why ) << line;
}

TEST_F( KeyFileTest, IsRefusedWithTwoKeysOfANumberOrNoneAtAll )
{
    EXPECT_EQ( refused( "1 " + keyA + "\n1 " + keyB + "\n" ), "line 2 has the number of another key" );
    EXPECT_EQ( refused( "# nothing\n" ), "holds no key" );
    EXPECT_EQ( refused( "" ), "holds no key" );
}

TEST_F( KeyFileTest, IsRefusedWhenItIsSomethingElse )
{
    EXPECT_EQ( refused( std::string( 70'000, '#' ) ), "is too long for a key file" );
    std::filesystem::remove( path );
    std::filesystem::create_directory( path );
    EXPECT_EQ( read(), KeyFile::bad );
    EXPECT_EQ( reason, path + ": is no regular file" );
    std::filesystem::remove( path );
    ASSERT_EQ( mkfifo( path.c_str(), 0600 ), 0 );
    EXPECT_EQ( read(), KeyFile::bad );
    EXPECT_EQ( reason, path + ": is no regular file" );
}

TEST_F( KeyFileTest, IsMissingWhenThereIsNone )
{
    EXPECT_EQ( read(), KeyFile::missing );
    EXPECT_EQ( reason, path + ": No such file or directory" );
    EXPECT_TRUE( usr_seal::stampOfKeyFile( path ) == FileStamp() );
}

TEST_F( KeyFileTest, HasAnotherStampOnceItChanged )
{
    writeKeys( "1 " + keyA + "\n" );
    ASSERT_EQ( read(), KeyFile::ready );
    EXPECT_TRUE( usr_seal::stampOfKeyFile( path ) == stamp );
    writeKeys( "1 " + keyA + "\n2 " + keyB + "\n" );
    EXPECT_FALSE( usr_seal::stampOfKeyFile( path ) == stamp );
}

} // namespace
