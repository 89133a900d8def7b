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

TEST(Events, KeepWhatTheyWereGivenUntilTheyEnd)
{
    const auto                       lValue = CFUAdopt(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
    const zqSharedPtr<Failure>       lFailure(new Failure);
    const zqSharedPtr<Connected>     lConnected(new Connected);
    const zqSharedPtr<RadioProperty> lEmpty(new RadioProperty);
    zqSharedPtr<RadioProperty>       lRadio(new RadioProperty);
    zqStringArray                    lTypes;

    EXPECT_EQ(lFailure->Init("wifi", "no signal"), 0);
    EXPECT_EQ(lFailure->GetTechnology() + ": " + lFailure->GetReason(), "wifi: no signal");

    EXPECT_EQ(lTypes.Append("wifi"), 0);
    EXPECT_EQ(lConnected->Init(true, true, lTypes), 0);
    EXPECT_EQ(lTypes.Append("ethernet"), 0);
    EXPECT_EQ(lConnected->GetConnectedTechnologies(lTypes), 0);
    EXPECT_EQ(lTypes.GetNumElements(), 1) << "a copy";

    EXPECT_EQ(lEmpty->Init("lowpan", "Channel", nullptr), 0);
    EXPECT_EQ(lEmpty->GetPropertyValue(), nullptr);
    EXPECT_EQ(lRadio->Init("lowpan", "Channel", lValue.Get()), 0);
    EXPECT_EQ(lRadio->GetPropertyValue(), lValue.Get());
    EXPECT_EQ(CFGetRetainCount(lValue.Get()), 2);
    lRadio = nullptr;
    EXPECT_EQ(CFGetRetainCount(lValue.Get()), 1);
}
