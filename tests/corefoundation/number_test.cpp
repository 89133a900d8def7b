#include "values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

using namespace zq::Test;

namespace
{

constexpr double kNaN      = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTwoTo63  = 9223372036854775808.0;

CFUSharedRef<CFNumberRef> Of(SInt64 aValue)
{
    return CFUAdopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &aValue));
}

CFUSharedRef<CFNumberRef> Of(int aValue)
{
    return Number(aValue);
}

CFUSharedRef<CFNumberRef> Of(double aValue)
{
    return CFUAdopt(CFNumberCreate(nullptr, kCFNumberFloat64Type, &aValue));
}

template <typename T>
void ExpectConversion(const CFUSharedRef<CFNumberRef> &aNumber, CFNumberType aType, T aExpected, bool aExact)
{
    // Not aligned, and with a byte behind that must stay.
    unsigned char lMemory[1 + sizeof(T) + 1];
    T             lValue;
    std::memset(lMemory, 0x5A, sizeof(lMemory));

    EXPECT_EQ(CFNumberGetValue(aNumber.Get(), aType, lMemory + 1), aExact)
        << Describe(aNumber.Get()) << " as " << aType;
    std::memcpy(&lValue, lMemory + 1, sizeof(lValue));
    EXPECT_TRUE(lValue == aExpected || (aExpected != aExpected && lValue != lValue))
        << Describe(aNumber.Get()) << " as " << aType << ": " << +lValue;
    EXPECT_EQ(lMemory[sizeof(lMemory) - 1], 0x5A);
}

TEST(CFNumber, ConvertsExactlyOrTellsTheLoss)
{
    constexpr auto kLeast = std::numeric_limits<SInt64>::min(), kMost = std::numeric_limits<SInt64>::max();

    ExpectConversion<SInt8>(Of(127), kCFNumberSInt8Type, 127, true);
    ExpectConversion<SInt8>(Of(128), kCFNumberSInt8Type, -128, false);
    ExpectConversion<SInt8>(Of(-129), kCFNumberCharType, 127, false);
    ExpectConversion<SInt16>(Of(40000), kCFNumberShortType, -25536, false);
    ExpectConversion<SInt32>(Of(SInt64(INT32_MAX) + 1), kCFNumberIntType, INT32_MIN, false);
    ExpectConversion<SInt64>(Of(kLeast), kCFNumberLongLongType, kLeast, true);
    ExpectConversion<SInt64>(Of(-1), kCFNumberCFIndexType, -1, true);
    ExpectConversion<SInt32>(Of(-7.0), kCFNumberSInt32Type, -7, true);
    ExpectConversion<SInt32>(Of(-7.9), kCFNumberSInt32Type, -7, false);
    ExpectConversion<SInt8>(Of(1e10), kCFNumberSInt8Type, 127, false);
    ExpectConversion<SInt64>(Of(-kTwoTo63), kCFNumberSInt64Type, kLeast, true);
    ExpectConversion<SInt64>(Of(kTwoTo63), kCFNumberSInt64Type, kMost, false);
    ExpectConversion<SInt64>(Of(-kInfinity), kCFNumberSInt64Type, kLeast, false);
    ExpectConversion<SInt64>(Of(kNaN), kCFNumberSInt64Type, 0, false);
    ExpectConversion<double>(Of(kLeast), kCFNumberDoubleType, -kTwoTo63, true);
    ExpectConversion<double>(Of(kMost), kCFNumberDoubleType, kTwoTo63, false);
    ExpectConversion<double>(Of((SInt64(1) << 53) + 1), kCFNumberCGFloatType, 9007199254740992.0, false);
    ExpectConversion<float>(Of(16777217), kCFNumberFloatType, 16777216.0F, false);
    ExpectConversion<float>(Of(0.1), kCFNumberFloat32Type, 0.1F, false);
    ExpectConversion<float>(Of(0.5), kCFNumberFloat32Type, 0.5F, true);
    ExpectConversion<float>(Of(kInfinity), kCFNumberFloat32Type, std::numeric_limits<float>::infinity(), true);
    ExpectConversion<double>(Of(kNaN), kCFNumberFloat64Type, kNaN, true);
}

TEST(CFNumber, KeepsTheTypeItWasCreatedWith)
{
    for (const UInt64 lMemory : { UInt64(0), UInt64(0x4045000000000000) }) // shared numbers, and some that are not
    {
        for (CFNumberType lType = 1; lType <= 16; ++lType)
            EXPECT_EQ(CFUGetNumberType(CFUAdopt(CFNumberCreate(nullptr, lType, &lMemory)).Get()), lType);
        for (const CFNumberType lType : { -1, 0, 17 })
            EXPECT_EQ(CFNumberCreate(nullptr, lType, &lMemory), nullptr) << lType;
    }
}

TEST(CFNumber, OneOrderOverAllTypes)
{
    // Groups of equal numbers, ascending. The low bits of large integers count.
    constexpr SInt64                                          kLeast     = std::numeric_limits<SInt64>::min();
    const std::vector<std::vector<CFUSharedRef<CFNumberRef>>> kAscending = {
        { Of(kNaN), Of(-kNaN) },
        { Of(-kInfinity) },
        { Of(-kTwoTo63), Of(kLeast) },
        { Of(kLeast + 1) },
        { Of(-1.5) },
        { Of(-1), Of(SInt64(-1)), Of(-1.0) },
        { Of(0), Of(0.0), Of(-0.0) },
        { Of(0.5) },
        { Of(255), Of(255.0), Of(SInt64(255)) },
        { Of(256), Of(256.0), Of(SInt64(256)) },
        { Of(9007199254740992.0), Of(SInt64(9007199254740992)) },
        { Of(SInt64(9007199254740993)) },
        { Of(std::numeric_limits<SInt64>::max()) },
        { Of(kTwoTo63) },
        { Of(kInfinity) },
    };
    std::vector<std::pair<std::size_t, CFNumberRef>> lNumbers; // with the group

    for (std::size_t lGroup = 0; lGroup < kAscending.size(); ++lGroup)
    {
        for (const auto &lNumber : kAscending[lGroup])
            lNumbers.emplace_back(lGroup, lNumber.Get());
    }
    for (const auto &[lFirst, lLeft] : lNumbers)
    {
        for (const auto &[lSecond, lRight] : lNumbers)
        {
            const int lOrder = lFirst < lSecond ? -1 : lFirst > lSecond ? 1 : 0;
            EXPECT_EQ(CFNumberCompare(lLeft, lRight, nullptr), lOrder)
                << Describe(lLeft) << " and " << Describe(lRight);
            EXPECT_EQ(CFEqual(lLeft, lRight), lOrder == 0) << Describe(lLeft) << " and " << Describe(lRight);
            EXPECT_TRUE(lOrder != 0 || CFHash(lLeft) == CFHash(lRight)) << Describe(lLeft);
        }
    }
}

} // namespace
