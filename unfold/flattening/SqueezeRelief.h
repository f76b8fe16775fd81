#pragma once
// Local relief of a layout's squeezed faces. A union of charts, or a chart
// around a spike, often lies flat but for a handful of faces pressed past the
// face limit. Instead of refusing the layout (or cutting the chart), the
// vertices around those faces are moved, the rest held, to lower the
// symmetric Dirichlet energy there, which grows without bound as a face is
// squeezed or folds: the squeezed faces open up at the cost of a little
// stretch in their neighbourhood.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"

#include <vector>

namespace ORVO {

// Moves the layout `uv` (u, v per chart vertex, scaled to the chart's area)
// around faces whose largest texture-to-surface stretch exceeds `limit`, when
// there are at most a few such faces and none is flipped, then scales the
// layout to the chart's area again. Returns true when it moved the layout;
// the caller checks it again (the relief may fall short, or make an outline
// cross itself). Returns false, layout untouched, when there was nothing to
// relieve or too much. `adj`: the chart's adjacency when the caller has it
// (null: it is built here).
bool _RelieveSqueezedFaces(const TriMesh& chart, std::vector<double>& uv, double limit,
                           const MeshAdjacency* adj = nullptr);

// Relieves a copy of a layout that failed its checks and takes it in place of
// `uv` when `passes(copy)` holds. Returns true when it was taken.
template <class Check>
bool _TakeRelievedLayout(const TriMesh& chart, std::vector<double>& uv, double limit, const Check& passes,
                         const MeshAdjacency* adj = nullptr) {
    std::vector<double> copy = uv;
    if (!_RelieveSqueezedFaces(chart, copy, limit, adj) || !passes(copy)) return false;
    uv.swap(copy);
    return true;
}

}  // namespace ORVO
