/**
 *  @file
 *    How a manager of CreateManager follows a ConnMan of GDBus: what it tells,
 *    in which order, and what is in its lists afterwards.
 */

#include <runningmanager.h>

using namespace zq::Test;

namespace
{

const std::string kOffice = FakeConnMan::ServicePath("office");
const std::string kCafe   = FakeConnMan::ServicePath("cafe");
const std::string kWired  = FakeConnMan::ServicePath("wired");

const std::string kAllProperties = "PropertiesChanged OfflineMode SessionMode State";

// A service's properties, as the fake gives them.
const std::string kWiFiKeys = " AutoConnect Domains Domains.Configuration Ethernet Favorite IPv4 IPv4.Configuration "
                              "IPv6 IPv6.Configuration Immutable Name Nameservers Nameservers.Configuration Provider "
                              "Proxy Proxy.Configuration Security State Strength Timeservers "
                              "Timeservers.Configuration Type mDNS mDNS.Configuration";

const Answer kNoSuchObject =
    Answer::Error("org.freedesktop.DBus.Error.UnknownObject", "Method \"GetProperties\" doesn't exist\n");

class Follow : public ManagerTest
{
protected:
    Follow()
    {
        mConnMan.AddServices({ { kHome, FakeConnMan::WiFiService("home") },
                               { kWired, FakeConnMan::EthernetService({ { "State", "'ready'" } }) } });
        mConnMan.AddTechnology(kWiFi, FakeConnMan::Technology("wifi"));
        mConnMan.SetManagerProperty("State", "'ready'");
    }

    /** Make the manager with the daemon there and everything loaded. */
    void StartFilled(zqConnMan::Decoding aDecoding = zqConnMan::kDecodingExact)
    {
        ASSERT_TRUE(mConnMan.Appear());
        Start(aDecoding);
        ASSERT_TRUE(WaitUntil([&] { return mManager->GetTechnologies().size() == 1; })) << mLog.GetText();
        ASSERT_EQ(mManager->GetServices(), (Lines{ "home", "wired" }));
        mManager->mRecorder.Clear();
    }

    /** Everything that the daemon has sent has been handled. */
    void Settle()
    {
        mConnMan.SetManagerProperty("OfflineMode", ++mSettled % 2 != 0 ? "true" : "false");
        EXPECT_TRUE(mManager->mRecorder.WaitFor("PropertiesChanged OfflineMode", mSettled)) << mLog.GetText();
    }

    /** The lines since the last Clear, without those of Settle. */
    Lines Told()
    {
        Lines lLines;

        Settle();
        for (const std::string &lLine : mManager->mRecorder.Take())
            if (lLine != "PropertiesChanged OfflineMode")
                lLines.push_back(lLine);
        mSettled = 0;
        return lLines;
    }

    /** The daemon is away for a moment and told nobody; it knows other things when it comes back. */
    template <typename Change>
    void CrashAndReturn(const Change &aChange)
    {
        mConnMan.Crash();
        ASSERT_TRUE(mLog.WaitFor("disconnected", 3));
        aChange();
        mManager->mRecorder.Clear();
        mSettled = 0;
        ASSERT_TRUE(mConnMan.Appear());
        // The second of them is the last loader's.
        ASSERT_TRUE(mManager->mRecorder.WaitFor(kAllProperties, 2)) << mLog.GetText();
    }

    std::size_t mSettled = 0;
};

} // namespace

// MARK: Coming and going

TEST_F(Follow, FillsInOrderWhenTheDaemonComes)
{
    Start();
    EXPECT_TRUE((*mManager)->IsAvailable());
    EXPECT_EQ(mManager->GetServices(), Lines{});
    EXPECT_EQ(mManager->mRecorder.GetLines(), Lines{ "PropertiesChanged" });
    mManager->mRecorder.Clear();

    ASSERT_TRUE(mConnMan.Appear());
    // The loaders of Available tell the properties once more, and know all the rest.
    EXPECT_TRUE(mManager->mRecorder.WaitForAll(
        { kAllProperties, "StateChanged ready", "ServicesAdded home wired", "TechnologiesAdded wifi", kAllProperties }))
        << mLog.GetText();
    Settle();
    EXPECT_EQ(Property(mManager->FindService("home").Get(), "Name"), "home");
    EXPECT_EQ(zqString((*mManager)->ManagerGetState()), zqString("ready"));
}

