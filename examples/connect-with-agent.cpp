/**
 *  Connect to a network and give its passphrase when the daemon asks for it:
 *  connect-with-agent NAME, with the passphrase on standard input.
 *
 *  The manager is the daemon's agent by itself: all that an application does is
 *  to answer ServiceInput. A secret is kept for as long as it is needed, and
 *  never printed.
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

class Connector : public Observer::Default
{
public:
    explicit Connector(const char *aPassphrase) : mPassphrase(aPassphrase) {}

    zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) override
    {
        const void *lKey   = kServicePropertyPassphrase;
        const void *lValue = mPassphrase.GetAsCFString();

        // Anything but a passphrase, and a passphrase that was wrong before, ends the attempt.
        if (!CFDictionaryContainsKey(aFields, lKey) || mAnswered)
            return aManager->ServiceCancelInput(*aService);

        mAnswered = true;
        return aManager->ServiceCompleteInput(
            *aService, CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, &lKey, &lValue, 1,
                                                   &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks)));
    }

    void ServiceDidConnect(Manager *aManager, Service *) override { Finish(aManager, zqError_None); }
    void ServiceDidNotConnect(Manager *aManager, Service *, zqError anError) override { Finish(aManager, anError); }

    zqError mOutcome = zqError_Failed;

private:
    void Finish(Manager *aManager, zqError anOutcome)
    {
        mOutcome = anOutcome;
        aManager->Stop();
    }

    zqString mPassphrase;
    bool     mAnswered = false;
};

} // namespace

int main(int aCount, char **aWords)
{
    // A current ConnMan sends types that the device's own does not.
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);

    zqError                        lError = zqError_None;
    const zqString                 lName(aCount > 1 ? aWords[1] : "home");
    const std::unique_ptr<Manager> lManager(CreateManager(lError, nullptr));
    zqSharedPtr<Service>           lService;
    std::string                    lPassphrase;

    std::getline(std::cin, lPassphrase);
    Connector lConnector(lPassphrase.c_str());

    if (lManager != nullptr)
        lError = lManager->ManagerLookupService(CFURetain(lName.GetAsCFString()), lService);

    if (lError == zqError_None)
    {
        lManager->AddObserver(&lConnector);

        if (lManager->ServiceConnect(*lService) == zqError_None)
            lManager->Run();
        lManager->RemoveObserver(&lConnector);
    }

    printf("%s: %s\n", lName.GetAsUTFArray(), lConnector.mOutcome == zqError_None ? "connected" : "not connected");
    return lConnector.mOutcome == zqError_None ? 0 : 1;
}
