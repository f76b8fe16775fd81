#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Threads.h>

#include <thread>

namespace ORVO {

namespace {

int& ThreadCountSetting() {
    static int setting = 0;
    return setting;
}

}  // namespace

void SetThreadCount(int threadCount) { ThreadCountSetting() = threadCount; }

int GetProcessorCount() {
    const int setting = ThreadCountSetting();
    if (setting >= 1) return setting;
    const unsigned int reported = std::thread::hardware_concurrency();
    return reported >= 1 ? static_cast<int>(reported) : 1;
}

void SleepThread(double seconds) {
    const double start = Profiler::GetTime();
    while (Profiler::GetTime() - start < seconds) {
        // Busy on purpose: callers rely on keeping the core.
    }
}

}  // namespace ORVO
