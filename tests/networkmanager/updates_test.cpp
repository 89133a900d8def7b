#include "model.h"

#include <gtest/gtest.h>

#include <utility>

using namespace zq::Test;

namespace
{

const char *const kFile = "zqnetworkmanager-manager";

const std::string kAllKeys = " AutoConnect Domains Ethernet Favorite IPv4 IPv4.Configuration IPv6 IPv6.Configuration "
                             "Immutable Name Nameservers Security State Strength Type";

const auto kAdd = Manager::UpdateOperationAdd, kRemove = Manager::UpdateOperationRemove,
           kChange = Manager::UpdateOperationChange;

class AReport : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mManager.AddObserver(&mObserver), 0);
        ASSERT_EQ(mManager.AddServices({ "/a", "/b", "/c" }), 0);
        mObserver.Clear();
        mManager.mNumFetches = 0;
    }

    zqError Update(const std::vector<Value> &aPaths, Manager::UpdateOperation anOperation)
    {
        const auto lArray = MakeArray();

        for (const Value &lPath : aPaths)
            CFArrayAppendValue(lArray.Get(), lPath.Get());
        return mManager.UpdateServices(lArray.Get(), anOperation);
    }

    zqSharedPtr<Service> Find(const String &aPath) const { return mManager.FindService(aPath.Get()); }

    Lines TakeCalls() { return mObserver.Take(); }

    TestManager  mManager;
    Recorder     mObserver;
    LogCapture   mLog;
    const String mA = Str("/a"), mB = Str("/b"), mC = Str("/c"), mD = Str("/d"), mX = Str("/x");
};

} // namespace

TEST_F(AReport, AddsOnlyWhatIsNewInItsOrderAndOnceAndAllOfItOrNothing)
{
    const auto lKnown = Find(mB);

    mManager.mReported["/b"] = ServiceProperties("changed");
    EXPECT_EQ(mManager.AddServices({ "/e", "/b", "/d", "/e" }), 0);
    EXPECT_EQ(Update({ mA, mC }, kAdd), 0);
    EXPECT_EQ(TakeCalls(), Lines{ "ServicesAdded e d" });
    EXPECT_EQ(mManager.GetServicePaths(), "a b c e d");
    EXPECT_EQ(mManager.mNumFetches, 2);
    EXPECT_EQ(Find(mB).Get(), lKnown.Get());
    EXPECT_EQ(Text(lKnown->GetName().Get()), "home");

    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();

    // The second one vanishes before it is fetched, lacks what a service needs, is no path.
    mManager.mReported = { { "/x", ServiceProperties() }, { "/bad", Dict() } };
    EXPECT_EQ(Update({ mX, Str("/gone") }, kAdd), zqError_UnknownObject);
    EXPECT_TRUE(Asserted(mLog, "lReturn == 0", kFile));
    EXPECT_EQ(Update({ mX, Str("/bad") }, kAdd), -4);
    EXPECT_EQ(Update({ mX, Number(1), mA }, kAdd), -17);
    EXPECT_TRUE(Asserted(mLog, "lAddedPath != __null", kFile));
    EXPECT_EQ(mManager.GetServicePaths(), "a b c e d");
    EXPECT_EQ(TakeCalls(), Lines{});
}

TEST_F(AReport, RemovesWhatIsListedOnceAndAddsItAgainAsAnotherObject)
{
    const auto lOld = Find(mC);

    EXPECT_EQ(Update({ mX, mD }, kRemove), 0);
    EXPECT_FALSE(mLog.Contains("lRemoved"));
    EXPECT_EQ(Update({ mC, mX, mA, mC }, kRemove), 0);
    EXPECT_TRUE(mLog.Contains(": Service will be lRemoved", 4));
    EXPECT_EQ(mManager.GetServicePaths(), "b");
    EXPECT_EQ(TakeCalls(), Lines{ "ServicesRemoved c a" });
    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();
    EXPECT_EQ(lOld->GetRefCount(), 1);
    EXPECT_EQ(mManager.AddServices({ "/c" }), 0);
    EXPECT_NE(Find(mC).Get(), lOld.Get());
}

TEST_F(AReport, OfChangesTellsOfEachServiceWithAllItsPropertiesUntilOneFails)
{
    mManager.mReported["/a"] = Dict({ { kServicePropertyState, "ready" } });
    mManager.mReported["/c"] = Dict({ { kServicePropertyName, "work" } });
    EXPECT_EQ(Update({ mC, mX, mA, mC }, kChange), 0);
    EXPECT_EQ(TakeCalls(), (Lines{ "ServiceChanged c" + kAllKeys, "ServiceChanged a" + kAllKeys }));
    EXPECT_TRUE(Find(mA)->IsConnected());
    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();
    EXPECT_EQ(Text(Find(mC)->GetName().Get()), "work");

    mManager.mReported["/b"] = Dict({ { kServicePropertyState, Number(1) } });
    mManager.mReported["/c"] = Dict({ { kServicePropertyState, "ready" } });
    EXPECT_EQ(Update({ mA, mB, mC }, kChange), -4);
    EXPECT_EQ(TakeCalls(), Lines{ "ServiceChanged a" + kAllKeys });
    EXPECT_FALSE(Find(mC)->IsConnected());
    mManager.mReported.erase("/a");
    EXPECT_EQ(Update({ mA }, kChange), zqError_UnknownObject);

    // An element that is no path ends it before anything is fetched.
    mManager.mNumFetches = 0;
    EXPECT_EQ(Update({ mC, Number(1), mC }, kChange), -17);
    EXPECT_TRUE(Asserted(mLog, "lUpdatedPath != __null", kFile));
    EXPECT_EQ(mManager.mNumFetches, 0);
}

TEST_F(AReport, IsRefusedForNullForUnknownOperationsAndBeforeInit)
{
    for (const zqError lResult :
         { mManager.UpdateServices(nullptr, kAdd), Update({ mA }, static_cast<Manager::UpdateOperation>(3)),
           mManager.UpdateTechnologies(nullptr, true), mManager.UpdateProvisions(nullptr, kAdd),
           mManager.UpdateProvisions(Dict().Get(), kRemove), mManager.UpdateProvisions(Dict().Get(), kChange),
           mManager.UpdateProperties(nullptr) })
        EXPECT_EQ(lResult, -5);
    EXPECT_EQ(TestManager(nullptr, nullptr, false).UpdateProperties(Dict().Get()), -3);
    for (const char *lArgument : { "aServices", "aTechnologies", "aProvisions", "aProperties", "mProperties" })
        EXPECT_TRUE(Asserted(mLog, std::string(lArgument) + " != __null", kFile)) << lArgument;
    EXPECT_EQ(TakeCalls(), Lines{});
}

TEST_F(AReport, OfStoredProvisionsLeavesOutTheUnusableAndWritesNothing)
{
    const auto lStored = Dict({ { Str("one").Get(), ProvisionProperties("one", "secret") },
                                { Str("bad").Get(), Dict({ { kServicePropertyProvisionIdentifier, "bad" } }) },
                                { Str("odd").Get(), Number(1) },
                                { Str("two").Get(), ProvisionProperties("two") } });

    EXPECT_EQ(mManager.UpdateProvisions(lStored.Get(), kAdd), 0);
    EXPECT_EQ(mManager.GetProvisionPaths(), "one two");
    EXPECT_EQ(mManager.mRequests, (Lines{ "keep", "keep" }));
    EXPECT_EQ(TakeCalls(), Lines{});
}
