/**
 *  @file
 *    What the daemon's signals change of what was loaded.
 */

#include "zqconnman-caches.h"

using namespace zq::ConnMan;

namespace
{

/** What changed of an object, and its path as a string. @retval 0, -5, -7 */
zqError DecodeChange(const char *aPath, DBusMessageIter *anIterator, const zqDBusCFForm &aForm,
                     CFUSharedRef<CFStringRef> &aSubject, CFUSharedRef<CFDictionaryRef> &aChange)
{
    const zqError lReturn = zqDBusCFDecode(anIterator, aForm, aChange);

    aSubject = MakeString(aPath);

    return lReturn == zqError_None && aSubject == nullptr ? zqError_NoResources : lReturn;
}

/** The change that a signal tells of an object. @retval 0, -17 when it is not in the cache, or as decoding. */
zqError TakeChange(CFDictionaryRef aCache, const char *aKind, const char *aPath, DBusMessageIter *anIterator,
                   const zqDBusCFForm &aForm, CFUSharedRef<CFStringRef> &anObject,
                   CFUSharedRef<CFDictionaryRef> &aChange)
{
    const zqError lReturn = DecodeChange(aPath, anIterator, aForm, anObject, aChange);

    if (lReturn != zqError_None || CFDictionaryContainsKey(aCache, anObject.Get()))
        return lReturn;

    ZQ_LOG(zqLogLevel_Error, "connman: failed to find %s %s for properties change", aKind, aPath);
    return zqError_NotFound;
}

} // namespace

/** A signal that finds no memory is lost: what it tells is found by comparing all once more. @returns false. */
bool zqConnMan::Missed(zqError anError)
{
    if (anError == zqError_NoResources || anError == zqError_OutOfMemory)
    {
        mMissed = mAvailable;
        TellAvailableAgain();
    }
    return false;
}

/** Better no cache than one with gaps: what is in it is not told as added. */
void zqConnMan::MissedSome(CFMutableDictionaryRef &aCache)
{
    ReleaseCache(aCache);
    (void)Missed(zqError_NoResources);
}

