/**
 *  @file
 *    What goes into a message, checked, and what comes out of it.
 */

#include "zqdbus-private.h"

#include <algorithm>

namespace
{

using CFValue = CFUSharedRef<CFTypeRef>;

bool IsStringLike(int aType) noexcept
{
    return aType == DBUS_TYPE_STRING || aType == DBUS_TYPE_OBJECT_PATH || aType == DBUS_TYPE_SIGNATURE;
}

bool IsValidString(int aType, const char *aText) noexcept
{
    if (aText == nullptr)
        return false;

    switch (aType)
    {
    case DBUS_TYPE_OBJECT_PATH:
        return dbus_validate_path(aText, nullptr);
    case DBUS_TYPE_SIGNATURE:
        return dbus_signature_validate(aText, nullptr);
    default:
        return dbus_validate_utf8(aText, nullptr);
    }
}

bool IsValidBoolean(dbus_bool_t aValue) noexcept
{
    return aValue == 0 || aValue == 1;
}

bool IsValidBasic(int aType, const void *aValue) noexcept
{
    if (aValue == nullptr || !dbus_type_is_basic(aType))
        return false;

    if (IsStringLike(aType))
        return IsValidString(aType, *static_cast<const char *const *>(aValue));

    return aType != DBUS_TYPE_BOOLEAN || IsValidBoolean(*static_cast<const dbus_bool_t *>(aValue));
}

std::size_t GetFixedSize(int aType) noexcept
{
    switch (aType)
    {
    case DBUS_TYPE_BYTE:
        return 1;
    case DBUS_TYPE_INT16:
    case DBUS_TYPE_UINT16:
        return 2;
    case DBUS_TYPE_BOOLEAN:
    case DBUS_TYPE_INT32:
    case DBUS_TYPE_UINT32:
        return 4;
    default:
        return 8;
    }
}

bool IsValidFixedArray(int aType, const void *anElements, int aCount) noexcept
{
    if (static_cast<std::size_t>(aCount) > DBUS_MAXIMUM_ARRAY_LENGTH / GetFixedSize(aType))
        return false;

    const auto *const lBooleans = static_cast<const dbus_bool_t *>(anElements);

    return aType != DBUS_TYPE_BOOLEAN || std::all_of(lBooleans, lBooleans + aCount, IsValidBoolean);
}

/** The element type, the address of the elements' address, and their number. */
bool IsValidArray(int aType, const void *anAddress, int aCount) noexcept
{
    if (anAddress == nullptr || aCount < 0)
        return false;

    const void *const lElements = *static_cast<const void *const *>(anAddress);

    if (lElements == nullptr && aCount > 0)
        return false;

    if (IsStringLike(aType))
    {
        const auto *const lStrings = static_cast<const char *const *>(lElements);

        return std::all_of(lStrings, lStrings + aCount, [=](const char *aText) { return IsValidString(aType, aText); });
    }

    return dbus_type_is_fixed(aType) && aType != DBUS_TYPE_UNIX_FD && IsValidFixedArray(aType, lElements, aCount);
}

bool AreValidArguments(int aFirstType, va_list aArguments) noexcept
{
    for (int lType = aFirstType; lType != DBUS_TYPE_INVALID; lType = va_arg(aArguments, int))
    {
        if (lType != DBUS_TYPE_ARRAY)
        {
            if (!dbus_type_is_valid(lType) || !IsValidBasic(lType, va_arg(aArguments, const void *)))
                return false;

            continue;
        }

        const int         lElementType = va_arg(aArguments, int);
        const void *const lAddress     = va_arg(aArguments, const void *);
        const int         lCount       = va_arg(aArguments, int);

        if (!dbus_type_is_valid(lElementType) || !IsValidArray(lElementType, lAddress, lCount))
            return false;
    }

    return true;
}

// Walking

struct Walk
{
    zqDBusWalker mWalker;
    void        *mContext;
};

zqError WalkElement(DBusMessageIter &anIterator, int aType, const Walk &aWalk, const char *aName) noexcept;

zqError WalkAll(DBusMessageIter &anIterator, const Walk &aWalk, const char *aName) noexcept
{
    int lType = DBUS_TYPE_INVALID;

    while ((lType = dbus_message_iter_get_arg_type(&anIterator)) != DBUS_TYPE_INVALID)
    {
        const zqError lReturn = WalkElement(anIterator, lType, aWalk, aName);

        if (lReturn != 0)
            return lReturn;

        (void)dbus_message_iter_next(&anIterator);
    }

    return zqError_None;
}

zqError WalkContainer(DBusMessageIter &anIterator, const Walk &aWalk, const char *aName, int aStart,
                      const void *aStartValue, int anEnd) noexcept
{
    DBusMessageIter lInner;
    zqError         lReturn = aWalk.mWalker(aWalk.mContext, aStart, aName, aStartValue);

    if (lReturn != 0)
        return lReturn;

    dbus_message_iter_recurse(&anIterator, &lInner);
    lReturn = WalkAll(lInner, aWalk, aName);

    return lReturn != 0 ? lReturn : aWalk.mWalker(aWalk.mContext, anEnd, aName, nullptr);
}

zqError WalkEntry(DBusMessageIter &anIterator, const Walk &aWalk) noexcept
{
    DBusMessageIter lInner;
    const char     *lKey = nullptr;

    dbus_message_iter_recurse(&anIterator, &lInner);

    const int lType   = dbus_message_iter_get_arg_type(&lInner);
    zqError   lReturn = zqError_None;

    if (IsStringLike(lType))
    {
        dbus_message_iter_get_basic(&lInner, &lKey);
        lReturn = aWalk.mWalker(aWalk.mContext, DBUS_TYPE_DICT_ENTRY, lKey, &lKey);
    }
    else
        lReturn = WalkElement(lInner, lType, aWalk, nullptr);

    if (lReturn != 0)
        return lReturn;

    (void)dbus_message_iter_next(&lInner);

    return WalkAll(lInner, aWalk, lKey);
}

zqError WalkVariant(DBusMessageIter &anIterator, const Walk &aWalk, const char *aName) noexcept
{
    DBusMessageIter lInner;
    const zqError   lReturn = aWalk.mWalker(aWalk.mContext, DBUS_TYPE_VARIANT, aName, nullptr);

    if (lReturn != 0)
        return lReturn;

    dbus_message_iter_recurse(&anIterator, &lInner);

    return WalkAll(lInner, aWalk, aName);
}

zqError WalkElement(DBusMessageIter &anIterator, int aType, const Walk &aWalk, const char *aName) noexcept
{
    switch (aType)
    {
    case DBUS_TYPE_ARRAY:
    {
        const int lElementType = dbus_message_iter_get_element_type(&anIterator);

        return WalkContainer(anIterator, aWalk, aName, zqDBusWalkArrayStart, &lElementType, zqDBusWalkArrayEnd);
    }

    case DBUS_TYPE_STRUCT:
        return WalkContainer(anIterator, aWalk, aName, zqDBusWalkStructureStart, nullptr, zqDBusWalkStructureEnd);

    case DBUS_TYPE_DICT_ENTRY:
        return WalkEntry(anIterator, aWalk);

    case DBUS_TYPE_VARIANT:
        return WalkVariant(anIterator, aWalk, aName);

    case DBUS_TYPE_UNIX_FD:
        // Reading it would open another one, which nobody closes.
        return aWalk.mWalker(aWalk.mContext, aType, aName, nullptr);

    default:
    {
        DBusBasicValue lValue;

        dbus_message_iter_get_basic(&anIterator, &lValue);

        return aWalk.mWalker(aWalk.mContext, aType, aName, &lValue);
    }
    }
}

// Values. Each function yields a result code, and null besides 0 for what has no value.

zqError CopyElement(DBusMessageIter &anIterator, CFValue &aValue) noexcept;

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
        return YieldNumber(kCFNumberSInt16Type, static_cast<SInt16>(aBasic.byt), aValue);
    case DBUS_TYPE_INT16:
        return YieldNumber(kCFNumberSInt16Type, static_cast<SInt16>(aBasic.i16), aValue);
    case DBUS_TYPE_UINT16:
        return YieldNumber(kCFNumberSInt32Type, static_cast<SInt32>(aBasic.u16), aValue);
    case DBUS_TYPE_INT32:
        return YieldNumber(kCFNumberSInt32Type, static_cast<SInt32>(aBasic.i32), aValue);
    case DBUS_TYPE_UINT32:
        return YieldNumber(kCFNumberSInt64Type, static_cast<SInt64>(aBasic.u32), aValue);
    case DBUS_TYPE_INT64:
        return YieldNumber(kCFNumberSInt64Type, static_cast<SInt64>(aBasic.i64), aValue);
    case DBUS_TYPE_UINT64:
        return YieldNumber(kCFNumberSInt64Type, static_cast<SInt64>(aBasic.u64), aValue);
    case DBUS_TYPE_DOUBLE:
        return YieldNumber(kCFNumberDoubleType, aBasic.dbl, aValue);
    default:
        aValue.Reset();
        return zqError_None;
    }
}

