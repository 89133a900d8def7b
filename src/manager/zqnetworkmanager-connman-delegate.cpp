/**
 *  @file
 *    What the concrete manager makes of the ConnMan client's reports.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
{

namespace
{

/** Tells of an object that the lists do not have. */
void LogNotFound(const char *aKind, CFStringRef aPath, const char *aReason)
{
    ZQ_LOG(zqLogLevel_Error, "network manager: failed to find %s %s for %s", aKind, zqString(aPath).GetAsUTFArray(),
           aReason);
}

// What a callback cannot hand on is asserted, under one of two names. @returns it.

zqError CheckReturn(zqError lReturn)
{
    (void)ZQ_CHECK(lReturn == 0);
    return lReturn;
}

zqError CheckError(zqError lError)
{
    (void)ZQ_CHECK(lError == 0);
    return lError;
}

} // namespace

bool Manager::IsOwn(const zqConnMan *aConnMan) const
{
    return ZQ_CHECK(aConnMan == &mConnMan);
}

bool Manager::IsOwn(const zqConnMan *aConnMan, CFStringRef aPath) const
{
    return IsOwn(aConnMan) && ZQ_CHECK(aPath != NULL);
}

bool Manager::IsOwnForOnline(const zqConnMan *aConnMan, CFStringRef aPath) const
{
    if (!IsOwn(aConnMan))
    {
        ZQ_LOG(zqLogLevel_Error, "network manager: Found different zqConnMan instance: aConnMan %p, mConnMan %p",
               static_cast<const void *>(aConnMan), static_cast<const void *>(&mConnMan));
        return false;
    }
    if (!ZQ_CHECK(aPath != NULL))
    {
        ZQ_LOG(zqLogLevel_Error, "network manager: aPath is NULL");
        return false;
    }
    return true;
}

template <typename T>
zqSharedPtr<T> Manager::FindReported(CFStringRef aPath, const char *aReason, Absence anAbsence)
{
    zqSharedPtr<T> lReturn = (this->*Kind<T>::kKind.mFind)(aPath);

    if (lReturn == nullptr)
    {
        if (anAbsence == kAsserted)
            (void)ZQ_CHECK_TEXT(lReturn != nullptr, Kind<T>::kKind.mAssertion);
        LogNotFound(Kind<T>::kKind.mName, aPath, aReason);
    }
    return lReturn;
}

template <typename T>
void Manager::Changed(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties, zqError (*aCheck)(zqError))
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aProperties != NULL))
        return;

    const zqSharedPtr<T> lObject = FindReported<T>(aPath, "properties change", kAsserted);

    if (lObject != nullptr && aCheck(MakeUpLater(lObject->Refresh(CFURetain(aProperties)))) == zqError_None)
        (void)aCheck((this->*Kind<T>::kKind.mSignalChanged)(lObject.Get(), aProperties));
}

template <typename T, typename Raise, typename... Payload>
void Manager::Tell(CFStringRef aPath, const char *aReason, Absence anAbsence, Raise aRaise, const Payload &...aPayload)
{
    const zqSharedPtr<T> lObject = FindReported<T>(aPath, aReason, anAbsence);

    if (lObject != nullptr)
        CheckError((this->*aRaise)(lObject.Get(), aPayload...));
}

// The daemon's manager

void Manager::StateChanged(zqConnMan *aConnMan, CFStringRef aState)
{
    if (IsOwn(aConnMan))
        CheckReturn(SignalStateChanged(aState));
}

void Manager::PropertiesChanged(zqConnMan *aConnMan, CFDictionaryRef aProperties)
{
    if (IsOwn(aConnMan))
        CheckReturn(MakeUpLater(TakeProperties(aProperties)));
}

// Services

void Manager::ServicesAdded(zqConnMan *aConnMan, CFArrayRef aServices)
{
    if (IsOwn(aConnMan))
        CheckReturn(AddReported<Service>(aServices));
}

void Manager::ServicesRemoved(zqConnMan *aConnMan, CFArrayRef aServices)
{
    if (IsOwn(aConnMan))
        CheckReturn(MakeUpLater(UpdateServices(aServices, UpdateOperationRemove)));
}

