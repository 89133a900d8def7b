#include "model.h"

#include <failingallocations.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <set>

using namespace zq::Test;

namespace
{

const char *const kFile = "zqnetworkmanager-manager";

int sLocksGranted = -1; // negative: any number

/** The assertions that are logged, kept without any memory but its own. */
class FixedLog
{
public:
    FixedLog() { zqLogSetHandler(Handle, this, 4); }
    ~FixedLog() { zqLogSetHandler(nullptr, nullptr, 3); }

    bool Asserted(const char *aCondition, const char *aFile, const char *aComponent = "") const
    {
        const std::string lText = std::string("ASSERT: ") + aComponent + ": " + aCondition + ", file: " + aFile + ",";

        return strstr(mText, lText.c_str()) != nullptr;
    }

private:
    static void Handle(void *aContext, const char *, int, const char *aText) noexcept
    {
        auto        &lSelf  = *static_cast<FixedLog *>(aContext);
        const size_t lStart = strlen(lSelf.mText);

        (void)snprintf(lSelf.mText + lStart, sizeof(lSelf.mText) - lStart, "%s", aText);
    }

    char mText[65536] = {};
};

using Results = std::set<zqError>;

/** Make the n-th allocation fail, for n from 0 on, until the operation succeeds; the results before that. */
Results FailEach(const std::function<void()> &aPrepare, const std::function<zqError()> &anOperation)
{
    Results lResults;
    zqError lResult = -1;

    for (int lGranted = 0; lResult != 0 && lGranted < 1000; lGranted++)
    {
        aPrepare();
        {
            const FailingAllocations lFailing(lGranted);
            lResult = anOperation();
        }
        lResults.insert(lResult);
    }

    EXPECT_EQ(lResults.erase(0), 1u);
    return lResults;
}

} // namespace

// In place of NSPR's own for this program.
extern "C" PRLock *PR_NewLock(void)
{
    static const auto kNewLock = reinterpret_cast<PRLock *(*)()>(dlsym(RTLD_NEXT, "PR_NewLock"));

    if (sLocksGranted == 0)
        return nullptr;
    if (sLocksGranted > 0)
        sLocksGranted--;

    return kNewLock();
}

