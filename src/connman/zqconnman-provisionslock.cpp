/**
 *  @file
 *    The lock of the provisioning file.
 *
 *  A lock of an open file description excludes threads and processes alike,
 *  and goes with its last descriptor. A child has its parent's descriptors:
 *  it closes those of the locks before it does anything else.
 */

#include "zqconnman-provisions.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>

namespace zq::ConnMan
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr const char *kLockName = "quil.lock"; // the daemon reads names with its own suffix alone

constexpr std::chrono::milliseconds kPoll{ 1 };

// Two bytes of the file: whoever comes takes its turn first and keeps it until
// it has the hold. So one that gives the lock back and comes again does not
// overtake those who look only now and then.
constexpr off_t kHold = 0;
constexpr off_t kTurn = 1;

struct flock Range(short aType, off_t aStart, off_t aLength)
{
    struct flock lRange = {};

    lRange.l_type   = aType;
    lRange.l_whence = SEEK_SET;
    lRange.l_start  = aStart;
    lRange.l_len    = aLength;
    return lRange;
}

zqError TakeByte(int aDescriptor, off_t aByte, Clock::time_point aDeadline)
{
    struct flock lRange = Range(F_WRLCK, aByte, 1);

    while (::fcntl(aDescriptor, F_OFD_SETLK, &lRange) != 0)
    {
        if (errno != EAGAIN && errno != EACCES && errno != EINTR)
        {
            ZQ_LOG(zqLogLevel_Error, "connman: cannot lock %s: error %d", kProvisionsPath, errno);
            return zqError_Failed;
        }
        if (Clock::now() >= aDeadline)
            return zqError_TimedOut;
        std::this_thread::sleep_for(kPoll);
    }
    return zqError_None;
}

void GiveBytes(int aDescriptor, off_t aStart, off_t aLength)
{
    struct flock lRange = Range(F_UNLCK, aStart, aLength);

    (void)::fcntl(aDescriptor, F_OFD_SETLK, &lRange);
}

} // namespace

std::mutex      ProvisionsLock::sMutex;
ProvisionsLock *ProvisionsLock::sFirst = nullptr;

ProvisionsLock::~ProvisionsLock()
{
    Close();
}

zqError ProvisionsLock::Take(int aDirectory, int aTimeout)
{
    static const int  sIsRegistered = ::pthread_atfork(ForkBegins, ForkEnds, ForkEndsInChild);
    Clock::time_point lDeadline     = Clock::now() + std::chrono::milliseconds(aTimeout);

    (void)sIsRegistered;
    if (!ZQ_CHECK_TEXT(Open(aDirectory), "fp != __null"))
        return zqError_Failed;

    zqError lReturn = TakeByte(mDescriptor.Get(), kTurn, lDeadline);

    if (lReturn == zqError_None)
    {
        lReturn = TakeByte(mDescriptor.Get(), kHold, lDeadline);
        GiveBytes(mDescriptor.Get(), kTurn, 1);
    }
    if (lReturn == zqError_TimedOut)
        ZQ_LOG(zqLogLevel_Error, "connman: somebody else holds %s: given up after %d ms", kProvisionsPath, aTimeout);
    return lReturn;
}

bool ProvisionsLock::Open(int aDirectory)
{
    const std::lock_guard<std::mutex> lGuard(sMutex);

    mDescriptor.Reset(::openat(aDirectory, kLockName, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    mNext = std::exchange(sFirst, this);

    return mDescriptor.IsOpen() && ::fchmod(mDescriptor.Get(), 0600) == 0; // whatever the umask
}

void ProvisionsLock::Close() noexcept
{
    const std::lock_guard<std::mutex> lGuard(sMutex);

    for (ProvisionsLock **lLink = &sFirst; *lLink != nullptr; lLink = &(*lLink)->mNext)
    {
        if (*lLink == this)
        {
            *lLink = mNext;
            break;
        }
    }
    if (mDescriptor.IsOpen())
        GiveBytes(mDescriptor.Get(), 0, 0); // all of it, also for a child that still has the descriptor
    mDescriptor.Reset();
}

void ProvisionsLock::ForkBegins() noexcept
{
    sMutex.lock();
}

void ProvisionsLock::ForkEnds() noexcept
{
    sMutex.unlock();
}

void ProvisionsLock::ForkEndsInChild() noexcept
{
    for (; sFirst != nullptr; sFirst = sFirst->mNext)
        sFirst->mDescriptor.Reset();
    sMutex.unlock();
}

} // namespace zq::ConnMan
