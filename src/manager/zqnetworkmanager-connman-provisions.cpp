/**
 *  @file
 *    How the concrete manager's list of provisions and the file follow each
 *    other.
 *
 *  Several processes have the file in their lists and change it. So neither is
 *  copied over the other: what each has changed since they were last seen to
 *  agree comes together, and becomes both.
 */

#include "zqnetworkmanager-connman.h"

#include <zqlog.h>

#include <cstdlib>
#include <functional>

#define ZQ_LOG_COMPONENT "network manager"
#define ZQ_LOG_FILE "zqnetworkmanager-connman"

namespace zq::NetworkManager::ConnMan
{

namespace
{

using Mutable = CFUSharedRef<CFMutableDictionaryRef>;

Mutable CopyMutable(CFDictionaryRef aDictionary)
{
    return CFUAdopt(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, aDictionary));
}

/** An entry's value; null in a null dictionary. */
CFTypeRef GetValue(CFDictionaryRef aDictionary, CFTypeRef aKey)
{
    return aDictionary != nullptr ? CFDictionaryGetValue(aDictionary, aKey) : nullptr;
}

CFDictionaryRef GetRecord(CFDictionaryRef aRecords, CFTypeRef anIdentifier)
{
    return static_cast<CFDictionaryRef>(GetValue(aRecords, anIdentifier));
}

/** What finds no room would be taken for removed. */
zqError Put(CFMutableDictionaryRef aDictionary, CFTypeRef aKey, CFTypeRef aValue)
{
    CFDictionarySetValue(aDictionary, aKey, aValue);

    return CFDictionaryGetValue(aDictionary, aKey) == aValue ? zqError_None : zqError_NoResources;
}

bool IsEqual(CFTypeRef aFirst, CFTypeRef aSecond)
{
    return aFirst == aSecond || (aFirst != nullptr && aSecond != nullptr && CFEqual(aFirst, aSecond));
}

/** Call @a aFunction(key, value) for the entries of a dictionary, or of null, until one yields an error. */
template <typename F>
zqError ForEach(CFDictionaryRef aDictionary, F aFunction)
{
    struct Context
    {
        F      &mFunction;
        zqError mReturn;
    } lContext = { aFunction, zqError_None };

    if (aDictionary != nullptr)
        CFDictionaryApplyFunction(
            aDictionary,
            [](const void *aKey, const void *aValue, void *aContext)
            {
                Context &lEach = *static_cast<Context *>(aContext);

                if (lEach.mReturn == zqError_None)
                    lEach.mReturn = lEach.mFunction(aKey, aValue);
            },
            &lContext);

    return lContext.mReturn;
}

/** One record or set of records as three have it; null where it is none. */
struct Versions
{
    CFDictionaryRef mSeen; // when the two others agreed
    CFDictionaryRef mStored;
    CFDictionaryRef mListed;
    bool            mIsWhole; // false: the file has more than could be read

