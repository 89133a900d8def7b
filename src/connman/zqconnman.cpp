/**
 *  @file
 *    The client's lifecycle, its settings, and what the bus calls.
 */

#include "zqconnman-handlers.h"

using namespace zq::ConnMan;

namespace
{

std::atomic<zqConnMan::Decoding> sDecoding{ zqConnMan::kDecodingExact };

} // namespace

// Signals and agent methods, each forwarded to the member of the client that is the context

// clang-format off
const zqDBusSignalDispatch zqConnMan::Handlers::__SignalDispatchTableDBus[] = {
    { kBusDaemonInterface, kBusDaemonName, kBusDaemonPath, "NameOwnerChanged", kBusName, Signal<&zqConnMan::NameOwnerChanged> },
    { nullptr, nullptr, nullptr, nullptr, nullptr, nullptr }
};

const zqDBusSignalDispatch zqConnMan::Handlers::__SignalDispatchTableManager[] = {
    { kManagerInterface,    kBusName, kManagerPath, "PropertyChanged",   nullptr, ManagerSignal<&zqConnMan::ManagerPropertyChanged> },
    { kManagerInterface,    kBusName, kManagerPath, "TechnologyAdded",   nullptr, ManagerSignal<&zqConnMan::ManagerTechnologyAdded> },
    { kManagerInterface,    kBusName, kManagerPath, "TechnologyRemoved", nullptr, ManagerSignal<&zqConnMan::ManagerTechnologyRemoved> },
    { kManagerInterface,    kBusName, kManagerPath, "ServicesChanged",   nullptr, ManagerSignal<&zqConnMan::ManagerServicesChanged> },
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
    if (lReturn == zqError_None)
        lReturn = mDBus->AddTimer(Handlers::AskDue, this);
    if (lReturn != zqError_None)
        return lReturn;

    mLock = PR_NewLock();
    ZQ_REQUIRE(mLock != NULL, zqError_NoResources);

    return ChangeFilters(true);
}

void zqConnMan::DetachFromBus()
{
    (void)ChangeFilters(false);
    mDBus->RemoveTimer(Handlers::AskDue, this);
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

    mPresent = false;
    SetDelegate(nullptr);
    mAvailable = false;
    UpdateAsking();

    CancelPendingCalls();
    DetachFromBus();
    mDBus->DispatchUnclaimed();
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
