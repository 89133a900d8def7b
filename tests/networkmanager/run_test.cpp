#include "model.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zq::Test;

namespace
{

/** A manager's loop on a thread of its own. */
class Loop
{
public:
    explicit Loop(TestManager &aManager) : mManager(aManager), mThread([&aManager] { aManager.Run(); }) {}

    ~Loop()
    {
        EXPECT_EQ(mManager.Stop(), 0);
        mThread.join();
    }

    /** Run a function on the loop's thread and wait for it; false when the loop does not come to it. */
    bool Call(const std::function<void()> &aFunction)
    {
        std::atomic<bool> lDone{ false };

        mManager.Post(
            [&]
            {
                aFunction();
                lDone = true;
            });

        return WaitUntil([&] { return lDone.load(); });
    }

private:
    TestManager &mManager;
    std::thread  mThread;
};

} // namespace

TEST(TheRunLoop, PollsWhatThereIsInEveryRun)
{
    LogCapture  lLog;
    TestManager lManager;

    for (int i = 0; i < 3; i++)
    {
        Loop lLoop(lManager);
        EXPECT_TRUE(lLoop.Call([] {})) << i;
    }
    EXPECT_EQ(lManager.mNumHandled, 3);
    {
        // Its own queue alone while the bus is gone.
        Loop lLoop(lManager);
        EXPECT_TRUE(lLoop.Call([&] { lManager.mAvailable = false; }));
        EXPECT_TRUE(lLog.WaitFor(": Run() - # of poll fds: 1", 1));
    }

    lManager.mAvailable = true;
    Loop lLoop(lManager);
    EXPECT_TRUE(lLoop.Call([&] { lManager.mYieldsNothing = true; })); // the set shrinks to nothing
    EXPECT_TRUE(lLoop.Call([] {}));
}

TEST(TheRunLoop, ReportsDescriptorsThatNobodyHandledAndGoesOn)
{
    LogCapture  lLog;
    TestManager lManager;
    Loop        lLoop(lManager);

    EXPECT_TRUE(lLoop.Call([&] { lManager.mLeavesUnhandled = true; }));
    EXPECT_TRUE(lLog.WaitFor(": active fds: 1, handled fds = 0", 4));
    EXPECT_TRUE(lLoop.Call([] {}));
}

TEST(TheRunLoop, HandlesTheBusAlsoInThePassThatEndsIt)
{
    LogCapture   lLog;
    zqEventQueue lApplication;
    ASSERT_EQ(lApplication.Init(), 0);
    TestManager lManager(&lApplication);
    int         lRegistered = -1;

    // It is registered with the application's queue while it runs.
    lManager.Post([&] { lRegistered = zqHeartBeatClient::GetNumRegistered(&lApplication); });
    EXPECT_EQ(zqHeartBeatClient::GetNumRegistered(&lApplication), 0);
    EXPECT_EQ(lManager.Stop(), 0);
    EXPECT_EQ(lManager.Stop(), 0); // both are taken in the one pass
    Manager::Run(static_cast<void *>(static_cast<Manager *>(&lManager)));

    EXPECT_EQ(lRegistered, 1);
    EXPECT_EQ(zqHeartBeatClient::GetNumRegistered(&lApplication), 0);
    EXPECT_EQ(lManager.mNumPasses, 1);
    EXPECT_EQ(lLog.Count(": Handle event 0x", 1), 2u);
    EXPECT_EQ(lLog.Count(": Run() - # of poll fds: 2", 1), 1u);
    EXPECT_FALSE(lLog.Contains("handled fds"));

    TestManager lNone(nullptr, nullptr, false);
    lNone.Run();
    EXPECT_EQ(lNone.Stop(), -3);
    Manager::Run(nullptr);
    EXPECT_TRUE(lLog.Contains(": No network manager instance", 4));
}

TEST(AManager, IsInitialisedOnceAndWhenDestroyedEmptyAndForgetsWhoListened)
{
    LogCapture             lLog;
    TestManager            lManager;
    Recorder               lObserver;
    Subscriber             lSubscriber;
    zqSharedPtr<Provision> lProvision;

    ASSERT_EQ(lManager.ProvisionCreate(ProvisionProperties("id"), lProvision), 0);
    ASSERT_EQ(lManager.AddServices({ "/a" }), 0);
    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    ASSERT_EQ(lManager.AddObserver(&lObserver), 0);
    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    EXPECT_EQ(lManager.Init(nullptr, nullptr), -3);
    EXPECT_TRUE(Asserted(lLog, "lReturn == 0", "zqnetworkmanager-manager"));
    const auto lService = lManager.FindService(Str("/a").Get());
    ASSERT_TRUE(lService != nullptr);
    ASSERT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", true), 0);
    lObserver.Clear();
    (void)lSubscriber.Take();

    lManager.Destroy();
    lManager.Destroy();
    EXPECT_TRUE(lManager.FindService(Str("/a").Get()) == nullptr);
    EXPECT_TRUE(lManager.FindTechnology(Str("/t").Get()) == nullptr);
    EXPECT_TRUE(lManager.ManagerGetProperties() == nullptr);
    EXPECT_EQ(lManager.GetProvisionPaths(), "");
    EXPECT_FALSE(lManager.WillNetworkResetRemoveTechnology("wifi"));
    (void)lManager.SignalDidPrepareForSleep();
    EXPECT_EQ(lManager.Notify(&lObserver), -3);
    EXPECT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), -3);
    EXPECT_EQ(lManager.Stop(), -3);
    EXPECT_EQ(lManager.RemoveObserver(&lObserver), -17);
    EXPECT_TRUE(lObserver.GetLines().empty());
    EXPECT_TRUE(lSubscriber.Take().empty());
    EXPECT_EQ(lService->GetRefCount(), 1);
}
