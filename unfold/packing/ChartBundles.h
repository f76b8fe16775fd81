#pragma once
// Many small charts packed as a few bundles. Scans and reconstructions can
// leave thousands of fragments of one or a few triangles; placed one by one
// on the packer's grid, each pays the full cost of a chart, and the search
// for a place grows with the number already placed. Laid out in rows
// instead, every shape turned onto its flattest side and nested against its
// neighbours at exactly the gap, they cost a few microseconds each, and the
// packer places a few rectangles.

#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

// At least this many small charts make bundling worth its setup.
constexpr size_t kBundleMinimumCharts = 2000;

// Packs `charts` like UnfoldMesh::PackUVAtlas (same inputs, outputs and
// status codes). When at least kBundleMinimumCharts of them are small (a
// few triangles, a small share of the total area), those are laid out in
// bundles first, each packed as one chart and then taken apart again; the
// distance between two bundled charts is at least the gap, like that of
// any two charts. `bundleCount` (when not null) receives the number of
// bundles used, 0 when the charts were packed one by one.
int _PackChartsInBundles(const std::vector<ITriMesh*>& charts, std::vector<std::vector<double>>& chartTexCoords,
                         int resolution, int gapTexels, int* bundleCount);

}  // namespace ORVO
