#include <QarnUVAtlas/PointCloud.h>
#include "geometry/CoordinateFit.h"

#include "foundation/LogLine.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace ORVO {

namespace {

// Colour reported for points while colours are not kept.
const Vector3 kDefaultPointColor(0.09, 0.48627, 0.69);

}  // namespace

PointCloud::PointCloud() : PointCloud(false, false, false) {}

PointCloud::PointCloud(bool hasNormal, bool hasColor, bool hasGridTopology)
    : mHasNormal(hasNormal),
      mHasColor(hasColor),
      mHasGridTopology(hasGridTopology),
      mWidth(0),
      mHeight(0),
      mDefaultColor(kDefaultPointColor) {}

PointCloud::PointCloud(PointCloud&& other) noexcept
    : mHasNormal(other.mHasNormal),
      mHasColor(other.mHasColor),
      mHasGridTopology(other.mHasGridTopology),
      mCoords(std::move(other.mCoords)),
      mNormals(std::move(other.mNormals)),
      mColors(std::move(other.mColors)),
      mGridToPoint(std::move(other.mGridToPoint)),
      mPointToGrid(std::move(other.mPointToGrid)),
      mWidth(other.mWidth),
      mHeight(other.mHeight),
      mDefaultColor(other.mDefaultColor) {
    other.Clear();
}

PointCloud& PointCloud::operator=(PointCloud&& other) noexcept {
    if (this == &other) return *this;
    mHasNormal = other.mHasNormal;
    mHasColor = other.mHasColor;
    mHasGridTopology = other.mHasGridTopology;
    mCoords = std::move(other.mCoords);
    mNormals = std::move(other.mNormals);
    mColors = std::move(other.mColors);
    mGridToPoint = std::move(other.mGridToPoint);
    mPointToGrid = std::move(other.mPointToGrid);
    mWidth = other.mWidth;
    mHeight = other.mHeight;
    mDefaultColor = other.mDefaultColor;
    other.Clear();
    return *this;
}

PointCloud::~PointCloud() {}

// ---- per-point attributes ------------------------------------------------------------

Vector3 PointCloud::GetPointNormal(int pid) const {
    if (pid < 0 || static_cast<size_t>(pid) >= mNormals.size()) return Vector3();
    return mNormals[pid];
}

void PointCloud::SetPointNormal(int pid, const Vector3& normal) {
    if (pid < 0 || static_cast<size_t>(pid) >= mNormals.size()) return;
    mNormals[pid] = normal;
}

Vector3 PointCloud::GetPointColor(int pid) const {
    if (!mHasColor || pid < 0 || static_cast<size_t>(pid) >= mColors.size()) return mDefaultColor;
    return mColors[pid];
}

void PointCloud::SetPointColor(int pid, const Vector3& color) {
    if (pid < 0 || static_cast<size_t>(pid) >= mColors.size()) return;
    mColors[pid] = color;
}

void PointCloud::SetHasNormal(bool has) {
    mHasNormal = has;
    if (has) mNormals.resize(mCoords.size(), Vector3());
}

void PointCloud::SetHasColor(bool has) {
    mHasColor = has;
    if (has) mColors.resize(mCoords.size(), mDefaultColor);
}

void PointCloud::_GrowAttributes() {
    if (mHasNormal) mNormals.resize(mCoords.size(), Vector3());
    if (mHasColor) mColors.resize(mCoords.size(), mDefaultColor);
}

// ---- growth and removal --------------------------------------------------------------

int PointCloud::InsertPoint(const Vector3& coord, const Vector3& normal) {
    // A point without a cell would break the grid maps, so the grid goes.
    if (mHasGridTopology) ClearGridTopologyInfo();
    // Normals that were skipped while the flag was off are zero-filled so the
    // new normal lands at the new point's id.
    if (mNormals.size() < mCoords.size()) mNormals.resize(mCoords.size(), Vector3());
    mCoords.push_back(coord);
    mNormals.push_back(normal);
    if (mHasColor) mColors.resize(mCoords.size(), mDefaultColor);
    return static_cast<int>(mCoords.size()) - 1;
}

int PointCloud::InsertPoint(const Vector3& coord) {
    if (mHasGridTopology) ClearGridTopologyInfo();
    mCoords.push_back(coord);
    _GrowAttributes();
    return static_cast<int>(mCoords.size()) - 1;
}

void PointCloud::SwapPoint(int a, int b) {
    if (a == b) return;
    std::swap(mCoords[a], mCoords[b]);
    // A list may be shorter than the point count while its flag is off.
    const size_t hi = static_cast<size_t>(std::max(a, b));
    if (hi < mNormals.size()) std::swap(mNormals[a], mNormals[b]);
    if (hi < mColors.size()) std::swap(mColors[a], mColors[b]);
    if (mHasGridTopology && hi < mPointToGrid.size()) {
        const int cellA = mPointToGrid[a];
        const int cellB = mPointToGrid[b];
        std::swap(mPointToGrid[a], mPointToGrid[b]);
        if (cellA >= 0) mGridToPoint[cellA] = b;
        if (cellB >= 0) mGridToPoint[cellB] = a;
    }
}

void PointCloud::PopbackPoints(int count) {
    if (count <= 0) return;
    const size_t oldCount = mCoords.size();
    if (static_cast<size_t>(count) > oldCount) {
        _LogLine("PointCloud::PopbackPoints: count exceeds the point count: ", count, " ", oldCount);
        count = static_cast<int>(oldCount);
    }
    const size_t newCount = oldCount - static_cast<size_t>(count);
    if (mHasGridTopology) {
        for (size_t p = newCount; p < mPointToGrid.size(); ++p) {
            const int cell = mPointToGrid[p];
            if (cell >= 0) mGridToPoint[cell] = -1;
        }
        if (mPointToGrid.size() > newCount) mPointToGrid.resize(newCount);
    }
    mCoords.resize(newCount);
    if (mNormals.size() > newCount) mNormals.resize(newCount);
    if (mColors.size() > newCount) mColors.resize(newCount);
}

void PointCloud::Clear() {
    mCoords.clear();
    mNormals.clear();
    mColors.clear();
    ClearGridTopologyInfo();
}

void PointCloud::ReservePoint(int count) {
    if (count <= 0) return;
    const size_t n = static_cast<size_t>(count);
    mCoords.reserve(n);
    if (mHasNormal) mNormals.reserve(n);
    if (mHasColor) mColors.reserve(n);
    if (mHasGridTopology) mPointToGrid.reserve(n);
}

// ---- coordinates ---------------------------------------------------------------------

void PointCloud::UnifyCoords(double scale, const Vector3& center) { _ScaleCoords(mCoords, scale, center); }

void PointCloud::UnifyCoords(double size, double* scaleOut, Vector3* centerOut) {
    _FitCoordsIntoCube(mCoords, size, scaleOut, centerOut);
}

}  // namespace ORVO
