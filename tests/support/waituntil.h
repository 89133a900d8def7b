/**
 *  @file
 *    Waiting for a condition, never for a time.
 */

#ifndef ZQ_TEST_WAITUNTIL_H
#define ZQ_TEST_WAITUNTIL_H

#include <chrono>
#include <thread>

namespace zq::Test
{

/** Long enough for a loaded machine under a sanitizer; a passing test never waits so long. */
constexpr std::chrono::milliseconds kWaitLimit{ 60000 };

/** Poll until the condition holds; false when it did not within the limit. */
template <typename Condition>
bool WaitUntil(Condition &&aCondition, std::chrono::milliseconds aLimit = kWaitLimit)
{
    const auto lEnd = std::chrono::steady_clock::now() + aLimit;

    while (!aCondition())
    {
        if (std::chrono::steady_clock::now() >= lEnd)
            return aCondition();

        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }

    return true;
}

} // namespace zq::Test

#endif // ZQ_TEST_WAITUNTIL_H