    Versions Of(CFTypeRef anIdentifier) const
    {
        return { GetRecord(mSeen, anIdentifier), GetRecord(mStored, anIdentifier), GetRecord(mListed, anIdentifier),
                 mIsWhole };
    }
};

/** A property that was changed here is as it is here, any other as it is in the file. */
zqError MergeRecord(const Versions &aRecord, Mutable &aMerged)
{
    aMerged = Shared::MakeDictionary();
    ZQ_REQUIRE(aMerged != NULL, zqError_NoResources);

    const bool lIsMissing = aRecord.mStored == nullptr || !aRecord.mIsWhole; // rather than changed by others
    const auto lIsChanged = [&](CFTypeRef aKey)
    { return !IsEqual(GetValue(aRecord.mListed, aKey), GetValue(aRecord.mSeen, aKey)); };

    const zqError lReturn = ForEach(aRecord.mStored,
                                    [&](CFTypeRef aKey, CFTypeRef aValue) -> zqError
                                    { return lIsChanged(aKey) ? zqError_None : Put(aMerged.Get(), aKey, aValue); });
    if (lReturn != zqError_None)
        return lReturn;

    return ForEach(aRecord.mListed,
                   [&](CFTypeRef aKey, CFTypeRef aValue) -> zqError
                   {
                       return lIsChanged(aKey) || (lIsMissing && GetValue(aRecord.mStored, aKey) == nullptr)
                                  ? Put(aMerged.Get(), aKey, aValue)
                                  : zqError_None;
                   });
}

/** A record that one side has removed is removed, unless the list has changed it meanwhile. */
bool IsRemoved(const Versions &aRecord)
{
    if (aRecord.mSeen == nullptr)
        return false;

    return aRecord.mListed == nullptr ||
           (aRecord.mStored == nullptr && aRecord.mIsWhole && CFEqual(aRecord.mListed, aRecord.mSeen));
}

/** Most are. */
bool IsAgreed(const Versions &aRecord)
{
    return IsEqual(aRecord.mStored, aRecord.mListed) && IsEqual(aRecord.mListed, aRecord.mSeen);
}

zqError MergeRecords(const Versions &aSet, CFUSharedRef<CFDictionaryRef> &aMerged)
{
    const Mutable lMerged = Shared::MakeDictionary();
    ZQ_REQUIRE(lMerged != NULL, zqError_NoResources);

    const auto lMerge = [&](CFTypeRef anIdentifier, CFTypeRef) -> zqError
    {
        const Versions lVersions = aSet.Of(anIdentifier);
        Mutable        lRecord;

        if (IsRemoved(lVersions) || CFDictionaryContainsKey(lMerged.Get(), anIdentifier))
            return zqError_None;
        if (IsAgreed(lVersions))
            return Put(lMerged.Get(), anIdentifier, lVersions.mListed);

        const zqError lReturn = MergeRecord(lVersions, lRecord);

        return lReturn == zqError_None ? Put(lMerged.Get(), anIdentifier, lRecord.Get()) : lReturn;
    };

    zqError lReturn = ForEach(aSet.mStored, lMerge);

    if (lReturn == zqError_None)
        lReturn = ForEach(aSet.mListed, lMerge);

    aMerged = lMerged;
    return lReturn;
}

/** A provision's properties as the file has them; null when memory is exhausted. */
CFUSharedRef<CFDictionaryRef> CopyStoredForm(const Provision &aProvision)
{
    const auto      lProperties = aProvision.CopyProperties();
    const CFTypeRef lText       = GetValue(lProperties.Get(), kServicePropertyExtendedPANID);

    if (!CFUIsTypeID(lText, CFStringGetTypeID()))
        return lProperties;

    const unsigned long long lNumber =
        std::strtoull(zqString(static_cast<CFStringRef>(lText)).GetAsUTFArray(), nullptr, 10);
    const auto lCopy  = CopyMutable(lProperties.Get());
    const auto lValue = CFUAdopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &lNumber));

    if (lCopy == nullptr || lValue == nullptr)
        return nullptr;

    CFDictionarySetValue(lCopy.Get(), kServicePropertyExtendedPANID, lValue.Get());
    return lCopy;
}

} // namespace

zqError Manager::InitProvisions()
{
    const ProvisionsHold lHold(*this);

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    // Who may not read the stored networks is not refused a manager for that; no more may it write them.
    const zqError lReturn = ReadProvisions();

    return lReturn == zqError_PermissionDenied ? zqError_None : lReturn;
}

