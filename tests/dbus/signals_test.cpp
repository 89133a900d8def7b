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

    template <int kRow>
    static DBusHandlerResult Handle(void *aContext, DBusConnection * /* aConnection */, DBusMessage *aMessage)
    {
        return static_cast<Follower *>(aContext)->Note(kRow == 1 ? ":first:" : ":second:",
                                                       dbus_message_get_member(aMessage));
    }

    static DBusHandlerResult HandleFilter(void *aContext, const char *aPath, DBusMessageIter *anIterator)
    {
        const char *lText = "";

        if (dbus_message_iter_get_arg_type(anIterator) == DBUS_TYPE_STRING)
            dbus_message_iter_get_basic(anIterator, &lText);

        return static_cast<Follower *>(aContext)->Note(":filter:", (std::string(aPath) + " " + lText).c_str());
    }
};

// The second row matches all that the first one does.
constexpr zqDBusSignalDispatch kTable[] = {
    { kPeerInterface, kPeerName, kPeerPath, "Changed", nullptr, Follower::Handle<1> },
    { kPeerInterface, kPeerName, nullptr, nullptr, nullptr, Follower::Handle<2> },
    kEndOfSignals,
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
    const char *const kText   = "('it',)";
    const auto        kHandle = Follower::Handle<1>;
    const struct
    {
        zqDBusSignalDispatch mRow;
        const char          *mBody;
        bool                 mIsMatch;
    } kRows[] = {
        { { nullptr, kPeerName, nullptr, nullptr, nullptr, kHandle }, kText, true },
        { { kPeerInterface, kPeerName, kPeerPath, "Changed", "it's", kHandle }, "(\"it's\", 5)", true },
        { { kPeerInterface, nullptr, nullptr, "Changed", nullptr, kHandle }, kText, true },
        { { "com.example.Other", nullptr, nullptr, nullptr, nullptr, kHandle }, kText, false },
        { { kPeerInterface, "com.example.Absent", nullptr, nullptr, nullptr, kHandle }, kText, false },
        { { kPeerInterface, nullptr, "/other", nullptr, nullptr, kHandle }, kText, false },
        { { kPeerInterface, nullptr, nullptr, "Change", nullptr, kHandle }, kText, false },
        { { kPeerInterface, nullptr, nullptr, nullptr, "i", kHandle }, kText, false },
        // The first argument must be a string.
        { { kPeerInterface, nullptr, nullptr, nullptr, "/path", kHandle }, "('/path',)", true },
        { { kPeerInterface, nullptr, nullptr, nullptr, "/path", kHandle }, "(objectpath '/path',)", false },
        { { kPeerInterface, nullptr, nullptr, nullptr, "/path", kHandle }, "", false },
    };

    // So that the bus sends it whatever the row says.
    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mTwo));

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(&lRow - kRows);

        const zqDBusSignalDispatch lTable[] = { lRow.mRow, kEndOfSignals };

        ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, lTable, &mOne));
        (void)Take();
        mPeer.Signal("Changed", lRow.mBody);
        EXPECT_EQ(lRow.mIsMatch ? (Notes{ "two:first:Changed", "one:first:Changed" }) : Notes{ "two:first:Changed" },
                  Take());
        ASSERT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, lTable, &mOne));
    }

    ASSERT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, kTable, &mTwo));
    mPeer.Signal("Changed");
    EXPECT_EQ(Notes{}, Take()) << "after the last one was unregistered";
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

TEST_F(SignalsTest, SignalsOfOthersAreForRowsWithoutASenderOnly)
{
    const zqDBusFilter lFilters[] = { FilterOf(mTwo), {} };
    const zqDBusFilter lAnyones[] = { FilterOf(mOne, nullptr), {} };
    const std::string  lUs        = dbus_bus_get_unique_name(mBus->GetConnection());

    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mOne));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();
    mPeer.EmitForged(kPeerPath, kPeerInterface, "Changed", "");
    mPeer.EmitForged(kPeerPath, kPeerInterface, "Changed", "", lUs);
    mPeer.EmitForged(DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "NameOwnerChanged",
                     "('com.example.Peer', '" + mPeer.GetUniqueName() + "', '')", lUs);
    mPeer.Signal("Other");
    EXPECT_EQ((Notes{ "one:second:Other" }), Take());

    ASSERT_EQ(0, mBus->AddFilters(lAnyones));
    (void)Take();
    mPeer.EmitForged("/any", kPeerInterface, "Changed", "");
    EXPECT_EQ((Notes{ "one:filter:/any " }), Take());
    ASSERT_EQ(0, mBus->RemoveFilters(lAnyones));

    // Whoever owns the name is believed.
    mPeer.Crash();
    Peer lOther;
    lOther.Signal("Changed");
    EXPECT_TRUE(Drive(mBus, [&] { return mNotes.size() == 2; }));
}

