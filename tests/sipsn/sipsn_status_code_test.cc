// Classes and reason phrases of status codes.
#include "support/abort.h"

#include <sipsn/sipsn_status_code.h>

#include <gtest/gtest.h>

namespace
{

TEST( StatusCode, IsAtLeast100AndAtMost699 )
{
    EXPECT_FALSE( sipsnStatusCodeOk( 99 ) );
    EXPECT_TRUE( sipsnStatusCodeOk( 100 ) );
    EXPECT_TRUE( sipsnStatusCodeOk( 699 ) );
    EXPECT_FALSE( sipsnStatusCodeOk( 700 ) );
    EXPECT_FALSE( sipsnStatusCodeOk( -401 ) );
}

TEST( StatusCode, TellsItsClass )
{
    EXPECT_FALSE( sipsnStatusCodeInformational( 99 ) );
    EXPECT_TRUE( sipsnStatusCodeInformational( 100 ) );
    EXPECT_TRUE( sipsnStatusCodeInformational( 199 ) );
    EXPECT_FALSE( sipsnStatusCodeInformational( 200 ) );
    EXPECT_FALSE( sipsnStatusCodeSuccess( 199 ) );
    EXPECT_TRUE( sipsnStatusCodeSuccess( 200 ) );
    EXPECT_TRUE( sipsnStatusCodeSuccess( 299 ) );
    EXPECT_FALSE( sipsnStatusCodeSuccess( 300 ) );
}

TEST( StatusCode, HasTheReasonPhraseOfTheStandard )
{
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 100 ), "Trying" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 200 ), "OK" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 401 ), "Unauthorized" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 403 ), "Forbidden" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 407 ), "Proxy Authentication Required" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 481 ), "Call/Transaction Does Not Exist" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 500 ), "Server Internal Error" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 606 ), "Not Acceptable" );
}

TEST( StatusCode, HasTheReasonPhrasesOfExtensions )
{
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 199 ), "Early Dialog Terminated" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 202 ), "Accepted" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 422 ), "Session Interval Too Small" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 489 ), "Bad Event" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 494 ), "Security Agreement Required" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 580 ), "Precondition Failure" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 608 ), "Rejected" );
}

TEST( StatusCode, FallsBackToTheNameOfItsClass )
{
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 198 ), "Provisional" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 299 ), "Successful" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 399 ), "Redirection" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 409 ), "Request Failure" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 599 ), "Server Failure" );
    EXPECT_STREQ( sipsnStatusCodeReasonPhrase( 699 ), "Global Failure" );
}

TEST( StatusCodeDeathTest, HasNoReasonPhraseOutsideTheClasses )
{
    EXPECT_ABORT( sipsnStatusCodeReasonPhrase( 700 ), "source/sipsn/sipsn_status_code",
                  "sipsnStatusCodeOk( statusCode )" );
}

} // namespace
