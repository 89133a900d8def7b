/**
 *  @file
 *    The format of the provisioning file: how a text is read, and how it is composed.
 */

#include "zqconnman-provisions.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace zq::ConnMan
{

namespace
{

constexpr const char *kGroupPrefix = "service_";
constexpr const char *kHeader      = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

bool HasControl(const char *aText)
{
    return std::any_of(aText, aText + std::strlen(aText), [](char aCharacter) { return g_ascii_iscntrl(aCharacter); });
}

/** Whether a text has escapes, and none that the parser does not know. */
bool HasEscapes(const char *aText)
{
    const char *lEscape = std::strchr(aText, '\\');
    const bool  lHasAny = lEscape != nullptr;

    while (lEscape != nullptr && lEscape[1] != '\0' && std::strchr("sntr\\", lEscape[1]) != nullptr)
        lEscape = std::strchr(lEscape + 2, '\\');

    return lHasAny && lEscape == nullptr;
}

bool IsExtendedPANID(const char *aKey)
{
    return std::strcmp(aKey, kProvisionPropertyExtendedPANID) == 0;
}

/** The record's identifier is its group's name; a line that says so, too, says nothing. */
bool IsIdentifier(CFStringRef aKey)
{
    return CFEqual(aKey, FindCommonString(kProvisionPropertyProvisionIdentifier));
}

/** A string for a text; without an allocation for most names of properties. */
CFUSharedRef<CFStringRef> MakeText(const char *aText)
{
    const CFStringRef lCommon = FindCommonString(aText);

    return lCommon != nullptr ? CFURetain(lCommon) : MakeString(aText);
}

CFUSharedRef<CFTypeRef> MakeValue(const char *aKey, const char *aText)
{
    if (!IsExtendedPANID(aKey))
        return MakeText(aText);

    const unsigned long long lNumber = std::strtoull(aText, nullptr, 10);

    return CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &lNumber));
}

} // namespace

zqError Put(CFMutableDictionaryRef aDictionary, const void *aKey, const void *aValue)
{
    CFDictionarySetValue(aDictionary, aKey, aValue);

    ZQ_REQUIRE(CFDictionaryGetValue(aDictionary, aKey) == aValue, zqError_NoResources);
    return zqError_None;
}

zqError ParsedProvisions::Parse(const std::string &aText)
{
    GError *lError = nullptr;

    mFile.reset(g_key_file_new());
    mIsDamaged = !g_key_file_load_from_data(mFile.get(), aText.data(), aText.size(), G_KEY_FILE_NONE, &lError);
    if (mIsDamaged)
    {
        ZQ_LOG(zqLogLevel_Error, "connman: cannot load %s file error message %s", kProvisionsPath, lError->message);
        g_clear_error(&lError);
    }

    const auto          lRecords = MakeDictionary();
    const Held<gchar *> lGroups(g_key_file_get_groups(mFile.get(), nullptr));
    zqError             lReturn = zqError_None;

    ZQ_REQUIRE(lRecords != NULL, zqError_NoResources);

    for (gchar **lGroup = lGroups.get(); lReturn == zqError_None && *lGroup != nullptr; ++lGroup)
        if (g_str_has_prefix(*lGroup, kGroupPrefix))
            lReturn = ReadRecord(*lGroup, lRecords.Get());

    mRecords = lRecords;
    return lReturn;
}

zqError ParsedProvisions::ReadRecord(const char *aGroup, CFMutableDictionaryRef aRecords)
{
    const auto lProperties = MakeDictionary();

    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    if (!g_utf8_validate(aGroup, -1, nullptr))
        return zqError_None; // no identifier that anybody could ask for

    const auto lName = MakeString(aGroup);

    ZQ_REQUIRE(lName != NULL, zqError_NoResources);

    zqError    lReturn = zqError_None;
    const auto lKeys   = CopyKeys(aGroup);

    if (lKeys == nullptr || lKeys.get()[0] == nullptr)
        ZQ_LOG(zqLogLevel_Notice, "connman: no keys for the group %s", aGroup);

    for (gchar **lKey = lKeys.get(); lReturn == zqError_None && lKey != nullptr && *lKey != nullptr; ++lKey)
        lReturn = ReadProperty(aGroup, *lKey, lProperties.Get());

    return lReturn == zqError_None ? Put(aRecords, lName.Get(), lProperties.Get()) : lReturn;
}

zqError ParsedProvisions::ReadProperty(const char *aGroup, const char *aKey, CFMutableDictionaryRef aProperties)
{
    const auto lText = ReadText(aGroup, aKey);

    if (!g_utf8_validate(aKey, -1, nullptr) || lText == nullptr || !g_utf8_validate(lText.get(), -1, nullptr))
    {
        ZQ_LOG(zqLogLevel_Notice, "connman: no text for the key %s of the group %s", aKey, aGroup);
        return zqError_None;
    }

    const auto lKey   = MakeText(aKey);
    const auto lValue = MakeValue(aKey, lText.get());

    ZQ_REQUIRE(lKey != NULL && lValue != NULL, zqError_NoResources);

    return IsIdentifier(lKey.Get()) ? zqError_None : Put(aProperties, lKey.Get(), lValue.Get());
}

