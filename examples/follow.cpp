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

struct Printer : Observer::Default
{
    using Services = zqRefObjectArray<Service>;

    void StateChanged(Manager *, CFStringRef aState) override
    {
        printf("the network is %s\n", CFUText(aState).c_str());
    }

    void ServicesAdded(Manager *, const Services &aServices) override { Print("+", aServices); }
    void ServicesRemoved(Manager *, const Services &aServices) override { Print("-", aServices); }

    void ServiceChanged(Manager *, Service *aService, CFDictionaryRef) override
    {
        printf("  %s is %s\n", CFUText(aService->GetName()).c_str(), CFUText(aService->GetState()).c_str());
    }

    static void Print(const char *aMark, const Services &aServices)
    {
        for (const Service *lService : aServices)
            printf("%s %s\n", aMark, CFUText(lService->GetName()).c_str());
    }
};

int main()
{
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant); // a current ConnMan sends more types than the device's own

    zqError  lReturn = zqError_None;
    Printer  lPrinter;
    sigset_t lSignals;

    // Threads inherit the mask, so it is set before the manager makes any.
    sigemptyset(&lSignals);
    sigaddset(&lSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &lSignals, nullptr);

    const std::unique_ptr<Manager> lManager(CreateManager(lReturn, nullptr));
    if (lManager == nullptr)
        return fprintf(stderr, "no manager: %s\n", zqErrorText(lReturn)), 1;

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
    return 0;
}
