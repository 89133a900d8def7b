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

} // namespace zq::Shared

#endif // ZQSHARED_CONTAINERS_H