TEST_F(SignalsTest, HandlersMayThrowAndChangeTheTablesThatAreBeingWalked)
{
    // Of any sender: whether the peer owns its name would have to be asked anew.
    const zqDBusSignalDispatch lTable[] = {
        { kPeerInterface, nullptr, nullptr, "Changed", nullptr, Follower::Handle<1> }, kEndOfSignals
    };
    const zqDBusFilter lFilters[] = { FilterOf(mTwo), {} };
    const LogCapture   lLog;
    Follower           lThree{ "three", &mNotes, {} };

    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &mOne));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();

    mOne.mAction = [] { throw 1; };
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "one:first:Changed", "two:filter:/com/example " }), Take());
    EXPECT_EQ(1u, lLog.Count("threw"));

    mOne.mAction = [&]
    {
        EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
        EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
        EXPECT_EQ(0, mBus->RegisterSignalHandlers("/", lTable, &lThree));
        EXPECT_EQ(zqError_NotFound, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
    };
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "one:first:Changed" }), Take()) << "neither what has gone nor what is new";
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "three:first:Changed" }), Take());
}

TEST_F(SignalsTest, FiltersOfTheConnectionAreGivenWhatNoTableHandles)
{
    const auto lHandle = [](DBusConnection *, DBusMessage *aMessage, void *aContext)
    {
        auto *const lFollower = static_cast<Follower *>(aContext);

        if (!dbus_message_has_interface(aMessage, kPeerInterface))
            return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

        (void)lFollower->Note(":connection:", dbus_message_get_member(aMessage));
        return lFollower->mName == "two" && dbus_message_has_member(aMessage, "Taken")
                   ? DBUS_HANDLER_RESULT_HANDLED
                   : DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    };
    const auto lFree = [](void *aContext) { (void)static_cast<Follower *>(aContext)->Note(":", "freed"); };
    Follower   lThree{ "three", &mNotes, {} };
    const zqDBusSignalDispatch lTable[] = {
        { kPeerInterface, kPeerName, kPeerPath, "Changed", nullptr, Follower::Handle<1> }, kEndOfSignals
    };

    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, lTable, &mOne));
    for (Follower *const lFollower : { &mTwo, &lThree })
        ASSERT_EQ(0, mBus->AddConnectionFilter(lHandle, lFollower, lFree));
    (void)Take();

    // It may wait, and what it receives meanwhile comes to it, too.
    mTwo.mAction = [&]
    {
        mTwo.mAction = nullptr;
        mPeer.EmitForged("/any", kPeerInterface, "Late", "", dbus_bus_get_unique_name(mBus->GetConnection()));
        EXPECT_EQ(0, CallPlainly(mBus, "Ask"));
    };
    for (const char *lMember : { "Changed", "Taken", "Other" })
        mPeer.EmitForged(kPeerPath, kPeerInterface, lMember, "", dbus_bus_get_unique_name(mBus->GetConnection()));
    mPeer.Signal("Changed");
    EXPECT_EQ(
        (Notes{ "two:connection:Changed", "three:connection:Changed", "two:connection:Taken", "two:connection:Other",
                "three:connection:Other", "one:first:Changed", "two:connection:Late", "three:connection:Late" }),
        Take());

    EXPECT_EQ(0, mBus->RemoveConnectionFilter(lHandle, &mTwo));
    EXPECT_EQ(zqError_NotFound, mBus->RemoveConnectionFilter(lHandle, &mTwo));
    mHolder.Set(nullptr);
    EXPECT_EQ((Notes{ "two:freed", "three:freed" }), mNotes);
}

TEST_F(SignalsTest, UnusableTablesAreRefusedWhole)
{
    for (const zqDBusSignalDispatch &lRow :
         { zqDBusSignalDispatch{ "nodots", nullptr, nullptr, nullptr, nullptr, Follower::Handle<1> },
           { nullptr, "no name", nullptr, nullptr, nullptr, Follower::Handle<1> },
           { nullptr, nullptr, "relative", nullptr, nullptr, Follower::Handle<1> },
           { nullptr, nullptr, nullptr, nullptr, "\xff", Follower::Handle<1> } })
    {
        const zqDBusSignalDispatch lTable[] = { kTable[0], lRow, kEndOfSignals };

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
