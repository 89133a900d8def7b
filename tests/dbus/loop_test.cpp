#include "testbus.h"

using namespace zq::Test;

namespace
{

/** Signals first, and then the reply: whoever reads the reply has read them. */
class TickingPeer : public Peer
{
public:
    ~TickingPeer() override { Detach(); }

    std::atomic<int> mNumTicks{ 0 };

protected:
    Answer AnswerLocked(const Call &aCall, GVariant * /* aBody */) override
    {
        for (int lIndex = 0; lIndex < mNumTicks; lIndex++)
            EmitLocked(kPeerPath, kPeerInterface, "Tick", "");

        return aCall.mMethod == "TickOnly" ? Answer::Silence() : Answer::Value("");
    }
};

/** Counts the peer's ticks. */
struct Ticks
{
    std::atomic<int>      mCount{ 0 };
    std::function<void()> mAction;

    static DBusHandlerResult Handle(void *aContext, DBusConnection * /* aConnection */, DBusMessage * /* aMessage */)
    {
        auto *const lTicks = static_cast<Ticks *>(aContext);

        if (lTicks->mAction)
            lTicks->mAction();

        lTicks->mCount++;

        return DBUS_HANDLER_RESULT_HANDLED;
    }
};

constexpr zqDBusSignalDispatch kTable[] = {
    { kPeerInterface, kPeerName, kPeerPath, "Tick", nullptr, Ticks::Handle },
    kEndOfSignals,
};

class LoopTest : public BusTest
{
protected:
    /** From here on each call makes so many ticks; what there was before is handled. */
    void Begin(int aNumTicks)
    {
        mPeer.mNumTicks = aNumTicks;
        ASSERT_EQ(0, mBus->RegisterSignalHandlers(kPeerPath, kTable, &mTicks));
        ASSERT_TRUE(Settle(mBus));

        while (IsReady())
            ASSERT_TRUE(PollOnce(mBus));
    }

    bool IsReady()
    {
        unsigned int lCount = 0;

        return PR_Poll(mBus->GetPollDescriptors(lCount, nullptr), 1, PR_INTERVAL_NO_WAIT) > 0;
    }

    TickingPeer mPeer;
    Ticks       mTicks;
    Outcomes    mOutcomes;
};

} // namespace

// Time-outs

TEST_F(LoopTest, TimersAreCalledOnceAtTheirTimeAndNotWhenTheyWereStopped)
{
    struct Timer
    {
        zqDBus      *mBus;
        std::string *mNotes;
        char         mName;

        static void Handle(void *aContext)
        {
            auto *const lTimer = static_cast<Timer *>(aContext);

            lTimer->mNotes->push_back(lTimer->mName);
            if (*lTimer->mNotes == "a")
            {
                EXPECT_EQ(0, lTimer->mBus->SetTimer(Handle, lTimer, 0)) << "again";
            }
            else if (*lTimer->mNotes == "aa")
            {
                EXPECT_EQ(0, lTimer->mBus->SetTimer(Handle, lTimer + 1, 0)) << "earlier than before";
            }
        }
    };

    std::string lNotes;
    Timer       lTimers[] = { { mBus, &lNotes, 'a' }, { mBus, &lNotes, 'b' }, { mBus, &lNotes, 'c' } };

    EXPECT_EQ(zqError_InvalidArgument, mBus->AddTimer(nullptr, nullptr));
    EXPECT_EQ(zqError_NotFound, mBus->SetTimer(Timer::Handle, lTimers, 1));
    for (Timer &lTimer : lTimers)
        EXPECT_EQ(0, mBus->AddTimer(Timer::Handle, &lTimer));
    EXPECT_EQ(zqError_InvalidArgument, mBus->SetTimer(Timer::Handle, lTimers, -1));
    EXPECT_EQ(0, mBus->SetTimer(Timer::Handle, &lTimers[1], 100000));
    EXPECT_EQ(0, mBus->SetTimer(Timer::Handle, &lTimers[2], 5));
    EXPECT_EQ(0, mBus->SetTimer(Timer::Handle, &lTimers[0], 100000));
    EXPECT_EQ(0, mBus->SetTimer(Timer::Handle, &lTimers[0], 10));
    mBus->StopTimer(Timer::Handle, &lTimers[2]);
    EXPECT_TRUE(Drive(mBus, [&] { return lNotes.size() == 3; }));
    EXPECT_EQ("aab", lNotes);
    for (Timer &lTimer : lTimers)
        mBus->RemoveTimer(Timer::Handle, &lTimer);
}

// What a blocking call has read

TEST_F(LoopTest, MessagesReadByABlockingCallOnAnotherThreadWakeTheLoop)
{
    Begin(3);

    for (const auto &[lMethod, lTimeout, lReturn] :
         { std::tuple("Tick", -1, zqError_None), std::tuple("TickOnly", 500, zqError_TimedOut) })
    {
        mTicks.mCount = 0;
        std::thread([&] { EXPECT_EQ(lReturn, CallPlainly(mBus, lMethod, lTimeout)); }).join();

        // No HandleEvents(nullptr) before the poll.
        while (mTicks.mCount < 3 && PollOnce(mBus))
        {
        }
        EXPECT_EQ(3, mTicks.mCount);
    }
}

