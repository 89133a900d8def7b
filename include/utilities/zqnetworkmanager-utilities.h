/**
 *  @file
 *    The questions that an application asks of a network manager most often, in
 *    one call each; and a routing table of its own for a service.
 *
 *  These functions have no state, run on the caller's thread, and may be called
 *  from any thread and from inside an observer callback. A null manager or text
 *  is allowed wherever one is taken: it is logged, and the answer is false, -5
 *  for the manager, and -17 for the type of a technology.
 */

#ifndef ZQNETWORKMANAGER_UTILITIES_H
#define ZQNETWORKMANAGER_UTILITIES_H

#include <zqnetworkmanager-manager.h>
#include <zqstring.h>

#include <netinet/in.h>

namespace zq::NetworkManager::Utilities
{

/** True when both are there and equal, letter case included. */
ZQ_EXPORT bool IsString(const CFUSharedRef<CFStringRef> &aFirst, const CFUSharedRef<CFStringRef> &aSecond);

// Technologies. A question about a type is about the first technology of that
// type, such as kTechnologyTypeWiFi, and its answer is false when there is none.

/** True when the technology is powered, as the connection manager reported last; that it never did is logged. */
ZQ_EXPORT bool GetTechnologyEnabled(Manager *aManager, const Technology &aTechnology);
ZQ_EXPORT bool GetTechnologyEnabled(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology);

/** The same for whether one of the technology's services is connected. */
ZQ_EXPORT bool GetTechnologyConnected(Manager *aManager, const Technology &aTechnology);
ZQ_EXPORT bool GetTechnologyConnected(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology);

/**
 *  Switch the first technology of a type on or off.
 *
 *  @retval   -5  The manager is null.
 *  @retval  -17  There is no technology of the type, or the type is null.
 *  @returns what Manager::TechnologySetEnabled returns otherwise; -22 when it is in that state already.
 */
ZQ_EXPORT zqError SetTechnologyEnabled(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology, bool anEnabled);

/**
 *  Start a scan with the first technology of a type; its outcome is an event.
 *
 *  @retval   -5  The manager is null.
 *  @retval  -17  There is no technology of the type, or the type is null.
 *  @returns what Manager::TechnologyScan returns otherwise.
 */
ZQ_EXPORT zqError TechnologyScan(Manager *aManager, const CFUSharedRef<CFStringRef> &aTechnology);

// Stored networks. The provision of a Wi-Fi service has the identifier
// "service_" and the bytes of the service's name, each as two upper-case
// hexadecimal digits: "service_486F6D65" for "Home".

/** True for a Wi-Fi service with such a provision; false also for a null service, and when memory is exhausted. */
ZQ_EXPORT bool IsServiceProvisionedWiFi(Manager *aManager, zqSharedPtr<Service> aService);

/**
 *  The first service, in the manager's order, that is a Wi-Fi service with a
 *  provision and has a state other than idle.
 *
 *  @param[out]  aService  Left alone unless the result is 0.
 *
 *  @retval    0
 *  @retval   -2  Memory is exhausted.
 *  @retval   -5  The manager is null.
 *  @retval  -17  There is none.
 *  @returns what Manager::GetServices fails with otherwise.
 */
ZQ_EXPORT zqError GetNonIdleServiceProvisionedWiFi(Manager *aManager, zqSharedPtr<Service> &aService);

/**
 *  Runs the device's script for IP rules and routes,
 *  /corvanix/sbin/networking-ip-rules.
 *
 *  Each operation is one run of the script with an action and options, without
 *  a shell between: values reach it as they are, unchecked. The script is given
 *  nothing to read. The calling thread blocks until it has ended. A null value
 *  is left out, but for the table, which is required. Source, destination and
 *  gateway are meant to be IPv4 addresses; a destination may also be a network
 *  ("10.0.0.0/24") or "default".
 *
 *  The application must not ignore SIGCHLD, nor wait for children that are not
 *  its own: the script runs then, but how it ended is lost, and the result is -1.
 *
 *  @retval   0  The script ended with the status 0.
 *  @retval  -1  It ended with another one, by a signal, or could not be run; or
 *               its status was lost. Logged.
 *  @retval  -2  Memory is exhausted; nothing was run.
 *  @retval  -5  The table is null, or a value is not UTF-8; logged, and nothing
 *               was run.
 */
class ZQ_EXPORT IPRulesAndRoutes
{
public:
    static zqError AddIPRule(const char *aSource, const char *aDestination, const char *aTable);
    static zqError RemoveIPRules(const char *aSource, const char *aDestination, const char *aTable);

    /** @param[in]  aUFlag  Whether the script is given "-u". */
    static zqError AddIPRoute(const char *aSource, const char *aDestination, const char *aGateway,
                              const char *anInterface, const char *aTable, bool aUFlag);
    static zqError RemoveIPRoutes(const char *aSource, const char *aDestination, const char *aGateway,
                                  const char *anInterface, const char *aTable);

    /**
     *  32 less the number of a mask's trailing zero bits, 0 for an empty mask:
     *  the prefix length of a contiguous one. 255.0.255.0 gives 24.
     *
     *  @param[in]  aNetmask  In network byte order.
     */
    static int GetNetmaskPrefixLength(in_addr aNetmask);

    /** The network of a host, such as "192.168.1.0/24"; empty when the address or the mask is none, or when memory is
     * exhausted. */
    static zqString GetNetworkAddress(zqString aHostAddress, zqString aNetmask);
};

/** IEEE 802.15.4 in the band of 2.4 GHz. */
namespace SixLoWPAN
{

ZQ_EXPORT extern const uint8_t  kMinChannel;  ///< 11
ZQ_EXPORT extern const uint8_t  kMaxChannel;  ///< 26
ZQ_EXPORT extern const uint16_t kDefaultBand; ///< 2400, in MHz

/** The middle of a channel, in MHz; 0 for a band other than kDefaultBand. The channel is not checked. */
ZQ_EXPORT uint32_t MapFrequency(const uint16_t &aBand, const uint8_t &aChannel);

/** True from kMinChannel to kMaxChannel. */
ZQ_EXPORT bool IsValidChannel(uint16_t aChannel);

} // namespace SixLoWPAN

} // namespace zq::NetworkManager::Utilities

#endif // ZQNETWORKMANAGER_UTILITIES_H
