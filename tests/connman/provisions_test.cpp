#include "connmanfixture.h"

#include <zqlog.h>

#include "sandbox.h"

#include <csignal>
#include <cstdlib>
#include <random>
#include <set>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zq::Test
{
namespace
{

const std::string kDirectory = "/var/lib/connman";
const std::string kFile      = kDirectory + "/quil.config";
const std::string kHeader    = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

using Pairs = std::vector<std::pair<std::string, std::string>>;
using Sets  = std::vector<std::pair<std::string, Pairs>>;

CFUSharedRef<CFMutableDictionaryRef> MakeSet(const Sets &aSets)
{
    auto lSet = MakeDictionary({});

    for (const auto &lGroup : aSets)
        CFDictionarySetValue(lSet.Get(), MakeString(lGroup.first).Get(), MakeDictionary(lGroup.second).Get());
    return lSet;
}

CFUSharedRef<CFNumberRef> PANID(unsigned long long aNumber)
{
    return CFUAdopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &aNumber));
}

class ProvisionsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        EmptyDirectory(kDirectory);
    }

    std::string Read()
    {
        CFDictionaryRef lProvisions = nullptr;

        EXPECT_EQ(mConnMan.GetProvisions(lProvisions), 0);
        return DescribeAndRelease(lProvisions);
    }

    zqError Write(const Sets &aSets) { return mConnMan.UpdateProvisions(MakeSet(aSets).Get()); }

    LogCapture mLog;
    zqConnMan  mConnMan;
};

// Reading

TEST_F(ProvisionsTest, EveryRecordThatCanBeReadIsRead)
{
    static const struct
    {
        const char *mText;
        const char *mProvisions;
        const char *mLog = "";
    } sCases[] = {
        { "", "{}" },
        { "[service_home]\nType=wifi\nName=home\nExtendedPANID=1234\n",
          "{service_home: {ProvisionIdentifier: service_home, Type: wifi, Name: home, ExtendedPANID: 1234}}" },
        { "[global]\nA=b\n[wifi_x]\nType=wifi\n[Service_x]\nType=wifi\n[service_]\nType=wifi\n",
          "{service_: {ProvisionIdentifier: service_, Type: wifi}}" },
        { "[service_a]\n\n", "{service_a: {ProvisionIdentifier: service_a}}",
          "connman: no keys for the group service_a" },
        { "[service_a]\nExtendedPANID=18446744073709551615\n",
          "{service_a: {ProvisionIdentifier: service_a, ExtendedPANID: -1}}" },
        { "[service_a]\nExtendedPANID=none\n", "{service_a: {ProvisionIdentifier: service_a, ExtendedPANID: 0}}" },
        { "[service_a]\nName=a\\sb\nPassphrase=c\\d\n",
          "{service_a: {ProvisionIdentifier: service_a, Name: a b, Passphrase: c\\d}}" },
        { "[service_a]\nProvisionIdentifier=service_b\nPassphrase=win\\tre\\\\x\nName=a\\sb\\n\n",
          "{service_a: {ProvisionIdentifier: service_a, Passphrase: win\\tre\\\\x, Name: a\\sb\\n}}" },
        { "[service_a]\nName=\xff\nType=wifi\n", "{service_a: {ProvisionIdentifier: service_a, Type: wifi}}",
          "no text for the key Name" },
        { "[service_a]\nType=wifi\nno key\n[service_b]\nType=wifi\n",
          "{service_a: {ProvisionIdentifier: service_a, Type: wifi}}",
          "connman: cannot load /var/lib/connman/quil.config file error message" },
    };

    EXPECT_EQ(Read(), "{}");
    EXPECT_EQ(mLog.GetText(), "") << "a missing file is nothing to tell";

    for (const auto &lCase : sCases)
    {
        ASSERT_TRUE(WriteFile(kFile, lCase.mText, 0600));
        EXPECT_EQ(Read(), lCase.mProvisions) << lCase.mText;
        EXPECT_TRUE(*lCase.mLog == '\0' || mLog.Contains(lCase.mLog)) << mLog.GetText();
        EXPECT_EQ(ReadFile(kFile), lCase.mText);
    }
}

