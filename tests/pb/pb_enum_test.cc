// Enumerations at run time.
#include "support/abort.h"
#include "support/text.h"

#include <pb/pb_enum.h>

namespace
{

using pb::own;
using support::string;
using support::textOf;

pb::Ref<pbEnum> sample()
{
    auto enumeration = own( pbEnumCreate() );
    pbEnumSetEnumerantCstr( enumeration, "COLOR_RED", -1, 0 );
    pbEnumSetEnumerantCstr( enumeration, "COLOR_GREEN and more", 11, 1 );
    return enumeration;
}

TEST( Enum, HasNoNamesWhenCreated )
{
    auto enumeration = own( pbEnumCreate() );
    EXPECT_EQ( pbEnumLength( enumeration ), 0 );
    EXPECT_EQ( pbEnumParse( enumeration, string( "" ) ), -1 );
}

TEST( Enum, TellsTheValueOfAName )
{
    auto enumeration = sample();
    EXPECT_EQ( pbEnumLength( enumeration ), 2 );
    EXPECT_EQ( pbEnumParse( enumeration, string( "COLOR_RED" ) ), 0 );
    EXPECT_EQ( pbEnumParse( enumeration, string( "COLOR_GREEN" ) ), 1 );
}

TEST( Enum, GivesMinusOneForAnyOtherText )
{
    auto enumeration = sample();
    for( const char *text : { "", "COLOR_RE", "COLOR_RED ", "color_red", "COLOR_BLUE" } )
        EXPECT_EQ( pbEnumParse( enumeration, string( text ) ), -1 ) << text;
}

TEST( Enum, TellsTheNameOfAValue )
{
    auto enumeration = sample();
    EXPECT_EQ( textOf( pbEnumGenerate( enumeration, 0 ) ), "COLOR_RED" );
    EXPECT_EQ( textOf( pbEnumGenerate( enumeration, 1 ) ), "COLOR_GREEN" );
}

TEST( Enum, TakesValuesInAnyOrder )
{
    auto enumeration = own( pbEnumCreate() );
    for( int64_t value = 50; value > -50; value -= 7 )
        pbEnumSetEnumerantCstr( enumeration, std::to_string( value ).c_str(), -1, value );
    for( int64_t value = 50; value > -50; value -= 7 )
    {
        EXPECT_EQ( textOf( pbEnumGenerate( enumeration, value ) ), std::to_string( value ) );
        EXPECT_EQ( pbEnumParse( enumeration, string( std::to_string( value ) ) ), value );
    }
}

TEST( EnumDeathTest, RefusesAValueWithoutName )
{
    auto enumeration = sample();
    EXPECT_ABORT( pbEnumGenerate( enumeration, 2 ), "source/pb/pb_enum", "found" );
    EXPECT_ABORT( pbEnumGenerate( enumeration, -1 ), "source/pb/pb_enum", "found" );
}

TEST( EnumDeathTest, RefusesANameOrAValueTwice )
{
    auto enumeration = sample();
    EXPECT_ABORT( pbEnumSetEnumerantCstr( enumeration, "COLOR_RED", -1, 2 ), "source/pb/pb_enum",
                  "!findName( enumeration, newName )" );
    EXPECT_ABORT( pbEnumSetEnumerantCstr( enumeration, "COLOR_BLUE", -1, 1 ), "source/pb/pb_enum",
                  "!findValue( enumeration, value )" );
}

} // namespace
