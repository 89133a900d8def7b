#include "tool.h"

#include "fakemeshd.h"

namespace zq::Test
{

/** The fake radio daemon on the bus, beside the fake ConnMan. */
class WPANTest : public ToolTest
{
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        ASSERT_TRUE(mMeshd.Appear());
    }

    FakeMeshd mMeshd;
};

TEST_F(WPANTest, EveryCommandReachesTheDaemonWithWhatWasTyped)
{
    const struct
    {
        Words       mWords;
        const char *mMethod;
        const char *mArguments;
        const char *mOutput;
    } kCases[] = {
        { { "set", "NCP:Channel", "15" }, "SetProp", "('NCP:Channel', <15>)", "wpan0: set\n" },
        { { "set", "Network:Key", "hex:00fF" }, "SetProp", "('Network:Key', <[byte 0x00, 0xff]>)", nullptr },
        { { "form", "home", "channel=20", "mask=0x100000", "xpanid=0102030405060708" },
          "Form",
          "('home', int16 20, uint32 1048576, [byte 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08])",
          "wpan0: home formed\n" },
        { { "permit-join", "300", "5684" }, "PermitJoin", "(300, true, uint16 5684, byte 0x00)", nullptr },
        { { "permit-join", "-1" }, "PermitJoin", "(-1, false, uint16 0, byte 0x00)", "wpan0: open for joining\n" },
        { { "netwake", "16" }, "BeginNetWake", "(byte 0x10, uint32 0)", nullptr },
        { { "route", "add", "fd00:1::/20", "3", "-1" },
          "AddRoute",
          "([byte 0xfd, 0x00, 0x00], uint16 3, int16 -1)",
          nullptr },
        { { "route", "remove", "fd00::/8" }, "RemoveRoute", "([byte 0xfd], uint16 0)", "wpan0: route removed\n" },
        { { "ping" }, "Ping", "()", "wpan0: alive\n" },
        { { "leave" }, "Leave", "()", "wpan0: left\n" },
        { { "reset" }, "Reset", "()", "wpan0: reset\n" },
    };

    mMeshd.SetProperty("Network:Key", "[byte 0x2a]");

    for (const auto &lCase : kCases)
    {
        Words lWords = lCase.mWords;
        lWords.insert(lWords.begin(), "wpan");

        const Result lResult = RunTool(lWords);
        const auto   lCalls  = mMeshd.GetCalls(lCase.mMethod);

        EXPECT_EQ(lResult.mStatus, 0) << lResult.mErrors;
        ASSERT_FALSE(lCalls.empty()) << lCase.mMethod;
        EXPECT_EQ(lCalls.back().mArguments, lCase.mArguments);
        if (lCase.mOutput != nullptr)
        {
            EXPECT_EQ(lResult.mOutput, lCase.mOutput);
        }
    }
}

TEST_F(WPANTest, ArgumentsThatAreNoneAreRefusedBeforeTheDaemonIsAsked)
{
    for (const Words &lWords :
         { Words{ "permit-join", "65535" }, Words{ "permit-join", "1x" }, Words{ "permit-join", "1", "65536" },
           Words{ "netwake", "256" }, Words{ "route", "add", "10.0.0.0/8" }, Words{ "route", "add", "fd00::/129" },
           Words{ "form", "home", "channel" }, Words{ "form", "home", "xpanid=01" },
           Words{ "set", "Network:XPANID", "hex:0" } })
    {
        Words lAll = lWords;
        lAll.insert(lAll.begin(), "wpan");
        EXPECT_EQ(RunTool(lAll).mStatus, 2) << lWords[0] << " " << lWords[1];
    }
    EXPECT_TRUE(mMeshd.GetCalls().empty());
}

TEST_F(WPANTest, PropertiesAreShownButForTheNetworksKey)
{
    mMeshd.SetProperty("Network:Key", "[byte 0x2a, 0x2b]");

    const Result lResult = RunTool({ "--json", "wpan", "get", "NCP:State", "Network:Key" });

    EXPECT_EQ(Json::parse(lResult.mOutput),
              Json({ { "path", FakeMeshd::Path() },
                     { "properties", { { "NCP:State", "offline" }, { "Network:Key", "********" } } } }));
    EXPECT_NE(RunTool({ "wpan", "status" }).mOutput.find("NCP:State"), std::string::npos);
}

TEST_F(WPANTest, ARefusalAndADaemonThatIsAwayAreFailures)
{
    mMeshd.Script("Leave", Answer::Value("(7,)"));
    EXPECT_EQ(RunTool({ "wpan", "leave" }).mErrors, "zqnetctl: wpan leave: failed (-1)\n");

    mMeshd.Crash();

    const Result lResult = RunTool({ "wpan", "status" });

    EXPECT_EQ(lResult.mStatus, 1);
    EXPECT_EQ(lResult.mErrors, "zqnetctl: wpan status: meshd is not on the bus\n");
}

TEST_F(WPANTest, TheRadiosSignalsAreMonitoredAndItsWakesBecomeEventsOfTheService)
{
    const std::string lRadio = FakeConnMan::ServicePath("lowpan");

    mConnMan.AddServices(
        { { lRadio,
            FakeConnMan::EthernetServiceWithMTU(
                { { "Type", "'lowpan'" }, { "State", "'online'" }, { "Ethernet", "{'Interface': <'wpan0'>}" } }) } });

    Tool lMonitor({ "--json", "monitor" });
    Tool lRadioMonitor({ "--json", "wpan", "monitor" });

    ASSERT_FALSE(lMonitor.WaitForObject({ { "event", "TechnologiesAdded" } }).is_null());

    ASSERT_TRUE(WaitUntil(
        [&]
        {
            mMeshd.Signal(FakeMeshd::Path(), "PreventSleep"); // until it follows
            return lRadioMonitor.GetOutput().find(R"({"event":"PreventSleep","interface":"wpan0"})") !=
                   std::string::npos;
        }));
    mMeshd.Signal(FakeMeshd::Path(), "NetWake", "(byte 16, 2000)");
    mMeshd.Signal(FakeMeshd::Path(), "NetWake", "(byte 17, 0)");
    mMeshd.SetProperty("JamDetection:Status", "true");

    EXPECT_FALSE(
        lMonitor.WaitForObject({ { "event", "ServiceIsWaking" }, { "service", lRadio }, { "reason", 16 } }).is_null());
    EXPECT_FALSE(
        lMonitor.WaitForObject({ { "event", "ServiceDidWake" }, { "service", lRadio }, { "reason", 17 } }).is_null());
    EXPECT_FALSE(
        lRadioMonitor.WaitForObject({ { "event", "NetWake" }, { "reason", 16 }, { "remaining", 2000 } }).is_null());
    EXPECT_FALSE(lRadioMonitor.WaitForObject({ { "event", "JammingStateChanged" }, { "jammed", true } }).is_null());
    EXPECT_EQ(lRadioMonitor.GetOutput().find("ServicesAdded"), std::string::npos);
}

} // namespace zq::Test
