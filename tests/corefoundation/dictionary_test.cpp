#include "values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

using namespace zq::Test;

namespace
{

constexpr CFDictionaryKeyCallBacks   kSameHash = { 0,       Calls::Retain,     Calls::Release,
                                                   nullptr, Calls::EqualDigit, Calls::SameHash };
constexpr CFDictionaryKeyCallBacks   kNoHash   = { 0, nullptr, nullptr, nullptr, Calls::EqualDigit, nullptr };
constexpr CFDictionaryValueCallBacks kCounting = { 0, Calls::Retain, Calls::Release, nullptr, nullptr };
constexpr CFDictionaryValueCallBacks kRefusing = { 0, Calls::RefuseOdd, Calls::Release, nullptr, nullptr };

std::string Key(int aNumber)
{
    return "key " + std::to_string(aNumber);
}

void Set(CFMutableDictionaryRef aDictionary, std::string_view aKey, int aValue)
{
    CFDictionarySetValue(aDictionary, String(aKey).Get(), Number(aValue).Get());
}

void Remove(CFMutableDictionaryRef aDictionary, std::string_view aKey)
{
    CFDictionaryRemoveValue(aDictionary, String(aKey).Get());
}

/** A dictionary as `a=1 b=2`. */
CFUSharedRef<CFMutableDictionaryRef> Parse(std::string_view aText)
{
    const auto lDictionary = Dictionary();
    for (std::size_t lIndex = 0; lIndex < aText.size(); lIndex += 4)
        Set(lDictionary.Get(), aText.substr(lIndex, 1), aText[lIndex + 2] - '0');
    return lDictionary;
}

TEST(CFDictionary, KeysStayInTheOrderInWhichTheyWereFirstSet)
{
    const auto lDictionary = Parse("c=1 a=2 b=3 d=4 e=5");

    Set(lDictionary.Get(), "a", 9);
    Remove(lDictionary.Get(), "c");
    Remove(lDictionary.Get(), "none");
    EXPECT_EQ(Describe(lDictionary.Get()), "{ a = 9; b = 3; d = 4; e = 5; }");

    CFDictionaryAddValue(lDictionary.Get(), CFSTR("b"), Number(0).Get());
    CFDictionaryAddValue(lDictionary.Get(), CFSTR("c"), Number(0).Get());
    EXPECT_EQ(Describe(lDictionary.Get()), "{ a = 9; b = 3; d = 4; e = 5; c = 0; }");

    const void *lKeys[5], *lValues[5];
    CFDictionaryGetKeysAndValues(lDictionary.Get(), lKeys, nullptr);
    CFDictionaryGetKeysAndValues(lDictionary.Get(), nullptr, lValues);
    EXPECT_TRUE(CFEqual(lKeys[4], CFSTR("c")));
    EXPECT_TRUE(CFEqual(lValues[0], Number(9).Get()));
    EXPECT_EQ(Describe(CFUAdopt(CFUDictionaryCopyKeys(lDictionary.Get())).Get()), "(a, b, d, e, c)");

    CFDictionaryRemoveAllValues(lDictionary.Get());
    Set(lDictionary.Get(), "z", 1);
    EXPECT_EQ(Describe(lDictionary.Get()), "{ z = 1; }");
}

TEST(CFDictionary, OfEqualKeysTheFirstCounts)
{
    const auto  lSecond   = String("a");
    const void *lKeys[]   = { CFSTR("a"), lSecond.Get(), CFSTR("b") };
    const void *lValues[] = { kCFBooleanTrue, kCFBooleanFalse, kCFBooleanFalse };

    const auto lDictionary = CFUAdopt(CFDictionaryCreate(nullptr, lKeys, lValues, 3, &kCFTypeDictionaryKeyCallBacks,
                                                         &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(Describe(lDictionary.Get()), "{ a = true; b = false; }");
    EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, lValues, 3, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFDictionaryCreate(nullptr, lKeys, lValues, -1, nullptr, nullptr), nullptr);
}

TEST(CFDictionary, RandomOperationsAgreeWithAModel)
{
    // Sizes on both sides of where an index begins.
    for (const int lKeys : { 6, 40, 3000 })
    {
        std::mt19937               lRandom(static_cast<unsigned>(lKeys));
        std::map<std::string, int> lModel;
        std::vector<std::string>   lOrder;
        const auto                 lDictionary = Dictionary();

        for (int lStep = 0; lStep < 20000; ++lStep)
        {
            // Waves of growing and shrinking, and an end of everything now and then.
            const std::string lKey   = Key(static_cast<int>(lRandom() % static_cast<unsigned>(lKeys)));
            const bool        lGrows = lStep / (lKeys * 2) % 2 == 0;
            if (lRandom() % 3000 == 0)
            {
                CFDictionaryRemoveAllValues(lDictionary.Get());
                lModel.clear();
                lOrder.clear();
            }
            else if (lRandom() % 10 < (lGrows ? 8 : 2))
            {
                Set(lDictionary.Get(), lKey, lStep);
                if (lModel.count(lKey) == 0)
                    lOrder.push_back(lKey);
                lModel[lKey] = lStep;
            }
            else
            {
                Remove(lDictionary.Get(), lKey);
                if (lModel.erase(lKey) != 0)
                    lOrder.erase(std::find(lOrder.begin(), lOrder.end(), lKey));
            }

            const std::string lAsked = Key(static_cast<int>(lRandom() % static_cast<unsigned>(lKeys)));
            ASSERT_EQ(CFDictionaryContainsKey(lDictionary.Get(), String(lAsked).Get()), lModel.count(lAsked));
            ASSERT_EQ(CFDictionaryGetCount(lDictionary.Get()), static_cast<CFIndex>(lModel.size()));
            if (lStep % 500 != 0)
                continue;

            std::string lExpected = "{ ";
            for (const std::string &lName : lOrder)
                lExpected += lName + " = " + std::to_string(lModel[lName]) + "; ";
            ASSERT_EQ(Describe(lDictionary.Get()), lExpected + "}") << lStep;
        }
    }
}

TEST(CFDictionary, ALargeOneIsBuiltWalkedCopiedAndEmptied)
{
    constexpr int kCount      = 100000;
    const auto    lDictionary = Dictionary();

    for (int lKey = 0; lKey < kCount; ++lKey)
        Set(lDictionary.Get(), Key(lKey), lKey);
    const auto lCopy = CFUAdopt(CFDictionaryCreateCopy(nullptr, lDictionary.Get()));
    EXPECT_TRUE(CFEqual(lCopy.Get(), lDictionary.Get()));

    // The oldest first, which leaves every gap at the front.
    for (int lKey = 0; lKey < kCount - 1; ++lKey)
    {
        Remove(lDictionary.Get(), Key(lKey));
        ASSERT_TRUE(lKey % 9973 != 0 || CFDictionaryContainsKey(lDictionary.Get(), String(Key(kCount - 1)).Get()));
    }
    EXPECT_EQ(Describe(lDictionary.Get()), "{ key 99999 = 99999; }");
    EXPECT_EQ(CFDictionaryGetCount(lCopy.Get()), kCount);
    EXPECT_TRUE(CFEqual(CFDictionaryGetValue(lCopy.Get(), String(Key(4711)).Get()), Number(4711).Get()));
}

TEST(CFDictionary, EqualHashesAndTheCallbacksEqualityAreFollowed)
{
    for (const CFDictionaryKeyCallBacks &lCallBacks : { kSameHash, kNoHash })
    {
        Calls::sRetains = Calls::sReleases = 0;
        {
            const auto lDictionary = CFUAdopt(CFDictionaryCreateMutable(nullptr, 0, &lCallBacks, &kCounting));
            for (std::uintptr_t lKey = 1; lKey <= 60; ++lKey)
                CFDictionarySetValue(lDictionary.Get(), Pointer(lKey), Pointer(lKey));
            EXPECT_EQ(CFDictionaryGetCount(lDictionary.Get()), 10);
            EXPECT_EQ(CFDictionaryGetValue(lDictionary.Get(), Pointer(1003)), Pointer(53));
            CFDictionaryRemoveValue(lDictionary.Get(), Pointer(1003));
            EXPECT_FALSE(CFDictionaryContainsKey(lDictionary.Get(), Pointer(3)));

            const auto lCopy = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, lDictionary.Get()));
            EXPECT_TRUE(CFEqual(lCopy.Get(), lDictionary.Get()));
            CFDictionaryRemoveAllValues(lDictionary.Get());
        }
        EXPECT_EQ(Calls::sRetains, Calls::sReleases);
    }

