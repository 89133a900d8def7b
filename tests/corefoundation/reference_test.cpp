#include <cfvalues.h>

#include <CFUValues.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <type_traits>

using namespace zq::Test;

namespace
{

// "if (service->IsFavorite())" would be true of a false value too.
static_assert(!std::is_constructible<bool, CFUSharedRef<CFBooleanRef>>::value, "a boolean is asked for its value");
static_assert(std::is_constructible<bool, CFUSharedRef<CFStringRef>>::value, "anything else whether it is there");

TEST(CFUIsTrue, IsTrueOfTrueAlone)
{
    EXPECT_TRUE(CFUIsTrue(CFURetain(kCFBooleanTrue)));
    for (const CFTypeRef lOther : { CFTypeRef(kCFBooleanFalse), CFTypeRef(nullptr), CFTypeRef(CFSTR("true")) })
        EXPECT_FALSE(CFUIsTrue(lOther)) << lOther;
}

TEST(CFUValues, ComposesDictionariesAndTexts)
{
    const auto lNested = CFUDictionary({ { CFSTR("number"), -7 } });
    const auto lValue =
        CFUDictionary({ { "text", std::string("caf\xC3\xA9") }, { CFUString("flag"), true }, { "nested", lNested } });

    EXPECT_EQ(CFUText(CFUAdopt(CFCopyDescription(lValue.Get()))),
              "{ text = caf\xC3\xA9; flag = true; nested = { number = -7; }; }");
    EXPECT_EQ(CFUText(CFDictionaryGetValue(lValue.Get(), CFSTR("text"))), "caf\xC3\xA9");
    EXPECT_EQ(CFUText(lNested), "") << "no string";
    EXPECT_EQ(CFUText(CFTypeRef(nullptr)), "");
    EXPECT_EQ(CFUString("\xFF"), nullptr);
    EXPECT_EQ(CFUDictionary({ { "text", "\xFF" } }), nullptr);
    EXPECT_EQ(CFUDictionary({ { CFTypeRef(nullptr), 1 } }), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(CFUDictionary({}).Get()), 0);
}

TEST(CFUSharedRef, EveryWayInAndOutKeepsTheCount)
{
    const CFStringRef lString = Str("counted").Leak();
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
    const auto lString = Str("held"), lKey = Str("key");
    {
        const auto lArray      = MakeArray();
        const auto lDictionary = Dict();
        CFArrayAppendValue(lArray.Get(), lString.Get());
        CFDictionarySetValue(lDictionary.Get(), lKey.Get(), lString.Get());
        CFDictionarySetValue(lDictionary.Get(), lKey.Get(), lString.Get());
        EXPECT_EQ(CFGetRetainCount(lString.Get()), 3);
        EXPECT_EQ(CFGetRetainCount(lKey.Get()), 2);

        // Its own value in the place of itself, when nobody else holds it.
        CFArrayAppendValue(lArray.Get(), Str("alone").Get());
        CFArraySetValueAtIndex(lArray.Get(), 1, CFArrayGetValueAtIndex(lArray.Get(), 1));
        EXPECT_EQ(Text(lArray.Get()), "[held, alone]");

        const auto lNested = MakeArray();
        CFArrayAppendValue(lNested.Get(), lDictionary.Get());
        CFArrayAppendValue(lNested.Get(), CFUAdopt(CFDictionaryCreateCopy(nullptr, lDictionary.Get())).Get());
        EXPECT_EQ(CFGetRetainCount(lString.Get()), 4);
    }
    EXPECT_EQ(CFGetRetainCount(lString.Get()), 1);
    EXPECT_EQ(CFGetRetainCount(lKey.Get()), 1);
}

TEST(CFRetain, ThreadsShareValues)
{
    const auto lDictionary = Dict();
    for (int lKey = 0; lKey < 100; ++lKey)
        CFDictionarySetValue(lDictionary.Get(), Number(lKey).Get(), Number(lKey + 1000).Get());

    std::vector<std::thread> lThreads;
    for (int lThread = 0; lThread < 4; ++lThread)
    {
        lThreads.emplace_back(
            [lShared = CFUSharedRef<CFDictionaryRef>(lDictionary)]
            {
                for (int lRound = 0; lRound < 2000; ++lRound)
                {
                    const auto lKey   = Number(lRound % 100);
                    const auto lValue = CFURetain(CFDictionaryGetValue(lShared.Get(), lKey.Get()));
                    const auto lCopy  = CFUAdopt(CFDictionaryCreateMutableCopy(nullptr, 0, lShared.Get()));
                    CFDictionaryRemoveValue(lCopy.Get(), lKey.Get());
                    EXPECT_TRUE(CFEqual(lValue.Get(), Number(lRound % 100 + 1000).Get()));
                }
            });
    }
    for (std::thread &lThread : lThreads)
        lThread.join();
    lThreads.clear();

    EXPECT_EQ(CFGetRetainCount(lDictionary.Get()), 1);
    EXPECT_EQ(CFGetRetainCount(CFDictionaryGetValue(lDictionary.Get(), Number(7).Get())), 1);
}

} // namespace
