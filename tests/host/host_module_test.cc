// The module record of the host library.
#include <host/host_module.h>

#include <gtest/gtest.h>

TEST( Module, StartsAndStops )
{
    ASSERT_TRUE( pbModuleStart( hostModule() ) );
    pbModuleStop( hostModule() );
}
