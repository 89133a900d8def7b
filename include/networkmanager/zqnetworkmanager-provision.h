/**
 *  @file
 *    One stored provisioning record: the credentials with which a network is
 *    joined.
 */

#ifndef ZQNETWORKMANAGER_PROVISION_H
#define ZQNETWORKMANAGER_PROVISION_H

#include <zqnetworkmanager-object.h>

namespace zq::NetworkManager
{

/**
 *  A provisioning record. Its identifier is its path and is not among its
 *  properties; the properties have kServiceProperty* names and are strings. A
 *  value of another kind counts as absent, but for the extended PAN ID, which is
 *  an unsigned number of 64 bits in a record of the connection manager's file.
 *  Only the type is required.
 *
 *  Every getter hands out a reference of its own, null when the record has no
 *  such value, and may be called from any thread. Passphrases, keys and
 *  identities are secrets: not for log lines.
 */
class ZQ_EXPORT Provision : public Object
{
public:
    Provision() noexcept;
    ~Provision() override;

    void Destroy() override;

    /**
     *  @retval   0
     *  @retval  -3  A second Init; the provision is as it was.
     *  @retval  -4  The type is missing; the provision stays uninitialised.
     *  @retval  -5  The identifier or the dictionary is null.
     *  @retval  -7  A lock or a dictionary could not be made.
     */
    zqError Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties) override;

    /** Init with the identifier and the properties of another provision. @retval as Init. */
    zqError Init(const Provision &aProvision);

    /**
     *  Merge new properties and take all fifteen cached values anew: one that
     *  the merged dictionary lacks becomes null.
     *
     *  @retval   0
     *  @retval  -3  Not initialised.
     *  @retval  -4  The type is missing or no string; the cached values stay,
     *               the merged dictionary keeps the new data.
     *  @retval  -5  The dictionary is null.
     *  @retval  -7  Memory is exhausted; the same.
     */
    virtual zqError Refresh(const CFUSharedRef<CFDictionaryRef> &aProperties);

    CFUSharedRef<CFStringRef> GetType() const;
    CFUSharedRef<CFStringRef> GetName() const;
    CFUSharedRef<CFStringRef> GetSSID() const;
    CFUSharedRef<CFStringRef> GetEAP() const;
    CFUSharedRef<CFStringRef> GetCACertFile() const;
    CFUSharedRef<CFStringRef> GetClientCertFile() const;
    CFUSharedRef<CFStringRef> GetPrivateKeyFile() const;
    CFUSharedRef<CFStringRef> GetPrivateKeyPassphrase() const;
    CFUSharedRef<CFStringRef> GetPrivateKeyPassphraseType() const;
    CFUSharedRef<CFStringRef> GetIdentity() const;
    CFUSharedRef<CFStringRef> GetPhase2() const;
    CFUSharedRef<CFStringRef> GetPassphrase() const;
    CFUSharedRef<CFStringRef> GetSecurity() const;
    CFUSharedRef<CFStringRef> GetHidden() const;

    /** The string, or the decimal digits of the number. */
    CFUSharedRef<CFStringRef> GetExtendedPANID() const;

    /**
     *  The names of all properties, then "ProvisionIdentifier".
     *
     *  @param[out]  aNames  A new array; null when the provision has no
     *                       dictionary (logged) or memory is exhausted.
     */
    void GetPropertyNames(CFUSharedRef<CFArrayRef> &aNames) const;

    /**
     *  One property's value; for "ProvisionIdentifier" the identifier.
     *
     *  @param[out]  aValue  With a reference; null when there is none.
     */
    void GetPropertyValue(const CFUSharedRef<CFStringRef> &aName, CFUSharedRef<CFTypeRef> &aValue) const;

    /**
     *  Forget a cached value. Only the passphrase can be forgotten, and only
     *  the cached value goes: the dictionary keeps it, GetPropertyValue yields
     *  it, and the next refresh caches it again.
     *
     *  @retval    0  It is "Passphrase", cached or not.
     *  @retval  -17  It is any other name, or null; nothing changed.
     */
    zqError ClearProvisionProperty(const CFUSharedRef<CFStringRef> &aName);

private:
    friend struct Private::Kind;

    zqError InitLocked();

    bool                    mInitialized;
    CFUSharedRef<CFTypeRef> mCached[15]; // in the order of the rows in the source
};

/** True when the identifiers are equal. */
ZQ_EXPORT bool operator==(const Provision &aFirst, const Provision &aSecond);

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_PROVISION_H