void Manager::ServicesUpdated(zqConnMan *aConnMan, CFArrayRef aServices)
{
    if (IsOwn(aConnMan))
        CheckReturn(RefreshReported(aServices));
}

void Manager::ServiceChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties)
{
    Changed<Service>(aConnMan, aPath, aProperties, CheckReturn);
}

zqError Manager::ServiceRequestInput(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties)
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aProperties != NULL))
        return zqError_InvalidArgument;

    const zqSharedPtr<Service> lService = FindReported<Service>(aPath, "input request", kAsserted);

    return lService != nullptr ? CheckReturn(SignalServiceInput(lService.Get(), aProperties)) : zqError_None;
}

void Manager::ServiceReportError(zqConnMan *aConnMan, CFStringRef aPath, CFStringRef aError)
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aError != NULL))
        return;

    const zqSharedPtr<Service> lService = FindService(aPath);
    if (ZQ_CHECK(lService != NULL))
        CheckError(SignalServiceError(lService.Get(), aError));
    else
        ZQ_LOG(zqLogLevel_Error, "network manager: failed to find service %s for error %s",
               zqString(aPath).GetAsUTFArray(), zqString(aError).GetAsUTFArray());
}

zqError Manager::SignalConnectNotFound(CFStringRef aPath)
{
    LogNotFound("service", aPath, "connect failure"); // the words for an unexpected success, too
    return SignalServiceError(nullptr, kServiceErrorNotFound);
}

void Manager::ServiceDidConnect(zqConnMan *aConnMan, CFStringRef aPath)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    const zqSharedPtr<Service> lService = FindService(aPath);
    CheckError(lService != nullptr ? SignalServiceDidConnect(lService.Get()) : SignalConnectNotFound(aPath));
}

void Manager::ServiceDidNotConnect(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    const zqSharedPtr<Service> lService = FindService(aPath);
    CheckError(lService != nullptr ? SignalServiceDidNotConnect(lService.Get(), anError)
                                   : SignalConnectNotFound(aPath));
}

void Manager::ServiceIsOnline(zqConnMan *aConnMan, CFStringRef aPath)
{
    if (IsOwnForOnline(aConnMan, aPath))
        Tell<Service>(aPath, "online check failure", kLogged, &Manager::SignalServiceIsOnline);
}

void Manager::ServiceIsNotOnline(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)
{
    if (IsOwnForOnline(aConnMan, aPath))
        Tell<Service>(aPath, "online check failure", kLogged, &Manager::SignalServiceIsNotOnline, anError);
}

// Technologies

void Manager::TechnologiesAdded(zqConnMan *aConnMan, CFArrayRef aTechnologies)
{
    if (IsOwn(aConnMan))
        CheckError(AddReported<Technology>(aTechnologies));
}

void Manager::TechnologiesRemoved(zqConnMan *aConnMan, CFArrayRef aTechnologies)
{
    if (IsOwn(aConnMan))
        CheckError(MakeUpLater(UpdateTechnologies(aTechnologies, false)));
}

void Manager::TechnologyChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties)
{
    Changed<Technology>(aConnMan, aPath, aProperties, CheckError);
}

// Whatever becomes of the report of a scan, the next one must not wait for it.

void Manager::TechnologyDidScan(zqConnMan *aConnMan, CFStringRef aPath)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    ZQ_LOG(zqLogLevel_Detail, "network manager: Reset mScanning for did scan");
    mConnMan.SetScanning(false);
    Tell<Technology>(aPath, "scan success", kAsserted, &Manager::SignalTechnologyDidScan);
}

void Manager::TechnologyDidNotScan(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    ZQ_LOG(zqLogLevel_Detail, "network manager: Reset mScanning for DidNotScan");
    mConnMan.SetScanning(false);
    Tell<Technology>(aPath, "scan failure", kLogged, &Manager::SignalTechnologyDidNotScan, anError);
}

} // namespace zq::NetworkManager::ConnMan
