#include "tool.h"

using namespace zq::Test;

using ActionTest = ToolTest;

TEST_F(ActionTest, RequestsReachTheDaemonAsTheyWereMeant)
{
    const struct
    {
        Words       mWords;
        std::string mMethod;
        std::string mArguments;
    } kCases[] = {
        { { "disable", "wifi" }, "SetProperty", "('Powered', <false>)" },
        { { "enable", "wifi" }, "SetProperty", "('Powered', <true>)" },
        { { "scan", "wifi" }, "Scan", "()" },
        { { "connect", "home" }, "Connect", "()" },
        { { "set", "home", "AutoConnect", "true" }, "SetProperty", "('AutoConnect', <true>)" },
        { { "set", "wifi_home", "Key", "-7" }, "SetProperty", "('Key', <-7>)" },
        { { "set", kHome, "Key", "4294967296" }, "SetProperty", "('Key', <int64 4294967296>)" },
        { { "set", "home", "Key", "\"12345678\"" }, "SetProperty", "('Key', <'12345678'>)" },
        { { "set", "home", "Key", "007" }, "SetProperty", "('Key', <'007'>)" },
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

    for (const auto &lCase : kCases)
    {
        mConnMan.ClearCalls();
        RunRows({ { lCase.mWords } });
        ASSERT_EQ(mConnMan.CountCalls(lCase.mMethod), 1U);
        EXPECT_EQ(mConnMan.GetCalls(lCase.mMethod)[0].mPath.find(
                      lCase.mWords[1] == "wifi" && lCase.mMethod != "OnlineCheck" ? kWiFi : kHome),
                  0U);
        EXPECT_TRUE(lCase.mArguments.empty() || GetLastArguments(lCase.mMethod) == lCase.mArguments)
            << GetLastArguments(lCase.mMethod);
    }
}

TEST_F(ActionTest, AFailureIsToldInWordsAndExitsWith1)
{
    const struct
    {
        Words       mWords;
        std::string mMessage; ///< of the daemon; empty when it is not asked
        std::string mProblem;
    } kCases[] = {
        { { "connect", "home" }, "No route to host", "connect home: no route to host (-113)" },
        { { "connect", "home" }, "Input/output error", "connect home: failed (-1)" },
        { { "disconnect", "home" }, "Not connected", "disconnect home: not connected (-21)" },
        { { "remove", "home" }, "Not supported", "remove home: not supported (-27)" },
        { { "enable", "wifi" }, "Already enabled", "enable wifi: already in that state (-22)" },
        { { "set", "home", "Key", "x" }, "Permission denied", "set home: permission denied (-19)" },
        { { "clear", "home", "Key" }, "Invalid property", "clear home: invalid argument (-5)" },
        { { "connect", "nowhere" }, "", "connect nowhere: not found (-17)" },
        { { "connect", "guest" }, "", "connect guest: already present, or not unique (-18)" },
        { { "online-check", "wifi" }, "", "online-check wifi: not connected (-21)" },
    };
    const char *const kMethods[] = { "Connect", "Disconnect",  "Remove",       "SetProperty",
                                     "Scan",    "OnlineCheck", "ClearProperty" };

    mConnMan.AddServices({ { FakeConnMan::ServicePath("wifi_1"), FakeConnMan::WiFiService("guest") },
                           { FakeConnMan::ServicePath("wifi_2"), FakeConnMan::WiFiService("guest") } });

    for (const auto &lCase : kCases)
    {
        mConnMan.ClearCalls();
        for (const char *lMethod : kMethods)
            mConnMan.Script(lMethod, Answer::Error("net.connman.Error.Failed", lCase.mMessage));

        RunRows({ { lCase.mWords, 1, "", "zqnetctl: " + lCase.mProblem + "\n" } });
        for (const char *lMethod : kMethods)
            EXPECT_TRUE(!lCase.mMessage.empty() || mConnMan.CountCalls(lMethod) == 0) << lCase.mProblem;
    }
}

TEST_F(ActionTest, JsonPrintsTheOutcomeEvent)
{
    const struct
    {
        Words mWords;
        int   mStatus;
        Json  mEvent;
    } kCases[] = {
        { { "connect", "home" }, 0, { { "event", "ServiceDidConnect" }, { "service", kHome } } },
        { { "scan", "wifi" }, 0, { { "event", "TechnologyDidScan" }, { "technology", kWiFi } } },
        { { "online-check", "ethernet" }, 0, { { "event", "ServiceIsOnline" }, { "service", kWired } } },
        { { "connect", "home" }, 1, { { "event", "ServiceDidNotConnect" }, { "service", kHome }, { "error", -22 } } },
    };

    for (const auto &lCase : kCases)
    {
        Words lWords = lCase.mWords;

        lWords.insert(lWords.begin(), "--json");
        Tool lTool(lWords);

        EXPECT_EQ(lTool.Wait(), lCase.mStatus) << lTool.GetErrors();
        EXPECT_EQ(lTool.GetObjects(), std::vector<Json>{ lCase.mEvent });
    }
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

TEST_F(ActionTest, TheDaemonLeavingAndCtrlCEndARequest)
{
    const std::pair<Words, const char *> kCases[] = { { { "connect", "home" }, "Connect" },
                                                      { { "set", "home", "Key", "x" }, "SetProperty" } };

    for (const auto &lCase : kCases)
    {
        mConnMan.Script(lCase.second, Answer::Crash(), "", 1);
        RunRows({ { lCase.first, 1, Row::kAnything, "no reply (-7001)" } });
        ASSERT_TRUE(mConnMan.Appear());
        mConnMan.ClearCalls();
        mConnMan.Script(lCase.second, Answer::Silence());
        Tool lTool(lCase.first);

        ASSERT_TRUE(mConnMan.WaitForCall(lCase.second));
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
