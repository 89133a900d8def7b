/**
 *  @file
 *    Calls whose replies are waited for later.
 */

#include "zqdbus-private.h"

struct zqDBusSentCall::State
{
    zqRefCountSharedPtr mDBus;
    zqDBusCalls::Waiter mWaiter;
    dbus_uint32_t       mSerial = 0; ///< 0: nothing is waited for
};

zqDBusSentCall::zqDBusSentCall() noexcept = default;

zqDBusSentCall::~zqDBusSentCall()
{
    Forget();
}

void zqDBusSentCall::Forget() noexcept
{
    if (mState == nullptr || mState->mSerial == 0)
        return;

    zqDBus::State                    &lDBus = *static_cast<zqDBus *>(mState->mDBus.Get())->mState;
    const std::lock_guard<std::mutex> lLock(lDBus.mLink.mLock);

    lDBus.mCalls.ForgetLocked(std::exchange(mState->mSerial, 0));
    mState->mWaiter.mReply.Adopt(nullptr);
}

zqError zqDBus::SendMethodCall(const char *aDestination, const char *aPath, const char *anInterface,
                               const char *aMethod, zqDBusSentCall &aCall) noexcept
{
    aCall.Forget();

    if (!zqDBusAreValidNames(aDestination, aPath, anInterface, aMethod))
        return zqError_InvalidArgument;

    const zqDBusMessageRef lMessage(dbus_message_new_method_call(aDestination, aPath, anInterface, aMethod));

    if (aCall.mState == nullptr)
        aCall.mState.reset(new (std::nothrow) zqDBusSentCall::State);

    if (aCall.mState == nullptr || lMessage.Get() == nullptr)
        return zqError_NoResources;

    aCall.mState->mDBus.Set(this);
    aCall.mState->mWaiter.mIsGone = false;

    return mState->Send(lMessage.Get(), DBUS_TIMEOUT_USE_DEFAULT, aCall.mState->mWaiter, aCall.mState->mSerial);
}

zqError zqDBus::AwaitReply(zqDBusSentCall &aCall, DBusMessage **aReply, int aTimeout, DBusError *anError) noexcept
{
    zqDBusMessageRef lReply;

    if (anError != nullptr)
        dbus_error_free(anError);

    if (aCall.mState == nullptr || aCall.mState->mSerial == 0 || aCall.mState->mDBus.Get() != this)
        return zqError_InvalidArgument;

    const dbus_uint32_t lSerial = std::exchange(aCall.mState->mSerial, 0);

    return State::Conclude(mState->Await(aCall.mState->mWaiter, lSerial, aTimeout, lReply), lReply, aReply, anError);
}
