/**
 *  @file
 *    The WPAN controller and its interfaces against a radio daemon of GDBus.
 */

#include <zqwpanctl.h>

#include <zqdbus.h>

#include <fakepeer.h>
#include <logcapture.h>
#include <privatebus.h>
#include <waituntil.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace zq::Test;

constexpr char    kInterface[] = "com.corvanix.MeshLink";
const std::string kPath        = "/com/corvanix/MeshLink";

class FakeRadio final : public FakePeer
{
public:
    FakeRadio() : FakePeer(kInterface) {}
    ~FakeRadio() override { Detach(); }

    void Signal(const std::string &aPath, const std::string &aMember, const std::string &aBody)
    {
        Emit(aPath, kInterface, aMember, aBody);
    }

private:
    Answer AnswerLocked(const Call &, GVariant *) override { return Answer::Silence(); }
};

std::string Text(CFTypeRef aValue)
{
    const auto lText = CFUAdopt(CFCopyDescription(aValue));
    return zqString(lText).GetAsUTFArray();
}

using Calls = std::vector<std::string>;

/** Notes every signal of a controller as "name arguments". */
void Record(zqWPANCtl &aController, Calls &aCalls)
{
    aController.mNetWake.connect(
        [&aCalls](const zqString &anInterface, int aData, int aRemaining)
        {
            aCalls.push_back(std::string(anInterface.GetAsUTFArray()) + " NetWake " + std::to_string(aData) + " " +
                             std::to_string(aRemaining));
        });
    aController.mAllowSleep.connect([&aCalls](const zqString &anInterface)
                                    { aCalls.push_back(std::string(anInterface.GetAsUTFArray()) + " AllowSleep"); });
    aController.mPreventSleep.connect(
        [&aCalls](const zqString &anInterface)
        { aCalls.push_back(std::string(anInterface.GetAsUTFArray()) + " PreventSleep"); });
    aController.mAssociationState.connect(
        [&aCalls](const zqString &anInterface, CFStringRef aState) {
            aCalls.push_back(std::string(anInterface.GetAsUTFArray()) + " Association " +
                             zqString(aState).GetAsUTFArray());
        });
    aController.mJammingState.connect(
        [&aCalls](const zqString &anInterface, bool aJammed)
        { aCalls.push_back(std::string(anInterface.GetAsUTFArray()) + " Jamming " + (aJammed ? "yes" : "no")); });
    aController.mPropertyChanged.connect(
        [&aCalls](const zqString &anInterface, const zqString &aKey, const CFUSharedRef<CFTypeRef> &aValue)
        {
            aCalls.push_back(std::string(anInterface.GetAsUTFArray()) + " Property " + aKey.GetAsUTFArray() + " " +
                             Text(aValue.Get()));
        });
}

/** The same for an interface; the connections end with the returned ones, since the interface stays. */
std::vector<boost::signals2::scoped_connection> Record(zqWPANCtl::Interface &anInterface, Calls &aCalls)
{
    std::vector<boost::signals2::scoped_connection> lConnections;

    lConnections.emplace_back(anInterface.mNetWake.connect(
        [&aCalls](int aData, int aRemaining)
        { aCalls.push_back("NetWake " + std::to_string(aData) + " " + std::to_string(aRemaining)); }));
    lConnections.emplace_back(anInterface.mAllowSleep.connect([&aCalls] { aCalls.push_back("AllowSleep"); }));
    lConnections.emplace_back(anInterface.mPreventSleep.connect([&aCalls] { aCalls.push_back("PreventSleep"); }));
    lConnections.emplace_back(anInterface.mAssociationState.connect(
        [&aCalls](CFStringRef aState)
        { aCalls.push_back(std::string("Association ") + zqString(aState).GetAsUTFArray()); }));
    lConnections.emplace_back(anInterface.mJammingState.connect(
        [&aCalls](bool aJammed) { aCalls.push_back(aJammed ? "Jamming yes" : "Jamming no"); }));
    lConnections.emplace_back(anInterface.mPropertyChanged.connect(
        [&aCalls](const zqString &aKey, const CFUSharedRef<CFTypeRef> &aValue)
        { aCalls.push_back(std::string("Property ") + aKey.GetAsUTFArray() + " " + Text(aValue.Get())); }));
    return lConnections;
}

