/**
 *  @file
 *    What an application asks of a manager, and what reaches ConnMan; and the
 *    radio's wakes, which reach the application.
 */

#include <fakemeshd.h>
#include <runningmanager.h>

#include <atomic>

using namespace zq::Test;

namespace
{

const std::string kMesh     = FakeConnMan::ServicePath("mesh");
const std::string kCellular = FakeConnMan::TechnologyPath("cellular");

class Requests : public ManagerTest
{
protected:
    void SetUp() override
    {
        mConnMan.AddServices(
            { { kHome, FakeConnMan::WiFiService("home", { { "State", "'ready'" } }) },
              { kMesh, FakeConnMan::WiFiService("mesh", { { "Type", "'lowpan'" },
                                                          { "State", "'online'" },
                                                          { "Ethernet", "{'Interface': <'wpan0'>}" } }) } });
        mConnMan.AddTechnology(kWiFi, FakeConnMan::Technology("wifi"));
        mConnMan.AddTechnology(kCellular, FakeConnMan::Technology("cellular"));
        ASSERT_TRUE(mConnMan.Appear());
        ASSERT_TRUE(mMeshd.Appear());

        ASSERT_NO_FATAL_FAILURE(Start());
        ASSERT_EQ(mManager->GetTechnologies().size(), 2U) << mLog.GetText();

        mHome     = mManager->FindService("home");
        mMesh     = mManager->FindService("mesh");
        mWiFi     = mManager->FindTechnology("wifi");
        mCellular = mManager->FindTechnology("cellular");
        mConnMan.ClearCalls();
        mLog.Clear();
    }

    FakeMeshd               mMeshd;
    zqSharedPtr<Service>    mHome, mMesh;
    zqSharedPtr<Technology> mWiFi, mCellular;
};

} // namespace

TEST_F(Requests, OnlyCellularIsPoweredWithoutWaiting)
{
    mConnMan.Script("SetProperty", Answer::Held(), kCellular);
    EXPECT_EQ(GetManager().TechnologySetEnabled(*mCellular, false), 0); // the answer is outstanding
    EXPECT_TRUE(mConnMan.WaitForCall("SetProperty"));
    EXPECT_EQ(GetManager().TechnologySetEnabled(*mWiFi, false), 0);
    EXPECT_TRUE(mLog.Contains(2, "network manager: Enable Technology for Cellular asynchronously"));
    EXPECT_TRUE(mLog.Contains(2, "network manager: Enable Technology for WiFi synchronously"));
    mConnMan.ReleaseHeld();
    EXPECT_TRUE(mManager->mRecorder.WaitFor("TechnologyChanged cellular Powered"));
}

// The daemon answers for a service that has gone in the meantime.
TEST_F(Requests, AnOutcomeForAServiceThatHasGoneIsAnErrorOfNone)
{
    ASSERT_EQ(GetManager().ServiceDisconnect(*mHome), 0);
    for (const char *lOutcome : { "it connects", "it is connected already" })
    {
        SCOPED_TRACE(lOutcome);
        mManager->mRecorder.Clear();
        mConnMan.Script("Connect", Answer::Held(), "", 1);
        ASSERT_EQ(GetManager().ServiceConnect(*mHome), 0);
        ASSERT_TRUE(mConnMan.WaitForCall("Connect"));
        mConnMan.ClearCalls();
        mConnMan.Emit("/", FakeConnMan::kManager, "ServicesChanged", "(@a(oa{sv}) [], [objectpath '" + kHome + "'])");
        ASSERT_TRUE(mManager->mRecorder.WaitFor("ServicesRemoved home"));
        mConnMan.ReleaseHeld();
        EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceError - not-found")) << mLog.GetText();
        EXPECT_TRUE(mLog.Contains(4, "network manager: failed to find service " + kHome + " for connect failure"));

        mConnMan.Emit("/", FakeConnMan::kManager, "ServicesChanged",
                      "([(objectpath '" + kHome + "', " + FakeConnMan::Dictionary(FakeConnMan::WiFiService("home")) +
                          ")], @ao [])");
        ASSERT_TRUE(mManager->mRecorder.WaitFor("ServicesAdded home")) << mLog.GetText();
        mHome = mManager->FindService("home");
        mLog.Clear();
    }
}