zqError Manager::ReadProvisions()
{
    const auto lProvisions = Shared::MakeDictionary();
    bool       lIsWhole    = true;
    Records    lListed;
    Records    lMerged;
    ZQ_REQUIRE(lProvisions != NULL, zqError_OutOfMemory);

    zqError lReturn = mConnMan.GetProvisions(lProvisions.Get(), lIsWhole);

    mReadError = lReturn;
    if (lReturn == zqError_PermissionDenied)
    {
        ZQ_LOG(zqLogLevel_Notice, "network manager: Failed to init provisions: no permission to read them");
        return lReturn;
    }
    ZQ_REQUIRE(lReturn == 0, lReturn);

    lReturn = GatherProvisions(lListed);
    if (lReturn == zqError_None)
        lReturn = MergeRecords({ mSeen.Get(), lProvisions.Get(), lListed.Get(), lIsWhole }, lMerged);
    if (lReturn == zqError_None)
        lReturn = ListProvisions(lListed, lMerged, lProvisions);

    mReadError = lReturn;
    ZQ_REQUIRE(lReturn == 0, lReturn);
    return zqError_None;
}

zqError Manager::UpdateConnManProvisions(bool aWrite)
{
    // Nothing is to be done then, and gathering the records once for each one
    // that is read would be quadratic.
    if (!aWrite)
        return zqError_None;

    const ProvisionsHold lHold(*this);
    Records              lListed;

    if (!lHold.IsHeld())
        return zqError_TimedOut;

    const zqError lReturn = GatherProvisions(lListed);

    // The records are the manager's whether or not the file could be written.
    mWriteError = lReturn == zqError_None ? WriteProvisions(lListed, lHold) : lReturn;
    return lReturn;
}

zqError Manager::WriteProvisions(Records &aListed, const ProvisionsHold &aHold)
{
    Records lMerged;
    zqError lReturn = zqError_None;

    // What could not be read is in no list: nothing replaces it.
    if (mReadError != zqError_None)
    {
        lReturn = ReadProvisions();
        if (lReturn == zqError_None)
            lReturn = GatherProvisions(aListed);
        if (lReturn != zqError_None)
            return lReturn;
    }

    const auto lMerge = [&](CFDictionaryRef aStored, bool anIsWhole, Records &aProvisions)
    {
        const zqError lMergeReturn = MergeRecords({ mSeen.Get(), aStored, aListed.Get(), anIsWhole }, lMerged);

        aProvisions = lMerged;
        return lMergeReturn;
    };

    lReturn = mConnMan.MergeProvisions(std::ref(lMerge), aHold.GetTimeLeft()); // a reference needs no memory
    return lReturn == zqError_None ? ListProvisions(aListed, lMerged, lMerged) : lReturn;
}

zqError Manager::EraseConnManProvisions()
{
    const ProvisionsHold lHold(*this);
    Records              lListed;
    const Records        lNone = Shared::MakeDictionary();

    if (!lHold.IsHeld())
        return zqError_TimedOut;
    ZQ_REQUIRE(lNone != NULL, zqError_NoResources);

    zqError lReturn = mReadError != zqError_None ? ReadProvisions() : zqError_None;

    if (lReturn == zqError_None)
        lReturn = mConnMan.EraseProvisions(lHold.GetTimeLeft());
    if (lReturn == zqError_None)
        lReturn = GatherProvisions(lListed);
    if (lReturn == zqError_None)
        lReturn = ListProvisions(lListed, lNone, lNone);

    mWriteError = lReturn;
    return zqError_None;
}

zqError Manager::GetProvisionsError() const
{
    const zqError lWriteError = mWriteError;

    return lWriteError != zqError_None ? lWriteError : mReadError.load();
}

zqError Manager::CheckProvision(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    zqSharedPtr<Provision> lListed;
    const auto             lProperties = CopyMutable(aProperties.Get());
    ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);

    // What is listed was taken before, or is in the file under a text that is kept.
    if (ManagerLookupProvisionIdentifier(anIdentifier, lListed) == zqError_None)
        (void)ForEach(lListed->CopyProperties().Get(),
                      [&](CFTypeRef aKey, CFTypeRef aValue) -> zqError
                      {
                          if (IsEqual(GetValue(lProperties.Get(), aKey), aValue))
                              CFDictionaryRemoveValue(lProperties.Get(), aKey);
                          return zqError_None;
                      });

    return zqConnMan::CheckProvision(anIdentifier.Get(), lProperties.Get());
}

