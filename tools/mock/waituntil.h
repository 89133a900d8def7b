/**
 *  @file
 *    Waiting for a condition, never for a time.
 */

#ifndef ZQ_MOCK_WAITUNTIL_H
#define ZQ_MOCK_WAITUNTIL_H

#include <atomic>
#include <chrono>
#include <thread>

namespace zq::Mock
{

/**
 *  How long a wait may take. Long enough for a loaded machine under a sanitizer: what goes well never waits so
 *  long, and whoever knows that something went wrong makes it shorter.
 */
inline std::atomic<std::chrono::milliseconds> gWaitLimit{ std::chrono::minutes(1) };

/** Poll until the condition holds; false when it did not within the limit. */
template <typename Condition>
bool WaitUntil(Condition &&aCondition, std::chrono::milliseconds aLimit = gWaitLimit)
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

} // namespace zq::Mock

#endif // ZQ_MOCK_WAITUNTIL_H
