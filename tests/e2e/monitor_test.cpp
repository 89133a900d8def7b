#include <cstdio>
#include <map>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "application.h"
#include "waituntil.h"

using Json = nlohmann::json;

namespace zq::Test
{

namespace
{

/** `zqnetctl --json monitor`, and the model that its lines alone make. */
class Monitor
{
public:
    Monitor()
    {
        int lPipe[2] = { -1, -1 };

        EXPECT_EQ(pipe(lPipe), 0);
        mPid = fork();

        if (mPid == 0)
        {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(lPipe[1], STDOUT_FILENO);
            close(lPipe[0]);
            close(lPipe[1]);
            execl(ZQ_NETCTL, ZQ_NETCTL, "--json", "monitor", nullptr);
            _exit(127);
        }

        close(lPipe[1]);
        mLines  = fdopen(lPipe[0], "r");
        mReader = std::thread([this] { Read(); });
    }

    ~Monitor()
    {
        int lStatus = 0;

        kill(mPid, SIGINT);
        waitpid(mPid, &lStatus, 0);
        EXPECT_TRUE(WIFEXITED(lStatus) && WEXITSTATUS(lStatus) == 0) << lStatus;
        mReader.join();
        fclose(mLines);
    }

    bool WaitForState(const std::string &aState)
    {
        return WaitUntil(
            [&]
            {
                std::lock_guard<std::mutex> lGuard(mLock);

                return mServices.size() == 1 && mServices.begin()->second == aState;
            });
    }

    bool WaitForNoService()
    {
        return WaitUntil(
            [&]
            {
                std::lock_guard<std::mutex> lGuard(mLock);

                return mServices.empty() && mCount > 0;
            });
    }

    std::vector<std::string> GetFaults()
    {
        std::lock_guard<std::mutex> lGuard(mLock);

        return mFaults;
    }

private:
    void Read()
    {
        char  *lLine     = nullptr;
        size_t lCapacity = 0;

        while (getline(&lLine, &lCapacity, mLines) > 0)
        {
            std::lock_guard<std::mutex> lGuard(mLock);
            const Json                  lEvent = Json::parse(lLine, nullptr, false);

            mCount++;
            if (!lEvent.is_object() || !lEvent.contains("event"))
                mFaults.push_back(std::string("no event: ") + lLine);
            else
                Apply(lEvent, lEvent["event"]);
        }
        free(lLine);
    }

    void Apply(const Json &anEvent, const std::string &aName)
    {
        if (aName == "ServicesAdded")
        {
            for (const Json &lService : anEvent["services"])
                if (!mServices.emplace(lService["path"], lService["properties"].value("State", "")).second)
                    mFaults.push_back("added twice: " + anEvent.dump());
        }
        else if (aName == "ServicesRemoved")
        {
            for (const Json &lService : anEvent["services"])
                if (mServices.erase(lService["path"].get<std::string>()) == 0)
                    mFaults.push_back("removed, but not there: " + anEvent.dump());
        }
        else if (aName == "ServiceChanged")
        {
            const auto lService = mServices.find(anEvent.value("service", ""));

            if (lService == mServices.end())
                mFaults.push_back("changed, but not there: " + anEvent.dump());
            else if (anEvent["properties"].contains("State"))
                lService->second = anEvent["properties"]["State"];
        }
    }

    pid_t                              mPid;
    FILE                              *mLines;
    std::thread                        mReader;
    std::mutex                         mLock;
    std::map<std::string, std::string> mServices;
    std::vector<std::string>           mFaults;
    int                                mCount = 0;
};

} // namespace

TEST(Monitor, LinesAddUpToWhatTheDaemonHas)
{
    ASSERT_TRUE(World("cable up"));

    Monitor lMonitor;
    ASSERT_TRUE(lMonitor.WaitForState("ready"));

    ASSERT_TRUE(World("cable down"));
    ASSERT_TRUE(lMonitor.WaitForNoService());
    ASSERT_TRUE(World("cable up"));
    ASSERT_TRUE(lMonitor.WaitForState("ready"));

    ASSERT_TRUE(World("daemon kill"));
    ASSERT_TRUE(World("cable down"));
    ASSERT_TRUE(World("daemon start"));
    ASSERT_TRUE(lMonitor.WaitForNoService());
    ASSERT_TRUE(World("cable up"));
    ASSERT_TRUE(lMonitor.WaitForState("ready"));

    EXPECT_EQ(lMonitor.GetFaults(), std::vector<std::string>());
}

} // namespace zq::Test
