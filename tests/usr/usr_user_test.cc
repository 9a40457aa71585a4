// Users: handles of a user of a directory.
#include "fake_driver.h"

#include "support/abort.h"

#include <usr/usr_user.h>

namespace
{

using namespace fake;
using User = Driven;

TEST_F( User, NamesADirectoryAndAnId )
{
    auto users = directory();
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    EXPECT_EQ( own( usrUserDirectory( user ) ).get(), users.get() );
    EXPECT_EQ( textOf( usrUserId( user ) ), "17" );
    EXPECT_EQ( textOf( usrUserToString( user ) ), "USR_USER" );
    EXPECT_TRUE( state->calls.empty() ) << "nothing is looked up";
}

TEST_F( User, KeepsTheDirectory )
{
    auto users = directory();
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    users.clear();
    EXPECT_TRUE( state->closed.empty() );
    user.clear();
    EXPECT_EQ( state->closed.size(), 1u );
}

TEST_F( User, TellsWhoItIsOnItsStream )
{
    auto users = directory();
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    auto property = own( trRecorderLineAt( recorder, trRecorderLinesLength( recorder ) - 1 ) );
    EXPECT_EQ( trLineKind( property ), TR_LINE_KIND_PROPERTY );
    EXPECT_EQ( textOf( trLineText( property ) ), "17" );
    auto stream = own( trStreamCreateCstr( "CALLER", -1 ) );
    auto anchor = own( trAnchorCreate( stream, 9 ) );
    usrUserTraceCompleteAnchor( user, anchor );
    auto link = own( trRecorderLineAt( recorder, trRecorderLinesLength( recorder ) - 1 ) );
    EXPECT_EQ( trLineKind( link ), TR_LINE_KIND_ANCHOR );
}

TEST( UserDeathTest, RefusesNull )
{
    const char *path = "source/usr/usr_user";
    auto users = own( usrDirectoryTryCreate( nullptr, nullptr, nullptr ) );
    auto user = own( usrUserCreate( users, string( "17" ) ) );
    EXPECT_ABORT( usrUserCreate( nullptr, string( "17" ) ), path, "directory" );
    EXPECT_ABORT( usrUserCreate( users, nullptr ), path, "userId" );
    EXPECT_ABORT( usrUserDirectory( nullptr ), path, "user" );
    EXPECT_ABORT( usrUserId( nullptr ), path, "user" );
    EXPECT_ABORT( usrUserTraceCompleteAnchor( nullptr, nullptr ), path, "user" );
    EXPECT_ABORT( usrUserTraceCompleteAnchor( user, nullptr ), path, "anchor" );
}

} // namespace
