/**
 *  @file
 *    The stored provisions of a manager. Runs in the sandbox: the file's place is fixed.
 */

#include <fakeconnman.h>
#include <logcapture.h>
#include <privatebus.h>
#include <runningmanager.h>
#include <sandbox.h>
#include <waituntil.h>

#include <gtest/gtest.h>

using namespace zq::Test;

namespace
{

const std::string kDirectory = "/var/lib/connman";
const std::string kFile      = kDirectory + "/quil.config";
const std::string kHeader    = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

class Provisions : public testing::Test
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        SystemBus();
        EmptyDirectory(kDirectory);
    }

    LogCapture  mLog;
    FakeConnMan mConnMan;
};

Dictionary Record(const char *anIdentifier, const char *aName)
{
    return Dict({ { kServicePropertyProvisionIdentifier, Str(anIdentifier) },
                  { kServicePropertyType, CFURetain(kServiceTypeWiFi) },
                  { kServicePropertyName, Str(aName) } });
}

} // namespace

TEST_F(Provisions, AMissingOrADamagedFileCostsNoManagerAndIsLeftAsItIs)
{
    ASSERT_NE(RunningManager().Get(), nullptr) << mLog.GetText();
    EXPECT_EQ(FileMode(kFile), 0U);

    for (const char *lText : { "", "garbage", "[service_home\nType=wifi\n", "\xff\xfe[", "[service_home]\nType" })
    {
        ASSERT_TRUE(WriteFile(kFile, lText));
        const RunningManager lManager;
        ASSERT_NE(lManager.Get(), nullptr) << lText << lManager.GetError();
        EXPECT_EQ(lManager.GetProvisions(), Lines{}) << lText;
        EXPECT_EQ(ReadFile(kFile), lText);
    }
}

TEST_F(Provisions, AreReadAgainWhenTheDaemonComes)
{
    const RunningManager lManager;
    ASSERT_NE(lManager.Get(), nullptr);
    ASSERT_TRUE(WriteFile(kFile, kHeader + "[service_late]\nType=wifi\nName=late\n\n"));
    ASSERT_TRUE(mConnMan.Appear());
    EXPECT_TRUE(WaitUntil([&] { return lManager.GetProvisions() == Lines{ "service_late" }; })) << mLog.GetText();
}

TEST_F(Provisions, EveryChangeIsWrittenWithAllTheOthers)
{
    ASSERT_TRUE(WriteFile(kFile, kHeader + "[service_home]\nType=wifi\nName=home\nPassphrase=secret123\n\n"));
    const RunningManager   lManager;
    zqSharedPtr<Provision> lProvision;
    ASSERT_NE(lManager.Get(), nullptr);
    ASSERT_EQ(lManager.GetProvisions(), Lines{ "service_home" });

    EXPECT_EQ(lManager->ProvisionCreate(Record("service_office", "office"), lProvision), 0);
    EXPECT_EQ(ReadFile(kFile), kHeader + "[service_office]\nType=wifi\nName=office\n\n"
                                         "[service_home]\nType=wifi\nPassphrase=secret123\nName=home\n\n");
    EXPECT_EQ(FileMode(kFile), 0600U);
    EXPECT_EQ(lManager->ProvisionCreate(Record("service_quiet", "quiet"), lProvision, false), 0);
    EXPECT_EQ(ReadFile(kFile).find("quiet"), std::string::npos);

    EXPECT_EQ(lManager->ProvisionRemoveAll(), 0);
    EXPECT_EQ(ReadFile(kFile), kHeader);
    EXPECT_FALSE(mLog.Contains("secret123"));
}

// The manager's records are the application's whether or not they can be stored.
TEST_F(Provisions, AFileThatCannotBeWrittenFailsNoChange)
{
    const RunningManager   lManager;
    zqSharedPtr<Provision> lProvision;
    ASSERT_NE(lManager.Get(), nullptr);

    EXPECT_EQ(lManager->ProvisionCreate(Record("service_home", "two\nlines"), lProvision), 0);
    EXPECT_EQ(lManager->UpdateConnManProvisions(true), 0);
    EXPECT_EQ(FileMode(kFile), 0U);
    EXPECT_EQ(lManager.GetProvisions(), Lines{ "service_home" });
}
