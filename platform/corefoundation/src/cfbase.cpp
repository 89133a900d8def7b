/**
 *  @file
 *    What works on every value, by the type in its head.
 */

#include "cfruntime.h"

#include <algorithm>
#include <cstring>

using namespace cf;

void cf::Finalize(const Base *aBase) noexcept
{
    if (aBase->mType == kTypeArray)
        ArrayFinalize(reinterpret_cast<CFArrayRef>(aBase));
    else if (aBase->mType == kTypeDictionary)
        DictionaryFinalize(reinterpret_cast<CFDictionaryRef>(aBase));

    Free(const_cast<Base *>(aBase));
}

CFHashCode cf::HashBytes(const void *aBytes, std::size_t aLength) noexcept
{
    const auto   *lBytes = static_cast<const unsigned char *>(aBytes);
    std::uint64_t lHash  = aLength;

    // Eight bytes at a time: object paths are long, and each is hashed once.
    while (aLength > 0)
    {
        const std::size_t lPart = std::min(aLength, sizeof(std::uint64_t));
        std::uint64_t     lWord = 0;
        std::memcpy(&lWord, lBytes, lPart);

        lHash = (lHash ^ lWord) * 0x9E3779B97F4A7C15u;
        lHash ^= lHash >> 32;
        lBytes += lPart;
        aLength -= lPart;
    }
    return static_cast<CFHashCode>(lHash);
}

bool cf::Equal(CFTypeRef aFirst, CFTypeRef aSecond) noexcept
{
    if (aFirst == aSecond)
        return true;
    if (aFirst == nullptr || aSecond == nullptr || ToBase(aFirst)->mType != ToBase(aSecond)->mType)
        return false;

    switch (ToBase(aFirst)->mType)
    {
    case kTypeString:
        return StringEqual(static_cast<CFStringRef>(aFirst), static_cast<CFStringRef>(aSecond));
    case kTypeNumber:
        return NumberEqual(static_cast<CFNumberRef>(aFirst), static_cast<CFNumberRef>(aSecond));
    case kTypeData:
        return DataEqual(static_cast<CFDataRef>(aFirst), static_cast<CFDataRef>(aSecond));
    case kTypeArray:
        return ArrayEqual(static_cast<CFArrayRef>(aFirst), static_cast<CFArrayRef>(aSecond));
    case kTypeDictionary:
        return DictionaryEqual(static_cast<CFDictionaryRef>(aFirst), static_cast<CFDictionaryRef>(aSecond));
    case kTypeBoolean:
        break;
    }
    return false;
}

CFHashCode cf::Hash(CFTypeRef aValue) noexcept
{
    if (aValue == nullptr)
        return 0;

    switch (ToBase(aValue)->mType)
    {
    case kTypeString:
        return StringHash(static_cast<CFStringRef>(aValue));
    case kTypeNumber:
        return NumberHash(static_cast<CFNumberRef>(aValue));
    case kTypeBoolean:
        return ToBase(aValue)->mDetail;
    case kTypeData:
        return DataHash(static_cast<CFDataRef>(aValue));
    case kTypeArray:
        return static_cast<CFHashCode>(CFArrayGetCount(static_cast<CFArrayRef>(aValue)));
    case kTypeDictionary:
        return static_cast<CFHashCode>(CFDictionaryGetCount(static_cast<CFDictionaryRef>(aValue)));
    }
    return 0;
}

CFTypeRef CFRetain(CFTypeRef aValue)
{
    return Retain(aValue);
}

void CFRelease(CFTypeRef aValue)
{
    Release(aValue);
}

CFIndex CFGetRetainCount(CFTypeRef aValue)
{
    if (aValue == nullptr)
        return 0;
    return ToBase(aValue)->Is(kFlagImmortal) ? INT32_MAX : ToBase(aValue)->mCount.load(std::memory_order_relaxed);
}

CFTypeID CFGetTypeID(CFTypeRef aValue)
{
    return aValue != nullptr ? ToBase(aValue)->mType : 0;
}

Boolean CFEqual(CFTypeRef aFirst, CFTypeRef aSecond)
{
    return Equal(aFirst, aSecond);
}

CFHashCode CFHash(CFTypeRef aValue)
{
    return Hash(aValue);
}
