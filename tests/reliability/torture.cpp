/**
 *  @file
 *    zq-torture CLASS COUNT [SEED]: one kind of hardship, so many times, and one
 *    line of what was tried and what failed; scripts/torture runs all of them.
 */

#include "randomconnman.h"

#include <runningmanager.h>
#include <sandbox.h>
#include <zqdbus.h>
#include <zqlog.h>

#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <functional>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace zq::Test;

namespace
{

const std::string kFile = "/var/lib/connman/quil.config";

std::mt19937 sRandom;
long         sCount = 0, sTried = 0, sFailed = 0;

void Check(bool aIsGood, const std::string &aWhat)
{
    if (!aIsGood && sFailed++ < 5)
        std::fprintf(stderr, "  %s\n", aWhat.c_str());
}

void Pause(unsigned aMostMicroseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(sRandom() % aMostMicroseconds));
}

// A whole process is what is killed, or dies with the bus

pid_t Start(const std::string &aClass, long aCount)
{
    std::string lWords[]  = { "zq-torture", aClass, std::to_string(aCount), std::to_string(sRandom()) };
    char       *lVector[] = { lWords[0].data(), lWords[1].data(), lWords[2].data(), lWords[3].data(), nullptr };
    pid_t       lChild    = -1;

    (void)posix_spawn(&lChild, "/proc/self/exe", nullptr, nullptr, lVector, environ);
    return lChild;
}

/** Empty when it ended with status 0. */
std::string End(pid_t aChild)
{
    int lStatus = 0;

    if (waitpid(aChild, &lStatus, 0) != aChild)
        return "a process was not started";
    if (WIFSIGNALED(lStatus))
        return "a process ended by signal " + std::to_string(WTERMSIG(lStatus));
    return WEXITSTATUS(lStatus) == 0 ? "" : "a process failed";
}

// The daemon and the bus

/** Threads that make requests until they are told to end. */
class Requests
{
public:
    explicit Requests(Manager *aManager)
    {
        for (unsigned lSeed = 0; lSeed < 4; lSeed++)
            mThreads.emplace_back([=] { Run(aManager, std::mt19937(lSeed)); });
    }

    /** @returns how many of them have an outcome to come. */
    long End()
    {
        mEnds = true;
        for (std::thread &lThread : mThreads)
            lThread.join();
        return mSent;
    }

private:
    void Run(Manager *aManager, std::mt19937 aRandom)
    {
        while (!mEnds)
        {
            zqRefObjectArray<Service> lServices;
            const auto                lIndex = aRandom();

            if (aManager->GetServices(lServices) != 0 || lServices.IsEmpty())
                continue;

            const auto lService =
                lServices.GetElement(static_cast<int>(lIndex % static_cast<unsigned>(lServices.GetNumElements())));

            if (aRandom() % 2 == 0)
                mSent += aManager->ServiceConnect(*lService) == 0;
            else
                (void)aManager->ServiceDisconnect(*lService);
        }
    }

    std::atomic<bool>        mEnds{ false };
    std::atomic<long>        mSent{ 0 };
    std::vector<std::thread> mThreads;
};

/** Disturb a daemon with requests in flight; after each ten times all must be true again. */
void DisturbDaemon(const std::function<void(RandomConnMan &)> &aDisturb, const std::function<void()> &aCalm)
{
    RandomConnMan   lDaemon(sRandom());
    RunningManager  lManager;
    ConnectOutcomes lOutcomes;

    (void)lManager->RemoveObserver(&lManager.mRecorder);
    (void)lManager->AddObserver(&lOutcomes);
    while (sTried < sCount)
    {
        const long  lBefore = lOutcomes.mCount;
        Requests    lRequests(lManager.Get());
        std::string lDifference;

        for (int lRound = 0; lRound < 10; lRound++, sTried++)
        {
            Pause(5000);
            lDaemon.Change();
            if (lDaemon.Chance(2))
                lDaemon.Mistreat("Connect");
            aDisturb(lDaemon);
        }
        lDaemon.Release();
        aCalm();

        const long lSent = lRequests.End();

        Check(WaitUntil([&] { return (lDifference = lDaemon.Differs(lManager.Get())).empty(); }), lDifference);
        Check(WaitUntil([&] { return lOutcomes.mCount - lBefore >= lSent; }), "an outcome was lost");
        Check(lOutcomes.mCount - lBefore == lSent, "an outcome came twice");
    }
    (void)lManager->RemoveObserver(&lOutcomes);
}

