#include "events.h"

namespace zqnetctl
{

Json ToPath(const Object *anObject)
{
    return anObject != nullptr ? Json(ToText(anObject->GetPath().Get())) : Json(nullptr);
}

Json ToJson(const Object &anObject)
{
    return { { "path", ToPath(&anObject) }, { "properties", FromCF(anObject.CopyProperties().Get()) } };
}

void EventReporter::Report(const char *aName, std::initializer_list<std::pair<const char *, Json>> aPayload)
{
    Json lEvent = Json::object();

    lEvent["event"] = aName;
    for (const auto &lEntry : aPayload)
        lEvent[lEntry.first] = lEntry.second;

    mReceiver(std::move(lEvent));
}

void EventReporter::StateChanged(Manager *, CFStringRef aState)
{
    Report("StateChanged", { { "state", FromCF(aState) } });
}

void EventReporter::PropertiesChanged(Manager *, CFDictionaryRef aProperties)
{
    Report("PropertiesChanged", { { "properties", FromCF(aProperties) } });
}

void EventReporter::ServicesAdded(Manager *, const zqRefObjectArray<Service> &aServices)
{
    Report("ServicesAdded", { { "services", ToJson(aServices) } });
}

void EventReporter::ServicesRemoved(Manager *, const zqRefObjectArray<Service> &aServices)
{
    Report("ServicesRemoved", { { "services", ToJson(aServices) } });
}

void EventReporter::ServiceChanged(Manager *, Service *aService, CFDictionaryRef aChanged)
{
    Report("ServiceChanged", { { "service", ToPath(aService) }, { "properties", FromCF(aChanged) } });
}

zqError EventReporter::ServiceInput(Manager *, Service *aService, CFDictionaryRef aFields)
{
    Report("ServiceInput", { { "service", ToPath(aService) }, { "fields", FromCF(aFields) } });
    return zqError_None;
}

void EventReporter::ServiceError(Manager *, Service *aService, CFStringRef anError)
{
    Report("ServiceError", { { "service", ToPath(aService) }, { "error", FromCF(anError) } });
}

void EventReporter::ServiceDidConnect(Manager *, Service *aService)
{
    Report("ServiceDidConnect", { { "service", ToPath(aService) } });
}

void EventReporter::ServiceDidNotConnect(Manager *, Service *aService, zqError anError)
{
    Report("ServiceDidNotConnect", { { "service", ToPath(aService) }, { "error", anError } });
}

void EventReporter::ServiceIsOnline(Manager *, Service *aService)
{
    Report("ServiceIsOnline", { { "service", ToPath(aService) } });
}

void EventReporter::ServiceIsNotOnline(Manager *, Service *aService, zqError anError)
{
    Report("ServiceIsNotOnline", { { "service", ToPath(aService) }, { "error", anError } });
}

void EventReporter::ServiceIsWaking(Manager *, Service *aService, unsigned char aReason)
{
    Report("ServiceIsWaking", { { "service", ToPath(aService) }, { "reason", aReason } });
}

void EventReporter::ServiceDidWake(Manager *, Service *aService, unsigned char aReason)
{
    Report("ServiceDidWake", { { "service", ToPath(aService) }, { "reason", aReason } });
}

void EventReporter::ServiceDidNotWake(Manager *, Service *aService, zqError anError)
{
    Report("ServiceDidNotWake", { { "service", ToPath(aService) }, { "error", anError } });
}

void EventReporter::TechnologiesAdded(Manager *, const zqRefObjectArray<Technology> &aTechnologies)
{
    Report("TechnologiesAdded", { { "technologies", ToJson(aTechnologies) } });
}

void EventReporter::TechnologiesRemoved(Manager *, const zqRefObjectArray<Technology> &aTechnologies)
{
    Report("TechnologiesRemoved", { { "technologies", ToJson(aTechnologies) } });
}

void EventReporter::TechnologyChanged(Manager *, Technology *aTechnology, CFDictionaryRef aChanged)
{
    Report("TechnologyChanged", { { "technology", ToPath(aTechnology) }, { "properties", FromCF(aChanged) } });
}

void EventReporter::TechnologyDidScan(Manager *, Technology *aTechnology)
{
    Report("TechnologyDidScan", { { "technology", ToPath(aTechnology) } });
}

void EventReporter::TechnologyDidNotScan(Manager *, Technology *aTechnology, zqError anError)
{
    Report("TechnologyDidNotScan", { { "technology", ToPath(aTechnology) }, { "error", anError } });
}

void EventReporter::DidPrepareForSleep(Manager *)
{
    Report("DidPrepareForSleep");
}

void EventReporter::DidNotPrepareForSleep(Manager *, zqError anError)
{
    Report("DidNotPrepareForSleep", { { "error", anError } });
}

} // namespace zqnetctl
