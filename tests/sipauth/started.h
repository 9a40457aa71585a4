// A test during which the library's module is started.
#ifndef SIPAUTH_STARTED_H
#define SIPAUTH_STARTED_H

#include <pb/pb_module.h>
#include <sipauth/sipauth_module.h>

#include <gtest/gtest.h>

class Started : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE( pbModuleStart( sipauthModule() ) ); }
    void TearDown() override { pbModuleStop( sipauthModule() ); }
};

#endif
