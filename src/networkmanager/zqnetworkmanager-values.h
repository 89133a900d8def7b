// Values that the kinds of object take out of their dictionaries, and how
// values are compared.

#ifndef ZQNETWORKMANAGER_VALUES_H
#define ZQNETWORKMANAGER_VALUES_H

#include "zqnetworkmanager-lock.h"

#include <CFUtilities.h>
#include <zqlog.h>
#include <zqnetworkmanager-object.h>

namespace zq::NetworkManager::Private
{

/** A property that a kind of object caches. */
struct CachedProperty
{
    CFStringRef mKey;
    CFTypeID    mType;     // a value of another type counts as absent: what is cached may be used without a check
    const char *mRequired; // the assertion of a required property; null for an optional one
};

/**
 *  Look up the rows aFirst to aLast - 1 of a table, in their order, and stop at
 *  the first required one that is absent, with an assertion of source aFile.
 *  The caller holds the object's lock; the values are lent.
 *
 *  @retval 0, -4
 */
zqError CollectLocked(const Object &anObject, const CachedProperty *aTable, int aFirst, int aLast, CFTypeRef *aValues,
                      const char *aFile);

/** Replace cached values, absent ones included. The caller holds the object's lock. */
void ReplaceLocked(CFUSharedRef<CFTypeRef> *aCached, const CFTypeRef *aValues, int aCount);

/**
 *  Refresh an object of any kind: merge the properties, then take the cached values out of them anew with
 *  @a aCacheLocked. Assertions are those of source aFile.
 *
 *  @retval 0, -3 when it is not initialised, or what either step fails with.
 */
template <typename CacheLocked>
zqError Refresh(Object &anObject, bool anIsInitialized, const CFUSharedRef<CFDictionaryRef> &aProperties,
                const char *aFile, CacheLocked aCacheLocked)
{
    if (!anIsInitialized)
    {
        zqLogAssertion("", "mInitialized", "", aFile, __LINE__);
        return zqError_WrongState;
    }

    const LockOf<Object> lLock(anObject);
    zqError              lReturn = anObject.RefreshLocked(aProperties);

    if (lReturn == 0)
        lReturn = aCacheLocked();
    if (lReturn != 0)
        zqLogAssertion("", "retval == 0", "", aFile, __LINE__);

    return lReturn;
}

/** A dictionary's entry when it has one of this type; null otherwise, also for a null dictionary or key. Lent. */
CFTypeRef GetTyped(CFDictionaryRef aDictionary, CFStringRef aKey, CFTypeID aType);

inline CFStringRef GetString(CFDictionaryRef aDictionary, CFStringRef aKey)
{
    return static_cast<CFStringRef>(GetTyped(aDictionary, aKey, CFStringGetTypeID()));
}

/** A value as a string; null when it is none. */
inline CFStringRef AsString(CFTypeRef aValue)
{
    return CFUIsTypeID(aValue, CFStringGetTypeID()) ? static_cast<CFStringRef>(aValue) : nullptr;
}

/** True when both are there and equal, letter case included. */
bool IsEqual(CFStringRef aFirst, CFStringRef aSecond);

inline CFUSharedRef<CFBooleanRef> SharedBoolean(bool aValue)
{
    return CFUAdopt(CFUBooleanCreate(aValue));
}

} // namespace zq::NetworkManager::Private

#endif // ZQNETWORKMANAGER_VALUES_H
