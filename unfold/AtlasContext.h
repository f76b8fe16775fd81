#pragma once
// State shared by the stages of one atlas call: its settings, the charts made
// so far (owned here until the call returns) and the per-face placement.

#include <QarnUVAtlas/Threads.h>
#include <QarnUVAtlas/TriMesh.h>

#include <memory>
#include <utility>
#include <vector>

namespace ORVO {

struct AtlasSettings {
    bool acceptDirectly = false;  // accept every first flattening unchecked
    bool strict = false;          // check every chart with the overlap test, at every depth
    int threadCount = 0;          // 0: derived from the processor count
    int resolution = 1024;        // packing texture size
    int gapTexels = 1;            // packing gap
    // Page mode: texels per unit of surface length (0: one page at the largest scale)
    // and the most pages it may fill (0: no limit).
    double texelsPerUnit = 0.0;
    int maxPages = 0;
};

// Every chart accepted so far, with its (u, v) pairs and, for a stable output
// order, the smallest component face it holds and its component.
struct AtlasCharts {
    std::vector<std::unique_ptr<TriMesh>> charts;
    std::vector<std::vector<double>> texCoords;
    std::vector<std::pair<int, int>> order;  // (component, smallest component face id)
};

// Per component face: (chart index, triangle index inside the chart).
using FacePlacement = std::vector<std::pair<int, int>>;

// Cuts one component mesh along its initial and automatic split lines and
// flattens every resulting region into charts appended to `charts`.
// Returns 0 or the first failing stage's code.
int _UnfoldMesh2Regions(TriMesh* mesh, int chartBudget, int componentId, bool needInitSplit,
                        const std::vector<std::vector<int>>& initLines, const AtlasSettings& settings,
                        AtlasCharts& charts, FacePlacement& placement);

// Work shared by the region tasks of one cut component.
struct RegionWork {
    const TriMesh* mesh = nullptr;
    int componentId = 0;
    const AtlasSettings* settings = nullptr;
    AtlasCharts* charts = nullptr;
    FacePlacement* placement = nullptr;
    std::vector<int>* scratch = nullptr;  // per mesh vertex: its id in the chart being built
    Mutex* mutex = nullptr;               // guards charts, placement, progress and firstError
    double progressDone = 0.0;
    int firstError = 0;
};

// Flattens one region (component face ids) at split depth `depth`: either
// stores it as a chart or fills `subRegions` with the parts to retry deeper.
int _TryUnfoldSingleRegion(RegionWork& work, const std::vector<int>& region, int depth,
                           std::vector<std::vector<int>>& subRegions);

}  // namespace ORVO
