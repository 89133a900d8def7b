/**
 *  Give every Wi-Fi and cellular service a routing table of its own while it is
 *  connected, so that each is reachable whichever has the default route.
 *
 *  The device's script is waited for, so this is done on a thread of the
 *  application that gets the manager's events from a queue.
 */

#include <zqconnman.h>
#include <zqnetworkmanager.h>

#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <thread>

using namespace zq::NetworkManager;

struct Router : zqIEventHandler
{
    void HandleEvent(zqEvent *anEvent) override
    {
        const unsigned int        lType = anEvent->GetType();
        zqRefObjectArray<Service> lServices;

        if (lType == Event::ServiceChanged::kType)
            (void)lServices.Append(static_cast<Event::ServiceChanged *>(anEvent)->GetService());
        else if (lType == Event::ServicesAdded::kType || lType == Event::ServicesRemoved::kType)
            (void)static_cast<Event::ServicesChanged *>(anEvent)->GetServices(lServices);

        for (const Service *lService : lServices)
            if (lService != nullptr)
                Follow(*lService, lType != Event::ServicesRemoved::kType && lService->IsConnected());
    }

    void Follow(const Service &aService, bool aConnected)
    {
        const std::string lPath   = CFUText(aService.GetPath());
        const bool        lRouted = mRouted.count(lPath) != 0;

        // One without an address yet (-1) is tried again when it changes; one of another type fails with -5.
        if (aConnected && !lRouted && aService.CreatePolicyRouteTable() == zqError_None)
            printf("routes created: %s\n", mRouted.insert(lPath).first->c_str());
        else if (!aConnected && lRouted && aService.RemovePolicyRouteTable() == zqError_None)
        {
            printf("routes removed: %s\n", lPath.c_str());
            (void)mRouted.erase(lPath);
        }
    }

    std::set<std::string> mRouted; // paths
};

int main()
{
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant); // a current ConnMan sends more types than the device's own

    zqError                        lReturn = zqError_None;
    zqEventQueue                   lQueue;
    Router                         lRouter;
    const std::unique_ptr<Manager> lManager(CreateManager(lReturn, nullptr));

    if (lManager == nullptr || (lReturn = lQueue.Init()) != zqError_None ||
        (lReturn = lManager->Subscribe(&lQueue, &lRouter, "router")) != zqError_None)
        return fprintf(stderr, "no manager: %s\n", zqErrorText(lReturn)), 1;

    std::thread lThread(
        [&]
        {
            while (lQueue.Dispatch())
            {
                PRPollDesc lPoll = { lQueue.GetPoller(), PR_POLL_READ, 0 };
                (void)PR_Poll(&lPoll, 1, PR_INTERVAL_NO_TIMEOUT);
            }
        });

    lManager->Run();
    (void)lManager->Unsubscribe(&lQueue, &lRouter);
    (void)lQueue.Exit();
    lThread.join();
    return 0;
}
