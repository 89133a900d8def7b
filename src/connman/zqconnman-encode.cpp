/**
 *  @file
 *    From CoreFoundation values to D-Bus arguments.
 */

#include "zqconnman-private.h"

#include <zqstring.h>

namespace
{

// libdbus refuses deeper messages; a dictionary that holds itself must end somewhere.
constexpr int kMaximumDepth = 16;

zqError AppendValue(DBusMessageIter *anIterator, CFTypeRef aValue, int aDepth);

/** Open a container, let @a anAppend fill it, and close it; nothing of it stays when that fails. */
template <typename F>
zqError AppendContainer(DBusMessageIter *anIterator, int aType, const char *aSignature, F anAppend)
{
    DBusMessageIter lContainer;

    if (!dbus_message_iter_open_container(anIterator, aType, aSignature, &lContainer))
        return zqError_NoResources;

    const zqError lReturn = anAppend(&lContainer);

    if (lReturn != zqError_None)
    {
        dbus_message_iter_abandon_container(anIterator, &lContainer);
        return lReturn;
    }
    return dbus_message_iter_close_container(anIterator, &lContainer) ? zqError_None : zqError_NoResources;
}

zqError AppendBasic(DBusMessageIter *anIterator, int aType, const void *aValue)
{
    return dbus_message_iter_append_basic(anIterator, aType, aValue) ? zqError_None : zqError_NoResources;
}

/** libdbus ends the process for a string that is not UTF-8. */
zqError AppendText(DBusMessageIter *anIterator, const char *aText)
{
    ZQ_REQUIRE(aText != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(dbus_validate_utf8(aText, NULL), zqError_InvalidArgument);

    return AppendBasic(anIterator, DBUS_TYPE_STRING, &aText);
}

zqError AppendString(DBusMessageIter *anIterator, CFStringRef aString)
{
    const zqString lText(aString);
    const bool     isWhole = !lText.IsEmpty() || CFStringGetLength(aString) == 0;

    // A zqString does without a text that C would end early, at a NUL inside.
    ZQ_REQUIRE(isWhole, zqError_InvalidArgument);

    return AppendText(anIterator, lText.GetAsUTFArray());
}

zqError AppendBasicVariant(DBusMessageIter *anIterator, int aType, const void *aValue)
{
    const char lSignature[] = { static_cast<char>(aType), '\0' };

    return AppendContainer(anIterator, DBUS_TYPE_VARIANT, lSignature,
                           [&](DBusMessageIter *aVariant) { return AppendBasic(aVariant, aType, aValue); });
}

zqError AppendNumber(DBusMessageIter *anIterator, CFNumberRef aNumber)
{
    const CFNumberType lType  = CFUGetNumberType(aNumber);
    DBusBasicValue     lValue = {};

    const auto lAppend = [&](int aDBusType, CFNumberType aReadAs)
    {
        (void)CFNumberGetValue(aNumber, aReadAs, &lValue);
        return AppendBasicVariant(anIterator, aDBusType, &lValue);
    };

    switch (lType)
    {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
        return lAppend(DBUS_TYPE_BYTE, kCFNumberSInt8Type);
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
        return lAppend(DBUS_TYPE_INT16, kCFNumberSInt16Type);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
    case kCFNumberLongType:
        return lAppend(DBUS_TYPE_INT32, kCFNumberSInt32Type);
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
        return lAppend(DBUS_TYPE_INT64, kCFNumberSInt64Type);
    case kCFNumberFloat32Type:
    case kCFNumberFloat64Type:
    case kCFNumberFloatType:
    case kCFNumberDoubleType:
        return lAppend(DBUS_TYPE_DOUBLE, kCFNumberDoubleType);
    default:
        ZQ_LOG(zqLogLevel_Error, "connman: unsupported cf number type %lu", static_cast<unsigned long>(lType));
        return zqError_InvalidArgument;
    }
}

zqError AppendDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary, int aDepth)
{
    ZQ_REQUIRE(aDepth < kMaximumDepth, zqError_InvalidArgument);

    const auto lAppendEntry = [&](DBusMessageIter *anArray, const void *aKey, const void *aValue) -> zqError
    {
        ZQ_REQUIRE(CFUIsTypeID(aKey, CFStringGetTypeID()), zqError_InvalidArgument);
        ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

        return AppendContainer(anArray, DBUS_TYPE_DICT_ENTRY, nullptr,
                               [&](DBusMessageIter *anEntry)
                               {
                                   const zqError lReturn = AppendString(anEntry, static_cast<CFStringRef>(aKey));

                                   return lReturn == zqError_None ? AppendValue(anEntry, aValue, aDepth + 1) : lReturn;
                               });
    };

    const auto lAppendEntries = [&](DBusMessageIter *anArray)
    {
        zqError lReturn = zqError_None;

        zq::ConnMan::ForEachEntry(aDictionary,
                                  [&](const void *aKey, const void *aValue)
                                  {
                                      if (lReturn == zqError_None)
                                          lReturn = lAppendEntry(anArray, aKey, aValue);
                                  });
        return lReturn;
    };

    return AppendContainer(anIterator, DBUS_TYPE_ARRAY, "{sv}", lAppendEntries);
}

bool IsArrayOfStrings(CFTypeRef aValue)
{
    if (!CFUIsTypeID(aValue, CFArrayGetTypeID()))
        return false;

    const auto lArray = static_cast<CFArrayRef>(aValue);

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lArray); ++lIndex)
        if (!CFUIsTypeID(CFArrayGetValueAtIndex(lArray, lIndex), CFStringGetTypeID()))
            return false;
    return true;
}

