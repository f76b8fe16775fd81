// Flattening one region into a chart, checking the result, and splitting the
// region in two when the flattening folds.

#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/HalfMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "foundation/LogLine.h"
#include "unfold/AtlasContext.h"
#include "unfold/AtlasStatistics.h"
#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/ChartLayout.h"
#include "unfold/flattening/ChartStarts.h"
#include "unfold/flattening/SqueezeRelief.h"
#include "unfold/segmentation/ChartCarving.h"
#include "unfold/segmentation/ChartSlits.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace ORVO {
namespace {

constexpr int kDepthLimit = 33;
// Slits tried on a chart that folds or squeezes a face before it is split.
constexpr int kSlitAttempts = 1;
// A chart spoilt in a few spots loses them (see ChartCarving.h) when it has
// at least this many faces and the spots take at most this share of its area;
// otherwise it is split in two.
constexpr int kCarveMinFaces = 24;
constexpr double kCarveMaxShare = 0.25;

// Faces around vertex v in the order of the fan, walking across the edges
// incident to v; a fan cut by the boundary starts at one of its ends.
void OrderedFan(const MeshAdjacency& adj, int v, std::vector<int>& fan) {
    fan.clear();
    int begin = adj.FacesBegin(v), end = adj.FacesEnd(v);
    if (begin == end) return;
    // The neighbour of f across the edge that leaves v (k) or arrives at v.
    auto across = [&](int f, bool leaving) {
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            if (t[k] != v) continue;
            int edge = leaving ? k : (k + 2) % 3;
            return adj.faceNeighbours[3 * static_cast<size_t>(f) + edge];
        }
        return -1;
    };
    int start = adj.vertexFaces[begin];
    for (int i = begin; i < end; ++i) {
        int f = adj.vertexFaces[i];
        if (across(f, false) < 0) {
            start = f;
            break;
        }
    }
    int f = start;
    const int limit = end - begin;
    do {
        fan.push_back(f);
        f = across(f, true);
    } while (f >= 0 && f != start && static_cast<int>(fan.size()) < limit);
}

