#include <cfvalues.h>

#include <gtest/gtest.h>

#include <limits>

using namespace zq::Test;

namespace
{

constexpr double kNaN      = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTwoTo63  = 9223372036854775808.0;

template <typename T>
CFUSharedRef<CFNumberRef> Of(T aValue)
{
    constexpr CFNumberType kType = std::is_same_v<T, int>      ? kCFNumberIntType
                                   : std::is_same_v<T, double> ? kCFNumberFloat64Type
                                                               : kCFNumberSInt64Type;
    return CFUAdopt(CFNumberCreate(nullptr, kType, &aValue));
}

template <typename T>
void ExpectConversion(const CFUSharedRef<CFNumberRef> &aNumber, CFNumberType aType, T aExpected, bool aExact)
{
    T lValues[2] = { 0, 90 }; // what is behind the value must stay

    EXPECT_EQ(CFNumberGetValue(aNumber.Get(), aType, lValues), aExact) << Text(aNumber.Get()) << " as " << aType;
    EXPECT_TRUE(lValues[0] == aExpected || (aExpected != aExpected && lValues[0] != lValues[0]))
        << Text(aNumber.Get()) << " as " << aType << ": " << +lValues[0];
    EXPECT_EQ(lValues[1], 90);
}

TEST(CFNumber, ConvertsExactlyOrTellsTheLoss)
{
    constexpr auto kLeast = std::numeric_limits<SInt64>::min(), kMost = std::numeric_limits<SInt64>::max();

    ExpectConversion<SInt8>(Of(128), kCFNumberSInt8Type, -128, false);
    ExpectConversion<SInt32>(Of(SInt64(INT32_MAX) + 1), kCFNumberIntType, INT32_MIN, false);
    ExpectConversion<SInt32>(Of(-7.9), kCFNumberSInt32Type, -7, false);
    ExpectConversion<SInt64>(Of(-kTwoTo63), kCFNumberSInt64Type, kLeast, true);
    ExpectConversion<SInt64>(Of(kTwoTo63), kCFNumberSInt64Type, kMost, false);
    ExpectConversion<SInt64>(Of(kNaN), kCFNumberSInt64Type, 0, false);
    ExpectConversion<double>(Of(kLeast), kCFNumberDoubleType, -kTwoTo63, true);
    ExpectConversion<double>(Of(kMost), kCFNumberDoubleType, kTwoTo63, false);
    ExpectConversion<double>(Of((SInt64(1) << 53) + 1), kCFNumberCGFloatType, 9007199254740992.0, false);
    ExpectConversion<float>(Of(0.1), kCFNumberFloat32Type, 0.1F, false);
    ExpectConversion<float>(Of(kInfinity), kCFNumberFloat32Type, std::numeric_limits<float>::infinity(), true);
}

TEST(CFNumber, EqualityKnowsNoTypeAndLosesNoBit)
{
    constexpr SInt64                             kExact = 9007199254740992; // what a double can tell from its neighbour
    const std::vector<CFUSharedRef<CFNumberRef>> kEqual[] = {
        { Of(kNaN), Of(-kNaN) },
        { Of(-kTwoTo63), Of(std::numeric_limits<SInt64>::min()) },
        { Of(-1), Of(SInt64(-1)), Of(-1.0) },
        { Of(0), Of(0.0), Of(-0.0) },
        { Of(9007199254740992.0), Of(kExact) },
        { Of(kExact + 1) },
        { Of(std::numeric_limits<SInt64>::max()) },
        { Of(kTwoTo63) },
    };

    for (const auto &lGroup : kEqual)
    {
        for (const auto &lOther : kEqual)
        {
            for (const auto &lNumber : lGroup)
            {
                EXPECT_EQ(CFEqual(lNumber.Get(), lOther.back().Get()), &lGroup == &lOther) << Text(lNumber.Get());
                EXPECT_EQ(CFHash(lNumber.Get()), CFHash(lGroup.back().Get())) << Text(lNumber.Get());
            }
        }
    }
}

} // namespace
