/**
 *  @file
 *    Arrays: values in one block, the first few behind the head.
 */

#include "cfcallbacks.h"

#include <algorithm>
#include <cstring>
#include <utility>

using namespace cf;

extern const CFArrayCallBacks kCFTypeArrayCallBacks = { 0, RetainValue, ReleaseValue, CFCopyDescription, CFEqual };

using ArrayKeeper = Keeper<CFArrayCallBacks, kCFTypeArrayCallBacks>;

// Behind the head stand the first few values; a longer array has moved them out.
struct __CFArray : cf::Base
{
    __CFArray(unsigned aFlags, CFIndex aRoom) noexcept : Base(kTypeArray, aFlags), mRoom(aRoom) {}

    const void **Inline() noexcept { return reinterpret_cast<const void **>(this + 1); }

    CFIndex      mCount = 0;
    CFIndex      mRoom;
    const void **mValues = Inline();
    ArrayKeeper  mKeeper;
};

namespace
{

CFArrayRef ToArray(CFTypeRef aValue) noexcept
{
    return static_cast<CFArrayRef>(CheckedType(aValue, kTypeArray));
}

CFIndex Reserve(CFIndex aCapacity) noexcept
{
    return std::clamp(aCapacity, kInlineRoom, kLargestReserve);
}

template <typename CallBacks>
CFMutableArrayRef NewArray(unsigned aFlags, CFIndex aRoom, const CallBacks &aCallBacks) noexcept
{
    const std::size_t lSize   = sizeof(__CFArray) + static_cast<std::size_t>(aRoom) * sizeof(void *);
    void *const       lMemory = aRoom >= 0 && aRoom < INT32_MAX ? Allocate(lSize) : nullptr;
    if (lMemory == nullptr)
        return nullptr;

    auto *const lArray = new (lMemory) __CFArray(aFlags, aRoom);
    if (!lArray->mKeeper.Init(aCallBacks))
    {
        Free(lArray);
        return nullptr;
    }
    return lArray;
}

/** Room for @a aMore values; false when memory is exhausted. */
bool MakeRoom(CFMutableArrayRef anArray, CFIndex aMore) noexcept
{
    const CFIndex lNeeded = anArray->mCount + aMore;
    if (lNeeded <= anArray->mRoom)
        return true;

    const CFIndex lRoom   = std::max(lNeeded, anArray->mRoom * 2);
    auto *const   lValues = static_cast<const void **>(Allocate(static_cast<std::size_t>(lRoom) * sizeof(void *)));
    if (lValues == nullptr)
        return false;

    std::memcpy(lValues, anArray->mValues, static_cast<std::size_t>(anArray->mCount) * sizeof(void *));
    if (anArray->mValues != anArray->Inline())
        Free(anArray->mValues);
    anArray->mValues = lValues;
    anArray->mRoom   = lRoom;
    return true;
}

void CutTo(CFMutableArrayRef anArray, CFIndex aCount) noexcept
{
    while (anArray->mCount > aCount)
        anArray->mKeeper.Drop(anArray->mValues[--anArray->mCount]);
}

/** Append to an array that has the room; false when a value is refused, and nothing has changed then. */
bool AppendKept(CFMutableArrayRef anArray, const void *const *aValues, CFIndex aCount) noexcept
{
    const CFIndex lOldCount = anArray->mCount;

    for (CFIndex lIndex = 0; lIndex < aCount; ++lIndex)
    {
        if (!anArray->mKeeper.Keep(aValues[lIndex], anArray->mValues[anArray->mCount]))
        {
            CutTo(anArray, lOldCount);
            return false;
        }
        ++anArray->mCount;
    }
    return true;
}

CFMutableArrayRef Filled(CFMutableArrayRef anArray, const void *const *aValues, CFIndex aCount) noexcept
{
    if (anArray == nullptr || AppendKept(anArray, aValues, aCount))
        return anArray;

    Release(anArray);
    return nullptr;
}

CFMutableArrayRef NewCopy(unsigned aFlags, CFIndex aRoom, CFArrayRef anArray) noexcept
{
    auto *const lCopy =
        ToArray(anArray) != nullptr ? NewArray(aFlags, std::max(aRoom, anArray->mCount), anArray->mKeeper) : nullptr;

    return lCopy != nullptr ? Filled(lCopy, anArray->mValues, anArray->mCount) : nullptr;
}

/** The part of the range that the array has, as first and end. */
struct Span
{
    Span(CFArrayRef anArray, CFRange aRange) noexcept
        : mFirst(std::clamp<CFIndex>(aRange.location, 0, anArray->mCount)),
          mEnd(mFirst + std::clamp<CFIndex>(aRange.length, 0, anArray->mCount - mFirst))
    {
    }

    CFIndex mFirst;
    CFIndex mEnd;
};

} // namespace

bool cf::ArrayEqual(CFArrayRef aFirst, CFArrayRef aSecond) noexcept
{
    // Values that are compared in different ways cannot be compared with one another.
    if (aFirst->mKeeper.GetEqual() != aSecond->mKeeper.GetEqual())
        return false;
    return std::equal(aFirst->mValues, aFirst->mValues + aFirst->mCount, aSecond->mValues,
                      aSecond->mValues + aSecond->mCount,
                      [aFirst](const void *aLeft, const void *aRight) { return aFirst->mKeeper.Equal(aLeft, aRight); });
}