// Splits the chart's faces into labelled groups, grown from the two ends of a
// 3-D diameter, then cleaned so that no vertex sees a label in two wedges.
void LabelHalves(const TriMesh& chart, const HalfMesh& half, std::vector<int>& labels, int& labelCount) {
    const int vertexCount = chart.GetVertexCount();
    const int faceCount = chart.GetTriangleCount();
    MeshAdjacency adj;
    adj.Build(&chart);

    const Vector3& p0 = chart.GetVertexCoordRef(0);
    int a = 0;
    double best = -1.0;
    for (int v = 0; v < vertexCount; ++v) {
        double d = chart.GetVertexCoordRef(v).DistanceSquared(p0);
        if (d > best) {
            best = d;
            a = v;
        }
    }
    int b = a == 0 ? 1 : 0;
    best = -1.0;
    const Vector3& pa = chart.GetVertexCoordRef(a);
    for (int v = 0; v < vertexCount; ++v) {
        if (v == a) continue;
        double d = chart.GetVertexCoordRef(v).DistanceSquared(pa);
        if (d > best) {
            best = d;
            b = v;
        }
    }

    labels.assign(faceCount, -1);
    int faceA = -1;
    if (const Edge3D* e = half.GetVertex(a)->GetEdge()) {
        const Face3D* face = e->GetFace();
        if (face == nullptr && e->GetPair() != nullptr) face = e->GetPair()->GetFace();
        if (face != nullptr) faceA = face->GetId();
    }
    if (faceA < 0) faceA = adj.FacesBegin(a) < adj.FacesEnd(a) ? adj.vertexFaces[adj.FacesBegin(a)] : 0;
    labels[faceA] = 0;
    int faceB = -1;
    for (int i = adj.FacesBegin(b); i < adj.FacesEnd(b); ++i) {
        if (labels[adj.vertexFaces[i]] < 0) {
            faceB = adj.vertexFaces[i];
            break;
        }
    }
    if (faceB < 0) {
        // Both ends lie on the seed face: take the face farthest from it.
        const int* t = chart.GetTriangle(faceA);
        Vector3 c = (chart.GetVertexCoordRef(t[0]) + chart.GetVertexCoordRef(t[1]) + chart.GetVertexCoordRef(t[2]));
        best = -1.0;
        for (int f = 0; f < faceCount; ++f) {
            if (f == faceA) continue;
            const int* s = chart.GetTriangle(f);
            Vector3 d = chart.GetVertexCoordRef(s[0]) + chart.GetVertexCoordRef(s[1]) + chart.GetVertexCoordRef(s[2]);
            double dist = d.DistanceSquared(c);
            if (dist > best) {
                best = dist;
                faceB = f;
            }
        }
    }
    labels[faceB] = 1;

    std::vector<int> fronts[2] = {{faceA}, {faceB}};
    std::vector<int> next;
    while (!fronts[0].empty() || !fronts[1].empty()) {
        for (int l = 0; l < 2; ++l) {
            next.clear();
            for (int f : fronts[l]) {
                for (int k = 0; k < 3; ++k) {
                    int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
                    if (g >= 0 && labels[g] < 0) {
                        labels[g] = l;
                        next.push_back(g);
                    }
                }
            }
            fronts[l].swap(next);
        }
    }

    // Cleaning: a vertex whose fan passes into label 0 (or 1) more than twice
    // would leave that label pinched there; its fan's 0/1 faces get fresh labels.
    labelCount = 2;
    std::vector<int> fan;
    bool changed = true;
    while (changed) {
        changed = false;
        for (int v = 0; v < vertexCount; ++v) {
            OrderedFan(adj, v, fan);
            const size_t n = fan.size();
            if (n < 3) continue;
            int changes0 = 0, changes1 = 0;
            bool closed = n == static_cast<size_t>(adj.FacesEnd(v) - adj.FacesBegin(v));
            size_t pairs = closed ? n : n - 1;
            for (size_t i = 0; i < pairs; ++i) {
                int l1 = labels[fan[i]], l2 = labels[fan[(i + 1) % n]];
                if (l1 == l2) continue;
                if (l1 == 0 || l2 == 0) ++changes0;
                if (l1 == 1 || l2 == 1) ++changes1;
            }
            if (changes0 <= 2 && changes1 <= 2) continue;
            for (int f : fan) {
                if (labels[f] == 0 || labels[f] == 1) {
                    labels[f] = labelCount++;
                    changed = true;
                }
            }
        }
    }
    for (int& l : labels) {
        if (l < 0) l = labelCount++;
    }
}

// The edge-connected groups of each label, as chart face ids.
void LabelGroups(const TriMesh& chart, const std::vector<int>& labels, std::vector<std::vector<int>>& groups) {
    MeshAdjacency adj;
    adj.Build(&chart);
    std::vector<char> seen(labels.size(), 0);
    std::vector<int> stack;
    groups.clear();
    for (int f = 0; f < static_cast<int>(labels.size()); ++f) {
        if (seen[f]) continue;
        groups.emplace_back();
        seen[f] = 1;
        stack.assign(1, f);
        while (!stack.empty()) {
            int g = stack.back();
            stack.pop_back();
            groups.back().push_back(g);
            for (int k = 0; k < 3; ++k) {
                int h = adj.faceNeighbours[3 * static_cast<size_t>(g) + k];
                if (h >= 0 && !seen[h] && labels[h] == labels[f]) {
                    seen[h] = 1;
                    stack.push_back(h);
                }
            }
        }
    }
}

bool CheckLayout(const TriMesh& chart, const AtlasSettings& settings, const std::vector<std::vector<int>>& holes,
                 const std::vector<double>& uv) {
    if (_HasFlippedTriangle(chart, uv) || _BoundaryCrossesItself(holes, uv)) return false;
    return !settings.strict || (!_HasSqueezedTriangle(chart, uv, settings.maxFaceStretch) &&
                                (_WindsOnce(chart, uv, holes) || !_OverlapTest(chart, uv, nullptr)));
}

