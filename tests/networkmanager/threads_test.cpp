#include "model.h"

#include <gtest/gtest.h>
#include <waituntil.h>

#include <thread>

using namespace zq::Test;

namespace
{

/** Everything that a callback may do to the manager that calls it. */
void UseEverything(Manager &aManager, Subscriber &aSubscriber)
{
    zqRefObjectArray<Service>    lServices;
    zqRefObjectArray<Technology> lTechnologies;
    zqSharedPtr<Service>         lService;
    zqSharedPtr<Technology>      lTechnology;
    zqSharedPtr<Provision>       lProvision;

    EXPECT_EQ(aManager.GetServices(lServices), 0);
    EXPECT_EQ(aManager.GetTechnologies(lTechnologies), 0);
    (void)aManager.ManagerGetProperty(kManagerPropertyState);
    (void)aManager.IsManagerState(Str("ready"));
    (void)aManager.ManagerLookupService(Str("home"), lService);
    (void)aManager.ManagerLookupServiceByInterfaceName(Str("wlan0"), lService);
    (void)aManager.ManagerLookupTechnology(Str("wifi"), lTechnology);
    (void)aManager.ManagerSetProperty(Str("Preferred"), Bool(true));
    EXPECT_EQ(aManager.ProvisionCreate(ProvisionProperties("id", "secret"), lProvision), 0);
    (void)aManager.ProvisionSetProperty(*lProvision, Str("SSID"), Str("ff"));
    (void)aManager.ProvisionRemove(*lProvision);
    (void)aManager.Subscribe(&aSubscriber.mQueue, &aSubscriber, "inside");
    (void)aManager.Unsubscribe(&aSubscriber.mQueue, &aSubscriber);
    (void)aManager.TechnologyOnlineCheck(Str("wifi"));
}

/** A manager whose requests several threads may make. */
class SharedManager : public TestManager
{
public:
    zqError UpdateConnManProvisions(bool) override { return 0; }
    zqError ServiceOnlineCheck(const Service &) override { return 0; }
};

/** Read what events carry, as a subscriber does on its own thread. */
void ReadAll(const std::vector<zqSharedPtr<zqEvent>> &anEvents)
{
    const auto lRead = [](const auto *anEvent)
    { EXPECT_TRUE(anEvent == nullptr || CFUAdopt(CFCopyDescription(anEvent->GetProperties())) != nullptr); };

    for (const auto &lEvent : anEvents)
    {
        lRead(dynamic_cast<zq::NetworkManager::Event::PropertiesChanged *>(lEvent.Get()));
        lRead(dynamic_cast<zq::NetworkManager::Event::ServiceChanged *>(lEvent.Get()));
    }
}

} // namespace

TEST(AnObserver, ThatIsRemovedIsNotCalledAnyMoreByTheLoopsThread)
{
    SharedManager     lManager;
    std::atomic<bool> lStop{ false };
    std::thread       lLoop(
        [&]
        {
            while (!lStop)
                EXPECT_EQ(lManager.SignalDidPrepareForSleep(), 0);
        });

    for (int i = 0; i < 200; i++)
    {
        // Its end would be a use after free for a callback that still runs.
        const auto lObserver = std::make_unique<Recorder>();
        EXPECT_EQ(lManager.AddObserver(lObserver.get()), 0);
        EXPECT_EQ(lManager.RemoveObserver(lObserver.get()), 0);
    }

    lStop = true;
    lLoop.join();
}

TEST(AManager, IsUsedByManyThreadsWhileItsLoopFollowsTheDaemon)
{
    const int kRounds = 150;

    SharedManager     lManager;
    Recorder          lObserver;
    Subscriber        lInside;
    Subscriber        lOutside;
    Subscriber        lListener;
    std::atomic<bool> lDone{ false };

    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    ASSERT_EQ(lManager.AddServices({ "/stays" }), 0);
    lObserver.SetInside([&](Manager *aManager) { UseEverything(*aManager, lInside); });
    ASSERT_EQ(lManager.AddObserver(&lObserver), 0);
    ASSERT_EQ(lManager.Subscribe(&lListener.mQueue, &lListener, "listener"), 0);

    std::thread lLoop([&] { lManager.Run(); });

    lManager.Post(
        [&]
        {
            for (int i = 0; i < kRounds; i++)
            {
                EXPECT_EQ(lManager.AddServices({ "/comes" }), 0);
                EXPECT_EQ(lManager.UpdateServices(Strings({ "/stays" }).Get(), Manager::UpdateOperationChange), 0);
                EXPECT_EQ(lManager.UpdateProperties(
                              Dict({ { kManagerPropertyState, Str(i % 2 != 0 ? "ready" : "online") } }).Get()),
                          0);
                EXPECT_EQ(lManager.UpdateServices(Strings({ "/comes" }).Get(), Manager::UpdateOperationRemove), 0);
            }
            lDone = true;
        });

    std::thread lReader(
        [&]
        {
            while (!lDone)
                ReadAll(lListener.Take());
        });

    while (!lDone)
    {
        Observer::Default lPassing;

        UseEverything(lManager, lOutside);
        EXPECT_EQ(lManager.AddObserver(&lPassing), 0);
        EXPECT_EQ(lManager.RemoveObserver(&lPassing), 0);
        ReadAll(lOutside.Take());
    }

    EXPECT_EQ(lManager.Stop(), 0);
    lReader.join();
    lLoop.join();

    EXPECT_EQ(lManager.GetServicePaths(), "stays");
    EXPECT_EQ(lManager.RemoveObserver(&lObserver), 0);
    EXPECT_GE(lObserver.GetLines().size(), static_cast<size_t>(4 * kRounds));
}