zqError AppendStrings(DBusMessageIter *anIterator, CFArrayRef anArray)
{
    const auto lAppendElements = [&](DBusMessageIter *aStrings)
    {
        zqError lReturn = zqError_None;

        for (CFIndex lIndex = 0; lReturn == zqError_None && lIndex < CFArrayGetCount(anArray); ++lIndex)
            lReturn = AppendString(aStrings, static_cast<CFStringRef>(CFArrayGetValueAtIndex(anArray, lIndex)));
        return lReturn;
    };

    return AppendContainer(anIterator, DBUS_TYPE_VARIANT, "as",
                           [&](DBusMessageIter *aVariant)
                           { return AppendContainer(aVariant, DBUS_TYPE_ARRAY, "s", lAppendElements); });
}

zqError AppendValue(DBusMessageIter *anIterator, CFTypeRef aValue, int aDepth)
{
    const CFTypeID lType = CFGetTypeID(aValue);

    if (lType == CFDictionaryGetTypeID())
        return AppendContainer(anIterator, DBUS_TYPE_VARIANT, "a{sv}",
                               [&](DBusMessageIter *aVariant)
                               { return AppendDictionary(aVariant, static_cast<CFDictionaryRef>(aValue), aDepth); });

    if (lType == CFBooleanGetTypeID())
    {
        const dbus_bool_t lFlag = CFBooleanGetValue(static_cast<CFBooleanRef>(aValue)) ? TRUE : FALSE;

        return AppendBasicVariant(anIterator, DBUS_TYPE_BOOLEAN, &lFlag);
    }

    if (lType == CFStringGetTypeID())
        return AppendContainer(anIterator, DBUS_TYPE_VARIANT, "s",
                               [&](DBusMessageIter *aVariant)
                               { return AppendString(aVariant, static_cast<CFStringRef>(aValue)); });

    if (lType == CFNumberGetTypeID())
        return AppendNumber(anIterator, static_cast<CFNumberRef>(aValue));

    // The device's daemon takes no lists; others have whole properties that are lists of strings.
    if (zqConnMan::GetDecoding() == zqConnMan::kDecodingTolerant && IsArrayOfStrings(aValue))
        return AppendStrings(anIterator, static_cast<CFArrayRef>(aValue));

    ZQ_LOG(zqLogLevel_Error, "connman: unsupported property value type %lu", static_cast<unsigned long>(lType));
    return zqError_InvalidArgument;
}

} // namespace

zqError zqDBusCFAppendPropertyEntry(DBusMessageIter *anIterator, const char *aName, CFTypeRef aValue)
{
    ZQ_REQUIRE(aValue != NULL, zqError_InvalidArgument);

    const zqError lReturn = AppendText(anIterator, aName);

    return lReturn == zqError_None ? AppendValue(anIterator, aValue, 0) : lReturn;
}

zqError zqDBusCFAppendPropertyDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary)
{
    return AppendDictionary(anIterator, aDictionary, 0);
}
