/**
 *  @file
 *    What an application implements to be told of every change as it happens.
 */

#ifndef ZQNETWORKMANAGER_OBSERVER_H
#define ZQNETWORKMANAGER_OBSERVER_H

#include <zqnetworkmanager-provision.h>
#include <zqnetworkmanager-service.h>
#include <zqnetworkmanager-technology.h>

namespace zq::NetworkManager
{

class Manager;

namespace Observer
{

/**
 *  The observer's interface.
 *
 *  Thread: the one that raises the event, normally the run loop's; the replay
 *  that Manager::AddObserver makes comes on the thread that adds.
 *
 *  The manager holds its observer lock during a callback, so no other event is
 *  raised meanwhile. A callback may call every operation of the manager except
 *  AddObserver and RemoveObserver, which would wait for that lock for ever, and
 *  it must not destroy the manager.
 *
 *  Arguments are lent for the duration of the call: retain what is kept. A
 *  service may be null in ServiceError, and wherever the concrete manager
 *  raises an event for a service that it no longer knows.
 */
class ZQ_EXPORT Base
{
public:
    Base() noexcept                        = default;
    Base(const Base &) noexcept            = default;
    Base &operator=(const Base &) noexcept = default;
    virtual ~Base();

    /** @param[in]  aState  A kManagerState*. */
    virtual void StateChanged(Manager *aManager, CFStringRef aState) = 0;

    /** @param[in]  aProperties  Those that were reported, not all that the manager has. */
    virtual void PropertiesChanged(Manager *aManager, CFDictionaryRef aProperties) = 0;

    virtual void ServicesAdded(Manager *aManager, const zqRefObjectArray<Service> &aServices)   = 0;
    virtual void ServicesRemoved(Manager *aManager, const zqRefObjectArray<Service> &aServices) = 0;
    virtual void ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef aChanged) = 0;

    /**
     *  The connection manager asks for credentials; answer, then or later,
     *  with Manager::ServiceCompleteInput or Manager::ServiceCancelInput.
     *
     *  @param[in]  aFields  The fields that are asked for.
     *  @returns 0; the result is not looked at.
     */
    virtual zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) = 0;

    /** @param[in]  anError  A kServiceError*, or another name that the connection manager gave. */
    virtual void ServiceError(Manager *aManager, Service *aService, CFStringRef anError) = 0;

    virtual void ServiceDidConnect(Manager *aManager, Service *aService)                     = 0;
    virtual void ServiceDidNotConnect(Manager *aManager, Service *aService, zqError anError) = 0;
    virtual void ServiceIsOnline(Manager *aManager, Service *aService)                       = 0;
    virtual void ServiceIsNotOnline(Manager *aManager, Service *aService, zqError anError)   = 0;

    /** The host is being woken. @param[in]  aReason  The low 8 bits of the radio's reason. */
    virtual void ServiceIsWaking(Manager *aManager, Service *aService, unsigned char aReason) = 0;

    /** The host has been woken. @param[in]  aReason  The low 8 bits of the radio's reason. */
    virtual void ServiceDidWake(Manager *aManager, Service *aService, unsigned char aReason) = 0;

    /** Nothing in this library raises it. */
    virtual void ServiceDidNotWake(Manager *aManager, Service *aService, zqError anError) = 0;

    virtual void TechnologiesAdded(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies)   = 0;
    virtual void TechnologiesRemoved(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) = 0;
    virtual void TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef aChanged)   = 0;
    virtual void TechnologyDidScan(Manager *aManager, Technology *aTechnology)                             = 0;
    virtual void TechnologyDidNotScan(Manager *aManager, Technology *aTechnology, zqError anError)         = 0;

    // Nothing in this library raises these: the host's sleep is the application's decision.

    virtual void DidPrepareForSleep(Manager *aManager)                     = 0;
    virtual void DidNotPrepareForSleep(Manager *aManager, zqError anError) = 0;
};

/** An observer that does nothing: override what is of interest. */
class ZQ_EXPORT Default : public Base
{
public:
    ~Default() override;

    void    StateChanged(Manager *aManager, CFStringRef aState) override;
    void    PropertiesChanged(Manager *aManager, CFDictionaryRef aProperties) override;
    void    ServicesAdded(Manager *aManager, const zqRefObjectArray<Service> &aServices) override;
    void    ServicesRemoved(Manager *aManager, const zqRefObjectArray<Service> &aServices) override;
    void    ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef aChanged) override;
    zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) override;
    void    ServiceError(Manager *aManager, Service *aService, CFStringRef anError) override;
    void    ServiceDidConnect(Manager *aManager, Service *aService) override;
    void    ServiceDidNotConnect(Manager *aManager, Service *aService, zqError anError) override;
    void    ServiceIsOnline(Manager *aManager, Service *aService) override;
    void    ServiceIsNotOnline(Manager *aManager, Service *aService, zqError anError) override;
    void    ServiceIsWaking(Manager *aManager, Service *aService, unsigned char aReason) override;
    void    ServiceDidWake(Manager *aManager, Service *aService, unsigned char aReason) override;
    void    ServiceDidNotWake(Manager *aManager, Service *aService, zqError anError) override;
    void    TechnologiesAdded(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) override;
    void    TechnologiesRemoved(Manager *aManager, const zqRefObjectArray<Technology> &aTechnologies) override;
    void    TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef aChanged) override;
    void    TechnologyDidScan(Manager *aManager, Technology *aTechnology) override;
    void    TechnologyDidNotScan(Manager *aManager, Technology *aTechnology, zqError anError) override;
    void    DidPrepareForSleep(Manager *aManager) override;
    void    DidNotPrepareForSleep(Manager *aManager, zqError anError) override;
};

} // namespace Observer

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_OBSERVER_H
