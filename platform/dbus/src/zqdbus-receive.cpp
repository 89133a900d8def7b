/**
 *  @file
 *    Receiving: how what has come is sorted, and how a thread waits for a reply.
 *
 *  libdbus's own dispatch sorts: its first filter is this one, and what is left
 *  alone here (calls to objects that nobody has exported, and of methods that no
 *  table has a row for) is answered by libdbus. No handler runs in it: inside of
 *  one libdbus could not be made to yield the next message.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>
#include <limits>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

namespace
{

/** What libdbus could not do for want of memory is tried again after this. */
constexpr std::chrono::milliseconds kMemoryPause{ 50 };

/** The room that the queue keeps when it is empty. */
constexpr std::size_t kMostKeptMessages = 1024;

/** Enough for the bus, which answers at once or hangs. */
constexpr int kOwnerTimeoutMilliseconds = 1000;

zqError SetError(DBusError *anError, const char *aName, const char *aMessage, zqError aResult) noexcept
{
    if (anError != nullptr)
        dbus_set_error_const(anError, aName, aMessage);

    return aResult;
}

} // namespace

// The queue

void zqDBusReceivedQueue::Reserve()
{
    if (mMessages.size() < mMessages.capacity())
        return;

    // Half of it has gone: there is room enough.
    if (mFirst > mMessages.size() / 2)
    {
        (void)mMessages.erase(mMessages.begin(), mMessages.begin() + static_cast<std::ptrdiff_t>(mFirst));
        mFirst = 0;
    }
    else
        mMessages.reserve(std::max<std::size_t>(16, 2 * mMessages.size()));
}

zqDBusReceived zqDBusReceivedQueue::Pop() noexcept
{
    const zqDBusReceived lReturn = mMessages[mFirst++];

    if (IsEmpty())
    {
        mFirst = 0;

        // What a flood has taken is given back.
        if (mMessages.capacity() > kMostKeptMessages)
            std::vector<zqDBusReceived>().swap(mMessages);
        else
            mMessages.clear();
    }

    return lReturn;
}

bool zqDBusReceivedQueue::Disown(const zqDBusPendingCall *aPending) noexcept
{
    const auto lFound = std::find_if(mMessages.begin() + static_cast<std::ptrdiff_t>(mFirst), mMessages.end(),
                                     [=](const zqDBusReceived &aReceived)
                                     { return aReceived.mPending == aPending && aPending != nullptr; });

    if (lFound == mMessages.end())
        return false;

    lFound->mPending = nullptr;
    return true;
}

// Sorting

DBusHandlerResult zqDBus::State::Filter(DBusConnection * /* aConnection */, DBusMessage *aMessage,
                                        void *aContext) noexcept
{
    const auto lState = static_cast<State *>(aContext);

    try
    {
        return lState->Receive(aMessage);
    }
    catch (const std::bad_alloc &)
    {
        // libdbus keeps the message at the head of its queue.
        lState->mIsShort = true;
        return DBUS_HANDLER_RESULT_NEED_MEMORY;
    }
}

DBusHandlerResult zqDBus::State::Receive(DBusMessage *aMessage)
{
    const int lType = dbus_message_get_type(aMessage);

    if (lType != DBUS_MESSAGE_TYPE_METHOD_CALL && lType != DBUS_MESSAGE_TYPE_SIGNAL)
        return ReceiveReply(aMessage);

    const std::lock_guard<std::mutex> lLock(mLink.mLock);

    if (lType == DBUS_MESSAGE_TYPE_METHOD_CALL && !mObjects.HasLocked(aMessage))
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

    if (dbus_message_is_signal(aMessage, DBUS_INTERFACE_LOCAL, "Disconnected"))
    {
        mHasLoss = true;
        mCalls.ReceiveLossLocked();
        mLink.mLoop.Wake();
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }

    mReceived.Reserve();
    (void)mOwners.ReceiveLocked(aMessage, ++mSequence);
    QueueLocked(aMessage, nullptr);

    return DBUS_HANDLER_RESULT_HANDLED;
}

DBusHandlerResult zqDBus::State::ReceiveReply(DBusMessage *aMessage)
{
    zqDBusCalls::Receipt lReceipt = zqDBusCalls::Receipt::Taken;
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);
        zqDBusPendingCall                *lPending = nullptr;

        // First the room: a call that has left the table must get its outcome.
        mReceived.Reserve();

        if (!mOwners.ReceiveLocked(aMessage, ++mSequence))
            lReceipt = mCalls.ReceiveLocked(aMessage, lPending);

        if (lReceipt == zqDBusCalls::Receipt::Pending)
            QueueLocked(aMessage, lPending);
    }

    if (lReceipt == zqDBusCalls::Receipt::Forged)
        ZQ_LOG(zqLogLevel_Error, "dbus: ignoring a reply from %s, which does not own the name that was called\n",
               dbus_message_get_sender(aMessage));

    return lReceipt == zqDBusCalls::Receipt::Unknown ? DBUS_HANDLER_RESULT_NOT_YET_HANDLED
                                                     : DBUS_HANDLER_RESULT_HANDLED;
}

