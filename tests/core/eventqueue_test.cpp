#include <failingallocations.h>

#include <zqevent.h>

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

using namespace zq::Test;

namespace
{

/** An event that is counted while it lives and can act when it ends. */
struct Event : public zqEvent
{
    explicit Event(unsigned int aType)
    {
        (void)Init(aType, 0);
        ++sNumAlive;
    }
    ~Event() override
    {
        if (mDone)
            mDone();
        --sNumAlive;
    }

    inline static std::atomic<int> sNumAlive{ 0 };
    std::function<void()>          mDone;
};

/** Notes the types of what it is given and can act on them. */
struct Handler : public zqIEventHandler
{
    void HandleEvent(zqEvent *anEvent) override
    {
        mTypes.push_back(anEvent->GetType());
        if (mAction)
            mAction();
    }

    std::vector<unsigned int> mTypes;
    std::function<void()>     mAction;
};

using Types = std::vector<unsigned int>;

class EventQueue : public testing::Test
{
protected:
    EventQueue() { EXPECT_EQ(mQueue.Init(), 0); }

    ~EventQueue() override { EXPECT_EQ(Event::sNumAlive, 0); }

    void Enqueue(unsigned int aType, zqIEventHandler *aHandler = nullptr)
    {
        ASSERT_EQ(mQueue.Enqueue(new Event(aType), aHandler), 0);
    }

    bool IsReadable(PRIntervalTime aTimeout = PR_INTERVAL_NO_WAIT)
    {
        PRPollDesc lPoll = { mQueue.GetPoller(), PR_POLL_READ, 0 };

        return PR_Poll(&lPoll, 1, aTimeout) == 1 && (lPoll.out_flags & PR_POLL_READ) != 0;
    }

    Types Drain()
    {
        Types            lTypes;
        zqEvent         *lEvent;
        zqIEventHandler *lHandler;

        while (mQueue.Dequeue(lEvent, lHandler))
        {
            lTypes.push_back(lEvent->GetType());
            lEvent->Release();
        }
        return lTypes;
    }

