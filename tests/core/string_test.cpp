#include <failingallocations.h>

#include <zqstring.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

using zq::Test::FailingAllocations;

namespace
{

TEST(zqError, EveryCodeHasANameAndWordsOfItsOwn)
{
    std::set<std::string> lSeen;
    int                   lCodes = 0;

#define ZQ_ERROR(aName, aCode, aText)                                                                                  \
    ++lCodes;                                                                                                          \
    lSeen.insert({ zqErrorName(aCode), zqErrorText(aCode) });
    ZQ_ERRORS(ZQ_ERROR)
#undef ZQ_ERROR
    EXPECT_EQ(lSeen.size(), 2U * static_cast<unsigned>(lCodes));
    EXPECT_STREQ(zqErrorName(-17), "zqError_NotFound");
    EXPECT_STREQ(zqErrorText(-17), "not found");
    EXPECT_STREQ(zqErrorName(-6), "unknown");
    EXPECT_STREQ(zqErrorText(-6), "unknown error");
}

TEST(String, AppendingKeepsBothOrWithoutMemoryNeither)
{
    const zqString lHalf(std::string(1000, 'x').c_str());
    zqString       lText("wlan0ë");

    const zqString lBefore(lText);
    lText += lText;
    EXPECT_STREQ(lText.GetAsUTFArray(), "wlan0ëwlan0ë");
    EXPECT_STREQ(lBefore.GetAsUTFArray(), "wlan0ë");

    for (int lNumGranted = 0; lNumGranted < 3; ++lNumGranted)
    {
        lText = lHalf;
        {
            const FailingAllocations lNoMemory(lNumGranted);
            lText += lHalf;
        }
        EXPECT_TRUE(lText.IsEmpty() || (lNumGranted == 2 && lText.GetLength() == 2000)) << lNumGranted;
        EXPECT_NE(lText.GetAsCFString(), nullptr);
    }
}

TEST(StringArray, AppendsEvenItselfAndIsAsItWasWithoutMemory)
{
    const zqString lText("wifi");
    zqStringArray  lArray, lNone;
    std::string    lJoined;

    for (const char *lElement : { "wifi", "ethernet", "" })
        ASSERT_EQ(lArray.Append(lElement), 0);
    lArray.RemoveAt(0);
    ASSERT_EQ(lArray.Copy(lArray), 0);
    for (int lIndex = -1; lIndex <= lArray.GetNumElements(); ++lIndex)
        lJoined += std::string(lArray.GetElement(lIndex).GetAsUTFArray()) + ";";
    EXPECT_EQ(lJoined, ";ethernet;;ethernet;;;");

    const FailingAllocations lNoMemory;
    EXPECT_EQ(lNone.Append(lText), -2);
    EXPECT_EQ(lNone.Copy(lArray), -2);
    EXPECT_TRUE(lNone.IsEmpty() && zqStringArray(lArray).IsEmpty());
}

} // namespace