void zqDBus::State::QueueLocked(DBusMessage *aMessage, zqDBusPendingCall *aPending) noexcept
{
    // The thread that dispatches comes to it by itself.
    if (mReceived.IsEmpty() && mDispatcher != std::this_thread::get_id())
        mLink.mLoop.Wake();

    mReceived.Push({ dbus_message_ref(aMessage), aPending, mSequence });
}

bool zqDBus::State::Sort() noexcept
{
    DBusDispatchStatus lStatus = dbus_connection_get_dispatch_status(mLink.mConnection);

    mIsShort = false;

    while (lStatus == DBUS_DISPATCH_DATA_REMAINS && !mIsShort)
        lStatus = dbus_connection_dispatch(mLink.mConnection);

    if (lStatus == DBUS_DISPATCH_COMPLETE)
        return true;

    mLink.mLoop.WakeBy(zqDBusClock::now() + kMemoryPause);
    return false;
}

bool zqDBus::State::Transfer() noexcept
{
    (void)dbus_connection_read_write(mLink.mConnection, 0);

    return Sort();
}

// Waiting

void zqDBus::State::Wait(const zqDBusDescriptor &aSignal, bool aIsShort, zqDBusClock::time_point anEnd) noexcept
{
    mLink.mLoop.Wait(aSignal, aIsShort ? std::min(anEnd, zqDBusClock::now() + kMemoryPause) : anEnd);
}

zqError zqDBus::State::Send(DBusMessage *aMessage, int aTimeout, zqDBusCalls::Waiter &aWaiter,
                            dbus_uint32_t &aSerial) noexcept
{
    aWaiter.mSignal = zqDBusLoop::GetThreadSignal();

    return aWaiter.mSignal != nullptr ? mCalls.SendWaiting(aMessage, aTimeout, aWaiter, aSerial)
                                      : zqError(zqError_NoResources);
}

zqError zqDBus::State::Await(zqDBusCalls::Waiter &aWaiter, dbus_uint32_t aSerial, int aTimeout,
                             zqDBusMessageRef &aReply) noexcept
{
    const zqDBusClock::time_point lEnd = zqDBusDeadline(aTimeout);

    // Who does not wait looks once at what has come.
    for (bool lIsSorted = aTimeout == 0 ? Transfer() : Sort();; lIsSorted = Transfer())
    {
        // Another thread may have read the last of it and found the end.
        const bool lIsDead = !mLink.IsConnected() && Sort();
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (aWaiter.mReply.Get() != nullptr)
            {
                aReply.Adopt(aWaiter.mReply.Leak());
                return zqError_None;
            }

            if (lIsDead || aWaiter.mIsGone || zqDBusClock::now() >= lEnd)
            {
                mCalls.ForgetLocked(aSerial);
                return lIsDead || aWaiter.mIsGone ? zqError_WrongState : zqError_TimedOut;
            }
        }
        Wait(*aWaiter.mSignal, !lIsSorted, lEnd);
    }
}

zqError zqDBus::State::Block(DBusMessage *aMessage, int aTimeout, zqDBusMessageRef &aReply) noexcept
{
    zqDBusCalls::Waiter lWaiter;
    dbus_uint32_t       lSerial = 0;
    const zqError       lReturn = Send(aMessage, aTimeout, lWaiter, lSerial);

    return lReturn != zqError_None ? lReturn : Await(lWaiter, lSerial, aTimeout, aReply);
}

zqError zqDBus::State::Perform(DBusMessage *aMessage, DBusMessage **aReply, int aTimeout, DBusError *anError) noexcept
{
    zqDBusMessageRef lReply;

    if (anError != nullptr)
        dbus_error_free(anError);

    return Conclude(Block(aMessage, aTimeout, lReply), lReply, aReply, anError);
}

zqError zqDBus::State::Conclude(zqError aResult, zqDBusMessageRef &aReply, DBusMessage **aTaken,
                                DBusError *anError) noexcept
{
    if (aResult == zqError_TimedOut)
        return SetError(anError, DBUS_ERROR_NO_REPLY, "No reply within the time-out", aResult);

    if (aResult == zqError_WrongState)
        return SetError(anError, DBUS_ERROR_DISCONNECTED, "The bus is gone", aResult);

    if (aResult != zqError_None)
        return aResult;

    if (dbus_message_get_type(aReply.Get()) == DBUS_MESSAGE_TYPE_ERROR)
    {
        if (anError != nullptr)
            (void)dbus_set_error_from_message(anError, aReply.Get());

        return zqError_Failed;
    }

    if (aTaken != nullptr)
        *aTaken = aReply.Leak();

    return zqError_None;
}

