/**
 *  Follow the network: print the state, the services and their changes as they
 *  come, until Ctrl-C.
 *
 *  The manager tells an observer first what there is already, then every
 *  change. The daemon may come, go and come again meanwhile.
 */

#include <zqconnman.h>
#include <zqnetworkmanager.h>

#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

using namespace zq::NetworkManager;

namespace
{

class Printer : public Observer::Default
{
public:
    void StateChanged(Manager *, CFStringRef aState) override
    {
        printf("the network is %s\n", zqString(aState).GetAsUTFArray());
    }

    void ServicesAdded(Manager *, const zqRefObjectArray<Service> &aServices) override { Print("+", aServices); }
    void ServicesRemoved(Manager *, const zqRefObjectArray<Service> &aServices) override { Print("-", aServices); }

    void ServiceChanged(Manager *, Service *aService, CFDictionaryRef) override
    {
        printf("  %s is %s\n", zqString(aService->GetName()).GetAsUTFArray(),
               zqString(aService->GetState()).GetAsUTFArray());
    }

private:
    static void Print(const char *aMark, const zqRefObjectArray<Service> &aServices)
    {
        for (int lIndex = 0; lIndex < aServices.GetNumElements(); lIndex++)
            printf("%s %s\n", aMark, zqString(aServices.GetElement(lIndex)->GetName()).GetAsUTFArray());
    }
};

} // namespace

int main()
{
    // A current ConnMan sends types that the device's own does not.
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);

    zqError  lError = zqError_None;
    Printer  lPrinter;
    sigset_t lSignals;

    // Threads inherit the mask, so it is set before the manager makes any.
    sigemptyset(&lSignals);
    sigaddset(&lSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &lSignals, nullptr);

    const std::unique_ptr<Manager> lManager(CreateManager(lError, nullptr));

    if (lManager == nullptr)
    {
        fprintf(stderr, "no manager: error %d\n", lError);
        return 1;
    }

    std::thread lStopper(
        [&]
        {
            int lSignal = 0;
            sigwait(&lSignals, &lSignal);
            lManager->Stop();
        });

    lManager->AddObserver(&lPrinter);
    lManager->Run();
    lStopper.join();
    lManager->RemoveObserver(&lPrinter);
    return 0;
}
