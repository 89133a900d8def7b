#include "testbus.h"

namespace zq::Test
{

namespace
{

struct Counter
{
    std::atomic<int>      mCount{ 0 };
    std::function<void()> mAction;

    static DBusHandlerResult Handle(void *aContext, DBusConnection * /* aConnection */, DBusMessage * /* aMessage */)
    {
        auto *const lCounter = static_cast<Counter *>(aContext);

        if (lCounter->mAction)
            lCounter->mAction();

        lCounter->mCount++;

        return DBUS_HANDLER_RESULT_HANDLED;
    }
};

constexpr zqDBusSignalDispatch kTicks[] = {
    { kPeerInterface, kPeerName, kPeerPath, "Tick", nullptr, Counter::Handle },
    { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr },
};

class Ticks : public Counter
{
public:
    explicit Ticks(zqDBus *aBus) : mBus(aBus)
    {
        EXPECT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTicks, this));
        EXPECT_TRUE(Settle(mBus));
    }
    ~Ticks() { EXPECT_EQ(0, mBus->UnregisterSignalHandlers(kPeerPath, kTicks, this)); }

private:
    zqDBus *mBus;
};

/** Signals first, and then the reply: whoever reads the reply has read them. */
class TickingPeer : public Peer
{
public:
    explicit TickingPeer(int aNumTicks) : mNumTicks(aNumTicks) {}
    ~TickingPeer() override { Detach(); }

protected:
    Answer AnswerLocked(const Call &aCall, GVariant * /* aBody */) override
    {
        for (int lIndex = 0; lIndex < mNumTicks; lIndex++)
            EmitLocked(kPeerPath, kPeerInterface, "Tick", "");

        return aCall.mMethod == "TickOnly" ? Answer::Silence() : Answer::Value("");
    }

private:
    int mNumTicks;
};

bool IsReady(zqDBus *aBus)
{
    unsigned int lCount = 0;

    return PR_Poll(aBus->GetPollDescriptors(lCount, nullptr), 1, PR_INTERVAL_NO_WAIT) > 0;
}

} // namespace

using LoopTest = BusTest;

TEST_F(LoopTest, PendingCallsTimeOutInALoopThatNeverDoes)
{
    Peer     lPeer;
    Outcomes lOutcomes;

    lPeer.Script("Wait", Answer::Silence());

    ASSERT_EQ(0, CallAsync(mBus, "Wait", lOutcomes.New("late"), 150));
    ASSERT_EQ(0, CallAsync(mBus, "Wait", lOutcomes.New("soon"), 50));
    ASSERT_EQ(0, CallAsync(mBus, "Wait", lOutcomes.New("at once"), 0));

    ASSERT_TRUE(Drive(mBus, [&] { return lOutcomes.mCount == 3; }));
    EXPECT_EQ((std::vector<std::string>{ "at once: timed out", "soon: timed out", "late: timed out" }),
              lOutcomes.mTexts);
    EXPECT_EQ(0, lOutcomes.mAlive);
}

TEST_F(LoopTest, LibrarysOwnPendingCallsTimeOutToo)
{
    Peer               lPeer;
    DBusPendingCall   *lPending = nullptr;
    DBusMessage *const lMessage = zqDBus::NewMethodCall(kPeerName, kPeerPath, kPeerInterface, "Wait");

    lPeer.Script("Wait", Answer::Silence());
    ASSERT_TRUE(dbus_connection_send_with_reply(mBus->GetConnection(), lMessage, &lPending, 50));

    EXPECT_TRUE(Drive(mBus, [&] { return dbus_pending_call_get_completed(lPending); }));

    dbus_pending_call_unref(lPending);
    dbus_message_unref(lMessage);
}

TEST_F(LoopTest, MessagesReadByABlockingCallOnAnotherThreadWakeTheLoop)
{
    TickingPeer lPeer(3);
    Ticks       lTicks(mBus);

    std::thread([&] { EXPECT_EQ(0, CallPlainly(mBus, "Tick")); }).join();

    // No HandleEvents(nullptr) before the poll.
    while (lTicks.mCount < 3 && PollOnce(mBus))
    {
    }

    EXPECT_EQ(3, lTicks.mCount);
}

