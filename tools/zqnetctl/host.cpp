/**
 *  @file
 *    The command that shows this device's name and addresses.
 */

#include "commands.h"
#include "output.h"

#include <zqhost.h>

#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <ifaddrs.h>
#include <memory>

namespace zqnetctl
{

namespace
{

/** The first IPv4 address of an interface, which asking for it by name does not tell. */
std::string FindAddress(const std::string &anInterface)
{
    ifaddrs *lFirst = nullptr;

    if (getifaddrs(&lFirst) != 0)
        return "";

    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> lList(lFirst, freeifaddrs);

    for (const ifaddrs *lEntry = lFirst; lEntry != nullptr; lEntry = lEntry->ifa_next)
    {
        char lText[INET_ADDRSTRLEN];

        if (anInterface == lEntry->ifa_name && lEntry->ifa_addr != nullptr && lEntry->ifa_addr->sa_family == AF_INET)
            return inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(lEntry->ifa_addr)->sin_addr, lText,
                             sizeof lText);
    }
    return "";
}

/** What is not known is null. */
Json OrNull(const std::string &aText)
{
    return aText.empty() ? Json() : Json(aText);
}

} // namespace

ExitStatus ShowHost(Session &aSession)
{
    const Options     &lOptions = aSession.GetOptions();
    const char        *lName    = lOptions.mArguments.empty() ? nullptr : lOptions.mArguments[0].c_str();
    char               lHost[HOST_NAME_MAX + 1] = "";
    zqNetworkInterface lInterface;

    (void)zqGetHostName(lHost, sizeof lHost);

    if (const int lReturn = zqGetInterfaceInfo(lInterface, lName); lReturn != zqError_None)
        return Complain(lOptions.mCommand + (lName != nullptr ? std::string(" ") + lName : ""), lReturn);

    const std::string lAddress = lInterface.mIPAddress.IsEmpty()
                                     ? FindAddress(lInterface.mInterfaceName.GetAsUTFArray())
                                     : lInterface.mIPAddress.GetAsUTFArray();
    const Json        lJson    = { { "host", OrNull(lHost) },
                                   { "interface", OrNull(lInterface.mInterfaceName.GetAsUTFArray()) },
                                   { "mac", OrNull(lInterface.mMACAddress.GetAsUTFArray()) },
                                   { "address", OrNull(lAddress) } };

    if (lOptions.mJson)
        return GetOutputStatus(PrintLine(lJson));

    Table                    lTable({ "HOST", "INTERFACE", "MAC", "ADDRESS" });
    std::vector<std::string> lRow;

    for (const Json &lValue : lJson)
        lRow.push_back(lValue.is_null() ? "-" : Describe(lValue));
    lTable.Add(std::move(lRow));
    return GetOutputStatus(lTable.Print());
}

} // namespace zqnetctl
