/**
 *  Keep Wi-Fi and Ethernet powered, whoever switches them off, and log each
 *  change of connectivity.
 *
 *  The controller's requests wait for the daemon. So its events are handled on
 *  a thread of the application, and the manager's loop goes on meanwhile.
 */

#include <zqconnman.h>
#include <zqnetwork-connectivity.h>
#include <zqnetworkmanager.h>

#include <cstdio>
#include <memory>
#include <thread>

using namespace zq::NetworkManager;

namespace
{

class ChangeLogger : public zqIEventHandler
{
public:
    void HandleEvent(zqEvent *anEvent) override
    {
        if (anEvent->GetType() != zqNetworkEvent::Connected::kType)
            return;

        const auto *lEvent = static_cast<const zqNetworkEvent::Connected *>(anEvent);

        if (lEvent->IsChange())
            printf("%s\n", lEvent->IsConnected() ? "connected" : "disconnected");
    }
};

void Control(Manager &aManager, zqEventQueue &aQueue)
{
    zqNetworkConnectivity lController;
    ChangeLogger          lLogger;
    zqStringArray         lTypes;

    (void)lTypes.Append("wifi");
    (void)lTypes.Append("ethernet");

    zqError lError = lController.Init(&aManager, &aQueue, lTypes);

    if (lError == zqError_None)
        lError = lController.Subscribe(&aQueue, &lLogger, "log");
    if (lError == zqError_None)
        lError = aManager.Subscribe(&aQueue, &lController, "connectivity");

    // Failing now is no reason to end: it is tried again when a technology appears or changes.
    (void)lController.SetPowered(true);
    printf("%s (%d)\n", lController.IsConnected() ? "connected" : "disconnected", lError);

    while (aQueue.Dispatch())
    {
        PRPollDesc lPoll = { aQueue.GetPoller(), PR_POLL_READ, 0 };
        (void)PR_Poll(&lPoll, 1, PR_INTERVAL_NO_TIMEOUT);
    }
    lController.Destroy(); // on the thread that drains the queue: the manager may still publish
}

} // namespace

int main()
{
    // A current ConnMan sends types that the device's own does not.
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);

    zqError                        lError = zqError_None;
    zqEventQueue                   lQueue;
    const std::unique_ptr<Manager> lManager(CreateManager(lError, nullptr));

    if (lManager == nullptr || (lError = lQueue.Init()) != zqError_None)
    {
        fprintf(stderr, "no manager: error %d\n", lError);
        return 1;
    }

    std::thread lThread([&] { Control(*lManager, lQueue); });

    lManager->Run();
    (void)lQueue.Exit();
    lThread.join();
    return 0;
}
