#include <zqcommandexec.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

zqStringArray MakeArray(std::initializer_list<const char *> aTexts)
{
    zqStringArray lArray;

    for (const char *lText : aTexts)
        EXPECT_EQ(lArray.Append(lText), 0);
    return lArray;
}

/** The exit status of a shell that runs the script; $1 and on are the further arguments. */
int RunShell(const char *aScript, std::initializer_list<const char *> anArguments = {})
{
    zqStringArray lArguments = MakeArray({ "-c", aScript, "sh" });
    int           lStatus    = -1000;

    EXPECT_EQ(lArguments.Copy(MakeArray(anArguments)), 0);
    EXPECT_EQ(zqCommandExec("/bin/sh", lArguments, lStatus), 0) << aScript;
    return lStatus;
}

class CommandExec : public testing::Test
{
protected:
    CommandExec()
    {
        char lPattern[] = "/tmp/zqcommandexecXXXXXX";

        EXPECT_NE(mkdtemp(lPattern), nullptr);
        mFolder = lPattern;
    }

    ~CommandExec() override { EXPECT_GT(std::filesystem::remove_all(mFolder), 0U); }

    std::string GetPath(const char *aName) const { return mFolder + "/" + aName; }

    void MakeFile(const char *aContents, mode_t aMode) const
    {
        std::ofstream(GetPath("file")) << aContents;
        ASSERT_EQ(chmod(GetPath("file").c_str(), aMode), 0);
    }

    std::string mFolder;
};

TEST_F(CommandExec, AProgramThatCannotRunIsNoSuccess)
{
    const std::string lFile = GetPath("file");
    const struct
    {
        std::string mPath;
        mode_t      mMode;
        zqError     mReturn;
    } kCases[] = { { "", 0600, -5 },
                   { mFolder + "/missing", 0600, -17 },
                   { lFile + "/below", 0600, -17 },
                   { "sh", 0600, -17 },
                   { lFile, 0600, -19 },
                   { mFolder, 0600, -19 },
                   { lFile, 0700, -1 } };

    // "sh" is searched for nowhere, and no shell runs what is no program.
    for (const auto &lCase : kCases)
    {
        int lStatus = 0;

        MakeFile("exit 0\n", lCase.mMode);
        EXPECT_EQ(zqCommandExec(lCase.mPath.c_str(), zqStringArray(), lStatus), lCase.mReturn) << lCase.mPath;
        EXPECT_EQ(lStatus, -1) << lCase.mPath;
    }

    // An application that ignores its children loses the status.
    const auto lOld    = std::signal(SIGCHLD, SIG_IGN);
    int        lStatus = 0;
    EXPECT_EQ(zqCommandExec("/bin/true", zqStringArray(), lStatus), -1);
    EXPECT_EQ(lStatus, -1);
    (void)std::signal(SIGCHLD, lOld);
}

TEST_F(CommandExec, OnlyTheOutputsAreInherited)
{
    const int lLow  = open("/dev/zero", O_RDONLY); // not close-on-exec
    const int lHigh = fcntl(lLow, F_DUPFD, 200);
    const int lIn   = dup(0);

    ASSERT_GT(lLow, 2);
    ASSERT_GE(lHigh, 200);
    ASSERT_EQ(dup2(lLow, 0), 0);
    EXPECT_EQ(RunShell("test $(readlink /proc/$$/fd/0) = /dev/null || exit 3;"
                       "for d in 1 2; do test -e /proc/$$/fd/$d || exit 1; done;"
                       "for d; do test ! -e /proc/$$/fd/$d || exit 2; done",
                       { std::to_string(lLow).c_str(), std::to_string(lHigh).c_str() }),
              0);
    ASSERT_EQ(dup2(lIn, 0), 0);
    for (const int lDescriptor : { lIn, lLow, lHigh })
        (void)close(lDescriptor);
}

TEST_F(CommandExec, SignalsAndEnvironmentAreAsTheProgramExpects)
{
    sigset_t lBlocked;
    sigset_t lOldMask;

    (void)sigemptyset(&lBlocked);
    (void)sigaddset(&lBlocked, SIGTERM);
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &lBlocked, &lOldMask), 0);
    const auto lOldPipe = std::signal(SIGPIPE, SIG_IGN);
    ASSERT_EQ(setenv("ZQ_CORE_TEST", "here", 1), 0);

    EXPECT_EQ(RunShell("kill -TERM $$; exit 0"), 128 + SIGTERM);
    EXPECT_EQ(RunShell("kill -PIPE $$; exit 0"), 128 + SIGPIPE);
    EXPECT_EQ(RunShell("test \"$ZQ_CORE_TEST\" = here"), 0);

    (void)unsetenv("ZQ_CORE_TEST");
    (void)std::signal(SIGPIPE, lOldPipe);
    (void)pthread_sigmask(SIG_SETMASK, &lOldMask, nullptr);
}

std::atomic<int> sNumSignals{ 0 };

TEST_F(CommandExec, SignalsDoNotEndTheWait)
{
    struct sigaction lAction = {};
    struct sigaction lOld;

    lAction.sa_handler = [](int) { ++sNumSignals; };
    ASSERT_EQ(sigaction(SIGUSR1, &lAction, &lOld), 0); // without SA_RESTART
    ASSERT_EQ(mkfifo(GetPath("pipe").c_str(), 0600), 0);

    std::thread lThread(
        [lWaiting = pthread_self(), lPipe = GetPath("pipe")]()
        {
            std::ofstream lStream(lPipe); // opens when the program reads

            while (sNumSignals < 5)
            {
                (void)pthread_kill(lWaiting, SIGUSR1);
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            lStream << "go on\n";
        });

    EXPECT_EQ(RunShell("read line < \"$1\"; exit 7", { GetPath("pipe").c_str() }), 7);
    lThread.join();
    (void)sigaction(SIGUSR1, &lOld, nullptr);
}

} // namespace