// What was set to the value that it has here already is no difference, and is
// to be the file's all the same: it differs from what was never a property.
void Manager::NoteProvisionChange(const CFUSharedRef<CFStringRef>     &anIdentifier,
                                  const CFUSharedRef<CFDictionaryRef> &aProperties)
{
    const CFDictionaryRef lSeen   = GetRecord(mSeen.Get(), anIdentifier.Get());
    const Mutable         lRecord = lSeen != nullptr ? CopyMutable(lSeen) : Shared::MakeDictionary();

    if (mSeen == nullptr || lRecord == nullptr)
        return;

    (void)ForEach(aProperties.Get(),
                  [&](CFTypeRef aKey, CFTypeRef) -> zqError { return Put(lRecord.Get(), aKey, kCFBooleanFalse); });
    CFDictionarySetValue(mSeen.Get(), anIdentifier.Get(), lRecord.Get());
}

zqError Manager::GatherProvisions(Records &aRecords) const
{
    zqRefObjectArray<Provision> lList;
    const auto                  lProvisions = Shared::MakeDictionary();
    ZQ_REQUIRE(lProvisions != NULL, zqError_NoResources);

    zqError lReturn = GetProvisions(lList);
    ZQ_REQUIRE(lReturn == 0, lReturn);

    for (int lIndex = 0; lIndex < lList.GetNumElements(); ++lIndex)
    {
        const Provision *const lProvision  = lList.GetElementPtr(lIndex);
        const auto             lProperties = CopyStoredForm(*lProvision);

        // A set that lacks a record would take it from the file.
        ZQ_REQUIRE(lProperties != NULL, zqError_NoResources);
        lReturn = Put(lProvisions.Get(), lProvision->GetPath().Get(), lProperties.Get());
        ZQ_REQUIRE(lReturn == 0, lReturn);
    }

    aRecords = lProvisions;
    return zqError_None;
}

// A record that cannot be listed, and was logged, stays in the file, since it was never seen here.
zqError Manager::ListProvisions(Records &aListed, const Records &aMerged, const Records &aStored)
{
    bool       lIsChanged = false;
    const auto lReplace   = [&](CFTypeRef anIdentifier, CFTypeRef) -> zqError
    {
        const CFDictionaryRef lRecord = GetRecord(aMerged.Get(), anIdentifier);

        if (!IsEqual(GetRecord(aListed.Get(), anIdentifier), lRecord))
        {
            lIsChanged = true;
            (void)ReplaceProvision(CFURetain(static_cast<CFStringRef>(anIdentifier)), lRecord);
        }
        return zqError_None;
    };

    (void)ForEach(aListed.Get(), lReplace);
    (void)ForEach(aMerged.Get(), lReplace);

    const zqError lReturn = lIsChanged ? GatherProvisions(aListed) : zqError_None;

    return lReturn == zqError_None ? NoteSeen(aListed, aMerged, aStored) : lReturn;
}

// Where the list could not be brought to what was merged, both are still to be
// compared with what was seen before.
zqError Manager::NoteSeen(const Records &aListed, const Records &aMerged, const Records &aStored)
{
    const auto lSeen = Shared::MakeDictionary();
    ZQ_REQUIRE(lSeen != NULL, zqError_NoResources);

    const zqError lReturn =
        ForEach(aStored.Get(),
                [&](CFTypeRef anIdentifier, CFTypeRef aRecord) -> zqError
                {
                    const bool lIsListed =
                        IsEqual(GetRecord(aListed.Get(), anIdentifier), GetRecord(aMerged.Get(), anIdentifier));
                    const CFTypeRef lRecord = lIsListed ? aRecord : GetRecord(mSeen.Get(), anIdentifier);

                    return lRecord != nullptr ? Put(lSeen.Get(), anIdentifier, lRecord) : zqError_None;
                });
    if (lReturn == zqError_None)
        mSeen = lSeen;
    return lReturn;
}

} // namespace zq::NetworkManager::ConnMan
