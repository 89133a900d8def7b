#include "tool.h"

using namespace zq::Test;

// Wrong command lines are told before anything is asked of the bus: none is reachable here.
class UsageTest : public testing::Test
{
protected:
    void SetUp() override { UseNoSystemBus(); }
    void TearDown() override { SystemBus().UseAsSystemBus(); }
};

TEST_F(UsageTest, WrongCommandLinesExitWith2AndSayWhy)
{
    RunRows({
        { {}, 2, "", "a command is needed" },
        { { "frobnicate" }, 2, "", "unknown command frobnicate" },
        { { "wpan", "set", "NCP:Channel" }, 2, "", "wpan set takes KEY VALUE" },
        { { "provision" }, 2, "", "unknown command provision" },
        { { "state", "surplus" }, 2, "", "state takes no arguments" },
        { { "--frobnicate", "state" }, 2, "", "unknown option --frobnicate" },
        { { "monitor", "--count" }, 2, "", "--count needs a number" },
        { { "monitor", "--count", "0" }, 2, "", "not a number that can be used: 0" },
        { { "state", "--seconds", "1" }, 2, "", "--seconds is not for state" },
        { { "connectivity", "--power", "on" }, 2, "", "connectivity takes TYPE" },
        { { "connectivity", "wifi", "--power", "maybe" }, 2, "", "--power: not on or off: maybe" },
        { { "connectivity", "wifi", "--power" }, 2, "", "--power needs on or off" },
        { { "host", "lo", "surplus" }, 2, "", "host takes [INTERFACE]" },
    });
}

TEST_F(UsageTest, HelpNamesEveryCommandOnStandardOutput)
{
    const Result lResult = RunTool({ "connect", "--help" });

    EXPECT_EQ(lResult.mStatus, 0);
    for (const char *lCommand : { "state", "monitor", "online-check", "provision remove-all" })
        EXPECT_NE(lResult.mOutput.find(lCommand), std::string::npos) << lCommand;
}

TEST_F(UsageTest, WithoutABusEveryCommandExitsWith3)
{
    for (const char *lCommand : { "state", "monitor", "agent" })
        RunRows({ { { lCommand }, 3, "", std::string("zqnetctl: ") + lCommand + ": " } });
    RunRows({ { { "connect", "home" }, 3, "", "zqnetctl: connect: " } });
}
