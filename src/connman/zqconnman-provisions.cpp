/**
 *  @file
 *    The provisioning file: what it says, and how it is read.
 */

#include "zqconnman-provisions.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include <dirent.h>

using namespace zq::ConnMan;

namespace
{

constexpr const char *kGroupPrefix = "service_";
constexpr const char *kHeader      = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

struct FreeGLib
{
    void operator()(GKeyFile *aFile) const { g_key_file_free(aFile); }
    void operator()(gchar **aTexts) const { g_strfreev(aTexts); }
    void operator()(gchar *aText) const { g_free(aText); }
    void operator()(std::FILE *aFile) const { (void)std::fclose(aFile); }
    void operator()(DIR *aDirectory) const { (void)::closedir(aDirectory); }
};

template <typename T>
using Held = std::unique_ptr<T, FreeGLib>;

// Reading

bool LoadKeyFile(GKeyFile *aFile, const char *aPath)
{
    GError *lError = nullptr;

    if (g_key_file_load_from_file(aFile, aPath, G_KEY_FILE_NONE, &lError))
        return true;

    ZQ_LOG(zqLogLevel_Error, "connman: cannot load %s file error message %s", aPath, lError->message);
    g_clear_error(&lError);

    return false;
}

/** The value; as it is written when the parser finds an escape in it that is none, since nothing here writes escapes.
 */
Held<gchar> ReadText(GKeyFile *aFile, const char *aGroup, const char *aKey)
{
    Held<gchar> lText(g_key_file_get_string(aFile, aGroup, aKey, nullptr));

    if (lText == nullptr)
        lText.reset(g_key_file_get_value(aFile, aGroup, aKey, nullptr));

    return lText;
}

CFUSharedRef<CFTypeRef> ReadValue(GKeyFile *aFile, const char *aGroup, const char *aKey)
{
    const Held<gchar> lText = ReadText(aFile, aGroup, aKey);

    if (lText == nullptr)
        return nullptr;

    if (std::strcmp(aKey, kProvisionPropertyExtendedPANID) == 0)
    {
        const unsigned long long lNumber = std::strtoull(lText.get(), nullptr, 10);

        return CFUAdopt<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &lNumber));
    }
    return MakeString(lText.get());
}

zqError ReadGroup(GKeyFile *aFile, const char *aGroup, CFMutableDictionaryRef aProvisions)
{
    const auto lName       = MakeString(aGroup);
    const auto lProperties = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks));

    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    if (lName == nullptr)
        return zqError_None; // not UTF-8: no identifier that anybody could ask for

    CFDictionarySetValue(lProperties.Get(), FindCommonString(kProvisionPropertyProvisionIdentifier), lName.Get());

    const Held<gchar *> lKeys(g_key_file_get_keys(aFile, aGroup, nullptr, nullptr));

    if (lKeys == nullptr || lKeys.get()[0] == nullptr)
        ZQ_LOG(zqLogLevel_Notice, "connman: no keys for the group %s", aGroup);

    for (gchar **lKey = lKeys.get(); lKey != nullptr && *lKey != nullptr; ++lKey)
    {
        const auto lProperty = MakeString(*lKey);
        const auto lValue    = ReadValue(aFile, aGroup, *lKey);

        if (lProperty != nullptr && lValue != nullptr)
            CFDictionarySetValue(lProperties.Get(), lProperty.Get(), lValue.Get());
        else
            ZQ_LOG(zqLogLevel_Notice, "connman: no text for the key %s of the group %s", *lKey, aGroup);
    }

    CFDictionarySetValue(aProvisions, lName.Get(), lProperties.Get());
    return zqError_None;
}

// Composing

/** A name with what it names, as entries of a dictionary are sorted for the file. */
struct Entry
{
    CFStringRef mName;
    CFTypeRef   mValue;
};

