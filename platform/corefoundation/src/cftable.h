/**
 *  @file
 *    The table of a dictionary: its keys in order, and how one is found.
 */

#ifndef CFTABLE_H
#define CFTABLE_H

#include "cfcallbacks.h"

namespace cf
{

using KeyKeeper   = Keeper<CFDictionaryKeyCallBacks, kCFTypeDictionaryKeyCallBacks>;
using ValueKeeper = Keeper<CFDictionaryValueCallBacks, kCFTypeDictionaryValueCallBacks>;

struct Entry
{
    const void *mKey;
    const void *mValue;
};

/**
 *  Entries in the order in which their keys were first added.
 *
 *  One block of memory holds the entries, the hashes of their keys and, from
 *  some size on, an open-addressing index over them; below that size the
 *  hashes are searched one by one. A removed entry leaves a gap, so that the
 *  others keep their positions until the gaps are worth closing.
 *
 *  The first block stands directly behind the table, in the memory of the
 *  value that the table is the last member of.
 */
class Table
{
public:
    /** The most entries that a table is made for. */
    static constexpr CFIndex kLargestRoom = INT32_MAX / 4;

    /** The bytes of a block for so many entries. */
    static std::size_t GetBlockSize(std::int32_t aRoom) noexcept;

    /**
     *  An empty table, in front of a block for @a aRoom entries.
     *
     *  @returns false when memory is exhausted: destroy the table then, too.
     */
    template <typename Keys, typename Values>
    bool Init(std::int32_t aRoom, const Keys &aKeys, const Values &aValues) noexcept
    {
        SetBlock(Inline(), aRoom);
        return mKeys.Init(aKeys) && mValues.Init(aValues);
    }

    void Destroy() noexcept;

    std::int32_t       GetCount() const noexcept { return mCount; }
    const KeyKeeper   &GetKeys() const noexcept { return mKeys; }
    const ValueKeeper &GetValues() const noexcept { return mValues; }

    /** The entry of a key, or null. */
    const Entry *Find(const void *aKey) const noexcept;

    /**
     *  Add an entry, or give a key that there is another value.
     *
     *  @param[in]  aReplace  Whether a key that there is takes the value.
     *
     *  @returns false, and nothing has changed, when memory is exhausted or
     *           the key or the value is refused.
     */
    bool Set(const void *aKey, const void *aValue, bool aReplace) noexcept;

    /** Add the other table's entries to this one, which is empty and has the room; false as Set. */
    bool CopyFrom(const Table &anOther) noexcept;

    void Remove(const void *aKey) noexcept;
    void RemoveAll() noexcept;
    bool Equal(const Table &anOther) const noexcept;

    template <typename Function>
    void ForEach(const Function &aFunction) const
    {
        for (std::int32_t lPosition = 0; lPosition < mUsed; ++lPosition)
        {
            if (!IsGap(lPosition))
                aFunction(mEntries[lPosition]);
        }
    }

private:
    static const char kGap; // its address is the key of a removed entry

    Entry         *Inline() noexcept { return reinterpret_cast<Entry *>(this + 1); }
    std::uint32_t *Hashes() const noexcept { return reinterpret_cast<std::uint32_t *>(mEntries + mRoom); }
    std::int32_t  *Index() const noexcept { return reinterpret_cast<std::int32_t *>(Hashes() + mRoom); }
    bool           HasIndex() const noexcept { return mMask != 0; }
    bool           IsGap(std::int32_t aPosition) const noexcept { return mEntries[aPosition].mKey == &kGap; }

    std::uint32_t HashKey(const void *aKey) const noexcept;
    bool          IsKeyAt(std::int32_t aPosition, const void *aKey) const noexcept;
    std::int32_t  FindPosition(const void *aKey, std::uint32_t aHash) const noexcept;
    std::int32_t  FindByIndex(const void *aKey, std::uint32_t aHash) const noexcept;
    bool          Replace(Entry &anEntry, const void *aValue) noexcept;
    bool          Append(const void *aKey, const void *aValue, std::uint32_t aHash) noexcept;
    void          MarkDeleted(std::int32_t aPosition) noexcept;

    void SetBlock(Entry *aBlock, std::int32_t aRoom) noexcept;
    void FillIndex() noexcept;
    void CloseGaps(Entry *aBlock, std::int32_t aRoom) noexcept;
    bool Grow() noexcept;
    bool MakeRoom() noexcept;

    std::int32_t  mCount   = 0; // entries
    std::int32_t  mUsed    = 0; // entries and gaps
    std::int32_t  mRoom    = 0;
    std::uint32_t mMask    = 0; // the index's size less one; 0 without an index
    Entry        *mEntries = nullptr;
    KeyKeeper     mKeys;
    ValueKeeper   mValues;
};

} // namespace cf

#endif // CFTABLE_H
