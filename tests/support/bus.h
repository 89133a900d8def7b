/**
 *  @file
 *    A thread's own bus, driven by a test.
 */

#ifndef ZQ_TEST_BUS_H
#define ZQ_TEST_BUS_H

#include <waituntil.h>

#include <zqdbus.h>

namespace zq::Test
{

/** Let the bus handle what comes until the condition holds; false when it did not in time. */
template <typename Condition>
bool PumpUntil(zqDBus *aBus, const Condition &aCondition)
{
    return Mock::WaitUntil(
        [&]
        {
            unsigned int lCount = 0;

            if (aCondition())
                return true;
            (void)aBus->HandleEvents(nullptr);
            PRPollDesc *const lDescriptors = aBus->GetPollDescriptors(lCount, nullptr);
            if (!aCondition() && PR_Poll(lDescriptors, lCount, PR_MillisecondsToInterval(5)) > 0)
                (void)aBus->HandleEvents(lDescriptors);
            return aCondition();
        });
}

/** Until everything that the bus has sent so far is dispatched: a fake's Flush() goes before it. */
bool Settle(zqDBus *aBus);

} // namespace zq::Test

#endif // ZQ_TEST_BUS_H
