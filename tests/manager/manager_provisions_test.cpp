/**
 *  @file
 *    The stored provisions of a manager. Runs in the sandbox: the file's place is fixed.
 */

#include <runningmanager.h>
#include <sandbox.h>

#include <set>

#include <sys/stat.h>
#include <unistd.h>

using namespace zq::Test;

namespace
{

const std::string kDirectory = "/var/lib/connman";
const std::string kFile      = kDirectory + "/quil.config";
const std::string kHeader    = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

/** What is stored, a line for each record and property. */
std::string Stored()
{
    const std::string lText = ReadFile(kFile);

    return lText.compare(0, kHeader.size(), kHeader) == 0 ? lText.substr(kHeader.size()) : "no header: " + lText;
}

class Provisions : public ManagerTest
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        EmptyDirectory(kDirectory);
    }
};

Dictionary Record(const std::string &anIdentifier, const std::string &aName)
{
    return Dict({ { kServicePropertyProvisionIdentifier, anIdentifier },
                  { kServicePropertyType, CFURetain(kServiceTypeWiFi) },
                  { kServicePropertyName, aName } });
}

} // namespace

TEST_F(Provisions, OfADamagedFileCostNoManagerAndAreReadAgainWhenTheDaemonComes)
{
    ASSERT_TRUE(WriteFile(kFile, "[service_home\nType=wifi\n"));
    const RunningManager lManager;
    ASSERT_NE(lManager.Get(), nullptr);
    ASSERT_TRUE(WriteFile(kFile, kHeader + "[service_late]\nType=wifi\nName=late\n\n"));
    ASSERT_TRUE(mConnMan.Appear());
    EXPECT_TRUE(WaitUntil([&] { return lManager.GetProvisions() == Lines{ "service_late" }; })) << mLog.GetText();
}

// The manager's records are the application's whether or not they can be stored.
TEST_F(Provisions, AFileThatCannotBeWrittenFailsNoChangeAndIsToldWhenAsked)
{
    const std::string      lObstacle = kDirectory + "/quil.tmp";
    const RunningManager   lManager;
    zqSharedPtr<Provision> lProvision;
    ASSERT_NE(lManager.Get(), nullptr);

    ASSERT_EQ(::mkdir(lObstacle.c_str(), 0700), 0);
    EXPECT_EQ(lManager->ProvisionCreate(Record("service_home", "home"), lProvision), 0);
    EXPECT_EQ(lManager->GetProvisionsError(), zqError_Failed);
    EXPECT_EQ(FileMode(kFile), 0U);
    EXPECT_EQ(lManager.GetProvisions(), Lines{ "service_home" });

    ASSERT_EQ(::rmdir(lObstacle.c_str()), 0);
    EXPECT_EQ(lManager->UpdateConnManProvisions(true), 0);
    EXPECT_EQ(lManager->GetProvisionsError(), 0);
    EXPECT_EQ(Stored(), "[service_home]\nType=wifi\nName=home\n\n");

    // Others that write for ever.
    EXPECT_EQ(zqConnMan().MergeProvisions(
                  [&](CFDictionaryRef aStored, bool, CFUSharedRef<CFDictionaryRef> &aProvisions)
                  {
                      EXPECT_EQ(lManager->ProvisionSetProperty(*lProvision, Str("Name"), Str("other")), 0);
                      EXPECT_EQ(lManager->GetProvisionsError(), zqError_TimedOut);
                      aProvisions = CFURetain(aStored);
                      return 0;
                  }),
              0);
    EXPECT_EQ(lManager->ProvisionRemove(*lProvision), 0);
    EXPECT_EQ(lManager->GetProvisionsError(), 0);
}