zqError CopyBasic(DBusMessageIter &anIterator, int aType, CFValue &aValue) noexcept
{
    DBusBasicValue lBasic;

    dbus_message_iter_get_basic(&anIterator, &lBasic);

    if (IsStringLike(aType))
        return Yield(CFUAdopt(CFStringCreateWithCString(kCFAllocatorDefault, lBasic.str, kCFStringEncodingUTF8)),
                     aValue);

    if (aType == DBUS_TYPE_BOOLEAN)
    {
        aValue = CFURetain(static_cast<CFTypeRef>(lBasic.bool_val ? kCFBooleanTrue : kCFBooleanFalse));
        return zqError_None;
    }

    return CopyNumber(aType, lBasic, aValue);
}

zqError CopyBytes(DBusMessageIter &anIterator, CFValue &aValue) noexcept
{
    static const UInt8 kNone  = 0;
    const UInt8       *lBytes = nullptr;
    int                lCount = 0;
    DBusMessageIter    lInner;

    dbus_message_iter_recurse(&anIterator, &lInner);

    if (dbus_message_iter_get_arg_type(&lInner) != DBUS_TYPE_INVALID)
        dbus_message_iter_get_fixed_array(&lInner, &lBytes, &lCount);

    return Yield(CFUAdopt(CFDataCreate(kCFAllocatorDefault, lBytes != nullptr ? lBytes : &kNone, lCount)), aValue);
}

