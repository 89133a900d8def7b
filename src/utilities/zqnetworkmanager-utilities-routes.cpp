#include <zqnetworkmanager-utilities.h>

#include <zqcommandexec.h>
#include <zqlog.h>

#include <string>

#include <arpa/inet.h>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-utilities"

namespace zq
{

namespace NetworkManager
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
    const zqString lText(aText);

    // What cannot be passed on must not become an empty value.
    if (lText.IsEmpty() && *aText != '\0')
        return zqError_InvalidArgument;

    return aArguments.Append(lText);
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
        if (lReturn == 0 && lOption.mValue != nullptr)
            lReturn = AppendArgument(aArguments, lOption.mName);
        if (lReturn == 0 && lOption.mValue != nullptr)
            lReturn = AppendArgument(aArguments, lOption.mValue);
    }

    return lReturn == 0 && aRun.mUFlag ? AppendArgument(aArguments, "-u") : lReturn;
}

zqError RunScript(const Run &aRun)
{
    zqStringArray lArguments;
    int           aExitCode = -1;

    if (!ZQ_CHECK_TEXT(aRun.mAction != NULL, "aAction") || !ZQ_CHECK_TEXT(aRun.mTable != NULL, "aRoutingTable"))
        return zqError_InvalidArgument;

    const zqError lReturn = GetArguments(aRun, lArguments);

    if (lReturn != 0)
        return lReturn;

    // Only the exit status counts, and it is none when the script did not run.
    (void)zqCommandExec(kScript, lArguments, aExitCode);
    ZQ_REQUIRE((aExitCode == 0), zqError_Failed);

    return zqError_None;
}

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
    in_addr lAddress;
    in_addr lMask;
    char    lText[INET_ADDRSTRLEN];

    ZQ_LOG(zqLogLevel_Detail, "GetNetworkAddress aNetmask is %s", aNetmask.GetAsUTFArray());
    ZQ_LOG(zqLogLevel_Detail, "GetNetworkAddress aHostAddress is %s", aHostAddress.GetAsUTFArray());

    if (inet_aton(aHostAddress.GetAsUTFArray(), &lAddress) == 0 || inet_aton(aNetmask.GetAsUTFArray(), &lMask) == 0)
        return zqString();

    lAddress.s_addr &= lMask.s_addr;

    return zqString(inet_ntop(AF_INET, &lAddress, lText, sizeof lText)) + "/" +
           std::to_string(GetNetmaskPrefixLength(lMask)).c_str();
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
        if (aService.IsType(CFURetain(lTable.mType)).Get() == kCFBooleanTrue)
            return &lTable;
    return nullptr;
}

/** An entry that is a string; null when there is none. */
CFStringRef GetEntry(CFDictionaryRef aDictionary, CFStringRef aKey)
{
    const void *const lValue = CFDictionaryGetValue(aDictionary, aKey);

    return CFUIsTypeID(lValue, CFStringGetTypeID()) ? static_cast<CFStringRef>(lValue) : nullptr;
}

} // namespace

zqError Service::CreatePolicyRouteTable() const
{
    const PolicyTable *const lTable = FindPolicyTable(*this);

    if (lTable == nullptr)
        return zqError_InvalidArgument;

    const auto        lIPv4          = GetAddresses(CFURetain(kServicePropertyIPv4));
    const CFStringRef lAddressEntry  = lIPv4 != nullptr ? GetEntry(lIPv4.Get(), kIPPropertyAddress) : nullptr;
    const CFStringRef lGatewayEntry  = lIPv4 != nullptr ? GetEntry(lIPv4.Get(), kIPPropertyGateway) : nullptr;
    const bool        lLacksAGateway = lTable->mHasGateway && lGatewayEntry == nullptr;

    if (lAddressEntry == nullptr || lLacksAGateway)
        return zqError_Failed;

    const zqString lAddress(lAddressEntry);
    const zqString lGateway(lGatewayEntry);
    zqError        lReturn = IPRulesAndRoutes::AddIPRule(lAddress.GetAsUTFArray(), nullptr, lTable->mTable);

    if (lReturn == 0)
        lReturn =
            IPRulesAndRoutes::AddIPRoute(nullptr, "default", lTable->mHasGateway ? lGateway.GetAsUTFArray() : nullptr,
                                         lTable->mInterface, lTable->mTable, true);

    const zqString lNetmask(GetEntry(lIPv4.Get(), kIPPropertyNetmask));

    if (lReturn != 0 || !lTable->mHasGateway || lNetmask.IsEmpty())
        return lReturn;

    const zqString lNetwork = IPRulesAndRoutes::GetNetworkAddress(lAddress, lNetmask);

    ZQ_LOG(zqLogLevel_Detail, "networkAddress is %s", lNetwork.GetAsUTFArray());

    return IPRulesAndRoutes::AddIPRoute(lAddress.GetAsUTFArray(), lNetwork.GetAsUTFArray(), nullptr, lTable->mInterface,
                                        lTable->mTable, false);
}

zqError Service::RemovePolicyRouteTable() const
{
    const PolicyTable *const lTable = FindPolicyTable(*this);

    if (lTable == nullptr)
        return zqError_InvalidArgument;

    const zqError lReturn = IPRulesAndRoutes::RemoveIPRules(nullptr, nullptr, lTable->mTable);

    return lReturn == 0 ? IPRulesAndRoutes::RemoveIPRoutes(nullptr, nullptr, nullptr, nullptr, lTable->mTable)
                        : lReturn;
}

} // namespace NetworkManager

} // namespace zq
