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
    using Manager      = NetworkManager::Manager;
    using Service      = NetworkManager::Service;
    using Technology   = NetworkManager::Technology;
    using Services     = zqRefObjectArray<Service>;
    using Technologies = zqRefObjectArray<Technology>;

    Lines GetLines() const;
    void  Clear();

    std::size_t Count(const std::string &aLine) const;

    /** False when no such line came in time. */
    bool WaitFor(const std::string &aLine, std::size_t aCount = 1) const;

    /** False when other lines came in time than these, in this order. */
    bool WaitForAll(const Lines &aLines) const;

    /** The line for an event of a subscription, in the same form. */
    static std::string GetLine(zqEvent *anEvent);

    void StateChanged(Manager *, CFStringRef aState) override { Note(__func__, aState); }
    void PropertiesChanged(Manager *, CFDictionaryRef aProperties) override { Note(__func__, aProperties); }
    void ServicesAdded(Manager *, const Services &aServices) override { Note(__func__, aServices); }
    void ServicesRemoved(Manager *, const Services &aServices) override { Note(__func__, aServices); }
    void ServiceChanged(Manager *, Service *aService, CFDictionaryRef aSet) override { Note(__func__, aService, aSet); }
    void ServiceError(Manager *, Service *aService, CFStringRef aText) override { Note(__func__, aService, aText); }
    void ServiceDidConnect(Manager *, Service *aService) override { Note(__func__, aService); }
    void ServiceDidNotConnect(Manager *, Service *aService, zqError aCode) override { Note(__func__, aService, aCode); }
    void ServiceIsOnline(Manager *, Service *aService) override { Note(__func__, aService); }
    void ServiceIsNotOnline(Manager *, Service *aService, zqError aCode) override { Note(__func__, aService, aCode); }
    void ServiceIsWaking(Manager *, Service *aService, unsigned char aWhy) override { Note(__func__, aService, aWhy); }
    void ServiceDidWake(Manager *, Service *aService, unsigned char aWhy) override { Note(__func__, aService, aWhy); }
    void ServiceDidNotWake(Manager *, Service *aService, zqError aCode) override { Note(__func__, aService, aCode); }
    void TechnologiesAdded(Manager *, const Technologies &anArray) override { Note(__func__, anArray); }
    void TechnologiesRemoved(Manager *, const Technologies &anArray) override { Note(__func__, anArray); }
    void TechnologyChanged(Manager *, Technology *aTechnology, CFDictionaryRef aSet) override
    {
        Note(__func__, aTechnology, aSet);
    }
    void TechnologyDidScan(Manager *, Technology *aTechnology) override { Note(__func__, aTechnology); }
    void TechnologyDidNotScan(Manager *, Technology *aTechnology, zqError aCode) override
    {
        Note(__func__, aTechnology, aCode);
    }
    void DidPrepareForSleep(Manager *) override { Note(__func__); }
    void DidNotPrepareForSleep(Manager *, zqError aCode) override { Note(__func__, aCode); }

    zqError ServiceInput(Manager *, Service *aService, CFDictionaryRef aFields) override
    {
        Note(__func__, aService, aFields);
        return 0;
    }

private:
    // One argument of a callback, with a space before it.
    static std::string Part(CFStringRef aString);
    static std::string Part(CFDictionaryRef aProperties);
    static std::string Part(const NetworkManager::Object *anObject) { return " " + Name(anObject); }
    static std::string Part(int aNumber) { return " " + std::to_string(aNumber); }
    static std::string Part(const Services &aServices);
    static std::string Part(const Technologies &aTechnologies);

    template <typename... Arguments>
    static std::string Line(const char *aName, const Arguments &...theArguments)
    {
        return (std::string(aName) + ... + Part(theArguments));
    }

    template <typename... Arguments>
    void Note(const char *aName, const Arguments &...theArguments)
    {
        const std::lock_guard<std::mutex> lGuard(mLock);
        mLines.push_back(Line(aName, theArguments...));
    }

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