// The checks of a layout made elsewhere.
bool Check(const TriMesh& chart, const AtlasSettings& settings, const std::vector<double>& uv) {
    std::vector<std::vector<int>> holes;
    if (FillMeshHole::FindHoles(&chart, &holes) != STATUS_SUCCESS) return false;
    return CheckLayout(chart, settings, holes, uv);
}

// The edge-connected groups of each label, as the caller's face ids, to be
// flattened at the next depth.
void ReturnGroups(const TriMesh& chart, const std::vector<int>& labels, const std::vector<int>& region,
                  std::vector<std::vector<int>>& subRegions) {
    std::vector<std::vector<int>> groups;
    LabelGroups(chart, labels, groups);
    _LogDetail("needSplit=", groups.size());
    for (std::vector<int>& group : groups) {
        for (int& f : group) f = region[f];
        subRegions.push_back(std::move(group));
    }
}

// Flattens the chart and runs the checks its settings ask for; `accept` is
// set when the layout may be used. With `withCircle`, a conformal layout that
// fails the checks of a strict shaped atlas is followed by the circle start.
// Returns false when there is no layout.
bool FlattenAndCheck(const TriMesh& chart, const AtlasSettings& settings, bool withCircle, bool spareThread,
                     std::vector<double>& uv, bool& accept) {
    std::vector<std::vector<int>> holes;
    const bool holesFound = FillMeshHole::FindHoles(&chart, &holes) == STATUS_SUCCESS;
    withCircle = withCircle && settings.shapedCharts && settings.strict;
    ChartStarts starts(chart, holes, holesFound, nullptr, withCircle, spareThread);
    int isometricStatus = STATUS_SUCCESS;
    if (!starts.Conformal(uv, isometricStatus)) return false;
    // In strict mode a failed isometric step keeps its last layout, which is
    // then checked like any other.
    if (isometricStatus != STATUS_SUCCESS && !settings.strict) accept = true;
    // A strict shaped layout that fails only for a few squeezed faces is
    // often sound once they are relieved: the chart is then not cut up.
    auto relieved = [&](std::vector<double>& layout) {
        return settings.shapedCharts && settings.strict &&
               _TakeRelievedLayout(chart, layout, settings.maxFaceStretch, [&](const std::vector<double>& relief) {
                   return CheckLayout(chart, settings, holes, relief);
               });
    };
    if (!accept) accept = CheckLayout(chart, settings, holes, uv) || relieved(uv);
    // A conformal start that folds is often set right by one that cannot
    // (settled without crossing when only its outline crosses).
    std::vector<double> circle;
    if (!accept && starts.JudgedCircle(circle, settings.maxFaceStretch, [&](std::vector<double>& layout) {
            return CheckLayout(chart, settings, holes, layout) || relieved(layout);
        }) > 0) {
        uv.swap(circle);
        accept = true;
    }
    return true;
}

// A thread of the region pool's count that would otherwise wait (fewer regions
// are open than there are threads: the last, largest ones, late in the stage),
// held while one chart is flattened. Regions and such threads together never
// outnumber the threads the caller allowed.
class SpareThread {
public:
    SpareThread(RegionWork& work, const TriMesh& chart) : mWork(work) {
        if (!work.pool || static_cast<size_t>(chart.GetTriangleCount()) < kSpareThreadFaces) return;
        const int open = work.pool->GetPendingCount();
        int held = work.spareThreads.load();
        while (open + held < work.threadCount) {
            if (work.spareThreads.compare_exchange_weak(held, held + 1)) {
                mHeld = true;
                return;
            }
        }
    }
    ~SpareThread() {
        if (mHeld) mWork.spareThreads.fetch_sub(1);
    }
    SpareThread(const SpareThread&) = delete;
    SpareThread& operator=(const SpareThread&) = delete;
    bool Held() const { return mHeld; }

private:
    RegionWork& mWork;
    bool mHeld = false;
};

