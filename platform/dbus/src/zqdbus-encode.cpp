/**
 *  @file
 *    From CoreFoundation values to variants.
 */

#include "zqdbus-private.h"

namespace
{

// A container that holds itself must end somewhere, well before libdbus's own limit.
constexpr int kMaximumDepth = 16;

zqError AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue, int aDepth) noexcept;

/** Open a container, let @a aFill fill it, and close it; nothing of it stays when that fails. */
template <typename Fill>
zqError AppendContainer(DBusMessageIter *anIterator, int aType, const char *aSignature, const Fill &aFill) noexcept
{
    DBusMessageIter lContainer;

    if (!dbus_message_iter_open_container(anIterator, aType, aSignature, &lContainer))
        return zqError_NoResources;

    const zqError lReturn = aFill(&lContainer);

    if (lReturn != 0)
    {
        dbus_message_iter_abandon_container(anIterator, &lContainer);
        return lReturn;
    }

    return dbus_message_iter_close_container(anIterator, &lContainer) ? zqError_None : zqError_NoResources;
}

zqError AppendBasic(DBusMessageIter *anIterator, int aType, const void *aValue) noexcept
{
    return dbus_message_iter_append_basic(anIterator, aType, aValue) ? zqError_None : zqError_NoResources;
}

zqError AppendText(DBusMessageIter *anIterator, CFTypeRef aString) noexcept
{
    if (!CFUIsTypeID(aString, CFStringGetTypeID()))
        return zqError_InvalidArgument;

    const char *const lText = CFStringGetCStringPtr(static_cast<CFStringRef>(aString), kCFStringEncodingUTF8);

    return zqDBusIsValidText(lText) ? AppendBasic(anIterator, DBUS_TYPE_STRING, &lText) : zqError_InvalidArgument;
}

zqError AppendBasicVariant(DBusMessageIter *anIterator, int aType, const void *aValue) noexcept
{
    const char lSignature[] = { static_cast<char>(aType), '\0' };

    return AppendContainer(anIterator, DBUS_TYPE_VARIANT, lSignature,
                           [=](DBusMessageIter *aVariant) { return AppendBasic(aVariant, aType, aValue); });
}

zqError AppendBoolean(DBusMessageIter *anIterator, CFBooleanRef aBoolean) noexcept
{
    const dbus_bool_t lFlag = CFBooleanGetValue(aBoolean) ? TRUE : FALSE;

    return AppendBasicVariant(anIterator, DBUS_TYPE_BOOLEAN, &lFlag);
}

zqError AppendNumber(DBusMessageIter *anIterator, CFNumberRef aNumber) noexcept
{
    DBusBasicValue lValue = {};

    const auto lAppend = [&](int aType, CFNumberType aReadAs)
    {
        (void)CFNumberGetValue(aNumber, aReadAs, &lValue);
        return AppendBasicVariant(anIterator, aType, &lValue);
    };

    if (CFNumberIsFloatType(aNumber))
        return lAppend(DBUS_TYPE_DOUBLE, kCFNumberDoubleType);

    switch (CFNumberGetByteSize(aNumber))
    {
    case 1:
    case 2:
        return lAppend(DBUS_TYPE_INT16, kCFNumberSInt16Type);
    case 4:
        return lAppend(DBUS_TYPE_INT32, kCFNumberSInt32Type);
    default:
        return lAppend(DBUS_TYPE_INT64, kCFNumberSInt64Type);
    }
}

zqError AppendBytes(DBusMessageIter *anIterator, CFDataRef aData) noexcept
{
    const UInt8 *const lBytes = CFDataGetBytePtr(aData);
    const CFIndex      lCount = CFDataGetLength(aData);

    if (lCount > DBUS_MAXIMUM_ARRAY_LENGTH)
        return zqError_InvalidArgument;

    return AppendContainer(anIterator, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE_AS_STRING,
                           [&](DBusMessageIter *anArray)
                           {
                               return dbus_message_iter_append_fixed_array(anArray, DBUS_TYPE_BYTE, &lBytes,
                                                                           static_cast<int>(lCount))
                                          ? zqError_None
                                          : zqError_NoResources;
                           });
}

