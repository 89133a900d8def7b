#include "testbus.h"

#include <logcapture.h>

namespace zq::Test
{

namespace
{

/** Writes down which row of which context was given what. */
struct Follower
{
    std::string               mName;
    std::vector<std::string> *mNotes;
    std::function<void()>     mAction;

    DBusHandlerResult Note(const char *aRow, const char *aMember)
    {
        mNotes->push_back(mName + aRow + aMember);

        if (mAction)
            mAction();

        return DBUS_HANDLER_RESULT_HANDLED;
    }

    static DBusHandlerResult HandleFirst(void *aContext, DBusConnection * /* aConnection */, DBusMessage *aMessage)
    {
        return static_cast<Follower *>(aContext)->Note(":first:", dbus_message_get_member(aMessage));
    }

    static DBusHandlerResult HandleSecond(void *aContext, DBusConnection * /* aConnection */, DBusMessage *aMessage)
    {
        return static_cast<Follower *>(aContext)->Note(":second:", dbus_message_get_member(aMessage));
    }

    static DBusHandlerResult HandleFilter(void *aContext, const char *aPath, DBusMessageIter *anIterator)
    {
        const char *lText = "";

        if (dbus_message_iter_get_arg_type(anIterator) == DBUS_TYPE_STRING)
            dbus_message_iter_get_basic(anIterator, &lText);

        return static_cast<Follower *>(aContext)->Note(":filter:", (std::string(aPath) + " " + lText).c_str());
    }
};

constexpr zqDBusSignalDispatch kEnd = { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr };

// The second row matches all that the first one does.
constexpr zqDBusSignalDispatch kTable[] = {
    { kPeerInterface, kPeerName, kPeerPath, "Changed", nullptr, Follower::HandleFirst },
    { kPeerInterface, kPeerName, nullptr, nullptr, nullptr, Follower::HandleSecond },
    kEnd,
};

using Notes = std::vector<std::string>;

class SignalsTest : public BusTest
{
protected:
    /** What the followers were given since the last time. */
    Notes Take()
    {
        mPeer.Flush();
        EXPECT_TRUE(Settle(mBus));

        return std::exchange(mNotes, {});
    }

    zqDBusFilter FilterOf(Follower &aFollower, const char *aSender = kPeerName) const
    {
        return { kPeerInterface, "Changed", aSender, Follower::HandleFilter, &aFollower };
    }

    Peer     mPeer;
    Notes    mNotes;
    Follower mOne{ "one", &mNotes, {} };
    Follower mTwo{ "two", &mNotes, {} };
};

} // namespace

TEST_F(SignalsTest, RowsMatchColumnByColumn)
{
    struct
    {
        zqDBusSignalDispatch mRow;
        bool                 mIsMatch;
    } const kRows[] = {
        { { nullptr, kPeerName, nullptr, nullptr, nullptr, Follower::HandleFirst }, true },
        { { kPeerInterface, kPeerName, kPeerPath, "Changed", "it's", Follower::HandleFirst }, true },
        { { kPeerInterface, nullptr, nullptr, "Changed", nullptr, Follower::HandleFirst }, true },
        { { "com.example.Other", nullptr, nullptr, nullptr, nullptr, Follower::HandleFirst }, false },
        { { kPeerInterface, "com.example.Absent", nullptr, nullptr, nullptr, Follower::HandleFirst }, false },
        { { kPeerInterface, DBUS_SERVICE_DBUS, nullptr, nullptr, nullptr, Follower::HandleFirst }, false },
        { { kPeerInterface, nullptr, "/other", nullptr, nullptr, Follower::HandleFirst }, false },
        { { kPeerInterface, nullptr, nullptr, "Change", nullptr, Follower::HandleFirst }, false },
        { { kPeerInterface, nullptr, nullptr, nullptr, "it", Follower::HandleFirst }, false },
    };

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(&lRow - kRows);

        const zqDBusSignalDispatch lTable[] = { lRow.mRow, kEnd };

        ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, lTable, &mOne));
        (void)Take();
        mPeer.Signal("Changed", "(\"it's\", 5)");
        EXPECT_EQ(lRow.mIsMatch ? Notes{ "one:first:Changed" } : Notes{}, Take());
        ASSERT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, lTable, &mOne));
    }

    (void)Take();
    mPeer.Signal("Changed");
    EXPECT_EQ(Notes{}, Take()) << "after the last one was unregistered";
}

