#include "model.h"

#include <failingallocations.h>
#include <sandbox.h>
#include <zqnetworkmanager-utilities.h>

#include <sstream>

#include <gtest/gtest.h>
#include <unistd.h>

using namespace zq::Test;
using zq::NetworkManager::Utilities::IPRulesAndRoutes;

namespace
{

const std::string kScript = "/corvanix/sbin/networking-ip-rules";
const std::string kCalls  = "/tmp/calls";

/** Stands in for the script: notes each argument in brackets, a line a run, and ends as it is told. */
class Routes : public testing::Test
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        EmptyDirectory("/corvanix/sbin");
        MakeScript("exit 0");
    }

    void TearDown() override { (void)unlink(kCalls.c_str()); }

    static void MakeScript(const std::string &anEnd, mode_t aMode = 0755)
    {
        ASSERT_TRUE(WriteFile(kScript,
                              "#!/bin/sh\nfor a; do printf '[%s]' \"$a\"; done >>" + kCalls + "\necho >>" + kCalls +
                                  "\n" + anEnd + "\n",
                              aMode));
    }

    /** What the script was called with since the last time. */
    static std::string TakeCalls()
    {
        std::string lCalls = ReadFile(kCalls);

        (void)unlink(kCalls.c_str());
        return lCalls;
    }

    static zqSharedPtr<Service> MakeService(const char *aType, const Dictionary &anIPv4)
    {
        auto lProperties = ServiceProperties("home", "ready", aType);

        CFDictionarySetValue(lProperties.Get(), kServicePropertyIPv4, anIPv4.Get());
        return Make<Service>("/s", lProperties);
    }
};

TEST_F(Routes, EachOperationIsOneRunWithItsExactArguments)
{
    using R = IPRulesAndRoutes;

    EXPECT_EQ(R::AddIPRule("10.0.0.5", nullptr, "101"), 0);
    EXPECT_EQ(TakeCalls(), "[ip_rule_add][-r][101][-s][10.0.0.5][-u]\n");
    EXPECT_EQ(R::RemoveIPRules(nullptr, "10.0.0.6", "101"), 0);
    EXPECT_EQ(TakeCalls(), "[ip_rule_delete][-r][101][-d][10.0.0.6][-u]\n");
    EXPECT_EQ(R::AddIPRoute(nullptr, "default", nullptr, "ppp0", "102", true), 0);
    EXPECT_EQ(TakeCalls(), "[ip_route_add][-r][102][-d][default][-i][ppp0][-u]\n");
    EXPECT_EQ(R::AddIPRoute("s", "d", "g", "i", "t", false), 0);
    EXPECT_EQ(TakeCalls(), "[ip_route_add][-r][t][-s][s][-d][d][-g][g][-i][i]\n");
    EXPECT_EQ(R::RemoveIPRoutes("s", "d", "g", "i", "t"), 0);
    EXPECT_EQ(TakeCalls(), "[ip_route_delete][-r][t][-s][s][-d][d][-g][g][-i][i]\n");
    EXPECT_EQ(R::AddIPRule("a b  c", "\"'`$HOME;exit 9;$(exit 8)\\*", "\n-x"), 0);
    EXPECT_EQ(TakeCalls(), "[ip_rule_add][-r][\n-x][-s][a b  c][-d][\"'`$HOME;exit 9;$(exit 8)\\*][-u]\n");
}

TEST_F(Routes, AnythingButAScriptThatEndsWithZeroIsAFailure)
{
    LogCapture lLog;

    EXPECT_EQ(IPRulesAndRoutes::AddIPRule("10.0.0.5", nullptr, nullptr), -5);
    EXPECT_TRUE(Asserted(lLog, "aRoutingTable", "zqnetworkmanager-utilities"));
    EXPECT_EQ(IPRulesAndRoutes::AddIPRule("\xFF", nullptr, "101"), -5) << "an empty value would mean something else";
    EXPECT_TRUE(Asserted(lLog, "IsUTF8(aText)", "zqnetworkmanager-utilities"));
    EXPECT_EQ(TakeCalls(), "") << "nothing was run";

    for (const char *lEnd : { "exit 1", "exit 255", "kill -KILL $$" })
    {
        MakeScript(lEnd);
        EXPECT_EQ(IPRulesAndRoutes::RemoveIPRules(nullptr, nullptr, "101"), -1) << lEnd;
    }
    MakeScript("exit 0", 0644);
    EXPECT_EQ(IPRulesAndRoutes::RemoveIPRules(nullptr, nullptr, "101"), -1) << "not executable";
    EmptyDirectory("/corvanix/sbin");
    EXPECT_EQ(IPRulesAndRoutes::RemoveIPRules(nullptr, nullptr, "101"), -1) << "missing";
    EXPECT_EQ(lLog.Count("ASSERT: : (aExitCode == 0), file: zqnetworkmanager-utilities", 4), 5U) << lLog.GetText();
}