bool zqConnMan::ManagerPropertyChanged(DBusMessage *aMessage)
{
    if (mProperties == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ManagerPropertyChanged");

    CFUSharedRef<CFDictionaryRef> lChange;
    DBusMessageIter               lIterator;

    (void)dbus_message_iter_init(aMessage, &lIterator);

    const zqError lReturn = zqDBusCFDecode(&lIterator, kFormManagerProperty, lChange);

    return lReturn == zqError_None ? UpdateProperties(lChange.Get()) == zqError_None : Missed(lReturn);
}

bool zqConnMan::ServicePropertyChanged(const char *aPath, DBusMessageIter *anIterator)
{
    if (mServices == nullptr || aPath == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ServicePropertyChanged");

    CFUSharedRef<CFStringRef>     lPath;
    CFUSharedRef<CFDictionaryRef> lChange;
    const zqError lReturn = TakeChange(mServices, "service", aPath, anIterator, kFormServiceProperty, lPath, lChange);

    if (lReturn != zqError_None)
        return Missed(lReturn);
    if (!Merge(FindCached(mServices, lPath.Get()), lChange.Get()))
        (void)Missed(zqError_NoResources);

    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->ServiceChanged(this, lPath.Get(), lChange.Get());
    return true;
}

bool zqConnMan::TechnologyPropertyChanged(const char *aPath, DBusMessageIter *anIterator)
{
    if (mTechnologies == nullptr || aPath == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "TechnologyPropertyChanged");

    CFUSharedRef<CFStringRef>     lPath;
    CFUSharedRef<CFDictionaryRef> lChange;
    const zqError                 lReturn =
        TakeChange(mTechnologies, "technology", aPath, anIterator, kFormTechnologyProperty, lPath, lChange);

    if (lReturn != zqError_None)
        return Missed(lReturn);
    if (Delegate::Base *lDelegate = mDelegate)
        lDelegate->TechnologyChanged(this, lPath.Get(), lChange.Get());
    return true;
}

bool zqConnMan::ManagerServicesChanged(DBusMessage *aMessage)
{
    if (mServices == nullptr)
        return false;

    CFUSharedRef<CFDictionaryRef> lCurrent;
    CFUSharedRef<CFArrayRef>      lRemoved;
    const zqError                 lReturn = zqDBusCFDecodeServicesChanged(aMessage, lCurrent, lRemoved);

    if (lReturn != zqError_None)
        return Missed(lReturn);

    UpdateChangedServices(lCurrent.Get(), lRemoved.Get());
    return true;
}

void zqConnMan::UpdateChangedServices(CFDictionaryRef aCurrent, CFArrayRef aRemoved)
{
    ZQ_LOG(zqLogLevel_Information, "connman: %s %ld and %s %ld %s to %ld existing %s", "updating", CountOf(aCurrent),
           "removing", CFArrayGetCount(aRemoved), "services", CountOf(mServices), "services");

    const auto lAdded      = MakeArray();
    const auto lUpdated    = MakeArray();
    long       lNumAdded   = 0;
    long       lNumUpdated = 0;
    const long lBefore     = CountOf(mServices);

    ForEachEntry(aCurrent,
                 [&](const void *aPath, const void *aProperties)
                 {
                     CFMutableDictionaryRef lCached = FindCached(mServices, aPath);

                     if (lCached == nullptr)
                     {
                         CFDictionarySetValue(mServices, aPath, aProperties);
                         CFArrayAppendValue(lAdded.Get(), aPath);
                         ++lNumAdded;
                     }
                     else if (CFDictionaryGetCount(AsDictionary(aProperties)) > 0)
                     {
                         if (!Merge(lCached, AsDictionary(aProperties)))
                             (void)Missed(zqError_NoResources);
                         CFArrayAppendValue(lUpdated.Get(), aPath);
                         ++lNumUpdated;
                     }
                 });

    if (!ZQ_CHECK(CountOf(lAdded) == lNumAdded && CountOf(lUpdated) == lNumUpdated &&
                  CountOf(mServices) == lBefore + lNumAdded))
        MissedSome(mServices);

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(aRemoved); ++lIndex)
        CFDictionaryRemoveValue(mServices, CFArrayGetValueAtIndex(aRemoved, lIndex));

    NotifyPaths(&Delegate::Base::ServicesAdded, lAdded.Get());
    NotifyPaths(&Delegate::Base::ServicesRemoved, aRemoved);
    NotifyPaths(&Delegate::Base::ServicesUpdated, lUpdated.Get());
}

bool zqConnMan::ManagerTechnologyAdded(DBusMessage *aMessage)
{
    if (mTechnologies == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ManagerTechnologyAdded");

    CFUSharedRef<CFDictionaryRef> lAdded;
    const zqError                 lReturn = zqDBusCFDecode(aMessage, kFormTechnology, lAdded);

    if (lReturn != zqError_None)
        return Missed(lReturn);

    AddTechnologies(lAdded.Get());
    return true;
}

void zqConnMan::AddTechnologies(CFDictionaryRef anAdded)
{
    ZQ_LOG(zqLogLevel_Information, "connman: %s %ld %s to %ld existing %s", "adding", CountOf(anAdded), "technologies",
           CountOf(mTechnologies), "technologies");

    const auto lPaths  = CFUAdopt(CFUDictionaryCopyKeys(anAdded));
    bool       lHasAll = lPaths != nullptr;

    ForEachEntry(anAdded,
                 [&](const void *aPath, const void *aProperties)
                 {
                     CFDictionarySetValue(mTechnologies, aPath, aProperties);
                     lHasAll = lHasAll && CFDictionaryContainsKey(mTechnologies, aPath);
                 });

    if (!ZQ_CHECK(lHasAll))
        MissedSome(mTechnologies);

    NotifyPaths(&Delegate::Base::TechnologiesAdded, lPaths.Get());
}

bool zqConnMan::ManagerTechnologyRemoved(DBusMessage *aMessage)
{
    if (mTechnologies == nullptr)
        return false;

    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "ManagerTechnologyRemoved");

    const char *lPath = nullptr;

    ZQ_REQUIRE(dbus_message_has_signature(aMessage, "o"), false);
    (void)zqDBus::DecodeMessageParams(aMessage, nullptr, DBUS_TYPE_OBJECT_PATH, &lPath, DBUS_TYPE_INVALID);

    return RemoveTechnology(MakeString(lPath).Get());
}

bool zqConnMan::RemoveTechnology(CFStringRef aPath)
{
    const void *lValues[] = { aPath };
    const auto  lPaths    = CFUAdopt(CFArrayCreate(kCFAllocatorDefault, lValues, 1, &kCFTypeArrayCallBacks));

    if (!ZQ_CHECK(aPath != NULL && lPaths != NULL))
        return Missed(zqError_NoResources);

    CFDictionaryRemoveValue(mTechnologies, aPath);
    NotifyPaths(&Delegate::Base::TechnologiesRemoved, lPaths.Get());
    return true;
}