/** What a filter that comes after the controllers' own gets to see. */
DBusHandlerResult NoteUnhandled(DBusConnection *, DBusMessage *aMessage, void *aContext)
{
    if (dbus_message_get_type(aMessage) == DBUS_MESSAGE_TYPE_SIGNAL && dbus_message_has_interface(aMessage, kInterface))
        static_cast<Calls *>(aContext)->push_back(dbus_message_get_member(aMessage));
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

class WPANCtl : public testing::Test
{
protected:
    // The filter is the process's: this suite's bus is the process-wide one from
    // its first test to its last.
    static void SetUpTestSuite()
    {
        SystemBus();
        zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
        sInitialised = std::make_unique<zqWPANCtl>();
        ASSERT_EQ(sInitialised->Init(), 0);
        ASSERT_TRUE(dbus_connection_add_filter(zqDBus::GetGlobalDefaultInstance()->GetConnection(), NoteUnhandled,
                                               &sUnhandled, nullptr));
    }

    static void TearDownTestSuite()
    {
        dbus_connection_remove_filter(zqDBus::GetGlobalDefaultInstance()->GetConnection(), NoteUnhandled, &sUnhandled);
        zqDBus::SetGlobalDefaultInstance(nullptr);
        sInitialised.reset();
    }

    void SetUp() override
    {
        ASSERT_TRUE(mRadio.Appear());
        sUnhandled.clear();
    }

    static void Pump()
    {
        zqDBus *const lDBus    = zqDBus::GetGlobalDefaultInstance();
        unsigned int  lCount   = 0;
        bool          lChanged = false;

        (void)lDBus->HandleEvents(nullptr);
        PRPollDesc *const lDescriptors = lDBus->GetPollDescriptors(lCount, &lChanged);
        if (PR_Poll(lDescriptors, static_cast<PRIntn>(lCount), PR_MillisecondsToInterval(20)) > 0)
            (void)lDBus->HandleEvents(lDescriptors);
    }

    /** Dispatch all that the radio has sent. */
    void Settle()
    {
        bool lSettled = false;

        mRadio.Signal(kPath + "/end", "PreventSleep", "");
        const boost::signals2::scoped_connection lConnection = sInitialised->mPreventSleep.connect(
            [&](const zqString &anInterface) { lSettled = lSettled || anInterface == zqString("end"); });
        EXPECT_TRUE(WaitUntil(
            [&]
            {
                Pump();
                return lSettled;
            }));
    }

    static std::unique_ptr<zqWPANCtl> sInitialised;
    static Calls                      sUnhandled;
    FakeRadio                         mRadio;
};

std::unique_ptr<zqWPANCtl> WPANCtl::sInitialised;
Calls                      WPANCtl::sUnhandled;

Calls Without(Calls aCalls, const std::string &aPrefix)
{
    aCalls.erase(std::remove_if(aCalls.begin(), aCalls.end(),
                                [&](const std::string &aCall) { return aCall.rfind(aPrefix, 0) == 0; }),
                 aCalls.end());
    return aCalls;
}

// The first test of the program: no bus is anybody's yet.
TEST(WPANCtlWithoutBus, InitHasNothingToDo)
{
    zqWPANCtl lController;

    EXPECT_EQ(lController.Init(), 0);
    EXPECT_EQ(lController.Init(5000), 0);
}

TEST(WPANCtlWithoutBus, InitOnALostBusFailsEachTime)
{
    zqWPANCtl lController;

    SystemBus();
    zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
    ASSERT_NE(zqDBus::GetGlobalDefaultInstance(), nullptr);
    SystemBus().Kill();
    EXPECT_EQ(lController.Init(), -1);
    EXPECT_EQ(lController.Init(), -1);
    zqDBus::SetGlobalDefaultInstance(nullptr);
    ASSERT_TRUE(SystemBus().Start());
}

// That the suite below hears anything at all is the rest of this test.
TEST(WPANCtlWithoutBus, AFilterGoesWithItsConnection)
{
    SystemBus();
    std::thread(
        []
        {
            zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
            zqWPANCtl lController;
            EXPECT_EQ(lController.Init(), 0);
            zqDBus::SetGlobalDefaultInstance(nullptr);
        })
        .join();
}

TEST_F(WPANCtl, EverySignalReachesEveryControllerAndTheInterface)
{
    const struct
    {
        const char *mMember;
        const char *mBody;
        Calls       mExpected; // without the interface's name
        bool        mHandled;
    } kRows[] = {
        { "NetWake", "(byte 0x81, 2000)", { "NetWake 129 2000" }, true },
        { "NetWake", "(byte 0, -1)", { "NetWake 0 -1" }, true },
        { "PreventSleep", "", { "PreventSleep" }, true },
        { "AllowSleep", "", { "AllowSleep" }, true },
        { "AssociationStateChanged",
          "('associated:netwake-waking',)",
          { "Association associated:netwake-waking" },
          true },
        { "PropertyChanged", "('NCP:State', <'offline'>)", { "Property NCP:State " + Text(CFSTR("offline")) }, false },
        { "PropertyChanged",
          "('Daemon:Enabled', <true>)",
          { "Property Daemon:Enabled " + Text(kCFBooleanTrue) },
          false },
        { "PropertyChanged",
          "('JamDetection:Status', <true>)",
          { "Property JamDetection:Status " + Text(kCFBooleanTrue), "Jamming yes" },
          true },
        { "PropertyChanged",
          "('JamDetection:Status', <false>)",
          { "Property JamDetection:Status " + Text(kCFBooleanFalse), "Jamming no" },
          true },
        { "PropertyChanged",
          "('JamDetection:Status', <'jammed'>)",
          { "Property JamDetection:Status " + Text(CFSTR("jammed")) },
          false },
    };
    zqWPANCtl lFirst;
    zqWPANCtl lSecond;
    Calls     lFirstCalls, lSecondCalls, lInterfaceCalls;

    ASSERT_EQ(lFirst.Init(), 0); // installs no second filter: every call below comes once
    Record(lFirst, lFirstCalls);
    Record(lSecond, lSecondCalls); // a controller needs no Init of its own
    const auto lConnections = Record(*lFirst.GetInterface(), lInterfaceCalls);

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(std::string(lRow.mMember) + lRow.mBody);
        Calls lNamed;
        for (const std::string &lCall : lRow.mExpected)
            lNamed.push_back("wpan0 " + lCall);

        mRadio.Signal(kPath + "/wpan0", lRow.mMember, lRow.mBody);
        Settle();
        EXPECT_EQ(Without(lFirstCalls, "end "), lNamed);
        EXPECT_EQ(Without(lSecondCalls, "end "), lNamed);
        EXPECT_EQ(lInterfaceCalls, lRow.mExpected);
        EXPECT_EQ(sUnhandled.empty(), lRow.mHandled);

        for (Calls *const lCalls : { &lFirstCalls, &lSecondCalls, &lInterfaceCalls, &sUnhandled })
            lCalls->clear();
    }
}

