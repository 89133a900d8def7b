#include "testbus.h"

using namespace zq::Test;

namespace
{

using Texts = std::vector<std::string>;

class LostTest : public BusTest
{
protected:
    void KillBus()
    {
        mPeer.Crash();
        SystemBus().Kill();
    }

    /** What a frozen bus does not take at once. */
    zqError SendLong(zqDBusPendingCall *aPending)
    {
        const std::string lLong(1024 * 1024, 'x');
        const char *const lText = lLong.c_str();

        return Call(mBus, "Ask", aPending, nullptr, 60000, nullptr, DBUS_TYPE_STRING, &lText, DBUS_TYPE_INVALID);
    }

    Peer     mPeer;
    Outcomes mOutcomes;
    int      mTold = 0;
};

void CountDisconnect(void *aContext)
{
    ++*static_cast<int *>(aContext);
}

} // namespace

TEST_F(LostTest, BlockingCallThatSeesTheBusDieWakesTheLoop)
{
    mPeer.Script("Wait", Answer::Silence());
    ASSERT_EQ(0, mBus->AddDisconnectHandler(CountDisconnect, &mTold));

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
    while (mTold == 0 && PollOnce(mBus))
    {
    }

    EXPECT_EQ(1, mTold);
}

// Each death is another race of the threads for the end of the connection.
TEST_F(LostTest, BlockingCallsOfManyThreadsSurviveTheBus)
{
    for (int lDeath = 0; lDeath < 40; lDeath++)
    {
        std::atomic<int>         lCount{ 0 };
        std::vector<std::thread> lThreads;

        std::thread([this] { mHolder.Set(zqDBus::GetThreadDefaultInstance()); }).join();
        mBus = static_cast<zqDBus *>(mHolder.Get());
        ASSERT_NE(nullptr, mBus);

        const LoopThread lLoop(mBus);

        for (int lIndex = 0; lIndex < 4; lIndex++)
            lThreads.emplace_back(
                [&]
                {
                    zqError lReturn = 0;

                    while (lReturn == 0)
                    {
                        lReturn = CallPlainly(mBus, "Ask", 60000);
                        lCount++;
                    }
                    EXPECT_EQ(zqError_WrongState, lReturn);
                });

        EXPECT_TRUE(WaitUntil([&] { return lCount > 8; }));
        SystemBus().Kill();
        for (std::thread &lThread : lThreads)
            lThread.join();
        mPeer.Crash();
        ASSERT_TRUE(SystemBus().Start() && mPeer.Appear());
    }
}

TEST_F(LostTest, EveryOperationOnADeadBusSaysSoAndItsLoopSleeps)
{
    const auto         lHandle    = [](void *, const char *, DBusMessageIter *) { return DBUS_HANDLER_RESULT_HANDLED; };
    const zqDBusFilter lFilters[] = { { "a.b", nullptr, nullptr, lHandle, nullptr }, {} };
    const std::unique_ptr<zqDBusPendingCall> lPending(mOutcomes.New("unsent"));

    ASSERT_EQ(0, mBus->AddDisconnectHandler(CountDisconnect, &mTold));
    ASSERT_EQ(0, mBus->RegisterInterface("/mine", kNoMethods, nullptr));
    ASSERT_EQ(0, mBus->RegisterSignalHandlers("/", &kEndOfSignals, nullptr));
    KillBus();

    // Before and after the loss is dispatched.
    for (int lPass = 0; lPass < 2; lPass++)
    {
        EXPECT_EQ(zqError_WrongState, CallPlainly(mBus, "Ask"));
        EXPECT_EQ(zqError_WrongState, CallAsync(mBus, "Ask", lPending.get()));
        EXPECT_EQ(zqError_WrongState, mBus->AddFilters(lFilters));
        EXPECT_EQ(zqError_WrongState, mBus->RegisterSignalHandlers("/other", &kEndOfSignals, nullptr));
        EXPECT_EQ(zqError_WrongState, mBus->RegisterInterface("/other", kNoMethods, nullptr));
        EXPECT_FALSE(mBus->IsConnected());
        EXPECT_EQ(0, mOutcomes.mCount);
        ASSERT_TRUE(Drive(mBus, [&] { return mTold == 1; }));
    }

    EXPECT_EQ(zqError_WrongState, mBus->AddDisconnectHandler(CountDisconnect, &mTold));
    EXPECT_EQ(0, mBus->UnregisterInterface("/mine"));
    EXPECT_EQ(0, mBus->UnregisterSignalHandlers("/", &kEndOfSignals, nullptr));

    // What is left to do is done in a turn or two, and does not come back.
    unsigned int      lCount       = 0;
    PRPollDesc *const lDescriptors = mBus->GetPollDescriptors(lCount, nullptr);

    for (int lTurn = 0; lTurn < 5 && PR_Poll(lDescriptors, 1, PR_INTERVAL_NO_WAIT) > 0; lTurn++)
        (void)mBus->HandleEvents(lDescriptors);
    EXPECT_EQ(0, PR_Poll(lDescriptors, 1, PR_INTERVAL_NO_WAIT));
}

TEST_F(LostTest, ThreadGetsANewInstanceOnceThereIsABusAgain)
{
    // The thread's own: asking for another lets go of it.
    mBus = zqDBus::GetThreadDefaultInstance();

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

TEST_F(LostTest, FrozenBusHoldsABlockingCallNoLongerThanItsTimeOutAndTakesOnlySoMuch)
{
    const auto lStart = std::chrono::steady_clock::now();
    zqError    lReturn;
    int        lSent = 0;

    ASSERT_EQ(0, CallPlainly(mBus, "Ask"));
    SystemBus().Stop();

    // The first fills the socket, so that a flush would wait.
    ASSERT_EQ(0, SendLong(mOutcomes.New("queued")));
    EXPECT_EQ(zqError_TimedOut, CallPlainly(mBus, "Ask", 100));
    EXPECT_EQ(zqError_TimedOut, mBus->Flush(100));
    EXPECT_LT(std::chrono::steady_clock::now() - lStart, gWaitLimit.load());

    do
    {
        zqDBusPendingCall *const lPending = mOutcomes.New("queued");

        lReturn = SendLong(lPending);
        lSent++;

        if (lReturn != 0)
            delete lPending;
    } while (lReturn == 0 && lSent < 100);

    EXPECT_EQ(zqError_NoResources, lReturn);
    EXPECT_EQ(zqError_NoResources, CallPlainly(mBus, "Ask", 0));
    EXPECT_EQ(lSent, mOutcomes.mAlive);

    SystemBus().Continue();
    EXPECT_TRUE(Drive(mBus, [&] { return mOutcomes.mAlive == 0; })) << "and goes on when the bus does";
    EXPECT_EQ(Texts(static_cast<std::size_t>(lSent), "queued: completed "), mOutcomes.mTexts);
    EXPECT_EQ(0, mBus->Flush(0));
    EXPECT_EQ(0, CallPlainly(mBus, "Ask"));
}
