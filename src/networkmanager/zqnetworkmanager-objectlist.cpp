#include <zqnetworkmanager-objectlist.h>

#include "zqnetworkmanager-lock.h"
#include "zqnetworkmanager-values.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <unordered_map>
#include <utility>
#include <vector>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-objectlist"

namespace zq::NetworkManager
{

using Private::ScopedLock;

/**
 *  Where the element with a path is, without walking the elements.
 *
 *  Positions shift when elements before them go, so the index keeps for each
 *  path the sequence number that its element was given when it was added; the
 *  sequence numbers of the elements ascend, and a binary search in them gives
 *  the position. The keys are lent by the elements: a path never changes once
 *  an object has one.
 *
 *  An object without a path may be added too, and may get one later. Those few
 *  are kept apart, and whoever looks something up asks them one by one.
 */
class ObjectList::Index
{
public:
    /** Where the first element is that has a path, or that was added without one and of whose position a predicate
     * holds; -1 when there is none. */
    template <typename Predicate>
    int Find(CFStringRef aPath, Predicate aMatches) const
    {
        const auto lFound = aPath != nullptr ? mByPath.find(aPath) : mByPath.end();
        const int  lNamed = lFound != mByPath.end() ? GetPosition(lFound->second) : -1;

        for (const Sequence lSequence : mUnnamed)
        {
            const int lPosition = GetPosition(lSequence);

            if (lNamed >= 0 && lNamed < lPosition)
                break;
            if (aMatches(lPosition))
                return lPosition;
        }
        return lNamed;
    }

    /** An element follows at the end. @retval 0, -2 (nothing changed). */
    zqError Append(CFStringRef aPath)
    {
        const size_t lCount = mSequences.size();

        try
        {
            mSequences.push_back(mNext);
            mKeep.push_back(1);

            if (aPath != nullptr)
                mByPath.emplace(aPath, mNext);
            else
                mUnnamed.push_back(mNext);
        }
        catch (const std::bad_alloc &)
        {
            mSequences.resize(lCount);
            mKeep.resize(lCount);
            return zqError_OutOfMemory;
        }

        mNext++;

        return zqError_None;
    }

    /** An element is not to be found any more; it keeps its position until Compact. */
    void Forget(int aPosition, CFStringRef aPath)
    {
        const Sequence lSequence = mSequences[static_cast<size_t>(aPosition)];
        const auto     lNamed    = aPath != nullptr ? mByPath.find(aPath) : mByPath.end();

        mKeep[static_cast<size_t>(aPosition)] = 0;

        if (lNamed != mByPath.end() && lNamed->second == lSequence)
            mByPath.erase(lNamed);
        else
            mUnnamed.erase(std::remove(mUnnamed.begin(), mUnnamed.end(), lSequence), mUnnamed.end());
    }

    /** For each position, whether its element is still to be found. */
    const std::vector<unsigned char> &GetKeep() const { return mKeep; }

    /** The forgotten elements have gone from the list. */
    void Compact()
    {
        size_t lKept = 0;

        for (size_t i = 0; i < mSequences.size(); i++)
        {
            if (mKeep[i] != 0)
                mSequences[lKept++] = mSequences[i];
        }

        mSequences.resize(lKept);
        mKeep.resize(lKept);
        std::fill(mKeep.begin(), mKeep.end(), static_cast<unsigned char>(1));
    }

    void Clear()
    {
        mByPath.clear();
        mUnnamed.clear();
        mSequences.clear();
        mKeep.clear();
    }

private:
    using Sequence = std::uint64_t;

    int GetPosition(Sequence aSequence) const
    {
        return static_cast<int>(std::lower_bound(mSequences.begin(), mSequences.end(), aSequence) - mSequences.begin());
    }

    struct Hash
    {
        size_t operator()(CFStringRef aPath) const { return CFHash(aPath); }
    };

    struct Equal
    {
        bool operator()(CFStringRef aFirst, CFStringRef aSecond) const { return CFEqual(aFirst, aSecond) != 0; }
    };

