#pragma once
// The two starts of one chart's layout, the conformal one and the circle one
// (for when the first folds), each settled by the same isometric system.
// With a thread to spare, what does not wait for the conformal start (the
// isometric system, the circle start) is made beside it on a thread of its
// own; the layouts are the same either way.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/IsometricSystem.h"

#include <cstddef>
#include <future>
#include <thread>
#include <vector>

namespace ORVO {

// Charts from this many faces on may be flattened on two threads: below it,
// starting a thread costs more than it saves.
constexpr size_t kSpareThreadFaces = 4000;

class ChartStarts {
public:
    // `chart`, `holes` (its boundary loops, valid when `holesFound`) and `adj`
    // (its adjacency, or null) must outlive the object. Without `withCircle`
    // the circle start is never made.
    ChartStarts(const TriMesh& chart, const std::vector<std::vector<int>>& holes, bool holesFound,
                const MeshAdjacency* adj, bool withCircle, bool spareThread);
    // Waits for the thread beside, if one was started.
    ~ChartStarts();
    ChartStarts(const ChartStarts&) = delete;
    ChartStarts& operator=(const ChartStarts&) = delete;

    // The conformal start, settled (as _FlattenChart makes it). Returns false
    // (uv cleared) when the conformal map fails; `isometricStatus` receives
    // the status of the isometric step otherwise.
    bool Conformal(std::vector<double>& uv, int& isometricStatus);
    // The circle start, settled (as _FlattenChartFromCircle makes it), handed
    // over once. Returns false when there is none (no circle wanted, no single
    // simple loop, or asked for before).
    bool Circle(std::vector<double>& uv);
    // The circle start settled again, never folding nor crossing its outline
    // (see _SettleWithoutCrossing): for a circle start whose free settling
    // crossed. Only after Circle has made it; returns false when there is
    // none or it could not be settled.
    bool CircleWithoutCrossing(std::vector<double>& uv);

private:
    void Join();

    const TriMesh& mChart;
    const std::vector<std::vector<int>>& mHoles;
    const bool mHolesFound;
    const MeshAdjacency* mAdj;
    const bool mWithCircle;
    IsometricSystem mSystem;
    std::vector<double> mCircle;
    bool mCircleStarted = false;
    bool mCircleAsked = false;
    bool mBeside = false;  // a thread beside makes the system and the circle start
    std::promise<void> mPreparedSignal;
    std::future<void> mPrepared;
    std::thread mAside;
};

}  // namespace ORVO
