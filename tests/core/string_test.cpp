#include <failingallocations.h>

#include <zqstring.h>

#include <gtest/gtest.h>

#include <string>

using zq::Test::FailingAllocations;

namespace
{

TEST(String, EveryWayInGivesTheSameText)
{
    const auto     lString  = CFUAdopt(CFStringCreateWithCString(nullptr, "Zoë 漢字", kCFStringEncodingUTF8));
    const zqString lTexts[] = { "Zoë 漢字", lString.Get(), lString, zqString("Zoë ") + "漢字" };

    for (const zqString &lText : lTexts)
    {
        EXPECT_STREQ(lText.GetAsUTFArray(), "Zoë 漢字");
        EXPECT_EQ(lText.GetLength(), 11);
        EXPECT_FALSE(lText.IsEmpty());
        EXPECT_TRUE(CFEqual(lText.GetAsCFString(), lString.Get()));
        EXPECT_TRUE(lText == lTexts[0]);
    }
}

TEST(String, WhatIsNoTextIsEmpty)
{
    const auto lWithNull = CFUAdopt(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>("a\0b"), 3, kCFStringEncodingUTF8, 0));
    const zqString lTexts[] = { zqString(),
                                "",
                                static_cast<const char *>(nullptr),
                                static_cast<CFStringRef>(nullptr),
                                CFUSharedRef<CFStringRef>(),
                                lWithNull.Get(),
                                lWithNull,
                                CFSTR(""),
                                "\xff\xfe",
                                "cut \xc3" };

    for (const zqString &lText : lTexts)
    {
        EXPECT_TRUE(lText.IsEmpty());
        EXPECT_STREQ(lText.GetAsUTFArray(), "");
        EXPECT_EQ(lText.GetLength(), 0);
        EXPECT_TRUE(CFEqual(lText.GetAsCFString(), CFSTR("")));
        EXPECT_TRUE(lText == zqString());
        EXPECT_FALSE(lText < zqString());
    }
}

TEST(String, Order)
{
    static const char *const kAscending[] = { "", "A", "B", "a", "aB", "aa", "ab", "abc", "b", "é", "漢" };
    int                      lFirst       = 0;

    for (const char *lLeft : kAscending)
    {
        int lSecond = 0;
        for (const char *lRight : kAscending)
        {
            EXPECT_EQ(zqString(lLeft) < zqString(lRight), lFirst < lSecond) << lLeft << " < " << lRight;
            EXPECT_EQ(zqString(lLeft) == zqString(lRight), lFirst == lSecond) << lLeft << " == " << lRight;
            EXPECT_EQ(zqString(lLeft) != zqString(lRight), lFirst != lSecond) << lLeft << " != " << lRight;
            ++lSecond;
        }
        ++lFirst;
    }
}

TEST(String, LeadingInteger)
{
    static const struct
    {
        const char *mText;
        int         mValue;
    } kCases[] = { { "", 0 },
                   { "0", 0 },
                   { "42", 42 },
                   { "-7", -7 },
                   { "+7", 7 },
                   { "12 apples", 12 },
                   { "apples", 0 },
                   { "007", 7 },
                   { "0x10", 0 },
                   { "3.9", 3 },
                   { "2147483647", 2147483647 },
                   { "-2147483648", -2147483647 - 1 } };

    for (const auto &lCase : kCases)
        EXPECT_EQ(zqString(lCase.mText).GetInteger(), lCase.mValue) << lCase.mText;
}

TEST(String, Appending)
{
    zqString       lText;
    const zqString lEmpty;
    std::string    lExpected;

    for (const char *lPart : { "", "wlan", "", "0", "ë" })
    {
        lText += lPart;
        lExpected += lPart;
        EXPECT_EQ(lText.GetAsUTFArray(), lExpected);
    }

    const zqString lBefore(lText);
    lText += lText;
    EXPECT_STREQ(lText.GetAsUTFArray(), "wlan0ëwlan0ë");
    EXPECT_STREQ(lBefore.GetAsUTFArray(), "wlan0ë");
    EXPECT_STREQ((lEmpty + lEmpty).GetAsUTFArray(), "");
}

TEST(String, WithoutMemoryTheTextIsEmpty)
{
    const std::string lLong(1000, 'x');
    const zqString    lHalf(lLong.c_str());
    zqString          lTexts[4] = { lHalf, lHalf, lHalf, lHalf };

    for (int lNumGranted = 0; lNumGranted < 3; ++lNumGranted)
    {
        const FailingAllocations lNoMemory(lNumGranted);
        lTexts[lNumGranted] += lHalf;
    }
    {
        const FailingAllocations lNoMemory;
        lTexts[3] = zqString(lLong.c_str());
    }

    EXPECT_TRUE(lTexts[0].IsEmpty());
    EXPECT_TRUE(lTexts[1].IsEmpty());
    EXPECT_TRUE(lTexts[2].IsEmpty() || lTexts[2].GetLength() == 2000);
    EXPECT_TRUE(lTexts[3].IsEmpty());
    EXPECT_NE(lTexts[3].GetAsCFString(), nullptr);
}

std::string Join(const zqStringArray &anArray)
{
    std::string lJoined;

    for (int lIndex = 0; lIndex < anArray.GetNumElements(); ++lIndex)
        lJoined += std::string(anArray.GetElement(lIndex).GetAsUTFArray()) + ";";
    return lJoined;
}

TEST(StringArray, KeepsTextsInOrder)
{
    zqStringArray lArray;

    EXPECT_TRUE(lArray.IsEmpty());
    for (const char *lText : { "wifi", "ethernet", "wifi", "" })
        ASSERT_EQ(lArray.Append(lText), 0);

    EXPECT_EQ(Join(lArray), "wifi;ethernet;wifi;;");
    EXPECT_EQ(lArray.Find("wifi"), 0);
    EXPECT_EQ(lArray.Find(""), 3);
    EXPECT_EQ(lArray.Find("Wifi"), -1);
    EXPECT_TRUE(lArray.GetElement(-1).IsEmpty());
    EXPECT_TRUE(lArray.GetElement(4).IsEmpty());

    for (const int lIndex : { -1, 4, 0 })
        lArray.RemoveAt(lIndex);
    EXPECT_EQ(Join(lArray), "ethernet;wifi;;");

    ASSERT_EQ(lArray.Copy(lArray), 0);
    EXPECT_EQ(Join(lArray), "ethernet;wifi;;ethernet;wifi;;");

    const zqStringArray lCopy(lArray);
    lArray.Clear();
    EXPECT_EQ(lArray.GetNumElements(), 0);
    lArray = lCopy;
    EXPECT_EQ(lArray.GetNumElements(), 6);
}

TEST(StringArray, WithoutMemoryNothingIsAppended)
{
    zqStringArray  lSource;
    zqStringArray  lArray;
    const zqString lText("wifi");

    ASSERT_EQ(lSource.Append(lText), 0);
    const FailingAllocations lNoMemory;
    EXPECT_EQ(lArray.Append(lText), -2);
    EXPECT_EQ(lArray.Copy(lSource), -2);
    EXPECT_TRUE(lArray.IsEmpty());
    EXPECT_TRUE(zqStringArray(lSource).IsEmpty());
}

} // namespace