TEST_F(Provisions, ThatCannotBeReadAreNotReplaced)
{
    const std::string lText = kHeader + "[service_home]\nType=wifi\n\n";

    ASSERT_TRUE(WriteFile(kFile, lText, 0));
    {
        const RunningManager   lManager;
        zqSharedPtr<Provision> lProvision;
        ASSERT_NE(lManager.Get(), nullptr) << "for want of stored networks";
        EXPECT_TRUE(mLog.Contains("Failed to init provisions", 3));
        EXPECT_EQ(lManager->ProvisionCreate(Record("service_office", "office"), lProvision), 0);
        EXPECT_EQ(lManager->GetProvisionsError(), zqError_PermissionDenied);
        EXPECT_EQ(lManager->ProvisionRemoveAll(), 0);
        EXPECT_EQ(lManager->ProvisionCreate(Record("service_office", "office"), lProvision), 0);

        ASSERT_EQ(::chmod(kFile.c_str(), 0600), 0);
        EXPECT_EQ(ReadFile(kFile), lText);
        EXPECT_EQ(lManager->UpdateConnManProvisions(true), 0);
        EXPECT_EQ(Stored(), "[service_office]\nType=wifi\nName=office\n\n[service_home]\nType=wifi\n\n");
        EXPECT_EQ(lManager->GetProvisionsError(), 0);
    }

    // What is no matter of permission costs the manager.
    EmptyDirectory(kDirectory);
    ASSERT_EQ(::mkdir(kFile.c_str(), 0700), 0);
    const RunningManager lNone;
    EXPECT_EQ(lNone.Get(), nullptr);
    EXPECT_EQ(lNone.GetError(), zqError_Failed);
    EXPECT_TRUE(mLog.Contains("ASSERT: network manager: lReturn == 0, Failed to init provisions", 4));
}

TEST_F(Provisions, OneBadRecordIsRefusedAndStopsNoOther)
{
    ASSERT_TRUE(WriteFile(kFile, kHeader + "[service_odd]\nType=wifi\nName=\\sodd\nPassphrase=a\\nb\n"
                                           "ProvisionIdentifier=service_x\n\n[service_bare]\nName=bare\n\n"));
    const RunningManager   lManager;
    zqSharedPtr<Provision> lOdd, lNew;
    const auto             lBad = Record("service_bad", "bad");
    ASSERT_NE(lManager.Get(), nullptr);
    ASSERT_EQ(lManager->ManagerLookupProvisionIdentifier(Str("service_odd"), lOdd), 0);

    CFDictionarySetValue(lBad.Get(), kServicePropertyHidden, kCFBooleanTrue);
    EXPECT_EQ(lManager->ProvisionCreate(lBad, lNew), -5);
    EXPECT_EQ(lManager->ProvisionCreate(Record("bad", "bad"), lNew), -5);
    EXPECT_EQ(lManager->ProvisionSetProperty(*lOdd, Str("\t"), Str("bad")), -5);
    EXPECT_EQ(lManager->ProvisionSetProperty(*lOdd, Str("Passphrase"), Str("bad\n")), -5);
    EXPECT_EQ(lManager->ProvisionSetProperty(*lOdd, Str("ProvisionIdentifier"), Str("service_bad")), -5);
    EXPECT_EQ(lManager.GetProvisions(), Lines{ "service_odd" });
    EXPECT_FALSE(mLog.Contains("bad\n"));
}

TEST_F(Provisions, OfManyThreadsAreAllListedAndStored)
{
    static constexpr int     kThreads = 8;
    static constexpr int     kRounds  = 12;
    const RunningManager     lManager;
    std::set<Provision *>    lShared[kRounds];
    std::mutex               lLock;
    std::vector<std::thread> lThreads;
    ASSERT_NE(lManager.Get(), nullptr);

    for (int lThread = 0; lThread < kThreads; ++lThread)
        lThreads.emplace_back(
            [&, lThread]
            {
                for (int lRound = 0; lRound < kRounds; ++lRound)
                {
                    const std::string      lName   = std::to_string(lRound);
                    const auto             lRecord = Record("service_shared_" + lName, "shared");
                    zqSharedPtr<Provision> lOwn, lOne;

                    CFDictionarySetValue(lRecord.Get(), Str("Key" + std::to_string(lThread)).Get(), CFSTR("x"));
                    EXPECT_EQ(lManager->ProvisionCreate(lRecord, lOne), 0);
                    EXPECT_EQ(
                        lManager->ProvisionCreate(Record("service_" + std::to_string(lThread) + lName, "x"), lOwn), 0);
                    EXPECT_EQ(lRound % 2 != 0 ? lManager->ProvisionRemove(*lOwn) : 0, 0);

                    const std::lock_guard<std::mutex> lGuard(lLock);
                    lShared[lRound].insert(lOne.Get());
                }
            });
    for (std::thread &lThread : lThreads)
        lThread.join();

    const RunningManager        lSecond;
    zqRefObjectArray<Provision> lList, lStored;

    EXPECT_EQ(lManager->GetProvisions(lList), 0);
    EXPECT_EQ(lSecond->GetProvisions(lStored), 0);
    EXPECT_EQ(lList.GetNumElements(), kThreads * kRounds / 2 + kRounds);
    EXPECT_EQ(lStored.GetNumElements(), lList.GetNumElements());
    for (int lIndex = 0; lIndex < lList.GetNumElements(); ++lIndex)
    {
        zqSharedPtr<Provision> lRead;

        EXPECT_EQ(lSecond->ManagerLookupProvisionIdentifier(lList.GetElementPtr(lIndex)->GetPath(), lRead), 0);
        EXPECT_TRUE(CFEqual(lRead->CopyProperties().Get(), lList.GetElementPtr(lIndex)->CopyProperties().Get()));
    }
    for (const auto &lOne : lShared)
    {
        ASSERT_EQ(lOne.size(), 1U);
        EXPECT_EQ(CFDictionaryGetCount((*lOne.begin())->CopyProperties().Get()), 2 + kThreads);
    }
}

