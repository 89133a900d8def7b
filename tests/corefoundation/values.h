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

} // namespace zq::Test

#endif // ZQ_TEST_VALUES_H
