/**
 *  @file
 *    Strings: UTF-8 behind the head, and the constants of the process.
 */

#include "cfruntime.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <unordered_map>

using namespace cf;

// A string is its UTF-8 text, behind this head and in front of a NUL.
struct __CFString : cf::Base
{
    __CFString(unsigned aFlags, std::uint32_t aLength, std::uint32_t aUnits) noexcept
        : Base(kTypeString, aFlags), mLength(aLength), mUnits(aUnits)
    {
    }

    const char      *Text() const noexcept { return reinterpret_cast<const char *>(this + 1); }
    char            *Text() noexcept { return reinterpret_cast<char *>(this + 1); }
    std::string_view View() const noexcept { return { Text(), mLength }; }
    bool             IsASCII() const noexcept { return mLength == mUnits; }

    mutable std::atomic<std::uint32_t> mHash{ 0 }; // 0: not computed yet
    const std::uint32_t                mLength;    // in bytes
    const std::uint32_t                mUnits;     // in UTF-16 units
};

namespace
{

using Byte = unsigned char;

CFStringRef ToString(CFTypeRef aValue) noexcept
{
    return static_cast<CFStringRef>(CheckedType(aValue, kTypeString));
}

/** The bytes of the longest text. */
constexpr std::size_t kLongest = INT32_MAX - 1;

/** A character outside ASCII, or a part of one. */
bool IsWide(char aByte) noexcept
{
    return (static_cast<Byte>(aByte) & 0x80) != 0;
}

bool IsContinuation(Byte aByte) noexcept
{
    return (aByte & 0xC0) == 0x80;
}

/**
 *  The bytes of the character at @a aText; 0 when they are no strict UTF-8:
 *  overlong, a surrogate, past U+10FFFF or cut off.
 */
unsigned CharacterLength(const Byte *aText, std::size_t aRemaining) noexcept
{
    const Byte     lFirst  = aText[0];
    const unsigned lLength = lFirst < 0x80   ? 1
                             : lFirst < 0xC2 ? 0
                             : lFirst < 0xE0 ? 2
                             : lFirst < 0xF0 ? 3
                             : lFirst < 0xF5 ? 4
                                             : 0;

    if (lLength == 0 || lLength > aRemaining)
        return 0;
    for (unsigned lIndex = 1; lIndex < lLength; ++lIndex)
    {
        if (!IsContinuation(aText[lIndex]))
            return 0;
    }

    const bool lBad = (lFirst == 0xE0 && aText[1] < 0xA0) || (lFirst == 0xED && aText[1] > 0x9F) ||
                      (lFirst == 0xF0 && aText[1] < 0x90) || (lFirst == 0xF4 && aText[1] > 0x8F);
    return lBad ? 0 : lLength;
}

/** Count the UTF-16 units; false when the bytes are no UTF-8. */
bool CountUnits(const char *aText, std::size_t aLength, std::uint32_t &aUnits) noexcept
{
    const auto   *lText  = reinterpret_cast<const Byte *>(aText);
    std::uint32_t lUnits = 0;

    for (std::size_t lIndex = 0; lIndex < aLength;)
    {
        if (lText[lIndex] < 0x80)
        {
            ++lIndex;
            ++lUnits;
            continue;
        }

        const unsigned lCharacter = CharacterLength(lText + lIndex, aLength - lIndex);
        if (lCharacter == 0)
            return false;
        lIndex += lCharacter;
        lUnits += lCharacter == 4 ? 2 : 1;
    }
    aUnits = lUnits;
    return true;
}

/**
 *  A string whose text is still to be filled in.
 *
 *  @param[in]  aSource  The text in whatever encoding it came.
 *  @param[in]  aLength  The bytes that it takes as UTF-8.
 *
 *  @returns null when the text is too long or memory is exhausted.
 */
__CFString *NewString(unsigned aFlags, std::string_view aSource, std::size_t aLength, std::uint32_t aUnits) noexcept
{
    void *const lMemory = aLength <= kLongest ? Allocate(sizeof(__CFString) + aLength + 1) : nullptr;
    if (lMemory == nullptr)
        return nullptr;

    if (aSource.find('\0') != std::string_view::npos)
        aFlags |= kFlagHoldsNUL;
    auto *const lString      = new (lMemory) __CFString(aFlags, static_cast<std::uint32_t>(aLength), aUnits);
    lString->Text()[aLength] = '\0';
    return lString;
}

__CFString *CreateFromUTF8(std::string_view aText, unsigned aFlags) noexcept
{
    std::uint32_t lUnits = 0;
    if (aText.size() > kLongest || !CountUnits(aText.data(), aText.size(), lUnits))
        return nullptr;

    __CFString *const lString = NewString(aFlags, aText, aText.size(), lUnits);
    if (lString != nullptr && !aText.empty())
        std::memcpy(lString->Text(), aText.data(), aText.size());
    return lString;
}

CFStringRef CreateFromLatin1(std::string_view aText) noexcept
{
    if (aText.size() > kLongest)
        return nullptr;

    const auto        lWide = std::count_if(aText.begin(), aText.end(), IsWide);
    __CFString *const lString =
        NewString(0, aText, aText.size() + static_cast<std::size_t>(lWide), static_cast<std::uint32_t>(aText.size()));
    if (lString == nullptr)
        return nullptr;

    char *lOut = lString->Text();
    for (const char lByte : aText)
    {
        const unsigned lCode = static_cast<Byte>(lByte);
        if (IsWide(lByte))
            *lOut++ = static_cast<char>(0xC0 | (lCode >> 6));
        *lOut++ = static_cast<char>(IsWide(lByte) ? 0x80 | (lCode & 0x3F) : lCode);
    }
    return lString;
}

CFStringRef Create(std::string_view aText, CFStringEncoding anEncoding) noexcept
{
    switch (anEncoding)
    {
    case kCFStringEncodingUTF8:
        return CreateFromUTF8(aText, 0);
    case kCFStringEncodingASCII:
        return std::none_of(aText.begin(), aText.end(), IsWide) ? CreateFromUTF8(aText, 0) : nullptr;
    case kCFStringEncodingISOLatin1:
        return CreateFromLatin1(aText);
    default:
        return nullptr;
    }
}

/** Write the text and a NUL as ISO Latin 1; false when a character has no place there or the buffer is too small. */
bool GetLatin1(CFStringRef aString, char *aBuffer, CFIndex aSize) noexcept
{
    const std::string_view lText = aString->View();
    CFIndex                lUsed = 0;

    for (std::size_t lIndex = 0; lIndex < lText.size(); ++lUsed)
    {
        const Byte lFirst = static_cast<Byte>(lText[lIndex]);
        if (lFirst > 0xC3 || lUsed + 1 >= aSize)
            return false;

        aBuffer[lUsed] =
            static_cast<char>(lFirst < 0x80 ? lFirst : ((lFirst & 0x03) << 6) | (lText[lIndex + 1] & 0x3F));
        lIndex += lFirst < 0x80 ? 1 : 2;
    }
    if (lUsed >= aSize)
        return false;
    aBuffer[lUsed] = '\0';
    return true;
}

/**
 *  Order two bytes of UTF-8 as the UTF-16 units that they begin would be:
 *  characters past U+FFFF, which are surrogates there, come before those from
 *  U+E000 on.
 */
int OrderBytes(char aFirst, char aSecond) noexcept
{
    const auto lRank = [](char aByte) -> int
    {
        const int lByte = static_cast<Byte>(aByte);
        return lByte >= 0xF0 ? (0xED << 8) + lByte : lByte << 8;
    };

    return lRank(aFirst) - lRank(aSecond);
}

char Same(char aByte) noexcept
{
    return aByte;
}

char Lower(char aByte) noexcept
{
    return aByte >= 'A' && aByte <= 'Z' ? static_cast<char>(aByte + ('a' - 'A')) : aByte;
}

template <char Fold(char)>
CFComparisonResult Order(std::string_view aFirst, std::string_view aSecond) noexcept
{
    const std::size_t lLength = std::min(aFirst.size(), aSecond.size());
    std::size_t       lIndex  = 0;

    while (lIndex < lLength && Fold(aFirst[lIndex]) == Fold(aSecond[lIndex]))
        ++lIndex;

    const int lOrder = lIndex < lLength ? OrderBytes(Fold(aFirst[lIndex]), Fold(aSecond[lIndex]))
                                        : (aFirst.size() > lLength) - (aSecond.size() > lLength);
    return lOrder < 0 ? kCFCompareLessThan : lOrder > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

struct FreeString
{
    void operator()(__CFString *aString) const noexcept { Free(aString); }
};

struct ConstantStrings
{
    std::mutex                                        mLock;
    std::unordered_map<std::string_view, CFStringRef> mStrings;
};

} // namespace

CFStringRef cf::CreateString(const char *aText, std::size_t aLength) noexcept
{
    return CreateFromUTF8({ aText, aLength }, 0);
}

std::string_view cf::GetText(CFStringRef aString) noexcept
{
    return aString->View();
}

bool cf::StringEqual(CFStringRef aFirst, CFStringRef aSecond) noexcept
{
    if (aFirst->mLength != aSecond->mLength || (aFirst->Is(kFlagConstant) && aSecond->Is(kFlagConstant)))
        return false;

    const std::uint32_t lFirstHash  = aFirst->mHash.load(std::memory_order_relaxed);
    const std::uint32_t lSecondHash = aSecond->mHash.load(std::memory_order_relaxed);
    if (lFirstHash != lSecondHash && lFirstHash != 0 && lSecondHash != 0)
        return false;
    return std::memcmp(aFirst->Text(), aSecond->Text(), aFirst->mLength) == 0;
}

CFHashCode cf::StringHash(CFStringRef aString) noexcept
{
    std::uint32_t lHash = aString->mHash.load(std::memory_order_relaxed);
    if (lHash == 0)
    {
        lHash = static_cast<std::uint32_t>(HashBytes(aString->Text(), aString->mLength)) | 1u;
        aString->mHash.store(lHash, std::memory_order_relaxed);
    }
    return lHash;
}

CFTypeID CFStringGetTypeID(void)
{
    return kTypeString;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char *aString, CFStringEncoding anEncoding)
{
    return aString != nullptr ? Create(aString, anEncoding) : nullptr;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8 *aBytes, CFIndex aLength, CFStringEncoding anEncoding,
                                    Boolean aIsExternal)
{
    static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

    if (aLength < 0 || (aBytes == nullptr && aLength != 0))
        return nullptr;

    std::string_view lText(reinterpret_cast<const char *>(aBytes), static_cast<std::size_t>(aLength));
    if (aIsExternal && anEncoding == kCFStringEncodingUTF8 && lText.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        lText.remove_prefix(kByteOrderMark.size());
    return Create(lText, anEncoding);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef aString)
{
    return static_cast<CFStringRef>(Retain(ToString(aString)));
}

CFIndex CFStringGetLength(CFStringRef aString)
{
    return ToString(aString) != nullptr ? aString->mUnits : 0;
}

const char *CFStringGetCStringPtr(CFStringRef aString, CFStringEncoding anEncoding)
{
    if (ToString(aString) == nullptr)
        return nullptr;

    const bool lSame =
        anEncoding == kCFStringEncodingUTF8 ||
        (aString->IsASCII() && (anEncoding == kCFStringEncodingASCII || anEncoding == kCFStringEncodingISOLatin1));
    return lSame && !aString->Is(kFlagHoldsNUL) ? aString->Text() : nullptr;
}

Boolean CFStringGetCString(CFStringRef aString, char *aBuffer, CFIndex aSize, CFStringEncoding anEncoding)
{
    if (ToString(aString) == nullptr || aBuffer == nullptr || aSize <= 0)
        return false;
    if (anEncoding == kCFStringEncodingISOLatin1)
        return GetLatin1(aString, aBuffer, aSize);

    const bool lSame =
        anEncoding == kCFStringEncodingUTF8 || (anEncoding == kCFStringEncodingASCII && aString->IsASCII());
    if (!lSame || static_cast<CFIndex>(aString->mLength) >= aSize)
        return false;
    std::memcpy(aBuffer, aString->Text(), aString->mLength + 1);
    return true;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex aLength, CFStringEncoding anEncoding)
{
    CFIndex lBytes = 1;
    if (anEncoding == kCFStringEncodingUTF8)
        lBytes = 3;
    else if (anEncoding != kCFStringEncodingASCII && anEncoding != kCFStringEncodingISOLatin1)
        return kCFNotFound;

    return aLength >= 0 && aLength <= std::numeric_limits<CFIndex>::max() / lBytes ? aLength * lBytes : kCFNotFound;
}

CFStringEncoding CFStringGetSystemEncoding(void)
{
    return kCFStringEncodingUTF8;
}

CFComparisonResult CFStringCompare(CFStringRef aFirst, CFStringRef aSecond, CFStringCompareFlags anOptions)
{
    if (aFirst == aSecond)
        return kCFCompareEqualTo;
    if (ToString(aFirst) == nullptr || ToString(aSecond) == nullptr)
        return ToString(aFirst) == nullptr ? kCFCompareLessThan : kCFCompareGreaterThan;
    if ((anOptions & kCFCompareCaseInsensitive) != 0)
        return Order<Lower>(aFirst->View(), aSecond->View());
    return Order<Same>(aFirst->View(), aSecond->View());
}

Boolean CFStringHasPrefix(CFStringRef aString, CFStringRef aPrefix)
{
    if (ToString(aString) == nullptr || ToString(aPrefix) == nullptr)
        return false;
    return aString->View().substr(0, aPrefix->mLength) == aPrefix->View();
}

SInt32 CFStringGetIntValue(CFStringRef aString)
{
    if (ToString(aString) == nullptr)
        return 0;

    std::string_view lText = aString->View();
    lText.remove_prefix(std::min(lText.find_first_not_of(" \t\n\v\f\r"), lText.size()));
    if (lText.substr(0, 1) == "+" && lText.substr(1, 1) != "-")
        lText.remove_prefix(1);

    SInt32     lValue  = 0;
    const auto lResult = std::from_chars(lText.data(), lText.data() + lText.size(), lValue);
    if (lResult.ec == std::errc::result_out_of_range)
        return lText.front() == '-' ? INT32_MIN : INT32_MAX;
    return lValue;
}

CFStringRef __CFStringMakeConstantString(const char *aString)
{
    // Never destroyed: the strings outlive every static object that uses them.
    alignas(ConstantStrings) static unsigned char sMemory[sizeof(ConstantStrings)];
    static auto *const                            sConstants = new (sMemory) ConstantStrings;
    if (aString == nullptr)
        return nullptr;

    try
    {
        const std::lock_guard<std::mutex> lLock(sConstants->mLock);
        const auto                        lFound = sConstants->mStrings.find(aString);
        if (lFound != sConstants->mStrings.end())
            return lFound->second;

        std::unique_ptr<__CFString, FreeString> lString(CreateFromUTF8(aString, kFlagImmortal | kFlagConstant));
        if (lString != nullptr)
            sConstants->mStrings.emplace(lString->View(), lString.get());
        return lString.release();
    }
    catch (...)
    {
        return nullptr;
    }
}
