/**
 *  @file
 *    From D-Bus messages to CoreFoundation values.
 */

#include "zqconnman-walkers.h"

#include <new>

struct zqDBusCFForm
{
    enum Wrapping
    {
        kWrapNone,
        kWrapEntry, ///< a name and its value become a dictionary of one entry
        kWrapObject ///< a path and its properties become a set of one object
    };

    const char  *mWhat;
    const char  *mSignature;
    zqDBusWalker mExact;
    Wrapping     mWrapping;
};

constexpr auto kWrapNone   = zqDBusCFForm::kWrapNone;
constexpr auto kWrapEntry  = zqDBusCFForm::kWrapEntry;
constexpr auto kWrapObject = zqDBusCFForm::kWrapObject;

// clang-format off
const zqDBusCFForm kFormManagerProperties    = { "manager properties",    "a{sv}",     PropertiesWalker,           kWrapNone };
const zqDBusCFForm kFormManagerProperty      = { "manager property",      "sv",        PropertiesWalker,           kWrapEntry };
const zqDBusCFForm kFormServiceProperties    = { "service properties",    "a{sv}",     ServicePropertiesWalker,    kWrapNone };
const zqDBusCFForm kFormServiceProperty      = { "service property",      "sv",        ServicePropertiesWalker,    kWrapEntry };
const zqDBusCFForm kFormServices             = { "services",              "a(oa{sv})", ServiceObjectsWalker,       kWrapNone };
const zqDBusCFForm kFormTechnologyProperties = { "technology properties", "a{sv}",     TechnologyPropertiesWalker, kWrapNone };
const zqDBusCFForm kFormTechnologyProperty   = { "technology property",   "sv",        PropertiesWalkerNoPaths,    kWrapEntry };
const zqDBusCFForm kFormTechnologies         = { "technologies",          "a(oa{sv})", ObjectsWalker,              kWrapNone };
const zqDBusCFForm kFormTechnology           = { "technology",            "oa{sv}",    ObjectWalker,               kWrapObject };
// clang-format on

namespace
{

constexpr zqDBusDecoding kTolerant = { zq::ConnMan::FindCommonString, false, true };

/** What is decoded: a message, or what is left of one. */
struct Source
{
    explicit Source(DBusMessage *aMessage) : mMessage(aMessage) { (void)dbus_message_iter_init(aMessage, &mIterator); }
    explicit Source(const DBusMessageIter *anIterator) : mIterator(*anIterator) {}

    zqError Walk(zqDBusWalker aWalker, zqDBusCFContext *aContext)
    {
        return mMessage != nullptr ? zqDBus::WalkMessage(mMessage, aWalker, aContext)
                                   : zqDBus::WalkDBusMsgIter(&mIterator, aWalker, aContext);
    }

    DBusMessage    *mMessage = nullptr;
    DBusMessageIter mIterator;
};

zqError WalkWrapped(Source &aSource, zqDBusWalker aWalker, zqDBusCFForm::Wrapping aWrapping, zqDBusCFContext &aContext)
{
    const int lElement = aWrapping == kWrapEntry ? DBUS_TYPE_DICT_ENTRY : DBUS_TYPE_STRUCT;
    zqError   lReturn  = zqError_None;

    if (aWrapping != kWrapNone)
        lReturn = aWalker(&aContext, zqDBusWalkArrayStart, nullptr, &lElement);
    if (lReturn == zqError_None && aWrapping == kWrapObject)
        lReturn = aWalker(&aContext, zqDBusWalkStructureStart, nullptr, nullptr);

    if (lReturn == zqError_None)
        lReturn = aSource.Walk(aWalker, &aContext);

    if (lReturn == zqError_None && aWrapping == kWrapObject)
        lReturn = aWalker(&aContext, zqDBusWalkStructureEnd, nullptr, nullptr);
    if (lReturn == zqError_None && aWrapping != kWrapNone)
        lReturn = aWalker(&aContext, zqDBusWalkArrayEnd, nullptr, nullptr);

    return lReturn;
}

zqError Report(const char *aWhat, zqError anError)
{
    if (anError != zqError_None)
        ZQ_LOG(zqLogLevel_Error, "connman: cannot decode %s: %d", aWhat, anError);
    return anError;
}

zqError DecodeExactly(Source &aSource, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult)
{
    zqDBusCFContext lContext;
    zqError         lReturn = WalkWrapped(aSource, aForm.mExact, aForm.mWrapping, lContext);

    if (lReturn == zqError_None)
        lReturn = lContext.mStatus;
    if (lReturn == zqError_None && !ZQ_CHECK(CFUIsTypeID(lContext.mResult, CFDictionaryGetTypeID())))
        lReturn = zqError_InvalidArgument;
    if (lReturn == zqError_None)
        aResult = CFUAdopt(static_cast<CFDictionaryRef>(lContext.TakeResult()));

    return lReturn;
}

/** @param[in]  aMade  What is added to; null when memory is exhausted. */
template <typename Made, typename T>
zqError AddTolerantly(DBusMessageIter *anIterator,
                      zqError (*anAdd)(DBusMessageIter *, const zqDBusDecoding &, Made) noexcept,
                      const CFUSharedRef<Made> &aMade, CFUSharedRef<T> &aResult)
{
    const zqError lReturn = aMade != nullptr ? anAdd(anIterator, kTolerant, aMade.Get()) : zqError_NoResources;

    if (lReturn == zqError_None)
        aResult = aMade;
    return lReturn;
}

/** Each form is entries: properties by their names, or objects by their paths. */
zqError DecodeTolerantly(DBusMessageIter *anIterator, CFUSharedRef<CFDictionaryRef> &aResult)
{
    return AddTolerantly(anIterator, zqDBus::AddEntries, zq::ConnMan::MakeDictionary(), aResult);
}

/** The elements from the iterator on. */
zqError DecodeTolerantly(DBusMessageIter *anIterator, CFUSharedRef<CFArrayRef> &aResult)
{
    return AddTolerantly(anIterator, zqDBus::AddElements, zq::ConnMan::MakeArray(), aResult);
}

zqError DecodeDictionary(Source aSource, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult)
try
{
    return Report(aForm.mWhat, zq::ConnMan::IsTolerant() ? DecodeTolerantly(&aSource.mIterator, aResult)
                                                         : DecodeExactly(aSource, aForm, aResult));
}
catch (const std::bad_alloc &)
{
    return Report(aForm.mWhat, zqError_NoResources);
}

bool HasNameAndValue(DBusMessageIter *anIterator)
{
    DBusMessageIter lIterator = *anIterator;

    return dbus_message_iter_get_arg_type(&lIterator) == DBUS_TYPE_STRING && dbus_message_iter_next(&lIterator) &&
           dbus_message_iter_get_arg_type(&lIterator) == DBUS_TYPE_VARIANT && !dbus_message_iter_has_next(&lIterator);
}

} // namespace

