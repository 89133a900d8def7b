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

class PresenceTest : public ConnManTest
{
protected:
    PresenceTest()
    {
        AddService("a");
        mFake.AddTechnology(FakeConnMan::TechnologyPath("wifi"), FakeConnMan::Technology("wifi"));
    }
};

TEST_F(PresenceTest, LoadsADaemonThatIsThereAndRegistersTheAgent)
{
    Start();

    EXPECT_EQ(Take(), kLoaded);
    EXPECT_EQ(mFake.GetAgentPath(), "/com/corvanix/client");
    EXPECT_TRUE(mLog.Contains("connman: adding 1 services to 0 existing services", 2));
    EXPECT_TRUE(mLog.Contains("connman: registering input agent", 2));
}

TEST_F(PresenceTest, WaitsForADaemonThatComesLater)
{
    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(20000), 0);
    EXPECT_FALSE(mConnMan.IsAvailable());
    EXPECT_EQ(mConnMan.ServiceDisconnect("/net/connman/service/a"), zqError_WrongState);

    ASSERT_TRUE(mFake.Appear());
    ASSERT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));

    EXPECT_EQ(Take(), kLoaded);
    EXPECT_TRUE(mLog.Contains("connman: net.connman service at " + mFake.GetUniqueName() + " connected", 3));
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
    ASSERT_TRUE(mFake.Appear());
    ASSERT_EQ(mConnMan.Init(), 0);
    EXPECT_EQ(mFake.GetAgentPath(), "");

    mConnMan.SetDelegate(&mDelegate);

    Events lExpected = kLoaded;
    lExpected.erase(lExpected.begin() + 1); // the state comes with the properties

    EXPECT_EQ(Take(), lExpected);
    EXPECT_EQ(mFake.GetAgentPath(), "/com/corvanix/client");

    // The same once more is nothing new; another one hears it all, from the agent that there is.
    RecordingDelegate lOther;

    mConnMan.SetDelegate(&mDelegate);
    EXPECT_EQ(Take(), Events());
    mConnMan.SetDelegate(&lOther);
    EXPECT_EQ(lOther.Count("Available"), 1u);
    EXPECT_EQ(mFake.CountCalls("RegisterAgent"), 1u);

    mConnMan.SetDelegate(nullptr);
    EXPECT_EQ(mFake.GetAgentPath(), "");
    EXPECT_TRUE(mLog.Contains("connman: unregistering input agent", 2));
}

TEST_F(PresenceTest, FollowsACrashAndARestartOfTheDaemon)
{
    Start();
    Take();

    mFake.Crash();
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    EXPECT_EQ(mDelegate.mEvents, Events{ "Unavailable" });
    EXPECT_TRUE(mLog.Contains("disconnected", 3));
    EXPECT_EQ(mConnMan.TechnologyScan("/net/connman/technology/wifi"), zqError_WrongState);

    mDelegate.mEvents.clear();
    ASSERT_TRUE(mFake.Appear());
    ASSERT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));
    EXPECT_EQ(Take(), kLoaded);
    EXPECT_EQ(mFake.GetAgentPath(), "/com/corvanix/client");
}

TEST_F(PresenceTest, ReleaseMeansThatTheDaemonGoes)
{
    Start();
    Take();

    mFake.Shutdown();
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    EXPECT_EQ(mDelegate.mEvents, (Events{ "TechnologiesRemoved [/net/connman/technology/wifi]",
                                          "ServicesRemoved [/net/connman/service/a]", "Unavailable" }));

    // The loss of the name that follows is no second departure.
    ASSERT_TRUE(mFake.Appear());
    ASSERT_TRUE(PumpUntil([this] { return mConnMan.IsAvailable(); }));
    Settle();
    EXPECT_EQ(mDelegate.Count("Unavailable"), 1u);
    EXPECT_FALSE(mLog.Contains("ASSERT"));
}

TEST_F(PresenceTest, OnlyTheBusTellsWhoOwnsTheName)
{
    Start();
    Take();

    mFake.EmitForged("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged",
                     "('net.connman', '" + mFake.GetUniqueName() + "', '')");
    mFake.EmitForged("/net/connman/service/a", kService, "PropertyChanged", "('State', <'online'>)",
                     dbus_bus_get_unique_name(mBus->GetConnection()));
    EXPECT_EQ(Take(), Events());
}

