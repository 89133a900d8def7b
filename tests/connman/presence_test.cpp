#include "connmanfixture.h"

#include <chrono>

using namespace zq::Test;

namespace
{

const Events kLoaded = {
    "PropertiesChanged {OfflineMode: false, SessionMode: false, State: offline}",
    "StateChanged offline",
    "ServicesAdded [/net/connman/service/a]",
    "TechnologiesAdded [/net/connman/technology/wifi]",
    "Available",
};

const char *const kAgentPath = "/com/corvanix/client";

class PresenceTest : public ConnManTest
{
protected:
    PresenceTest()
    {
        AddService("a");
        mFake.AddTechnology(FakeConnMan::TechnologyPath("wifi"), FakeConnMan::Technology("wifi"));
    }
};

TEST_F(PresenceTest, FollowsADaemonThatComesCrashesAndComesAgain)
{
    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(20000), 0);

    for (int lRound = 0; lRound < 2; ++lRound)
    {
        EXPECT_FALSE(mConnMan.IsAvailable());
        EXPECT_EQ(mConnMan.ServiceDisconnect(kA.c_str()), zqError_WrongState);
        EXPECT_EQ(mConnMan.TechnologyScan("/net/connman/technology/wifi"), zqError_WrongState);

        ASSERT_TRUE(Appear());
        EXPECT_EQ(Take(), kLoaded);
        EXPECT_EQ(mFake.GetAgentPath(), kAgentPath);
        EXPECT_TRUE(mLog.Contains("connman: net.connman service at " + mFake.GetUniqueName() + " connected", 3));
        EXPECT_TRUE(mLog.Contains("connman: adding 1 services to 0 existing services", 2));
        EXPECT_TRUE(mLog.Contains("connman: registering input agent", 2));

        mLog.Clear();
        ASSERT_TRUE(Crash());
        EXPECT_EQ(std::exchange(mDelegate.mEvents, {}), Events{ "Unavailable" });
        EXPECT_TRUE(mLog.Contains("disconnected", 3));
    }
}

TEST_F(PresenceTest, ABusThatIsSlowToSayWhetherTheDaemonIsThereIsWaitedFor)
{
    mConnMan.SetDelegate(&mDelegate);
    for (const bool lIsThere : { false, true })
    {
        ASSERT_TRUE(!lIsThere || mFake.Appear());
        SystemBus().Stop();
        EXPECT_EQ(mConnMan.Init(20000), 0);
        SystemBus().Continue();
        EXPECT_FALSE(mConnMan.IsAvailable());

        ASSERT_TRUE(lIsThere || PumpUntil([this] { return mLog.Contains("GetProperties error received"); }));
        ASSERT_TRUE(lIsThere || mFake.Appear());
        ASSERT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));
        EXPECT_EQ(Take(), kLoaded);
        mConnMan.Destroy();
        mConnMan.SetDelegate(&mDelegate);
        RoundTrip("org.freedesktop.DBus"); // nobody follows the name any more
        mFake.Crash();
    }
}

TEST_F(PresenceTest, ADelegateThatComesLateIsToldWhatIsLoaded)
{
    RecordingDelegate lOther;
    Events            lExpected = kLoaded;

    lExpected.erase(lExpected.begin() + 1); // the state comes with the properties
    ASSERT_TRUE(mFake.Appear());
    ASSERT_EQ(mConnMan.Init(), 0);
    EXPECT_EQ(mFake.GetAgentPath(), "");
    mConnMan.SetDelegate(&mDelegate);
    EXPECT_EQ(Take(), lExpected);
    EXPECT_EQ(mFake.GetAgentPath(), kAgentPath);

    // The same once more is nothing new; another one hears it all, from the agent that there is.
    mConnMan.SetDelegate(&mDelegate);
    EXPECT_EQ(Take(), Events());
    mConnMan.SetDelegate(&lOther);
    EXPECT_EQ(Events(lOther.mEvents.begin() + 1, lOther.mEvents.end()), Events(lExpected.begin() + 1, lExpected.end()));
    EXPECT_EQ(mFake.CountCalls("RegisterAgent"), 1u);

    mConnMan.SetDelegate(nullptr);
    EXPECT_EQ(mFake.GetAgentPath(), "");
    EXPECT_TRUE(mLog.Contains("connman: unregistering input agent", 2));
}

TEST_F(PresenceTest, OnlyTheBusTellsWhoOwnsTheName)
{
    Start();
    mFake.EmitForged("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged",
                     "('net.connman', '" + mFake.GetUniqueName() + "', '')");
    mFake.EmitForged(kA, kService, "PropertyChanged", "('State', <'online'>)",
                     dbus_bus_get_unique_name(mBus->GetConnection()));
    EXPECT_EQ(Take(), Events());
}

