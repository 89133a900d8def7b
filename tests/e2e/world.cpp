#include "world.h"

#include <cstdlib>

namespace zq::Test
{

bool World(const std::string &aCommand)
{
    const char *const lControl = std::getenv("ZQ_WORLD_CONTROL");

    return (lControl != nullptr) && (std::system((std::string(lControl) + " " + aCommand).c_str()) == 0);
}

void WorldTest::SetUp()
{
    ASSERT_TRUE(World("cable up"));
    ASSERT_NE(mManager.Get(), nullptr) << mManager.GetError();
    ASSERT_TRUE(WaitForReadyService());
    mName = GetReadyService();
    mEvents.Clear();
}

std::string WorldTest::GetReadyService() const
{
    const Lines lNames   = mManager.GetServices();
    const auto  lService = lNames.size() == 1 ? mManager.FindService(lNames[0]) : nullptr;

    if (lService == nullptr || !lService->IsConnected())
        return "";

    const auto lAddresses = lService->GetAddresses(CFURetain(kServicePropertyIPv4));

    return lAddresses && CFDictionaryContainsKey(lAddresses.Get(), kIPPropertyAddress) ? lNames[0] : "";
}

bool WorldTest::WaitForReadyService() const
{
    return WaitUntil([&] { return !GetReadyService().empty(); });
}

} // namespace zq::Test
