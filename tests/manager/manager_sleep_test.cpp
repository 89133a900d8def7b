/**
 *  @file
 *    The concrete manager itself, without a bus: what no application can bring about.
 */

#include <zqnetworkmanager-connman.h>

#include <logcapture.h>

#include <gtest/gtest.h>

#include <string>

using zq::Test::LogCapture;
using ConcreteManager = zq::NetworkManager::ConnMan::Manager;

namespace
{

const char *const kGivenUp = "network manager: wpan interface \"wpan0\" multiple failures to respond  to "
                             "\"IsOkToSleep\", allowing sleep now";

void Answer(ConcreteManager &aManager, zqError anError, CFTypeRef aValue = nullptr, const char *anInterface = "wpan0")
{
    aManager.HandleWPANDidGetOkToSleepProperty(anInterface, anError, "Daemon:ReadyForHostSleep", CFURetain(aValue));
}

std::string FailureLine(int anAttempt)
{
    return "network manager: wpan interface \"wpan0\" failed to reply to GetProperty(\"IsOkToSleep\") in " +
           std::to_string(anAttempt) + " attempts";
}

} // namespace

TEST(SleepBook, TheFifthFailureAndEveryLaterOneAllowsSleep)
{
    const LogCapture lLog;
    ConcreteManager  lManager;

    lManager.HandleWPANCtlPreventSleep("wpan0");
    for (int lAttempt = 1; lAttempt <= 7; ++lAttempt)
    {
        Answer(lManager, -16);
        EXPECT_EQ(lLog.Count(FailureLine(lAttempt), 2), 1U) << lLog.GetText();
        EXPECT_EQ(lLog.Count(kGivenUp, 2), static_cast<std::size_t>(lAttempt < 5 ? 0 : lAttempt - 4));
        EXPECT_EQ(lManager.IsSleepPrevented(), lAttempt < 5);
    }
}

TEST(SleepBook, AnyAnswerStartsTheCountAgain)
{
    for (CFTypeRef lAnswer : { static_cast<CFTypeRef>(kCFBooleanFalse), static_cast<CFTypeRef>(kCFBooleanTrue) })
    {
        const LogCapture lLog;
        ConcreteManager  lManager;

        lManager.HandleWPANCtlPreventSleep("wpan0");
        for (int lAttempt = 0; lAttempt < 4; ++lAttempt)
            Answer(lManager, -1);
        Answer(lManager, 0, lAnswer);
        EXPECT_EQ(lManager.IsSleepPrevented(), lAnswer == kCFBooleanFalse);
        lManager.HandleWPANCtlPreventSleep("wpan0");
        for (int lAttempt = 0; lAttempt < 4; ++lAttempt)
            Answer(lManager, -1);
        EXPECT_FALSE(lLog.Contains(kGivenUp));
        EXPECT_TRUE(lManager.IsSleepPrevented());
        EXPECT_TRUE(lLog.Contains(2, lAnswer == kCFBooleanTrue
                                         ? "network manager: wpan interface \"wpan0\" is ok to sleep"
                                         : "network manager: wpan interface \"wpan0\" is not ok to sleep"));
    }
}

TEST(SleepBook, TheCountIsOneForAllInterfacesButOnlyTheSilentOneIsReleased)
{
    ConcreteManager lManager;

    lManager.HandleWPANCtlPreventSleep("wpan0");
    lManager.HandleWPANCtlPreventSleep("wpan1");
    for (int lAttempt = 0; lAttempt < 4; ++lAttempt)
        Answer(lManager, -1, nullptr, "wpan0");
    Answer(lManager, -1, nullptr, "wpan1");
    EXPECT_TRUE(lManager.IsSleepPrevented()); // wpan0 still does
    Answer(lManager, -1, nullptr, "wpan0");
    EXPECT_FALSE(lManager.IsSleepPrevented());
}

