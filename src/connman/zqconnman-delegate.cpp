/**
 *  @file
 *    The delegate that does nothing.
 */

#include "zqconnman-private.h"

namespace zq::ConnMan::Delegate
{

Base::~Base() = default;

void Default::Available(zqConnMan *) {}
void Default::Unavailable(zqConnMan *) {}
void Default::StateChanged(zqConnMan *, CFStringRef) {}
void Default::PropertiesChanged(zqConnMan *, CFDictionaryRef) {}
void Default::ServicesAdded(zqConnMan *, CFArrayRef) {}
void Default::ServicesRemoved(zqConnMan *, CFArrayRef) {}
void Default::ServicesUpdated(zqConnMan *, CFArrayRef) {}
void Default::ServiceChanged(zqConnMan *, CFStringRef, CFDictionaryRef) {}
void Default::ServiceReportError(zqConnMan *, CFStringRef, CFStringRef) {}
void Default::ServiceDidConnect(zqConnMan *, CFStringRef) {}
void Default::ServiceDidNotConnect(zqConnMan *, CFStringRef, zqError) {}
void Default::ServiceIsOnline(zqConnMan *, CFStringRef) {}
void Default::ServiceIsNotOnline(zqConnMan *, CFStringRef, zqError) {}
void Default::TechnologiesAdded(zqConnMan *, CFArrayRef) {}
void Default::TechnologiesRemoved(zqConnMan *, CFArrayRef) {}
void Default::TechnologyChanged(zqConnMan *, CFStringRef, CFDictionaryRef) {}
void Default::TechnologyDidScan(zqConnMan *, CFStringRef) {}
void Default::TechnologyDidNotScan(zqConnMan *, CFStringRef, zqError) {}

zqError Default::ServiceRequestInput(zqConnMan *, CFStringRef, CFDictionaryRef)
{
    return zqError_None;
}

} // namespace zq::ConnMan::Delegate
