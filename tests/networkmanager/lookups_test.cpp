#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

class ALookup : public testing::Test
{
protected:
    void SetUp() override
    {
        Place("/idle", ServiceProperties("home", "idle"), "wlan0", { "none" });
        Place("/twin", ServiceProperties("home", "ready"), "wlan0", { "psk", "wps" });
        Place("/wired", ServiceProperties("Wired", "online", "ethernet"), "eth0", {});
        ASSERT_EQ(mManager.AddServices({ "/idle", "/twin", "/wired" }), 0);
        ASSERT_EQ(mManager.AddTechnology("/t/wifi", "wifi"), 0);
        ASSERT_EQ(mManager.AddTechnology("/t/ethernet", "ethernet"), 0);
        mService = mManager.FindService(Str("/wired").Get());
    }

    void Place(const char *aPath, const Dictionary &aProperties, const char *anInterface,
               const std::vector<std::string> &aSecurity)
    {
        CFDictionarySetValue(aProperties.Get(), kServicePropertyEthernet,
                             Dict({ { kEthernetPropertyInterface, Str(anInterface) } }).Get());
        CFDictionarySetValue(aProperties.Get(), kServicePropertySecurity, Strings(aSecurity).Get());
        mManager.mServiceProperties[aPath] = aProperties;
    }

    /** The path that was found, or "" with the result -17. */
    std::string Found(zqError aResult)
    {
        EXPECT_EQ(aResult, mService != nullptr ? 0 : -17);
        return mService != nullptr ? Text(mService->GetPath().Get()) : "";
    }

    std::string FoundByPattern(const Dictionary &aPattern)
    {
        return Found(mManager.ManagerLookupService(CFUSharedRef<CFDictionaryRef>(aPattern), mService));
    }

    TestManager          mManager;
    LogCapture           mLog;
    zqSharedPtr<Service> mService; // what was found
};

} // namespace

TEST_F(ALookup, FindsAServiceByNameTheFirstOfTwins)
{
    EXPECT_EQ(Found(mManager.ManagerLookupService(Str("home"), mService)), "/idle");
    EXPECT_EQ(Found(mManager.ManagerLookupService(Str("wired"), mService)), "");
    EXPECT_EQ(Found(mManager.ManagerLookupService(String(), mService)), "");
    EXPECT_TRUE(Asserted(mLog, "aPattern != __null", "../include/networkmanager/zqnetworkmanager-objectlist",
                         "network manager"));
}

TEST_F(ALookup, FindsOnlyAConnectedServiceByInterface)
{
    EXPECT_EQ(Found(mManager.ManagerLookupServiceByInterfaceName(Str("wlan0"), mService)), "/twin");
    EXPECT_EQ(Found(mManager.ManagerLookupServiceByInterfaceName(Str("eth0"), mService)), "/wired");
    EXPECT_EQ(Found(mManager.ManagerLookupServiceByInterfaceName(Str("eth1"), mService)), "");

    ASSERT_EQ(mManager.FindService(Str("/twin").Get())->Refresh(Dict({ { kServicePropertyState, Str("failure") } })),
              0);
    EXPECT_EQ(Found(mManager.ManagerLookupServiceByInterfaceName(Str("wlan0"), mService)), "");
}

TEST_F(ALookup, FindsTheServiceThatMatchesEveryEntryOfAPattern)
{
    const auto lName     = [](const char *aText) { return std::make_pair(kServicePropertyName, Value(Str(aText))); };
    const auto lSecurity = [](const char *aText)
    { return std::make_pair(kServicePropertySecurity, Value(Str(aText))); };

    EXPECT_EQ(FoundByPattern(Dict({ lName("home") })), "/idle");
    EXPECT_EQ(FoundByPattern(Dict({ lName("home"), lSecurity("psk") })), "/twin");
    EXPECT_EQ(FoundByPattern(Dict({ lSecurity("wps") })), "/twin");
    EXPECT_EQ(FoundByPattern(Dict({ lName("Wired"), lSecurity("psk") })), "");
    EXPECT_EQ(FoundByPattern(Dict({ lName("home"), { kServicePropertyState, Str("ready") } })), "/twin");
    EXPECT_EQ(FoundByPattern(Dict({ { kServicePropertyType, Str("ethernet") } })), "/wired");
    EXPECT_EQ(FoundByPattern(Dict({ { kServicePropertySSID, Str("x") } })), "");
    EXPECT_EQ(FoundByPattern(Dict({ { kServicePropertyName, Number(1) } })), "");
    EXPECT_EQ(FoundByPattern(Dict({ { kServicePropertySecurity, Number(1) } })), "");
    EXPECT_EQ(FoundByPattern(Dict()), "/idle");
}

TEST_F(ALookup, LogsANullInAPattern)
{
    const void *lKey     = kServicePropertyName;
    const void *lValue   = nullptr;
    const auto  lPattern = CFUAdopt(CFDictionaryCreate(nullptr, &lKey, &lValue, 1, nullptr, nullptr));

    ASSERT_TRUE(lPattern != nullptr);
    EXPECT_EQ(Found(mManager.ManagerLookupService(lPattern, mService)), "");
    EXPECT_TRUE(Asserted(mLog, "theValue != __null", "zqnetworkmanager-manager"));
}

TEST_F(ALookup, FindsATechnologyByTypeLetterCaseIncluded)
{
    zqSharedPtr<Technology> lTechnology;

    EXPECT_EQ(mManager.ManagerLookupTechnology(Str("ethernet"), lTechnology), 0);
    EXPECT_EQ(Text(lTechnology->GetPath().Get()), "/t/ethernet");
    EXPECT_EQ(mManager.ManagerLookupTechnology(Str("WiFi"), lTechnology), -17);
    EXPECT_TRUE(lTechnology == nullptr);
}

TEST_F(ALookup, FindsAProvisionByTheIdentifierInItsProperties)
{
    zqSharedPtr<Provision> lProvision;

    ASSERT_EQ(mManager.ProvisionCreate(ProvisionProperties("id"), lProvision), 0);
    const auto lCreated = lProvision;

    EXPECT_EQ(mManager.ManagerLookupProvisionIdentifier(Str("id"), lProvision), 0);
    EXPECT_EQ(lProvision.Get(), lCreated.Get());
    EXPECT_EQ(mManager.ManagerLookupProvision(ProvisionProperties("id"), lProvision), 0);
    EXPECT_EQ(mManager.ManagerLookupProvision(ProvisionProperties("other"), lProvision), -17);
    EXPECT_EQ(mManager.ManagerLookupProvision(ProvisionProperties(nullptr), lProvision), -17);
    EXPECT_EQ(mManager.ManagerLookupProvision(nullptr, lProvision), -5);
    EXPECT_TRUE(lProvision == nullptr);
}

TEST_F(ALookup, HandsOutSnapshotsThatLaterChangesDoNotTouch)
{
    zqRefObjectArray<Service> lServices;

    ASSERT_EQ(mManager.GetServices(lServices), 0);
    ASSERT_EQ(mManager.UpdateServices(Paths({ "/idle" }).Get(), Manager::UpdateOperationRemove), 0);
    EXPECT_EQ(PathsOf(lServices), "/idle /twin /wired");
    ASSERT_EQ(mManager.GetServices(lServices), 0);
    EXPECT_EQ(PathsOf(lServices), "/twin /wired");
}
