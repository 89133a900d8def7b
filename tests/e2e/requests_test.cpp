#include <cstdlib>
#include <functional>
#include <regex>

#include <sandbox.h>

#include "world.h"

using namespace zq::Test;

namespace
{

class Requests : public WorldTest
{
protected:
    struct Row
    {
        const char              *mName;
        std::function<zqError()> mRequest;
        zqError                  mResult;
        std::string              mEvent; // that it brings; none when empty
    };

    // A new object, whenever the technology was off.
    const Service &GetService()
    {
        mService = mManager.FindService(mName);
        return *mService;
    }

    std::string On(const char *anEvent, const std::string &aRest)
    {
        return std::string(anEvent) + " " + mName + " " + aRest;
    }

    void Make(const std::vector<Row> &aRows)
    {
        for (const Row &lRow : aRows)
        {
            SCOPED_TRACE(lRow.mName);
            mEvents.Clear();
            ASSERT_EQ(lRow.mRequest(), lRow.mResult);
            ASSERT_TRUE(lRow.mEvent.empty() || mEvents.WaitToFind(lRow.mEvent)) << lRow.mEvent;
        }
    }

    zqSharedPtr<Service> mService;
};

std::string ReadDaemonsLog()
{
    return ReadFile(std::string(std::getenv("ZQ_WORLD")) + "/connmand.log");
}

/** What the daemon said about files and their groups, but for what it says of every group that is no service. */
std::string GetComplaints(const std::string &aLog)
{
    static const std::regex kAbout("[^\n]*(onfig|roup|service|nvalid|nknown)[^\n]*\n");
    static const std::regex kHarmless("[^\n]*(Adding configuration quil|Ignore group named 'global')[^\n]*\n");
    std::string             lComplaints;

    for (std::sregex_iterator lLine(aLog.begin(), aLog.end(), kAbout), lEnd; lLine != lEnd; ++lLine)
        lComplaints += std::regex_replace(lLine->str(), kHarmless, "");
    return lComplaints;
}

} // namespace

TEST_F(Requests, AreCarriedOutAndRefusedAsTheDaemonSays)
{
    const auto kType        = CFURetain(kTechnologyTypeEthernet);
    const auto kAutoConnect = CFURetain(kServicePropertyAutoConnect);
    const auto kNameservers = CFURetain(kServicePropertyNameserversConfiguration);
    const auto kError       = CFURetain(kServicePropertyError);
    const auto kTrue        = CFURetain<CFTypeRef>(kCFBooleanTrue);
    const auto kFalse       = CFURetain<CFTypeRef>(kCFBooleanFalse);
    const auto kServers     = Strings({ "192.0.2.53" });
    const auto kNone        = Strings({});

    Make({
        { "Disable", [&] { return mManager->TechnologySetEnabled(kType, false); }, 0,
          "TechnologyChanged ethernet Powered=false" },
        { "DisableAgain", [&] { return mManager->TechnologySetEnabled(kType, false); }, zqError_Already, "" },
        { "Enable", [&] { return mManager->TechnologySetEnabled(kType, true); }, 0,
          On("ServiceChanged", "State=ready") },
        { "Disconnect", [&] { return mManager->ServiceDisconnect(GetService()); }, 0,
          On("ServiceChanged", "State=idle") },
        { "DisconnectAgain", [&] { return mManager->ServiceDisconnect(GetService()); }, zqError_NotConnected, "" },
        { "Connect", [&] { return mManager->ServiceConnect(GetService()); }, 0, "ServiceDidConnect " + mName },
        { "ConnectAgain", [&] { return mManager->ServiceConnect(GetService()); }, 0,
          On("ServiceDidNotConnect", "-22") },
        { "Remove", [&] { return mManager->ServiceRemove(GetService()); }, zqError_NotSupported, "" },
        { "Manual", [&] { return mManager->ServiceSetProperty(GetService(), kAutoConnect, kFalse); }, 0,
          On("ServiceChanged", "AutoConnect=false") },
        { "Automatic", [&] { return mManager->ServiceSetProperty(GetService(), kAutoConnect, kTrue); }, 0,
          On("ServiceChanged", "AutoConnect=true") },
        { "Nameservers", [&] { return mManager->ServiceSetProperty(GetService(), kNameservers, kServers); }, 0,
          On("ServiceChanged", "Nameservers.Configuration=[192.0.2.53]") },
        { "NoNameservers", [&] { return mManager->ServiceSetProperty(GetService(), kNameservers, kNone); }, 0,
          On("ServiceChanged", "Nameservers.Configuration=[]") },
        { "ClearError", [&] { return mManager->ServiceClearProperty(GetService(), kError); }, 0, "" },
        { "ClearAnother", [&] { return mManager->ServiceClearProperty(GetService(), kAutoConnect); },
          zqError_InvalidArgument, "" },
        { "OnlineCheck", [&] { return mManager->TechnologyOnlineCheck(kType); }, 0, On("ServiceIsNotOnline", "-7002") },
    });
}

TEST_F(Requests, AProvisioningFileIsAppliedWithoutAComplaint)
{
    const std::size_t      lStart   = ReadDaemonsLog().size();
    const auto             kRecord  = Dict({ { kServicePropertyProvisionIdentifier, "service_cable" },
                                             { kServicePropertyType, CFURetain(kServiceTypeEthernet) },
                                             { kServicePropertyNameservers, "192.0.2.54" } });
    const auto             kDomains = CFURetain(kServicePropertyDomainsConfiguration);
    zqSharedPtr<Provision> lProvision;

    Make({ { "Create", [&] { return mManager->ProvisionCreate(kRecord, lProvision); }, 0,
             On("ServiceChanged", "Immutable=true") } });
    EXPECT_TRUE(mEvents.WaitToFind(On("ServiceChanged", "Nameservers=[192.0.2.54]")));
    EXPECT_EQ(GetComplaints(ReadDaemonsLog().substr(lStart)), "");

    Make({
        { "SetImmutable", [&] { return mManager->ServiceSetProperty(GetService(), kDomains, Strings({})); },
          zqError_NotSupported, "" },
        { "Remove", [&] { return mManager->ProvisionRemoveAll(); }, 0, On("ServiceChanged", "Immutable=false") },
    });

    // The daemon leaves it alone from here on, until the cable is pulled.
    ASSERT_TRUE(World("cable down"));
    EXPECT_TRUE(mEvents.WaitFor("ServicesRemoved " + mName));
}