    std::vector<Sequence>                                  mSequences; // of each element, ascending
    std::vector<unsigned char>                             mKeep;      // of each element, all 1 between operations
    std::unordered_map<CFStringRef, Sequence, Hash, Equal> mByPath;
    std::vector<Sequence>                                  mUnnamed;
    Sequence                                               mNext = 0;
};

ObjectList::ObjectList() noexcept : mInitialized(false), lOpaqueLock{ nullptr } {}

ObjectList::ObjectList(const ObjectList &) noexcept : ObjectList() {}

ObjectList::~ObjectList()
{
    Destroy();
}

zqError ObjectList::Init()
{
    ZQ_REQUIRE(!mInitialized, zqError_WrongState);

    std::unique_ptr<Index> lIndex(new (std::nothrow) Index);
    ZQ_REQUIRE(lIndex != NULL, zqError_NoResources);

    lOpaqueLock.uNetscape = PR_NewLock();
    ZQ_REQUIRE(lOpaqueLock.uNetscape != NULL, zqError_NoResources);

    mIndex       = std::move(lIndex);
    mInitialized = true;

    return zqError_None;
}

void ObjectList::Destroy()
{
    if (!mInitialized)
        return;

    (void)Clear();

    mInitialized = false;
    PR_DestroyLock(std::exchange(lOpaqueLock.uNetscape, nullptr));
    mIndex.reset();
}

zqError ObjectList::Clear()
{
    ZQ_REQUIRE(mInitialized, zqError_WrongState);

    ScopedLock lLock(lOpaqueLock.uNetscape);

    mIndex->Clear();
    mElements.Clear();

    return zqError_None;
}

int ObjectList::GetNumElements() const
{
    ScopedLock lLock(lOpaqueLock.uNetscape);

    return mInitialized ? mElements.GetNumElements() : -1;
}

bool ObjectList::IsEmpty() const
{
    ScopedLock lLock(lOpaqueLock.uNetscape);

    return mInitialized && mElements.IsEmpty();
}

zqError ObjectList::CreateCopyAsArray(zqRefCountArray &anArray) const
{
    ScopedLock lLock(lOpaqueLock.uNetscape);

    return CreateCopyAsArrayLocked(anArray);
}

zqError ObjectList::CreateCopyAsArrayLocked(zqRefCountArray &anArray) const
{
    ZQ_REQUIRE(mInitialized, zqError_WrongState);

    anArray.Clear();

    return anArray.Copy(mElements);
}

int ObjectList::FindLocked(const zqSharedPtr<Object> &anObject) const
{
    if (mIndex == nullptr || anObject == nullptr)
        return -1;

    return mIndex->Find(anObject->GetPath().Get(),
                        [&](int aPosition)
                        {
                            const Object *object = mElements.GetElementPtr(aPosition);

                            return ZQ_CHECK(object != NULL) && (anObject == object || *object == *anObject);
                        });
}

zqSharedPtr<Object> ObjectList::Find(const zqSharedPtr<Object> &anObject) const
{
    ZQ_REQUIRE(mInitialized, nullptr);
    ZQ_REQUIRE(anObject != NULL, nullptr);

    ScopedLock lLock(lOpaqueLock.uNetscape);

    return mElements.GetElement(FindLocked(anObject));
}

zqSharedPtr<Object> ObjectList::Find(const CFUSharedRef<CFStringRef> &aPath) const
{
    if (!CheckFind(mInitialized, "mInitialized", __LINE__) ||
        !CheckFind(aPath != nullptr, "aPattern != __null", __LINE__))
        return nullptr;

    ScopedLock lLock(lOpaqueLock.uNetscape);

    return mElements.GetElement(mIndex->Find(aPath.Get(),
                                             [&](int aPosition)
                                             {
                                                 const auto lPath = mElements.GetElementPtr(aPosition)->GetPath();

                                                 return CheckFind(lPath != nullptr, "path != __null", __LINE__) &&
                                                        Private::IsEqual(lPath.Get(), aPath.Get());
                                             }));
}

zqError ObjectList::Add(const zqSharedPtr<Object> &anObject)
{
    ZQ_REQUIRE(mInitialized, zqError_WrongState);

    ScopedLock lLock(lOpaqueLock.uNetscape);

    return AddLocked(anObject);
}

zqError ObjectList::AddLocked(const zqSharedPtr<Object> &anObject)
{
    ZQ_REQUIRE(anObject != NULL, zqError_InvalidArgument);

    if (FindLocked(anObject) >= 0)
        return zqError_None;

    const auto lPath  = anObject->GetPath();
    zqError    retval = mIndex->Append(lPath.Get());

    if (retval == zqError_None)
    {
        retval = mElements.Append(anObject);

        if (retval != zqError_None)
        {
            mIndex->Forget(mElements.GetNumElements(), lPath.Get());
            mIndex->Compact();
        }
    }

    (void)ZQ_CHECK(retval == 0);

    return retval;
}

zqError ObjectList::Remove(const zqSharedPtr<Object> &anObject)
{
    ZQ_REQUIRE(mInitialized, zqError_WrongState);
    ZQ_REQUIRE(anObject != NULL, zqError_InvalidArgument);

    ScopedLock lLock(lOpaqueLock.uNetscape);
    const int  lIndex = FindLocked(anObject);

    if (lIndex >= 0)
    {
        ForgetLocked(lIndex);
        mIndex->Compact();
        (void)mElements.RemoveAt(lIndex);
    }

    return zqError_None;
}

zqError ObjectList::Append(const zqRefCountArray &anArray)
{
    for (int i = 0, lCount = anArray.GetNumElements(); i < lCount; i++)
    {
        const zqError retval = Add(zqSharedPtr<Object>(static_cast<Object *>(anArray.GetElementPtr(i))));
        ZQ_REQUIRE(retval == 0, retval);
    }

    return zqError_None;
}

zqError ObjectList::AppendAll(const zqRefCountArray &anArray)
{
    zqError    retval = ZQ_CHECK(mInitialized) ? zqError_None : zqError_WrongState;
    ScopedLock lLock(lOpaqueLock.uNetscape);
    const int  lBefore = mElements.GetNumElements();

    for (int i = 0, lCount = anArray.GetNumElements(); i < lCount && retval == zqError_None; i++)
        retval = AddLocked(zqSharedPtr<Object>(static_cast<Object *>(anArray.GetElementPtr(i))));

    if (!ZQ_CHECK(retval == 0))
    {
        for (int i = lBefore; i < mElements.GetNumElements(); i++)
            ForgetLocked(i);

        CompactLocked();
    }

    return retval;
}

// As Remove for each element, but the ones that stay are moved together once.
zqError ObjectList::Erase(const zqRefCountArray &anArray)
{
    if (anArray.IsEmpty())
        return zqError_None;

    zqError    retval = ZQ_CHECK(mInitialized) ? zqError_None : zqError_WrongState;
    ScopedLock lLock(lOpaqueLock.uNetscape);

    for (int i = 0, lCount = anArray.GetNumElements(); i < lCount && retval == zqError_None; i++)
    {
        const zqSharedPtr<Object> anObject(static_cast<Object *>(anArray.GetElementPtr(i)));
        const int                 lIndex = FindLocked(anObject);

        if (!ZQ_CHECK(anObject != NULL))
            retval = zqError_InvalidArgument;
        else if (lIndex >= 0)
            ForgetLocked(lIndex);
    }

    CompactLocked();

    (void)ZQ_CHECK(retval == 0);

    return retval;
}

/** An element is not to be found any more; it keeps its position until the list is compacted. */
void ObjectList::ForgetLocked(int anIndex)
{
    mIndex->Forget(anIndex, mElements.GetElementPtr(anIndex)->GetPath().Get());
}

/** Let the forgotten elements go. */
void ObjectList::CompactLocked()
{
    if (mIndex == nullptr)
        return;

    mElements.Compact(mIndex->GetKeep());
    mIndex->Compact();
}

void ObjectList::Lock() const
{
    Private::Take(lOpaqueLock.uNetscape);
}

void ObjectList::Unlock() const
{
    Private::Give(lOpaqueLock.uNetscape);
}

} // namespace zq::NetworkManager