void Restarts()
{
    DisturbDaemon([](RandomConnMan &aDaemon) { aDaemon.Restart(); }, [] {});
}

void Owners()
{
    DisturbDaemon([](RandomConnMan &aDaemon) { aDaemon.Replace(); }, [] {});
}

void Memory()
{
    auto *const lFailOneIn = static_cast<volatile int *>(dlsym(RTLD_DEFAULT, "zq_torture_fail_one_in"));

    if (lFailOneIn == nullptr)
        return Check(false, "needs the preloaded library");

    DisturbDaemon(
        [=](RandomConnMan &)
        {
            *lFailOneIn = 3 + static_cast<int>(sRandom() % 100);
            Pause(20000);
        },
        [=] { *lFailOneIn = 0; });
}

/** The child of Deaths: the bus dies while four threads wait for a daemon that does not answer. */
void Death()
{
    FakeConnMan lDaemon;

    lDaemon.AddService(FakeConnMan::ServicePath("home"), FakeConnMan::WiFiService("home"));
    lDaemon.Script("Disconnect", Answer::Silence());
    (void)lDaemon.Appear();

    RunningManager           lManager;
    zqSharedPtr<Service>     lService;
    std::atomic<int>         lSucceeded{ 0 };
    std::vector<std::thread> lThreads;

    // A bus that is busy at the start is asked later.
    if (!WaitUntil([&] { return (lService = lManager.FindService("home")) != nullptr; }))
        return Check(false, "no service");
    for (int lIndex = 0; lIndex < 4; lIndex++)
        lThreads.emplace_back([&] { lSucceeded += lManager->ServiceDisconnect(*lService) == 0; });
    Check(lDaemon.WaitForCall("Disconnect", 1 + sRandom() % 4), "no request");
    SystemBus().Kill();
    for (std::thread &lThread : lThreads)
        lThread.join();
    Check(lSucceeded == 0 && lManager->ServiceDisconnect(*lService) != 0, "a request succeeded without a bus");
}

void Deaths()
{
    for (; sTried < sCount; sTried++)
    {
        const std::string lEnd = End(Start("death", 1));

        Check(lEnd.empty(), lEnd);
    }
}

// The stored networks

using Records = std::map<std::string, std::string>;

/** A record whose every text says which write it is of. */
Dictionary Record(const std::string &anIdentifier, const std::string &aText)
{
    return Dict(
        { { "ProvisionIdentifier", anIdentifier }, { "Type", "wifi" }, { "Name", aText }, { "Passphrase", aText } });
}

/** The names by the identifiers; a record that is not whole is told as such. */
Records Read(zqError &aResult)
{
    CFDictionaryRef lStored = nullptr;
    zqConnMan       lClient;
    Records         lReturn;

    aResult             = lClient.GetProvisions(lStored);
    const auto lHolder  = CFUAdopt(lStored);
    const auto lKeys    = CFUAdopt(lStored != nullptr ? CFUDictionaryCopyKeys(lStored) : nullptr);
    const auto lGetText = [](CFTypeRef aRecord, CFStringRef aKey)
    { return Text(CFDictionaryGetValue(static_cast<CFDictionaryRef>(aRecord), aKey)); };

    for (CFIndex lIndex = 0; lKeys != nullptr && lIndex < CFArrayGetCount(lKeys.Get()); lIndex++)
    {
        const void *const lKey    = CFArrayGetValueAtIndex(lKeys.Get(), lIndex);
        const CFTypeRef   lRecord = CFDictionaryGetValue(lStored, lKey);
        const std::string lName   = lGetText(lRecord, CFSTR("Name"));

        lReturn[Text(lKey)] = lName == lGetText(lRecord, CFSTR("Passphrase")) ? lName : "torn";
    }
    return lReturn;
}

