#include "testbus.h"

#include <stdexcept>

namespace zq::Test
{

namespace
{

constexpr char kPath[] = "/com/example/object";

/** The one object of these cases. */
struct Object
{
    zqDBus                  *mBus;
    std::vector<std::string> mCalls;

    static DBusHandlerResult Greet(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
    {
        const std::string lText    = "hello " + GetText(aMessage);
        const char *const lAddress = lText.c_str();

        static_cast<Object *>(aContext)->mCalls.push_back(lText);
        EXPECT_EQ(0, zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_STRING, &lAddress, DBUS_TYPE_INVALID));

        return DBUS_HANDLER_RESULT_HANDLED;
    }

    static DBusHandlerResult Refuse(void * /* aContext */, DBusConnection *aConnection, DBusMessage *aMessage)
    {
        const char *const lText = "not \xff text";

        EXPECT_EQ(zqError_InvalidArgument,
                  zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_STRING, &lText, DBUS_TYPE_INVALID));

        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }

    static DBusHandlerResult Throw(void * /* aContext */, DBusConnection * /* aConnection */,
                                   DBusMessage * /* aMessage */)
    {
        throw std::runtime_error("no");
    }

    static DBusHandlerResult Leave(void *aContext, DBusConnection *aConnection, DBusMessage *aMessage)
    {
        EXPECT_EQ(0, static_cast<Object *>(aContext)->mBus->UnregisterInterface(kPath));
        EXPECT_EQ(0, zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_INVALID));

        return DBUS_HANDLER_RESULT_HANDLED;
    }
};

constexpr zqDBusMethodDispatch kMethods[] = {
    { "com.example.Object", "Greet", Object::Greet },
    { "com.example.Object", "Refuse", Object::Refuse },
    { "com.example.Object", "Throw", Object::Throw },
    { "com.example.Object", "Leave", Object::Leave },
    { nullptr, nullptr, nullptr },
};

class ObjectsTest : public BusTest
{
protected:
    ObjectsTest() : mObject{ mBus, {} } { EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, &mObject)); }

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

    Object mObject;
    Peer   mPeer;
};

} // namespace

TEST_F(ObjectsTest, CallsAreAnsweredByTheRowsOfTheTable)
{
    const std::string lUnknown = "org.freedesktop.DBus.Error.UnknownMethod";

    EXPECT_EQ("('hello you',)", CallUs("com.example.Object", "Greet", "('you',)"));
    EXPECT_EQ(lUnknown, CallUs("com.example.Object", "Missing", ""));
    EXPECT_EQ(lUnknown, CallUs("com.example.Other", "Greet", ""));
    EXPECT_EQ(lUnknown, CallUs("com.example.Object", "Throw", ""));
    EXPECT_EQ(lUnknown, CallUs("com.example.Object", "Refuse", "")) << "an answer that is no text is none";
    EXPECT_EQ("('hello still',)", CallUs("com.example.Object", "Greet", "('still',)")) << "after the one that threw";
}

TEST_F(ObjectsTest, HandlerMayUnregisterItsOwnObject)
{
    EXPECT_EQ("()", CallUs("com.example.Object", "Leave", ""));
    EXPECT_NE("('hello you',)", CallUs("com.example.Object", "Greet", "('you',)"));
    EXPECT_TRUE(mObject.mCalls.empty());
    EXPECT_EQ(zqError_NotFound, mBus->UnregisterInterface(kPath));

    EXPECT_EQ(0, mBus->RegisterInterface(kPath, kMethods, &mObject));
    EXPECT_EQ("('hello again',)", CallUs("com.example.Object", "Greet", "('again',)"));
}

TEST_F(ObjectsTest, UnusableArgumentsAreRefused)
{
    EXPECT_EQ(zqError_AlreadyPresent, mBus->RegisterInterface(kPath, kMethods, nullptr));

    for (const char *lPath : { static_cast<const char *>(nullptr), "no/slash", "/end/", DBUS_PATH_LOCAL })
    {
        EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterInterface(lPath, kMethods, nullptr)) << lPath;
        EXPECT_EQ(zqError_InvalidArgument, mBus->UnregisterInterface(lPath)) << lPath;
    }
    EXPECT_EQ(zqError_InvalidArgument, mBus->RegisterInterface("/free", nullptr, nullptr));
    EXPECT_EQ(zqError_NotFound, mBus->UnregisterInterface("/free"));

    // Only calls are answered.
    DBusMessage *const lSignal = dbus_message_new_signal("/", "a.b", "C");

    for (DBusMessage *lMessage : { lSignal, static_cast<DBusMessage *>(nullptr) })
        EXPECT_EQ(zqError_InvalidArgument, zqDBus::ReplyWithParams(mBus->GetConnection(), lMessage, DBUS_TYPE_INVALID));
    EXPECT_EQ(zqError_InvalidArgument, zqDBus::ReplyWithParams(nullptr, lSignal, DBUS_TYPE_INVALID));
    dbus_message_unref(lSignal);
}

} // namespace zq::Test
