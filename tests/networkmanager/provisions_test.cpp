#include "model.h"

#include <gtest/gtest.h>

#include <future>
#include <utility>

using namespace zq::Test;

namespace
{

const char *const kFile    = "zqnetworkmanager-manager";
const Lines       kWritten = { "write" };

class AManagersProvision : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mManager.ProvisionCreate(ProvisionProperties("id", "secret"), mProvision), 0);
        ASSERT_EQ(TakeRequests(), kWritten);
    }

    std::string Get(const char *aKey)
    {
        Value lValue;
        EXPECT_EQ(mManager.ProvisionGetProperty(*mProvision, Str(aKey), lValue), 0);
        return Text(lValue.Get());
    }

    Lines TakeRequests() { return std::exchange(mManager.mRequests, {}); }

    TestManager            mManager;
    LogCapture             mLog;
    zqSharedPtr<Provision> mProvision;
};

} // namespace

TEST_F(AManagersProvision, IsMergedIntoWhenItIsCreatedAgain)
{
    zqSharedPtr<Provision> lAgain;
    const auto lMore = Dict({ { kServicePropertyProvisionIdentifier, "id" }, { kServicePropertySSID, "ff" } });

    EXPECT_EQ(mManager.ProvisionCreate(lMore, lAgain, false), 0);
    EXPECT_EQ(lAgain.Get(), mProvision.Get());
    EXPECT_EQ(Text(lAgain->GetSSID().Get()), "ff");
    EXPECT_EQ(Text(lAgain->GetPassphrase().Get()), "secret");
    EXPECT_EQ(mManager.GetProvisionPaths(), "id");
    EXPECT_EQ(TakeRequests(), Lines{ "keep" });
    EXPECT_EQ(CFDictionaryGetCount(lMore.Get()), 2); // the caller's own is as it was

    // The identifier is the path and none of the properties.
    EXPECT_TRUE(lAgain->GetProperty(CFURetain(kServicePropertyProvisionIdentifier)) == nullptr);
    EXPECT_EQ(Get("ProvisionIdentifier"), "id");
    EXPECT_EQ(Get("EAP"), "null");

    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();

    // It is handed out when merging fails, too.
    CFDictionarySetValue(lMore.Get(), kServicePropertyType, Number(1).Get());
    EXPECT_EQ(mManager.ProvisionCreate(lMore, lAgain), -1);
    EXPECT_EQ(lAgain.Get(), mProvision.Get());
    EXPECT_TRUE(Asserted(mLog, "lReturn == Success", kFile));
    EXPECT_EQ(TakeRequests(), Lines{});
}

TEST_F(AManagersProvision, IsNotCreatedFromARecordThatLacksIdentifierOrType)
{
    const std::pair<Dictionary, zqError> kRows[] = {
        { ProvisionProperties(nullptr), -1 },
        { Dict({ { kServicePropertyProvisionIdentifier, "new" } }), -1 },
        { Dict({ { kServicePropertyProvisionIdentifier, Number(1) }, { kServicePropertyType, "wifi" } }), -1 },
        { nullptr, -5 },
    };

    for (const auto &[lProperties, lResult] : kRows)
    {
        zqSharedPtr<Provision> lNew = mProvision;
        EXPECT_EQ(mManager.ProvisionCreate(lProperties, lNew), lResult);
        EXPECT_TRUE(lNew == nullptr);
    }
    EXPECT_EQ(mManager.GetProvisionPaths(), "id");
    EXPECT_EQ(TakeRequests(), Lines{});
}

TEST_F(AManagersProvision, IsChangedInTheListAlsoThroughACopy)
{
    zqSharedPtr<Provision> lCopy(new Provision);

    ASSERT_EQ(lCopy->Init(*mProvision), 0);
    EXPECT_EQ(mManager.ProvisionSetProperty(*lCopy, Str("SSID"), Str("ff")), 0);
    EXPECT_EQ(Text(mProvision->GetSSID().Get()), "ff");
    EXPECT_TRUE(lCopy->GetSSID() == nullptr);
    EXPECT_EQ(TakeRequests(), kWritten);
    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();

    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, nullptr, Str("ff")), -5);
    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, Str("SSID"), nullptr), -5);
    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, Str("Type"), Number(1)), -4);
    EXPECT_EQ(TakeRequests(), Lines{});
}

