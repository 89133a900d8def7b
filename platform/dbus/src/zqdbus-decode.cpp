/**
 *  @file
 *    From messages to CoreFoundation values.
 */

#include <zqdbus.h>

#include <charconv>
#include <iterator>
#include <utility>

namespace
{

using CFValue = CFUSharedRef<CFTypeRef>;

constexpr zqDBusDecoding kNatural = { nullptr, true, false };

bool IsAtEnd(DBusMessageIter &anIterator) noexcept
{
    return dbus_message_iter_get_arg_type(&anIterator) == DBUS_TYPE_INVALID;
}

DBusMessageIter Recurse(DBusMessageIter &anIterator) noexcept
{
    DBusMessageIter lInner;

    dbus_message_iter_recurse(&anIterator, &lInner);

    return lInner;
}

zqError Yield(CFValue aCreated, CFValue &aValue) noexcept
{
    aValue = std::move(aCreated);

    return aValue ? zqError_None : zqError_NoResources;
}

template <typename Number>
zqError YieldNumber(CFNumberType aType, Number aNumber, CFValue &aValue) noexcept
{
    return Yield(CFUAdopt(CFNumberCreate(kCFAllocatorDefault, aType, &aNumber)), aValue);
}

/** Each number in the smallest signed type that holds every value of its own. */
zqError CopyNumber(int aType, const DBusBasicValue &aBasic, CFValue &aValue) noexcept
{
    switch (aType)
    {
    case DBUS_TYPE_BYTE:
        return YieldNumber(kCFNumberSInt16Type, SInt16{ aBasic.byt }, aValue);
    case DBUS_TYPE_INT16:
        return YieldNumber(kCFNumberSInt16Type, aBasic.i16, aValue);
    case DBUS_TYPE_UINT16:
        return YieldNumber(kCFNumberSInt32Type, SInt32{ aBasic.u16 }, aValue);
    case DBUS_TYPE_INT32:
        return YieldNumber(kCFNumberSInt32Type, aBasic.i32, aValue);
    case DBUS_TYPE_UINT32:
        return YieldNumber(kCFNumberSInt64Type, SInt64{ aBasic.u32 }, aValue);
    case DBUS_TYPE_DOUBLE:
        return YieldNumber(kCFNumberDoubleType, aBasic.dbl, aValue);
    default:
        return YieldNumber(kCFNumberSInt64Type, aBasic.i64, aValue); // of an unsigned one the same bits
    }
}

zqError CopyBytes(DBusMessageIter &anIterator, CFValue &aValue) noexcept
{
    static const UInt8 kNone  = 0;
    const UInt8       *lBytes = nullptr;
    int                lCount = 0;
    DBusMessageIter    lInner = Recurse(anIterator);

    if (!IsAtEnd(lInner))
        dbus_message_iter_get_fixed_array(&lInner, &lBytes, &lCount);

    return Yield(CFUAdopt(CFDataCreate(kCFAllocatorDefault, lBytes != nullptr ? lBytes : &kNone, lCount)), aValue);
}

/** The text of a key that is a number or a boolean. */
void WriteKey(int aType, const DBusBasicValue &aBasic, char *aText, char *anEnd) noexcept
{
    const auto lWrite = [=](auto aNumber) { (void)std::to_chars(aText, anEnd, aNumber); };

    switch (aType)
    {
    case DBUS_TYPE_BYTE:
        return lWrite(aBasic.byt);
    case DBUS_TYPE_INT16:
        return lWrite(aBasic.i16);
    case DBUS_TYPE_UINT16:
        return lWrite(aBasic.u16);
    case DBUS_TYPE_BOOLEAN:
    case DBUS_TYPE_UINT32:
        return lWrite(aBasic.u32);
    case DBUS_TYPE_INT32:
        return lWrite(aBasic.i32);
    case DBUS_TYPE_INT64:
        return lWrite(aBasic.i64);
    case DBUS_TYPE_UINT64:
        return lWrite(aBasic.u64);
    default:
        return lWrite(aBasic.dbl);
    }
}

/** Each function yields a result code, and null besides 0 for what has no value. */
class Decoder
{
public:
    explicit Decoder(const zqDBusDecoding &aDecoding) noexcept : mDecoding(aDecoding) {}

