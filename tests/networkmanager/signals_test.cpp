#include "model.h"

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

class ASignal : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(mManager.AddObserver(&mObserver), 0);
        ASSERT_EQ(mManager.Subscribe(&mSubscriber.mQueue, &mSubscriber, "test"), 0);
        ASSERT_EQ(mServices.Append(mService), 0);
        ASSERT_EQ(mTechnologies.Append(mTechnology), 0);
        mObserver.mCalls.clear();
        (void)mSubscriber.Take();
        mLog.Clear();
    }

    TestManager                  mManager;
    RecordingObserver            mObserver;
    Subscriber                   mSubscriber;
    LogCapture                   mLog;
    zqSharedPtr<Service>         mService    = Make<Service>("/s", ServiceProperties("home"));
    zqSharedPtr<Technology>      mTechnology = Make<Technology>("/t", TechnologyProperties("wifi"));
    zqRefObjectArray<Service>    mServices;
    zqRefObjectArray<Technology> mTechnologies;
    Dictionary                   mFields = Dict({ { kServicePropertyPassphrase, Str("secret") } });
};

} // namespace

TEST_F(ASignal, IsLoggedToldToObserversAndPublished)
{
    Service    *lS = mService.Get();
    Technology *lT = mTechnology.Get();

    const struct
    {
        std::function<zqError()> mSignal;
        int                      mLevel;
        const char              *mLine;
        const char              *mCall;
        unsigned int             mType;
    } kRows[] = {
        { [&] { return mManager.SignalStateChanged(kManagerStateReady); }, 2, ": signaling state \"ready\" changed",
          "StateChanged ready", 0x30010001 },
        { [&] { return mManager.SignalPropertiesChanged(mFields.Get()); }, 2, ": signaling properties changed",
          "PropertiesChanged 1", 0x30010002 },
        { [&] { return mManager.SignalServicesAdded(mServices); }, 2, ": signaling 1 services added",
          "ServicesAdded /s", 0x30010003 },
        { [&] { return mManager.SignalServicesRemoved(mServices); }, 2, ": signaling 1 services removed",
          "ServicesRemoved /s", 0x30010004 },
        { [&] { return mManager.SignalServiceChanged(lS, mFields.Get()); }, 2,
          ": signaling properties changed for service \"home\" rssi -50", "ServiceChanged /s 1", 0x30010005 },
        { [&] { return mManager.SignalServiceInput(lS, mFields.Get()); }, 2,
          ": signaling input request for service \"home\"", "ServiceInput /s 1", 0x30010006 },
        { [&] { return mManager.SignalServiceError(lS, kServiceErrorNotFound); }, 3,
          ": signaling error \"not-found\" for service \"home\"", "ServiceError /s not-found", 0x30010007 },
        { [&] { return mManager.SignalServiceDidConnect(lS); }, 2, ": signaling did connect for service \"home\"",
          "ServiceDidConnect /s", 0x30010008 },
        { [&] { return mManager.SignalServiceDidNotConnect(lS, -113); }, 3,
          ": signaling did not connect for service \"home\" with error -113", "ServiceDidNotConnect /s -113",
          0x30010009 },
        { [&] { return mManager.SignalServiceIsOnline(lS); }, 2, ": signaling online for service \"home\"",
          "ServiceIsOnline /s", 0x3001000A },
        { [&] { return mManager.SignalServiceIsNotOnline(lS, -16); }, 3,
          ": signaling offline for service \"home\" with error -16", "ServiceIsNotOnline /s -16", 0x3001000B },
        { [&] { return mManager.SignalServiceIsWaking(lS, 0x105); }, 3,
          ": signaling iswaking for service \"home\" with reason 0x105", "ServiceIsWaking /s 5", 0x3001000C },
        { [&] { return mManager.SignalServiceDidWake(lS, 0xA); }, 3,
          ": signaling didwake for service \"home\" with reason 0x0A", "ServiceDidWake /s 10", 0x3001000C },
        { [&] { return mManager.SignalServiceDidNotWake(lS, -1); }, 3,
          ": signaling did not wake for service \"home\" with error -1", "ServiceDidNotWake /s -1", 0x3001000E },
        { [&] { return mManager.SignalTechnologiesAdded(mTechnologies); }, 2, ": signaling 1 technologies added",
          "TechnologiesAdded /t", 0x3001000F },
        { [&] { return mManager.SignalTechnologiesRemoved(mTechnologies); }, 2, ": signaling 1 technologies removed",
          "TechnologiesRemoved /t", 0x30010010 },
        { [&] { return mManager.SignalTechnologyChanged(lT, mFields.Get()); }, 2,
          ": signaling properties changed for technology \"wifi\"", "TechnologyChanged /t 1", 0x30010011 },
        { [&] { return mManager.SignalTechnologyDidScan(lT); }, 2, ": signaling did scan for technology \"wifi\"",
          "TechnologyDidScan /t", 0x30010012 },
        { [&] { return mManager.SignalTechnologyDidNotScan(lT, -22); }, 3,
          ": signaling did not scan for technology \"wifi\" with error -22", "TechnologyDidNotScan /t -22",
          0x30010013 },
        { [&] { return mManager.SignalDidPrepareForSleep(); }, 2, ": signaling did prepare for sleep",
          "DidPrepareForSleep", 0x30010014 },
        { [&] { return mManager.SignalDidNotPrepareForSleep(-4); }, 2,
          ": signaling did NOT prepare for sleep, error -4", "DidNotPrepareForSleep -4", 0x30010015 },
    };

    for (const auto &lRow : kRows)
    {
        mLog.Clear();
        mObserver.mCalls.clear();

        EXPECT_EQ(lRow.mSignal(), 0) << lRow.mLine;

        const auto lLines = mLog.GetLines();
        ASSERT_EQ(lLines.size(), 1u) << mLog.GetText();
        EXPECT_EQ(lLines[0].mComponent, "");
        EXPECT_EQ(lLines[0].mLevel, lRow.mLevel) << lRow.mLine;
        EXPECT_EQ(lLines[0].mText, lRow.mLine);
        EXPECT_EQ(mObserver.mCalls, std::vector<std::string>{ lRow.mCall });

        const auto lEvents = mSubscriber.Take();
        ASSERT_EQ(lEvents.size(), 1u);
        EXPECT_EQ(lEvents[0]->GetType(), lRow.mType) << lRow.mLine;
        EXPECT_TRUE(zq::NetworkManager::Event::IsType(lEvents[0].Get()));
        EXPECT_EQ(dynamic_cast<zq::NetworkManager::Event::Base &>(*lEvents[0]).GetManager(), &mManager);
    }
}

