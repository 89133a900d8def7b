#include "values.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

CFUSharedRef<CFMutableArrayRef> Numbers(int aCount)
{
    auto lArray = Array();
    for (int lValue = 0; lValue < aCount; ++lValue)
        CFArrayAppendValue(lArray.Get(), Number(lValue).Get());
    return lArray;
}

TEST(CFArray, ChangesKeepTheOrderAndWhatIsOutOfRangeIsHarmless)
{
    const auto lArray = Numbers(5);

    CFArrayRemoveValueAtIndex(lArray.Get(), 0);
    CFArraySetValueAtIndex(lArray.Get(), 1, CFSTR("x"));
    CFArraySetValueAtIndex(lArray.Get(), 4, CFSTR("end"));
    CFArrayRemoveValueAtIndex(lArray.Get(), 3);
    for (const CFIndex lIndex : { -1, 5 })
    {
        CFArrayRemoveValueAtIndex(lArray.Get(), lIndex);
        CFArraySetValueAtIndex(lArray.Get(), lIndex, CFSTR("no place"));
        EXPECT_EQ(CFArrayGetValueAtIndex(lArray.Get(), lIndex), nullptr);
    }
    CFArrayRemoveValueAtIndex(lArray.Get(), 4);
    CFArrayAppendValue(lArray.Get(), nullptr);
    CFArrayAppendArray(lArray.Get(), lArray.Get(), CFRangeMake(1, 100));
    EXPECT_EQ(Describe(lArray.Get()), "(1, x, 3, end, x, 3, end)");

    // Ranges are cut to what there is.
    static const struct
    {
        CFRange mRange;
        CFIndex mFirstX;
    } kRows[] = { { { 0, 7 }, 1 },  { { 2, INTPTR_MAX }, 4 }, { { 2, 2 }, -1 }, { { 9, 9 }, -1 },
                  { { -5, 2 }, 1 }, { { 1, -1 }, -1 },        { { 5, 5 }, -1 }, { { INTPTR_MAX, INTPTR_MAX }, -1 } };
    for (const auto &lRow : kRows)
    {
        EXPECT_EQ(CFArrayGetFirstIndexOfValue(lArray.Get(), lRow.mRange, CFSTR("x")), lRow.mFirstX)
            << lRow.mRange.location;
        EXPECT_EQ(CFArrayContainsValue(lArray.Get(), lRow.mRange, CFSTR("x")), lRow.mFirstX >= 0);
    }
}

TEST(CFArray, WhatTheCallbacksRefuseLeavesNothingBehind)
{
    constexpr CFArrayCallBacks kRefusing = { 0, Calls::RefuseOdd, Calls::Release, nullptr, nullptr };
    const void                *lValues[] = { Pointer(2), Pointer(4), Pointer(5) };
    const auto                 lSource   = CFUAdopt(CFArrayCreate(nullptr, lValues, 3, nullptr));

    Calls::sRetains = Calls::sReleases = 0;
    {
        const auto lArray = CFUAdopt(CFArrayCreateMutable(nullptr, 0, &kRefusing));
        for (std::uintptr_t lValue = 1; lValue <= 100; ++lValue)
            CFArrayAppendValue(lArray.Get(), Pointer(lValue));
        CFArraySetValueAtIndex(lArray.Get(), 0, Pointer(1));
        CFArraySetValueAtIndex(lArray.Get(), 0, Pointer(6));
        CFArrayRemoveValueAtIndex(lArray.Get(), 1);
        CFArrayAppendArray(lArray.Get(), lSource.Get(), CFRangeMake(0, 3));
        EXPECT_EQ(CFArrayGetCount(lArray.Get()), 49);
        EXPECT_EQ(CFArrayGetValueAtIndex(lArray.Get(), 0), Pointer(6));
        EXPECT_EQ(Calls::sReleases, 2 + 2); // and the two of the array that was refused as a whole
        EXPECT_EQ(CFArrayCreate(nullptr, lValues, 3, &kRefusing), nullptr);
    }
    EXPECT_EQ(Calls::sRetains, Calls::sReleases);
}

TEST(CFArray, CopiesAreIndependentAndGrowPastTheirCapacity)
{
    const auto lArray = Numbers(50);

    for (const CFIndex lCapacity : { 0, 1, 50, 1000, INT32_MAX })
    {
        const auto lCopy = CFUAdopt(CFArrayCreateMutableCopy(nullptr, lCapacity, lArray.Get()));
        for (int lValue = 50; lValue < 2000; ++lValue)
            CFArrayAppendValue(lCopy.Get(), Number(lValue).Get());
        EXPECT_TRUE(CFEqual(lCopy.Get(), Numbers(2000).Get())) << lCapacity;
        EXPECT_EQ(CFArrayGetCount(lArray.Get()), 50);
    }

    const auto lFixed = CFUAdopt(CFArrayCreateCopy(nullptr, lArray.Get()));
    CFArrayAppendValue(const_cast<CFMutableArrayRef>(lFixed.Get()), CFSTR("x"));
    CFArrayRemoveAllValues(const_cast<CFMutableArrayRef>(lFixed.Get()));
    CFArrayRemoveAllValues(lArray.Get());
    EXPECT_TRUE(CFEqual(lFixed.Get(), Numbers(50).Get()));
    EXPECT_EQ(CFUAdopt(CFArrayCreateCopy(nullptr, lFixed.Get())).Get(), lFixed.Get());
}

} // namespace
