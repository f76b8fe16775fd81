#pragma once
// The isometric (local/global) optimisation of a chart's layout in two parts:
// what depends only on the chart's 3-D shape (triangle frames, cotangent
// weights, the factorised Laplacian), prepared once, and the iterations from
// a given start. A chart flattened from a second start (when the first folds)
// then pays for the factorisation once.

#include <QarnUVAtlas/TriMesh.h>

#include <memory>
#include <vector>

namespace ORVO {

class IsometricSystem {
public:
    IsometricSystem();
    ~IsometricSystem();
    IsometricSystem(const IsometricSystem&) = delete;
    IsometricSystem& operator=(const IsometricSystem&) = delete;

    // Builds the system of `mesh` (at least one face) with the vertices of
    // `fixedVertexIndex` pinned; nullptr pins the first vertex of face 0, and
    // ids outside the mesh pin nothing. The mesh is not kept. Returns
    // STATUS_SUCCESS; STATUS_INVALID_INPUT for a mesh without faces;
    // STATUS_FAILED when the half-edge mesh cannot be made or the Laplacian
    // cannot be factorised (the system is then not prepared).
    int Prepare(const ITriMesh& mesh, const std::vector<int>* fixedVertexIndex);
    bool Prepared() const { return mData != nullptr; }

    // Runs `iterationCount` local/global iterations on `uv` (u, v per vertex of
    // the prepared mesh); pinned vertices keep their coordinates. May be called
    // again with other starts. Returns STATUS_SUCCESS; STATUS_NOT_INITIALISED
    // when not prepared; STATUS_FAILED when a solve fails (uv keeps the last
    // completed iteration).
    int Run(std::vector<double>& uv, int iterationCount);

private:
    struct Data;
    std::unique_ptr<Data> mData;
};

}  // namespace ORVO
