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

TEST_F(RefCount, TheLastHolderEndsTheObjectAndNoAssignmentDoesBefore)
{
    auto               *lObject = new Counted;
    auto               *lNext   = new Counted;
    zqRefCountSharedPtr lPointer(lObject), lSecond(lPointer);
    const auto         &lAlias = lPointer;

    EXPECT_EQ(lObject->GetRefCount(), 2);
    lSecond.Set(nullptr);
    lPointer = lAlias;
    lPointer.Set(lObject);
    EXPECT_EQ(lObject->GetRefCount(), 1);

    lObject->mNext.Set(lNext);
    lPointer = lObject->mNext; // the assigned pointer dies with the first object
    EXPECT_TRUE(lPointer == lNext);
    EXPECT_EQ(Counted::sNumAlive, 1);
    EXPECT_EQ(lNext->GetRefCount(), 1);
}

TEST_F(RefCount, AnObjectThatEndsFindsItsPointerChangedAlready)
{
    std::vector<const zqRefCount *> lSeen;
    auto                           *lOther = new Counted;
    {
        zqRefCountSharedPtr lPointer;
        const auto          lLook = [&](char) { lSeen.push_back(lPointer.Get()); };

        lPointer.Set(new Counted('a', lLook));
        lPointer.Set(nullptr);
        lPointer.Set(new Counted('b', lLook));
        lPointer = zqRefCountSharedPtr(lOther);
        lPointer.Set(new Counted('c', lLook));
    }
    EXPECT_EQ(lSeen, (std::vector<const zqRefCount *>{ nullptr, lOther, nullptr }));
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

TEST_F(RefCount, AnArrayHoldsEachElementOnceAndAppendsEvenItself)
{
    zqRefCountArray lArray, lNone;
    auto           *lObject = new Counted('a');

    ASSERT_EQ(lArray.Append(lObject), 0);
    ASSERT_EQ(lArray.Append(zqRefCountSharedPtr()), 0);
    ASSERT_EQ(lArray.Copy(lArray), 0);
    const zqRefCountArray &lAlias = lArray;
    lArray                        = lAlias;
    EXPECT_EQ(GetNames(lArray), "a-a-");
    EXPECT_TRUE(lArray.RemoveAt(0) == lObject);
    EXPECT_TRUE(lArray.RemoveAt(3) == nullptr);
    EXPECT_EQ(lObject->GetRefCount(), 1);

    const FailingAllocations lNoMemory;
    EXPECT_EQ(lNone.Append(lObject), -2);
    EXPECT_EQ(lNone.Copy(lArray), -2);
    EXPECT_TRUE(zqRefCountArray(lArray).IsEmpty());
    EXPECT_TRUE(lNone.IsEmpty());
    EXPECT_EQ(lObject->GetRefCount(), 1);
}

TEST_F(RefCount, CompactKeepsOrderAndAnElementThatEndsFindsTheArrayWithoutItself)
{
    static const struct
    {
        const char                *mNames;
        std::vector<unsigned char> mKeep;
        const char                *mLeft;
    } kCases[] = { { "abcdef", { 1, 0, 1, 0, 0, 255 }, "acf" },
                   { "a-b-", { 0, 1, 1, 0 }, "-b" },
                   { "abc", { 0 }, "bc" } };

    for (const auto &lCase : kCases)
    {
        zqRefCountArray lArray;
        const auto      lLook = [&](char aName) { EXPECT_EQ(GetNames(lArray).find(aName), std::string::npos); };

        Fill(lArray, lCase.mNames, lLook);
        const FailingAllocations lNoMemory;
        lArray.Compact(lCase.mKeep);
        EXPECT_EQ(GetNames(lArray), lCase.mLeft);
        (void)lArray.RemoveAt(1);
        lArray.Clear();
        EXPECT_EQ(Counted::sNumAlive, 0);
    }
}

} // namespace