TEST_F(WPANCtl, ThePathTellsTheInterface)
{
    const std::string kLong(80, 'w');
    const struct
    {
        std::string mPath;
        std::string mName; // empty: not dispatched
    } kRows[] = {
        { kPath + "/wpan1", "wpan1" },
        { kPath + "/wpan0/child/grandchild", "wpan0" },
        { kPath + "/" + kLong, kLong.substr(0, 63) },
        { kPath, "" },
        { kPath + "X", "" },
        { kPath + "X/wpan0", "" },
        { "/com/corvanix", "" },
        { "/", "" },
        { "/wpan0", "" },
    };
    zqWPANCtl lController;
    Calls     lCalls, lInterfaceCalls;

    Record(lController, lCalls);
    const auto lConnections = Record(*lController.GetInterface(), lInterfaceCalls);

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(lRow.mPath);
        mRadio.Signal(lRow.mPath, "AllowSleep", "");
        Settle();
        EXPECT_EQ(Without(lCalls, "end "), lRow.mName.empty() ? Calls{} : Calls{ lRow.mName + " AllowSleep" });
        EXPECT_EQ(lInterfaceCalls.size(), lRow.mName == "wpan0" ? 1U : 0U);
        EXPECT_EQ(sUnhandled.size(), lRow.mName.empty() ? 1U : 0U);

        for (Calls *const lEach : { &lCalls, &lInterfaceCalls, &sUnhandled })
            lEach->clear();
    }
}