zqError CopyArray(DBusMessageIter &anIterator, CFValue &aValue) noexcept
{
    const auto      lArray = CFUAdopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    CFIndex         lCount = 0;
    DBusMessageIter lInner;

    if (!lArray)
        return zqError_NoResources;

    dbus_message_iter_recurse(&anIterator, &lInner);

    while (dbus_message_iter_get_arg_type(&lInner) != DBUS_TYPE_INVALID)
    {
        CFValue       lElement;
        const zqError lReturn = CopyElement(lInner, lElement);

        if (lReturn != 0)
            return lReturn;

        if (lElement)
        {
            CFArrayAppendValue(lArray.Get(), lElement.Get());

            if (CFArrayGetCount(lArray.Get()) != ++lCount)
                return zqError_NoResources;
        }

        (void)dbus_message_iter_next(&lInner);
    }

    aValue = lArray;

    return zqError_None;
}

zqError CopyEntry(DBusMessageIter &anIterator, CFMutableDictionaryRef aDictionary) noexcept
{
    DBusMessageIter lInner;
    CFValue         lKey;
    CFValue         lValue;

    dbus_message_iter_recurse(&anIterator, &lInner);

    zqError lReturn = CopyElement(lInner, lKey);

    if (lReturn == 0)
    {
        (void)dbus_message_iter_next(&lInner);
        lReturn = CopyElement(lInner, lValue);
    }

    if (lReturn != 0 || !lKey || !lValue)
        return lReturn;

    CFDictionarySetValue(aDictionary, lKey.Get(), lValue.Get());

    return CFDictionaryGetValue(aDictionary, lKey.Get()) == lValue.Get() ? zqError_None : zqError_NoResources;
}

