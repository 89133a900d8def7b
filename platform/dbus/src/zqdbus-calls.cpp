/**
 *  @file
 *    Sending, and the calls that wait for a reply.
 *
 *  An asynchronous call is sent as a plain message and found again by its
 *  serial: libdbus's own pending calls never tell their outcome when the bus is
 *  lost, and believe a reply from anyone.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>
#include <climits>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

namespace
{

/** The bus library's own. */
constexpr int kDefaultTimeoutMilliseconds = 25000;

/** What may wait to be sent before sending is an error. */
constexpr long kMaximumOutgoingBytes = 8L * 1024 * 1024;

enum class Outcome
{
    kReply,
    kTimedOut,
    kDisconnected,
    kCancelled
};

zqError SetError(DBusError *anError, const char *aName, const char *aMessage, zqError aResult) noexcept
{
    if (anError != nullptr)
        dbus_set_error_const(anError, aName, aMessage);

    return aResult;
}

void SetDisconnected(zqDBusError &anError, const char *aMessage) noexcept
{
    dbus_set_error_const(anError.Get(), DBUS_ERROR_DISCONNECTED, aMessage);
}

/** Tell a call its one outcome, and delete it. */
void Finish(zqDBusPendingCall *aPending, Outcome anOutcome, DBusMessage *aReply) noexcept
{
    try
    {
        const std::unique_ptr<zqDBusPendingCall> lPending(aPending);
        zqDBusError                              lError;

        switch (anOutcome)
        {
        case Outcome::kTimedOut:
            lPending->timedOut();
            break;

        case Outcome::kReply:
            if (dbus_set_error_from_message(lError.Get(), aReply))
                lPending->errorReceived(&lError);
            else
                lPending->completed(aReply);
            break;

        case Outcome::kDisconnected:
            SetDisconnected(lError, "The bus is gone");
            lPending->errorReceived(&lError);
            break;

        case Outcome::kCancelled:
            SetDisconnected(lError, "The call was cancelled");
            lPending->errorReceived(&lError);
            break;
        }
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

    return !mIsLost && dbus_connection_get_is_connected(mConnection);
}

zqError zqDBusLink::SendLocked(DBusMessage *aMessage, dbus_uint32_t *aSerial) noexcept
{
    if (mIsLost || !dbus_connection_get_is_connected(mConnection))
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

zqError zqDBusLink::Block(DBusMessage *aMessage, int aTimeout, zqDBusMessageRef &aReply) noexcept
{
    const zqDBusClock::time_point lEnd     = zqDBusDeadline(aTimeout);
    DBusPendingCall              *lPending = nullptr;
    zqDBusWaiter                  lWaiter;

    zqDBusLoop::Expect(&lWaiter);

    // An infinite call of libdbus's has no time-out object, by which its reply is noticed.
    const bool lIsSent = lWaiter.mSignal->IsOpen() &&
                         dbus_connection_send_with_reply(mConnection, aMessage, &lPending,
                                                         aTimeout == DBUS_TIMEOUT_INFINITE ? INT_MAX - 1 : aTimeout);

    zqDBusLoop::Expect(nullptr);

    if (!lIsSent)
        return zqError_NoResources;

    if (lPending == nullptr)
        return zqError_WrongState;

    const zqError lReturn = mLoop.Wait(lWaiter, lEnd);

    if (lReturn == 0)
    {
        // It is here: this fetches it from among the received messages.
        dbus_pending_call_block(lPending);
        aReply.Adopt(dbus_pending_call_steal_reply(lPending));
    }
    else
        dbus_pending_call_cancel(lPending);

    dbus_pending_call_unref(lPending);

    return lReturn == 0 && aReply.Get() == nullptr ? zqError_WrongState : lReturn;
}

zqError zqDBusCalls::PrepareLocked(DBusMessage *aMessage, std::string &anOwner)
{
    const char *const lDestination = dbus_message_get_destination(aMessage);

    if (mLink.mIsLost || !dbus_connection_get_is_connected(mLink.mConnection))
        return zqError_WrongState;

    if (dbus_connection_get_outgoing_size(mLink.mConnection) > kMaximumOutgoingBytes)
        return zqError_NoResources;

    if (!zqDBusOwners::IsTracked(lDestination))
        return zqError_None;

    // Once called, a name is followed for good: there are few of them.
    if (!mOwners.HasLocked(lDestination))
    {
        const zqError lReturn = mOwners.UseLocked(lDestination);

        if (lReturn != 0)
            return lReturn;
    }

    anOwner = mOwners.GetLocked(lDestination);

    return zqError_None;
}

bool zqDBusCalls::IsGenuineLocked(const char *aDestination, const std::string &anOwner,
                                  DBusMessage *aReply) const noexcept
{
    const char *const lSender = dbus_message_get_sender(aReply);

    if (IsFromBus(lSender) || zqDBusIsSame(lSender, aDestination))
        return true;

    return zqDBusOwners::IsTracked(aDestination) &&
           (anOwner == lSender || mOwners.IsOwnerLocked(aDestination, lSender));
}

zqError zqDBusCalls::Send(DBusMessage *aMessage, zqDBusPendingCall *aPending, int aTimeout) noexcept
{
    if (!IsSendable(aMessage, aTimeout))
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            zqDBusMessageRef                  lCopy;
            DBusMessage *const                lMessage = Unsent(aMessage, lCopy);
            Calls                             lNew;
            Call                             &lCall   = lNew[0];
            dbus_uint32_t                     lSerial = 0;
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (lMessage == nullptr)
                return zqError(zqError_NoResources);

            lCall = { aPending, dbus_message_get_destination(lMessage), std::string(), zqDBusDeadline(aTimeout) };

            zqError lReturn = PrepareLocked(lMessage, lCall.mOwner);

            if (lReturn == 0)
                lReturn = mLink.SendLocked(lMessage, &lSerial);

            if (lReturn != 0)
                return lReturn;

            auto lNode  = lNew.extract(lNew.begin());
            lNode.key() = lSerial;

            mLink.mLoop.WakeBy(lNode.mapped().mDue);
            (void)mCalls.insert(std::move(lNode));

            return lReturn;
        });
}

