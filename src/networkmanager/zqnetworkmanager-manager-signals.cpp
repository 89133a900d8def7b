/**
 *  @file
 *    How every event is raised.
 */

#include <zqnetworkmanager-manager.h>

#include "zqnetworkmanager-lock.h"

#include <zqlog.h>
#include <zqnetworkmanager-private.h>

#include <tuple>

#define ZQ_LOG_COMPONENT ""
#define ZQ_LOG_FILE "zqnetworkmanager-manager"

namespace zq::NetworkManager
{

using Observer::Base;

namespace
{

const int kRSSIOffset = 120;

/** A payload value as it is kept while an event is published. */
template <typename T>
struct Kept
{
    T mValue{};

    zqError Keep(T aValue)
    {
        mValue = aValue;
        return zqError_None;
    }
};

// An event does not change after it was raised, whatever its raiser does with
// his dictionary; one that cannot change is only held.
template <>
struct Kept<CFDictionaryRef>
{
    CFDictionaryRef               mValue = nullptr;
    CFUSharedRef<CFDictionaryRef> mCopy;

    zqError Keep(CFDictionaryRef aValue)
    {
        mCopy  = aValue != nullptr ? CFUAdopt(CFDictionaryCreateCopy(kCFAllocatorDefault, aValue)) : nullptr;
        mValue = mCopy.Get();
        return aValue == nullptr || mValue != nullptr ? zqError_None : zqError_NoResources;
    }
};

template <typename T>
struct Kept<zqRefObjectArray<T>>
{
    zqRefObjectArray<T> mValue;

    zqError Keep(const zqRefObjectArray<T> &anArray) { return mValue.Copy(anArray); }
};

/** What is published to every subscriber: an event with its payload. */
template <typename Raised, typename... Payload>
class Publication
{
public:
    explicit Publication(Manager *aManager) : mManager(aManager) {}

    zqError Keep(const Payload &...aPayload)
    {
        return std::apply(
            [&](auto &...aKept)
            {
                zqError lReturn = zqError_None;
                (void)(... && ((lReturn = aKept.Keep(aPayload)) == zqError_None));
                return lReturn;
            },
            mPayload);
    }

    static zqError Send(zqIEventHandler *aHandler, zqEventQueue *aQueue, void *aContext)
    {
        auto &lSelf = *static_cast<Publication *>(aContext);

        return std::apply(
            [&](auto &...aKept) {
                return Private::Broadcast<Raised, const Payload &...>(aHandler, *aQueue, lSelf.mManager,
                                                                      aKept.mValue...);
            },
            lSelf.mPayload);
    }

private:
    Manager                     *mManager;
    std::tuple<Kept<Payload>...> mPayload;
};

zqString NameOf(const Service *aService)
{
    return aService != nullptr ? zqString(aService->GetName()) : zqString();
}

zqString NameOf(const Technology *aTechnology)
{
    return aTechnology != nullptr ? zqString(aTechnology->GetName()) : zqString();
}

int RSSIOf(const Service *aService)
{
    SInt32     lStrength = 0;
    const auto lValue    = aService != nullptr ? aService->GetStrength() : CFUSharedRef<CFTypeRef>();

    if (CFUIsTypeID(lValue.Get(), CFNumberGetTypeID()))
        (void)CFNumberGetValue(static_cast<CFNumberRef>(lValue.Get()), kCFNumberSInt32Type, &lStrength);

    return static_cast<UInt8>(lStrength) - kRSSIOffset;
}

} // namespace

// How every event is raised: the observers first, in the order of their
// addresses, then the subscribers, all in one hold of the observer lock so that
// everybody sees events in one order.
template <typename Raised, typename Slot, typename... Payload>
zqError Manager::Signal(Slot aSlot, const Payload &...aPayload)
{
    Publication<Raised, Payload...> lPublication(this);
    Private::ScopedLock             lLock(lOpaqueLock.uOpaque);

    for (Base *lObserver : mObservers)
        (void)(lObserver->*aSlot)(this, aPayload...);

    const zqError err     = lPublication.Keep(aPayload...);
    const zqError lReturn = ZQ_CHECK(err == 0) ? Publish(&lPublication.Send, &lPublication) : err;

    (void)ZQ_CHECK(lReturn == 0);

    return lReturn;
}

zqError Manager::SignalStateChanged(CFStringRef aState)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling state \"%s\" changed", zqString(aState).GetAsUTFArray());

    return Signal<Event::StateChanged>(&Base::StateChanged, aState);
}

zqError Manager::SignalPropertiesChanged(CFDictionaryRef aProperties)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling properties changed");

    return Signal<Event::PropertiesChanged>(&Base::PropertiesChanged, aProperties);
}

zqError Manager::SignalServicesAdded(const zqRefObjectArray<Service> &aServices)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling %d services added", aServices.GetNumElements());

    return Signal<Event::ServicesAdded>(&Base::ServicesAdded, aServices);
}

zqError Manager::SignalServicesRemoved(const zqRefObjectArray<Service> &aServices)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling %d services removed", aServices.GetNumElements());

    return Signal<Event::ServicesRemoved>(&Base::ServicesRemoved, aServices);
}

