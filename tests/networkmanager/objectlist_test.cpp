#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

const char *const kFile     = "zqnetworkmanager-objectlist";
const char *const kHeader   = "../include/networkmanager/zqnetworkmanager-objectlist";
const char *const kAsserter = "network manager";

zqSharedPtr<Object> Listed(const char *aPath)
{
    return Make<Object>(aPath, Dict());
}

zqRefObjectArray<Object> Array(const std::vector<const char *> &aPaths)
{
    zqRefObjectArray<Object> lArray;

    for (const char *lPath : aPaths)
        (void)lArray.Append(Listed(lPath));

    return lArray;
}

class AnObjectList : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(mList.Init(), 0); }

    std::string GetPaths() const
    {
        zqRefObjectArray<Object> lArray;
        EXPECT_EQ(mList.CreateCopyAsArray(lArray), 0);
        return Join(Names(lArray));
    }

    ObjectList mList;
    LogCapture mLog;
};

} // namespace

TEST_F(AnObjectList, IsInitialisedOnceAndRefusesEverythingBefore)
{
    ObjectList               lList(mList); // copies nothing
    zqRefObjectArray<Object> lArray = Array({ "/a" });
    const auto               lA     = lArray.GetElement(0);

    EXPECT_EQ(mList.Init(), -3);
    EXPECT_EQ(lList.GetNumElements(), -1);
    EXPECT_FALSE(lList.IsEmpty());
    for (const zqError lResult : { lList.Clear(), lList.CreateCopyAsArray(lArray), lList.Add(lA), lList.Remove(lA),
                                   lList.Append(lArray), lList.Erase(lArray), lList.AppendAll(lArray) })
        EXPECT_EQ(lResult, -3);
    EXPECT_TRUE(lList.Find(lA) == nullptr && lList.Find(Str("/a")) == nullptr);
    EXPECT_EQ(lList.FindLocked(lA) + mList.FindLocked(nullptr), -2);
    for (const char *lFile : { kFile, kHeader })
        EXPECT_TRUE(Asserted(mLog, "mInitialized", lFile, kAsserter));
    EXPECT_EQ(mLog.Count("retval == 0"), 3u); // of the last three
}

TEST_F(AnObjectList, KeepsTheObjectThatWasThereFirstAndFindsItLetterCaseIncluded)
{
    const auto lFirst = Listed("/a");

    for (const auto &lObject : { lFirst, Listed("/a"), lFirst })
        EXPECT_EQ(mList.Add(lObject), 0);
    EXPECT_EQ(mList.GetNumElements(), 1);
    EXPECT_EQ(mList.Find(Str("/a")).Get(), lFirst.Get());
    EXPECT_EQ(mList.Find(Listed("/a")).Get(), lFirst.Get());
    EXPECT_TRUE(mList.Find(Str("/A")) == nullptr);
    EXPECT_TRUE(mList.Find(CFUSharedRef<CFStringRef>()) == nullptr);
    EXPECT_TRUE(Asserted(mLog, "aPattern != __null", kHeader, kAsserter));
    EXPECT_TRUE(mList.Find(zqSharedPtr<Object>()) == nullptr);
    EXPECT_TRUE(Asserted(mLog, "anObject != __null", kFile, kAsserter));

    // A snapshot holds the live object; the path may come again after Clear.
    zqRefObjectArray<Object> lSnapshot = Array({ "/old" });
    EXPECT_EQ(mList.CreateCopyAsArray(lSnapshot), 0);
    EXPECT_EQ(mList.Clear(), 0);
    EXPECT_EQ(mList.Add(Listed("/b")), 0);
    EXPECT_TRUE(mList.Find(Str("/a")) == nullptr);
    EXPECT_EQ(mList.Add(Listed("/a")), 0);
    EXPECT_EQ(Names(lSnapshot), Lines{ "a" });
    EXPECT_EQ(lSnapshot.GetElementPtr(0), lFirst.Get());
    EXPECT_EQ(lFirst->GetRefCount(), 2);
}

