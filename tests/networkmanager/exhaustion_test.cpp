#include "model.h"

#include <failingallocations.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>

using namespace zq::Test;

namespace
{

int sLocksGranted = -1; // negative: any number

/** Keeps the assertions without any memory but its own. */
class WithoutMemory : public testing::Test
{
protected:
    WithoutMemory() { zqLogSetHandler(Handle, mAsserted, 4); }
    ~WithoutMemory() override { zqLogSetHandler(nullptr, nullptr, 3); }

    void ExpectAsserted(const std::string &aFile, const std::vector<std::string> &aConditions) const
    {
        for (const std::string &lCondition : aConditions)
            EXPECT_TRUE(strstr(mAsserted, (": " + lCondition + ", file: zqnetworkmanager-" + aFile + ",").c_str()))
                << lCondition;
    }

private:
    static void Handle(void *aTexts, const char *, int, const char *aText) noexcept
    {
        auto *const lTexts = static_cast<char *>(aTexts);
        (void)strncat(lTexts, aText, sizeof(mAsserted) - strlen(lTexts) - 1);
    }

    char mAsserted[65536] = {};
};

/** As Starve with locks; how often it was tried. */
int FailEachLock(const std::function<void()> &aPrepare, const std::function<zqError()> &anOperation)
{
    int lTried = 0;

    do
    {
        aPrepare();
        sLocksGranted = lTried++;
    } while (anOperation() == -7 && lTried < 100);

    sLocksGranted = -1;
    return lTried;
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

TEST_F(WithoutMemory, AnObjectStaysUninitialisedAndCanBeInitialisedLater)
{
    zqSharedPtr<Object>                 lObject(new Object);
    zqSharedPtr<Service>                lService(new Service), lCopy(new Service);
    const String                        lPath       = Str("/a");
    const auto                          lFull       = ServiceProperties();
    const CFUSharedRef<CFDictionaryRef> lProperties = lFull;

    EXPECT_GT(Starve({ -7 }, [&] { return lObject->Init(lPath, lProperties); }), 0);
    lObject = new Object;
    EXPECT_EQ(FailEachLock([] {}, [&] { return lObject->Init(lPath, lProperties); }), 2);

    // A strength whose raw form is no number that is shared.
    CFDictionarySetValue(lFull.Get(), kServicePropertyStrength, Number(30000).Get());
    EXPECT_GT(Starve({ -7, -2 }, [&] { return lService->Init(lPath, lProperties); }), 0);
    EXPECT_GT(Starve({ -7, -2 }, [&] { return lCopy->Init(*lService); }), 0);
    ExpectAsserted("object", { "properties != __null", "lOpaqueLock.uNetscape != __null" });
    ExpectAsserted("service", { "theRawStrength != __null", "aFamilies != __null" });
}

TEST_F(WithoutMemory, AListIsAsItWas)
{
    ObjectList               lList, lLockless;
    zqRefObjectArray<Object> lArray;
    const auto               lObject = Make<Object>("/a", Dict());
    const String             lPath   = Str("/a");

    EXPECT_EQ(FailEachLock([] {}, [&] { return lLockless.Init(); }), 2);
    EXPECT_GT(Starve({ -7 }, [&] { return lList.Init(); }), 0);

    // What found no memory in a new list, the first time at each step, is added later.
    std::unique_ptr<ObjectList> lNew;
    const auto                  lPrepare = [&]
    {
        EXPECT_TRUE(lNew == nullptr || (lNew->IsEmpty() && lNew->Find(lPath) == nullptr));
        EXPECT_TRUE(lNew == nullptr || (lNew->Add(lObject) == 0 && lNew->Find(lPath).Get() == lObject.Get()));
        lNew = std::make_unique<ObjectList>();
        EXPECT_EQ(lNew->Init(), 0);
    };
    EXPECT_GT(Starve(
                  { -2 }, [&] { return lNew->Add(lObject); }, lPrepare),
              0);
    lNew = nullptr;
    EXPECT_EQ(lObject->GetRefCount(), 1);

    // Several are added together, behind what is there, or none of them is.
    const auto lFirst = Make<Object>("/first", Dict()), lOther = Make<Object>("/b", Dict());
    for (const auto &lEach : { lObject, lFirst, lOther, lObject })
        ASSERT_EQ(lArray.Append(lEach), 0);
    const auto lPrepareAll = [&]
    {
        EXPECT_TRUE(lNew == nullptr || (lNew->GetNumElements() == 1 && lNew->Find(lPath) == nullptr));
        lNew = std::make_unique<ObjectList>();
        EXPECT_TRUE(lNew->Init() == 0 && lNew->Add(lFirst) == 0);
    };
    EXPECT_GT(Starve(
                  { -2 }, [&] { return lNew->AppendAll(lArray); }, lPrepareAll),
              0);
    EXPECT_EQ(lNew->GetNumElements(), 3);
    lNew = nullptr;
    EXPECT_EQ(lList.Add(lObject), 0);
    EXPECT_GT(Starve(
                  { -2 }, [&] { return lList.CreateCopyAsArray(lArray); }, [&] { lArray = {}; }),
              0);

    ExpectAsserted("objectlist", { "lOpaqueLock.uNetscape != __null", "retval == 0" });

    // Taking away needs no memory.
    const FailingAllocations lFailing;
    EXPECT_EQ(lList.Erase(lArray), 0);
    EXPECT_EQ(lList.GetNumElements(), 0);
}

TEST_F(WithoutMemory, AManagerStaysUninitialisedAndCanBeInitialisedLater)
{
    zqEventQueue              lApplication;
    TestManager               lManager(nullptr, nullptr, false);
    zqRefObjectArray<Service> lServices;
    const auto                lInit    = [&] { return lManager.Init(&lApplication, nullptr); };
    const auto                lPrepare = [&]
    {
        EXPECT_EQ(lManager.GetServices(lServices), -3);
        EXPECT_EQ(lManager.Stop(), -3);
    };

    ASSERT_EQ(lApplication.Init(), 0);
    EXPECT_GT(Starve({ -7 }, lInit, lPrepare), 0);
    lManager.Destroy();
    EXPECT_GE(FailEachLock([] {}, lInit), 6); // its own two and one for each list
    EXPECT_EQ(lManager.Stop(), 0);
    ExpectAsserted("manager", { "lEventQueue != __null", "lHBClient != __null", "lProperties != __null",
                                "lOpaqueLock.uOpaque != __null", "lOpaquePropertyLock.uOpaque != __null" });
}

TEST_F(WithoutMemory, AReportIsNotTakenAndCanBeRepeated)
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
        zqError UpdateConnManProvisions(bool) override { return 0; }
    };