/** A peer that waits in line for the name, and has nothing to say. */
class NextOwner
{
public:
    NextOwner()
        : mConnection(g_dbus_connection_new_for_address_sync(
              SystemBus().GetAddress().c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr))
    {
        GVariant *lReply = g_dbus_connection_call_sync(
            mConnection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            g_variant_new("(su)", "net.connman", 0u), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);

        EXPECT_NE(lReply, nullptr);
        g_variant_unref(lReply);
    }
    ~NextOwner()
    {
        (void)g_dbus_connection_close_sync(mConnection, nullptr, nullptr);
        g_object_unref(mConnection);
    }

    std::string GetName() const { return g_dbus_connection_get_unique_name(mConnection); }

private:
    GDBusConnection *mConnection;
};

TEST_F(PresenceTest, AnotherDaemonInOneStepVoidsWhatTheFirstHad)
{
    Start();
    Take();

    const std::string lFirst = mFake.GetUniqueName();
    const NextOwner   lNext;

    mFake.Crash();
    ASSERT_TRUE(PumpUntil([&] { return mLog.Contains("service at " + lNext.GetName() + " connected", 3); }));
    EXPECT_TRUE(mLog.Contains("service at " + lFirst + " disconnected", 3));
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    EXPECT_EQ(mDelegate.mEvents, Events{ "Unavailable" });
}

TEST_F(PresenceTest, ADaemonThatCannotBeDecodedIsStillAvailable)
{
    AddService("mtu", FakeConnMan::EthernetServiceWithMTU());
    Start();

    EXPECT_EQ(mDelegate.Count("Available"), 1u);
    EXPECT_EQ(mDelegate.Count("StateChanged offline"), 1u);
    EXPECT_EQ(mDelegate.Count("ServicesAdded"), 0u);
    EXPECT_TRUE(mLog.Contains("connman: cannot decode services: -5", 4));

    // It is loaded when it comes anew with something that can be.
    mFake.Silently(true);
    mFake.RemoveService(Path("mtu"));
    mFake.Silently(false);
    mDelegate.mEvents.clear();
    mFake.Crash();
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    ASSERT_TRUE(mFake.Appear());
    ASSERT_TRUE(PumpUntil([this] { return mDelegate.Count("Available") == 1; }));
    EXPECT_EQ(mDelegate.Count("ServicesAdded"), 1u);
}

struct LoadFailure
{
    const char *mName;
    const char *mMethod;
    Answer      mAnswer;
    bool        mAvailable;
};

class LoadFailureTest : public PresenceTest, public testing::WithParamInterface<LoadFailure>
{
};

TEST_P(LoadFailureTest, LeavesADefinedState)
{
    const LoadFailure &lCase = GetParam();

    ASSERT_TRUE(mFake.Appear());
    mFake.Script(lCase.mMethod, lCase.mAnswer, "", 1);
    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(300), 0);

    EXPECT_EQ(mConnMan.IsAvailable(), lCase.mAvailable);
    EXPECT_EQ(mDelegate.Count("Available"), lCase.mAvailable ? 1u : 0u);

    // However it failed, the next daemon is loaded whole.
    mFake.Crash();
    ASSERT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
    mConnMan.SetTimeout(20000);
    mDelegate.mEvents.clear();
    ASSERT_TRUE(mFake.Appear());
    ASSERT_TRUE(PumpUntil([this] { return mDelegate.Count("Available") == 1; })) << mLog.GetText();
    EXPECT_EQ(mDelegate.Count("ServicesAdded [/net/connman/service/a]"), 1u);
    EXPECT_EQ(mDelegate.Count("TechnologiesAdded"), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, LoadFailureTest,
    testing::Values(LoadFailure{ "SilentProperties", "GetProperties", Answer::Silence(), false },
                    LoadFailure{ "SilentServices", "GetServices", Answer::Silence(), false },
                    LoadFailure{ "CrashInProperties", "GetProperties", Answer::Crash(), false },
                    LoadFailure{ "CrashInServices", "GetServices", Answer::Crash(), false },
                    LoadFailure{ "CrashInTechnologies", "GetTechnologies", Answer::Crash(), false },
                    LoadFailure{ "CrashInRegisterAgent", "RegisterAgent", Answer::Crash(), false },
                    LoadFailure{ "NameUnknown", "GetServices",
                                 Answer::Error("org.freedesktop.DBus.Error.ServiceUnknown", "gone"), false },
                    LoadFailure{ "AgentRefused", "RegisterAgent",
                                 Answer::Error("net.connman.Error.PermissionDenied", "Permission denied"), false },
                    LoadFailure{ "AgentKnown", "RegisterAgent",
                                 Answer::Error("net.connman.Error.AlreadyExists", "Already exists"), true },
                    LoadFailure{ "ServicesRefused", "GetServices",
                                 Answer::Error("net.connman.Error.Failed", "Input/output error"), true },
                    LoadFailure{ "ServicesOfAnotherType", "GetServices", Answer::Value("('text',)"), true },
                    LoadFailure{ "NoServicesArgument", "GetServices", Answer::Value(""), true }),
    [](const auto &anInfo) { return std::string(anInfo.param.mName); });