TEST_F(AnObjectList, RemovesByPathAndFindsTheOthersWhereTheyAreThen)
{
    const auto lObjects = Array({ "/a", "/b", "/c", "/d", "/a" });

    EXPECT_EQ(mList.Append(lObjects), 0);
    EXPECT_EQ(mList.Remove(Listed("/b")), 0);
    EXPECT_EQ(mList.Remove(Listed("/x")), 0);
    EXPECT_EQ(mList.Remove(nullptr), -5);
    EXPECT_EQ(mList.Add(nullptr), -5);
    EXPECT_EQ(GetPaths(), "a c d");

    mList.Lock();
    for (const auto &[lPath, lIndex] :
         std::map<const char *, int>{ { "/a", 0 }, { "/b", -1 }, { "/c", 1 }, { "/d", 2 } })
        EXPECT_EQ(mList.FindLocked(Listed(lPath)), lIndex) << lPath;
    mList.Unlock();

    // Back at the end, where a newcomer belongs.
    EXPECT_EQ(mList.Add(lObjects.GetElement(1)), 0);
    EXPECT_EQ(GetPaths(), "a c d b");
    EXPECT_EQ(mList.Find(Str("/b")).Get(), lObjects.GetElementPtr(1));

    EXPECT_EQ(mList.Erase(Array({ "/c", "/x", "/a", "/a" })), 0);
    EXPECT_EQ(mList.Erase({}), 0);
    EXPECT_EQ(GetPaths(), "d b");
    EXPECT_TRUE(mList.Find(Str("/a")) == nullptr);
    EXPECT_EQ(mList.Find(Str("/d")).Get(), lObjects.GetElementPtr(3));
}

TEST_F(AnObjectList, FindsAnObjectThatGotItsPathLater)
{
    const zqSharedPtr<Object> lLate(new Object);

    for (const auto &lObject : { Listed("/a"), lLate, Listed("/b") })
        ASSERT_EQ(mList.Add(lObject), 0);
    EXPECT_TRUE(mList.Find(Listed("/x")) == nullptr);
    EXPECT_EQ(mList.Find(zqSharedPtr<Object>(new Object)).Get(), lLate.Get()) << "neither has one";
    ASSERT_EQ(lLate->Init(Str("/b"), Dict()), 0);
    EXPECT_EQ(mList.Find(Str("/b")).Get(), lLate.Get()) << "the first of two";
    EXPECT_EQ(mList.Remove(lLate), 0);
    EXPECT_EQ(GetPaths(), "a b");
}

TEST_F(AnObjectList, OfAnyLengthIsNotWalkedForOneObject)
{
    // A walk over a list asks each of its elements for its path.
    static int sNumAsked = 0;
    struct AskedObject : Object
    {
        CFUSharedRef<CFStringRef> GetPath() const override
        {
            sNumAsked++;
            return Object::GetPath();
        }
    };
    const int                kCount = 10000;
    zqRefObjectArray<Object> lObjects;

    for (int i = 0; i < kCount; i++)
    {
        const zqSharedPtr<Object> lObject(new AskedObject);
        ASSERT_EQ(lObject->Init(Str(("/net/connman/service/wifi_" + std::to_string(i)).c_str()), Dict()), 0);
        ASSERT_EQ(lObjects.Append(lObject), 0);
    }

    EXPECT_EQ(mList.Append(lObjects), 0);
    EXPECT_EQ(mList.Append(lObjects), 0);
    for (int i = 0; i < kCount; i += 2)
    {
        EXPECT_EQ(mList.Remove(lObjects.GetElement(i)), 0);
        EXPECT_TRUE(mList.Find(lObjects.GetElement(i)) == nullptr);
        EXPECT_EQ(mList.Find(lObjects.GetElementPtr(i + 1)->Object::GetPath()).Get(), lObjects.GetElementPtr(i + 1));
    }
    EXPECT_EQ(mList.GetNumElements(), kCount / 2);
    EXPECT_EQ(mList.Erase(lObjects), 0);
    EXPECT_TRUE(mList.IsEmpty());

    // A few times for each step with it.
    EXPECT_LT(sNumAsked, 20 * kCount);
}
