#include "application.h"

#include <algorithm>
#include <cstdlib>

#include "waituntil.h"

using namespace zq::NetworkManager;

namespace zq::Test
{

bool World(const std::string &aCommand)
{
    const char *const lControl = std::getenv("ZQ_WORLD_CONTROL");

    return (lControl != nullptr) && (std::system((std::string(lControl) + " " + aCommand).c_str()) == 0);
}

CFUSharedRef<CFStringRef> FromText(const std::string &aText)
{
    return CFUAdopt(CFStringCreateWithCString(nullptr, aText.c_str(), kCFStringEncodingUTF8));
}

std::string ToText(CFTypeRef aValue)
{
    char        lText[256] = "";
    std::string lTexts;

    if (CFUIsTypeID(aValue, CFStringGetTypeID()))
        CFStringGetCString(static_cast<CFStringRef>(aValue), lText, sizeof lText, kCFStringEncodingUTF8);
    else if (CFUIsTypeID(aValue, CFBooleanGetTypeID()))
        return aValue == kCFBooleanTrue ? "true" : "false";
    else if (CFUIsTypeID(aValue, CFArrayGetTypeID()))
        for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(static_cast<CFArrayRef>(aValue)); lIndex++)
            lTexts += (lIndex > 0 ? " " : "") + ToText(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(aValue), lIndex));

    return lTexts + lText;
}

namespace
{

template <typename T>
std::vector<std::string> Paths(const zqRefObjectArray<T> &anObjects)
{
    std::vector<std::string> lPaths;

    for (int lIndex = 0; lIndex < anObjects.GetNumElements(); lIndex++)
        lPaths.push_back(ToText(anObjects.GetElementPtr(lIndex)->GetPath().Get()));

    return lPaths;
}

std::string Path(const Object *anObject)
{
    return (anObject != nullptr) ? ToText(anObject->GetPath().Get()) : "";
}

} // namespace

// MARK: EventRecorder

void EventRecorder::Note(std::string anEvent)
{
    std::lock_guard<std::mutex> lGuard(mLock);

    mEvents.push_back(std::move(anEvent));
}

std::vector<std::string> EventRecorder::GetEvents() const
{
    std::lock_guard<std::mutex> lGuard(mLock);

    return mEvents;
}

void EventRecorder::Clear()
{
    std::lock_guard<std::mutex> lGuard(mLock);

    mEvents.clear();
}

int EventRecorder::Find(const std::string &aText, int aFrom) const
{
    std::lock_guard<std::mutex> lGuard(mLock);
    const auto                  lFound = std::find_if(mEvents.begin() + aFrom, mEvents.end(),
                                                      [&](const std::string &anEvent) { return anEvent.rfind(aText, 0) == 0; });

    return (lFound != mEvents.end()) ? static_cast<int>(lFound - mEvents.begin()) : -1;
}

bool EventRecorder::WaitFor(const std::string &aText) const
{
    return WaitUntil([&] { return Find(aText) >= 0; });
}

void EventRecorder::StateChanged(Manager *, CFStringRef aState)
{
    Note("StateChanged " + ToText(aState));
}

void EventRecorder::ServicesAdded(Manager *, const zqRefObjectArray<Service> &aServices)
{
    for (const std::string &lPath : Paths(aServices))
        Note("ServicesAdded " + lPath);
}

void EventRecorder::ServicesRemoved(Manager *, const zqRefObjectArray<Service> &aServices)
{
    for (const std::string &lPath : Paths(aServices))
        Note("ServicesRemoved " + lPath);
}

void EventRecorder::ServiceChanged(Manager *, Service *aService, CFDictionaryRef aChanged)
{
    NoteChange("ServiceChanged ", aService, aChanged);
}

void EventRecorder::NoteChange(const char *anEvent, const Object *anObject, CFDictionaryRef aChanged)
{
    const auto lKeys = CFUAdopt(CFUDictionaryCopyKeys(aChanged));

    for (CFIndex lIndex = 0; lIndex < CFArrayGetCount(lKeys.Get()); lIndex++)
    {
        const void *const lKey = CFArrayGetValueAtIndex(lKeys.Get(), lIndex);

        Note(anEvent + Path(anObject) + " " + ToText(lKey) + "=" + ToText(CFDictionaryGetValue(aChanged, lKey)));
    }
}

void EventRecorder::NoteService(const std::string &anEvent, const Service *aService, const std::string &aRest)
{
    Note(anEvent + " " + Path(aService) + aRest);
}

void EventRecorder::TechnologyChanged(Manager *, Technology *aTechnology, CFDictionaryRef aChanged)
{
    NoteChange("TechnologyChanged ", aTechnology, aChanged);
}

void EventRecorder::TechnologiesAdded(Manager *, const zqRefObjectArray<Technology> &aTechnologies)
{
    for (const std::string &lPath : Paths(aTechnologies))
        Note("TechnologiesAdded " + lPath);
}

void EventRecorder::TechnologiesRemoved(Manager *, const zqRefObjectArray<Technology> &aTechnologies)
{
    for (const std::string &lPath : Paths(aTechnologies))
        Note("TechnologiesRemoved " + lPath);
}

// MARK: Application

Application::Application(zqConnMan::Decoding aDecoding) : mManager(nullptr)
{
    std::promise<void> lStarted;
    std::future<void>  lStart = lStarted.get_future();

    mLoop = std::thread(&Application::Run, this, aDecoding, std::move(lStarted));
    lStart.wait();
}

Application::~Application()
{
    if (mManager != nullptr)
        mManager->Stop();
    mLoop.join();
}

void Application::Run(zqConnMan::Decoding aDecoding, std::promise<void> aStarted)
{
    zqError lError = zqError_None;

    zqConnMan::SetDecoding(aDecoding);
    mManager = CreateManager(lError, nullptr);
    if (mManager != nullptr)
        mManager->AddObserver(&mEvents);

    // What is read by others ends here: the member is not written again.
    Manager *const lManager = mManager;
    aStarted.set_value();

    if (lManager == nullptr)
        return;

    lManager->Run();
    lManager->RemoveObserver(&mEvents);
    delete lManager;
}

std::vector<std::string> Application::GetServicePaths() const
{
    zqRefObjectArray<Service> lServices;

    mManager->GetServices(lServices);

    return Paths(lServices);
}

std::vector<std::string> Application::GetTechnologyPaths() const
{
    zqRefObjectArray<Technology> lTechnologies;

    mManager->GetTechnologies(lTechnologies);

    return Paths(lTechnologies);
}

std::string Application::GetReadyService() const
{
    zqRefObjectArray<Service> lServices;

    if (mManager->GetServices(lServices) != zqError_None || lServices.GetNumElements() != 1)
        return "";

    const Service *const lService   = lServices.GetElementPtr(0);
    const auto           lAddresses = lService->GetAddresses(CFURetain(kServicePropertyIPv4));
    const bool           lHasAddress =
        lAddresses.Get() != nullptr && CFDictionaryContainsKey(lAddresses.Get(), kIPPropertyAddress);

    return (lService->IsConnected() && lHasAddress) ? ToText(lService->GetPath().Get()) : "";
}

bool Application::WaitForReadyService() const
{
    return WaitUntil([&] { return !GetReadyService().empty(); });
}

} // namespace zq::Test
