/**
 *  @file
 *    The elements of a message, one after the other.
 */

#include <zqdbus.h>

namespace
{

bool IsStringLike(int aType) noexcept
{
    return aType == DBUS_TYPE_STRING || aType == DBUS_TYPE_OBJECT_PATH || aType == DBUS_TYPE_SIGNATURE;
}

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

        if (lReturn != zqError_None)
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

    if (lReturn != zqError_None)
        return lReturn;

    dbus_message_iter_recurse(&anIterator, &lInner);
    lReturn = WalkAll(lInner, aWalk, aName);

    return lReturn != zqError_None ? lReturn : aWalk.mWalker(aWalk.mContext, anEnd, aName, nullptr);
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

    if (lReturn != zqError_None)
        return lReturn;

    (void)dbus_message_iter_next(&lInner);

    return WalkAll(lInner, aWalk, lKey);
}

zqError WalkVariant(DBusMessageIter &anIterator, const Walk &aWalk, const char *aName) noexcept
{
    DBusMessageIter lInner;
    const zqError   lReturn = aWalk.mWalker(aWalk.mContext, DBUS_TYPE_VARIANT, aName, nullptr);

    if (lReturn != zqError_None)
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

} // namespace

zqError zqDBus::WalkDBusMsgIter(DBusMessageIter *anIterator, zqDBusWalker aWalker, void *aContext) noexcept
{
    if (anIterator == nullptr || aWalker == nullptr)
        return zqError_InvalidArgument;

    DBusMessageIter lIterator = *anIterator;

    return WalkAll(lIterator, { aWalker, aContext }, nullptr);
}
