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

namespace
{

/** Keeps one technology, and logs for it. */
class Keeper : public zqIEventHandler
{
public:
    explicit Keeper(const char *aType) : mType(aType) {}

    zqError Start(Manager &aManager, zqEventQueue &aQueue)
    {
        zqStringArray lTypes;
        zqError       lError = lTypes.Append(mType);

        if (lError == zqError_None)
            lError = mController.Init(&aManager, &aQueue, lTypes);
        if (lError == zqError_None)
            lError = mController.Subscribe(&aQueue, this, mType);
        if (lError == zqError_None)
            lError = aManager.Subscribe(&aQueue, &mController, mType);

        // Failing now is no reason to end: it is tried again when the technology appears or changes.
        (void)mController.SetPowered(true);
        Log(mController.IsConnected());
        return lError;
    }

    void HandleEvent(zqEvent *anEvent) override
    {
        const auto *lEvent = static_cast<const zqNetworkEvent::Connected *>(anEvent);

        if (anEvent->GetType() == zqNetworkEvent::Connected::kType && lEvent->IsChange())
            Log(lEvent->IsConnected());
    }

private:
    void Log(bool aConnected) const { printf("%s: %s\n", mType, aConnected ? "connected" : "disconnected"); }

    const char           *mType;
    zqNetworkConnectivity mController;
};

/** The keepers live on the thread that drains the queue: they end there while the manager may still publish. */
void Keep(Manager &aManager, zqEventQueue &aQueue)
{
    Keeper lKeepers[] = { Keeper("wifi"), Keeper("ethernet") };

    for (Keeper &lKeeper : lKeepers)
        if (const zqError lError = lKeeper.Start(aManager, aQueue); lError != zqError_None)
            fprintf(stderr, "not kept: error %d\n", lError);

    while (aQueue.Dispatch())
    {
        PRPollDesc lPoll = { aQueue.GetPoller(), PR_POLL_READ, 0 };
        (void)PR_Poll(&lPoll, 1, PR_INTERVAL_NO_TIMEOUT);
    }
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

    std::thread lThread([&] { Keep(*lManager, lQueue); });

    lManager->Run();
    (void)lQueue.Exit();
    lThread.join();
    return 0;
}
