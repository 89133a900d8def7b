#include <zqhost.h>

#include "zqnetworkmanager-utilities-text.h"

#include <zqerror.h>
#include <zqlog.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <prerror.h>
#include <prnetdb.h>
#include <prprf.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#define ZQ_LOG_COMPONENT "zqHost"

using zq::NetworkManager::Utilities::MakeText;

namespace
{

const int kNameTooLong   = -6;
const int kHostNameSize  = 1024;
const int kFormatSize    = 512;
const int kResolveBuffer = 1024;

const char kLocalDomain[] = ".local";

/** An IPv4 datagram socket, for asking the kernel. */
class Socket
{
public:
    Socket() : mDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        if (mDescriptor < 0)
            ZQ_LOG(zqLogLevel_Error, "zqHost: failed to create socket for mac lookup");
    }
    ~Socket()
    {
        if (mDescriptor >= 0)
            (void)close(mDescriptor);
    }
    Socket(const Socket &)            = delete;
    Socket &operator=(const Socket &) = delete;

    bool IsOpen() const { return mDescriptor >= 0; }
    int  Ask(unsigned long aRequest, void *aArgument) const { return ioctl(mDescriptor, aRequest, aArgument); }

private:
    int mDescriptor;
};

/** A hardware address as it is told. @retval 0, or -2. */
zqError FormatMAC(const sockaddr &aHardware, zqString &aMAC)
{
    const auto *lBytes = reinterpret_cast<const unsigned char *>(aHardware.sa_data);
    char        lText[kFormatSize];

    (void)PR_snprintf(lText, sizeof lText, "%02x%02x%02x%02x%02x%02x", lBytes[0], lBytes[1], lBytes[2], lBytes[3],
                      lBytes[4], lBytes[5]);
    return MakeText(lText, aMAC);
}

/** The same of a protocol address. */
zqError FormatIP(const sockaddr_in &aProtocol, zqString &anIP)
{
    const auto *lBytes = reinterpret_cast<const unsigned char *>(&aProtocol.sin_addr);
    char        lText[kFormatSize];

    (void)PR_snprintf(lText, sizeof lText, "%d.%d.%d.%d", lBytes[0], lBytes[1], lBytes[2], lBytes[3]);
    return MakeText(lText, anIP);
}

/** What was found is told whole, or not at all. */
int Yield(int aResult, const zqNetworkInterface &aFound, zqNetworkInterface &anInterface)
{
    if (aResult == 0)
        anInterface = aFound;
    return aResult;
}

/** @returns false when the name is neither a dotted quad nor resolved. */
bool Resolve(const char *aHostName, in_addr &anAddress)
{
    PRHostEnt lHost;
    char      lBuffer[kResolveBuffer];

    anAddress.s_addr = inet_addr(aHostName);

    if (anAddress.s_addr != INADDR_NONE)
        return true;

    if (PR_GetHostByName(aHostName, lBuffer, sizeof lBuffer, &lHost) != PR_SUCCESS)
    {
        const PRErrorCode lError = PR_GetError();

        ZQ_LOG(zqLogLevel_Detail, "zqHost: failed to gethostbyname(%s) (%d)", aHostName, lError);
        return false;
    }

    if (lHost.h_length != sizeof anAddress || lHost.h_addr_list[0] == nullptr)
        return false;

    (void)memcpy(&anAddress, lHost.h_addr_list[0], sizeof anAddress);
    return true;
}

/** What the neighbours know of the device's own name, as it is and in the local domain. */
int FindByHostName(zqNetworkInterface &anInterface)
{
    char lName[kHostNameSize + sizeof kLocalDomain];
    int  lReturn = zqGetHostName(lName, kHostNameSize);

    if (lReturn != zqError_None)
    {
        ZQ_LOG(zqLogLevel_Error, "zqHost: failed to get hostname (%d)", lReturn);
        return lReturn;
    }

    lReturn = mac_address_from_hostname(lName, anInterface);

    if (lReturn != zqError_Missing)
        return lReturn;

    (void)memcpy(lName + strlen(lName), kLocalDomain, sizeof kLocalDomain);
    lReturn = mac_address_from_hostname(lName, anInterface);

    if (lReturn != zqError_None)
        ZQ_LOG(zqLogLevel_Notice, "zqHost: failed to get mac address from hostname (%s)", lName);
    return lReturn;
}

