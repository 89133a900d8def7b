/**
 *  @file
 *    The connectivity controller: one policy for a set of technologies.
 */

#ifndef ZQNETWORK_CONNECTIVITY_H
#define ZQNETWORK_CONNECTIVITY_H

#include <zqevent.h>
#include <zqnetwork-event.h>
#include <zqnetworkmanager-event.h>
#include <zqnetworkmanager-manager.h>
#include <zqstring.h>
#include <zqtribool.h>

#include <prlock.h>

/**
 *  Keeps a set of technologies powered, or not, as the application desires, and
 *  tells whether any of them is connected.
 *
 *  The application subscribes it to the manager, with the queue that Init was
 *  given and no other (it is that subscription that Destroy ends), and drains the
 *  queue:
 *
 *  @code
 *  lController.Init(lManager, &lQueue, lTypes);
 *  lManager->Subscribe(&lQueue, &lController, "connectivity");
 *  lController.SetPowered(true);
 *
 *  while (lQueue.Dispatch()) ... // wait for lQueue.GetPoller()
 *  @endcode
 *
 *  The set is powered, or connected, while any of its technologies is: one that
 *  is off while another is on stays off. A controller each guards each alone.
 *
 *  It follows the manager's events: whenever a technology appears or its power
 *  changes, the power is found out anew and the desired state applied again;
 *  whenever one connects or disconnects, its connected services are given their
 *  IP configuration and a zqNetworkEvent::Connected is posted. Nothing else is
 *  followed. When a technology of the set is removed, the controller stays as it
 *  is until one of those happens, or Refresh is called; the same when one appears
 *  that is connected already.
 *
 *  Threads. Between Init and Destroy every operation may be called from any
 *  thread, also from inside an observer callback of the manager. One lock guards
 *  the state. It is held while the connection manager is asked to power the
 *  technologies, which may take as long as its answers do (35 seconds each at
 *  most), and every other operation waits then: an observer callback that uses
 *  the controller may hold up the manager's loop for that long. Events are
 *  posted without the lock, so recalculations on two threads may post in either
 *  order; those on the thread that drains the queue are in order.
 *
 *  Life. The manager and the queue must outlive it, or its Destroy. Destroy it
 *  on the thread that drains the queue: the manager may go on publishing.
 */
class ZQ_EXPORT zqNetworkConnectivity : public zqEventPublisher, public zqIEventHandler
{
public:
    zqNetworkConnectivity() noexcept;
    ~zqNetworkConnectivity() override;

    /**
     *  Find out the state and post a first Connected, which is a change; give
     *  the services that are connected already their IP configuration.
     *
     *  @param[in]  aManager       Whom to drive.
     *  @param[in]  aQueue         Where events are enqueued, for no handler in
     *                             particular, and where the manager's come from.
     *  @param[in]  aTechnologies  Types, such as "wifi"; copied. An empty list is
     *                             logged as an assertion: such a controller is
     *                             never powered and never connected.
     *
     *  @retval   0
     *  @retval  -2  Memory is exhausted.
     *  @retval  -3  A second Init; the controller is as it was.
     *  @retval  -5  The manager or the queue is null.
     *  @retval  -7  A lock cannot be created.
     *  @returns what Refresh or Start fails with.
     *           With any failure but -3 it is not initialised, though a Connected
     *           may have been posted.
     */
    zqError Init(zq::NetworkManager::Manager *aManager, zqEventQueue *aQueue, const zqStringArray &aTechnologies);

    /**
     *  Check the connected services of every technology of the list that the
     *  manager knows. Init does it.
     *
     *  @retval 0, or the first failure of CheckTechnologyConnectedServices.
     */
    zqError Start();

