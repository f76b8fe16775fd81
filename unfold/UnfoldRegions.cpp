// One component of the atlas: cut along the initial and automatic split
// lines, then flatten every resulting region on a pool of worker threads.

#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "foundation/ApiProgress.h"
#include "foundation/LogLine.h"
#include "unfold/AtlasContext.h"
#include "unfold/MeshAdjacency.h"
#include "unfold/segmentation/ChartSegmentation.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace ORVO {
namespace {

// Flattens one region and then, level by level, the parts it splits into.
class UnfoldRegionTask : public TaskBase {
public:
    UnfoldRegionTask(RegionWork& work, std::vector<int> region)
        : TaskBase(TASK_TYPE_WORK), mWork(work), mRegion(std::move(region)) {}

    int Run() override {
        int status = Unfold();
        ScopedLock lock(*mWork.mutex);
        if (status != STATUS_SUCCESS && mWork.firstError == STATUS_SUCCESS) mWork.firstError = status;
        // Progress moves only as whole regions finish: the stages inside a
        // task run while the progress record is suspended.
        mWork.progressDone += static_cast<double>(mRegion.size()) / (mWork.mesh->GetTriangleCount() + 1);
        ApiProgress::Get().Publish(std::min(1.0, mWork.progressDone));
        return status;
    }

private:
    int Unfold() {
        // A stopped call leaves the remaining regions unflattened; the driver reports it.
        if (mWork.settings->Cancelled()) return STATUS_FAILED;
        std::vector<std::vector<int>> pending;
        int status = _TryUnfoldSingleRegion(mWork, mRegion, mDepth, pending);
        if (status != STATUS_SUCCESS) {
            _LogFailure("TryUnfoldSingleRegion failed ", status);
            return status;
        }
        std::vector<std::vector<int>> next;
        while (!pending.empty()) {
            ++mDepth;
            next.clear();
            for (const std::vector<int>& part : pending) {
                if (mWork.settings->Cancelled()) return STATUS_FAILED;
                status = _TryUnfoldSingleRegion(mWork, part, mDepth, next);
                if (status != STATUS_SUCCESS) {
                    _LogFailure("TryUnfoldSingleRegion failed ", status);
                    return status;
                }
            }
            pending.swap(next);
        }
        return STATUS_SUCCESS;
    }

    RegionWork& mWork;
    std::vector<int> mRegion;
    int mDepth = 0;
};

// Face regions of the cut mesh: faces joined through shared vertices, in
// face-id order of their first face, each in discovery order.
std::vector<std::vector<int>> FindRegions(const MeshAdjacency& adj) {
    std::vector<std::vector<int>> regions;
    std::vector<char> assigned(adj.faceCount, 0);
    for (int f = 0; f < adj.faceCount; ++f) {
        if (assigned[f]) continue;
        regions.emplace_back();
        std::vector<int>& region = regions.back();
        assigned[f] = 1;
        region.push_back(f);
        for (size_t i = 0; i < region.size(); ++i) {
            const int* t = &adj.triangles[3 * static_cast<size_t>(region[i])];
            for (int k = 0; k < 3; ++k) {
                for (int j = adj.FacesBegin(t[k]); j < adj.FacesEnd(t[k]); ++j) {
                    int g = adj.vertexFaces[j];
                    if (!assigned[g]) {
                        assigned[g] = 1;
                        region.push_back(g);
                    }
                }
            }
        }
    }
    return regions;
}

int UnfoldSingleConnectedRegions(TriMesh* mesh, int chartBudget, int componentId, const AtlasSettings& settings,
                                 const std::vector<double>& cornerUv, AtlasCharts& charts, FacePlacement& placement) {
    ApiProgress& progress = ApiProgress::Get();
    progress.SetProgress(0.0);
    auto adj = std::make_unique<MeshAdjacency>();
    adj->Build(mesh);
    placement.assign(mesh->GetTriangleCount(), {-1, -1});
    std::vector<int> scratch(mesh->GetVertexCount(), -1);

    int threadCount = settings.threadCount > 0
                          ? settings.threadCount
                          : static_cast<int>(std::ceil(0.66 * GetProcessorCount()));
    threadCount = std::max(1, std::min(threadCount, chartBudget));
    std::unique_ptr<ThreadPool> pool;
    if (threadCount > 1) {
        pool = std::make_unique<ThreadPool>();
        int started = pool->Init(threadCount);
        if (started != threadCount) {
            _LogFailure("UnfoldSingleConnectedRegions: threadCount != processorCount");
            if (started < 1) {
                _LogFailure("UnfoldSingleConnectedRegions: invalid thread count = ", started);
                return STATUS_FAILED;
            }
        }
    }

    std::vector<std::vector<int>> regions = FindRegions(*adj);
    Mutex mutex;
    RegionWork work;
    work.mesh = mesh;
    work.componentId = componentId;
    work.settings = &settings;
    work.charts = &charts;
    work.placement = &placement;
    work.scratch = &scratch;
    work.cornerUv = &cornerUv;
    work.mutex = &mutex;
    work.pool = pool.get();
    work.threadCount = pool ? threadCount : 1;

    progress.Suspend();
    // Largest regions first, so that the pool does not end on a long tail.
    std::vector<size_t> order(regions.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return regions[a].size() > regions[b].size(); });
    for (size_t i : order) {
        if (!pool) {
            UnfoldRegionTask task(work, std::move(regions[i]));
            task.Run();
            continue;
        }
        if (pool->InsertTask(new UnfoldRegionTask(work, std::move(regions[i]))) != STATUS_SUCCESS) {
            _LogFailure("AlignPointCloud: ThreadPool InsertTask Failed ");
            break;
        }
    }
    if (pool) {
        adj.reset();
        pool->WaitUntilAllDone();
        pool.reset();
    }
    progress.Resume();
    progress.SetProgress(1.0);
    return work.firstError;
}

