#include "values.h"

namespace zq::Test
{

CFUSharedRef<CFStringRef> String(std::string_view aText)
{
    return CFUAdopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(aText.data()),
                                            static_cast<CFIndex>(aText.size()), kCFStringEncodingUTF8, false));
}

CFUSharedRef<CFNumberRef> Number(int aValue)
{
    return CFUAdopt(CFNumberCreate(nullptr, kCFNumberIntType, &aValue));
}

CFUSharedRef<CFMutableDictionaryRef> Dictionary()
{
    return CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

CFUSharedRef<CFMutableArrayRef> Array()
{
    return CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
}

std::string Describe(CFTypeRef aValue)
{
    const auto        lText    = CFUAdopt(CFCopyDescription(aValue));
    const char *const lPointer = CFStringGetCStringPtr(lText.Get(), kCFStringEncodingUTF8);

    return lPointer != nullptr ? lPointer : "no text";
}

int Calls::sRetains  = 0;
int Calls::sReleases = 0;

const void *Calls::Retain(CFAllocatorRef, const void *aValue)
{
    ++sRetains;
    return aValue;
}

const void *Calls::RefuseOdd(CFAllocatorRef, const void *aValue)
{
    const bool lOdd = reinterpret_cast<std::uintptr_t>(aValue) % 2 != 0;

    sRetains += lOdd ? 0 : 1;
    return lOdd ? nullptr : aValue;
}

void Calls::Release(CFAllocatorRef, const void *)
{
    ++sReleases;
}

Boolean Calls::EqualDigit(const void *aFirst, const void *aSecond)
{
    return reinterpret_cast<std::uintptr_t>(aFirst) % 10 == reinterpret_cast<std::uintptr_t>(aSecond) % 10;
}

CFHashCode Calls::SameHash(const void *)
{
    return 7;
}

} // namespace zq::Test
