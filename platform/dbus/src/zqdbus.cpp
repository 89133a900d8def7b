/**
 *  @file
 *    Instances, and their operations.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#include <algorithm>
#include <cstdarg>

#include <poll.h>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

namespace
{

/** So that a flood of messages leaves the loop time for its other descriptors. */
constexpr std::size_t kMessagesPerDispatch = 256;

/** What may wait to be dispatched before reading pauses, and the largest single message. */
constexpr long kMaximumReceivedBytes = 64L * 1024 * 1024;

thread_local zqRefCountSharedPtr tThreadDefault;

std::mutex sGlobalLock;
zqDBus    *sGlobalDefault = nullptr;

DBusConnection *Connect() noexcept
{
    zqDBusError lError;

    (void)dbus_threads_init_default();

    DBusConnection *const lConnection = dbus_bus_get_private(DBUS_BUS_SYSTEM, lError.Get());

    if (lConnection == nullptr)
    {
        ZQ_LOG(zqLogLevel_Error, "dbus: failed to connect to the system bus [%s: %s]\n",
               lError.IsSet() ? lError.GetName() : "", lError.IsSet() ? lError.GetMessage() : "");
        return nullptr;
    }

    dbus_connection_set_exit_on_disconnect(lConnection, FALSE);
    dbus_connection_set_max_message_size(lConnection, kMaximumReceivedBytes);
    dbus_connection_set_max_received_size(lConnection, kMaximumReceivedBytes);

    return lConnection;
}

/** A thread that only makes blocking calls reads nothing between them: it learns of a lost bus here. */
bool HasHungUp(DBusConnection *aConnection) noexcept
{
    pollfd lDescriptor = { -1, 0, 0 };

    return dbus_connection_get_unix_fd(aConnection, &lDescriptor.fd) && poll(&lDescriptor, 1, 0) > 0;
}

} // namespace

zqError zqDBus::State::Init() noexcept
{
    mLink.mConnection = Connect();

    if (mLink.mConnection == nullptr)
        return zqError_WrongState;

    zqError lReturn = zqError_NoResources;

    if (dbus_connection_add_filter(mLink.mConnection, Filter, this, nullptr))
    {
        mHasFilter = true;
        lReturn    = mLink.mLoop.Init(mLink.mConnection);
    }

    if (lReturn != zqError_None)
        Close();

    return lReturn;
}

void zqDBus::State::Close() noexcept
{
    if (mLink.mConnection == nullptr)
        return;

    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        mLink.mIsLost = true;
        mDisconnectRows.clear();
        mTimers.RemoveAllLocked();
    }

    mCalls.EndAll();
    EndReceived();
    mObjects.UnregisterAll();
    mFilters.RemoveAll();

    if (std::exchange(mHasFilter, false))
        dbus_connection_remove_filter(mLink.mConnection, Filter, this);

    mLink.mLoop.Close();
    dbus_connection_close(mLink.mConnection);
    dbus_connection_unref(std::exchange(mLink.mConnection, nullptr));
}

void zqDBus::State::Lose() noexcept
{
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        mLink.mIsLost = true;
        mTimers.RemoveAllLocked();
    }

    ZQ_LOG(zqLogLevel_Notice, "dbus: the bus is gone\n");
    mCalls.EndAll();

    // Taken off one by one: a handler may remove another.
    for (;;)
    {
        DisconnectRow lRow;
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (mDisconnectRows.empty())
                return;

            lRow = mDisconnectRows.front();
            (void)mDisconnectRows.erase(mDisconnectRows.begin());
        }

        try
        {
            lRow.first(lRow.second);
        }
        catch (...)
        {
            ZQ_LOG(zqLogLevel_Error, "dbus: a disconnect handler threw\n");
        }
    }
}

zqDBus::zqDBus() noexcept : mState(new (std::nothrow) State) {}

zqDBus::~zqDBus() = default;

void zqDBus::Destroy()
{
    // The receivers of outstanding calls may take a reference and drop it: not the last one again.
    Retain();

    if (mState != nullptr)
        mState->Close();

    delete this;
}

zqDBus *zqDBus::GetThreadDefaultInstance() noexcept
{
    const auto lCurrent = static_cast<zqDBus *>(tThreadDefault.Get());

    if (lCurrent != nullptr && lCurrent->IsConnected() && !HasHungUp(lCurrent->GetConnection()))
        return lCurrent;

    const auto                lNew = new (std::nothrow) zqDBus;
    const zqRefCountSharedPtr lHolder(lNew);

    if (lNew == nullptr || lNew->mState == nullptr || lNew->mState->Init() != 0)
        return nullptr;

    // Released last: the receivers of its calls may ask for the new one.
    const zqRefCountSharedPtr lOld(tThreadDefault);

    tThreadDefault = lHolder;

    return lNew;
}

