// The progress bar: a thread that polls the library's progress value and
// redraws one line on standard error, only when that is a terminal (a log
// file or a pipe gets no control characters).
#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace qarnuv {

ProgressBar::ProgressBar(const std::string& label, bool enabled) : mLabel(label) {
    if (!enabled || !isatty(STDERR_FILENO)) return;
    mRunning = true;
    mThread = std::thread(&ProgressBar::Loop, this);
}

ProgressBar::~ProgressBar() { Stop(); }

void ProgressBar::Stop() {
    if (!mThread.joinable()) return;
    mRunning = false;
    mThread.join();
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
}

void ProgressBar::Loop() {
    const auto start = std::chrono::steady_clock::now();
    const int width = 30;
    while (mRunning) {
        const double progress = std::min(1.0, std::max(0.0, ORVO::GetApiProgress()));
        const int filled = static_cast<int>(progress * width + 0.5);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::string bar(static_cast<size_t>(filled), '#');
        bar.append(static_cast<size_t>(width - filled), '.');
        std::fprintf(stderr, "\r%s [%s] %3d%%  %.1f s", mLabel.c_str(), bar.c_str(),
                     static_cast<int>(progress * 100.0 + 0.5), seconds);
        std::fflush(stderr);
        for (int i = 0; i < 10 && mRunning; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

}  // namespace qarnuv
