#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

using Calls = std::vector<std::string>;

const char *const kFile    = "zqnetworkmanager-manager";
const Calls       kWritten = { "UpdateConnManProvisions write" };

class AManagersProvision : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mManager.ProvisionCreate(ProvisionProperties("id", "secret"), mProvision), 0);
        ASSERT_EQ(mManager.mRequests, kWritten);
        mManager.mRequests.clear();
        mLog.Clear();
    }

    Value Get(const char *aKey)
    {
        Value lValue;
        EXPECT_EQ(mManager.ProvisionGetProperty(*mProvision, Str(aKey), lValue), 0);
        return lValue;
    }

    int GetNumProvisions() const
    {
        zqRefObjectArray<Provision> lProvisions;
        EXPECT_EQ(mManager.GetProvisions(lProvisions), 0);
        return lProvisions.GetNumElements();
    }

    TestManager            mManager;
    LogCapture             mLog;
    zqSharedPtr<Provision> mProvision;
};

} // namespace

TEST_F(AManagersProvision, HasItsIdentifierForPathAndNotAmongItsProperties)
{
    EXPECT_EQ(Text(mProvision->GetPath().Get()), "id");
    EXPECT_TRUE(mProvision->GetProperty(CFURetain(kServicePropertyProvisionIdentifier)) == nullptr);
    EXPECT_EQ(Text(Get("ProvisionIdentifier").Get()), "id");
    EXPECT_TRUE(Get("EAP") == nullptr);
}

TEST_F(AManagersProvision, IsMergedIntoWhenItIsCreatedAgain)
{
    zqSharedPtr<Provision> lAgain;
    const auto             lMore =
        Dict({ { kServicePropertyProvisionIdentifier, Str("id") }, { kServicePropertySSID, Str("ff") } });

    EXPECT_EQ(mManager.ProvisionCreate(lMore, lAgain, false), 0);
    EXPECT_EQ(lAgain.Get(), mProvision.Get());
    EXPECT_EQ(Text(lAgain->GetSSID().Get()), "ff");
    EXPECT_EQ(Text(lAgain->GetPassphrase().Get()), "secret");
    EXPECT_TRUE(lAgain->GetProperty(CFURetain(kServicePropertyProvisionIdentifier)) == nullptr);
    EXPECT_EQ(GetNumProvisions(), 1);
    EXPECT_EQ(mManager.mRequests, Calls{ "UpdateConnManProvisions" });
    EXPECT_EQ(CFDictionaryGetCount(lMore.Get()), 2); // the caller's own is as it was
}

TEST_F(AManagersProvision, IsHandedOutWhenMergingIntoItFails)
{
    zqSharedPtr<Provision> lAgain;
    const auto lBad = Dict({ { kServicePropertyProvisionIdentifier, Str("id") }, { kServicePropertyType, Number(1) } });

    EXPECT_EQ(mManager.ProvisionCreate(lBad, lAgain), -1);
    EXPECT_EQ(lAgain.Get(), mProvision.Get());
    EXPECT_TRUE(Asserted(mLog, "lReturn == Success", kFile));
    EXPECT_EQ(mManager.mRequests, Calls{});
}

TEST_F(AManagersProvision, IsNotCreatedFromARecordThatLacksIdentifierOrType)
{
    zqSharedPtr<Provision> lNew = mProvision;

    EXPECT_EQ(mManager.ProvisionCreate(ProvisionProperties(nullptr), lNew), -1);
    EXPECT_TRUE(lNew == nullptr);
    EXPECT_EQ(mManager.ProvisionCreate(Dict({ { kServicePropertyProvisionIdentifier, Str("new") } }), lNew), -1);
    EXPECT_EQ(
        mManager.ProvisionCreate(
            Dict({ { kServicePropertyProvisionIdentifier, Number(1) }, { kServicePropertyType, Str("wifi") } }), lNew),
        -1);
    EXPECT_EQ(mManager.ProvisionCreate(nullptr, lNew), -5);
    EXPECT_TRUE(lNew == nullptr);
    EXPECT_EQ(GetNumProvisions(), 1);
    EXPECT_EQ(mManager.mRequests, Calls{});
}

