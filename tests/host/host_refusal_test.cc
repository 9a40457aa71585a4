// Tests of the reasons for which guards refuse.
#include "guard_support.h"

#include <set>

namespace
{

constexpr char path[] = "source/host/host_refusal";

TEST( Refusal, HasANameOfItsOwn )
{
    std::set<std::string> names;
    for( int64_t refusal = 0; refusal < HOST_REFUSAL_COUNT; refusal++ )
        EXPECT_TRUE( names.insert( hostRefusalName( refusal ) ).second ) << refusal;
}

TEST( Refusal, IsNamedAsItsNumberSays )
{
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_NONE ), "none" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_KIND ), "kind" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_METHOD ), "method" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_CSEQ ), "cseq" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_SECOND_REQUEST ), "second-request" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_BEFORE_REQUEST ), "before-request" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_BEFORE_READ ), "before-read" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_STATUS ), "status" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_SECOND_FINAL ), "second-final" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_BEFORE_RESPONSE ), "before-response" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_AFTER_FINAL ), "after-final" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_SECOND_CANCEL ), "second-cancel" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_NOT_INVITE ), "not-invite" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_BEFORE_FINAL ), "before-final" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_SECOND_ACK ), "second-ack" );
    EXPECT_STREQ( hostRefusalName( HOST_REFUSAL_ENDED ), "ended" );
}

TEST( RefusalDeathTest, AnUnknownReasonAborts )
{
    EXPECT_ABORT( (void) hostRefusalName( -1 ), path, "ok( refusal )" );
    EXPECT_ABORT( (void) hostRefusalName( HOST_REFUSAL_COUNT ), path, "ok( refusal )" );
    EXPECT_ABORT( (void) hostRefusalCount( HOST_REFUSAL_COUNT ), path, "ok( refusal )" );
}

} // namespace
