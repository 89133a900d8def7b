#include "values.h"
#include <failingallocations.h>

#include <gtest/gtest.h>

#include <functional>

using namespace zq::Test;

namespace
{

/** Do something with ever more memory, until it succeeds. */
void Sweep(const std::function<bool()> &aScenario)
{
    bool lDone     = false;
    int  lNumGrant = 0;

    for (; !lDone && lNumGrant < 1000; ++lNumGrant)
    {
        const FailingAllocations lFailing(lNumGrant);
        lDone = aScenario();
    }
    EXPECT_TRUE(lDone);
    EXPECT_GT(lNumGrant, 1) << "no allocation failed";
}

TEST(CFAllocation, NestedContainersAreBuiltWholeOrNotAtAll)
{
    static constexpr CFArrayCallBacks kOwn = { 0, Calls::Retain, Calls::Release, nullptr, nullptr };

    Calls::sRetains = Calls::sReleases = 0;
    Sweep(
        []
        {
            const auto lInner = Array();
            const auto lOuter = Dictionary();
            for (int lValue = 0; lValue < 40; ++lValue)
            {
                const auto lKey   = String("key " + std::to_string(lValue));
                const auto lCount = CFDictionaryGetCount(lOuter.Get());
                CFArrayAppendValue(lInner.Get(), Number(lValue + 1000).Get());
                CFDictionarySetValue(lOuter.Get(), lKey.Get(), lInner.Get());
                EXPECT_EQ(CFDictionaryGetCount(lOuter.Get()),
                          lCount + CFDictionaryContainsKey(lOuter.Get(), lKey.Get()));
            }

            const void *lPointers[] = { Pointer(1), Pointer(2) };
            const auto  lCopy       = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, lOuter.Get()));
            const auto  lFixed      = CFUAdopt(CFArrayCreateCopy(nullptr, lInner.Get()));
            const auto  lKeys       = CFUAdopt(CFUDictionaryCopyKeys(lOuter.Get()));
            const auto  lOwn        = CFUAdopt(CFArrayCreate(nullptr, lPointers, 2, &kOwn));
            const auto  lText       = CFUAdopt(CFCopyDescription(lOuter.Get()));
            const auto  lLatin1     = CFUAdopt(CFStringCreateWithCString(nullptr, "\xe9", kCFStringEncodingISOLatin1));
            const auto  lData       = CFUAdopt(CFDataCreate(nullptr, nullptr, 0));

            EXPECT_TRUE(lCopy == nullptr || CFEqual(lCopy.Get(), lOuter.Get()));
            EXPECT_TRUE(lFixed == nullptr || CFEqual(lFixed.Get(), lInner.Get()));
            EXPECT_TRUE(lKeys == nullptr || CFArrayGetCount(lKeys.Get()) == CFDictionaryGetCount(lOuter.Get()));
            return CFArrayGetCount(lInner.Get()) == 40 && CFDictionaryGetCount(lOuter.Get()) == 40 && lCopy && lFixed &&
                   lKeys && lOwn && lText && lLatin1 && lData;
        });
    EXPECT_EQ(Calls::sRetains, Calls::sReleases);
}

TEST(CFAllocation, ContainersStayAsTheyWere)
{
    // At each of these sizes something has to grow before long.
    for (int lSize = 1; lSize <= 100; ++lSize)
    {
        const auto lArray      = Array();
        const auto lDictionary = Dictionary();
        for (int lValue = 0; lValue < lSize; ++lValue)
        {
            CFArrayAppendValue(lArray.Get(), Number(lValue).Get());
            CFDictionarySetValue(lDictionary.Get(), Number(lValue).Get(), Number(lValue).Get());
        }
        const std::string lArrayText = Describe(lArray.Get()), lText = Describe(lDictionary.Get());
        const auto        lMore = Number(500), lFirst = Number(0);

        {
            // What is there can be replaced and removed; what is new has its place or none.
            const FailingAllocations lFailing;
            CFArrayAppendArray(lArray.Get(), lArray.Get(), CFRangeMake(0, 1000));
            CFDictionarySetValue(lDictionary.Get(), lMore.Get(), kCFBooleanFalse);
            CFDictionarySetValue(lDictionary.Get(), lFirst.Get(), kCFBooleanTrue);
            CFDictionaryRemoveValue(lDictionary.Get(), lMore.Get());
        }
        EXPECT_EQ(CFDictionaryGetValue(lDictionary.Get(), lFirst.Get()), kCFBooleanTrue);
        CFDictionarySetValue(lDictionary.Get(), lFirst.Get(), lFirst.Get());
        EXPECT_EQ(Describe(lDictionary.Get()), lText);
        EXPECT_TRUE(Describe(lArray.Get()) == lArrayText || CFArrayGetCount(lArray.Get()) == 2 * lSize) << lSize;
    }
}

TEST(CFAllocation, WhatFoundNoMemoryIsDoneLater)
{
    const auto lDestination = Dictionary(), lSource = Dictionary();

    for (int lValue = 0; lValue < 4; ++lValue)
        CFDictionarySetValue(lDestination.Get(), Number(lValue).Get(), kCFBooleanTrue);
    CFDictionarySetValue(lSource.Get(), Number(4).Get(), kCFBooleanTrue);
    {
        const FailingAllocations lFailing;
        EXPECT_FALSE(CFUDictionaryMerge(lDestination.Get(), lSource.Get(), true));
    }
    EXPECT_EQ(CFDictionaryGetCount(lDestination.Get()), 4);
    EXPECT_TRUE(CFUDictionaryMerge(lDestination.Get(), lSource.Get(), true));

    Sweep(
        []
        {
            const CFStringRef lMade = __CFStringMakeConstantString("made later, with a longer text");
            return lMade != nullptr && lMade == __CFStringMakeConstantString("made later, with a longer text");
        });
}

} // namespace
