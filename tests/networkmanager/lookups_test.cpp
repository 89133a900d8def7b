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
        for (const auto &[lPath, lProperties, lInterface, lSecurity] :
             std::vector<std::tuple<const char *, Dictionary, const char *, Value>>{
                 { "/idle", ServiceProperties("home", "idle"), "wlan0", Strings({ "none" }) },
                 { "/twin", ServiceProperties("home", "ready"), "wlan0", Strings({ "psk", "wps" }) },
                 { "/wired", ServiceProperties("Wired", "online", "ethernet"), "eth0", Strings({}) } })
        {
            CFDictionarySetValue(lProperties.Get(), kServicePropertyEthernet,
                                 Dict({ { kEthernetPropertyInterface, lInterface } }).Get());
            CFDictionarySetValue(lProperties.Get(), kServicePropertySecurity, lSecurity.Get());
            mManager.mReported[lPath] = lProperties;
        }
        ASSERT_EQ(mManager.AddServices({ "/idle", "/twin", "/wired" }), 0);
    }

    /** The path that was found, or "" with the result -17. */
    std::string Found(zqError aResult)
    {
        EXPECT_EQ(aResult, mService != nullptr ? 0 : -17);
        return mService != nullptr ? Name(mService.Get()) : "";
    }

    std::string ByInterface(const char *aName)
    {
        return Found(mManager.ManagerLookupServiceByInterfaceName(Str(aName), mService));
    }

    TestManager          mManager;
    LogCapture           mLog;
    zqSharedPtr<Service> mService; // what was found
};

} // namespace

TEST_F(ALookup, FindsTheFirstServiceOfANameAndOnlyAConnectedOneByInterface)
{
    EXPECT_EQ(Found(mManager.ManagerLookupService(Str("home"), mService)), "idle");
    EXPECT_EQ(Found(mManager.ManagerLookupService(Str("wired"), mService)), "");
    EXPECT_EQ(Found(mManager.ManagerLookupService(String(), mService)), "");
    EXPECT_TRUE(Asserted(mLog, "aPattern != __null", "../include/networkmanager/zqnetworkmanager-objectlist",
                         "network manager"));

    EXPECT_EQ(ByInterface("wlan0"), "twin");
    EXPECT_EQ(ByInterface("eth0"), "wired");
    EXPECT_EQ(ByInterface("eth1"), "");
    EXPECT_EQ(mManager.FindService(Str("/twin").Get())->Refresh(Dict({ { kServicePropertyState, "failure" } })), 0);
    EXPECT_EQ(ByInterface("wlan0"), "");
}

TEST_F(ALookup, FindsTheServiceThatMatchesEveryEntryOfAPattern)
{
    const Entry lHome(kServicePropertyName, "home"), lPSK(kServicePropertySecurity, "psk");
    const std::pair<Dictionary, const char *> kRows[] = {
        { Dict({ lHome }), "idle" },
        { Dict({ lHome, lPSK }), "twin" },
        { Dict({ { kServicePropertySecurity, "wps" } }), "twin" },
        { Dict({ { kServicePropertyName, "Wired" }, lPSK }), "" },
        { Dict({ lHome, { kServicePropertyState, "ready" } }), "twin" },
        { Dict({ { kServicePropertyType, "ethernet" } }), "wired" },
        { Dict({ { kServicePropertySSID, "x" } }), "" },
        { Dict({ { kServicePropertySecurity, Number(1) } }), "" },
        { Dict(), "idle" },
    };

    for (const auto &[lPattern, lPath] : kRows)
        EXPECT_EQ(Found(mManager.ManagerLookupService(CFUSharedRef<CFDictionaryRef>(lPattern), mService)), lPath);

    const void *lKey = kServicePropertyName, *lNull = nullptr;
    const auto  lPattern = CFUAdopt(CFDictionaryCreate(nullptr, &lKey, &lNull, 1, nullptr, nullptr));
    EXPECT_EQ(Found(mManager.ManagerLookupService(lPattern, mService)), "");
    EXPECT_TRUE(Asserted(mLog, "theValue != __null", "zqnetworkmanager-manager"));
}

TEST_F(ALookup, FindsATechnologyByTypeAndAProvisionByTheIdentifierInItsProperties)
{
    zqSharedPtr<Technology> lTechnology;
    zqSharedPtr<Provision>  lCreated, lFound;

    ASSERT_EQ(mManager.AddTechnology("/t/wifi", "wifi"), 0);
    ASSERT_EQ(mManager.AddTechnology("/t/ethernet", "ethernet"), 0);
    EXPECT_EQ(mManager.ManagerLookupTechnology(Str("ethernet"), lTechnology), 0);
    EXPECT_EQ(Name(lTechnology.Get()), "ethernet");
    EXPECT_EQ(mManager.ManagerLookupTechnology(Str("WiFi"), lTechnology), -17);
    EXPECT_TRUE(lTechnology == nullptr);

    ASSERT_EQ(mManager.ProvisionCreate(ProvisionProperties("id"), lCreated), 0);
    EXPECT_EQ(mManager.ManagerLookupProvisionIdentifier(Str("id"), lFound), 0);
    EXPECT_EQ(lFound.Get(), lCreated.Get());
    EXPECT_EQ(mManager.ManagerLookupProvision(ProvisionProperties("id"), lFound), 0);
    EXPECT_EQ(mManager.ManagerLookupProvision(ProvisionProperties("other"), lFound), -17);
    EXPECT_EQ(mManager.ManagerLookupProvision(ProvisionProperties(nullptr), lFound), -17);
    lFound = lCreated;
    EXPECT_EQ(mManager.ManagerLookupProvision(nullptr, lFound), -5);
    EXPECT_TRUE(lFound == nullptr);
}