    // So many of one hash that they fill a large part of an index.
    auto lEqualPointers    = kSameHash;
    lEqualPointers.equal   = nullptr;
    const auto lDictionary = CFUAdopt(CFDictionaryCreateMutable(nullptr, 0, &lEqualPointers, nullptr));
    for (std::uintptr_t lKey = 0; lKey < 500; ++lKey)
        CFDictionarySetValue(lDictionary.Get(), Pointer(lKey + 1), Pointer(lKey));
    for (std::uintptr_t lKey = 0; lKey < 500; lKey += 2)
        CFDictionaryRemoveValue(lDictionary.Get(), Pointer(lKey + 1));
    for (std::uintptr_t lKey = 0; lKey < 500; ++lKey)
        ASSERT_EQ(CFDictionaryContainsKey(lDictionary.Get(), Pointer(lKey + 1)), lKey % 2 == 1) << lKey;
}

TEST(CFDictionary, BarePointersMayBeNullAndAreNeverLookedAt)
{
    const auto lBare = CFUAdopt(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
    for (std::uintptr_t lKey = 0; lKey < 100; ++lKey)
        CFDictionarySetValue(lBare.Get(), Pointer(lKey), Pointer(100 - lKey));

    const void *lValue = Pointer(1);
    CFDictionarySetValue(lBare.Get(), Pointer(7), nullptr);
    EXPECT_EQ(CFDictionaryGetValue(lBare.Get(), nullptr), Pointer(100));
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(lBare.Get(), Pointer(7), &lValue));
    EXPECT_EQ(lValue, nullptr);
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(lBare.Get(), Pointer(100), &lValue));
    CFDictionaryRemoveValue(lBare.Get(), nullptr);
    EXPECT_FALSE(CFDictionaryContainsKey(lBare.Get(), nullptr));
    EXPECT_EQ(CFDictionaryGetCount(lBare.Get()), 99);
    EXPECT_EQ(Describe(lBare.Get()), "<pointers>");

    const auto lTyped = Dictionary();
    for (int lKey = 0; lKey < 99; ++lKey)
        Set(lTyped.Get(), Key(lKey), lKey);
    EXPECT_FALSE(CFEqual(lBare.Get(), lTyped.Get()));
    EXPECT_FALSE(CFEqual(lTyped.Get(), lBare.Get()));
}

