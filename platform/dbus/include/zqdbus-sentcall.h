/**
 *  @file
 *    Calls whose replies are waited for later.
 */

#ifndef ZQDBUS_SENTCALL_H
#define ZQDBUS_SENTCALL_H

#include <zqexport.h>

#include <memory>

/**
 *  A call that was sent (zqDBus::SendMethodCall), and whose reply the same thread
 *  waits for later (zqDBus::AwaitReply).
 *
 *  Several may be on their way, and their replies are waited for in any order,
 *  each once. When a call goes, or is sent anew, a reply that comes is of no
 *  interest. The time-out is that of the waiting, and counts from its beginning.
 *
 *  Both operations yield what zqDBus::PerformMethodCall does: of the sending, and
 *  of the waiting. It is -5 to wait for what was not sent.
 */
class ZQ_EXPORT zqDBusSentCall
{
public:
    zqDBusSentCall() noexcept;
    ~zqDBusSentCall();
    zqDBusSentCall(const zqDBusSentCall &)            = delete;
    zqDBusSentCall &operator=(const zqDBusSentCall &) = delete;

private:
    friend class zqDBus;
    struct State;

    void Forget() noexcept;

    std::unique_ptr<State> mState;
};

#endif // ZQDBUS_SENTCALL_H
