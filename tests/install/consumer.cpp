// Uses something of each subsystem's headers, and both libraries. Without a bus
// there is no manager, which is told and nothing more.

#include <zqconnman.h>
#include <zqhost.h>
#include <zqnetwork-connectivity.h>
#include <zqnetworkmanager-utilities.h>
#include <zqnetworkmanager.h>
#include <zqwpanctl.h>

#include <cstdio>
#include <memory>

int main()
{
    zqError                                            lError = zqError_None;
    const std::unique_ptr<zq::NetworkManager::Manager> lManager(zq::NetworkManager::CreateManager(lError, nullptr));

    std::printf("%s, %d\n", zqString(zq::NetworkManager::kServicePropertyName).GetAsUTFArray(), lError);
    return lManager == nullptr && lError != zqError_None ? 0 : 1;
}
