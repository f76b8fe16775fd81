// The UV atlas entry point: validation, connected components, the component
// copies, the per-component pipeline, packing and the outputs.

#include <QarnUVAtlas/ConsolidateMesh.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/MeshEdit.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"
#include "foundation/Activation.h"
#include "foundation/ApiProgress.h"
#include "foundation/LogLine.h"
#include "unfold/AtlasContext.h"
#include "unfold/AtlasStatistics.h"
#include "unfold/InputRepair.h"
#include "unfold/TinyPiece.h"
#include "unfold/UndirectedEdgeTable.h"
#include "unfold/packing/ChartBundles.h"
#include "unfold/packing/PageAtlas.h"
#include "unfold/packing/PlaneArea.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

namespace ORVO {
namespace {

// Where the caller's coordinates are taken to before any stage runs: every
// component is moved and scaled by the same factors, so the whole mesh fits a
// unit-diagonal box. Thresholds inside the stages then mean the same thing
// for a scan stored in millimetres and one stored in kilometres.
struct UnitFrame {
    Vector3 centre;
    double scale = 1.0;
};

// Rejects what a caller can get wrong: ids out of range and coordinates that
// are not finite. Returns 0 or -2 with a line naming the problem.
int ValidateMesh(const ITriMesh* mesh, UnitFrame& frame) {
    const int vertexCount = mesh->GetVertexCount();
    const int faceCount = mesh->GetTriangleCount();
    Vector3 lo(REAL_LARGE, REAL_LARGE, REAL_LARGE), hi(-REAL_LARGE, -REAL_LARGE, -REAL_LARGE);
    for (int v = 0; v < vertexCount; ++v) {
        Vector3 p = mesh->GetVertexCoord(v);
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
            _LogFailure("UnfoldMesh::GenerateUVAtlas invalid vertex coordinate: vertex ", v);
            return STATUS_INVALID_INPUT;
        }
        lo = Vector3(std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z));
        hi = Vector3(std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z));
    }
    int ids[3];
    for (int f = 0; f < faceCount; ++f) {
        mesh->GetTriangleVertexIds(f, ids);
        for (int id : ids) {
            if (id < 0 || id >= vertexCount) {
                _LogFailure("UnfoldMesh::GenerateUVAtlas invalid triangle vertex id: triangle ", f, " id ", id);
                return STATUS_INVALID_INPUT;
            }
        }
    }
    double diagonal = (hi - lo).Length();
    frame.centre = (lo + hi) * 0.5;
    frame.scale = diagonal > 0.0 && std::isfinite(diagonal) ? 1.0 / diagonal : 1.0;
    return STATUS_SUCCESS;
}

// Copies one component into its own mesh (in the caller's vertex order of the
// component and in face-id order), consolidates its degenerate triangles and
// splits its non-manifold edges and vertices. `subVertex` receives, for each
// input vertex of the component, its id in the copy.
int ConstructSubMesh(const ITriMesh* input, const std::vector<int>& componentVertices,
                     const std::vector<int>& componentFaces, const UnitFrame& frame, std::unique_ptr<TriMesh>& subMesh,
                     std::vector<int>& subVertex) {
    TriMesh copy;
    copy.ReserveVertices(static_cast<int>(componentVertices.size()));
    copy.ReserveTriangles(static_cast<int>(componentFaces.size()));
    for (size_t i = 0; i < componentVertices.size(); ++i) {
        subVertex[componentVertices[i]] = static_cast<int>(i);
        copy.InsertVertex((input->GetVertexCoord(componentVertices[i]) - frame.centre) * frame.scale);
    }
    int ids[3];
    for (int f : componentFaces) {
        input->GetTriangleVertexIds(f, ids);
        copy.InsertTriangle(subVertex[ids[0]], subVertex[ids[1]], subVertex[ids[2]]);
    }

    // Cutting needs a manifold mesh; faces keep their order, vertices split
    // (a face naming a vertex twice gets a vertex per corner, which the
    // consolidation below then opens).
    subMesh = std::make_unique<TriMesh>();
    std::vector<int> origins;
    int status = ConsolidateMesh::MakeManifold(&copy, subMesh.get(), &origins);
    if (status != STATUS_SUCCESS) {
        _LogFailure("ConstructSubMesh: MakeManifold failed ", status);
        return status;
    }

    Vector3 lo, hi;
    status = CalculateTriMeshBoundingBox(subMesh.get(), &lo, &hi);
    if (status != STATUS_SUCCESS) {
        _LogFailure("ConstructSubMesh: CalculateTriMeshBoundingBox failed ", status);
        return status;
    }
    double epsilon = 1e-10 * (hi - lo).Length();
    if (epsilon < 1e-15) epsilon = 1e-15;
    std::vector<Vector3> coords;
    status = ConsolidateMesh::ConsolidateDegenerateTriangles(subMesh.get(), nullptr, epsilon, coords);
    if (status != STATUS_SUCCESS) {
        _LogFailure("ConstructSubMesh: ConsolidateDegenerateTriangles failed ", status);
        return status;
    }
    for (int v = 0; v < subMesh->GetVertexCount(); ++v) subMesh->SetVertexCoord(v, coords[v]);
    // Input vertices map to the first copy of themselves.
    std::vector<int> firstCopy(copy.GetVertexCount(), -1);
    for (int v = static_cast<int>(origins.size()) - 1; v >= 0; --v) firstCopy[origins[v]] = v;
    for (int v : componentVertices) subVertex[v] = firstCopy[subVertex[v]];
    return STATUS_SUCCESS;
}

