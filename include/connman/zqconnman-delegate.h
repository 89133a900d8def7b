/**
 *  @file
 *    The delegate of zqConnMan. Applications include zqconnman.h.
 */

#ifndef ZQCONNMAN_DELEGATE_H
#define ZQCONNMAN_DELEGATE_H

#include <CoreFoundation.h>
#include <zqerror.h>
#include <zqexport.h>

class zqConnMan;

namespace zq::ConnMan::Delegate
{

/**
 *  Receives everything that the client has to tell.
 *
 *  Every operation comes on the thread that drives the bus, with no lock of
 *  the client held. An operation may use the client, blocking requests and
 *  SetDelegate included, but must not destroy it. Arguments are lent, and are
 *  not changed afterwards: they may be retained.
 */
class ZQ_EXPORT Base
{
public:
    virtual ~Base();

    /**
     *  The daemon is on the bus, and what it has is loaded, or was asked for in
     *  vain. Told once more when it has come to answer what it did not then.
     */
    virtual void Available(zqConnMan *aConnMan) = 0;

    /**
     *  The daemon, or the bus, is gone; or the load failed that had begun. What
     *  was told of it counts no more.
     */
    virtual void Unavailable(zqConnMan *aConnMan) = 0;

    virtual void StateChanged(zqConnMan *aConnMan, CFStringRef aState) = 0;

    /** @param[in]  aProperties  The changed properties of the daemon's manager, with their new values. */
    virtual void PropertiesChanged(zqConnMan *aConnMan, CFDictionaryRef aProperties) = 0;

    /** @param[in]  aServices  Object paths. */
    virtual void ServicesAdded(zqConnMan *aConnMan, CFArrayRef aServices)   = 0;
    virtual void ServicesRemoved(zqConnMan *aConnMan, CFArrayRef aServices) = 0;
    virtual void ServicesUpdated(zqConnMan *aConnMan, CFArrayRef aServices) = 0;

    virtual void ServiceChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) = 0;

    /**
     *  The daemon asks for what it needs to connect a service. The request is
     *  held until ServiceCompleteInput or ServiceCancelInput answers it.
     *
     *  @param[in]  aFields  Name of a field to a dictionary that describes it.
     *  @returns 0; any other code: the request is cancelled at once.
     */
    virtual zqError ServiceRequestInput(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aFields) = 0;

    virtual void ServiceReportError(zqConnMan *aConnMan, CFStringRef aPath, CFStringRef anError) = 0;
    virtual void ServiceDidConnect(zqConnMan *aConnMan, CFStringRef aPath)                       = 0;
    virtual void ServiceDidNotConnect(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)   = 0;
    virtual void ServiceIsOnline(zqConnMan *aConnMan, CFStringRef aPath)                         = 0;
    virtual void ServiceIsNotOnline(zqConnMan *aConnMan, CFStringRef aPath, zqError anError)     = 0;

    /** @param[in]  aTechnologies  Object paths. */
    virtual void TechnologiesAdded(zqConnMan *aConnMan, CFArrayRef aTechnologies)   = 0;
    virtual void TechnologiesRemoved(zqConnMan *aConnMan, CFArrayRef aTechnologies) = 0;

    virtual void TechnologyChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) = 0;

    /** A scan ended: whoever is told clears the client's flag with SetScanning(false). */
    virtual void TechnologyDidScan(zqConnMan *aConnMan, CFStringRef aPath)                     = 0;
    virtual void TechnologyDidNotScan(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) = 0;
};

/** Does nothing, for owners that override only what they need. An input request stays held until it is answered. */
class ZQ_EXPORT Default : public Base
{
public:
    void    Available(zqConnMan *aConnMan) override;
    void    Unavailable(zqConnMan *aConnMan) override;
    void    StateChanged(zqConnMan *aConnMan, CFStringRef aState) override;
    void    PropertiesChanged(zqConnMan *aConnMan, CFDictionaryRef aProperties) override;
    void    ServicesAdded(zqConnMan *aConnMan, CFArrayRef aServices) override;
    void    ServicesRemoved(zqConnMan *aConnMan, CFArrayRef aServices) override;
    void    ServicesUpdated(zqConnMan *aConnMan, CFArrayRef aServices) override;
    void    ServiceChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) override;
    zqError ServiceRequestInput(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aFields) override;
    void    ServiceReportError(zqConnMan *aConnMan, CFStringRef aPath, CFStringRef anError) override;
    void    ServiceDidConnect(zqConnMan *aConnMan, CFStringRef aPath) override;
    void    ServiceDidNotConnect(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) override;
    void    ServiceIsOnline(zqConnMan *aConnMan, CFStringRef aPath) override;
    void    ServiceIsNotOnline(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) override;
    void    TechnologiesAdded(zqConnMan *aConnMan, CFArrayRef aTechnologies) override;
    void    TechnologiesRemoved(zqConnMan *aConnMan, CFArrayRef aTechnologies) override;
    void    TechnologyChanged(zqConnMan *aConnMan, CFStringRef aPath, CFDictionaryRef aProperties) override;
    void    TechnologyDidScan(zqConnMan *aConnMan, CFStringRef aPath) override;
    void    TechnologyDidNotScan(zqConnMan *aConnMan, CFStringRef aPath, zqError anError) override;
};

} // namespace zq::ConnMan::Delegate

#endif // ZQCONNMAN_DELEGATE_H
