/**
 *  @file
 *    Dictionaries: a hash table that keeps the order of its keys.
 */

#include "cftable.h"

#include <algorithm>

using namespace cf;

namespace
{

const void *CopyKey(CFAllocatorRef anAllocator, const void *aKey) noexcept
{
    return CFStringCreateCopy(anAllocator, static_cast<CFStringRef>(aKey));
}

} // namespace

extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {
    0, RetainValue, ReleaseValue, CFCopyDescription, CFEqual, CFHash
};

extern const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {
    0, CopyKey, ReleaseValue, CFCopyDescription, CFEqual, CFHash
};

extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = { 0, RetainValue, ReleaseValue,
                                                                            CFCopyDescription, CFEqual };

// Behind the table stands its first block.
struct __CFDictionary : cf::Base
{
    explicit __CFDictionary(unsigned aFlags) noexcept : Base(kTypeDictionary, aFlags) {}

    Table mTable;
};

namespace
{

CFDictionaryRef ToDictionary(CFTypeRef aValue) noexcept
{
    return static_cast<CFDictionaryRef>(CheckedType(aValue, kTypeDictionary));
}

const Entry *Find(CFDictionaryRef aDictionary, const void *aKey) noexcept
{
    return ToDictionary(aDictionary) != nullptr ? aDictionary->mTable.Find(aKey) : nullptr;
}

template <typename Keys, typename Values>
CFMutableDictionaryRef NewDictionary(unsigned aFlags, CFIndex aRoom, const Keys &aKeys, const Values &aValues) noexcept
{
    if (aRoom > Table::kLargestRoom)
        return nullptr;

    const auto  lRoom   = static_cast<std::int32_t>(aRoom);
    void *const lMemory = Allocate(sizeof(__CFDictionary) + Table::GetBlockSize(lRoom));
    if (lMemory == nullptr)
        return nullptr;

    auto *const lDictionary = new (lMemory) __CFDictionary(aFlags);
    if (lDictionary->mTable.Init(lRoom, aKeys, aValues))
        return lDictionary;

    Release(lDictionary);
    return nullptr;
}

CFMutableDictionaryRef NewCopy(unsigned aFlags, CFIndex aCapacity, CFDictionaryRef aDictionary) noexcept
{
    if (ToDictionary(aDictionary) == nullptr || aCapacity < 0)
        return nullptr;

    const Table  &lTable = aDictionary->mTable;
    const CFIndex lRoom  = std::max<CFIndex>(std::min(aCapacity, kLargestReserve), lTable.GetCount());
    auto *const   lCopy  = NewDictionary(aFlags, lRoom, lTable.GetKeys(), lTable.GetValues());
    if (lCopy == nullptr || lCopy->mTable.CopyFrom(lTable))
        return lCopy;

    Release(lCopy);
    return nullptr;
}

} // namespace

bool cf::DictionaryEqual(CFDictionaryRef aFirst, CFDictionaryRef aSecond) noexcept
{
    return aFirst->mTable.Equal(aSecond->mTable);
}

bool cf::HoldsValues(CFDictionaryRef aDictionary) noexcept
{
    return aDictionary->mTable.GetKeys().GetEqual() == CFEqual && aDictionary->mTable.GetValues().GetEqual() == CFEqual;
}

void cf::DictionaryFinalize(CFDictionaryRef aDictionary) noexcept
{
    const_cast<CFMutableDictionaryRef>(aDictionary)->mTable.Destroy();
}

CFTypeID CFDictionaryGetTypeID(void)
{
    return kTypeDictionary;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void **aKeys, const void **aValues, CFIndex aCount,
                                   const CFDictionaryKeyCallBacks   *aKeyCallBacks,
                                   const CFDictionaryValueCallBacks *aValueCallBacks)
{
    if (aCount < 0 || (aCount != 0 && (aKeys == nullptr || aValues == nullptr)))
        return nullptr;

    auto *const lDictionary = NewDictionary(0, aCount, aKeyCallBacks, aValueCallBacks);
    for (CFIndex lIndex = 0; lDictionary != nullptr && lIndex < aCount; ++lIndex)
    {
        if (!lDictionary->mTable.Set(aKeys[lIndex], aValues[lIndex], false))
        {
            Release(lDictionary);
            return nullptr;
        }
    }
    return lDictionary;
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef aDictionary)
{
    // What cannot change needs no second one.
    if (ToDictionary(aDictionary) != nullptr && !aDictionary->Is(kFlagMutable))
        return static_cast<CFDictionaryRef>(Retain(aDictionary));
    return NewCopy(0, 0, aDictionary);
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex aCapacity,
                                                 const CFDictionaryKeyCallBacks   *aKeyCallBacks,
                                                 const CFDictionaryValueCallBacks *aValueCallBacks)
{
    if (aCapacity < 0)
        return nullptr;
    return NewDictionary(kFlagMutable, std::clamp(aCapacity, kInlineRoom, kLargestReserve), aKeyCallBacks,
                         aValueCallBacks);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex aCapacity, CFDictionaryRef aDictionary)
{
    return NewCopy(kFlagMutable, aCapacity, aDictionary);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef aDictionary)
{
    return ToDictionary(aDictionary) != nullptr ? aDictionary->mTable.GetCount() : 0;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef aDictionary, const void *aKey)
{
    return Find(aDictionary, aKey) != nullptr;
}

const void *CFDictionaryGetValue(CFDictionaryRef aDictionary, const void *aKey)
{
    const Entry *const lEntry = Find(aDictionary, aKey);

    return lEntry != nullptr ? lEntry->mValue : nullptr;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef aDictionary, const void *aKey, const void **aValue)
{
    const Entry *const lEntry = Find(aDictionary, aKey);

    if (lEntry != nullptr && aValue != nullptr)
        *aValue = lEntry->mValue;
    return lEntry != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef aDictionary, const void **aKeys, const void **aValues)
{
    if (ToDictionary(aDictionary) == nullptr)
        return;

    aDictionary->mTable.ForEach(
        [&aKeys, &aValues](const Entry &anEntry)
        {
            if (aKeys != nullptr)
                *aKeys++ = anEntry.mKey;
            if (aValues != nullptr)
                *aValues++ = anEntry.mValue;
        });
}

void CFDictionaryApplyFunction(CFDictionaryRef aDictionary, CFDictionaryApplierFunction aFunction, void *aContext)
{
    if (ToDictionary(aDictionary) == nullptr || aFunction == nullptr)
        return;

    aDictionary->mTable.ForEach([aFunction, aContext](const Entry &anEntry)
                                { aFunction(anEntry.mKey, anEntry.mValue, aContext); });
}

void CFDictionaryAddValue(CFMutableDictionaryRef aDictionary, const void *aKey, const void *aValue)
{
    if (ToMutable(aDictionary, kTypeDictionary) != nullptr)
        (void)aDictionary->mTable.Set(aKey, aValue, false);
}

void CFDictionarySetValue(CFMutableDictionaryRef aDictionary, const void *aKey, const void *aValue)
{
    if (ToMutable(aDictionary, kTypeDictionary) != nullptr)
        (void)aDictionary->mTable.Set(aKey, aValue, true);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef aDictionary, const void *aKey)
{
    if (ToMutable(aDictionary, kTypeDictionary) != nullptr)
        aDictionary->mTable.Remove(aKey);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef aDictionary)
{
    if (ToMutable(aDictionary, kTypeDictionary) != nullptr)
        aDictionary->mTable.RemoveAll();
}
