/**
 *  @file
 *    The daemon's signals, and the controllers and interfaces that they reach.
 */

#include "wpanctlfixture.h"

#include <atomic>
#include <thread>

namespace
{

using namespace zq::Test;

template <typename T>
std::string Print(const T &aValue)
{
    if constexpr (std::is_arithmetic_v<T>)
        return std::to_string(static_cast<int>(aValue));
    else if constexpr (std::is_same_v<T, zqString>)
        return aValue.GetAsUTFArray();
    else if constexpr (std::is_same_v<T, CFStringRef>)
        return Text(aValue);
    else
        return Text(aValue.Get());
}

/** Notes every signal of a controller or of an interface as "name arguments", until the returned connections end. */
template <typename T>
std::vector<boost::signals2::scoped_connection> Record(T &aTarget, Lines &aLines)
{
    std::vector<boost::signals2::scoped_connection> lConnections;

    const auto lNote = [&aLines](const char *aName)
    {
        return [&aLines, aName](const auto &...anArguments)
        {
            std::string lLine = aName;
            ((lLine += " " + Print(anArguments)), ...);
            aLines.push_back(lLine);
        };
    };

    lConnections.emplace_back(aTarget.mNetWake.connect(lNote("NetWake")));
    lConnections.emplace_back(aTarget.mAllowSleep.connect(lNote("AllowSleep")));
    lConnections.emplace_back(aTarget.mPreventSleep.connect(lNote("PreventSleep")));
    lConnections.emplace_back(aTarget.mAssociationState.connect(lNote("Association")));
    lConnections.emplace_back(aTarget.mJammingState.connect(lNote("Jamming")));
    lConnections.emplace_back(aTarget.mPropertyChanged.connect(lNote("Property")));
    return lConnections;
}

// The first test of the program: no bus is anybody's yet.
TEST(WPANCtlWithoutBus, InitHasNothingToDoThenFailsThenFollowsItsConnection)
{
    zqWPANCtl lController;
    EXPECT_EQ(lController.Init(), 0);
    EXPECT_EQ(lController.Init(5000), 0);
    EXPECT_EQ(lController.GetInterface()->Ping_Async({}, 1), -1);
    EXPECT_EQ(lController.GetInterface()->SetSupportedChannelsMask(0x1800), -1);

    SystemBus();
    zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
    SystemBus().Kill();
    EXPECT_EQ(lController.Init(), -1);
    EXPECT_EQ(lController.Init(), -1);
    EXPECT_EQ(lController.GetInterface()->Ping_Async({}, 1), -3);
    EXPECT_EQ(lController.GetInterface()->Ping(1), -1); // this thread can have no other
    zqDBus::SetGlobalDefaultInstance(nullptr);
    ASSERT_TRUE(SystemBus().Start());

    // A thread that dispatches nothing learns of a lost bus all the same.
    EXPECT_EQ(lController.GetInterface()->Ping(5000), -1);
    SystemBus().Kill();
    ASSERT_TRUE(SystemBus().Start());
    EXPECT_EQ(lController.GetInterface()->Ping(5000), -1); // not -3: only the daemon is missing
}

TEST_F(WPANCtl, EverySignalReachesEveryControllerAndTheInterface)
{
    const std::string kLong(80, 'w');
    const struct
    {
        std::string mSignal;   // the path below the daemon's, the member, the arguments
        std::string mName;     // of the interface
        Lines       mExpected; // what it raises; without the controllers' name of it
        const char *mLine = nullptr;
    } kRows[] = {
        { "/wpan0 NetWake (byte 10, 250)",
          "wpan0",
          { "NetWake 10 250" },
          "wpanctl: Got net wake event for interface wpan0, 250ms remaining, data:0x0A\n" },
        { "/wpan0 NetWake (byte 0x81, -1)", "wpan0", { "NetWake 129 -1" } },
        { "/wpan0 PreventSleep ", "wpan0", { "PreventSleep" } },
        { "/wpan0 AllowSleep ", "wpan0", { "AllowSleep" } },
        { "/wpan0 AssociationStateChanged ('offline',)", "wpan0", { "Association offline" } },
        { "/wpan0 PropertyChanged ('A', <'x'>)",
          "wpan0",
          { "Property A x" },
          "wpanctl: meshd signal property changed: A" },
        { "/wpan0 PropertyChanged ('JamDetection:Status', <true>)",
          "wpan0",
          { "Property JamDetection:Status true", "Jamming 1" },
          "wpanctl: meshd reporting jamming state: true" },
        { "/wpan0 PropertyChanged ('JamDetection:Status', <false>)",
          "wpan0",
          { "Property JamDetection:Status false", "Jamming 0" },
          "wpanctl: meshd reporting jamming state: false" },
        { "/wpan0 PropertyChanged ('JamDetection:Status', <'x'>)", "wpan0", { "Property JamDetection:Status x" } },
        // The path tells the interface.
        { "/wpan1 AllowSleep ", "wpan1", { "AllowSleep" } },
        { "/wpan0/child/grandchild AllowSleep ", "wpan0", { "AllowSleep" } },
        { "/" + kLong + " AllowSleep ", kLong.substr(0, 63), { "AllowSleep" } },
        { " AllowSleep ", "", {} },
        { "X AllowSleep ", "", {} },
        { "X/wpan0 AllowSleep ", "", {} },
        // What does not decode is left to others.
        { "/wpan0 NetWake ", "", {} },
        { "/wpan0 NetWake ('1', 2)", "", {} },
        { "/wpan0 NetWake (byte 1, uint32 2)", "", {} },
        { "/wpan0 AssociationStateChanged (uint32 3,)", "", {} },
        { "/wpan0 PropertyChanged ", "", {} },
        { "/wpan0 PropertyChanged ('NCP:State',)", "", {} },
        { "/wpan0 PropertyChanged (<'NCP:State'>, <'offline'>)", "", {} },
        { "/wpan0 InterfaceAdded (uint32 0,)", "", {} },
        { "/wpan0 SomethingElse ('wpan0',)", "", {} },
    };
    zqWPANCtl lFirst, lSecond;
    Lines     lFirstLines, lSecondLines, lInterfaceLines;

    ASSERT_EQ(lFirst.Init(), 0); // installs no second filter: every call below comes once
    const auto lFirstConnections  = Record(lFirst, lFirstLines);
    const auto lSecondConnections = Record(lSecond, lSecondLines); // a controller needs no Init of its own
    const auto lConnections       = Record(*lFirst.GetInterface(), lInterfaceLines);

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(lRow.mSignal);
        const std::size_t lPath   = lRow.mSignal.find(' ');
        const std::size_t lMember = lRow.mSignal.find(' ', lPath + 1);
        Lines             lNamed;
        for (std::string lLine : lRow.mExpected)
            lNamed.push_back(lLine.insert(std::min(lLine.find(' '), lLine.size()), " " + lRow.mName));

        mMeshd.Signal("/com/corvanix/MeshLink" + lRow.mSignal.substr(0, lPath),
                      lRow.mSignal.substr(lPath + 1, lMember - lPath - 1), lRow.mSignal.substr(lMember + 1));
        Settle();
        EXPECT_EQ(lFirstLines, lNamed);
        EXPECT_EQ(lSecondLines, lNamed);
        EXPECT_EQ(lInterfaceLines, lRow.mName == "wpan0" ? lRow.mExpected : Lines{});
        // Every property but the jamming state is for others to see, too.
        const bool lIsShared = lRow.mExpected.size() == 1 && lRow.mExpected[0].rfind("Property", 0) == 0;
        EXPECT_EQ(sUnhandled.empty(), !lRow.mExpected.empty() && !lIsShared);
        EXPECT_TRUE(lRow.mLine == nullptr || mLog.Contains(lRow.mLine)) << mLog.GetText();
        EXPECT_TRUE(!lRow.mExpected.empty() || !mLog.Contains("wpanctl: ")) << mLog.GetText();

        mLog.Clear();
        for (Lines *const lLines : { &lFirstLines, &lSecondLines, &lInterfaceLines, &sUnhandled })
            lLines->clear();
    }
}

