#pragma once
// State shared by the stages of one atlas call: its settings, the charts made
// so far (owned here until the call returns) and the per-face placement.

#include <QarnUVAtlas/Threads.h>
#include <QarnUVAtlas/TriMesh.h>

#include <atomic>
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
    double maxFaceStretch = 2.5;  // strict mode: largest texture-to-surface stretch of one face
    // Options form: charts merged by flatness with straightened borders
    // instead of the plain form's grown regions, to a count or under a
    // stretch budget (maxStretch > 0), or chosen by the shape (automatic).
    bool shapedCharts = false;
    double maxStretch = 0.0;
    bool automaticCharts = false;
    // Options form only: weld and orient a working copy first; lay pieces of
    // a few faces flat directly and pack many small charts in bundles.
    bool weldVertices = false;
    bool orientFaces = false;
    bool fragmentsInBulk = false;
    const std::atomic<bool>* cancel = nullptr;  // the caller's stop request, or null

    bool Cancelled() const { return cancel != nullptr && cancel->load(std::memory_order_relaxed); }
    // Page mode: texels per unit of surface length (0: one page at the largest scale)
    // and the most pages it may fill (0: no limit).
    double texelsPerUnit = 0.0;
    int maxPages = 0;
};

// The caller's stop flag for the stages that run on the calling thread and
// take no settings (the segmentation): set by an AtlasCancelScope for the
// duration of an atlas call, read by _AtlasCancelRequested on that thread.
class AtlasCancelScope {
public:
    explicit AtlasCancelScope(const std::atomic<bool>* cancel);
    ~AtlasCancelScope();
    AtlasCancelScope(const AtlasCancelScope&) = delete;
    AtlasCancelScope& operator=(const AtlasCancelScope&) = delete;

private:
    const std::atomic<bool>* mPrevious;
};
bool _AtlasCancelRequested();

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
    // Layouts the segmentation already judged: (u, v) of the 3 corners of
    // every face, or empty.
    const std::vector<double>* cornerUv = nullptr;
    Mutex* mutex = nullptr;               // guards charts, placement, progress and firstError
    double progressDone = 0.0;
    int firstError = 0;
    ThreadPool* pool = nullptr;           // the region pool; null when one thread does it all
    int threadCount = 1;                  // threads of the pool
    std::atomic<int> spareThreads{0};     // threads started beside a region's flattening
};

// Flattens one region (component face ids) at split depth `depth`: either
// stores it as a chart or fills `subRegions` with the parts to retry deeper.
int _TryUnfoldSingleRegion(RegionWork& work, const std::vector<int>& region, int depth,
                           std::vector<std::vector<int>>& subRegions);

}  // namespace ORVO
