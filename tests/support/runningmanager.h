/**
 *  @file
 *    An application of the library: a manager with its loop on a thread, and what it tells.
 */

#ifndef ZQ_TEST_RUNNINGMANAGER_H
#define ZQ_TEST_RUNNINGMANAGER_H

#include <condition_variable>
#include <memory>
#include <thread>

#include <fakeconnman.h>
#include <gtest/gtest.h>
#include <privatebus.h>
#include <zqconnman.h>

#include "logcapture.h"
#include "recorder.h"

namespace zq::Test
{

/** A property as a text; "null" when absent. */
std::string Property(const Object *anObject, const char *aKey);

/** A manager that was made, runs and is recorded on a thread of its own, from construction to destruction. */
class RunningManager
{
public:
    explicit RunningManager(zqConnMan::Decoding aDecoding = zqConnMan::kDecodingExact, bool aWithValues = false);
    ~RunningManager();

    /** Null when it could not be made: GetError(). */
    Manager *Get() const { return mManager; }
    Manager *operator->() const { return mManager; }
    zqError  GetError() const { return mError; }

    /** End the loop without ending the manager, and run it again. */
    void Pause() { Enter(Phase::Paused); }
    void Resume() { Enter(Phase::Running); }

    // The model by name

    Lines GetServices() const { return GetNames(&Manager::GetServices); }
    Lines GetTechnologies() const { return GetNames(&Manager::GetTechnologies); }
    Lines GetProvisions() const { return GetNames(&Manager::GetProvisions); }

    zqSharedPtr<Service>    FindService(const std::string &aName) const;
    zqSharedPtr<Technology> FindTechnology(const std::string &aType) const;

    Recorder mRecorder;

private:
    enum class Phase
    {
        Starting,
        Running,
        Paused,
        Ending
    };

    void Main(zqConnMan::Decoding aDecoding);
    void Enter(Phase aPhase);

    template <typename T>
    Lines GetNames(zqError (Manager::*aGet)(zqRefObjectArray<T> &) const) const
    {
        zqRefObjectArray<T> lArray;

        return (mManager->*aGet)(lArray) == 0 ? Names(lArray) : Lines{ "(failed)" };
    }

    Manager                *mManager = nullptr;
    zqError                 mError   = 0;
    std::mutex              mLock;
    std::condition_variable mChanged;
    Phase                   mPhase = Phase::Starting;
    std::thread             mThread; // last: it uses all of the above
};

/** A fake ConnMan on the private bus, and a manager beside it. */
class ManagerTest : public testing::Test
{
protected:
    ManagerTest() { SystemBus(); }

    void Start(zqConnMan::Decoding aDecoding = zqConnMan::kDecodingExact)
    {
        mManager = std::make_unique<RunningManager>(aDecoding);
        ASSERT_NE(mManager->Get(), nullptr) << mManager->GetError();
    }

    Manager &GetManager() { return *mManager->Get(); }

    const std::string kHome = FakeConnMan::ServicePath("home");
    const std::string kWiFi = FakeConnMan::TechnologyPath("wifi");

    LogCapture                      mLog;
    FakeConnMan                     mConnMan;
    std::unique_ptr<RunningManager> mManager;
};

} // namespace zq::Test

#endif // ZQ_TEST_RUNNINGMANAGER_H
