/**
 *  @file
 *    The texts of the wire as CoreFoundation strings, made once where they recur, and back.
 */

#include "zqconnman-private.h"

#include <array>
#include <cstring>
#include <new>

namespace zq::ConnMan
{

namespace
{

/**
 *  From a text to its constant string, without an allocation.
 *
 *  Names of properties and most of their values come from the vocabulary or
 *  from the few others listed here. A reply about a thousand services repeats
 *  them tens of thousands of times.
 */
class CommonStrings
{
public:
    CommonStrings() noexcept;

    CFStringRef Find(const char *aText) const noexcept
    {
        const std::size_t lLength = std::strlen(aText);

        for (std::size_t lSlot = Hash(aText, lLength);; ++lSlot)
        {
            const Entry &lEntry = mEntries[lSlot % kSlots];

            if (lEntry.mString == nullptr ||
                (lEntry.mLength == lLength && std::memcmp(lEntry.mText, aText, lLength) == 0))
                return lEntry.mString;
        }
    }

private:
    static constexpr std::size_t kSlots = 512; // several times the number of texts: a miss ends soon

    struct Entry
    {
        const char *mText   = nullptr;
        std::size_t mLength = 0;
        CFStringRef mString = nullptr;
    };

    static std::size_t Hash(const char *aText, std::size_t aLength) noexcept
    {
        if (aLength == 0)
            return 0;

        const auto lAt   = [aText](std::size_t anIndex) { return static_cast<unsigned char>(aText[anIndex]); };
        const auto lMix  = lAt(0) | (lAt(aLength / 2) << 8) | (lAt(aLength - 1) << 16);
        const auto lHash = (static_cast<std::uint32_t>(lMix) + static_cast<std::uint32_t>(aLength)) * 0x9E3779B1U;

        return lHash >> 23;
    }

    void Add(const char *aText, CFStringRef aString) noexcept;

    std::array<Entry, kSlots> mEntries;
};

CommonStrings::CommonStrings() noexcept
{
#define ZQ_BOTH(aName, aText) Add(aText, zq::NetworkManager::aName);
#define ZQ_MANAGER_ONLY(aName, aText) Add(aText, zq::NetworkManager::aName);
#define ZQ_CLIENT_ONLY(aName, aText) Add(aText, CFSTR(aText));
#include <zqnetworkmanager-vocabulary.def>
#undef ZQ_BOTH
#undef ZQ_MANAGER_ONLY
#undef ZQ_CLIENT_ONLY

    Add("", CFSTR(""));
    Add("off", CFSTR("off"));
    Add("manual", CFSTR("manual"));
    Add("fixed", CFSTR("fixed"));
    Add("direct", CFSTR("direct"));
    Add("disabled", CFSTR("disabled"));
    Add("prefered", CFSTR("prefered"));
    Add("preferred", CFSTR("preferred"));
    Add("enabled", CFSTR("enabled"));
    Add("mDNS", CFSTR("mDNS"));
    Add("mDNS.Configuration", CFSTR("mDNS.Configuration"));
    Add("Timeservers", CFSTR("Timeservers"));
    Add("Timeservers.Configuration", CFSTR("Timeservers.Configuration"));
    Add("TetheringIdentifier", CFSTR("TetheringIdentifier"));
    Add("TetheringPassphrase", CFSTR("TetheringPassphrase"));
    Add("TetheringFreq", CFSTR("TetheringFreq"));
    Add("Requirement", CFSTR("Requirement"));
    Add("Alternates", CFSTR("Alternates"));
    Add("Value", CFSTR("Value"));
    Add("mandatory", CFSTR("mandatory"));
    Add("optional", CFSTR("optional"));
    Add("255.255.255.0", CFSTR("255.255.255.0"));
}

void CommonStrings::Add(const char *aText, CFStringRef aString) noexcept
{
    if (aString == nullptr || Find(aText) != nullptr)
        return;

    const std::size_t lLength = std::strlen(aText);
    std::size_t       lSlot   = Hash(aText, lLength) % kSlots;

    while (mEntries[lSlot].mString != nullptr)
        lSlot = (lSlot + 1) % kSlots;

    mEntries[lSlot] = { aText, lLength, aString };
}

} // namespace

CFStringRef FindCommonString(const char *aText) noexcept
{
    static const CommonStrings sStrings;

    return sStrings.Find(aText);
}

CFUSharedRef<CFStringRef> MakeString(const char *aText) noexcept
{
    if (aText == nullptr)
        return nullptr;

    return CFUAdopt(CFStringCreateWithCString(kCFAllocatorDefault, aText, kCFStringEncodingUTF8));
}

UTF8Text::UTF8Text(CFStringRef aString) noexcept
{
    if (aString == nullptr)
        return;

    mText = CFStringGetCStringPtr(aString, kCFStringEncodingUTF8);

    if (mText != nullptr)
        return;

    const CFIndex lSize = CFStringGetMaximumSizeForEncoding(CFStringGetLength(aString), kCFStringEncodingUTF8) + 1;

    mBuffer = new (std::nothrow) char[static_cast<std::size_t>(lSize)];

    if (mBuffer != nullptr && CFStringGetCString(aString, mBuffer, lSize, kCFStringEncodingUTF8))
        mText = mBuffer;
}

} // namespace zq::ConnMan
