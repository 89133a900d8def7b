/**
 *  @file
 *    One network connection as the connection manager reports it.
 */

#ifndef ZQNETWORKMANAGER_SERVICE_H
#define ZQNETWORKMANAGER_SERVICE_H

#include <zqnetworkmanager-object.h>

namespace zq::NetworkManager
{

/**
 *  A service: a Wi-Fi network, an Ethernet link, a LoWPAN network and so on.
 *
 *  The frequent properties are checked and cached at Init and at every refresh,
 *  all at once: a reader sees either the old values or the new ones. The four
 *  address and configuration dictionaries, auto-connect, domains, Ethernet,
 *  favourite, immutable, name servers, security, state and type are required;
 *  a value of another kind than the property has counts as absent.
 *
 *  Every getter hands out a reference of its own, null when the service has no
 *  such value, and may be called from any thread.
 */
class ZQ_EXPORT Service : public Object
{
public:
    Service() noexcept;
    ~Service() override;

    void Destroy() override;

    /**
     *  @retval   0
     *  @retval  -2  The raw strength could not be made.
     *  @retval  -3  A second Init; the service is as it was.
     *  @retval  -4  A required property is missing; the service stays uninitialised.
     *  @retval  -5  The path or the dictionary is null.
     *  @retval  -7  A lock or a dictionary could not be made.
     */
    zqError Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties) override;

    /** Init with the path and the properties of another service. @retval as Init. */
    zqError Init(const Service &aService);

    /**
     *  Merge new properties and take the cached values anew.
     *
     *  On failure the cached values stay as they were, but for the address and
     *  configuration dictionaries that were checked before the failing
     *  property; the merged dictionary keeps the new data in every case.
     *
     *  @retval   0
     *  @retval  -2  The raw strength could not be made.
     *  @retval  -3  Not initialised.
     *  @retval  -4  A required property is missing or of another kind.
     *  @retval  -5  The dictionary is null.
     *  @retval  -7  A dictionary could not be made.
     */
    virtual zqError Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties);

    CFUSharedRef<CFStringRef>     GetName() const; ///< null for a hidden network
    CFUSharedRef<CFBooleanRef>    IsAutoConnect() const;
    CFUSharedRef<CFArrayRef>      GetDomains() const;
    CFUSharedRef<CFStringRef>     GetError() const;    ///< a kServiceError*
    CFUSharedRef<CFDictionaryRef> GetEthernet() const; ///< keys are kEthernetProperty*
    CFUSharedRef<CFBooleanRef>    IsFavorite() const;
    CFUSharedRef<CFBooleanRef>    IsImmutable() const;
    CFUSharedRef<CFBooleanRef>    IsRoaming() const;
    CFUSharedRef<CFArrayRef>      GetNameservers() const;
    CFUSharedRef<CFStringRef>     GetPassphrase() const; ///< a secret: not for log lines
    CFUSharedRef<CFArrayRef>      GetSecurity() const;   ///< of kServiceSecurity*
    CFUSharedRef<CFStringRef>     GetState() const;      ///< a kServiceState*
    CFUSharedRef<CFStringRef>     GetType() const;       ///< a kServiceType*
    CFUSharedRef<CFBooleanRef>    IsAged() const;

    /** The signal's strength in percent, a number; kCFBooleanFalse when the service reports none. */
    CFUSharedRef<CFTypeRef> GetStrength() const;

    /** The strength less 120, a 32-bit number; kCFBooleanFalse when the service reports no strength. */
    CFUSharedRef<CFTypeRef> GetRawStrength() const;

    /**
     *  The addresses in use, with kIPProperty* as keys.
     *
     *  @param[in]  aFamily  kServicePropertyIPv4 or kServicePropertyIPv6; for
     *                       any other key, and for null (logged), there are none.
     */
    CFUSharedRef<CFDictionaryRef> GetAddresses(const CFUSharedRef<CFStringRef> &aFamily) const;

    /**
     *  The configuration that the user or a provision asked for.
     *
     *  @param[in]  aFamily  kServicePropertyIPv4Configuration or
     *                       kServicePropertyIPv6Configuration, or the family's
     *                       own key (kServicePropertyIPv4, kServicePropertyIPv6),
     *                       which gives the same dictionary; for any other
     *                       key, and for null (logged), there is none.
     */
    CFUSharedRef<CFDictionaryRef> GetConfiguration(const CFUSharedRef<CFStringRef> &aFamily) const;

    /** kCFBooleanTrue when the state equals @a aState, letter case included; false when either is null. */
    CFUSharedRef<CFBooleanRef> IsState(const CFUSharedRef<CFStringRef> &aState) const;
    CFUSharedRef<CFBooleanRef> IsState(CFStringRef aState) const { return IsState(CFURetain(aState)); }

    /** kCFBooleanTrue when the type equals @a aType, letter case included; false when either is null. */
    CFUSharedRef<CFBooleanRef> IsType(const CFUSharedRef<CFStringRef> &aType) const;
    CFUSharedRef<CFBooleanRef> IsType(CFStringRef aType) const { return IsType(CFURetain(aType)); }

    /** True when the state is ready or online. */
    bool IsConnected() const;

    /** True when the state is online. */
    bool IsOnline() const;

    /** True when the security array holds @a aSecurity; false for null (logged). */
    bool HasSecurity(const CFUSharedRef<CFStringRef> &aSecurity) const;
    bool HasSecurity(CFStringRef aSecurity) const { return HasSecurity(CFURetain(aSecurity)); }

    /** As HasSecurity, for a caller that holds the object's lock. */
    bool HasSecurityLocked(const CFUSharedRef<CFStringRef> &aSecurity) const;

    /** True unless the security array holds kServiceSecurityNone; an empty array counts as secured. */
    bool IsSecured() const;

    /**
     *  Give the service a routing table of its own, so that traffic from its
     *  address leaves through it even when another service has the default
     *  route: a rule for the address, a default route, and for Wi-Fi a route to
     *  the service's network when it has a netmask.
     *
     *  For an application to call when the service has connected; nothing calls
     *  it by itself. The device's script does the work
     *  (Utilities::IPRulesAndRoutes), and the calling thread blocks until it has
     *  ended. A step that fails ends the operation; those before it stay. While
     *  the application ignores SIGCHLD the first step seems to fail, though it is
     *  done: how the script ended is lost.
     *
     *  @retval   0
     *  @retval  -1  The service has no IPv4 address, or Wi-Fi no gateway
     *               (nothing was run); or the script failed, or seems to.
     *  @retval  -2  Memory is exhausted.
     *  @retval  -5  It is neither a Wi-Fi nor a cellular service, or an address
     *               holds a NUL; nothing was run.
     */
    zqError CreatePolicyRouteTable() const;

    /**
     *  Remove every rule and route of the table, whether or not the service
     *  still has the address. Blocks as CreatePolicyRouteTable.
     *
     *  @retval   0
     *  @retval  -1  The script failed, or seems to.
     *  @retval  -2  Memory is exhausted.
     *  @retval  -5  It is neither a Wi-Fi nor a cellular service; nothing was run.
     */
    zqError RemovePolicyRouteTable() const;

