#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

const char *const kFile     = "zqnetworkmanager-objectlist";
const char *const kHeader   = "../include/networkmanager/zqnetworkmanager-objectlist";
const char *const kAsserter = "network manager";

class AnObjectList : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(mList.Init(), 0); }

    zqSharedPtr<Object> Add(const char *aPath)
    {
        const auto lObject = Make<Object>(aPath, Dict());
        EXPECT_EQ(mList.Add(lObject), 0);
        return lObject;
    }

    std::string GetPaths() const
    {
        zqRefObjectArray<Object> lArray;
        EXPECT_EQ(mList.CreateCopyAsArray(lArray), 0);
        return PathsOf(lArray);
    }

    ObjectList mList;
    LogCapture mLog;
};

zqRefObjectArray<Object> Array(const std::vector<const char *> &aPaths)
{
    zqRefObjectArray<Object> lArray;

    for (const char *lPath : aPaths)
        (void)lArray.Append(Make<Object>(lPath, Dict()));

    return lArray;
}

} // namespace

TEST(AnUninitialisedObjectList, RefusesEverything)
{
    LogCapture               lLog;
    ObjectList               lList;
    zqRefObjectArray<Object> lArray = Array({ "/a" });

    EXPECT_EQ(lList.GetNumElements(), -1);
    EXPECT_FALSE(lList.IsEmpty());
    EXPECT_EQ(lList.Clear(), -3);
    EXPECT_EQ(lList.CreateCopyAsArray(lArray), -3);
    EXPECT_EQ(lArray.GetNumElements(), 1);
    EXPECT_EQ(lList.Add(lArray.GetElement(0)), -3);
    EXPECT_EQ(lList.Remove(lArray.GetElement(0)), -3);
    EXPECT_EQ(lList.Append(lArray), -3);
    EXPECT_EQ(lList.Erase(lArray), -3);
    EXPECT_TRUE(lList.Find(lArray.GetElement(0)) == nullptr);
    EXPECT_TRUE(Asserted(lLog, "mInitialized", kFile, kAsserter));

    EXPECT_TRUE(lList.Find(Str("/a")) == nullptr);
    EXPECT_TRUE(Asserted(lLog, "mInitialized", kHeader, kAsserter));
}

TEST_F(AnObjectList, IsInitialisedOnce)
{
    EXPECT_EQ(mList.Init(), -3);
    EXPECT_EQ(mList.GetNumElements(), 0);
    EXPECT_TRUE(mList.IsEmpty());
}

TEST_F(AnObjectList, CopiesNothing)
{
    (void)Add("/a");
    const ObjectList lCopy(mList);

    EXPECT_EQ(lCopy.GetNumElements(), -1);
}

TEST_F(AnObjectList, KeepsTheObjectThatWasThereFirst)
{
    const auto lFirst = Add("/a");

    EXPECT_EQ(mList.Add(Make<Object>("/a", Dict())), 0);
    EXPECT_EQ(mList.Add(lFirst), 0);

    EXPECT_EQ(mList.GetNumElements(), 1);
    EXPECT_EQ(mList.Find(Str("/a")).Get(), lFirst.Get());
    EXPECT_EQ(mList.Find(Make<Object>("/a", Dict())).Get(), lFirst.Get());
}

TEST_F(AnObjectList, FindsByPathLetterCaseIncluded)
{
    (void)Add("/a");

    EXPECT_TRUE(mList.Find(Str("/A")) == nullptr);
    EXPECT_TRUE(mList.Find(Str("/")) == nullptr);
    EXPECT_TRUE(mList.Find(CFUSharedRef<CFStringRef>()) == nullptr);
    EXPECT_TRUE(Asserted(mLog, "aPattern != __null", kHeader, kAsserter));
    EXPECT_TRUE(mList.Find(zqSharedPtr<Object>()) == nullptr);
    EXPECT_TRUE(Asserted(mLog, "anObject != __null", kFile, kAsserter));
}

TEST_F(AnObjectList, RemovesByPathAndFindsTheOthersWhereTheyAreThen)
{
    std::vector<zqSharedPtr<Object>> lObjects;

    for (const char *lPath : { "/a", "/b", "/c", "/d" })
        lObjects.push_back(Add(lPath));

    EXPECT_EQ(mList.Remove(Make<Object>("/b", Dict())), 0);
    EXPECT_EQ(mList.Remove(Make<Object>("/x", Dict())), 0);
    EXPECT_EQ(mList.Remove(nullptr), -5);
    EXPECT_EQ(GetPaths(), "/a /c /d");

    mList.Lock();
    EXPECT_EQ(mList.FindLocked(lObjects[0]), 0);
    EXPECT_EQ(mList.FindLocked(lObjects[1]), -1);
    EXPECT_EQ(mList.FindLocked(lObjects[2]), 1);
    EXPECT_EQ(mList.FindLocked(Make<Object>("/d", Dict())), 2);
    mList.Unlock();

    // Back at the end, where a newcomer belongs.
    EXPECT_EQ(mList.Add(lObjects[1]), 0);
    EXPECT_EQ(GetPaths(), "/a /c /d /b");
    EXPECT_EQ(mList.Find(Str("/b")).Get(), lObjects[1].Get());
}

