/**
 *  @file
 *    Sending, and the calls that wait for a reply.
 *
 *  A call is sent as a plain message and found again by its serial: libdbus's
 *  own pending calls never tell their outcome when the bus is lost, believe a
 *  reply from anyone, and are not safe when the bus goes.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

namespace
{

/** The bus library's own. */
constexpr int kDefaultTimeoutMilliseconds = 25000;

/** What may wait to be sent before sending is an error. */
constexpr long kMaximumOutgoingBytes = 8L * 1024 * 1024;

/** Tell a call its one outcome, and delete it. */
template <typename Tell>
void Finish(zqDBusPendingCall *aPending, const Tell &aTell) noexcept
{
    try
    {
        const std::unique_ptr<zqDBusPendingCall> lPending(aPending);

        aTell(*lPending);
    }
    catch (...)
    {
        ZQ_LOG(zqLogLevel_Error, "dbus: the receiver of a call's outcome threw\n");
    }
}

bool IsFromBus(const char *aSender) noexcept
{
    return aSender == nullptr || zqDBusIsSame(aSender, DBUS_SERVICE_DBUS);
}

bool IsSendable(DBusMessage *aMessage, int aTimeout) noexcept
{
    return aMessage != nullptr && dbus_message_get_type(aMessage) == DBUS_MESSAGE_TYPE_METHOD_CALL &&
           dbus_message_get_destination(aMessage) != nullptr && (aTimeout >= 0 || aTimeout == DBUS_TIMEOUT_USE_DEFAULT);
}

/** The message, or a copy when it was sent before: it would keep its serial. Null when memory is exhausted. */
DBusMessage *Unsent(DBusMessage *aMessage, zqDBusMessageRef &aCopy) noexcept
{
    if (dbus_message_get_serial(aMessage) == 0)
        return aMessage;

    aCopy.Adopt(dbus_message_copy(aMessage));

    return aCopy.Get();
}

} // namespace

zqDBusPendingCall::~zqDBusPendingCall() = default;

zqDBusClock::time_point zqDBusDeadline(int aTimeout) noexcept
{
    if (aTimeout == DBUS_TIMEOUT_INFINITE)
        return zqDBusClock::time_point::max();

    return zqDBusClock::now() + std::chrono::milliseconds(aTimeout < 0 ? kDefaultTimeoutMilliseconds : aTimeout);
}

bool zqDBusLink::IsConnected() noexcept
{
    const std::lock_guard<std::mutex> lLock(mLock);

    return IsConnectedLocked();
}

zqError zqDBusLink::SendLocked(DBusMessage *aMessage, dbus_uint32_t *aSerial) noexcept
{
    if (!IsConnectedLocked())
        return zqError_WrongState;

    if (dbus_connection_get_outgoing_size(mConnection) > kMaximumOutgoingBytes)
        return zqError_NoResources;

    return dbus_connection_send(mConnection, aMessage, aSerial) ? zqError_None : zqError_NoResources;
}

zqError zqDBusLink::AskBusLocked(const char *aMethod, const char *anArgument, dbus_uint32_t *aSerial) noexcept
{
    const zqDBusMessageRef lMessage(
        dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, aMethod));

    if (lMessage.Get() == nullptr ||
        !dbus_message_append_args(lMessage.Get(), DBUS_TYPE_STRING, &anArgument, DBUS_TYPE_INVALID))
        return zqError_NoResources;

    dbus_message_set_no_reply(lMessage.Get(), aSerial == nullptr);

    return SendLocked(lMessage.Get(), aSerial);
}

void zqDBusCalls::Reply(zqDBusPendingCall *aPending, DBusMessage *aReply) noexcept
{
    Finish(aPending,
           [=](zqDBusPendingCall &aReceiver)
           {
               zqDBusError lError;

               if (dbus_set_error_from_message(lError.Get(), aReply))
                   aReceiver.errorReceived(&lError);
               else
                   aReceiver.completed(aReply);
           });
}

void zqDBusCalls::Disconnect(zqDBusPendingCall *aPending, const char *aReason) noexcept
{
    Finish(aPending,
           [=](zqDBusPendingCall &aReceiver)
           {
               zqDBusError lError;

               dbus_set_error_const(lError.Get(), DBUS_ERROR_DISCONNECTED, aReason);
               aReceiver.errorReceived(&lError);
           });
}

/** @param[out]  anOwner  Of the destination, as far as it is known. */
zqError zqDBusCalls::PrepareLocked(DBusMessage *aMessage, std::string &anOwner)
{
    const char *const lDestination = dbus_message_get_destination(aMessage);

    if (!mLink.IsConnectedLocked())
        return zqError_WrongState;

    if (!zqDBusOwners::IsTracked(lDestination))
        return zqError_None;

    // Once called, a name is followed for good: there are few of them.
    if (!mOwners.HasLocked(lDestination))
    {
        const zqError lReturn = mOwners.UseLocked(lDestination);

        if (lReturn != zqError_None)
            return lReturn;
    }

    anOwner = mOwners.GetLatestLocked(lDestination);

    return zqError_None;
}

bool zqDBusCalls::IsGenuineLocked(const Call &aCall, const char *aSender) const noexcept
{
    if (IsFromBus(aSender) || aCall.mDestination == aSender)
        return true;

    return zqDBusOwners::IsTracked(aCall.mDestination.c_str()) &&
           (aCall.mOwner == aSender || mOwners.GetLatestLocked(aCall.mDestination.c_str()) == aSender);
}

