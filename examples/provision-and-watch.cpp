/**
 *  Store a network and watch it connect without being asked to:
 *  provision-and-watch NAME, with the passphrase on standard input.
 *
 *  A provision is kept in the daemon's configuration file. When a network of
 *  that name is in reach, the daemon connects it by itself.
 */

#include <zqconnman.h>
#include <zqnetworkmanager.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

using namespace zq::NetworkManager;

struct Watcher : Observer::Default
{
    void ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef) override
    {
        if (CFUText(aService->GetName()) != mName)
            return;

        printf("%s is %s\n", mName.c_str(), CFUText(aService->GetState()).c_str());
        if (aService->IsConnected())
            aManager->Stop();
    }

    std::string mName;
};

int main(int aCount, char **aWords)
{
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant); // a current ConnMan sends more types than the device's own

    zqError                        lReturn = zqError_None;
    Watcher                        lWatcher;
    zqSharedPtr<Provision>         lProvision;
    std::string                    lPassphrase;
    const std::unique_ptr<Manager> lManager(CreateManager(lReturn, nullptr));

    lWatcher.mName = aCount > 1 ? aWords[1] : "home";
    std::getline(std::cin, lPassphrase);

    if (lManager != nullptr)
        lReturn = lManager->ProvisionCreate(
            CFUDictionary({ { kServicePropertyProvisionIdentifier, "service_" + lWatcher.mName },
                            { kServicePropertyType, kServiceTypeWiFi },
                            { kServicePropertyName, lWatcher.mName },
                            { kServicePropertyPassphrase, lPassphrase } }),
            lProvision);

    // The record is the manager's; whether it is stored is asked.
    if (lReturn == zqError_None)
        lReturn = lManager->GetProvisionsError();
    if (lReturn != zqError_None)
        return fprintf(stderr, "not stored: %s\n", zqErrorText(lReturn)), 1;

    lManager->AddObserver(&lWatcher);
    lManager->Run();
    return 0;
}