TEST_F(PresenceTest, TheDelegateMayUseTheClientFromEveryCallback)
{
    Events lResults;

    mDelegate.mOnEvent = [&](const std::string &aEvent)
    {
        CFDictionaryRef lProperties = nullptr;

        if (aEvent.compare(0, 13, "ServicesAdded") == 0)
        {
            const zqError lReturn = mConnMan.ServiceGetProperties(Path("a").c_str(), lProperties);

            lResults.push_back(std::to_string(lReturn) + " " + DescribeAndRelease(lProperties));
        }
        if (aEvent == "Available")
            mConnMan.SetDelegate(nullptr);
    };
    ASSERT_TRUE(mFake.Appear());
    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(20000), 0);

    EXPECT_EQ(lResults, Events{ "0 {State: idle}" });
    EXPECT_EQ(mFake.GetAgentPath(), "");
}

TEST_F(PresenceTest, ASecondClientOfTheThreadIsRefusedAndHarmsNothing)
{
    Start();

    EXPECT_EQ(mConnMan.Init(), zqError_WrongState);
    {
        zqConnMan lSecond;

        EXPECT_EQ(lSecond.Init(), zqError_AlreadyPresent);
    }
    mDelegate.mEvents.clear();
    mFake.SetServiceProperty(Path("a"), "State", "'ready'");
    EXPECT_EQ(Take(), Events{ "ServiceChanged /net/connman/service/a {State: ready}" });
    EXPECT_NE(mFake.CallAgent("Release", ""), 0u);
    EXPECT_TRUE(PumpUntil([this] { return !mConnMan.IsAvailable(); }));
}

TEST_F(PresenceTest, DestroyTakesTheAgentBackAndMayBeRepeated)
{
    Start();
    Take();
    mConnMan.Destroy();
    mConnMan.Destroy();

    EXPECT_EQ(mFake.GetAgentPath(), "");
    EXPECT_EQ(mDelegate.mEvents, Events());
    EXPECT_EQ(mConnMan.ServiceConnect("/a"), zqError_WrongState);

    mConnMan.SetDelegate(&mDelegate);
    ASSERT_EQ(mConnMan.Init(20000), 0);
    EXPECT_EQ(Take(), kLoaded);
}

TEST_F(ConnManTest, TheLossOfTheBusEndsInUnavailableAndEveryCallInWrongState)
{
    const std::string lPath = Path("a");

    AddService("a");
    mFake.Script("Connect", Answer::Silence());
    Start();
    ASSERT_EQ(mConnMan.ServiceConnect(lPath.c_str()), 0);

    SystemBus().Kill();
    EXPECT_TRUE(PumpUntil([&] { return mDelegate.Count("Unavailable") == 1; }));
    EXPECT_EQ(mDelegate.Count("ServiceDidNotConnect " + lPath), 1u);
    EXPECT_TRUE(mLog.Contains("connman: the bus is gone", 3));
    EXPECT_EQ(mConnMan.ServiceDisconnect(lPath.c_str()), zqError_WrongState);
    EXPECT_EQ(mConnMan.ServiceConnect(lPath.c_str()), zqError_WrongState);

    // Without a bus there is no client; with a new one there is.
    mConnMan.Destroy();
    EXPECT_EQ(mConnMan.Init(), zqError_Failed);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: mDBus != __null", 4));
    ASSERT_TRUE(SystemBus().Start());
    EXPECT_EQ(mConnMan.Init(), 0);
}

} // namespace
} // namespace zq::Test