TEST(SleepBook, AnInterfaceIsHeldOnce)
{
    ConcreteManager lManager;

    lManager.HandleWPANCtlAllowSleep("wpan0");
    EXPECT_FALSE(lManager.IsSleepPrevented());
    lManager.HandleWPANCtlPreventSleep("wpan0");
    lManager.HandleWPANCtlPreventSleep("wpan0");
    EXPECT_TRUE(lManager.IsSleepPrevented());
    lManager.HandleWPANCtlAllowSleep("wpan0");
    EXPECT_FALSE(lManager.IsSleepPrevented());
}

TEST(SleepBook, AnAnswerThatIsNoBooleanIsNoConsent)
{
    ConcreteManager lManager;

    lManager.HandleWPANCtlPreventSleep("wpan0");
    Answer(lManager, 0, nullptr);
    Answer(lManager, 0, CFSTR("true"));
    EXPECT_TRUE(lManager.IsSleepPrevented());
}

// MARK: Somebody else's client

TEST(ForeignClient, IsNotListenedTo)
{
    ConcreteManager lManager;
    zqConnMan       lOther;
    const auto      lArray      = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    const auto      lDictionary = CFUAdopt(
             CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const LogCapture lLog;

    lManager.Available(&lOther);
    lManager.Unavailable(&lOther);
    lManager.StateChanged(&lOther, CFSTR("ready"));
    lManager.PropertiesChanged(&lOther, lDictionary.Get());
    lManager.ServicesAdded(&lOther, lArray.Get());
    lManager.ServicesRemoved(&lOther, lArray.Get());
    lManager.ServicesUpdated(&lOther, lArray.Get());
    lManager.ServiceChanged(&lOther, CFSTR("/s"), lDictionary.Get());
    EXPECT_EQ(lManager.ServiceRequestInput(&lOther, CFSTR("/s"), lDictionary.Get()), -5);
    lManager.ServiceReportError(&lOther, CFSTR("/s"), CFSTR("e"));
    lManager.ServiceDidConnect(&lOther, CFSTR("/s"));
    lManager.ServiceDidNotConnect(&lOther, CFSTR("/s"), -1);
    lManager.ServiceIsOnline(&lOther, CFSTR("/s"));
    lManager.ServiceIsNotOnline(&lOther, CFSTR("/s"), -1);
    lManager.TechnologiesAdded(&lOther, lArray.Get());
    lManager.TechnologiesRemoved(&lOther, lArray.Get());
    lManager.TechnologyChanged(&lOther, CFSTR("/t"), lDictionary.Get());
    lManager.TechnologyDidScan(&lOther, CFSTR("/t"));
    lManager.TechnologyDidNotScan(&lOther, CFSTR("/t"), -1);

    EXPECT_EQ(lLog.Count("ASSERT: network manager: aConnMan == &mConnMan, file: zqnetworkmanager-connman", 4), 19U)
        << lLog.GetText();
    EXPECT_EQ(lLog.Count("network manager: Found different zqConnMan instance: aConnMan 0x", 4), 2U);
    EXPECT_EQ(lLog.GetLines().size(), 21U) << lLog.GetText();
}

// MARK: Before Init and after Destroy

TEST(Lifecycle, DestroyWithoutInitDoesNothing)
{
    ConcreteManager lManager;

    EXPECT_FALSE(lManager.IsAvailable());
    lManager.Destroy();
    lManager.Destroy();
    EXPECT_FALSE(lManager.IsAvailable());
}

TEST(Lifecycle, TheLoopsHooksAreIdleWithoutABus)
{
    ConcreteManager lManager;
    unsigned int    lCount   = 77;
    bool            lChanged = false;

    EXPECT_EQ(lManager.GetPollDescriptors(lCount, &lChanged), nullptr);
    EXPECT_EQ(lManager.HandleEvents(nullptr), 0);
    EXPECT_EQ(lCount, 77U);
    EXPECT_FALSE(lChanged);
}

TEST(Lifecycle, AFailedInitLeavesNothingToDestroy)
{
    ConcreteManager lManager;

    EXPECT_EQ(lManager.Init(nullptr), -1); // there is no bus
    EXPECT_FALSE(lManager.IsAvailable());
    EXPECT_NE(lManager.Init(nullptr), 0);
    lManager.Destroy();
}
