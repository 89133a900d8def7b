#include "values.h"

#include <gtest/gtest.h>

#include <thread>

using namespace zq::Test;
using namespace std::string_view_literals;

namespace
{

TEST(CFString, OnlyStrictUTF8IsText)
{
    // By the number of UTF-16 units: at the edges of each length, of the surrogates and of the last plane.
    static const std::vector<std::string_view> kTexts[] = {
        { "" },
        { "\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf" },
        { "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf" },
        {},
        { "a\xf0\x9f\x98\x80z" },
    };
    for (std::size_t lUnits = 0; lUnits < std::size(kTexts); ++lUnits)
    {
        for (const std::string_view lText : kTexts[lUnits])
            EXPECT_EQ(CFStringGetLength(String(lText).Get()), static_cast<CFIndex>(lUnits)) << lText;
    }

    // Continuation alone, overlong, surrogate, past the last plane, cut off, continuation missing.
    for (const std::string_view lBytes :
         { "\x80", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
           "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "a\xc3", "a\xe6\xbc", "a\xf0\x9f\x98", "\xc3(", "\xe6\xbc(",
           "\xf0\x9f(\x80" })
        EXPECT_TRUE(String(lBytes) == nullptr) << testing::PrintToString(lBytes);

    // A NUL is a character, of which a C string cannot tell.
    EXPECT_EQ(CFStringGetLength(String("a\0b"sv).Get()), 3);
    EXPECT_EQ(CFStringGetCStringPtr(String("a\0b"sv).Get(), kCFStringEncodingUTF8), nullptr);
    EXPECT_FALSE(CFEqual(String("a\0b"sv).Get(), CFSTR("a")));
}

TEST(CFString, OrderIsThatOfUTF16Units)
{
    // Each comes before the next; those past U+FFFF come before U+E000.
    static const std::string_view kAscending[] = { "",       "\0"sv,       "A",          "AB",     "B",     "\u00e9",
                                                   "\ud7ff", "\U00010000", "\U0010FFFF", "\ue000", "\uffff" };

    for (std::size_t lFirst = 0; lFirst < std::size(kAscending); ++lFirst)
    {
        for (std::size_t lSecond = 0; lSecond < std::size(kAscending); ++lSecond)
        {
            const auto lLeft  = String(kAscending[lFirst]);
            const auto lRight = String(kAscending[lSecond]);
            const int  lOrder = lFirst < lSecond ? -1 : lFirst > lSecond ? 1 : 0;

            EXPECT_EQ(CFStringCompare(lLeft.Get(), lRight.Get(), 0), lOrder) << lFirst << " and " << lSecond;
            EXPECT_EQ(CFEqual(lLeft.Get(), lRight.Get()), lOrder == 0) << lFirst << " and " << lSecond;
            EXPECT_TRUE(lOrder != 0 || CFHash(lLeft.Get()) == CFHash(lRight.Get())) << lFirst;
        }
    }
}

TEST(CFString, LeadingIntegerIsReadAndKeptInRange)
{
    const std::pair<const char *, SInt32> kRows[] = { { "17 dBm", 17 },
                                                      { " \t-5", -5 },
                                                      { "+8", 8 },
                                                      { "2147483648", INT32_MAX },
                                                      { "-99999999999999999999", INT32_MIN },
                                                      { "", 0 },
                                                      { "abc", 0 },
                                                      { "+-8", 0 },
                                                      { "- 8", 0 },
                                                      { "0x10", 0 } };

    for (const auto &[lText, lValue] : kRows)
        EXPECT_EQ(CFStringGetIntValue(String(lText).Get()), lValue) << lText;
}

TEST(CFString, ConstantsAreUniqueAndImmortalOnEveryThread)
{
    constexpr int            kThreads = 4, kTexts = 200;
    std::vector<CFStringRef> lSeen[kThreads];
    std::vector<std::thread> lThreads;
    const auto               lName = [](int aText) { return "constant " + std::to_string(aText); };

    for (auto &lStrings : lSeen)
    {
        lThreads.emplace_back(
            [&]
            {
                for (int lText = 0; lText < kTexts; ++lText)
                {
                    lStrings.push_back(__CFStringMakeConstantString(lName(lText).c_str()));
                    CFRelease(lStrings.back());
                }
            });
    }
    for (std::thread &lThread : lThreads)
        lThread.join();

    for (const auto &lStrings : lSeen)
        EXPECT_EQ(lStrings, lSeen[0]);
    for (int lText = 0; lText < kTexts; ++lText)
        EXPECT_TRUE(CFEqual(lSeen[0][lText], String(lName(lText)).Get()));
    EXPECT_EQ(__CFStringMakeConstantString("\xff"), nullptr);
    EXPECT_EQ(__CFStringMakeConstantString(nullptr), nullptr);
}

} // namespace