bool IsCandidate(const ifaddrs &anEntry)
{
    const unsigned int kWanted = IFF_UP | IFF_BROADCAST;

    return anEntry.ifa_addr != nullptr && anEntry.ifa_addr->sa_family == AF_INET &&
           (anEntry.ifa_flags & kWanted) == kWanted;
}

/** The first interface of the device that others can reach. */
int FindByList(zqNetworkInterface &anInterface)
{
    ifaddrs *lFirst  = nullptr;
    int      lReturn = zqError_Missing;

    if (getifaddrs(&lFirst) != 0)
    {
        ZQ_LOG(zqLogLevel_Error, "zqHost: failed to getifaddrs()");
        return zqError_Missing;
    }

    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> lList(lFirst, freeifaddrs);

    for (const ifaddrs *lEntry = lFirst; lEntry != nullptr; lEntry = lEntry->ifa_next)
    {
        if (!IsCandidate(*lEntry))
            continue;

        zqNetworkInterface lFound = anInterface;

        lReturn = zqGetInterfaceInfoFromName(lFound, lEntry->ifa_name);

        if (lReturn == zqError_None)
        {
            lReturn = FormatIP(*reinterpret_cast<const sockaddr_in *>(lEntry->ifa_addr), lFound.mIPAddress);
            return Yield(lReturn, lFound, anInterface);
        }
    }
    return lReturn;
}

} // namespace

int zqGetHostName(char *aName, int aLength)
{
    if (aName == nullptr || aLength < 0)
        return zqError_Failed;

    const int lResult = gethostname(aName, static_cast<size_t>(aLength));

    if (lResult == 0)
        return 0;
    return lResult == ENAMETOOLONG ? kNameTooLong : int(zqError_Failed);
}

int mac_address_from_hostname(char *aHostName, zqNetworkInterface &anInterface)
{
    arpreq  lRequest = {};
    in_addr lAddress = {};

    if (aHostName == nullptr || !Resolve(aHostName, lAddress))
        return zqError_Missing;

    const Socket lSocket;

    if (!lSocket.IsOpen())
        return zqError_NoResources;

    auto &lProtocol      = reinterpret_cast<sockaddr_in &>(lRequest.arp_pa);
    lProtocol.sin_family = AF_INET;
    lProtocol.sin_addr   = lAddress;

    if (lSocket.Ask(SIOCGARP, &lRequest) < 0)
    {
        ZQ_LOG(zqLogLevel_Notice, "zqHost: failed to lookup mac address using ioctl() (%d)", errno);
        return zqError_Missing;
    }

    zqNetworkInterface lFound  = anInterface;
    zqError            lReturn = FormatMAC(lRequest.arp_ha, lFound.mMACAddress);

    if (lReturn == zqError_None)
        lReturn = FormatIP(lProtocol, lFound.mIPAddress);
    return Yield(lReturn, lFound, anInterface);
}

int zqGetInterfaceInfoFromName(zqNetworkInterface &anInterface, const char *aName)
{
    const Socket lSocket;
    ifreq        lRequest = {};

    if (!lSocket.IsOpen())
        return zqError_NoResources;

    if (aName == nullptr)
        return zqError_Failed;

    (void)strncpy(lRequest.ifr_name, aName, sizeof lRequest.ifr_name - 1);
    lRequest.ifr_addr.sa_family = AF_INET;

    if (lSocket.Ask(SIOCGIFHWADDR, &lRequest) == -1)
        return zqError_Failed;

    zqNetworkInterface lFound  = anInterface;
    zqError            lReturn = MakeText(aName, lFound.mInterfaceName);

    if (lReturn == zqError_None)
        lReturn = FormatMAC(lRequest.ifr_hwaddr, lFound.mMACAddress);
    return Yield(lReturn, lFound, anInterface);
}

int zqGetInterfaceInfo(zqNetworkInterface &anInterface, const char *aName)
{
    if (aName != nullptr)
        return zqGetInterfaceInfoFromName(anInterface, aName);

    const int lReturn = FindByHostName(anInterface);

    return lReturn == zqError_Missing ? FindByList(anInterface) : lReturn;
}