TEST_F(SignalsTest, FirstArgumentMustBeAString)
{
    const zqDBusSignalDispatch lTable[] = {
        { kPeerInterface, nullptr, nullptr, nullptr, "/path", Follower::HandleFirst }, kEnd
    };

    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, lTable, &mOne));
    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mTwo));
    (void)Take();
    mPeer.Signal("Changed", "(objectpath '/path',)");
    mPeer.Signal("Changed", "");
    mPeer.Signal("Changed", "('/path',)");

    EXPECT_EQ((Notes{ "two:first:Changed", "two:first:Changed", "one:first:Changed", "two:first:Changed" }), Take());

    EXPECT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, kTable, &mTwo));
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, lTable, &mOne));
}

TEST_F(SignalsTest, AContextIsGivenAMessageOnceAndEveryContextIsGivenIt)
{
    const zqDBusFilter lFilters[] = { FilterOf(mOne), FilterOf(mTwo), {} };

    // Two tables for one context, and its filter: the first of them counts.
    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mOne));
    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &mOne));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();

    mPeer.Signal("Changed", "('now',)");
    mPeer.Signal("Other");
    EXPECT_EQ((Notes{ "one:first:Changed", "two:filter:/com/example now", "one:second:Other" }), Take());

    ASSERT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, kTable, &mOne));
    ASSERT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "one:filter:/com/example ", "two:filter:/com/example " }), Take());

    EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
    EXPECT_EQ(zqError_NotFound, mBus->RemoveFilters(lFilters));
    EXPECT_EQ(zqError_NotFound, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
}

TEST_F(SignalsTest, SignalsOfOthersAreIgnored)
{
    const zqDBusFilter lFilters[] = { FilterOf(mTwo), {} };
    RawPeer            lForger;
    const std::string  lUs = dbus_bus_get_unique_name(mBus->GetConnection());

    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mOne));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();

    lForger.SendSignal(nullptr, kPeerPath, kPeerInterface, "Changed");
    lForger.SendSignal(lUs.c_str(), kPeerPath, kPeerInterface, "Changed");
    lForger.SendSignal(lUs.c_str(), DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "NameOwnerChanged");
    EXPECT_EQ(Notes{}, Take());

    // Whoever owns the name is believed, and he who did no longer.
    const std::string lFormer = mPeer.GetUniqueName();

    ASSERT_TRUE(Settle(mBus));
    mPeer.Crash();
    ASSERT_TRUE(lForger.Own(kPeerName));
    lForger.SendSignal(nullptr, kPeerPath, kPeerInterface, "Changed");
    EXPECT_TRUE(Drive(mBus, [&] { return mNotes.size() == 2; }));
    mNotes.clear();

    EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, kTable, &mOne));
}

TEST_F(SignalsTest, FilterWithoutASenderTakesAnyones)
{
    const zqDBusFilter lFilters[] = { FilterOf(mOne, nullptr), {} };
    RawPeer            lAnyone;

    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();
    lAnyone.SendSignal(nullptr, "/any", kPeerInterface, "Changed");
    EXPECT_EQ((Notes{ "one:filter:/any " }), Take());
    EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
}

TEST_F(SignalsTest, OwnerIsKnownToWhoAsks)
{
    std::vector<bool> lAnswers;

    struct Context
    {
        zqDBus            *mBus;
        std::vector<bool> &mAnswers;

        static DBusHandlerResult Handle(void *aContext, DBusConnection * /* aConnection */, DBusMessage *aMessage)
        {
            auto *const lContext = static_cast<Context *>(aContext);

            lContext->mAnswers.push_back(lContext->mBus->IsSentByOwner(aMessage, kPeerName));
            lContext->mAnswers.push_back(lContext->mBus->IsSentByOwner(aMessage, "com.example.Absent"));
            lContext->mAnswers.push_back(lContext->mBus->IsSentByOwner(aMessage, DBUS_SERVICE_DBUS));
            lContext->mAnswers.push_back(lContext->mBus->IsSentByOwner(aMessage, dbus_message_get_sender(aMessage)));

            return DBUS_HANDLER_RESULT_HANDLED;
        }
    } lContext{ mBus, lAnswers };

    const zqDBusSignalDispatch lTable[] = { { kPeerInterface, nullptr, nullptr, "Changed", nullptr, Context::Handle },
                                            kEnd };
    RawPeer                    lOther;

    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", lTable, &lContext));
    (void)Take();
    mPeer.Signal("Changed");
    (void)Take();
    lOther.SendSignal(nullptr, "/", kPeerInterface, "Changed");
    (void)Take();

    EXPECT_EQ((std::vector<bool>{ true, false, false, true, false, false, false, true }), lAnswers);
    EXPECT_FALSE(mBus->IsSentByOwner(nullptr, kPeerName));
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", lTable, &lContext));
}

TEST_F(SignalsTest, HandlersMayChangeTheTablesThatAreBeingWalked)
{
    const zqDBusFilter lFilters[] = { FilterOf(mTwo), {} };
    Follower           lThree{ "three", &mNotes, {} };

    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &mOne));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();

    mOne.mAction = [&]
    {
        EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
        EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
        EXPECT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &lThree));
        EXPECT_EQ(zqError_NotFound, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
    };

    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "one:first:Changed" }), Take()) << "neither what has gone nor what is new";
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "three:first:Changed" }), Take());
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &lThree));
}