/** Write a set of so many records at once. */
zqError Write(const std::string &aText, unsigned aCount = 40)
{
    const auto lSet = Dict();
    zqConnMan  lClient;

    for (unsigned lIndex = 0; lIndex < aCount; lIndex++)
    {
        const std::string lName = "service_" + std::to_string(lIndex);

        CFDictionarySetValue(lSet.Get(), Str(lName).Get(), Record(lName, aText).Get());
    }
    return lClient.UpdateProvisions(lSet.Get());
}

bool IsWhole(const Records &theRecords)
{
    return theRecords.size() == 40 &&
           std::all_of(theRecords.begin(), theRecords.end(),
                       [&](const Records::value_type &aRecord)
                       { return aRecord.second == theRecords.begin()->second && aRecord.second != "torn"; });
}

/** The child of Kills. */
void Writer()
{
    for (;;)
        (void)Write("write " + std::to_string(sRandom()));
}

void Kills()
{
    for (; sTried < sCount; sTried++)
    {
        zqError lError = 0;

        Check(Write("before") == 0, "the next writer is held up");

        const pid_t lChild = Start("writer", 1);

        Pause(30000);
        (void)kill(lChild, SIGKILL);
        (void)End(lChild);
        Check(IsWhole(Read(lError)) && lError == 0, "the file is not wholly one of the sets");
    }
}

/** The child of Writers: a manager that stores records of its own, and changes and removes some. */
void Storer()
{
    RunningManager    lManager;
    const std::string lPrefix = "service_" + std::to_string(getpid()) + "_";

    for (; sTried < sCount; sTried++)
    {
        zqSharedPtr<Provision> lOne, lOther;
        const auto             lName = lPrefix + std::to_string(sTried);

        Check(lManager->ProvisionCreate(Record(lName, "new"), lOne) == 0, "a record could not be made");
        Check(lManager->ProvisionCreate(Record(lPrefix + "other", "new"), lOther) == 0, "nor another");
        if (lOne != nullptr)
            Check(lManager->ProvisionSetProperty(*lOne, Str("Name"), Str("new")) == 0, "nor changed");
        if (lOther != nullptr)
            Check(lManager->ProvisionRemove(*lOther) == 0, "nor removed");
    }
}

void Writers()
{
    zqError           lError = 0;
    const long        lEach  = sCount / 2;
    const pid_t       lFirst = Start("storer", lEach), lSecond = Start("storer", lEach);
    const std::string lEnds   = End(lFirst) + End(lSecond);
    const Records     lStored = Read(lError);

    sTried = 2 * lEach;
    Check(lEnds.empty(), lEnds);
    Check(static_cast<long>(lStored.size()) == sTried && lError == 0,
          std::to_string(lStored.size()) + " records of " + std::to_string(sTried));
}

void DiskFull()
{
    if (access("/var/lib/full", W_OK) != 0 || rmdir("/var/lib/connman") != 0 ||
        symlink("/var/lib/full", "/var/lib/connman") != 0)
        return Check(false, "no small file system here");

    for (; sTried < sCount; sTried++)
    {
        zqError lError = 0;

        Check(Write("old", 1) == 0, "what has room is refused");
        Check(Write(std::string(200 + sRandom() % 400, 'x')) != 0, "what has none is stored");
        Check(Read(lError) == Records{ { "service_0", "old" } }, "the old file is not whole");
    }
}

