/**
 *  @file
 *    Where the main thread waits: for events from the loop's thread, for the
 *    end of a request, for input, for Ctrl-C and for a deadline.
 */

#ifndef ZQNETCTL_INBOX_H
#define ZQNETCTL_INBOX_H

#include "json.h"

#include <zqerror.h>

#include <chrono>
#include <deque>
#include <mutex>
#include <optional>

namespace zqnetctl
{

using Clock    = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>; ///< none: no limit

/** The deadline that lies so far from now; none for none. */
Deadline GetDeadline(const std::optional<std::chrono::milliseconds> &aLimit);

class Inbox
{
public:
    enum Wake
    {
        kEvent,       ///< the oldest event was taken
        kInput,       ///< standard input can be read
        kInterrupted, ///< SIGINT or SIGTERM; reported from then on by every wait
        kUnread,      ///< nobody reads standard output any more
        kTimedOut
    };

    /** What a wait also ends for. */
    enum Watch
    {
        kNothing,
        kWatchInput, ///< kInput
        kWatchOutput ///< kUnread
    };

    Inbox() = default;
    ~Inbox();
    Inbox(const Inbox &)            = delete;
    Inbox &operator=(const Inbox &) = delete;

    /**
     *  Take SIGINT and SIGTERM over from here on. Call it before any thread is
     *  started: a thread has the signal mask of the one that started it.
     *
     *  @retval 0, or -7 when a descriptor cannot be made.
     */
    zqError Open();

    /** Append an event. From any thread; never blocks on the reader. */
    void Post(Json anEvent);

    /** Put an event back in front of the others. */
    void PutBack(Json anEvent);

    /** Wait for what comes first. An interrupt goes before a deadline, and that before an event. */
    Wake Wait(Json &anEvent, const Deadline &aDeadline, Watch aWatch = kNothing);

private:
    void Signal();
    bool Take(Json &anEvent);
    bool Poll(int aMilliseconds, Watch aWatch);

    std::mutex       mLock;
    std::deque<Json> mEvents; // guarded by mLock

    int  mEventDescriptor  = -1;
    int  mSignalDescriptor = -1;
    bool mInterrupted      = false;
};

} // namespace zqnetctl

#endif // ZQNETCTL_INBOX_H
