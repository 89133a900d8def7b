/**
 *  @file
 *    Following a current ConnMan, whose types only the tolerant decoding takes.
 */

#include <runningmanager.h>

#include <zqconnman.h>

#include <logcapture.h>
#include <privatebus.h>
#include <waituntil.h>

#include <gtest/gtest.h>

using namespace zq::Test;

// The lists and the daemon's answer to one question for all are decoded on
// different ways: the same daemon must not look changed.
TEST(Tolerant, AfterACrashThatChangedNothingNothingIsTold)
{
    const std::string kProperties = "PropertiesChanged OfflineMode SessionMode State";
    const LogCapture  lLog;
    FakeConnMan       lConnMan;
    Recorder          lRecorder;

    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);
    SystemBus();
    lConnMan.AddService(
        FakeConnMan::ServicePath("wired"),
        FakeConnMan::EthernetServiceWithMTU(
            { { "LastAddressConflict", "{'IPv4': <{'Address': <'10.0.0.1'>}>, 'Timestamp': <int64 5>}" },
              { "Nameservers", "['10.0.0.1', '10.0.0.2']" } }));
    lConnMan.AddTechnology(FakeConnMan::TechnologyPath("ethernet"),
                           FakeConnMan::Technology("ethernet", { { "TetheringFreq", "0" } }));
    ASSERT_TRUE(lConnMan.Appear());

    const RunningManager lManager;
    ASSERT_NE(lManager.Get(), nullptr) << lManager.GetError();
    ASSERT_EQ(lManager->AddObserver(&lRecorder), 0);
    EXPECT_EQ(lManager.GetServices(), Lines{ "wired" }) << lLog.GetText();
    EXPECT_EQ(lManager.GetTechnologies(), Lines{ "ethernet" });

    lConnMan.Crash();
    ASSERT_TRUE(lLog.WaitFor("disconnected"));
    lRecorder.Clear();
    ASSERT_TRUE(lConnMan.Appear());
    ASSERT_TRUE(lRecorder.WaitFor(kProperties, 2));
    lConnMan.SetManagerProperty("State", "'online'");
    ASSERT_TRUE(lRecorder.WaitFor("StateChanged online"));
    EXPECT_EQ(lRecorder.GetLines(), (Lines{ kProperties, "StateChanged offline", kProperties, "PropertiesChanged State",
                                            "StateChanged online" }))
        << lLog.GetText();
    EXPECT_EQ(lManager->RemoveObserver(&lRecorder), 0);
}
