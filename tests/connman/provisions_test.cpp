#include "connmanfixture.h"

#include <glib.h>
#include <zqlog.h>

#include "sandbox.h"

#include <csignal>
#include <map>
#include <memory>
#include <random>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zq::Test;

namespace
{

const std::string kDirectory = "/var/lib/connman";
const std::string kFile      = kDirectory + "/quil.config";
const std::string kHeader    = "[global]\nName=quil\nDescription=Quil network service provisions\n\n";

using Sets = std::vector<std::pair<std::string, Entries>>;

Dictionary MakeSet(const Sets &aSets)
{
    auto lSet = Dict({});

    for (const auto &lGroup : aSets)
        CFDictionarySetValue(lSet.Get(), Str(lGroup.first).Get(), Dict(lGroup.second).Get());
    return lSet;
}

class ProvisionsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ZQ_REQUIRE_SANDBOX();
        EmptyDirectory(kDirectory);
    }

    CFDictionaryRef ReadSet()
    {
        CFDictionaryRef lProvisions = nullptr;

        EXPECT_EQ(mConnMan.GetProvisions(lProvisions), 0);
        return lProvisions;
    }

    std::string Read() { return DescribeAndRelease(ReadSet()); }

    /** Do something with the file held; afterwards it has no record. */
    zqError Hold(const std::function<void()> &aDo, int aTimeout = zqConnMan::kProvisionsTimeout)
    {
        return mConnMan.MergeProvisions(
            [&](CFDictionaryRef, bool, CFUSharedRef<CFDictionaryRef> &aProvisions)
            {
                aDo();
                aProvisions = MakeSet({});
                return 0;
            },
            aTimeout);
    }

    zqError Write(const Sets &aSets) { return mConnMan.UpdateProvisions(MakeSet(aSets).Get()); }

    LogCapture mLog;
    zqConnMan  mConnMan;
};

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
    EXPECT_EQ(Text(lSet.Get()), "{service_kept: {}}");
}

