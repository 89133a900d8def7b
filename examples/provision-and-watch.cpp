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

namespace
{

class Watcher : public Observer::Default
{
public:
    explicit Watcher(const zqString &aName) : mName(aName) {}

    void ServiceChanged(Manager *aManager, Service *aService, CFDictionaryRef) override
    {
        if (zqString(aService->GetName()) != mName)
            return;

        printf("%s is %s\n", mName.GetAsUTFArray(), zqString(aService->GetState()).GetAsUTFArray());
        if (aService->IsConnected())
            aManager->Stop();
    }

private:
    zqString mName;
};

zqError Store(Manager &aManager, const zqString &aName, const zqString &aPassphrase)
{
    const zqString         lIdentifier = zqString("service_") + aName;
    zqSharedPtr<Provision> lProvision;
    const void            *lKeys[] = { kServicePropertyProvisionIdentifier, kServicePropertyType, kServicePropertyName,
                                       kServicePropertyPassphrase };
    const void            *lValues[] = { lIdentifier.GetAsCFString(), kServiceTypeWiFi, aName.GetAsCFString(),
                                         aPassphrase.GetAsCFString() };

    const zqError lError = aManager.ProvisionCreate(
        CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, lKeys, lValues, 4, &kCFTypeDictionaryKeyCallBacks,
                                    &kCFTypeDictionaryValueCallBacks)),
        lProvision);

    // The record is the manager's; whether it is stored is asked.
    return lError != zqError_None ? lError : aManager.GetProvisionsError();
}

} // namespace

int main(int aCount, char **aWords)
{
    // A current ConnMan sends types that the device's own does not.
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);

    zqError                        lError = zqError_None;
    const zqString                 lName(aCount > 1 ? aWords[1] : "home");
    const std::unique_ptr<Manager> lManager(CreateManager(lError, nullptr));
    Watcher                        lWatcher(lName);
    std::string                    lPassphrase;

    std::getline(std::cin, lPassphrase);

    if (lManager != nullptr)
        lError = Store(*lManager, lName, lPassphrase.c_str());

    if (lError != zqError_None)
    {
        fprintf(stderr, "not stored: error %d\n", lError);
        return 1;
    }

    lManager->AddObserver(&lWatcher);
    lManager->Run();
    lManager->RemoveObserver(&lWatcher);
    return 0;
}
