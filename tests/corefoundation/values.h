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
CFUSharedRef<CFStringRef> String(std::string_view aText);

/** A number of type Int. */
CFUSharedRef<CFNumberRef> Number(int aValue);

CFUSharedRef<CFMutableDictionaryRef> Dictionary();
CFUSharedRef<CFMutableArrayRef>      Array();

/** The description, which tells order, keys and values. */
std::string Describe(CFTypeRef aValue);

/** How often the callbacks were called, and what equality they have: that of the last decimal digit. */
struct Calls
{
    static int sRetains;
    static int sReleases;

    static const void *Retain(CFAllocatorRef, const void *aValue);
    static const void *RefuseOdd(CFAllocatorRef, const void *aValue);
    static void        Release(CFAllocatorRef, const void *aValue);
    static Boolean     EqualDigit(const void *aFirst, const void *aSecond);
    static CFHashCode  SameHash(const void *aValue);
};

/** An integer in the place of a pointer. */
inline const void *Pointer(std::uintptr_t aValue)
{
    return reinterpret_cast<const void *>(aValue);
}

} // namespace zq::Test

#endif // ZQ_TEST_VALUES_H
