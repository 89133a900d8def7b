#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

using Calls = std::vector<std::string>;

const char *const kFile = "zqnetworkmanager-manager";

class AReport : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mManager.AddObserver(&mObserver), 0);
        ASSERT_EQ(mManager.AddServices({ "/a", "/b", "/c" }), 0);
        Forget();
    }

    void Forget()
    {
        mObserver.mCalls.clear();
        mManager.mNumFetches = 0;
        mLog.Clear();
    }

    zqError Update(const std::vector<std::string> &aPaths, Manager::UpdateOperation anOperation)
    {
        return mManager.UpdateServices(Paths(aPaths).Get(), anOperation);
    }

    std::string GetServices() const
    {
        zqRefObjectArray<Service> lServices;
        EXPECT_EQ(mManager.GetServices(lServices), 0);
        return PathsOf(lServices);
    }

    TestManager       mManager;
    RecordingObserver mObserver;
    LogCapture        mLog;
};

/** An array of two paths with something else between them. */
CFUSharedRef<CFArrayRef> Interrupted(const char *aFirst, CFTypeRef aMiddle, const char *aLast)
{
    auto lArray = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));

    for (const CFTypeRef lValue : { CFTypeRef(Str(aFirst).Leak()), CFRetain(aMiddle), CFTypeRef(Str(aLast).Leak()) })
    {
        CFArrayAppendValue(lArray.Get(), lValue);
        CFRelease(lValue);
    }

    return lArray;
}

} // namespace

TEST_F(AReport, AddsOnlyWhatIsNewInItsOrder)
{
    const auto lKnown = mManager.FindService(Str("/b").Get());

    mManager.mServiceProperties["/b"] = ServiceProperties("changed");
    EXPECT_EQ(mManager.AddServices({ "/e", "/b", "/d" }), 0);

    EXPECT_EQ(mObserver.mCalls, Calls{ "ServicesAdded /e /d" });
    EXPECT_EQ(GetServices(), "/a /b /c /e /d");
    EXPECT_EQ(mManager.mNumFetches, 2);
    EXPECT_EQ(mManager.FindService(Str("/b").Get()).Get(), lKnown.Get());
    EXPECT_EQ(Text(lKnown->GetName().Get()), "home");
}

TEST_F(AReport, OfNothingNewRaisesNothing)
{
    EXPECT_EQ(Update({ "/a", "/c" }, Manager::UpdateOperationAdd), 0);
    EXPECT_EQ(Update({}, Manager::UpdateOperationAdd), 0);
    EXPECT_EQ(Update({ "/x", "/y" }, Manager::UpdateOperationRemove), 0);
    EXPECT_EQ(Update({ "/x" }, Manager::UpdateOperationChange), 0);
    EXPECT_EQ(mObserver.mCalls, Calls{});
    EXPECT_EQ(mManager.mNumFetches, 0);
    EXPECT_FALSE(mLog.Contains("lRemoved"));
}

TEST_F(AReport, ThatFailsPartWayAddsNothing)
{
    // The second one vanishes before it is fetched.
    mManager.mServiceProperties["/d"] = ServiceProperties();
    EXPECT_EQ(Update({ "/d", "/gone" }, Manager::UpdateOperationAdd), zqError_UnknownObject);
    EXPECT_TRUE(Asserted(mLog, "lReturn == 0", kFile));

    // The second one lacks what a service needs.
    mManager.mServiceProperties["/bad"] = Dict();
    EXPECT_EQ(Update({ "/d", "/bad" }, Manager::UpdateOperationAdd), -4);

    // The second one is no path.
    mLog.Clear();
    EXPECT_EQ(mManager.UpdateServices(Interrupted("/d", Number(1).Get(), "/a").Get(), Manager::UpdateOperationAdd),
              -17);
    EXPECT_TRUE(Asserted(mLog, "lAddedPath != __null", kFile));

    EXPECT_EQ(GetServices(), "/a /b /c");
    EXPECT_EQ(mObserver.mCalls, Calls{});
}

TEST_F(AReport, RemovesWhatIsListedAndKeepsItAliveForItsHolders)
{
    EXPECT_EQ(Update({ "/c", "/x", "/a" }, Manager::UpdateOperationRemove), 0);

    EXPECT_EQ(GetServices(), "/b");
    EXPECT_EQ(mObserver.mCalls, Calls{ "ServicesRemoved /c /a" });
    EXPECT_TRUE(mLog.Contains(": Service will be lRemoved", 4));
    EXPECT_EQ(Text(mObserver.mService->GetName().Get()), "home");
    EXPECT_TRUE(mManager.FindService(Str("/a").Get()) == nullptr);

    // It may come again, as another object.
    const auto lOld = mObserver.mService;
    EXPECT_EQ(mManager.AddServices({ "/c" }), 0);
    EXPECT_NE(mManager.FindService(Str("/c").Get()).Get(), lOld.Get());
}

TEST_F(AReport, RefreshesEachServiceAndTellsOfItWithAllItsProperties)
{
    mManager.mServiceProperties["/a"] = Dict({ { kServicePropertyState, Str("ready") } });
    mManager.mServiceProperties["/c"] = Dict({ { kServicePropertyName, Str("work") } });

    EXPECT_EQ(Update({ "/c", "/x", "/a" }, Manager::UpdateOperationChange), 0);

    EXPECT_EQ(mObserver.mCalls, (Calls{ "ServiceChanged /c 15", "ServiceChanged /a 15" }));
    EXPECT_TRUE(mManager.FindService(Str("/a").Get())->IsConnected());
    EXPECT_EQ(Text(mManager.FindService(Str("/c").Get())->GetName().Get()), "work");
}

