// Names of object records.
#include "support/abort.h"
#include "support/text.h"

#include <cs/cs_object_record.h>

namespace
{

bool ok( const std::string &name )
{
    return csObjectRecordNameOk( support::string( name ) ) == 1;
}

TEST( ObjectRecordName, IsMadeOfLettersDigitsUnderscoreDashAndDot )
{
    EXPECT_TRUE( ok( "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-." ) );
    EXPECT_TRUE( ok( "." ) );
    for( int ch = 1; ch < 128; ch++ )
    {
        bool listed = std::isalnum( ch ) || ch == '_' || ch == '-' || ch == '.';
        EXPECT_EQ( ok( std::string( "a" ) + static_cast<char>( ch ) + "b" ), listed ) << ch;
    }
    EXPECT_FALSE( ok( std::string( "a\0b", 3 ) ) );
}

TEST( ObjectRecordName, IsPlainAscii )
{
    EXPECT_FALSE( ok( "stra\u00dfe" ) );
    EXPECT_FALSE( ok( "\uff41" ) ) << "a wide letter";
    EXPECT_FALSE( ok( "\u0661" ) ) << "a digit of another script";
}

TEST( ObjectRecordName, HasOneTo255Characters )
{
    EXPECT_FALSE( ok( "" ) );
    EXPECT_TRUE( ok( "a" ) );
    EXPECT_TRUE( ok( std::string( 255, 'a' ) ) );
    EXPECT_FALSE( ok( std::string( 256, 'a' ) ) );
}

TEST( ObjectRecordNameDeathTest, RefusesNull )
{
    EXPECT_ABORT( csObjectRecordNameOk( nullptr ), "source/cs/cs_object_record", "name" );
}

} // namespace
