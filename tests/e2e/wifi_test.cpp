#include <fakeiwd.h>
#include <tool.h>

#include "world.h"

using namespace zq::Test;

namespace
{

const std::string kHome = "wifi_020000000001_686f6d65_managed_psk";

class WiFi : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        static FakeIwd sIwd;

        sIwd.AddNetwork("cafe");
        sIwd.AddNetwork("home", "opensesame");
        sIwd.AddNetwork("barn", "opensesame");
        ASSERT_TRUE(sIwd.Appear());
    }

    void SetUp() override { ASSERT_TRUE(Scan()); }

    void TearDown() override
    {
        for (const char *lName : { "cafe", "home" })
            (void)RunTool({ "remove", lName });
    }

    // Until the daemon has the radio, and its power.
    bool Scan()
    {
        return WaitUntil([] { return RunTool({ "scan", "wifi" }).mStatus == 0; });
    }

    static Json GetService(const std::string &aName)
    {
        Tool lTool({ "--json", "services" });

        // A service that goes while it is loaded makes the snapshot incomplete: it is asked for again.
        if (lTool.Wait() != 0)
            return Json::object();
        for (const Json &lService : lTool.GetObjects())
            if (lService["properties"].value("Name", "") == aName)
                return lService["properties"];
        return Json::object();
    }

    static bool WaitForState(const std::string &aName, const std::string &aState)
    {
        return WaitUntil([&] { return GetService(aName).value("State", "") == aState; });
    }
};

} // namespace

TEST_F(WiFi, AScanFindsNetworksAndAnOpenOneConnects)
{
    EXPECT_EQ(GetService("home")["Security"], Json::array({ "psk" }));
    EXPECT_EQ(GetService("cafe")["Security"], Json::array({ "none" }));

    EXPECT_EQ(RunTool({ "connect", "cafe" }).mOutput, "cafe: connected\n");
    EXPECT_TRUE(WaitUntil([] { return GetService("cafe")["IPv4"].value("Address", "").rfind("192.168.78.", 0) == 0; }));
    EXPECT_EQ(RunTool({ "disconnect", "cafe" }).mOutput, "cafe: disconnected\n");
    EXPECT_EQ(GetService("cafe")["State"], "idle");
}

TEST_F(WiFi, AProtectedNetworkTakesTheRightKeyAlone)
{
    const struct
    {
        const char *mInput;
        const char *mOutput;
        const char *mErrors;
        const char *mError; // that the service is left with
    } kRows[] = {
        { "", "", "connect home: aborted (-20)", "" },
        { "\n", "", "connect home: aborted (-20)", "" },
        { "wrongsesame\n", "", "connect home: failed (-1)", "invalid-key" },
        { "short\n", "", "connect home: failed (-1)", "invalid-key" },
        { "opensesame\n", "home: connected\n", "Connect completed", "" },
    };

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(lRow.mInput);
        Tool lTool({ "-vvvv", "connect", "home" });

        lTool.Write(lRow.mInput);
        lTool.EndInput();
        EXPECT_EQ(lTool.Wait(), *lRow.mOutput == '\0' ? 1 : 0);
        EXPECT_EQ(lTool.GetOutput(), lRow.mOutput);
        EXPECT_NE(lTool.GetErrors().find(lRow.mErrors), std::string::npos) << lTool.GetErrors();
        EXPECT_EQ(lTool.GetErrors().find("sesame"), std::string::npos) << lTool.GetErrors();
        EXPECT_EQ(GetService("home").value("Error", ""), lRow.mError);

        // A wrong key is kept, and tried again without a question, until it is forgotten.
        EXPECT_EQ(RunTool({ "remove", "home" }).mErrors, "");
    }
}

TEST_F(WiFi, AProvisionedNetworkConnectsWithoutBeingAsked)
{
    // What was once disconnected by hand stays so: a network of its own.
    ASSERT_EQ(RunTool({ "provision", "create", "ProvisionIdentifier=service_barn", "Type=wifi", "Name=barn",
                        "Passphrase=opensesame" })
                  .mErrors,
              "");
    EXPECT_TRUE(WaitUntil([] { return GetService("barn")["Immutable"] == true; }));

    // Only what is preferred to all that is connected connects by itself.
    ASSERT_TRUE(World("cable down"));
    EXPECT_TRUE(WaitForState("barn", "ready"));

    EXPECT_EQ(RunTool({ "provision", "remove-all" }).mStatus, 0);
    EXPECT_TRUE(WaitForState("barn", "idle"));
    ASSERT_TRUE(World("cable up"));
}

TEST_F(WiFi, TheAgentIsAskedByEveryDaemonThatComes)
{
    RunningManager lManager(zqConnMan::kDecodingTolerant);
    Recorder      &lEvents = lManager.mRecorder;

    for (const char *lEnd : { "", "daemon kill", "daemon stop" })
    {
        SCOPED_TRACE(lEnd);
        if (*lEnd != '\0')
        {
            ASSERT_TRUE(World(lEnd));
            ASSERT_TRUE(World("daemon start"));
            ASSERT_TRUE(Scan());
        }
        ASSERT_TRUE(WaitUntil([&] { return lManager.FindService(kHome) != nullptr; }));

        const auto lHome = lManager.FindService(kHome);

        // Refused, and withdrawn by the daemon for another application's sake.
        for (const char *lOutcome : { "-20", "-16" })
        {
            lEvents.Clear();
            ASSERT_EQ(lManager->ServiceConnect(*lHome), 0);
            ASSERT_TRUE(lEvents.WaitToFind("ServiceInput " + kHome));
            if (std::string(lOutcome) == "-20")
                EXPECT_EQ(lManager->ServiceCancelInput(*lHome), 0);
            else
                EXPECT_EQ(RunTool({ "disconnect", "home" }).mStatus, 1);
            EXPECT_TRUE(lEvents.WaitFor("ServiceDidNotConnect " + kHome + " " + lOutcome));
        }
    }
}
