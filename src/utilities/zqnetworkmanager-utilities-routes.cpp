/**
 *  @file
 *    IP rules and routes through the device's script, and the policy routes of a service.
 */

#include <zqnetworkmanager-utilities.h>

#include "zqnetworkmanager-utilities-text.h"

#include <zqcommandexec.h>
#include <zqlog.h>

#include <cstdio>
#include <cstring>

#include <arpa/inet.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-utilities"

namespace zq::NetworkManager
{

namespace
{

const char kScript[] = "/corvanix/sbin/networking-ip-rules";

/** One run of the script; null for what is not given. */
struct Run
{
    const char *mAction;
    const char *mTable       = nullptr;
    const char *mSource      = nullptr;
    const char *mDestination = nullptr;
    const char *mGateway     = nullptr;
    const char *mInterface   = nullptr;
    bool        mUFlag       = false;
};

zqError AppendArgument(zqStringArray &aArguments, const char *aText)
{
    zqString      lText;
    const zqError lReturn = Utilities::MakeText(aText, lText);

    return lReturn == zqError_None ? aArguments.Append(lText) : lReturn;
}

zqError GetArguments(const Run &aRun, zqStringArray &aArguments)
{
    const struct
    {
        const char *mName;
        const char *mValue;
    } lOptions[] = {
        { "-r", aRun.mTable },   { "-s", aRun.mSource },    { "-d", aRun.mDestination },
        { "-g", aRun.mGateway }, { "-i", aRun.mInterface },
    };
    zqError lReturn = AppendArgument(aArguments, aRun.mAction);

    for (const auto &lOption : lOptions)
    {
        if (lReturn == zqError_None && lOption.mValue != nullptr)
            lReturn = AppendArgument(aArguments, lOption.mName);
        if (lReturn == zqError_None && lOption.mValue != nullptr)
            lReturn = AppendArgument(aArguments, lOption.mValue);
    }

    return lReturn == zqError_None && aRun.mUFlag ? AppendArgument(aArguments, "-u") : lReturn;
}

zqError RunScript(const Run &aRun)
{
    zqStringArray lArguments;
    zqString      lScript;
    int           aExitCode = -1;

    if (!ZQ_CHECK_TEXT(aRun.mAction != NULL, "aAction") || !ZQ_CHECK_TEXT(aRun.mTable != NULL, "aRoutingTable"))
        return zqError_InvalidArgument;

    zqError lReturn = Utilities::MakeText(kScript, lScript);

    if (lReturn == zqError_None)
        lReturn = GetArguments(aRun, lArguments);

    if (lReturn != zqError_None)
        return lReturn;

    // Otherwise only the exit status counts, and it is none when the script did not run.
    if (zqCommandExec(lScript, lArguments, aExitCode) == zqError_OutOfMemory)
        return zqError_OutOfMemory;
    ZQ_REQUIRE((aExitCode == 0), zqError_Failed);

    return zqError_None;
}

/** The network of a host, such as "10.0.0.0/24"; empty when the address or the mask is none. */
class NetworkText
{
public:
    NetworkText(const zqString &aHostAddress, const zqString &aNetmask)
    {
        in_addr lAddress;
        in_addr lMask;

        ZQ_LOG(zqLogLevel_Detail, "GetNetworkAddress aNetmask is %s", aNetmask.GetAsUTFArray());
        ZQ_LOG(zqLogLevel_Detail, "GetNetworkAddress aHostAddress is %s", aHostAddress.GetAsUTFArray());

        if (inet_aton(aHostAddress.GetAsUTFArray(), &lAddress) == 0 || inet_aton(aNetmask.GetAsUTFArray(), &lMask) == 0)
            return;

        lAddress.s_addr &= lMask.s_addr;
        (void)inet_ntop(AF_INET, &lAddress, mText, sizeof mText);

        const std::size_t lLength = strlen(mText);
        (void)snprintf(mText + lLength, sizeof mText - lLength, "/%d",
                       Utilities::IPRulesAndRoutes::GetNetmaskPrefixLength(lMask));
    }

