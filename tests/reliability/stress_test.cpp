/**
 *  @file
 *    Everything at once: threads that use every kind of operation while the
 *    daemon changes, crashes, is replaced and stalls. ZQ_STRESS_SECONDS for longer.
 */

#include "randomconnman.h"

#include <runningmanager.h>
#include <sandbox.h>
#include <zqlog.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <malloc.h>

namespace zq::Test
{

namespace
{

using Clock = std::chrono::steady_clock;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true; // they keep what was freed
#else
constexpr bool kIsSanitized = false;
#endif

constexpr std::size_t kMostGrowth = 1024 * 1024; // bytes: of the order of one more model

std::chrono::seconds Duration()
{
    const char *const lText = std::getenv("ZQ_STRESS_SECONDS");

    return std::chrono::seconds(lText != nullptr ? std::atoi(lText) : 6);
}

std::size_t CountDescriptors()
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

/** A queue that follows a manager for as long as it lives. */
struct Subscriber
{
    explicit Subscriber(Manager *aManager) : mManager(aManager)
    {
        (void)mQueue.Init();
        EXPECT_EQ(0, mManager->Subscribe(&mQueue, &mMirror, "stress"));
    }
    ~Subscriber() { (void)mManager->Unsubscribe(&mQueue, &mMirror); }

    bool IsTrue()
    {
        zqRefObjectArray<Service> lServices;

        (void)mQueue.Dispatch();
        (void)mManager->GetServices(lServices);
        std::set<Object *> lListed;
        for (int lIndex = 0; lIndex < lServices.GetNumElements(); ++lIndex)
            lListed.insert(lServices.GetElementPtr(lIndex));

        return mMirror.mServices == lListed && mMirror.mState == Text(mManager->ManagerGetState().Get());
    }

    Manager     *mManager;
    zqEventQueue mQueue;
    Mirror       mMirror;
};

/** Threads that do one thing over and over until it is time. */
class Threads
{
public:
    explicit Threads(std::chrono::seconds aDuration) : mEnd(Clock::now() + aDuration) {}
    ~Threads()
    {
        for (std::thread &lThread : mThreads)
            lThread.join();
    }

    bool GoesOn() const { return Clock::now() < mEnd; }

    template <typename Function>
    void Start(Function aFunction)
    {
        mThreads.emplace_back(
            [this, aFunction, lNumber = static_cast<unsigned>(mThreads.size())]
            {
                for (std::mt19937 lRandom(lNumber); GoesOn();)
                    aFunction(lRandom);
            });
    }

private:
    const Clock::time_point  mEnd;
    std::vector<std::thread> mThreads;
};

class Stress : public testing::Test
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, zqLogLevel_Error);
        SystemBus();
    }

    void TearDown() override { zqLogSetHandler(nullptr, nullptr, zqLogLevel_Notice); }

    void Provision(Manager *aManager, std::mt19937 &aRandom)
    {
        const auto                   lName = std::to_string(aRandom() % 20);
        zqSharedPtr<class Provision> lListed;
        const auto                   lKey = Str(aRandom() % 2 ? "Passphrase" : "Name");

        (void)aManager->ProvisionCreate(
            Dict({ { "ProvisionIdentifier", "service_" + lName }, { "Type", "wifi" }, { "Name", "net" + lName } }),
            lListed);
        if (lListed == nullptr)
            return;

        NetworkManager::Provision lCopy;

        (void)aManager->ProvisionSetProperty(*lListed, lKey, Str("value " + std::to_string(aRandom())));
        EXPECT_EQ(0, lCopy.Init(*lListed));
        if (aRandom() % 3 == 0)
            (void)aManager->ProvisionRemove(*lListed);
    }

    void Request(Manager *aManager, std::mt19937 &aRandom)
    {
        zqRefObjectArray<Service> lServices;

        (void)aManager->GetServices(lServices);
        if (lServices.IsEmpty())
            return;

        const auto lService =
            lServices.GetElement(static_cast<int>(aRandom() % static_cast<unsigned>(lServices.GetNumElements())));
        Service lCopy;

        mConnects += aManager->ServiceConnect(*lService) == 0;
        if (aRandom() % 4 == 0)
            (void)aManager->ServiceDisconnect(*lService);
        EXPECT_EQ(0, lCopy.Init(*lService));
        EXPECT_NE(nullptr, lCopy.GetState().Get());
    }

    void Direct(RandomConnMan &aDaemon, const Threads &theThreads)
    {
        while (theThreads.GoesOn())
        {
            aDaemon.Change();
            if (aDaemon.Chance(40))
                aDaemon.Mistreat("Connect");
            if (aDaemon.Chance(40))
                aDaemon.Release();
            if (aDaemon.Chance(150))
                aDaemon.Restart(), mReturns++;
            if (aDaemon.Chance(150))
                aDaemon.Replace(), mReturns++;
            std::this_thread::sleep_for(std::chrono::microseconds(500));
        }
        aDaemon.Release();
    }

    std::atomic<long> mConnects{ 0 };
    std::atomic<long> mJoins{ 0 };
    std::atomic<long> mRecords{ 0 };
    long              mReturns = 0;
};