TEST_F(Follow, ADaemonThatIsThereIsLoadedAtOnceAndAskedOnce)
{
    ASSERT_TRUE(mConnMan.Appear());
    Start();

    EXPECT_TRUE(mManager->mRecorder.WaitForAll(
        { kAllProperties, "StateChanged ready", "ServicesAdded home wired", "TechnologiesAdded wifi" }))
        << mLog.GetText();
    Settle();
    // Nothing is brought in line where nothing was before.
    EXPECT_EQ(mConnMan.CountCalls("GetServices"), 1U);
    EXPECT_EQ(mConnMan.CountCalls("GetTechnologies"), 1U);
}

TEST_F(Follow, ACleanRestartLeavesNothingStaleOrDoubled)
{
    StartFilled();
    const zqSharedPtr<Service> lOld = mManager->FindService("home");

    mConnMan.Shutdown();
    ASSERT_TRUE(mManager->mRecorder.WaitFor("ServicesRemoved home wired")) << mLog.GetText();
    EXPECT_EQ(mManager->mRecorder.GetLines(), (Lines{ "TechnologiesRemoved wifi", "ServicesRemoved home wired" }));
    ASSERT_TRUE(mLog.WaitFor("disconnected", 3));
    mManager->mRecorder.Clear();

    mConnMan.AddService(kHome, FakeConnMan::WiFiService("home"));
    ASSERT_TRUE(mConnMan.Appear());
    EXPECT_TRUE(
        mManager->mRecorder.WaitForAll({ kAllProperties, "StateChanged ready", "ServicesAdded home", kAllProperties }))
        << mLog.GetText();
    EXPECT_EQ(Told().size(), 4U);
    EXPECT_EQ(mManager->GetServices(), Lines{ "home" });
    EXPECT_NE(mManager->FindService("home").Get(), lOld.Get());
}

TEST_F(Follow, AfterACrashTheListsAreBroughtInLine)
{
    mConnMan.AddServices({ { kOffice, FakeConnMan::WiFiService("office", { { "Error", "'invalid-key'" } }) },
                           { kCafe, FakeConnMan::WiFiService("cafe") } });
    mConnMan.AddTechnology(FakeConnMan::TechnologyPath("bluetooth"), FakeConnMan::Technology("bluetooth"));
    ASSERT_TRUE(mConnMan.Appear());
    Start();
    ASSERT_TRUE(WaitUntil([&] { return mManager->GetTechnologies().size() == 2; }));
    const zqSharedPtr<Service> lOffice = mManager->FindService("office");
    ASSERT_EQ(Property(lOffice.Get(), "Error"), "invalid-key");

    CrashAndReturn(
        [&]
        {
            EXPECT_EQ(mManager->GetServices(), (Lines{ "home", "wired", "office", "cafe" })); // kept while it is away
            mConnMan.Reset();
            mConnMan.AddServices({ { FakeConnMan::ServicePath("new"), FakeConnMan::WiFiService("new") },
                                   { kOffice, FakeConnMan::WiFiService("office", { { "Strength", "byte 33" } }) },
                                   { kCafe, FakeConnMan::WiFiService("cafe") } });
            mConnMan.AddTechnology(kWiFi, FakeConnMan::Technology("wifi", { { "Powered", "false" } }));
        });

    EXPECT_EQ(Told(), (Lines{ kAllProperties, "StateChanged ready", "ServicesAdded new", kAllProperties,
                              "ServicesRemoved home wired", "ServiceChanged office" + kWiFiKeys,
                              "TechnologiesRemoved bluetooth",
                              "TechnologyChanged wifi Connected Name Powered Tethering Type" }))
        << mLog.GetText();
    EXPECT_EQ(mManager->GetServices(), (Lines{ "office", "cafe", "new" }));
    EXPECT_EQ(mManager->FindService("office").Get(), lOffice.Get());
    EXPECT_EQ(Property(lOffice.Get(), "Error"), "null"); // what is not reported any more does not linger
    EXPECT_FALSE(lOffice->GetError());
    EXPECT_EQ(mManager->FindTechnology("wifi")->IsPowered().Get(), kCFBooleanFalse);
}

