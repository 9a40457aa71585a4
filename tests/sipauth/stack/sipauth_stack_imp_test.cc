// The implementation of stacks: its process and its end.
#include "sipauth/stack/sipauth_stack_imp_private.h"

#include "sipauth/server/server_support.h"
#include "sipauth/session/session_support.h"

namespace
{

using pb::own;
using session::optionsOf;
using support::string;
using support::textOf;

const char *path = "source/sipauth/stack/sipauth_stack_imp";

class StackImp : public session::Simulated
{
protected:
    ~StackImp() override
    {
        if( !halted )
            sipauth___StackImpHalt( imp );
    }

    void halt()
    {
        sipauth___StackImpHalt( imp );
        halted = true;
    }

    bool halted = false;
    pb::Ref<sipauth___StackImp> imp = own( sipauth___StackImpCreate( optionsOf( 10 ), nullptr ) );
};

class StackImpDeathTest : public StackImp
{
};

TEST_F( StackImp, IsKeptByItsProcessUntilItIsHalted )
{
    sipauth___StackImp *borrowed = imp;
    imp.clear();
    EXPECT_EQ( pbSortLiveObjects( sipauth___StackImpSort() ), 1 );
    pass( 50 );
    imp = pb::share( borrowed );
    halt();
    imp.clear();
    EXPECT_EQ( pbSortLiveObjects( sipauth___StackImpSort() ), 0 );
}

TEST_F( StackImp, RunsNoMoreOnceHalted )
{
    sipauth___StackImpSetOptions( imp, optionsOf( 1 ) );
    halt();
    EXPECT_EQ( settle(), 0 );
    sipauth___StackImpSetOptions( imp, optionsOf( 2 ) );
    pb___SimulationAdvance( simulation, 1000 );
    EXPECT_EQ( settle(), 0 );
}

TEST_F( StackImp, MayRunBesideItsProcess )
{
    // A run without cause changes nothing.
    auto before = own( sipauth___StackImpOptions( imp ) );
    sipauth___StackImpProcessFunc( sipauth___StackImpObj( imp ) );
    pb::Ref<sipauthOptions> applied;
    sipauth___StackImpConfiguration( imp, applied.inout() );
    EXPECT_EQ( applied.get(), before.get() );
    EXPECT_EQ( pb___SimulationNextTimer( simulation ), now() + 11 );
}

TEST_F( StackImp, HasTheStandardFunctions )
{
    EXPECT_EQ( sipauth___StackImpFrom( sipauth___StackImpObj( imp ) ), imp.get() );
    EXPECT_EQ( sipauth___StackImpFrom( nullptr ), nullptr );
    EXPECT_EQ( textOf( sipauth___StackImpToString( imp ) ), "SIPAUTH___STACK_IMP" );
    EXPECT_TRUE( sipauth___StackImpEquals( imp, imp ) );
    EXPECT_EQ( sipauth___StackImpCompare( imp, imp ), 0 );
    sipauth___StackImpRelease( sipauth___StackImpRetain( imp ) );
}

TEST_F( StackImpDeathTest, RefusesToBeHaltedTwice )
{
    halt();
    EXPECT_ABORT( sipauth___StackImpHalt( imp ), path, "!pbProcessHalted( imp->isProcess )" );
}

TEST_F( StackImpDeathTest, RefusesNull )
{
    session::Probe probe;
    auto anchor = own( trAnchorCreate( own( trStreamCreateCstr( "OWNER", -1 ) ), 9 ) );
    auto answer = server::authorization( "a" );
    auto challenge = server::challenge( {} );
    auto options = optionsOf( 1 );
    EXPECT_ABORT( sipauth___StackImpCreate( nullptr, nullptr ), path, "options" );
    EXPECT_ABORT( sipauth___StackImpHalt( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpProcessFunc( nullptr ), path, "argument" );
    EXPECT_ABORT( sipauth___StackImpTraceCompleteAnchor( nullptr, anchor ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpOptions( nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpSetOptions( nullptr, options ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpConfiguration( nullptr, nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpConfigurationAddSignalable( nullptr, probe.signalable() ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpConfigurationDelSignalable( nullptr, probe.signalable() ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpServerChallenge( nullptr, answer, nullptr ), path, "imp" );
    EXPECT_ABORT( sipauth___StackImpSetServerChallenge( nullptr, challenge, nullptr ), path, "imp" );
}

TEST_F( StackImpDeathTest, RefusesAnObjectOfAnotherSort )
{
    auto other = string( "no stack" );
    EXPECT_ABORT( sipauth___StackImpFrom( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH___STACK_IMP" );
    EXPECT_ABORT( sipauth___StackImpProcessFunc( pbStringObj( other ) ), path,
                  "stdfunc from: !obj || pbObjSort(obj)==&sipauth___sort_SIPAUTH___STACK_IMP" );
}

} // namespace
