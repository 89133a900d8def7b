#include "model.h"

#include <failingallocations.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace zq::Test;

namespace
{

int sLocksGranted = -1; // negative: any number

using NewLock = PRLock *(*)();

const char *const kFile = "zqnetworkmanager-manager";

/** What is logged, kept without any memory but its own. */
class FixedLog
{
public:
    FixedLog()
    {
        mText[0] = 0;
        zqLogSetHandler(Handle, this, 1);
    }

    ~FixedLog() { zqLogSetHandler(nullptr, nullptr, 3); }

    bool Asserted(const char *aCondition, const char *aFile, const char *aComponent = "") const
    {
        const std::string lText = std::string("ASSERT: ") + aComponent + ": " + aCondition + ", file: " + aFile + ",";

        return strstr(mText, lText.c_str()) != nullptr;
    }

private:
    static void Handle(void *aContext, const char *, int aLevel, const char *aText) noexcept
    {
        auto        &lSelf  = *static_cast<FixedLog *>(aContext);
        const size_t lStart = strlen(lSelf.mText);

        if (aLevel == 4)
            (void)snprintf(lSelf.mText + lStart, sizeof(lSelf.mText) - lStart, "%s", aText);
    }

    char mText[65536];
};

} // namespace

// In place of NSPR's own for this program.
extern "C" PRLock *PR_NewLock(void)
{
    static const NewLock kNewLock = reinterpret_cast<NewLock>(dlsym(RTLD_NEXT, "PR_NewLock"));

    if (sLocksGranted == 0)
        return nullptr;
    if (sLocksGranted > 0)
        sLocksGranted--;

    return kNewLock();
}

namespace
{

/** Make the n-th allocation fail, for n from 0 on, until the operation succeeds; what it returned for each n. */
std::vector<zqError> FailEach(const std::function<void()> &aPrepare, const std::function<zqError()> &anOperation)
{
    std::vector<zqError> lResults;
    zqError              lResult;

    do
    {
        aPrepare();
        {
            const FailingAllocations lFailing(static_cast<int>(lResults.size()));
            lResult = anOperation();
        }
        if (lResult != 0)
            lResults.push_back(lResult);
    } while (lResult != 0 && lResults.size() < 1000);

    return lResults;
}

bool AreAll(const std::vector<zqError> &aResults, const std::vector<zqError> &anAllowed)
{
    for (const zqError lResult : aResults)
    {
        if (std::find(anAllowed.begin(), anAllowed.end(), lResult) == anAllowed.end())
            return false;
    }

    return !aResults.empty();
}

} // namespace

TEST(WithoutMemory, AnObjectStaysUninitialisedAndCanBeInitialisedLater)
{
    FixedLog                            lLog;
    zqSharedPtr<Object>                 lObject(new Object);
    const String                        lPath       = Str("/a");
    const CFUSharedRef<CFDictionaryRef> lProperties = Dict({ { kServicePropertyName, lPath } });

    EXPECT_TRUE(AreAll(FailEach([] {}, [&] { return lObject->Init(lPath, lProperties); }), { -7 }));
    EXPECT_EQ(Text(lObject->GetPath().Get()), "/a");
    EXPECT_TRUE(lLog.Asserted("properties != __null", "zqnetworkmanager-object"));

    sLocksGranted = 0;
    lObject       = new Object;
    EXPECT_EQ(lObject->Init(lPath, lProperties), -7);
    EXPECT_TRUE(lLog.Asserted("lOpaqueLock.uNetscape != __null", "zqnetworkmanager-object"));
    sLocksGranted = -1;
    EXPECT_EQ(lObject->Init(lPath, lProperties), 0);
}

TEST(WithoutMemory, AListIsAsItWas)
{
    FixedLog   lLog;
    ObjectList lList;
    const auto lObject = Make<Object>("/a", Dict());

    sLocksGranted = 0;
    EXPECT_EQ(lList.Init(), -7);
    EXPECT_TRUE(lLog.Asserted("lOpaqueLock.uNetscape != __null", "zqnetworkmanager-objectlist", "network manager"));
    sLocksGranted = -1;
    EXPECT_TRUE(AreAll(FailEach([] {}, [&] { return lList.Init(); }), { -7 }));

    const auto lCheck = [&] { EXPECT_TRUE(lList.IsEmpty() && lList.Find(Str("/a")) == nullptr); };
    EXPECT_TRUE(AreAll(FailEach(lCheck, [&] { return lList.Add(lObject); }), { -2 }));
    EXPECT_TRUE(lLog.Asserted("retval == 0", "zqnetworkmanager-objectlist", "network manager"));
    EXPECT_EQ(lList.Find(Str("/a")).Get(), lObject.Get());
    EXPECT_EQ(lObject->GetRefCount(), 2);

    zqRefObjectArray<Object> lArray;
    EXPECT_TRUE(AreAll(FailEach([&] { lArray = {}; }, [&] { return lList.CreateCopyAsArray(lArray); }), { -2 }));

    // Taking away needs no memory.
    const FailingAllocations lFailing;
    EXPECT_EQ(lList.Erase(lArray), 0);
    EXPECT_EQ(lList.GetNumElements(), 0);
}

