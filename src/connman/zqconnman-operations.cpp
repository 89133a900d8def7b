/**
 *  @file
 *    The requests of the daemon's objects.
 */

#include "zqconnman-private.h"

#include <memory>
#include <new>

using namespace zq::ConnMan;

namespace
{

/** What a service is asked to reach when it is checked to be online. */
constexpr const char *kOnlineCheckHost = "www.example.com";

void LogSetProperty(const char *aName, const void *aValue, const char *aPath, const char *anInterface, int aTimeout)
{
    ZQ_LOG(zqLogLevel_Detail, "connman: %s %s with %p for %s at %s with time out %d", "SetProperty", aName, aValue,
           aPath, anInterface, aTimeout);
}

} // namespace

/** Make a pending call about a path and send it. Once it is sent it belongs to the bus. */
template <class T, class Send>
zqError zqConnMan::SendPending(const char *aPath, Send aSend)
{
    zqError lReturn = CanCall();

    if (lReturn != zqError_None)
        return lReturn;

    const auto lPath = MakeString(aPath);
    ZQ_REQUIRE(lPath != NULL, zqError_NoResources);

    std::unique_ptr<T> lPending(new (std::nothrow) T(this, lPath.Get()));
    ZQ_REQUIRE(lPending != NULL, zqError_OutOfMemory);

    lReturn = aSend(lPending.get());
    if (lReturn == zqError_None)
        (void)lPending.release();

    return lReturn;
}

/** Send a call of no argument, or of one text. */
template <class T>
zqError zqConnMan::CallAsync(const char *aPath, const char *anInterface, const char *aMethod, const char *aText)
{
    return SendPending<T>(aPath,
                          [&](T *aPending)
                          {
                              return PerformMethodCall(aPath, anInterface, aMethod, aPending, mTimeout,
                                                       aText != nullptr ? DBUS_TYPE_STRING : DBUS_TYPE_INVALID, &aText,
                                                       DBUS_TYPE_INVALID);
                          });
}

template <class T>
zqError zqConnMan::SetPropertyAsync(const char *aPath, const char *anInterface, const char *aName, const void *aValue)
{
    return SendPending<T>(aPath, [&](T *aPending)
                          { return SetProperty(aPath, anInterface, mTimeout, aPending, aName, aValue); });
}

// Services

zqError zqConnMan::ServiceConnect(const char *aPath)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Detail, "connman: Connecting service %s with time out %d", aPath, GetTimeout());

    return CallAsync<ServiceConnectByPathPendingCall>(aPath, kServiceInterface, "Connect", nullptr);
}

zqError zqConnMan::ServiceOnlineCheck(const char *aPath)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Detail, "connman: Checking service %s online with time out %d", aPath, GetTimeout());

    return CallAsync<ServiceOnlineCheckPendingCall>(aPath, kServiceInterface, "OnlineCheck", kOnlineCheckHost);
}

zqError zqConnMan::ServiceDisconnect(const char *aPath)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Detail, "connman: disconnecting service %s with time out %d", aPath, GetTimeout());

    return Call(aPath, kServiceInterface, "Disconnect", mTimeout, DBUS_TYPE_INVALID);
}

zqError zqConnMan::ServiceRemove(const char *aPath)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Detail, "connman: removing service %s with time out %d", aPath, GetTimeout());

    return Call(aPath, kServiceInterface, "Remove", mTimeout, DBUS_TYPE_INVALID);
}

zqError zqConnMan::ServiceMove(const char *aPath, const char *aTarget, bool aBefore)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aTarget != NULL, zqError_InvalidArgument);

    const char *const lMethod = aBefore ? "MoveBefore" : "MoveAfter";

    ZQ_LOG(zqLogLevel_Detail, "connman: service %s %s %s with time out %d", aPath, lMethod, aTarget, GetTimeout());

    return Call(aPath, kServiceInterface, lMethod, mTimeout, DBUS_TYPE_OBJECT_PATH, &aTarget, DBUS_TYPE_INVALID);
}

zqError zqConnMan::ServiceClearProperty(const char *aPath, const char *aName)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aName != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Detail, "connman: service %s %s for %s with time out %d", "ClearProperty", aName, aPath,
           GetTimeout());

    return Call(aPath, kServiceInterface, "ClearProperty", mTimeout, DBUS_TYPE_STRING, &aName, DBUS_TYPE_INVALID);
}

zqError zqConnMan::ServiceSetProperty(const char *aPath, const char *aName, const void *aValue)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aName != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);
    LogSetProperty(aName, aValue, aPath, kServiceInterface, GetTimeout());

    return SetProperty(aPath, kServiceInterface, GetTimeout(), aName, aValue);
}

// The manager and technologies

zqError zqConnMan::ManagerSetProperty(const char *aName, const void *aValue)
{
    ZQ_REQUIRE(aName != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);
    LogSetProperty(aName, aValue, kManagerPath, kManagerInterface, GetTimeout());

    return SetPropertyAsync<ManagerSetPropertyPendingCall>(kManagerPath, kManagerInterface, aName, aValue);
}

zqError zqConnMan::ManagerSetProperty(const char *aName, const void *aValue, ManagerSetPropertyPendingCall *aPending)
{
    ZQ_REQUIRE(aName != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aPending != NULL, zqError_InvalidArgument);
    LogSetProperty(aName, aValue, kManagerPath, kManagerInterface, GetTimeout());

    return SetProperty(kManagerPath, kManagerInterface, GetTimeout(), aPending, aName, aValue);
}

zqError zqConnMan::TechnologySetProperty(const char *aPath, const char *aName, const void *aValue,
                                         ConnmanMethodSyncFlag aMode)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aName != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);
    LogSetProperty(aName, aValue, aPath, kTechnologyInterface, GetTimeout());

    if (aMode == kConnmanMethodSync)
        return SetProperty(aPath, kTechnologyInterface, GetTimeout(), aName, aValue);

    return SetPropertyAsync<TechnologySetPendingCall>(aPath, kTechnologyInterface, aName, aValue);
}

zqError zqConnMan::TechnologyScan(const char *aPath)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Information, "connman: requesting scan for %s", aPath);

    bool lWasScanning = false;

    {
        const ScopedLock lLock(mLock);

        lWasScanning = mScanning;
        mScanning    = true;
    }

    if (lWasScanning)
    {
        ZQ_LOG(zqLogLevel_Information, "connman: Scanning already in progress for %s", aPath);
        return zqError_None;
    }

    const zqError lReturn = CallAsync<TechnologyScanPendingCall>(aPath, kTechnologyInterface, "Scan", nullptr);

    if (lReturn != zqError_None)
    {
        ZQ_LOG(zqLogLevel_Notice, "connman: Reset mScanning for unsuccessful scan call");
        SetScanning(false);
    }
    return lReturn;
}

void zqConnMan::SetScanning(bool aScanning)
{
    const ScopedLock lLock(mLock);

    mScanning = aScanning;
}
