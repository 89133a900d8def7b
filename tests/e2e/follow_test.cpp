#include <logcapture.h>

#include "world.h"

using namespace zq::Test;

namespace
{

class Follow : public WorldTest
{
protected:
    std::string Events() const { return testing::PrintToString(mEvents.GetLines()); }

    void ExpectInOrder(const Lines &aTexts)
    {
        int lIndex = 0;

        for (const std::string &lText : aTexts)
        {
            const int lFound = mEvents.Find(lText, lIndex);

            EXPECT_GE(lFound, 0) << lText << " in its place, in " << Events();
            lIndex = (lFound >= 0) ? lFound + 1 : lIndex;
        }
    }

    /** Everything is as it was at first. */
    void ExpectReadyAgain()
    {
        ASSERT_TRUE(WaitForReadyService()) << Events();
        EXPECT_EQ(mManager.GetServices(), Lines{ mName });
        EXPECT_EQ(mManager.GetTechnologies(), Lines{ "ethernet" });
    }
};

} // namespace

TEST_F(Follow, ModelOfAnEthernetLease)
{
    const auto lService = mManager.FindService(mName);

    ExpectReadyAgain();

    const auto lEthernet  = lService->GetEthernet();
    const auto lAddresses = lService->GetAddresses(CFURetain(kServicePropertyIPv4));

    EXPECT_EQ(Text(lService->GetType().Get()), "ethernet");
    EXPECT_EQ(Text(CFDictionaryGetValue(lEthernet.Get(), kEthernetPropertyInterface)), "eth1");
    EXPECT_EQ(Text(CFDictionaryGetValue(lAddresses.Get(), kIPPropertyAddress)).rfind("192.168.77.", 0), 0u);
    // Exact decoding refuses the daemon's reply for the type of this one.
    EXPECT_EQ(Text(CFDictionaryGetValue(lEthernet.Get(), Str("MTU").Get())), "1500");

    EXPECT_TRUE(WaitUntil([&] { return Text(mManager->ManagerGetState().Get()) == "ready"; }));
}

TEST_F(Follow, CablePulledAndPutBack)
{
    ASSERT_TRUE(World("cable down"));
    EXPECT_TRUE(mEvents.WaitFor("ServicesRemoved " + mName)) << Events();
    EXPECT_EQ(mManager.GetServices(), Lines{});

    ASSERT_TRUE(World("cable up"));
    ExpectReadyAgain();
    ExpectInOrder({ "StateChanged idle", "ServicesRemoved " + mName, "ServicesAdded " + mName });
}

TEST_F(Follow, DaemonCrashesAndReturnsWithTheSameService)
{
    ASSERT_TRUE(World("daemon kill"));
    ASSERT_TRUE(World("daemon start"));

    // Ready by the old daemon's word is not enough: the new one has to have led it there.
    ASSERT_TRUE(mEvents.WaitToFind("ServiceChanged " + mName + " State=ready")) << Events();
    ExpectReadyAgain();
}

TEST_F(Follow, ServiceThatWentWhileTheDaemonWasAwayIsRemoved)
{
    ASSERT_TRUE(World("daemon kill"));
    ASSERT_TRUE(World("cable down"));
    EXPECT_EQ(mManager.GetServices(), Lines{ mName }) << "a crash takes nothing away";

    ASSERT_TRUE(World("daemon start"));
    EXPECT_TRUE(mEvents.WaitFor("ServicesRemoved " + mName)) << Events();
    EXPECT_EQ(mManager.GetServices(), Lines{});

    ASSERT_TRUE(World("cable up"));
    ExpectReadyAgain();
}

// It releases its agents before it tells that its services went, so those stay until it returns.
TEST_F(Follow, DaemonStopsAndReturns)
{
    ASSERT_TRUE(World("daemon stop"));
    EXPECT_TRUE(mEvents.WaitFor("TechnologiesRemoved ethernet")) << Events();

    ASSERT_TRUE(World("daemon start"));
    ASSERT_TRUE(mEvents.WaitFor("TechnologiesAdded ethernet")) << Events();
    ExpectReadyAgain();
    ExpectInOrder({ "StateChanged idle", "TechnologiesRemoved ethernet", "TechnologiesAdded ethernet" });
}

TEST(Exact, RefusesWhatTheDevicesDaemonNeverSendsAndStaysUsable)
{
    LogCapture           lLog;
    const RunningManager lManager;

    ASSERT_NE(lManager.Get(), nullptr);
    EXPECT_TRUE(lLog.WaitFor("ASSERT: ", 4)) << lLog.GetText();
    EXPECT_EQ(lManager.GetServices(), Lines{});

    // Its loop is alive: the next daemon's presence is still noticed.
    lLog.Clear();
    ASSERT_TRUE(World("daemon kill"));
    EXPECT_TRUE(lLog.WaitFor("disconnected", 3)) << lLog.GetText();
    ASSERT_TRUE(World("daemon start"));
    EXPECT_TRUE(lLog.WaitFor("service at", 3)) << lLog.GetText();
}
