/**
 *  @file
 *    How a manager's provisions are held. They are held while their file is
 *    written, by one thread for another as long as it takes: so the turns are
 *    kept, and the loop's thread, which takes in what the file has, waits for
 *    a limited time as everybody does.
 */

#include <zqnetworkmanager-manager.h>

#include <zqlog.h>

#include <algorithm>
#include <condition_variable>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager::Private
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{ 2 };

} // namespace

struct ProvisionsLock::Waiter
{
    const std::thread::id   mThread;
    const Time              mDeadline;
    Waiter                 *mNext   = nullptr;
    bool                    mIsNext = false;
    std::condition_variable mHanded{};
};

bool ProvisionsLock::Take()
{
    const std::thread::id        lThread   = std::this_thread::get_id();
    const Time                   lDeadline = Clock::now() + kLimit;
    std::unique_lock<std::mutex> lGuard(mMutex);

    if (mDepth > 0 && mHolder == lThread)
    {
        ++mDepth;
        return true;
    }
    if (mDepth > 0)
        return AwaitTurn(lGuard, lDeadline);

    Hand(lThread, lDeadline);
    return true;
}

bool ProvisionsLock::AwaitTurn(std::unique_lock<std::mutex> &aGuard, Time aDeadline)
{
    Waiter   lWaiter{ std::this_thread::get_id(), aDeadline };
    Waiter **lLink = &mFirst;

    while (*lLink != nullptr)
        lLink = &(*lLink)->mNext;
    *lLink = &lWaiter;

    if (lWaiter.mHanded.wait_until(aGuard, aDeadline, [&lWaiter] { return lWaiter.mIsNext; }))
        return true;

    for (lLink = &mFirst; *lLink != &lWaiter; lLink = &(*lLink)->mNext)
        continue;
    *lLink = lWaiter.mNext;

    return false;
}

void ProvisionsLock::Give()
{
    const std::lock_guard<std::mutex> lGuard(mMutex);

    if (--mDepth > 0 || mFirst == nullptr)
        return;

    // Handed over while it is held: who comes meanwhile waits, too.
    Waiter *const lNext = mFirst;

    mFirst = lNext->mNext;
    Hand(lNext->mThread, lNext->mDeadline);
    lNext->mIsNext = true;
    lNext->mHanded.notify_one();
}

void ProvisionsLock::Hand(std::thread::id aThread, Time aDeadline)
{
    mHolder   = aThread;
    mDepth    = 1;
    mDeadline = aDeadline;
}

ProvisionsHold::ProvisionsHold(const Manager &aManager) : mLock(aManager.mProvisionsLock), mIsHeld(mLock.Take())
{
    if (!mIsHeld)
        ZQ_LOG(zqLogLevel_Error, ": the provisions are held by another thread: given up");
}

ProvisionsHold::~ProvisionsHold()
{
    if (mIsHeld)
        mLock.Give();
}

int ProvisionsHold::GetTimeLeft() const
{
    const auto lLeft = std::chrono::ceil<std::chrono::milliseconds>(mLock.GetDeadline() - Clock::now());

    return mIsHeld ? std::max(static_cast<int>(lLeft.count()), 0) : 0;
}

} // namespace zq::NetworkManager::Private
