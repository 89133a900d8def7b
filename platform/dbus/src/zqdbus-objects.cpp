/**
 *  @file
 *    Exported objects, and the answers to calls.
 */

#include "zqdbus-private.h"

#include <zqlog.h>

#define ZQ_LOG_COMPONENT "dbus"
#define ZQ_LOG_FILE "zqdbus"

namespace
{

/** How often the last unregistering of a path is tried. */
constexpr int kUnregisterAttempts = 100;

const zqDBusMethodDispatch *FindRow(const zqDBusMethodDispatch *aTable, DBusMessage *aMessage) noexcept
{
    const char *const lInterface = dbus_message_get_interface(aMessage);

    for (; aTable->mHandler != nullptr; aTable++)
    {
        // A call need not name its interface.
        const bool lIsInterface =
            lInterface == nullptr || aTable->mInterface == nullptr || std::strcmp(aTable->mInterface, lInterface) == 0;

        if (lIsInterface && zqDBusIsSame(aTable->mMethod, dbus_message_get_member(aMessage)))
            return aTable;
    }

    return nullptr;
}

DBusHandlerResult LeaveUnhandled(DBusConnection *, DBusMessage *, void *) noexcept
{
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}

/** In libdbus's words, for what it would have answered so. */
void AnswerUnknownMethod(DBusConnection *aConnection, DBusMessage *aMessage) noexcept
{
    if (dbus_message_get_no_reply(aMessage))
        return;

    const char *const      lInterface = dbus_message_get_interface(aMessage);
    const zqDBusMessageRef lReply(dbus_message_new_error_printf(
        aMessage, DBUS_ERROR_UNKNOWN_METHOD, "Method \"%s\" with signature \"%s\" on interface \"%s\" doesn't exist\n",
        dbus_message_get_member(aMessage), dbus_message_get_signature(aMessage),
        lInterface != nullptr ? lInterface : "(null)"));

    if (lReply.Get() != nullptr)
        (void)dbus_connection_send(aConnection, lReply.Get(), nullptr);
}

} // namespace

zqError zqDBusObjects::Register(const char *aPath, const zqDBusMethodDispatch *aTable, void *aContext) noexcept
{
    if (aTable == nullptr || !zqDBusIsValidPath(aPath))
        return zqError_InvalidArgument;

    return zqDBusGuarded(
        [&]
        {
            const std::lock_guard<std::mutex> lLock(mLink.mLock);

            if (mLink.mIsLost || !dbus_connection_get_is_connected(mLink.mConnection))
                return zqError(zqError_WrongState);

            const auto lAdded = mObjects.emplace(aPath, Object{ aTable, aContext });

            if (!lAdded.second)
            {
                Object &lObject = lAdded.first->second;

                if (lObject.mTable != nullptr)
                    return zqError(zqError_AlreadyPresent);

                lObject = { aTable, aContext };
                return zqError(zqError_None);
            }

            // Only so that libdbus knows of the object, when it answers what no table has a row for.
            const DBusObjectPathVTable lTable = { nullptr, LeaveUnhandled, nullptr, nullptr, nullptr, nullptr };
            zqDBusError                lError;

            if (dbus_connection_try_register_object_path(mLink.mConnection, aPath, &lTable, nullptr, lError.Get()))
                return zqError(zqError_None);

            (void)mObjects.erase(lAdded.first);

            return zqError(dbus_error_has_name(lError.Get(), DBUS_ERROR_OBJECT_PATH_IN_USE) ? zqError_AlreadyPresent
                                                                                            : zqError_NoResources);
        });
}

zqError zqDBusObjects::Unregister(const char *aPath) noexcept
{
    if (!zqDBusIsValidPath(aPath))
        return zqError_InvalidArgument;

    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);
        const auto                        lFound = mObjects.find(aPath);

        if (lFound == mObjects.end() || lFound->second.mTable == nullptr)
            return zqError_NotFound;

        lFound->second.mTable = nullptr;
        mHasStale             = true;
    }

    Retry();

    return zqError_None;
}

void zqDBusObjects::Retry() noexcept
{
    const std::lock_guard<std::mutex> lLock(mLink.mLock);

    if (!mHasStale)
        return;

    mHasStale = false;

    for (auto lObject = mObjects.begin(); lObject != mObjects.end();)
    {
        if (lObject->second.mTable != nullptr)
            ++lObject;
        else if (dbus_connection_unregister_object_path(mLink.mConnection, lObject->first.c_str()))
            lObject = mObjects.erase(lObject);
        else
        {
            mHasStale = true;
            ++lObject;
        }
    }
}

void zqDBusObjects::UnregisterAll() noexcept
{
    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        for (auto &lObject : mObjects)
            lObject.second.mTable = nullptr;

        mHasStale = !mObjects.empty();
    }

    for (int lCount = 0; lCount < kUnregisterAttempts; lCount++)
        Retry();
}

const zqDBusMethodDispatch *zqDBusObjects::FindRowLocked(DBusMessage *aMessage, void *&aContext) const noexcept
{
    const char *const lPath  = dbus_message_get_path(aMessage);
    const auto        lFound = lPath != nullptr ? mObjects.find(lPath) : mObjects.end();

    if (lFound == mObjects.end() || lFound->second.mTable == nullptr)
        return nullptr;

    aContext = lFound->second.mContext;
    return FindRow(lFound->second.mTable, aMessage);
}

bool zqDBusObjects::HasLocked(DBusMessage *aMessage) const noexcept
{
    void *lContext = nullptr;

    return FindRowLocked(aMessage, lContext) != nullptr;
}

void zqDBusObjects::Dispatch(DBusMessage *aMessage) noexcept
{
    const zqDBusMethodDispatch *lRow       = nullptr;
    void                       *lContext   = nullptr;
    bool                        lIsHandled = false;

    {
        const std::lock_guard<std::mutex> lLock(mLink.mLock);

        lRow = FindRowLocked(aMessage, lContext);
    }

    try
    {
        lIsHandled =
            lRow != nullptr && lRow->mHandler(lContext, mLink.mConnection, aMessage) == DBUS_HANDLER_RESULT_HANDLED;
    }
    catch (...)
    {
        ZQ_LOG(zqLogLevel_Error, "dbus: the handler of a method call threw\n");
    }

    if (!lIsHandled)
        AnswerUnknownMethod(mLink.mConnection, aMessage);
}