zqError zqDBusCalls::SendCall(DBusMessage *aMessage, Call aCall, dbus_uint32_t *aSerial) noexcept
{
    return zqDBusGuarded(
        [&]
        {
            zqDBusMessageRef                  lCopy;
            DBusMessage *const                lMessage = Unsent(aMessage, lCopy);
            Calls                             lNew;
            dbus_uint32_t                     lSerial = 0;
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (lMessage == nullptr)
                return zqError(zqError_NoResources);

            aCall.mDestination = dbus_message_get_destination(lMessage);

            zqError lReturn = PrepareLocked(lMessage, aCall.mOwner);

            if (lReturn == zqError_None)
            {
                lNew[0] = std::move(aCall);
                lReturn = mLink.SendLocked(lMessage, &lSerial);
            }

            if (lReturn != zqError_None)
                return lReturn;

            auto lNode  = lNew.extract(lNew.begin());
            lNode.key() = lSerial;

            // Who waits for a call looks at the clock himself.
            if (lNode.mapped().mPending != nullptr)
                mLink.mLoop.WakeBy(lNode.mapped().mDue);

            (void)mCalls.insert(std::move(lNode));

            if (aSerial != nullptr)
                *aSerial = lSerial;

            return lReturn;
        });
}

zqError zqDBusCalls::Send(DBusMessage *aMessage, zqDBusPendingCall *aPending, int aTimeout) noexcept
{
    if (!IsSendable(aMessage, aTimeout))
        return zqError_InvalidArgument;

    return SendCall(aMessage, { aPending, nullptr, {}, {}, zqDBusDeadline(aTimeout) }, nullptr);
}

zqError zqDBusCalls::SendWaiting(DBusMessage *aMessage, int aTimeout, Waiter &aWaiter, dbus_uint32_t &aSerial) noexcept
{
    if (!IsSendable(aMessage, aTimeout))
        return zqError_InvalidArgument;

    return SendCall(aMessage, { nullptr, &aWaiter, {}, {}, zqDBusClock::time_point::max() }, &aSerial);
}

zqDBusCalls::Receipt zqDBusCalls::ReceiveLocked(DBusMessage *aMessage, zqDBusPendingCall *&aPending) noexcept
{
    const char *const lSender = dbus_message_get_sender(aMessage);
    const auto        lFound  = mCalls.find(dbus_message_get_reply_serial(aMessage));

    if (lFound == mCalls.end())
        return Receipt::Unknown;

    const Call &lCall = lFound->second;

    if (!IsGenuineLocked(lCall, lSender))
        return Receipt::Forged;

    aPending = lCall.mPending;

    if (lCall.mWaiter != nullptr)
    {
        lCall.mWaiter->mReply.Adopt(dbus_message_ref(aMessage));
        zqDBusLoop::SignalThread(*lCall.mWaiter->mSignal);
    }

    (void)mCalls.erase(lFound);

    return aPending != nullptr ? Receipt::Pending : Receipt::Taken;
}

void zqDBusCalls::ReceiveLossLocked() noexcept
{
    for (auto &lCall : mCalls)
        if (Waiter *const lWaiter = lCall.second.mWaiter)
        {
            lWaiter->mIsGone = true;
            zqDBusLoop::SignalThread(*lWaiter->mSignal);
        }
}

bool zqDBusCalls::RemoveLocked(const zqDBusPendingCall *aPending) noexcept
{
    const auto lFound = std::find_if(mCalls.begin(), mCalls.end(),
                                     [=](const Calls::value_type &lCall)
                                     { return lCall.second.mPending == aPending && aPending != nullptr; });

    if (lFound == mCalls.end())
        return false;

    (void)mCalls.erase(lFound);
    return true;
}

void zqDBusCalls::Expire() noexcept
{
    // One look at the clock: a receiver that calls again without patience gets its outcome in the next round.
    const zqDBusClock::time_point lNow = zqDBusClock::now();

    for (;;)
    {
        zqDBusPendingCall *lPending = nullptr;
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);
            zqDBusClock::time_point           lNext = zqDBusClock::time_point::max();

            for (auto lCall = mCalls.begin(); lCall != mCalls.end(); ++lCall)
            {
                if (lCall->second.mDue <= lNow)
                {
                    lPending = lCall->second.mPending;
                    (void)mCalls.erase(lCall);
                    break;
                }

                lNext = std::min(lNext, lCall->second.mDue);
            }

            if (lPending == nullptr)
            {
                mLink.mLoop.WakeBy(lNext);
                return;
            }
        }

        Finish(lPending, [](zqDBusPendingCall &aReceiver) { aReceiver.timedOut(); });
    }
}

void zqDBusCalls::EndAll() noexcept
{
    Calls lEnded;
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        for (auto lCall = mCalls.begin(); lCall != mCalls.end();)
        {
            const auto lNext = std::next(lCall);

            if (lCall->second.mPending != nullptr) // a blocking call forgets itself
                (void)lEnded.insert(mCalls.extract(lCall));
            lCall = lNext;
        }
    }

    for (const auto &lCall : lEnded)
        Disconnect(lCall.second.mPending, "The bus is gone");
}
