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

    const zqString lEmpty[] = { zqString(),
                                static_cast<const char *>(nullptr),
                                static_cast<CFStringRef>(nullptr),
                                CFUSharedRef<CFStringRef>(),
                                "\xff\xfe",
                                "cut \xc3" };
    for (const zqString &lText : lEmpty)
        EXPECT_TRUE(lText.IsEmpty() && *lText.GetAsUTFArray() == 0 && CFEqual(lText.GetAsCFString(), CFSTR("")));
    EXPECT_TRUE(zqString("B") < "a" && !(zqString("a") < "a") && zqString("a") < "é" && zqString("a") != "aa");
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

TEST(StringArray, KeepsTextsInOrderAndIsAsItWasWithoutMemory)
{
    zqStringArray lArray;
    std::string   lJoined;

    for (const char *lText : { "wifi", "ethernet", "wifi", "" })
        ASSERT_EQ(lArray.Append(lText), 0);
    EXPECT_EQ(lArray.Find("wifi"), 0);
    EXPECT_EQ(lArray.Find("Wifi"), -1);
    for (const int lIndex : { -1, 4, 0 })
        lArray.RemoveAt(lIndex);
    ASSERT_EQ(lArray.Copy(lArray), 0);

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
    for (int lIndex = -1; lIndex <= lArray.GetNumElements(); ++lIndex)
        lJoined += std::string(lArray.GetElement(lIndex).GetAsUTFArray()) + ";";
    EXPECT_EQ(lJoined, ";ethernet;wifi;;ethernet;wifi;;;");
}

} // namespace