void zqDBus::SetGlobalDefaultInstance(zqDBus *aDBus) noexcept
{
    zqDBus *lOld = nullptr;

    if (aDBus != nullptr)
        aDBus->Retain();

    {
        const std::lock_guard<std::mutex> lLock(sGlobalLock);

        lOld = std::exchange(sGlobalDefault, aDBus);
    }

    if (lOld != nullptr)
        lOld->Release();
}

zqDBus *zqDBus::GetGlobalDefaultInstance() noexcept
{
    const std::lock_guard<std::mutex> lLock(sGlobalLock);

    return sGlobalDefault;
}

DBusConnection *zqDBus::GetConnection() const noexcept
{
    return mState->mLink.mConnection;
}

bool zqDBus::IsConnected() const noexcept
{
    return mState->mLink.IsConnected();
}

PRPollDesc *zqDBus::GetPollDescriptors(unsigned int &aCount, bool *aChanged) noexcept
{
    aCount = 1;

    if (!mState->mIsYielded.exchange(true) && aChanged != nullptr)
        *aChanged = true;

    return mState->mLink.mLoop.GetDescriptor();
}

int zqDBus::HandleEvents(PRPollDesc *aDescriptors) noexcept
{
    const zqRefCountSharedPtr lHolder(this);

    if (aDescriptors != nullptr && aDescriptors->out_flags == 0)
        return 0;

    return mState->HandleEvents(aDescriptors != nullptr, kMessagesPerDispatch);
}

void zqDBus::DispatchUnclaimed() noexcept
{
    const zqRefCountSharedPtr lHolder(this);

    mState->DispatchUnclaimed();
}

zqError zqDBus::AddTimer(TimerHandler aHandler, void *aContext) noexcept
{
    return mState->mTimers.Add(aHandler, aContext);
}

void zqDBus::RemoveTimer(TimerHandler aHandler, void *aContext) noexcept
{
    mState->mTimers.Remove(aHandler, aContext);
}

zqError zqDBus::SetTimer(TimerHandler aHandler, void *aContext, int aMilliseconds) noexcept
{
    return mState->mTimers.Set(aHandler, aContext, aMilliseconds);
}

void zqDBus::StopTimer(TimerHandler aHandler, void *aContext) noexcept
{
    mState->mTimers.Stop(aHandler, aContext);
}

DBusMessage *zqDBus::NewMethodCall(const char *aDestination, const char *aPath, const char *anInterface,
                                   const char *aMethod) noexcept
{
    if (!zqDBusAreValidNames(aDestination, aPath, anInterface, aMethod))
        return nullptr;

    return dbus_message_new_method_call(aDestination, aPath, anInterface, aMethod);
}

zqError zqDBus::PerformMethodCall(const char *aDestination, const char *aPath, const char *anInterface,
                                  const char *aMethod, zqDBusPendingCall *aPending, DBusMessage **aReply, int aTimeout,
                                  DBusError *anError, int aFirstType, va_list aArguments) noexcept
{
    if (!zqDBusAreValidNames(aDestination, aPath, anInterface, aMethod))
        return zqError_InvalidArgument;

    const zqDBusMessageRef lMessage(dbus_message_new_method_call(aDestination, aPath, anInterface, aMethod));

    if (lMessage.Get() == nullptr)
        return zqError_NoResources;

    const zqError lReturn = zqDBusAppendArguments(lMessage.Get(), aFirstType, aArguments);

    return lReturn != zqError_None ? lReturn
                                   : PerformMethodCallWithMessage(lMessage.Get(), aPending, aReply, aTimeout, anError);
}

zqError zqDBus::PerformMethodCallWithMessage(DBusMessage *aMessage, zqDBusPendingCall *aPending, DBusMessage **aReply,
                                             int aTimeout, DBusError *anError) noexcept
{
    return aPending != nullptr ? mState->mCalls.Send(aMessage, aPending, aTimeout)
                               : mState->Perform(aMessage, aReply, aTimeout, anError);
}

zqError zqDBus::CancelPendingCall(zqDBusPendingCall *aPending) noexcept
{
    return mState->Cancel(aPending);
}

zqError zqDBus::Flush(int aTimeout) noexcept
{
    return aTimeout >= 0 ? mState->Flush(aTimeout) : zqError_InvalidArgument;
}