zqError zqDBusCFDecode(DBusMessage *aMessage, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult)
{
    if (!ZQ_CHECK(dbus_message_has_signature(aMessage, aForm.mSignature)))
        return Report(aForm.mWhat, zqError_InvalidArgument);

    return DecodeDictionary(Source(aMessage), aForm, aResult);
}

zqError zqDBusCFDecode(DBusMessageIter *anIterator, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult)
{
    ZQ_REQUIRE(anIterator != NULL, zqError_InvalidArgument);

    if (!ZQ_CHECK(HasNameAndValue(anIterator)))
        return Report(aForm.mWhat, zqError_InvalidArgument);

    return DecodeDictionary(Source(anIterator), aForm, aResult);
}

namespace
{

zqError DecodeChangesExactly(DBusMessage *aMessage, CFUSharedRef<CFDictionaryRef> &aChanged,
                             CFUSharedRef<CFArrayRef> &aRemoved)
{
    ServicesChangedContext lContext;
    zqError                lReturn = zqDBus::WalkMessage(aMessage, ServicesChangedWalker, &lContext);

    if (lReturn == zqError_None)
        lReturn = lContext.mStatus;
    if (lReturn == zqError_None && !ZQ_CHECK(lContext.mChanged != NULL && lContext.mRemoved != NULL))
        lReturn = zqError_InvalidArgument;

    if (lReturn == zqError_None)
    {
        aChanged = std::move(lContext.mChanged);
        aRemoved = std::move(lContext.mRemoved);
    }
    return lReturn;
}

zqError DecodeChangesTolerantly(DBusMessageIter *anIterator, CFUSharedRef<CFDictionaryRef> &aChanged,
                                CFUSharedRef<CFArrayRef> &aRemoved)
{
    CFUSharedRef<CFDictionaryRef> lChanged;
    DBusMessageIter               lPaths;
    zqError                       lReturn = DecodeTolerantly(anIterator, lChanged);

    if (lReturn == zqError_None)
    {
        (void)dbus_message_iter_next(anIterator);
        dbus_message_iter_recurse(anIterator, &lPaths);
        lReturn = DecodeTolerantly(&lPaths, aRemoved);
    }
    if (lReturn == zqError_None)
        aChanged = std::move(lChanged);
    return lReturn;
}

zqError DecodeInputExactly(DBusMessageIter *anIterator, CFUSharedRef<CFArrayRef> &aValues)
{
    zqDBusCFContext lContext;
    zqError         lReturn = zqDBusCFPushArray(lContext);

    if (lReturn == zqError_None)
        lReturn = zqDBus::WalkDBusMsgIter(anIterator, TechnologyPropertiesWalker, &lContext);
    if (lReturn == zqError_None)
        lReturn = lContext.mStatus;

    if (lReturn == zqError_None)
    {
        zqDBusCFPopState(lContext);
        aValues = CFUAdopt(static_cast<CFArrayRef>(lContext.TakeResult()));
    }
    return lReturn;
}

} // namespace

zqError zqDBusCFDecodeServicesChanged(DBusMessage *aMessage, CFUSharedRef<CFDictionaryRef> &aChanged,
                                      CFUSharedRef<CFArrayRef> &aRemoved)
try
{
    ZQ_REQUIRE(dbus_message_has_signature(aMessage, "a(oa{sv})ao"), zqError_InvalidArgument);

    DBusMessageIter lIterator;

    (void)dbus_message_iter_init(aMessage, &lIterator);

    return Report("changed services", zq::ConnMan::IsTolerant()
                                          ? DecodeChangesTolerantly(&lIterator, aChanged, aRemoved)
                                          : DecodeChangesExactly(aMessage, aChanged, aRemoved));
}
catch (const std::bad_alloc &)
{
    return Report("changed services", zqError_NoResources);
}

zqError zqDBusCFDecodeInput(DBusMessage *aMessage, CFUSharedRef<CFArrayRef> &aValues)
try
{
    DBusMessageIter lIterator;

    (void)dbus_message_iter_init(aMessage, &lIterator);

    return Report("requested input", zq::ConnMan::IsTolerant() ? DecodeTolerantly(&lIterator, aValues)
                                                               : DecodeInputExactly(&lIterator, aValues));
}
catch (const std::bad_alloc &)
{
    return Report("requested input", zqError_NoResources);
}
