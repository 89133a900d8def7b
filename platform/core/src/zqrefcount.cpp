/**
 *  @file
 *    Reference counts and the pointer that holds one.
 */

#include <zqrefcount.h>

#include <utility>

zqRefCount::~zqRefCount() = default;

void zqRefCount::Destroy()
{
    delete this;
}

void zqRefCount::Retain() const noexcept
{
    // A reference is only ever made from another one, which already orders what came before.
    (void)mRefCount.fetch_add(1, std::memory_order_relaxed);
}

void zqRefCount::Release() const noexcept
{
    // Whoever destroys the object must see everything that the other holders did with it.
    if (mRefCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        const_cast<zqRefCount *>(this)->Destroy();
}

int zqRefCount::GetRefCount() const noexcept
{
    return mRefCount.load(std::memory_order_relaxed);
}

zqRefCountSharedPtr::zqRefCountSharedPtr(const zqRefCount *anObject) noexcept
    : mObject(const_cast<zqRefCount *>(anObject))
{
    if (mObject != nullptr)
        mObject->Retain();
}

zqRefCountSharedPtr::zqRefCountSharedPtr(const zqRefCountSharedPtr &aOther) noexcept
    : zqRefCountSharedPtr(aOther.mObject)
{
}

zqRefCountSharedPtr::~zqRefCountSharedPtr()
{
    // The object's end may look at this very pointer: it must find it empty.
    const zqRefCount *lObject = std::exchange(mObject, nullptr);

    if (lObject != nullptr)
        lObject->Release();
}

zqRefCountSharedPtr &zqRefCountSharedPtr::operator=(const zqRefCountSharedPtr &aOther) noexcept
{
    zqRefCountSharedPtr lCopy(aOther);

    std::swap(mObject, lCopy.mObject);
    return *this;
}

void zqRefCountSharedPtr::Set(zqRefCount *anObject) noexcept
{
    *this = zqRefCountSharedPtr(anObject);
}
