#include "zqnetworkmanager-values.h"

namespace zq::NetworkManager::Private
{

CFTypeRef GetTyped(CFDictionaryRef aDictionary, CFStringRef aKey, CFTypeID aType)
{
    if (aDictionary == nullptr || aKey == nullptr)
        return nullptr;

    const CFTypeRef lValue = CFDictionaryGetValue(aDictionary, aKey);

    return CFUIsTypeID(lValue, aType) ? lValue : nullptr;
}

bool IsEqual(CFStringRef aFirst, CFStringRef aSecond)
{
    return aFirst != nullptr && aSecond != nullptr && CFStringCompare(aFirst, aSecond, 0) == kCFCompareEqualTo;
}

} // namespace zq::NetworkManager::Private