using Records = std::set<std::string>;

/** One line for each property of a record. */
void AddRecord(Records &theRecords, const std::string &anIdentifier, CFDictionaryRef aProperties)
{
    const auto lKeys = CFUAdopt(CFUDictionaryCopyKeys(aProperties));

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lKeys.Get()); lIndex++)
    {
        const void *const lKey = CFArrayGetValueAtIndex(lKeys.Get(), lIndex);

        if (Text(lKey) != "ProvisionIdentifier")
            theRecords.insert(anIdentifier + " " + Text(lKey) + "=" + Text(CFDictionaryGetValue(aProperties, lKey)));
    }
}

Records ReadFile()
{
    CFDictionaryRef lStored = nullptr;
    zqConnMan       lClient;
    Records         lReturn;

    EXPECT_EQ(0, lClient.GetProvisions(lStored));
    const auto lHolder = CFUAdopt(lStored);
    const auto lKeys   = CFUAdopt(CFUDictionaryCopyKeys(lStored));

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lKeys.Get()); lIndex++)
    {
        const void *const lKey = CFArrayGetValueAtIndex(lKeys.Get(), lIndex);

        AddRecord(lReturn, Text(lKey), static_cast<CFDictionaryRef>(CFDictionaryGetValue(lStored, lKey)));
    }
    return lReturn;
}

Records ReadList(const Manager *aManager)
{
    zqRefObjectArray<Provision> lList;
    Records                     lReturn;

    EXPECT_EQ(0, aManager->GetProvisions(lList));
    for (int lIndex = 0; lIndex < lList.GetNumElements(); lIndex++)
        AddRecord(lReturn, Text(lList.GetElementPtr(lIndex)->GetPath().Get()),
                  lList.GetElementPtr(lIndex)->CopyProperties().Get());
    return lReturn;
}

} // namespace

TEST_F(Stress, ModelIsTrueWhenAllIsDoneAndNothingWasLost)
{
    RandomConnMan   lDaemon(1);
    RunningManager  lManager;
    ConnectOutcomes lOutcomes;
    Subscriber      lFollower(lManager.Get());

    ASSERT_EQ(0, lManager->AddObserver(&lOutcomes));
    ASSERT_EQ(0, lManager->RemoveObserver(&lManager.mRecorder)); // it keeps all that it hears

    // The first round warms up: what it takes is not counted.
    std::size_t lDescriptors = 0, lMemory = 0;

    for (const std::chrono::seconds lDuration : { Duration() / 3, Duration() })
    {
        {
            Threads lThreads(lDuration);

            for (int lCount = 0; lCount < 2; lCount++)
            {
                lThreads.Start([&](std::mt19937 &aRandom) { Provision(lManager.Get(), aRandom), mRecords++; });
                lThreads.Start([&](std::mt19937 &aRandom) { Request(lManager.Get(), aRandom); });
            }
            lThreads.Start([&](std::mt19937 &) { (void)Subscriber(lManager.Get()).mQueue.Dispatch(), mJoins++; });
            Direct(lDaemon, lThreads);
        }

        std::string lDifference;

        // On a busy machine the loop follows the daemon from behind, by up to as long as it was disturbed.
        EXPECT_TRUE(WaitUntil([&] { return (lDifference = lDaemon.Differs(lManager.Get())).empty(); },
                              Mock::gWaitLimit.load() + lDuration))
            << lDifference;
        EXPECT_TRUE(WaitUntil([&] { return lFollower.IsTrue(); }));
        EXPECT_TRUE(WaitUntil([&] { return lOutcomes.mCount >= mConnects; })) << lOutcomes.mCount << " " << mConnects;
        EXPECT_EQ(mConnects, lOutcomes.mCount) << "each request has one outcome";
        EXPECT_EQ(ReadList(lManager.Get()), ReadFile());

        if (lDescriptors == 0)
        {
            lDescriptors = CountDescriptors();
            lMemory      = mallinfo2().uordblks;
        }
    }
    EXPECT_EQ(lDescriptors, CountDescriptors());
    if (!kIsSanitized) // what is still on its way takes some, too
    {
        EXPECT_TRUE(WaitUntil([&] { return mallinfo2().uordblks < lMemory + kMostGrowth; }))
            << lMemory << " " << mallinfo2().uordblks;
    }
    EXPECT_EQ(0, lManager->RemoveObserver(&lOutcomes));
    std::printf("%ld requests, %ld records, %ld joins, %ld daemons\n", mConnects.load(), mRecords.load(), mJoins.load(),
                mReturns);
}

} // namespace zq::Test
