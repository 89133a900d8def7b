#include "zqnetworkmanager-values.h"

#include <zqlog.h>

namespace zq::NetworkManager::Private
{

zqError CollectLocked(const Object &anObject, const CachedProperty *aTable, int aFirst, int aLast, CFTypeRef *aValues,
                      const char *aFile)
{
    for (int i = aFirst; i < aLast; i++)
    {
        const CFTypeRef lValue = anObject.GetPropertyLockedUntyped(aTable[i].mKey);

        aValues[i] = CFUIsTypeID(lValue, aTable[i].mType) ? lValue : nullptr;

        if (aValues[i] == nullptr && aTable[i].mRequired != nullptr)
        {
            zqLogAssertion("", aTable[i].mRequired, "", aFile, __LINE__);
            return zqError_Missing;
        }
    }

    return zqError_None;
}

void ReplaceLocked(CFUSharedRef<CFTypeRef> *aCached, const CFTypeRef *aValues, int aCount)
{
    for (int i = 0; i < aCount; i++)
        aCached[i] = CFURetain(aValues[i]);
}

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
