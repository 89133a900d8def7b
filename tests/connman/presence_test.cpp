#include "connmanfixture.h"

namespace zq::Test
{
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
    ASSERT_TRUE(mFake.Appear());
    mConnMan.SetDelegate(&mDelegate);
    SystemBus().Stop();
    EXPECT_EQ(mConnMan.Init(20000), 0);
    SystemBus().Continue();
    EXPECT_FALSE(mConnMan.IsAvailable());

    ASSERT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));
    EXPECT_EQ(Take(), kLoaded);
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

TEST_F(PresenceTest, ALoadThatFailsLeavesADefinedStateAndTheNextOneIsWhole)
{
    static const struct
    {
        const char *mName;
        const char *mMethod;
        Answer      mAnswer;
        bool        mAvailable;
        const char *mLog = "";
    } sCases[] = {
        { "silent services", "GetServices", Answer::Silence(), false },
        { "crash in technologies", "GetTechnologies", Answer::Crash(), false },
        { "crash in agent", "RegisterAgent", Answer::Crash(), false },
        { "agent refused", "RegisterAgent", Answer::Error("net.connman.Error.PermissionDenied", "Permission denied"),
          false },
        { "agent known", "RegisterAgent", Answer::Error("net.connman.Error.AlreadyExists", "Already exists"), true },
        { "services refused", "GetServices", Answer::Error("net.connman.Error.Failed", "Input/output error"), true },
        { "services of another type", "GetServices", Answer::Value("('text',)"), true },
        { "services that exact decoding refuses", "GetServices",
          Answer::Value("([(objectpath '/a', {'MTU': <uint16 1500>})],)"), true,
          "connman: cannot decode services: -5" },
    };

    for (const auto &lCase : sCases)
    {
        SCOPED_TRACE(lCase.mName);
        mLog.Clear();
        mDelegate.mEvents.clear();
        ASSERT_TRUE(mFake.Appear());
        mFake.Script(lCase.mMethod, lCase.mAnswer, "", 1);
        mConnMan.SetDelegate(&mDelegate);
        ASSERT_EQ(mConnMan.Init(300), 0);
        EXPECT_EQ(mConnMan.IsAvailable(), lCase.mAvailable);
        EXPECT_EQ(mDelegate.Count("Available"), lCase.mAvailable ? 1u : 0u);
        EXPECT_TRUE(mLog.Contains(lCase.mLog)) << mLog.GetText();

        ASSERT_TRUE(Crash());
        mConnMan.SetTimeout(20000);
        mDelegate.mEvents.clear();
        ASSERT_TRUE(mFake.Appear());
        ASSERT_TRUE(PumpUntil([this] { return mDelegate.Count("Available") == 1; })) << mLog.GetText();
        EXPECT_EQ(mDelegate.Count(kLoaded[2]), 1u);
        EXPECT_EQ(mDelegate.Count(kLoaded[3]), 1u);
        mConnMan.Destroy();
    }
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

TEST_F(PresenceTest, ReleaseMeansThatTheDaemonGoes)
{
    Start();
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
} // namespace zq::Test
