/**
 *  @file
 *    Data: bytes behind the head.
 */

#include "cfruntime.h"

#include <cstring>

using namespace cf;

// The bytes stand behind the head.
struct __CFData : cf::Base
{
    explicit __CFData(CFIndex aLength) noexcept : Base(kTypeData, 0), mLength(aLength) {}

    const CFIndex mLength;
};

bool cf::DataEqual(CFDataRef aFirst, CFDataRef aSecond) noexcept
{
    return aFirst->mLength == aSecond->mLength && std::memcmp(CFDataGetBytePtr(aFirst), CFDataGetBytePtr(aSecond),
                                                              static_cast<std::size_t>(aFirst->mLength)) == 0;
}

CFHashCode cf::DataHash(CFDataRef aData) noexcept
{
    return HashBytes(CFDataGetBytePtr(aData), static_cast<std::size_t>(aData->mLength));
}

CFTypeID CFDataGetTypeID(void)
{
    return kTypeData;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8 *aBytes, CFIndex aLength)
{
    if (aLength < 0 || aLength > INT32_MAX || (aBytes == nullptr && aLength != 0))
        return nullptr;

    void *const lMemory = Allocate(sizeof(__CFData) + static_cast<std::size_t>(aLength));
    if (lMemory == nullptr)
        return nullptr;

    auto *const lData = new (lMemory) __CFData(aLength);
    if (aLength != 0)
        std::memcpy(static_cast<void *>(lData + 1), aBytes, static_cast<std::size_t>(aLength));
    return lData;
}

CFIndex CFDataGetLength(CFDataRef aData)
{
    return CheckedType(aData, kTypeData) != nullptr ? aData->mLength : 0;
}

const UInt8 *CFDataGetBytePtr(CFDataRef aData)
{
    return CheckedType(aData, kTypeData) != nullptr ? reinterpret_cast<const UInt8 *>(aData + 1) : nullptr;
}