zqError CopyDictionary(DBusMessageIter &anIterator, CFValue &aValue) noexcept
{
    const auto lDictionary = CFUAdopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks));
    DBusMessageIter lInner;

    if (!lDictionary)
        return zqError_NoResources;

    dbus_message_iter_recurse(&anIterator, &lInner);

    while (dbus_message_iter_get_arg_type(&lInner) != DBUS_TYPE_INVALID)
    {
        const zqError lReturn = CopyEntry(lInner, lDictionary.Get());

        if (lReturn != 0)
            return lReturn;

        (void)dbus_message_iter_next(&lInner);
    }

    aValue = lDictionary;

    return zqError_None;
}

zqError CopyElement(DBusMessageIter &anIterator, CFValue &aValue) noexcept
{
    const int lType = dbus_message_iter_get_arg_type(&anIterator);

    switch (lType)
    {
    case DBUS_TYPE_INVALID:
    case DBUS_TYPE_UNIX_FD:
        return zqError_None;

    case DBUS_TYPE_STRUCT:
        return CopyArray(anIterator, aValue);

    case DBUS_TYPE_VARIANT:
    {
        DBusMessageIter lInner;

        dbus_message_iter_recurse(&anIterator, &lInner);

        return CopyElement(lInner, aValue);
    }

    case DBUS_TYPE_ARRAY:
        switch (dbus_message_iter_get_element_type(&anIterator))
        {
        case DBUS_TYPE_BYTE:
            return CopyBytes(anIterator, aValue);
        case DBUS_TYPE_DICT_ENTRY:
            return CopyDictionary(anIterator, aValue);
        default:
            return CopyArray(anIterator, aValue);
        }

    default:
        return CopyBasic(anIterator, lType, aValue);
    }
}

} // namespace

// The local names are libdbus's own: the bus drops who uses them.

bool zqDBusIsValidPath(const char *aPath) noexcept
{
    return aPath != nullptr && dbus_validate_path(aPath, nullptr) && std::strcmp(aPath, DBUS_PATH_LOCAL) != 0;
}

bool zqDBusIsValidInterface(const char *anInterface) noexcept
{
    return anInterface != nullptr && dbus_validate_interface(anInterface, nullptr) &&
           std::strcmp(anInterface, DBUS_INTERFACE_LOCAL) != 0;
}

bool zqDBusIsValidMember(const char *aMember) noexcept
{
    return aMember != nullptr && dbus_validate_member(aMember, nullptr);
}

bool zqDBusIsValidBusName(const char *aName) noexcept
{
    return aName != nullptr && dbus_validate_bus_name(aName, nullptr);
}

bool zqDBusIsValidText(const char *aText) noexcept
{
    return IsValidString(DBUS_TYPE_STRING, aText);
}

zqError zqDBusAppendArguments(DBusMessage *aMessage, int aFirstType, va_list aArguments) noexcept
{
    va_list lArguments;

    va_copy(lArguments, aArguments);

    const bool lIsValid = AreValidArguments(aFirstType, lArguments);

    va_end(lArguments);

    if (!lIsValid)
        return zqError_InvalidArgument;

    return dbus_message_append_args_valist(aMessage, aFirstType, aArguments) ? zqError_None : zqError_NoResources;
}

zqError zqDBus::WalkDBusMsgIter(DBusMessageIter *anIterator, zqDBusWalker aWalker, void *aContext) noexcept
{
    if (anIterator == nullptr || aWalker == nullptr)
        return zqError_InvalidArgument;

    DBusMessageIter lIterator = *anIterator;

    return WalkAll(lIterator, { aWalker, aContext }, nullptr);
}

CFUSharedRef<CFTypeRef> zqDBus::CopyValue(DBusMessageIter *anIterator) noexcept
{
    CFValue lValue;

    if (anIterator != nullptr && CopyElement(*anIterator, lValue) != 0)
        lValue.Reset();

    return lValue;
}