TEST_F(LoopTest, BlockingCallOutsideTheLoopLeavesItsSignalsToTheNextPass)
{
    Begin(3);
    ASSERT_EQ(0, CallPlainly(mBus, "Tick"));
    EXPECT_EQ(0, mTicks.mCount) << "a blocking call must not dispatch";
    EXPECT_EQ(0, mBus->HandleEvents(nullptr));
    EXPECT_EQ(3, mTicks.mCount);
}

TEST_F(LoopTest, BlockingCallInsideAHandlerLosesNoSignal)
{
    int lCalls = 0;

    Begin(1);
    mTicks.mAction = [&]
    {
        if (lCalls++ == 0)
        {
            EXPECT_EQ(0, CallPlainly(mBus, "Tick"));
        }
        EXPECT_EQ(0, mBus->HandleEvents(nullptr)) << "coming back into the loop changes nothing";
    };
    mPeer.Signal("Tick");
    EXPECT_TRUE(Drive(mBus, [&] { return mTicks.mCount == 2; }));
}

// When it sleeps

TEST_F(LoopTest, FloodIsDispatchedInPortionsAndThenTheLoopSleeps)
{
    Begin(1000);
    ASSERT_EQ(0, CallPlainly(mBus, "Tick"));
    ASSERT_TRUE(PollOnce(mBus));
    EXPECT_GT(mTicks.mCount, 0);
    EXPECT_LT(mTicks.mCount, 1000);
    EXPECT_TRUE(IsReady()) << "what is left must not wait for traffic";
    EXPECT_TRUE(Drive(mBus, [&] { return mTicks.mCount == 1000; }));

    for (int lTurn = 0; lTurn < 5 && IsReady(); lTurn++)
        ASSERT_TRUE(PollOnce(mBus));
    EXPECT_FALSE(IsReady());
    EXPECT_EQ(0, mBus->HandleEvents(nullptr));
}

// Threads

TEST_F(LoopTest, BlockingCallOnAnotherThreadHoldsUpNobody)
{
    std::atomic<bool> lIsBlocked{ true };

    mPeer.Script("Wait", Answer::Held());

    std::thread lThread(
        [&]
        {
            EXPECT_EQ(0, CallPlainly(mBus, "Wait", 60000));
            lIsBlocked = false;
        });

    EXPECT_TRUE(mPeer.WaitForCall("Wait"));

    for (int lCount = 0; lCount < 20; lCount++)
    {
        EXPECT_TRUE(Settle(mBus));
        EXPECT_EQ(0, CallPlainly(mBus, "Other"));
    }

    EXPECT_TRUE(lIsBlocked);
    mPeer.ReleaseHeld();
    lThread.join();
}

TEST_F(LoopTest, CallsFromManyThreadsAllEndBesideTheLoop)
{
    const LoopThread         lLoop(mBus);
    std::vector<std::thread> lThreads;
    const auto               lCall = [&](int anIndex)
    {
        for (int lCount = 0; lCount < 40; lCount++)
        {
            EXPECT_EQ(0, CallAsync(mBus, "Later", mOutcomes.New("later")));
            EXPECT_EQ(0, CallPlainly(mBus, "Now"));
            EXPECT_EQ(lCount % 4 == 0 ? zqError_TimedOut : 0,
                      lCount % 4 == 0 ? CallPlainly(mBus, "Wait", anIndex + lCount / 4) : 0);
        }
    };

    mPeer.Script("Wait", Answer::Silence());
    for (int lIndex = 0; lIndex < 4; lIndex++)
        lThreads.emplace_back(lCall, lIndex);
    for (std::thread &lThread : lThreads)
        lThread.join();

    EXPECT_TRUE(WaitUntil([&] { return mOutcomes.mAlive == 0; }));
    EXPECT_EQ(160, mOutcomes.mCount);
}

// Instances

TEST_F(LoopTest, HandlerMayDropTheLastReference)
{
    Begin(2);
    mPeer.Script("Wait", Answer::Silence());
    ASSERT_EQ(0, CallAsync(mBus, "Wait", mOutcomes.New("outstanding")));
    ASSERT_EQ(0, CallPlainly(mBus, "Tick"));
    ASSERT_EQ(1, mBus->GetRefCount());

    mTicks.mAction = [&] { mHolder.Set(nullptr); };
    (void)mBus->HandleEvents(nullptr);

    EXPECT_EQ((std::vector<std::string>{ "outstanding: error " DBUS_ERROR_DISCONNECTED }), mOutcomes.mTexts);
    EXPECT_EQ(0, mOutcomes.mAlive);
}

TEST_F(LoopTest, EveryThreadHasAnInstanceAndTheProcessHoldsOne)
{
    zqDBus *const lMine = zqDBus::GetThreadDefaultInstance();

    EXPECT_EQ(lMine, zqDBus::GetThreadDefaultInstance());
    std::thread(
        [lMine]
        {
            EXPECT_NE(lMine, zqDBus::GetThreadDefaultInstance());
            zqDBus::SetGlobalDefaultInstance(zqDBus::GetThreadDefaultInstance());
        })
        .join();

    ASSERT_NE(nullptr, zqDBus::GetGlobalDefaultInstance());
    EXPECT_EQ(1, zqDBus::GetGlobalDefaultInstance()->GetRefCount());
    EXPECT_TRUE(zqDBus::GetGlobalDefaultInstance()->IsConnected());
    zqDBus::SetGlobalDefaultInstance(nullptr);
    EXPECT_EQ(nullptr, zqDBus::GetGlobalDefaultInstance());
}
