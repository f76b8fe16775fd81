#pragma once
// The two starts of one chart's layout, the conformal one and the circle one
// (for when the first folds), each settled by the same isometric system.
// With a thread to spare, what does not wait for the conformal start (the
// isometric system, the circle start) is made beside it on a thread of its
// own; the layouts are the same either way.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/ChartLayout.h"
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
    // The circle start judged by `passes(layout)` (which may mend the layout
    // in place). One that fails with no face flipped or squeezed past
    // `maxFaceStretch` only crosses its own outline: it is settled again
    // without ever crossing (see _SettleWithoutCrossing) and judged again.
    // Returns 1 and the layout that passed, 0 and the freely settled layout
    // when none passed, -1 when there is no circle start (as for Circle).
    template <class Passes>
    int JudgedCircle(std::vector<double>& uv, double maxFaceStretch, const Passes& passes) {
        if (!Circle(uv)) return -1;
        if (passes(uv)) return 1;
        if (_HasFlippedTriangle(mChart, uv) || _HasSqueezedTriangle(mChart, uv, maxFaceStretch)) return 0;
        std::vector<double> settled;
        if (!CircleWithoutCrossing(settled) || !passes(settled)) return 0;
        uv.swap(settled);
        return 1;
    }

private:
    void Join();
    // The circle start settled again without crossing its outline; false
    // when it could not be settled.
    bool CircleWithoutCrossing(std::vector<double>& uv);

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
