/**
 *  @file
 *    Where every room makes its dictionaries and arrays.
 */

#ifndef ZQSHARED_CONTAINERS_H
#define ZQSHARED_CONTAINERS_H

#include <CFUtilities.h>

namespace zq::Shared
{

/** An empty dictionary from CoreFoundation values to such; null when memory is exhausted. */
inline CFUSharedRef<CFMutableDictionaryRef> MakeDictionary() noexcept
{
    return CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                              &kCFTypeDictionaryValueCallBacks));
}

/** An empty array of CoreFoundation values; null when memory is exhausted. */
inline CFUSharedRef<CFMutableArrayRef> MakeArray() noexcept
{
    return CFUAdopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
}

/** Replace and add the entries of another dictionary; false when memory did not suffice for all of them. */
inline bool Merge(CFMutableDictionaryRef aDestination, CFDictionaryRef aSource) noexcept
{
    (void)CFUDictionaryMerge(aDestination, aSource, true);

    CFDictionaryRef lSought = aDestination;
    const auto      lLookUp = [](const void *aKey, const void *, void *aContext)
    {
        auto &lIn = *static_cast<CFDictionaryRef *>(aContext);

        if (lIn != nullptr && !CFDictionaryContainsKey(lIn, aKey))
            lIn = nullptr;
    };

    CFDictionaryApplyFunction(aSource, lLookUp, &lSought);
    return lSought != nullptr;
}

} // namespace zq::Shared

#endif // ZQSHARED_CONTAINERS_H
