#pragma once
// Running time totals of the flattening stages, reported by the atlas driver
// at the detail log level. Region tasks add to them from several threads, so
// they are atomics (relaxed: only the totals matter, not their ordering).

#include <atomic>

namespace ORVO {

struct AtlasStatistics {
    std::atomic<double> conformalSeconds{0.0};   // gConformal
    std::atomic<double> isometricCalls{0.0};     // gIsometric_total, first of the pair
    std::atomic<double> isometricSeconds{0.0};   // gIsometric_total, second of the pair
    std::atomic<double> overlapSeconds{0.0};     // gOverlap
    std::atomic<double> halfMeshSeconds{0.0};    // gHalfMesh
};

// The process-wide totals, never reset.
AtlasStatistics& _AtlasStatistics();

inline void _AddSeconds(std::atomic<double>& total, double seconds) {
    double old = total.load(std::memory_order_relaxed);
    while (!total.compare_exchange_weak(old, old + seconds, std::memory_order_relaxed)) {
    }
}

}  // namespace ORVO
