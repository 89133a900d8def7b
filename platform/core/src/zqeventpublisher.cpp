/**
 *  @file
 *    The list of subscribers.
 */

#include "zqappend.h"
#include "zqlock.h"

#include <zqevent.h>
#include <zqlog.h>
#include <zqstring.h>

#include <algorithm>
#include <mutex>
#include <new>

#define ZQ_LOG_COMPONENT "event"

namespace
{

struct Subscriber
{
    zqEventQueue    *mQueue;
    zqIEventHandler *mHandler;
    zqString         mName;
};

} // namespace

struct zqEventPublisher::State
{
    std::vector<Subscriber>::iterator FindLocked(const zqEventQueue *aQueue, const zqIEventHandler *aHandler) noexcept;

    zqLock                  mLock;
    zqString                mName;
    std::vector<Subscriber> mSubscribers;
};

std::vector<Subscriber>::iterator zqEventPublisher::State::FindLocked(const zqEventQueue    *aQueue,
                                                                      const zqIEventHandler *aHandler) noexcept
{
    return std::find_if(mSubscribers.begin(), mSubscribers.end(),
                        [=](const Subscriber &aSubscriber)
                        { return aSubscriber.mQueue == aQueue && aSubscriber.mHandler == aHandler; });
}

zqEventPublisher::zqEventPublisher() noexcept = default;

zqEventPublisher::~zqEventPublisher() = default;

zqError zqEventPublisher::Init(const char *aName) noexcept
{
    if (mState != nullptr)
        return zqError_WrongState;

    std::unique_ptr<State> lState(new (std::nothrow) State);

    if (lState == nullptr || !lState->mLock.Init())
        return zqError_NoResources;

    lState->mName = aName;
    mState        = std::move(lState);
    return zqError_None;
}

void zqEventPublisher::Destroy() noexcept
{
    mState.reset();
}

zqError zqEventPublisher::Subscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler, const char *aName)
{
    if (mState == nullptr)
        return zqError_WrongState;
    if (aQueue == nullptr || aHandler == nullptr)
        return zqError_InvalidArgument;

    const std::lock_guard<zqLock> lGuard(mState->mLock);

    if (mState->FindLocked(aQueue, aHandler) != mState->mSubscribers.end())
        return zqError_AlreadyPresent;
    return zqAppend(mState->mSubscribers, Subscriber{ aQueue, aHandler, aName });
}

zqError zqEventPublisher::Unsubscribe(zqEventQueue *aQueue, zqIEventHandler *aHandler)
{
    if (mState == nullptr)
        return zqError_WrongState;

    const std::lock_guard<zqLock> lGuard(mState->mLock);
    const auto                    lFound = mState->FindLocked(aQueue, aHandler);

    if (lFound == mState->mSubscribers.end())
        return zqError_NotFound;
    (void)mState->mSubscribers.erase(lFound);
    return zqError_None;
}

zqError zqEventPublisher::Publish(PublishFunction aFunction, void *aContext)
{
    if (mState == nullptr)
        return zqError_WrongState;
    if (aFunction == nullptr)
        return zqError_InvalidArgument;

    const std::lock_guard<zqLock> lGuard(mState->mLock);
    zqError                       lReturn = zqError_None;

    for (const Subscriber &lSubscriber : mState->mSubscribers)
    {
        const zqError lError = aFunction(lSubscriber.mHandler, lSubscriber.mQueue, aContext);

        if (lError == zqError_None)
            continue;

        ZQ_LOG(zqLogLevel_Information, "event: publisher \"%s\" could not serve \"%s\": %d",
               mState->mName.GetAsUTFArray(), lSubscriber.mName.GetAsUTFArray(), lError);
        if (lReturn == zqError_None)
            lReturn = lError;
    }
    return lReturn;
}
