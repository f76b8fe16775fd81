#pragma once
// Writing log lines: "<operation>: <text>" followed by values and a line end.
// Three kinds: argument checks of data-model operations (always written),
// failure reports (written when gSystemLogLevel <= LOG_LEVEL_FAILURE) and
// timing/detail lines (written when gSystemLogLevel <= LOG_LEVEL_DETAIL).

#include <QarnUVAtlas/Foundation.h>

#include <mutex>

namespace ORVO {

// Serialises writers: region tasks may report failures from worker threads,
// and two threads streaming into one ofstream at once would interleave bytes.
std::mutex& _LogMutex();

template <typename... Args>
void _LogLine(const Args&... args) {
    std::lock_guard<std::mutex> guard(_LogMutex());
    std::ofstream& out = LogSystem::Get()->GetOFStream();
    (out << ... << args);
    out << std::endl;
}

template <typename... Args>
void _LogFailure(const Args&... args) {
    if (gSystemLogLevel <= LOG_LEVEL_FAILURE) _LogLine(args...);
}

template <typename... Args>
void _LogDetail(const Args&... args) {
    if (gSystemLogLevel <= LOG_LEVEL_DETAIL) _LogLine(args...);
}

}  // namespace ORVO