TEST(AManagersProvisions, AreAskedAboutBeforeAnythingChangesUnlessTheyAreStoredAlready)
{
    struct Asking : public TestManager
    {
        zqError CheckProvision(const String &anIdentifier, const CFUSharedRef<CFDictionaryRef> &aProperties) override
        {
            mRequests.push_back("check " + Text(anIdentifier.Get()) + " " + Text(aProperties.Get()));
            return -5;
        }
    } lManager;
    zqSharedPtr<Provision> lProvision;
    const auto             lStored = Dict({ { "id", ProvisionProperties("id") } });

    EXPECT_EQ(lManager.ProvisionCreate(ProvisionProperties("new"), lProvision), -5);
    EXPECT_EQ(lManager.UpdateProvisions(lStored.Get(), Manager::UpdateOperationAdd), 0);
    ASSERT_EQ(lManager.ManagerLookupProvisionIdentifier(Str("id"), lProvision), 0);
    EXPECT_EQ(lManager.ProvisionSetProperty(*lProvision, Str("SSID"), Str("ff")), -5);
    EXPECT_EQ(lManager.ProvisionSetProperty(*lProvision, Str("ProvisionIdentifier"), Str("new")), -5);
    EXPECT_TRUE(lProvision->GetSSID() == nullptr);
    EXPECT_EQ(lManager.GetProvisionPaths(), "id");
    EXPECT_EQ(lManager.mRequests,
              (Lines{ "check new " + Text(ProvisionProperties("new").Get()), "keep", "check id {SSID: ff}" }));
    EXPECT_EQ(lManager.GetProvisionsError(), 0);
}

TEST(AManagersProvisions, AreHeldByOneThreadAtATimeWhichIsWaitedForForALimitedTime)
{
    struct Slow : public TestManager
    {
        zqError UpdateConnManProvisions(bool) override
        {
            zqSharedPtr<Provision> lAgain;

            if (mDepth++ == 0)
            {
                EXPECT_EQ(ProvisionCreate(ProvisionProperties("new", "secret"), lAgain), 0) << "its holder's own";
                EXPECT_TRUE(WaitUntil([&] { return mMayGoOn.load(); }));
            }
            return 0;
        }

        std::atomic<int>  mDepth{ 0 };
        std::atomic<bool> mMayGoOn{ false };
    } lManager;
    LogCapture             lLog;
    zqSharedPtr<Provision> lProvision, lOther, lLate;
    std::thread lHolder([&] { EXPECT_EQ(lManager.ProvisionCreate(ProvisionProperties("new"), lProvision), 0); });

    ASSERT_TRUE(WaitUntil([&] { return lManager.mDepth == 2; }));
    ASSERT_EQ(lManager.ManagerLookupProvisionIdentifier(Str("new"), lOther), 0) << "reading needs no hold";

    std::vector<std::future<zqError>> lResults;
    const auto lStart = [&](auto anOperation) { lResults.push_back(std::async(std::launch::async, anOperation)); };

    lStart([&] { return lManager.ProvisionSetProperty(*lOther, Str("SSID"), Str("ff")); });
    lStart([&] { return lManager.ProvisionClearProperty(*lOther, Str("Passphrase")); });
    lStart([&] { return lManager.ProvisionRemove(*lOther); });
    lStart([&] { return lManager.ProvisionRemoveAll(); });
    lStart([&] { return lManager.ProvisionCreate(ProvisionProperties("id"), lLate); });
    lStart([&] { return lManager.UpdateProvisions(Dict().Get(), Manager::UpdateOperationAdd); });
    for (auto &lResult : lResults)
        EXPECT_EQ(lResult.get(), zqError_TimedOut);
    EXPECT_EQ(lLog.Count(": the provisions are held by another thread: given up", 4), lResults.size());
    EXPECT_EQ(Text(lOther->CopyProperties().Get()), Text(ProvisionProperties(nullptr, "secret").Get()));
    EXPECT_EQ(lManager.GetProvisionPaths(), "new");

    // Who waits has them next.
    lResults.clear();
    lStart([&] { return lManager.ProvisionRemove(*lOther); });
    lManager.mMayGoOn = true;
    EXPECT_EQ(lResults[0].get(), 0);
    lHolder.join();
    EXPECT_EQ(lManager.GetProvisionPaths(), "");
}

TEST_F(AManagersProvision, LosesItsPassphraseWhollyAndAnyOtherPropertyInMemoryAlone)
{
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, CFURetain(kServicePropertyPassphrase)), 0);
    EXPECT_TRUE(mProvision->GetPassphrase() == nullptr);
    EXPECT_EQ(Get("Passphrase"), "null");
    EXPECT_EQ(TakeRequests(), kWritten);
    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();

    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, CFURetain(kServicePropertyName)), -17);
    EXPECT_EQ(Get("Name"), "null");
    EXPECT_EQ(Text(mProvision->GetName().Get()), "home");
    EXPECT_TRUE(Asserted(mLog, "lReturn == Success", kFile));
    EXPECT_TRUE(mLog.Contains(": failed to clear provision id for properties change", 4));
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, nullptr), -5);
    EXPECT_EQ(TakeRequests(), Lines{});
}

