#include "runningmanager.h"

#include <waituntil.h>

#include <algorithm>

namespace zq::Test
{

using namespace NetworkManager;

namespace
{

std::string Text(CFStringRef aString)
{
    return zqString(aString).GetAsUTFArray();
}

/** The names of the properties, sorted: in what order a dictionary has them is not the point. */
std::string Keys(CFDictionaryRef aProperties)
{
    const auto  lKeys = CFUAdopt(CFUDictionaryCopyKeys(aProperties));
    Lines       lNames;
    std::string lReturn;

    for (CFIndex lIndex = 0; lKeys && lIndex < CFArrayGetCount(lKeys.Get()); ++lIndex)
        lNames.push_back(Text(static_cast<CFStringRef>(CFArrayGetValueAtIndex(lKeys.Get(), lIndex))));
    std::sort(lNames.begin(), lNames.end());
    for (const std::string &lName : lNames)
        lReturn += " " + lName;
    return lReturn;
}

template <typename T>
Lines Names(const zqRefObjectArray<T> &anArray)
{
    Lines lReturn;

    for (int lIndex = 0; lIndex < anArray.GetNumElements(); ++lIndex)
        lReturn.push_back(Name(anArray.GetElementPtr(lIndex)));
    return lReturn;
}

template <typename T>
std::string Join(const zqRefObjectArray<T> &anArray)
{
    std::string lReturn;

    for (const std::string &lName : Names(anArray))
        lReturn += " " + lName;
    return lReturn;
}

std::string Line(const char *aName, const Object *anObject)
{
    return std::string(aName) + " " + Name(anObject);
}

template <typename Number>
std::string Line(const char *aName, const Object *anObject, Number aNumber)
{
    return Line(aName, anObject) + " " + std::to_string(aNumber);
}

std::string Line(const char *aName, const Object *anObject, CFDictionaryRef aProperties)
{
    return Line(aName, anObject) + Keys(aProperties);
}

} // namespace

std::string Name(const Object *anObject)
{
    if (anObject == nullptr)
        return "-";

    const std::string lPath = Text(anObject->GetPath().Get());
    return lPath.substr(lPath.rfind('/') + 1);
}

std::string Value(const Object *anObject, const char *aKey)
{
    const auto lKey   = CFUAdopt(CFStringCreateWithCString(nullptr, aKey, kCFStringEncodingUTF8));
    const auto lValue = anObject->GetProperty(lKey);

    if (!lValue)
        return "";
    if (CFUIsTypeID(lValue.Get(), CFStringGetTypeID()))
        return Text(static_cast<CFStringRef>(lValue.Get()));
    return Text(CFUAdopt(CFCopyDescription(lValue.Get())).Get());
}

// MARK: Recorder

Lines Recorder::GetLines() const
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    return mLines;
}

void Recorder::Clear()
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    mLines.clear();
}

std::size_t Recorder::Count(const std::string &aLine) const
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    return static_cast<std::size_t>(std::count(mLines.begin(), mLines.end(), aLine));
}

bool Recorder::WaitFor(const std::string &aLine, std::size_t aCount) const
{
    return WaitUntil([&] { return Count(aLine) >= aCount; });
}

bool Recorder::WaitForAll(const Lines &aLines) const
{
    return WaitUntil([&] { return GetLines().size() >= aLines.size(); }) && GetLines() == aLines;
}

void Recorder::Note(const std::string &aLine)
{
    const std::lock_guard<std::mutex> lGuard(mLock);
    mLines.push_back(aLine);
}

void Recorder::StateChanged(Manager *, CFStringRef aState)
{
    Note("StateChanged " + Text(aState));
}

void Recorder::PropertiesChanged(Manager *, CFDictionaryRef aProperties)
{
    Note("PropertiesChanged" + Keys(aProperties));
}

void Recorder::ServicesAdded(Manager *, const zqRefObjectArray<Service> &aServices)
{
    Note("ServicesAdded" + Join(aServices));
}