TEST_F(ASignal, CarriesItsPayloadAfterEverybodyElseHasLetGo)
{
    EXPECT_EQ(mManager.SignalServicesRemoved(mServices), 0);
    const auto lRemoved = mSubscriber.TakeOne<zq::NetworkManager::Event::ServicesRemoved>();
    ASSERT_TRUE(lRemoved != nullptr);

    EXPECT_EQ(mManager.SignalServiceChanged(mService.Get(), mFields.Get()), 0);
    const auto lChanged = mSubscriber.TakeOne<zq::NetworkManager::Event::ServiceChanged>();
    ASSERT_TRUE(lChanged != nullptr);

    EXPECT_EQ(mManager.SignalServiceError(mService.Get(), Str("made-up").Get()), 0);
    const auto lError = mSubscriber.TakeOne<zq::NetworkManager::Event::ServiceError>();
    ASSERT_TRUE(lError != nullptr);

    EXPECT_EQ(mManager.SignalServiceInput(mService.Get(), mFields.Get()), 0);
    const auto lInput = mSubscriber.TakeOne<zq::NetworkManager::Event::ServiceInput>();
    ASSERT_TRUE(lInput != nullptr);

    mServices.Clear();
    mObserver.mService = nullptr;
    mService           = nullptr;
    mFields            = nullptr;

    zqRefObjectArray<Service> lServices;
    EXPECT_EQ(lRemoved->GetServices(lServices), 0);
    EXPECT_EQ(PathsOf(lServices), "/s");
    EXPECT_EQ(Text(lChanged->GetService()->GetName().Get()), "home");
    EXPECT_EQ(Text(CFDictionaryGetValue(lChanged->GetProperties(), kServicePropertyPassphrase)), "secret");
    EXPECT_EQ(Text(lError->GetError()), "made-up");
    EXPECT_EQ(Text(lError->GetService()->GetPath().Get()), "/s");
    EXPECT_EQ(CFDictionaryGetCount(lInput->GetProperties()), 1);

    // The events held the last references.
    EXPECT_EQ(lServices.GetElementPtr(0)->GetRefCount(), 5);
}

TEST_F(ASignal, TellsWakingFromWokenByClassAndKeepsTheWholeReason)
{
    EXPECT_EQ(mManager.SignalServiceIsWaking(mService.Get(), 0x105), 0);
    EXPECT_EQ(mManager.SignalServiceDidWake(mService.Get(), 0x105), 0);

    const auto lEvents = mSubscriber.Take();
    ASSERT_EQ(lEvents.size(), 2u);
    EXPECT_EQ(lEvents[0]->GetType(), lEvents[1]->GetType());

    const auto *lWaking = dynamic_cast<zq::NetworkManager::Event::ServiceIsWaking *>(lEvents[0].Get());
    const auto *lWoken  = dynamic_cast<zq::NetworkManager::Event::ServiceDidWake *>(lEvents[1].Get());
    ASSERT_TRUE(lWaking != nullptr && lWoken != nullptr);
    EXPECT_EQ(lWaking->GetReason(), 0x105);
    EXPECT_EQ(lWoken->GetService(), mService.Get());
    EXPECT_EQ(mObserver.mCalls, (std::vector<std::string>{ "ServiceIsWaking /s 5", "ServiceDidWake /s 5" }));
}

