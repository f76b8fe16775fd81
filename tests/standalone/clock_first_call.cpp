// The clock's base is taken by its first call in the process, which must
// return exactly zero. That can only be observed in a process of its own, so
// this program reads the clock before anything else runs.
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Threads.h>

#include <cstdio>

int main() {
    const double first = ORVO::Profiler::GetTime();
    if (first != 0.0) {
        std::printf("FAIL: first Profiler::GetTime() returned %.17g, expected exactly 0\n", first);
        return 1;
    }
    ORVO::SleepThread(0.01);
    const double later = ORVO::Profiler::GetTime();
    if (!(later >= 0.01 && later < 60.0)) {
        std::printf("FAIL: after a 0.01 s wait Profiler::GetTime() returned %.17g\n", later);
        return 1;
    }
    std::printf("first call %.17g, after a 0.01 s wait %.6f\n", first, later);
    return 0;
}
