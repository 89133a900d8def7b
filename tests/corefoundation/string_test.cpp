#include "values.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <thread>

using namespace zq::Test;
using namespace std::string_view_literals;

namespace
{

CFUSharedRef<CFStringRef> Convert(std::string_view aBytes, CFStringEncoding anEncoding, bool aIsExternal = false)
{
    return CFUAdopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>(aBytes.data()),
                                            static_cast<CFIndex>(aBytes.size()), anEncoding, aIsExternal));
}

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
}

TEST(CFString, OrderIsThatOfUTF16Units)
{
    // Each comes before the next; those past U+FFFF come before U+E000.
    static const std::string_view kAscending[] = { "",           "\0"sv,   "A",          "AB",
                                                   "B",          "_",      "a",          "aa",
                                                   "\u00e9",     "\ud7ff", "\U00010000", "\U0001F600",
                                                   "\U0010FFFF", "\ue000", "\ufffd",     "\uffff" };

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

TEST(CFString, EncodingsBothWays)
{
    constexpr std::string_view kLatin1     = "\x80\xbf\xc0\xff";
    const auto                 lString     = Convert(kLatin1, kCFStringEncodingISOLatin1);
    char                       lBuffer[32] = {};

    EXPECT_STREQ(CFStringGetCStringPtr(lString.Get(), kCFStringEncodingUTF8), "\u0080\u00bf\u00c0\u00ff");
    EXPECT_EQ(CFStringGetCStringPtr(lString.Get(), kCFStringEncodingISOLatin1), nullptr);
    EXPECT_TRUE(CFStringGetCString(lString.Get(), lBuffer, 5, kCFStringEncodingISOLatin1));
    EXPECT_EQ(lBuffer, kLatin1);
    EXPECT_TRUE(CFStringGetCString(lString.Get(), lBuffer, 9, kCFStringEncodingUTF8));
    EXPECT_STREQ(lBuffer, "\u0080\u00bf\u00c0\u00ff");
    for (const auto &[lSize, lEncoding] : { std::pair(4, kCFStringEncodingISOLatin1), // no room for the NUL
                                            std::pair(8, kCFStringEncodingUTF8), std::pair(32, kCFStringEncodingASCII),
                                            std::pair(32, kCFStringEncodingMacRoman) })
        EXPECT_FALSE(CFStringGetCString(lString.Get(), lBuffer, lSize, lEncoding)) << lSize << " " << lEncoding;
    EXPECT_FALSE(CFStringGetCString(String("\u0100").Get(), lBuffer, 32, kCFStringEncodingISOLatin1));
    EXPECT_TRUE(Convert("caf\xe9", kCFStringEncodingASCII) == nullptr);
    EXPECT_TRUE(Convert("plain", kCFStringEncodingMacRoman) == nullptr);
}

TEST(CFString, NULIsACharacterAndAByteOrderMarkIsNoTextOfAnExternalString)
{
    const auto lString = String("a\0b"sv);
    char       lBuffer[4];

    EXPECT_EQ(CFStringGetLength(lString.Get()), 3);
    EXPECT_EQ(CFStringGetCStringPtr(lString.Get(), kCFStringEncodingUTF8), nullptr);
    ASSERT_TRUE(CFStringGetCString(lString.Get(), lBuffer, sizeof(lBuffer), kCFStringEncodingUTF8));
    EXPECT_EQ(std::string_view(lBuffer, 4), "a\0b\0"sv);
    EXPECT_FALSE(CFEqual(lString.Get(), CFSTR("a")));
    EXPECT_TRUE(CFStringHasPrefix(lString.Get(), String("a\0"sv).Get()));
    EXPECT_EQ(CFStringGetCStringPtr(Convert("\0\xe9"sv, kCFStringEncodingISOLatin1).Get(), kCFStringEncodingUTF8),
              nullptr);

    EXPECT_TRUE(CFEqual(Convert("\xEF\xBB\xBFx", kCFStringEncodingUTF8, true).Get(), CFSTR("x")));
    EXPECT_EQ(CFStringGetLength(Convert("\xEF\xBB\xBFx", kCFStringEncodingUTF8).Get()), 2);
}

TEST(CFString, LargestSizeIsEnoughAndDoesNotOverflow)
{
    for (const std::string_view lText : { "a", "\uffff", "\U0010ffff" })
        EXPECT_GE(CFStringGetMaximumSizeForEncoding(CFStringGetLength(String(lText).Get()), kCFStringEncodingUTF8),
                  static_cast<CFIndex>(lText.size()));
    for (const CFIndex lLength : { std::numeric_limits<CFIndex>::max(), CFIndex(-1) })
        EXPECT_EQ(CFStringGetMaximumSizeForEncoding(lLength, kCFStringEncodingUTF8), kCFNotFound);
}

TEST(CFString, LeadingIntegerIsReadAndKeptInRange)
{
    const std::map<const char *, SInt32> kRows = { { "17 dBm", 17 },
                                                   { " \t-5", -5 },
                                                   { "+8", 8 },
                                                   { "007", 7 },
                                                   { "2147483647", INT32_MAX },
                                                   { "2147483648", INT32_MAX },
                                                   { "-2147483648", INT32_MIN },
                                                   { "-99999999999999999999", INT32_MIN } };

    for (const auto &[lText, lValue] : kRows)
        EXPECT_EQ(CFStringGetIntValue(String(lText).Get()), lValue) << lText;
    for (const char *lText : { "", "abc", "+-8", "- 8", "0x10", "   " })
        EXPECT_EQ(CFStringGetIntValue(String(lText).Get()), 0) << lText;
}

TEST(CFString, ConstantsAreUniqueAndImmortalOnEveryThread)
{
    constexpr int            kThreads = 4, kTexts = 200;
    std::vector<CFStringRef> lSeen[kThreads];
    std::vector<std::thread> lThreads;

    for (auto &lStrings : lSeen)
    {
        lThreads.emplace_back(
            [&lStrings]
            {
                for (int lText = 0; lText < kTexts; ++lText)
                {
                    const std::string lName = "constant " + std::to_string(lText);
                    lStrings.push_back(__CFStringMakeConstantString(lName.c_str()));
                    CFRelease(lStrings.back());
                    EXPECT_NE(CFHash(lStrings.back()), 0u);
                }
            });
    }
    for (std::thread &lThread : lThreads)
        lThread.join();

    for (int lText = 0; lText < kTexts; ++lText)
    {
        const auto lOwn = String("constant " + std::to_string(lText));
        EXPECT_TRUE(CFEqual(lSeen[0][lText], lOwn.Get()));
        EXPECT_FALSE(CFEqual(lSeen[0][lText], lSeen[0][(lText + 1) % kTexts]));
        for (const auto &lStrings : lSeen)
            EXPECT_EQ(lStrings[lText], lSeen[0][lText]);
    }
    EXPECT_EQ(__CFStringMakeConstantString("\xff"), nullptr);
    EXPECT_EQ(__CFStringMakeConstantString(nullptr), nullptr);
}

} // namespace
