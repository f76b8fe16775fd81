#include "unfold/flattening/ChartStarts.h"

#include <QarnUVAtlas/Foundation.h>

#include "unfold/flattening/ChartLayout.h"

#include <exception>
#include <system_error>
#include <utility>

namespace ORVO {

namespace {

// Steps blocked short of a crossing advance by parts: a few more steps than a
// free settling takes let the rest of the chart settle round the blocked spot.
constexpr int kCircleWithoutCrossingSteps = 10;

}  // namespace

ChartStarts::ChartStarts(const TriMesh& chart, const std::vector<std::vector<int>>& holes, bool holesFound,
                         const MeshAdjacency* adj, bool withCircle, bool spareThread)
    : mChart(chart), mHoles(holes), mHolesFound(holesFound), mAdj(adj), mWithCircle(withCircle),
      mPrepared(mPreparedSignal.get_future()) {
    if (!spareThread) return;
    try {
        mAside = std::thread([this] {
            // Nothing may leave a thread; what fails here is done again (or
            // fails again, and is reported) where it is used.
            try {
                mSystem.Prepare(mChart, nullptr);
            } catch (const std::exception&) {
            }
            mPreparedSignal.set_value();
            try {
                mCircleStarted = mWithCircle && mHolesFound && _CircleStart(mChart, mHoles, mCircle, mAdj);
            } catch (const std::exception&) {
                mCircleStarted = false;
            }
        });
        mBeside = true;
    } catch (const std::system_error&) {
        // No thread to spare after all: everything runs on the caller's.
    }
}

ChartStarts::~ChartStarts() { Join(); }

void ChartStarts::Join() {
    if (mAside.joinable()) mAside.join();
}

bool ChartStarts::Conformal(std::vector<double>& uv, int& isometricStatus) {
    if (!_ConformalStart(mChart, mHoles, mHolesFound, uv)) return false;
    if (mBeside) mPrepared.wait();
    isometricStatus = _SettleLayout(mChart, uv, kChartIsometricIterations, &mSystem);
    return true;
}

bool ChartStarts::Circle(std::vector<double>& uv) {
    if (!mWithCircle || mCircleAsked) return false;
    mCircleAsked = true;
    if (mBeside) {
        Join();
    } else {
        mCircleStarted = mHolesFound && _CircleStart(mChart, mHoles, mCircle, mAdj);
    }
    if (!mCircleStarted) return false;
    // The start is kept for a settling without crossings.
    uv = mCircle;
    _SettleLayout(mChart, uv, kChartIsometricIterations, &mSystem);
    return true;
}

bool ChartStarts::CircleWithoutCrossing(std::vector<double>& uv) {
    if (!mCircleAsked || !mCircleStarted || !mHolesFound) return false;
    std::vector<double> layout = mCircle;
    if (!_SettleWithoutCrossing(mChart, mHoles, layout, kCircleWithoutCrossingSteps, mSystem)) return false;
    uv.swap(layout);
    return true;
}

}  // namespace ORVO
