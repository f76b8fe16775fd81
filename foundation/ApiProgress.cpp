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
    if (mSuspendCount != 0) return;
    const double v = Map(t);
    mValue = v;
    mLastValue = v;
}

void ApiProgress::EnterStage(double end) {
    if (mSuspendCount != 0) return;
    // The end is mapped through the enclosing stage before the new pair is pushed.
    const double mappedEnd = Map(end);
    mRangeStack.push_back(mValue);
    mRangeStack.push_back(mappedEnd);
}

void ApiProgress::LeaveStage() {
    if (mRangeStack.empty() || mSuspendCount != 0) return;
    const double end = mRangeStack.back();
    mRangeStack.pop_back();
    if (!mRangeStack.empty()) mRangeStack.pop_back();
    mValue = end;
    mLastValue = end;
}

void ApiProgress::Suspend() { ++mSuspendCount; }

void ApiProgress::Resume() {
    if (mSuspendCount > 0) --mSuspendCount;
}

void ApiProgress::Reset() {
    mLastValue = 0.0;
    mValue = 0.0;
    mRangeStack.clear();
    mRangeStack.reserve(16);
    mSuspendCount = 0;
}

double GetApiProgress() { return ApiProgress::Get().mValue; }

void ResetApiProgress() { ApiProgress::Get().Reset(); }

}  // namespace ORVO
