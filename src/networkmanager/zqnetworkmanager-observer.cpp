#include <zqnetworkmanager-observer.h>

namespace zq::NetworkManager::Observer
{

Base::~Base() = default;

Default::~Default() = default;

void Default::StateChanged(Manager *, CFStringRef) {}

void Default::PropertiesChanged(Manager *, CFDictionaryRef) {}

void Default::ServicesAdded(Manager *, const zqRefObjectArray<Service> &) {}

void Default::ServicesRemoved(Manager *, const zqRefObjectArray<Service> &) {}

void Default::ServiceChanged(Manager *, Service *, CFDictionaryRef) {}

zqError Default::ServiceInput(Manager *, Service *, CFDictionaryRef)
{
    return zqError_None;
}

void Default::ServiceError(Manager *, Service *, CFStringRef) {}

void Default::ServiceDidConnect(Manager *, Service *) {}

void Default::ServiceDidNotConnect(Manager *, Service *, zqError) {}

void Default::ServiceIsOnline(Manager *, Service *) {}

void Default::ServiceIsNotOnline(Manager *, Service *, zqError) {}

void Default::ServiceIsWaking(Manager *, Service *, unsigned char) {}

void Default::ServiceDidWake(Manager *, Service *, unsigned char) {}

void Default::ServiceDidNotWake(Manager *, Service *, zqError) {}

void Default::TechnologiesAdded(Manager *, const zqRefObjectArray<Technology> &) {}

void Default::TechnologiesRemoved(Manager *, const zqRefObjectArray<Technology> &) {}

void Default::TechnologyChanged(Manager *, Technology *, CFDictionaryRef) {}

void Default::TechnologyDidScan(Manager *, Technology *) {}

void Default::TechnologyDidNotScan(Manager *, Technology *, zqError) {}

void Default::DidPrepareForSleep(Manager *) {}

void Default::DidNotPrepareForSleep(Manager *, zqError) {}

} // namespace zq::NetworkManager::Observer
