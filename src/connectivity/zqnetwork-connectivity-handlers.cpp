/**
 *  @file
 *    What the controller makes of the manager's events.
 */

#include <zqnetwork-connectivity.h>

#include <zqlog.h>

#define ZQ_LOG_COMPONENT "network-connectivity"
#define ZQ_LOG_FILE "zqnetwork-connectivity"

using namespace zq::NetworkManager;

namespace
{

/** @returns false, with the value left alone, when a boolean property is not among those that changed. */
bool GetChange(CFDictionaryRef aProperties, CFStringRef aKey, bool &aValue)
{
    const void *const lValue = aProperties != nullptr ? CFDictionaryGetValue(aProperties, aKey) : nullptr;

    if (!CFUIsTypeID(lValue, CFBooleanGetTypeID()))
        return false;

    aValue = CFUIsTrue(lValue);
    return true;
}

} // namespace

bool zqNetworkConnectivity::IsConnectivityTechnology(const Technology &aTechnology) const
{
    for (int i = 0, lCount = mTechnologies.GetNumElements(); i < lCount; i++)
        if (CFUIsTrue(aTechnology.IsType(mTechnologies.GetElement(i).GetAsCFString())))
            return true;
    return false;
}

void zqNetworkConnectivity::HandleEvent(zqEvent *anEvent)
{
    (void)HandleEvent(static_cast<const zqEvent *>(anEvent));
}

zqError zqNetworkConnectivity::HandleEvent(const zqEvent *anEvent)
{
    if (!Event::IsType(anEvent))
        return zqError_None;

    const zqError retval = HandleNetworkManagerEvent(anEvent);
    (void)ZQ_CHECK(retval == 0);

    return retval;
}

zqError zqNetworkConnectivity::HandleNetworkManagerEvent(const zqEvent *anEvent)
{
    switch (anEvent->GetType())
    {
    case Event::TechnologiesAdded::kType:
        return HandleNetworkTechnologiesAdded(static_cast<const Event::TechnologiesAdded *>(anEvent));

    case Event::TechnologyChanged::kType:
        return HandleNetworkTechnologyChanged(static_cast<const Event::TechnologyChanged *>(anEvent));

    // Nothing is to be done for these. Any other is not expected.
    case Event::StateChanged::kType:
    case Event::PropertiesChanged::kType:
    case Event::ServicesAdded::kType:
    case Event::ServicesRemoved::kType:
    case Event::ServiceChanged::kType:
    case Event::ServiceInput::kType:
    case Event::ServiceError::kType:
    case Event::ServiceDidConnect::kType:
    case Event::ServiceDidNotConnect::kType:
    case Event::ServiceIsOnline::kType:
    case Event::ServiceIsNotOnline::kType:
    case Event::TechnologiesRemoved::kType:
    case Event::TechnologyDidScan::kType:
    case Event::TechnologyDidNotScan::kType:
        return zqError_None;
    }

    ZQ_LOG(zqLogLevel_Notice, "network-connectivity: unexpected network manager event %d",
           static_cast<int>(anEvent->GetType()));

    return zqError_None;
}

zqError zqNetworkConnectivity::HandleNetworkTechnologiesAdded(const Event::TechnologiesAdded *anEvent)
{
    zqRefObjectArray<Technology> lTechnologies;
    zqError                      lReturn = anEvent->GetTechnologies(lTechnologies);

    for (int i = 0, lCount = lTechnologies.GetNumElements(); i < lCount; i++)
    {
        const Technology &lTechnology = *lTechnologies.GetElementPtr(i);

        if (!IsConnectivityTechnology(lTechnology))
            continue;

        const bool    lPowered = CFUIsTrue(lTechnology.IsPowered());
        const zqError lError   = HandleNetworkTechnologyPoweredChanged(lTechnology, lPowered);

        if (lReturn == zqError_None)
            lReturn = lError;
    }

    return lReturn;
}

zqError zqNetworkConnectivity::HandleNetworkTechnologyChanged(const Event::TechnologyChanged *anEvent)
{
    const Technology *const lTechnology = anEvent->GetTechnology();
    zqError                 lReturn     = zqError_None;
    bool                    lValue      = false;

    if (lTechnology == nullptr || !IsConnectivityTechnology(*lTechnology))
        return zqError_None;

    if (GetChange(anEvent->GetProperties(), kTechnologyPropertyPowered, lValue))
        lReturn = HandleNetworkTechnologyPoweredChanged(*lTechnology, lValue);

    if (GetChange(anEvent->GetProperties(), kTechnologyPropertyConnected, lValue))
    {
        const zqError lError = HandleNetworkTechnologyConnectedChanged(*lTechnology, lValue);

        if (lReturn == zqError_None)
            lReturn = lError;
    }

    return lReturn;
}

zqError zqNetworkConnectivity::HandleNetworkTechnologyPoweredChanged(const Technology &, bool)
{
    return RecalculatePowered(true);
}

zqError zqNetworkConnectivity::HandleNetworkTechnologyConnectedChanged(const Technology &aTechnology, bool)
{
    const zqError lChecked    = CheckTechnologyConnectedServices(aTechnology);
    const zqError lCalculated = RecalculateConnected();

    return lChecked != zqError_None ? lChecked : lCalculated;
}
