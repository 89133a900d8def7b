/**
 *  Switch a technology off when it is on, or on when it is off, and wait for
 *  the event that says so: toggle-technology wifi
 *
 *  A request only carries the wish to the daemon. The model changes when the
 *  daemon reports the change, and an observer is told then.
 */

#include <zqconnman.h>
#include <zqnetworkmanager.h>

#include <cstdio>
#include <memory>
#include <string>

using namespace zq::NetworkManager;

struct PowerObserver : Observer::Default
{
    void TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef) override
    {
        if (*aTechnology == *mTechnology && CFUIsTrue(aTechnology->IsPowered()) == mWanted)
            aManager->Stop();
    }

    zqSharedPtr<Technology> mTechnology;
    bool                    mWanted = false;
};

int main(int aCount, char **aWords)
{
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant); // a current ConnMan sends more types than the device's own

    zqError                        lReturn = zqError_None;
    const std::string              lType   = aCount > 1 ? aWords[1] : "wifi";
    PowerObserver                  lObserver;
    const std::unique_ptr<Manager> lManager(CreateManager(lReturn, nullptr));

    if (lManager != nullptr)
        lReturn = lManager->ManagerLookupTechnology(CFUString(lType), lObserver.mTechnology);
    if (lReturn == zqError_None)
    {
        lObserver.mWanted = !CFUIsTrue(lObserver.mTechnology->IsPowered());

        // Observing before asking: the event may be there before the answer.
        lManager->AddObserver(&lObserver);
        lReturn = lManager->TechnologySetEnabled(*lObserver.mTechnology, lObserver.mWanted);
    }
    if (lReturn == zqError_None)
        lManager->Run();

    printf("%s: %s\n", lType.c_str(),
           lReturn != zqError_None ? zqErrorText(lReturn)
           : lObserver.mWanted     ? "on"
                                   : "off");
    return lReturn == zqError_None ? 0 : 1;
}