/**
 *  What a text says; the text itself where the parser finds an escape in it that
 *  is none, and where what it says could never be written again, since nothing
 *  here writes escapes.
 */
ParsedProvisions::Held<gchar> ParsedProvisions::ReadText(const char *aGroup, const char *aKey) const
{
    auto lText = CopyText(aGroup, aKey);

    if (lText == nullptr || !HasEscapes(lText.get()))
        return lText;

    Held<gchar> lDecoded(g_key_file_get_string(mFile.get(), aGroup, aKey, nullptr));

    return lDecoded != nullptr && !HasControl(lDecoded.get()) ? std::move(lDecoded) : std::move(lText);
}

ParsedProvisions::Held<gchar> ParsedProvisions::CopyText(const char *aGroup, const char *aKey) const
{
    return Held<gchar>(g_key_file_get_value(mFile.get(), aGroup, aKey, nullptr));
}

ParsedProvisions::Held<gchar *> ParsedProvisions::CopyKeys(const char *aGroup) const
{
    return Held<gchar *>(g_key_file_get_keys(mFile.get(), aGroup, nullptr, nullptr));
}

// Composing

namespace
{

/** How long a text is as UTF-16, which is what CoreFoundation counts. */
CFIndex GetUTF16Length(const char *aText)
{
    CFIndex lLength = 0;

    for (; *aText != '\0'; ++aText)
        lLength += (*aText & 0xC0) == 0x80 ? 0 : (*aText & 0xF8) == 0xF0 ? 2 : 1;
    return lLength;
}

/** What follows a NUL would be missing. */
bool IsWhole(const char *aText, CFStringRef aString)
{
    return GetUTF16Length(aText) == CFStringGetLength(aString);
}

/** A group whose name is none ends the parser's reading: every later group of the file would be lost. */
bool IsGroupName(const char *aText)
{
    return *aText != '\0' && std::strpbrk(aText, "[]") == nullptr && !HasControl(aText);
}

/** The parser takes white space off at both ends; when nothing is left, that ends its reading as well. */
bool IsPropertyName(const char *aText)
{
    const std::size_t lLength = std::strlen(aText);

    return lLength > 0 && std::strpbrk(aText, "[]=\n\r") == nullptr && aText[0] != '#' && !g_ascii_isspace(aText[0]) &&
           !g_ascii_isspace(aText[lLength - 1]);
}

/** A name with what it names. */
struct Entry
{
    CFUSharedRef<CFStringRef> mName;
    CFTypeRef                 mValue; // null: the text that the file has, whatever it says
};

/** Each entry of a dictionary. @param[in]  aMissing  The assertion for one without a name. */
zqError CollectEntries(CFDictionaryRef aDictionary, const char *aMissing, std::vector<Entry> &anEntries)
{
    zqError lReturn = zqError_None;

    anEntries.reserve(static_cast<std::size_t>(CFDictionaryGetCount(aDictionary)));

    ForEachEntry(aDictionary,
                 [&](const void *aName, const void *aValue)
                 {
                     if (!ZQ_CHECK_TEXT(aName != nullptr, aMissing))
                         return;
                     if (ZQ_CHECK(CFUIsTypeID(aName, CFStringGetTypeID())))
                         anEntries.push_back({ CFURetain(static_cast<CFStringRef>(aName)), aValue });
                     else
                         lReturn = zqError_InvalidArgument;
                 });

    return lReturn;
}

/** In descending order of their names. */
void SortEntries(std::vector<Entry> &anEntries)
{
    std::sort(anEntries.begin(), anEntries.end(),
              [](const Entry &aFirst, const Entry &aSecond)
              { return CFStringCompare(aFirst.mName.Get(), aSecond.mName.Get(), 0) == kCFCompareGreaterThan; });
}

/** Composes a record after the other. When memory is exhausted, std::bad_alloc leaves it. */
class Composer
{
public:
    Composer(const ParsedProvisions *aParsed, std::string &aText) : mParsed(aParsed), mText(aText) {}

    zqError AppendProvision(const Entry &aProvision);

private:
    zqError KeepUnread(CFDictionaryRef aProperties, std::vector<Entry> &anEntries) const;
    zqError AppendProperty(const Entry &aProperty);
    zqError AppendValue(const char *aName, CFTypeRef aValue);

