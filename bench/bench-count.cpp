// Counting: the allocations of the whole program, and the two works that are
// compared.

#include "zq-bench.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <vector>

#include <malloc.h>
#include <unistd.h>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_START_INSTRUMENTATION (void)0
#define CALLGRIND_ZERO_STATS (void)0
#define CALLGRIND_DUMP_STATS_AT(aName) (void)(aName)
#define CALLGRIND_STOP_INSTRUMENTATION (void)0
#endif

namespace
{

std::atomic<long> sAllocations, sBlocks, sBytes;

void *Count(void *aBlock) noexcept
{
    if (aBlock != nullptr)
    {
        sAllocations.fetch_add(1, std::memory_order_relaxed);
        sBlocks.fetch_add(1, std::memory_order_relaxed);
        sBytes.fetch_add(static_cast<long>(malloc_usable_size(aBlock)), std::memory_order_relaxed);
    }
    return aBlock;
}

void Uncount(void *aBlock) noexcept
{
    if (aBlock != nullptr)
    {
        sBlocks.fetch_sub(1, std::memory_order_relaxed);
        sBytes.fetch_sub(static_cast<long>(malloc_usable_size(aBlock)), std::memory_order_relaxed);
    }
}

} // namespace

// Those of glibc under their other names.
extern "C"
{
    void *__libc_malloc(std::size_t);
    void *__libc_calloc(std::size_t, std::size_t);
    void *__libc_realloc(void *, std::size_t);
    void  __libc_free(void *);

    void *malloc(std::size_t aSize)
    {
        return Count(__libc_malloc(aSize));
    }
    void *calloc(std::size_t aCount, std::size_t aSize)
    {
        return Count(__libc_calloc(aCount, aSize));
    }
    void *realloc(void *aBlock, std::size_t aSize)
    {
        Uncount(aBlock);
        return Count(__libc_realloc(aBlock, aSize));
    }
    void free(void *aBlock)
    {
        Uncount(aBlock);
        __libc_free(aBlock);
    }
}

namespace zq::Bench
{

Counting gCounting = Counting::Times;

namespace
{

/** What one work took; in the order of kQuantities. */
using Figures = std::vector<double>;

const char *const kQuantities[] = { "cpu", "wall", "allocations", "blocks", "bytes" };

Figures Now()
{
    return { Nanoseconds(CLOCK_THREAD_CPUTIME_ID), Nanoseconds(CLOCK_MONOTONIC), double(sAllocations), double(sBlocks),
             double(sBytes) };
}

Figures Take(const Work &aWork)
{
    aWork.mPrepare();

    const Figures lBefore = Now();

    aWork.mRun();

    Figures lTaken = Now();

    std::transform(lTaken.begin(), lTaken.end(), lBefore.begin(), lTaken.begin(), std::minus<>());
    aWork.mUndo();
    return lTaken;
}

/** Machines differ, and a shared one differs from minute to minute: the ratios are taken of works side by side. */
void CompareTimes(const std::string &aName, int aSize, int aCount, const Work &aFloor, const Work &aWork)
{
    constexpr double kEnough = 0.5e9;
    constexpr int    kMost   = 101;
    const int        lFewest = aSize < 10000 ? 3 : 1;

    std::vector<Figures> lFloors, lWorks;
    const double         lEnd = Nanoseconds(CLOCK_MONOTONIC) + kEnough;

    for (int lRound = 0; lRound < lFewest || (lRound < kMost && Nanoseconds(CLOCK_MONOTONIC) < lEnd); ++lRound)
    {
        lFloors.push_back(Take(aFloor));
        lWorks.push_back(Take(aWork));
    }

    for (std::size_t lQuantity = 0; lQuantity < std::size(kQuantities); ++lQuantity)
    {
        std::vector<double> lFloor, lWork, lRatio;

        for (std::size_t lRound = 0; lRound < lFloors.size(); ++lRound)
        {
            lFloor.push_back(lFloors[lRound][lQuantity]);
            lWork.push_back(lWorks[lRound][lQuantity]);
            lRatio.push_back(lWork.back() / lFloor.back());
        }

        const double lMedian = Median(lFloor);

        Print(aName, aSize, aCount, kQuantities[lQuantity], lMedian,
              lQuantity < 2 ? lMedian * Median(lRatio) : Median(lWork));
    }
}

/** For strace: a call that fails, with a text to be found by. */
void Mark(const std::string &aText)
{
    if (gCounting == Counting::Calls)
        (void)!write(-1, aText.data(), aText.size());
}

void RunMarked(const std::string &aText, const Work &aWork)
{
    aWork.mPrepare();

    if (gCounting == Counting::Instructions)
    {
        CALLGRIND_START_INSTRUMENTATION;
        CALLGRIND_ZERO_STATS;
    }
    Mark(aText);
    aWork.mRun();
    Mark("end");
    if (gCounting == Counting::Instructions)
    {
        CALLGRIND_DUMP_STATS_AT(aText.c_str());
        CALLGRIND_STOP_INSTRUMENTATION;
    }

    aWork.mUndo();
}

} // namespace

double Median(std::vector<double> aValues)
{
    const auto lMiddle = aValues.begin() + static_cast<std::ptrdiff_t>(aValues.size() / 2);

    std::nth_element(aValues.begin(), lMiddle, aValues.end());
    return *lMiddle;
}

double Nanoseconds(int aClock)
{
    struct timespec lTime = {};

    (void)clock_gettime(aClock, &lTime);
    return static_cast<double>(lTime.tv_sec) * 1e9 + static_cast<double>(lTime.tv_nsec);
}

void Print(const std::string &aName, int aSize, int aCount, const char *aQuantity, double aFloor, double aWork)
{
    std::printf("%s %d %d %s %.0f %.0f\n", aName.c_str(), aSize, aCount, aQuantity, aFloor, aWork);
    (void)std::fflush(stdout);
}

void Compare(const std::string &aName, int aSize, int aCount, const Work &aFloor, const Work &aWork)
{
    // What is made once is made before; among thousands of things it does not count, and valgrind is slow.
    if (gCounting != Counting::Instructions || aSize < 1000)
    {
        (void)Take(aFloor);
        (void)Take(aWork);
    }

    if (gCounting == Counting::Times)
    {
        CompareTimes(aName, aSize, aCount, aFloor, aWork);
        return;
    }

    const std::string lText = aName + " " + std::to_string(aSize) + " " + std::to_string(aCount);

    RunMarked(lText + " floor", aFloor);
    RunMarked(lText + " work", aWork);
}

} // namespace zq::Bench