TEST_F(AReport, OfChangesThatFailsPartWayKeepsWhatWasDone)
{
    mManager.mServiceProperties["/a"] = Dict({ { kServicePropertyState, Str("ready") } });
    mManager.mServiceProperties["/b"] = Dict({ { kServicePropertyState, Number(1) } });
    mManager.mServiceProperties["/c"] = Dict({ { kServicePropertyState, Str("ready") } });

    EXPECT_EQ(Update({ "/a", "/b", "/c" }, Manager::UpdateOperationChange), -4);
    EXPECT_EQ(mObserver.mCalls, Calls{ "ServiceChanged /a 15" });
    EXPECT_FALSE(mManager.FindService(Str("/c").Get())->IsConnected());

    Forget();
    mManager.mServiceProperties.erase("/a");
    EXPECT_EQ(Update({ "/a", "/c" }, Manager::UpdateOperationChange), zqError_UnknownObject);
    EXPECT_EQ(mObserver.mCalls, Calls{});

    // An element that is no path ends it before anything is fetched.
    Forget();
    EXPECT_EQ(mManager.UpdateServices(Interrupted("/c", Number(1).Get(), "/c").Get(), Manager::UpdateOperationChange),
              -17);
    EXPECT_TRUE(Asserted(mLog, "lUpdatedPath != __null", kFile));
    EXPECT_EQ(mManager.mNumFetches, 0);
}

TEST_F(AReport, OfTechnologiesAddsAndRemovesThem)
{
    EXPECT_EQ(mManager.AddTechnology("/t", "wifi"), 0);
    EXPECT_EQ(mManager.AddTechnology("/t", "wifi"), 0);
    EXPECT_TRUE(mManager.FindTechnology(Str("/t").Get()) != nullptr);
    EXPECT_EQ(mManager.UpdateTechnologies(Paths({ "/none" }).Get(), true), zqError_UnknownObject);
    EXPECT_EQ(mManager.UpdateTechnologies(Paths({ "/t" }).Get(), false), 0);
    EXPECT_EQ(mManager.UpdateTechnologies(Paths({ "/t" }).Get(), false), 0);

    EXPECT_EQ(mObserver.mCalls, (Calls{ "TechnologiesAdded /t", "TechnologiesRemoved /t" }));
}

TEST_F(AReport, IsRefusedForNullAndForUnknownOperations)
{
    EXPECT_EQ(mManager.UpdateServices(nullptr, Manager::UpdateOperationAdd), -5);
    EXPECT_TRUE(Asserted(mLog, "aServices != __null", kFile));
    EXPECT_EQ(Update({ "/a" }, static_cast<Manager::UpdateOperation>(3)), -5);
    EXPECT_EQ(mManager.UpdateTechnologies(nullptr, true), -5);
    EXPECT_TRUE(Asserted(mLog, "aTechnologies != __null", kFile));
    EXPECT_EQ(mManager.UpdateProvisions(nullptr, Manager::UpdateOperationAdd), -5);
    EXPECT_TRUE(Asserted(mLog, "aProvisions != __null", kFile));
    EXPECT_EQ(mManager.UpdateProvisions(Dict().Get(), Manager::UpdateOperationRemove), -5);
    EXPECT_EQ(mManager.UpdateProvisions(Dict().Get(), Manager::UpdateOperationChange), -5);
    EXPECT_EQ(mManager.UpdateProperties(nullptr), -5);
    EXPECT_TRUE(Asserted(mLog, "aProperties != __null", kFile));
    EXPECT_EQ(mObserver.mCalls, Calls{});
}

TEST_F(AReport, OfPropertiesIsMergedAndToldAsItCame)
{
    EXPECT_EQ(mManager.UpdateProperties(
                  Dict({ { kManagerPropertyState, Str("idle") }, { kManagerPropertyOfflineMode, Bool(false) } }).Get()),
              0);
    EXPECT_EQ(mManager.UpdateProperties(Dict({ { kManagerPropertyState, Str("ready") } }).Get()), 0);

    EXPECT_EQ(mObserver.mCalls, (Calls{ "PropertiesChanged 2", "PropertiesChanged 1" }));
    EXPECT_EQ(CFDictionaryGetCount(mManager.ManagerGetProperties().Get()), 2);
    EXPECT_EQ(Text(mManager.ManagerGetState().Get()), "ready");
}

TEST_F(AReport, OfPropertiesToAManagerThatIsNotInitialisedIsRefused)
{
    TestManager lManager(nullptr, nullptr, false);

    EXPECT_EQ(lManager.UpdateProperties(Dict().Get()), -3);
    EXPECT_TRUE(Asserted(mLog, "mProperties != __null", kFile));
    EXPECT_EQ(lManager.UpdateServices(Paths({ "/a" }).Get(), Manager::UpdateOperationRemove), 0);
}

TEST_F(AReport, OfStoredProvisionsLeavesOutTheUnusableAndWritesNothing)
{
    const auto                  lStored = Dict({ { Str("one").Get(), ProvisionProperties("one", "secret") },
                                                 { Str("bad").Get(), Dict({ { kServicePropertyProvisionIdentifier, Str("bad") } }) },
                                                 { Str("odd").Get(), Number(1) },
                                                 { Str("two").Get(), ProvisionProperties("two") } });
    zqRefObjectArray<Provision> lProvisions;

    EXPECT_EQ(mManager.UpdateProvisions(lStored.Get(), Manager::UpdateOperationAdd), 0);
    EXPECT_EQ(mManager.GetProvisions(lProvisions), 0);
    EXPECT_EQ(PathsOf(lProvisions), "one two");
    EXPECT_EQ(mManager.mRequests, (Calls{ "UpdateConnManProvisions", "UpdateConnManProvisions" }));
    EXPECT_EQ(mObserver.mCalls, Calls{});
}
