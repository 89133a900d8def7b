#include "values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

using namespace zq::Test;

namespace
{

void Set(CFMutableDictionaryRef aDictionary, std::string_view aKey, int aValue)
{
    CFDictionarySetValue(aDictionary, String(aKey).Get(), Number(aValue).Get());
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
    const auto  lDictionary = Parse("a=9 b=3");
    const void *lKeys[3], *lValues[3];

    CFDictionaryAddValue(lDictionary.Get(), CFSTR("b"), Number(0).Get());
    CFDictionaryAddValue(lDictionary.Get(), CFSTR("c"), Number(0).Get());
    EXPECT_EQ(Describe(lDictionary.Get()), "{ a = 9; b = 3; c = 0; }");
    EXPECT_EQ(Describe(CFUAdopt(CFUDictionaryCopyKeys(lDictionary.Get())).Get()), "(a, b, c)");

    // Of equal keys the first counts.
    CFDictionaryGetKeysAndValues(lDictionary.Get(), lKeys, nullptr);
    CFDictionaryGetKeysAndValues(lDictionary.Get(), nullptr, lValues);
    lKeys[1] = lKeys[0];
    EXPECT_EQ(Describe(CFUAdopt(CFDictionaryCreate(nullptr, lKeys, lValues, 3, &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks))
                           .Get()),
              "{ a = 9; c = 0; }");
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
        const auto lDraw = [&] { return "key " + std::to_string(lRandom() % static_cast<unsigned>(lKeys)); };

        for (int lStep = 0; lStep < 20000; ++lStep)
        {
            // Waves of growing and shrinking, and an end of everything now and then.
            const std::string lKey   = lDraw();
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
                CFDictionaryRemoveValue(lDictionary.Get(), String(lKey).Get());
                if (lModel.erase(lKey) != 0)
                    lOrder.erase(std::find(lOrder.begin(), lOrder.end(), lKey));
            }

            const std::string lAsked = lDraw();
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

TEST(CFDictionary, EqualHashesAndTheCallbacksEqualityAreFollowed)
{
    constexpr CFDictionaryValueCallBacks kRefusing = { 0, Calls::RefuseOdd, Calls::Release, nullptr, nullptr };
    CFDictionaryKeyCallBacks kKeys = { 0, Calls::Retain, Calls::Release, nullptr, Calls::EqualDigit, Calls::SameHash };

    Calls::sRetains = Calls::sReleases = 0;
    for (const auto lHash : { &Calls::SameHash, decltype(&Calls::SameHash)(nullptr) })
    {
        kKeys.hash              = lHash;
        const void *lBad[]      = { Pointer(2), Pointer(1) };
        const auto  lDictionary = CFUAdopt(CFDictionaryCreateMutable(nullptr, 0, &kKeys, &kRefusing));
        for (std::uintptr_t lKey = 1; lKey <= 60; ++lKey)
            CFDictionarySetValue(lDictionary.Get(), Pointer(lKey), Pointer(2 * lKey));
        CFDictionarySetValue(lDictionary.Get(), Pointer(3), Pointer(1)); // refused
        EXPECT_EQ(CFDictionaryGetCount(lDictionary.Get()), 10);
        EXPECT_EQ(CFDictionaryGetValue(lDictionary.Get(), Pointer(1003)), Pointer(106));
        CFDictionaryRemoveValue(lDictionary.Get(), Pointer(1003));
        EXPECT_FALSE(CFDictionaryContainsKey(lDictionary.Get(), Pointer(3)));
        CFDictionarySetValue(lDictionary.Get(), Pointer(3), Pointer(1));
        EXPECT_EQ(CFDictionaryGetCount(lDictionary.Get()), 9);

        const auto lCopy = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, lDictionary.Get()));
        EXPECT_TRUE(CFEqual(lCopy.Get(), lDictionary.Get()));
        EXPECT_EQ(CFDictionaryCreate(nullptr, lBad, lBad, 2, &kKeys, &kRefusing), nullptr);
    }
    EXPECT_EQ(Calls::sRetains, Calls::sReleases);

    // So many of one hash that they fill a large part of an index; bare pointers, which are never looked at.
    kKeys.equal            = nullptr;
    kKeys.hash             = Calls::SameHash;
    const auto lDictionary = CFUAdopt(CFDictionaryCreateMutable(nullptr, 0, &kKeys, nullptr));
    for (std::uintptr_t lKey = 0; lKey < 500; ++lKey)
        CFDictionarySetValue(lDictionary.Get(), Pointer(lKey), Pointer(lKey));
    for (std::uintptr_t lKey = 0; lKey < 500; lKey += 2)
        CFDictionaryRemoveValue(lDictionary.Get(), Pointer(lKey));
    for (std::uintptr_t lKey = 0; lKey < 500; ++lKey)
        ASSERT_EQ(CFDictionaryContainsKey(lDictionary.Get(), Pointer(lKey)), lKey % 2 == 1) << lKey;
    EXPECT_EQ(Describe(lDictionary.Get()), "<pointers>");
    EXPECT_FALSE(CFEqual(lDictionary.Get(), Parse("a=1").Get()));
}

TEST(CFDictionary, WhatIsRefusedOrFixedStaysAsItIs)
{
    const auto lTyped = Parse("a=1");
    CFDictionarySetValue(lTyped.Get(), CFSTR("a"), nullptr);
    CFDictionarySetValue(lTyped.Get(), CFSTR("b"), nullptr);
    CFDictionarySetValue(lTyped.Get(), nullptr, CFSTR("b"));
    EXPECT_EQ(Describe(lTyped.Get()), "{ a = 1; }");

    const auto lFixed   = CFUAdopt(CFDictionaryCreateCopy(nullptr, lTyped.Get()));
    const auto lMutable = const_cast<CFMutableDictionaryRef>(lFixed.Get());
    Set(lMutable, "a", 2);
    Set(lMutable, "c", 3);
    CFDictionaryRemoveValue(lMutable, CFSTR("a"));
    CFDictionaryRemoveAllValues(lMutable);
    EXPECT_FALSE(CFUDictionaryMerge(lMutable, Parse("a=9 c=1").Get(), true));
    EXPECT_EQ(Describe(lFixed.Get()), "{ a = 1; }");
    EXPECT_EQ(CFUAdopt(CFDictionaryCreateCopy(nullptr, lFixed.Get())).Get(), lFixed.Get());
}

TEST(CFDictionary, EqualityIsThatOfTheEntriesInAnyOrder)
{
    // Inside others, so that equality goes down.
    const auto lWrap = [](const char *aText)
    {
        const auto lOuter = Dictionary();
        CFDictionarySetValue(lOuter.Get(), CFSTR("inner"), Parse(aText).Get());
        return lOuter;
    };
    const auto lFirst = lWrap("a=1 b=2");

    EXPECT_TRUE(CFEqual(lFirst.Get(), lWrap("b=2 a=1").Get()));
    for (const char *lOther : { "", "a=1", "a=1 c=2", "a=1 b=3", "a=1 b=2 c=3" })
    {
        EXPECT_FALSE(CFEqual(lFirst.Get(), lWrap(lOther).Get())) << lOther;
        EXPECT_FALSE(CFEqual(lWrap(lOther).Get(), lFirst.Get())) << lOther;
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
