#include <CFUtilities.h>

namespace
{

struct Merge
{
    CFMutableDictionaryRef mDestination;
    bool                   mReplace;
    bool                   mChanged;
};

void MergeEntry(const void *aKey, const void *aValue, void *aContext)
{
    auto &lMerge = *static_cast<Merge *>(aContext);

    const void *lOld = nullptr;
    if (CFDictionaryGetValueIfPresent(lMerge.mDestination, aKey, &lOld) && (!lMerge.mReplace || CFEqual(lOld, aValue)))
        return;

    // The setting may have come to nothing for want of memory.
    CFDictionarySetValue(lMerge.mDestination, aKey, aValue);
    if (CFDictionaryGetValue(lMerge.mDestination, aKey) == aValue)
        lMerge.mChanged = true;
}

void AppendKey(const void *aKey, const void *, void *aContext)
{
    CFArrayAppendValue(static_cast<CFMutableArrayRef>(aContext), aKey);
}

} // namespace

void CFURelease(CFTypeRef aValue)
{
    CFRelease(aValue);
}

Boolean CFUDictionaryMerge(CFMutableDictionaryRef aDestination, CFDictionaryRef aSource, Boolean aReplace)
{
    if (aDestination == nullptr || aSource == nullptr || aDestination == aSource)
        return false;

    Merge lMerge = { aDestination, aReplace != 0, false };
    CFDictionaryApplyFunction(aSource, MergeEntry, &lMerge);
    return lMerge.mChanged;
}

CFArrayRef CFUDictionaryCopyKeys(CFDictionaryRef aDictionary)
{
    if (!CFUIsTypeID(aDictionary, CFDictionaryGetTypeID()))
        return nullptr;

    auto *const lKeys =
        CFArrayCreateMutable(kCFAllocatorDefault, CFDictionaryGetCount(aDictionary), &kCFTypeArrayCallBacks);
    if (lKeys == nullptr)
        return nullptr;

    CFDictionaryApplyFunction(aDictionary, AppendKey, lKeys);
    if (CFArrayGetCount(lKeys) == CFDictionaryGetCount(aDictionary))
        return lKeys;

    CFRelease(lKeys);
    return nullptr;
}

Boolean CFUIsTypeID(CFTypeRef aValue, CFTypeID aType)
{
    return aValue != nullptr && CFGetTypeID(aValue) == aType;
}

CFNumberType CFUGetNumberType(CFTypeRef aValue)
{
    return CFNumberGetType(static_cast<CFNumberRef>(aValue));
}

CFBooleanRef CFUBooleanCreate(bool aValue)
{
    return aValue ? kCFBooleanTrue : kCFBooleanFalse;
}
