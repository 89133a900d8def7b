#include <gtest/gtest.h>

#include "application.h"
#include "logcapture.h"
#include "waituntil.h"

using namespace zq::NetworkManager;

namespace zq::Test
{

namespace
{

constexpr char kEthernet[] = "/net/connman/technology/ethernet";

class Follow : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(World("cable up"));
        ASSERT_NE(mApplication.Get(), nullptr);
        ASSERT_TRUE(mApplication.WaitForReadyService());
    }

    std::string Events()
    {
        std::string lText;

        for (const std::string &lEvent : mApplication.GetEvents().GetEvents())
            lText += lEvent + "\n";

        return lText;
    }

    void ExpectInOrder(const std::vector<std::string> &aTexts)
    {
        int lIndex = 0;

        for (const std::string &lText : aTexts)
        {
            const int lFound = mApplication.GetEvents().Find(lText, lIndex);

            EXPECT_GE(lFound, 0) << lText << " in its place, in\n" << Events();
            lIndex = (lFound >= 0) ? lFound + 1 : lIndex;
        }
    }

    // The daemon is asked itself, past the model.
    void ExpectModelOfOne(const std::string &aService)
    {
        EXPECT_EQ(mApplication.GetServicePaths(), std::vector<std::string>{ aService });
        EXPECT_EQ(mApplication.GetTechnologyPaths(), std::vector<std::string>{ kEthernet });
    }

    Application mApplication{ zqConnMan::kDecodingTolerant };
};

} // namespace

TEST_F(Follow, ModelOfAnEthernetLease)
{
    const std::string    lPath    = mApplication.GetReadyService();
    zqSharedPtr<Service> lService = mApplication.Get()->FindService(FromText(lPath).Get());

    ASSERT_NE(lService.Get(), nullptr);
    ExpectModelOfOne(lPath);

    const auto lEthernet  = lService->GetEthernet();
    const auto lAddresses = lService->GetAddresses(CFURetain(kServicePropertyIPv4));

    EXPECT_EQ(ToText(lService->GetType().Get()), "ethernet");
    EXPECT_EQ(ToText(CFDictionaryGetValue(lEthernet.Get(), kEthernetPropertyInterface)), "eth1");
    EXPECT_EQ(ToText(CFDictionaryGetValue(lAddresses.Get(), kIPPropertyAddress)).rfind("192.168.77.", 0), 0u);

    // Exact decoding refuses the daemon's reply for the type of this one.
    const auto lName   = FromText("MTU");
    int        lMTU    = 0;
    const auto lNumber = static_cast<CFNumberRef>(CFDictionaryGetValue(lEthernet.Get(), lName.Get()));

    ASSERT_NE(lNumber, nullptr);
    EXPECT_TRUE(CFNumberGetValue(lNumber, kCFNumberIntType, &lMTU));
    EXPECT_EQ(lMTU, 1500);

    EXPECT_TRUE(WaitUntil([&] { return ToText(mApplication.Get()->ManagerGetState().Get()) == "ready"; }));
}

TEST_F(Follow, CablePulledAndPutBack)
{
    const std::string lPath = mApplication.GetReadyService();

    mApplication.GetEvents().Clear();
    ASSERT_TRUE(World("cable down"));
    EXPECT_TRUE(mApplication.GetEvents().WaitFor("ServicesRemoved " + lPath)) << Events();
    EXPECT_TRUE(mApplication.GetServicePaths().empty());

    ASSERT_TRUE(World("cable up"));
    ASSERT_TRUE(mApplication.WaitForReadyService()) << Events();
    ExpectInOrder({ "StateChanged idle", "ServicesRemoved " + lPath, "ServicesAdded " + lPath });
    ExpectModelOfOne(lPath);
}

TEST_F(Follow, DaemonCrashesAndReturnsWithTheSameService)
{
    const std::string lPath = mApplication.GetReadyService();

    mApplication.GetEvents().Clear();
    ASSERT_TRUE(World("daemon kill"));
    ASSERT_TRUE(World("daemon start"));

    // Ready by the old daemon's word is not enough: the new one has to have led it there.
    ASSERT_TRUE(mApplication.GetEvents().WaitFor("ServiceChanged " + lPath + " State=ready")) << Events();
    ASSERT_TRUE(mApplication.WaitForReadyService()) << Events();
    ExpectModelOfOne(lPath);
}

TEST_F(Follow, ServiceThatWentWhileTheDaemonWasAwayIsRemoved)
{
    const std::string lPath = mApplication.GetReadyService();

    mApplication.GetEvents().Clear();
    ASSERT_TRUE(World("daemon kill"));
    ASSERT_TRUE(World("cable down"));
    EXPECT_EQ(mApplication.GetServicePaths(), std::vector<std::string>{ lPath }) << "a crash takes nothing away";

    ASSERT_TRUE(World("daemon start"));
    EXPECT_TRUE(mApplication.GetEvents().WaitFor("ServicesRemoved " + lPath)) << Events();
    EXPECT_TRUE(mApplication.GetServicePaths().empty());

    ASSERT_TRUE(World("cable up"));
    ASSERT_TRUE(mApplication.WaitForReadyService()) << Events();
    ExpectModelOfOne(lPath);
}

// It releases its agents before it tells that its services went, so those stay until it returns.
TEST_F(Follow, DaemonStopsAndReturns)
{
    const std::string lPath  = mApplication.GetReadyService();
    const std::string lAdded = std::string("TechnologiesAdded ") + kEthernet;

    mApplication.GetEvents().Clear();
    ASSERT_TRUE(World("daemon stop"));
    EXPECT_TRUE(mApplication.GetEvents().WaitFor(std::string("TechnologiesRemoved ") + kEthernet)) << Events();

    ASSERT_TRUE(World("daemon start"));
    ASSERT_TRUE(mApplication.GetEvents().WaitFor(lAdded)) << Events();
    ASSERT_TRUE(mApplication.WaitForReadyService()) << Events();
    ExpectInOrder({ "StateChanged idle", std::string("TechnologiesRemoved ") + kEthernet, lAdded });
    ExpectModelOfOne(lPath);
}

TEST(Exact, RefusesWhatTheDevicesDaemonNeverSendsAndStaysUsable)
{
    LogCapture  lLog;
    Application lApplication(zqConnMan::kDecodingExact);

    ASSERT_NE(lApplication.Get(), nullptr);
    EXPECT_TRUE(lLog.WaitFor("ASSERT: ", 4)) << lLog.GetText();
    EXPECT_TRUE(lApplication.GetServicePaths().empty());

    // Its loop is alive: the next daemon's presence is still noticed.
    lLog.Clear();
    ASSERT_TRUE(World("daemon kill"));
    EXPECT_TRUE(lLog.WaitFor("disconnected", 3)) << lLog.GetText();
    ASSERT_TRUE(World("daemon start"));
    EXPECT_TRUE(lLog.WaitFor("service at", 3)) << lLog.GetText();
}

} // namespace zq::Test
