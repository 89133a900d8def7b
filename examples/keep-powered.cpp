/**
 *  Keep Wi-Fi and Ethernet powered, whoever switches them off, and log each
 *  change of connectivity.
 *
 *  A controller is content while any of its technologies is powered: one each
 *  keeps both. Their requests wait for the daemon, so their events are handled
 *  on a thread of the application, and the manager's loop goes on meanwhile.
 */

#include <zqconnman.h>
#include <zqnetwork-connectivity.h>
#include <zqnetworkmanager.h>

#include <cstdio>
#include <memory>
#include <thread>

using namespace zq::NetworkManager;

/** Keeps one technology, and logs for it. */
struct Keeper : zqIEventHandler
{
    Keeper(Manager &aManager, zqEventQueue &aQueue, const char *aType) : mType(aType)
    {
        zqStringArray lTypes;
        zqError       lReturn = lTypes.Append(mType);

        if (lReturn == zqError_None)
            lReturn = mController.Init(&aManager, &aQueue, lTypes);
        if (lReturn == zqError_None)
            lReturn = mController.Subscribe(&aQueue, this, mType);
        if (lReturn == zqError_None)
            lReturn = aManager.Subscribe(&aQueue, &mController, mType);

        // Failing now is no reason to end: it is tried again when the technology appears or changes.
        (void)mController.SetPowered(true);
        printf("%s: %s, %s\n", mType, zqErrorText(lReturn), mController.IsConnected() ? "connected" : "disconnected");
    }

    void HandleEvent(zqEvent *anEvent) override
    {
        const auto *lEvent = static_cast<const zqNetworkEvent::Connected *>(anEvent);

        if (anEvent->GetType() == zqNetworkEvent::Connected::kType && lEvent->IsChange())
            printf("%s: %s\n", mType, lEvent->IsConnected() ? "connected" : "disconnected");
    }

    const char           *mType;
    zqNetworkConnectivity mController;
};

/** The keepers live on the thread that drains the queue: they end there while the manager may still publish. */
void Keep(Manager &aManager, zqEventQueue &aQueue)
{
    Keeper lWiFi(aManager, aQueue, "wifi"), lEthernet(aManager, aQueue, "ethernet");

    while (aQueue.Dispatch())
    {
        PRPollDesc lPoll = { aQueue.GetPoller(), PR_POLL_READ, 0 };
        (void)PR_Poll(&lPoll, 1, PR_INTERVAL_NO_TIMEOUT);
    }
}

int main()
{
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant); // a current ConnMan sends more types than the device's own

    zqError                        lReturn = zqError_None;
    zqEventQueue                   lQueue;
    const std::unique_ptr<Manager> lManager(CreateManager(lReturn, nullptr));

    if (lManager == nullptr || (lReturn = lQueue.Init()) != zqError_None)
        return fprintf(stderr, "no manager: %s\n", zqErrorText(lReturn)), 1;

    std::thread lThread([&] { Keep(*lManager, lQueue); });

    lManager->Run();
    (void)lQueue.Exit();
    lThread.join();
    return 0;
}
