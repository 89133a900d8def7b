/**
 *  @file
 *    Numbers: small ones are shared.
 */

#include "cfruntime.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

using namespace cf;

struct __CFNumber : cf::Base
{
    __CFNumber(CFNumberType aType, unsigned aFlags, SInt64 aValue) noexcept
        : Base(kTypeNumber, aFlags, static_cast<unsigned>(aType)), mInteger(aValue)
    {
    }

    __CFNumber(CFNumberType aType, unsigned aFlags, double aValue) noexcept
        : Base(kTypeNumber, aFlags, static_cast<unsigned>(aType)), mFloat(aValue)
    {
    }

    union
    {
        SInt64 mInteger;
        double mFloat;
    };
};

namespace
{

constexpr double kTwoTo63 = 9223372036854775808.0;

/** What a type code is in memory: the code of the fixed-size type. 0 for no type code. */
CFNumberType Canonical(CFNumberType aType) noexcept
{
    static constexpr CFNumberType kLong  = sizeof(long) == 8 ? kCFNumberSInt64Type : kCFNumberSInt32Type;
    static constexpr CFNumberType kIndex = sizeof(CFIndex) == 8 ? kCFNumberSInt64Type : kCFNumberSInt32Type;
    static constexpr CFNumberType kFloat = sizeof(void *) == 8 ? kCFNumberFloat64Type : kCFNumberFloat32Type;

    static constexpr CFNumberType kCanonical[] = { 0,
                                                   kCFNumberSInt8Type,
                                                   kCFNumberSInt16Type,
                                                   kCFNumberSInt32Type,
                                                   kCFNumberSInt64Type,
                                                   kCFNumberFloat32Type,
                                                   kCFNumberFloat64Type,
                                                   kCFNumberSInt8Type,
                                                   kCFNumberSInt16Type,
                                                   kCFNumberSInt32Type,
                                                   kLong,
                                                   kCFNumberSInt64Type,
                                                   kCFNumberFloat32Type,
                                                   kCFNumberFloat64Type,
                                                   kIndex,
                                                   kIndex,
                                                   kFloat };

    return aType > 0 && aType <= kCFNumberCGFloatType ? kCanonical[aType] : 0;
}

bool IsFloat(CFNumberType aCanonical) noexcept
{
    return aCanonical == kCFNumberFloat32Type || aCanonical == kCFNumberFloat64Type;
}

bool IsFloat(CFNumberRef aNumber) noexcept
{
    return IsFloat(Canonical(aNumber->mDetail));
}

template <typename T>
T Load(const void *aMemory) noexcept
{
    T lValue;
    std::memcpy(&lValue, aMemory, sizeof(lValue));
    return lValue;
}

template <typename T>
void Store(void *aMemory, T aValue) noexcept
{
    std::memcpy(aMemory, &aValue, sizeof(aValue));
}

SInt64 LoadInteger(CFNumberType aCanonical, const void *aMemory) noexcept
{
    switch (aCanonical)
    {
    case kCFNumberSInt8Type:
        return Load<SInt8>(aMemory);
    case kCFNumberSInt16Type:
        return Load<SInt16>(aMemory);
    case kCFNumberSInt32Type:
        return Load<SInt32>(aMemory);
    default:
        return Load<SInt64>(aMemory);
    }
}

// The shared numbers: of the four sizes and of `int`, the values of an unsigned byte and -1.

constexpr SInt64 kSmallest = -1;
constexpr SInt64 kLargest  = 255;

constexpr CFNumberType kSharedTypes[] = { kCFNumberSInt8Type, kCFNumberSInt16Type, kCFNumberSInt32Type,
                                          kCFNumberSInt64Type, kCFNumberIntType };

struct SharedNumbers
{
    static constexpr std::size_t kValues = kLargest - kSmallest + 1;

