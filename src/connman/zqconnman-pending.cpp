/**
 *  @file
 *    The asynchronous requests and their outcomes.
 */

#include "zqconnman-private.h"

namespace zq::ConnMan
{

std::atomic<UInt32> PendingCall::sIdentifier{ 0 };

PendingCall::PendingCall(zqConnMan *aConnMan, const char *aName, CFStringRef aSubject, SuccessHandler aOnSuccess,
                         FailureHandler aOnFailure) noexcept
    : mConnMan(aConnMan), mName(aName), mSubject(aSubject), mIdentifier(sIdentifier++), mOnSuccess(aOnSuccess),
      mOnFailure(aOnFailure)
{
    if (mSubject != nullptr)
        (void)CFRetain(mSubject);
    if (mConnMan != nullptr)
        mConnMan->AddPendingCall(this);
}

PendingCall::~PendingCall()
{
    if (mConnMan != nullptr)
        mConnMan->RemovePendingCall(this);
    CFURelease(mSubject);
}

void PendingCall::completed(DBusMessage *)
{
    ZQ_LOG(zqLogLevel_Detail, "connman: pending call %u: %s completed", mIdentifier, mName);

    Delegate::Base *lDelegate = mConnMan != nullptr ? mConnMan->GetDelegate() : nullptr;

    if (lDelegate != nullptr && mOnSuccess != nullptr)
        (lDelegate->*mOnSuccess)(mConnMan, mSubject);
}

void PendingCall::errorReceived(zqDBusError *anError)
{
    ZQ_LOG(zqLogLevel_Detail, "connman: pending call %u: %s error received", mIdentifier, mName);

    Fail(zqConnMan::MapError(mName, anError != nullptr ? anError->Get() : nullptr));
}

void PendingCall::timedOut()
{
    ZQ_LOG(zqLogLevel_Detail, "connman: pending call %u: %s timed out", mIdentifier, mName);

    Fail(zqError_TimedOut);
}

void PendingCall::Fail(zqError anError)
{
    Delegate::Base *lDelegate = mConnMan != nullptr ? mConnMan->GetDelegate() : nullptr;

    if (lDelegate != nullptr && mOnFailure != nullptr)
        (lDelegate->*mOnFailure)(mConnMan, mSubject, anError);
}

ServiceConnectByPathPendingCall::ServiceConnectByPathPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept
    : PendingCall(aConnMan, "Connect", aPath, &Delegate::Base::ServiceDidConnect, &Delegate::Base::ServiceDidNotConnect)
{
}

ServiceOnlineCheckPendingCall::ServiceOnlineCheckPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept
    : PendingCall(aConnMan, "OnlineCheck", aPath, &Delegate::Base::ServiceIsOnline, &Delegate::Base::ServiceIsNotOnline)
{
}

TechnologyScanPendingCall::TechnologyScanPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept
    : PendingCall(aConnMan, "Scan", aPath, &Delegate::Base::TechnologyDidScan, &Delegate::Base::TechnologyDidNotScan)
{
}

ManagerSetPropertyPendingCall::ManagerSetPropertyPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept
    : PendingCall(aConnMan, "SetProperty", aPath, nullptr, nullptr)
{
}

TechnologySetPendingCall::TechnologySetPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept
    : PendingCall(aConnMan, "SetProperty", aPath, nullptr, nullptr)
{
}

ServiceConnectPendingCall::ServiceConnectPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept
    : PendingCall(aConnMan, "Connect", aPath, nullptr, nullptr)
{
}

ServiceConnectByPathPendingCall::~ServiceConnectByPathPendingCall() = default;
ServiceOnlineCheckPendingCall::~ServiceOnlineCheckPendingCall()     = default;
ManagerSetPropertyPendingCall::~ManagerSetPropertyPendingCall()     = default;
TechnologySetPendingCall::~TechnologySetPendingCall()               = default;
ServiceConnectPendingCall::~ServiceConnectPendingCall()             = default;

/** A scan that ended, or was never sent, with nobody there to be told: the next one must not wait for it. */
TechnologyScanPendingCall::~TechnologyScanPendingCall()
{
    if (GetConnMan() != nullptr && GetConnMan()->GetDelegate() == nullptr)
        GetConnMan()->SetScanning(false);
}

} // namespace zq::ConnMan
