/**
 *  @file
 *    Whether the daemon is there, and whether it answers.
 *
 *  Absent, it is waited for. When it arrives it is loaded at once, and the loop
 *  waits for that. A daemon that is present and does not become available, or
 *  leaves the load incomplete, is asked for something small from then on, one
 *  call at a time and without waiting; when it answers, what is missing is
 *  loaded. Once it is available with everything, or absent again, nothing runs.
 */

#include "zqconnman-handlers.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

using namespace zq::ConnMan;

namespace
{

// In milliseconds
constexpr int kNameHasOwnerTimeout = 100;
constexpr int kFirstAskDelay       = 1000;
constexpr int kLongestAskDelay     = 60000;

zqError CallNameHasOwner(zqDBus &aDBus, DBusMessage **aReply, DBusError *anError, int aFirstType, ...)
{
    va_list lArguments;

    va_start(lArguments, aFirstType);
    const zqError lReturn =
        aDBus.PerformMethodCall(kBusDaemonName, kBusDaemonPath, kBusDaemonInterface, "NameHasOwner", nullptr, aReply,
                                kNameHasOwnerTimeout, anError, aFirstType, lArguments);
    va_end(lArguments);

    return lReturn;
}

/** No answer came, or there was no memory for it: the next time there may be. */
bool IsPassing(zqError anError)
{
    static const zqError kErrors[] = { zqError_NoReply, zqError_TimedOut, zqError_NoResources, zqError_OutOfMemory };

    return std::find(std::begin(kErrors), std::end(kErrors), anError) != std::end(kErrors);
}

} // namespace

// At the start

zqError zqConnMan::CheckConnManReady(unsigned int &aHasOwner)
{
    ZQ_REQUIRE(mDBus != NULL, zqError_WrongState);

    MessageRef        lReply;
    zqDBusError       lError;
    const char *const lName = kBusName;

    aHasOwner = 0;

    const zqError lReturn =
        CallNameHasOwner(*mDBus, lReply.Out(), lError.Get(), DBUS_TYPE_STRING, &lName, DBUS_TYPE_INVALID);

    if (lReturn != zqError_None)
        return lReturn != zqError_WrongState && lError.IsSet() ? MapError("NameHasOwner", lError.Get()) : lReturn;

    dbus_bool_t lHasOwner = FALSE;

    if (lReply.Get() == nullptr ||
        !dbus_message_get_args(lReply.Get(), nullptr, DBUS_TYPE_BOOLEAN, &lHasOwner, DBUS_TYPE_INVALID))
        return zqError_BadReply;

    aHasOwner = lHasOwner ? 1 : 0;
    return zqError_None;
}

zqError zqConnMan::FindConnMan()
{
    unsigned int  lHasOwner = 0;
    const zqError lReturn   = CheckConnManReady(lHasOwner);

    // A busy bus is no reason to do without the daemon: whether it is there is seen when it is asked itself.
    if (lReturn == zqError_NoReply || lReturn == zqError_TimedOut)
    {
        mPresent = mSilent = true;
        Ask();
        return zqError_None;
    }

    // A daemon that is there but cannot be understood does not keep the client from following it.
    if (lReturn == zqError_None && lHasOwner != 0)
        (void)ConnManArrived();

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
        lReturn = ConnManLeft();
        (void)ZQ_CHECK(lReturn == zqError_None || lReturn == zqError_Already);

        // What was sent before the client was made may be reached only now: then nothing tells of the new owner.
        if (lNewOwner[0] == '\0' && mDBus->HasOwner(kBusName))
        {
            mPresent = true;
            Ask();
        }
    }

    if (lNewOwner[0] != '\0')
    {
        ZQ_LOG(zqLogLevel_Notice, "connman: %s service at %s %sconnected", lName, lNewOwner, "");
        lReturn = ConnManArrived();
        (void)ZQ_CHECK(lReturn == zqError_None || lReturn == zqError_Already);
    }
    return true;
}

void zqConnMan::BusLost()
{
    ZQ_LOG(zqLogLevel_Notice, "connman: the bus is gone");
    (void)ConnManLeft();
}

zqError zqConnMan::ConnManArrived()
{
    mPresent = true;
    mSilent  = !mAvailable;

    return ConnManAvailable();
}

zqError zqConnMan::ConnManLeft()
{
    mPresent = false;

    return ConnManUnavailable();
}

zqError zqConnMan::ConnManAvailable()
{
    return mAvailable.exchange(true) ? zqError_Already : Load();
}

zqError zqConnMan::ConnManUnavailable()
{
    const bool lWasAvailable = mAvailable.exchange(false);

    mIncomplete = mMissed = false;

    if (lWasAvailable)
    {
        mAgentRegistered = false;
        {
            const ScopedLock lLock(mLock);

            mInput.Reset(); // nobody waits for its answer any more
        }

        if (Delegate::Base *lDelegate = mDelegate)
            lDelegate->Unavailable(this);

        Flush();
    }

    UpdateAsking();

    return lWasAvailable ? zqError_None : zqError_Already;
}

/**
 *  Load what is missing: of a daemon that has just arrived, everything.
 *
 *  Whatever becomes of that, a daemon that lets itself be registered with takes
 *  requests.
 */
