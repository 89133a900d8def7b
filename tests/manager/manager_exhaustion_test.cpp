/**
 *  @file
 *    Making a manager with ever more memory, until there is enough.
 */

#include <zqlog.h>
#include <zqnetworkmanager.h>
#include <zqwpanctl-signals.h>

#include <bus.h>
#include <failingallocations.h>
#include <fakeconnman.h>
#include <fakemeshd.h>
#include <privatebus.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

using namespace zq::Mock;
using namespace zq::Test;
using namespace zq::NetworkManager;

namespace
{

const std::vector<zqError> kExhausted = { zqError_Failed, zqError_NoResources, zqError_OutOfMemory };

class Exhaustion : public testing::Test
{
protected:
    void SetUp() override
    {
        SystemBus();
        zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 1); // a log that needs no memory
        ASSERT_NE(zqDBus::GetThreadDefaultInstance(), nullptr);
    }

    void TearDown() override { zqLogSetHandler(nullptr, nullptr, 3); }

    /** Make a manager and let it go; how many services it has, when it was made. */
    static zqError Make(int &aCount)
    {
        zqError                        lError = 0;
        const std::unique_ptr<Manager> lManager(CreateManager(lError, nullptr));
        zqRefObjectArray<Service>      lServices;

        EXPECT_EQ(lManager == nullptr, lError != 0);
        if (lManager == nullptr)
            return lError;

        EXPECT_TRUE(lManager->IsAvailable());
        aCount = lManager->GetServices(lServices) == 0 ? lServices.GetNumElements() : -1;
        return 0;
    }
};

} // namespace

TEST_F(Exhaustion, EveryStepOfInitIsUndone)
{
    int lCount = -1;

    EXPECT_GT(Starve(kExhausted, [&] { return Make(lCount); }), 10);
}

// What the load lacks memory for is missing; nothing else breaks.
TEST_F(Exhaustion, ALoadThatLacksMemoryLeavesAUsableManager)
{
    FakeConnMan lConnMan;

    lConnMan.AddServices({ { FakeConnMan::ServicePath("home"), FakeConnMan::WiFiService("home") },
                           { FakeConnMan::ServicePath("wired"), FakeConnMan::EthernetService() } });
    ASSERT_TRUE(lConnMan.Appear());
    Starve(kExhausted,
           [&]
           {
               int           lCount  = 0;
               const zqError lReturn = Make(lCount);

               return lReturn != 0 || lCount == 2 ? lReturn : zqError_OutOfMemory;
           });
}

// An operation of the radio that lacks memory is not sent, and its completion not called.
TEST_F(Exhaustion, TheRadiosCallsAreMadeWholeOrNotAtAll)
{
    FakeMeshd lMeshd;
    zqDBus   *lDBus = zqDBus::GetThreadDefaultInstance();
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
        EXPECT_GT(Starve({ zqError_NoResources, zqError_OutOfMemory }, lOperation), 0);

    EXPECT_TRUE(PumpUntil(lDBus, [&] { return lTold == 3; }));
    EXPECT_EQ(lMeshd.GetCalls().size(), 3U);
    zqDBus::SetGlobalDefaultInstance(nullptr);
}
