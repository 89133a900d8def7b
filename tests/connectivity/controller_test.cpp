#include <zqnetwork-connectivity.h>

#include <failingallocations.h>
#include <runningmanager.h>

using namespace zq::Test;

namespace
{

const std::string kWire  = FakeConnMan::TechnologyPath("ethernet");
const std::string kCable = FakeConnMan::ServicePath("cable");

/** A daemon with Wi-Fi and a wire, a manager on its own thread, and a queue that the test drains. */
class Controller : public ManagerTest, public zqIEventHandler
{
protected:
    void SetUp() override
    {
        mConnMan.AddTechnology(kWiFi, FakeConnMan::Technology("wifi"));
        mConnMan.AddTechnology(kWire, FakeConnMan::Technology("ethernet", { { "Connected", "true" } }));
        ASSERT_TRUE(mConnMan.Appear());
        ASSERT_NO_FATAL_FAILURE(ManagerTest::Start());
        ASSERT_EQ(mQueue.Init(), 0);
        mConnMan.ClearCalls();
    }

    zqError Start(const Lines &aTypes)
    {
        zqStringArray lTypes;

        for (const std::string &lType : aTypes)
            EXPECT_EQ(lTypes.Append(lType.c_str()), 0);

        const zqError lError = mController.Init(mManager->Get(), &mQueue, lTypes);

        return lError == 0 ? (*mManager)->Subscribe(&mQueue, &mController, "test") : lError;
    }

    /** Handle what waits in the queue; what the controller posted there becomes a line. */
    void Drain()
    {
        zqEvent         *lEvent   = nullptr;
        zqIEventHandler *lHandler = nullptr;

        while (mQueue.Dequeue(lEvent, lHandler))
        {
            (lHandler != nullptr ? lHandler : this)->HandleEvent(lEvent);
            lEvent->Release();
        }
    }

    /** Of the controller: "connected ethernet, a change". */
    void HandleEvent(zqEvent *anEvent) override
    {
        const auto &lEvent = dynamic_cast<const zqNetworkEvent::Connected &>(*anEvent);
        std::string lLine  = lEvent.IsConnected() ? "connected" : "disconnected";

        zqStringArray lTypes;
        EXPECT_EQ(lEvent.GetConnectedTechnologies(lTypes), 0);
        for (int lIndex = 0; lIndex < lTypes.GetNumElements(); lIndex++)
            lLine += std::string(" ") + lTypes.GetElement(lIndex).GetAsUTFArray();
        mLines.push_back(lLine + (lEvent.IsChange() ? ", a change" : ""));
    }

    template <typename Condition>
    bool DrainUntil(Condition &&aCondition)
    {
        return WaitUntil([&] { return Drain(), aCondition(); });
    }

    /** Once these lines have come, and no others, since the last time. */
    bool TakeLines(const Lines &aLines)
    {
        const bool lReturn = DrainUntil([&] { return mLines.size() >= aLines.size(); }) && mLines == aLines;

        EXPECT_TRUE(lReturn) << testing::PrintToString(mLines);
        mLines.clear();
        return lReturn;
    }

    bool DrainUntilPowered(bool aPowered, const char *aType)
    {
        const auto lTechnology = mManager->FindTechnology(aType);

        return DrainUntil([&] { return CFUIsTrue(lTechnology->IsPowered()) == aPowered; });
    }