// The caller's cut lines in vertex ids of the working copy; a step between
// two vertices that were welded into one is dropped.
const std::vector<std::vector<int>>* MapLines(const std::vector<std::vector<int>>& lines,
                                              const std::vector<int>& vertexOf,
                                              std::vector<std::vector<int>>& mapped) {
    mapped.resize(lines.size());
    for (size_t l = 0; l < lines.size(); ++l) {
        mapped[l].clear();
        for (int v : lines[l]) {
            // Ids out of range are passed on as they are: the line ends there.
            const int w = v >= 0 && v < static_cast<int>(vertexOf.size()) ? vertexOf[v] : -1;
            if (mapped[l].empty() || mapped[l].back() != w) mapped[l].push_back(w);
        }
    }
    return &mapped;
}

void LogStatistics(double seconds) {
    AtlasStatistics& s = _AtlasStatistics();
    double calls = s.isometricCalls.load();
    double iso = s.isometricSeconds.load();
    _LogDetail("UnfoldMesh::GenerateUVAtlas time: total", seconds);
    _LogDetail("Profiler:");
    _LogDetail("gConformal=", s.conformalSeconds.load());
    _LogDetail("gIsometric_total=", calls, " / ", iso, " / ", calls > 0.0 ? iso / calls : 0.0);
    _LogDetail("gOverlap=", s.overlapSeconds.load());
    _LogDetail("gHalfMesh=", s.halfMeshSeconds.load());
}

