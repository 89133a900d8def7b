/**
 *  @file
 *    From CoreFoundation values to variants.
 */

#include "zqdbus-private.h"

namespace
{

// A container that holds itself must end somewhere, well before libdbus's own limit.
constexpr int kMaximumDepth = 16;

/** Open a container, let @a aFill fill it, and close it; nothing of it stays when that fails. */
template <typename Fill>
zqError AppendContainer(DBusMessageIter *anIterator, int aType, const char *aSignature, const Fill &aFill) noexcept
{
    DBusMessageIter lContainer;

    if (!dbus_message_iter_open_container(anIterator, aType, aSignature, &lContainer))
        return zqError_NoResources;

    const zqError lReturn = aFill(&lContainer);

    if (lReturn != zqError_None)
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

zqError AppendBoolean(DBusMessageIter *anIterator, CFBooleanRef aBoolean) noexcept
{
    const dbus_bool_t lFlag = CFBooleanGetValue(aBoolean) ? TRUE : FALSE;

    return AppendBasic(anIterator, DBUS_TYPE_BOOLEAN, &lFlag);
}

zqError AppendNumber(DBusMessageIter *anIterator, CFNumberRef aNumber, int aType) noexcept
{
    DBusBasicValue lValue = {};

    const auto lAppend = [&](CFNumberType aReadAs)
    {
        (void)CFNumberGetValue(aNumber, aReadAs, &lValue);
        return AppendBasic(anIterator, aType, &lValue);
    };

    switch (aType)
    {
    case DBUS_TYPE_BYTE:
        return lAppend(kCFNumberSInt8Type);
    case DBUS_TYPE_INT16:
        return lAppend(kCFNumberSInt16Type);
    case DBUS_TYPE_INT32:
        return lAppend(kCFNumberSInt32Type);
    case DBUS_TYPE_INT64:
        return lAppend(kCFNumberSInt64Type);
    default:
        return lAppend(kCFNumberDoubleType);
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

                               for (CFIndex lIndex = 0; lReturn == zqError_None && lIndex < CFArrayGetCount(anArray);
                                    ++lIndex)
                                   lReturn = anAppend(aContents, CFArrayGetValueAtIndex(anArray, lIndex));

                               return lReturn;
                           });
}

const char *GetNumberSignature(CFNumberRef aNumber) noexcept
{
    if (CFNumberIsFloatType(aNumber))
        return "d";

    switch (CFNumberGetByteSize(aNumber))
    {
    case 1:
    case 2:
        return "n";
    case 4:
        return "i";
    default:
        return "x";
    }
}

class Encoder
{
public:
    explicit Encoder(zqDBusSignatureOf aSignatureOf, int aDepth = 0) noexcept
        : mSignatureOf(aSignatureOf), mDepth(aDepth)
    {
    }

    zqError AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue) const noexcept;
    zqError AppendDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary) const noexcept;

private:
    zqError AppendValue(DBusMessageIter *anIterator, const char *aSignature, CFTypeRef aValue) const noexcept;
    zqError AppendEntry(DBusMessageIter *anArray, CFTypeRef aKey, CFTypeRef aValue) const noexcept;

    const zqDBusSignatureOf mSignatureOf;
    const int               mDepth; ///< how many containers it is in
};

zqError Encoder::AppendEntry(DBusMessageIter *anArray, CFTypeRef aKey, CFTypeRef aValue) const noexcept
{
    return AppendContainer(anArray, DBUS_TYPE_DICT_ENTRY, nullptr,
                           [&](DBusMessageIter *anEntry)
                           {
                               const zqError lReturn = AppendText(anEntry, aKey);

                               return lReturn == zqError_None ? AppendVariant(anEntry, aValue) : lReturn;
                           });
}

