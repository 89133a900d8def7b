#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

namespace Event = zq::NetworkManager::Event;

const char *const kFile = "zqnetworkmanager-manager";

} // namespace

TEST(ANewListener, IsToldThePresentStateInOrder)
{
    LogCapture  lLog;
    TestManager lManager;
    Subscriber  lSubscriber;
    Recorder    lObserver;

    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    ASSERT_EQ(lManager.AddServices({ "/a", "/b" }), 0);
    ASSERT_EQ(lManager.UpdateProperties(Dict({ { kManagerPropertyState, "online" } }).Get()), 0);
    ASSERT_EQ(lManager.UpdateProperties(Dict({ { kManagerPropertyOfflineMode, Bool(false) } }).Get()), 0);
    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    ASSERT_EQ(lManager.AddObserver(&lObserver), 0);

    EXPECT_EQ(lObserver.GetLines(), (Lines{ "PropertiesChanged OfflineMode State", "StateChanged online",
                                            "ServicesAdded a b", "TechnologiesAdded t" }));

    const auto lEvents = lSubscriber.Take();
    ASSERT_EQ(lEvents.size(), 4u);
    const auto *lProperties = dynamic_cast<Event::PropertiesChanged *>(lEvents[0].Get());
    const auto *lState      = dynamic_cast<Event::StateChanged *>(lEvents[1].Get());
    const auto *lAdded      = dynamic_cast<Event::ServicesAdded *>(lEvents[2].Get());
    ASSERT_TRUE(lProperties != nullptr && lState != nullptr && lAdded != nullptr);
    zqRefObjectArray<Technology> lTechnologies;
    EXPECT_EQ(dynamic_cast<Event::TechnologiesAdded &>(*lEvents[3]).GetTechnologies(lTechnologies), 0);
    EXPECT_EQ(Names(lTechnologies), Lines{ "t" });
    EXPECT_EQ(Text(lState->GetState()), "online");

    zqRefObjectArray<Service> lServices;
    EXPECT_EQ(lAdded->GetServices(lServices), 0);
    EXPECT_EQ(Names(lServices), (Lines{ "a", "b" }));

    EXPECT_FALSE(lLog.Contains("ASSERT")) << lLog.GetText();

    // What it was given does not change under its hands.
    ASSERT_EQ(lManager.UpdateProperties(Dict({ { kManagerPropertyState, "idle" } }).Get()), 0);
    EXPECT_EQ(Text(CFDictionaryGetValue(lProperties->GetProperties(), kManagerPropertyState)), "online");
}

TEST(ANewListener, OfAnEmptyManagerIsToldThePropertiesAlone)
{
    LogCapture  lLog;
    TestManager lManager, lNone(nullptr, nullptr, false);
    Subscriber  lSubscriber;
    Recorder    lObserver;

    EXPECT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    EXPECT_EQ(lSubscriber.Take().size(), 1u);
    EXPECT_EQ(lManager.AddObserver(nullptr), -5);
    EXPECT_EQ(lManager.Notify(nullptr), -5);
    EXPECT_EQ(lNone.Notify(&lObserver), -3);
    EXPECT_TRUE(Asserted(lLog, "mProperties != __null", kFile));
    EXPECT_EQ(lManager.AddObserver(&lObserver), 0);
    EXPECT_TRUE(lLog.Contains(": successfully added observer ", 2));
    EXPECT_EQ(lObserver.GetLines(), Lines{ "PropertiesChanged" });
}

TEST(ASubscriber, IsSubscribedOnceWhileTheManagerIsAvailableAndUntilItUnsubscribes)
{
    LogCapture  lLog;
    TestManager lManager;
    Subscriber  lSubscriber;
    const auto  lSubscribe = [&] { return lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"); };
    const auto  lGetCount  = [&]
    {
        EXPECT_EQ(lManager.SignalDidPrepareForSleep(), 0);
        return lSubscriber.Take().size();
    };

    EXPECT_EQ(lManager.Subscribe(nullptr, &lSubscriber, "test"), -17);
    EXPECT_TRUE(Asserted(lLog, "aQueue != __null", kFile));
    lManager.mAvailable = false;
    EXPECT_EQ(lSubscribe(), -3);
    EXPECT_TRUE(Asserted(lLog, "IsAvailable()", kFile));
    EXPECT_EQ(lGetCount(), 0u);

    lManager.mAvailable = true;
    EXPECT_EQ(lSubscribe(), 0);
    EXPECT_EQ(lGetCount(), 2u);
    EXPECT_EQ(lSubscribe(), -18);
    EXPECT_EQ(lGetCount(), 1u); // and not the present state again
    EXPECT_EQ(lManager.Unsubscribe(&lSubscriber.mQueue, &lSubscriber), 0);
    EXPECT_EQ(lGetCount(), 0u);
}