    zqEventQueue          mQueue;
    zqNetworkConnectivity mController; // before the queue's and the manager's end
    Lines                 mLines;
};

TEST_F(Controller, TellsTheStateAtFirstAndThenEachRecalculation)
{
    ASSERT_EQ(Start({ "wifi", "ethernet" }), 0);
    EXPECT_EQ(mController.Init(mManager->Get(), &mQueue, zqStringArray()), -3);
    EXPECT_TRUE(TakeLines({ "connected ethernet, a change" }));
    EXPECT_TRUE(mController.IsConnected() && mController.IsPowered());
    EXPECT_EQ(mController.Refresh(), 0);
    EXPECT_TRUE(TakeLines({ "connected ethernet" }));

    mConnMan.SetTechnologyProperty(kWiFi, "Connected", "true");
    EXPECT_TRUE(TakeLines({ "connected wifi ethernet" }));
    mConnMan.SetTechnologyProperty(kWire, "Connected", "false");
    EXPECT_TRUE(TakeLines({ "connected wifi" }));

    // A subscriber has each beside the one that is for nobody.
    ASSERT_EQ(mController.Subscribe(&mQueue, this, "test"), 0);
    mConnMan.SetTechnologyProperty(kWiFi, "Connected", "false");
    EXPECT_TRUE(TakeLines({ "disconnected, a change", "disconnected, a change" }));
    EXPECT_FALSE(mController.IsConnected());

    mController.Destroy();
    EXPECT_EQ(mController.SetPowered(true), -3);
}

TEST_F(Controller, PowersATechnologyAgainThatSomebodySwitchedOff)
{
    ASSERT_EQ(Start({ "wifi", "ethernet" }), 0);
    ASSERT_EQ(mController.SetPowered(true), 0);
    EXPECT_EQ(mConnMan.CountCalls("SetProperty"), 0U) << "it is in that state";

    mConnMan.SetTechnologyProperty(kWiFi, "Powered", "false");
    ASSERT_TRUE(DrainUntilPowered(false, "wifi"));
    EXPECT_EQ(mConnMan.CountCalls("SetProperty"), 0U) << "the wire is still powered";
    mConnMan.SetTechnologyProperty(kWire, "Powered", "false");
    EXPECT_TRUE(DrainUntilPowered(true, "wifi") && DrainUntilPowered(true, "ethernet")) << mLog.GetText();
    EXPECT_GE(mConnMan.CountCalls("SetProperty"), 2U);
    EXPECT_EQ(mController.RecalculatePowered(false), 0);
    EXPECT_TRUE(mController.IsPowered());

    // The policy begins with the first of the list, which is not there: what comes anew stays off.
    mConnMan.RemoveTechnology(kWiFi);
    mConnMan.RemoveTechnology(kWire);
    mConnMan.AddTechnology(kWire, FakeConnMan::Technology("ethernet", { { "Powered", "false" } }));
    EXPECT_TRUE(DrainUntil([&] { return mLog.Contains("back to back 1 times, with error -17"); }));
}

TEST_F(Controller, CountsFailuresInARowUpToThree)
{
    mConnMan.SetTechnologyProperty(kWiFi, "Powered", "false");
    ASSERT_TRUE(DrainUntilPowered(false, "wifi"));
    ASSERT_EQ(Start({ "wifi" }), 0);
    mConnMan.Script("SetProperty", Answer::Error("net.connman.Error.Failed", "Input/output error"));

    for (const char *lCount : { "1", "2", "3", "1" })
    {
        mLog.Clear();
        EXPECT_EQ(mController.SetPowered(true), -1);
        EXPECT_TRUE(mLog.Contains("network-connectivity: Failed to apply powered back to back " + std::string(lCount) +
                                  " times, with error -1"))
            << mLog.GetText();
        EXPECT_EQ(mLog.Count("ASSERT: network-connectivity: retval == 0, file: zqnetwork-connectivity, ", 4), 2U);
    }

    // The daemon is in the desired state, and only this model is late.
    mConnMan.ClearScripts();
    mConnMan.Script("SetProperty", Answer::Error("net.connman.Error.AlreadyEnabled", "Already enabled"), "", 1);
    EXPECT_EQ(mController.SetPowered(true), 0);
    EXPECT_TRUE(mLog.Contains("network-connectivity: Technology already in desired state"));
    mConnMan.Script("SetProperty", Answer::Error("net.connman.Error.Failed", "Input/output error"));
    mLog.Clear();
    EXPECT_EQ(mController.SetPowered(true), -1);
    EXPECT_TRUE(mLog.Contains("back to back 1 times")) << "a success begins the count anew";
}

TEST_F(Controller, LeavesOutWhatANetworkResetWillRemove)
{
    ASSERT_EQ(Start({ "wifi", "ethernet" }), 0);
    ASSERT_EQ((*mManager)->SetNetworkResetWillRemoveTechnology("wifi", true), 0);

    EXPECT_EQ(mController.SetPowered(false), 0);
    ASSERT_EQ(mConnMan.CountCalls("SetProperty"), 1U);
    EXPECT_EQ(mConnMan.GetCalls("SetProperty")[0].mPath, kWire);
}

TEST_F(Controller, WithoutTechnologiesHasNothingToPower)
{
    ASSERT_EQ(Start({}), 0);
    EXPECT_TRUE(mLog.Contains("!mTechnologies.IsEmpty(), file: zqnetwork-connectivity", 4));
    EXPECT_TRUE(TakeLines({ "disconnected, a change" }));
    EXPECT_EQ(mController.RecalculatePowered(false), 0);
    EXPECT_FALSE(mController.IsPowered());
    EXPECT_EQ(mController.SetPowered(true), -15);
    EXPECT_TRUE(mLog.Contains("network-connectivity: No connectivity technologies", 4));
    EXPECT_EQ(mController.SetPowered(false), 0);
}

TEST_F(Controller, ConfiguresIPv6OfConnectedServicesAndOnlyChecksIPv4)
{
    const Properties lFixed = { { "State", "'online'" },
                                { "IPv4.Configuration", "{'Method': <'manual'>}" },
                                { "IPv6.Configuration", "{'Method': <'off'>}" } };

    mConnMan.AddService(kCable, FakeConnMan::EthernetService(lFixed));
    mConnMan.AddService(
        kHome, FakeConnMan::WiFiService("home", { { "State", "'ready'" }, { "IPv6.Configuration", "@a{sv} {}" } }));
    mConnMan.AddService(FakeConnMan::ServicePath("idle"),
                        FakeConnMan::WiFiService("idle", { { "IPv6.Configuration", "{'Method': <'off'>}" } }));
    ASSERT_TRUE(DrainUntil([&] { return mManager->GetServices().size() == 3; }));
    mConnMan.Script("SetProperty", Answer::Error("net.connman.Error.Failed", "Not supported"), "", 1);

    ASSERT_EQ(Start({ "wifi", "ethernet", "cellular" }), 0);
    ASSERT_EQ(mConnMan.CountCalls("SetProperty"), 1U);
    EXPECT_EQ(mConnMan.GetCalls("SetProperty")[0].mPath, kCable);
    EXPECT_EQ(mConnMan.GetCalls("SetProperty")[0].mArguments, "('IPv6.Configuration', <{'Method': <'auto'>}>)");

    for (const char *lText :
         { "CheckTechnologyConnectedServices: Checking for Wired\n", "SetIPConfiguration: Setting on home\n",
           "GetIPConfigurationMethod: Current method on IPv6 is off\n", "SetIPConfiguration: Setting IPv6 returned -27",
           "GetIPConfigurationMethod: Current method on IPv4 is manual\n",
           "SetIPConfiguration: IPv4 method doesn't match!" })
        EXPECT_EQ(mLog.Count(std::string("network-connectivity: ") + lText), 1U) << lText << mLog.GetText();

    // And when a technology connects.
    mConnMan.SetTechnologyProperty(kWire, "Connected", "true");
    EXPECT_TRUE(DrainUntil([&] { return mConnMan.CountCalls("SetProperty") == 2; }));
}

TEST_F(Controller, IgnoresWhatIsNotForItAndLogsWhatItDoesNotExpect)
{
    ASSERT_EQ(Start({ "wifi" }), 0);

    for (unsigned int lType = 0x30010000; lType <= 0x30010017; lType++)
    {
        const zqSharedPtr<zqEvent> lEvent(new zqEvent);

        if (lType == Event::TechnologiesAdded::kType || lType == Event::TechnologyChanged::kType)
            continue;
        ASSERT_EQ(lEvent->Init(lType, 0), 0);
        EXPECT_EQ(mController.HandleEvent(const_cast<const zqEvent *>(lEvent.Get())), 0);
    }

    // 0x3001000C to 0x3001000E, 0x30010014 and 0x30010015
    EXPECT_EQ(mLog.Count("network-connectivity: unexpected network manager event "), 5U) << mLog.GetText();
    for (const char *lCode : { "805371916", "805371918", "805371924", "805371925" })
        EXPECT_TRUE(mLog.Contains(std::string("unexpected network manager event ") + lCode)) << lCode;
}

// Nothing is lost: what could not be told is a change still, the next time.
TEST_F(Controller, WithoutMemoryChangesNothing)
{
    const std::vector<int> kExhausted = { zqError_OutOfMemory, zqError_NoResources };
    zqStringArray          lTypes;

    ASSERT_EQ(lTypes.Append("wifi") + lTypes.Append("ethernet"), 0);
    mConnMan.AddService(kHome, FakeConnMan::WiFiService("home", { { "State", "'online'" } }));
    ASSERT_TRUE(DrainUntil([&] { return mManager->GetServices().size() == 1; }));
    const auto lService    = mManager->FindService("home");
    const auto lTechnology = mManager->FindTechnology("ethernet");

    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 1);
    EXPECT_GT(Starve(kExhausted, [&] { return mController.Init(mManager->Get(), &mQueue, lTypes); }), 5);
    Drain();
    EXPECT_EQ(mLines.back(), "connected ethernet, a change");
    EXPECT_GT(Starve(kExhausted, [&] { return mController.CheckTechnologyConnectedServices(*lTechnology); }), 0);
    EXPECT_GT(Starve(kExhausted, [&] { return mController.SetIPConfiguration(*lService); }), 0);