TEST_F(LoopTest, MessagesReadByABlockingCallThatTimedOutWakeTheLoop)
{
    TickingPeer lPeer(3);
    Ticks       lTicks(mBus);

    while (IsReady(mBus))
        ASSERT_TRUE(PollOnce(mBus));

    std::thread([&] { EXPECT_EQ(zqError_TimedOut, CallPlainly(mBus, "TickOnly", 500)); }).join();

    while (lTicks.mCount < 3 && PollOnce(mBus))
    {
    }

    EXPECT_EQ(3, lTicks.mCount);
}

TEST_F(LoopTest, BlockingCallOutsideTheLoopLeavesItsSignalsToTheNextPass)
{
    TickingPeer lPeer(3);
    Ticks       lTicks(mBus);

    ASSERT_EQ(0, CallPlainly(mBus, "Tick"));
    EXPECT_EQ(0, lTicks.mCount) << "a blocking call must not dispatch";

    EXPECT_EQ(0, mBus->HandleEvents(nullptr));
    EXPECT_EQ(3, lTicks.mCount);
}

TEST_F(LoopTest, BlockingCallInsideAHandlerLosesNoSignal)
{
    TickingPeer lPeer(1);
    Ticks       lTicks(mBus);
    int         lCalls = 0;

    lTicks.mAction = [&]
    {
        if (lCalls++ == 0)
        {
            EXPECT_EQ(0, CallPlainly(mBus, "Tick"));
        }
    };
    lPeer.Signal("Tick");

    EXPECT_TRUE(Drive(mBus, [&] { return lTicks.mCount == 2; }));
}

TEST_F(LoopTest, FloodIsDispatchedInPortions)
{
    TickingPeer lPeer(1000);
    Ticks       lTicks(mBus);

    ASSERT_EQ(0, CallPlainly(mBus, "Tick"));
    ASSERT_TRUE(PollOnce(mBus));

    EXPECT_GT(lTicks.mCount, 0);
    EXPECT_LT(lTicks.mCount, 1000);
    EXPECT_TRUE(IsReady(mBus)) << "what is left must not wait for traffic";
    EXPECT_TRUE(Drive(mBus, [&] { return lTicks.mCount == 1000; }));
}

TEST_F(LoopTest, IdleLoopSleeps)
{
    ASSERT_TRUE(Settle(mBus));

    while (IsReady(mBus))
        ASSERT_TRUE(PollOnce(mBus));

    EXPECT_FALSE(IsReady(mBus));
    EXPECT_EQ(0, mBus->HandleEvents(nullptr));
}

TEST_F(LoopTest, DescriptorsAreReportedAsChangedOnce)
{
    std::thread(
        []
        {
            zqDBus *const lBus     = zqDBus::GetThreadDefaultInstance();
            unsigned int  lCount   = 0;
            bool          lChanged = false;

            ASSERT_NE(nullptr, lBus->GetPollDescriptors(lCount, &lChanged));
            EXPECT_EQ(1u, lCount);
            EXPECT_TRUE(lChanged);

            lChanged = false;
            (void)lBus->GetPollDescriptors(lCount, &lChanged);
            EXPECT_FALSE(lChanged);

            lChanged = true;
            (void)lBus->GetPollDescriptors(lCount, &lChanged);
            EXPECT_TRUE(lChanged) << "the flag is the caller's";
        })
        .join();
}

TEST_F(LoopTest, DescriptorWithoutFlagsIsNotHandled)
{
    unsigned int lCount      = 0;
    PRPollDesc   lDescriptor = *mBus->GetPollDescriptors(lCount, nullptr);

    lDescriptor.out_flags = 0;

    EXPECT_EQ(0, mBus->HandleEvents(&lDescriptor));
}

TEST_F(LoopTest, BlockingCallOnAnotherThreadHoldsUpNobody)
{
    Peer              lPeer;
    std::atomic<bool> lIsBlocked{ true };

    lPeer.Script("Wait", Answer::Held());

    std::thread lThread(
        [&]
        {
            EXPECT_EQ(0, CallPlainly(mBus, "Wait", 60000));
            lIsBlocked = false;
        });

    ASSERT_TRUE(lPeer.WaitForCall("Wait"));

    for (int lCount = 0; lCount < 20; lCount++)
    {
        EXPECT_TRUE(Settle(mBus));
        EXPECT_EQ(0, CallPlainly(mBus, "Other"));
    }

    EXPECT_TRUE(lIsBlocked);
    lPeer.ReleaseHeld();
    lThread.join();
}

