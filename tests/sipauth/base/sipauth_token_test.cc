// Tokens.
#include "sipauth/base/sipauth_token_private.h"
#include "support/abort.h"
#include "support/text.h"

#include <gtest/gtest.h>

namespace
{

using support::string;

TEST( Token, IsNotEmptyAndHoldsTokenCharactersOnly )
{
    EXPECT_EQ( sipauth___TokenOk( string( "MD5-sess" ) ), 1 );
    EXPECT_EQ( sipauth___TokenOk( string( "" ) ), 0 );
    EXPECT_EQ( sipauth___TokenOk( string( "MD5 sess" ) ), 0 );
    EXPECT_EQ( sipauth___TokenOk( string( "MD5," ) ), 0 );
    EXPECT_EQ( sipauth___TokenOk( string( "MD\u00B3" ) ), 0 );
}

TEST( TokenDeathTest, RefusesNull )
{
    EXPECT_ABORT( sipauth___TokenOk( nullptr ), "source/sipauth/base/sipauth_token", "string" );
}

} // namespace