TEST_F(AManagersProvision, IsChangedInTheListAlsoThroughACopy)
{
    zqSharedPtr<Provision> lCopy(new Provision);
    ASSERT_EQ(lCopy->Init(*mProvision), 0);

    EXPECT_EQ(mManager.ProvisionSetProperty(*lCopy, Str("SSID"), Str("ff")), 0);
    EXPECT_EQ(Text(mProvision->GetSSID().Get()), "ff");
    EXPECT_TRUE(lCopy->GetSSID() == nullptr);
    EXPECT_EQ(mManager.mRequests, kWritten);

    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, nullptr, Str("ff")), -5);
    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, Str("SSID"), nullptr), -5);
    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, Str("Type"), Number(1)), -4);
    EXPECT_EQ(mManager.mRequests, kWritten);
}

TEST_F(AManagersProvision, LosesItsPassphraseAndIsWritten)
{
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, CFURetain(kServicePropertyPassphrase)), 0);
    EXPECT_TRUE(mProvision->GetPassphrase() == nullptr);
    EXPECT_TRUE(Get("Passphrase") == nullptr);
    EXPECT_EQ(mManager.mRequests, kWritten);
}

TEST_F(AManagersProvision, LosesAnyOtherPropertyInMemoryAloneAndReportsIt)
{
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, CFURetain(kServicePropertyName)), -17);
    EXPECT_TRUE(Get("Name") == nullptr);
    EXPECT_EQ(Text(mProvision->GetName().Get()), "home");
    EXPECT_EQ(mManager.mRequests, Calls{});
    EXPECT_TRUE(Asserted(mLog, "lReturn == Success", kFile));
    EXPECT_TRUE(mLog.Contains(": failed to clear provision id for properties change", 4));
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, nullptr), -5);
}

TEST_F(AManagersProvision, ThatIsNotListedAnyMoreCannotBeChanged)
{
    EXPECT_EQ(mManager.ProvisionRemove(*mProvision), 0);
    EXPECT_EQ(GetNumProvisions(), 0);
    EXPECT_EQ(mManager.mRequests, kWritten);
    mManager.mRequests.clear();

    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, Str("SSID"), Str("ff")), -17);
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, Str("Passphrase")), -17);
    EXPECT_EQ(mManager.ProvisionRemove(*mProvision), -17);

    EXPECT_EQ(mLog.Count(": failed to find provision id for properties change", 4), 3u);
    EXPECT_EQ(mLog.Count("ASSERT: : lProvision != __null, file: zqnetworkmanager-manager", 4), 3u);
    EXPECT_EQ(Text(mProvision->GetPassphrase().Get()), "secret");
    EXPECT_EQ(mManager.mRequests, Calls{});
}

TEST_F(AManagersProvision, GoesWithAllTheOthers)
{
    RecordingObserver lObserver;

    ASSERT_EQ(mManager.AddObserver(&lObserver), 0);
    EXPECT_EQ(mManager.ProvisionRemoveAll(), 0);
    EXPECT_EQ(GetNumProvisions(), 0);
    EXPECT_EQ(mManager.mRequests, kWritten);
    EXPECT_EQ(lObserver.mCalls.size(), 1u);
}

TEST(AManagersProperties, AreSetInTheModelWithoutAnEvent)
{
    LogCapture        lLog;
    TestManager       lManager;
    RecordingObserver lObserver;

    ASSERT_EQ(lManager.AddObserver(&lObserver), 0);
    EXPECT_TRUE(lManager.ManagerGetState() == nullptr);
    EXPECT_EQ(lManager.IsManagerState(Str("idle")).Get(), kCFBooleanFalse);
    EXPECT_EQ(lManager.IsManagerState(nullptr).Get(), kCFBooleanFalse);

    EXPECT_EQ(lManager.ManagerSetProperty(nullptr, Bool(true)), -5);
    EXPECT_TRUE(Asserted(lLog, "aKey != __null", kFile));
    EXPECT_EQ(lManager.ManagerSetProperty(Str("State"), nullptr), -5);
    EXPECT_TRUE(Asserted(lLog, "aValue != __null", kFile));
    EXPECT_EQ(lManager.ManagerSetProperty(Str("State"), Str("idle")), 0);

    EXPECT_EQ(lManager.IsManagerState(Str("idle")).Get(), kCFBooleanTrue);
    EXPECT_EQ(lManager.IsManagerState(Str("Idle")).Get(), kCFBooleanFalse);
    EXPECT_EQ(lObserver.mCalls, Calls{ "PropertiesChanged 0" });

    EXPECT_EQ(lManager.ManagerSetProperty(Str("State"), Number(1)), 0);
    EXPECT_TRUE(lManager.ManagerGetState() == nullptr);
}