TEST_F(ProvisionsTest, AFileThatCannotBeReadIsNoEmptySet)
{
    const auto lSet     = MakeSet({ { "service_kept", {} } });
    const auto lRefuses = [&] { return mConnMan.GetProvisions(lSet.Get()); };
    rlimit     lOld     = {};

    ASSERT_EQ(Write({ { "service_a", {} } }), 0);
    ASSERT_EQ(::chmod(kFile.c_str(), 0), 0);
    EXPECT_EQ(lRefuses(), zqError_PermissionDenied);
    ASSERT_EQ(::chmod(kFile.c_str(), 0600), 0);

    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &lOld), 0);
    const rlimit lNone = { 0, lOld.rlim_max };
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lNone), 0);
    EXPECT_EQ(lRefuses(), zqError_NoResources);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lOld), 0);

    ASSERT_EQ(::unlink(kFile.c_str()), 0);
    ASSERT_EQ(::mkdir(kFile.c_str(), 0700), 0);
    EXPECT_EQ(lRefuses(), zqError_Failed);
    EXPECT_EQ(mLog.Count("connman: cannot read /var/lib/connman/quil.config: error", 3), 3u);
    EXPECT_EQ(Describe(lSet.Get()), "{service_kept: {}}");
}

// Writing

TEST_F(ProvisionsTest, TheFileIsWrittenByteForByte)
{
    const auto lSet  = MakeSet({ { "service_a", { { "Type", "wifi" } } }, { "service_b", {} } });
    const auto lHome = MakeDictionary({ { "Name", "home" }, { "Type", "wifi" } });
    mode_t     lMask = ::umask(0);

    CFDictionarySetValue(lHome.Get(), CFSTR("ExtendedPANID"), PANID(18446744073709551615ULL).Get());
    CFDictionarySetValue(lSet.Get(), CFSTR("service_home"), lHome.Get());

    EXPECT_EQ(mConnMan.UpdateProvisions(lSet.Get()), 0);
    EXPECT_EQ(ReadFile(kFile), kHeader + "[service_home]\nType=wifi\nName=home\nExtendedPANID=18446744073709551615\n\n"
                                         "[service_b]\n\n"
                                         "[service_a]\nType=wifi\n\n");
    EXPECT_EQ(FileMode(kFile), 0600u);
    EXPECT_TRUE(mLog.Contains("Wrote 3 provisions to file /var/lib/connman/quil.config with length " +
                                  std::to_string(ReadFile(kFile).size()),
                              2))
        << mLog.GetText();

    // Empty, and written by a process that lets its owner do nothing.
    ::umask(0777);
    EXPECT_EQ(Write({}), 0);
    ::umask(lMask);
    EXPECT_EQ(ReadFile(kFile), kHeader);
    EXPECT_EQ(FileMode(kFile), 0600u);
    EXPECT_NE(::access((kDirectory + "/quil.tmp").c_str(), F_OK), 0);
}

TEST_F(ProvisionsTest, AnEqualSetTouchesNothing)
{
    struct stat lFirst  = {};
    struct stat lSecond = {};

    EXPECT_EQ(mConnMan.UpdateProvisions(nullptr, false), 0);
    EXPECT_EQ(mConnMan.UpdateProvisions(nullptr, true), zqError_InvalidArgument);
    EXPECT_NE(::access(kFile.c_str(), F_OK), 0);

    for (const std::size_t lLength : { 10u, 960u, 961u, 200000u })
    {
        const std::string lText(lLength, 'x');

        ASSERT_EQ(Write({ { "service_a", { { "Name", lText } } } }), 0);
        ASSERT_EQ(::stat(kFile.c_str(), &lFirst), 0);
        ASSERT_EQ(::chmod(kFile.c_str(), 0644), 0);
        mLog.Clear();
        ASSERT_EQ(Write({ { "service_a", { { "Name", lText } } } }), 0);
        ASSERT_EQ(::stat(kFile.c_str(), &lSecond), 0);
        EXPECT_EQ(lFirst.st_ino, lSecond.st_ino);
        EXPECT_EQ(lSecond.st_mode & 07777, 0600u) << "wider than it may be";
        EXPECT_EQ(mLog.GetText(), "");
        EXPECT_EQ(Read(), "{service_a: {ProvisionIdentifier: service_a, Name: " + lText + "}}");

        // Of equal length, with the difference at its very end.
        ASSERT_EQ(Write({ { "service_a", { { "Name", lText.substr(1) + "y" } } } }), 0);
        ASSERT_EQ(::stat(kFile.c_str(), &lSecond), 0);
        EXPECT_NE(lFirst.st_ino, lSecond.st_ino);
    }
}