TEST(CFDictionary, WhatIsRefusedChangesNothing)
{
    const auto lTyped = Parse("a=1");
    CFDictionarySetValue(lTyped.Get(), CFSTR("a"), nullptr);
    CFDictionarySetValue(lTyped.Get(), CFSTR("b"), nullptr);
    CFDictionarySetValue(lTyped.Get(), nullptr, CFSTR("b"));
    EXPECT_FALSE(CFDictionaryContainsKey(lTyped.Get(), nullptr));
    EXPECT_EQ(Describe(lTyped.Get()), "{ a = 1; }");

    const auto lCopying = CFUAdopt(
        CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(lCopying.Get(), Number(300).Get(), kCFBooleanTrue);
    CFDictionarySetValue(lCopying.Get(), String("a").Get(), Number(1).Get());
    EXPECT_EQ(Describe(lCopying.Get()), "{ a = 1; }");
    EXPECT_TRUE(CFEqual(lCopying.Get(), lTyped.Get()));

    Calls::sRetains = Calls::sReleases = 0;
    {
        const void *lKeys[]  = { Pointer(1), Pointer(2) };
        const auto  lRefuses = CFUAdopt(CFDictionaryCreateMutable(nullptr, 0, &kSameHash, &kRefusing));
        CFDictionarySetValue(lRefuses.Get(), Pointer(1), Pointer(1));
        EXPECT_EQ(CFDictionaryGetCount(lRefuses.Get()), 0);
        EXPECT_EQ(CFDictionaryCreate(nullptr, lKeys, lKeys, 2, &kSameHash, &kRefusing), nullptr);
    }
    EXPECT_EQ(Calls::sRetains, Calls::sReleases);
}

TEST(CFDictionary, ImmutableOnesTakeNoChange)
{
    const auto lFixed   = CFUAdopt(CFDictionaryCreateCopy(nullptr, Parse("a=1 b=2").Get()));
    const auto lMutable = const_cast<CFMutableDictionaryRef>(lFixed.Get());

    Set(lMutable, "a", 2);
    Set(lMutable, "c", 3);
    Remove(lMutable, "a");
    CFDictionaryRemoveAllValues(lMutable);
    EXPECT_FALSE(CFUDictionaryMerge(lMutable, Parse("a=9 c=1").Get(), true));
    EXPECT_EQ(Describe(lFixed.Get()), "{ a = 1; b = 2; }");
    EXPECT_EQ(CFUAdopt(CFDictionaryCreateCopy(nullptr, lFixed.Get())).Get(), lFixed.Get());
}

TEST(CFDictionary, EqualityIsThatOfTheEntriesInAnyOrder)
{
    static const struct
    {
        const char *mFirst;
        const char *mSecond;
        bool        mEqual;
    } kRows[] = { { "", "", true },
                  { "a=1 b=2", "b=2 a=1", true },
                  { "a=1 b=2", "a=1", false },
                  { "a=1 b=2", "a=1 c=2", false },
                  { "a=1 b=2", "a=1 b=3", false } };

    for (const auto &lRow : kRows)
    {
        // Inside others, so that equality goes down.
        const auto lFirst = Dictionary(), lSecond = Dictionary();
        CFDictionarySetValue(lFirst.Get(), CFSTR("inner"), Parse(lRow.mFirst).Get());
        CFDictionarySetValue(lSecond.Get(), CFSTR("inner"), Parse(lRow.mSecond).Get());
        EXPECT_EQ(CFEqual(lFirst.Get(), lSecond.Get()), lRow.mEqual) << lRow.mFirst << " and " << lRow.mSecond;
        EXPECT_EQ(CFEqual(lSecond.Get(), lFirst.Get()), lRow.mEqual) << lRow.mFirst << " and " << lRow.mSecond;
    }
}

TEST(CFUDictionaryMerge, TellsWhetherSomethingChanged)
{
    static const struct
    {
        const char *mDestination;
        const char *mSource;
        bool        mReplace;
        bool        mChanged;
        const char *mResult;
    } kRows[] = { { "", "", true, false, "{ }" },
                  { "a=1", "", true, false, "{ a = 1; }" },
                  { "a=1", "a=1", true, false, "{ a = 1; }" },
                  { "a=1", "a=2", true, true, "{ a = 2; }" },
                  { "a=1", "a=2", false, false, "{ a = 1; }" },
                  { "a=1", "a=2 b=3", false, true, "{ a = 1; b = 3; }" },
                  { "a=1 b=2", "c=4 b=3", true, true, "{ a = 1; b = 3; c = 4; }" } };

    for (const auto &lRow : kRows)
    {
        const auto lDestination = Parse(lRow.mDestination);
        EXPECT_EQ(CFUDictionaryMerge(lDestination.Get(), Parse(lRow.mSource).Get(), lRow.mReplace), lRow.mChanged)
            << lRow.mDestination << " with " << lRow.mSource;
        EXPECT_EQ(Describe(lDestination.Get()), lRow.mResult);
        EXPECT_FALSE(CFUDictionaryMerge(lDestination.Get(), lDestination.Get(), true));
    }
    EXPECT_FALSE(CFUDictionaryMerge(nullptr, Parse("a=1").Get(), true));
    EXPECT_FALSE(CFUDictionaryMerge(Parse("a=1").Get(), nullptr, true));
}

} // namespace
