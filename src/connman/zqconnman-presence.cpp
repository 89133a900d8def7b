/**
 *  @file
 *    Whether the daemon is there.
 */

#include "zqconnman-private.h"

#include <cstring>
#include <new>
#include <utility>

using namespace zq::ConnMan;

namespace
{

constexpr int kNameHasOwnerTimeout = 100; // milliseconds

} // namespace

// At the start

/** Waits for the bus to say whether the daemon is there, when it did not say so at once. */
class zqConnMan::PresencePendingCall : public PendingCall
{
public:
    explicit PresencePendingCall(zqConnMan *aConnMan) noexcept
        : PendingCall(aConnMan, "NameHasOwner", nullptr, nullptr, nullptr)
    {
    }

    void completed(DBusMessage *aReply) override
    {
        dbus_bool_t lHasOwner = FALSE;

        PendingCall::completed(aReply);

        if (GetConnMan() != nullptr && aReply != nullptr &&
            dbus_message_get_args(aReply, nullptr, DBUS_TYPE_BOOLEAN, &lHasOwner, DBUS_TYPE_INVALID) && lHasOwner)
            (void)GetConnMan()->ConnManAvailable();
    }
};

namespace
{

zqError CallNameHasOwner(zqDBus &aDBus, zqDBusPendingCall *aPending, DBusMessage **aReply, int aTimeout,
                         DBusError *anError, int aFirstType, ...)
{
    va_list lArguments;

    va_start(lArguments, aFirstType);
    const zqError lReturn = aDBus.PerformMethodCall(kBusDaemonName, kBusDaemonPath, kBusDaemonInterface, "NameHasOwner",
                                                    aPending, aReply, aTimeout, anError, aFirstType, lArguments);
    va_end(lArguments);

    return lReturn;
}

} // namespace

zqError zqConnMan::CheckConnManReady(unsigned int &aHasOwner)
{
    ZQ_REQUIRE(mDBus != NULL, zqError_WrongState);

    MessageRef        lReply;
    zqDBusError       lError;
    const char *const lName = kBusName;

    aHasOwner = 0;

    const zqError lReturn = CallNameHasOwner(*mDBus, nullptr, lReply.Out(), kNameHasOwnerTimeout, lError.Get(),
                                             DBUS_TYPE_STRING, &lName, DBUS_TYPE_INVALID);

    if (lReturn != zqError_None)
        return lReturn != zqError_WrongState && lError.IsSet() ? MapError("NameHasOwner", lError.Get()) : lReturn;

    dbus_bool_t lHasOwner = FALSE;

    if (lReply.Get() == nullptr ||
        !dbus_message_get_args(lReply.Get(), nullptr, DBUS_TYPE_BOOLEAN, &lHasOwner, DBUS_TYPE_INVALID))
        return zqError_BadReply;

    aHasOwner = lHasOwner ? 1 : 0;
    return zqError_None;
}

zqError zqConnMan::AwaitConnMan()
{
    const char *const lName    = kBusName;
    auto             *lPending = new (std::nothrow) PresencePendingCall(this);

    ZQ_REQUIRE(lPending != NULL, zqError_OutOfMemory);

    const zqError lReturn =
        CallNameHasOwner(*mDBus, lPending, nullptr, mTimeout, nullptr, DBUS_TYPE_STRING, &lName, DBUS_TYPE_INVALID);

    if (lReturn != zqError_None)
        delete lPending;
    return lReturn;
}

zqError zqConnMan::FindConnMan()
{
    unsigned int  lHasOwner = 0;
    const zqError lReturn   = CheckConnManReady(lHasOwner);

    // A busy bus is no reason to do without the daemon: its answer is taken when it comes.
    if (lReturn == zqError_NoReply || lReturn == zqError_TimedOut)
        return AwaitConnMan();

    // A daemon that is there but cannot be understood does not keep the client from following it.
    if (lReturn == zqError_None && lHasOwner != 0)
        (void)ConnManAvailable();

    return lReturn;
}

// From then on

bool zqConnMan::NameOwnerChanged(DBusMessage *aMessage)
{
    const char *lName     = nullptr;
    const char *lOldOwner = nullptr;
    const char *lNewOwner = nullptr;
    zqDBusError lError;

    if (!dbus_message_has_path(aMessage, kBusDaemonPath))
        return false;

    if (zqDBus::DecodeMessageParams(aMessage, lError.Get(), DBUS_TYPE_STRING, &lName, DBUS_TYPE_STRING, &lOldOwner,
                                    DBUS_TYPE_STRING, &lNewOwner, DBUS_TYPE_INVALID) != zqError_None)
    {
        ZQ_LOG(zqLogLevel_Error, "connman: invalid arguments for NameOwnerChanged: %s",
               lError.IsSet() ? lError.GetMessage() : "");
        return false;
    }

    if (std::strcmp(lName, kBusName) != 0)
        return false;

    zqError lReturn = zqError_None;

    // A new owner in one step with the old one is another daemon: what the old one had is void.
    if (lOldOwner[0] != '\0' || lNewOwner[0] == '\0')
    {
        ZQ_LOG(zqLogLevel_Notice, "connman: %s service at %s %sconnected", lName, lOldOwner, "dis");
        lReturn = ConnManUnavailable();
        (void)ZQ_CHECK(lReturn == zqError_None || lReturn == zqError_Already);
    }

    if (lNewOwner[0] != '\0')
    {
        ZQ_LOG(zqLogLevel_Notice, "connman: %s service at %s %sconnected", lName, lNewOwner, "");
        lReturn = ConnManAvailable();
        (void)ZQ_CHECK(lReturn == zqError_None || lReturn == zqError_Already);
    }
    return true;
}

void zqConnMan::BusLost()
{
    ZQ_LOG(zqLogLevel_Notice, "connman: the bus is gone");
    (void)ConnManUnavailable();
}

/**
 *  A daemon whose answers cannot be decoded is available all the same: it takes
 *  requests. One that lets the first call run into its time-out, or is gone, is
 *  not given a second.
 */
zqError zqConnMan::ConnManAvailable()
{
    if (mAvailable.exchange(true))
        return zqError_Already;

    const zqError lUpdate = Update();
    zqError       lReturn = lUpdate;

    if (mAvailable && lUpdate != zqError_NoReply)
        lReturn = UpdateDelegateAvailability();

    if (lReturn != zqError_None)
    {
        mAvailable = false;
        Flush();
        return lReturn;
    }
    return lUpdate;
}

zqError zqConnMan::ConnManUnavailable()
{
    if (!mAvailable.exchange(false))
        return zqError_Already;

    mAgentRegistered = false;
    {
        const Locker lLocker(mLock);

        mInput.Reset(); // nobody waits for its answer any more
    }

    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->Unavailable(this);

    Flush();
    return zqError_None;
}

zqError zqConnMan::UpdateDelegateAvailability()
{
    if (!mAvailable)
        return zqError_None;

    if (mDelegate == nullptr)
        return std::exchange(mAgentRegistered, false) ? SetAgent(false) : zqError_None;

    const zqError lReturn = mAgentRegistered ? zqError_None : SetAgent(true);

    // The daemon may know this connection's agent already.
    if (lReturn != zqError_None && lReturn != zqError_Already)
        return lReturn;

    mAgentRegistered = true;

    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->Available(this);
    return zqError_None;
}
