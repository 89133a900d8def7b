/**
 *  @file
 *    The client's operations on the provisioning file.
 */

#include "zqconnman-provisions.h"

#include <cstring>

#include <dirent.h>

using namespace zq::ConnMan;

namespace
{

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
    auto lRecord = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                      &kCFTypeDictionaryValueCallBacks));

    if (lRecord != nullptr)
    {
        CFDictionarySetValue(lRecord.Get(), FindCommonString(kProvisionPropertyProvisionIdentifier), aName);
        (void)CFUDictionaryMerge(lRecord.Get(), aRecord, 1);
        if (CFDictionaryGetCount(lRecord.Get()) != CFDictionaryGetCount(aRecord) + 1)
            lRecord.Reset();
    }
    return lRecord;
}

unsigned long GetCount(CFDictionaryRef aProvisions)
{
    return static_cast<unsigned long>(CFDictionaryGetCount(aProvisions));
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
    ParsedProvisions lParsed;

    ZQ_REQUIRE(aProvisions != NULL, zqError_InvalidArgument);

    const zqError lReturn = lParsed.Load();

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
    zqError          lReturn = ComposeProvisions(aProvisions, lText);

    if (lReturn == zqError_None)
        lReturn = lFile.Open(kProvisionsTimeout);
    if (lReturn != zqError_None || lFile.Holds(lText))
        return lReturn;

    const bool lWasRead = lOld.Load() == zqError_None && !lOld.IsDamaged();

    return lFile.Replace(lText, GetCount(aProvisions), !lWasRead);
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
