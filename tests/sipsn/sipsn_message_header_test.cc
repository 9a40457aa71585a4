// Headers.
#include "messages.h"

#include "support/abort.h"

#include <gtest/gtest.h>

namespace
{

using messages::header;
using messages::Lines;
using messages::lines;
using pb::own;
using support::string;
using support::textOf;

TEST( MessageHeader, HasANameAndNoLinesWhenCreated )
{
    auto made = own( sipsnMessageHeaderCreateCstr( "Via and more", 3 ) );
    EXPECT_EQ( textOf( sipsnMessageHeaderName( made ) ), "Via" );
    EXPECT_EQ( sipsnMessageHeaderLinesLength( made ), 0 );
    EXPECT_EQ( sipsnMessageHeaderLastLine( made ), nullptr );
}

TEST( MessageHeader, KeepsItsLinesInOrder )
{
    auto made = header( "Www-Authenticate", { "Basic realm=\"a\"", "", "last" } );
    EXPECT_EQ( lines( made ), ( Lines{ "Basic realm=\"a\"", "", "last" } ) );
    EXPECT_EQ( textOf( sipsnMessageHeaderLastLine( made ) ), "last" );
    sipsnMessageHeaderClearLines( made.inout() );
    EXPECT_EQ( sipsnMessageHeaderLinesLength( made ), 0 );
}

TEST( MessageHeader, LeavesOtherHoldersAlone )
{
    auto made = header( "Via", { "a" } );
    auto other = made;
    auto copy = own( sipsnMessageHeaderCreateFrom( made ) );
    sipsnMessageHeaderAppendLine( made.inout(), string( "b" ) );
    EXPECT_EQ( lines( other ), Lines{ "a" } );
    EXPECT_EQ( lines( copy ), Lines{ "a" } );
    sipsnMessageHeaderClearLines( copy.inout() );
    EXPECT_EQ( lines( made ), ( Lines{ "a", "b" } ) );
}

TEST( MessageHeader, TakesEveryTokenAsName )
{
    auto made = own( sipsnMessageHeaderCreate( string( "X-1.!%*_+`'~" ) ) );
    EXPECT_EQ( textOf( sipsnMessageHeaderName( made ) ), "X-1.!%*_+`'~" );
}

TEST( MessageHeaderDeathTest, RefusesANameThatIsNoToken )
{
    for( const char *name : { "", "To:", "T o", "T\r\no", "Tö", "T@" } )
        EXPECT_ABORT( sipsnMessageHeaderCreateCstr( name, -1 ), "source/sipsn/sipsn_message_header",
                      "sipsn::tokenOk( name )" );
}

TEST( MessageHeader, KeepsEachLineOnItsLine )
{
    auto made = header( "To", {} );
    for( std::string_view line : { std::string_view( "a\rb" ), std::string_view( "a\r\nVia: b" ),
                                   std::string_view( "a\0b", 3 ), std::string_view( "ö\n" ) } )
        sipsnMessageHeaderAppendLine( made.inout(), string( line ) );
    EXPECT_EQ( support::textOf( sipsnMessageHeaderLineAt( made, 0 ) ), "a b" );
    EXPECT_EQ( support::textOf( sipsnMessageHeaderLineAt( made, 1 ) ), "a  Via: b" );
    EXPECT_EQ( support::textOf( sipsnMessageHeaderLineAt( made, 2 ) ), "a b" );
    EXPECT_EQ( support::textOf( sipsnMessageHeaderLineAt( made, 3 ) ), "ö " );
}

TEST( MessageHeaderDeathTest, RefusesIndicesOutside )
{
    auto made = header( "To", { "a" } );
    EXPECT_ABORT( sipsnMessageHeaderLineAt( made, 1 ), "source/sipsn/sipsn_message_header",
                  "index >= 0 && index < pbVectorLength( header->lines )" );
}

} // namespace
