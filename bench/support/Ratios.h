/// Runs the benchmarks of a program interleaved and prints, for each group, the ratio to its floor.
#ifndef UTL_BENCH_RATIOS_H
#define UTL_BENCH_RATIOS_H

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace utl::bench
{

/// Benchmarks are named "group/utl" and "group/floor..." (one or several floors, of which the fastest counts).
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const& nRuns) override
    {
        std::vector<Run> lShown;
        for (Run const& lRun : nRuns)
        {
            if (lRun.aggregate_name == "median" || lRun.repetitions <= 1)
            {
                lShown.push_back(lRun);
            }
            if (lRun.run_type == Run::RT_Iteration && !lRun.error_occurred)
            {
                mTimes[lRun.run_name.function_name].push_back(lRun.GetAdjustedRealTime());
            }
        }
        ConsoleReporter::ReportRuns(lShown);
    }

    void printRatios() const
    {
        std::printf("\nRatio to the floor, medians of one interleaved run\n");
        for (auto const& [lName, lTimes] : mTimes)
        {
            std::size_t const lAt = lName.find("/utl");
            double const lFloor = lAt == std::string::npos ? 0 : floorOf(lName.substr(0, lAt));
            if (lFloor > 0)
            {
                std::printf("  %-28s %6.2f\n", lName.substr(0, lAt).c_str(), median(lTimes) / lFloor);
            }
        }
    }

    /// The median of one benchmark, in nanoseconds; 0 if it did not run.
    double medianOf(std::string const& nName) const
    {
        auto const lFound = mTimes.find(nName);
        return lFound != mTimes.end() ? median(lFound->second) : 0;
    }

private:
    static double median(std::vector<double> nTimes)
    {
        std::sort(nTimes.begin(), nTimes.end());
        return nTimes[nTimes.size() / 2];
    }

    double floorOf(std::string const& nGroup) const
    {
        double lFloor = 0;
        for (auto const& [lName, lTimes] : mTimes)
        {
            if (lName.rfind(nGroup + "/floor", 0) == 0)
            {
                double const lMedian = median(lTimes);
                lFloor = lFloor == 0 ? lMedian : std::min(lFloor, lMedian);
            }
        }
        return lFloor;
    }

    std::map<std::string, std::vector<double>> mTimes;
};

/// The main function of a benchmark program: nine interleaved repetitions unless the arguments say otherwise.
/// npMore: prints what the ratios do not tell; may be null.
inline int runWithRatios(int nCount, char** npValues, void (*npMore)(RatioReporter const&) = nullptr)
{
    std::vector<std::string> lDefaults{npValues[0], "--benchmark_repetitions=9",
                                       "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.1",
                                       "--benchmark_color=false"};
    lDefaults.insert(lDefaults.end(), npValues + 1, npValues + nCount);
    std::vector<char*> lArguments;
    for (std::string& lArgument : lDefaults)
    {
        lArguments.push_back(lArgument.data());
    }
    int lArgumentCount = static_cast<int>(lArguments.size());
    benchmark::Initialize(&lArgumentCount, lArguments.data());
    RatioReporter lReporter;
    benchmark::RunSpecifiedBenchmarks(&lReporter);
    lReporter.printRatios();
    if (npMore != nullptr)
    {
        npMore(lReporter);
    }
    return 0;
}

} // namespace utl::bench

#endif
