#include "inbox.h"

#include <algorithm>
#include <climits>
#include <csignal>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace zqnetctl
{

namespace
{

/** Rounded up, so that a deadline is over when the poll for it has ended. */
int GetMillisecondsUntil(const Deadline &aDeadline)
{
    if (!aDeadline)
        return -1;

    const auto lLeft = std::chrono::ceil<std::chrono::milliseconds>(*aDeadline - Clock::now()).count();
    return static_cast<int>(std::clamp<long long>(lLeft, 0, INT_MAX));
}

} // namespace

Deadline GetDeadline(const std::optional<std::chrono::milliseconds> &aLimit)
{
    return aLimit ? Deadline(Clock::now() + *aLimit) : Deadline();
}

Inbox::~Inbox()
{
    if (mEventDescriptor >= 0)
        close(mEventDescriptor);
    if (mSignalDescriptor >= 0)
        close(mSignalDescriptor);
}

zqError Inbox::Open()
{
    sigset_t lSignals;

    sigemptyset(&lSignals);
    sigaddset(&lSignals, SIGINT);
    sigaddset(&lSignals, SIGTERM);

    mEventDescriptor  = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    mSignalDescriptor = signalfd(-1, &lSignals, SFD_CLOEXEC | SFD_NONBLOCK);

    if (mEventDescriptor < 0 || mSignalDescriptor < 0 || pthread_sigmask(SIG_BLOCK, &lSignals, nullptr) != 0)
        return zqError_NoResources;
    return zqError_None;
}

void Inbox::Post(Json anEvent)
{
    const std::lock_guard<std::mutex> lGuard(mLock);

    mEvents.push_back(std::move(anEvent));
    Signal();
}

void Inbox::PutBack(Json anEvent)
{
    const std::lock_guard<std::mutex> lGuard(mLock);

    mEvents.push_front(std::move(anEvent));
    Signal();
}

void Inbox::Signal()
{
    // Fails only when the counter is full: the reader is awake then anyway.
    (void)eventfd_write(mEventDescriptor, 1);
}

bool Inbox::Take(Json &anEvent)
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    eventfd_t                         lCount = 0;

    if (mEvents.empty())
        return false;

    anEvent = std::move(mEvents.front());
    mEvents.pop_front();

    if (mEvents.empty())
        (void)eventfd_read(mEventDescriptor, &lCount);
    return true;
}

/** @returns true when the watched descriptor has something to tell. */
bool Inbox::Poll(int aMilliseconds, Watch aWatch)
{
    // An output that nobody reads tells so as an error, which needs no asking for.
    const pollfd kWatched[]     = { { -1, 0, 0 }, { STDIN_FILENO, POLLIN, 0 }, { STDOUT_FILENO, 0, 0 } };
    pollfd       lDescriptors[] = {
              { mSignalDescriptor, POLLIN, 0 },
              { mEventDescriptor, POLLIN, 0 },
              kWatched[aWatch],
    };

    if (poll(lDescriptors, 3, aMilliseconds) <= 0)
        return false;

    mInterrupted = mInterrupted || lDescriptors[0].revents != 0;
    return lDescriptors[2].revents != 0;
}

Inbox::Wake Inbox::Wait(Json &anEvent, const Deadline &aDeadline, Watch aWatch)
{
    bool lWatched = Poll(0, aWatch);

    for (;;)
    {
        if (mInterrupted)
            return kInterrupted;
        if (aDeadline && Clock::now() >= *aDeadline)
            return kTimedOut;
        if (Take(anEvent))
            return kEvent;
        if (lWatched)
            return aWatch == kWatchInput ? kInput : kUnread;

        lWatched = Poll(GetMillisecondsUntil(aDeadline), aWatch);
    }
}

} // namespace zqnetctl
