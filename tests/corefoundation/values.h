/**
 *  @file
 *    CoreFoundation values as tests write them down and read them.
 */

#ifndef ZQ_TEST_VALUES_H
#define ZQ_TEST_VALUES_H

#include <CFUtilities.h>

#include <string>
#include <string_view>
#include <vector>

namespace zq::Test
{

/** A string of its own, no constant, of all of the UTF-8 text; null when it is none. */
inline CFUSharedRef<CFStringRef> String(std::string_view aText)
{
    return CFUAdopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(aText.data()),
                                            static_cast<CFIndex>(aText.size()), kCFStringEncodingUTF8, false));
}

inline CFUSharedRef<CFNumberRef> Number(int aValue)
{
    return CFUAdopt(CFNumberCreate(nullptr, kCFNumberIntType, &aValue));
}

inline CFUSharedRef<CFMutableDictionaryRef> Dictionary()
{
    return CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

inline CFUSharedRef<CFMutableArrayRef> Array()
{
    return CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
}

/** The description, which tells order, keys and values. */
inline std::string Describe(CFTypeRef aValue)
{
    const auto        lText    = CFUAdopt(CFCopyDescription(aValue));
    const char *const lPointer = CFStringGetCStringPtr(lText.Get(), kCFStringEncodingUTF8);

    return lPointer != nullptr ? lPointer : "no text";
}

/** An integer in the place of a pointer. */
inline const void *Pointer(std::uintptr_t aValue)
{
    return reinterpret_cast<const void *>(aValue);
}

/** How often the callbacks were called; odd values can be refused, and the last decimal digit tells the equal ones. */
struct Calls
{
    inline static int sRetains = 0, sReleases = 0;

    static const void *Retain(CFAllocatorRef, const void *aValue) { return ++sRetains, aValue; }
    static const void *RefuseOdd(CFAllocatorRef, const void *aValue)
    {
        return reinterpret_cast<std::uintptr_t>(aValue) % 2 != 0 ? nullptr : Retain(nullptr, aValue);
    }
    static void       Release(CFAllocatorRef, const void *) { ++sReleases; }
    static CFHashCode SameHash(const void *) { return 7; }
    static Boolean    EqualDigit(const void *aFirst, const void *aSecond)
    {
        return reinterpret_cast<std::uintptr_t>(aFirst) % 10 == reinterpret_cast<std::uintptr_t>(aSecond) % 10;
    }
};

} // namespace zq::Test

#endif // ZQ_TEST_VALUES_H