zqError zqDBus::State::Flush(int aTimeout) noexcept
{
    const zqDBusClock::time_point lEnd    = zqDBusDeadline(aTimeout);
    const zqDBusDescriptor *const lSignal = zqDBusLoop::GetThreadSignal();

    while (dbus_connection_has_messages_to_send(mLink.mConnection))
    {
        if (lSignal == nullptr)
            return zqError_NoResources;

        if (zqDBusClock::now() >= lEnd)
            return zqError_TimedOut;

        Wait(*lSignal, !Transfer(), lEnd);
    }

    return mLink.IsConnected() ? zqError_None : zqError_WrongState;
}

bool zqDBus::State::IsOwnerNow(const char *aName, const char *aSender) noexcept
{
    const zqDBusMessageRef lCall(
        dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "GetNameOwner"));
    zqDBusMessageRef lReply;
    const char      *lOwner = nullptr;

    return lCall.Get() != nullptr &&
           dbus_message_append_args(lCall.Get(), DBUS_TYPE_STRING, &aName, DBUS_TYPE_INVALID) &&
           Block(lCall.Get(), kOwnerTimeoutMilliseconds, lReply) == zqError_None &&
           dbus_message_get_args(lReply.Get(), nullptr, DBUS_TYPE_STRING, &lOwner, DBUS_TYPE_INVALID) &&
           zqDBusIsSame(lOwner, aSender);
}

// Dispatching

void zqDBus::State::Dispatch(std::size_t aMost) noexcept
{
    for (; aMost > 0; aMost--)
    {
        zqDBusReceived lReceived = {};
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (mReceived.IsEmpty())
            {
                mOwners.AdvanceLocked(mSequence);
                break;
            }

            lReceived = mReceived.Pop();
            mOwners.AdvanceLocked(lReceived.mSequence);
        }
        Handle(lReceived);
    }

    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        if (!mHasLoss || !mReceived.IsEmpty())
            return;
        mHasLoss = false;
    }
    Lose();
}

void zqDBus::State::Handle(const zqDBusReceived &aReceived) noexcept
{
    const zqDBusMessageRef lMessage(aReceived.mMessage);

    if (aReceived.mPending != nullptr)
        zqDBusCalls::Reply(aReceived.mPending, aReceived.mMessage);
    else if (dbus_message_get_type(aReceived.mMessage) == DBUS_MESSAGE_TYPE_METHOD_CALL)
        mObjects.Dispatch(aReceived.mMessage);
    else if (dbus_message_get_type(aReceived.mMessage) == DBUS_MESSAGE_TYPE_SIGNAL &&
             !mSignals.Dispatch(aReceived.mMessage))
        mFilters.Dispatch(aReceived.mMessage);
}

int zqDBus::State::HandleEvents(bool aIsReady, std::size_t aMost) noexcept
{
    if (mIsDispatching.exchange(true))
        return 0;

    mDispatcher = std::this_thread::get_id();

    const bool lIsTimerDue = aIsReady && mLink.mLoop.Settle();

    (void)(aIsReady ? Transfer() : Sort());
    Dispatch(aMost);

    // After the replies that have come: one that waits here is in time.
    if (lIsTimerDue)
    {
        mCalls.Expire();
        mTimers.Run();
    }

    mObjects.Retry();
    mDispatcher = std::thread::id();
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        if (mHasLoss || !mReceived.IsEmpty())
            mLink.mLoop.Wake();
    }
    mIsDispatching = false;

    return aIsReady ? 1 : 0;
}

void zqDBus::State::DispatchUnclaimed() noexcept
{
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        if (!mSignals.IsEmptyLocked() || !mObjects.IsEmptyLocked() || !mCalls.IsEmptyLocked())
            return;
    }

    (void)HandleEvents(true, std::numeric_limits<std::size_t>::max());
}

zqError zqDBus::State::Cancel(zqDBusPendingCall *aPending) noexcept
{
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        if (!mCalls.RemoveLocked(aPending) && !mReceived.Disown(aPending))
            return zqError_NotFound;
    }

    zqDBusCalls::Disconnect(aPending, "The call was cancelled");

    return zqError_None;
}

/** What was received is not dispatched any more: the instance goes. */
void zqDBus::State::EndReceived() noexcept
{
    for (;;)
    {
        zqDBusReceived lReceived = {};
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (mReceived.IsEmpty())
                return;
            lReceived = mReceived.Pop();
        }

        if (lReceived.mPending != nullptr)
            zqDBusCalls::Disconnect(lReceived.mPending, "The bus is gone");
        dbus_message_unref(lReceived.mMessage);
    }
}
