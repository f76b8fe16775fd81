#pragma once
// Cutting a flattened chart that is too large for a page into pieces that fit. The
// pieces keep the chart's coordinates (a part of a fold-free flattening is fold-free),
// so the chart is split, never shrunk; cuts run along triangle edges.

#include <vector>

namespace ORVO {

// Groups of the triangles of one chart (`tris`: 3 vertex ids each over `uv`, 2
// coordinates per vertex), each group one connected piece whose smallest bounding
// rectangle has no side longer than `limit`. A chart that already fits comes back as
// one group of all its triangles in order. The chart is cut across the long side of its
// smallest rectangle into slabs (a triangle goes with its centroid), and each slab's
// connected parts are cut again until they fit. Returns false (groups unspecified) when
// a single triangle is larger than `limit`.
bool _SplitChartToFit(const std::vector<int>& tris, const std::vector<double>& uv, double limit,
                      std::vector<std::vector<int>>& groups);

}  // namespace ORVO