/** The entries in descending order of their names. @param[in]  aMissing  The assertion for an entry without a name. */
zqError SortEntries(CFDictionaryRef aDictionary, const char *aMissing, std::vector<Entry> &anEntries)
{
    zqError lReturn = zqError_None;

    anEntries.reserve(static_cast<std::size_t>(CFDictionaryGetCount(aDictionary)));

    ForEachEntry(aDictionary,
                 [&](const void *aName, const void *aValue)
                 {
                     if (!ZQ_CHECK_TEXT(aName != nullptr, aMissing))
                         return;
                     if (ZQ_CHECK(CFUIsTypeID(aName, CFStringGetTypeID())))
                         anEntries.push_back({ static_cast<CFStringRef>(aName), aValue });
                     else
                         lReturn = zqError_InvalidArgument;
                 });

    std::sort(anEntries.begin(), anEntries.end(),
              [](const Entry &aFirst, const Entry &aSecond)
              { return CFStringCompare(aFirst.mName, aSecond.mName, 0) == kCFCompareGreaterThan; });

    return lReturn;
}

bool HasLineBreak(const char *aText)
{
    return std::strpbrk(aText, "\n\r") != nullptr;
}

/** A group whose name is none ends the parser's reading: every later group of the file would be lost. */
bool IsGroupName(const char *aText)
{
    if (*aText == '\0' || std::strpbrk(aText, "[]") != nullptr)
        return false;

    return std::none_of(aText, aText + std::strlen(aText), [](char aCharacter) { return g_ascii_iscntrl(aCharacter); });
}

bool IsPropertyName(const char *aText)
{
    const std::size_t lLength = std::strlen(aText);

    return lLength > 0 && std::strpbrk(aText, "[]=\n\r") == nullptr && aText[0] != '#' && aText[0] != ' ' &&
           aText[lLength - 1] != ' ';
}

zqError AppendProperty(const char *aName, CFTypeRef aValue, std::string &aText)
{
    ZQ_REQUIRE(IsPropertyName(aName), zqError_InvalidArgument);

    aText.append(aName).append("=");

    if (std::strcmp(aName, kProvisionPropertyExtendedPANID) == 0 && CFUIsTypeID(aValue, CFNumberGetTypeID()))
    {
        unsigned long long lNumber = 0;

        (void)CFNumberGetValue(static_cast<CFNumberRef>(aValue), kCFNumberSInt64Type, &lNumber);
        aText.append(std::to_string(lNumber));
    }
    else
    {
        ZQ_REQUIRE(CFUIsTypeID(aValue, CFStringGetTypeID()), zqError_InvalidArgument);

        const UTF8Text lText(static_cast<CFStringRef>(aValue));

        ZQ_REQUIRE(lText.Get() != NULL, zqError_NoResources);
        ZQ_REQUIRE(!HasLineBreak(lText.Get()), zqError_InvalidArgument);
        aText.append(lText.Get());
    }

    aText.append("\n");
    return zqError_None;
}

zqError AppendProvision(const char *aName, CFDictionaryRef aProperties, std::string &aText)
{
    std::vector<Entry> lProperties;
    zqError            lReturn = SortEntries(aProperties, "propertyName != __null", lProperties);

    ZQ_REQUIRE(IsGroupName(aName), zqError_InvalidArgument);
    aText.append("[").append(aName).append("]\n");

    for (auto lProperty = lProperties.begin(); lReturn == zqError_None && lProperty != lProperties.end(); ++lProperty)
    {
        const UTF8Text propertyName(lProperty->mName);

        if (ZQ_CHECK_TEXT(propertyName.Get() != nullptr, "propertyName != __null"))
            lReturn = AppendProperty(propertyName.Get(), lProperty->mValue, aText);
    }

    aText.append("\n");
    return lReturn;
}

zqError Compose(CFDictionaryRef aProvisions, std::string &aText)
try
{
    std::vector<Entry> lProvisions;
    zqError            lReturn = SortEntries(aProvisions, "provisionName != __null", lProvisions);

    aText.reserve(1024);
    aText.assign(kHeader);

    for (auto lEntry = lProvisions.begin(); lReturn == zqError_None && lEntry != lProvisions.end(); ++lEntry)
    {
        const UTF8Text provisionName(lEntry->mName);

        ZQ_REQUIRE(CFUIsTypeID(lEntry->mValue, CFDictionaryGetTypeID()), zqError_InvalidArgument);
        if (ZQ_CHECK_TEXT(provisionName.Get() != nullptr, "provisionName != __null"))
            lReturn = AppendProvision(provisionName.Get(), static_cast<CFDictionaryRef>(lEntry->mValue), aText);
    }
    return lReturn;
}
catch (const std::bad_alloc &)
{
    return zqError_NoResources;
}

} // namespace

