/**
 *  @file
 *    The queue that wakes a poll loop.
 */

#include "zqlock.h"

#include <zqevent.h>

#include <cstdint>
#include <limits>
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
    std::uint64_t    mNumber;
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
    bool SetPollerLocked() noexcept;
    void ClearPoller() const noexcept;

    Entry *TakeFirstLocked(std::uint64_t anEnd) noexcept;
    Entry *TakeAllForLocked(const zqIEventHandler *aHandler) noexcept;

    zqLock      mLock;
    PRFileDesc *mPoller = nullptr;
    bool        mIsSet  = false; // the poller, and nobody has dequeued since
    Entry      *mFirst  = nullptr;
    Entry     **mEnd    = &mFirst; // where the next entry is linked

    std::uint64_t mNextNumber = 0; // of the entries, in the order of their coming
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

bool zqEventQueue::State::SetPollerLocked() noexcept
{
    // Who has waited for the poller dequeues until there is no more: until he
    // begins it need not be looked at, so that a burst costs no system calls.
    // Each setting fills a pipe that only waiting empties: one at most, or a
    // queue that nobody drains would block whoever enqueues.
    mIsSet = mIsSet || IsPollerSet() || PR_SetPollableEvent(mPoller) == PR_SUCCESS;
    return mIsSet;
}

void zqEventQueue::State::ClearPoller() const noexcept
{
    if (IsPollerSet())
        (void)PR_WaitForPollableEvent(mPoller);
}

Entry *zqEventQueue::State::TakeFirstLocked(std::uint64_t anEnd) noexcept
{
    Entry *lEntry = mFirst;

    mIsSet = false;
    if (lEntry == nullptr || lEntry->mNumber >= anEnd)
        return nullptr;

    mFirst = lEntry->mNext;
    if (mFirst == nullptr)
        mEnd = &mFirst;
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

    std::unique_ptr<Entry> lEntry(new (std::nothrow) Entry{ anEvent, aHandler, nullptr, 0 });

    if (lEntry == nullptr)
        return zqError_OutOfMemory;

    const std::lock_guard<zqLock> lGuard(mState->mLock);

    // Under the lock: whoever waits for the poller between the two steps finds
    // the event when he then dequeues.
    if (!mState->SetPollerLocked())
        return zqError_Failed;

    anEvent->Retain();
    lEntry->mNumber = mState->mNextNumber++;
    *mState->mEnd   = lEntry.release();
    mState->mEnd    = &(*mState->mEnd)->mNext;
    return zqError_None;
}

bool zqEventQueue::Dequeue(zqEvent *&anEvent, zqIEventHandler *&aHandler) noexcept
{
    return DequeueBefore(std::numeric_limits<std::uint64_t>::max(), anEvent, aHandler);
}

bool zqEventQueue::DequeueBefore(std::uint64_t anEnd, zqEvent *&anEvent, zqIEventHandler *&aHandler) noexcept
{
    std::unique_ptr<Entry> lEntry;

    if (mState != nullptr)
    {
        const std::lock_guard<zqLock> lGuard(mState->mLock);
        lEntry.reset(mState->TakeFirstLocked(anEnd));
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

    // Before the look at the queue: an event that comes after it sets the poller anew.
    mState->ClearPoller();

    std::uint64_t lEnd;
    {
        const std::lock_guard<zqLock> lGuard(mState->mLock);
        lEnd           = mState->mNextNumber;
        mState->mIsSet = false;
    }

    bool             lGoOn = true;
    zqEvent         *lEvent;
    zqIEventHandler *lHandler;

    // Only what waits now: a handler that enqueues again must not keep its loop here.
    while (DequeueBefore(lEnd, lEvent, lHandler))
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
