#include <failingallocations.h>

#include <zqstring.h>

#include <gtest/gtest.h>

#include <string>

using zq::Test::FailingAllocations;

namespace
{

TEST(String, EveryWayInGivesTheSameTextAndNoneGivesWhatIsNoText)
{
    const auto     lString  = CFUAdopt(CFStringCreateWithCString(nullptr, "Zoë 漢字", kCFStringEncodingUTF8));
    const zqString lTexts[] = { "Zoë 漢字", lString.Get(), lString, zqString("Zoë ") + "漢字" };

    for (const zqString &lText : lTexts)
    {
        EXPECT_STREQ(lText.GetAsUTFArray(), "Zoë 漢字");
        EXPECT_EQ(lText.GetLength(), 11);
        EXPECT_FALSE(lText.IsEmpty());
        EXPECT_TRUE(CFEqual(lText.GetAsCFString(), lString.Get()));
    }

    const auto lWithNull = CFUAdopt(
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8 *>("a\0b"), 3, kCFStringEncodingUTF8, 0));
    const zqString lEmpty[] = { zqString(),
                                static_cast<const char *>(nullptr),
                                static_cast<CFStringRef>(nullptr),
                                CFUSharedRef<CFStringRef>(),
                                lWithNull.Get(),
                                lWithNull,
                                "\xff\xfe",
                                "cut \xc3" };
    for (const zqString &lText : lEmpty)
        EXPECT_TRUE(lText.IsEmpty() && *lText.GetAsUTFArray() == 0 && CFEqual(lText.GetAsCFString(), CFSTR("")));
}

TEST(String, OrderIsThatOfTheBytes)
{
    const zqString kAscending[] = { "", "A", "B", "a", "aB", "aa", "ab", "abc", "b", "é", "漢" };

    for (const zqString &lLeft : kAscending)
    {
        for (const zqString &lRight : kAscending)
        {
            EXPECT_EQ(lLeft < lRight, &lLeft < &lRight) << lLeft.GetAsUTFArray() << " < " << lRight.GetAsUTFArray();
            EXPECT_TRUE((lLeft == lRight) == (&lLeft == &lRight) && (lLeft != lRight) == (&lLeft != &lRight));
        }
    }
    EXPECT_EQ(zqString("-12 apples").GetInteger(), -12);
}

TEST(String, AppendingKeepsBothOrWithoutMemoryNeither)
{
    const std::string lLong(1000, 'x');
    const zqString    lHalf(lLong.c_str());
    zqString          lText("wlan0ë");

    const zqString lBefore(lText);
    lText += "";
    lText += lText;
    EXPECT_STREQ(lText.GetAsUTFArray(), "wlan0ëwlan0ë");
    EXPECT_STREQ(lBefore.GetAsUTFArray(), "wlan0ë");

    for (int lNumGranted = 0; lNumGranted < 3; ++lNumGranted)
    {
        const zqString lEmpty;
        lText = lHalf;
        {
            const FailingAllocations lNoMemory(lNumGranted);
            lText += lHalf;
        }
        EXPECT_TRUE(lText.IsEmpty() || (lNumGranted == 2 && lText.GetLength() == 2000)) << lNumGranted;
    }
    {
        const FailingAllocations lNoMemory;
        lText = zqString(lLong.c_str());
    }
    EXPECT_TRUE(lText.IsEmpty());
    EXPECT_NE(lText.GetAsCFString(), nullptr);
}

std::string Join(const zqStringArray &anArray)
{
    std::string lJoined;

    for (int lIndex = 0; lIndex < anArray.GetNumElements(); ++lIndex)
        lJoined += std::string(anArray.GetElement(lIndex).GetAsUTFArray()) + ";";
    return lJoined;
}

TEST(StringArray, KeepsTextsInOrderAndIsAsItWasWithoutMemory)
{
    zqStringArray lArray;

    for (const char *lText : { "wifi", "ethernet", "wifi", "" })
        ASSERT_EQ(lArray.Append(lText), 0);
    EXPECT_EQ(lArray.Find("wifi"), 0);
    EXPECT_EQ(lArray.Find(""), 3);
    EXPECT_EQ(lArray.Find("Wifi"), -1);
    EXPECT_TRUE(lArray.GetElement(-1).IsEmpty());
    EXPECT_TRUE(lArray.GetElement(4).IsEmpty());

    for (const int lIndex : { -1, 4, 0 })
        lArray.RemoveAt(lIndex);
    ASSERT_EQ(lArray.Copy(lArray), 0);
    EXPECT_EQ(Join(lArray), "ethernet;wifi;;ethernet;wifi;;");

    const zqStringArray lCopy(lArray);
    lArray.Clear();
    EXPECT_EQ(lArray.GetNumElements(), 0);
    {
        const zqString           lText("wifi");
        const FailingAllocations lNoMemory;
        zqStringArray            lNone;
        EXPECT_EQ(lNone.Append(lText), -2);
        EXPECT_EQ(lNone.Copy(lCopy), -2);
        EXPECT_TRUE(lNone.IsEmpty() && zqStringArray(lCopy).IsEmpty());
    }
    lArray = lCopy;
    EXPECT_EQ(lArray.GetNumElements(), 6);
}

} // namespace