bool IsArrayOfStrings(CFArrayRef anArray) noexcept
{
    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(anArray); ++lIndex)
        if (!CFUIsTypeID(CFArrayGetValueAtIndex(anArray, lIndex), CFStringGetTypeID()))
            return false;

    return true;
}

template <typename Append>
zqError AppendArray(DBusMessageIter *anIterator, CFArrayRef anArray, const char *aSignature,
                    const Append &anAppend) noexcept
{
    return AppendContainer(anIterator, DBUS_TYPE_ARRAY, aSignature,
                           [&](DBusMessageIter *aContents)
                           {
                               zqError lReturn = zqError_None;

                               for (CFIndex lIndex = 0; lReturn == 0 && lIndex < CFArrayGetCount(anArray); ++lIndex)
                                   lReturn = anAppend(aContents, CFArrayGetValueAtIndex(anArray, lIndex));

                               return lReturn;
                           });
}

struct Entries
{
    DBusMessageIter *mArray;
    int              mDepth;
    zqError          mResult;
};

void AppendEntry(const void *aKey, const void *aValue, void *aContext) noexcept
{
    auto *const lEntries = static_cast<Entries *>(aContext);

    if (lEntries->mResult != 0)
        return;

    lEntries->mResult =
        AppendContainer(lEntries->mArray, DBUS_TYPE_DICT_ENTRY, nullptr,
                        [&](DBusMessageIter *anEntry)
                        {
                            const zqError lReturn = AppendText(anEntry, aKey);

                            return lReturn == 0 ? AppendVariant(anEntry, aValue, lEntries->mDepth) : lReturn;
                        });
}

zqError AppendDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary, int aDepth) noexcept
{
    return AppendContainer(anIterator, DBUS_TYPE_ARRAY, "{sv}",
                           [&](DBusMessageIter *anArray)
                           {
                               Entries lEntries = { anArray, aDepth, zqError_None };

                               CFDictionaryApplyFunction(aDictionary, AppendEntry, &lEntries);

                               return lEntries.mResult;
                           });
}

zqError AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue, int aDepth) noexcept
{
    const CFTypeID lType = CFGetTypeID(aValue);

    const auto lInVariant = [&](const char *aSignature, const auto &anAppend)
    { return AppendContainer(anIterator, DBUS_TYPE_VARIANT, aSignature, anAppend); };

    if (lType == CFStringGetTypeID())
        return lInVariant("s", [=](DBusMessageIter *aVariant) { return AppendText(aVariant, aValue); });

    if (lType == CFBooleanGetTypeID())
        return AppendBoolean(anIterator, static_cast<CFBooleanRef>(aValue));

    if (lType == CFNumberGetTypeID())
        return AppendNumber(anIterator, static_cast<CFNumberRef>(aValue));

    if (lType == CFDataGetTypeID())
        return lInVariant("ay", [=](DBusMessageIter *aVariant)
                          { return AppendBytes(aVariant, static_cast<CFDataRef>(aValue)); });

    if (aDepth >= kMaximumDepth)
        return zqError_InvalidArgument;

    if (lType == CFDictionaryGetTypeID())
        return lInVariant("a{sv}", [=](DBusMessageIter *aVariant)
                          { return AppendDictionary(aVariant, static_cast<CFDictionaryRef>(aValue), aDepth + 1); });

    if (lType != CFArrayGetTypeID())
        return zqError_InvalidArgument;

    const auto *const lArray = static_cast<CFArrayRef>(aValue);

    if (IsArrayOfStrings(lArray))
        return lInVariant("as",
                          [=](DBusMessageIter *aVariant) { return AppendArray(aVariant, lArray, "s", AppendText); });

    return lInVariant("av",
                      [=](DBusMessageIter *aVariant)
                      {
                          return AppendArray(aVariant, lArray, "v",
                                             [=](DBusMessageIter *anArray, CFTypeRef anElement)
                                             { return AppendVariant(anArray, anElement, aDepth + 1); });
                      });
}

} // namespace

zqError zqDBus::AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue) noexcept
{
    return anIterator != nullptr ? ::AppendVariant(anIterator, aValue, 0) : zqError_InvalidArgument;
}