TEST_F(Requests, AScanEndsWithItsTechnologyOrWithoutIt)
{
    EXPECT_EQ(GetManager().TechnologyScan(*mWiFi), 0);
    EXPECT_TRUE(mManager->mRecorder.WaitFor("TechnologyDidScan wifi"));
    EXPECT_TRUE(mLog.Contains(1, "network manager: Reset mScanning for did scan"));

    mConnMan.Script("Scan", Answer::Error("net.connman.Error.NoCarrier", "No carrier"), "", 1);
    EXPECT_EQ(GetManager().TechnologyScan(*mWiFi), 0);
    EXPECT_TRUE(mManager->mRecorder.WaitFor("TechnologyDidNotScan wifi -1"));
    EXPECT_TRUE(mLog.Contains(1, "network manager: Reset mScanning for DidNotScan"));

    mConnMan.Script("Scan", Answer::Held(), "", 1);
    mConnMan.ClearCalls();
    EXPECT_EQ(GetManager().TechnologyScan(*mWiFi), 0);
    ASSERT_TRUE(mConnMan.WaitForCall("Scan"));
    mConnMan.Emit("/", FakeConnMan::kManager, "TechnologyRemoved", "(objectpath '" + kWiFi + "',)");
    ASSERT_TRUE(mManager->mRecorder.WaitFor("TechnologiesRemoved wifi"));
    mConnMan.ReleaseHeld();
    EXPECT_TRUE(mLog.WaitFor("network manager: failed to find technology " + kWiFi + " for scan success", 4));
    EXPECT_EQ(GetManager().TechnologyScan(*mCellular), 0);
    EXPECT_TRUE(
        mManager->mRecorder.WaitFor("TechnologyDidScan cellular")); // the flag was cleared for the unknown one, too
}

TEST_F(Requests, AnOnlineCheckEndsWithItsServiceOrWithoutIt)
{
    mConnMan.Script("OnlineCheck", Answer::Held(), "", 1);
    mConnMan.Script("OnlineCheck", Answer::Error("net.connman.Error.Failed", "Input/output error"), "", 1);
    EXPECT_EQ(GetManager().ServiceOnlineCheck(*mHome), 0);
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceIsNotOnline home -1")) << mLog.GetText();
    EXPECT_EQ(GetManager().ServiceOnlineCheck(*mHome), 0);
    ASSERT_TRUE(mConnMan.WaitForCall("OnlineCheck", 2));
    mConnMan.Emit("/", FakeConnMan::kManager, "ServicesChanged", "(@a(oa{sv}) [], [objectpath '" + kHome + "'])");
    ASSERT_TRUE(mManager->mRecorder.WaitFor("ServicesRemoved home"));
    mConnMan.ReleaseHeld();
    EXPECT_TRUE(mLog.WaitFor("network manager: failed to find service " + kHome + " for online check failure"));
    EXPECT_EQ(GetManager().ServiceOnlineCheck(*mMesh), 0);
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceIsOnline mesh"));
}

TEST_F(Requests, AnInputRequestCanBeAnsweredAndRefused)
{
    const auto        lInput = Dict({ { kServicePropertyPassphrase, "secret123" } });
    const std::string lAsked =
        "(objectpath '" + kHome + "', {'Passphrase': <{'Type': <'psk'>, 'Requirement': <'mandatory'>}>})";

    for (const bool lIsAnswered : { true, false })
    {
        FakePeer::Reply     lReply;
        const std::uint32_t lTicket = mConnMan.CallAgent("RequestInput", lAsked);

        ASSERT_TRUE(mManager->mRecorder.WaitFor("ServiceInput home Passphrase")) << mLog.GetText();
        mManager->mRecorder.Clear();
        EXPECT_EQ(GetManager().ServiceCompleteInput(*mMesh, lInput), -17);
        EXPECT_EQ(lIsAnswered ? GetManager().ServiceCompleteInput(*mHome, lInput)
                              : GetManager().ServiceCancelInput(*mHome),
                  0);
        ASSERT_TRUE(mConnMan.WaitForReply(lTicket, lReply));
        EXPECT_EQ(lReply.mErrorName, lIsAnswered ? "" : "net.connman.Agent.Error.Canceled");
    }
}

