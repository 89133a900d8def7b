#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

using Types = std::vector<unsigned int>;
using Calls = std::vector<std::string>;

} // namespace

TEST(ANewSubscriber, GetsThePresentStateInOrder)
{
    TestManager lManager;
    Subscriber  lSubscriber;

    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    ASSERT_EQ(lManager.AddServices({ "/a", "/b" }), 0);
    ASSERT_EQ(
        lManager.UpdateProperties(
            Dict({ { kManagerPropertyState, Str("online") }, { kManagerPropertyOfflineMode, Bool(false) } }).Get()),
        0);

    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);

    const auto lEvents = lSubscriber.Take();
    ASSERT_EQ(lEvents.size(), 4u);

    const auto *lProperties = dynamic_cast<zq::NetworkManager::Event::PropertiesChanged *>(lEvents[0].Get());
    ASSERT_TRUE(lProperties != nullptr);
    EXPECT_EQ(CFDictionaryGetCount(lProperties->GetProperties()), 2);

    const auto *lState = dynamic_cast<zq::NetworkManager::Event::StateChanged *>(lEvents[1].Get());
    ASSERT_TRUE(lState != nullptr);
    EXPECT_EQ(Text(lState->GetState()), "online");

    const auto               *lAdded = dynamic_cast<zq::NetworkManager::Event::ServicesAdded *>(lEvents[2].Get());
    zqRefObjectArray<Service> lServices;
    ASSERT_TRUE(lAdded != nullptr);
    EXPECT_EQ(lAdded->GetServices(lServices), 0);
    EXPECT_EQ(PathsOf(lServices), "/a /b");

    EXPECT_EQ(lEvents[3]->GetType(), zq::NetworkManager::Event::TechnologiesAdded::kType);

    // What it was given does not change under its hands.
    ASSERT_EQ(lManager.UpdateProperties(Dict({ { kManagerPropertyState, Str("idle") } }).Get()), 0);
    EXPECT_EQ(Text(CFDictionaryGetValue(lProperties->GetProperties(), kManagerPropertyState)), "online");
}

TEST(ANewSubscriber, GetsOneEventWhenNothingIsKnown)
{
    TestManager lManager;
    Subscriber  lSubscriber;

    EXPECT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    EXPECT_EQ(lSubscriber.TakeTypes(), Types{ 0x30010002 });
}

TEST(ANewSubscriber, IsRefusedBeforeTheManagerIsAvailable)
{
    LogCapture  lLog;
    TestManager lManager;
    Subscriber  lSubscriber;

    EXPECT_EQ(lManager.Subscribe(nullptr, &lSubscriber, "test"), -17);
    EXPECT_TRUE(Asserted(lLog, "aQueue != __null", "zqnetworkmanager-manager"));

    lManager.mAvailable = false;
    EXPECT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), -3);
    EXPECT_TRUE(Asserted(lLog, "IsAvailable()", "zqnetworkmanager-manager"));

    lManager.mAvailable = true;
    EXPECT_EQ(lManager.SignalDidPrepareForSleep(), 0);
    EXPECT_EQ(lSubscriber.TakeTypes(), Types{});
}

TEST(ANewSubscriber, ThatIsOneAlreadyGetsNothingAgain)
{
    TestManager lManager;
    Subscriber  lSubscriber;

    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    (void)lSubscriber.Take();
    EXPECT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), -18);
    EXPECT_EQ(lSubscriber.TakeTypes(), Types{});

    EXPECT_EQ(lManager.Unsubscribe(&lSubscriber.mQueue, &lSubscriber), 0);
    EXPECT_EQ(lManager.SignalDidPrepareForSleep(), 0);
    EXPECT_EQ(lSubscriber.TakeTypes(), Types{});
}

TEST(ANewObserver, IsToldThePresentStateInOrder)
{
    LogCapture        lLog;
    TestManager       lManager;
    RecordingObserver lObserver;

    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    ASSERT_EQ(lManager.AddServices({ "/a" }), 0);
    ASSERT_EQ(lManager.UpdateProperties(Dict({ { kManagerPropertyState, Str("ready") } }).Get()), 0);
    lLog.Clear();

    EXPECT_EQ(lManager.AddObserver(&lObserver), 0);
    EXPECT_EQ(lObserver.mCalls,
              (Calls{ "PropertiesChanged 1", "StateChanged ready", "ServicesAdded /a", "TechnologiesAdded /t" }));
    EXPECT_TRUE(lLog.Contains(": successfully added observer ", 2));
}

TEST(ANewObserver, OfAnEmptyManagerIsToldThePropertiesAlone)
{
    TestManager       lManager;
    RecordingObserver lObserver;

    EXPECT_EQ(lManager.AddObserver(nullptr), -5);
    EXPECT_EQ(lManager.Notify(nullptr), -5);
    EXPECT_EQ(lManager.AddObserver(&lObserver), 0);
    EXPECT_EQ(lObserver.mCalls, Calls{ "PropertiesChanged 0" });
}

TEST(ANewObserver, OfAManagerThatIsNotInitialisedIsToldNothing)
{
    LogCapture        lLog;
    TestManager       lManager(nullptr, nullptr, false);
    RecordingObserver lObserver;

    EXPECT_EQ(lManager.Notify(&lObserver), -3);
    EXPECT_TRUE(Asserted(lLog, "mProperties != __null", "zqnetworkmanager-manager"));
    EXPECT_EQ(lObserver.mCalls, Calls{});
}
