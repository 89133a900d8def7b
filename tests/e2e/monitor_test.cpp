#include <csignal>
#include <map>

#include <tool.h>

#include "world.h"

namespace zq::Test
{

namespace
{

/** `zqnetctl --json monitor`, and the model that its lines alone make. */
class Monitor
{
public:
    ~Monitor()
    {
        mTool.Signal(SIGINT);
        EXPECT_EQ(mTool.Wait(), 0) << mTool.GetErrors();
    }

    bool WaitForState(const std::string &aState)
    {
        return WaitUntil([&] { return Read() && mServices.size() == 1 && mServices.begin()->second == aState; });
    }

    bool WaitForNoService()
    {
        return WaitUntil([&] { return Read() && mServices.empty(); });
    }

    Words GetFaults() const { return mFaults; }

private:
    /** False before the first line. */
    bool Read()
    {
        const Words lLines = mTool.GetLines();

        for (; mRead < lLines.size(); mRead++)
        {
            const Json lEvent = Json::parse(lLines[mRead], nullptr, false);

            if (!lEvent.is_object() || !lEvent.contains("event"))
                mFaults.push_back("no event: " + lLines[mRead]);
            else
                Apply(lEvent, lEvent["event"]);
        }
        return mRead > 0;
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

    Tool                               mTool{ { "--json", "monitor" } };
    std::size_t                        mRead = 0;
    std::map<std::string, std::string> mServices;
    Words                              mFaults;
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

    EXPECT_EQ(lMonitor.GetFaults(), Words());
}

} // namespace zq::Test