int RunAtlas(const ITriMesh* triMesh, int chartCount, std::vector<double>* texCoords, std::vector<int>* faceTexIds,
             bool needInitSplit, const std::vector<std::vector<int>>* initSplitLines, const AtlasSettings& settings,
             UVAtlasReport* report, std::vector<int>* facePages = nullptr) {
    const double startTime = Profiler::GetTime();
    ApiProgress& progress = ApiProgress::Get();
    progress.SetProgress(0.0);
    if (!_ActivationGateA()) return STATUS_NOT_ACTIVATED;
    if (triMesh == nullptr || texCoords == nullptr || faceTexIds == nullptr || chartCount < 1) {
        _LogFailure("UnfoldMesh::GenerateUVAtlas invalid input parameters");
        return STATUS_INVALID_INPUT;
    }
    if (initSplitLines != nullptr && !needInitSplit) {
        _LogFailure("UnfoldMesh::GenerateUVAtlas: initSplitLines != NULL, but needInitSplit == false, thus no "
                    "init split operation ");
    }
    if (!_ActivationGateB()) return STATUS_SUCCESS;
    const int faceCount = triMesh->GetTriangleCount();
    if (!(triMesh->GetVertexCount() > 2 && faceCount > 0)) {
        _LogFailure("UnfoldMesh::GenerateUVAtlas invalid vertexCount: ", triMesh->GetVertexCount(),
                    " triangleCount: ", faceCount);
        return STATUS_INVALID_INPUT;
    }
    UnitFrame frame;
    int status = ValidateMesh(triMesh, frame);
    if (status != STATUS_SUCCESS) return status;
    // From here on the stages see the working copy when one was needed; its
    // faces keep the caller's ids.
    RepairedInput repaired;
    std::vector<std::vector<int>> repairedLines;
    if (settings.weldVertices || settings.orientFaces) {
        _RepairInput(triMesh, 1.0 / frame.scale, settings.weldVertices, settings.orientFaces, repaired);
        if (repaired.mesh) {
            triMesh = repaired.mesh.get();
            if (initSplitLines != nullptr) initSplitLines = MapLines(*initSplitLines, repaired.vertexOf, repairedLines);
        }
    }
    const int vertexCount = triMesh->GetVertexCount();

    std::vector<int> incidenceStart, incidence;
    {
        std::vector<int> corners;
        _ReadTriangleCorners(triMesh, corners);
        _IncidentFaces(corners, vertexCount, incidenceStart, incidence);
    }
    progress.SetProgress(0.1);

    const size_t lineCount = initSplitLines != nullptr && needInitSplit ? initSplitLines->size() : 0;
    std::vector<char> lineTaken(lineCount, 0);
    FacePlacement placement(faceCount, {-1, -1});
    std::vector<int> componentOf(vertexCount, -1);
    std::vector<int> subVertex(vertexCount, -1);
    std::vector<char> faceSeen(faceCount, 0);
    AtlasCharts charts;
    int component = 0;
    int assignedVertices = 0;

    // A stop request is honoured between components and before packing; the
    // stages below check it between their own steps.
    auto cancelled = [&settings]() {
        if (!settings.Cancelled()) return false;
        _LogFailure("UnfoldMesh::GenerateUVAtlas: cancelled by the caller");
        return true;
    };

    for (int seed = 0; seed < vertexCount; ++seed) {
        if (componentOf[seed] >= 0) continue;
        if (cancelled()) return STATUS_FAILED;
        // Vertices joined through shared faces, breadth first.
        std::vector<int> vertices{seed};
        componentOf[seed] = component;
        for (size_t i = 0; i < vertices.size(); ++i) {
            int v = vertices[i];
            for (int j = incidenceStart[v]; j < incidenceStart[v + 1]; ++j) {
                int ids[3];
                triMesh->GetTriangleVertexIds(incidence[j], ids);
                for (int id : ids) {
                    if (componentOf[id] < 0) {
                        componentOf[id] = component;
                        vertices.push_back(id);
                    }
                }
            }
        }
        assignedVertices += static_cast<int>(vertices.size());
        std::vector<int> faces;
        for (int v : vertices) {
            for (int j = incidenceStart[v]; j < incidenceStart[v + 1]; ++j) {
                int f = incidence[j];
                if (!faceSeen[f]) {
                    faceSeen[f] = 1;
                    faces.push_back(f);
                }
            }
        }
        if (faces.empty()) continue;  // an isolated vertex has nothing to map
        std::sort(faces.begin(), faces.end());

        // A fragment of a few faces is laid flat directly and becomes a chart
        // as it is; one the direct layout cannot take goes the full route.
        if (settings.fragmentsInBulk && lineCount == 0 && faces.size() <= kTinyPieceFaces) {
            std::unique_ptr<TriMesh> chart;
            std::vector<double> uv;
            if (_FlattenTinyPiece(triMesh, faces, frame.centre, frame.scale, chart, uv)) {
                const int chartIndex = static_cast<int>(charts.charts.size());
                charts.charts.push_back(std::move(chart));
                charts.texCoords.push_back(std::move(uv));
                charts.order.emplace_back(component, 0);
                for (size_t i = 0; i < faces.size(); ++i) placement[faces[i]] = {chartIndex, static_cast<int>(i)};
                ++component;
                continue;
            }
        }

        std::unique_ptr<TriMesh> subMesh;
        status = ConstructSubMesh(triMesh, vertices, faces, frame, subMesh, subVertex);
        if (status != STATUS_SUCCESS) {
            _LogFailure("ConstructSubMesh failed ", status);
            return status;
        }
        const int budget =
            static_cast<int>(std::ceil(static_cast<double>(vertices.size()) / vertexCount * chartCount));

        // A caller's line belongs to the component of its first vertex and is
        // cut short where it leaves that component.
        std::vector<std::vector<int>> lines;
        for (size_t l = 0; l < lineCount; ++l) {
            const std::vector<int>& line = (*initSplitLines)[l];
            if (lineTaken[l] || line.empty()) continue;
            if (line[0] < 0 || line[0] >= vertexCount || componentOf[line[0]] != component) continue;
            std::vector<int> local;
            for (int v : line) {
                if (v < 0 || v >= vertexCount || componentOf[v] != component || subVertex[v] < 0) break;
                local.push_back(subVertex[v]);
            }
            lineTaken[l] = 1;
            if (!local.empty()) lines.push_back(std::move(local));
        }

        if (cancelled()) return STATUS_FAILED;
        FacePlacement componentPlacement;
        progress.EnterStage(0.1 + 0.85 * assignedVertices / vertexCount);
        status = _UnfoldMesh2Regions(subMesh.get(), budget, component, needInitSplit, lines, settings, charts,
                                     componentPlacement);
        progress.LeaveStage();
        if (status != STATUS_SUCCESS) {
            if (cancelled()) return STATUS_FAILED;
            _LogFailure("UnfoldMesh2Regions failed ", status);
            return status;
        }
        for (size_t i = 0; i < faces.size(); ++i) placement[faces[i]] = componentPlacement[i];
        ++component;
    }

    // Completion order of the worker threads must not show in the result:
    // charts are put in the order of their component and smallest face.
    const size_t chartTotal = charts.charts.size();
    std::vector<int> order(chartTotal);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](int a, int b) { return charts.order[a] < charts.order[b]; });
    std::vector<int> rank(chartTotal);
    std::vector<ITriMesh*> chartMeshes(chartTotal);
    std::vector<std::vector<double>> chartCoords(chartTotal);
    for (size_t i = 0; i < chartTotal; ++i) {
        rank[order[i]] = static_cast<int>(i);
        chartMeshes[i] = charts.charts[order[i]].get();
        chartCoords[i].swap(charts.texCoords[order[i]]);
    }

    if (cancelled()) return STATUS_FAILED;
    // Page mode may split charts too large for a page: the list then grows by their pieces.
    PageAtlas pages;
    const double packStart = Profiler::GetTime();
    if (settings.texelsPerUnit > 0.0) {
        PagePackOptions pageOptions;
        pageOptions.resolution = settings.resolution;
        pageOptions.gapTexels = settings.gapTexels;
        pageOptions.maxPages = settings.maxPages;
        pageOptions.threadCount = 2;
        status = _PackAtlasPages(chartMeshes, chartCoords, settings.texelsPerUnit, 1.0 / frame.scale, pageOptions,
                                 pages);
    } else if (settings.fragmentsInBulk) {
        status = _PackChartsInBundles(chartMeshes, chartCoords, settings.resolution, settings.gapTexels, nullptr);
    } else {
        status = UnfoldMesh::PackUVAtlas(chartMeshes, chartCoords, settings.resolution, settings.gapTexels);
    }
    if (status != STATUS_SUCCESS) return status;
    const double packSeconds = Profiler::GetTime() - packStart;
    progress.SetProgress(0.975);

    const size_t packedTotal = chartMeshes.size();
    _LogDetail("UnfoldMesh::GenerateUVAtlas: final chart count=", packedTotal);
    std::vector<int> offset(packedTotal + 1, 0);
    for (size_t i = 0; i < packedTotal; ++i) offset[i + 1] = offset[i] + chartMeshes[i]->GetVertexCount();
    texCoords->clear();
    texCoords->reserve(2 * static_cast<size_t>(offset[packedTotal]));
    for (const std::vector<double>& coords : chartCoords) texCoords->insert(texCoords->end(), coords.begin(), coords.end());
    faceTexIds->clear();
    faceTexIds->reserve(3 * static_cast<size_t>(faceCount));
    if (facePages != nullptr) facePages->assign(faceCount, 0);
    double uvArea = 0.0;
    for (int f = 0; f < faceCount; ++f) {
        int chart = rank[placement[f].first];
        int triangle = placement[f].second;
        if (!pages.moved.empty() && !pages.moved[chart].empty()) {
            const std::pair<int, int> piece = pages.moved[chart][triangle];
            chart = piece.first;
            triangle = piece.second;
        }
        if (facePages != nullptr && !pages.chartPage.empty()) (*facePages)[f] = pages.chartPage[chart];
        int ids[3];
        chartMeshes[chart]->GetTriangleVertexIds(triangle, ids);
        for (int id : ids) faceTexIds->push_back(offset[chart] + id);
        const double* tex = texCoords->data() + 2 * static_cast<size_t>(offset[chart]);
        uvArea += _PlaneTriangleArea(tex + 2 * ids[0], tex + 2 * ids[1], tex + 2 * ids[2]);
    }
    // A face the working copy turned gets its corners back in the caller's order.
    for (size_t f = 0; f < repaired.turned.size(); ++f) {
        if (repaired.turned[f]) std::swap((*faceTexIds)[3 * f + 1], (*faceTexIds)[3 * f + 2]);
    }
    charts.charts.clear();
    progress.SetProgress(1.0);
    const double seconds = Profiler::GetTime() - startTime;
    LogStatistics(seconds);
    if (report != nullptr) {
        report->chartCount = static_cast<int>(packedTotal);
        report->pageCount = std::max(1, pages.pageCount);
        report->utilization = uvArea / report->pageCount;
        report->seconds = seconds;
        report->weldedVertices = repaired.weldedVertices;
        report->turnedFaces = repaired.turnedFaces;
        report->packSeconds = packSeconds;
    }
    return STATUS_SUCCESS;
}

