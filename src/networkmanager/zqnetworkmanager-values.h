/**
 *  @file
 *    What a value is of which only the type of a CoreFoundation value is known,
 *    and how values are compared.
 */

#ifndef ZQNETWORKMANAGER_VALUES_H
#define ZQNETWORKMANAGER_VALUES_H

#include <CFUtilities.h>
#include <zqshared-containers.h>

namespace zq::NetworkManager::Private
{

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
