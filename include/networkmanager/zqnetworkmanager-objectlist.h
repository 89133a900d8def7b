/**
 *  @file
 *    A locked list of objects in the order in which they came, found by path.
 */

#ifndef ZQNETWORKMANAGER_OBJECTLIST_H
#define ZQNETWORKMANAGER_OBJECTLIST_H

#include <zqlog.h>
#include <zqnetworkmanager-object.h>

#include <memory>

namespace zq::NetworkManager
{

/**
 *  No two elements of a list are the same object or have equal paths, and the
 *  object that is in a list first stays there: a newer one with its path is
 *  not taken. The list holds one reference to each of its elements.
 *
 *  An index over the paths stands beside the elements, so that Add, Find by
 *  path and Remove do not walk them.
 *
 *  Every operation may be called from any thread and holds the list's lock for
 *  its whole walk; the lock is not recursive, and nobody takes it while holding
 *  an object's lock.
 */
class ZQ_EXPORT ObjectList
{
public:
    ObjectList() noexcept;

    /** Lists are not copied: this is an empty list that is not initialised. */
    ObjectList(const ObjectList &aOther) noexcept;
    ObjectList &operator=(const ObjectList &) = delete;
    virtual ~ObjectList();

    /** @retval 0, -3 when initialised already, -7 when the lock or the index cannot be made. */
    zqError Init();

    /** Release every element. @retval 0, -3 before Init. */
    zqError Clear();

    /** -1 before Init. */
    int GetNumElements() const;

    /** False before Init. */
    bool IsEmpty() const;

    /**
     *  Replace the contents of an array by every element of the list, in list
     *  order. The array is a snapshot; its elements are the live objects.
     *
     *  @retval   0
     *  @retval  -2  Memory is exhausted; the array is empty.
     *  @retval  -3  Not initialised; the array is as it was.
     */
    zqError CreateCopyAsArray(zqRefCountArray &anArray) const;

    /** As CreateCopyAsArray, for a caller that holds the lock. */
    zqError CreateCopyAsArrayLocked(zqRefCountArray &anArray) const;

    /** The index of the first element that is @a anObject or has its path, or -1; the caller holds the lock. */
    int FindLocked(const zqSharedPtr<Object> &anObject) const;

    /** The element that is @a anObject or has its path, which may be another object; empty when there is none, before
     * Init (logged) or for an empty argument (logged). */
    zqSharedPtr<Object> Find(const zqSharedPtr<Object> &anObject) const;

    /** The first element with this path, letter case included; empty when there is none, before Init (logged) or for
     * a null path (logged). */
    zqSharedPtr<Object> Find(const CFUSharedRef<CFStringRef> &aPath) const;

    /**
     *  The first element for which a predicate holds; empty when there is
     *  none, before Init (logged) or for a null pattern (logged).
     *
     *  @param[in]  aPattern    What is looked for.
     *  @param[in]  aPredicate  `bool (Object &, Pattern)`, called with the
     *                          list's lock held: it may ask the object, but
     *                          not the list.
     */
    template <typename Pattern, typename Predicate>
    zqSharedPtr<Object> Find(const CFUSharedRef<Pattern> &aPattern, Predicate aPredicate) const;

    /**
     *  Append an object, unless it or one with its path is there already.
     *
     *  @retval   0  It is in the list, or one with its path is.
     *  @retval  -2  Memory is exhausted; the list is as it was.
     *  @retval  -3  Not initialised.
     *  @retval  -5  The argument is empty.
     */
    zqError Add(const zqSharedPtr<Object> &anObject);

    /** Remove the element that is @a anObject or has its path, if there is one. @retval 0, -3 before Init, -5 for an
     * empty argument. */
    zqError Remove(const zqSharedPtr<Object> &anObject);

    /** Add each element of an array, in its order; the first failure ends it, and what was added before it stays. The
     * manager itself uses AppendAll. @retval as Add. */
    zqError Append(const zqRefCountArray &anArray);

    /** As Append, but in one step for whoever looks at the list, and all or nothing: after a failure the list is as it
     * was. @retval as Add. */
    zqError AppendAll(const zqRefCountArray &anArray);

    /** Remove each element of an array; the first failure ends it, and what was removed before it stays removed.
     * @retval as Remove. */
    zqError Erase(const zqRefCountArray &anArray);

    /** Take and release the list's lock, for several steps under one hold; nothing happens before Init. */
    void Lock() const;
    void Unlock() const;

private:
    friend class Manager;
    class Index;

    /** Back to before Init; nobody else may use the list. Safe to call twice. */
    void Destroy();

    zqError AddLocked(const zqSharedPtr<Object> &anObject);
    void    ForgetLocked(int anIndex);
    void    CompactLocked();

    static bool CheckFind(bool aCondition, const char *aText, int aLine);

    bool mInitialized;
    union
    {
        PRLock *uNetscape;
    } lOpaqueLock;
    zqRefObjectArray<Object> mElements;
    std::unique_ptr<Index>   mIndex;
};

// The walk is compiled into whoever looks something up, so its assertions name
// this header and not the source that includes it.
inline bool ObjectList::CheckFind(bool aCondition, const char *aText, int aLine)
{
    if (!aCondition)
        zqLogAssertion("network manager", aText, "", "../include/networkmanager/zqnetworkmanager-objectlist", aLine);
    return aCondition;
}

template <typename Pattern, typename Predicate>
zqSharedPtr<Object> ObjectList::Find(const CFUSharedRef<Pattern> &aPattern, Predicate aPredicate) const
{
    zqSharedPtr<Object> lReturn;

    if (!CheckFind(mInitialized, "mInitialized", __LINE__) ||
        !CheckFind(aPattern != nullptr, "aPattern != __null", __LINE__))
        return lReturn;

    Lock();

    for (int i = 0, lCount = mElements.GetNumElements(); i < lCount && lReturn == nullptr; i++)
    {
        Object *lObjectPtr = mElements.GetElementPtr(i);

        if (CheckFind(lObjectPtr != nullptr, "lObjectPtr != __null", __LINE__) &&
            aPredicate(*lObjectPtr, aPattern.Get()))
            lReturn.Set(lObjectPtr);
    }

    Unlock();

    return lReturn;
}

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_OBJECTLIST_H