    SharedNumbers() noexcept
    {
        auto *lNext = reinterpret_cast<__CFNumber *>(mMemory);
        for (const CFNumberType lType : kSharedTypes)
        {
            for (SInt64 lValue = kSmallest; lValue <= kLargest; ++lValue)
                new (lNext++) __CFNumber(lType, kFlagImmortal, lValue);
        }
    }

    CFNumberRef Find(CFNumberType aType, SInt64 aValue) const noexcept
    {
        std::size_t lRow = 0;
        while (lRow < std::size(kSharedTypes) && kSharedTypes[lRow] != aType)
            ++lRow;
        if (lRow == std::size(kSharedTypes) || aValue < kSmallest || aValue > kLargest)
            return nullptr;
        return reinterpret_cast<const __CFNumber *>(mMemory) + lRow * kValues + (aValue - kSmallest);
    }

    alignas(__CFNumber) unsigned char mMemory[std::size(kSharedTypes) * kValues * sizeof(__CFNumber)];
};

template <typename T>
CFNumberRef NewNumber(CFNumberType aType, T aValue) noexcept
{
    void *const lMemory = Allocate(sizeof(__CFNumber));

    return lMemory != nullptr ? new (lMemory) __CFNumber(aType, 0, aValue) : nullptr;
}

/** Store as an integer of the type; false when the value does not fit. */
template <typename T>
Boolean StoreInteger(CFNumberRef aNumber, void *aMemory) noexcept
{
    if (!IsFloat(aNumber))
    {
        Store(aMemory, static_cast<T>(aNumber->mInteger));
        return static_cast<T>(aNumber->mInteger) == aNumber->mInteger;
    }

    // The limits of a 64-bit integer are not exact as doubles: the upper one is
    // rounded up, so it is excluded.
    const double lLower = static_cast<double>(std::numeric_limits<T>::min());
    const double lUpper = std::ldexp(1.0, std::numeric_limits<T>::digits);
    const double lValue = std::trunc(aNumber->mFloat);
    if (!(lValue >= lLower && lValue < lUpper))
    {
        Store(aMemory, lValue >= lUpper  ? std::numeric_limits<T>::max()
                       : lValue < lLower ? std::numeric_limits<T>::min()
                                         : T{});
        return false;
    }
    Store(aMemory, static_cast<T>(lValue));
    return lValue == aNumber->mFloat;
}

template <typename T>
Boolean StoreFloat(CFNumberRef aNumber, void *aMemory) noexcept
{
    if (IsFloat(aNumber))
    {
        const T lValue = static_cast<T>(aNumber->mFloat);
        Store(aMemory, lValue);
        return static_cast<double>(lValue) == aNumber->mFloat || std::isnan(aNumber->mFloat);
    }

    const T lValue = static_cast<T>(aNumber->mInteger);
    Store(aMemory, lValue);
    return lValue < static_cast<T>(kTwoTo63) && static_cast<SInt64>(lValue) == aNumber->mInteger;
}

template <typename T>
int OrderOf(T aFirst, T aSecond) noexcept
{
    return aFirst < aSecond ? -1 : aFirst > aSecond ? 1 : 0;
}

/** An integer against a float, without losing the integer's low bits. */
int OrderMixed(SInt64 anInteger, double aFloat) noexcept
{
    if (aFloat >= kTwoTo63)
        return -1;
    if (aFloat < -kTwoTo63)
        return 1;

    const int lWhole = OrderOf(anInteger, static_cast<SInt64>(std::trunc(aFloat)));
    return lWhole != 0 ? lWhole : OrderOf(std::trunc(aFloat), aFloat);
}

bool IsNaN(CFNumberRef aNumber) noexcept
{
    return IsFloat(aNumber) && std::isnan(aNumber->mFloat);
}

/** A total order: what is not a number comes first, and is equal to itself. */
int Order(CFNumberRef aFirst, CFNumberRef aSecond) noexcept
{
    if (IsNaN(aFirst) || IsNaN(aSecond))
        return IsNaN(aSecond) - IsNaN(aFirst);
    if (IsFloat(aFirst) && IsFloat(aSecond))
        return OrderOf(aFirst->mFloat, aSecond->mFloat);
    if (IsFloat(aFirst))
        return -OrderMixed(aSecond->mInteger, aFirst->mFloat);
    if (IsFloat(aSecond))
        return OrderMixed(aFirst->mInteger, aSecond->mFloat);
    return OrderOf(aFirst->mInteger, aSecond->mInteger);
}

} // namespace

