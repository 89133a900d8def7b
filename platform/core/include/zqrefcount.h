/**
 *  @file
 *    Intrusive reference counts, the shared pointer over them, and arrays of
 *    bare pointers and of counted references.
 */

#ifndef ZQREFCOUNT_H
#define ZQREFCOUNT_H

#include <zqerror.h>
#include <zqexport.h>

#include <atomic>
#include <vector>

/**
 *  An object that counts its references.
 *
 *  A new object has no reference: the first holder takes one. When the last
 *  reference is released, the virtual Destroy is called once, on the thread
 *  that released it, and must not make new references to the object. Retain and
 *  Release may be called from any thread.
 */
class ZQ_EXPORT zqRefCount
{
public:
    zqRefCount() noexcept = default;
    zqRefCount(const zqRefCount &) noexcept {}
    zqRefCount &operator=(const zqRefCount &) noexcept { return *this; }

    void Retain() const noexcept;
    void Release() const noexcept;
    int  GetRefCount() const noexcept;

protected:
    virtual ~zqRefCount();

    /** Called when the last reference goes; deletes the object. */
    virtual void Destroy();

private:
    mutable std::atomic<int> mRefCount{ 0 };
};

/** Holds one reference to a counted object, or null. */
class ZQ_EXPORT zqRefCountSharedPtr
{
public:
    zqRefCountSharedPtr() noexcept = default;
    zqRefCountSharedPtr(const zqRefCount *anObject) noexcept;
    zqRefCountSharedPtr(const zqRefCountSharedPtr &aOther) noexcept;
    virtual ~zqRefCountSharedPtr();

    zqRefCountSharedPtr &operator=(const zqRefCountSharedPtr &aOther) noexcept;

    /** The object, lent. */
    zqRefCount *Get() const noexcept { return mObject; }

    /** Take a reference to @a anObject (or none, for null) and drop the one held. */
    void Set(zqRefCount *anObject) noexcept;

    bool operator==(const zqRefCount *anObject) const noexcept { return mObject == anObject; }
    bool operator!=(const zqRefCount *anObject) const noexcept { return mObject != anObject; }

private:
    zqRefCount *mObject = nullptr;
};

/** An array of bare pointers; indices and counts are signed. Not locked: its owner guards it. */
class ZQ_EXPORT zqArray
{
public:
    zqArray() noexcept;
    virtual ~zqArray();
    zqArray(const zqArray &)            = delete;
    zqArray &operator=(const zqArray &) = delete;

    int  GetNumElements() const noexcept;
    bool IsEmpty() const noexcept;

    /** The element, or null when the index is out of range. */
    void *GetElement(int anIndex) const noexcept;

    /** @retval 0, or -2 when memory is exhausted. */
    zqError Append(const void *anElement) noexcept;

    /** Remove one element; an index out of range is ignored. */
    void RemoveAt(int anIndex) noexcept;

    void Clear() noexcept;

protected:
    std::vector<void *> mElements;
};

/**
 *  An array that holds one reference to each of its elements.
 *
 *  Not locked: its owner guards it. An element is taken out before it is
 *  released, so its end may look at the array; it must not change it.
 */
class ZQ_EXPORT zqRefCountArray : private zqArray
{
public:
    zqRefCountArray() noexcept;

    /** A copy is empty when memory is exhausted; Copy tells. */
    zqRefCountArray(const zqRefCountArray &aOther) noexcept;
    zqRefCountArray &operator=(const zqRefCountArray &aOther) noexcept;
    ~zqRefCountArray() override;

    using zqArray::GetNumElements;
    using zqArray::IsEmpty;

    /** The element with a reference of its own; empty when the index is out of range or the slot is null. */
    zqRefCountSharedPtr GetElement(int anIndex) const noexcept;

    /** The element, lent: no reference is taken. */
    zqRefCount *GetElementPtr(int anIndex) const noexcept;

    /** Append with a new reference. @retval 0, or -2 when memory is exhausted. */
    zqError Append(const zqRefCount *anElement) noexcept;
    zqError Append(const zqRefCountSharedPtr &anElement) noexcept;

    /** Remove one element and hand it out; empty when the index is out of range. */
    zqRefCountSharedPtr RemoveAt(int anIndex) noexcept;

    /**
     *  Keep only the elements for which @a aKeep is not zero, in their order, in one pass.
     *
     *  @param[in]  aKeep  One entry an element; elements beyond its end are kept.
     */
    void Compact(const std::vector<unsigned char> &aKeep) noexcept;

    void Clear() noexcept;

    /**
     *  Append every element of @a aOther, which may be this array, each with a new reference.
     *
     *  @retval 0, or -2 when memory is exhausted; nothing was appended then.
     */
    zqError Copy(const zqRefCountArray &aOther) noexcept;
};

#endif // ZQREFCOUNT_H
