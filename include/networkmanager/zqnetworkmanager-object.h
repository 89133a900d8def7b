/**
 *  @file
 *    What every mirrored thing is: a counted pair of a path and a dictionary
 *    of properties, and the typed holders that carry such objects about.
 */

#ifndef ZQNETWORKMANAGER_OBJECT_H
#define ZQNETWORKMANAGER_OBJECT_H

#include <CFUtilities.h>
#include <zqerror.h>
#include <zqexport.h>
#include <zqnetworkmanager-vocabulary.h>
#include <zqrefcount.h>

#include <prlock.h>

#include <type_traits>

/*
 * Marks what hands out a dictionary that may change under its reader. It is for
 * applications: inside the library, which defines ZQ_LIBRARY, a use of it does
 * not compile.
 */
#ifdef ZQ_LIBRARY
#define ZQ_LIVE [[deprecated("changes under its reader: take a copy")]]
#else
#define ZQ_LIVE
#endif

/**
 *  Holds one reference to a Service, Technology, Provision or any Object, or
 *  to none: compare with nullptr.
 *
 *  One thread uses one holder at a time.
 */
template <typename T>
class ZQ_EXPORT zqSharedPtr : public zqRefCountSharedPtr
{
public:
    zqSharedPtr() noexcept = default;

    /** Takes a reference of its own; null gives an empty holder. */
    zqSharedPtr(const T *anObject) noexcept : zqRefCountSharedPtr(anObject) {}

    /** From a holder of a narrower kind, such as a Service where an Object is wanted. */
    template <typename U, typename = std::enable_if_t<std::is_base_of<T, U>::value>>
    zqSharedPtr(const zqSharedPtr<U> &aOther) noexcept : zqRefCountSharedPtr(aOther)
    {
    }

    zqSharedPtr(const zqSharedPtr &aOther) noexcept            = default;
    zqSharedPtr &operator=(const zqSharedPtr &aOther) noexcept = default;
    ~zqSharedPtr() override                                    = default;

    /** The object, lent: valid while this holder keeps it. */
    T *Get() const noexcept { return static_cast<T *>(zqRefCountSharedPtr::Get()); }
    T &operator*() const noexcept { return *Get(); }
    T *operator->() const noexcept { return Get(); }
};

/**
 *  An array of objects of one kind that holds one reference to each.
 *
 *  Not locked: its owner guards it.
 */
template <typename T>
class ZQ_EXPORT zqRefObjectArray : public zqRefCountArray
{
public:
    zqRefObjectArray() noexcept                                          = default;
    zqRefObjectArray(const zqRefObjectArray &aOther) noexcept            = default;
    zqRefObjectArray &operator=(const zqRefObjectArray &aOther) noexcept = default;
    ~zqRefObjectArray() override                                         = default;

    /** The element with a reference of its own; empty when the index is out of range or the slot is null. */
    zqSharedPtr<T> GetElement(int anIndex) const noexcept { return zqSharedPtr<T>(GetElementPtr(anIndex)); }

    /** The element, lent: valid while the array keeps it. */
    T *GetElementPtr(int anIndex) const noexcept { return static_cast<T *>(zqRefCountArray::GetElementPtr(anIndex)); }

    /** Remove one element and hand it out; empty when the index is out of range. */
    zqSharedPtr<T> RemoveAt(int anIndex) noexcept
    {
        return zqSharedPtr<T>(static_cast<T *>(zqRefCountArray::RemoveAt(anIndex).Get()));
    }

    /** For a loop over the elements, each lent; null only for a slot that is null. The array must not change meanwhile.
     */
    class Iterator
    {
    public:
        Iterator(const zqRefObjectArray &anArray, int anIndex) noexcept : mArray(&anArray), mIndex(anIndex) {}

        T        *operator*() const noexcept { return mArray->GetElementPtr(mIndex); }
        Iterator &operator++() noexcept { return ++mIndex, *this; }
        bool      operator!=(const Iterator &anOther) const noexcept { return mIndex != anOther.mIndex; }

    private:
        const zqRefObjectArray *mArray;
        int                     mIndex;
    };

    Iterator begin() const noexcept { return Iterator(*this, 0); }
    Iterator end() const noexcept { return Iterator(*this, this->GetNumElements()); }
};

namespace zq::NetworkManager::Private
{

struct Kind;

} // namespace zq::NetworkManager::Private

