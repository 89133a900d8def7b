/**
 *  @file
 *    How a manager's provisions are held: the list, together with the file that
 *    follows it. For the manager and its subclasses.
 */

#ifndef ZQNETWORKMANAGER_PROVISIONSLOCK_H
#define ZQNETWORKMANAGER_PROVISIONSLOCK_H

#include <zqexport.h>

#include <chrono>
#include <mutex>
#include <thread>

namespace zq::NetworkManager
{

class Manager;

namespace Private
{

/** A lock that its holder may take again, and that those who wait get in the order of their arrival. */
class ProvisionsLock
{
public:
    using Time = std::chrono::steady_clock::time_point;

    bool Take();
    void Give();

    /** When the holder's time is over. Of use to the holder alone. */
    Time GetDeadline() const { return mDeadline; }

private:
    struct Waiter;

    bool AwaitTurn(std::unique_lock<std::mutex> &aGuard, Time aDeadline);
    void Hand(std::thread::id aThread, Time aDeadline);

    std::mutex      mMutex;
    std::thread::id mHolder;
    unsigned int    mDepth = 0; // how often the holder has taken it
    Time            mDeadline;
    Waiter         *mFirst = nullptr; // of those who wait
};

/** Holds a manager's provisions while it lives. The thread that holds them may hold them again. */
class ZQ_EXPORT ProvisionsHold
{
public:
    /** Waits for the other holders in the order of arrival, 2 s at most. */
    explicit ProvisionsHold(const Manager &aManager);
    ~ProvisionsHold();
    ProvisionsHold(const ProvisionsHold &)            = delete;
    ProvisionsHold &operator=(const ProvisionsHold &) = delete;

    /** False when it was waited in vain (logged): nothing may be changed. */
    bool IsHeld() const { return mIsHeld; }

    /** What is left of the 2 s since this thread began to wait for the provisions, in milliseconds. */
    int GetTimeLeft() const;

private:
    ProvisionsLock &mLock;
    const bool      mIsHeld;
};

} // namespace Private

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_PROVISIONSLOCK_H
