#pragma once
// Clocks, medians and peak memory shared by the benchmark programs.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

namespace benchtiming {

// Wall-clock seconds on a monotonic clock.
inline double Now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Processor seconds of the whole process: on a shared machine this shows what
// the wall time would be without the other load.
inline double CpuNow() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec + 1e-9 * ts.tv_nsec;
}

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Peak resident memory of this process in KiB (Linux reports ru_maxrss so).
inline long PeakRssKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace benchtiming