TEST_F(LoopTest, CallsFromManyThreadsAllEnd)
{
    constexpr int kThreads = 4;
    constexpr int kCalls   = 40;

    Peer                     lPeer;
    Outcomes                 lOutcomes;
    std::atomic<int>         lReplies{ 0 };
    std::vector<std::thread> lThreads;
    const LoopThread         lLoop(mBus);

    for (int lIndex = 0; lIndex < kThreads; lIndex++)
        lThreads.emplace_back(
            [&]
            {
                for (int lCall = 0; lCall < kCalls; lCall++)
                {
                    EXPECT_EQ(0, CallAsync(mBus, "Later", lOutcomes.New("later")));
                    lReplies += CallPlainly(mBus, "Now") == 0 ? 1 : 0;
                }
            });

    for (std::thread &lThread : lThreads)
        lThread.join();

    EXPECT_EQ(kThreads * kCalls, lReplies);
    EXPECT_TRUE(WaitUntil([&] { return lOutcomes.mAlive == 0; }));
    EXPECT_EQ(kThreads * kCalls, lOutcomes.mCount);
}

TEST_F(LoopTest, TimeOutsOfBlockingCallsMayEndBesideTheLoop)
{
    Peer                     lPeer;
    std::vector<std::thread> lThreads;
    const LoopThread         lLoop(mBus);

    lPeer.Script("Wait", Answer::Silence());

    for (int lIndex = 0; lIndex < 4; lIndex++)
        lThreads.emplace_back(
            [&, lIndex]
            {
                for (int lCall = 0; lCall < 10; lCall++)
                    EXPECT_EQ(zqError_TimedOut, CallPlainly(mBus, "Wait", lIndex + lCall));
            });

    for (std::thread &lThread : lThreads)
        lThread.join();
}

TEST_F(LoopTest, HandlerThatComesBackIntoTheLoopChangesNothing)
{
    TickingPeer lPeer(2);
    Ticks       lTicks(mBus);

    lTicks.mAction = [&] { EXPECT_EQ(0, mBus->HandleEvents(nullptr)); };
    ASSERT_EQ(0, CallPlainly(mBus, "Tick"));

    EXPECT_TRUE(Drive(mBus, [&] { return lTicks.mCount == 2; }));
}

TEST_F(LoopTest, HandlerMayDropTheLastReference)
{
    TickingPeer lPeer(2);
    zqDBus     *lBus = nullptr;
    Outcomes    lOutcomes;
    Counter     lTicks;

    std::thread(
        [&]
        {
            lBus = zqDBus::GetThreadDefaultInstance();
            lBus->Retain();
        })
        .join();

    ASSERT_EQ(1, lBus->GetRefCount());
    ASSERT_EQ(0, lBus->RegisterSignalHandlers(kPeerPath, kTicks, &lTicks));
    lPeer.Script("Wait", Answer::Silence());
    ASSERT_EQ(0, CallAsync(lBus, "Wait", lOutcomes.New("outstanding")));
    ASSERT_EQ(0, CallPlainly(lBus, "Tick"));

    lTicks.mAction = [&]
    {
        if (lTicks.mCount == 0)
            lBus->Release();
    };
    (void)lBus->HandleEvents(nullptr);

    EXPECT_EQ((std::vector<std::string>{ "outstanding: error " DBUS_ERROR_DISCONNECTED }), lOutcomes.mTexts);
    EXPECT_EQ(0, lOutcomes.mAlive);
}

TEST_F(LoopTest, EveryThreadHasAnInstanceOfItsOwn)
{
    EXPECT_EQ(mBus, zqDBus::GetThreadDefaultInstance());
    std::thread([&] { EXPECT_NE(mBus, zqDBus::GetThreadDefaultInstance()); }).join();
}

TEST_F(LoopTest, ProcessWideInstanceIsHeldUntilItIsReplaced)
{
    std::thread([] { zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance()); }).join();

    ASSERT_NE(nullptr, zqDBus::GetGlobalDefaultInstance());
    EXPECT_EQ(1, zqDBus::GetGlobalDefaultInstance()->GetRefCount());
    EXPECT_TRUE(zqDBus::GetGlobalDefaultInstance()->IsConnected());

    zqDBus::SetGlobalDefaultInstance(nullptr);
    EXPECT_EQ(nullptr, zqDBus::GetGlobalDefaultInstance());
}

} // namespace zq::Test
