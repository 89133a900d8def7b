#include "cftable.h"

#include <algorithm>
#include <utility>

using namespace cf;

namespace
{

// A slot of the index: a position among the entries, or one of these.
constexpr std::int32_t kFree    = -1;
constexpr std::int32_t kDeleted = -2;

/** The most entries whose hashes are searched one by one. */
constexpr std::int32_t kLargestLinear = 12;

/** The index's size: three quarters full at most, so that a search soon meets a free slot. */
std::uint32_t GetSlots(std::int32_t aRoom) noexcept
{
    if (aRoom <= kLargestLinear)
        return 0;

    std::uint32_t lSlots = 32;
    while (lSlots - lSlots / 4 < static_cast<std::uint32_t>(aRoom))
        lSlots *= 2;
    return lSlots;
}

} // namespace

const char Table::kGap = 0;

std::size_t Table::GetBlockSize(std::int32_t aRoom) noexcept
{
    return static_cast<std::size_t>(aRoom) * (sizeof(Entry) + sizeof(std::uint32_t)) +
           GetSlots(aRoom) * sizeof(std::int32_t);
}

void Table::Destroy() noexcept
{
    RemoveAll();
    if (mEntries != Inline())
        Free(mEntries);
    mKeys.Destroy();
    mValues.Destroy();
}

const Entry *Table::Find(const void *aKey) const noexcept
{
    const std::int32_t lPosition = mCount != 0 ? FindPosition(aKey, HashKey(aKey)) : -1;

    return lPosition >= 0 ? &mEntries[lPosition] : nullptr;
}

bool Table::Set(const void *aKey, const void *aValue, bool aReplace) noexcept
{
    const std::uint32_t lHash     = HashKey(aKey);
    const std::int32_t  lPosition = FindPosition(aKey, lHash);

    if (lPosition >= 0)
        return !aReplace || Replace(mEntries[lPosition], aValue);
    return MakeRoom() && Append(aKey, aValue, lHash);
}

bool Table::CopyFrom(const Table &anOther) noexcept
{
    for (std::int32_t lPosition = 0; lPosition < anOther.mUsed; ++lPosition)
    {
        const Entry &lEntry = anOther.mEntries[lPosition];
        if (!anOther.IsGap(lPosition) && !Append(lEntry.mKey, lEntry.mValue, anOther.Hashes()[lPosition]))
            return false;
    }
    return true;
}

void Table::Remove(const void *aKey) noexcept
{
    const std::int32_t lPosition = FindPosition(aKey, HashKey(aKey));
    if (lPosition < 0)
        return;

    if (HasIndex())
        MarkDeleted(lPosition);
    const Entry lRemoved = std::exchange(mEntries[lPosition], { &kGap, nullptr });
    --mCount;

    // A walk should not cost much more than what is left; yet a large table
    // that has few entries does not pay for its index at every removal.
    if (mUsed > mCount * 4 && mUsed >= mRoom / 4)
        CloseGaps(mEntries, mRoom);

    mKeys.Drop(lRemoved.mKey);
    mValues.Drop(lRemoved.mValue);
}

void Table::RemoveAll() noexcept
{
    ForEach(
        [this](const Entry &anEntry)
        {
            mKeys.Drop(anEntry.mKey);
            mValues.Drop(anEntry.mValue);
        });
    mCount = 0;
    if (std::exchange(mUsed, 0) != 0)
        FillIndex();
}

bool Table::Equal(const Table &anOther) const noexcept
{
    // Keys or values that are compared in different ways cannot be compared with one another.
    if (mCount != anOther.mCount || mKeys.GetEqual() != anOther.mKeys.GetEqual() ||
        mValues.GetEqual() != anOther.mValues.GetEqual())
        return false;

    for (std::int32_t lPosition = 0; lPosition < mUsed; ++lPosition)
    {
        const Entry       &lEntry = mEntries[lPosition];
        const Entry *const lOther = IsGap(lPosition) ? &lEntry : anOther.Find(lEntry.mKey);
        if (lOther == nullptr || !mValues.Equal(lEntry.mValue, lOther->mValue))
            return false;
    }
    return true;
}

std::uint32_t Table::HashKey(const void *aKey) const noexcept
{
    const CFDictionaryKeyCallBacks *const lCallBacks = mKeys.Get();
    std::uint64_t                         lHash      = 0;

    // Without a hash, keys that are equal by a function of their own have
    // nothing in common that is known here.
    if (mKeys.KeepsTypes())
        lHash = Hash(aKey);
    else if (lCallBacks != nullptr && lCallBacks->hash != nullptr)
        lHash = lCallBacks->hash(aKey);
    else if (mKeys.GetEqual() == nullptr)
        lHash = reinterpret_cast<std::uintptr_t>(aKey);

    // Mixed, since the low bits, which choose the slot, are often alike.
    return static_cast<std::uint32_t>((lHash * 0x9E3779B97F4A7C15u) >> 32);
}

