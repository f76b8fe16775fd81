#pragma once
// The process-wide progress record behind GetApiProgress(). Long operations
// divide [0, 1] into nested stages: EnterStage(end) makes SetProgress(0..1)
// move between the current value and Map(end) until LeaveStage().

#include <atomic>
#include <mutex>
#include <vector>

namespace ORVO {

class ApiProgress {
public:
    double mLastValue = 0.0;
    double mValue = 0.0;
    std::vector<double> mRangeStack;  // (start, end) pairs of nested stages
    // Read without the lock: muted stages inside worker threads report per
    // element, and taking the lock each time would make them contend.
    std::atomic<int> mSuspendCount{0};

    // The record, created on first use and never freed.
    static ApiProgress& Get();

    double Map(double t) const;
    void SetProgress(double t);
    void EnterStage(double end);
    void LeaveStage();
    void Suspend();
    void Resume();
    void Reset();
    // Stores Map(t) as the value even while suspended: region tasks publish
    // their shared progress this way while the stages inside them are muted.
    void Publish(double t);
    // The current value, read under the record's lock (a caller may poll it
    // from another thread while an operation runs).
    double Value();

private:
    // Worker threads of the atlas report through the same record, and a
    // caller may poll it while they do.
    std::mutex mLock;
};

}  // namespace ORVO
