/**
 *  @file
 *    The concrete manager itself, without a bus: what no application can bring about.
 */

#include <zqnetworkmanager-connman.h>

#include <cfvalues.h>
#include <logcapture.h>

#include <gtest/gtest.h>

using namespace zq::Test;
using ConcreteManager = zq::NetworkManager::ConnMan::Manager;

// MARK: Somebody else's client

TEST(ForeignClient, IsNotListenedTo)
{
    ConcreteManager  lManager;
    zqConnMan        lOther;
    const auto       lArray      = MakeArray();
    const auto       lDictionary = Dict();
    const LogCapture lLog;

    lManager.Available(&lOther);
    lManager.Unavailable(&lOther);
    lManager.StateChanged(&lOther, CFSTR("ready"));
    lManager.PropertiesChanged(&lOther, lDictionary.Get());
    lManager.ServicesAdded(&lOther, lArray.Get());
    lManager.ServicesRemoved(&lOther, lArray.Get());
    lManager.ServicesUpdated(&lOther, lArray.Get());
    lManager.ServiceChanged(&lOther, CFSTR("/s"), lDictionary.Get());
    EXPECT_EQ(lManager.ServiceRequestInput(&lOther, CFSTR("/s"), lDictionary.Get()), -5);
    lManager.ServiceReportError(&lOther, CFSTR("/s"), CFSTR("e"));
    lManager.ServiceDidConnect(&lOther, CFSTR("/s"));
    lManager.ServiceDidNotConnect(&lOther, CFSTR("/s"), -1);
    lManager.ServiceIsOnline(&lOther, CFSTR("/s"));
    lManager.ServiceIsNotOnline(&lOther, CFSTR("/s"), -1);
    lManager.TechnologiesAdded(&lOther, lArray.Get());
    lManager.TechnologiesRemoved(&lOther, lArray.Get());
    lManager.TechnologyChanged(&lOther, CFSTR("/t"), lDictionary.Get());
    lManager.TechnologyDidScan(&lOther, CFSTR("/t"));
    lManager.TechnologyDidNotScan(&lOther, CFSTR("/t"), -1);

    EXPECT_EQ(lLog.Count("ASSERT: network manager: aConnMan == &mConnMan, file: zqnetworkmanager-connman", 4), 19U)
        << lLog.GetText();
    EXPECT_EQ(lLog.Count("network manager: Found different zqConnMan instance: aConnMan 0x", 4), 2U);
    EXPECT_EQ(lLog.GetLines().size(), 21U) << lLog.GetText();
}

// MARK: Before Init and after Destroy

TEST(Lifecycle, AFailedInitLeavesNothingToDestroy)
{
    ConcreteManager lManager;

    EXPECT_EQ(lManager.Init(nullptr), -1); // there is no bus
    EXPECT_FALSE(lManager.IsAvailable());
    EXPECT_NE(lManager.Init(nullptr), 0);
    lManager.Destroy();
}
