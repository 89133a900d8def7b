#include "tool.h"

namespace zq::Test
{

// Wrong command lines are told before anything is asked of the bus: none is reachable here.
class UsageTest : public testing::Test
{
protected:
    void SetUp() override { UseNoSystemBus(); }
    void TearDown() override { SystemBus().UseAsSystemBus(); }
};

TEST_F(UsageTest, WrongCommandLinesExitWith2AndSayWhy)
{
    const std::pair<Words, const char *> kCases[] = {
        { {}, "a command is needed" },
        { { "frobnicate" }, "unknown command frobnicate" },
        { { "wpan", "route" }, "unknown command wpan route" },
        { { "wpan", "set", "NCP:Channel" }, "wpan set takes KEY VALUE" },
        { { "provision" }, "unknown command provision" },
        { { "provision", "frobnicate" }, "unknown command provision frobnicate" },
        { { "state", "surplus" }, "state takes no arguments" },
        { { "connect" }, "connect takes SERVICE" },
        { { "set", "home", "AutoConnect" }, "set takes SERVICE KEY VALUE" },
        { { "provision", "set", "service_home", "Name" }, "provision set takes ID KEY VALUE" },
        { { "--frobnicate", "state" }, "unknown option --frobnicate" },
        { { "-vx", "state" }, "unknown option -vx" },
        { { "monitor", "--count" }, "--count needs a number" },
        { { "monitor", "--count", "0" }, "not a number that can be used: 0" },
        { { "monitor", "--seconds=inf" }, "not a number that can be used: inf" },
        { { "state", "--seconds", "1" }, "--seconds is not for state" },
        { { "agent", "--count", "1" }, "--count is not for agent" },
        { { "connectivity", "--power", "on" }, "connectivity takes TYPE" },
        { { "connectivity", "wifi", "--power", "maybe" }, "--power: not on or off: maybe" },
        { { "connectivity", "wifi", "--power" }, "--power needs on or off" },
        { { "state", "--power", "on" }, "--power is not for state" },
        { { "route", "frobnicate", "home" }, "unknown command route frobnicate" },
        { { "host", "lo", "surplus" }, "host takes [INTERFACE]" },
    };

    for (const auto &lCase : kCases)
    {
        const Result lResult = RunTool(lCase.first);

        EXPECT_EQ(lResult.mStatus, 2) << lCase.second;
        EXPECT_EQ(lResult.mOutput, "") << lCase.second;
        EXPECT_NE(lResult.mErrors.find(lCase.second), std::string::npos) << lResult.mErrors;
    }
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
    for (const Words &lWords : { Words{ "state" }, Words{ "monitor" }, Words{ "connect", "home" }, Words{ "agent" } })
    {
        const Result lResult = RunTool(lWords);

        EXPECT_EQ(lResult.mStatus, 3) << lWords.front();
        EXPECT_EQ(lResult.mOutput, "");
        EXPECT_NE(lResult.mErrors.find("zqnetctl: " + lWords.front() + ": "), std::string::npos) << lResult.mErrors;
    }
}

} // namespace zq::Test
