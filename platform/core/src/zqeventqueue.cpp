#include "zqlock.h"

#include <zqevent.h>

#include <mutex>
#include <new>

namespace
{

/** One event that waits, with the queue's reference. */
struct Entry
{
    zqEvent         *mEvent;
    zqIEventHandler *mHandler;
    Entry           *mNext;
};

void ReleaseAll(Entry *aList) noexcept
{
    while (aList != nullptr)
    {
        const std::unique_ptr<Entry> lEntry(aList);

        aList = lEntry->mNext;
        lEntry->mEvent->Release();
    }
}

} // namespace

struct zqEventQueue::State
{
    ~State();

    bool Init() noexcept;

    bool IsPollerSet() const noexcept;
    bool SetPollerLocked() const noexcept;
    void ClearPoller() const noexcept;

    Entry *TakeFirstLocked() noexcept;
    Entry *TakeAllForLocked(const zqIEventHandler *aHandler) noexcept;

    zqLock      mLock;
    PRFileDesc *mPoller   = nullptr;
    Entry      *mFirst    = nullptr;
    Entry     **mEnd      = &mFirst; // where the next entry is linked
    int         mNumWaits = 0;
};

zqEventQueue::State::~State()
{
    ReleaseAll(mFirst);
    if (mPoller != nullptr)
        (void)PR_DestroyPollableEvent(mPoller);
}

bool zqEventQueue::State::Init() noexcept
{
    if (!mLock.Init())
        return false;

    mPoller = PR_NewPollableEvent();
    return mPoller != nullptr;
}

bool zqEventQueue::State::IsPollerSet() const noexcept
{
    PRPollDesc lPoll = { mPoller, PR_POLL_READ, 0 };

    return PR_Poll(&lPoll, 1, PR_INTERVAL_NO_WAIT) > 0;
}

bool zqEventQueue::State::SetPollerLocked() const noexcept
{
    // Each setting fills a pipe that only waiting empties: one at most, or a
    // queue that nobody drains would block whoever enqueues.
    return IsPollerSet() || PR_SetPollableEvent(mPoller) == PR_SUCCESS;
}

void zqEventQueue::State::ClearPoller() const noexcept
{
    if (IsPollerSet())
        (void)PR_WaitForPollableEvent(mPoller);
}

Entry *zqEventQueue::State::TakeFirstLocked() noexcept
{
    Entry *lEntry = mFirst;

    if (lEntry == nullptr)
        return nullptr;

    mFirst = lEntry->mNext;
    if (mFirst == nullptr)
        mEnd = &mFirst;
    --mNumWaits;
    return lEntry;
}

Entry *zqEventQueue::State::TakeAllForLocked(const zqIEventHandler *aHandler) noexcept
{
    Entry  *lTaken    = nullptr;
    Entry **lTakenEnd = &lTaken;
    Entry **lLink     = &mFirst;

    while (*lLink != nullptr)
    {
        Entry *lEntry = *lLink;

        if (lEntry->mHandler == aHandler)
        {
            *lLink        = lEntry->mNext;
            lEntry->mNext = nullptr;
            *lTakenEnd    = lEntry;
            lTakenEnd     = &lEntry->mNext;
            --mNumWaits;
        }
        else
        {
            lLink = &lEntry->mNext;
        }
    }
    mEnd = lLink;
    return lTaken;
}

const unsigned int zqEventQueue::kExitEvent = 1;

zqEventQueue::zqEventQueue() noexcept = default;

zqEventQueue::~zqEventQueue() = default;

zqError zqEventQueue::Init() noexcept
{
    if (mState != nullptr)
        return zqError_WrongState;

    std::unique_ptr<State> lState(new (std::nothrow) State);

    if (lState == nullptr || !lState->Init())
        return zqError_NoResources;

    mState = std::move(lState);
    return zqError_None;
}

PRFileDesc *zqEventQueue::GetPoller() const noexcept
{
    return mState != nullptr ? mState->mPoller : nullptr;
}

zqError zqEventQueue::Enqueue(zqEvent *anEvent, zqIEventHandler *aHandler) noexcept
{
    if (mState == nullptr)
        return zqError_WrongState;
    if (anEvent == nullptr)
        return zqError_InvalidArgument;

    std::unique_ptr<Entry> lEntry(new (std::nothrow) Entry{ anEvent, aHandler, nullptr });

    if (lEntry == nullptr)
        return zqError_OutOfMemory;

    const std::lock_guard<zqLock> lGuard(mState->mLock);

    // Under the lock: whoever waits for the poller between the two steps finds
    // the event when he then dequeues.
    if (!mState->SetPollerLocked())
        return zqError_Failed;

    anEvent->Retain();
    *mState->mEnd = lEntry.release();
    mState->mEnd  = &(*mState->mEnd)->mNext;
    ++mState->mNumWaits;
    return zqError_None;
}

bool zqEventQueue::Dequeue(zqEvent *&anEvent, zqIEventHandler *&aHandler) noexcept
{
    std::unique_ptr<Entry> lEntry;

    if (mState != nullptr)
    {
        const std::lock_guard<zqLock> lGuard(mState->mLock);
        lEntry.reset(mState->TakeFirstLocked());
    }

    anEvent  = lEntry != nullptr ? lEntry->mEvent : nullptr;
    aHandler = lEntry != nullptr ? lEntry->mHandler : nullptr;
    return lEntry != nullptr;
}

void zqEventQueue::Remove(const zqIEventHandler *aHandler) noexcept
{
    if (mState == nullptr)
        return;

    Entry *lTaken;
    {
        const std::lock_guard<zqLock> lGuard(mState->mLock);
        lTaken = mState->TakeAllForLocked(aHandler);
    }

    // An event's end may use the queue.
    ReleaseAll(lTaken);
}

bool zqEventQueue::Dispatch() noexcept
{
    if (mState == nullptr)
        return true;

    // Before the count: an event that comes after it sets the poller anew.
    mState->ClearPoller();

    int lNumLeft;
    {
        const std::lock_guard<zqLock> lGuard(mState->mLock);
        lNumLeft = mState->mNumWaits;
    }

    bool             lGoOn = true;
    zqEvent         *lEvent;
    zqIEventHandler *lHandler;

    // Only what waits now: a handler that enqueues again must not keep its loop here.
    for (; lNumLeft > 0 && Dequeue(lEvent, lHandler); --lNumLeft)
    {
        if (lHandler != nullptr)
            lHandler->HandleEvent(lEvent);
        else if (lEvent->GetType() == kExitEvent)
            lGoOn = false;
        lEvent->Release();
    }
    return lGoOn;
}

zqError zqEventQueue::Exit() noexcept
{
    const zqRefCountSharedPtr lHold(new (std::nothrow) zqEvent);
    auto *const               lEvent = static_cast<zqEvent *>(lHold.Get());

    if (lEvent == nullptr)
        return zqError_OutOfMemory;

    (void)lEvent->Init(kExitEvent, 0);
    return Enqueue(lEvent, nullptr);
}
