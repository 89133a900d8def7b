/**
 *  @file
 *    The client's operations on the provisioning file.
 */

#include "zqconnman-provisions.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <dirent.h>

using namespace zq::ConnMan;

namespace
{

/** The text of the file for one record. */
zqError ComposeProvision(CFStringRef anIdentifier, CFDictionaryRef aProperties, std::string &aText)
{
    const auto lProperties = CFUAdopt(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, aProperties));
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    CFDictionaryRemoveValue(lProperties.Get(), FindCommonString(kProvisionPropertyProvisionIdentifier));

    const void *lKey    = anIdentifier;
    const void *lRecord = lProperties.Get();
    const auto  lSet    = CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, &lKey, &lRecord, 1,
                                                      &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    ZQ_REQUIRE(lSet != NULL, zqError_NoResources);

    return ComposeProvisions(lSet.Get(), nullptr, aText);
}

/** What the line is about in which two texts begin to differ: a name of a property, or a group. */
std::string GetDifference(const std::string &aText, const std::string &aOther)
{
    const auto lOffset = static_cast<std::size_t>(
        std::mismatch(aText.begin(), aText.end(), aOther.begin(), aOther.end()).first - aText.begin());
    const auto lStart = aText.rfind('\n', lOffset - 1) + 1;

    return aText.substr(lStart, aText.find_first_of("=\n", lStart) - lStart);
}

/** Add each record of a set to a dictionary. @param[in]  aPut  How. @retval 0, -7 */
template <typename F>
zqError AddEach(CFDictionaryRef aRecords, F aPut)
{
    zqError lReturn = zqError_None;

    ForEachEntry(aRecords,
                 [&](const void *aName, const void *aRecord)
                 {
                     if (lReturn == zqError_None)
                         lReturn = aPut(aName, static_cast<CFDictionaryRef>(aRecord));
                 });
    return lReturn;
}

/** A record with its identifier among its properties, and before them; null when memory is exhausted. */
CFUSharedRef<CFDictionaryRef> MakeIdentified(const void *aName, CFDictionaryRef aRecord)
{
    auto lRecord = MakeDictionary();

    if (lRecord != nullptr)
    {
        CFDictionarySetValue(lRecord.Get(), FindCommonString(kProvisionPropertyProvisionIdentifier), aName);
        (void)CFUDictionaryMerge(lRecord.Get(), aRecord, 1);
        if (CFDictionaryGetCount(lRecord.Get()) != CFDictionaryGetCount(aRecord) + 1)
            lRecord.Reset();
    }
    return lRecord;
}

/** What is stored. @retval 0, -1, -7, -19 */
zqError ReadStored(ParsedProvisions &aParsed)
{
    std::string   lText;
    const zqError lReturn = ReadProvisions(lText);

    return lReturn == zqError_None ? aParsed.Parse(lText) : lReturn;
}

unsigned long GetCount(CFDictionaryRef aProvisions)
{
    return static_cast<unsigned long>(CFDictionaryGetCount(aProvisions));
}

} // namespace

zqError zqConnMan::GetProvisions(CFDictionaryRef &aProvisions)
{
    auto lProvisions = MakeDictionary();

    aProvisions = nullptr;
    ZQ_REQUIRE(lProvisions != NULL, zqError_NoResources);

    const zqError lReturn = GetProvisions(lProvisions.Get());

    if (lReturn == zqError_None)
        aProvisions = lProvisions.Leak();
    return lReturn;
}

zqError zqConnMan::GetProvisions(CFMutableDictionaryRef aProvisions)
{
    ParsedProvisions lParsed;

    ZQ_REQUIRE(aProvisions != NULL, zqError_InvalidArgument);

    const zqError lReturn = ReadStored(lParsed);

    if (lReturn != zqError_None)
        return lReturn;

    return AddEach(lParsed.GetRecords(),
                   [&](const void *aName, CFDictionaryRef aRecord) -> zqError
                   {
                       const auto lRecord = MakeIdentified(aName, aRecord);
                       ZQ_REQUIRE(lRecord != NULL, zqError_NoResources);

                       return Put(aProvisions, aName, lRecord.Get());
                   });
}