protected:
    // The caller of these holds the object's lock.

    /** Check the stored dictionary and take the cached values. @retval 0, -2, -4, -7 as Init. */
    zqError InitLocked();

    /** Keep a family's addresses, in place of earlier ones. @retval 0, -5 for a null argument, -7 when the dictionary
     * of families cannot be made. */
    zqError InitAddresses(const CFUSharedRef<CFStringRef>     &aFamily,
                          const CFUSharedRef<CFDictionaryRef> &aConfiguration);

    /** As InitAddresses, for the configurations. */
    zqError InitConfigurations(const CFUSharedRef<CFStringRef>     &aFamily,
                               const CFUSharedRef<CFDictionaryRef> &aConfiguration);

private:
    friend struct Private::Kind;

    void    UndoInitLocked();
    zqError InitFamiliesLocked();

    /** InitLocked, when nothing but these properties has changed since it was called last. */
    zqError RecacheLocked(CFDictionaryRef aChanges);

    /** Take the values of these places, the bits of a set, anew. */
    zqError CacheLocked(unsigned int aPlaces);
    zqError StoreFamily(CFUSharedRef<CFMutableDictionaryRef> &aFamilies, const CFUSharedRef<CFStringRef> &aFamily,
                        const CFUSharedRef<CFDictionaryRef> &aConfiguration);
    CFUSharedRef<CFDictionaryRef> FindFamily(const CFUSharedRef<CFMutableDictionaryRef> &aFamilies,
                                             CFStringRef                                 aFamily) const;

    bool                                 mInitialized;
    CFUSharedRef<CFMutableDictionaryRef> mAddresses;
    CFUSharedRef<CFMutableDictionaryRef> mConfigurations;
    CFUSharedRef<CFTypeRef>              mCached[15]; // in the order of the rows in the source
    CFUSharedRef<CFTypeRef>              mRawStrength;
};

/** True when the paths are equal. */
ZQ_EXPORT bool operator==(const Service &aFirst, const Service &aSecond);

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_SERVICE_H
