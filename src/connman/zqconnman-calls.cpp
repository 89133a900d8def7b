/**
 *  @file
 *    Calls to the daemon, and what becomes of them.
 */

#include "zqconnman-private.h"

using zq::ConnMan::kBusName;

namespace
{

/** The code of a blocking call, from what the sending layer says and from what was answered. */
zqError MapResult(const char *aLabel, zqError aResult, zqDBusError &anError)
{
    // No answer at all: the error only says so once more.
    if (aResult == zqError_WrongState || !anError.IsSet())
        return aResult;

    return zqConnMan::MapError(aLabel, anError.Get());
}

} // namespace

DBusMessage *zqConnMan::NewMethodCall(const char *anObject, const char *anInterface, const char *aMethod)
{
    ZQ_REQUIRE(anObject != NULL, nullptr);
    ZQ_REQUIRE(anInterface != NULL, nullptr);
    ZQ_REQUIRE(aMethod != NULL, nullptr);
    ZQ_REQUIRE(mDBus != NULL, nullptr);

    return zqDBus::NewMethodCall(kBusName, anObject, anInterface, aMethod);
}

zqError zqConnMan::CanCall() const
{
    return mDBus != nullptr && mAvailable ? zqError_None : zqError_WrongState;
}

zqError zqConnMan::PerformCall(const char *aPath, const char *anInterface, const char *aMethod,
                               zqDBusPendingCall *aPending, DBusMessage **aReply, int aTimeout, DBusError *anError,
                               int aFirstType, va_list anArguments)
{
    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(anInterface != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aMethod != NULL, zqError_InvalidArgument);

    const zqError lReturn = CanCall();

    if (lReturn != zqError_None)
        return lReturn;

    return mDBus->PerformMethodCall(kBusName, aPath, anInterface, aMethod, aPending, aReply, aTimeout, anError,
                                    aFirstType, anArguments);
}

zqError zqConnMan::PerformMethodCall(const char *aPath, const char *anInterface, const char *aMethod,
                                     DBusMessage **aReply, int aTimeout, DBusError *anError, int aFirstType, ...)
{
    ZQ_REQUIRE(aReply != NULL, zqError_InvalidArgument);

    *aReply = nullptr;

    va_list lArguments;

    va_start(lArguments, aFirstType);
    const zqError lReturn =
        PerformCall(aPath, anInterface, aMethod, nullptr, aReply, aTimeout, anError, aFirstType, lArguments);
    va_end(lArguments);

    return lReturn;
}

zqError zqConnMan::PerformMethodCall(const char *aPath, const char *anInterface, const char *aMethod,
                                     zqDBusPendingCall *aPending, int aTimeout, int aFirstType, ...)
{
    ZQ_REQUIRE(aPending != NULL, zqError_InvalidArgument);

    va_list lArguments;

    va_start(lArguments, aFirstType);
    const zqError lReturn =
        PerformCall(aPath, anInterface, aMethod, aPending, nullptr, aTimeout, nullptr, aFirstType, lArguments);
    va_end(lArguments);

    return lReturn;
}

zqError zqConnMan::PerformMethodCallWithMessage(DBusMessage *aMessage, DBusMessage **aResponse, int aTimeout,
                                                DBusError *anError)
{
    ZQ_REQUIRE(aMessage != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aResponse != NULL, zqError_InvalidArgument);

    const zqError lReturn = CanCall();

    *aResponse = nullptr;
    if (lReturn != zqError_None)
        return lReturn;

    return mDBus->PerformMethodCallWithMessage(aMessage, nullptr, aResponse, aTimeout, anError);
}

zqError zqConnMan::PerformMethodCallWithMessage(DBusMessage *aMessage, zqDBusPendingCall *aPending, int aTimeout)
{
    ZQ_REQUIRE(aMessage != NULL, zqError_InvalidArgument);
    ZQ_REQUIRE(aPending != NULL, zqError_InvalidArgument);

    const zqError lReturn = CanCall();

    if (lReturn != zqError_None)
        return lReturn;

    return mDBus->PerformMethodCallWithMessage(aMessage, aPending, nullptr, aTimeout, nullptr);
}

/** A blocking call of which only success or failure matters. */
zqError zqConnMan::Call(const char *aPath, const char *anInterface, const char *aMethod, int aTimeout, int aFirstType,
                        ...)
{
    zq::ConnMan::MessageRef lReply;
    zqDBusError             lError;
    va_list                 lArguments;

    va_start(lArguments, aFirstType);
    const zqError lReturn =
        PerformCall(aPath, anInterface, aMethod, nullptr, lReply.Out(), aTimeout, lError.Get(), aFirstType, lArguments);
    va_end(lArguments);

    return MapResult(aMethod, lReturn, lError);
}

