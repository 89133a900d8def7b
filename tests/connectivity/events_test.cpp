#include <zqnetwork-connectivity.h>

#include <gtest/gtest.h>

using namespace zqNetworkEvent;

TEST(Events, OnlyFourCodesAreOfConnectivity)
{
    for (const unsigned int lType : { Failure::kType, Success::kType, Connected::kType, Trace::kType })
        EXPECT_TRUE(IsType(lType)) << lType;
    for (const unsigned int lType : { 0U, 0x30010015U, 0x3001001AU, RadioProperty::kType, 0xFFFFFFFFU })
        EXPECT_FALSE(IsType(lType)) << lType;
}