// A current daemon's lists and its answer to one question for all are decoded on
// different ways: it must not look changed.
TEST_F(Follow, AfterACrashThatChangedNothingNothingIsTold)
{
    mConnMan.SetServiceProperty(kWired, "Ethernet", "{'Interface': <'eth1'>, 'MTU': <uint16 1500>}");
    mConnMan.SetServiceProperty(kWired, "LastAddressConflict",
                                "{'IPv4': <{'Address': <'10.0.0.1'>}>, 'Timestamp': <int64 5>}");
    mConnMan.SetServiceProperty(kWired, "Nameservers", "['10.0.0.1', '10.0.0.2']");
    mConnMan.SetTechnologyProperty(kWiFi, "TetheringFreq", "0");
    StartFilled(zqConnMan::kDecodingTolerant);
    CrashAndReturn([] {});
    EXPECT_EQ(Told(), (Lines{ kAllProperties, "StateChanged ready", kAllProperties })) << mLog.GetText();
}

TEST_F(Follow, ADaemonThatDiesWhileItIsLoadedLeavesNothingStale)
{
    Start();
    for (const char *lMethod : { "GetProperties", "GetServices", "GetTechnologies" })
    {
        SCOPED_TRACE(lMethod);
        mLog.Clear();
        mConnMan.Script(lMethod, Answer::Crash(), "", 1);
        ASSERT_TRUE(mConnMan.Appear());
        ASSERT_TRUE(WaitUntil([&] { return !mConnMan.IsPresent(); }));
        ASSERT_TRUE(mLog.WaitFor("disconnected", 3));
    }

    // The last load got as far as the services, and the daemon comes back with others.
    mConnMan.Reset();
    mConnMan.AddService(kOffice, FakeConnMan::WiFiService("office"));
    ASSERT_TRUE(mConnMan.Appear());
    EXPECT_TRUE(WaitUntil([&] { return mManager->GetServices() == Lines{ "office" }; })) << mLog.GetText();
    EXPECT_TRUE(WaitUntil([&] { return mManager->GetTechnologies().empty(); })) << mLog.GetText();
    Settle();
}

// MARK: Changes

// MARK: One bad object among good ones

TEST_F(Follow, AnObjectThatCannotBeHadDoesNotHideItsNeighbours)
{
    const std::string lMute    = FakeConnMan::ServicePath("mute");
    const std::string lLate    = FakeConnMan::ServicePath("late");
    const auto        lService = [](const char *aName)
    { return FakeConnMan::Object(FakeConnMan::ServicePath(aName), FakeConnMan::WiFiService(aName)); };

    mConnMan.AddTechnology(FakeConnMan::TechnologyPath("p2p"), FakeConnMan::Technology("p2p"));
    mConnMan.Script("GetProperties", kNoSuchObject, kWiFi);
    mConnMan.Script("GetProperties", kNoSuchObject, kOffice);
    mConnMan.Script("GetProperties", Answer::Value("({'Name': <'mute'>},)"), lMute); // it lacks its state
    StartFilled();
    EXPECT_EQ(mManager->GetTechnologies(), Lines{ "p2p" });

    // Each is asked once, and the others are told at once.
    mConnMan.ClearCalls();
    mConnMan.AddServices({ lService("one"), lService("office"), lService("mute"), lService("cafe") });
    EXPECT_EQ(Told(), Lines{ "ServicesAdded one cafe" }) << mLog.GetText();
    EXPECT_EQ(mConnMan.CountCalls("GetProperties"), 4U);
    EXPECT_EQ(mManager->GetServices(), (Lines{ "home", "wired", "one", "cafe" }));
    EXPECT_TRUE(mLog.Contains(4, "ASSERT: network manager: lReturn == 0, file: zqnetworkmanager-connman, line: "))
        << mLog.GetText();

    // So it is with changes.
    mConnMan.Script("GetProperties", kNoSuchObject, kHome);
    mConnMan.Emit("/", FakeConnMan::kManager, "ServicesChanged",
                  "([(objectpath '" + kHome + "', {'Strength': <byte 7>}), ('" + kCafe +
                      "', {'Strength': <byte 7>})], @ao [])");
    EXPECT_EQ(Told(), Lines{ "ServiceChanged cafe" + kWiFiKeys }) << mLog.GetText();

    // What the daemon only did not answer is asked for again.
    mConnMan.Script("GetProperties", Answer::Error("org.freedesktop.DBus.Error.NoReply", "Busy"), lLate, 1);
    mConnMan.AddServices({ lService("late"), lService("later") });
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServicesAdded late later")) << mLog.GetText();
}