zqError zqConnMan::GetProperties(const char *aPath, const char *anInterface, const char *aMethod, int aTimeout,
                                 const zqDBusCFForm &aForm, CFDictionaryRef &aResult)
{
    aResult = nullptr;

    ZQ_REQUIRE(aPath != NULL, zqError_InvalidArgument);
    ZQ_LOG(zqLogLevel_Detail, "connman: %s for object %s at %s with time out %d", aMethod, aPath, anInterface,
           aTimeout);

    zq::ConnMan::MessageRef lReply;
    zqDBusError             lError;
    const zqError           lReturn =
        PerformMethodCall(aPath, anInterface, aMethod, lReply.Out(), aTimeout, lError.Get(), DBUS_TYPE_INVALID);

    return zqDBusCFTakeProperties(aMethod, lReturn, lReply.Get(), lError, aForm, aResult);
}

zqError zqDBusCFTakeProperties(const char *aMethod, zqError aReplied, DBusMessage *aReply, zqDBusError &anError,
                               const zqDBusCFForm &aForm, CFDictionaryRef &aResult)
{
    if (aReplied != zqError_None)
        return MapResult(aMethod, aReplied, anError);

    CFUSharedRef<CFDictionaryRef> lResult;
    const zqError                 lReturn = zqDBusCFDecode(aReply, aForm, lResult);

    aResult = lResult.Leak();

    return lReturn;
}

zqError zqConnMan::NewSetProperty(const char *aPath, const char *anInterface, const char *aName, const void *aValue,
                                  DBusMessage *&aMessage)
{
    const zqError lReturn = CanCall();

    if (lReturn != zqError_None)
        return lReturn;

    aMessage = NewMethodCall(aPath, anInterface, "SetProperty");
    ZQ_REQUIRE(aMessage != NULL, zqError_NoResources);

    DBusMessageIter lIterator;

    dbus_message_iter_init_append(aMessage, &lIterator);

    return zqDBusCFAppendPropertyEntry(&lIterator, aName, aValue);
}

zqError zqConnMan::SetProperty(const char *aPath, const char *anInterface, int aTimeout, const char *aName,
                               const void *aValue)
{
    zq::ConnMan::MessageRef lMessage;
    zq::ConnMan::MessageRef lReply;
    zqDBusError             lError;
    zqError                 lReturn = NewSetProperty(aPath, anInterface, aName, aValue, *lMessage.Out());

    if (lReturn == zqError_None)
        lReturn = PerformMethodCallWithMessage(lMessage.Get(), lReply.Out(), aTimeout, lError.Get());

    return MapResult("SetProperty", lReturn, lError);
}

zqError zqConnMan::SetProperty(const char *aPath, const char *anInterface, int aTimeout, zqDBusPendingCall *aPending,
                               const char *aName, const void *aValue)
{
    zq::ConnMan::MessageRef lMessage;
    zqError                 lReturn = NewSetProperty(aPath, anInterface, aName, aValue, *lMessage.Out());

    if (lReturn == zqError_None)
        lReturn = PerformMethodCallWithMessage(lMessage.Get(), aPending, aTimeout);

    return lReturn;
}

// The client's outstanding calls

void zqConnMan::AddPendingCall(zq::ConnMan::PendingCall *aPending) noexcept
{
    const zq::ConnMan::ScopedLock lLock(mLock);

    aPending->mNext = mPendingCalls;
    if (mPendingCalls != nullptr)
        mPendingCalls->mPrevious = aPending;
    mPendingCalls = aPending;
}

void zqConnMan::RemovePendingCall(zq::ConnMan::PendingCall *aPending) noexcept
{
    const zq::ConnMan::ScopedLock lLock(mLock);

    (aPending->mPrevious != nullptr ? aPending->mPrevious->mNext : mPendingCalls) = aPending->mNext;
    if (aPending->mNext != nullptr)
        aPending->mNext->mPrevious = aPending->mPrevious;
}

void zqConnMan::CancelPendingCalls()
{
    for (;;)
    {
        zq::ConnMan::PendingCall *lPending = nullptr;

        {
            const zq::ConnMan::ScopedLock lLock(mLock);

            lPending = mPendingCalls;
        }

        if (lPending == nullptr)
            return;

        // One that was never sent is its maker's to delete, and must not come back to this client.
        if (mDBus->CancelPendingCall(lPending) != zqError_None)
        {
            RemovePendingCall(lPending);
            lPending->mConnMan = nullptr;
        }
    }
}