zqError zqConnMan::Load()
{
    mIncomplete = false;

    const zqError lUpdate = Update(!mMissed);

    mMissed = mMissed && IsPassing(lUpdate);

    const zqError lReturn = UpdateDelegateAvailability();
    const zqError lResult = lReturn != zqError_None ? lReturn : lUpdate;

    if (lReturn != zqError_None)
        (void)ConnManUnavailable();

    mSilent = mSilent && IsPassing(lResult);
    if (mAvailable && IsPassing(lUpdate) &&
        (mMissed || mProperties == nullptr || mServices == nullptr || mTechnologies == nullptr))
        mIncomplete = true;
    UpdateAsking();

    return lResult;
}

// Asking

enum class zqConnMan::Asked
{
    Answers,
    Silent,
    Absent
};

/** Asks the daemon for something small, to see whether it answers at all. */
class zqConnMan::AskPendingCall final : public PendingCall
{
public:
    explicit AskPendingCall(zqConnMan *aConnMan) noexcept
        : PendingCall(aConnMan, "GetProperties", nullptr, nullptr, nullptr)
    {
    }

    void completed(DBusMessage *aReply) override
    {
        PendingCall::completed(aReply);
        End(Asked::Answers);
    }

    void errorReceived(zqDBusError *anError) override
    {
        PendingCall::errorReceived(anError);

        const auto lIs = [=](const char *aName)
        { return anError != nullptr && dbus_error_has_name(anError->Get(), aName); };

        if (lIs(DBUS_ERROR_SERVICE_UNKNOWN) || lIs(DBUS_ERROR_NAME_HAS_NO_OWNER))
            End(Asked::Absent);
        else
            End(lIs(DBUS_ERROR_NO_REPLY) || lIs(DBUS_ERROR_DISCONNECTED) ? Asked::Silent : Asked::Answers);
    }

    void timedOut() override
    {
        PendingCall::timedOut();
        End(Asked::Silent);
    }

private:
    void End(Asked anOutcome)
    {
        if (GetConnMan() != nullptr)
            GetConnMan()->AskEnded(this, anOutcome);
    }
};

/** See to it that a daemon of which something is missing is asked, now or later, and no other. */
void zqConnMan::UpdateAsking()
{
    if (!mPresent || (mAvailable && !mIncomplete))
    {
        if (std::exchange(mAskDue, false))
            mDBus->StopTimer(Handlers::AskDue, this);
        mAsk      = nullptr;
        mAskDelay = 0;
    }
    else if (mAsk == nullptr && !mAskDue)
    {
        mAskDue   = true;
        mAskDelay = mAskDelay == 0 ? kFirstAskDelay : std::min(2 * mAskDelay, kLongestAskDelay);
        ZQ_LOG(zqLogLevel_Information, "connman: asking %s again in %d ms", kBusName, mAskDelay);
        (void)mDBus->SetTimer(Handlers::AskDue, this, mAskDelay);
    }
}

void zqConnMan::Ask()
{
    if (std::exchange(mAskDue, false))
        mDBus->StopTimer(Handlers::AskDue, this);

    const MessageRef                lMessage(NewMethodCall(kManagerPath, kManagerInterface, "GetProperties"));
    std::unique_ptr<AskPendingCall> lAsk(new (std::nothrow) AskPendingCall(this));

    if (lMessage.Get() != nullptr && lAsk != nullptr)
    {
        dbus_message_set_auto_start(lMessage.Get(), FALSE);
        if (mDBus->PerformMethodCallWithMessage(lMessage.Get(), lAsk.get(), nullptr, mTimeout, nullptr) == zqError_None)
            mAsk = lAsk.release();
    }

    UpdateAsking();
}

void zqConnMan::AskEnded(const AskPendingCall *anAsk, Asked anOutcome)
{
    if (anAsk != mAsk)
        return;

    mAsk    = nullptr;
    mSilent = anOutcome == Asked::Silent;

    if (anOutcome == Asked::Absent)
        (void)ConnManLeft();
    else if (anOutcome == Asked::Answers)
        (void)(mAvailable ? Load() : ConnManAvailable());

    UpdateAsking();
}

/**
 *  A daemon that has been silent and sends something is awake again. One that
 *  has answered, but not what was needed, would be asked over and over.
 */
void zqConnMan::ConnManHeard()
{
    if (mAskDue && mSilent)
        Ask();
}

// The delegate

void zqConnMan::SetDelegate(Delegate::Base *aDelegate)
{
    if (mDelegate.exchange(aDelegate) == aDelegate)
        return;

    CancelHeldInput(); // the one who was asked is no longer there to answer

    if (aDelegate != nullptr)
        ReplayToDelegate();

    const zqError lReturn = UpdateDelegateAvailability();

    // Without its agent the delegate was not told that the daemon is available.
    if (aDelegate != nullptr && mAvailable && IsPassing(lReturn))
        mIncomplete = mSilent = true;

    UpdateAsking();
}

void zqConnMan::TellAvailableAgain()
{
    mIncomplete = mAvailable;
    UpdateAsking();
}

void zqConnMan::ReplayToDelegate()
{
    if (mProperties != nullptr && CFDictionaryGetCount(mProperties) > 0)
    {
        const auto lProperties = CFUAdopt(CFDictionaryCreateCopy(kCFAllocatorDefault, mProperties));

        if (ZQ_CHECK(lProperties != NULL))
            mDelegate.load()->PropertiesChanged(this, lProperties.Get());
    }

    const auto lReplay = [this](PathsHandler aHandler, CFDictionaryRef aCache)
    {
        if (aCache != nullptr)
            NotifyPaths(aHandler, CFUAdopt(CFUDictionaryCopyKeys(aCache)).Get());
    };

    lReplay(&Delegate::Base::ServicesAdded, mServices);
    lReplay(&Delegate::Base::TechnologiesAdded, mTechnologies);
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