    zqError CopyElement(DBusMessageIter &anIterator, CFValue &aValue) const noexcept;
    zqError AddElements(DBusMessageIter &anIterator, CFMutableArrayRef anArray) const noexcept;
    zqError AddEntries(DBusMessageIter &anIterator, CFMutableDictionaryRef aDictionary) const noexcept;
    zqError AddEntry(DBusMessageIter &aKey, CFMutableDictionaryRef aDictionary) const noexcept;

private:
    zqError CopyText(const char *aText, CFValue &aValue) const noexcept;
    zqError CopyBasic(DBusMessageIter &anIterator, int aType, CFValue &aValue) const noexcept;
    zqError CopyKey(DBusMessageIter &anIterator, CFValue &aKey) const noexcept;
    zqError CopyArray(DBusMessageIter &anIterator, CFValue &aValue) const noexcept;
    zqError CopyDictionary(DBusMessageIter &anIterator, CFValue &aValue) const noexcept;

    const zqDBusDecoding &mDecoding;
};

zqError Decoder::CopyText(const char *aText, CFValue &aValue) const noexcept
{
    const CFStringRef lFound = mDecoding.mFindString != nullptr ? mDecoding.mFindString(aText) : nullptr;

    if (lFound != nullptr)
        return Yield(CFURetain(lFound), aValue);

    return Yield(CFUAdopt(CFStringCreateWithCString(kCFAllocatorDefault, aText, kCFStringEncodingUTF8)), aValue);
}

zqError Decoder::CopyBasic(DBusMessageIter &anIterator, int aType, CFValue &aValue) const noexcept
{
    DBusBasicValue lBasic;

    dbus_message_iter_get_basic(&anIterator, &lBasic);

    switch (aType)
    {
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_OBJECT_PATH:
    case DBUS_TYPE_SIGNATURE:
        return CopyText(lBasic.str, aValue);
    case DBUS_TYPE_BOOLEAN:
        return Yield(CFURetain(lBasic.bool_val ? kCFBooleanTrue : kCFBooleanFalse), aValue);
    default:
        return CopyNumber(aType, lBasic, aValue);
    }
}

zqError Decoder::CopyKey(DBusMessageIter &anIterator, CFValue &aKey) const noexcept
{
    const int lType = dbus_message_iter_get_arg_type(&anIterator);

    if (!mDecoding.mKeysAreTexts || lType == DBUS_TYPE_STRING || lType == DBUS_TYPE_OBJECT_PATH ||
        lType == DBUS_TYPE_SIGNATURE)
        return CopyElement(anIterator, aKey);

    if (lType == DBUS_TYPE_UNIX_FD)
        return zqError_InvalidArgument;

    DBusBasicValue lBasic;
    char           lText[32] = {}; // a double takes 24

    dbus_message_iter_get_basic(&anIterator, &lBasic);
    WriteKey(lType, lBasic, lText, std::end(lText) - 1);

    return CopyText(lText, aKey);
}

// When memory is exhausted a container stays as it is, and does not say so.

zqError Decoder::AddElements(DBusMessageIter &anIterator, CFMutableArrayRef anArray) const noexcept
{
    for (; !IsAtEnd(anIterator); (void)dbus_message_iter_next(&anIterator))
    {
        CFValue       lElement;
        const zqError lReturn = CopyElement(anIterator, lElement);
        const CFIndex lCount  = CFArrayGetCount(anArray);

        if (lReturn != zqError_None)
            return lReturn;

        if (lElement)
            CFArrayAppendValue(anArray, lElement.Get());
        if (lElement && CFArrayGetCount(anArray) == lCount)
            return zqError_NoResources;
    }
    return zqError_None;
}

zqError Decoder::AddEntry(DBusMessageIter &aKey, CFMutableDictionaryRef aDictionary) const noexcept
{
    CFValue lKey;
    CFValue lValue;
    zqError lReturn = CopyKey(aKey, lKey);

    if (lReturn == zqError_None)
    {
        (void)dbus_message_iter_next(&aKey);
        lReturn = CopyElement(aKey, lValue);
    }

    if (lReturn != zqError_None || !lKey || !lValue)
        return lReturn;

    CFDictionarySetValue(aDictionary, lKey.Get(), lValue.Get());

    return CFDictionaryGetValue(aDictionary, lKey.Get()) == lValue.Get() ? zqError_None : zqError_NoResources;
}

zqError Decoder::AddEntries(DBusMessageIter &anIterator, CFMutableDictionaryRef aDictionary) const noexcept
{
    zqError lReturn = zqError_None;

    for (DBusMessageIter lEntries = Recurse(anIterator); lReturn == zqError_None && !IsAtEnd(lEntries);
         (void)dbus_message_iter_next(&lEntries))
    {
        DBusMessageIter lKey = Recurse(lEntries);

        lReturn = AddEntry(lKey, aDictionary);
    }
    return lReturn;
}

zqError Decoder::CopyArray(DBusMessageIter &anIterator, CFValue &aValue) const noexcept
{
    const auto      lArray = CFUAdopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    DBusMessageIter lInner = Recurse(anIterator);

    aValue = lArray;

    return lArray ? AddElements(lInner, lArray.Get()) : zqError_NoResources;
}

zqError Decoder::CopyDictionary(DBusMessageIter &anIterator, CFValue &aValue) const noexcept
{
    const auto lDictionary = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks));

    aValue = lDictionary;

    return lDictionary ? AddEntries(anIterator, lDictionary.Get()) : zqError_NoResources;
}