TEST_F(Follow, ADaemonThatDiesDuringAReportIsNotAskedForTheRest)
{
    StartFilled();
    mConnMan.Script("GetProperties", Answer::Crash(), kOffice);
    mConnMan.ClearCalls();
    FakeConnMan::Objects lMany{ { kOffice, FakeConnMan::WiFiService("office") } };
    for (int lIndex = 0; lIndex < 150; ++lIndex)
        lMany.push_back(
            { FakeConnMan::ServicePath("many" + std::to_string(lIndex)), FakeConnMan::WiFiService("many") });
    mConnMan.AddServices(lMany);
    ASSERT_TRUE(mLog.WaitFor("disconnected", 3)) << mLog.GetText();
    EXPECT_LE(mLog.Count("ASSERT: network manager: lReturn == 0"), 10U) << mLog.GetText();
    EXPECT_EQ(mManager->GetServices(), (Lines{ "home", "wired" }));
    EXPECT_LE(mConnMan.CountCalls("GetProperties"), 64U);

    // All are asked in the report's order, however many are on their way at a time.
    mConnMan.ClearScripts();
    CrashAndReturn([&] { mConnMan.ClearCalls(); });
    EXPECT_EQ(mManager->GetServices().size(), 153U);

    std::vector<std::string> lAsked;
    for (const FakeConnMan::Call &lCall : mConnMan.GetCalls("GetProperties"))
        if (lCall.mPath == kOffice || lCall.mPath.find("many") != std::string::npos)
            lAsked.push_back(lCall.mPath);
    ASSERT_EQ(lAsked.size(), lMany.size());
    for (std::size_t lIndex = 0; lIndex < lMany.size(); ++lIndex)
        EXPECT_EQ(lAsked[lIndex], lMany[lIndex].first);
}

// MARK: Ends

TEST_F(Follow, ALostBusEndsNothingButTheFollowing)
{
    StartFilled();
    SystemBus().Kill();
    EXPECT_TRUE(mLog.WaitFor("connman: the bus is gone", 3)) << mLog.GetText();
    EXPECT_EQ((*mManager)->ServiceConnect(*mManager->FindService("home")), -3);
    EXPECT_EQ(mManager->GetServices(), (Lines{ "home", "wired" }));

    // The loop is alive: it ends and runs again when it is asked to.
    mManager->Pause();
    mManager->Resume();

    ASSERT_TRUE(SystemBus().Start());
    const RunningManager lNext;
    EXPECT_NE(lNext.Get(), nullptr) << lNext.GetError();
}

TEST_F(Follow, AHundredManagersOfAThreadComeAndGoOneAtATime)
{
    Recorder lRecorder;

    ASSERT_TRUE(mConnMan.Appear());
    std::thread(
        [&]
        {
            for (int lRound = 0; lRound < 100; ++lRound)
            {
                zqError        lError   = -1;
                Manager *const lManager = CreateManager(lError, nullptr);

                ASSERT_NE(lManager, nullptr) << lError;
                EXPECT_EQ(lManager->AddObserver(&lRecorder), 0);
                EXPECT_EQ(CreateManager(lError, nullptr), nullptr);
                EXPECT_EQ(lError, -18);
                EXPECT_TRUE(lManager->IsAvailable());
                // What is still under way when the manager goes finds nobody.
                mConnMan.SetServiceProperty(kHome, "Strength", "byte " + std::to_string(lRound));
                delete lManager;
            }
            EXPECT_EQ(lRecorder.Count("ServicesAdded home wired"), 100U);
            EXPECT_EQ(mConnMan.GetAgentOwner(), "");
        })
        .join();
}