void Descriptors()
{
    RandomConnMan  lDaemon(sRandom());
    RunningManager lManager;

    (void)lManager->RemoveObserver(&lManager.mRecorder);
    for (; sTried < sCount; sTried++)
    {
        zqSharedPtr<Provision> lProvision;
        rlimit                 lOld = {}, lNone = {};
        zqError                lError = 0;
        const std::string      lName  = "service_" + std::to_string(sTried);

        (void)lManager->ProvisionCreate(Record(lName, "old"), lProvision);
        (void)getrlimit(RLIMIT_NOFILE, &lOld);
        lNone          = lOld;
        lNone.rlim_cur = 0;
        (void)setrlimit(RLIMIT_NOFILE, &lNone);
        (void)lManager->ProvisionSetProperty(*lProvision, Str("Name"), Str("lost"));
        std::thread(
            [&]
            {
                zqRefObjectArray<Service> lServices;

                (void)lManager->GetServices(lServices);
                if (!lServices.IsEmpty())
                    Check(lManager->ServiceDisconnect(*lServices.GetElement(0)) != 0, "waits without a descriptor");
            })
            .join();
        Check(Read(lError).empty() && lError != 0, "an unreadable file is an empty one");
        (void)setrlimit(RLIMIT_NOFILE, &lOld);

        Check(static_cast<long>(Read(lError).size()) == sTried + 1 && lError == 0, "a record has gone");
        lDaemon.Change();

        std::string lDifference;

        Check(WaitUntil([&] { return (lDifference = lDaemon.Differs(lManager.Get())).empty(); }), lDifference);
    }
}

/** Children that are forked while another thread writes, and live on with all that they have inherited. */
void Forks()
{
    std::atomic<bool> lEnds{ false };
    std::thread       lThread(
        [&]
        {
            while (!lEnds)
                Check(Write("here " + std::to_string(sTried), 1) == 0, "a forked child holds the writer up");
        });
    std::vector<pid_t> lChildren;

    for (; sTried < sCount; sTried++)
    {
        Pause(3000);

        const pid_t lChild = fork();

        if (lChild == 0)
        {
            (void)pause();
            _exit(0);
        }
        lChildren.push_back(lChild);
        Check(Write("there", 1) == 0, "a forked child holds another writer up");
        if (lChildren.size() > 20)
        {
            (void)kill(lChildren.front(), SIGKILL);
            (void)End(lChildren.front());
            lChildren.erase(lChildren.begin());
        }
    }
    lEnds = true;
    lThread.join();
    for (const pid_t lChild : lChildren)
    {
        (void)kill(lChild, SIGKILL);
        (void)End(lChild);
    }
}

const struct
{
    const char *mName;
    void (*mRun)();
    bool mIsChild; // what another class starts
} kClasses[] = {
    { "restarts", Restarts, false }, { "owners", Owners, false },
    { "deaths", Deaths, false },     { "memory", Memory, false },
    { "kills", Kills, false },       { "writers", Writers, false },
    { "full", DiskFull, false },     { "descriptors", Descriptors, false },
    { "forks", Forks, false },       { "death", Death, true },
    { "writer", Writer, true },      { "storer", Storer, true },
};

} // namespace

int main(int aCount, char **aWords)
{
    zqLogSetHandler([](void *, const char *, int, const char *) {}, nullptr, zqLogLevel_Error);
    if (aCount < 3 || !InSandbox())
    {
        std::fputs("usage: tests/support/sandbox zq-torture CLASS COUNT [SEED]\n", stderr);
        return 2;
    }
    sCount = std::atol(aWords[2]);
    sRandom.seed(aCount > 3 ? static_cast<unsigned>(std::strtoul(aWords[3], nullptr, 10)) : std::random_device()());

    for (const auto &lClass : kClasses)
        if (std::string(aWords[1]) == lClass.mName)
        {
            SystemBus();
            lClass.mRun();
            if (!lClass.mIsChild)
                std::printf("%-12s tried %6ld  failed %ld\n", lClass.mName, sTried, sFailed);
            return sFailed != 0;
        }
    std::fprintf(stderr, "zq-torture: no class %s\n", aWords[1]);
    return 2;
}