TEST_F(AnObjectList, AppendsAndErasesArrays)
{
    EXPECT_EQ(mList.Append(zqRefObjectArray<Object>()), 0);
    EXPECT_EQ(mList.Append(Array({ "/a", "/b", "/a", "/c", "/d" })), 0);
    EXPECT_EQ(GetPaths(), "/a /b /c /d");

    EXPECT_EQ(mList.Erase(zqRefObjectArray<Object>()), 0);
    EXPECT_EQ(mList.Erase(Array({ "/c", "/x", "/a", "/a" })), 0);
    EXPECT_EQ(GetPaths(), "/b /d");
    EXPECT_TRUE(mList.Find(Str("/a")) == nullptr);
    EXPECT_EQ(Text(mList.Find(Str("/d"))->GetPath().Get()), "/d");
}

TEST_F(AnObjectList, StopsAtANullSlotOfAnArrayAndKeepsWhatWasDone)
{
    auto lArray = Array({ "/a" });

    EXPECT_EQ(lArray.Append(static_cast<zqRefCount *>(nullptr)), 0);
    EXPECT_EQ(lArray.Append(Make<Object>("/b", Dict())), 0);

    EXPECT_EQ(mList.Append(lArray), -5);
    EXPECT_EQ(GetPaths(), "/a");
    EXPECT_TRUE(Asserted(mLog, "retval == 0", kFile, kAsserter));

    EXPECT_EQ(mList.Append(Array({ "/b", "/c" })), 0);
    mLog.Clear();
    EXPECT_EQ(mList.Erase(lArray), -5);
    EXPECT_EQ(GetPaths(), "/b /c");
    EXPECT_TRUE(Asserted(mLog, "anObject != __null", kFile, kAsserter));
    EXPECT_TRUE(Asserted(mLog, "retval == 0", kFile, kAsserter));
}

TEST_F(AnObjectList, HoldsOneObjectWithoutAPath)
{
    const zqSharedPtr<Object> lNameless(new Object);

    (void)Add("/a");
    EXPECT_EQ(mList.Add(lNameless), 0);
    (void)Add("/b");

    // Two without a path are equal; so the second is not taken.
    EXPECT_EQ(mList.Add(new Object), 0);
    EXPECT_EQ(mList.GetNumElements(), 3);
    EXPECT_EQ(mList.Find(zqSharedPtr<Object>(new Object)).Get(), lNameless.Get());

    // Looking a path up meets it only when the path is not found before it.
    EXPECT_TRUE(mList.Find(Str("/a")) != nullptr);
    EXPECT_FALSE(mLog.Contains("path != __null"));
    EXPECT_TRUE(mList.Find(Str("/b")) != nullptr);
    EXPECT_TRUE(Asserted(mLog, "path != __null", kHeader, kAsserter));

    // It gets its path while it is listed.
    ASSERT_EQ(lNameless->Init(Str("/late"), Dict()), 0);
    EXPECT_EQ(mList.Find(Str("/late")).Get(), lNameless.Get());
    EXPECT_EQ(mList.Add(Make<Object>("/late", Dict())), 0);
    EXPECT_EQ(GetPaths(), "/a /late /b");

    EXPECT_EQ(mList.Remove(Make<Object>("/late", Dict())), 0);
    EXPECT_EQ(GetPaths(), "/a /b");
    EXPECT_TRUE(mList.Find(Str("/late")) == nullptr);
}

TEST_F(AnObjectList, HandsOutASnapshotOfItsLiveObjects)
{
    zqRefObjectArray<Object> lSnapshot = Array({ "/old" });
    const auto               lObject   = Add("/a");

    EXPECT_EQ(mList.CreateCopyAsArray(lSnapshot), 0);
    EXPECT_EQ(mList.Clear(), 0);
    EXPECT_TRUE(mList.Find(Str("/a")) == nullptr);

    ASSERT_EQ(lSnapshot.GetNumElements(), 1);
    EXPECT_EQ(lSnapshot.GetElementPtr(0), lObject.Get());
    EXPECT_EQ(lObject->GetRefCount(), 2);

    // The path may come again after Clear.
    EXPECT_EQ(mList.Add(Make<Object>("/a", Dict())), 0);
    EXPECT_EQ(mList.GetNumElements(), 1);
}

TEST_F(AnObjectList, FindsTheFirstForWhichAPredicateHolds)
{
    (void)Add("/a");
    const auto lB = Add("/b");
    (void)Add("/c");

    const auto lFound = mList.Find(Str("/a"), [](Object &anObject, CFStringRef aPattern)
                                   { return !CFEqual(anObject.GetPath().Get(), aPattern); });

    EXPECT_EQ(lFound.Get(), lB.Get());
}

namespace
{

/** An object that counts how often its path is asked for: a walk over a list asks each of its elements. */
class AskedObject : public Object
{
public:
    CFUSharedRef<CFStringRef> GetPath() const override
    {
        sNumAsked++;
        return Object::GetPath();
    }

    static int sNumAsked;
};

int AskedObject::sNumAsked = 0;

} // namespace

TEST_F(AnObjectList, OfAnyLengthIsNotWalkedForOneObject)
{
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
    EXPECT_LT(AskedObject::sNumAsked, 20 * kCount);
}