bool zqDBusCalls::HandleReply(DBusMessage *aMessage) noexcept
{
    zqDBusPendingCall *lPending = nullptr;
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);
        const auto                        lFound = mCalls.find(dbus_message_get_reply_serial(aMessage));

        if (lFound == mCalls.end())
            return false;

        if (!IsGenuineLocked(lFound->second.mDestination.c_str(), lFound->second.mOwner, aMessage))
        {
            // The true reply is still to come.
            ZQ_LOG(zqLogLevel_Error, "dbus: ignoring a reply from %s, which does not own %s\n",
                   dbus_message_get_sender(aMessage), lFound->second.mDestination.c_str());
            return true;
        }

        lPending = lFound->second.mPending;
        (void)mCalls.erase(lFound);
    }

    Finish(lPending, Outcome::kReply, aMessage);

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

        Finish(lPending, Outcome::kTimedOut, nullptr);
    }
}

void zqDBusCalls::EndAll() noexcept
{
    Calls lCalls;
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        lCalls.swap(mCalls);
    }

    for (const auto &lCall : lCalls)
        Finish(lCall.second.mPending, Outcome::kDisconnected, nullptr);
}

zqError zqDBusCalls::Cancel(zqDBusPendingCall *aPending) noexcept
{
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);
        const auto                        lFound =
            std::find_if(mCalls.begin(), mCalls.end(),
                         [=](const Calls::value_type &lCall) { return lCall.second.mPending == aPending; });

        if (lFound == mCalls.end())
            return zqError_NotFound;

        (void)mCalls.erase(lFound);
    }

    Finish(aPending, Outcome::kCancelled, nullptr);

    return zqError_None;
}

bool zqDBusCalls::IsGenuine(DBusMessage *aMessage, const std::string &anOwner, DBusMessage *aReply) noexcept
{
    const char *const lDestination = dbus_message_get_destination(aMessage);
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        if (IsGenuineLocked(lDestination, anOwner, aReply))
            return true;
    }

    // The reply overtook what is still to be dispatched: the owner may be a new one.
    return zqDBusOwners::IsTracked(lDestination) && mOwners.IsOwnerNow(lDestination, dbus_message_get_sender(aReply));
}

zqError zqDBusCalls::Perform(DBusMessage *aMessage, DBusMessage **aReply, int aTimeout, DBusError *anError) noexcept
{
    if (!IsSendable(aMessage, aTimeout))
        return zqError_InvalidArgument;

    if (anError != nullptr)
        dbus_error_free(anError);

    std::string        lOwner;
    zqDBusMessageRef   lCopy;
    zqDBusMessageRef   lReply;
    DBusMessage *const lMessage = Unsent(aMessage, lCopy);
    zqError            lReturn  = zqDBusGuarded(
        [&]
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            return lMessage == nullptr ? zqError(zqError_NoResources) : PrepareLocked(lMessage, lOwner);
        });

    if (lReturn == 0)
        lReturn = mLink.Block(lMessage, aTimeout, lReply);

    if (lReturn == zqError_TimedOut)
        return SetError(anError, DBUS_ERROR_NO_REPLY, "No reply within the time-out", lReturn);

    if (lReturn == zqError_WrongState)
        return SetError(anError, DBUS_ERROR_DISCONNECTED, "The bus is gone", lReturn);

    if (lReturn != 0)
        return lReturn;

    const bool lIsError = dbus_message_get_type(lReply.Get()) == DBUS_MESSAGE_TYPE_ERROR;

    // Without a sender: libdbus's own words.
    if (lIsError && dbus_message_get_sender(lReply.Get()) == nullptr)
    {
        if (!mLink.IsConnected() || dbus_message_is_error(lReply.Get(), DBUS_ERROR_DISCONNECTED))
            return SetError(anError, DBUS_ERROR_DISCONNECTED, "The bus is gone", zqError_WrongState);

        return SetError(anError, DBUS_ERROR_NO_REPLY, "No reply within the time-out", zqError_TimedOut);
    }

    if (!IsGenuine(aMessage, lOwner, lReply.Get()))
    {
        ZQ_LOG(zqLogLevel_Error, "dbus: refusing a reply from %s, which does not own %s\n",
               dbus_message_get_sender(lReply.Get()), dbus_message_get_destination(aMessage));
        return zqError_BadReply;
    }

    if (lIsError)
    {
        if (anError != nullptr)
            (void)dbus_set_error_from_message(anError, lReply.Get());

        return zqError_Failed;
    }

    if (aReply != nullptr)
        *aReply = lReply.Leak();

    return zqError_None;
}
