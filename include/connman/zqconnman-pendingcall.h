/**
 *  @file
 *    The asynchronous requests of zqConnMan. Applications include zqconnman.h.
 */

#ifndef ZQCONNMAN_PENDINGCALL_H
#define ZQCONNMAN_PENDINGCALL_H

#include <zqconnman-delegate.h>
#include <zqdbus.h>

#include <atomic>

namespace zq::ConnMan
{

/**
 *  An asynchronous request of the client on its way to the daemon. Its one
 *  outcome goes to the delegate that the client has at that time.
 */
class ZQ_EXPORT PendingCall : public zqDBusPendingCall
{
public:
    using SuccessHandler = void (Delegate::Base::*)(zqConnMan *aConnMan, CFStringRef aSubject);
    using FailureHandler = void (Delegate::Base::*)(zqConnMan *aConnMan, CFStringRef aSubject, zqError anError);

    /**
     *  @param[in]  aConnMan    The client: when it is destroyed first, it cancels the call.
     *  @param[in]  aName       The method, for logs; static text.
     *  @param[in]  aSubject    The object path that the call concerns; retained.
     *  @param[in]  aOnSuccess  May be null, as may @a aOnFailure.
     */
    PendingCall(zqConnMan *aConnMan, const char *aName, CFStringRef aSubject, SuccessHandler aOnSuccess,
                FailureHandler aOnFailure) noexcept;
    ~PendingCall() override;
    PendingCall(const PendingCall &)            = delete;
    PendingCall &operator=(const PendingCall &) = delete;

    void completed(DBusMessage *aReply) override;
    void errorReceived(zqDBusError *anError) override;

    /** Reported to the delegate as -16. */
    void timedOut() override;

protected:
    /** Null once the client is gone. */
    zqConnMan *GetConnMan() const noexcept { return mConnMan; }

private:
    friend class ::zqConnMan;

    void Fail(zqError anError);

    zqConnMan     *mConnMan;
    const char    *mName;
    CFStringRef    mSubject;
    UInt32         mIdentifier;
    SuccessHandler mOnSuccess;
    FailureHandler mOnFailure;

    // The client's outstanding calls, guarded by the client's lock.
    PendingCall *mPrevious = nullptr;
    PendingCall *mNext     = nullptr;

    static std::atomic<UInt32> sIdentifier;
};

/** "Connect": ServiceDidConnect or ServiceDidNotConnect. */
class ZQ_EXPORT ServiceConnectByPathPendingCall : public PendingCall
{
public:
    ServiceConnectByPathPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept;
    ~ServiceConnectByPathPendingCall() override;
};

/** "OnlineCheck": ServiceIsOnline or ServiceIsNotOnline. */
class ZQ_EXPORT ServiceOnlineCheckPendingCall : public PendingCall
{
public:
    ServiceOnlineCheckPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept;
    ~ServiceOnlineCheckPendingCall() override;
};

/** "Scan": TechnologyDidScan or TechnologyDidNotScan. */
class ZQ_EXPORT TechnologyScanPendingCall : public PendingCall
{
public:
    TechnologyScanPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept;
    ~TechnologyScanPendingCall() override;
};

/** "SetProperty" on the manager: its outcome is only logged, unless a class derived from it takes it. */
class ZQ_EXPORT ManagerSetPropertyPendingCall : public PendingCall
{
public:
    ManagerSetPropertyPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept;
    ~ManagerSetPropertyPendingCall() override;
};

/** "SetProperty" on a technology: its outcome is only logged. */
class ZQ_EXPORT TechnologySetPendingCall : public PendingCall
{
public:
    TechnologySetPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept;
    ~TechnologySetPendingCall() override;
};

/** Part of the family; no operation of the client makes one. */
class ZQ_EXPORT ServiceConnectPendingCall : public PendingCall
{
public:
    ServiceConnectPendingCall(zqConnMan *aConnMan, CFStringRef aPath) noexcept;
    ~ServiceConnectPendingCall() override;
};

} // namespace zq::ConnMan

/** Whether TechnologySetProperty waits for the daemon's answer. */
enum ConnmanMethodSyncFlag
{
    kConnmanMethodSync  = 0,
    kConnmanMethodAsync = 1
};

#endif // ZQCONNMAN_PENDINGCALL_H
