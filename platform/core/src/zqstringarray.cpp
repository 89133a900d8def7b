/**
 *  @file
 *    An array of texts.
 */

#include "zqappend.h"

#include <zqstring.h>

#include <algorithm>

zqStringArray::zqStringArray() noexcept = default;

zqStringArray::zqStringArray(const zqStringArray &aOther) noexcept
{
    (void)Copy(aOther);
}

zqStringArray::zqStringArray(zqStringArray &&aOther) noexcept = default;

zqStringArray &zqStringArray::operator=(zqStringArray aOther) noexcept
{
    mElements.swap(aOther.mElements);
    return *this;
}

zqStringArray::~zqStringArray() = default;

int zqStringArray::GetNumElements() const noexcept
{
    return static_cast<int>(mElements.size());
}

bool zqStringArray::IsEmpty() const noexcept
{
    return mElements.empty();
}

zqString zqStringArray::GetElement(int anIndex) const noexcept
{
    return zqIsIndexOf(mElements, anIndex) ? mElements[static_cast<std::size_t>(anIndex)] : zqString();
}

int zqStringArray::Find(const zqString &aText) const noexcept
{
    const auto lFound = std::find(mElements.begin(), mElements.end(), aText);

    return lFound == mElements.end() ? -1 : static_cast<int>(lFound - mElements.begin());
}

zqError zqStringArray::Append(const zqString &aText) noexcept
{
    return zqAppend(mElements, aText);
}

zqError zqStringArray::Copy(const zqStringArray &aOther) noexcept
{
    return zqAppendAll(mElements, aOther.mElements);
}

void zqStringArray::RemoveAt(int anIndex) noexcept
{
    if (zqIsIndexOf(mElements, anIndex))
        (void)mElements.erase(mElements.begin() + anIndex);
}

void zqStringArray::Clear() noexcept
{
    mElements.clear();
}