TEST_F(SignalsTest, HandlerThatThrowsStopsNobody)
{
    const LogCapture lLog;

    mOne.mAction = [] { throw 1; };
    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &mOne));
    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &mTwo));
    (void)Take();

    mPeer.Signal("Changed");
    mPeer.Signal("Other");
    EXPECT_EQ((Notes{ "one:first:Changed", "two:first:Changed", "one:second:Other", "two:second:Other" }), Take());
    EXPECT_EQ(2u, lLog.Count("threw"));

    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &mTwo));
}

TEST_F(SignalsTest, NameOwnerChangedIsForTheTablesToo)
{
    const zqDBusSignalDispatch lTable[] = { { DBUS_INTERFACE_DBUS, DBUS_SERVICE_DBUS, DBUS_PATH_DBUS,
                                              "NameOwnerChanged", kPeerName, Follower::HandleFirst },
                                            { kPeerInterface, kPeerName, nullptr, nullptr, nullptr,
                                              Follower::HandleSecond },
                                            kEnd };

    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", lTable, &mOne));
    (void)Take();

    // A handler that calls the new owner back is answered by him.
    mOne.mAction = [&]
    {
        if (mNotes.size() == 2)
        {
            EXPECT_EQ(0, CallPlainly(mBus, "Ask"));
        }
    };

    mPeer.Crash();
    ASSERT_TRUE(mPeer.Appear());
    mPeer.Signal("Changed");
    EXPECT_TRUE(Drive(mBus, [&] { return mNotes.size() == 3; }));
    EXPECT_EQ((Notes{ "one:first:NameOwnerChanged", "one:first:NameOwnerChanged", "one:second:Changed" }), mNotes);
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", lTable, &mOne));
}

TEST_F(SignalsTest, WhatIsNotHandledReachesOtherFiltersOfTheConnection)
{
    int        lSeen   = 0;
    const auto lFilter = [](DBusConnection *, DBusMessage *aMessage, void *aContext) -> DBusHandlerResult
    {
        *static_cast<int *>(aContext) += dbus_message_has_interface(aMessage, kPeerInterface) ? 1 : 0;
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    };
    const zqDBusFilter lFilters[] = {
        { kPeerInterface, "Refused", kPeerName,
          [](void *, const char *, DBusMessageIter *) { return DBUS_HANDLER_RESULT_NOT_YET_HANDLED; }, &mTwo },
        FilterOf(mOne),
        {}
    };

    ASSERT_TRUE(dbus_connection_add_filter(mBus->GetConnection(), lFilter, &lSeen, nullptr));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();
    mPeer.Signal("Changed");
    mPeer.Signal("Refused");
    EXPECT_EQ((Notes{ "one:filter:/com/example " }), Take());
    EXPECT_EQ(1, lSeen);

    EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
    dbus_connection_remove_filter(mBus->GetConnection(), lFilter, &lSeen);
}

TEST_F(SignalsTest, UnusableTablesAreRefusedWhole)
{
    const zqDBusSignalDispatch kBadRows[] = {
        { "nodots", nullptr, nullptr, nullptr, nullptr, Follower::HandleFirst },
        { nullptr, "no name", nullptr, nullptr, nullptr, Follower::HandleFirst },
        { nullptr, nullptr, "relative", nullptr, nullptr, Follower::HandleFirst },
        { nullptr, nullptr, nullptr, "not.a.member", nullptr, Follower::HandleFirst },
        { nullptr, nullptr, nullptr, nullptr, "\xff", Follower::HandleFirst },
    };

    for (const zqDBusSignalDispatch &lRow : kBadRows)
    {
        const zqDBusSignalDispatch lTable[] = { kTable[0], lRow, kEnd };

        EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterSignalHandlers("/", lTable, &mOne));
        EXPECT_EQ(zqError_NotFound, mBus->UnregisterSignalHandlers("/", lTable, &mOne));
    }

    const zqDBusFilter lFilters[] = { FilterOf(mOne), FilterOf(mOne, "no name"), {} };

    EXPECT_EQ(zqError_InvalidArgument, mBus->AddFilters(lFilters));
    EXPECT_EQ(zqError_InvalidArgument, mBus->AddFilters(nullptr));
    EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterSignalHandlers(nullptr, kTable, &mOne));
    EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterSignalHandlers("/", nullptr, &mOne));

    mPeer.Signal("Changed");
    EXPECT_EQ(Notes{}, Take()) << "of a refused table nothing is left";
}

} // namespace zq::Test
