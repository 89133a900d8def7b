#include "values.h"

#include <gtest/gtest.h>

#include <limits>
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
    static const struct
    {
        std::string_view mBytes;
        CFIndex          mUnits; // -1: refused
    } kRows[] = {
        { "", 0 },
        { "\x7f", 1 },
        { "\xc2\x80", 1 },
        { "\xdf\xbf", 1 },
        { "\xe0\xa0\x80", 1 },
        { "\xed\x9f\xbf", 1 },       // U+D7FF
        { "\xee\x80\x80", 1 },       // U+E000
        { "\xef\xbf\xbf", 1 },       // U+FFFF
        { "\xf0\x90\x80\x80", 2 },   // U+10000
        { "\xf4\x8f\xbf\xbf", 2 },   // U+10FFFF
        { "a\xf0\x9f\x98\x80z", 4 }, // U+1F600
        { "\x80", -1 },              // continuation alone
        { "\xc0\x80", -1 },          // overlong NUL
        { "\xc1\xbf", -1 },          // overlong
        { "\xe0\x9f\xbf", -1 },      // overlong
        { "\xf0\x8f\xbf\xbf", -1 },  // overlong
        { "\xed\xa0\x80", -1 },      // U+D800
        { "\xed\xbf\xbf", -1 },      // U+DFFF
        { "\xf4\x90\x80\x80", -1 },  // U+110000
        { "\xf5\x80\x80\x80", -1 },  // past every plane
        { "\xff", -1 },
        { "a\xc3", -1 },         // cut off
        { "a\xe6\xbc", -1 },     // cut off
        { "a\xf0\x9f\x98", -1 }, // cut off
        { "\xc3(", -1 },         // continuation missing
        { "\xe6\xbc(", -1 },
        { "\xf0\x9f(\x80", -1 },
    };

    for (const auto &lRow : kRows)
    {
        const auto lString = String(lRow.mBytes);

        EXPECT_EQ(lString != nullptr ? CFStringGetLength(lString.Get()) : -1, lRow.mUnits)
            << testing::PrintToString(lRow.mBytes);
    }
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

TEST(CFString, CaseInsensitiveOrderFoldsASCIILetters)
{
    static const struct
    {
        std::string_view mFirst;
        std::string_view mSecond;
        int              mOrder;
    } kRows[] = { { "WiFi", "wIfI", 0 },
                  { "A", "b", -1 },
                  { "a", "B", -1 },
                  { "Z", "_", 1 }, // z is past _
                  { "@", "`", -1 },
                  { "[", "{", -1 },
                  { "\u00c9", "\u00e9", -1 },
                  { "a", "AB", -1 },
                  { "\ufffdA", "\U0001F600a", 1 } };

    for (const auto &lRow : kRows)
    {
        const auto lFirst  = String(lRow.mFirst);
        const auto lSecond = String(lRow.mSecond);

        EXPECT_EQ(CFStringCompare(lFirst.Get(), lSecond.Get(), kCFCompareCaseInsensitive), lRow.mOrder) << lRow.mFirst;
        EXPECT_EQ(CFStringCompare(lSecond.Get(), lFirst.Get(), kCFCompareCaseInsensitive), -lRow.mOrder) << lRow.mFirst;
    }
}