TEST_F(Requests, CommissioningPermitsJoiningTheRadiosNetwork)
{
    const auto Port     = [](const Value &aPort) { return Entry(kServiceCommissioningPort, aPort); };
    const auto Duration = [](const Value &aTime) { return Entry(kServiceCommissioningDuration, aTime); };
    const struct
    {
        Value       mValue;
        zqError     mResult;
        const char *mText; // what the radio gets; or the line of a refusal, null: none
    } kRows[] = {
        { Number(300), 0, "(300, false, uint16 0, byte 0x00)" },
        { Str("300"), 0, "(300, false, uint16 0, byte 0x00)" },
        { Number(65535), -5, nullptr },
        { Bool(true), -5, nullptr },
        { Number(std::int64_t(1) << 32), -5, nullptr },
        { Dict({ Duration(Number(60)), Port(Number(65534)) }), 0, "(60, true, uint16 65534, byte 0x00)" },
        { Dict({ Duration(Number(60)), Port(Number(65535)) }), -5, "lPort < 65535, Bad port value" },
        { Dict({ Duration(Number(60)), Port(Str("-1")) }), -5, "lPort >= 0, Bad port value" },
        { Dict({ Port(Str("8080")) }), 0, "(0, true, uint16 8080, byte 0x00)" },
        { Dict({}), 0, "(0, false, uint16 0, byte 0x00)" },
        { Dict({ Duration(Bool(true)), Port(Number(-1)) }), -5, nullptr },
        { Dict({ Port(Dict({})) }), -5, nullptr },
    };
    const auto lKey = CFURetain(kServicePropertyCommissioning);

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(&lRow - kRows);
        const bool lIsSent = lRow.mResult == 0;

        mLog.Clear();
        mMeshd.ClearCalls();
        EXPECT_EQ(GetManager().ServiceSetProperty(*mMesh, lKey, lRow.mValue), lRow.mResult);
        EXPECT_EQ(mLog.Count("", 4), !lIsSent && lRow.mText != nullptr ? 1U : 0U) << mLog.GetText();
        EXPECT_TRUE(lIsSent || lRow.mText == nullptr || mLog.Contains(4, lRow.mText)) << mLog.GetText();
        const auto lCalls = mMeshd.GetCalls();
        ASSERT_EQ(lCalls.size(), lIsSent ? 1U : 0U);
        EXPECT_TRUE(!lIsSent || lCalls[0].mMethod + lCalls[0].mArguments == std::string("PermitJoin") + lRow.mText);
    }
    mMeshd.Script("PermitJoin", Answer::Value("(7,)"));
    EXPECT_EQ(GetManager().ServiceSetProperty(*mMesh, lKey, Number(300)), -1);
    EXPECT_EQ(mConnMan.GetCalls().size(), 0U); // ConnMan is not told

    // Of any other service it is a property like the others.
    (void)GetManager().ServiceSetProperty(*mHome, lKey, Number(300));
    EXPECT_EQ(mConnMan.CountCalls("SetProperty"), 1U);
}

