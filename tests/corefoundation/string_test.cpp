#include <cfvalues.h>

#include <gtest/gtest.h>

#include <thread>

using namespace zq::Test;

namespace
{

TEST(CFString, OnlyStrictUTF8IsText)
{
    // At the edges of each length, of the surrogates and of the last plane: seven units of UTF-16, then four.
    EXPECT_EQ(CFStringGetLength(Str("\x7f\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf").Get()), 7);
    EXPECT_EQ(CFStringGetLength(Str("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf").Get()), 4);

    // Continuation alone, overlong, surrogate, past the last plane, cut off, continuation missing.
    for (const std::string lBytes : { "\x80", "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf",
                                      "\xed\xa0\x80", "\xed\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff",
                                      "a\xc3", "a\xe6\xbc", "a\xf0\x9f\x98", "\xc3(", "\xe6\xbc(", "\xf0\x9f(\x80" })
        EXPECT_TRUE(Str(lBytes) == nullptr) << testing::PrintToString(lBytes);

    // A NUL is a character, of which a C string cannot tell.
    EXPECT_EQ(CFStringGetLength(Str({ "a\0b", 3 }).Get()), 3);
    EXPECT_EQ(CFStringGetCStringPtr(Str({ "a\0b", 3 }).Get(), kCFStringEncodingUTF8), nullptr);
    EXPECT_FALSE(CFEqual(Str({ "a\0b", 3 }).Get(), CFSTR("a")));
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
        EXPECT_TRUE(CFEqual(lSeen[0][lText], Str(lName(lText)).Get()));
    EXPECT_EQ(__CFStringMakeConstantString("\xff"), nullptr);
    EXPECT_EQ(__CFStringMakeConstantString(nullptr), nullptr);
}

} // namespace
