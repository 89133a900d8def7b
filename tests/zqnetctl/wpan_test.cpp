#include "tool.h"

#include <fakemeshd.h>

using namespace zq::Test;

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
    mMeshd.SetProperty("Network:Key", "[byte 0x2a]");
    RunRows(
        { { { "set", "NCP:Channel", "15" }, 0, "wpan0: set\n" },
          { { "set", "Network:Key", "hex:00fF" } },
          { { "form", "home", "channel=20", "mask=0x100000", "xpanid=0102030405060708" }, 0, "wpan0: home formed\n" },
          { { "permit-join", "300", "5684" } },
          { { "permit-join", "-1" }, 0, "wpan0: open for joining\n" },
          { { "netwake", "16" } },
          { { "route", "add", "fd00:1::/20", "3", "-1" } },
          { { "route", "remove", "fd00::/8" }, 0, "wpan0: route removed\n" },
          { { "ping" }, 0, "wpan0: alive\n" },
          { { "leave" }, 0, "wpan0: left\n" },
          { { "reset" }, 0, "wpan0: reset\n" } },
        { "wpan" });

    Words lCalls;
    for (const FakePeer::Call &lCall : mMeshd.GetCalls())
        lCalls.push_back(lCall.mMethod + lCall.mArguments);
    EXPECT_EQ(lCalls,
              (Words{ "SetProp('NCP:Channel', <15>)", "SetProp('Network:Key', <[byte 0x00, 0xff]>)",
                      "Form('home', int16 20, uint32 1048576, [byte 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, "
                      "0x08])",
                      "PermitJoin(300, true, uint16 5684, byte 0x00)", "PermitJoin(-1, false, uint16 0, byte 0x00)",
                      "BeginNetWake(byte 0x10, uint32 0)", "AddRoute([byte 0xfd, 0x00, 0x00], uint16 3, int16 -1)",
                      "RemoveRoute([byte 0xfd], uint16 0)", "Ping()", "Leave()", "Reset()" }));
}

TEST_F(WPANTest, ArgumentsThatAreNoneAreRefusedBeforeTheDaemonIsAsked)
{
    for (const Words &lWords : { Words{ "permit-join", "65535" }, Words{ "permit-join", "1", "65536" },
                                 Words{ "netwake", "256" }, Words{ "route", "add", "fd00::/129" },
                                 Words{ "form", "home", "xpanid=01" }, Words{ "set", "Network:XPANID", "hex:0" } })
        RunRows({ { lWords, 2, "", "zqnetctl: " } }, { "wpan" });
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
    RunRows({ { { "wpan", "leave" }, 1, "", "zqnetctl: wpan leave: failed (-1)\n", true } });
    mMeshd.Crash();
    RunRows({ { { "wpan", "status" }, 1, "", "zqnetctl: wpan status: meshd is not on the bus\n", true } });
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
