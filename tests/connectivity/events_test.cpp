#include <zqnetwork-connectivity.h>

#include <gtest/gtest.h>

using namespace zqNetworkEvent;

namespace
{

TEST(Events, OnlyFourCodesAreOfConnectivity)
{
    for (const auto &[lType, lExpected] : { std::pair{ 0U, false },
                                            { 0x30010015U, false },
                                            { 0x30010016U, true },
                                            { 0x30010019U, true },
                                            { 0x3001001AU, false },
                                            { 0x3001001DU, false },
                                            { 0xFFFFFFFFU, false } })
        EXPECT_EQ(IsType(lType), lExpected) << std::hex << lType;
}

TEST(Events, CarryWhatTheyWereGiven)
{
    const zqSharedPtr<Failure> lFailure(new Failure);
    const zqSharedPtr<Success> lSuccess(new Success);
    const zqSharedPtr<Trace>   lTrace(new Trace);

    EXPECT_EQ(lFailure->Init("wifi", "no signal"), 0);
    EXPECT_EQ(lFailure->GetType(), 0x30010016U);
    EXPECT_EQ(lFailure->GetTechnology(), "wifi");
    EXPECT_EQ(lFailure->GetReason(), "no signal");
    EXPECT_EQ(lSuccess->Init("wifi"), 0);
    EXPECT_EQ(lSuccess->GetType(), 0x30010017U);
    EXPECT_EQ(lTrace->Init("ethernet"), 0);
    EXPECT_EQ(lTrace->GetType(), 0x30010019U);
    EXPECT_EQ(lTrace->GetTechnology(), "ethernet");
}

TEST(Events, ConnectedKeepsACopyOfTheTypes)
{
    const zqSharedPtr<Connected> lEvent(new Connected);
    zqStringArray                lTypes;

    EXPECT_FALSE(lEvent->IsConnected() || lEvent->IsChange());
    ASSERT_EQ(lTypes.Append("wifi"), 0);
    EXPECT_EQ(lEvent->Init(true, true, lTypes), 0);
    EXPECT_EQ(lEvent->GetType(), 0x30010018U);
    ASSERT_EQ(lTypes.Append("ethernet"), 0);
    EXPECT_EQ(lEvent->GetConnectedTechnologies(lTypes), 0);
    EXPECT_EQ(lTypes.GetNumElements(), 1);
    EXPECT_TRUE(lEvent->IsConnected() && lEvent->IsChange());
}

TEST(Events, RadioPropertyHoldsItsValueAndMayHaveNone)
{
    const auto    lValue = CFUAdopt(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
    const CFIndex lCount = CFGetRetainCount(lValue.Get());
    {
        const zqSharedPtr<RadioProperty> lEvent(new RadioProperty);

        EXPECT_EQ(lEvent->GetPropertyValue(), nullptr);
        EXPECT_EQ(lEvent->Init("lowpan", "Channel", lValue.Get()), 0);
        EXPECT_EQ(lEvent->GetType(), 0x3001001DU);
        EXPECT_EQ(lEvent->GetPropertyName(), "Channel");
        EXPECT_EQ(lEvent->GetPropertyValue(), lValue.Get());
        EXPECT_EQ(CFGetRetainCount(lValue.Get()), lCount + 1);
        EXPECT_EQ(lEvent->Init("lowpan", "Channel", nullptr), 0);
        EXPECT_EQ(lEvent->GetPropertyValue(), nullptr);
    }
    EXPECT_EQ(CFGetRetainCount(lValue.Get()), lCount);
}

} // namespace