bool cf::NumberEqual(CFNumberRef aFirst, CFNumberRef aSecond) noexcept
{
    return Order(aFirst, aSecond) == 0;
}

CFHashCode cf::NumberHash(CFNumberRef aNumber) noexcept
{
    SInt64 lValue = 0;

    // Equal numbers of different types must have equal hashes.
    if (StoreInteger<SInt64>(aNumber, &lValue))
        return static_cast<CFHashCode>(lValue) * 2654435761u;
    return IsNaN(aNumber) ? 1 : HashBytes(&aNumber->mFloat, sizeof(aNumber->mFloat));
}

CFTypeID CFNumberGetTypeID(void)
{
    return kTypeNumber;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType aType, const void *aValue)
{
    static const SharedNumbers sShared;

    const CFNumberType lCanonical = Canonical(aType);
    if (lCanonical == 0 || aValue == nullptr)
        return nullptr;
    if (lCanonical == kCFNumberFloat32Type)
        return NewNumber(aType, static_cast<double>(Load<Float32>(aValue)));
    if (lCanonical == kCFNumberFloat64Type)
        return NewNumber(aType, Load<Float64>(aValue));

    const SInt64      lValue  = LoadInteger(lCanonical, aValue);
    const CFNumberRef lShared = sShared.Find(aType, lValue);
    return lShared != nullptr ? lShared : NewNumber(aType, lValue);
}

CFNumberType CFNumberGetType(CFNumberRef aNumber)
{
    return CheckedType(aNumber, kTypeNumber) != nullptr ? aNumber->mDetail : 0;
}

CFIndex CFNumberGetByteSize(CFNumberRef aNumber)
{
    static constexpr CFIndex kSizes[] = { 0, 1, 2, 4, 8, 4, 8 };

    return kSizes[Canonical(CFNumberGetType(aNumber))];
}

Boolean CFNumberIsFloatType(CFNumberRef aNumber)
{
    return CheckedType(aNumber, kTypeNumber) != nullptr && IsFloat(aNumber);
}

Boolean CFNumberGetValue(CFNumberRef aNumber, CFNumberType aType, void *aValue)
{
    if (CheckedType(aNumber, kTypeNumber) == nullptr || aValue == nullptr)
        return false;

    switch (Canonical(aType))
    {
    case kCFNumberSInt8Type:
        return StoreInteger<SInt8>(aNumber, aValue);
    case kCFNumberSInt16Type:
        return StoreInteger<SInt16>(aNumber, aValue);
    case kCFNumberSInt32Type:
        return StoreInteger<SInt32>(aNumber, aValue);
    case kCFNumberSInt64Type:
        return StoreInteger<SInt64>(aNumber, aValue);
    case kCFNumberFloat32Type:
        return StoreFloat<Float32>(aNumber, aValue);
    case kCFNumberFloat64Type:
        return StoreFloat<Float64>(aNumber, aValue);
    default:
        return false;
    }
}

CFComparisonResult CFNumberCompare(CFNumberRef aFirst, CFNumberRef aSecond, void *)
{
    if (CheckedType(aFirst, kTypeNumber) == nullptr || CheckedType(aSecond, kTypeNumber) == nullptr)
        return aFirst == aSecond ? kCFCompareEqualTo : aFirst == nullptr ? kCFCompareLessThan : kCFCompareGreaterThan;

    const int lOrder = Order(aFirst, aSecond);
    return lOrder < 0 ? kCFCompareLessThan : lOrder > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
