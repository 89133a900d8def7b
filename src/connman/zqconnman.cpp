/**
 *  @file
 *    The client's lifecycle, and whether the daemon is there.
 */

#include "zqconnman-handlers.h"

#include <new>

using namespace zq::ConnMan;

namespace
{

constexpr const char *kBusDaemonName      = "org.freedesktop.DBus";
constexpr const char *kBusDaemonPath      = "/org/freedesktop/DBus";
constexpr const char *kBusDaemonInterface = "org.freedesktop.DBus";

constexpr int kNameHasOwnerTimeout = 100; // milliseconds

std::atomic<zqConnMan::Decoding> sDecoding{ zqConnMan::kDecodingExact };

} // namespace

// Signals and agent methods, each forwarded to the member of the client that is the context

// clang-format off
const zqDBusSignalDispatch zqConnMan::Handlers::__SignalDispatchTableDBus[] = {
    { kBusDaemonInterface, kBusDaemonName, kBusDaemonPath, "NameOwnerChanged", kBusName, Signal<&zqConnMan::NameOwnerChanged> },
    { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr }
};

const zqDBusSignalDispatch zqConnMan::Handlers::__SignalDispatchTableManager[] = {
    { kManagerInterface,    kBusName, kManagerPath, "PropertyChanged",   nullptr, Signal<&zqConnMan::ManagerPropertyChanged> },
    { kManagerInterface,    kBusName, kManagerPath, "TechnologyAdded",   nullptr, Signal<&zqConnMan::ManagerTechnologyAdded> },
    { kManagerInterface,    kBusName, kManagerPath, "TechnologyRemoved", nullptr, Signal<&zqConnMan::ManagerTechnologyRemoved> },
    { kManagerInterface,    kBusName, kManagerPath, "ServicesChanged",   nullptr, Signal<&zqConnMan::ManagerServicesChanged> },
    { kServiceInterface,    kBusName, nullptr,      "PropertyChanged",   nullptr, Property<&zqConnMan::ServicePropertyChanged> },
    { kTechnologyInterface, kBusName, nullptr,      "PropertyChanged",   nullptr, Property<&zqConnMan::TechnologyPropertyChanged> },
    { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr }
};

const zqDBusMethodDispatch zqConnMan::Handlers::__DispatchTableAgent[] = {
    { kAgentInterface, "RequestInput", Agent<&zqConnMan::AgentRequestInput> },
    { kAgentInterface, "ReportError",  Agent<&zqConnMan::AgentReportError> },
    { kAgentInterface, "Release",      Agent<&zqConnMan::AgentRelease> },
    { kAgentInterface, "Cancel",       Agent<&zqConnMan::AgentCancel> },
    { nullptr, nullptr, nullptr }
};
// clang-format on

// Settings

void zqConnMan::SetDecoding(Decoding aDecoding) noexcept
{
    sDecoding = aDecoding;
}

zqConnMan::Decoding zqConnMan::GetDecoding() noexcept
{
    return sDecoding;
}

int zqConnMan::GetTimeout() const noexcept
{
    return mTimeout;
}

void zqConnMan::SetTimeout(int aTimeout) noexcept
{
    mTimeout = aTimeout;
}

bool zqConnMan::IsAvailable() const noexcept
{
    return mAvailable;
}

Delegate::Base *zqConnMan::GetDelegate() const noexcept
{
    return mDelegate;
}

// Lifecycle

zqConnMan::zqConnMan() noexcept
    : mDBus(nullptr), mProperties(nullptr), mServices(nullptr), mTechnologies(nullptr), mDelegate(nullptr),
      mTimeout(-1), mAvailable(false), mAgentRegistered(false), mLock(nullptr), mScanning(false), mPendingCalls(nullptr)
{
}

zqConnMan::~zqConnMan()
{
    Destroy();
}

zqError zqConnMan::Init()
{
    return Init(-1);
}

zqError zqConnMan::Init(const int &aTimeout)
{
    ZQ_REQUIRE(mDBus == NULL, zqError_WrongState);

    mDBus = zqDBus::GetThreadDefaultInstance();
    ZQ_REQUIRE(mDBus != NULL, zqError_Failed);
    mDBus->Retain();

    zqError lReturn = AttachToBus();

    if (lReturn == zqError_None)
    {
        mTimeout = aTimeout;
        lReturn  = FindConnMan();
    }

    if (lReturn != zqError_None)
        Destroy();

    return lReturn;
}

zqError zqConnMan::AttachToBus()
{
    zqError lReturn = mDBus->RegisterSignalHandlers(kBusDaemonPath, Handlers::__SignalDispatchTableDBus, this);

    if (lReturn == zqError_None)
        lReturn = mDBus->RegisterInterface(kAgentPath, Handlers::__DispatchTableAgent, this);
    if (lReturn != zqError_None)
        return lReturn;

    mExported = true;

    lReturn = mDBus->RegisterSignalHandlers(kManagerPath, Handlers::__SignalDispatchTableManager, this);
    if (lReturn == zqError_None)
        lReturn = mDBus->AddDisconnectHandler(Handlers::BusLost, this);
    if (lReturn != zqError_None)
        return lReturn;

    mLock = PR_NewLock();
    ZQ_REQUIRE(mLock != NULL, zqError_NoResources);

    return ChangeFilters(true);
}

void zqConnMan::DetachFromBus()
{
    (void)ChangeFilters(false);
    mDBus->RemoveDisconnectHandler(Handlers::BusLost, this);
    (void)mDBus->UnregisterSignalHandlers(kManagerPath, Handlers::__SignalDispatchTableManager, this);
    (void)mDBus->UnregisterSignalHandlers(kBusDaemonPath, Handlers::__SignalDispatchTableDBus, this);

    if (mExported) // otherwise the object may be another client's
        (void)mDBus->UnregisterInterface(kAgentPath);
    mExported = false;
}

void zqConnMan::Destroy()
{
    if (mDBus == nullptr)
        return;

    SetDelegate(nullptr);
    mAvailable = false;

    CancelPendingCalls();
    DetachFromBus();
    Flush();

    if (mLock != nullptr)
        PR_DestroyLock(mLock);
    mLock     = nullptr;
    mScanning = false;

    mDBus->Release();
    mDBus = nullptr;
}

zqError zqConnMan::ChangeFilters(bool anAdd)
{
    const zqDBusFilter lFilters[] = {
        { kServiceInterface, "PropertyChanged", kBusName, Handlers::Filter<&zqConnMan::ServicePropertyChanged>, this },
        { kTechnologyInterface, "PropertyChanged", kBusName, Handlers::Filter<&zqConnMan::TechnologyPropertyChanged>,
          this },
        { nullptr, nullptr, nullptr, nullptr, nullptr },
    };

    const zqError lReturn = anAdd ? mDBus->AddFilters(lFilters) : mDBus->RemoveFilters(lFilters);

    if (lReturn != zqError_None && (anAdd || lReturn != zqError_NotFound))
        ZQ_LOG(zqLogLevel_Error, "connman: failed to %s connman service and technology filters",
               anAdd ? "add" : "remove");

    return lReturn;
}

// Presence at the start

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

// Presence from then on

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

// The delegate

void zqConnMan::SetDelegate(Delegate::Base *aDelegate)
{
    if (mDelegate.exchange(aDelegate) == aDelegate)
        return;

    CancelHeldInput(); // the one who was asked is no longer there to answer

    if (aDelegate != nullptr)
        ReplayToDelegate();

    (void)UpdateDelegateAvailability();
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