TEST(AManagersProperties, AreTheDictionaryThatItWasGiven)
{
    LogCapture  lLog;
    const auto  lGiven = Dict({ { kManagerPropertyState, Str("ready") } });
    TestManager lManager(nullptr, lGiven.Get());
    TestManager lNone(nullptr, nullptr, false);

    EXPECT_EQ(lManager.ManagerGetProperties().Get(), lGiven.Get());
    EXPECT_EQ(Text(lManager.ManagerGetState().Get()), "ready");
    EXPECT_TRUE(lManager.ManagerGetProperty(nullptr) == nullptr);
    EXPECT_TRUE(Asserted(lLog, "aKey != __null", kFile));
    EXPECT_TRUE(lNone.ManagerGetProperty(kManagerPropertyState) == nullptr);
    EXPECT_TRUE(Asserted(lLog, "mProperties != __null", kFile));
}

TEST(AManagersTechnology, IsSwitchedThroughItsPoweredProperty)
{
    TestManager lManager;

    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    EXPECT_EQ(lManager.TechnologySetEnabled(Str("wifi"), true), 0);
    EXPECT_EQ(lManager.TechnologySetEnabled(*lManager.FindTechnology(Str("/t").Get()), false), 0);
    EXPECT_EQ(lManager.TechnologySetEnabled(Str("ethernet"), true), -17);
    EXPECT_EQ(lManager.mRequests,
              (Calls{ "TechnologySetProperty Powered true /t", "TechnologySetProperty Powered false /t" }));

    lManager.mResult = -22;
    EXPECT_EQ(lManager.TechnologySetEnabled(Str("wifi"), true), -22);
    EXPECT_EQ(lManager.FindTechnology(Str("/t").Get())->IsPowered().Get(), kCFBooleanTrue);
}

TEST(AManagersTechnology, IsCheckedThroughItsFirstConnectedService)
{
    LogCapture  lLog;
    TestManager lManager;

    lManager.mServiceProperties = { { "/1", ServiceProperties("a", "idle") },
                                    { "/2", ServiceProperties("b", "online", "ethernet") },
                                    { "/3", ServiceProperties("c", "ready") },
                                    { "/4", ServiceProperties("d", "online") } };
    ASSERT_EQ(lManager.AddServices({ "/1", "/2", "/3", "/4" }), 0);

    lManager.mResult = -16;
    EXPECT_EQ(lManager.TechnologyOnlineCheck(Str("wifi")), -16);
    EXPECT_EQ(lManager.mRequests, Calls{ "ServiceOnlineCheck /3" });

    EXPECT_EQ(lManager.TechnologyOnlineCheck(Str("lowpan")), -21);
    EXPECT_TRUE(lLog.Contains(": Can't find connected service for tech lowpan", 4));
    EXPECT_EQ(lManager.TechnologyOnlineCheck(nullptr), -21);

    TestManager lNone(nullptr, nullptr, false);
    EXPECT_EQ(lNone.TechnologyOnlineCheck(Str("wifi")), -3);
    EXPECT_TRUE(lLog.Contains(": GetServices() failed with -3", 4));
}

TEST(AManagersTechnology, IsMarkedForANetworkResetOnce)
{
    LogCapture  lLog;
    TestManager lManager;

    EXPECT_FALSE(lManager.WillNetworkResetRemoveTechnology("wifi"));
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", false), -1);
    EXPECT_TRUE(Asserted(lLog, "lIndex >= 0", kFile));
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", true), 0);
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", true), -1);
    EXPECT_TRUE(Asserted(lLog, "lIndex < 0", kFile));
    EXPECT_TRUE(lManager.WillNetworkResetRemoveTechnology("wifi"));
    EXPECT_FALSE(lManager.WillNetworkResetRemoveTechnology("WiFi"));
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", false), 0);
    EXPECT_FALSE(lManager.WillNetworkResetRemoveTechnology("wifi"));
}
