#include "testbus.h"

#include <logcapture.h>

#include <limits>

using namespace zq::Test;

namespace
{

using Texts = std::vector<std::string>;

class CallsTest : public BusTest
{
protected:
    LogCapture mLog;
    Peer       mPeer;
    Outcomes   mOutcomes;
};

} // namespace

TEST_F(CallsTest, CancelledCallEndsAtOnceAndItsReplyIsForgotten)
{
    zqDBusPendingCall *const lPending = mOutcomes.New("call");

    mPeer.Script("Ask", Answer::Held());
    ASSERT_EQ(0, CallAsync(mBus, "Ask", lPending));
    ASSERT_TRUE(mPeer.WaitForCall("Ask"));

    EXPECT_EQ(0, mBus->CancelPendingCall(lPending));
    EXPECT_EQ((Texts{ "call: error " DBUS_ERROR_DISCONNECTED }), mOutcomes.mTexts);
    EXPECT_EQ(0, mOutcomes.mAlive);
    EXPECT_EQ(zqError_NotFound, mBus->CancelPendingCall(lPending));

    mPeer.ReleaseHeld();
    mPeer.Flush();
    EXPECT_TRUE(Settle(mBus));
    EXPECT_EQ(1, mOutcomes.mCount);
}

TEST_F(CallsTest, SentCallsAreAwaitedInAnyOrderOrForgotten)
{
    zqDBusSentCall lFirst, lSecond, lNever;
    zqDBusError    lError;
    DBusMessage   *lReply = nullptr;
    const auto     lSend  = [this](const char *aMethod, zqDBusSentCall &aCall)
    { return mBus->SendMethodCall(kPeerName, kPeerPath, kPeerInterface, aMethod, aCall); };
    const auto lAwait = [&](zqDBusSentCall &aCall, int aTimeout = -1)
    { return mBus->AwaitReply(aCall, &lReply, aTimeout, lError.Get()); };

    mPeer.Script("First", Answer::Value("('first',)"));
    mPeer.Script("Bad", Answer::Error("com.example.Bad", "bad"));
    mPeer.Script("Silence", Answer::Silence());
    {
        zqDBusSentCall lForgotten;

        ASSERT_EQ(0, lSend("First", lForgotten));
        ASSERT_EQ(0, lSend("Silence", lFirst));
        ASSERT_EQ(0, lSend("First", lFirst)); // and what it was sent before is of no interest
        ASSERT_EQ(0, lSend("Bad", lSecond));
    }
    EXPECT_EQ(-5, lSend("no member", lNever));
    EXPECT_EQ(-1, lAwait(lSecond));
    EXPECT_STREQ("com.example.Bad", lError.GetName());
    ASSERT_EQ(0, lAwait(lFirst));
    EXPECT_EQ("first", GetText(lReply));
    dbus_message_unref(lReply);

    ASSERT_EQ(0, lSend("Silence", lSecond));
    EXPECT_EQ(-16, lAwait(lSecond, 0));
    for (zqDBusSentCall *lCall : { &lFirst, &lSecond, &lNever })
        EXPECT_EQ(-5, lAwait(*lCall));
}

TEST_F(CallsTest, ReceiverMayCallAgainOrThrow)
{
    const auto lCallAgain = [&]
    {
        EXPECT_EQ(0, CallPlainly(mBus, "Other"));
        EXPECT_EQ(0, CallAsync(mBus, "Silence", mOutcomes.New("second"), 0));
    };

    mPeer.Script("Silence", Answer::Silence());
    ASSERT_EQ(0, CallAsync(mBus, "Silence", mOutcomes.New("first", lCallAgain), 0));
    ASSERT_EQ(0, CallAsync(mBus, "Other", mOutcomes.New("third", [] { throw 1; })));

    ASSERT_TRUE(Drive(mBus, [&] { return mOutcomes.mCount == 3; }));
    EXPECT_EQ(0, mOutcomes.mAlive);
    EXPECT_TRUE(mLog.Contains("threw"));
}

TEST_F(CallsTest, NobodyElseAnswersACall)
{
    const auto lForgeAndAnswer = [this](std::size_t aCount)
    {
        EXPECT_TRUE(mPeer.WaitForCall("Ask", aCount));
        ForgeReply(mPeer.GetCalls("Ask").back());
        mPeer.ReleaseHeld();
    };
    DBusMessage *lReply = nullptr;

    mPeer.Script("Ask", Answer::Held());
    ASSERT_EQ(0, CallAsync(mBus, "Ask", mOutcomes.New("call")));
    lForgeAndAnswer(1);
    ASSERT_TRUE(Drive(mBus, [&] { return mOutcomes.mCount == 1; }));
    EXPECT_EQ((Texts{ "call: completed " }), mOutcomes.mTexts);
    EXPECT_EQ(1u, mLog.Count("ignoring a reply"));

    std::thread lThread(lForgeAndAnswer, 2);

    EXPECT_EQ(0, Call(mBus, "Ask", nullptr, &lReply, -1, nullptr, DBUS_TYPE_INVALID));
    EXPECT_EQ("", GetText(lReply));
    EXPECT_EQ(2u, mLog.Count("ignoring a reply"));
    dbus_message_unref(lReply);
    lThread.join();
}

