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
    zqDBusWalker mTolerant;
    Wrapping     mWrapping;
};

constexpr auto kWrapNone   = zqDBusCFForm::kWrapNone;
constexpr auto kWrapEntry  = zqDBusCFForm::kWrapEntry;
constexpr auto kWrapObject = zqDBusCFForm::kWrapObject;

// clang-format off
const zqDBusCFForm kFormManagerProperties    = { "manager properties",    "a{sv}",     PropertiesWalker,           AnyWalker,        kWrapNone };
const zqDBusCFForm kFormManagerProperty      = { "manager property",      "sv",        PropertiesWalker,           AnyWalker,        kWrapEntry };
const zqDBusCFForm kFormServiceProperties    = { "service properties",    "a{sv}",     ServicePropertiesWalker,    AnyWalker,        kWrapNone };
const zqDBusCFForm kFormServiceProperty      = { "service property",      "sv",        ServicePropertiesWalker,    AnyWalker,        kWrapEntry };
const zqDBusCFForm kFormServices             = { "services",              "a(oa{sv})", ServiceObjectsWalker,       AnyObjectsWalker, kWrapNone };
const zqDBusCFForm kFormTechnologyProperties = { "technology properties", "a{sv}",     TechnologyPropertiesWalker, AnyWalker,        kWrapNone };
const zqDBusCFForm kFormTechnologyProperty   = { "technology property",   "sv",        PropertiesWalkerNoPaths,    AnyWalker,        kWrapEntry };
const zqDBusCFForm kFormTechnologies         = { "technologies",          "a(oa{sv})", ObjectsWalker,              AnyObjectsWalker, kWrapNone };
const zqDBusCFForm kFormTechnology           = { "technology",            "oa{sv}",    ObjectWalker,               AnyObjectsWalker, kWrapObject };
// clang-format on

namespace
{

bool IsTolerant()
{
    return zqConnMan::GetDecoding() == zqConnMan::kDecodingTolerant;
}

zqError WalkWrapped(DBusMessageIter *anIterator, zqDBusWalker aWalker, zqDBusCFForm::Wrapping aWrapping,
                    zqDBusCFContext &aContext)
{
    const int lElement = aWrapping == kWrapEntry ? DBUS_TYPE_DICT_ENTRY : DBUS_TYPE_STRUCT;
    zqError   lReturn  = zqError_None;

    if (aWrapping != kWrapNone)
        lReturn = aWalker(&aContext, zqDBusWalkArrayStart, nullptr, &lElement);
    if (lReturn == zqError_None && aWrapping == kWrapObject)
        lReturn = aWalker(&aContext, zqDBusWalkStructureStart, nullptr, nullptr);

    if (lReturn == zqError_None)
        lReturn = zqDBus::WalkDBusMsgIter(anIterator, aWalker, &aContext);

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

zqError DecodeDictionary(DBusMessageIter *anIterator, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult)
try
{
    zqDBusCFContext lContext;
    zqError lReturn = WalkWrapped(anIterator, IsTolerant() ? aForm.mTolerant : aForm.mExact, aForm.mWrapping, lContext);

    if (lReturn == zqError_None)
        lReturn = lContext.mStatus;
    if (lReturn == zqError_None && !ZQ_CHECK(CFUIsTypeID(lContext.mResult, CFDictionaryGetTypeID())))
        lReturn = zqError_InvalidArgument;
    if (lReturn == zqError_None)
        aResult = CFUAdopt(static_cast<CFDictionaryRef>(lContext.TakeResult()));

    return Report(aForm.mWhat, lReturn);
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
    DBusMessageIter lIterator;

    if (!ZQ_CHECK(dbus_message_has_signature(aMessage, aForm.mSignature)))
        return Report(aForm.mWhat, zqError_InvalidArgument);

    (void)dbus_message_iter_init(aMessage, &lIterator);

    return DecodeDictionary(&lIterator, aForm, aResult);
}

zqError zqDBusCFDecode(DBusMessageIter *anIterator, const zqDBusCFForm &aForm, CFUSharedRef<CFDictionaryRef> &aResult)
{
    ZQ_REQUIRE(anIterator != NULL, zqError_InvalidArgument);

    if (!ZQ_CHECK(HasNameAndValue(anIterator)))
        return Report(aForm.mWhat, zqError_InvalidArgument);

    return DecodeDictionary(anIterator, aForm, aResult);
}

zqError zqDBusCFDecodeServicesChanged(DBusMessage *aMessage, CFUSharedRef<CFDictionaryRef> &aChanged,
                                      CFUSharedRef<CFArrayRef> &aRemoved)
try
{
    ZQ_REQUIRE(dbus_message_has_signature(aMessage, "a(oa{sv})ao"), zqError_InvalidArgument);

    ServicesChangedContext lContext;
    DBusMessageIter        lIterator;

    lContext.mWalkServices = IsTolerant() ? AnyObjectsWalker : ServiceObjectsWalker;
    (void)dbus_message_iter_init(aMessage, &lIterator);

    zqError lReturn = zqDBus::WalkDBusMsgIter(&lIterator, ServicesChangedWalker, &lContext);

    if (lReturn == zqError_None)
        lReturn = lContext.mStatus;
    if (lReturn == zqError_None && !ZQ_CHECK(lContext.mChanged != NULL && lContext.mRemoved != NULL))
        lReturn = zqError_InvalidArgument;

    if (lReturn == zqError_None)
    {
        aChanged = std::move(lContext.mChanged);
        aRemoved = std::move(lContext.mRemoved);
    }
    return Report("changed services", lReturn);
}
catch (const std::bad_alloc &)
{
    return Report("changed services", zqError_NoResources);
}

zqError zqDBusCFDecodeInput(DBusMessage *aMessage, CFUSharedRef<CFArrayRef> &aValues)
try
{
    zqDBusCFContext lContext;
    DBusMessageIter lIterator;
    zqError         lReturn = zqDBusCFPushArray(lContext);

    if (lReturn == zqError_None && dbus_message_iter_init(aMessage, &lIterator))
        lReturn = zqDBus::WalkDBusMsgIter(&lIterator, IsTolerant() ? AnyWalker : TechnologyPropertiesWalker, &lContext);

    if (lReturn == zqError_None)
        lReturn = lContext.mStatus;

    if (lReturn == zqError_None)
    {
        zqDBusCFPopState(lContext);
        aValues = CFUAdopt(static_cast<CFArrayRef>(lContext.TakeResult()));
    }
    return Report("requested input", lReturn);
}
catch (const std::bad_alloc &)
{
    return Report("requested input", zqError_NoResources);
}