TEST_F(WPANCtl, ASlotMayDestroyMakeAndAsk)
{
    auto                  lDoomed = std::make_unique<zqWPANCtl>();
    auto                  lNext   = std::make_unique<zqWPANCtl>();
    zqWPANCtl             lLast;
    Lines                 lNextLines, lLastLines;
    int                   lLater     = 0;
    zqWPANCtl::Interface *lInterface = nullptr;

    lDoomed->mPreventSleep.connect(
        [&](const zqString &)
        {
            const zqWPANCtl lShortLived;
            lInterface = lDoomed->GetInterface("made-in-a-slot");
            lNext.reset();
            lDoomed.reset();
        });
    // The slots behind the one that destroys tempt the signal to tidy up after itself.
    for (int lIndex = 0; lIndex < 5; ++lIndex)
        lDoomed->mPreventSleep.connect([&](const zqString &) { ++lLater; });
    const auto lNextConnections = Record(*lNext, lNextLines);
    const auto lConnections     = Record(lLast, lLastLines);

    mMeshd.Signal(FakeMeshd::Path(), "PreventSleep");
    mMeshd.Signal(FakeMeshd::Path(), "PreventSleep");
    Settle();
    EXPECT_EQ(lDoomed, nullptr);
    EXPECT_EQ(lLater, 0);
    EXPECT_EQ(lNextLines, Lines{});
    EXPECT_EQ(lLastLines, (Lines{ "PreventSleep wpan0", "PreventSleep wpan0" }));
    EXPECT_EQ(lInterface, lLast.GetInterface("made-in-a-slot")); // it outlives its controller
    EXPECT_EQ(lInterface->Leave(), -5);                          // '-' is no part of an object path
}

