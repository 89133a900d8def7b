#include <cfvalues.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

using namespace zq::Test;

namespace
{

void Set(CFMutableDictionaryRef aDictionary, const std::string &aKey, int aValue)
{
    CFDictionarySetValue(aDictionary, Str(aKey).Get(), Number(aValue).Get());
}

/** A dictionary as `a=1 b=2`. */
Dictionary Parse(const std::string &aText)
{
    const auto lDictionary = Dict();
    for (std::size_t lIndex = 0; lIndex < aText.size(); lIndex += 4)
        Set(lDictionary.Get(), aText.substr(lIndex, 1), aText[lIndex + 2] - '0');
    return lDictionary;
}

TEST(CFDictionary, RandomOperationsAgreeWithAModel)
{
    // Sizes on both sides of where an index begins.
    for (const int lKeys : { 6, 40, 3000 })
    {
        std::mt19937               lRandom(static_cast<unsigned>(lKeys));
        std::map<std::string, int> lModel;
        std::vector<std::string>   lOrder;
        const auto                 lDictionary = Dict();
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
                CFDictionaryRemoveValue(lDictionary.Get(), Str(lKey).Get());
                if (lModel.erase(lKey) != 0)
                    lOrder.erase(std::find(lOrder.begin(), lOrder.end(), lKey));
            }

            const std::string lAsked = lDraw();
            ASSERT_EQ(CFDictionaryContainsKey(lDictionary.Get(), Str(lAsked).Get()), lModel.count(lAsked));
            ASSERT_EQ(CFDictionaryGetCount(lDictionary.Get()), static_cast<CFIndex>(lModel.size()));
            if (lStep % 500 != 0)
                continue;

            std::string lExpected;
            for (const std::string &lName : lOrder)
                lExpected += (lExpected.empty() ? "" : ", ") + lName + ": " + std::to_string(lModel[lName]);
            ASSERT_EQ(Text(lDictionary.Get()), "{" + lExpected + "}") << lStep;
        }
    }
}

TEST(CFDictionary, WhatIsRefusedOrFixedStaysAsItIs)
{
    const auto lTyped = Parse("a=1");
    CFDictionaryAddValue(lTyped.Get(), CFSTR("a"), Number(0).Get());
    CFDictionarySetValue(lTyped.Get(), CFSTR("a"), nullptr);
    CFDictionarySetValue(lTyped.Get(), nullptr, CFSTR("b"));
    const auto lFixed   = CFUAdopt(CFDictionaryCreateCopy(nullptr, lTyped.Get()));
    const auto lMutable = const_cast<CFMutableDictionaryRef>(lFixed.Get());

    Set(lMutable, "a", 2);
    CFDictionaryRemoveAllValues(lMutable);
    EXPECT_FALSE(CFUDictionaryMerge(lMutable, Parse("a=9 c=1").Get(), true));
    EXPECT_EQ(Text(lFixed.Get()), "{a: 1}");
}

TEST(CFDictionary, EqualityIsThatOfTheEntriesInAnyOrder)
{
    // Inside others, so that equality goes down.
    const auto lWrap = [](const char *aText)
    {
        const auto lOuter = Dict();
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

} // namespace