// Cuts the component along the caller's lines (component vertex ids).
int InitialSplitMesh(TriMesh* mesh, const std::vector<std::vector<int>>& lines) {
    size_t marks = 0;
    for (const std::vector<int>& line : lines) marks += line.size();
    _LogDetail("InitialSplitMesh: markCount=", marks);
    if (lines.empty()) return STATUS_SUCCESS;
    return SplitMesh::SplitByLines(mesh, lines, nullptr);
}

}  // namespace

int _UnfoldMesh2Regions(TriMesh* mesh, int chartBudget, int componentId, bool needInitSplit,
                        const std::vector<std::vector<int>>& initLines, const AtlasSettings& settings,
                        AtlasCharts& charts, FacePlacement& placement) {
    ApiProgress& progress = ApiProgress::Get();
    progress.SetProgress(0.0);
    if (needInitSplit) {
        progress.Suspend();
        int status = InitialSplitMesh(mesh, initLines);
        progress.Resume();
        if (status != STATUS_SUCCESS) return status;
    }
    progress.SetProgress(0.1);

    std::vector<std::vector<int>> splitLines;
    std::vector<double> cornerUv;
    progress.EnterStage(0.2);
    int status;
    if (settings.shapedCharts) {
        ChartSegmentation request;
        request.chartCount = chartBudget;
        request.maxStretch = settings.maxStretch;
        request.maxFaceStretch = settings.maxFaceStretch;
        request.automatic = settings.automaticCharts;
        request.threadCount = settings.threadCount;
        status = _GenerateChartSplitLines(mesh, request, splitLines, &cornerUv);
    } else {
        status = UnfoldMesh::GenerateAtlasSplitLines(mesh, chartBudget, splitLines);
    }
    progress.LeaveStage();
    if (settings.Cancelled()) return STATUS_FAILED;
    if (status != STATUS_SUCCESS) {
        _LogFailure("UnfoldMesh2Regions: GenerateAtlasSplitLines failed ", status);
        return status;
    }

    progress.EnterStage(0.3);
    if (!splitLines.empty()) status = SplitMesh::SplitByLines(mesh, splitLines, nullptr);
    progress.LeaveStage();
    if (status != STATUS_SUCCESS) return status;
    if (settings.Cancelled()) return STATUS_FAILED;

    progress.EnterStage(1.0);
    status = UnfoldSingleConnectedRegions(mesh, chartBudget, componentId, settings, cornerUv, charts, placement);
    progress.LeaveStage();
    return status;
}

}  // namespace ORVO