// Under a caller's stretch budget no face may be stretched more than this
// (automatic charts keep the strict mode's limit). With neither a count nor a
// budget, the atlas keeps within kAutomaticStretch: a little below what the
// automatic charts promise, since the packing rounds a little.
constexpr double kBudgetFaceStretch = 3.0;
constexpr double kAutomaticStretch = 1.018;

// A nominal count for the options form when the caller leaves the count open.
// The charts then follow the stretch budget, and this count only bounds the
// worker threads given to small components.
int AutomaticChartCount(const ITriMesh* mesh) {
    if (mesh == nullptr) return 1;
    int faces = mesh->GetTriangleCount();
    return std::max(1, static_cast<int>(std::lround(std::sqrt(static_cast<double>(std::max(faces, 1))) / 4.0)));
}

}  // namespace

int UnfoldMesh::GenerateUVAtlas(const ITriMesh* triMesh, int chartCount, std::vector<double>* texCoords,
                                std::vector<int>* faceTexIds, bool needInitSplit, bool acceptDirectlyA,
                                bool acceptDirectlyB, const std::vector<std::vector<int>>* initSplitLines) {
    _RecordCall<DumpMeshUnfoldGenerateUVAtlas>(triMesh, chartCount, needInitSplit, acceptDirectlyA, acceptDirectlyB);
    AtlasSettings settings;
    settings.acceptDirectly = acceptDirectlyA || acceptDirectlyB;
    settings.strict = false;
    return RunAtlas(triMesh, chartCount, texCoords, faceTexIds, needInitSplit, initSplitLines, settings, nullptr);
}

