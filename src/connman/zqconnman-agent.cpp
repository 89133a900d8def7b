/**
 *  @file
 *    The input agent: the daemon asks it for credentials, and the owner answers.
 *
 *  An answer may come from another thread than the one on which requests come,
 *  and while the daemon withdraws the request. Whoever takes the request out of
 *  the context, under the lock, is the one who replies to it.
 */

#include "zqconnman-handlers.h"

#include <utility>

using namespace zq::ConnMan;

namespace
{

constexpr const char *kErrorCanceled = "net.connman.Agent.Error.Canceled";
constexpr const char *kTextCanceled  = "Operation canceled";

/** How long whoever answers waits until his answer has left, in milliseconds: a bus that has stalled must not hold him.
 */
constexpr int kFlushTimeout = 1000;

DBusHandlerResult ReplyEmpty(DBusConnection *aConnection, DBusMessage *aMessage)
{
    if (!dbus_message_get_no_reply(aMessage))
        (void)zqDBus::ReplyWithParams(aConnection, aMessage, DBUS_TYPE_INVALID);

    return DBUS_HANDLER_RESULT_HANDLED;
}

zqError SendError(DBusConnection *aConnection, DBusMessage *aMessage, const char *aName, const char *aText)
{
    if (dbus_message_get_no_reply(aMessage))
        return zqError_None;

    const MessageRef lReply(dbus_message_new_error(aMessage, aName, aText));
    DBusMessage     *reply = lReply.Get();

    ZQ_REQUIRE(reply != NULL, zqError_NoResources);

    const bool status = dbus_connection_send(aConnection, reply, nullptr) != FALSE;

    ZQ_REQUIRE(status, zqError_OutOfMemory);

    return zqError_None;
}

} // namespace

// The held request

zqConnMan::RequestInputContext::~RequestInputContext()
{
    Reset();
}

bool zqConnMan::RequestInputContext::IsPending() const noexcept
{
    return mMessage != nullptr;
}

bool zqConnMan::RequestInputContext::Matches(const char *thePath) const noexcept
{
    ZQ_REQUIRE(thePath != NULL, false);

    const UTF8Text lPath(mPath);

    return lPath.Get() != nullptr && std::strcmp(lPath.Get(), thePath) == 0;
}

void zqConnMan::RequestInputContext::Set(DBusConnection *aConnection, DBusMessage *aMessage, CFStringRef aPath) noexcept
{
    // Taken before the old ones go: they may be the same.
    (void)dbus_message_ref(aMessage);
    (void)CFRetain(aPath);
    Reset();

    mConnection = aConnection;
    mMessage    = aMessage;
    mPath       = aPath;
}

void zqConnMan::RequestInputContext::Reset() noexcept
{
    mConnection = nullptr;
    if (mMessage != nullptr)
        dbus_message_unref(std::exchange(mMessage, nullptr));
    CFURelease(std::exchange(mPath, nullptr));
}

/** The held request, with a reference for the caller; null when none is held. With a null path any matches. */
DBusMessage *zqConnMan::CopyHeldInput(DBusConnection *&aConnection, const char *aPath, bool &aMatches)
{
    const ScopedLock lLock(mLock);

    if (!mInput.IsPending())
        return nullptr;

    aMatches    = aPath == nullptr || mInput.Matches(aPath);
    aConnection = mInput.GetConnection();

    return dbus_message_ref(mInput.GetMessage());
}

/** False when this request is no longer the one that is held. */
bool zqConnMan::ReleaseHeldInput(DBusMessage *aMessage)
{
    const ScopedLock lLock(mLock);

    if (!mInput.IsPending() || mInput.GetMessage() != aMessage)
        return false;

    mInput.Reset();
    return true;
}

zqError zqConnMan::CancelInput(DBusConnection *aConnection, DBusMessage *aMessage)
{
    if (!ReleaseHeldInput(aMessage))
        return zqError_None;

    const zqError lReturn = SendError(aConnection, aMessage, kErrorCanceled, kTextCanceled);

    if (lReturn == zqError_None)
        (void)mDBus->Flush(kFlushTimeout);

    return lReturn;
}

