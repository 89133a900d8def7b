/**
 *  @file
 *    The arrays of bare pointers and of counted references.
 */

#include "zqappend.h"

#include <zqrefcount.h>

#include <utility>

namespace
{

zqRefCount *Counted(void *anElement) noexcept
{
    return static_cast<zqRefCount *>(anElement);
}

void ReleaseElement(void *anElement) noexcept
{
    if (anElement != nullptr)
        Counted(anElement)->Release();
}

} // namespace

zqArray::zqArray() noexcept = default;

zqArray::~zqArray() = default;

int zqArray::GetNumElements() const noexcept
{
    return static_cast<int>(mElements.size());
}

bool zqArray::IsEmpty() const noexcept
{
    return mElements.empty();
}

void *zqArray::GetElement(int anIndex) const noexcept
{
    return zqIsIndexOf(mElements, anIndex) ? mElements[static_cast<std::size_t>(anIndex)] : nullptr;
}

zqError zqArray::Append(const void *anElement) noexcept
{
    return zqAppend(mElements, const_cast<void *>(anElement));
}

void zqArray::RemoveAt(int anIndex) noexcept
{
    if (zqIsIndexOf(mElements, anIndex))
        (void)mElements.erase(mElements.begin() + anIndex);
}

void zqArray::Clear() noexcept
{
    mElements.clear();
}

zqRefCountArray::zqRefCountArray() noexcept = default;

zqRefCountArray::zqRefCountArray(const zqRefCountArray &aOther) noexcept : zqRefCountArray()
{
    (void)Copy(aOther);
}

zqRefCountArray &zqRefCountArray::operator=(const zqRefCountArray &aOther) noexcept
{
    zqRefCountArray lCopy(aOther);

    mElements.swap(lCopy.mElements);
    return *this;
}

zqRefCountArray::~zqRefCountArray()
{
    zqRefCountArray::Clear();
}

zqRefCountSharedPtr zqRefCountArray::GetElement(int anIndex) const noexcept
{
    return GetElementPtr(anIndex);
}

zqRefCount *zqRefCountArray::GetElementPtr(int anIndex) const noexcept
{
    return Counted(zqArray::GetElement(anIndex));
}

zqError zqRefCountArray::Append(const zqRefCount *anElement) noexcept
{
    const zqError lReturn = zqArray::Append(anElement);

    if (lReturn == zqError_None && anElement != nullptr)
        anElement->Retain();
    return lReturn;
}

zqError zqRefCountArray::Append(const zqRefCountSharedPtr &anElement) noexcept
{
    return Append(anElement.Get());
}

zqRefCountSharedPtr zqRefCountArray::RemoveAt(int anIndex) noexcept
{
    zqRefCountSharedPtr lRemoved(GetElementPtr(anIndex));

    zqArray::RemoveAt(anIndex);
    if (lRemoved != nullptr)
        lRemoved.Get()->Release();
    return lRemoved;
}

void zqRefCountArray::Compact(const std::vector<unsigned char> &aKeep) noexcept
{
    std::size_t lNumKept = 0;

    for (std::size_t lIndex = 0; lIndex < mElements.size(); ++lIndex)
    {
        if (lIndex >= aKeep.size() || aKeep[lIndex] != 0)
            std::swap(mElements[lNumKept++], mElements[lIndex]);
    }

    // One by one from the end, each taken out before it is released: this needs
    // no memory, and an element's end finds the array whole.
    while (mElements.size() > lNumKept)
    {
        void *lRemoved = mElements.back();

        mElements.pop_back();
        ReleaseElement(lRemoved);
    }
}

void zqRefCountArray::Clear() noexcept
{
    std::vector<void *> lElements;

    // An element's end may look at the array: it must find it empty.
    lElements.swap(mElements);
    for (void *lElement : lElements)
        ReleaseElement(lElement);
}

zqError zqRefCountArray::Copy(const zqRefCountArray &aOther) noexcept
{
    const std::size_t lOld    = mElements.size();
    const zqError     lReturn = zqAppendAll(mElements, aOther.mElements);

    for (std::size_t lIndex = lOld; lIndex < mElements.size(); ++lIndex)
        if (mElements[lIndex] != nullptr)
            Counted(mElements[lIndex])->Retain();
    return lReturn;
}
