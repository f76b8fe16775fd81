// The image-grid side of PointCloud: the cell <-> point maps and the
// operations that create, move and remove points through cells.

#include <QarnUVAtlas/PointCloud.h>

#include "foundation/LogLine.h"

#include <algorithm>

namespace ORVO {

void PointCloud::ClearGridTopologyInfo() {
    mHasGridTopology = false;
    // Release the memory too: a dropped grid of a depth frame is large.
    std::vector<int>().swap(mGridToPoint);
    std::vector<int>().swap(mPointToGrid);
    mWidth = 0;
    mHeight = 0;
}

void PointCloud::InitGrid(int width, int height) {
    if (width <= 0 || height <= 0) {
        _LogLine("PointCloud::InitGrid: invalid grid size: ", width, " ", height);
        return;
    }
    mCoords.clear();
    mNormals.clear();
    mColors.clear();
    mPointToGrid.clear();
    mWidth = width;
    mHeight = height;
    mGridToPoint.assign(static_cast<size_t>(width) * static_cast<size_t>(height), -1);
    mHasGridTopology = true;
}

int PointCloud::_PointOfCell(int x, int y) const {
    if (!mHasGridTopology || x < 0 || y < 0 || x >= mWidth || y >= mHeight) return -1;
    return mGridToPoint[_Cell(x, y)];
}

bool PointCloud::IsGridValid(int x, int y) const { return _PointOfCell(x, y) != -1; }

void PointCloud::GetPointGridId(int pid, int& x, int& y) const {
    const int cell = mPointToGrid[pid];
    x = cell % mWidth;
    y = cell / mWidth;
}

void PointCloud::InvalidateGrid(int x, int y) {
    const int pid = _PointOfCell(x, y);
    if (pid == -1) return;
    SwapPoint(pid, GetPointCount() - 1);
    PopbackPoints(1);
}

void PointCloud::SetGridCoord(int x, int y, const Vector3& coord) {
    if (!mHasGridTopology) {
        _LogLine("PointCloud::SetGridCoord: the cloud has no grid topology");
        return;
    }
    const size_t cell = _Cell(x, y);
    const int pid = mGridToPoint[cell];
    if (pid != -1) {
        mCoords[pid] = coord;
        return;
    }
    mGridToPoint[cell] = static_cast<int>(mCoords.size());
    mPointToGrid.push_back(static_cast<int>(cell));
    mCoords.push_back(coord);
    _GrowAttributes();
}

Vector3 PointCloud::GetGridCoord(int x, int y) const {
    const int pid = _PointOfCell(x, y);
    return pid == -1 ? Vector3() : mCoords[pid];
}

void PointCloud::SetGridNormal(int x, int y, const Vector3& normal) {
    const int pid = _PointOfCell(x, y);
    if (pid != -1) SetPointNormal(pid, normal);
}

Vector3 PointCloud::GetGridNormal(int x, int y) const {
    const int pid = _PointOfCell(x, y);
    return pid == -1 ? Vector3() : GetPointNormal(pid);
}

void PointCloud::SetGridColor(int x, int y, const Vector3& color) {
    const int pid = _PointOfCell(x, y);
    if (pid != -1) SetPointColor(pid, color);
}

Vector3 PointCloud::GetGridColor(int x, int y) const {
    const int pid = _PointOfCell(x, y);
    return pid == -1 ? mDefaultColor : GetPointColor(pid);
}

void PointCloud::RemoveOuterBlankGrids() {
    if (!mHasGridTopology) return;
    const double startTime = Profiler::GetTime();

    // Bounding rectangle of the occupied cells, from the point-to-cell map
    // (one entry per point, so cheaper than scanning every cell).
    int minX = mWidth, minY = mHeight, maxX = -1, maxY = -1;
    for (int cell : mPointToGrid) {
        const int x = cell % mWidth;
        const int y = cell / mWidth;
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
    }
    const int newWidth = maxX < 0 ? 0 : maxX - minX + 1;
    const int newHeight = maxY < 0 ? 0 : maxY - minY + 1;
    _LogDetail("RemoveOuterBlankGrids: bbox size (", newWidth, ", ", newHeight, ") of (", mWidth,
               ", ", mHeight, ")");

    if (newWidth != mWidth || newHeight != mHeight) {
        std::vector<int> cropped(static_cast<size_t>(newWidth) * static_cast<size_t>(newHeight), -1);
        for (size_t pid = 0; pid < mPointToGrid.size(); ++pid) {
            const int cell = mPointToGrid[pid];
            const int x = cell % mWidth - minX;
            const int y = cell / mWidth - minY;
            const int newCell = newWidth * y + x;
            cropped[newCell] = static_cast<int>(pid);
            mPointToGrid[pid] = newCell;
        }
        mGridToPoint.swap(cropped);
        mWidth = newWidth;
        mHeight = newHeight;
    }
    _LogDetail("RemoveOuterBlankGrids: time = ", Profiler::GetTime() - startTime);
}

}  // namespace ORVO