TEST_F(WPANCtl, WhatDoesNotDecodeIsLeftToOthers)
{
    const struct
    {
        const char *mMember;
        const char *mBody;
    } kRows[] = {
        { "NetWake", "" },
        { "NetWake", "('1', 2)" },
        { "NetWake", "(byte 1, uint32 2)" },
        { "AssociationStateChanged", "" },
        { "AssociationStateChanged", "(uint32 3,)" },
        { "PropertyChanged", "" },
        { "PropertyChanged", "('NCP:State',)" },
        { "PropertyChanged", "(<'NCP:State'>, <'offline'>)" },
        { "InterfaceAdded", "" },
        { "InterfaceAdded", "(uint32 0,)" },
        { "SomethingElse", "('wpan0',)" },
    };
    const LogCapture lLog;
    zqWPANCtl        lController;
    Calls            lCalls;

    Record(lController, lCalls);
    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(std::string(lRow.mMember) + lRow.mBody);
        mRadio.Signal(kPath + "/wpan0", lRow.mMember, lRow.mBody);
        Settle();
        EXPECT_EQ(Without(lCalls, "end "), Calls{});
        EXPECT_EQ(sUnhandled, Calls{ lRow.mMember });
        EXPECT_FALSE(lLog.Contains("wpanctl: ")) << lLog.GetText();
        sUnhandled.clear();
    }
}

TEST_F(WPANCtl, ASlotMayDestroyItsOwnController)
{
    auto      lDoomed = std::make_unique<zqWPANCtl>();
    zqWPANCtl lAfter;
    Calls     lCalls;
    int       lLater = 0;

    // The slots behind the one that destroys are what tempts the signal to
    // tidy up after itself.
    lDoomed->mPreventSleep.connect(
        [&](const zqString &anInterface)
        {
            if (anInterface == zqString("wpan0"))
                lDoomed.reset();
        });
    for (int lIndex = 0; lIndex < 5; ++lIndex)
        lDoomed->mPreventSleep.connect([&](const zqString &) { ++lLater; });
    Record(lAfter, lCalls);

    mRadio.Signal(kPath + "/wpan0", "PreventSleep", "");
    mRadio.Signal(kPath + "/wpan0", "PreventSleep", "");
    Settle();
    EXPECT_EQ(lDoomed, nullptr);
    EXPECT_EQ(lLater, 0);
    EXPECT_EQ(Without(lCalls, "end "), (Calls{ "wpan0 PreventSleep", "wpan0 PreventSleep" }));
}

TEST_F(WPANCtl, ASlotMayDestroyMakeAndAsk)
{
    zqWPANCtl             lFirst;
    auto                  lNext = std::make_unique<zqWPANCtl>();
    zqWPANCtl             lLast;
    Calls                 lNextCalls, lLastCalls;
    zqWPANCtl::Interface *lInterface = nullptr;

    lFirst.mAllowSleep.connect(
        [&](const zqString &)
        {
            lNext.reset();
            const zqWPANCtl lShortLived;
            lInterface = lFirst.GetInterface("made-in-a-slot");
        });
    Record(*lNext, lNextCalls);
    Record(lLast, lLastCalls);

    mRadio.Signal(kPath + "/wpan0", "AllowSleep", "");
    Settle();
    EXPECT_EQ(lNextCalls, Calls{});
    EXPECT_EQ(Without(lLastCalls, "end "), Calls{ "wpan0 AllowSleep" });
    EXPECT_NE(lInterface, nullptr);
    EXPECT_EQ(lInterface, lLast.GetInterface("made-in-a-slot"));
}

