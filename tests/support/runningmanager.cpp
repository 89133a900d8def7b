#include "runningmanager.h"

namespace zq::Test
{

std::string Property(const Object *anObject, const char *aKey)
{
    return Text(anObject->GetProperty(Str(aKey)).Get());
}

RunningManager::RunningManager(zqConnMan::Decoding aDecoding, bool aWithValues)
    : mRecorder(aWithValues), mThread([this, aDecoding] { Main(aDecoding); })
{
    std::unique_lock<std::mutex> lGuard(mLock);
    mChanged.wait(lGuard, [this] { return mPhase != Phase::Starting; });
}

RunningManager::~RunningManager()
{
    Enter(Phase::Ending);
    mThread.join();
}

void RunningManager::Main(zqConnMan::Decoding aDecoding)
{
    zqConnMan::SetDecoding(aDecoding);
    mManager = CreateManager(mError, nullptr);
    if (mManager != nullptr)
        mError = mManager->AddObserver(&mRecorder);

    // The member is not written again.
    Enter(mManager != nullptr ? Phase::Running : Phase::Ending);

    for (std::unique_lock<std::mutex> lGuard(mLock); mPhase != Phase::Ending;)
    {
        if (mPhase == Phase::Running)
        {
            lGuard.unlock();
            mManager->Run();
            lGuard.lock();
        }
        else
            mChanged.wait(lGuard);
    }
    if (mManager != nullptr)
        (void)mManager->RemoveObserver(&mRecorder);
    delete mManager;
}

void RunningManager::Enter(Phase aPhase)
{
    const std::lock_guard<std::mutex> lGuard(mLock);

    mPhase = aPhase;
    mChanged.notify_all();
    if (mManager != nullptr && aPhase != Phase::Running)
        (void)mManager->Stop();
}

zqSharedPtr<Service> RunningManager::FindService(const std::string &aName) const
{
    return mManager->FindService(Str(FakeConnMan::ServicePath(aName)).Get());
}

zqSharedPtr<Technology> RunningManager::FindTechnology(const std::string &aType) const
{
    return mManager->FindTechnology(Str(FakeConnMan::TechnologyPath(aType)).Get());
}

} // namespace zq::Test
