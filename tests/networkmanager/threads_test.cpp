#include "model.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zq::Test;

namespace
{

/** Does something over and over on a thread of its own, at least once, until it goes. */
class Meanwhile
{
public:
    explicit Meanwhile(std::function<void()> aFunction)
        : mThread(
              [this, aFunction]
              {
                  for (; !mEnds; mBegun = true)
                      aFunction();
              })
    {
        EXPECT_TRUE(WaitUntil([this] { return mBegun.load(); }));
    }

    ~Meanwhile()
    {
        mEnds = true;
        mThread.join();
    }

private:
    std::atomic<bool> mBegun{ false }, mEnds{ false };
    std::thread       mThread; // last: it uses all of the above
};

/** A manager whose requests several threads may make. */
class SharedManager : public TestManager
{
public:
    explicit SharedManager(int aCount)
    {
        while (aCount-- > 0)
            mPaths.push_back("/stays" + std::to_string(aCount));
        EXPECT_EQ(AddServices(mPaths), 0);
        EXPECT_EQ(AddTechnology("/t", "wifi"), 0);
    }

    zqError UpdateConnManProvisions(bool) override { return 0; }
    zqError ServiceOnlineCheck(const Service &) override { return 0; }

    /** The model changes, and is in the end as it was but for its state. */
    void Follow()
    {
        const auto lState = Str(++mRound % 2 != 0 ? "ready" : "online");

        EXPECT_EQ(AddServices({ "/comes" }), 0);
        EXPECT_EQ(UpdateServices(Strings({ mPaths[0] }).Get(), UpdateOperationChange), 0);
        EXPECT_EQ(UpdateProperties(Dict({ { kManagerPropertyState, lState } }).Get()), 0);
        EXPECT_EQ(SignalStateChanged(lState.Get()), 0);
        EXPECT_EQ(UpdateServices(Strings({ "/comes" }).Get(), UpdateOperationRemove), 0);
    }

    std::vector<std::string> mPaths;

private:
    int mRound = 0;
};

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

/** What a subscriber knows when it has applied the events that wait. */
struct Known : Mirror
{
    explicit Known(Subscriber &aSubscriber)
    {
        for (const auto &lEvent : aSubscriber.Take())
            HandleEvent(lEvent.Get());
    }
};

/** A copy that is made while another thread changes the object is what the object was at one time. */
template <typename T>
void ExpectCopiedWhole(const Dictionary &aProperties)
{
    const auto      lObject = Make<T>("/a", aProperties);
    int             lRound  = 0;
    const Meanwhile lRefreshing(
        [&]
        {
            // One value under two names, and a third name that makes the dictionary grow and shrink.
            const std::string lPassing = "passing" + std::to_string(++lRound % 200);
            const Value       lValue   = Number(lRound);

            EXPECT_EQ(lObject->Refresh(Dict({ { "first", lValue }, { lPassing, lValue }, { "last", lValue } })), 0);
            EXPECT_EQ(lObject->ClearProperty(Str("passing" + std::to_string((lRound + 100) % 200))), 0);
        });

    for (int i = 0; i < 10000; i++)
    {
        zqSharedPtr<T> lCopy(new T);
        EXPECT_EQ(lCopy->Init(*lObject), 0);
        EXPECT_EQ(Text(lCopy->GetProperty(Str("first")).Get()), Text(lCopy->GetProperty(Str("last")).Get()));
        EXPECT_TRUE(lCopy->GetType() != nullptr); // its own class's Init ran
    }
}

} // namespace

TEST(AnObject, IsCopiedWholeWhileAnotherThreadRefreshesIt)
{
    ExpectCopiedWhole<Service>(ServiceProperties());
    ExpectCopiedWhole<Technology>(TechnologyProperties());
    ExpectCopiedWhole<Provision>(ProvisionProperties(nullptr));
}

TEST(ASubscriber, ThatJoinsWhileTheModelChangesEndsWithTheTrueOne)
{
    SharedManager lManager(3000);

    for (int lJoin = 0; lJoin < 300; lJoin++)
    {
        Subscriber lSubscriber;
        {
            const Meanwhile lLoop([&] { lManager.Follow(); });
            EXPECT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "joins"), 0);
        }
        EXPECT_EQ(lManager.Unsubscribe(&lSubscriber.mQueue, &lSubscriber), 0);

        const Known lModel(lSubscriber);
        EXPECT_EQ(lModel.mServices.size(), lManager.mPaths.size()) << lJoin;
        EXPECT_EQ(lModel.mState, Text(lManager.ManagerGetState().Get())) << lJoin;
        EXPECT_EQ(lModel.mStateProperty, lModel.mState) << lJoin;
    }
}

TEST(AManager, KeepsANameThatTwoThreadsMarkOnce)
{
    LogCapture       lLog; // of the refusals
    TestManager      lManager;
    std::atomic<int> lMarks{ 0 };
    const auto       lMark = [&]
    {
        const char *const lName = "a technology's name that does not fit into the string itself";

        lMarks += lManager.SetNetworkResetWillRemoveTechnology(lName, true) == 0 ? 1 : 0;
        (void)lManager.WillNetworkResetRemoveTechnology(lName);
        lMarks -= lManager.SetNetworkResetWillRemoveTechnology(lName, false) == 0 ? 1 : 0;
    };
    {
        const Meanwhile lOther(lMark);

        for (int i = 0; i < 50000; i++)
            lMark();
    }
    EXPECT_EQ(lMarks, 0);
}

TEST(AManager, IsUsedByManyThreadsAndCallbacksWhileItsModelChanges)
{
    SharedManager lManager(1);
    Recorder      lObserver;
    Subscriber    lInside, lOutside, lListener;

    lObserver.SetInside([&](Manager *aManager) { UseEverything(*aManager, lInside); });
    ASSERT_EQ(lManager.AddObserver(&lObserver), 0);
    ASSERT_EQ(lManager.Subscribe(&lListener.mQueue, &lListener, "listener"), 0);
    {
        const Meanwhile lLoop([&] { lManager.Follow(); });
        const Meanwhile lReading([&] { (void)Known(lListener); });

        for (int i = 0; i < 300; i++)
        {
            Recorder lPassing; // its end would be a use after free for a callback that still runs

            UseEverything(lManager, lOutside);
            EXPECT_EQ(lManager.AddObserver(&lPassing), 0);
            EXPECT_EQ(lManager.RemoveObserver(&lPassing), 0);
            (void)Known(lOutside);
        }
    }
    EXPECT_EQ(lManager.GetServicePaths(), "stays0");
    EXPECT_EQ(lManager.RemoveObserver(&lObserver), 0);
}
