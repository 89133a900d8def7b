#include <algorithm>
#include <csignal>

#include <tool.h>

#include "world.h"

using namespace zq::Test;

namespace
{

/** How many of a controller's events told a change, so far. */
std::ptrdiff_t CountChanges(const Tool &aTool)
{
    const auto lObjects = aTool.GetObjects();

    return std::count_if(lObjects.begin(), lObjects.end(),
                         [](const Json &anEvent) { return anEvent["change"] == true; });
}

/** The last event; null before the first. */
Json GetLast(const Tool &aTool)
{
    const auto lObjects = aTool.GetObjects();

    return lObjects.empty() ? Json() : lObjects.back();
}

bool WaitForConnected(const Tool &aTool, bool aConnected)
{
    const Json lTypes = aConnected ? Json{ "ethernet" } : Json::array();

    return WaitUntil(
        [&]
        {
            const Json lLast = GetLast(aTool);

            return lLast.is_object() && lLast["connected"] == aConnected && lLast["technologies"] == lTypes;
        });
}

} // namespace

TEST(Connectivity, FollowsTheCableAndPowersWhatSomebodySwitchedOff)
{
    ASSERT_TRUE(World("cable up"));

    Tool lTool({ "--json", "connectivity", "ethernet", "--power", "on" });
    ASSERT_TRUE(WaitForConnected(lTool, true)) << lTool.GetErrors();

    const auto lBefore = CountChanges(lTool);

    ASSERT_TRUE(World("cable down"));
    ASSERT_TRUE(WaitForConnected(lTool, false)) << lTool.GetOutput();
    ASSERT_TRUE(World("cable up"));
    ASSERT_TRUE(WaitForConnected(lTool, true)) << lTool.GetOutput();
    EXPECT_EQ(CountChanges(lTool), lBefore + 2) << lTool.GetOutput();

    Tool lMonitor({ "--json", "monitor" });
    ASSERT_FALSE(lMonitor.WaitForObject({ { "event", "TechnologiesAdded" } }).is_null());
    ASSERT_EQ(RunTool({ "disable", "ethernet" }).mStatus, 0);
    for (const bool lPowered : { false, true })
        EXPECT_FALSE(
            lMonitor.WaitForObject({ { "event", "TechnologyChanged" }, { "properties", { { "Powered", lPowered } } } })
                .is_null())
            << lPowered << lMonitor.GetOutput();
    ASSERT_TRUE(WaitUntil([&] { return CountChanges(lTool) == lBefore + 4; })) << lTool.GetOutput();
    EXPECT_TRUE(WaitForConnected(lTool, true));

    lTool.Signal(SIGINT);
    EXPECT_EQ(lTool.Wait(), 0) << lTool.GetErrors();
}