TEST_F(Provisions, OfTwoManagersComeTogether)
{
    ASSERT_TRUE(WriteFile(kFile, kHeader + "[service_both]\nType=wifi\nPassphrase=old\nName=old\nIdentity=old\n"
                                           "Domain=old\n\n"
                                           "[service_gone]\nType=wifi\n\n[service_kept]\nType=wifi\n\n"));
    const RunningManager   lFirst, lSecond, lThird;
    zqSharedPtr<Provision> lProvision;
    const auto             lChange =
        [&](const RunningManager &aManager, const char *anIdentifier, const char *aKey, const char *aValue)
    {
        zqSharedPtr<Provision> lListed;

        ASSERT_EQ(aManager->ManagerLookupProvisionIdentifier(Str(anIdentifier), lListed), 0);
        EXPECT_EQ(aKey == nullptr     ? aManager->ProvisionRemove(*lListed)
                  : aValue == nullptr ? aManager->ProvisionClearProperty(*lListed, Str(aKey))
                                      : aManager->ProvisionSetProperty(*lListed, Str(aKey), Str(aValue)),
                  0);
    };

    EXPECT_EQ(lFirst->ProvisionCreate(Record("service_new", "first"), lProvision), 0);
    lChange(lFirst, "service_both", "Name", "first");
    lChange(lFirst, "service_both", "Domain", "first");
    lChange(lFirst, "service_both", "Identity", "first");
    lChange(lFirst, "service_both", "Passphrase", nullptr);
    lChange(lFirst, "service_gone", nullptr, nullptr);
    lChange(lFirst, "service_kept", nullptr, nullptr);

    // The second has seen nothing of that.
    lChange(lSecond, "service_kept", "Name", "second");
    lChange(lSecond, "service_both", "Name", "second");
    lChange(lThird, "service_both", "Identity", "old"); // as it is there, but not in the file
    EXPECT_EQ(Stored(), "[service_new]\nType=wifi\nName=first\n\n[service_kept]\nType=wifi\nName=second\n\n"
                        "[service_both]\nType=wifi\nName=second\nIdentity=old\nDomain=first\n\n");
    EXPECT_EQ(lSecond.GetProvisions(), (Lines{ "service_both", "service_kept", "service_new" }));
    ASSERT_EQ(lSecond->ManagerLookupProvisionIdentifier(Str("service_both"), lProvision), 0);
    EXPECT_TRUE(lProvision->GetPassphrase() == nullptr);

    // What became damaged has lost nothing that somebody knows; what is erased is erased for all.
    ASSERT_TRUE(WriteFile(kFile, "[service_late]\nType=wifi\n[service_new]\nType=ethernet\nno key\n", 0600));
    lChange(lSecond, "service_both", "Name", "last");
    EXPECT_EQ(Stored(), "[service_new]\nType=ethernet\nName=first\n\n[service_late]\nType=wifi\n\n"
                        "[service_kept]\nType=wifi\nName=second\n\n[service_both]\nType=wifi\nName=last\nIdentity="
                        "first\nDomain=first\n\n");
    EXPECT_EQ(lFirst->ProvisionRemoveAll(), 0);
    EXPECT_EQ(Stored(), "");
    EXPECT_EQ(FileMode(kDirectory + "/quil.damaged"), 0U);
    EXPECT_EQ(lSecond->UpdateConnManProvisions(true), 0);
    EXPECT_EQ(lSecond.GetProvisions(), Lines{});
}
