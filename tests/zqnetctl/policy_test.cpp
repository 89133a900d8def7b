#include "tool.h"

#include <csignal>

#include <sandbox.h>

using namespace zq::Test;

using PolicyTest = ToolTest;

TEST_F(PolicyTest, ConnectivityFailsWithItsRequestAndEndsInTime)
{
    const Result lPlain = RunTool({ "connectivity", "wifi", "--seconds", "0.5" });

    EXPECT_EQ(lPlain.mStatus, 0) << lPlain.mErrors;
    EXPECT_NE(lPlain.mOutput.find("  NetworkConnected disconnected\n"), std::string::npos) << lPlain.mOutput;

    RunRows({ { { "--json", "connectivity", "lowpan", "--power", "on" },
                1,
                Row::kAnything,
                "zqnetctl: connectivity lowpan: not found (-17)\n" } });

    // A daemon that does not answer keeps nobody from ending.
    mConnMan.Script("SetProperty", Answer::Silence());
    Tool lStuck({ "connectivity", "wifi", "--power=off" });

    ASSERT_TRUE(mConnMan.WaitForCall("SetProperty"));
    lStuck.Signal(SIGTERM);
    EXPECT_EQ(lStuck.Wait(), 0);

    mConnMan.Crash();
    EXPECT_EQ(RunTool({ "connectivity", "wifi" }).mStatus, 3);
}

TEST_F(PolicyTest, RoutesAreTheScriptsWorkAndItsWordsAreNotAmongTheJson)
{
    ZQ_REQUIRE_SANDBOX();
    ASSERT_TRUE(WriteFile("/corvanix/sbin/networking-ip-rules", "#!/bin/sh\necho \"$@\"\n", 0755));

    RunRows({
        { { "route", "remove", "home" },
          0,
          "ip_rule_delete -r 101 -u\nip_route_delete -r 101\nhome: routes removed\n" },
        { { "--json", "route", "remove", kHome }, 0, "", "ip_rule_delete -r 101 -u\nip_route_delete -r 101\n", true },
        { { "route", "create", "home" }, 1, "", "zqnetctl: route create home: failed (-1)\n", true },
        { { "route", "create", "nowhere" }, 1, "", "zqnetctl: route create nowhere: not found (-17)\n", true },
    });
}

TEST_F(PolicyTest, TheHostIsToldWithoutADaemon)
{
    mConnMan.Crash();
    Tool lTool({ "--json", "host", "lo" });

    EXPECT_EQ(lTool.Wait(), 0) << lTool.GetErrors();
    ASSERT_EQ(lTool.GetObjects().size(), 1U);
    EXPECT_EQ(lTool.GetObjects()[0]["interface"], "lo");
    EXPECT_EQ(lTool.GetObjects()[0]["mac"], "000000000000");
    EXPECT_EQ(RunTool({ "host", "lo" }).mStatus, 0);

    RunRows({ { { "host", "nowhere0" }, 1, "", "zqnetctl: host nowhere0: failed (-1)\n", true } });
}