zqError zqConnMan::GetProvisions(CFDictionaryRef &aProvisions)
{
    auto lProvisions = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                          &kCFTypeDictionaryValueCallBacks));

    aProvisions = nullptr;
    ZQ_REQUIRE(lProvisions != NULL, zqError_NoResources);

    const zqError lReturn = GetProvisions(lProvisions.Get());

    if (lReturn == zqError_None)
        aProvisions = lProvisions.Leak();
    return lReturn;
}

zqError zqConnMan::GetProvisions(CFMutableDictionaryRef aProvisions)
{
    ZQ_REQUIRE(aProvisions != NULL, zqError_InvalidArgument);

    const Held<std::FILE> lOpened(std::fopen(kProvisionsPath, "re"));

    if (lOpened == nullptr)
    {
        if (errno != ENOENT)
            ZQ_LOG(zqLogLevel_Notice, "connman: cannot open %s: error %d", kProvisionsPath, errno);
        return zqError_None;
    }

    const Held<GKeyFile> lFile(g_key_file_new());

    (void)LoadKeyFile(lFile.get(), kProvisionsPath);

    const Held<gchar *> lGroups(g_key_file_get_groups(lFile.get(), nullptr));
    zqError             lReturn = zqError_None;

    for (gchar **lGroup = lGroups.get(); lReturn == zqError_None && *lGroup != nullptr; ++lGroup)
        if (g_str_has_prefix(*lGroup, kGroupPrefix))
            lReturn = ReadGroup(lFile.get(), *lGroup, aProvisions);

    return lReturn;
}

zqError zqConnMan::UpdateProvisions(CFDictionaryRef aProvisions)
{
    return UpdateProvisions(aProvisions, true);
}

zqError zqConnMan::UpdateProvisions(CFDictionaryRef aProvisions, bool aWrite)
{
    if (!aWrite)
        return zqError_None;

    ZQ_REQUIRE(aProvisions != NULL, zqError_InvalidArgument);

    std::string lText;
    zqError     lReturn = Compose(aProvisions, lText);

    if (lReturn == zqError_None)
        lReturn = WriteProvisionsFile(lText, static_cast<unsigned long>(CFDictionaryGetCount(aProvisions)));

    return lReturn;
}

bool IsProvisionsFileDamaged()
{
    const Held<GKeyFile> lFile(g_key_file_new());

    return !LoadKeyFile(lFile.get(), kProvisionsPath);
}

zqError zqConnMan::IsTechnologyProvisioned(CFStringRef aTechnology, bool &aProvisioned)
{
    const char *lName =
        aTechnology != nullptr ? CFStringGetCStringPtr(aTechnology, CFStringGetSystemEncoding()) : nullptr;

    aProvisioned = false;

    if (lName == nullptr)
        return zqError_NotFound;

    const std::size_t lLength = std::strlen(lName);

    ZQ_LOG(zqLogLevel_Detail, "connman: In IsTechnologyProvisioned %s %d", lName, static_cast<int>(lLength));

    const Held<DIR> lDirectory(::opendir(kProvisionsDirectory));

    if (lDirectory == nullptr)
    {
        ZQ_LOG(zqLogLevel_Error, "connman: could not open the directory");
        return zqError_Failed;
    }

    // NOLINTNEXTLINE(concurrency-mt-unsafe): the stream is this thread's own
    while (const dirent *lEntry = ::readdir(lDirectory.get()))
    {
        if (std::strncmp(lEntry->d_name, lName, lLength) == 0)
        {
            ZQ_LOG(zqLogLevel_Detail, "connman: technology %s is provisioned", lName);
            aProvisioned = true;
            return zqError_None;
        }
    }
    return zqError_NotFound;
}
