#include "testbus.h"

using namespace zq::Test;

namespace
{

constexpr char kPath[]   = "/com/example/object";
constexpr char kObject[] = "com.example.Object";

DBusHandlerResult Leave(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
{
    const char *const lNoText = "not \xff text";

    EXPECT_EQ(0, static_cast<zqDBus *>(aContext)->UnregisterInterface(kPath));
    EXPECT_EQ(zqError_InvalidArgument,
              zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_STRING, &lNoText, DBUS_TYPE_INVALID));
    EXPECT_EQ(0, zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_INVALID));

    return DBUS_HANDLER_RESULT_HANDLED;
}

DBusHandlerResult Throw(void * /* aContext */, DBusConnection * /* aConnection */, DBusMessage * /* aMessage */)
{
    throw 1;
}

constexpr zqDBusMethodDispatch kMethods[] = { { kObject, "Leave", Leave },
                                              { kObject, "Throw", Throw },
                                              { nullptr, nullptr, nullptr } };

using ObjectsTest = BusTest;

} // namespace

TEST_F(ObjectsTest, HandlerMayThrowAndUnregisterItsOwnObject)
{
    Peer                                        lPeer;
    const std::pair<const char *, const char *> kRows[] = { { "Throw", "org.freedesktop.DBus.Error.UnknownMethod" },
                                                            { "Leave", "" },
                                                            { "Leave", "org.freedesktop.DBus.Error.UnknownMethod" } };

    EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, mBus));
    for (const auto &[lMethod, lError] : kRows)
    {
        FakePeer::Reply lReply;
        const auto      lTicket =
            lPeer.CallOther(dbus_bus_get_unique_name(mBus->GetConnection()), kPath, kObject, lMethod, "");
        const LoopThread lLoop(mBus);

        EXPECT_TRUE(lPeer.WaitForReply(lTicket, lReply));
        EXPECT_EQ(lError, lReply.mErrorName);
    }
    EXPECT_EQ(zqError_NotFound, mBus->UnregisterInterface(kPath));
    EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, mBus));
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
