#include "foundation/LogLine.h"

namespace ORVO {

// The instance is deliberately never freed at exit: a message written from a
// late static destructor must still find a stream, and re-creating the log
// would truncate the file.
LogSystem* LogSystem::mpLogSystem = nullptr;

std::mutex& _LogMutex() {
    static std::mutex mutex;
    return mutex;
}

LogSystem::LogSystem(const std::string& fileName)
    : mOFStream(fileName, std::ios::out | std::ios::trunc) {}

LogSystem::~LogSystem() {
    if (mOFStream.is_open()) {
        mOFStream.flush();
        mOFStream.close();
    }
}

LogSystem* LogSystem::Get() {
    if (mpLogSystem == nullptr) mpLogSystem = new LogSystem("QarnUVAtlas.txt");
    return mpLogSystem;
}

void LogSystem::SetLogFileName(const std::string& name) {
    std::lock_guard<std::mutex> guard(_LogMutex());
    delete mpLogSystem;
    mpLogSystem = new LogSystem(name);
}

std::ofstream& LogSystem::GetOFStream() { return mOFStream; }

}  // namespace ORVO
