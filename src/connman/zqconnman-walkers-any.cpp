/**
 *  @file
 *    The tolerant walkers: they take everything that a message can hold.
 */

#include "zqconnman-walkers.h"

#include <charconv>

namespace
{

/** The next value is the key of an entry of the innermost dictionary. */
bool IsKeyDue(const zqDBusCFContext &aContext)
{
    return !aContext.mStack.empty() && aContext.mStack.back().mKind == zqDBusCFState::kDictionary &&
           (aContext.mStack.back().mFlags & zqDBusCFState::kKeyWaits) == 0;
}

template <typename T>
zqError AddNumberKey(zqDBusCFContext &aContext, const void *aValue)
{
    char lText[32] = {}; // a double takes 24

    (void)std::to_chars(lText, lText + sizeof lText - 1, *static_cast<const T *>(aValue));

    return zqDBusCFAddString(aContext, lText);
}

/** Keys that are no texts become texts. */
zqError WalkAnyKey(zqDBusCFContext &aContext, int anEvent, const void *aValue)
{
    switch (anEvent)
    {
    case DBUS_TYPE_BYTE:
        return AddNumberKey<UInt8>(aContext, aValue);
    case DBUS_TYPE_INT16:
        return AddNumberKey<SInt16>(aContext, aValue);
    case DBUS_TYPE_UINT16:
        return AddNumberKey<UInt16>(aContext, aValue);
    case DBUS_TYPE_BOOLEAN:
    case DBUS_TYPE_UINT32:
        return AddNumberKey<UInt32>(aContext, aValue);
    case DBUS_TYPE_INT32:
        return AddNumberKey<SInt32>(aContext, aValue);
    case DBUS_TYPE_INT64:
        return AddNumberKey<SInt64>(aContext, aValue);
    case DBUS_TYPE_UINT64:
        return AddNumberKey<UInt64>(aContext, aValue);
    case DBUS_TYPE_DOUBLE:
        return AddNumberKey<double>(aContext, aValue);
    case DBUS_TYPE_UNIX_FD:
        return zqError_InvalidArgument;
    default:
        return zqDBusCFAddString(aContext, zqDBusCFText(aValue));
    }
}

zqError WalkAnyScalar(zqDBusCFContext &aContext, int anEvent, const void *aValue)
{
    if (anEvent != DBUS_TYPE_VARIANT && IsKeyDue(aContext))
        return WalkAnyKey(aContext, anEvent, aValue);

    switch (anEvent)
    {
    case DBUS_TYPE_OBJECT_PATH:
    case DBUS_TYPE_SIGNATURE:
        return zqDBusCFAddString(aContext, zqDBusCFText(aValue));
    case DBUS_TYPE_BYTE:
        return zqDBusCFAddNumberAs<UInt8, SInt16>(aContext, kCFNumberSInt16Type, aValue);
    case DBUS_TYPE_INT16:
        return zqDBusCFAddNumber(aContext, kCFNumberSInt16Type, aValue);
    case DBUS_TYPE_UINT16:
        return zqDBusCFAddNumberAs<UInt16, SInt32>(aContext, kCFNumberSInt32Type, aValue);
    case DBUS_TYPE_INT32:
        return zqDBusCFAddNumber(aContext, kCFNumberSInt32Type, aValue);
    case DBUS_TYPE_UINT32:
        return zqDBusCFAddNumberAs<UInt32, SInt64>(aContext, kCFNumberSInt64Type, aValue);
    case DBUS_TYPE_INT64:
    case DBUS_TYPE_UINT64:
        return zqDBusCFAddNumber(aContext, kCFNumberSInt64Type, aValue);
    case DBUS_TYPE_DOUBLE:
        return zqDBusCFAddNumber(aContext, kCFNumberFloat64Type, aValue);
    case DBUS_TYPE_UNIX_FD:
        if (!aContext.mStack.empty())
            aContext.mStack.back().DropKey();
        return zqError_None;
    default:
        return zqDBusCFWalkScalar(aContext, anEvent, aValue);
    }
}

} // namespace

zqError AnyWalker(void *theContext, int anEvent, const char *, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    zqDBusCFContext &lContext = *static_cast<zqDBusCFContext *>(theContext);

    switch (anEvent)
    {
    case zqDBusWalkArrayStart:
        return zqDBusCFStart(lContext, *static_cast<const int *>(aValue) == DBUS_TYPE_DICT_ENTRY);
    case zqDBusWalkStructureStart:
        return zqDBusCFStart(lContext, false);
    case zqDBusWalkArrayEnd:
    case zqDBusWalkStructureEnd:
        return zqDBusCFEnd(lContext);
    default:
        return WalkAnyScalar(lContext, anEvent, aValue);
    }
}

zqError AnyObjectsWalker(void *theContext, int anEvent, const char *aName, const void *aValue)
{
    ZQ_REQUIRE(theContext != NULL, zqError_InvalidArgument);

    const SInt32 lDepth = static_cast<const zqDBusCFContext *>(theContext)->mDepth;

    // The set, its (path, properties) pairs, and nothing further in.
    if ((anEvent == zqDBusWalkArrayStart && lDepth == 0) || (anEvent == zqDBusWalkStructureStart && lDepth == 1) ||
        (anEvent == zqDBusWalkStructureEnd && lDepth == 2))
        return ObjectsWalker(theContext, anEvent, aName, aValue);

    return AnyWalker(theContext, anEvent, aName, aValue);
}
