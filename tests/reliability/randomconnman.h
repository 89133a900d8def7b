/**
 *  @file
 *    A ConnMan that does as it likes, and what is true of it.
 */

#ifndef ZQ_TEST_RANDOMCONNMAN_H
#define ZQ_TEST_RANDOMCONNMAN_H

#include <atomic>
#include <memory>
#include <random>
#include <set>

#include <fakeconnman.h>
#include <zqnetworkmanager.h>

namespace zq::Test
{

using namespace Mock;

/** One thread changes it; requests of anybody change nothing of what is compared. */
class RandomConnMan
{
public:
    explicit RandomConnMan(unsigned aSeed, int aMostServices = 40);

    /** One change, told by its signals. */
    void Change();

    /** Crash, and come back knowing other things. */
    void Restart();

    /** Another daemon takes the name in one step. */
    void Replace();

    /** Let some calls of a method wait until the next Release, fail, or end the daemon. */
    void Mistreat(const std::string &aMethod);
    void Release();

    /** Empty when the model says what is true; otherwise the first difference. */
    std::string Differs(NetworkManager::Manager *aManager) const;

    bool Chance(unsigned aOneIn) { return mRandom() % aOneIn == 0; }

private:
    std::unique_ptr<FakeConnMan> Make();
    Properties                   RandomService(const std::string &aName);

    std::mt19937                      mRandom;
    int                               mMostServices;
    std::map<std::string, Properties> mServices;
    std::set<std::string>             mTechnologies;
    std::string                       mState;
    std::unique_ptr<FakeConnMan>      mFake;
};

/** Counts what becomes of the requests to connect. */
struct ConnectOutcomes : NetworkManager::Observer::Default
{
    using Manager = NetworkManager::Manager;
    using Service = NetworkManager::Service;

    void ServiceDidConnect(Manager *, Service *) override { mCount++; }
    void ServiceDidNotConnect(Manager *, Service *, zqError) override { mCount++; }
    void ServiceError(Manager *, Service *aService, CFStringRef) override { mCount += aService == nullptr; }

    std::atomic<long> mCount{ 0 };
};

} // namespace zq::Test

#endif // ZQ_TEST_RANDOMCONNMAN_H