zqError Manager::SignalServiceChanged(Service *aService, CFDictionaryRef aChanged)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling properties changed for service \"%s\" rssi %d",
           NameOf(aService).GetAsUTFArray(), RSSIOf(aService));

    return Signal<Event::ServiceChanged>(&Base::ServiceChanged, aService, aChanged);
}

zqError Manager::SignalServiceInput(Service *aService, CFDictionaryRef aFields)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling input request for service \"%s\"", NameOf(aService).GetAsUTFArray());

    return Signal<Event::ServiceInput>(&Base::ServiceInput, aService, aFields);
}

zqError Manager::SignalServiceError(Service *aService, CFStringRef anError)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling error \"%s\" for service \"%s\"", zqString(anError).GetAsUTFArray(),
           NameOf(aService).GetAsUTFArray());

    return Signal<Event::ServiceError>(&Base::ServiceError, aService, anError);
}

zqError Manager::SignalServiceDidConnect(Service *aService)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling did connect for service \"%s\"", NameOf(aService).GetAsUTFArray());

    return Signal<Event::ServiceDidConnect>(&Base::ServiceDidConnect, aService);
}

zqError Manager::SignalServiceDidNotConnect(Service *aService, const zqError &anError)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling did not connect for service \"%s\" with error %d",
           NameOf(aService).GetAsUTFArray(), anError);

    return Signal<Event::ServiceDidNotConnect>(&Base::ServiceDidNotConnect, aService, anError);
}

zqError Manager::SignalServiceIsOnline(Service *aService)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling online for service \"%s\"", NameOf(aService).GetAsUTFArray());

    return Signal<Event::ServiceIsOnline>(&Base::ServiceIsOnline, aService);
}

zqError Manager::SignalServiceIsNotOnline(Service *aService, const zqError &anError)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling offline for service \"%s\" with error %d", NameOf(aService).GetAsUTFArray(),
           anError);

    return Signal<Event::ServiceIsNotOnline>(&Base::ServiceIsNotOnline, aService, anError);
}

// An observer takes the low 8 bits of a wake reason, the event all of it.

zqError Manager::SignalServiceIsWaking(Service *aService, int aReason)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling iswaking for service \"%s\" with reason 0x%02X",
           NameOf(aService).GetAsUTFArray(), static_cast<unsigned int>(aReason));

    return Signal<Event::ServiceIsWaking>(&Base::ServiceIsWaking, aService, aReason);
}

zqError Manager::SignalServiceDidWake(Service *aService, int aReason)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling didwake for service \"%s\" with reason 0x%02X",
           NameOf(aService).GetAsUTFArray(), static_cast<unsigned int>(aReason));

    return Signal<Event::ServiceDidWake>(&Base::ServiceDidWake, aService, aReason);
}

zqError Manager::SignalServiceDidNotWake(Service *aService, const zqError &anError)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling did not wake for service \"%s\" with error %d",
           NameOf(aService).GetAsUTFArray(), anError);

    return Signal<Event::ServiceDidNotWake>(&Base::ServiceDidNotWake, aService, anError);
}

zqError Manager::SignalTechnologiesAdded(const zqRefObjectArray<Technology> &aTechnologies)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling %d technologies added", aTechnologies.GetNumElements());

    return Signal<Event::TechnologiesAdded>(&Base::TechnologiesAdded, aTechnologies);
}

zqError Manager::SignalTechnologiesRemoved(const zqRefObjectArray<Technology> &aTechnologies)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling %d technologies removed", aTechnologies.GetNumElements());

    return Signal<Event::TechnologiesRemoved>(&Base::TechnologiesRemoved, aTechnologies);
}

zqError Manager::SignalTechnologyChanged(Technology *aTechnology, CFDictionaryRef aChanged)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling properties changed for technology \"%s\"",
           NameOf(aTechnology).GetAsUTFArray());

    return Signal<Event::TechnologyChanged>(&Base::TechnologyChanged, aTechnology, aChanged);
}

zqError Manager::SignalTechnologyDidScan(Technology *aTechnology)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling did scan for technology \"%s\"", NameOf(aTechnology).GetAsUTFArray());

    return Signal<Event::TechnologyDidScan>(&Base::TechnologyDidScan, aTechnology);
}

zqError Manager::SignalTechnologyDidNotScan(Technology *aTechnology, const zqError &anError)
{
    ZQ_LOG(zqLogLevel_Notice, ": signaling did not scan for technology \"%s\" with error %d",
           NameOf(aTechnology).GetAsUTFArray(), anError);

    return Signal<Event::TechnologyDidNotScan>(&Base::TechnologyDidNotScan, aTechnology, anError);
}

zqError Manager::SignalDidPrepareForSleep()
{
    ZQ_LOG(zqLogLevel_Information, ": signaling did prepare for sleep");

    return Signal<Event::DidPrepareForSleep>(&Base::DidPrepareForSleep);
}

zqError Manager::SignalDidNotPrepareForSleep(zqError anError)
{
    ZQ_LOG(zqLogLevel_Information, ": signaling did NOT prepare for sleep, error %d", anError);

    return Signal<Event::DidNotPrepareForSleep>(&Base::DidNotPrepareForSleep, anError);
}

} // namespace zq::NetworkManager