namespace zq::NetworkManager
{

/**
 *  A reference counted object with a path, which identifies it, a dictionary
 *  of properties and a lock that guards both.
 *
 *  The manager makes the objects of its lists; they live on the heap and go
 *  with their last reference. An object stays the same for as long as the thing
 *  it mirrors exists: a change refreshes it and never replaces it. An
 *  application may make objects of its own as copies (see Init).
 *
 *  Every operation may be called from any thread, except that Init must have
 *  returned before another thread is given the object. The lock is not
 *  recursive. Who needs a list's lock as well takes that first.
 */
class ZQ_EXPORT Object : public zqRefCount
{
public:
    Object() noexcept;
    ~Object() override;
    Object(const Object &)            = delete;
    Object &operator=(const Object &) = delete;

    /** Delete the object. Called when the last reference goes; not for an object that others hold or that is not on
     * the heap. */
    void Destroy() override;

    /** The path (for a provision: its identifier), with a reference; null before Init. It never changes. */
    virtual CFUSharedRef<CFStringRef> GetPath() const;

    /**
     *  The object's own dictionary, with a reference; null before Init.
     *
     *  It is live: who keeps it sees later refreshes. A refresh may come on
     *  another thread at any time, so walk it between Lock and Unlock, or take
     *  CopyProperties.
     */
    ZQ_LIVE virtual CFUSharedRef<CFDictionaryRef> GetProperties() const;

    /** One property's value, with a reference; null when the key is null (logged) or absent. */
    virtual CFUSharedRef<CFTypeRef> GetProperty(const CFUSharedRef<CFStringRef> &aKey) const;
    CFUSharedRef<CFTypeRef>         GetProperty(CFStringRef aKey) const { return GetProperty(CFURetain(aKey)); }

    /**
     *  Give the object its path and its properties; both are copied.
     *
     *  @retval   0
     *  @retval  -3  It is initialised already; it keeps what it has.
     *  @retval  -5  The path or the dictionary is null.
     *  @retval  -7  The lock or one of the copies could not be made.
     *
     *  After a failure but -3 the object is as before, and Init may be called
     *  again; so it is with every kind of object.
     */
    virtual zqError Init(const CFUSharedRef<CFStringRef> &aPath, const CFUSharedRef<CFDictionaryRef> &aProperties);

    /** Init with the path and the properties that another object has now, which may be refreshed meanwhile. @retval as
     * Init. */
    zqError Init(const Object &anObject);

    /** The properties as they are now, in a dictionary of their own; null before Init or when memory is exhausted. */
    CFUSharedRef<CFDictionaryRef> CopyProperties() const;

    /** The bare look-up for callers that hold the object's lock: the value is lent; null when absent or before Init. */
    CFTypeRef GetPropertyLockedUntyped(CFStringRef aKey) const;

    /**
     *  Merge new properties into the stored ones; the caller holds the lock.
     *  Every key of @a aProperties is added or takes its new value; the other
     *  keys keep theirs.
     *
     *  @retval   0
     *  @retval  -3  Not initialised.
     *  @retval  -5  The dictionary is null.
     */
    zqError RefreshLocked(const CFUSharedRef<CFDictionaryRef> &aProperties);

    /**
     *  Remove one property from the dictionary; an absent one is no failure.
     *
     *  @retval   0
     *  @retval  -3  Not initialised.
     *  @retval  -5  The key is null.
     */
    zqError ClearProperty(const CFUSharedRef<CFStringRef> &aKey);

    /** Remove every property that a dictionary lacks, which a refresh with it, being a merge, would leave. */
    void ClearOthers(CFDictionaryRef aProperties);

    /** Take and release the object's lock; nothing happens before Init. */
    void Lock() const;
    void Unlock() const;

protected:
    /** For a kind whose own part of Init has failed: the object is as before Init, but for its lock, which the caller
     * holds. */
    void UndoInitLocked();

    /** What a kind has taken out of the dictionary may not be what it has now: a property was cleared, or a refresh
     * failed. */
    bool mIsStale = false;

private:
    union
    {
        PRLock *uNetscape;
    } lOpaqueLock;
    bool                   mInitialized;
    CFStringRef            mPath;
    CFMutableDictionaryRef mProperties;
};

/** True when the paths are equal by content, letter case included, or both null. */
ZQ_EXPORT bool operator==(const Object &aFirst, const Object &aSecond);

inline bool operator!=(const Object &aFirst, const Object &aSecond)
{
    return !(aFirst == aSecond);
}

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_OBJECT_H
