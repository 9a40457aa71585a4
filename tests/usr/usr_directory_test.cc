// User directories.
#include "support/abort.h"
#include "support/text.h"

#include <usr/usr_directory.h>

namespace
{

using pb::own;
using support::string;

TEST( Directory, HasAName )
{
    auto directory = own( usrDirectoryCreate( string( "users.main" ) ) );
    EXPECT_EQ( support::textOf( usrDirectoryName( directory ) ), "users.main" );
}

TEST( Directory, IsComparedByIdentity )
{
    auto directory = own( usrDirectoryCreate( string( "users" ) ) );
    auto other = own( usrDirectoryCreate( string( "users" ) ) );
    EXPECT_TRUE( usrDirectoryEquals( directory, directory ) );
    EXPECT_FALSE( usrDirectoryEquals( directory, other ) );
    EXPECT_EQ( support::textOf( usrDirectoryToString( directory ) ), "USR_DIRECTORY" );
}

TEST( DirectoryDeathTest, RefusesWhatIsNoRecordName )
{
    EXPECT_ABORT( usrDirectoryCreate( string( "" ) ), "source/usr/usr_directory", "csObjectRecordNameOk( name )" );
    EXPECT_ABORT( usrDirectoryCreate( string( "a b" ) ), "source/usr/usr_directory", "csObjectRecordNameOk( name )" );
    EXPECT_ABORT( usrDirectoryName( nullptr ), "source/usr/usr_directory", "directory" );
}

} // namespace
