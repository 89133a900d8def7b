#include "testbus.h"

#include <stdexcept>

namespace zq::Test
{

namespace
{

constexpr char kPath[] = "/com/example/object";

using Calls = std::vector<std::string>;

DBusHandlerResult Greet(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
{
    const std::string lText    = "hello " + GetText(aMessage);
    const char *const lAddress = lText.c_str();
    const char *const lNoText  = "not \xff text";

    static_cast<Calls *>(aContext)->push_back(lText);
    EXPECT_EQ(zqError_InvalidArgument,
              zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_STRING, &lNoText, DBUS_TYPE_INVALID));
    EXPECT_EQ(0, zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_STRING, &lAddress, DBUS_TYPE_INVALID));

    return DBUS_HANDLER_RESULT_HANDLED;
}

DBusHandlerResult Throw(void * /* aContext */, DBusConnection * /* aConnection */, DBusMessage * /* aMessage */)
{
    throw std::runtime_error("no");
}

constexpr char kObject[] = "com.example.Object";

constexpr zqDBusMethodDispatch kMethods[] = { { kObject, "Greet", Greet },
                                              { kObject, "Throw", Throw },
                                              { nullptr, nullptr, nullptr } };

class ObjectsTest : public BusTest
{
protected:
    /** Call our object from the peer and serve it: "BODY" or "ERROR". */
    std::string CallUs(const char *anInterface, const char *aMethod, const char *aBody)
    {
        const std::string lName = dbus_bus_get_unique_name(mBus->GetConnection());
        FakePeer::Reply   lReply;
        const auto        lTicket = mPeer.CallOther(lName, kPath, anInterface, aMethod, aBody);
        const LoopThread  lLoop(mBus);

        EXPECT_TRUE(mPeer.WaitForReply(lTicket, lReply));

        return lReply.mErrorName.empty() ? lReply.mBody : lReply.mErrorName;
    }

    Calls mCalls;
    Peer  mPeer;
};

} // namespace

TEST_F(ObjectsTest, CallsAreAnsweredByTheRowsOfTheTable)
{
    const std::string lUnknown = "org.freedesktop.DBus.Error.UnknownMethod";

    EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, &mCalls));
    EXPECT_EQ("('hello you',)", CallUs(kObject, "Greet", "('you',)"));
    EXPECT_EQ(lUnknown, CallUs(kObject, "Missing", ""));
    EXPECT_EQ(lUnknown, CallUs("com.example.Other", "Greet", ""));
    EXPECT_EQ(lUnknown, CallUs(kObject, "Throw", ""));
    EXPECT_EQ("()", CallUs(DBUS_INTERFACE_PEER, "Ping", "")) << "which libdbus answers";
    EXPECT_EQ("('hello still',)", CallUs(kObject, "Greet", "('still',)")) << "after the one that threw";
    EXPECT_EQ((Calls{ "hello you", "hello still" }), mCalls);
}

TEST_F(ObjectsTest, HandlerMayUnregisterItsOwnObject)
{
    static const auto kLeave = [](void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
    {
        EXPECT_EQ(0, static_cast<zqDBus *>(aContext)->UnregisterInterface(kPath));
        EXPECT_EQ(0, zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_INVALID));

        return DBUS_HANDLER_RESULT_HANDLED;
    };
    const zqDBusMethodDispatch lMethods[] = { { kObject, "Leave", kLeave }, { nullptr, nullptr, nullptr } };

    EXPECT_EQ(0, mBus->RegisterInterface(kPath, lMethods, mBus));
    EXPECT_EQ("()", CallUs(kObject, "Leave", ""));
    EXPECT_EQ(zqError_NotFound, mBus->UnregisterInterface(kPath));
    EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, &mCalls));
    EXPECT_EQ("('hello again',)", CallUs(kObject, "Greet", "('again',)"));
}

TEST_F(ObjectsTest, UnusableArgumentsAreRefused)
{
    EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, nullptr));
    EXPECT_EQ(zqError_AlreadyPresent, mBus->RegisterInterface(kPath, kMethods, nullptr));

    for (const char *lPath : { static_cast<const char *>(nullptr), "no/slash", DBUS_PATH_LOCAL })
    {
        EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterInterface(lPath, kMethods, nullptr));
        EXPECT_EQ(zqError_InvalidArgument, mBus->UnregisterInterface(lPath));
    }
    EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterInterface("/free", nullptr, nullptr));
    EXPECT_EQ(zqError_InvalidArgument, zqDBus::ReplyWithParams(mBus->GetConnection(), nullptr, DBUS_TYPE_INVALID));
}

} // namespace zq::Test
