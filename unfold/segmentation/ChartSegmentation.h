#pragma once
// Split lines of one connected component for the options form of the atlas:
// charts merged from single faces by flatness, with borders moved onto short
// paths along creases, either to a wanted count or, under a stretch budget,
// for as long as the flattened charts stay within it.

#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

struct ChartSegmentation {
    // Charts wanted for the component (count mode, when maxStretch is 0).
    int chartCount = 1;
    // Area-weighted L2 texture stretch the component's charts may reach
    // together (1 = none); 0: count mode.
    double maxStretch = 0.0;
    // Largest texture-to-surface stretch of one face under a budget.
    double maxFaceStretch = 2.5;
    // Charts do not grow across creases and keep their normals within a cone.
    bool automatic = false;
    // Worker threads for flattening candidate charts; 0: derived from the processors.
    int threadCount = 0;
};

// Fills splitLines (component vertex ids, two per line) with the borders of
// the charts chosen for `mesh` (one connected component). Under a budget,
// `cornerUv` (when not null) receives the layout each chart was judged by:
// (u, v) of the 3 corners of every face; it is left empty otherwise.
// Returns 0, or -2 for a null mesh.
int _GenerateChartSplitLines(const TriMesh* mesh, const ChartSegmentation& request,
                             std::vector<std::vector<int>>& splitLines, std::vector<double>* cornerUv = nullptr);

}  // namespace ORVO
