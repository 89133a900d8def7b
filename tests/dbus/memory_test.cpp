#include "testbus.h"

#include <cfvalues.h>
#include <failingallocations.h>

using namespace zq::Test;

namespace
{

// Long enough that none of them fits into a string's own room.
constexpr char kLongPath[]   = "/com/example/a/path/that/is/long";
constexpr char kLongName[]   = "com.example.NameThatIsFollowedHere";
constexpr char kLongMember[] = "MemberThatIsLong";
constexpr char kSecondName[] = "com.example.AnotherNameThatIsLong";
constexpr char kThirdName[]  = "com.example.YetAnotherNameThatIsLong";

constexpr auto kIgnore = [](auto...) { return DBUS_HANDLER_RESULT_NOT_YET_HANDLED; };

constexpr zqDBusSignalDispatch kTable[] = {
    { kPeerInterface, kLongName, kLongPath, kLongMember, "first", kIgnore },
    { kPeerInterface, kSecondName, nullptr, kLongMember, "second", kIgnore },
    kEndOfSignals,
};

constexpr zqDBusFilter kFilters[] = {
    { kPeerInterface, kLongMember, kLongName, kIgnore, nullptr },
    { kPeerInterface, kLongMember, kThirdName, kIgnore, nullptr },
    {},
};

const std::vector<zqError> kExhausted = { zqError_NoResources };

} // namespace

using MemoryTest = BusTest;

TEST_F(MemoryTest, RegistrationsFailWholeAndSucceedLater)
{
    const zqDBus::DisconnectHandler lHandler = [](void *) {};

    EXPECT_GT(Starve(kExhausted, [&] { return mBus->RegisterSignalHandlers(kLongPath, kTable, nullptr); }), 5);
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers(kLongPath, kTable, nullptr));
    EXPECT_EQ(zqError_NotFound, mBus->UnregisterSignalHandlers(kLongPath, kTable, nullptr)) << "nothing was left over";

    EXPECT_GT(Starve(kExhausted, [&] { return mBus->AddFilters(kFilters); }), 5);
    EXPECT_EQ(0, mBus->RemoveFilters(kFilters));
    EXPECT_EQ(zqError_NotFound, mBus->RemoveFilters(kFilters));

    EXPECT_GT(Starve(kExhausted, [&] { return mBus->RegisterInterface(kLongPath, kNoMethods, nullptr); }), 0);
    EXPECT_EQ(0, mBus->UnregisterInterface(kLongPath));

    EXPECT_GT(Starve(kExhausted, [&] { return mBus->AddDisconnectHandler(lHandler, this); }), 0);
    mBus->RemoveDisconnectHandler(lHandler, this);

    EXPECT_TRUE(Settle(mBus));
}

TEST_F(MemoryTest, CallThatCannotBeRememberedIsNotSent)
{
    Outcomes                 lOutcomes;
    zqDBusPendingCall *const lPending = lOutcomes.New("call");
    DBusMessage *const       lMessage =
        zqDBus::NewMethodCall("com.example.NameThatIsCalledInVain", kPeerPath, kPeerInterface, "Ask");

    EXPECT_GT(Starve(kExhausted,
                     [&]
                     {
                         EXPECT_EQ(1, lOutcomes.mAlive);
                         return mBus->PerformMethodCallWithMessage(lMessage, lPending, nullptr, -1, nullptr);
                     }),
              2);
    EXPECT_TRUE(Drive(mBus, [&] { return lOutcomes.mCount == 1; }));
    EXPECT_EQ((std::vector<std::string>{ "call: error " DBUS_ERROR_SERVICE_UNKNOWN }), lOutcomes.mTexts);
    EXPECT_EQ(0, lOutcomes.mAlive);
    dbus_message_unref(lMessage);
}

TEST_F(MemoryTest, ReplyBehindWhatCannotBeKeptIsFoundWhenThereIsMemory)
{
    const LoopThread lLoop(mBus); // which has memory
    Peer             lPeer;

    for (int lGranted = 0, lReturn = zqError_NoResources; lGranted < 20 || lReturn != 0; lGranted++)
    {
        const FailingAllocations lFailing(lGranted);

        lReturn = CallPlainly(mBus, "Ask", 60000);
        ASSERT_TRUE(lReturn == 0 || lReturn == zqError_NoResources) << lReturn << " with " << lGranted;
    }
}

TEST_F(MemoryTest, ValueIsTheCallersAndWholeOrNull)
{
    const char *const  lTexts[] = { "a text that is not short at all", "another that is not" };
    const char *const *lArray   = lTexts;
    DBusMessage *const lMessage = dbus_message_new(DBUS_MESSAGE_TYPE_SIGNAL);
    DBusMessageIter    lIterator;
    Value              lValue;

    (void)dbus_message_append_args(lMessage, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &lArray, 2, DBUS_TYPE_INVALID);
    (void)dbus_message_iter_init(lMessage, &lIterator);
    EXPECT_GT(Starve(kExhausted,
                     [&]
                     {
                         lValue = zqDBus::CopyValue(&lIterator);
                         return lValue ? zqError_None : zqError_NoResources;
                     }),
              2);
    EXPECT_EQ("[a text that is not short at all, another that is not]", Text(lValue.Get()));
    EXPECT_EQ(1, CFGetRetainCount(lValue.Get()));
    (void)dbus_message_iter_next(&lIterator);
    EXPECT_EQ(nullptr, zqDBus::CopyValue(&lIterator).Get()) << "at the end";
    EXPECT_EQ(nullptr, zqDBus::CopyValue(nullptr).Get());
    dbus_message_unref(lMessage);
}

TEST_F(MemoryTest, InstanceIsMadeWholeOrNotAtAll)
{
    std::thread(
        []
        {
            EXPECT_GT(
                Starve(kExhausted, []
                       { return zqDBus::GetThreadDefaultInstance() != nullptr ? zqError_None : zqError_NoResources; }),
                2);
            EXPECT_TRUE(Settle(zqDBus::GetThreadDefaultInstance()));
        })
        .join();
}