TEST_F(ProvisionsTest, NothingThatWouldBeReadBackAsSomethingElseIsWritten)
{
    const Sets lSets[] = {
        { { "service_a\n", {} } },
        { { "service_a]", {} } },
        { { "", {} } },
        { { "service_a", { { "Passphrase", "x\n[service_b]" } } } },
        { { "service_a", { { "Passphrase", "x\ry" } } } },
        { { "service_a", { { "Na=me", "x" } } } },
        { { "service_a", { { "#Name", "x" } } } },
        { { "service_b", { { "Name", "good" } } }, { "service_a", { { "", "topsecret" } } } },
    };

    ASSERT_EQ(Write({ { "service_old", { { "Type", "wifi" } } } }), 0);

    const std::string lOld = ReadFile(kFile);

    for (const Sets &lSet : lSets)
    {
        mLog.Clear();
        EXPECT_EQ(Write(lSet), zqError_InvalidArgument);
        EXPECT_TRUE(mLog.Contains("ASSERT: connman: ", 4));
        EXPECT_FALSE(mLog.Contains("topsecret"));
        EXPECT_EQ(ReadFile(kFile), lOld);
    }

    const auto lNumber = MakeSet({});
    CFDictionarySetValue(lNumber.Get(), CFSTR("service_a"), PANID(1).Get());
    EXPECT_EQ(mConnMan.UpdateProvisions(lNumber.Get()), zqError_InvalidArgument);
    EXPECT_EQ(ReadFile(kFile), lOld);
}

TEST_F(ProvisionsTest, WhatCannotBeWrittenLeavesTheOldFile)
{
    ASSERT_EQ(Write({ { "service_old", {} } }), 0);
    const std::string lOld = ReadFile(kFile);

    // A directory in the way of the temporary file.
    ASSERT_EQ(::mkdir((kDirectory + "/quil.tmp").c_str(), 0700), 0);
    EXPECT_EQ(Write({ { "service_a", {} } }), zqError_Failed);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: fp != __null", 4));
    EXPECT_EQ(ReadFile(kFile), lOld);
    ASSERT_EQ(::rmdir((kDirectory + "/quil.tmp").c_str()), 0);

    // A directory in the way of the file itself.
    ASSERT_EQ(::unlink(kFile.c_str()), 0);
    ASSERT_EQ(::mkdir(kFile.c_str(), 0700), 0);
    EXPECT_EQ(Write({ { "service_a", {} } }), zqError_Failed);
    EXPECT_TRUE(mLog.Contains("ASSERT: connman: ret == 0", 4));
    EXPECT_NE(::access((kDirectory + "/quil.tmp").c_str(), F_OK), 0);
    ASSERT_EQ(::rmdir(kFile.c_str()), 0);

    // What a writer that died has left is no obstacle.
    ASSERT_TRUE(WriteFile(kDirectory + "/quil.tmp", "half", 0644));
    EXPECT_EQ(Write({ { "service_a", {} } }), 0);
    EXPECT_EQ(FileMode(kFile), 0600u);
}

TEST_F(ProvisionsTest, AFullFileSystemLeavesTheOldFile)
{
    const std::string kFull = "/var/lib/full"; // has room for the old file alone

    if (::access(kFull.c_str(), W_OK) != 0)
        GTEST_SKIP() << "no file system of that size here";

    ASSERT_EQ(::rmdir(kDirectory.c_str()), 0);
    ASSERT_EQ(::symlink(kFull.c_str(), kDirectory.c_str()), 0);
    EXPECT_EQ(Write({ { "service_old", {} } }), 0);
    const std::string lOld = ReadFile(kFile);

    for (const std::size_t lLength : { 1u, 10000u })
    {
        mLog.Clear();
        EXPECT_EQ(Write({ { "service_a", { { "Name", std::string(lLength, 'x') } } } }), zqError_Failed);
        EXPECT_TRUE(mLog.Contains("ASSERT: connman: len2 == len", 4)) << mLog.GetText();
        EXPECT_EQ(ReadFile(kFile), lOld);
        EXPECT_NE(::access((kDirectory + "/quil.tmp").c_str(), F_OK), 0);
    }

    ASSERT_EQ(::unlink(kDirectory.c_str()), 0);
    ASSERT_EQ(::mkdir(kDirectory.c_str(), 0755), 0);
}

TEST_F(ProvisionsTest, ADamagedFileIsKeptBesideTheOneThatReplacesIt)
{
    const std::string lDamaged = "[service_a]\nType=wifi\nno key\n[service_b]\nPassphrase=secret\n";

    ASSERT_TRUE(WriteFile(kFile, lDamaged, 0644));
    ASSERT_EQ(Write({ { "service_a", {} } }), 0);
    EXPECT_EQ(ReadFile(kDirectory + "/quil.damaged"), lDamaged);
    EXPECT_EQ(FileMode(kDirectory + "/quil.damaged"), 0600u);
    EXPECT_EQ(Read(), "{service_a: {ProvisionIdentifier: service_a}}");

    // A sound file is not kept.
    ASSERT_EQ(Write({}), 0);
    EXPECT_EQ(ReadFile(kDirectory + "/quil.damaged"), lDamaged);
}