TEST(WithoutMemory, AServiceIsNotInitialised)
{
    FixedLog             lLog;
    zqSharedPtr<Service> lService;
    const String         lPath = Str("/a");
    const auto           lFull = ServiceProperties();
    // A strength whose raw form is no number that is shared.
    CFDictionarySetValue(lFull.Get(), kServicePropertyStrength, Number(30000).Get());
    const CFUSharedRef<CFDictionaryRef> lProperties = lFull;

    const auto lResults = FailEach([&] { lService = new Service; }, [&] { return lService->Init(lPath, lProperties); });

    EXPECT_TRUE(AreAll(lResults, { -7, -2 }));
    EXPECT_EQ(lResults.back(), -2);
    EXPECT_TRUE(lLog.Asserted("theRawStrength != __null", "zqnetworkmanager-service"));
    EXPECT_TRUE(lLog.Asserted("aFamilies != __null", "zqnetworkmanager-service"));
}

TEST(WithoutMemory, AManagerIsNotInitialisedAndLeavesNothingBehind)
{
    FixedLog                     lLog;
    zqEventQueue                 lApplication;
    std::unique_ptr<TestManager> lManager;

    ASSERT_EQ(lApplication.Init(), 0);
    const auto lPrepare = [&] { lManager = std::make_unique<TestManager>(nullptr, nullptr, false); };
    const auto lInit    = [&] { return lManager->Init(&lApplication, nullptr); };

    EXPECT_TRUE(AreAll(FailEach(lPrepare, lInit), { -7 }));
    for (const char *lText : { "lEventQueue != __null", "lHBClient != __null", "lProperties != __null" })
        EXPECT_TRUE(lLog.Asserted(lText, kFile)) << lText;

    int lLocks = 0;
    do
    {
        lPrepare();
        sLocksGranted = lLocks++;
    } while (lInit() == -7 && lLocks < 100);

    sLocksGranted = -1;
    EXPECT_TRUE(lLog.Asserted("lOpaqueLock.uOpaque != __null", kFile));
    EXPECT_TRUE(lLog.Asserted("lOpaquePropertyLock.uOpaque != __null", kFile));
    EXPECT_GE(lLocks, 6); // its own two and one for each list
    EXPECT_EQ(lManager->Stop(), 0);
}

TEST(WithoutMemory, AReportIsNotTakenAndCanBeRepeated)
{
    // What it fetches is lent: the test's own memory does not run out.
    struct Lending : TestManager
    {
        CFUSharedRef<CFDictionaryRef> mLent = ServiceProperties();

        zqError CopyServiceProperties(CFStringRef, CFDictionaryRef &aProperties) override
        {
            aProperties = static_cast<CFDictionaryRef>(CFRetain(mLent.Get()));
            return 0;
        }
    };

    FixedLog   lLog;
    Lending    lManager;
    const auto lPath  = Str("/a");
    const auto lPaths = Paths({ "/a" });

    // It is listed once there was memory for it and none for telling of it.
    const auto lResults =
        FailEach([&] { EXPECT_EQ(lManager.FindService(lPath.Get()) != nullptr, lLog.Asserted("err == 0", kFile)); },
                 [&] { return lManager.UpdateServices(lPaths.Get(), Manager::UpdateOperationAdd); });

    EXPECT_TRUE(AreAll(lResults, { -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("aPointer != __null", kFile));
    EXPECT_TRUE(lManager.FindService(lPath.Get()) != nullptr);
}

TEST(WithoutMemory, AnEventIsNotMadeAndTheObserversHaveBeenTold)
{
    FixedLog                  lLog;
    TestManager               lManager;
    Subscriber                lSubscriber;
    zqRefObjectArray<Service> lServices;

    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    ASSERT_EQ(lServices.Append(Make<Service>("/a", ServiceProperties())), 0);
    (void)lSubscriber.Take();

    EXPECT_TRUE(AreAll(FailEach([] {}, [&] { return lManager.SignalDidPrepareForSleep(); }), { -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("theEvent != 0", "zqnetworkmanager-private"));
    EXPECT_EQ(lSubscriber.Take().size(), 1u);

    EXPECT_TRUE(AreAll(FailEach([] {}, [&] { return lManager.SignalServicesAdded(lServices); }), { -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("err == 0", kFile));
    EXPECT_EQ(lSubscriber.Take().size(), 1u);
    EXPECT_EQ(lServices.GetElementPtr(0)->GetRefCount(), 1);
}

TEST(WithoutMemory, AnObserverIsNotAdded)
{
    TestManager       lManager;
    Observer::Default lObserver;

    const auto lResults = FailEach([] {}, [&] { return lManager.AddObserver(&lObserver); });

    // First the observer itself; then, when it is registered, what it is to be told.
    ASSERT_FALSE(lResults.empty());
    EXPECT_EQ(lResults[0], -2);
    EXPECT_EQ(lManager.RemoveObserver(&lObserver), 0);
}

TEST(WithoutMemory, AProvisionIsNotCreated)
{
    FixedLog                            lLog;
    TestManager                         lManager;
    zqSharedPtr<Provision>              lProvision;
    const CFUSharedRef<CFDictionaryRef> lProperties = ProvisionProperties("id", "secret");

    struct Quiet : TestManager
    {
        zqError UpdateConnManProvisions(bool) override { return 0; }
    } lQuiet;

    const auto lResults = FailEach(
        [&]
        {
            zqRefObjectArray<Provision> lProvisions;
            EXPECT_EQ(lQuiet.GetProvisions(lProvisions), 0);
            EXPECT_TRUE(lProvisions.IsEmpty());
        },
        [&] { return lQuiet.ProvisionCreate(lProperties, lProvision); });

    EXPECT_TRUE(AreAll(lResults, { -7, -2, -1 }));
    EXPECT_EQ(lResults[0], -7);
    EXPECT_TRUE(lLog.Asserted("lProperties != __null", kFile));
    EXPECT_TRUE(lLog.Asserted("lProvision != __null", kFile));
}