TEST(WithoutMemory, AnObjectStaysUninitialisedAndCanBeInitialisedLater)
{
    FixedLog                            lLog;
    zqSharedPtr<Object>                 lObject(new Object);
    zqSharedPtr<Service>                lService;
    const String                        lPath       = Str("/a");
    const auto                          lFull       = ServiceProperties();
    const CFUSharedRef<CFDictionaryRef> lProperties = lFull;

    EXPECT_EQ(FailEach([] {}, [&] { return lObject->Init(lPath, lProperties); }), Results{ -7 });
    EXPECT_TRUE(lLog.Asserted("properties != __null", "zqnetworkmanager-object"));

    sLocksGranted = 0;
    lObject       = new Object;
    EXPECT_EQ(lObject->Init(lPath, lProperties), -7);
    EXPECT_TRUE(lLog.Asserted("lOpaqueLock.uNetscape != __null", "zqnetworkmanager-object"));
    sLocksGranted = -1;
    EXPECT_EQ(lObject->Init(lPath, lProperties), 0);

    // A strength whose raw form is no number that is shared.
    CFDictionarySetValue(lFull.Get(), kServicePropertyStrength, Number(30000).Get());
    EXPECT_EQ(FailEach([&] { lService = new Service; }, [&] { return lService->Init(lPath, lProperties); }),
              (Results{ -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("theRawStrength != __null", "zqnetworkmanager-service"));
    EXPECT_TRUE(lLog.Asserted("aFamilies != __null", "zqnetworkmanager-service"));
}

TEST(WithoutMemory, AListIsAsItWas)
{
    FixedLog                 lLog;
    ObjectList               lList;
    zqRefObjectArray<Object> lArray;
    const auto               lObject = Make<Object>("/a", Dict());
    const String             lPath   = Str("/a");

    sLocksGranted = 0;
    EXPECT_EQ(lList.Init(), -7);
    EXPECT_TRUE(lLog.Asserted("lOpaqueLock.uNetscape != __null", "zqnetworkmanager-objectlist", "network manager"));
    sLocksGranted = -1;
    EXPECT_EQ(FailEach([] {}, [&] { return lList.Init(); }), Results{ -7 });

    const auto lCheck = [&] { EXPECT_TRUE(lList.IsEmpty() && lList.Find(lPath) == nullptr); };
    EXPECT_EQ(FailEach(lCheck, [&] { return lList.Add(lObject); }), Results{ -2 });
    EXPECT_TRUE(lLog.Asserted("retval == 0", "zqnetworkmanager-objectlist", "network manager"));
    EXPECT_EQ(lList.Find(lPath).Get(), lObject.Get());
    EXPECT_EQ(lObject->GetRefCount(), 2);
    EXPECT_EQ(FailEach([&] { lArray = {}; }, [&] { return lList.CreateCopyAsArray(lArray); }), Results{ -2 });

    // Taking away needs no memory.
    const FailingAllocations lFailing;
    EXPECT_EQ(lList.Erase(lArray), 0);
    EXPECT_EQ(lList.GetNumElements(), 0);
}

TEST(WithoutMemory, AManagerIsNotInitialisedAndLeavesNothingBehind)
{
    FixedLog                     lLog;
    zqEventQueue                 lApplication;
    std::unique_ptr<TestManager> lManager;
    int                          lLocks   = 0;
    const auto                   lPrepare = [&] { lManager = std::make_unique<TestManager>(nullptr, nullptr, false); };
    const auto                   lInit    = [&] { return lManager->Init(&lApplication, nullptr); };

    ASSERT_EQ(lApplication.Init(), 0);
    EXPECT_EQ(FailEach(lPrepare, lInit), Results{ -7 });
    do
    {
        lPrepare();
        sLocksGranted = lLocks++;
    } while (lInit() == -7 && lLocks < 100);

    sLocksGranted = -1;
    EXPECT_GE(lLocks, 6); // its own two and one for each list
    EXPECT_EQ(lManager->Stop(), 0);
    for (const char *lText :
         { "lEventQueue", "lHBClient", "lProperties", "lOpaqueLock.uOpaque", "lOpaquePropertyLock.uOpaque" })
        EXPECT_TRUE(lLog.Asserted((std::string(lText) + " != __null").c_str(), kFile)) << lText;
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
    const auto lPaths = Strings({ "/a" });

    // It is listed once there was memory for it and none for telling of it.
    EXPECT_EQ(FailEach([&]
                       { EXPECT_EQ(lManager.FindService(lPath.Get()) != nullptr, lLog.Asserted("err == 0", kFile)); },
                       [&] { return lManager.UpdateServices(lPaths.Get(), Manager::UpdateOperationAdd); }),
              (Results{ -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("aPointer != __null", kFile));
    EXPECT_TRUE(lManager.FindService(lPath.Get()) != nullptr);
}

TEST(WithoutMemory, AnEventIsNotMadeAndTheObserversHaveBeenTold)
{
    FixedLog                  lLog;
    TestManager               lManager;
    Subscriber                lSubscriber;
    Observer::Default         lObserver;
    zqRefObjectArray<Service> lServices;

    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    ASSERT_EQ(lServices.Append(Make<Service>("/a", ServiceProperties())), 0);
    (void)lSubscriber.Take();

    EXPECT_EQ(FailEach([] {}, [&] { return lManager.SignalDidPrepareForSleep(); }), (Results{ -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("theEvent != 0", "zqnetworkmanager-private"));
    EXPECT_EQ(lSubscriber.Take().size(), 1u);

    EXPECT_EQ(FailEach([] {}, [&] { return lManager.SignalServicesAdded(lServices); }), (Results{ -7, -2 }));
    EXPECT_TRUE(lLog.Asserted("err == 0", kFile));
    EXPECT_EQ(lSubscriber.Take().size(), 1u);
    EXPECT_EQ(lServices.GetElementPtr(0)->GetRefCount(), 1);

    // The observer itself, and what it is to be told when it is registered.
    EXPECT_EQ(
        FailEach([&] { (void)lManager.RemoveObserver(&lObserver); }, [&] { return lManager.AddObserver(&lObserver); }),
        (Results{ -7, -2 }));
}

TEST(WithoutMemory, AProvisionIsNotCreated)
{
    struct Quiet : TestManager
    {
        zqError UpdateConnManProvisions(bool) override { return 0; }
    };

    FixedLog                            lLog;
    Quiet                               lManager;
    zqSharedPtr<Provision>              lProvision;
    const CFUSharedRef<CFDictionaryRef> lProperties = ProvisionProperties("id", "secret");

    EXPECT_EQ(FailEach([&] { EXPECT_EQ(lManager.GetProvisionPaths(), ""); },
                       [&] { return lManager.ProvisionCreate(lProperties, lProvision); }),
              (Results{ -7, -1, -2 }));
    EXPECT_TRUE(lLog.Asserted("lProperties != __null", kFile));
    EXPECT_TRUE(lLog.Asserted("lProvision != __null", kFile));
}
