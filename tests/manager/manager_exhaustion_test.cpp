/**
 *  @file
 *    Making a manager with ever more memory, until there is enough.
 */

#include <zqdbus.h>
#include <zqlog.h>
#include <zqnetworkmanager.h>
#include <zqwpanctl.h>

#include <failingallocations.h>
#include <fakeconnman.h>
#include <fakemeshd.h>
#include <privatebus.h>
#include <waituntil.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

using namespace zq::Test;
using namespace zq::NetworkManager;

namespace
{

constexpr int kEnough = 20000; // allocations: far more than any manager here needs

/** A log that needs no memory. */
void Ignore(void *, const char *, int, const char *) {}

class Exhaustion : public testing::Test
{
protected:
    void SetUp() override
    {
        SystemBus();
        zqLogSetHandler(Ignore, nullptr, 1);
        ASSERT_NE(zqDBus::GetThreadDefaultInstance(), nullptr);
    }

    void TearDown() override { zqLogSetHandler(nullptr, nullptr, 3); }

    static Manager *MakeWith(int anAllocations, zqError &anError)
    {
        const FailingAllocations lFailing(anAllocations);
        return CreateManager(anError, nullptr);
    }

    static int CountServices(const Manager &aManager)
    {
        zqRefObjectArray<Service> lServices;
        EXPECT_EQ(aManager.GetServices(lServices), 0);
        return lServices.GetNumElements();
    }
};

} // namespace

TEST_F(Exhaustion, EveryStepOfInitIsUndone)
{
    zqError  lError   = 0;
    Manager *lManager = nullptr;
    int      lGranted = 0;

    for (; lManager == nullptr && lGranted < kEnough; ++lGranted)
    {
        lManager = MakeWith(lGranted, lError);
        EXPECT_EQ(lManager == nullptr, lError != 0);
        if (lManager == nullptr)
        {
            EXPECT_TRUE(lError == -1 || lError == -2 || lError == -7) << lGranted << " " << lError;
        }
    }
    ASSERT_NE(lManager, nullptr);
    EXPECT_GT(lGranted, 10);
    EXPECT_TRUE(lManager->IsAvailable());
    delete lManager;
}

// What the load lacks memory for is missing; nothing else breaks.
TEST_F(Exhaustion, ALoadThatLacksMemoryLeavesAUsableManager)
{
    FakeConnMan lConnMan;
    int         lCount = 0;

    lConnMan.AddServices({ { FakeConnMan::ServicePath("home"), FakeConnMan::WiFiService("home") },
                           { FakeConnMan::ServicePath("wired"), FakeConnMan::EthernetService() } });
    ASSERT_TRUE(lConnMan.Appear());
    for (int lGranted = 0; lCount < 2 && lGranted < kEnough; lGranted += 5)
    {
        zqError        lError   = 0;
        Manager *const lManager = MakeWith(lGranted, lError);

        EXPECT_EQ(lManager == nullptr, lError != 0);
        if (lManager == nullptr)
            continue;

        lCount = CountServices(*lManager);
        EXPECT_TRUE(lManager->IsAvailable());
        delete lManager;
    }
    EXPECT_EQ(lCount, 2);
}

// An operation of the radio that lacks memory is not sent, and its completion not called.
TEST_F(Exhaustion, TheRadiosCallsAreMadeWholeOrNotAtAll)
{
    FakeMeshd lMeshd;
    zqDBus   *lDBus = zqDBus::GetThreadDefaultInstance();
    int       lSent = 0;
    int       lTold = 0;

    zqDBus::SetGlobalDefaultInstance(lDBus);
    ASSERT_TRUE(lMeshd.Appear());
    zqWPANCtl                              lController;
    zqWPANCtl::Interface                  &lInterface = *lController.GetInterface();
    const std::vector<char>                lLarge(100); // what a completion holds is copied with it
    const zqWPANCtl::Interface::Completion lComplete = [&lTold, lLarge](zqError anError) { lTold += anError == 0; };
    const zqWPANCtl::Interface::PropertyCompletion lCompleteRead = std::bind(lComplete, std::placeholders::_1);
    const zqString                                 lKey          = zqWPANCtl::kPropertyKeyDeviceMode;

    const std::function<zqError()> kOperations[] = {
        [&] { return lInterface.Leave_Async(lComplete); },
        [&] { return lInterface.GetProperty_Async(lCompleteRead, lKey); },
        [&] { return lInterface.SetProperty_Async(lComplete, "Daemon:Enabled", CFURetain<CFTypeRef>(kCFBooleanTrue)); },
    };

    for (const auto &lOperation : kOperations)
        for (int lGranted = 0; lGranted < kEnough; ++lGranted)
        {
            zqError lError = 0;
            {
                const FailingAllocations lFailing(lGranted);
                lError = lOperation();
            }
            EXPECT_TRUE(lError == 0 ? lGranted > 0 : lError == -2 || lError == -7) << lGranted << " " << lError;
            lSent += lError == 0;
            if (lError == 0)
                break;
        }

    EXPECT_TRUE(WaitUntil(
        [&]
        {
            unsigned int lCount   = 0;
            bool         lChanged = false;

            PRPollDesc *const lDescriptors = lDBus->GetPollDescriptors(lCount, &lChanged);
            (void)PR_Poll(lDescriptors, static_cast<PRIntn>(lCount), PR_MillisecondsToInterval(20));
            (void)lDBus->HandleEvents(lDescriptors);
            return lTold == 3;
        }));
    EXPECT_EQ(lSent, 3);
    EXPECT_EQ(lMeshd.GetCalls().size(), 3U);
    zqDBus::SetGlobalDefaultInstance(nullptr);
}