zqError Encoder::AppendDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary) const noexcept
{
    const auto lAppendEntries = [&](DBusMessageIter *anArray)
    {
        zqError lReturn = zqError_None;
        auto    lAppend = [&, lInside = Encoder(mSignatureOf, mDepth + 1)](CFTypeRef aKey, CFTypeRef aValue)
        { lReturn = lReturn == zqError_None ? lInside.AppendEntry(anArray, aKey, aValue) : lReturn; };

        CFDictionaryApplyFunction(
            aDictionary,
            [](const void *aKey, const void *aValue, void *aContext)
            { (*static_cast<decltype(lAppend) *>(aContext))(aKey, aValue); },
            &lAppend);

        return lReturn;
    };

    return AppendContainer(anIterator, DBUS_TYPE_ARRAY, "{sv}", lAppendEntries);
}

/** @param[in]  aSignature  One that the value can have. */
zqError Encoder::AppendValue(DBusMessageIter *anIterator, const char *aSignature, CFTypeRef aValue) const noexcept
{
    switch (*aSignature)
    {
    case DBUS_TYPE_STRING:
        return AppendText(anIterator, aValue);
    case DBUS_TYPE_BOOLEAN:
        return AppendBoolean(anIterator, static_cast<CFBooleanRef>(aValue));
    case DBUS_TYPE_ARRAY:
        break;
    default:
        return AppendNumber(anIterator, static_cast<CFNumberRef>(aValue), *aSignature);
    }

    if (aSignature[1] == DBUS_TYPE_BYTE)
        return AppendBytes(anIterator, static_cast<CFDataRef>(aValue));

    if (mDepth >= kMaximumDepth)
        return zqError_InvalidArgument;

    if (CFUIsTypeID(aValue, CFDictionaryGetTypeID()))
        return AppendDictionary(anIterator, static_cast<CFDictionaryRef>(aValue));

    return AppendArray(anIterator, static_cast<CFArrayRef>(aValue), aSignature + 1,
                       [=, lInside = Encoder(mSignatureOf, mDepth + 1)](DBusMessageIter *anArray, CFTypeRef anElement)
                       {
                           return aSignature[1] == DBUS_TYPE_STRING ? AppendText(anArray, anElement)
                                                                    : lInside.AppendVariant(anArray, anElement);
                       });
}

zqError Encoder::AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue) const noexcept
{
    const char *const lSignature = aValue != nullptr ? mSignatureOf(aValue) : nullptr;

    if (lSignature == nullptr)
        return zqError_InvalidArgument;

    return AppendContainer(anIterator, DBUS_TYPE_VARIANT, lSignature,
                           [&](DBusMessageIter *aVariant) { return AppendValue(aVariant, lSignature, aValue); });
}

} // namespace

const char *zqDBus::GetNaturalSignature(CFTypeRef aValue) noexcept
{
    const CFTypeID lType = CFGetTypeID(aValue);

    if (lType == CFStringGetTypeID())
        return "s";
    if (lType == CFBooleanGetTypeID())
        return "b";
    if (lType == CFNumberGetTypeID())
        return GetNumberSignature(static_cast<CFNumberRef>(aValue));
    if (lType == CFDataGetTypeID())
        return "ay";
    if (lType == CFDictionaryGetTypeID())
        return "a{sv}";
    if (lType == CFArrayGetTypeID())
        return IsArrayOfStrings(static_cast<CFArrayRef>(aValue)) ? "as" : "av";

    return nullptr;
}

zqError zqDBus::AppendVariant(DBusMessageIter *anIterator, CFTypeRef aValue, zqDBusSignatureOf aSignatureOf) noexcept
{
    return anIterator != nullptr ? Encoder(aSignatureOf).AppendVariant(anIterator, aValue) : zqError_InvalidArgument;
}

zqError zqDBus::AppendDictionary(DBusMessageIter *anIterator, CFDictionaryRef aDictionary,
                                 zqDBusSignatureOf aSignatureOf) noexcept
{
    if (anIterator == nullptr || aDictionary == nullptr)
        return zqError_InvalidArgument;

    return Encoder(aSignatureOf).AppendDictionary(anIterator, aDictionary);
}
