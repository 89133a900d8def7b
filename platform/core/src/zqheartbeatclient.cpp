/**
 *  @file
 *    The clients of the watchdog, which are only counted here.
 */

#include <zqevent.h>

#include <mutex>

namespace
{

std::mutex         sLock;
zqHeartBeatClient *sFirst = nullptr;

} // namespace

zqHeartBeatClient::zqHeartBeatClient(zqEventQueue *, zqEventQueue *anApplicationQueue, const char *, int) noexcept
    : mApplicationQueue(anApplicationQueue)
{
}

zqHeartBeatClient::~zqHeartBeatClient()
{
    (void)Unregister();
}

zqError zqHeartBeatClient::Register() noexcept
{
    const std::lock_guard<std::mutex> lGuard(sLock);

    if (mRegistered)
        return zqError_Already;

    mNext       = sFirst;
    sFirst      = this;
    mRegistered = true;
    return zqError_None;
}

zqError zqHeartBeatClient::Unregister() noexcept
{
    const std::lock_guard<std::mutex> lGuard(sLock);

    if (!mRegistered)
        return zqError_Already;

    zqHeartBeatClient **lLink = &sFirst;

    while (*lLink != this)
        lLink = &(*lLink)->mNext;
    *lLink      = mNext;
    mRegistered = false;
    return zqError_None;
}

int zqHeartBeatClient::GetNumRegistered(const zqEventQueue *anApplicationQueue) noexcept
{
    const std::lock_guard<std::mutex> lGuard(sLock);
    int                               lCount = 0;

    for (const zqHeartBeatClient *lClient = sFirst; lClient != nullptr; lClient = lClient->mNext)
        lCount += lClient->mApplicationQueue == anApplicationQueue ? 1 : 0;
    return lCount;
}
