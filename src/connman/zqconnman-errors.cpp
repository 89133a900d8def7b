/**
 *  @file
 *    The codes of what the daemon and the bus refuse with.
 */

#include "zqconnman-private.h"

#include <glib.h>

namespace
{

struct ErrorText
{
    const char *mText;
    zqError     mError;
};

// The daemon's errors are told by what they say, not by their names.
const ErrorText kErrorMessages[] = {
    { "Invalid arguments", zqError_InvalidArgument },
    { "Permission denied", zqError_PermissionDenied },
    { "Not unique", zqError_AlreadyPresent },
    { "Not supported", zqError_NotSupported },
    { "Not implemented", zqError_NotImplemented },
    { "Not found", zqError_NotFound },
    { "In progress", zqError_InProgress },
    { "Already exists", zqError_Already },
    { "Already enabled", zqError_Already },
    { "Already disabled", zqError_Already },
    { "Already connected", zqError_Already },
    { "Not connected", zqError_NotConnected },
    { "Operation aborted", zqError_Aborted },
    { "Operation timeout", zqError_TimedOut },
    { "Invalid service", zqError_InvalidArgument },
    { "Invalid property", zqError_InvalidArgument },
    { "No route to host", zqError_NoRoute },
};

const ErrorText kErrorNames[] = {
    { DBUS_ERROR_SERVICE_UNKNOWN, zqError_ServiceUnknown },
    { DBUS_ERROR_NO_REPLY, zqError_NoReply },
    { DBUS_ERROR_UNKNOWN_METHOD, zqError_UnknownMethod },
    { DBUS_ERROR_UNKNOWN_OBJECT, zqError_UnknownObject },
};

template <std::size_t N>
const ErrorText *Find(const ErrorText (&aTable)[N], const char *aText)
{
    for (const ErrorText &lRow : aTable)
        if (g_ascii_strcasecmp(lRow.mText, aText) == 0)
            return &lRow;
    return nullptr;
}

} // namespace

zqError zqConnMan::MapError(const char *aLabel, DBusError *anError)
{
    if (anError == nullptr || !dbus_error_is_set(anError) || anError->message == nullptr)
        return zqError_Failed;

    ZQ_LOG(zqLogLevel_Error, "connman: %s error [%s: %s]", aLabel, anError->name, anError->message);

    const ErrorText *lRow = Find(kErrorMessages, anError->message);

    if (lRow == nullptr)
        lRow = Find(kErrorNames, anError->name);

    return lRow != nullptr ? lRow->mError : zqError_Failed;
}
