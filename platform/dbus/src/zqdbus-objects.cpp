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

            const DBusObjectPathVTable lTable = { nullptr, HandleCall, nullptr, nullptr, nullptr, nullptr };
            zqDBusError                lError;

            if (dbus_connection_try_register_object_path(mLink.mConnection, aPath, &lTable, this, lError.Get()))
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

DBusHandlerResult zqDBusObjects::HandleCall(DBusConnection *aConnection, DBusMessage *aMessage, void *aContext) noexcept
{
    const auto                  lObjects = static_cast<zqDBusObjects *>(aContext);
    const zqDBusMethodDispatch *lRow     = nullptr;
    void                       *lContext = nullptr;

    if (dbus_message_get_type(aMessage) != DBUS_MESSAGE_TYPE_METHOD_CALL)
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

    {
        const std::lock_guard<std::mutex> lLock(lObjects->mLink.mLock);
        const auto                        lFound = lObjects->mObjects.find(dbus_message_get_path(aMessage));

        if (lFound == lObjects->mObjects.end() || lFound->second.mTable == nullptr)
            return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

        lRow     = FindRow(lFound->second.mTable, aMessage);
        lContext = lFound->second.mContext;
    }

    if (lRow == nullptr)
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;

    try
    {
        return lRow->mHandler(lContext, aConnection, aMessage) == DBUS_HANDLER_RESULT_HANDLED
                   ? DBUS_HANDLER_RESULT_HANDLED
                   : DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }
    catch (...)
    {
        ZQ_LOG(zqLogLevel_Error, "dbus: the handler of a method call threw\n");
    }

    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}