void Recorder::ServicesRemoved(Manager *, const zqRefObjectArray<Service> &aServices)
{
    Note("ServicesRemoved" + Join(aServices));
}

void Recorder::ServiceChanged(Manager *, Service *aService, CFDictionaryRef aChanged)
{
    Note(Line("ServiceChanged", aService, aChanged));
}

zqError Recorder::ServiceInput(Manager *, Service *aService, CFDictionaryRef aFields)
{
    Note(Line("ServiceInput", aService, aFields));
    return 0;
}

void Recorder::ServiceError(Manager *, Service *aService, CFStringRef anError)
{
    Note(Line("ServiceError", aService) + " " + Text(anError));
}

void Recorder::ServiceDidConnect(Manager *, Service *aService)
{
    Note(Line("ServiceDidConnect", aService));
}

void Recorder::ServiceDidNotConnect(Manager *, Service *aService, zqError anError)
{
    Note(Line("ServiceDidNotConnect", aService, anError));
}

void Recorder::ServiceIsOnline(Manager *, Service *aService)
{
    Note(Line("ServiceIsOnline", aService));
}

void Recorder::ServiceIsNotOnline(Manager *, Service *aService, zqError anError)
{
    Note(Line("ServiceIsNotOnline", aService, anError));
}

void Recorder::ServiceIsWaking(Manager *, Service *aService, unsigned char aReason)
{
    Note(Line("ServiceIsWaking", aService, aReason));
}

void Recorder::ServiceDidWake(Manager *, Service *aService, unsigned char aReason)
{
    Note(Line("ServiceDidWake", aService, aReason));
}

void Recorder::ServiceDidNotWake(Manager *, Service *aService, zqError anError)
{
    Note(Line("ServiceDidNotWake", aService, anError));
}

void Recorder::TechnologiesAdded(Manager *, const zqRefObjectArray<Technology> &aTechnologies)
{
    Note("TechnologiesAdded" + Join(aTechnologies));
}

void Recorder::TechnologiesRemoved(Manager *, const zqRefObjectArray<Technology> &aTechnologies)
{
    Note("TechnologiesRemoved" + Join(aTechnologies));
}

void Recorder::TechnologyChanged(Manager *, Technology *aTechnology, CFDictionaryRef aChanged)
{
    Note(Line("TechnologyChanged", aTechnology, aChanged));
}

void Recorder::TechnologyDidScan(Manager *, Technology *aTechnology)
{
    Note(Line("TechnologyDidScan", aTechnology));
}

void Recorder::TechnologyDidNotScan(Manager *, Technology *aTechnology, zqError anError)
{
    Note(Line("TechnologyDidNotScan", aTechnology, anError));
}

void Recorder::DidPrepareForSleep(Manager *)
{
    Note("DidPrepareForSleep");
}

void Recorder::DidNotPrepareForSleep(Manager *, zqError anError)
{
    Note("DidNotPrepareForSleep " + std::to_string(anError));
}