void zqConnMan::CancelHeldInput()
{
    DBusConnection  *lConnection = nullptr;
    bool             lMatches    = false;
    const MessageRef lMessage(CopyHeldInput(lConnection, nullptr, lMatches));

    if (lMessage.Get() != nullptr)
        (void)CancelInput(lConnection, lMessage.Get());
}

zqError zqConnMan::ServiceCompleteInput(const char *aPath, CFDictionaryRef aValues)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aValues != NULL, zqError_InvalidArgument);

    DBusConnection  *lConnection = nullptr;
    bool             lMatches    = false;
    const MessageRef lMessage(CopyHeldInput(lConnection, aPath, lMatches));

    if (!ZQ_CHECK_TEXT(lMessage.Get() != nullptr, "mInput.IsPending()"))
        return zqError_WrongState;
    if (!ZQ_CHECK_TEXT(lMatches, "mInput.Matches(aPath)"))
        return zqError_NotFound;

    const MessageRef lReply(dbus_message_new_method_return(lMessage.Get()));
    DBusMessage     *reply = lReply.Get();

    ZQ_REQUIRE(reply != NULL, zqError_NoResources);

    DBusMessageIter lIterator;

    dbus_message_iter_init_append(reply, &lIterator);

    const zqError lReturn = zqDBusCFAppendPropertyDictionary(&lIterator, aValues);

    if (lReturn != zqError_None)
        return lReturn;

    // Withdrawn, or answered on another thread, in the meantime.
    if (!ZQ_CHECK_TEXT(ReleaseHeldInput(lMessage.Get()), "mInput.IsPending()"))
        return zqError_WrongState;

    // Now: the daemon waits, and the caller may not come back to the loop for long.
    const bool status = dbus_connection_send(lConnection, reply, nullptr) != FALSE;

    ZQ_REQUIRE(status, zqError_OutOfMemory);
    (void)mDBus->Flush(kFlushTimeout);

    return zqError_None;
}

zqError zqConnMan::ServiceCancelInput(const char *aPath)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);

    DBusConnection  *lConnection = nullptr;
    bool             lMatches    = false;
    const MessageRef lMessage(CopyHeldInput(lConnection, aPath, lMatches));

    if (lMessage.Get() == nullptr || !lMatches)
        return zqError_None;

    return CancelInput(lConnection, lMessage.Get());
}

// Registration

zqError zqConnMan::SetAgent(bool aRegister)
{
    ZQ_LOG(zqLogLevel_Information, "connman: %sregistering input agent", aRegister ? "" : "un");

    constexpr int kLongestFarewell = 1000; // milliseconds: who ends does not wait for a silent daemon

    const char *const lPath    = kAgentPath;
    int               lTimeout = mTimeout;

    if (!aRegister && (lTimeout < 0 || lTimeout > kLongestFarewell))
        lTimeout = kLongestFarewell;

    const zqError lReturn = Call(kManagerPath, kManagerInterface, aRegister ? "RegisterAgent" : "UnregisterAgent",
                                 lTimeout, DBUS_TYPE_OBJECT_PATH, &lPath, DBUS_TYPE_INVALID);

    if (lReturn == zqError_ServiceUnknown)
        (void)ConnManUnavailable();

    return lReturn;
}

// The daemon's calls

DBusHandlerResult zqConnMan::Handlers::RefuseStranger(DBusConnection *aConnection, DBusMessage *aMessage)
{
    ZQ_LOG(zqLogLevel_Notice, "connman: refused %s from %s", dbus_message_get_member(aMessage),
           dbus_message_get_sender(aMessage));

    (void)SendError(aConnection, aMessage, DBUS_ERROR_ACCESS_DENIED,
                    "Only the owner of net.connman may call the agent");

    return DBUS_HANDLER_RESULT_HANDLED;
}

