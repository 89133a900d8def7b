/**
 *  @file
 *    How a call to the WPAN daemon is made, and what becomes of it.
 */

#include "zqwpanctl-calls.h"
#include "zqwpanctl-private.h"

#include <zqlog.h>

#include <cstring>

#define ZQ_LOG_COMPONENT "wpanctl"
#define ZQ_LOG_FILE "zqwpanctl"

namespace zq::WPAN
{

namespace
{

bool IsNoReply(const char *anErrorName) noexcept
{
    return anErrorName != nullptr && std::strcmp(anErrorName, DBUS_ERROR_NO_REPLY) == 0;
}

zqError AppendText(DBusMessageIter *anIterator, const char *aText) noexcept
{
    // Empty is what a zqString keeps of a string that C would end early; libdbus ends the process for no UTF-8.
    ZQ_REQUIRE(aText[0] != 0, zqError_InvalidArgument);
    ZQ_REQUIRE(dbus_validate_utf8(aText, NULL), zqError_InvalidArgument);

    return dbus_message_iter_append_basic(anIterator, DBUS_TYPE_STRING, &aText) ? zqError_None : zqError_NoResources;
}

zqError AppendBytes(DBusMessageIter *anIterator, const Argument &anArgument) noexcept
{
    DBusMessageIter lArray;

    if (!dbus_message_iter_open_container(anIterator, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE_AS_STRING, &lArray))
        return zqError_NoResources;

    const bool lAppended =
        dbus_message_iter_append_fixed_array(&lArray, DBUS_TYPE_BYTE, &anArgument.mData, anArgument.mLength);
    const bool lClosed = dbus_message_iter_close_container(anIterator, &lArray);

    return lAppended && lClosed ? zqError_None : zqError_NoResources;
}

zqError Append(DBusMessageIter *anIterator, char aType, const Argument &anArgument) noexcept
{
    switch (aType)
    {
    case DBUS_TYPE_STRING:
        return AppendText(anIterator, static_cast<const char *>(anArgument.mData));
    case DBUS_TYPE_ARRAY:
        return AppendBytes(anIterator, anArgument);
    case DBUS_TYPE_VARIANT:
        return zqDBus::AppendVariant(anIterator, anArgument.mData);
    default:
        return dbus_message_iter_append_basic(anIterator, aType, anArgument.mData) ? zqError_None : zqError_NoResources;
    }
}

zqError AppendAll(DBusMessage *aMessage, const char *aTypes, std::initializer_list<Argument> anArguments) noexcept
{
    DBusMessageIter lIterator;

    dbus_message_iter_init_append(aMessage, &lIterator);
    for (const Argument &lArgument : anArguments)
    {
        const zqError lReturn = Append(&lIterator, *aTypes, lArgument);

        if (lReturn != zqError_None)
            return lReturn;
        aTypes += *aTypes == DBUS_TYPE_ARRAY ? 2 : 1; // every array is one of bytes
    }
    return zqError_None;
}

zqError Wait(zqDBus &aDBus, DBusMessage *aMessage, int aTimeout, CFUSharedRef<CFTypeRef> *aValue) noexcept
{
    MessageRef  lReply;
    zqDBusError lError;
    zqError     lReturn = aDBus.PerformMethodCallWithMessage(aMessage, nullptr, lReply.Out(), aTimeout, lError.Get());

    if (lReturn == zqError_Failed && IsNoReply(lError.GetName()))
        lReturn = zqError_TimedOut;

    // Who does not wait is content without an answer.
    if (lReturn == zqError_TimedOut && aTimeout == 0)
        return zqError_None;

    return lReturn == zqError_None ? ReadReply(lReply.Get(), aValue) : lReturn;
}

} // namespace

zqError Perform(const zqString &aPath, const Command &aCommand, zqDBusPendingCall *aHelper,
                std::initializer_list<Argument> anArguments, CFUSharedRef<CFTypeRef> *aValue) noexcept
{
    zqDBus *const lDBus = aHelper != nullptr ? zqDBus::GetGlobalDefaultInstance() : zqDBus::GetThreadDefaultInstance();
    if (lDBus == nullptr)
        return zqError_Failed;

    const MessageRef lMessage(zqDBus::NewMethodCall(kInterface, aPath.GetAsUTFArray(), kInterface, aCommand.mMethod));
    if (lMessage.Get() == nullptr)
        return dbus_validate_path(aPath.GetAsUTFArray(), nullptr) ? zqError_NoResources : zqError_InvalidArgument;

    const zqError lReturn = AppendAll(lMessage.Get(), aCommand.mArguments, anArguments);
    if (lReturn != zqError_None)
        return lReturn;

    return aHelper != nullptr
               ? lDBus->PerformMethodCallWithMessage(lMessage.Get(), aHelper, nullptr, aCommand.mAsyncTimeout, nullptr)
               : Wait(*lDBus, lMessage.Get(), aCommand.mTimeout, aValue);
}

zqError ReadReply(DBusMessage *aReply, CFUSharedRef<CFTypeRef> *aValue) noexcept
{
    DBusMessageIter lIterator;
    dbus_int32_t    lStatus = 0;

    if (aReply == nullptr || !dbus_message_iter_init(aReply, &lIterator) ||
        dbus_message_iter_get_arg_type(&lIterator) != DBUS_TYPE_INT32)
        return zqError_Failed;

    dbus_message_iter_get_basic(&lIterator, &lStatus);
    if (lStatus != 0)
        return zqError_Failed;
    if (aValue == nullptr)
        return zqError_None;

    (void)dbus_message_iter_next(&lIterator);
    *aValue = zqDBus::CopyValue(&lIterator);
    return *aValue ? zqError_None : zqError_Failed;
}

} // namespace zq::WPAN

// The receivers

void zqWPANCtl::Interface::AsyncCommandResponseHelper::errorReceived(zqDBusError *anError)
{
    const bool lIsNoReply = anError != nullptr && zq::WPAN::IsNoReply(anError->GetName());

    invokeCallback(lIsNoReply ? zqError_TimedOut : zqError_Failed);
}

void zqWPANCtl::Interface::AsyncCommandResponseHelper::timedOut()
{
    invokeCallback(mTimeout == 0 ? zqError_None : zqError_TimedOut);
}

void zqWPANCtl::Interface::SimpleCommandResponseHelper::completed(DBusMessage *aReply)
{
    invokeCallback(zq::WPAN::ReadReply(aReply, nullptr));
}

void zqWPANCtl::Interface::SimpleCommandResponseHelper::invokeCallback(zqError anError)
{
    if (mCompletion)
        mCompletion(anError);
}

void zqWPANCtl::Interface::GetPropertyCommandResponseHelper::completed(DBusMessage *aReply)
{
    invokeCallback(zq::WPAN::ReadReply(aReply, &mValue));
}

void zqWPANCtl::Interface::GetPropertyCommandResponseHelper::invokeCallback(zqError anError)
{
    if (mCompletion)
        mCompletion(anError, mKey, mValue);
}