zqError Decoder::CopyElement(DBusMessageIter &anIterator, CFValue &aValue) const noexcept
{
    const int lType = dbus_message_iter_get_arg_type(&anIterator);

    switch (lType)
    {
    case DBUS_TYPE_INVALID:
    case DBUS_TYPE_UNIX_FD: // reading it would open another one, which nobody closes
        return zqError_None;

    case DBUS_TYPE_STRUCT:
        return CopyArray(anIterator, aValue);

    case DBUS_TYPE_VARIANT:
    {
        DBusMessageIter lInner = Recurse(anIterator);

        return CopyElement(lInner, aValue);
    }

    case DBUS_TYPE_ARRAY:
    {
        const int lElement = dbus_message_iter_get_element_type(&anIterator);

        if (lElement == DBUS_TYPE_DICT_ENTRY)
            return CopyDictionary(anIterator, aValue);

        return lElement == DBUS_TYPE_BYTE && mDecoding.mBytesAreData ? CopyBytes(anIterator, aValue)
                                                                     : CopyArray(anIterator, aValue);
    }

    default:
        return CopyBasic(anIterator, lType, aValue);
    }
}

} // namespace

CFUSharedRef<CFTypeRef> zqDBus::CopyValue(DBusMessageIter *anIterator) noexcept
{
    CFValue lValue;

    if (anIterator != nullptr && Decoder(kNatural).CopyElement(*anIterator, lValue) != zqError_None)
        lValue.Reset();

    return lValue;
}

zqError zqDBus::AddElements(DBusMessageIter *anIterator, const zqDBusDecoding &aDecoding,
                            CFMutableArrayRef anArray) noexcept
{
    if (anIterator == nullptr || anArray == nullptr)
        return zqError_InvalidArgument;

    DBusMessageIter lIterator = *anIterator;

    return Decoder(aDecoding).AddElements(lIterator, anArray);
}

zqError zqDBus::AddEntries(DBusMessageIter *anIterator, const zqDBusDecoding &aDecoding,
                           CFMutableDictionaryRef aDictionary) noexcept
{
    if (anIterator == nullptr || aDictionary == nullptr)
        return zqError_InvalidArgument;

    const Decoder   lDecoder(aDecoding);
    DBusMessageIter lIterator = *anIterator;

    return dbus_message_iter_get_arg_type(&lIterator) == DBUS_TYPE_ARRAY ? lDecoder.AddEntries(lIterator, aDictionary)
                                                                         : lDecoder.AddEntry(lIterator, aDictionary);
}
