#include "tool.h"

namespace zq::Test
{

class ActionTest : public ToolTest
{
};

TEST_F(ActionTest, RequestsReachTheDaemonAsTheyWereMeant)
{
    struct Case
    {
        Words       mWords;
        std::string mMethod;
        std::string mArguments;
    };

    const Case kCases[] = {
        { { "disable", "wifi" }, "SetProperty", "('Powered', <false>)" },
        { { "enable", "wifi" }, "SetProperty", "('Powered', <true>)" },
        { { "scan", "wifi" }, "Scan", "()" },
        { { "connect", "home" }, "Connect", "()" },
        { { "set", "home", "AutoConnect", "true" }, "SetProperty", "('AutoConnect', <true>)" },
        { { "set", "wifi_home", "Key", "-7" }, "SetProperty", "('Key', <-7>)" },
        { { "set", kHome, "Key", "4294967296" }, "SetProperty", "('Key', <int64 4294967296>)" },
        { { "set", "home", "Key", "\"12345678\"" }, "SetProperty", "('Key', <'12345678'>)" },
        { { "set", "home", "Key", "007" }, "SetProperty", "('Key', <'007'>)" },
        { { "set", "home", "Key", "null" }, "SetProperty", "('Key', <'null'>)" },
        { { "set", "home", "Key", "{\"Method\": \"dhcp\", \"PrefixLength\": 8}" },
          "SetProperty",
          "('Key', <{'Method': <'dhcp'>, 'PrefixLength': <8>}>)" },
        { { "set", "home", "Key", "[\"192.0.2.1\", \"192.0.2.2\"]" },
          "SetProperty",
          "('Key', <['192.0.2.1', '192.0.2.2']>)" },
        { { "clear", "home", "Error" }, "ClearProperty", "('Error',)" },
        { { "online-check", "wifi" }, "OnlineCheck", "" },
        { { "disconnect", "home" }, "Disconnect", "()" },
        { { "remove", "home" }, "Remove", "()" },
    };

    for (const Case &lCase : kCases)
    {
        mConnMan.ClearCalls();
        const Result lResult = RunTool(lCase.mWords);

        EXPECT_EQ(lResult.mStatus, 0) << lCase.mMethod << ' ' << lCase.mArguments << lResult.mErrors;
        EXPECT_EQ(mConnMan.CountCalls(lCase.mMethod), 1U);
        EXPECT_TRUE(lCase.mArguments.empty() || GetLastArguments(lCase.mMethod) == lCase.mArguments)
            << GetLastArguments(lCase.mMethod);
    }
}

TEST_F(ActionTest, AFailureIsToldInWordsAndExitsWith1)
{
    struct Case
    {
        Words       mWords;
        std::string mMethod;
        std::string mMessage;
        std::string mProblem;
    };

    const Case kCases[] = {
        { { "connect", "home" }, "Connect", "No route to host", "connect home: no route to host (-113)" },
        { { "connect", "home" }, "Connect", "Input/output error", "connect home: failed (-1)" },
        { { "disconnect", "home" }, "Disconnect", "Not connected", "disconnect home: not connected (-21)" },
        { { "remove", "home" }, "Remove", "Not supported", "remove home: not supported (-27)" },
        { { "enable", "wifi" }, "SetProperty", "Already enabled", "enable wifi: already in that state (-22)" },
        { { "scan", "wifi" }, "Scan", "Operation timeout", "scan wifi: timed out (-16)" },
        { { "online-check", "ethernet" },
          "OnlineCheck",
          "Not implemented",
          "online-check ethernet: not implemented (-26)" },
        { { "set", "home", "Key", "x" }, "SetProperty", "Permission denied", "set home: permission denied (-19)" },
        { { "clear", "home", "Key" }, "ClearProperty", "Invalid property", "clear home: invalid argument (-5)" },
        { { "connect", "nowhere" }, "", "", "connect nowhere: not found (-17)" },
        { { "enable", "lowpan" }, "", "", "enable lowpan: not found (-17)" },
        { { "online-check", "wifi" }, "", "", "online-check wifi: not connected (-21)" },
    };

    for (const Case &lCase : kCases)
    {
        if (!lCase.mMethod.empty())
            mConnMan.Script(lCase.mMethod, Answer::Error("net.connman.Error.Failed", lCase.mMessage), "", 1);
        const Result lResult = RunTool(lCase.mWords);

        EXPECT_EQ(lResult.mStatus, 1) << lCase.mProblem;
        EXPECT_EQ(lResult.mOutput, "") << lCase.mProblem;
        EXPECT_NE(lResult.mErrors.find("zqnetctl: " + lCase.mProblem + "\n"), std::string::npos) << lResult.mErrors;
        mConnMan.ClearScripts();
    }
}

TEST_F(ActionTest, JsonPrintsTheOutcomeEvent)
{
    const std::pair<Words, Json> kCases[] = {
        { { "--json", "connect", "home" }, { { "event", "ServiceDidConnect" }, { "service", kHome } } },
        { { "--json", "scan", "wifi" }, { { "event", "TechnologyDidScan" }, { "technology", kWiFi } } },
        { { "--json", "online-check", "ethernet" }, { { "event", "ServiceIsOnline" }, { "service", kWired } } },
    };

    for (const auto &lCase : kCases)
    {
        Tool lTool(lCase.first);

        EXPECT_EQ(lTool.Wait(), 0) << lTool.GetErrors();
        EXPECT_EQ(lTool.GetObjects(), std::vector<Json>{ lCase.second });
    }

    mConnMan.Script("Connect", Answer::Error("net.connman.Error.Failed", "No route to host"));
    Tool lTool({ "--json", "connect", "home" });

    EXPECT_EQ(lTool.Wait(), 1);
    EXPECT_EQ(lTool.GetObjects(),
              (std::vector<Json>{ { { "event", "ServiceDidNotConnect" }, { "service", kHome }, { "error", -113 } } }));
}

TEST_F(ActionTest, ANameThatSeveralServicesHaveIsRefusedButTheirPathsAreNot)
{
    mConnMan.AddService(FakeConnMan::ServicePath("wifi_home5"), FakeConnMan::WiFiService("home"));

    const Result lResult = RunTool({ "connect", "home" });

    EXPECT_EQ(lResult.mStatus, 1);
    EXPECT_NE(lResult.mErrors.find("zqnetctl: connect home: not unique (-18)\n"), std::string::npos);
    EXPECT_EQ(mConnMan.CountCalls("Connect"), 0U);
    EXPECT_EQ(RunTool({ "connect", "wifi_home5" }).mStatus, 0);
}

TEST_F(ActionTest, APathSegmentGoesBeforeANameThatEqualsIt)
{
    mConnMan.AddService(FakeConnMan::ServicePath("wifi_evil"), FakeConnMan::WiFiService("wifi_home"));

    EXPECT_EQ(RunTool({ "connect", "wifi_home" }).mStatus, 0);
    ASSERT_EQ(mConnMan.CountCalls("Connect"), 1U);
    EXPECT_EQ(mConnMan.GetCalls("Connect").back().mPath, kHome);
}

TEST_F(ActionTest, TheOutcomeOfAModemIsTheChangeOfItsProperty)
{
    const std::string lModem = FakeConnMan::TechnologyPath("cellular");

    mConnMan.AddTechnology(lModem, FakeConnMan::Technology("cellular", { { "Powered", "false" } }));
    mConnMan.Script("SetProperty", Answer::Held());
    Tool lTool({ "enable", "cellular" });

    ASSERT_TRUE(mConnMan.WaitForCall("SetProperty"));
    mConnMan.ReleaseHeld();
    EXPECT_EQ(lTool.Wait(), 0) << lTool.GetErrors();
    EXPECT_EQ(lTool.GetOutput(), "cellular: enabled\n");
    EXPECT_EQ(RunTool({ "enable", "cellular" }).mStatus, 1);
}

TEST_F(ActionTest, TheDaemonLeavingInTheMiddleEndsARequest)
{
    for (const Words &lWords : { Words{ "connect", "home" }, Words{ "set", "home", "Key", "x" } })
    {
        mConnMan.Script(lWords.size() == 2 ? "Connect" : "SetProperty", Answer::Crash(), "", 1);
        const Result lResult = RunTool(lWords);

        EXPECT_EQ(lResult.mStatus, 1) << lResult.mErrors;
        EXPECT_NE(lResult.mErrors.find("no reply (-7001)"), std::string::npos) << lResult.mErrors;
        ASSERT_TRUE(mConnMan.Appear());
    }
}

TEST_F(ActionTest, CtrlCEndsAWaitForTheDaemon)
{
    for (const Words &lWords : { Words{ "connect", "home" }, Words{ "set", "home", "Key", "x" } })
    {
        const char *lMethod = lWords.size() == 2 ? "Connect" : "SetProperty";
        mConnMan.ClearCalls();
        mConnMan.Script(lMethod, Answer::Silence());
        Tool lTool(lWords);

        ASSERT_TRUE(mConnMan.WaitForCall(lMethod));
        lTool.Signal(SIGINT);
        EXPECT_EQ(lTool.Wait(), 1);
        EXPECT_NE(lTool.GetErrors().find("interrupted"), std::string::npos);
    }
}

TEST_F(ActionTest, ATerminalSeesThatALongActionGoesOn)
{
    mConnMan.Script("Connect", Answer::Held());
    Tool lTool({ "connect", "home" }, Tool::kTerminal);

    EXPECT_TRUE(lTool.WaitForOutput("connecting home ... 1 s")) << lTool.GetOutput();
    mConnMan.ReleaseHeld();
    EXPECT_TRUE(lTool.WaitForOutput("\r\x1b[Khome: connected")) << lTool.GetOutput();
    EXPECT_EQ(lTool.Wait(), 0);
}

} // namespace zq::Test
