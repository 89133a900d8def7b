/**
 *  @file
 *    Growing a vector with a result code instead of an exception.
 */

#ifndef ZQAPPEND_H
#define ZQAPPEND_H

#include <zqerror.h>

#include <exception>
#include <utility>
#include <vector>

/** @retval 0, or -2 with the vector unchanged. */
template <typename T>
zqError zqReserveMore(std::vector<T> &aVector, std::size_t aCount) noexcept
{
    try
    {
        aVector.reserve(aVector.size() + aCount);
        return zqError_None;
    }
    catch (const std::exception &)
    {
        return zqError_OutOfMemory;
    }
}

/** @retval 0, or -2 with the vector unchanged. */
template <typename T, typename U>
zqError zqAppend(std::vector<T> &aVector, U &&anElement) noexcept
{
    try
    {
        aVector.push_back(std::forward<U>(anElement));
        return zqError_None;
    }
    catch (const std::exception &)
    {
        return zqError_OutOfMemory;
    }
}

/** Append every element of a vector, which may be the same one. @retval 0, or -2 with the vector unchanged. */
template <typename T>
zqError zqAppendAll(std::vector<T> &aVector, const std::vector<T> &aOther) noexcept
{
    const std::size_t lCount  = aOther.size();
    const zqError     lReturn = zqReserveMore(aVector, lCount);

    for (std::size_t lIndex = 0; lReturn == zqError_None && lIndex < lCount; ++lIndex)
        aVector.push_back(aOther[lIndex]);
    return lReturn;
}

/** Whether a signed index names an element. */
template <typename T>
bool zqIsIndexOf(const std::vector<T> &aVector, int anIndex) noexcept
{
    return anIndex >= 0 && static_cast<std::size_t>(anIndex) < aVector.size();
}

#endif // ZQAPPEND_H
