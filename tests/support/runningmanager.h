/**
 *  @file
 *    A manager with its loop on a thread, and what it tells as texts.
 */

#ifndef ZQ_TEST_RUNNINGMANAGER_H
#define ZQ_TEST_RUNNINGMANAGER_H

#include <zqnetworkmanager.h>

#include <fakeconnman.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zq::Test
{

using Lines = std::vector<std::string>;

/** The last segment of an object's path; "-" for null. */
std::string Name(const NetworkManager::Object *anObject);

/** A property as a text; "" when absent. */
std::string Value(const NetworkManager::Object *anObject, const char *aKey);

/**
 *  An observer that turns every callback into one line: the callback's name, the
 *  last segments of the objects' paths, and the names of the properties, the
 *  error or the reason.
 */
class Recorder : public NetworkManager::Observer::Base
{
public:
    Lines GetLines() const;
    void  Clear();

    std::size_t Count(const std::string &aLine) const;

    /** False when no such line came in time. */
    bool WaitFor(const std::string &aLine, std::size_t aCount = 1) const;

    /** False when other lines came in time than these, in this order. */
    bool WaitForAll(const Lines &aLines) const;

    /** The line for an event of a subscription, in the same form. */
    static std::string GetLine(zqEvent *anEvent);

    void    StateChanged(NetworkManager::Manager *aManager, CFStringRef aState) override;
    void    PropertiesChanged(NetworkManager::Manager *aManager, CFDictionaryRef aProperties) override;
    void    ServicesAdded(NetworkManager::Manager                         *aManager,
                          const zqRefObjectArray<NetworkManager::Service> &aServices) override;
    void    ServicesRemoved(NetworkManager::Manager                         *aManager,
                            const zqRefObjectArray<NetworkManager::Service> &aServices) override;
    void    ServiceChanged(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                           CFDictionaryRef aChanged) override;
    zqError ServiceInput(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                         CFDictionaryRef aFields) override;
    void    ServiceError(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                         CFStringRef anError) override;
    void    ServiceDidConnect(NetworkManager::Manager *aManager, NetworkManager::Service *aService) override;
    void    ServiceDidNotConnect(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                                 zqError anError) override;
    void    ServiceIsOnline(NetworkManager::Manager *aManager, NetworkManager::Service *aService) override;
    void    ServiceIsNotOnline(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                               zqError anError) override;
    void    ServiceIsWaking(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                            unsigned char aReason) override;
    void    ServiceDidWake(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                           unsigned char aReason) override;
    void    ServiceDidNotWake(NetworkManager::Manager *aManager, NetworkManager::Service *aService,
                              zqError anError) override;
    void    TechnologiesAdded(NetworkManager::Manager                            *aManager,
                              const zqRefObjectArray<NetworkManager::Technology> &aTechnologies) override;
    void    TechnologiesRemoved(NetworkManager::Manager                            *aManager,
                                const zqRefObjectArray<NetworkManager::Technology> &aTechnologies) override;
    void    TechnologyChanged(NetworkManager::Manager *aManager, NetworkManager::Technology *aTechnology,
                              CFDictionaryRef aChanged) override;
    void    TechnologyDidScan(NetworkManager::Manager *aManager, NetworkManager::Technology *aTechnology) override;
    void    TechnologyDidNotScan(NetworkManager::Manager *aManager, NetworkManager::Technology *aTechnology,
                                 zqError anError) override;
    void    DidPrepareForSleep(NetworkManager::Manager *aManager) override;
    void    DidNotPrepareForSleep(NetworkManager::Manager *aManager, zqError anError) override;

private:
    void Note(const std::string &aLine);

    mutable std::mutex mLock;
    Lines              mLines;
};

/** A manager that was made and runs on a thread of its own, from construction to destruction. */
class RunningManager
{
public:
    RunningManager();
    ~RunningManager();

    /** Null when it could not be made: GetError(). */
    NetworkManager::Manager *Get() const { return mManager; }
    NetworkManager::Manager *operator->() const { return mManager; }
    zqError                  GetError() const { return mError; }

    /** End the loop without ending the manager, and run it again. */
    void Pause();
    void Resume();

    // The model by name

    Lines GetServices() const;
    Lines GetTechnologies() const;

    zqSharedPtr<NetworkManager::Service>    FindService(const std::string &aName) const;
    zqSharedPtr<NetworkManager::Technology> FindTechnology(const std::string &aType) const;

private:
    enum class Phase
    {
        Starting,
        Running,
        Paused,
        Ending
    };

    void Main();
    void Enter(Phase aPhase);

    NetworkManager::Manager *mManager = nullptr;
    zqError                  mError   = 0;
    std::mutex               mLock;
    std::condition_variable  mChanged;
    Phase                    mPhase = Phase::Starting;
    std::thread              mThread; // last: it uses all of the above
};

/** Drains the queue of a subscription into lines. */
class Subscriber : public zqIEventHandler
{
public:
    explicit Subscriber(NetworkManager::Manager *aManager);
    ~Subscriber() override;

    zqError GetError() const { return mError; }
    Lines   Drain();

private:
    void HandleEvent(zqEvent *anEvent) override;

    NetworkManager::Manager *mManager;
    zqEventQueue             mQueue;
    zqError                  mError;
    Lines                    mLines;
};

} // namespace zq::Test

#endif // ZQ_TEST_RUNNINGMANAGER_H
