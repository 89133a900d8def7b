#include "values.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zq::Test;

namespace
{

TEST(CFUSharedRef, EveryWayInAndOutKeepsTheCount)
{
    const CFStringRef lString = String("counted").Leak();
    const auto        lCount  = [lString] { return CFGetRetainCount(lString); };
    {
        CFUSharedRef<CFStringRef> lHolder = CFURetain(lString);
        auto                     &lSame   = lHolder;

        lHolder = lSame;
        lHolder = std::move(lSame);
        EXPECT_EQ(lHolder.Get(), lString);
        EXPECT_EQ(lCount(), 2) << "self-assignment";

        CFUSharedRef<CFTypeRef> lAny = lHolder;
        EXPECT_EQ(lCount(), 3) << "conversion";
        lAny = CFUSharedRef<CFStringRef>(lHolder);
        EXPECT_EQ(lCount(), 3) << "conversion of a temporary";
        lAny = std::move(lHolder);
        EXPECT_EQ(lHolder, nullptr);
        EXPECT_EQ(lCount(), 2) << "conversion that moves";

        const CFTypeRef lLeaked = lAny.Leak();
        EXPECT_EQ(lAny, nullptr);
        EXPECT_EQ(lCount(), 2) << "leaked";
        CFURelease(lLeaked);

        lHolder = CFURetain(lString);
        lHolder = nullptr;
        EXPECT_EQ(lCount(), 1) << "null";
        lHolder = CFURetain(lString);
        lHolder.Reset();
        lHolder.Reset();
        EXPECT_EQ(lCount(), 1) << "reset";
        lHolder = CFURetain(lString);
    }
    EXPECT_EQ(lCount(), 1);
    CFRelease(lString);
}

TEST(CFRetain, ContainersHoldOneReferenceToEachValue)
{
    const auto lString = String("held"), lKey = String("key");
    {
        const auto lArray      = Array();
        const auto lDictionary = Dictionary();
        CFArrayAppendValue(lArray.Get(), lString.Get());
        CFDictionarySetValue(lDictionary.Get(), lKey.Get(), lString.Get());
        CFDictionarySetValue(lDictionary.Get(), lKey.Get(), lString.Get());
        EXPECT_EQ(CFGetRetainCount(lString.Get()), 3);
        EXPECT_EQ(CFGetRetainCount(lKey.Get()), 2);

        // Its own value in the place of itself, when nobody else holds it.
        CFArrayAppendValue(lArray.Get(), String("alone").Get());
        CFArraySetValueAtIndex(lArray.Get(), 1, CFArrayGetValueAtIndex(lArray.Get(), 1));
        EXPECT_EQ(Describe(lArray.Get()), "(held, alone)");

        const auto lNested = Array();
        CFArrayAppendValue(lNested.Get(), lDictionary.Get());
        CFArrayAppendValue(lNested.Get(), CFUAdopt(CFDictionaryCreateCopy(nullptr, lDictionary.Get())).Get());
        EXPECT_EQ(CFGetRetainCount(lString.Get()), 4);
    }
    EXPECT_EQ(CFGetRetainCount(lString.Get()), 1);
    EXPECT_EQ(CFGetRetainCount(lKey.Get()), 1);
}

TEST(CFRetain, ThreadsShareValues)
{
    const auto lDictionary = Dictionary();
    for (int lKey = 0; lKey < 100; ++lKey)
        CFDictionarySetValue(lDictionary.Get(), String(std::to_string(lKey)).Get(), Number(lKey + 1000).Get());
    const auto lFixed = CFUAdopt(CFDictionaryCreateCopy(nullptr, lDictionary.Get()));

    std::vector<std::thread> lThreads;
    for (int lThread = 0; lThread < 4; ++lThread)
    {
        lThreads.emplace_back(
            [lShared = lFixed]
            {
                for (int lRound = 0; lRound < 2000; ++lRound)
                {
                    const auto lKey   = String(std::to_string(lRound % 100));
                    const auto lValue = CFURetain(CFDictionaryGetValue(lShared.Get(), lKey.Get()));
                    const auto lCopy  = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, lShared.Get()));
                    CFDictionaryRemoveValue(lCopy.Get(), lKey.Get());
                    EXPECT_TRUE(CFEqual(lValue.Get(), Number(lRound % 100 + 1000).Get()));
                }
            });
    }
    for (std::thread &lThread : lThreads)
        lThread.join();

    EXPECT_EQ(CFGetRetainCount(lFixed.Get()), 1);
    EXPECT_EQ(CFGetRetainCount(CFDictionaryGetValue(lFixed.Get(), CFSTR("7"))), 2);
}

