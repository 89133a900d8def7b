#include "events.h"

#include <initializer_list>
#include <utility>

namespace zqnetctl
{

Json ToPath(const Object *anObject)
{
    return anObject != nullptr ? Json(CFUText(anObject->GetPath())) : Json(nullptr);
}

Json ToJson(const Object &anObject)
{
    return { { "path", ToPath(&anObject) }, { "properties", FromCF(anObject.CopyProperties().Get()) } };
}

namespace
{

class EventReporter : public zq::NetworkManager::Observer::Base
{
public:
    explicit EventReporter(Receiver aReceiver) : mReceiver(std::move(aReceiver)) {}

    void StateChanged(Manager *, CFStringRef aState) override
    {
        Report("StateChanged", { { "state", FromCF(aState) } });
    }

    void PropertiesChanged(Manager *, CFDictionaryRef aProperties) override
    {
        Report("PropertiesChanged", { { "properties", FromCF(aProperties) } });
    }

    void ServicesAdded(Manager *, const zqRefObjectArray<Service> &aServices) override
    {
        Report("ServicesAdded", { { "services", ToJson(aServices) } });
    }

    void ServicesRemoved(Manager *, const zqRefObjectArray<Service> &aServices) override
    {
        Report("ServicesRemoved", { { "services", ToJson(aServices) } });
    }

    void ServiceChanged(Manager *, Service *aService, CFDictionaryRef aChanged) override
    {
        Report("ServiceChanged", { { "service", ToPath(aService) }, { "properties", FromCF(aChanged) } });
    }

    zqError ServiceInput(Manager *, Service *aService, CFDictionaryRef aFields) override
    {
        Report("ServiceInput", { { "service", ToPath(aService) }, { "fields", FromCF(aFields) } });
        return zqError_None;
    }

    void ServiceError(Manager *, Service *aService, CFStringRef anError) override
    {
        Report("ServiceError", { { "service", ToPath(aService) }, { "error", FromCF(anError) } });
    }

    void ServiceDidConnect(Manager *, Service *aService) override
    {
        Report("ServiceDidConnect", { { "service", ToPath(aService) } });
    }

    void ServiceDidNotConnect(Manager *, Service *aService, zqError anError) override
    {
        Report("ServiceDidNotConnect", { { "service", ToPath(aService) }, { "error", anError } });
    }

    void ServiceIsOnline(Manager *, Service *aService) override
    {
        Report("ServiceIsOnline", { { "service", ToPath(aService) } });
    }

    void ServiceIsNotOnline(Manager *, Service *aService, zqError anError) override
    {
        Report("ServiceIsNotOnline", { { "service", ToPath(aService) }, { "error", anError } });
    }

    void ServiceIsWaking(Manager *, Service *aService, unsigned char aReason) override
    {
        Report("ServiceIsWaking", { { "service", ToPath(aService) }, { "reason", aReason } });
    }

    void ServiceDidWake(Manager *, Service *aService, unsigned char aReason) override
    {
        Report("ServiceDidWake", { { "service", ToPath(aService) }, { "reason", aReason } });
    }

    void ServiceDidNotWake(Manager *, Service *aService, zqError anError) override
    {
        Report("ServiceDidNotWake", { { "service", ToPath(aService) }, { "error", anError } });
    }

    void TechnologiesAdded(Manager *, const zqRefObjectArray<Technology> &aTechnologies) override
    {
        Report("TechnologiesAdded", { { "technologies", ToJson(aTechnologies) } });
    }

    void TechnologiesRemoved(Manager *, const zqRefObjectArray<Technology> &aTechnologies) override
    {
        Report("TechnologiesRemoved", { { "technologies", ToJson(aTechnologies) } });
    }

    void TechnologyChanged(Manager *, Technology *aTechnology, CFDictionaryRef aChanged) override
    {
        Report("TechnologyChanged", { { "technology", ToPath(aTechnology) }, { "properties", FromCF(aChanged) } });
    }

    void TechnologyDidScan(Manager *, Technology *aTechnology) override
    {
        Report("TechnologyDidScan", { { "technology", ToPath(aTechnology) } });
    }

    void TechnologyDidNotScan(Manager *, Technology *aTechnology, zqError anError) override
    {
        Report("TechnologyDidNotScan", { { "technology", ToPath(aTechnology) }, { "error", anError } });
    }

    void DidPrepareForSleep(Manager *) override { Report("DidPrepareForSleep"); }

    void DidNotPrepareForSleep(Manager *, zqError anError) override
    {
        Report("DidNotPrepareForSleep", { { "error", anError } });
    }

private:
    void Report(const char *aName, std::initializer_list<std::pair<const char *, Json>> aPayload = {})
    {
        Json lEvent = Json::object();

        lEvent["event"] = aName;
        for (const auto &lEntry : aPayload)
            lEvent[lEntry.first] = lEntry.second;

        mReceiver(std::move(lEvent));
    }

    Receiver mReceiver;
};

} // namespace

std::unique_ptr<zq::NetworkManager::Observer::Base> NewEventReporter(Receiver aReceiver)
{
    return std::make_unique<EventReporter>(std::move(aReceiver));
}

} // namespace zqnetctl