// The chart's layout from the per-corner layout the segmentation handed on,
// when it covers every face of the region (chart triangle i is region face i).
bool GivenLayout(const TriMesh& chart, const std::vector<int>& region, const std::vector<double>& cornerUv,
                 std::vector<double>& uv) {
    if (cornerUv.empty()) return false;
    uv.assign(2 * static_cast<size_t>(chart.GetVertexCount()), 0.0);
    std::vector<char> set(chart.GetVertexCount(), 0);
    for (size_t i = 0; i < region.size(); ++i) {
        const int* t = chart.GetTriangle(static_cast<int>(i));
        const double* corner = &cornerUv[6 * static_cast<size_t>(region[i])];
        for (int k = 0; k < 3; ++k) {
            const double u = corner[2 * k], v = corner[2 * k + 1];
            if (!set[t[k]]) {
                uv[2 * t[k]] = u;
                uv[2 * t[k] + 1] = v;
                set[t[k]] = 1;
            } else if (uv[2 * t[k]] != u || uv[2 * t[k] + 1] != v) {
                uv.clear();  // not the chart it was made for
                return false;
            }
        }
    }
    return true;
}

// Cuts slits from the worst inner vertex to the boundary, one at a time, until
// the layout passes the checks. Returns the slit chart (with `uv` its layout),
// or null with `uv` untouched when a few slits do not do it.
std::unique_ptr<TriMesh> SlitUntilFlat(RegionWork& work, const TriMesh& chart, std::vector<double>& uv) {
    const AtlasSettings& settings = *work.settings;
    const TriMesh* current = &chart;
    const std::vector<double>* layout = &uv;
    std::unique_ptr<TriMesh> slit;
    std::vector<double> slitUv;
    for (int attempt = 0; attempt < kSlitAttempts; ++attempt) {
        const int apex = _WorstInnerVertex(*current, *layout, settings.maxFaceStretch, true);
        if (apex < 0) break;
        const std::vector<int> path = _SlitPath(*current, apex);
        if (path.size() < 2) break;
        auto next = std::make_unique<TriMesh>();
        _SlitChart(*current, {path}, *next);
        std::vector<double> nextUv;
        bool accept = false;
        const SpareThread spare(work, *next);
        if (!FlattenAndCheck(*next, settings, false, spare.Held(), nextUv, accept)) break;
        slit = std::move(next);
        slitUv.swap(nextUv);
        current = slit.get();
        layout = &slitUv;
        if (accept) {
            uv.swap(slitUv);
            return slit;
        }
    }
    return nullptr;
}

}  // namespace