TEST_F(AManagersProvision, ThatIsNotListedAnyMoreCannotBeChanged)
{
    EXPECT_EQ(mManager.ProvisionRemove(*mProvision), 0);
    EXPECT_EQ(mManager.GetProvisionPaths(), "");
    EXPECT_EQ(TakeRequests(), kWritten);
    EXPECT_FALSE(mLog.Contains("ASSERT")) << mLog.GetText();

    EXPECT_EQ(mManager.ProvisionSetProperty(*mProvision, Str("SSID"), Str("ff")), -17);
    EXPECT_EQ(mManager.ProvisionClearProperty(*mProvision, Str("Passphrase")), -17);
    EXPECT_EQ(mManager.ProvisionRemove(*mProvision), -17);
    EXPECT_EQ(mLog.Count(": failed to find provision id for properties change", 4), 3u);
    EXPECT_EQ(mLog.Count("ASSERT: : lProvision != __null, file: zqnetworkmanager-manager", 4), 3u);
    EXPECT_EQ(Text(mProvision->GetPassphrase().Get()), "secret");
    EXPECT_EQ(TakeRequests(), Lines{});
}

TEST(AManagersProperties, AreTheDictionaryThatItWasGivenAndAreSetWithoutAnEvent)
{
    const auto  lGiven = Dict({ { kManagerPropertyState, "ready" } });
    TestManager lManager(nullptr, lGiven.Get());
    Recorder    lObserver;

    EXPECT_EQ(lManager.ManagerGetProperties().Get(), lGiven.Get());
    ASSERT_EQ(lManager.AddObserver(&lObserver), 0);
    lObserver.Clear();
    EXPECT_EQ(lManager.ManagerSetProperty(Str("State"), Str("idle")), 0);
    EXPECT_EQ(lManager.IsManagerState(Str("idle")).Get(), kCFBooleanTrue);
    EXPECT_EQ(lManager.IsManagerState(Str("Idle")).Get(), kCFBooleanFalse);
    EXPECT_EQ(lManager.ManagerSetProperty(Str("State"), Number(1)), 0);
    EXPECT_TRUE(lManager.ManagerGetState() == nullptr);
    EXPECT_EQ(lManager.ManagerSetProperty(Str("State"), nullptr), -5);
    EXPECT_EQ(TestManager(nullptr, nullptr, false).ManagerSetProperty(Str("State"), Str("idle")), -3);
    EXPECT_TRUE(TestManager(nullptr, nullptr, false).ManagerGetProperty(kManagerPropertyState) == nullptr);
    EXPECT_EQ(lObserver.GetLines(), Lines{});
}

TEST(AManagersTechnology, IsFoundByTypeAndCheckedThroughItsFirstConnectedService)
{
    LogCapture  lLog;
    TestManager lManager, lNone(nullptr, nullptr, false);

    ASSERT_EQ(lManager.AddTechnology("/t", "wifi"), 0);
    EXPECT_EQ(lManager.TechnologySetEnabled(Str("ethernet"), true), -17);
    EXPECT_EQ(lManager.TechnologySetEnabled(Str("wifi"), true), 0);
    lManager.mReported = { { "/1", ServiceProperties("a", "idle") },
                           { "/2", ServiceProperties("b", "online", "ethernet") },
                           { "/3", ServiceProperties("c", "ready") },
                           { "/4", ServiceProperties("d", "online") } };
    ASSERT_EQ(lManager.AddServices({ "/1", "/2", "/3", "/4" }), 0);
    lManager.mResult = -16;
    EXPECT_EQ(lManager.TechnologyOnlineCheck(Str("wifi")), -16);
    ASSERT_EQ(lManager.FindService(Str("/1").Get())->Refresh(Dict({ { kServicePropertyState, "ready" } })), 0);
    EXPECT_EQ(lManager.TechnologyOnlineCheck(Str("wifi")), -16);
    EXPECT_EQ(lManager.mRequests,
              (Lines{ "TechnologySetProperty Powered true /t", "ServiceOnlineCheck /3", "ServiceOnlineCheck /1" }));

    EXPECT_EQ(lManager.TechnologyOnlineCheck(Str("lowpan")), -21);
    EXPECT_TRUE(lLog.Contains(": Can't find connected service for tech lowpan", 4));
    EXPECT_EQ(lManager.TechnologyOnlineCheck(nullptr), -21);
    EXPECT_EQ(lNone.TechnologyOnlineCheck(Str("wifi")), -3);
    EXPECT_TRUE(lLog.Contains(": GetServices() failed with -3", 4));

    // Nothing of it keeps the host awake here.
    zqStringArray lNames;
    EXPECT_EQ(lNames.Append("stale") + lManager.GetSleepPreventers(lNames), 0);
    EXPECT_TRUE(lNames.IsEmpty());

    // It is marked for a network reset once.
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", false), -1);
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", true), 0);
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", true), -1);
    EXPECT_TRUE(lManager.WillNetworkResetRemoveTechnology("wifi"));
    EXPECT_EQ(lManager.SetNetworkResetWillRemoveTechnology("wifi", false), 0);
    EXPECT_FALSE(lManager.WillNetworkResetRemoveTechnology("wifi"));
    EXPECT_TRUE(Asserted(lLog, "lIndex >= 0", kFile) && Asserted(lLog, "lIndex < 0", kFile));
}