bool Table::IsKeyAt(std::int32_t aPosition, const void *aKey) const noexcept
{
    return !IsGap(aPosition) && mKeys.Equal(mEntries[aPosition].mKey, aKey);
}

std::int32_t Table::FindPosition(const void *aKey, std::uint32_t aHash) const noexcept
{
    if (HasIndex())
        return FindByIndex(aKey, aHash);

    const std::uint32_t *const lHashes = Hashes();
    for (std::int32_t lPosition = 0, lEnd = mUsed; lPosition < lEnd; ++lPosition)
    {
        if (lHashes[lPosition] == aHash && IsKeyAt(lPosition, aKey))
            return lPosition;
    }
    return -1;
}

std::int32_t Table::FindByIndex(const void *aKey, std::uint32_t aHash) const noexcept
{
    const std::int32_t *const  lIndex  = Index();
    const std::uint32_t *const lHashes = Hashes();

    for (std::uint32_t lSlot = aHash & mMask; lIndex[lSlot] != kFree; lSlot = (lSlot + 1) & mMask)
    {
        const std::int32_t lPosition = lIndex[lSlot];
        if (lPosition != kDeleted && lHashes[lPosition] == aHash && IsKeyAt(lPosition, aKey))
            return lPosition;
    }
    return -1;
}

bool Table::Replace(Entry &anEntry, const void *aValue) noexcept
{
    const void *lKept = nullptr;
    if (!mValues.Keep(aValue, lKept))
        return false;

    mValues.Drop(std::exchange(anEntry.mValue, lKept));
    return true;
}

bool Table::Append(const void *aKey, const void *aValue, std::uint32_t aHash) noexcept
{
    Entry lEntry = { nullptr, nullptr };
    if (!mKeys.Keep(aKey, lEntry.mKey))
        return false;
    if (!mValues.Keep(aValue, lEntry.mValue))
    {
        mKeys.Drop(lEntry.mKey);
        return false;
    }

    if (HasIndex())
    {
        std::uint32_t lSlot = aHash & mMask;
        while (Index()[lSlot] >= 0)
            lSlot = (lSlot + 1) & mMask;
        Index()[lSlot] = mUsed;
    }
    mEntries[mUsed] = lEntry;
    Hashes()[mUsed] = aHash;
    ++mUsed;
    ++mCount;
    return true;
}

void Table::MarkDeleted(std::int32_t aPosition) noexcept
{
    std::uint32_t lSlot = Hashes()[aPosition] & mMask;

    while (Index()[lSlot] != aPosition)
        lSlot = (lSlot + 1) & mMask;
    Index()[lSlot] = kDeleted;
}

void Table::SetBlock(Entry *aBlock, std::int32_t aRoom) noexcept
{
    const std::uint32_t lSlots = GetSlots(aRoom);

    mEntries = aBlock;
    mRoom    = aRoom;
    mMask    = lSlots != 0 ? lSlots - 1 : 0;
    FillIndex();
}

void Table::FillIndex() noexcept
{
    if (!HasIndex())
        return;

    std::fill_n(Index(), mMask + 1, kFree);
    for (std::int32_t lPosition = 0; lPosition < mUsed; ++lPosition)
    {
        std::uint32_t lSlot = Hashes()[lPosition] & mMask;
        while (Index()[lSlot] != kFree)
            lSlot = (lSlot + 1) & mMask;
        Index()[lSlot] = lPosition;
    }
}

/** Move the entries together, to the front of this block or of another. */
void Table::CloseGaps(Entry *aBlock, std::int32_t aRoom) noexcept
{
    auto *const  lHashes = reinterpret_cast<std::uint32_t *>(aBlock + aRoom);
    std::int32_t lTo     = 0;

    for (std::int32_t lFrom = 0; lFrom < mUsed; ++lFrom)
    {
        if (IsGap(lFrom))
            continue;
        aBlock[lTo]  = mEntries[lFrom];
        lHashes[lTo] = Hashes()[lFrom];
        ++lTo;
    }
    mUsed = lTo;
    SetBlock(aBlock, aRoom);
}

bool Table::Grow() noexcept
{
    if (mRoom >= kLargestRoom / 2)
        return false;

    const std::int32_t lRoom  = mRoom < kLargestLinear ? mRoom * 2 + 4 : mRoom * 2;
    auto *const        lBlock = static_cast<Entry *>(Allocate(GetBlockSize(lRoom)));
    if (lBlock == nullptr)
        return false;

    Entry *const lOld = mEntries;
    CloseGaps(lBlock, lRoom);
    if (lOld != Inline())
        Free(lOld);
    return true;
}

/** Room for one more entry; false when memory is exhausted. */
bool Table::MakeRoom() noexcept
{
    if (mUsed < mRoom)
        return true;

    // Where a third of the room is gaps, closing them pays for itself.
    if (mUsed - mCount <= mRoom / 3)
        return Grow();
    CloseGaps(mEntries, mRoom);
    return true;
}
