#include <QarnUVAtlas/Foundation.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <string>

namespace ORVO {

double Profiler::GetTime() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point now = Clock::now();
    // The base is the reading taken by the very first call, which therefore
    // returns exactly zero; the static's initialisation is thread-safe.
    static const Clock::time_point base = now;
    const double seconds = std::chrono::duration<double>(now - base).count();
    // A caller that lost the race to set the base may hold a reading taken a
    // moment before it; never report time before the base.
    return seconds > 0.0 ? seconds : 0.0;
}

namespace {

// The classic calendar text "Www Mmm dd hh:mm:ss yyyy\n" with the day padded by
// a blank. Names are fixed English abbreviations whatever the locale, so the
// result is stable as a file name.
std::string CalendarText(const std::tm& t) {
    static const char* const kDays[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const int wday = (t.tm_wday >= 0 && t.tm_wday < 7) ? t.tm_wday : 0;
    const int mon = (t.tm_mon >= 0 && t.tm_mon < 12) ? t.tm_mon : 0;
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%.3s %.3s%3d %.2d:%.2d:%.2d %d\n", kDays[wday],
                  kMonths[mon], t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, 1900 + t.tm_year);
    return buffer;
}

}  // namespace

std::string GetTimeString() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (localtime_r(&now, &local) == nullptr) return std::string();
    std::string text = CalendarText(local);
    for (char& c : text) {
        if (c == ' ') c = '_';
        else if (c == ':') c = '-';
    }
    const std::string::size_type lineEnd = text.find('\n');
    if (lineEnd != std::string::npos) text.erase(lineEnd, 1);
    return text;
}

}  // namespace ORVO
