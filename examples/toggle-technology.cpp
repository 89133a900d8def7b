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

using namespace zq::NetworkManager;

namespace
{

class PowerObserver : public Observer::Default
{
public:
    PowerObserver(const Technology *aTechnology, bool aWanted) : mTechnology(aTechnology), mWanted(aWanted) {}

    void TechnologyChanged(Manager *aManager, Technology *aTechnology, CFDictionaryRef) override
    {
        if (*aTechnology == *mTechnology && CFUIsTrue(aTechnology->IsPowered()) == mWanted)
            aManager->Stop();
    }

private:
    const Technology *mTechnology;
    bool              mWanted;
};

} // namespace

int main(int aCount, char **aWords)
{
    // A current ConnMan sends types that the device's own does not.
    zqConnMan::SetDecoding(zqConnMan::kDecodingTolerant);

    zqError                        lError = zqError_None;
    const zqString                 lType(aCount > 1 ? aWords[1] : "wifi");
    const std::unique_ptr<Manager> lManager(CreateManager(lError, nullptr));
    zqSharedPtr<Technology>        lTechnology;

    if (lManager != nullptr)
        lError = lManager->ManagerLookupTechnology(CFURetain(lType.GetAsCFString()), lTechnology);

    if (lError != zqError_None)
    {
        fprintf(stderr, "no technology %s: error %d\n", lType.GetAsUTFArray(), lError);
        return 1;
    }

    const bool    lWanted = !CFUIsTrue(lTechnology->IsPowered());
    PowerObserver lObserver(lTechnology.Get(), lWanted);

    // Observing before asking: the event may be there before the answer.
    lManager->AddObserver(&lObserver);
    lError = lManager->TechnologySetEnabled(*lTechnology, lWanted);

    if (lError == zqError_None)
        lManager->Run();

    lManager->RemoveObserver(&lObserver);
    printf("%s: %s (%d)\n", lType.GetAsUTFArray(), lError != zqError_None ? "refused" : lWanted ? "on" : "off", lError);
    return lError == zqError_None ? 0 : 1;
}
