/**
 *  @file
 *    What loading and the signals both do with the caches.
 */

#ifndef ZQCONNMAN_CACHES_H
#define ZQCONNMAN_CACHES_H

#include "zqconnman-private.h"

namespace zq::ConnMan
{

/** A cache's own dictionaries are mutable: they were decoded for it, and nobody else has them. */
inline CFMutableDictionaryRef FindCached(CFMutableDictionaryRef aCache, const void *aPath)
{
    return static_cast<CFMutableDictionaryRef>(const_cast<void *>(CFDictionaryGetValue(aCache, aPath)));
}

inline CFDictionaryRef AsDictionary(const void *aValue)
{
    return static_cast<CFDictionaryRef>(aValue);
}

inline long CountOf(CFDictionaryRef aCache)
{
    return aCache != nullptr ? CFDictionaryGetCount(aCache) : 0;
}

inline long CountOf(const CFUSharedRef<CFMutableArrayRef> &anArray)
{
    return anArray != nullptr ? CFArrayGetCount(anArray.Get()) : 0;
}

inline void ReleaseCache(CFMutableDictionaryRef &aCache)
{
    CFURelease(aCache);
    aCache = nullptr;
}

} // namespace zq::ConnMan

#endif // ZQCONNMAN_CACHES_H
