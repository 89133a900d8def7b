#include <failingallocations.h>

#include <zqrefcount.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

using zq::Test::FailingAllocations;

namespace
{

/** Tells when it goes. */
class Counted : public zqRefCount
{
public:
    explicit Counted(char aName = 'x', std::function<void(char)> aDone = nullptr)
        : mName(aName), mDone(std::move(aDone))
    {
        ++sNumAlive;
    }

    static int sNumAlive;

    const char          mName;
    zqRefCountSharedPtr mNext;

protected:
    ~Counted() override { --sNumAlive; }

    void Destroy() override
    {
        if (mDone)
            mDone(mName);
        zqRefCount::Destroy();
    }

private:
    std::function<void(char)> mDone;
};

int Counted::sNumAlive = 0;

std::string GetNames(const zqRefCountArray &anArray)
{
    std::string lNames;

    for (int lIndex = 0; lIndex < anArray.GetNumElements(); ++lIndex)
    {
        const auto *lElement = static_cast<const Counted *>(anArray.GetElementPtr(lIndex));
        lNames += lElement != nullptr ? lElement->mName : '-';
    }
    return lNames;
}

void Fill(zqRefCountArray &anArray, const std::string &aNames, const std::function<void(char)> &aDone = nullptr)
{
    for (const char lName : aNames)
        ASSERT_EQ(anArray.Append(lName == '-' ? nullptr : new Counted(lName, aDone)), 0);
}

class RefCount : public testing::Test
{
protected:
    ~RefCount() override { EXPECT_EQ(Counted::sNumAlive, 0); }
};

TEST_F(RefCount, TheLastHolderEndsTheObject)
{
    auto *lObject = new Counted;

    EXPECT_EQ(lObject->GetRefCount(), 0);
    {
        const zqRefCountSharedPtr lFirst(lObject);
        zqRefCountSharedPtr       lSecond(lFirst);
        EXPECT_EQ(lObject->GetRefCount(), 2);

        lSecond.Set(nullptr);
        EXPECT_TRUE(lSecond == nullptr);
        EXPECT_TRUE(lFirst == lObject);
        EXPECT_EQ(lObject->GetRefCount(), 1);
    }
    EXPECT_EQ(Counted::sNumAlive, 0);
}

TEST_F(RefCount, AssigningWhatIsHeldKeepsIt)
{
    auto               *lObject = new Counted;
    zqRefCountSharedPtr lPointer(lObject);
    const auto         &lAlias = lPointer;

    lPointer = lAlias;
    EXPECT_EQ(lObject->GetRefCount(), 1);
    lPointer.Set(lObject);
    EXPECT_EQ(lObject->GetRefCount(), 1);
}

TEST_F(RefCount, APointerCanMoveAlongAChainThatItAloneHolds)
{
    auto *lSecond = new Counted;
    auto *lFirst  = new Counted;

    zqRefCountSharedPtr lPointer(lFirst);
    lFirst->mNext.Set(lSecond);

    lPointer = lFirst->mNext; // the assigned pointer dies with the first object
    EXPECT_TRUE(lPointer == lSecond);
    EXPECT_EQ(Counted::sNumAlive, 1);
    EXPECT_EQ(lSecond->GetRefCount(), 1);
}

TEST_F(RefCount, AnObjectThatEndsFindsItsPointerChangedAlready)
{
    zqRefCountSharedPtr lPointer;
    auto               *lOther   = new Counted;
    const zqRefCount   *lSeen[3] = { lOther, nullptr, lOther };
    int                 lNumSeen = 0;
    const auto          lLook    = [&](char) { lSeen[lNumSeen++] = lPointer.Get(); };

    lPointer.Set(new Counted('a', lLook));
    lPointer.Set(nullptr);
    lPointer.Set(new Counted('b', lLook));
    lPointer = zqRefCountSharedPtr(lOther);
    lPointer.Set(new Counted('c', lLook));
    lPointer.~zqRefCountSharedPtr();
    new (&lPointer) zqRefCountSharedPtr;

    ASSERT_EQ(lNumSeen, 3);
    EXPECT_EQ(lSeen[0], nullptr);
    EXPECT_EQ(lSeen[1], lOther);
    EXPECT_EQ(lSeen[2], nullptr);
}

TEST_F(RefCount, ThreadsThatShareAnObjectEndItOnce)
{
    int  lNumEnds = 0;
    auto lDone    = [&](char) { ++lNumEnds; };

    for (int lRound = 0; lRound < 200; ++lRound)
    {
        zqRefCountSharedPtr lMine(new Counted('x', lDone));
        std::thread         lThread(
            [lTheirs = zqRefCountSharedPtr(lMine)]() mutable
            {
                for (int lCopy = 0; lCopy < 10; ++lCopy)
                    (void)zqRefCountSharedPtr(lTheirs);
                lTheirs.Set(nullptr);
            });

        lMine.Set(nullptr);
        lThread.join();
        ASSERT_EQ(lNumEnds, lRound + 1);
    }
}

TEST(Array, IndicesOutOfRangeAreHarmless)
{
    zqArray lArray;
    int     lValue = 0;

    ASSERT_EQ(lArray.Append(&lValue), 0);
    ASSERT_EQ(lArray.Append(nullptr), 0);
    for (const int lIndex : { -1, 2, 1000000 })
    {
        EXPECT_EQ(lArray.GetElement(lIndex), nullptr);
        lArray.RemoveAt(lIndex);
    }
    EXPECT_EQ(lArray.GetNumElements(), 2);
    EXPECT_EQ(lArray.GetElement(0), &lValue);

    lArray.RemoveAt(0);
    EXPECT_EQ(lArray.GetNumElements(), 1);
    EXPECT_EQ(lArray.GetElement(0), nullptr);

    lArray.Clear();
    EXPECT_TRUE(lArray.IsEmpty());
}

TEST_F(RefCount, AnArrayHoldsEachElementOnce)
{
    zqRefCountArray lArray;
    auto           *lObject = new Counted('a');

    ASSERT_EQ(lArray.Append(lObject), 0);
    ASSERT_EQ(lArray.Append(zqRefCountSharedPtr(lObject)), 0);
    ASSERT_EQ(lArray.Append(zqRefCountSharedPtr()), 0);
    EXPECT_EQ(lObject->GetRefCount(), 2);
    EXPECT_EQ(GetNames(lArray), "aa-");

    {
        const zqRefCountSharedPtr lElement = lArray.GetElement(0);
        EXPECT_TRUE(lElement == lObject);
        EXPECT_EQ(lObject->GetRefCount(), 3);
    }
    EXPECT_TRUE(lArray.GetElement(2) == nullptr);
    EXPECT_TRUE(lArray.GetElement(3) == nullptr);
    EXPECT_TRUE(lArray.RemoveAt(-1) == nullptr);
    EXPECT_TRUE(lArray.RemoveAt(2) == nullptr);

    const zqRefCountSharedPtr lRemoved = lArray.RemoveAt(0);
    EXPECT_TRUE(lRemoved == lObject);
    EXPECT_EQ(lObject->GetRefCount(), 2);
    EXPECT_EQ(GetNames(lArray), "a");
}

TEST_F(RefCount, CopyAppendsEvenTheArrayItself)
{
    zqRefCountArray lArray;

    Fill(lArray, "a-b");
    ASSERT_EQ(lArray.Copy(lArray), 0);
    EXPECT_EQ(GetNames(lArray), "a-ba-b");
    EXPECT_EQ(lArray.GetElementPtr(0)->GetRefCount(), 2);

    const zqRefCountArray  lCopy(lArray);
    zqRefCountArray        lAssigned;
    const zqRefCountArray &lAlias = lArray;

    Fill(lAssigned, "cd");
    lAssigned = lCopy;
    lArray    = lAlias;
    EXPECT_EQ(GetNames(lCopy), "a-ba-b");
    EXPECT_EQ(GetNames(lAssigned), "a-ba-b");
    EXPECT_EQ(GetNames(lArray), "a-ba-b");
    EXPECT_EQ(lArray.GetElementPtr(0)->GetRefCount(), 6);
}

TEST_F(RefCount, WithoutMemoryNothingIsAppended)
{
    zqRefCountArray lSource;
    zqRefCountArray lArray;
    auto           *lObject = new Counted('a');

    Fill(lSource, "bcdefghij");
    ASSERT_EQ(lSource.Append(lObject), 0);
    {
        const FailingAllocations lNoMemory;
        zqArray                  lPlain;

        EXPECT_EQ(lPlain.Append(lObject), -2);
        EXPECT_EQ(lArray.Append(lObject), -2);
        EXPECT_EQ(lArray.Copy(lSource), -2);
        EXPECT_TRUE(zqRefCountArray(lSource).IsEmpty());
    }
    EXPECT_TRUE(lArray.IsEmpty());
    EXPECT_EQ(lObject->GetRefCount(), 1);
}

TEST_F(RefCount, CompactKeepsOrderAndReleasesTheRest)
{
    static const struct
    {
        const char                *mNames;
        std::vector<unsigned char> mKeep;
        const char                *mLeft;
    } kCases[] = {
        { "abcdef", { 1, 0, 1, 0, 0, 1 }, "acf" },
        { "abcdef", { 0, 0, 0, 1, 255, 0 }, "de" },
        { "abc", { 0, 0, 0 }, "" },
        { "abc", { 1, 1, 1 }, "abc" },
        { "a-b-", { 0, 1, 1, 0 }, "-b" },
        { "abc", { 0 }, "bc" },
        { "", { 1, 0 }, "" },
    };

    for (const auto &lCase : kCases)
    {
        zqRefCountArray lArray;

        Fill(lArray, lCase.mNames);
        const FailingAllocations lNoMemory;
        lArray.Compact(lCase.mKeep);
        EXPECT_EQ(GetNames(lArray), lCase.mLeft);
    }
}

TEST_F(RefCount, AnElementThatEndsFindsTheArrayWithoutItself)
{
    zqRefCountArray lArray;
    std::string     lEnded;
    const auto      lLook = [&](char aName)
    {
        lEnded += aName;
        EXPECT_EQ(GetNames(lArray).find(aName), std::string::npos);
    };

    Fill(lArray, "abcdef", lLook);
    (void)lArray.RemoveAt(1);
    lArray.Compact({ 0, 1, 0, 1, 1 });
    EXPECT_EQ(GetNames(lArray), "cef");
    lArray.Clear();
    EXPECT_EQ(lEnded.size(), 6U);
}

} // namespace
