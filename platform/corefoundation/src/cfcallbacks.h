/**
 *  @file
 *    How a container keeps, drops and compares what it holds.
 */

#ifndef CFCALLBACKS_H
#define CFCALLBACKS_H

#include "cfruntime.h"

namespace cf
{

// The callbacks for CoreFoundation values.

inline const void *RetainValue(CFAllocatorRef, const void *aValue) noexcept
{
    return Retain(aValue);
}

inline void ReleaseValue(CFAllocatorRef, const void *aValue) noexcept
{
    Release(aValue);
}

/** What a new container has room for, without a block of its own. */
constexpr CFIndex kInlineRoom = 4;

/** A capacity is a hint, and no more than this is reserved for one. */
constexpr CFIndex kLargestReserve = 1024;

/** The container when it is of this type and may be changed, else null. */
template <typename Container>
Container ToMutable(Container aContainer, Type aType) noexcept
{
    return CheckedType(aContainer, aType) != nullptr && aContainer->Is(kFlagMutable) ? aContainer : nullptr;
}

/**
 *  The callbacks of a container, of any of the three kinds of structure.
 *
 *  CoreFoundation values, by far the most common case, and bare pointers need
 *  no copy of the callbacks and no indirect call.
 *
 *  @tparam CallBacks  The structure.
 *  @tparam kTypes     The callbacks for CoreFoundation values.
 */
template <typename CallBacks, const CallBacks &kTypes>
class Keeper
{
public:
    /** @returns false when memory is exhausted. */
    bool Init(const CallBacks *aCallBacks) noexcept
    {
        mCallBacks = aCallBacks;
        if (aCallBacks == nullptr || KeepsTypes())
            return true;

        void *const lMemory = Allocate(sizeof(CallBacks));
        mCallBacks          = lMemory != nullptr ? new (lMemory) CallBacks(*aCallBacks) : nullptr;
        return mCallBacks != nullptr;
    }

    bool Init(const Keeper &anOther) noexcept { return Init(anOther.mCallBacks); }

    void Destroy() noexcept
    {
        if (!KeepsTypes())
            Free(const_cast<CallBacks *>(mCallBacks));
        mCallBacks = nullptr;
    }

    bool KeepsTypes() const noexcept { return mCallBacks == &kTypes; }

    /**
     *  Take hold of a value.
     *
     *  @returns false, and nothing is held, when the retain callback yields
     *           null: as for a null CoreFoundation value.
     */
    bool Keep(const void *aValue, const void *&aKept) const noexcept
    {
        aKept = aValue;
        if (mCallBacks == nullptr || mCallBacks->retain == nullptr)
            return true;

        aKept = KeepsTypes() ? Retain(aValue) : mCallBacks->retain(kCFAllocatorDefault, aValue);
        return aKept != nullptr;
    }

    void Drop(const void *aValue) const noexcept
    {
        if (KeepsTypes())
            Release(aValue);
        else if (mCallBacks != nullptr && mCallBacks->release != nullptr)
            mCallBacks->release(kCFAllocatorDefault, aValue);
    }

    bool Equal(const void *aFirst, const void *aSecond) const noexcept
    {
        if (aFirst == aSecond)
            return true;
        if (KeepsTypes())
            return cf::Equal(aFirst, aSecond);

        const CFEqualCallBack lEqual = GetEqual();
        return lEqual != nullptr && lEqual(aFirst, aSecond) != 0;
    }

    /** The comparison; null when the pointers themselves are compared. */
    CFEqualCallBack GetEqual() const noexcept { return mCallBacks != nullptr ? mCallBacks->equal : nullptr; }

    const CallBacks *Get() const noexcept { return mCallBacks; }

private:
    const CallBacks *mCallBacks = nullptr; // kTypes, or a copy of its own, or none
};

} // namespace cf

#endif // CFCALLBACKS_H
