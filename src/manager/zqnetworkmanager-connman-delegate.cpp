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

zqSharedPtr<Service> Manager::FindReportedService(CFStringRef aPath, const char *aReason, Absence anAbsence)
{
    zqSharedPtr<Service> lService = FindService(aPath);

    if (lService == nullptr)
    {
        if (anAbsence == kAsserted)
            (void)ZQ_CHECK(lService != NULL);
        LogNotFound("service", aPath, aReason);
    }
    return lService;
}

zqSharedPtr<Technology> Manager::FindReportedTechnology(CFStringRef aPath, const char *aReason, Absence anAbsence)
{
    zqSharedPtr<Technology> lTechnology = FindTechnology(aPath);

    if (lTechnology == nullptr)
    {
        if (anAbsence == kAsserted)
            (void)ZQ_CHECK(lTechnology != NULL);
        LogNotFound("technology", aPath, aReason);
    }
    return lTechnology;
}

// The daemon's manager

void Manager::StateChanged(zqConnMan *aConnMan, CFStringRef aState)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lReturn = SignalStateChanged(aState);
    (void)ZQ_CHECK(lReturn == 0);
}

void Manager::PropertiesChanged(zqConnMan *aConnMan, CFDictionaryRef aProperties)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lReturn = MakeUpLater(TakeProperties(aProperties));
    (void)ZQ_CHECK(lReturn == 0);
}

// Services

void Manager::ServicesAdded(zqConnMan *aConnMan, CFArrayRef aServices)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lReturn = AddReported<Service>(aServices);
    (void)ZQ_CHECK(lReturn == 0);
}

void Manager::ServicesRemoved(zqConnMan *aConnMan, CFArrayRef aServices)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lReturn = MakeUpLater(DropServices(aServices));
    (void)ZQ_CHECK(lReturn == 0);
}

void Manager::ServicesUpdated(zqConnMan *aConnMan, CFArrayRef aServices)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lReturn = RefreshReported(aServices);
    (void)ZQ_CHECK(lReturn == 0);
}

void Manager::ServiceChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties)
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aProperties != NULL))
        return;

    const zqSharedPtr<Service> lService = FindReportedService(aPath, "properties change", kAsserted);
    if (lService == nullptr)
        return;

    zqError lReturn = MakeUpLater(lService->Refresh(CFURetain(aProperties)));
    if (ZQ_CHECK(lReturn == 0))
    {
        lReturn = SignalServiceChanged(lService.Get(), aProperties);
        (void)ZQ_CHECK(lReturn == 0);
    }
}

zqError Manager::ServiceRequestInput(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties)
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aProperties != NULL))
        return zqError_InvalidArgument;

    const zqSharedPtr<Service> lService = FindReportedService(aPath, "input request", kAsserted);
    if (lService == nullptr)
        return zqError_None;

    const zqError lReturn = SignalServiceInput(lService.Get(), aProperties);
    (void)ZQ_CHECK(lReturn == 0);
    return lReturn;
}

void Manager::ServiceReportError(zqConnMan *aConnMan, CFStringRef aPath, CFStringRef aError)
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aError != NULL))
        return;

    const zqSharedPtr<Service> lService = FindService(aPath);
    if (!ZQ_CHECK(lService != NULL))
    {
        ZQ_LOG(zqLogLevel_Error, "network manager: failed to find service %s for error %s",
               zqString(aPath).GetAsUTFArray(), zqString(aError).GetAsUTFArray());
        return;
    }

    const zqError lError = SignalServiceError(lService.Get(), aError);
    (void)ZQ_CHECK(lError == 0);
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
    const zqError lError = lService != nullptr ? SignalServiceDidConnect(lService.Get()) : SignalConnectNotFound(aPath);
    (void)ZQ_CHECK(lError == 0);
}

void Manager::ServiceDidNotConnect(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    const zqSharedPtr<Service> lService = FindService(aPath);
    const zqError              lError =
        lService != nullptr ? SignalServiceDidNotConnect(lService.Get(), anError) : SignalConnectNotFound(aPath);
    (void)ZQ_CHECK(lError == 0);
}

void Manager::ServiceIsOnline(zqConnMan *aConnMan, CFStringRef aPath)
{
    if (!IsOwnForOnline(aConnMan, aPath))
        return;

    const zqSharedPtr<Service> lService = FindReportedService(aPath, "online check failure", kLogged);
    if (lService == nullptr)
        return;

    const zqError lError = SignalServiceIsOnline(lService.Get());
    (void)ZQ_CHECK(lError == 0);
}

void Manager::ServiceIsNotOnline(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)
{
    if (!IsOwnForOnline(aConnMan, aPath))
        return;

    const zqSharedPtr<Service> lService = FindReportedService(aPath, "online check failure", kLogged);
    if (lService == nullptr)
        return;

    const zqError lError = SignalServiceIsNotOnline(lService.Get(), anError);
    (void)ZQ_CHECK(lError == 0);
}

// Technologies

void Manager::TechnologiesAdded(zqConnMan *aConnMan, CFArrayRef aTechnologies)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lError = AddReported<Technology>(aTechnologies);
    (void)ZQ_CHECK(lError == 0);
}

void Manager::TechnologiesRemoved(zqConnMan *aConnMan, CFArrayRef aTechnologies)
{
    if (!IsOwn(aConnMan))
        return;

    const zqError lError = MakeUpLater(DropTechnologies(aTechnologies));
    (void)ZQ_CHECK(lError == 0);
}

void Manager::TechnologyChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties)
{
    if (!IsOwn(aConnMan, aPath) || !ZQ_CHECK(aProperties != NULL))
        return;

    const zqSharedPtr<Technology> lTechnology = FindReportedTechnology(aPath, "properties change", kAsserted);
    if (lTechnology == nullptr)
        return;

    zqError lError = MakeUpLater(lTechnology->Refresh(CFURetain(aProperties)));
    if (ZQ_CHECK(lError == 0))
    {
        lError = SignalTechnologyChanged(lTechnology.Get(), aProperties);
        (void)ZQ_CHECK(lError == 0);
    }
}

void Manager::TechnologyDidScan(zqConnMan *aConnMan, CFStringRef aPath)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    // Whatever becomes of the report, the next scan must not wait for it.
    ZQ_LOG(zqLogLevel_Detail, "network manager: Reset mScanning for did scan");
    mConnMan.SetScanning(false);

    const zqSharedPtr<Technology> lTechnology = FindReportedTechnology(aPath, "scan success", kAsserted);
    if (lTechnology == nullptr)
        return;

    const zqError lError = SignalTechnologyDidScan(lTechnology.Get());
    (void)ZQ_CHECK(lError == 0);
}

void Manager::TechnologyDidNotScan(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)
{
    if (!IsOwn(aConnMan, aPath))
        return;

    ZQ_LOG(zqLogLevel_Detail, "network manager: Reset mScanning for DidNotScan");
    mConnMan.SetScanning(false);

    const zqSharedPtr<Technology> lTechnology = FindReportedTechnology(aPath, "scan failure", kLogged);
    if (lTechnology == nullptr)
        return;

    const zqError lError = SignalTechnologyDidNotScan(lTechnology.Get(), anError);
    (void)ZQ_CHECK(lError == 0);
}

} // namespace zq::NetworkManager::ConnMan