namespace
{

/** @param[out]  aValues  The path and the fields. */
zqError DecodeRequest(DBusMessage *aMessage, CFUSharedRef<CFArrayRef> &aValues)
{
    const zqError lReturn = zqDBusCFDecodeInput(aMessage, aValues);

    if (lReturn != zqError_None)
        return lReturn;

    const CFIndex numValues = CFArrayGetCount(aValues.Get());

    ZQ_REQUIRE(numValues == 2, zqError_InvalidArgument);

    const void *path       = CFArrayGetValueAtIndex(aValues.Get(), 0);
    const void *properties = CFArrayGetValueAtIndex(aValues.Get(), 1);

    ZQ_REQUIRE(CFUIsTypeID(path, CFStringGetTypeID()), zqError_InvalidArgument);
    ZQ_REQUIRE(CFUIsTypeID(properties, CFDictionaryGetTypeID()), zqError_InvalidArgument);

    return zqError_None;
}

} // namespace

DBusHandlerResult zqConnMan::AgentRequestInput(DBusConnection *aConnection, DBusMessage *aMessage)
{
    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "AgentRequestInput");

    // The daemon has one request at a time: one that is still held will not be answered any more.
    CancelHeldInput();

    CFUSharedRef<CFArrayRef> lValues;
    Delegate::Base          *lDelegate = mDelegate;

    if (lDelegate == nullptr || DecodeRequest(aMessage, lValues) != zqError_None)
    {
        (void)SendError(aConnection, aMessage, kErrorCanceled, kTextCanceled);
        return DBUS_HANDLER_RESULT_HANDLED;
    }

    const auto lPath   = static_cast<CFStringRef>(CFArrayGetValueAtIndex(lValues.Get(), 0));
    const auto lFields = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(lValues.Get(), 1));

    {
        const ScopedLock lLock(mLock);

        mInput.Set(aConnection, aMessage, lPath);
    }

    if (lDelegate->ServiceRequestInput(this, lPath, lFields) != zqError_None)
        (void)CancelInput(aConnection, aMessage);

    return DBUS_HANDLER_RESULT_HANDLED;
}

DBusHandlerResult zqConnMan::AgentReportError(DBusConnection *aConnection, DBusMessage *aMessage)
{
    const char *lPath = nullptr;
    const char *lText = nullptr;

    ZQ_REQUIRE(zqDBus::DecodeMessageParams(aMessage, NULL, DBUS_TYPE_OBJECT_PATH, &lPath, DBUS_TYPE_STRING, &lText,
                                           DBUS_TYPE_INVALID) == zqError_None,
               DBUS_HANDLER_RESULT_NOT_YET_HANDLED);

    ZQ_LOG(zqLogLevel_Error, "connman: service (%s) reported error (%s)", lPath, lText);

    const auto lService = MakeString(lPath);
    const auto lError   = MakeString(lText);

    if (mServices == nullptr || lService == nullptr || !CFDictionaryContainsKey(mServices, lService.Get()))
    {
        ZQ_LOG(zqLogLevel_Error, "connman: failed to find service %s for service error", lPath);
        return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
    }

    Delegate::Base *lDelegate = mDelegate;

    if (lDelegate != nullptr && ZQ_CHECK(lError != NULL))
        lDelegate->ServiceReportError(this, lService.Get(), lError.Get());

    return ReplyEmpty(aConnection, aMessage);
}

DBusHandlerResult zqConnMan::AgentRelease(DBusConnection *aConnection, DBusMessage *aMessage)
{
    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "AgentRelease");

    (void)ConnManUnavailable();

    return ReplyEmpty(aConnection, aMessage);
}

DBusHandlerResult zqConnMan::AgentCancel(DBusConnection *aConnection, DBusMessage *aMessage)
{
    ZQ_LOG(zqLogLevel_Detail, "connman: %s", "AgentCancel");

    {
        const ScopedLock lLock(mLock);

        mInput.Reset(); // the daemon has withdrawn it: a reply would be ignored
    }
    return ReplyEmpty(aConnection, aMessage);
}