TEST_F(ProvisionsTest, TheFileIsWrittenByteForByte)
{
    const auto lSet  = MakeSet({ { "service_a", { { "Type", "wifi" } } }, { "service_b", {} } });
    const auto lHome = Dict({ { "Name", "home" }, { "Type", "wifi" } });
    mode_t     lMask = ::umask(0);

    CFDictionarySetValue(lHome.Get(), CFSTR("ExtendedPANID"), NumberOf(kCFNumberSInt64Type, -1).Get());
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
    struct stat lFirst = {}, lSecond = {};

    EXPECT_EQ(mConnMan.UpdateProvisions(nullptr, false), 0);
    EXPECT_EQ(mConnMan.UpdateProvisions(nullptr, true), zqError_InvalidArgument);
    EXPECT_EQ(mConnMan.GetProvisions(static_cast<CFMutableDictionaryRef>(nullptr)), zqError_InvalidArgument);
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

/** What the daemon's parser has for a key, as it stands there; "none" of a damaged file, too. */
std::string Parsed(const std::string &aGroup, const std::string &aKey)
{
    const std::unique_ptr<GKeyFile, decltype(&g_key_file_free)> lFile(g_key_file_new(), g_key_file_free);

    if (!g_key_file_load_from_file(lFile.get(), kFile.c_str(), G_KEY_FILE_NONE, nullptr))
        return "none";

    const std::unique_ptr<gchar, decltype(&g_free)> lText(
        g_key_file_get_value(lFile.get(), aGroup.c_str(), aKey.c_str(), nullptr), g_free);

    return lText ? lText.get() : "none";
}

TEST_F(ProvisionsTest, ARecordIsTakenExactlyWhenItIsReadBackAsItIs)
{
    static const char *const kPieces[] = { "a",  "Z",  "\u00e9", "\\",  "n",   "s",   "t",  "=",    "[",          "]",
                                           "#",  ";",  " ",      "\t",  "\n",  "\r",  "\v", "\x01", "\U0001f600", "1",
                                           "\"", "\'", "\x7f",   "[C]", "\\n", "\\s", ",",  ":" };
    std::mt19937             lRandom(7);
    std::map<zqError, int>   lResults;

    const auto lPick = [&](int aMost)
    {
        std::string lText;

        for (auto lCount = lRandom() % static_cast<unsigned>(aMost + 1); lCount > 0; --lCount)
        {
            const auto lIndex = lRandom() % (std::size(kPieces) + 1);

            lText += lIndex < std::size(kPieces) ? kPieces[lIndex] : std::string(1, '\0');
        }
        return lText;
    };

    for (int lRound = 0; lRound < 4000; ++lRound)
    {
        const std::string lGroup = (lRandom() % 20 != 0 ? "service_" : "") + lPick(lRandom() % 4 != 0 ? 0 : 3);
        const std::string lKey   = lRandom() % 2 != 0 ? "Name" : lPick(3);
        const std::string lValue = lPick(5);
        const auto        lName  = Str(lGroup);
        const auto        lHas   = Dict({});
        const auto lSet = MakeSet({ { "service__", { { "Type", "wifi" } } }, { "service_~", { { "A", "b" } } } });

        SCOPED_TRACE("[" + lGroup + "]\n" + lKey + "=" + lValue);
        CFDictionarySetValue(lHas.Get(), Str(lKey).Get(), Str(lValue).Get());
        CFDictionarySetValue(lSet.Get(), lName.Get(), lHas.Get());

        const zqError lCheck = zqConnMan::CheckProvision(lName.Get(), lHas.Get());
        const zqError lWrite = mConnMan.UpdateProvisions(lSet.Get());

        ++lResults[lCheck];
        if (lWrite == 0)
        {
            const auto lRead  = CFUAdopt(ReadSet());
            const auto lFound = static_cast<CFDictionaryRef>(CFDictionaryGetValue(lRead.Get(), lName.Get()));

            ASSERT_EQ(Parsed("service__", "Type") + Parsed("service_~", "A"), "wifib");
            CFDictionarySetValue(lHas.Get(), CFSTR("ProvisionIdentifier"), lName.Get());
            ASSERT_EQ(lFound != nullptr && CFEqual(lFound, lHas.Get()), lCheck == 0) << Text(lFound);
            ASSERT_TRUE(lCheck != 0 || Parsed(lGroup, lKey) == lValue);
        }
        ASSERT_TRUE(lCheck == 0 ? lWrite == 0 : lCheck == zqError_InvalidArgument) << lWrite;
    }
    EXPECT_GT(lResults[0], 1000);
    EXPECT_GT(lResults[zqError_InvalidArgument], 1000);
}

TEST_F(ProvisionsTest, WhatTheFileCannotHoldIsRefusedWithoutItsValue)
{
    ASSERT_EQ(Write({ { "service_old", { { "Type", "wifi" } } } }), 0);

    const std::string lOld = ReadFile(kFile);

    for (const Entries &lEntries :
         { Entries{ { "Passphrase", "topsecret\n[service_b]" } }, Entries{ { "", "topsecret" } } })
    {
        mLog.Clear();
        EXPECT_EQ(Write({ { "service_b", { { "Name", "good" } } }, { "service_a", lEntries } }),
                  zqError_InvalidArgument);
        EXPECT_TRUE(mLog.Contains("ASSERT: connman: ", 4));
        EXPECT_EQ(zqConnMan::CheckProvision(CFSTR("service_a"), Dict(lEntries).Get()), zqError_InvalidArgument);
        EXPECT_FALSE(mLog.Contains("topsecret"));
    }
    EXPECT_EQ(zqConnMan::CheckProvision(CFSTR("service_a"), Dict({ { "Passphrase", " topsecret" } }).Get()), -5);
    EXPECT_TRUE(mLog.Contains("connman: Passphrase of a record would not be read back from the file as it is", 4));
    EXPECT_FALSE(mLog.Contains("topsecret"));

    // An extended PAN ID is a number or its digits, everything else a string.
    const std::pair<const char *, std::pair<Value, zqError>> kValues[] = {
        { "ExtendedPANID", { NumberOf(kCFNumberSInt64Type, -1), 0 } },
        { "ExtendedPANID", { Str("18446744073709551615"), 0 } },
        { "ExtendedPANID", { Str("0x10"), -5 } },
        { "ExtendedPANID", { CFURetain<CFTypeRef>(kCFBooleanTrue), -5 } },
        { "Hidden", { NumberOf(kCFNumberSInt64Type, 1), -5 } },
    };

    for (const auto &[lKey, lCase] : kValues)
    {
        const auto lSet    = MakeSet({ { "service_a", {} } });
        const auto lRecord = Dict({});

        CFDictionarySetValue(lRecord.Get(), Str(lKey).Get(), lCase.first.Get());
        EXPECT_EQ(zqConnMan::CheckProvision(CFSTR("service_a"), lRecord.Get()), lCase.second) << lKey;
    }
    const auto lNoName = Dict();
    CFDictionarySetValue(lNoName.Get(), kCFBooleanTrue, CFSTR("x"));
    EXPECT_EQ(zqConnMan::CheckProvision(CFSTR("service_a"), lNoName.Get()), -5);
    EXPECT_EQ(Write({ { "service_]", {} } }), -5);
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

TEST_F(ProvisionsTest, ADamagedFileIsKeptBesideTheOneThatReplacesItUntilAllIsErased)
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

    ASSERT_TRUE(WriteFile(kDirectory + "/quil.tmp", "[service_a]\nPassphrase=secret\n", 0600));
    EXPECT_EQ(mConnMan.EraseProvisions(), 0);
    EXPECT_EQ(FileMode(kDirectory + "/quil.damaged") + FileMode(kDirectory + "/quil.tmp"), 0u);
    EXPECT_EQ(ReadFile(kFile), kHeader);
}

TEST_F(ProvisionsTest, AMergedRecordKeepsEveryTextThatIsNotChanged)
{
    const auto lText = [](const std::string &aPhase2) {
        return "ProvisionIdentifier=x\nPhase2=" + aPhase2 +
               "\nPassphrase=win\\tre\\\\x\nName=\xff\nIdentity=re\\\\t\n\n";
    };
    std::string lStored;

    ASSERT_TRUE(WriteFile(kFile, "[service_o]\nType=wifi\n" + lText("\xff"), 0600));
    const auto lMerge = [&](CFDictionaryRef aStored, bool anIsWhole, CFUSharedRef<CFDictionaryRef> &aProvisions)
    {
        const auto lSet    = MakeSet({ { "service_z", { { "Name", "z" } } } });
        const auto lRecord = CFUAdopt(CFDictionaryCreateMutableCopy(
            nullptr, 0, static_cast<CFDictionaryRef>(CFDictionaryGetValue(aStored, CFSTR("service_o")))));

        lStored = Text(aStored);
        CFDictionarySetValue(lRecord.Get(), CFSTR("Type"), CFSTR("ethernet"));
        CFDictionarySetValue(lRecord.Get(), CFSTR("Phase2"), CFSTR("a text"));
        CFDictionarySetValue(lSet.Get(), CFSTR("service_o"), lRecord.Get());
        aProvisions = lSet;
        return anIsWhole ? 0 : -99;
    };

    EXPECT_EQ(mConnMan.MergeProvisions(lMerge), 0);
    EXPECT_EQ(lStored, "{service_o: {Type: wifi, Passphrase: win\\tre\\\\x, Identity: re\\t}}");

    const std::string lMerged = kHeader + "[service_z]\nName=z\n\n[service_o]\nType=ethernet\n" + lText("a text");

    EXPECT_EQ(ReadFile(kFile), lMerged);

    // What is refused, by the caller here, is not written.
    ASSERT_TRUE(WriteFile(kFile, lMerged + "no key\n", 0600));
    EXPECT_EQ(mConnMan.MergeProvisions(lMerge), -99);
    EXPECT_EQ(ReadFile(kFile), lMerged + "no key\n");
}

/** A child that does something and then lives on, until it is killed here. */
class Child
{
public:
    explicit Child(const std::function<void()> &aDo)
    {
        if ((mProcess = ::fork()) == 0)
        {
            aDo();
            for (;;)
                (void)::pause();
        }
    }
    ~Child() { Kill(); }

    void Kill()
    {
        if (mProcess > 0)
        {
            EXPECT_EQ(::kill(mProcess, SIGKILL), 0);
            EXPECT_EQ(::waitpid(mProcess, nullptr, 0), mProcess);
        }
        mProcess = 0;
    }

private:
    pid_t mProcess;
};

TEST_F(ProvisionsTest, TheLockIsWaitedForForALimitedTimeAndInheritedByNobody)
{
    std::unique_ptr<Child> lHeir;
    const std::string      lHeld = kDirectory + "/held";
    const auto             lNone = [] {};

    EXPECT_EQ(Hold([&] { EXPECT_EQ(Hold(lNone, 20), zqError_TimedOut); }), 0);
    EXPECT_TRUE(mLog.Contains("connman: somebody else holds /var/lib/connman/quil.config: given up after 20 ms", 4));
    EXPECT_EQ(FileMode(kDirectory + "/quil.lock"), 0600u);

    // A child of the holder's.
    EXPECT_EQ(Hold([&] { lHeir = std::make_unique<Child>(lNone); }), 0);
    EXPECT_EQ(Write({}), 0);

    // One that outlives the holder.
    Child lHolder([&]
                  { (void)Hold([&] { ::fork() == 0 ? (void)::pause() : (void)WriteFile(lHeld, ""), ::pause(); }); });

    ASSERT_TRUE(WaitUntil([&] { return ::access(lHeld.c_str(), F_OK) == 0; }));
    EXPECT_EQ(Hold(lNone, 0), zqError_TimedOut);
    lHolder.Kill();
    EXPECT_EQ(Write({}), 0);
}

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