TEST_F(WPANCtl, ASlotThatThrowsCostsOnlyItself)
{
    zqWPANCtl lThrowing, lOther;
    Lines     lLines;

    lThrowing.mAllowSleep.connect([](const zqString &) { throw 1; });
    const auto lConnections = Record(lOther, lLines);

    mMeshd.Signal(FakeMeshd::Path(), "AllowSleep");
    Settle();
    EXPECT_EQ(lLines, Lines{ "AllowSleep wpan0" });
    EXPECT_EQ(sUnhandled, Lines{ "AllowSleep" });
    EXPECT_TRUE(mLog.Contains(4, "wpanctl: a slot threw an exception"));

    // The dispatch has ended all the same: the list is pruned and walked again.
    mMeshd.Signal(FakeMeshd::Path(), "PreventSleep");
    Settle();
    EXPECT_EQ(lLines, (Lines{ "AllowSleep wpan0", "PreventSleep wpan0" }));
}

TEST_F(WPANCtl, SignalsFollowTheProcessWideBusAndComeOnce)
{
    zqDBus *const lFirst = zqDBus::GetThreadDefaultInstance();
    Lines         lLines;
    const auto    lConnections = Record(*sInitialised, lLines);

    std::thread(
        [&]
        {
            zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
            std::thread lSecond([] { EXPECT_EQ(zqWPANCtl().Init(), 0); });
            EXPECT_EQ(zqWPANCtl().Init(), 0);
            lSecond.join();
            mMeshd.Signal(FakeMeshd::Path(), "AllowSleep");
            Settle();
            EXPECT_EQ(lLines, Lines{ "AllowSleep wpan0" });
        })
        .join();

    zqDBus::SetGlobalDefaultInstance(lFirst);
    EXPECT_EQ(sInitialised->Init(), 0);
    mMeshd.Signal(FakeMeshd::Path(), "PreventSleep");
    Settle();
    EXPECT_EQ(lLines, (Lines{ "AllowSleep wpan0", "PreventSleep wpan0" }));
}

// Controllers come and go on another thread, and in their own slots, while
// signals flow and commands are made and answered.
TEST_F(WPANCtl, SurvivesItsUsersUnderLoad)
{
    std::atomic<bool> lDone{ false };
    std::atomic<int>  lAnswered{ 0 };
    int               lSent = 0;
    std::thread       lThread(
        [&]
        {
            for (int lIndex = 0; lIndex < 200; ++lIndex)
            {
                zqWPANCtl lController;
                lController.mAllowSleep.connect([](const zqString &) {});
                EXPECT_NE(lController.GetInterface(("wpan" + std::to_string(lIndex % 7)).c_str()), nullptr);
                EXPECT_TRUE(lIndex % 10 != 0 || lController.GetInterface()->Ping(60000) == 0);
                std::this_thread::yield();
            }
            lDone = true;
        });

    for (; !lDone || lSent == 0; ++lSent)
    {
        auto lDoomed = std::make_unique<zqWPANCtl>();
        lDoomed->mAllowSleep.connect([&](const zqString &) { lDoomed.reset(); });
        ASSERT_EQ(mInterface->Leave_Async([&](zqError anError) { lAnswered += anError == 0 ? 1 : 1000; }), 0);
        mMeshd.Signal(FakeMeshd::Path(), "AllowSleep");
        ASSERT_TRUE(PumpUntil([&] { return lDoomed == nullptr; }));
    }
    lThread.join();
    EXPECT_TRUE(PumpUntil([&] { return lAnswered == lSent; }));
}

} // namespace