TEST_F(PresenceTest, ALoadThatFailsLeavesADefinedStateAndIsMadeUpFor)
{
    const auto lPart = [](int aFrom, int aTo) { return Events(kLoaded.begin() + aFrom, kLoaded.begin() + aTo); };
    const auto lEnd  = [](Events anEvents, const char *aLast)
    {
        anEvents.emplace_back(aLast);
        return anEvents;
    };
    const Events lProperties     = lEnd(lPart(0, 2), "Available");
    const Events lAllButTheAgent = lEnd(lPart(0, 4), "Unavailable");

    enum What
    {
        kAbsent,  // until it comes again
        kSilent,  // it is asked, at once when it sends a signal
        kRefused, // it is asked, and its signals do not hurry that
        kContent  // nothing that could change is missing
    };
    const struct
    {
        const char *mMethod;
        Answer      mAnswer;
        Events      mTold;
        What        mWhat;
        Events      mThen = {};
        const char *mLog  = "";
    } lCases[] = {
        { "GetProperties", Answer::Silence(), { "Available" }, kSilent, kLoaded },
        { "GetServices", Answer::Silence(), lProperties, kSilent, lPart(2, 5) },
        { "RegisterAgent", Answer::Silence(), lAllButTheAgent, kSilent, kLoaded },
        { "GetTechnologies", Answer::Crash(), lEnd(lPart(0, 3), "Unavailable"), kAbsent, kLoaded },
        { "RegisterAgent", Answer::Crash(), lAllButTheAgent, kAbsent, kLoaded },
        { "RegisterAgent", Answer::Error("net.connman.Error.PermissionDenied", "Permission denied"), lAllButTheAgent,
          kRefused, kLoaded },
        { "RegisterAgent", Answer::Error("net.connman.Error.AlreadyExists", "Already exists"), kLoaded, kContent },
        { "GetServices", Answer::Error("net.connman.Error.Failed", "Input/output error"), lProperties, kContent },
        { "GetServices", Answer::Value("('text',)"), lProperties, kContent },
        { "GetServices",
          Answer::Value("([(objectpath '/a', {'MTU': <uint16 1500>})],)"),
          lProperties,
          kContent,
          {},
          "connman: cannot decode services: -5" },
    };

    for (const auto &lCase : lCases)
    {
        SCOPED_TRACE(lCase.mMethod + std::to_string(&lCase - lCases));
        mLog.Clear();
        mFake.ClearCalls();
        ASSERT_TRUE(mFake.IsPresent() || mFake.Appear());
        mFake.Script(lCase.mMethod, lCase.mAnswer, "", 1);
        mConnMan.SetDelegate(&mDelegate);
        ASSERT_EQ(mConnMan.Init(500), 0);
        EXPECT_EQ(mConnMan.IsAvailable(), lCase.mTold.back() == "Available");
        EXPECT_EQ(std::exchange(mDelegate.mEvents, {}), lCase.mTold) << mLog.GetText();
        EXPECT_TRUE(mLog.Contains(lCase.mLog)) << mLog.GetText();

        // Signals are dispatched here without a look at the clock.
        mConnMan.SetTimeout(20000);
        mFake.Script("GetProperties", Answer::Held());
        for (int lCount = 0; lCount < 2 && lCase.mWhat != kAbsent; ++lCount)
        {
            mFake.Emit(kA, kService, "PropertyChanged", "('Strength', <byte 1>)");
            mFake.Flush();
            RoundTrip("org.freedesktop.DBus");
            mDelegate.mEvents.clear();
            (void)mBus->HandleEvents(nullptr);
            RoundTrip("net.connman");
            EXPECT_EQ(mFake.CountCalls("GetProperties"), lCase.mWhat == kSilent ? 2u : 1u) << mLog.GetText();
        }
        if (lCase.mWhat == kSilent && !mConnMan.IsAvailable())
            mFake.Crash(); // the answer that is outstanding is not that of the next one
        mDelegate.mEvents.clear();
        mFake.ClearScripts();
        mFake.ReleaseHeld();
        ASSERT_TRUE(mFake.IsPresent() || mFake.Appear());
        ASSERT_TRUE(PumpUntil([&] { return mDelegate.mEvents.size() >= lCase.mThen.size(); })) << mLog.GetText();
        EXPECT_EQ(mDelegate.mEvents, lCase.mThen);
        EXPECT_TRUE(mConnMan.IsAvailable());
        mConnMan.Destroy();
        mDelegate.mEvents.clear();
    }
}

TEST_F(PresenceTest, ADelegateWhoseAgentIsNotAnsweredHearsOfTheDaemonLater)
{
    ASSERT_TRUE(mFake.Appear());
    ASSERT_EQ(mConnMan.Init(500), 0);
    mFake.Script("RegisterAgent", Answer::Silence(), "", 1);
    mConnMan.SetDelegate(&mDelegate);
    EXPECT_EQ(mDelegate.Count("Available"), 0u);
    EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count("Available") == 1; })) << mLog.GetText();

    // It is not waited for when it is to forget the agent.
    const auto lBegin = std::chrono::steady_clock::now();

    mConnMan.SetTimeout(60000);
    mFake.Script("UnregisterAgent", Answer::Silence());
    mConnMan.Destroy();
    EXPECT_LT(std::chrono::steady_clock::now() - lBegin, std::chrono::seconds(30));
}