int _TryUnfoldSingleRegion(RegionWork& work, const std::vector<int>& region, int depth,
                           std::vector<std::vector<int>>& subRegions) {
    _LogDetail("TryUnfoldSingleRegion: faceIndex size=", region.size(), " stackDepth=", depth, " start...");
    const TriMesh& mesh = *work.mesh;
    std::vector<int>& scratch = *work.scratch;

    // The chart: the region's vertices in increasing id order, then its faces.
    std::vector<int> vertices;
    vertices.reserve(region.size() * 3);
    for (int f : region) {
        const int* t = mesh.GetTriangle(f);
        vertices.insert(vertices.end(), t, t + 3);
    }
    std::sort(vertices.begin(), vertices.end());
    vertices.erase(std::unique(vertices.begin(), vertices.end()), vertices.end());
    auto chart = std::make_unique<TriMesh>();
    chart->ReserveVertices(static_cast<int>(vertices.size()));
    chart->ReserveTriangles(static_cast<int>(region.size()));
    for (size_t i = 0; i < vertices.size(); ++i) {
        scratch[vertices[i]] = static_cast<int>(i);
        chart->InsertVertex(mesh.GetVertexCoordRef(vertices[i]));
    }
    for (int f : region) {
        const int* t = mesh.GetTriangle(f);
        chart->InsertTriangle(scratch[t[0]], scratch[t[1]], scratch[t[2]]);
    }

    const AtlasSettings& settings = *work.settings;
    // Odd depths are checked; even depths above 1 are accepted as they come,
    // which bounds the splitting. Strict mode checks every depth.
    bool accept = settings.acceptDirectly || (!settings.strict && depth > 1 && depth % 2 == 0);
    std::vector<double> uv;
    bool flattened = false;
    // The segmentation may have flattened this very chart already; then it
    // only needs the checks.
    bool given = depth == 0 && !accept && GivenLayout(*chart, region, *work.cornerUv, uv);
    if (given) {
        flattened = true;
        accept = Check(*chart, settings, uv);
    }
    if (!given || !accept) {
        const SpareThread spare(work, *chart);
        flattened = FlattenAndCheck(*chart, settings, true, spare.Held(), uv, accept);
    }
    if (flattened && !accept && settings.shapedCharts && settings.strict && depth < kDepthLimit) {
        std::unique_ptr<TriMesh> slit = SlitUntilFlat(work, *chart, uv);
        if (slit) {
            chart = std::move(slit);
            accept = true;
        }
    }

    if (chart->GetTriangleCount() > 1 && depth < kDepthLimit && !accept) {
        // A large chart spoilt in a few spots loses just those spots, whose
        // outlines are short. Otherwise it is cut in two through the worst
        // inner vertex of its squeezed or folded faces, which leaves that
        // vertex on the border of both parts, where the surface can open up.
        std::vector<int> labels;
        if (settings.shapedCharts && settings.strict && !uv.empty() && chart->GetTriangleCount() >= kCarveMinFaces) {
            std::vector<int> overlapping;
            _OverlapTest(*chart, uv, &overlapping);
            if (_CarveSpoiledPatches(*chart, uv, settings.maxFaceStretch, overlapping, kCarveMaxShare, labels)) {
                ReturnGroups(*chart, labels, region, subRegions);
                return STATUS_SUCCESS;
            }
        }
        const int apex = settings.shapedCharts && !uv.empty()
                             ? _WorstInnerVertex(*chart, uv, settings.maxFaceStretch, false)
                             : -1;
        if (apex >= 0 && _SplitThroughVertex(*chart, apex, labels)) {
            ReturnGroups(*chart, labels, region, subRegions);
            return STATUS_SUCCESS;
        }
        if (!uv.empty()) _OverlapTest(*chart, uv, nullptr);
        double start = Profiler::GetTime();
        std::unique_ptr<HalfMesh> half(CreateHalfMeshFromITriMesh(chart.get()));
        _AddSeconds(_AtlasStatistics().halfMeshSeconds, Profiler::GetTime() - start);
        if (!half) {
            _LogFailure("TryUnfoldSingleRegion: halfMesh create failed");
            return STATUS_FAILED;
        }
        int labelCount = 0;
        LabelHalves(*chart, *half, labels, labelCount);
        ReturnGroups(*chart, labels, region, subRegions);
        return STATUS_SUCCESS;
    }

    if (uv.empty()) {
        _LogDetail("Error: texCoords is empty");
        uv.assign(2 * static_cast<size_t>(chart->GetVertexCount()), 0.0);
    }
    int smallestFace = *std::min_element(region.begin(), region.end());
    ScopedLock lock(*work.mutex);
    const int chartIndex = static_cast<int>(work.charts->charts.size());
    work.charts->charts.push_back(std::move(chart));
    work.charts->texCoords.push_back(std::move(uv));
    work.charts->order.emplace_back(work.componentId, smallestFace);
    for (size_t i = 0; i < region.size(); ++i) (*work.placement)[region[i]] = {chartIndex, static_cast<int>(i)};
    return STATUS_SUCCESS;
}

}  // namespace ORVO
