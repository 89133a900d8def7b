/**
 *  @file
 *    Memory that runs out at a chosen moment.
 */

#ifndef ZQ_TEST_FAILINGALLOCATIONS_H
#define ZQ_TEST_FAILINGALLOCATIONS_H

#include <algorithm>
#include <climits>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

namespace zq::Test
{

/** While it lives, every operator new of this thread fails, or the next few, after the first few. */
class FailingAllocations
{
public:
    explicit FailingAllocations(int aNumGranted = 0, int aNumFailing = INT_MAX) noexcept;
    ~FailingAllocations();

    FailingAllocations(const FailingAllocations &)            = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;
};

/**
 *  Let an operation's first allocation fail, then its second, and so on until it succeeds.
 *
 *  @param[in]  theErrors  All that it may return until then.
 *  @param[in]  aPrepare   Called before each, with all the memory that there is.
 *
 *  @returns  how often it failed.
 */
template <typename Operation>
int Starve(
    const std::vector<int> &theErrors, Operation anOperation, const std::function<void()> &aPrepare = [] {})
{
    for (int lGranted = 0; lGranted < 20000; ++lGranted)
    {
        int lReturn = 0;

        aPrepare();
        {
            const FailingAllocations lFailing(lGranted);

            lReturn = anOperation();
        }
        if (lReturn == 0)
            return lGranted;

        EXPECT_NE(std::count(theErrors.begin(), theErrors.end(), lReturn), 0)
            << lReturn << " with " << lGranted << " allocations";
    }
    ADD_FAILURE() << "never succeeded";
    return 0;
}

} // namespace zq::Test

#endif // ZQ_TEST_FAILINGALLOCATIONS_H