TEST(CFString, EncodingsBothWays)
{
    static const struct
    {
        CFStringEncoding mEncoding;
        std::string_view mBytes;
        const char      *mText; // null: refused
    } kRows[] = { { kCFStringEncodingASCII, "plain", "plain" },
                  { kCFStringEncodingASCII, "caf\xe9", nullptr },
                  { kCFStringEncodingASCII, "caf\xc3\xa9", nullptr },
                  { kCFStringEncodingISOLatin1, "caf\xe9", "caf\u00e9" },
                  { kCFStringEncodingISOLatin1, "\x80\xbf\xc0\xff", "\u0080\u00bf\u00c0\u00ff" },
                  { kCFStringEncodingUTF8, "caf\xc3\xa9", "caf\u00e9" },
                  { kCFStringEncodingMacRoman, "plain", nullptr },
                  { 0x0100, "plain", nullptr } };

    for (const auto &lRow : kRows)
    {
        const auto lString = Convert(lRow.mBytes, lRow.mEncoding);
        ASSERT_EQ(lString != nullptr, lRow.mText != nullptr) << lRow.mBytes;
        if (lString == nullptr)
            continue;

        char lBuffer[32] = {};
        EXPECT_STREQ(CFStringGetCStringPtr(lString.Get(), kCFStringEncodingUTF8), lRow.mText);
        ASSERT_TRUE(CFStringGetCString(lString.Get(), lBuffer, sizeof(lBuffer), lRow.mEncoding));
        EXPECT_EQ(lBuffer, lRow.mBytes);

        const auto lSize = static_cast<CFIndex>(lRow.mBytes.size());
        EXPECT_TRUE(CFStringGetCString(lString.Get(), lBuffer, lSize + 1, lRow.mEncoding));
        EXPECT_FALSE(CFStringGetCString(lString.Get(), lBuffer, lSize, lRow.mEncoding)) << "no room for the NUL";
        EXPECT_FALSE(CFStringGetCString(lString.Get(), lBuffer, sizeof(lBuffer), kCFStringEncodingMacRoman));
    }

    char       lBuffer[32];
    const auto lAccent = String("\u00e9"), lFar = String("\u0100");
    EXPECT_FALSE(CFStringGetCString(lAccent.Get(), lBuffer, sizeof(lBuffer), kCFStringEncodingASCII));
    EXPECT_FALSE(CFStringGetCString(lFar.Get(), lBuffer, sizeof(lBuffer), kCFStringEncodingISOLatin1));
    EXPECT_EQ(CFStringGetCStringPtr(lAccent.Get(), kCFStringEncodingISOLatin1), nullptr);
    EXPECT_STREQ(CFStringGetCStringPtr(CFSTR("a"), kCFStringEncodingISOLatin1), "a");
}

TEST(CFString, ByteOrderMarkIsNoTextOfAnExternalString)
{
    EXPECT_TRUE(CFEqual(Convert("\xEF\xBB\xBFx", kCFStringEncodingUTF8, true).Get(), CFSTR("x")));
    EXPECT_EQ(CFStringGetLength(Convert("\xEF\xBB\xBFx", kCFStringEncodingUTF8, false).Get()), 2);
}

TEST(CFString, NULIsACharacter)
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
}

TEST(CFString, LargestSizeIsEnoughAndDoesNotOverflow)
{
    const CFIndex kMost = std::numeric_limits<CFIndex>::max();

    EXPECT_GE(CFStringGetMaximumSizeForEncoding(CFStringGetLength(String("\uffff").Get()), kCFStringEncodingUTF8), 3);
    EXPECT_GE(CFStringGetMaximumSizeForEncoding(CFStringGetLength(String("\U0010ffff").Get()), kCFStringEncodingUTF8),
              4);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMost, kCFStringEncodingUTF8), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(-1, kCFStringEncodingUTF8), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(1, kCFStringEncodingMacRoman), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(kMost, kCFStringEncodingASCII), kMost);
}

TEST(CFString, LeadingInteger)
{
    static const struct
    {
        const char *mText;
        SInt32      mValue;
    } kRows[] = { { "", 0 },
                  { "abc", 0 },
                  { "17 dBm", 17 },
                  { " \t-5", -5 },
                  { "+8", 8 },
                  { "+-8", 0 },
                  { "- 8", 0 },
                  { "0x10", 0 },
                  { "   ", 0 },
                  { "2147483647", INT32_MAX },
                  { "2147483648", INT32_MAX },
                  { "-2147483648", INT32_MIN },
                  { "-99999999999999999999", INT32_MIN },
                  { "007", 7 } };

    for (const auto &lRow : kRows)
        EXPECT_EQ(CFStringGetIntValue(String(lRow.mText).Get()), lRow.mValue) << lRow.mText;
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
