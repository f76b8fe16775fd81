#pragma once
// Status codes, exported constants, the log, the clock and the progress value
// shared by every operation of the library.

#include <QarnUVAtlas/Export.h>

#include <cstdint>
#include <fstream>
#include <string>

namespace ORVO {

// Status codes returned by every fallible operation: 0 is success.
constexpr int STATUS_SUCCESS = 0;
constexpr int STATUS_NOT_FOUND = -1;        // an internal lookup found nothing
constexpr int STATUS_INVALID_INPUT = -2;    // null pointer, too few elements, bad size
constexpr int STATUS_FAILED = -3;           // a sub-step (solver, called operation) failed
constexpr int STATUS_NOT_INITIALISED = -5;  // object used before it was set up
constexpr int STATUS_NOT_ACTIVATED = -6;    // activation check refused the caller
constexpr int STATUS_NOT_AVAILABLE = -8;    // entry point not carried by this build

// Numeric constants, exported as read-only data.
extern ORVO_API const double REAL_TOL;        // 1e-15: the library's zero tolerance
extern ORVO_API const double REAL_LARGE;      // 1.7e+308
extern ORVO_API const int16_t SHORT_LARGE;    // 32767
extern ORVO_API const uint16_t USHORT_LARGE;  // 65535
extern ORVO_API const int32_t INT_LARGE;      // 2147483647
extern ORVO_API const uint32_t UINT_LARGE;    // 4294967295
extern ORVO_API const double ORVO_PI;         // 3.141592653589793
// One degree in radians, kept as the rounded decimal 0.0174532925199433.
extern ORVO_API const double ONE_RADIAN;

// Message kinds. A message is written when gSystemLogLevel is at most its level.
enum LogLevel : int {
    LOG_LEVEL_DETAIL = 0,   // timings and progress detail
    LOG_LEVEL_FAILURE = 1,  // failure reports from inside algorithms
};
// The shipped level: failure reports are written, detail lines are not.
extern ORVO_API const LogLevel gSystemLogLevel;

// The process-wide log: one plain-text file, truncated when opened, one message
// per line, each line flushed. Default file: "QarnUVAtlas.txt" in the current folder.
class ORVO_API LogSystem {
public:
    // Returns the live instance, creating it (and emptying its file) on first use.
    static LogSystem* Get();
    // Closes the current log (if any) and opens `name`, emptying it.
    static void SetLogFileName(const std::string& name);
    // The stream every message is written to. A file that could not be opened
    // leaves the stream failed and messages are silently lost.
    std::ofstream& GetOFStream();

    LogSystem(const LogSystem&) = delete;
    LogSystem& operator=(const LogSystem&) = delete;
    ~LogSystem();

    static LogSystem* mpLogSystem;

private:
    explicit LogSystem(const std::string& fileName);
    std::ofstream mOFStream;
};

// Stateless clock. GetTime() returns seconds since its own first call (which
// returns exactly 0.0), on a monotonic clock.
class ORVO_API Profiler {
public:
    Profiler() {}
    ~Profiler() {}
    Profiler(const Profiler&) {}
    Profiler& operator=(const Profiler&) { return *this; }
    static double GetTime();
};

// Local date and time usable in a file name, e.g. "Thu_Nov_12_18-17-21_2026":
// no blank, colon or newline.
ORVO_API std::string GetTimeString();

// The process-wide progress of the running operation, 0 to 1.
ORVO_API double GetApiProgress();
// Returns the progress record to zero; call before starting an operation whose
// progress is polled.
ORVO_API void ResetApiProgress();

// This library is not licence-gated: every key is accepted and the welcome
// banner is logged. Returns true.
ORVO_API bool SetActivationKey(const std::string& key);

}  // namespace ORVO