TEST_F(WPANCtl, ASlotThatThrowsCostsOnlyItself)
{
    const LogCapture lLog;
    zqWPANCtl        lThrowing;
    zqWPANCtl        lOther;
    Calls            lCalls, lInterfaceCalls;

    lThrowing.mAllowSleep.connect([](const zqString &) { throw 1; });
    Record(lOther, lCalls);
    const auto lConnections = Record(*lOther.GetInterface(), lInterfaceCalls);

    mRadio.Signal(kPath + "/wpan0", "AllowSleep", "");
    Settle();
    EXPECT_EQ(Without(lCalls, "end "), Calls{ "wpan0 AllowSleep" });
    EXPECT_EQ(lInterfaceCalls, Calls{ "AllowSleep" });
    EXPECT_EQ(sUnhandled, Calls{ "AllowSleep" });
    EXPECT_TRUE(lLog.Contains(4, "wpanctl: a slot threw an exception"));

    // The dispatch has ended all the same: the list is pruned and walked again.
    mRadio.Signal(kPath + "/wpan0", "PreventSleep", "");
    Settle();
    EXPECT_EQ(Without(lCalls, "end "), (Calls{ "wpan0 AllowSleep", "wpan0 PreventSleep" }));
}

TEST_F(WPANCtl, AnnouncedInterfaceRestoresItsSettingsWhenSomebodyAskedForIt)
{
    const LogCapture lLog;
    zqWPANCtl        lController;

    ASSERT_NE(lController.GetInterface("wpan7"), nullptr);
    for (const std::string &lPath : { kPath, kPath + "/wpan8", kPath + "X" })
        mRadio.Signal(lPath, "InterfaceAdded", "('wpan7',)"); // the argument counts, not the path
    mRadio.Signal(kPath + "/wpan7", "InterfaceAdded", "('nobody-asked',)");
    Settle();

    EXPECT_EQ(lLog.Count("wpanctl: meshd signaling interface wpan7 added, restoring saved settings", 2), 3U);
    EXPECT_EQ(lLog.Count("wpanctl: meshd signaling interface nobody-asked added, restoring saved settings", 2), 1U);
    EXPECT_EQ(lLog.Count("wpanctl: Restored all saved settings on meshd", 2), 3U);
    EXPECT_EQ(sUnhandled, Calls{});
}

TEST_F(WPANCtl, InterfacesAreSharedAndOutliveTheirController)
{
    auto                        lFirst = std::make_unique<zqWPANCtl>();
    zqWPANCtl                   lSecond;
    zqWPANCtl::Interface *const lInterface = lFirst->GetInterface("wpan5");

    EXPECT_EQ(lInterface, lSecond.GetInterface("wpan5"));
    EXPECT_NE(lInterface, lSecond.GetInterface("wpan6"));
    EXPECT_EQ(lSecond.GetInterface(), lSecond.GetInterface("wpan0"));

    lFirst.reset();
    EXPECT_EQ(lInterface, lSecond.GetInterface("wpan5"));
    Calls      lCalls;
    const auto lConnections = Record(*lInterface, lCalls);
    mRadio.Signal(kPath + "/wpan5", "AllowSleep", "");
    Settle();
    EXPECT_EQ(lCalls, Calls{ "AllowSleep" });
}

TEST_F(WPANCtl, TheLinesOfAWakeAndAJam)
{
    const LogCapture lLog;

    mRadio.Signal(kPath + "/wpan0", "NetWake", "(byte 10, 250)");
    mRadio.Signal(kPath + "/wpan0", "PropertyChanged", "('JamDetection:Status', <true>)");
    Settle();
    EXPECT_TRUE(lLog.Contains(2, "wpanctl: Got net wake event for interface wpan0, 250ms remaining, data:0x0A\n"));
    EXPECT_TRUE(lLog.Contains(1, "wpanctl: meshd signal property changed: JamDetection:Status"));
    EXPECT_TRUE(lLog.Contains(2, "wpanctl: meshd reporting jamming state: true"));
}

TEST_F(WPANCtl, ControllersComeAndGoOnOtherThreadsWhileSignalsFlow)
{
    std::atomic<bool> lDone{ false };
    std::atomic<int>  lHeard{ 0 };
    std::thread       lThread(
        [&]
        {
            for (int lIndex = 0; lIndex < 300; ++lIndex)
            {
                zqWPANCtl lController;
                lController.mAllowSleep.connect([&lHeard](const zqString &) { ++lHeard; });
                EXPECT_NE(lController.GetInterface(("wpan" + std::to_string(lIndex % 7)).c_str()), nullptr);
                std::this_thread::yield();
            }
            lDone = true;
        });

    while (!lDone)
    {
        mRadio.Signal(kPath + "/wpan3", "AllowSleep", "");
        Pump();
    }
    lThread.join();
    Settle();
}

} // namespace