    const char *Get() const { return mText; }

private:
    char mText[INET_ADDRSTRLEN + sizeof "/32"] = "";
};

} // namespace

namespace Utilities
{

zqError IPRulesAndRoutes::AddIPRule(const char *aSource, const char *aDestination, const char *aTable)
{
    return RunScript({ "ip_rule_add", aTable, aSource, aDestination, nullptr, nullptr, true });
}

zqError IPRulesAndRoutes::RemoveIPRules(const char *aSource, const char *aDestination, const char *aTable)
{
    return RunScript({ "ip_rule_delete", aTable, aSource, aDestination, nullptr, nullptr, true });
}

zqError IPRulesAndRoutes::AddIPRoute(const char *aSource, const char *aDestination, const char *aGateway,
                                     const char *anInterface, const char *aTable, bool aUFlag)
{
    return RunScript({ "ip_route_add", aTable, aSource, aDestination, aGateway, anInterface, aUFlag });
}

zqError IPRulesAndRoutes::RemoveIPRoutes(const char *aSource, const char *aDestination, const char *aGateway,
                                         const char *anInterface, const char *aTable)
{
    return RunScript({ "ip_route_delete", aTable, aSource, aDestination, aGateway, anInterface, false });
}

int IPRulesAndRoutes::GetNetmaskPrefixLength(in_addr aNetmask)
{
    const uint32_t lMask   = ntohl(aNetmask.s_addr);
    int            lLength = 0;

    ZQ_LOG(zqLogLevel_Detail, "aNetmask is %x", lMask);

    for (uint32_t lRest = lMask; lRest != 0; lRest <<= 1)
        lLength++;

    ZQ_LOG(zqLogLevel_Detail, "aNetmask prefix length is %d", lLength);
    return lLength;
}

zqString IPRulesAndRoutes::GetNetworkAddress(zqString aHostAddress, zqString aNetmask)
{
    return NetworkText(aHostAddress, aNetmask).Get();
}

} // namespace Utilities

// The policy-route members of the service: here, so that the model needs no script.

namespace
{

using Utilities::IPRulesAndRoutes;

/** Where the traffic of a type of service goes; the numbers and names are the device's own. */
struct PolicyTable
{
    CFStringRef mType;
    const char *mTable;
    const char *mInterface;
    bool        mHasGateway; ///< a point-to-point link has none
};

/** Null for a service that has no table. */
const PolicyTable *FindPolicyTable(const Service &aService)
{
    static const PolicyTable kTables[] = {
        { kServiceTypeWiFi, "101", "wlan0", true },
        { kServiceTypeCellular, "102", "ppp0", false },
    };

    for (const PolicyTable &lTable : kTables)
        if (CFUIsTrue(aService.IsType(lTable.mType)))
            return &lTable;
    return nullptr;
}

/** An entry that is a string. @retval 0, -1 when there is none, or -5 as MakeText. */
zqError GetEntry(const CFUSharedRef<CFDictionaryRef> &aDictionary, CFStringRef aKey, zqString &aText)
{
    const void *const lValue = aDictionary != nullptr ? CFDictionaryGetValue(aDictionary.Get(), aKey) : nullptr;

    if (!CFUIsTypeID(lValue, CFStringGetTypeID()))
        return zqError_Failed;

    return Utilities::MakeText(static_cast<CFStringRef>(lValue), aText);
}

} // namespace

zqError Service::CreatePolicyRouteTable() const
{
    const PolicyTable *const lTable = FindPolicyTable(*this);

    if (lTable == nullptr)
        return zqError_InvalidArgument;

    const auto lIPv4 = GetAddresses(CFURetain(kServicePropertyIPv4));
    zqString   lAddress;
    zqString   lGateway;
    zqString   lNetmask;
    zqError    lReturn = GetEntry(lIPv4, kIPPropertyAddress, lAddress);

    if (lReturn == zqError_None && lTable->mHasGateway)
        lReturn = GetEntry(lIPv4, kIPPropertyGateway, lGateway);

    if (lReturn == zqError_None && GetEntry(lIPv4, kIPPropertyNetmask, lNetmask) == zqError_InvalidArgument)
        lReturn = zqError_InvalidArgument;

    if (lReturn == zqError_None)
        lReturn = IPRulesAndRoutes::AddIPRule(lAddress.GetAsUTFArray(), nullptr, lTable->mTable);

    if (lReturn == zqError_None)
        lReturn =
            IPRulesAndRoutes::AddIPRoute(nullptr, "default", lTable->mHasGateway ? lGateway.GetAsUTFArray() : nullptr,
                                         lTable->mInterface, lTable->mTable, true);

    if (lReturn != zqError_None || !lTable->mHasGateway || lNetmask.IsEmpty())
        return lReturn;

    const NetworkText lNetwork(lAddress, lNetmask);

    ZQ_LOG(zqLogLevel_Detail, "networkAddress is %s", lNetwork.Get());

    return IPRulesAndRoutes::AddIPRoute(lAddress.GetAsUTFArray(), lNetwork.Get(), nullptr, lTable->mInterface,
                                        lTable->mTable, false);
}

zqError Service::RemovePolicyRouteTable() const
{
    const PolicyTable *const lTable = FindPolicyTable(*this);

    if (lTable == nullptr)
        return zqError_InvalidArgument;

    const zqError lReturn = IPRulesAndRoutes::RemoveIPRules(nullptr, nullptr, lTable->mTable);

    return lReturn == zqError_None
               ? IPRulesAndRoutes::RemoveIPRoutes(nullptr, nullptr, nullptr, nullptr, lTable->mTable)
               : lReturn;
}

} // namespace zq::NetworkManager