/** Write five hundred sets, of growing numbers of records, over and over. */
[[noreturn]] void WriteForEver(unsigned int aSeed)
{
    zqConnMan lConnMan;

    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, 5);
    for (;; ++aSeed)
    {
        Sets lSets;

        for (unsigned int lIndex = 0; lIndex < aSeed % 50; ++lIndex)
            lSets.push_back({ "service_" + std::to_string(lIndex), { { "Name", std::to_string(aSeed % 500) } } });
        (void)lConnMan.UpdateProvisions(MakeSet(lSets).Get());
    }
}

bool IsOneWholeSet(const std::string &aText)
{
    const std::size_t lRecord = aText.find("Name=", kHeader.size());

    if (aText.compare(0, kHeader.size(), kHeader) != 0)
        return false;
    if (lRecord == std::string::npos)
        return aText == kHeader;

    const unsigned int    lSeed = static_cast<unsigned int>(std::atoi(aText.c_str() + lRecord + 5));
    std::set<std::string> lNames;
    std::string           lExpected = kHeader;

    for (unsigned int lIndex = 0; lIndex < lSeed % 50; ++lIndex)
        lNames.insert("service_" + std::to_string(lIndex));
    for (auto lName = lNames.rbegin(); lName != lNames.rend(); ++lName)
        lExpected += "[" + *lName + "]\nName=" + std::to_string(lSeed) + "\n\n";
    return aText == lExpected;
}

std::pair<ino_t, long> Identity()
{
    struct stat lStatus = {};

    EXPECT_EQ(::stat(kFile.c_str(), &lStatus), 0);
    return { lStatus.st_ino, lStatus.st_mtim.tv_nsec };
}

TEST_F(ProvisionsTest, AWriterThatIsKilledLeavesOneWholeSet)
{
    constexpr unsigned int kSeed = 20;
    std::mt19937           lRandom(kSeed);

    SCOPED_TRACE("seed " + std::to_string(kSeed));
    ASSERT_EQ(Write({}), 0);
    for (unsigned int lKill = 0; lKill < 200; ++lKill)
    {
        const auto lBefore = Identity();

        // Two at once: neither may rename what the other has half written.
        pid_t lWriters[2] = {};

        for (pid_t &lWriter : lWriters)
        {
            const unsigned int lFirst = lRandom() % 500;

            if ((lWriter = ::fork()) == 0)
                WriteForEver(lFirst);
        }

        EXPECT_TRUE(WaitUntil([&] { return Identity() != lBefore; })) << "nothing is written";
        ::usleep(lRandom() % 3000); // anywhere in the writing of the next ones

        for (const pid_t lWriter : lWriters)
        {
            ASSERT_EQ(::kill(lWriter, SIGKILL), 0);
            ASSERT_EQ(::waitpid(lWriter, nullptr, 0), lWriter);
        }

        const std::string lText = ReadFile(kFile);

        ASSERT_TRUE(IsOneWholeSet(lText)) << lText;
    }
    EXPECT_EQ(Write({ { "service_a", {} } }), 0);
}

// Whether a technology is provisioned

TEST_F(ProvisionsTest, ATechnologyIsProvisionedByAnyNameThatBeginsLikeIt)
{
    bool lProvisioned;

    for (const auto &[lName, lExpected] :
         { std::pair("wifi_abc", true), std::pair("wifixyz", true), std::pair("wif", false),
           std::pair("my_wifi", false), std::pair("Wifi_abc", false) })
    {
        lProvisioned = !lExpected;
        EmptyDirectory(kDirectory);
        ASSERT_TRUE(WriteFile(kDirectory + "/" + lName, ""));
        EXPECT_EQ(mConnMan.IsTechnologyProvisioned(CFSTR("wifi"), lProvisioned), lExpected ? 0 : -17) << lName;
        EXPECT_EQ(lProvisioned, lExpected);
    }
    EXPECT_TRUE(mLog.Contains("connman: In IsTechnologyProvisioned wifi 4", 1));

    lProvisioned = true;
    EXPECT_EQ(mConnMan.IsTechnologyProvisioned(nullptr, lProvisioned), -17);
    EXPECT_FALSE(lProvisioned);

    EmptyDirectory(kDirectory);
    ASSERT_EQ(::rmdir(kDirectory.c_str()), 0) << "the directory cannot be taken away here";
    EXPECT_EQ(mConnMan.IsTechnologyProvisioned(CFSTR("wifi"), lProvisioned), -1);
    EXPECT_TRUE(mLog.Contains("connman: could not open the directory"));
    EXPECT_EQ(Write({}), zqError_Failed);
    ASSERT_EQ(::mkdir(kDirectory.c_str(), 0755), 0);
}

} // namespace
} // namespace zq::Test