int UnfoldMesh::GenerateUVAtlas(const ITriMesh* triMesh, const UVAtlasOptions& options,
                                std::vector<double>* texCoords, std::vector<int>* faceTexIds,
                                UVAtlasReport* report) {
    const int chartCount = options.chartCount > 0 ? options.chartCount : AutomaticChartCount(triMesh);
    // The record holds the plain form's arguments: the chart count this call
    // will use and its acceptance setting; the other options are not kept.
    _RecordCall<DumpMeshUnfoldGenerateUVAtlas>(triMesh, chartCount, options.initSplitLines != nullptr,
                                               options.acceptDirectly, options.acceptDirectly);
    if (options.resolution < 1 || options.gapTexels < 0 || options.chartCount < 0 || !(options.texelsPerUnit >= 0.0) ||
        !std::isfinite(options.texelsPerUnit) || options.maxPages < 0) {
        _LogFailure("UnfoldMesh::GenerateUVAtlas invalid input parameters");
        return STATUS_INVALID_INPUT;
    }
    AtlasSettings settings;
    settings.acceptDirectly = options.acceptDirectly;
    settings.strict = options.strict;
    settings.threadCount = options.threadCount;
    settings.resolution = options.resolution;
    settings.gapTexels = options.gapTexels;
    if (!(options.maxStretch == 0.0 || (options.maxStretch >= 1.0 && std::isfinite(options.maxStretch)))) {
        _LogFailure("UnfoldMesh::GenerateUVAtlas invalid maxStretch: ", options.maxStretch);
        return STATUS_INVALID_INPUT;
    }
    settings.shapedCharts = true;
    settings.maxStretch = options.maxStretch;
    settings.automaticCharts = options.chartCount == 0 && options.maxStretch == 0.0;
    if (settings.automaticCharts) settings.maxStretch = kAutomaticStretch;
    if (options.maxStretch > 0.0) settings.maxFaceStretch = kBudgetFaceStretch;
    settings.weldVertices = options.weldVertices;
    settings.orientFaces = options.orientFaces;
    settings.fragmentsInBulk = true;
    settings.cancel = options.cancel;
    settings.texelsPerUnit = options.texelsPerUnit;
    settings.maxPages = options.maxPages;
    bool needInitSplit = options.initSplitLines != nullptr;
    AtlasCancelScope cancelScope(options.cancel);
    return RunAtlas(triMesh, chartCount, texCoords, faceTexIds, needInitSplit, options.initSplitLines, settings,
                    report, options.facePages);
}

}  // namespace ORVO
