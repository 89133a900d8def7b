/**
 *  @file
 *    What the daemon is sent of CoreFoundation values.
 */

#include "zqconnman-private.h"

#include <cstring>

namespace
{

const char *GetNumberSignature(CFNumberRef aNumber) noexcept
{
    const CFNumberType lType = CFUGetNumberType(aNumber);

    switch (lType)
    {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return "y";
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return "n";
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
    case kCFNumberLongType:
        return "i";
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
        return "x";
    case kCFNumberFloat32Type:
    case kCFNumberFloat64Type:
    case kCFNumberFloatType:
    case kCFNumberDoubleType:
        return "d";
    default:
        ZQ_LOG(zqLogLevel_Error, "connman: unsupported cf number type %lu", static_cast<unsigned long>(lType));
        return nullptr;
    }
}

const char *GetSignature(CFTypeRef aValue) noexcept
{
    if (CFUIsTypeID(aValue, CFNumberGetTypeID()))
        return GetNumberSignature(static_cast<CFNumberRef>(aValue));

    const char *const lSignature = zqDBus::GetNaturalSignature(aValue);
    const auto lIs = [=](const char *aText) { return lSignature != nullptr && std::strcmp(lSignature, aText) == 0; };

    // The device's daemon takes no lists; others have whole properties that are lists of strings.
    if (lIs("s") || lIs("b") || lIs("a{sv}") || (lIs("as") && zq::ConnMan::IsTolerant()))
        return lSignature;

    ZQ_LOG(zqLogLevel_Error, "connman: unsupported property value type %lu",
           static_cast<unsigned long>(CFGetTypeID(aValue)));
    return nullptr;
}

} // namespace

zqError zqDBusCFAppendPropertyEntry(DBusMessageIter *anIterator, const char *aName, CFTypeRef aValue)
{
    ZQ_REQUIRE(aName != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(dbus_validate_utf8(aName, NULL), zqError_InvalidArgument);
    ZQ_REQUIRE(dbus_message_iter_append_basic(anIterator, DBUS_TYPE_STRING, &aName), zqError_NoResources);

    return zqDBus::AppendVariant(anIterator, aValue, GetSignature);
}

zqError zqDBusCFAppendPropertyDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary)
{
    return zqDBus::AppendDictionary(anIterator, aDictionary, GetSignature);
}
