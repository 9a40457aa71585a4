// Modules: their starts and stops.
#include "support/abort.h"

#include "pb/pb_module_private.h"

#include <string>

namespace
{

std::string trace; // what ran, in order
bool upperRefuses = false;

constexpr pb___ModuleRecord lowRecord = { "low", "Low Module", "1.0", "" };
constexpr pb___ModuleRecord middleRecord = { "middle", "Middle Module", "1.1", "low pb" };
constexpr pb___ModuleRecord upperRecord = { "upper", "Upper Module", "1.2", "low middle pb" };
int64_t lowStarts = 0;
int64_t middleStarts = 0;
int64_t upperStarts = 0;

template<char name>
pbBool startup()
{
    trace += name;
    return name != 'U' || !upperRefuses;
}

template<char name>
void shutdown()
{
    trace += name;
}

constexpr pbModule low = { &lowRecord, nullptr, startup<'L'>, shutdown<'l'>, &lowStarts };
const pbModule *lowModule()
{
    return &low;
}

const pbModule *( *const middleNeeds[] )() = { lowModule, pbBaseModule, nullptr };
const pbModule middle = { &middleRecord, middleNeeds, startup<'M'>, shutdown<'m'>, &middleStarts };
const pbModule *middleModule()
{
    return &middle;
}

const pbModule *( *const upperNeeds[] )() = { lowModule, middleModule, pbBaseModule, nullptr };
const pbModule upper = { &upperRecord, upperNeeds, startup<'U'>, shutdown<'u'>, &upperStarts };
const pbModule *upperModule()
{
    return &upper;
}

constexpr pb___ModuleRecord topRecord = { "top", "Top Module", "1.3", "low upper" };
int64_t topStarts = 0;
const pbModule *( *const topNeeds[] )() = { lowModule, upperModule, nullptr };
const pbModule top = { &topRecord, topNeeds, startup<'T'>, shutdown<'t'>, &topStarts };

class Module : public testing::Test
{
protected:
    void SetUp() override
    {
        trace.clear();
        upperRefuses = false;
    }
    void TearDown() override
    {
        for( int64_t starts : { lowStarts, middleStarts, upperStarts, topStarts } )
            EXPECT_EQ( starts, 0 );
    }
};

TEST_F( Module, StartsWhatItNeedsFirstAndStopsItLast )
{
    EXPECT_TRUE( pbModuleStart( &upper ) );
    EXPECT_EQ( trace, "LMU" );
    pbModuleStop( &upper );
    EXPECT_EQ( trace, "LMUuml" );
}

TEST_F( Module, CountsItsStarts )
{
    EXPECT_TRUE( pbModuleStart( &middle ) );
    EXPECT_TRUE( pbModuleStart( &middle ) );
    EXPECT_EQ( trace, "LM" );
    pbModuleStop( &middle );
    EXPECT_EQ( trace, "LM" );
    pbModuleStop( &middle );
    EXPECT_EQ( trace, "LMml" );
}

TEST_F( Module, StaysUpAsLongAsAnyoneNeedsIt )
{
    EXPECT_TRUE( pbModuleStart( &low ) );
    EXPECT_TRUE( pbModuleStart( &upper ) );
    pbModuleStop( &low );
    EXPECT_EQ( trace, "LMU" );
    EXPECT_TRUE( pbModuleStart( &middle ) );
    pbModuleStop( &upper );
    EXPECT_EQ( trace, "LMUu" );
    pbModuleStop( &middle );
    EXPECT_EQ( trace, "LMUuml" );
}

TEST_F( Module, StartsAgainAfterItStopped )
{
    for( int round = 0; round < 2; round++ )
    {
        EXPECT_TRUE( pbModuleStart( &low ) );
        pbModuleStop( &low );
    }
    EXPECT_EQ( trace, "LlLl" );
}

TEST_F( Module, LeavesNothingStartedWhenItsStartUpFails )
{
    upperRefuses = true;
    EXPECT_FALSE( pbModuleStart( &upper ) );
    EXPECT_EQ( trace, "LMUml" );
}

TEST_F( Module, LeavesNothingStartedWhenANeededModuleFails )
{
    upperRefuses = true;
    EXPECT_FALSE( pbModuleStart( &top ) );
    EXPECT_EQ( trace, "LMUml" );
    upperRefuses = false;
    EXPECT_TRUE( pbModuleStart( &top ) );
    pbModuleStop( &top );
    EXPECT_EQ( trace, "LMUmlLMUTtuml" );
}

TEST_F( Module, KeepsARunningModuleUpWhenAnotherStartFails )
{
    EXPECT_TRUE( pbModuleStart( &low ) );
    upperRefuses = true;
    EXPECT_FALSE( pbModuleStart( &upper ) );
    EXPECT_EQ( trace, "LMUm" );
    EXPECT_EQ( lowStarts, 1 );
    pbModuleStop( &low );
}

TEST_F( Module, TellsItsRecord )
{
    EXPECT_STREQ( pbModuleName( &middle ), "middle" );
    EXPECT_STREQ( pbModuleTitle( &middle ), "Middle Module" );
    EXPECT_STREQ( pbModuleVersionText( &middle ), "1.1" );
    EXPECT_STREQ( pbModuleNeeds( &middle ), "low pb" );
}

TEST_F( Module, BaseRuntimeNeedsNothing )
{
    EXPECT_STREQ( pbModuleName( pbBaseModule() ), "pb" );
    EXPECT_STREQ( pbModuleNeeds( pbBaseModule() ), "" );
    EXPECT_TRUE( pbModuleStart( pbBaseModule() ) );
    pbModuleStop( pbBaseModule() );
}

TEST( ModuleDeathTest, RefusesAStopWithoutStart )
{
    EXPECT_ABORT( pbModuleStop( &low ), "source/pb/pb_module", "*module->starts > 0" );
    EXPECT_ABORT( pbModuleStart( nullptr ), "source/pb/pb_module", "module" );
}

} // namespace