zqError zqDBus::RegisterSignalHandlers(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept
{
    return mState->mSignals.Register(aPath, aTable, aContext);
}

zqError zqDBus::UnregisterSignalHandlers(const char *aPath, const zqDBusSignalDispatch *aTable, void *aContext) noexcept
{
    return mState->mSignals.Unregister(aPath, aTable, aContext);
}

zqError zqDBus::AddFilters(const zqDBusFilter *aTable) noexcept
{
    return mState->mSignals.AddFilters(aTable);
}

zqError zqDBus::RemoveFilters(const zqDBusFilter *aTable) noexcept
{
    return mState->mSignals.RemoveFilters(aTable);
}

zqError zqDBus::AddConnectionFilter(DBusHandleMessageFunction aFilter, void *aContext, DBusFreeFunction aFree) noexcept
{
    return mState->mFilters.Add(aFilter, aContext, aFree);
}

zqError zqDBus::RemoveConnectionFilter(DBusHandleMessageFunction aFilter, void *aContext) noexcept
{
    return mState->mFilters.Remove(aFilter, aContext);
}

zqError zqDBus::AddDisconnectHandler(DisconnectHandler aHandler, void *aContext) noexcept
{
    if (aHandler == nullptr)
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            const std::lock_guard<std::mutex> lLock(mState->mLink.mLock);

            if (mState->mLink.mIsLost)
                return zqError(zqError_WrongState);

            mState->mDisconnectRows.emplace_back(aHandler, aContext);
            return zqError(zqError_None);
        });
}

void zqDBus::RemoveDisconnectHandler(DisconnectHandler aHandler, void *aContext) noexcept
{
    const std::lock_guard<std::mutex> lLock(mState->mLink.mLock);
    auto                             &lRows = mState->mDisconnectRows;
    const auto lFound                       = std::find(lRows.begin(), lRows.end(), std::make_pair(aHandler, aContext));

    if (lFound != lRows.end())
        (void)lRows.erase(lFound);
}

bool zqDBus::IsSentByOwner(DBusMessage *aMessage, const char *aName) noexcept
{
    if (aMessage == nullptr || !zqDBusIsValidBusName(aName))
        return false;

    const char *const lSender = dbus_message_get_sender(aMessage);
    {
        const std::lock_guard<std::mutex> lLock(mState->mLink.mLock);

        if (!zqDBusOwners::IsTracked(aName) || mState->mOwners.HasLocked(aName))
            return mState->mOwners.IsOwnerLocked(aName, lSender);
    }

    return mState->IsOwnerNow(aName, lSender);
}

bool zqDBus::HasOwner(const char *aName) const noexcept
{
    const std::lock_guard<std::mutex> lLock(mState->mLink.mLock);

    return aName != nullptr && !mState->mOwners.GetLatestLocked(aName).empty();
}

zqError zqDBus::RegisterInterface(const char *aPath, const zqDBusMethodDispatch *aTable, void *aContext) noexcept
{
    return mState->mObjects.Register(aPath, aTable, aContext);
}

zqError zqDBus::UnregisterInterface(const char *aPath) noexcept
{
    return mState->mObjects.Unregister(aPath);
}

zqError zqDBus::DecodeMessageParams(DBusMessage *aMessage, DBusError *anError, int aFirstType, ...) noexcept
{
    if (aMessage == nullptr)
        return zqError_InvalidArgument;

    va_list lArguments;

    va_start(lArguments, aFirstType);

    const bool lIsDecoded = dbus_message_get_args_valist(aMessage, anError, aFirstType, lArguments);

    va_end(lArguments);

    return lIsDecoded ? zqError_None : zqError_InvalidArgument;
}

zqError zqDBus::ReplyWithParams(DBusConnection *aConnection, DBusMessage *aMessage, int aFirstType, ...) noexcept
{
    if (aConnection == nullptr || aMessage == nullptr ||
        dbus_message_get_type(aMessage) != DBUS_MESSAGE_TYPE_METHOD_CALL)
        return zqError_InvalidArgument;

    const zqDBusMessageRef lReply(dbus_message_new_method_return(aMessage));

    if (lReply.Get() == nullptr)
        return zqError_NoResources;

    va_list lArguments;

    va_start(lArguments, aFirstType);

    const zqError lReturn = zqDBusAppendArguments(lReply.Get(), aFirstType, lArguments);

    va_end(lArguments);

    if (lReturn != zqError_None || dbus_message_get_no_reply(aMessage))
        return lReturn;

    return dbus_connection_send(aConnection, lReply.Get(), nullptr) ? zqError_None : zqError_NoResources;
}
