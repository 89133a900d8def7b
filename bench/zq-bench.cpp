#include "zq-bench.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <vector>

namespace zq::Bench
{

namespace
{

struct Figure
{
    double mRatio;
    double mNanoseconds; // for each element
};

std::map<std::string, std::map<int, Figure>> &Figures()
{
    static std::map<std::string, std::map<int, Figure>> sFigures;

    return sFigures;
}

double Median(std::vector<double> aValues)
{
    const auto lMiddle = aValues.begin() + static_cast<std::ptrdiff_t>(aValues.size() / 2);

    std::nth_element(aValues.begin(), lMiddle, aValues.end());
    return *lMiddle;
}

double ThreadSeconds()
{
    struct timespec lTime = {};

    (void)::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &lTime);
    return static_cast<double>(lTime.tv_sec) + static_cast<double>(lTime.tv_nsec) / 1e9;
}

} // namespace

double Elapsed(const std::function<void()> &anOperation)
{
    const double lStart = ThreadSeconds();

    anOperation();
    return ThreadSeconds() - lStart;
}

void Compare(benchmark::State &aState, const std::string &aName, int aSize, int aCount, const Stopwatch &aFloor,
             const Stopwatch &anOperation)
{
    std::vector<double> lRatios;
    std::vector<double> lTimes;

    for (auto lUnused : aState)
    {
        (void)lUnused;

        const double lFloor = aFloor();
        const double lTime  = anOperation();

        lRatios.push_back(lTime / lFloor);
        lTimes.push_back(lTime);
        aState.SetIterationTime(lTime);
    }

    const Figure lFigure = { Median(lRatios), Median(lTimes) / aCount * 1e9 };

    aState.counters["ratio"]   = lFigure.mRatio;
    aState.counters["ns_each"] = lFigure.mNanoseconds;
    Figures()[aName][aSize]    = lFigure;
}

void PrintSummary()
{
    std::printf("\n%-24s %8s %16s %20s\n", "", "size", "ratio to floor", "growth of each cost");

    for (const auto &lRow : Figures())
    {
        const Figure *lBase = nullptr;

        for (const auto &lSize : lRow.second)
        {
            std::printf("%-24s %8d %16.2f", lRow.first.c_str(), lSize.first, lSize.second.mRatio);
            if (lBase != nullptr)
                std::printf(" %20.2f", lSize.second.mNanoseconds / lBase->mNanoseconds);
            std::printf("\n");

            if (lSize.first >= 100 && lBase == nullptr)
                lBase = &lSize.second;
        }
    }
    std::printf("\nThe growth is that of the cost for each element since the first size of 100 and more: "
                "1.00 is linear.\n");
}

} // namespace zq::Bench

int main(int anArgumentCount, char **anArguments)
{
    benchmark::Initialize(&anArgumentCount, anArguments);

    if (benchmark::ReportUnrecognizedArguments(anArgumentCount, anArguments))
        return 2;

    benchmark::RunSpecifiedBenchmarks();
    zq::Bench::PrintSummary();
    return 0;
}
