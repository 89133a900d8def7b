/**
 *  @file
 *    An application of the library, and the world it lives in.
 */

#ifndef ZQ_TEST_APPLICATION_H
#define ZQ_TEST_APPLICATION_H

#include <future>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <zqconnman.h>
#include <zqnetworkmanager.h>

namespace zq::Test
{

/** Move the world, as tests/support/connman-netns tells: "cable down", "daemon kill". */
bool World(const std::string &aCommand);

CFUSharedRef<CFStringRef> FromText(const std::string &aText);

/** A string, "true" or "false", or an array of strings with blanks between them; empty for anything else. */
std::string ToText(CFTypeRef aValue);

/**
 *  Keeps every event as a line: "ServicesAdded /net/connman/service/x",
 *  "ServiceDidNotConnect PATH -20"; a change is a line for each of its
 *  properties, "ServiceChanged PATH State=ready".
 */
class EventRecorder : public NetworkManager::Observer::Default
{
public:
    std::vector<std::string> GetEvents() const;
    void                     Clear();

    /** The index of the first event that begins with the text, at or after another index; -1 for none. */
    int  Find(const std::string &aText, int aFrom = 0) const;
    bool WaitFor(const std::string &aText) const;

private:
    void StateChanged(NetworkManager::Manager *, CFStringRef aState) override;
    void ServicesAdded(NetworkManager::Manager *, const zqRefObjectArray<NetworkManager::Service> &aServices) override;
    void ServicesRemoved(NetworkManager::Manager *,
                         const zqRefObjectArray<NetworkManager::Service> &aServices) override;
    void ServiceChanged(NetworkManager::Manager *, NetworkManager::Service *aService,
                        CFDictionaryRef aChanged) override;
    zqError ServiceInput(NetworkManager::Manager *, NetworkManager::Service *aService, CFDictionaryRef) override
    {
        NoteService("ServiceInput", aService);
        return zqError_None;
    }
    void ServiceDidConnect(NetworkManager::Manager *, NetworkManager::Service *aService) override
    {
        NoteService("ServiceDidConnect", aService);
    }
    void ServiceDidNotConnect(NetworkManager::Manager *, NetworkManager::Service *aService, zqError anError) override
    {
        NoteService("ServiceDidNotConnect", aService, " " + std::to_string(anError));
    }
    void ServiceIsNotOnline(NetworkManager::Manager *, NetworkManager::Service *aService, zqError anError) override
    {
        NoteService("ServiceIsNotOnline", aService, " " + std::to_string(anError));
    }
    void TechnologiesAdded(NetworkManager::Manager *,
                           const zqRefObjectArray<NetworkManager::Technology> &aTechnologies) override;
    void TechnologiesRemoved(NetworkManager::Manager *,
                             const zqRefObjectArray<NetworkManager::Technology> &aTechnologies) override;
    void TechnologyChanged(NetworkManager::Manager *, NetworkManager::Technology *aTechnology,
                           CFDictionaryRef aChanged) override;

    void Note(std::string anEvent);
    void NoteService(const std::string &anEvent, const NetworkManager::Service *aService,
                     const std::string &aRest = "");
    void NoteChange(const char *anEvent, const NetworkManager::Object *anObject, CFDictionaryRef aChanged);

    mutable std::mutex       mLock;
    std::vector<std::string> mEvents;
};

/** A manager on a loop of its own, and an observer. */
class Application
{
public:
    explicit Application(zqConnMan::Decoding aDecoding);
    ~Application();

    /** Null when none could be made. */
    NetworkManager::Manager *Get() const { return mManager; }
    EventRecorder           &GetEvents() { return mEvents; }

    std::vector<std::string> GetServicePaths() const;
    std::vector<std::string> GetTechnologyPaths() const;

    /** The path of the one service that is connected and has an address; empty when there is not exactly one. */
    std::string GetReadyService() const;
    bool        WaitForReadyService() const;

private:
    void Run(zqConnMan::Decoding aDecoding, std::promise<void> aStarted);

    NetworkManager::Manager *mManager;
    EventRecorder            mEvents;
    std::thread              mLoop;
};

} // namespace zq::Test

#endif // ZQ_TEST_APPLICATION_H
