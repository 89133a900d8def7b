#include <cfvalues.h>
#include <failingallocations.h>

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

TEST(CFAllocation, NestedContainersAreBuiltWholeOrNotAtAll)
{
    const auto lHeld = Str("held");

    const auto lBuild = [&lHeld]
    {
        const auto lInner = MakeArray();
        const auto lOuter = Dict();
        for (int lValue = 0; lValue < 40; ++lValue)
        {
            const auto lKey   = Str("key " + std::to_string(lValue));
            const auto lCount = CFDictionaryGetCount(lOuter.Get());
            CFArrayAppendValue(lInner.Get(), lHeld.Get());
            CFDictionarySetValue(lOuter.Get(), lKey.Get(), lInner.Get());
            EXPECT_EQ(CFDictionaryGetCount(lOuter.Get()), lCount + CFDictionaryContainsKey(lOuter.Get(), lKey.Get()));
        }

        const auto lCopy  = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, lOuter.Get()));
        const auto lFixed = CFUAdopt(CFArrayCreateCopy(nullptr, lInner.Get()));
        const auto lKeys  = CFUAdopt(CFUDictionaryCopyKeys(lOuter.Get()));
        const auto lText  = CFUAdopt(CFCopyDescription(lOuter.Get()));
        const auto lData  = CFUAdopt(CFDataCreate(nullptr, nullptr, 0));

        EXPECT_TRUE(lCopy == nullptr || CFEqual(lCopy.Get(), lOuter.Get()));
        EXPECT_TRUE(lFixed == nullptr || CFEqual(lFixed.Get(), lInner.Get()));
        EXPECT_TRUE(lKeys == nullptr || CFArrayGetCount(lKeys.Get()) == CFDictionaryGetCount(lOuter.Get()));
        return CFArrayGetCount(lInner.Get()) == 40 && CFDictionaryGetCount(lOuter.Get()) == 40 && lCopy && lFixed &&
                       lKeys && lText && lData
                   ? 0
                   : -1;
    };

    EXPECT_GT(Starve({ -1 }, lBuild), 40);
    EXPECT_EQ(CFGetRetainCount(lHeld.Get()), 1);
}

TEST(CFAllocation, ContainersStayAsTheyWere)
{
    const auto lOther = Dict();
    const auto lMore = Number(500), lFirst = Number(0);
    CFDictionarySetValue(lOther.Get(), lMore.Get(), kCFBooleanTrue);

    // At each of these sizes something has to grow before long.
    for (int lSize = 1; lSize <= 100; ++lSize)
    {
        const auto lArray      = MakeArray();
        const auto lDictionary = Dict();
        bool       lMerged, lHolds;
        for (int lValue = 0; lValue < lSize; ++lValue)
        {
            CFArrayAppendValue(lArray.Get(), Number(lValue).Get());
            CFDictionarySetValue(lDictionary.Get(), Number(lValue).Get(), Number(lValue).Get());
        }
        const std::string lArrayText = Text(lArray.Get()), lText = Text(lDictionary.Get());

        {
            // What is there can be replaced and removed; what is new has its place or none.
            const FailingAllocations lFailing;
            CFArrayAppendArray(lArray.Get(), lArray.Get(), CFRangeMake(0, 1000));
            lMerged = CFUDictionaryMerge(lDictionary.Get(), lOther.Get(), true);
            lHolds  = CFDictionaryContainsKey(lDictionary.Get(), lMore.Get());
            CFDictionarySetValue(lDictionary.Get(), lFirst.Get(), kCFBooleanTrue);
            CFDictionaryRemoveValue(lDictionary.Get(), lMore.Get());
        }
        EXPECT_EQ(lMerged, lHolds);
        EXPECT_EQ(CFDictionaryGetValue(lDictionary.Get(), lFirst.Get()), kCFBooleanTrue);
        CFDictionarySetValue(lDictionary.Get(), lFirst.Get(), lFirst.Get());
        EXPECT_EQ(Text(lDictionary.Get()), lText);
        EXPECT_TRUE(Text(lArray.Get()) == lArrayText || CFArrayGetCount(lArray.Get()) == 2 * lSize) << lSize;
    }
}

TEST(CFAllocation, ConstantsAreMadeLater)
{
    const auto lMake = []
    {
        const CFStringRef lMade = __CFStringMakeConstantString("made later, with a longer text");
        return lMade != nullptr && lMade == __CFStringMakeConstantString("made later, with a longer text") ? 0 : -1;
    };

    EXPECT_GT(Starve({ -1 }, lMake), 0);
}

} // namespace
