// Side-by-side measurements: two things alternate in one run, each figure is the median of its rounds, and every row
// says what it was held against. Times are per operation; only ratios mean anything on another machine.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace Bench
{

// Nanoseconds that a call of work takes, divided by the operations in it.
inline double NanosecondsPerOperation(const std::function<void()>& work, double operations)
{
    LARGE_INTEGER frequency{};
    LARGE_INTEGER start{};
    LARGE_INTEGER end{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    work();
    QueryPerformanceCounter(&end);
    return static_cast<double>(end.QuadPart - start.QuadPart) * 1e9 / static_cast<double>(frequency.QuadPart) /
           operations;
}

inline double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// What is measured and what it is held against, in alternating rounds after one warm-up each.
struct Pair
{
    double figure;
    double limit;
};

inline Pair SideBySide(const std::function<double()>& figure, const std::function<double()>& limit, int rounds = 7)
{
    static_cast<void>(figure());
    static_cast<void>(limit());
    std::vector<double> figures;
    std::vector<double> limits;
    for (int round = 0; round < rounds; ++round)
    {
        figures.push_back(figure());
        limits.push_back(limit());
    }
    return {Median(figures), Median(limits)};
}

enum class Bar
{
    AtMost,
    AtLeast
};

inline void PrintHeader()
{
    std::printf("%-52s %12s %12s %-30s %7s %9s  %s\n", "figure", "measured", "limit", "held against", "ratio", "bar",
                "met");
}

// One row; returns whether the bar is met.
inline bool PrintRow(const char* what, const char* against, Pair pair, Bar kind, double bar, const char* unit = "ns")
{
    const double ratio = pair.limit > 0 ? pair.figure / pair.limit : 0;
    const bool met = kind == Bar::AtMost ? ratio <= bar : ratio >= bar;
    std::printf("%-52s %9.1f %-2s %9.1f %-2s %-30s %7.2f  %s %5.2f  %s\n", what, pair.figure, unit, pair.limit, unit,
                against, ratio, kind == Bar::AtMost ? "<=" : ">=", bar, met ? "yes" : "NO");
    std::fflush(stdout);
    return met;
}

// A row without a bar: how far a figure is from a bound that it cannot pass.
inline void PrintBound(const char* what, const char* bound, Pair pair, const char* unit = "ns")
{
    std::printf("%-52s %9.1f %-2s %9.1f %-2s %-30s %7.2f\n", what, pair.figure, unit, pair.limit, unit, bound,
                pair.figure / pair.limit);
    std::fflush(stdout);
}

} // namespace Bench