TEST_F(Requests, EachIsRefusedAtOnceWithoutItsArgumentsAndWithoutTheDaemon)
{
    const Value     kTrue  = Bool(true);
    const String    kKey   = CFURetain(kManagerPropertyOfflineMode);
    CFDictionaryRef lProps = nullptr;

    EXPECT_EQ(GetManager().ServiceSetProperty(*mHome, nullptr, kTrue), -5);
    EXPECT_EQ(GetManager().ServiceSetProperty(*mHome, kKey, nullptr), -5);
    EXPECT_EQ(GetManager().ServiceClearProperty(*mHome, nullptr), -5);
    EXPECT_EQ(GetManager().TechnologySetProperty(*mWiFi, nullptr, kTrue), -5);
    EXPECT_EQ(GetManager().TechnologySetProperty(*mWiFi, kKey, nullptr), -5);
    EXPECT_EQ(GetManager().ManagerSetProperty(nullptr, kTrue), -5);
    EXPECT_EQ(GetManager().ManagerSetProperty(kKey, nullptr), -5);
    for (const String &lEmptied : { Str({ "a\0b", 3 }), Str("") })
        EXPECT_EQ(GetManager().ServiceSetProperty(*mHome, lEmptied, kTrue) +
                      GetManager().ServiceClearProperty(*mHome, lEmptied) +
                      GetManager().TechnologySetProperty(*mWiFi, lEmptied, kTrue) +
                      GetManager().ManagerSetProperty(lEmptied, kTrue),
                  4 * -5);
    EXPECT_EQ(mLog.Count("aKey != __null", 4), 4U);
    EXPECT_EQ(mLog.Count("!lKey.IsEmpty()", 4), 8U);
    EXPECT_EQ(mLog.Count("aValue != __null", 4), 3U);
    EXPECT_EQ(mConnMan.GetCalls().size(), 0U);
    EXPECT_EQ(GetManager().ServiceClearProperty(*mHome, kKey), -5); // says the daemon
    EXPECT_TRUE(mLog.Contains(4, "network manager: Connman could not clear service property for key OfflineMode and "
                                 "service " +
                                     kHome));

    mConnMan.Crash();
    ASSERT_TRUE(mLog.WaitFor("disconnected", 3));
    EXPECT_EQ(GetManager().ServiceConnect(*mHome), -3);
    EXPECT_EQ(GetManager().ServiceOnlineCheck(*mHome), -3);
    EXPECT_EQ(GetManager().ServiceDisconnect(*mHome), -3);
    EXPECT_EQ(GetManager().ServiceRemove(*mHome), -3);
    EXPECT_EQ(GetManager().ServiceSetProperty(*mHome, kKey, kTrue), -3);
    EXPECT_EQ(GetManager().ServiceClearProperty(*mHome, kKey), -3);
    EXPECT_EQ(GetManager().TechnologyScan(*mWiFi), -3);
    EXPECT_EQ(GetManager().TechnologySetProperty(*mWiFi, kKey, kTrue), -3);
    EXPECT_EQ(GetManager().CopyServiceProperties(mHome->GetPath().Get(), lProps), -3);
    EXPECT_EQ(GetManager().CopyTechnologyProperties(mWiFi->GetPath().Get(), lProps), -3);
    EXPECT_EQ(lProps, nullptr);
    // The copy held here does not run ahead of the daemon.
    EXPECT_EQ(GetManager().ManagerSetProperty(kKey, kTrue), -3);
    EXPECT_EQ(GetManager().ManagerGetProperty(kManagerPropertyOfflineMode).Get(), kCFBooleanFalse);
}

