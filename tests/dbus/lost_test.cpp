#include "testbus.h"

#include <logcapture.h>

namespace zq::Test
{

namespace
{

using Texts = std::vector<std::string>;

constexpr zqDBusMethodDispatch kNoMethods[] = { { nullptr, nullptr, nullptr } };

constexpr zqDBusSignalDispatch kNoSignals[] = { { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr } };

/** A bus of its own for each case, and an instance that has seen the one before go. */
class LostTest : public BusTest
{
protected:
    void KillBus()
    {
        mPeer.Crash();
        SystemBus().Kill();
    }

    Peer     mPeer;
    Outcomes mOutcomes;
};

void CountDisconnect(void *aContext)
{
    ++*static_cast<int *>(aContext);
}

} // namespace

TEST_F(LostTest, EveryOutstandingCallEndsOnceAndThenTheHandlersAreTold)
{
    struct Context
    {
        Outcomes &mOutcomes;
        zqDBus   *mBus;
        int       mTold = 0;
    } lContext{ mOutcomes, mBus };

    mPeer.Script("Wait", Answer::Silence());

    for (const char *lLabel : { "one", "two", "three" })
        ASSERT_EQ(0, CallAsync(mBus, "Wait", mOutcomes.New(lLabel)));

    ASSERT_EQ(0, mBus->AddDisconnectHandler(
                     [](void *aContext)
                     {
                         auto *const lSelf = static_cast<Context *>(aContext);

                         EXPECT_EQ(3, lSelf->mOutcomes.mCount) << "before the calls have ended";
                         EXPECT_FALSE(lSelf->mBus->IsConnected());
                         lSelf->mTold++;
                     },
                     &lContext));

    int lNotTold = 0;

    ASSERT_EQ(0, mBus->AddDisconnectHandler(CountDisconnect, &lNotTold));
    mBus->RemoveDisconnectHandler(CountDisconnect, &lNotTold);
    ASSERT_TRUE(mPeer.WaitForCall("Wait", 3));

    SystemBus().Kill();

    ASSERT_TRUE(Drive(mBus, [&] { return lContext.mTold > 0; }));
    (void)mBus->HandleEvents(nullptr);

    EXPECT_EQ((Texts{ "one: error " DBUS_ERROR_DISCONNECTED, "two: error " DBUS_ERROR_DISCONNECTED,
                      "three: error " DBUS_ERROR_DISCONNECTED }),
              mOutcomes.mTexts);
    EXPECT_EQ(0, mOutcomes.mAlive);
    EXPECT_EQ(1, lContext.mTold);
    EXPECT_EQ(0, lNotTold);
}

TEST_F(LostTest, BlockingCallThatSeesTheBusDieWakesTheLoop)
{
    int lTold = 0;

    mPeer.Script("Wait", Answer::Silence());
    ASSERT_EQ(0, mBus->AddDisconnectHandler(CountDisconnect, &lTold));

    std::thread lThread(
        [&]
        {
            zqDBusError lError;

            EXPECT_EQ(zqError_WrongState, CallPlainly(mBus, "Wait", 60000, lError.Get()));
            EXPECT_STREQ(DBUS_ERROR_DISCONNECTED, lError.GetName());
        });

    ASSERT_TRUE(mPeer.WaitForCall("Wait"));
    SystemBus().Kill();
    lThread.join();

    // The descriptor of the connection is gone by now.
    while (lTold == 0 && PollOnce(mBus))
    {
    }

    EXPECT_EQ(1, lTold);
}

TEST_F(LostTest, EveryOperationOnADeadBusSaysSo)
{
    int lTold = 0;

    ASSERT_EQ(0, mBus->AddDisconnectHandler(CountDisconnect, &lTold));
    ASSERT_EQ(0, mBus->RegisterInterface("/mine", kNoMethods, nullptr));
    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", kNoSignals, nullptr));
    KillBus();

    // Before and after the loss is dispatched.
    for (int lPass = 0; lPass < 2; lPass++)
    {
        const std::unique_ptr<zqDBusPendingCall> lPending(mOutcomes.New("unsent"));
        const zqDBusFilter                       lFilters[] = {
                                  { "a.b", nullptr, nullptr,
                                    [](void *, const char *, DBusMessageIter *) { return DBUS_HANDLER_RESULT_HANDLED; }, nullptr },
            {}
        };

        EXPECT_EQ(zqError_WrongState, CallPlainly(mBus, "Ask"));
        EXPECT_EQ(zqError_WrongState, CallAsync(mBus, "Ask", lPending.get()));
        EXPECT_EQ(zqError_WrongState, mBus->AddFilters(lFilters));
        EXPECT_EQ(zqError_WrongState, mBus->RegisterSignalHandlers("/other", kNoSignals, nullptr));
        EXPECT_EQ(zqError_WrongState, mBus->RegisterInterface("/other", kNoMethods, nullptr));
        EXPECT_FALSE(mBus->IsConnected());
        EXPECT_EQ(0, mOutcomes.mCount);

        ASSERT_TRUE(Drive(mBus, [&] { return lTold == 1; }));
    }

    EXPECT_EQ(zqError_WrongState, mBus->AddDisconnectHandler(CountDisconnect, &lTold));
    EXPECT_EQ(0, mBus->UnregisterInterface("/mine"));
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", kNoSignals, nullptr));
    EXPECT_EQ(0, mOutcomes.mAlive);
}

TEST_F(LostTest, LoopSleepsAfterTheLoss)
{
    int lTold = 0;

    ASSERT_EQ(0, mBus->AddDisconnectHandler(CountDisconnect, &lTold));
    KillBus();
    ASSERT_TRUE(Drive(mBus, [&] { return lTold == 1; }));

    unsigned int      lCount       = 0;
    PRPollDesc *const lDescriptors = mBus->GetPollDescriptors(lCount, nullptr);

    // What is left to do is done in a turn or two, and does not come back.
    for (int lTurn = 0; lTurn < 5 && PR_Poll(lDescriptors, 1, PR_INTERVAL_NO_WAIT) > 0; lTurn++)
        (void)mBus->HandleEvents(lDescriptors);

    EXPECT_EQ(0, PR_Poll(lDescriptors, 1, PR_INTERVAL_NO_WAIT));
}

TEST_F(LostTest, ThreadGetsANewInstanceOnceThereIsABusAgain)
{
    Texts lTexts;

    mPeer.Script("Wait", Answer::Silence());
    ASSERT_EQ(0, CallAsync(mBus, "Wait", mOutcomes.New("old", [] { (void)zqDBus::GetThreadDefaultInstance(); })));
    ASSERT_TRUE(mPeer.WaitForCall("Wait"));
    KillBus();
    ASSERT_TRUE(WaitUntil([&] { return CallPlainly(mBus, "Ask", 0) == zqError_WrongState; }));

    EXPECT_EQ(nullptr, zqDBus::GetThreadDefaultInstance());
    EXPECT_EQ(0, mOutcomes.mCount);

    ASSERT_TRUE(SystemBus().Start());

    zqDBus *const lNew = zqDBus::GetThreadDefaultInstance();

    ASSERT_NE(nullptr, lNew);
    EXPECT_TRUE(lNew->IsConnected());
    EXPECT_EQ((Texts{ "old: error " DBUS_ERROR_DISCONNECTED }), mOutcomes.mTexts);
    EXPECT_TRUE(Settle(lNew));
}

TEST_F(LostTest, FrozenBusHoldsABlockingCallNoLongerThanItsTimeOut)
{
    ASSERT_EQ(0, CallPlainly(mBus, "Ask"));
    SystemBus().Stop();

    // Enough that the socket is full and a flush would wait.
    const std::string lLong(1024 * 1024, 'x');
    const char *const lText  = lLong.c_str();
    const auto        lStart = std::chrono::steady_clock::now();

    ASSERT_EQ(0, Call(mBus, "Ask", mOutcomes.New("queued"), nullptr, 60000, nullptr, DBUS_TYPE_STRING, &lText,
                      DBUS_TYPE_INVALID));
    EXPECT_EQ(zqError_TimedOut, CallPlainly(mBus, "Ask", 100));
    EXPECT_LT(std::chrono::steady_clock::now() - lStart, kWaitLimit);

    SystemBus().Continue();
    EXPECT_TRUE(Drive(mBus, [&] { return mOutcomes.mCount == 1; }));
    EXPECT_EQ((Texts{ "queued: completed " }), mOutcomes.mTexts);
}

TEST_F(LostTest, WhatAFrozenBusDoesNotTakeIsLimited)
{
    ASSERT_EQ(0, CallPlainly(mBus, "Ask"));
    SystemBus().Stop();

    const std::string lLong(1024 * 1024, 'x');
    const char *const lText   = lLong.c_str();
    zqError           lReturn = 0;
    int               lSent   = 0;

    for (; lReturn == 0 && lSent < 100; lSent++)
    {
        zqDBusPendingCall *const lPending = mOutcomes.New("call");

        lReturn = Call(mBus, "Ask", lPending, nullptr, 60000, nullptr, DBUS_TYPE_STRING, &lText, DBUS_TYPE_INVALID);

        if (lReturn != 0)
            delete lPending;
    }

    EXPECT_EQ(zqError_NoResources, lReturn);
    EXPECT_EQ(zqError_NoResources, CallPlainly(mBus, "Ask", 0));
    EXPECT_EQ(lSent - 1, mOutcomes.mAlive);

    SystemBus().Continue();
    EXPECT_TRUE(Drive(mBus, [&] { return mOutcomes.mAlive == 0; })) << "and goes on when the bus does";
    EXPECT_EQ(0, CallPlainly(mBus, "Ask"));
}

} // namespace zq::Test
