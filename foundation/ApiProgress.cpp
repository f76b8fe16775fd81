#include "foundation/ApiProgress.h"

#include <QarnUVAtlas/Foundation.h>

namespace ORVO {

ApiProgress& ApiProgress::Get() {
    // Deliberately leaked: progress may still be written from late destructors.
    static ApiProgress* record = [] {
        ApiProgress* p = new ApiProgress();
        p->Reset();
        return p;
    }();
    return *record;
}

double ApiProgress::Map(double t) const {
    const std::size_t n = mRangeStack.size();
    if (n < 2) return t;
    const double start = mRangeStack[n - 2];
    const double end = mRangeStack[n - 1];
    return t * end + (1.0 - t) * start;
}

void ApiProgress::SetProgress(double t) {
    if (mSuspendCount.load(std::memory_order_relaxed) != 0) return;
    std::lock_guard<std::mutex> guard(mLock);
    if (mSuspendCount != 0) return;
    const double v = Map(t);
    mValue = v;
    mLastValue = v;
}

void ApiProgress::EnterStage(double end) {
    std::lock_guard<std::mutex> guard(mLock);
    if (mSuspendCount != 0) return;
    // The end is mapped through the enclosing stage before the new pair is pushed.
    const double mappedEnd = Map(end);
    mRangeStack.push_back(mValue);
    mRangeStack.push_back(mappedEnd);
}

void ApiProgress::LeaveStage() {
    std::lock_guard<std::mutex> guard(mLock);
    if (mRangeStack.empty() || mSuspendCount != 0) return;
    const double end = mRangeStack.back();
    mRangeStack.pop_back();
    if (!mRangeStack.empty()) mRangeStack.pop_back();
    mValue = end;
    mLastValue = end;
}

void ApiProgress::Suspend() {
    std::lock_guard<std::mutex> guard(mLock);
    ++mSuspendCount;
}

void ApiProgress::Resume() {
    std::lock_guard<std::mutex> guard(mLock);
    if (mSuspendCount > 0) --mSuspendCount;
}

void ApiProgress::Reset() {
    std::lock_guard<std::mutex> guard(mLock);
    mLastValue = 0.0;
    mValue = 0.0;
    mRangeStack.clear();
    mRangeStack.reserve(16);
    mSuspendCount = 0;
}

void ApiProgress::Publish(double t) {
    std::lock_guard<std::mutex> guard(mLock);
    const double v = Map(t);
    mValue = v;
    mLastValue = v;
}

double ApiProgress::Value() {
    std::lock_guard<std::mutex> guard(mLock);
    return mValue;
}

double GetApiProgress() { return ApiProgress::Get().Value(); }

void ResetApiProgress() { ApiProgress::Get().Reset(); }

}  // namespace ORVO
