#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

namespace Event = zq::NetworkManager::Event;

class ASignal : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mManager.AddObserver(&mObserver), 0);
        ASSERT_EQ(mManager.Subscribe(&mSubscriber.mQueue, &mSubscriber, "test"), 0);
        ASSERT_EQ(mServices.Append(mService), 0);
        ASSERT_EQ(mTechnologies.Append(mTechnology), 0);
        Forget();
    }

    void Forget()
    {
        mObserver.Clear();
        (void)mSubscriber.Take();
        mLog.Clear();
    }

    /** The signal that was raised is one log line, one callback and one event of the type. */
    void Expect(zqError aResult, unsigned int aType, int aLevel, const std::string &aLine, const std::string &aCall)
    {
        SCOPED_TRACE(aLine);
        const auto lLines  = mLog.GetLines();
        const auto lEvents = mSubscriber.Take();

        EXPECT_EQ(aResult, 0);
        ASSERT_EQ(lLines.size(), 1u) << mLog.GetText();
        EXPECT_EQ(lLines[0].mComponent, "");
        EXPECT_EQ(lLines[0].mLevel, aLevel);
        EXPECT_EQ(lLines[0].mText, ": signaling " + aLine);
        EXPECT_EQ(mObserver.GetLines(), Lines{ aCall });
        ASSERT_EQ(lEvents.size(), 1u);
        EXPECT_EQ(lEvents[0]->GetType(), 0x30010000 + aType);
        EXPECT_TRUE(Event::IsType(lEvents[0].Get()));
        EXPECT_EQ(dynamic_cast<Event::Base &>(*lEvents[0]).GetManager(), &mManager);
        Forget();
    }

    TestManager                  mManager;
    Recorder                     mObserver;
    Subscriber                   mSubscriber;
    LogCapture                   mLog;
    zqSharedPtr<Service>         mService    = Make<Service>("/s", ServiceProperties("home"));
    zqSharedPtr<Technology>      mTechnology = Make<Technology>("/t", TechnologyProperties("wifi"));
    zqRefObjectArray<Service>    mServices;
    zqRefObjectArray<Technology> mTechnologies;
    Dictionary                   mFields = Dict({ { kServicePropertyPassphrase, "secret" } });
};

} // namespace