    mConnMan.SetTechnologyProperty(kWire, "Connected", "false");
    ASSERT_TRUE(WaitUntil([&] { return lTechnology->IsConnected().Get() == kCFBooleanFalse; }));
    Drain();
    mLines.clear();
    {
        const FailingAllocations lFailing;
        EXPECT_EQ(mController.RecalculateConnected(), -2);
    }
    EXPECT_EQ(mController.RecalculateConnected(), 0);
    EXPECT_TRUE(TakeLines({ "disconnected, a change" }));
}

TEST(ConnectivityEvents, AreOfFourCodes)
{
    using namespace zqNetworkEvent;

    for (const unsigned int lType : { Failure::kType, Success::kType, Connected::kType, Trace::kType })
        EXPECT_TRUE(IsType(lType)) << lType;
    for (const unsigned int lType : { 0U, 0x30010015U, 0x3001001AU, RadioProperty::kType, 0xFFFFFFFFU })
        EXPECT_FALSE(IsType(lType)) << lType;
}

TEST_F(Controller, MayEndWhileEventsArrive)
{
    for (int lRound = 0; lRound < 1000; lRound++)
    {
        const char *lValue = lRound % 2 == 0 ? "true" : "false";

        mConnMan.SetTechnologyProperty(kWiFi, "Powered", lValue);
        ASSERT_EQ(Start({ "wifi", "ethernet" }), 0);
        mConnMan.SetTechnologyProperty(kWiFi, "Connected", lValue);
        Drain();
        EXPECT_TRUE(lRound % 100 != 0 || DrainUntil([&] { return mLines.size() > 1; })) << "they do arrive";
        mController.Destroy();
        mLines.clear();
        Drain();
        EXPECT_EQ(mLines, Lines());
    }
}

} // namespace