// What is set is seen at once, and as long as the daemon has not refused it.
TEST_F(Requests, ARefusedPropertyOfTheManagerIsTakenBack)
{
    const String kOffline = CFURetain(kManagerPropertyOfflineMode);
    const auto   lSet     = [this](const String &aKey, const Answer &anAnswer)
    {
        mConnMan.ClearCalls();
        mConnMan.Script("SetProperty", anAnswer, "/", 1);
        EXPECT_EQ(GetManager().ManagerSetProperty(aKey, Bool(true)), 0);
        EXPECT_TRUE(mConnMan.WaitForCall("SetProperty"));
    };
    const auto lGet = [this](const String &aKey) { return GetManager().ManagerGetProperty(aKey.Get()); };

    // Whichever comes first, the refusal or the copy.
    for (std::size_t lRound = 1; lRound <= 50; ++lRound)
    {
        lSet(kOffline, Answer::Error("net.connman.Error.PermissionDenied", "Permission denied"));
        ASSERT_TRUE(mManager->mRecorder.WaitFor("PropertiesChanged OfflineMode", lRound)) << mLog.GetText();
        ASSERT_EQ(lGet(kOffline).Get(), kCFBooleanFalse);
    }

    // One that the daemon never told goes; an earlier refusal takes nothing of what was set after it.
    mManager->mRecorder.Clear();
    lSet(Str("Unknown"), Answer::Held());
    lSet(Str("Unknown"), Answer::Silence());
    mConnMan.ReleaseHeld();
    ASSERT_TRUE(mLog.WaitFor("SetProperty error [net.connman.Error.InvalidProperty", 4));
    mConnMan.SetManagerProperty("SessionMode", "true");
    ASSERT_TRUE(mManager->mRecorder.WaitFor("PropertiesChanged SessionMode"));
    EXPECT_EQ(mManager->mRecorder.Take(), Lines{ "PropertiesChanged SessionMode" });
    EXPECT_EQ(lGet(Str("Unknown")).Get(), kCFBooleanTrue);

    lSet(kOffline, Answer::Crash());
    EXPECT_TRUE(mManager->mRecorder.WaitFor("PropertiesChanged")) << mLog.GetText();
    EXPECT_TRUE(mManager->mRecorder.WaitFor("PropertiesChanged OfflineMode")) << mLog.GetText();
    EXPECT_EQ(lGet(Str("Unknown")).Get(), nullptr);
    EXPECT_EQ(lGet(kOffline).Get(), kCFBooleanFalse);
}

// An application's threads ask while the loop's thread tells.
TEST_F(Requests, MayComeFromAnyThreadWhileEventsFlow)
{
    std::atomic<bool> lDone{ false };
    std::thread       lThread(
        [&]
        {
            for (int lRound = 0; lRound < 40; ++lRound)
            {
                CFDictionaryRef lProperties = nullptr;
                zqStringArray   lNames;

                EXPECT_EQ(GetManager().QuerySleepPreventers(), 0);
                EXPECT_EQ(GetManager().GetSleepPreventers(lNames), 0);
                (void)GetManager().ServiceConnect(*mHome);
                EXPECT_EQ(GetManager().CopyServiceProperties(mHome->GetPath().Get(), lProperties), 0);
                CFURelease(lProperties);
                (void)GetManager().TechnologySetEnabled(*mWiFi, lRound % 2 != 0);
                (void)GetManager().TechnologyScan(*mWiFi);
                (void)GetManager().ManagerGetState();
                (void)mManager->GetServices();
                (void)mHome->GetStrength();
            }
            lDone = true;
        });

    for (int lRound = 0; !lDone; ++lRound)
    {
        mConnMan.SetServiceProperty(kHome, "Strength", "byte " + std::to_string(lRound % 100));
        mMeshd.Signal(FakeMeshd::Path(), lRound % 2 == 0 ? "PreventSleep" : "AllowSleep");
        mConnMan.Flush();
    }
    lThread.join();
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceChanged home Strength"));
}

TEST_F(Requests, MayComeFromInsideACallback)
{
    std::atomic<zqError> lResult{ 1 };

    // With the observer lock held.
    mManager->mRecorder.SetInside(
        [&](Manager *aManager)
        {
            CFDictionaryRef lProperties = nullptr;

            lResult = aManager->CopyServiceProperties(mHome->GetPath().Get(), lProperties);
            CFURelease(lProperties);
        });
    mConnMan.SetServiceProperty(kHome, "Strength", "byte 1");
    EXPECT_TRUE(WaitUntil([&] { return lResult == 0; }));
    mManager.reset();
}