    const ParsedProvisions *mParsed;
    std::string            &mText;
    const char             *mGroup  = nullptr;
    CFDictionaryRef         mStored = nullptr; // the record as it is in the file
};

zqError Composer::AppendProvision(const Entry &aProvision)
{
    const UTF8Text     lName(aProvision.mName.Get());
    const char *const  provisionName = lName.Get();
    const auto        *lProperties   = static_cast<CFDictionaryRef>(aProvision.mValue);
    std::vector<Entry> lEntries;

    ZQ_REQUIRE(CFUIsTypeID(aProvision.mValue, CFDictionaryGetTypeID()), zqError_InvalidArgument);
    ZQ_REQUIRE(provisionName != NULL, zqError_NoResources);
    if (!ZQ_CHECK_MESSAGE(IsWhole(provisionName, aProvision.mName.Get()) && IsGroupName(provisionName),
                          "the file cannot hold this identifier"))
        return zqError_InvalidArgument;

    zqError lReturn = CollectEntries(lProperties, "propertyName != __null", lEntries);

    mGroup  = provisionName;
    mStored = nullptr;
    if (lReturn == zqError_None && mParsed != nullptr)
    {
        mStored = static_cast<CFDictionaryRef>(CFDictionaryGetValue(mParsed->GetRecords(), aProvision.mName.Get()));
        lReturn = KeepUnread(lProperties, lEntries);
    }
    SortEntries(lEntries);

    mText.append("[").append(mGroup).append("]\n");
    for (auto lEntry = lEntries.begin(); lReturn == zqError_None && lEntry != lEntries.end(); ++lEntry)
        lReturn = AppendProperty(*lEntry);
    mText.append("\n");

    return lReturn;
}

/** Lines of the group that are none of the record's properties are their writer's, and stay. */
zqError Composer::KeepUnread(CFDictionaryRef aProperties, std::vector<Entry> &anEntries) const
{
    anEntries.erase(std::remove_if(anEntries.begin(), anEntries.end(),
                                   [](const Entry &anEntry) { return IsIdentifier(anEntry.mName.Get()); }),
                    anEntries.end());

    const auto lKeys = mStored != nullptr ? mParsed->CopyKeys(mGroup) : nullptr;

    for (gchar **lKey = lKeys.get(); lKey != nullptr && *lKey != nullptr; ++lKey)
    {
        const auto lName = MakeText(*lKey);

        if (lName == nullptr && !g_utf8_validate(*lKey, -1, nullptr))
            continue;
        ZQ_REQUIRE(lName != NULL, zqError_NoResources);

        const bool lIsProperty =
            CFDictionaryContainsKey(mStored, lName.Get()) || CFDictionaryContainsKey(aProperties, lName.Get());

        if (IsIdentifier(lName.Get()) || !lIsProperty)
            anEntries.push_back({ lName, nullptr });
    }
    return zqError_None;
}

zqError Composer::AppendProperty(const Entry &aProperty)
{
    const UTF8Text    lName(aProperty.mName.Get());
    const char *const propertyName = lName.Get();
    const CFTypeRef   lStored = mStored != nullptr ? CFDictionaryGetValue(mStored, aProperty.mName.Get()) : nullptr;

    ZQ_REQUIRE(propertyName != NULL, zqError_NoResources);

    if (aProperty.mValue == nullptr || (lStored != nullptr && CFEqual(lStored, aProperty.mValue)))
    {
        mText.append(propertyName).append("=");
        mText.append(mParsed->CopyText(mGroup, propertyName).get()).append("\n");
        return zqError_None;
    }

    if (!ZQ_CHECK_MESSAGE(IsWhole(propertyName, aProperty.mName.Get()) && IsPropertyName(propertyName),
                          "the file cannot hold this name of a property"))
        return zqError_InvalidArgument;

    return AppendValue(propertyName, aProperty.mValue);
}

zqError Composer::AppendValue(const char *aName, CFTypeRef aValue)
{
    mText.append(aName).append("=");

    if (IsExtendedPANID(aName) && CFUIsTypeID(aValue, CFNumberGetTypeID()))
    {
        unsigned long long lNumber = 0;

        if (!ZQ_CHECK_MESSAGE(CFNumberGetValue(static_cast<CFNumberRef>(aValue), kCFNumberSInt64Type, &lNumber), aName))
            return zqError_InvalidArgument;
        mText.append(std::to_string(lNumber));
    }
    else
    {
        if (!ZQ_CHECK_MESSAGE(CFUIsTypeID(aValue, CFStringGetTypeID()), aName))
            return zqError_InvalidArgument;

        const auto    *lString = static_cast<CFStringRef>(aValue);
        const UTF8Text lText(lString);

        ZQ_REQUIRE(lText.Get() != NULL, zqError_NoResources);
        if (!ZQ_CHECK_MESSAGE(IsWhole(lText.Get(), lString) && std::strpbrk(lText.Get(), "\n\r") == nullptr, aName))
            return zqError_InvalidArgument;
        mText.append(lText.Get());
    }

    mText.append("\n");
    return zqError_None;
}

} // namespace

zqError ComposeProvisions(CFDictionaryRef aProvisions, const ParsedProvisions *aParsed, std::string &aText)
try
{
    std::vector<Entry> lProvisions;
    zqError            lReturn = CollectEntries(aProvisions, "provisionName != __null", lProvisions);
    Composer           lComposer(aParsed, aText);

    SortEntries(lProvisions);
    aText.reserve(1024);
    aText.assign(kHeader);

    for (auto lProvision = lProvisions.begin(); lReturn == zqError_None && lProvision != lProvisions.end();
         ++lProvision)
        lReturn = lComposer.AppendProvision(*lProvision);
    return lReturn;
}
catch (const std::bad_alloc &)
{
    return zqError_NoResources;
}

} // namespace zq::ConnMan
