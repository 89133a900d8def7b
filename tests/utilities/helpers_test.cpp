#include "model.h"

#include <failingallocations.h>

#include <zqnetworkmanager-utilities.h>

#include <gtest/gtest.h>

using namespace zq::Test;
using namespace zq::NetworkManager::Utilities;

namespace
{

const char kFile[] = "zqnetworkmanager-utilities";

TEST(Utilities, WhatNeedsNoManager)
{
    LogCapture lLog;

    EXPECT_TRUE(IsString(Str("wifi"), Str("wifi")));
    EXPECT_FALSE(IsString(Str("wifi"), Str("WiFi")));
    EXPECT_FALSE(IsString(nullptr, Str("wifi")) || IsString(Str("wifi"), nullptr));
    EXPECT_TRUE(Asserted(lLog, "aFirst != __null", kFile) && Asserted(lLog, "aSecond != __null", kFile));

    for (const uint16_t lChannel : { 0, 10, 11, 26, 27, 65535 })
        EXPECT_EQ(SixLoWPAN::IsValidChannel(lChannel), lChannel == 11 || lChannel == 26) << lChannel;
    EXPECT_EQ(SixLoWPAN::MapFrequency(SixLoWPAN::kDefaultBand, SixLoWPAN::kMinChannel), 2405U);
    EXPECT_EQ(SixLoWPAN::MapFrequency(2400, SixLoWPAN::kMaxChannel), 2480U);
    EXPECT_EQ(SixLoWPAN::MapFrequency(915, 1), 0U);
}

TEST(Utilities, ATechnologyIsAskedAndToldByItsType)
{
    TestManager lManager;
    LogCapture  lLog;
    const auto  lWiFi = Str("wifi");

    ASSERT_EQ(lManager.AddTechnology("/t/wifi", "wifi"), 0);
    const auto lTechnology = lManager.FindTechnology(Str("/t/wifi").Get());

    for (const bool lValue : { true, false })
    {
        ASSERT_EQ(lTechnology->Refresh(Dict({ { kTechnologyPropertyPowered, Bool(lValue) },
                                              { kTechnologyPropertyConnected, Bool(!lValue) } })),
                  0);
        EXPECT_EQ(GetTechnologyEnabled(&lManager, lWiFi), lValue);
        EXPECT_EQ(GetTechnologyEnabled(&lManager, *lTechnology), lValue);
        EXPECT_EQ(GetTechnologyConnected(&lManager, lWiFi), !lValue);
    }

    lManager.mResult = -22;
    EXPECT_EQ(SetTechnologyEnabled(&lManager, lWiFi, true), -22);
    EXPECT_EQ(TechnologyScan(&lManager, lWiFi), -22);
    EXPECT_EQ(lManager.mRequests,
              (std::vector<std::string>{ "TechnologySetProperty Powered true /t/wifi", "TechnologyScan /t/wifi" }));
    EXPECT_EQ(TechnologyScan(&lManager, Str("ethernet")), -17);
    EXPECT_FALSE(GetTechnologyEnabled(&lManager, Str("ethernet")));

    lLog.Clear();
    EXPECT_FALSE(GetTechnologyConnected(&lManager, Technology()));
    EXPECT_TRUE(Asserted(lLog, "enabled != __null", kFile));
    EXPECT_FALSE(GetTechnologyEnabled(&lManager, CFUSharedRef<CFStringRef>()));
    EXPECT_TRUE(Asserted(lLog, "aTechnology != __null", kFile));
    EXPECT_FALSE(GetTechnologyEnabled(nullptr, *lTechnology) || GetTechnologyConnected(nullptr, lWiFi));
    EXPECT_EQ(SetTechnologyEnabled(nullptr, lWiFi, true) + TechnologyScan(nullptr, lWiFi), -5 - 5);
    EXPECT_EQ(lLog.Count("aManager != __null", 4), 4U) << lLog.GetText();
}

TEST(Utilities, AStoredNetworkIsFoundByTheBytesOfItsName)
{
    TestManager            lManager;
    LogCapture             lLog;
    zqSharedPtr<Provision> lProvision;
    zqSharedPtr<Service>   lFound;

    lManager.mReported = { { "/s/other", ServiceProperties("other", "online") },
                           { "/s/wired", ServiceProperties("Home", "online", "ethernet") },
                           { "/s/home", ServiceProperties("Home", "idle") },
                           { "/s/cafe", ServiceProperties("Caf\xC3\xA9", "idle") } };
    ASSERT_EQ(lManager.AddServices({ "/s/other", "/s/wired", "/s/home", "/s/cafe" }), 0);
    for (const char *lIdentifier : { "service_486F6D65", "service_436166C3A9" })
        ASSERT_EQ(lManager.ProvisionCreate(ProvisionProperties(lIdentifier), lProvision), 0);

    for (const auto &[lPath, lStored] :
         { std::pair{ "/s/other", false }, { "/s/wired", false }, { "/s/home", true }, { "/s/cafe", true } })
        EXPECT_EQ(IsServiceProvisionedWiFi(&lManager, lManager.FindService(Str(lPath).Get())), lStored) << lPath;
    EXPECT_EQ(lLog.Count("Trying to find provision matching service ", 1), 3U) << "none for the wire";
    EXPECT_TRUE(lLog.Contains("service Home (with identifier service_486F6D65).", 1));
    EXPECT_EQ(lLog.Count("Provision corresponding to service Home found.", 1), 1U);

    EXPECT_EQ(GetNonIdleServiceProvisionedWiFi(&lManager, lFound), -17);
    EXPECT_EQ(lFound.Get(), nullptr);
    ASSERT_EQ(lManager.FindService(Str("/s/cafe").Get())->Refresh(Dict({ { kServicePropertyState, "ready" } })), 0);
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 1);
    EXPECT_GT(Starve({ -2 }, [&] { return GetNonIdleServiceProvisionedWiFi(&lManager, lFound); }), 5);
    zqLogSetHandler(nullptr, nullptr, 3);
    EXPECT_EQ(Text(lFound->GetPath().Get()), "/s/cafe");
    EXPECT_EQ(GetNonIdleServiceProvisionedWiFi(nullptr, lFound), -5);
    EXPECT_FALSE(IsServiceProvisionedWiFi(nullptr, lFound));
}

} // namespace