bool cf::HoldsValues(CFArrayRef anArray) noexcept
{
    return anArray->mKeeper.GetEqual() == CFEqual;
}

void cf::ArrayFinalize(CFArrayRef anArray) noexcept
{
    auto *const lArray = const_cast<CFMutableArrayRef>(anArray);

    CutTo(lArray, 0);
    if (lArray->mValues != lArray->Inline())
        Free(lArray->mValues);
    lArray->mKeeper.Destroy();
}

CFTypeID CFArrayGetTypeID(void)
{
    return kTypeArray;
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void **aValues, CFIndex aCount, const CFArrayCallBacks *aCallBacks)
{
    if (aCount < 0 || (aValues == nullptr && aCount != 0))
        return nullptr;

    return Filled(NewArray(0, aCount, aCallBacks), aValues, aCount);
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef anArray)
{
    // What cannot change needs no second one.
    if (ToArray(anArray) != nullptr && !anArray->Is(kFlagMutable))
        return static_cast<CFArrayRef>(Retain(anArray));
    return NewCopy(0, 0, anArray);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex aCapacity, const CFArrayCallBacks *aCallBacks)
{
    return aCapacity < 0 ? nullptr : NewArray(kFlagMutable, Reserve(aCapacity), aCallBacks);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex aCapacity, CFArrayRef anArray)
{
    return aCapacity < 0 ? nullptr : NewCopy(kFlagMutable, Reserve(aCapacity), anArray);
}

CFIndex CFArrayGetCount(CFArrayRef anArray)
{
    return ToArray(anArray) != nullptr ? anArray->mCount : 0;
}

const void *CFArrayGetValueAtIndex(CFArrayRef anArray, CFIndex anIndex)
{
    return anIndex >= 0 && anIndex < CFArrayGetCount(anArray) ? anArray->mValues[anIndex] : nullptr;
}

Boolean CFArrayContainsValue(CFArrayRef anArray, CFRange aRange, const void *aValue)
{
    return CFArrayGetFirstIndexOfValue(anArray, aRange, aValue) >= 0;
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef anArray, CFRange aRange, const void *aValue)
{
    if (ToArray(anArray) == nullptr)
        return kCFNotFound;

    const Span lSpan(anArray, aRange);
    for (CFIndex lIndex = lSpan.mFirst; lIndex < lSpan.mEnd; ++lIndex)
    {
        if (anArray->mKeeper.Equal(anArray->mValues[lIndex], aValue))
            return lIndex;
    }
    return kCFNotFound;
}

void CFArrayApplyFunction(CFArrayRef anArray, CFRange aRange, CFArrayApplierFunction aFunction, void *aContext)
{
    if (ToArray(anArray) == nullptr || aFunction == nullptr)
        return;

    const Span lSpan(anArray, aRange);
    for (CFIndex lIndex = lSpan.mFirst; lIndex < lSpan.mEnd; ++lIndex)
        aFunction(anArray->mValues[lIndex], aContext);
}

void CFArrayAppendValue(CFMutableArrayRef anArray, const void *aValue)
{
    if (ToMutable(anArray, kTypeArray) != nullptr && MakeRoom(anArray, 1))
        (void)AppendKept(anArray, &aValue, 1);
}

void CFArrayAppendArray(CFMutableArrayRef anArray, CFArrayRef aSource, CFRange aRange)
{
    if (ToMutable(anArray, kTypeArray) == nullptr || ToArray(aSource) == nullptr)
        return;

    const Span lSpan(aSource, aRange);
    if (MakeRoom(anArray, lSpan.mEnd - lSpan.mFirst))
        (void)AppendKept(anArray, aSource->mValues + lSpan.mFirst, lSpan.mEnd - lSpan.mFirst);
}

void CFArraySetValueAtIndex(CFMutableArrayRef anArray, CFIndex anIndex, const void *aValue)
{
    if (ToMutable(anArray, kTypeArray) == nullptr || anIndex < 0 || anIndex > anArray->mCount)
        return;
    if (anIndex == anArray->mCount)
    {
        CFArrayAppendValue(anArray, aValue);
        return;
    }

    const void *lKept = nullptr;
    if (anArray->mKeeper.Keep(aValue, lKept))
        anArray->mKeeper.Drop(std::exchange(anArray->mValues[anIndex], lKept));
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef anArray, CFIndex anIndex)
{
    if (ToMutable(anArray, kTypeArray) == nullptr || anIndex < 0 || anIndex >= anArray->mCount)
        return;

    const void *const lOld = anArray->mValues[anIndex];
    std::move(anArray->mValues + anIndex + 1, anArray->mValues + anArray->mCount, anArray->mValues + anIndex);
    --anArray->mCount;
    anArray->mKeeper.Drop(lOld);
}

void CFArrayRemoveAllValues(CFMutableArrayRef anArray)
{
    if (ToMutable(anArray, kTypeArray) != nullptr)
        CutTo(anArray, 0);
}