// MARK: The radio

TEST_F(Requests, ARadiosWakeIsToldOfTheConnectedServiceOnItsInterface)
{
    const auto Wake = [&](const char *anInterface, const char *aBody)
    { mMeshd.Signal(FakeMeshd::Path(anInterface), "NetWake", aBody); };

    Wake("wpan0", "(byte 66, 2000)");
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceIsWaking mesh 66")) << mLog.GetText();
    Wake("wpan0", "(byte 67, 0)");
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceDidWake mesh 67"));
    Wake("wpan0", "(byte 68, -1)");
    EXPECT_TRUE(mManager->mRecorder.WaitFor("ServiceDidWake mesh 68"));

    Wake("wpan1", "(byte 1, 0)");
    EXPECT_TRUE(mLog.WaitFor("network manager: Got a wake, but found no online service for interface wpan1", 4));
    mConnMan.SetServiceProperty(kMesh, "State", "'idle'");
    ASSERT_TRUE(mManager->mRecorder.WaitFor("ServiceChanged mesh State"));
    Wake("wpan0", "(byte 1, 0)");
    EXPECT_TRUE(mLog.WaitFor("network manager: Got a wake, but found no online service for interface wpan0", 4));
}

class Sleep : public Requests
{
protected:
    void Signal(const char *aMember, const std::string &anInterface = "wpan0")
    {
        mMeshd.Signal(FakeMeshd::Path(anInterface), aMember);
    }

    /** Ask, and wait for the line about the answer. */
    bool Ask(const std::string &aLine, const std::string &anInterface = "wpan0")
    {
        return GetManager().QuerySleepPreventers() == 0 &&
               mLog.WaitFor("network manager: wpan interface \"" + anInterface + "\" " + aLine, 2);
    }

    bool WaitForPreventers(const Lines &aNames)
    {
        return WaitUntil(
            [&]
            {
                zqStringArray lNames;
                Lines         lList;

                EXPECT_EQ(GetManager().GetSleepPreventers(lNames), 0);
                for (int lIndex = 0; lIndex < lNames.GetNumElements(); ++lIndex)
                    lList.push_back(lNames.GetElement(lIndex).GetAsUTFArray());
                return lList == aNames;
            });
    }

    static std::string Failure(int anAttempt)
    {
        return "failed to reply to GetProperty(\"IsOkToSleep\") in " + std::to_string(anAttempt) + " attempts";
    }

    static constexpr const char *kGivenUp = "multiple failures to respond  to \"IsOkToSleep\", allowing sleep now";
};

TEST_F(Sleep, IsPreventedFromTheOneSignalToTheOther)
{
    EXPECT_EQ(GetManager().QuerySleepPreventers(), 0); // nobody to ask
    for (const char *lMember : { "AllowSleep", "PreventSleep", "PreventSleep" })
        Signal(lMember);
    Signal("PreventSleep", "wpan1");
    EXPECT_TRUE(WaitForPreventers({ "wpan0", "wpan1" }));
    Signal("AllowSleep");
    EXPECT_TRUE(WaitForPreventers({ "wpan1" }));
    Signal("AllowSleep", "wpan1");
    EXPECT_TRUE(WaitForPreventers({}));
    EXPECT_EQ(mMeshd.CountCalls("GetProp"), 0U);
}

