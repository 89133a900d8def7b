#include "tool.h"

using namespace zq::Test;

using SnapshotTest = ToolTest;

TEST_F(SnapshotTest, WithoutTheDaemonEverySnapshotAndActionExitsWith3)
{
    mConnMan.Crash();

    for (const Words &lWords : { Words{ "state" }, Words{ "--json", "services" }, Words{ "connect", "home" },
                                 Words{ "enable", "wifi" }, Words{ "provision", "list" } })
        RunRows({ { lWords, 3, "", "ConnMan is not on the bus\n" } });
}

TEST_F(SnapshotTest, PlainTablesAreAligned)
{
    EXPECT_EQ(RunTool({ "state" }).mOutput, "PROPERTY     VALUE\n"
                                            "OfflineMode  no\n"
                                            "SessionMode  no\n"
                                            "State        offline\n");

    EXPECT_EQ(RunTool({ "technologies" }).mOutput, "TYPE  NAME  POWERED  CONNECTED  TETHERING  PATH\n"
                                                   "wifi  WiFi  yes      no         no         " +
                                                       std::string(kWiFi) + "\n");

    EXPECT_EQ(RunTool({ "services" }).mOutput, "   NAME   TYPE      STATE   STRENGTH  SECURITY  ADDRESS    PATH\n"
                                               "   home   wifi      idle    60        psk       -          " +
                                                   std::string(kHome) +
                                                   "\n"
                                                   "*  Wired  ethernet  online  -         -         192.0.2.7  " +
                                                   std::string(kWired) + "\n");
}

TEST_F(SnapshotTest, WideAndHostileNamesNeitherBreakTheColumnsNorReachTheTerminal)
{
    mConnMan.Reset();
    mConnMan.AddServices({ { kHome, FakeConnMan::WiFiService("Z\u00fcrich\u2713") },
                           { kWired, FakeConnMan::WiFiService("\x1b[2J\u009b31m\\nx") } });

    const std::string lOutput = RunTool({ "services" }).mOutput;

    EXPECT_NE(lOutput.find("   Z\u00fcrich\u2713     wifi  idle"), std::string::npos) << lOutput;
    EXPECT_NE(lOutput.find("   ?[2J?31m?x  wifi  idle"), std::string::npos) << lOutput;
}

TEST_F(SnapshotTest, JsonKeepsEveryType)
{
    mConnMan.SetServiceProperty(kHome, "Odd", "{'Inner': <{'Deep': <int64 -5>}>, 'Bytes': <[byte 1, 0xff]>}");
    mConnMan.SetServiceProperty(kHome, "Half", "0.5");

    EXPECT_EQ(Json::parse(RunTool({ "--json", "state" }).mOutput),
              Json({ { "State", "offline" }, { "OfflineMode", false }, { "SessionMode", false } }));

    Tool lTool({ "--json", "services" });

    EXPECT_EQ(lTool.Wait(), 0) << lTool.GetErrors();
    const auto lServices = lTool.GetObjects();

    ASSERT_EQ(lServices.size(), 2U);
    EXPECT_EQ(lServices[0]["path"], kHome);
    EXPECT_EQ(lServices[0]["properties"]["Strength"], 60);
    EXPECT_EQ(lServices[0]["properties"]["Security"], Json({ "psk" }));
    EXPECT_EQ(lServices[0]["properties"]["Odd"], Json::parse(R"({"Inner":{"Deep":-5},"Bytes":[1,255]})"));
    EXPECT_EQ(lServices[0]["properties"]["Half"], 0.5);
    EXPECT_EQ(lServices[1]["properties"]["Ethernet"]["MTU"], 1500);
}

TEST_F(SnapshotTest, ExactDecodingRefusesWhatTheDevicesDaemonNeverSends)
{
    RunRows({ { { "--exact", "--json", "services" }, 1, "", "zqnetctl: services: not all could be loaded\n" } });

    // Nor is a daemon whose answers cannot be used at all an absent one.
    mConnMan.Script("GetProperties", Answer::Value("('nonsense',)"), "/");
    EXPECT_EQ(RunTool({ "technologies" }).mStatus, 1);
}

TEST_F(SnapshotTest, SecretsOfPropertiesAreMasked)
{
    mConnMan.SetServiceProperty(kHome, "Passphrase", "'opensesame'");
    mConnMan.SetTechnologyProperty(kWiFi, "TetheringPassphrase", "'opensesame'");

    for (const char *lCommand : { "services", "technologies", "monitor" })
        for (const Words &lWords : { Words{ "-vvv", lCommand }, Words{ "-vvv", "--json", lCommand } })
        {
            Tool lTool(lWords);

            EXPECT_TRUE(lTool.WaitForOutput(lWords.size() == 3 ? "********" : "wifi"));
            lTool.Signal(SIGINT);
            EXPECT_EQ(lTool.Wait(), 0) << lCommand;
            EXPECT_EQ(lTool.GetOutput().find("opensesame"), std::string::npos) << lCommand;
            EXPECT_EQ(lTool.GetErrors().find("opensesame"), std::string::npos) << lCommand;
        }
}

TEST_F(SnapshotTest, VerbosityDecidesWhatIsLogged)
{
    RunRows({ { { "state" } },
              { { "-vv", "state" }, 0, Row::kAnything, "[2] " },
              { { "-v", "-vv", "state" }, 0, Row::kAnything, "[1] " } });
}