TEST(CFTypes, NullAndForeignValuesAreHarmless)
{
    const auto lData = CFUAdopt(CFDataCreate(nullptr, nullptr, 0));
    EXPECT_EQ(CFRetain(nullptr), nullptr);
    CFRelease(nullptr);
    EXPECT_TRUE(CFEqual(nullptr, nullptr));
    EXPECT_FALSE(CFEqual(nullptr, CFSTR("")));
    EXPECT_EQ(CFUDictionaryCopyKeys(nullptr), nullptr);
    EXPECT_EQ(CFDataCreate(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFStringCompare(nullptr, CFSTR(""), 0), kCFCompareLessThan);
    EXPECT_EQ(Describe(nullptr), "(null)");

    for (const CFTypeRef lValue : { CFTypeRef(nullptr), CFTypeRef(kCFBooleanTrue), CFTypeRef(lData.Get()) })
    {
        const auto lString     = static_cast<CFStringRef>(lValue);
        const auto lArray      = static_cast<CFMutableArrayRef>(const_cast<void *>(lValue));
        const auto lDictionary = static_cast<CFMutableDictionaryRef>(const_cast<void *>(lValue));
        SInt64     lInteger    = 0;

        EXPECT_EQ(CFStringGetLength(lString), 0);
        EXPECT_EQ(CFStringGetCStringPtr(lString, kCFStringEncodingUTF8), nullptr);
        EXPECT_EQ(CFStringCreateCopy(nullptr, lString), nullptr);
        EXPECT_FALSE(CFNumberGetValue(static_cast<CFNumberRef>(lValue), kCFNumberSInt64Type, &lInteger));
        EXPECT_EQ(CFUGetNumberType(lValue), 0);
        CFArrayAppendValue(lArray, CFSTR("a"));
        EXPECT_EQ(CFArrayGetValueAtIndex(lArray, 0), nullptr);
        EXPECT_EQ(CFArrayCreateMutableCopy(nullptr, 0, lArray), nullptr);
        CFDictionarySetValue(lDictionary, CFSTR("a"), CFSTR("b"));
        CFDictionaryRemoveValue(lDictionary, CFSTR("a"));
        EXPECT_EQ(CFDictionaryGetValue(lDictionary, CFSTR("a")), nullptr);
        EXPECT_EQ(CFDictionaryCreateMutableCopy(nullptr, 0, lDictionary), nullptr);
    }
}

TEST(CFTypes, DataAndTypesTellThemselvesApart)
{
    const UInt8 lBytes[] = { 0x0A, 0x00, 0xFF, 0x0A, 0x00, 0xFE };
    const auto  lFirst   = CFUAdopt(CFDataCreate(nullptr, lBytes, 2)),
               lEqual    = CFUAdopt(CFDataCreate(nullptr, lBytes + 3, 2)),
               lOther    = CFUAdopt(CFDataCreate(nullptr, lBytes, 3)),
               lLast     = CFUAdopt(CFDataCreate(nullptr, lBytes + 3, 3));

    EXPECT_TRUE(CFEqual(lFirst.Get(), lEqual.Get()));
    EXPECT_EQ(CFHash(lFirst.Get()), CFHash(lEqual.Get()));
    EXPECT_FALSE(CFEqual(lFirst.Get(), lOther.Get()));
    EXPECT_FALSE(CFEqual(lOther.Get(), lLast.Get()));
    EXPECT_EQ(Describe(lOther.Get()), "<0a00ff>");

    const auto      lArray      = Array();
    const auto      lDictionary = Dictionary();
    const CFTypeRef lValues[]   = { CFSTR("1"),   Number(1).Get(), kCFBooleanTrue,
                                    lFirst.Get(), lArray.Get(),    lDictionary.Get() };
    const CFTypeID  lTypes[]    = { CFStringGetTypeID(), CFNumberGetTypeID(), CFBooleanGetTypeID(),
                                    CFDataGetTypeID(),   CFArrayGetTypeID(),  CFDictionaryGetTypeID() };
    for (std::size_t lValue = 0; lValue < 6; ++lValue)
    {
        for (std::size_t lType = 0; lType < 6; ++lType)
        {
            EXPECT_EQ(CFUIsTypeID(lValues[lValue], lTypes[lType]), lValue == lType);
            EXPECT_EQ(CFEqual(lValues[lValue], lValues[lType]), lValue == lType);
        }
    }
}

} // namespace