    Lending                lManager;
    zqSharedPtr<Provision> lProvision;
    const auto             lPaths      = Strings({ "/a", "/b", "/c", "/b" });
    const Dictionary       lProperties = ProvisionProperties("id", "secret");

    const auto lPrepare = [&]
    {
        const std::string lListed = lManager.GetServicePaths();
        EXPECT_TRUE(lListed.empty() || lListed == "a b c") << lListed;
    };
    EXPECT_GT(
        Starve(
            { -7, -2 }, [&] { return lManager.UpdateServices(lPaths.Get(), Manager::UpdateOperationAdd); }, lPrepare),
        0);
    EXPECT_EQ(lManager.GetServicePaths(), "a b c");
    EXPECT_GT(Starve(
                  { -7, -2 }, [&] { return lManager.UpdateServices(lPaths.Get(), Manager::UpdateOperationRemove); },
                  lPrepare),
              0);
    EXPECT_EQ(lManager.GetServicePaths(), "");

    EXPECT_GT(Starve(
                  { -7, -1, -2 }, [&] { return lManager.ProvisionCreate(lProperties, lProvision); },
                  [&] { EXPECT_EQ(lManager.GetProvisionPaths(), ""); }),
              0);
    EXPECT_EQ(lManager.GetProvisionPaths(), "id");

    const String lKey   = Str("ExtendedPANID");
    const Value  lValue = Number(-1);
    EXPECT_GT(Starve({ -7, -2 }, [&] { return lManager.ProvisionSetProperty(*lProvision, lKey, lValue); }), 0);
    EXPECT_EQ(CFDictionaryGetValue(lProvision->CopyProperties().Get(), lKey.Get()), lValue.Get()) << "0, not stored";
    ExpectAsserted("manager", { "aPointer != __null", "lProperties != __null", "lProvision != __null" });
}

TEST_F(WithoutMemory, AnEventIsNotMadeAndTheObserversHaveBeenTold)
{
    struct Counter : Observer::Default
    {
        void ServicesAdded(Manager *, const zqRefObjectArray<Service> &) override { ++mCount; }

        int mCount = 0;
    } lObserver;
    TestManager               lManager;
    Subscriber                lSubscriber;
    zqRefObjectArray<Service> lServices;
    const auto                lProperties = Dict();

    ASSERT_EQ(lManager.Subscribe(&lSubscriber.mQueue, &lSubscriber, "test"), 0);
    ASSERT_EQ(lServices.Append(Make<Service>("/a", ServiceProperties())), 0);
    (void)lSubscriber.Take();

    EXPECT_GT(Starve({ -7, -2 }, [&] { return lManager.SignalDidPrepareForSleep(); }), 0);
    EXPECT_EQ(lSubscriber.Take().size(), 1u);
    EXPECT_GT(Starve({ -7, -2 }, [&] { return lManager.SignalPropertiesChanged(lProperties.Get()); }), 0);
    EXPECT_EQ(lSubscriber.Take().size(), 1u);
    EXPECT_GT(Starve({ -7, -2 }, [&] { return lManager.SignalServicesAdded(lServices); }), 0);
    EXPECT_EQ(lSubscriber.Take().size(), 1u);
    EXPECT_EQ(lServices.GetElementPtr(0)->GetRefCount(), 1);

    // The observer itself, and what it is to be told when it is registered: all of it.
    ASSERT_EQ(lManager.AddServices({ "/a" }), 0);
    EXPECT_GT(Starve(
                  { -7, -2 }, [&] { return lManager.AddObserver(&lObserver); },
                  [&]
                  {
                      (void)lManager.RemoveObserver(&lObserver);
                      lObserver.mCount = 0;
                  }),
              0);
    EXPECT_EQ(lObserver.mCount, 1);
    ExpectAsserted("private", { "theEvent != 0" });
    ExpectAsserted("manager", { "err == 0" });
}