TEST_F(Routes, ANetworkIsTheAddressUnderItsMask)
{
    static const char *const kCases[][3] = {
        { "192.168.1.77", "255.255.255.0", "192.168.1.0/24" },
        { "10.1.2.3", "255.255.254.0", "10.1.2.0/23" },
        { "10.1.2.3", "255.255.255.255", "10.1.2.3/32" },
        { "10.1.2.3", "0.0.0.0", "0.0.0.0/0" },
        { "10.1.2.3", "255.0.255.0", "10.0.2.0/24" },
        { "10.1.2.3", "none", "" },
        { "", "255.255.255.0", "" },
    };

    for (const auto &lCase : kCases)
        EXPECT_EQ(IPRulesAndRoutes::GetNetworkAddress(lCase[0], lCase[1]), lCase[2]);
}

TEST_F(Routes, AServiceGetsTheTableOfItsTypeOrNothingIsRun)
{
    const Entry lAddress(kIPPropertyAddress, "10.0.0.5");
    const Entry lGateway(kIPPropertyGateway, "10.0.0.1");
    const Entry lNetmask(kIPPropertyNetmask, "255.255.255.0");

    const std::string lRule  = "[ip_rule_add][-r][101][-s][10.0.0.5][-u]\n";
    const std::string lWiFi  = lRule + "[ip_route_add][-r][101][-d][default][-g][10.0.0.1][-i][wlan0][-u]\n";
    const std::string lRoute = "[ip_route_add][-r][101][-s][10.0.0.5][-d][";

    const struct
    {
        const char *mType;
        Dictionary  mIPv4;
        zqError     mError;
        std::string mCalls;
    } lCases[] = {
        { "wifi", Dict({ lAddress, lGateway, lNetmask }), 0, lWiFi + lRoute + "10.0.0.0/24][-i][wlan0]\n" },
        { "wifi", Dict({ lAddress, lGateway, Entry(kIPPropertyNetmask, "") }), 0, lWiFi },
        { "wifi", Dict({ lAddress, lGateway }), 0, lWiFi },
        { "wifi", Dict({ lAddress, lGateway, Entry(kIPPropertyNetmask, "?") }), 0, lWiFi + lRoute + "][-i][wlan0]\n" },
        { "wifi", Dict({ lAddress, lNetmask }), -1, "" },
        { "wifi", Dict({ lGateway, lNetmask }), -1, "" },
        { "cellular", Dict({ lAddress, lGateway, lNetmask }), 0,
          "[ip_rule_add][-r][102][-s][10.0.0.5][-u]\n[ip_route_add][-r][102][-d][default][-i][ppp0][-u]\n" },
        { "ethernet", Dict({ lAddress, lGateway, lNetmask }), -5, "" },
        { "wifi", Dict({ { kIPPropertyAddress, std::string("10.0.0.5\0", 9) }, lGateway }), -5, "" },
    };

    for (const auto &lCase : lCases)
    {
        EXPECT_EQ(MakeService(lCase.mType, lCase.mIPv4)->CreatePolicyRouteTable(), lCase.mError) << lCase.mType;
        EXPECT_EQ(TakeCalls(), lCase.mCalls);
    }

    EXPECT_EQ(MakeService("cellular", Dict())->RemovePolicyRouteTable(), 0) << "its address is gone";
    EXPECT_EQ(TakeCalls(), "[ip_rule_delete][-r][102][-u]\n[ip_route_delete][-r][102]\n");
    EXPECT_EQ(MakeService("ethernet", Dict())->RemovePolicyRouteTable(), -5);

    MakeScript("exit 1");
    EXPECT_EQ(MakeService("wifi", lCases[0].mIPv4)->CreatePolicyRouteTable(), -1);
    EXPECT_EQ(MakeService("wifi", lCases[0].mIPv4)->RemovePolicyRouteTable(), -1);
    EXPECT_EQ(TakeCalls(), lRule + "[ip_rule_delete][-r][101][-u]\n") << "the first failure ends it";
    MakeScript("exit 0");

    // With any allocation that fails, alone or with all that follow: what is run is one of the steps.
    const auto lService = MakeService("wifi", lCases[0].mIPv4);
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 1);
    EXPECT_GT(Starve({ -2 }, [&] { return lService->RemovePolicyRouteTable(); }), 10);
    for (int lLast = Starve({ -2 }, [&] { return lService->CreatePolicyRouteTable(); }); lLast > 0; lLast--)
    {
        const FailingAllocations lFailing(lLast - 1, 1);
        EXPECT_EQ(lService->CreatePolicyRouteTable(), -2) << lLast;
    }
    zqLogSetHandler(nullptr, nullptr, 3);

    std::istringstream lCalls(TakeCalls());
    const std::string  lSteps = lCases[0].mCalls + "[ip_rule_delete][-r][101][-u]\n[ip_route_delete][-r][101]\n";
    for (std::string lCall; std::getline(lCalls, lCall);)
        EXPECT_NE(("\n" + lSteps).find("\n" + lCall + "\n"), std::string::npos) << lCall;
}

} // namespace
