/**
 *  @file
 *    The device's own identity in the network: its host name, and the name, the
 *    hardware address and the IPv4 address of an interface.
 *
 *  The operating system is asked; no manager and no bus is needed. The functions
 *  share nothing, may be called from any thread, and block while a name is
 *  resolved.
 */

#ifndef ZQHOST_H
#define ZQHOST_H

#include <zqexport.h>
#include <zqstring.h>

/** What is known of an interface. A function fills in what it learns and leaves the rest as it is; all of it when it
 * fails. */
struct zqNetworkInterface
{
    zqString mInterfaceName; ///< the kernel's name, such as "wlan0"
    zqString mMACAddress;    ///< twelve lower-case hexadecimal digits
    zqString mIPAddress;     ///< dotted quad
};

/**
 *  The device's host name.
 *
 *  @param[out]  aName    The name with a NUL at its end.
 *  @param[in]   aLength  The size of @a aName in bytes.
 *
 *  @retval   0
 *  @retval  -1  The name does not fit, or cannot be had.
 *  @retval  -6  The operating system's result was 36.
 */
ZQ_EXPORT int zqGetHostName(char *aName, int aLength);

/**
 *  The hardware address of a host, from the kernel's table of neighbours. Fills
 *  in the MAC and the IP address.
 *
 *  The kernel is asked without naming a device, which Linux answers for no
 *  address since it wants one to be named: on such a kernel the result is -4.
 *
 *  @param[in]  aHostName  A name to resolve, or a dotted quad.
 *
 *  @retval   0
 *  @retval  -2  Memory is exhausted.
 *  @retval  -4  The name is null or cannot be resolved, or the kernel knows no such neighbour.
 *  @retval  -7  There is no socket.
 */
ZQ_EXPORT int mac_address_from_hostname(char *aHostName, zqNetworkInterface &anInterface);

/**
 *  The hardware address of an interface. Fills in its name and the MAC address.
 *
 *  @param[in]  aName  The interface's name; the kernel is asked for its first 15 characters.
 *
 *  @retval   0
 *  @retval  -1  There is no such interface, or the name is null.
 *  @retval  -2  Memory is exhausted.
 *  @retval  -5  The name is not UTF-8.
 *  @retval  -7  There is no socket.
 */
ZQ_EXPORT int zqGetInterfaceInfoFromName(zqNetworkInterface &anInterface, const char *aName);

/**
 *  As zqGetInterfaceInfoFromName; without a name, what identifies the device.
 *
 *  That is what mac_address_from_hostname yields for its host name; when that is
 *  -4, for its host name with ".local" appended; when that is -4 too, the name,
 *  the MAC and the IP address of the first interface that is up, can broadcast,
 *  has an IPv4 address and can be asked.
 *
 *  @param[in]  aName  May be null.
 *
 *  @retval   0
 *  @retval  -1  There is no interface of the name; or without one: the host name
 *               cannot be had, or the interface that was asked last has gone.
 *  @retval  -2  Memory is exhausted.
 *  @retval  -4  Without a name: there is no such interface, or the list of them
 *               cannot be had.
 *  @retval  -5  The name is not UTF-8.
 *  @retval  -6  The host name cannot be had.
 *  @retval  -7  There is no socket.
 */
ZQ_EXPORT int zqGetInterfaceInfo(zqNetworkInterface &anInterface, const char *aName);

#endif // ZQHOST_H