TEST_F(PresenceTest, WhatIsAskedForWithoutACacheIsWhatSignalsAreAppliedTo)
{
    const auto lPaths = MakeArray();

    Start();
    mConnMan.Flush();
    ASSERT_EQ(mConnMan.UpdateProperties(), 0);
    ASSERT_EQ(mConnMan.ManagerGetServices(lPaths.Get()), 0);
    ASSERT_EQ(mConnMan.ManagerGetTechnologies(lPaths.Get()), 0);
    mDelegate.mEvents.clear();
    mFake.SetServiceProperty(kA, "State", "'ready'");
    mFake.SetTechnologyProperty(FakeConnMan::TechnologyPath("wifi"), "Powered", "false");
    EXPECT_EQ(Take(), (Events{ "ServiceChanged /net/connman/service/a {State: ready}",
                               "TechnologyChanged /net/connman/technology/wifi {Powered: false}" }));
}

TEST_F(PresenceTest, ASecondClientOfTheThreadIsRefusedAndTheFirstTakesItsAgentBack)
{
    Start();
    EXPECT_EQ(mConnMan.Init(), zqError_WrongState);
    {
        zqConnMan lSecond;

        EXPECT_EQ(lSecond.Init(), zqError_AlreadyPresent);
    }
    mFake.SetServiceProperty(kA, "State", "'ready'");
    EXPECT_EQ(Take(), Events{ "ServiceChanged /net/connman/service/a {State: ready}" });

    mConnMan.Destroy();
    mConnMan.Destroy();
    EXPECT_EQ(mFake.GetAgentPath(), "");
    EXPECT_EQ(mDelegate.mEvents, Events());
    EXPECT_EQ(mConnMan.ServiceConnect("/a"), zqError_WrongState);
}

TEST_F(PresenceTest, WhatCameForOneClientIsNotLeftBehindAndMisleadsNotTheNext)
{
    const zqDBusSignalDispatch lOthers[] = { { "a.b", nullptr, nullptr, "C", nullptr,
                                               [](auto...) { return DBUS_HANDLER_RESULT_NOT_YET_HANDLED; } },
                                             { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr } };

    unsigned int      lCount       = 0;
    PRPollDesc *const lDescriptors = mBus->GetPollDescriptors(lCount, nullptr);

    for (const bool lIsShared : { false, true })
    {
        SCOPED_TRACE(lIsShared);
        ASSERT_TRUE(!lIsShared || mBus->RegisterSignalHandlers("/", lOthers, this) == 0);
        ASSERT_TRUE(mFake.Appear());
        ASSERT_EQ(mConnMan.Init(20000), 0);
        mFake.SetServiceProperty(kA, "State", "'ready'");
        mFake.Crash();
        RoundTrip("org.freedesktop.DBus");
        mConnMan.Destroy();

        EXPECT_EQ(PR_Poll(lDescriptors, lCount, PR_INTERVAL_NO_WAIT), lIsShared ? 1 : 0);
        ASSERT_TRUE(mFake.Appear());
        mConnMan.SetDelegate(&mDelegate);
        ASSERT_EQ(mConnMan.Init(20000), 0);
        ASSERT_TRUE(PumpUntil([&] { return mDelegate.Count("Unavailable") == lIsShared; }));
        EXPECT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));
        mConnMan.Destroy();
        mDelegate.mEvents.clear();
        mFake.Crash();
    }
    EXPECT_EQ(mBus->UnregisterSignalHandlers("/", lOthers, this), 0);
}

TEST_F(PresenceTest, ReleaseMeansThatTheDaemonGoes)
{
    Start();
    // One that stays all the same is found again.
    mFake.CallAgent("Release", "");
    ASSERT_TRUE(PumpUntil([this] { return mDelegate.Count("") == 1 + kLoaded.size(); })) << mLog.GetText();
    EXPECT_EQ(mDelegate.mEvents[0], "Unavailable");
    mDelegate.mEvents.clear();

    mFake.Shutdown();
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    EXPECT_EQ(mDelegate.mEvents, (Events{ "TechnologiesRemoved [/net/connman/technology/wifi]",
                                          "ServicesRemoved [/net/connman/service/a]", "Unavailable" }));

    // The loss of the name that follows is no second departure.
    ASSERT_TRUE(Appear());
    Settle();
    EXPECT_EQ(mDelegate.Count("Unavailable"), 1u);
    EXPECT_FALSE(mLog.Contains("ASSERT"));
}

TEST_F(PresenceTest, TheLossOfTheBusEndsInUnavailableAndEveryCallInWrongState)
{
    mFake.Script("Connect", Answer::Silence());
    Start();
    ASSERT_EQ(mConnMan.ServiceConnect(kA.c_str()), 0);

    SystemBus().Kill();
    EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count("Unavailable") == 1; }));
    EXPECT_EQ(mDelegate.Count("ServiceDidNotConnect " + kA), 1u);
    EXPECT_TRUE(mLog.Contains("connman: the bus is gone", 3));
    EXPECT_EQ(mConnMan.ServiceConnect(kA.c_str()), zqError_WrongState);

    // Without a bus there is no client.
    mConnMan.Destroy();
    EXPECT_EQ(mConnMan.Init(), zqError_Failed);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: mDBus != __null", 4));
}

} // namespace