// What the bus told of the owners has not been dispatched yet.
TEST_F(CallsTest, OwnerOfTheMomentIsBelievedWhenItHasGoneAgainOrJustCome)
{
    ASSERT_EQ(0, CallPlainly(mBus, "Ask"));
    ASSERT_TRUE(Settle(mBus));
    mPeer.Crash();
    {
        Peer lPasser;

        ASSERT_EQ(0, CallAsync(mBus, "Ask", mOutcomes.New("passer")));
        ASSERT_TRUE(lPasser.WaitForCall("Ask"));
        lPasser.Flush();
    }
    ASSERT_TRUE(mPeer.Appear());
    ASSERT_TRUE(Drive(mBus, [&] { return mOutcomes.mCount == 1; }));

    mPeer.Crash();
    ASSERT_TRUE(mPeer.Appear());
    EXPECT_EQ(0, CallPlainly(mBus, "Ask"));
    EXPECT_EQ(0, CallAsync(mBus, "Ask", mOutcomes.New("restarted")));
    EXPECT_TRUE(Drive(mBus, [&] { return mOutcomes.mCount == 2; }));
    EXPECT_EQ((Texts{ "passer: completed ", "restarted: completed " }), mOutcomes.mTexts);
}

// Everything that libdbus would end the process for.
TEST_F(CallsTest, UnusableInputIsRefusedAndThePendingCallStaysTheCallers)
{
    const char *const   lBadText  = "a\xffz";
    const char *const   lBadPath  = "/not//a/path";
    const char *const   lNull     = nullptr;
    const dbus_bool_t   lBoolean  = 2;
    const dbus_int32_t  lNumber   = 1;
    const char *const   lTexts[]  = { "good", lBadText };
    const char *const  *lArray    = lTexts;
    const dbus_bool_t   lBools[]  = { 0, 7 };
    const dbus_bool_t  *lBooleans = lBools;
    const dbus_int32_t *lNoArray  = nullptr;
    const dbus_int32_t *lNumbers  = &lNumber;

    using Send = std::function<zqError(zqDBusPendingCall *)>;

    const auto lWith = [&](auto... anArguments) -> Send
    {
        return [=](zqDBusPendingCall *aPending)
        { return Call(mBus, "Ask", aPending, nullptr, -1, nullptr, anArguments..., DBUS_TYPE_INVALID); };
    };

    const std::pair<const char *, Send> kRows[] = {
        { "text", lWith(DBUS_TYPE_STRING, &lBadText) },
        { "null text", lWith(DBUS_TYPE_STRING, &lNull) },
        { "null address", lWith(DBUS_TYPE_STRING, static_cast<const char **>(nullptr)) },
        { "path", lWith(DBUS_TYPE_OBJECT_PATH, &lBadPath) },
        { "signature", lWith(DBUS_TYPE_SIGNATURE, &lBadPath) },
        { "boolean", lWith(DBUS_TYPE_BOOLEAN, &lBoolean) },
        { "second argument", lWith(DBUS_TYPE_INT32, &lNumber, DBUS_TYPE_STRING, &lBadText) },
        { "array of texts", lWith(DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &lArray, 2) },
        { "array of booleans", lWith(DBUS_TYPE_ARRAY, DBUS_TYPE_BOOLEAN, &lBooleans, 2) },
        { "array of nothing", lWith(DBUS_TYPE_ARRAY, DBUS_TYPE_INT32, &lNoArray, 1) },
        { "array of fewer than none", lWith(DBUS_TYPE_ARRAY, DBUS_TYPE_INT32, &lNumbers, -1) },
        { "array too long", lWith(DBUS_TYPE_ARRAY, DBUS_TYPE_INT32, &lNumbers, std::numeric_limits<int>::max()) },
        { "container", lWith(DBUS_TYPE_VARIANT, &lNumber) },
    };

    for (const auto &lRow : kRows)
    {
        SCOPED_TRACE(lRow.first);

        Outcomes                                 lOutcomes;
        const std::unique_ptr<zqDBusPendingCall> lPending(lOutcomes.New("call"));

        EXPECT_EQ(zqError_InvalidArgument, lRow.second(nullptr));
        EXPECT_EQ(zqError_InvalidArgument, lRow.second(lPending.get()));
        EXPECT_EQ(1, lOutcomes.mAlive);
        EXPECT_EQ(0, lOutcomes.mCount);
    }

    EXPECT_TRUE(Settle(mBus)) << "the connection must have survived";
}

TEST_F(CallsTest, UnusableNamesMakeNoCall)
{
    const char *const kRows[][4] = { { nullptr, "/", "a.b", "C" },          { "a..b", "/", "a.b", "C" },
                                     { "a.b", "relative", "a.b", "C" },     { "a.b", DBUS_PATH_LOCAL, "a.b", "C" },
                                     { "a.b", "/", "nodots", "C" },         { "a.b", "/", DBUS_INTERFACE_LOCAL, "C" },
                                     { "a.b", "/", "a.b", "not.a.member" }, { "a.b", nullptr, "a.b", "C" },
                                     { "a.b", "/", nullptr, "C" },          { "a.b", "/", "a.b", nullptr } };

    for (const auto &[lName, lPath, lInterface, lMember] : kRows)
    {
        va_list lNone = {};

        EXPECT_EQ(nullptr, zqDBus::NewMethodCall(lName, lPath, lInterface, lMember));
        EXPECT_EQ(zqError_InvalidArgument, mBus->PerformMethodCall(lName, lPath, lInterface, lMember, nullptr, nullptr,
                                                                   -1, nullptr, DBUS_TYPE_INVALID, lNone));
    }

    DBusMessage *const lSignal = dbus_message_new_signal("/", "a.b", "C");

    EXPECT_EQ(zqError_InvalidArgument, mBus->PerformMethodCallWithMessage(nullptr, nullptr, nullptr, -1, nullptr));
    EXPECT_EQ(zqError_InvalidArgument, mBus->PerformMethodCallWithMessage(lSignal, nullptr, nullptr, -1, nullptr));
    EXPECT_EQ(zqError_InvalidArgument, CallPlainly(mBus, "Ask", -2));
    dbus_message_unref(lSignal);
}