    /** Subscribe a handler to the events that are posted from here on. @retval as zqEventPublisher::Subscribe. */
    zqError Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName) override;

    /**
     *  Undo Init, and unsubscribe from the manager: the manager's events that
     *  still wait for this handler in the queue of Init are dropped. Safe to
     *  call twice; nothing else may overlap it.
     */
    void Destroy();

    /** Whether any technology was connected when that was found out last; false once power could not be applied. */
    bool IsConnected() const;

    /** Whether any technology was powered when that was found out last; false once power could not be applied. */
    bool IsPowered() const;

    /**
     *  Set the desired powered state, apply it to each technology in the list's
     *  order, and refresh. Blocks until the connection manager has answered.
     *
     *  A technology that a network reset will remove is left out. The first one
     *  that fails ends it; it is tried again with the next change of power.
     *
     *  @retval    0  Also when each was in that state already.
     *  @retval   -3  Not initialised.
     *  @retval  -15  It is to be powered, and there are no technologies in the list.
     *  @retval  -17  The connection manager has no technology of a type.
     *  @returns what Manager::TechnologySetEnabled fails with otherwise.
     */
    zqError SetPowered(bool aPowered);

    /** Find out the state: RecalculatePowered(false), then RecalculateConnected. @retval as those. */
    zqError Refresh();

    /**
     *  Find out whether any technology is powered.
     *
     *  @param[in]  anApply  Apply the desired state when it differs.
     *
     *  @retval 0, -3 when not initialised, or what applying fails with, as SetPowered.
     */
    zqError RecalculatePowered(bool anApply);

    /**
     *  Find out which technologies are connected, and post a Connected in every
     *  case: to the queue, and to each subscriber.
     *
     *  @retval   0  Also when a queue did not take the event, which is logged.
     *  @retval  -2  Memory is exhausted; nothing was posted, and the state is as
     *               it was found out before.
     *  @retval  -3  Not initialised.
     */
    zqError RecalculateConnected();

    /** True when the technology is of one of the types. */
    bool IsConnectivityTechnology(const zq::NetworkManager::Technology &aTechnology) const;

    /**
     *  Have a service configure IPv6 automatically when it has another method,
     *  and check that it uses DHCP for IPv4; another method of IPv4 is only
     *  logged, as is a failure to set IPv6. May block as SetPowered does,
     *  without the lock.
     *
     *  @retval 0, -2 when memory is exhausted, -3 when not initialised.
     */
    zqError SetIPConfiguration(const zq::NetworkManager::Service &aService);

    /** SetIPConfiguration for every connected service of a technology. @retval 0, -3 when not initialised, or what
     * Manager::GetServices fails with. */
    zqError CheckTechnologyConnectedServices(const zq::NetworkManager::Technology &aTechnology);

    // The manager's events, on the thread that drains the queue

    /** The queue's entry: as below, without the result. */
    void HandleEvent(zqEvent *anEvent) override;

    /** Handle an event of the manager; any other is ignored. @retval 0, or what handling it failed with. */
    zqError HandleEvent(const zqEvent *anEvent);

    zqError HandleNetworkManagerEvent(const zqEvent *anEvent);
    zqError HandleNetworkTechnologiesAdded(const zq::NetworkManager::Event::TechnologiesAdded *anEvent);
    zqError HandleNetworkTechnologyChanged(const zq::NetworkManager::Event::TechnologyChanged *anEvent);
    zqError HandleNetworkTechnologyPoweredChanged(const zq::NetworkManager::Technology &aTechnology, bool aPowered);
    zqError HandleNetworkTechnologyConnectedChanged(const zq::NetworkManager::Technology &aTechnology, bool aConnected);

private:
    void    SetCurrentPoweredState(bool aPowered);
    void    SetCurrentConnectedState(bool aConnected);
    zqError CheckAndApplyPoweredLocked();
    zqError ApplyPoweredLocked(const zqString &aType, bool aPowered);
    void    Post(zqEvent &anEvent);

    // The manager, the queue and the list stay the same from Init to Destroy.
    PRLock                      *mLock;
    zq::NetworkManager::Manager *mManager;
    zqEventQueue                *mEventQueue;
    zqTribool                    mCurrentConnected;
    zqTribool                    mDesiredPowered;
    bool                         mCurrentPowered;
    uint32_t                     mFailureCounter;
    zqStringArray                mTechnologies;
};

#endif // ZQNETWORK_CONNECTIVITY_H
