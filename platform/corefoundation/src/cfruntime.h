/**
 *  @file
 *    What every CoreFoundation value is made of, for the sources of this room.
 */

#ifndef CFRUNTIME_H
#define CFRUNTIME_H

#include <CoreFoundation.h>

#include <atomic>
#include <cstdint>
#include <new>
#include <string_view>

namespace cf
{

enum Type : std::uint8_t
{
    kTypeString = 1,
    kTypeNumber,
    kTypeBoolean,
    kTypeData,
    kTypeArray,
    kTypeDictionary
};

enum Flags : std::uint8_t
{
    kFlagImmortal = 1, ///< neither counted nor freed
    kFlagConstant = 2, ///< a string that is unique for its text
    kFlagMutable  = 4,
    kFlagHoldsNUL = 8 ///< a string with a NUL inside, which is no C string
};

/** The head of every value: eight bytes. */
struct Base
{
    constexpr Base(Type aType, unsigned aFlags, unsigned aDetail = 0) noexcept
        : mType(aType), mFlags(static_cast<std::uint8_t>(aFlags)), mDetail(static_cast<std::uint16_t>(aDetail))
    {
    }

    bool Is(Flags aFlag) const noexcept { return (mFlags & aFlag) != 0; }

    mutable std::atomic<std::int32_t> mCount{ 1 };
    const Type                        mType;
    const std::uint8_t                mFlags;
    const std::uint16_t               mDetail; ///< the type code of a number, the truth of a boolean
};

inline const Base *ToBase(CFTypeRef aValue) noexcept
{
    return static_cast<const Base *>(aValue);
}

inline CFTypeRef Retain(CFTypeRef aValue) noexcept
{
    if (aValue != nullptr && !ToBase(aValue)->Is(kFlagImmortal))
        ToBase(aValue)->mCount.fetch_add(1, std::memory_order_relaxed);
    return aValue;
}

/** Memory for @a aSize bytes, or null: the one place from which values and their storage come. */
inline void *Allocate(std::size_t aSize) noexcept
{
    return ::operator new(aSize, std::nothrow);
}

inline void Free(void *aMemory) noexcept
{
    ::operator delete(aMemory);
}

// What the head's type leads to, each in its own source file.

bool       StringEqual(CFStringRef aFirst, CFStringRef aSecond) noexcept;
CFHashCode StringHash(CFStringRef aString) noexcept;
bool       NumberEqual(CFNumberRef aFirst, CFNumberRef aSecond) noexcept;
CFHashCode NumberHash(CFNumberRef aNumber) noexcept;
bool       DataEqual(CFDataRef aFirst, CFDataRef aSecond) noexcept;
CFHashCode DataHash(CFDataRef aData) noexcept;
bool       ArrayEqual(CFArrayRef aFirst, CFArrayRef aSecond) noexcept;
void       ArrayFinalize(CFArrayRef anArray) noexcept;
bool       DictionaryEqual(CFDictionaryRef aFirst, CFDictionaryRef aSecond) noexcept;
void       DictionaryFinalize(CFDictionaryRef aDictionary) noexcept;

// For the sources of this room.

bool             HoldsValues(CFArrayRef anArray) noexcept; ///< CoreFoundation values, not bare pointers
bool             HoldsValues(CFDictionaryRef aDictionary) noexcept;
CFHashCode       HashBytes(const void *aBytes, std::size_t aLength) noexcept;
CFStringRef      CreateString(const char *aText, std::size_t aLength) noexcept;
std::string_view GetText(CFStringRef aString) noexcept; ///< all of it, as UTF-8

// The functions of the interface, without the way through the dynamic linker.

bool       Equal(CFTypeRef aFirst, CFTypeRef aSecond) noexcept;
CFHashCode Hash(CFTypeRef aValue) noexcept;
void       Finalize(const Base *aBase) noexcept;

inline void Release(CFTypeRef aValue) noexcept
{
    if (aValue == nullptr || ToBase(aValue)->Is(kFlagImmortal))
        return;
    if (ToBase(aValue)->mCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        Finalize(ToBase(aValue));
}

/** The value when it is of this type, else null. */
inline CFTypeRef CheckedType(CFTypeRef aValue, Type aType) noexcept
{
    return aValue != nullptr && ToBase(aValue)->mType == aType ? aValue : nullptr;
}

} // namespace cf

#endif // CFRUNTIME_H