zqError zqConnMan::GetProvisions(CFMutableDictionaryRef aProvisions, bool &anIsWhole)
{
    ParsedProvisions lParsed;

    ZQ_REQUIRE(aProvisions != NULL, zqError_InvalidArgument);

    const zqError lReturn = ReadStored(lParsed);

    anIsWhole = !lParsed.IsDamaged();
    if (lReturn != zqError_None)
        return lReturn;

    return AddEach(lParsed.GetRecords(),
                   [&](const void *aName, CFDictionaryRef aRecord) { return Put(aProvisions, aName, aRecord); });
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

    ProvisionsFile   lFile;
    ParsedProvisions lOld;
    std::string      lText;
    zqError          lReturn = ComposeProvisions(aProvisions, nullptr, lText);

    if (lReturn == zqError_None)
        lReturn = lFile.Open(kProvisionsTimeout);
    if (lReturn != zqError_None || lFile.Holds(lText))
        return lReturn;

    const bool lWasRead = ReadStored(lOld) == zqError_None && !lOld.IsDamaged();

    return lFile.Replace(lText, GetCount(aProvisions), !lWasRead);
}

zqError zqConnMan::MergeProvisions(const ProvisionsMerge &aMerge, int aTimeout)
{
    ProvisionsFile                lFile;
    ParsedProvisions              lOld;
    CFUSharedRef<CFDictionaryRef> lProvisions;
    std::string                   lText;
    zqError                       lReturn = lFile.Open(aTimeout);

    if (lReturn == zqError_None)
        lReturn = ReadStored(lOld);
    if (lReturn == zqError_None)
        lReturn = aMerge(lOld.GetRecords(), !lOld.IsDamaged(), lProvisions);
    if (lReturn != zqError_None)
        return lReturn;

    ZQ_REQUIRE(lProvisions != NULL, zqError_InvalidArgument);

    lReturn = ComposeProvisions(lProvisions.Get(), &lOld, lText);
    if (lReturn != zqError_None || lFile.Holds(lText))
        return lReturn;

    return lFile.Replace(lText, GetCount(lProvisions.Get()), lOld.IsDamaged());
}

zqError zqConnMan::EraseProvisions(int aTimeout)
{
    ProvisionsFile lFile;
    std::string    lText;
    const auto     lNone   = CFUAdopt(CFDictionaryCreate(kCFAllocatorDefault, nullptr, nullptr, 0,
                                                         &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    zqError        lReturn = lNone != nullptr ? ComposeProvisions(lNone.Get(), nullptr, lText) : zqError_NoResources;

    if (lReturn == zqError_None)
        lReturn = lFile.Open(aTimeout);
    if (lReturn == zqError_None && !lFile.Holds(lText))
        lReturn = lFile.Replace(lText, 0, false);

    return lReturn == zqError_None ? lFile.RemoveLeftovers() : lReturn;
}

zqError zqConnMan::CheckProvision(CFStringRef anIdentifier, CFDictionaryRef aProperties)
try
{
    ZQ_REQUIRE(anIdentifier != NULL && aProperties != NULL, zqError_InvalidArgument);

    ParsedProvisions lParsed;
    std::string      lText;
    std::string      lRead;
    zqError          lReturn = ComposeProvision(anIdentifier, aProperties, lText);

    if (lReturn == zqError_None)
        lReturn = lParsed.Parse(lText);
    if (lReturn != zqError_None)
        return lReturn;

    const void *const lRecord = CFDictionaryGetValue(lParsed.GetRecords(), anIdentifier);

    if (!ZQ_CHECK_MESSAGE(lRecord != NULL, "an identifier begins with service_"))
        return zqError_InvalidArgument;

    lReturn = ComposeProvision(anIdentifier, static_cast<CFDictionaryRef>(lRecord), lRead);
    if (lReturn != zqError_None || lRead == lText)
        return lReturn;

    ZQ_LOG(zqLogLevel_Error, "connman: %s of a record would not be read back from the file as it is",
           GetDifference(lText, lRead).c_str());
    return zqError_InvalidArgument;
}
catch (const std::bad_alloc &)
{
    return zqError_NoResources;
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

    const std::unique_ptr<DIR, int (*)(DIR *)> lDirectory(::opendir(kProvisionsDirectory), ::closedir);

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