TEST_F(ASignal, IsLoggedToldToObserversAndPublished)
{
    TestManager          &lM = mManager;
    Service *const        lS = mService.Get();
    Technology *const     lT = mTechnology.Get();
    const CFDictionaryRef lF = mFields.Get();

    Expect(lM.SignalStateChanged(kManagerStateReady), 1, 2, "state \"ready\" changed", "StateChanged ready");
    Expect(lM.SignalPropertiesChanged(lF), 2, 2, "properties changed", "PropertiesChanged Passphrase");
    Expect(lM.SignalServicesAdded(mServices), 3, 2, "1 services added", "ServicesAdded s");
    Expect(lM.SignalServicesRemoved(mServices), 4, 2, "1 services removed", "ServicesRemoved s");
    Expect(lM.SignalServiceChanged(lS, lF), 5, 2, "properties changed for service \"home\" rssi -50",
           "ServiceChanged s Passphrase");
    Expect(lM.SignalServiceInput(lS, lF), 6, 2, "input request for service \"home\"", "ServiceInput s Passphrase");
    Expect(lM.SignalServiceError(lS, kServiceErrorNotFound), 7, 3, "error \"not-found\" for service \"home\"",
           "ServiceError s not-found");
    Expect(lM.SignalServiceDidConnect(lS), 8, 2, "did connect for service \"home\"", "ServiceDidConnect s");
    Expect(lM.SignalServiceDidNotConnect(lS, -113), 9, 3, "did not connect for service \"home\" with error -113",
           "ServiceDidNotConnect s -113");
    Expect(lM.SignalServiceIsOnline(lS), 0xA, 2, "online for service \"home\"", "ServiceIsOnline s");
    Expect(lM.SignalServiceIsNotOnline(lS, -16), 0xB, 3, "offline for service \"home\" with error -16",
           "ServiceIsNotOnline s -16");
    Expect(lM.SignalServiceIsWaking(lS, 0x105), 0xC, 3, "iswaking for service \"home\" with reason 0x105",
           "ServiceIsWaking s 5");
    Expect(lM.SignalServiceDidWake(lS, 0xA), 0xC, 3, "didwake for service \"home\" with reason 0x0A",
           "ServiceDidWake s 10");
    Expect(lM.SignalServiceDidNotWake(lS, -1), 0xE, 3, "did not wake for service \"home\" with error -1",
           "ServiceDidNotWake s -1");
    Expect(lM.SignalTechnologiesAdded(mTechnologies), 0xF, 2, "1 technologies added", "TechnologiesAdded t");
    Expect(lM.SignalTechnologiesRemoved(mTechnologies), 0x10, 2, "1 technologies removed", "TechnologiesRemoved t");
    Expect(lM.SignalTechnologyChanged(lT, lF), 0x11, 2, "properties changed for technology \"wifi\"",
           "TechnologyChanged t Passphrase");
    Expect(lM.SignalTechnologyDidScan(lT), 0x12, 2, "did scan for technology \"wifi\"", "TechnologyDidScan t");
    Expect(lM.SignalTechnologyDidNotScan(lT, -22), 0x13, 3, "did not scan for technology \"wifi\" with error -22",
           "TechnologyDidNotScan t -22");
    Expect(lM.SignalDidPrepareForSleep(), 0x14, 2, "did prepare for sleep", "DidPrepareForSleep");
    Expect(lM.SignalDidNotPrepareForSleep(-4), 0x15, 2, "did NOT prepare for sleep, error -4",
           "DidNotPrepareForSleep -4");

    // A null object has the empty name.
    Expect(lM.SignalPropertiesChanged(nullptr), 2, 2, "properties changed", "PropertiesChanged");
    Expect(lM.SignalServiceError(nullptr, kServiceErrorNotFound), 7, 3, "error \"not-found\" for service \"\"",
           "ServiceError - not-found");
    Expect(lM.SignalServiceChanged(nullptr, lF), 5, 2, "properties changed for service \"\" rssi -120",
           "ServiceChanged - Passphrase");
    Expect(lM.SignalTechnologyDidScan(nullptr), 0x12, 2, "did scan for technology \"\"", "TechnologyDidScan -");

    // A strength is read as eight unsigned bits.
    for (const auto &[lStrength, lRSSI] : std::map<int, const char *>{ { 0, "-120" }, { 200, "80" }, { 255, "135" } })
    {
        EXPECT_EQ(mService->Refresh(Dict({ { kServicePropertyStrength, Number(lStrength) } })), 0);
        Expect(lM.SignalServiceChanged(lS, lF), 5, 2,
               std::string("properties changed for service \"home\" rssi ") + lRSSI, "ServiceChanged s Passphrase");
    }
}

TEST_F(ASignal, CarriesItsPayloadAsItWasAfterEverybodyElseHasLetGo)
{
    EXPECT_EQ(mManager.SignalServicesRemoved(mServices), 0);
    EXPECT_EQ(mManager.SignalServiceChanged(mService.Get(), mFields.Get()), 0);
    EXPECT_EQ(mManager.SignalServiceError(mService.Get(), Str("made-up").Get()), 0);
    EXPECT_EQ(mManager.SignalServiceInput(mService.Get(), mFields.Get()), 0);
    // Of one type, told apart by their classes; the whole reason, of which observers get eight bits.
    EXPECT_EQ(mManager.SignalServiceIsWaking(mService.Get(), 0x105), 0);
    EXPECT_EQ(mManager.SignalServiceDidWake(mService.Get(), 0x105), 0);
    EXPECT_EQ(mManager.SignalServiceDidNotConnect(mService.Get(), -113), 0);
    EXPECT_EQ(mManager.SignalDidNotPrepareForSleep(-4), 0);
    mServices.Clear();
    mService = nullptr;
    CFDictionarySetValue(mFields.Get(), kServicePropertyPassphrase, Str("changed").Get());
    CFDictionarySetValue(mFields.Get(), kServicePropertyName, Str("added").Get());

    const auto lEvents = mSubscriber.Take();
    ASSERT_EQ(lEvents.size(), 8u);
    zqRefObjectArray<Service> lServices;
    EXPECT_EQ(dynamic_cast<Event::ServicesRemoved &>(*lEvents[0]).GetServices(lServices), 0);
    EXPECT_EQ(Names(lServices), Lines{ "s" });
    EXPECT_EQ(lServices.GetElementPtr(0)->GetRefCount(), 8); // the events hold the others
    const auto &lChanged = dynamic_cast<Event::ServiceChanged &>(*lEvents[1]);
    EXPECT_EQ(Name(lChanged.GetService()), "s");
    EXPECT_EQ(Text(CFDictionaryGetValue(lChanged.GetProperties(), kServicePropertyPassphrase)), "secret");
    EXPECT_EQ(Text(dynamic_cast<Event::ServiceError &>(*lEvents[2]).GetError()), "made-up");
    EXPECT_EQ(CFDictionaryGetCount(dynamic_cast<Event::ServiceInput &>(*lEvents[3]).GetProperties()), 1);
    EXPECT_EQ(dynamic_cast<Event::ServiceIsWaking &>(*lEvents[4]).GetReason(), 0x105);
    EXPECT_EQ(Name(dynamic_cast<Event::ServiceDidWake &>(*lEvents[5]).GetService()), "s");
    EXPECT_EQ(dynamic_cast<Event::ServiceDidNotConnect &>(*lEvents[6]).GetError(), -113);
    EXPECT_EQ(dynamic_cast<Event::DidNotPrepareForSleep &>(*lEvents[7]).GetError(), -4);
}

