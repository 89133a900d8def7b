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

struct Connector : Observer::Default
{
    zqError ServiceInput(Manager *aManager, Service *aService, CFDictionaryRef aFields) override
    {
        const auto lInput = CFUDictionary({ { kServicePropertyPassphrase, mPassphrase } });

        // Anything but a passphrase, and a passphrase that was wrong before, ends the attempt.
        if (!CFDictionaryContainsKey(aFields, kServicePropertyPassphrase) || std::exchange(mAnswered, true))
            return aManager->ServiceCancelInput(*aService);
        return aManager->ServiceCompleteInput(*aService, lInput);
    }

    void ServiceDidConnect(Manager *aManager, Service *) override { Finish(aManager, zqError_None); }
    void ServiceDidNotConnect(Manager *aManager, Service *, zqError anError) override { Finish(aManager, anError); }

    void Finish(Manager *aManager, zqError anOutcome)
    {
        mOutcome = anOutcome;
        aManager->Stop();
    }

    std::string mPassphrase;
    bool        mAnswered = false;
    zqError     mOutcome  = zqError_None;
};

int main(int aCount, char **aWords)
{
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant); // a current ConnMan sends more types than the device's own

    zqError                        lReturn = zqError_None;
    const std::string              lName   = aCount > 1 ? aWords[1] : "home";
    Connector                      lConnector;
    zqSharedPtr<Service>           lService;
    const std::unique_ptr<Manager> lManager(CreateManager(lReturn, nullptr));

    std::getline(std::cin, lConnector.mPassphrase);
    if (lManager != nullptr)
        lReturn = lManager->ManagerLookupService(CFUString(lName), lService);
    if (lReturn == zqError_None)
    {
        lManager->AddObserver(&lConnector);
        lReturn = lManager->ServiceConnect(*lService);
    }
    if (lReturn == zqError_None)
    {
        lManager->Run();
        lReturn = lConnector.mOutcome;
    }

    printf("%s: %s\n", lName.c_str(), lReturn == zqError_None ? "connected" : zqErrorText(lReturn));
    return lReturn == zqError_None ? 0 : 1;
}
