/**
 *  @file
 *    Memory that runs out at a chosen moment.
 */

#ifndef ZQ_TEST_FAILINGALLOCATIONS_H
#define ZQ_TEST_FAILINGALLOCATIONS_H

namespace zq::Test
{

/** While it lives, every operator new of this thread fails, after the first few. */
class FailingAllocations
{
public:
    explicit FailingAllocations(int aNumGranted = 0) noexcept;
    ~FailingAllocations();

    FailingAllocations(const FailingAllocations &)            = delete;
    FailingAllocations &operator=(const FailingAllocations &) = delete;
};

} // namespace zq::Test

#endif // ZQ_TEST_FAILINGALLOCATIONS_H