std::string Recorder::GetLine(zqEvent *anEvent)
{
    zqRefObjectArray<Service>    lServices;
    zqRefObjectArray<Technology> lTechnologies;

    if (auto *lState = dynamic_cast<Event::StateChanged *>(anEvent))
        return "StateChanged " + Text(lState->GetState());
    if (auto *lProperties = dynamic_cast<Event::PropertiesChanged *>(anEvent))
        return "PropertiesChanged" + Keys(lProperties->GetProperties());
    if (auto *lAdded = dynamic_cast<Event::ServicesAdded *>(anEvent))
        return (void)lAdded->GetServices(lServices), "ServicesAdded" + Join(lServices);
    if (auto *lRemoved = dynamic_cast<Event::ServicesRemoved *>(anEvent))
        return (void)lRemoved->GetServices(lServices), "ServicesRemoved" + Join(lServices);
    if (auto *lAdded = dynamic_cast<Event::TechnologiesAdded *>(anEvent))
        return (void)lAdded->GetTechnologies(lTechnologies), "TechnologiesAdded" + Join(lTechnologies);
    if (auto *lRemoved = dynamic_cast<Event::TechnologiesRemoved *>(anEvent))
        return (void)lRemoved->GetTechnologies(lTechnologies), "TechnologiesRemoved" + Join(lTechnologies);
    if (auto *lChanged = dynamic_cast<Event::ServiceChanged *>(anEvent))
        return Line("ServiceChanged", lChanged->GetService(), lChanged->GetProperties());
    if (auto *lChanged = dynamic_cast<Event::TechnologyChanged *>(anEvent))
        return Line("TechnologyChanged", lChanged->GetTechnology(), lChanged->GetProperties());
    if (auto *lError = dynamic_cast<Event::ServiceError *>(anEvent))
        return Line("ServiceError", lError->GetService()) + " " + Text(lError->GetError());
    if (auto *lInput = dynamic_cast<Event::ServiceInput *>(anEvent))
        return Line("ServiceInput", lInput->GetService(), lInput->GetProperties());
    if (auto *lDid = dynamic_cast<Event::ServiceDidConnect *>(anEvent))
        return Line("ServiceDidConnect", lDid->GetService());
    if (auto *lDidNot = dynamic_cast<Event::ServiceDidNotConnect *>(anEvent))
        return Line("ServiceDidNotConnect", lDidNot->GetService(), lDidNot->GetError());
    if (auto *lDid = dynamic_cast<Event::TechnologyDidScan *>(anEvent))
        return Line("TechnologyDidScan", lDid->GetTechnology());
    return "another event";
}

// MARK: RunningManager

RunningManager::RunningManager() : mThread([this] { Main(); })
{
    std::unique_lock<std::mutex> lGuard(mLock);
    mChanged.wait(lGuard, [this] { return mPhase != Phase::Starting; });
}

RunningManager::~RunningManager()
{
    Enter(Phase::Ending);
    mThread.join();
}

void RunningManager::Main()
{
    mManager = CreateManager(mError, nullptr);
    {
        const std::lock_guard<std::mutex> lGuard(mLock);
        mPhase = mManager != nullptr ? Phase::Running : Phase::Ending;
    }
    mChanged.notify_all();

    for (std::unique_lock<std::mutex> lGuard(mLock); mPhase != Phase::Ending;)
    {
        if (mPhase == Phase::Running)
        {
            lGuard.unlock();
            mManager->Run();
            lGuard.lock();
            mChanged.notify_all();
        }
        else
            mChanged.wait(lGuard);
    }
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

void RunningManager::Pause()
{
    Enter(Phase::Paused);
}

void RunningManager::Resume()
{
    Enter(Phase::Running);
}

Lines RunningManager::GetServices() const
{
    zqRefObjectArray<Service> lArray;
    (void)mManager->GetServices(lArray);
    return Names(lArray);
}

Lines RunningManager::GetTechnologies() const
{
    zqRefObjectArray<Technology> lArray;
    (void)mManager->GetTechnologies(lArray);
    return Names(lArray);
}

zqSharedPtr<Service> RunningManager::FindService(const std::string &aName) const
{
    return mManager->FindService(zqString(FakeConnMan::ServicePath(aName).c_str()).GetAsCFString());
}

zqSharedPtr<Technology> RunningManager::FindTechnology(const std::string &aType) const
{
    return mManager->FindTechnology(zqString(FakeConnMan::TechnologyPath(aType).c_str()).GetAsCFString());
}

// MARK: Subscriber

Subscriber::Subscriber(Manager *aManager) : mManager(aManager), mError(mQueue.Init())
{
    if (mError == 0)
        mError = mManager->Subscribe(&mQueue, this, "test");
}

Subscriber::~Subscriber()
{
    (void)mManager->Unsubscribe(&mQueue, this);
    (void)Drain(); // its events hold references
}

Lines Subscriber::Drain()
{
    (void)mQueue.Dispatch();
    return mLines;
}

void Subscriber::HandleEvent(zqEvent *anEvent)
{
    mLines.push_back(Recorder::GetLine(anEvent));
}

} // namespace zq::Test
