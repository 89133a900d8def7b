/**
 *  @file
 *    Making a manager with ever more memory, until there is enough.
 */

#include <zqdbus.h>
#include <zqlog.h>
#include <zqnetworkmanager.h>

#include <failingallocations.h>
#include <fakeconnman.h>
#include <privatebus.h>

#include <gtest/gtest.h>

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