TEST_F(ASignal, ReachesEveryObserverOnceInTheOrderOfTheirAddresses)
{
    Recorder          lObservers[3];
    std::string       lOrder;
    Observer::Default lDefault; // which does nothing

    for (int i : { 2, 0, 1 })
    {
        ASSERT_EQ(mManager.AddObserver(&lObservers[i]), 0);
        lObservers[i].SetInside([&lOrder, i](Manager *) { lOrder += std::to_string(i); });
    }
    ASSERT_EQ(mManager.AddObserver(&lDefault), 0);
    EXPECT_EQ(lDefault.ServiceInput(&mManager, mService.Get(), mFields.Get()), 0);
    mLog.Clear();
    EXPECT_EQ(mManager.AddObserver(&lObservers[1]), -18);
    EXPECT_TRUE(mLog.Contains(": unsuccessfully added observer ", 2));

    EXPECT_EQ(mManager.SignalDidPrepareForSleep(), 0);
    EXPECT_EQ(mManager.RemoveObserver(&lObservers[0]), 0);
    EXPECT_EQ(mManager.RemoveObserver(&lObservers[0]), -17);
    EXPECT_EQ(mManager.RemoveObserver(nullptr), -5);
    EXPECT_EQ(mManager.SignalDidPrepareForSleep(), 0);
    EXPECT_EQ(lOrder, "01212");
}

TEST_F(ASignal, ServesEverySubscriberAndYieldsTheFirstFailure)
{
    zqEventQueue lDead; // never initialised: it takes no event
    Subscriber   lLast, lHandler;

    ASSERT_EQ(static_cast<zqEventPublisher &>(mManager).zqEventPublisher::Subscribe(&lDead, &lHandler, "dead"), 0);
    ASSERT_EQ(mManager.Subscribe(&lLast.mQueue, &lLast, "last"), 0);
    (void)lLast.Take();

    EXPECT_EQ(mManager.SignalDidPrepareForSleep(), -3);
    EXPECT_TRUE(Asserted(mLog, "lReturn == 0", "zqnetworkmanager-manager"));
    EXPECT_EQ(mObserver.GetLines().size(), 1u);
    EXPECT_EQ(mSubscriber.Take().size(), 1u);
    EXPECT_EQ(lLast.Take().size(), 1u);
    EXPECT_EQ(TestManager().SignalServicesAdded({}), 0); // nobody hears it

    // What is reported is taken all the same.
    const std::function<zqError()> kReports[] = {
        [&] { return mManager.AddServices({ "/a" }); },
        [&] { return mManager.UpdateServices(Strings({ "/a" }).Get(), Manager::UpdateOperationChange); },
        [&] { return mManager.UpdateServices(Strings({ "/a" }).Get(), Manager::UpdateOperationRemove); },
        [&] { return mManager.UpdateProperties(mFields.Get()); },
    };
    for (const auto &lReport : kReports)
    {
        mLog.Clear();
        EXPECT_EQ(lReport(), -3) << &lReport - kReports;
        EXPECT_EQ(mLog.Count("ASSERT: : lReturn == 0, file: zqnetworkmanager-manager", 4), 2u) << mLog.GetText();
    }
}