TEST_F(Sleep, TheFifthFailureAndEveryLaterOneAllowsIt)
{
    mMeshd.Script("GetProp", Answer::Error("com.corvanix.Error.Any", "Any"));
    for (int lAttempt = 1; lAttempt <= 7; ++lAttempt)
    {
        Signal("PreventSleep");
        ASSERT_TRUE(WaitForPreventers({ "wpan0" }));
        EXPECT_TRUE(Ask(Failure(lAttempt)));
        EXPECT_TRUE(WaitForPreventers(lAttempt < 5 ? Lines{ "wpan0" } : Lines{}));
        EXPECT_EQ(mLog.Count(kGivenUp, 2), static_cast<std::size_t>(lAttempt < 5 ? 0 : lAttempt - 4));
    }
    for (const FakePeer::Call &lCall : mMeshd.GetCalls())
        EXPECT_EQ(lCall.mMethod + lCall.mArguments, "GetProp('Daemon:ReadyForHostSleep',)");

    // The count is one for all interfaces, but only the silent one is released.
    for (const char *lName : { "wpan0", "wpan1" })
        Signal("PreventSleep", lName);
    mMeshd.AddInterface("wpan1");
    mMeshd.Script("GetProp", Answer::Value("(0, <false>)"), FakeMeshd::Path("wpan1"));
    ASSERT_TRUE(WaitForPreventers({ "wpan0", "wpan1" }));
    EXPECT_TRUE(Ask(Failure(8)));
    EXPECT_TRUE(WaitForPreventers({ "wpan1" }));

    // Who cannot even be asked has failed, too: without a bus the host would never sleep.
    mLog.Clear();
    EXPECT_TRUE(Ask("is not ok to sleep", "wpan1"));
    SystemBus().Kill();
    ASSERT_TRUE(mLog.WaitFor("dbus: the bus is gone", 3));
    for (int lAttempt = 1; lAttempt <= 5; ++lAttempt)
    {
        EXPECT_TRUE(WaitForPreventers({ "wpan1" }));
        EXPECT_EQ(GetManager().QuerySleepPreventers(), -3);
        EXPECT_EQ(mLog.Count("wpan interface \"wpan1\" " + Failure(lAttempt), 2), 1U);
    }
    EXPECT_TRUE(WaitForPreventers({}));
    EXPECT_EQ(GetManager().QuerySleepPreventers(), 0);
    mManager.reset();
    ASSERT_TRUE(SystemBus().Start());
}

TEST_F(Sleep, AnyAnswerStartsTheCountAgainAndOnlyTrueAllowsIt)
{
    for (const char *lAnswer : { "(0, <false>)", "(0, <'true'>)", "(0, <true>)" })
    {
        const bool lIsOk = std::string(lAnswer) == "(0, <true>)";

        Signal("PreventSleep");
        ASSERT_TRUE(WaitForPreventers({ "wpan0" }));
        mMeshd.ClearScripts();
        mMeshd.Script("GetProp", Answer::Value(lAnswer));
        mMeshd.Script("GetProp", Answer::Value("(1,)"), "", 4);
        for (int lAttempt = 1; lAttempt <= 4; ++lAttempt)
            EXPECT_TRUE(Ask(Failure(lAttempt)));
        EXPECT_TRUE(Ask(lIsOk ? "is ok to sleep" : "is not ok to sleep"));
        EXPECT_TRUE(WaitForPreventers(lIsOk ? Lines{} : Lines{ "wpan0" }));
        EXPECT_FALSE(mLog.Contains(kGivenUp));
        mLog.Clear();
    }
}

// An answer, and what ends a call without one, comes to a manager that has gone.
TEST_F(Sleep, AnAnswerToAManagerThatHasGoneTouchesNothing)
{
    mMeshd.Script("GetProp", Answer::Held());
    Signal("PreventSleep");
    ASSERT_TRUE(WaitForPreventers({ "wpan0" }));
    ASSERT_EQ(GetManager().QuerySleepPreventers(), 0);
    ASSERT_TRUE(mMeshd.WaitForCall("GetProp"));

    for (zqSharedPtr<Service> *const lService : { &mHome, &mMesh })
        *lService = zqSharedPtr<Service>();
    mManager.reset();
    mMeshd.ReleaseHeld();
    mMeshd.Flush();
    mManager = std::make_unique<RunningManager>(); // the connection of the first goes with it
    ASSERT_NE(mManager->Get(), nullptr);
    EXPECT_TRUE(WaitForPreventers({}));
    EXPECT_FALSE(mLog.Contains("IsOkToSleep")) << mLog.GetText();
}