TEST_F(ASignal, TakesANullObject)
{
    EXPECT_EQ(mManager.SignalServiceError(nullptr, kServiceErrorNotFound), 0);
    EXPECT_TRUE(mLog.Contains(": signaling error \"not-found\" for service \"\"", 3));
    EXPECT_EQ(mObserver.mCalls.back(), "ServiceError (null) not-found");
    EXPECT_EQ(mSubscriber.TakeOne<zq::NetworkManager::Event::ServiceError>()->GetService(), nullptr);

    EXPECT_EQ(mManager.SignalServiceChanged(nullptr, mFields.Get()), 0);
    EXPECT_TRUE(mLog.Contains("service \"\" rssi -120", 2));
    EXPECT_EQ(mManager.SignalServiceDidNotConnect(nullptr, -1), 0);
    EXPECT_EQ(mManager.SignalTechnologyDidScan(nullptr), 0);
    EXPECT_EQ(mSubscriber.Take().size(), 3u);
}

TEST_F(ASignal, ReadsTheStrengthForItsLineAsEightUnsignedBits)
{
    const struct
    {
        Value       mStrength;
        const char *mLine;
    } kCases[] = {
        { Number(0), "rssi -120" },
        { Number(200), "rssi 80" },
        { Str("strong"), "rssi -120" },
        { Bool(true), "rssi -120" },
    };

    for (const auto &lCase : kCases)
    {
        const auto lProperties = ServiceProperties();
        CFDictionarySetValue(lProperties.Get(), kServicePropertyStrength, lCase.mStrength.Get());

        EXPECT_EQ(mManager.SignalServiceChanged(Make<Service>("/s", lProperties).Get(), mFields.Get()), 0);
        EXPECT_TRUE(mLog.Contains(lCase.mLine, 2)) << mLog.GetText();
    }
}

TEST_F(ASignal, ReachesEveryObserverOnceInTheOrderOfTheirAddresses)
{
    RecordingObserver         lObservers[3];
    std::vector<const void *> lOrder;

    for (int i : { 2, 0, 1 })
    {
        ASSERT_EQ(mManager.AddObserver(&lObservers[i]), 0);
        lObservers[i].mInside = [&, i](Manager *) { lOrder.push_back(&lObservers[i]); };
    }
    mLog.Clear();
    EXPECT_EQ(mManager.AddObserver(&lObservers[1]), -18);
    EXPECT_TRUE(mLog.Contains(": unsuccessfully added observer ", 2));

    EXPECT_EQ(mManager.SignalDidPrepareForSleep(), 0);
    EXPECT_EQ(lOrder, (std::vector<const void *>{ &lObservers[0], &lObservers[1], &lObservers[2] }));

    lOrder.clear();
    EXPECT_EQ(mManager.RemoveObserver(&lObservers[0]), 0);
    EXPECT_EQ(mManager.RemoveObserver(&lObservers[0]), -17);
    EXPECT_EQ(mManager.RemoveObserver(nullptr), -5);
    EXPECT_EQ(mManager.SignalDidPrepareForSleep(), 0);
    EXPECT_EQ(lOrder, (std::vector<const void *>{ &lObservers[1], &lObservers[2] }));
}

TEST_F(ASignal, ServesEverySubscriberAndYieldsTheFirstFailure)
{
    zqEventQueue lDead; // never initialised: it takes no event
    Subscriber   lLast;
    Subscriber   lHandler;

    ASSERT_EQ(static_cast<zqEventPublisher &>(mManager).zqEventPublisher::Subscribe(&lDead, &lHandler, "dead"), 0);
    ASSERT_EQ(mManager.Subscribe(&lLast.mQueue, &lLast, "last"), 0);
    (void)lLast.Take();

    EXPECT_EQ(mManager.SignalDidPrepareForSleep(), -3);
    EXPECT_TRUE(Asserted(mLog, "lReturn == 0", "zqnetworkmanager-manager"));
    EXPECT_EQ(mObserver.mCalls.size(), 1u);
    EXPECT_EQ(mSubscriber.Take().size(), 1u);
    EXPECT_EQ(lLast.Take().size(), 1u);
}

TEST(ASignalThatNobodyHears, Succeeds)
{
    TestManager lManager;

    EXPECT_EQ(lManager.SignalDidNotPrepareForSleep(-1), 0);
    EXPECT_EQ(lManager.SignalServicesAdded({}), 0);
}

TEST(AnEventOfAnotherKind, IsNotAManagersEvent)
{
    zqSharedPtr<zqEvent> lEvent(new zqEvent);

    for (const unsigned int lType : { 0u, 1u, 0x30010000u, 0x30010016u })
    {
        EXPECT_EQ(lEvent->Init(lType, 0), 0);
        EXPECT_FALSE(zq::NetworkManager::Event::IsType(lEvent.Get())) << lType;
    }
    EXPECT_FALSE(zq::NetworkManager::Event::IsType(nullptr));
}

TEST(ADefaultObserver, TakesEveryEventAndAnswersZero)
{
    TestManager       lManager;
    Observer::Default lObserver;
    const auto        lService = Make<Service>("/s", ServiceProperties());

    EXPECT_EQ(lManager.AddObserver(&lObserver), 0);
    EXPECT_EQ(lManager.SignalServiceDidConnect(lService.Get()), 0);
    EXPECT_EQ(lObserver.ServiceInput(&lManager, lService.Get(), Dict().Get()), 0);
}