    zqEventQueue mQueue;
};

TEST_F(EventQueue, RefusesWhatItCannotCarry)
{
    zqEventQueue              lQueue;
    const zqRefCountSharedPtr lHold(new Event(7));
    auto                     *lHeld = static_cast<Event *>(lHold.Get());

    EXPECT_EQ(lQueue.Enqueue(lHeld, nullptr), -3);
    EXPECT_EQ(lQueue.Exit(), -3);
    EXPECT_EQ(mQueue.Init(), -3);
    EXPECT_EQ(mQueue.Enqueue(nullptr, nullptr), -5);
    EXPECT_EQ(Starve({ -2 }, [&] { return mQueue.Exit(); }), 2); // its event, and its place
    EXPECT_FALSE(mQueue.Dispatch());
    {
        const FailingAllocations lNoMemory;
        EXPECT_EQ(mQueue.Enqueue(lHeld, nullptr), -2);
        EXPECT_EQ(lQueue.Init(), -7);
    }
    EXPECT_EQ(lHeld->GetRefCount(), 1);
    EXPECT_FALSE(IsReadable());
    EXPECT_EQ(lQueue.Init(), 0);
}

TEST_F(EventQueue, ThePollerTellsOfEventsSinceItWasWaitedForAndNeverFillsUp)
{
    constexpr unsigned int kMoreThanAPipeHolds = 100000;

    zqEvent         *lEvent;
    zqIEventHandler *lHandler;

    EXPECT_FALSE(IsReadable());
    Enqueue(1);
    Enqueue(2);
    ASSERT_EQ(PR_WaitForPollableEvent(mQueue.GetPoller()), PR_SUCCESS);
    EXPECT_FALSE(IsReadable());
    Enqueue(3); // whoever has waited dequeues it
    ASSERT_TRUE(mQueue.Dequeue(lEvent, lHandler));
    lEvent->Release();

    Enqueue(4); // though others still wait
    EXPECT_TRUE(IsReadable());
    EXPECT_EQ(Drain(), (Types{ 2, 3, 4 }));

    for (const bool lDrains : { true, false })
    {
        for (unsigned int lCount = 0; lCount < kMoreThanAPipeHolds; ++lCount)
        {
            Enqueue(1);
            ASSERT_EQ(lDrains ? Drain().size() : 1U, 1U);
        }
    }
    EXPECT_EQ(Drain().size(), kMoreThanAPipeHolds);
    ASSERT_EQ(PR_WaitForPollableEvent(mQueue.GetPoller()), PR_SUCCESS);
    EXPECT_FALSE(IsReadable());
}

TEST_F(EventQueue, NoWakeUpIsLostBetweenThreads)
{
    constexpr unsigned int   kNumThreads = 4;
    constexpr unsigned int   kNumEvents  = 5000;
    std::vector<std::thread> lThreads;
    unsigned int             lNext[kNumThreads] = {};
    bool                     lExit              = false;

    for (unsigned int lThread = 0; lThread < kNumThreads; ++lThread)
    {
        lThreads.emplace_back(
            [this, lThread]()
            {
                for (unsigned int lEvent = 0; lEvent < kNumEvents; ++lEvent)
                    Enqueue((lThread + 1) << 16 | lEvent);
            });
    }
    std::thread lLast(
        [this, &lThreads]()
        {
            for (std::thread &lThread : lThreads)
                lThread.join();
            EXPECT_EQ(mQueue.Exit(), 0);
        });

    while (!lExit)
    {
        const bool lTold = IsReadable(PR_SecondsToInterval(30));
        EXPECT_TRUE(lTold) << "an event waits and the poller does not tell";
        if (!lTold)
            break;
        ASSERT_EQ(PR_WaitForPollableEvent(mQueue.GetPoller()), PR_SUCCESS);
        for (const unsigned int lType : Drain())
        {
            ASSERT_FALSE(lExit) << "an event after the exit event";
            lExit = lType == zqEventQueue::kExitEvent;
            ASSERT_TRUE(lExit || (lType & 0xffffU) == lNext[(lType >> 16) - 1]++);
        }
    }
    lLast.join();

    for (const unsigned int lNumSeen : lNext)
        EXPECT_EQ(lNumSeen, kNumEvents);
}

TEST_F(EventQueue, WhatAHandlerEnqueuesWaitsForTheNextDispatch)
{
    Handler lHandler, lGone;

    // Whatever the handler takes out of the queue meanwhile.
    lHandler.mAction = [&]()
    {
        mQueue.Remove(&lGone);
        Enqueue(lHandler.mTypes.back() + 1, &lHandler);
    };
    Enqueue(20, &lHandler);
    Enqueue(30, &lGone);
    ASSERT_EQ(PR_WaitForPollableEvent(mQueue.GetPoller()), PR_SUCCESS);
    for (const Types &lExpected : { Types{ 20 }, Types{ 20, 21 }, Types{ 20, 21, 22 } })
    {
        EXPECT_TRUE(mQueue.Dispatch());
        EXPECT_EQ(lHandler.mTypes, lExpected);
        EXPECT_TRUE(IsReadable());
    }
    mQueue.Remove(&lHandler);
}

TEST_F(EventQueue, RemoveDropsTheEventsOfOneHandler)
{
    Handler lGoing, lStaying;

    // First, middle and last: the chain of the others must stay whole.
    for (const unsigned int lType : { 1U, 2U, 3U, 4U, 5U })
        Enqueue(lType, lType % 2 == 1 ? &lGoing : &lStaying);
    mQueue.Remove(&lGoing);
    Enqueue(6, &lStaying);
    EXPECT_EQ(Event::sNumAlive, 3);
    EXPECT_TRUE(mQueue.Dispatch());
    EXPECT_EQ(lStaying.mTypes, (Types{ 2, 4, 6 }));

    // A handler may remove another whose event waits.
    lStaying.mAction = [&]() { mQueue.Remove(&lGoing); };
    Enqueue(8, &lStaying);
    Enqueue(9, &lGoing);
    EXPECT_TRUE(mQueue.Dispatch());
    EXPECT_TRUE(lGoing.mTypes.empty());

    // An event that ends may use the queue.
    auto *const lEvent = new Event(1);
    lEvent->mDone      = [&]() { Enqueue(2, &lStaying); };
    ASSERT_EQ(mQueue.Enqueue(lEvent, nullptr), 0);
    mQueue.Remove(nullptr);
    EXPECT_EQ(Drain(), Types{ 2 });
}

TEST_F(EventQueue, AQueueThatGoesReleasesWhatWaits)
{
    Handler                   lHandler;
    const zqRefCountSharedPtr lHold(new Event(3));
    {
        zqEventQueue lQueue;

        ASSERT_EQ(lQueue.Init(), 0);
        ASSERT_EQ(lQueue.Enqueue(new Event(1), &lHandler), 0);
        ASSERT_EQ(lQueue.Enqueue(static_cast<Event *>(lHold.Get()), nullptr), 0);
    }
    EXPECT_EQ(Event::sNumAlive, 1);
    EXPECT_EQ(lHold.Get()->GetRefCount(), 1);
    EXPECT_TRUE(lHandler.mTypes.empty());
}

} // namespace
