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

std::string Recorder::Part(CFStringRef aString)
{
    return " " + Text(aString);
}

/** The names of the properties, sorted: in what order a dictionary has them is not the point. */
std::string Recorder::Part(CFDictionaryRef aProperties)
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

std::string Recorder::Part(const Services &aServices)
{
    return Join(aServices);
}

std::string Recorder::Part(const Technologies &aTechnologies)
{
    return Join(aTechnologies);
}

std::string Recorder::GetLine(zqEvent *anEvent)
{
    zqRefObjectArray<Service>    lServices;
    zqRefObjectArray<Technology> lTechnologies;

    if (auto *lState = dynamic_cast<Event::StateChanged *>(anEvent))
        return Line("StateChanged", lState->GetState());
    if (auto *lProperties = dynamic_cast<Event::PropertiesChanged *>(anEvent))
        return Line("PropertiesChanged", lProperties->GetProperties());
    if (auto *lAdded = dynamic_cast<Event::ServicesAdded *>(anEvent))
        return (void)lAdded->GetServices(lServices), Line("ServicesAdded", lServices);
    if (auto *lRemoved = dynamic_cast<Event::ServicesRemoved *>(anEvent))
        return (void)lRemoved->GetServices(lServices), Line("ServicesRemoved", lServices);
    if (auto *lAdded = dynamic_cast<Event::TechnologiesAdded *>(anEvent))
        return (void)lAdded->GetTechnologies(lTechnologies), Line("TechnologiesAdded", lTechnologies);
    if (auto *lRemoved = dynamic_cast<Event::TechnologiesRemoved *>(anEvent))
        return (void)lRemoved->GetTechnologies(lTechnologies), Line("TechnologiesRemoved", lTechnologies);
    if (auto *lChanged = dynamic_cast<Event::ServiceChanged *>(anEvent))
        return Line("ServiceChanged", lChanged->GetService(), lChanged->GetProperties());
    if (auto *lChanged = dynamic_cast<Event::TechnologyChanged *>(anEvent))
        return Line("TechnologyChanged", lChanged->GetTechnology(), lChanged->GetProperties());
    if (auto *lError = dynamic_cast<Event::ServiceError *>(anEvent))
        return Line("ServiceError", lError->GetService(), lError->GetError());
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
