#include "testbus.h"

#include <logcapture.h>

using namespace zq::Test;

namespace
{

/** Writes down what its context was given, and how. */
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

    static DBusHandlerResult Handle(void *aContext, DBusConnection * /* aConnection */, DBusMessage *aMessage)
    {
        return static_cast<Follower *>(aContext)->Note(":signal:", dbus_message_get_member(aMessage));
    }

    static DBusHandlerResult HandleFilter(void *aContext, const char *aPath, DBusMessageIter * /* anIterator */)
    {
        return static_cast<Follower *>(aContext)->Note(":filter:", aPath);
    }
};

constexpr zqDBusSignalDispatch kTable[] = {
    { kPeerInterface, kPeerName, kPeerPath, "Changed", nullptr, Follower::Handle }, kEndOfSignals
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

TEST_F(SignalsTest, HandlersMayThrowAndChangeTheTablesThatAreBeingWalked)
{
    // Of any sender: whether the peer owns its name would have to be asked anew.
    const zqDBusSignalDispatch lTable[] = { { kPeerInterface, nullptr, nullptr, "Changed", nullptr, Follower::Handle },
                                            kEndOfSignals };
    const zqDBusFilter         lFilters[] = { FilterOf(mTwo), {} };
    const LogCapture           lLog;
    Follower                   lThree{ "three", &mNotes, {} };

    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kTable, &mOne));
    ASSERT_EQ(0, mBus->AddFilters(lFilters));
    (void)Take();

    mOne.mAction = [] { throw 1; };
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "one:signal:Changed", "two:filter:/com/example" }), Take());
    EXPECT_EQ(1u, lLog.Count("threw"));

    mOne.mAction = [&]
    {
        EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
        EXPECT_EQ(0, mBus->RemoveFilters(lFilters));
        EXPECT_EQ(0, mBus->RegisterSignalHandlers("/", lTable, &lThree));
        EXPECT_EQ(zqError_NotFound, mBus->UnregisterSignalHandlers("/", kTable, &mOne));
    };
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "one:signal:Changed" }), Take()) << "neither what has gone nor what is new";
    mPeer.Signal("Changed");
    EXPECT_EQ((Notes{ "three:signal:Changed" }), Take());
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
    ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mOne));
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
                "three:connection:Other", "one:signal:Changed", "two:connection:Late", "three:connection:Late" }),
        Take());

    EXPECT_EQ(0, mBus->RemoveConnectionFilter(lHandle, &mTwo));
    EXPECT_EQ(zqError_NotFound, mBus->RemoveConnectionFilter(lHandle, &mTwo));
    mHolder.Set(nullptr);
    EXPECT_EQ((Notes{ "two:freed", "three:freed" }), mNotes);
}

TEST_F(SignalsTest, UnusableTablesAreRefusedWhole)
{
    for (const zqDBusSignalDispatch &lRow :
         { zqDBusSignalDispatch{ "nodots", nullptr, nullptr, nullptr, nullptr, Follower::Handle },
           { nullptr, "no name", nullptr, nullptr, nullptr, Follower::Handle },
           { nullptr, nullptr, "relative", nullptr, nullptr, Follower::Handle },
           { nullptr, nullptr, nullptr, nullptr, "\xff", Follower::Handle } })
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
