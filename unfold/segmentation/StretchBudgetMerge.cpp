// Merging charts under a stretch budget (see StretchBudgetMerge.h).

#include "unfold/segmentation/StretchBudgetMerge.h"

#include <QarnUVAtlas/FillMeshHole.h>

#include "unfold/AtlasContext.h"
#include "unfold/flattening/ChartLayout.h"
#include "unfold/flattening/ChartStarts.h"
#include "unfold/flattening/SqueezeRelief.h"
#include "unfold/segmentation/ChartSlits.h"

#include <QarnUVAtlas/Threads.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <queue>
#include <unordered_map>
#include <utility>

namespace ORVO {
namespace {

// The chart of one region: its faces in the given order, a vertex per fan of
// region faces around each mesh vertex (as the cut along the region borders
// will leave it).
void BuildRegionChart(const MeshAdjacency& adj, const std::vector<Vector3>& coords, const std::vector<int>& faces,
                      TriMesh& chart, std::vector<int>& meshVertex) {
    const int n = static_cast<int>(faces.size());
    std::unordered_map<int, int> local;
    local.reserve(faces.size() * 2);
    for (int i = 0; i < n; ++i) local[faces[i]] = i;
    std::vector<int> parent(3 * static_cast<size_t>(n));
    for (size_t c = 0; c < parent.size(); ++c) parent[c] = static_cast<int>(c);
    auto find = [&](int x) {
        while (parent[x] != x) {
            parent[x] = parent[parent[x]];
            x = parent[x];
        }
        return x;
    };
    for (int i = 0; i < n; ++i) {
        const int f = faces[i];
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            if (g < 0 || g < f) continue;
            const auto found = local.find(g);
            if (found == local.end()) continue;
            const int j = found->second;
            const int* s = &adj.triangles[3 * static_cast<size_t>(g)];
            for (int c = 0; c < 3; ++c) {
                if (s[c] == t[k]) parent[find(3 * j + c)] = find(3 * i + k);
                if (s[c] == t[(k + 1) % 3]) parent[find(3 * j + c)] = find(3 * i + (k + 1) % 3);
            }
        }
    }
    chart.Clear();
    meshVertex.clear();
    std::vector<int> id(parent.size(), -1);
    std::vector<int> corners(3);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < 3; ++k) {
            const int r = find(3 * i + k);
            if (id[r] < 0) {
                const int v = adj.triangles[3 * static_cast<size_t>(faces[i]) + k];
                id[r] = chart.InsertVertex(coords[v]);
                meshVertex.push_back(v);
            }
            corners[k] = id[r];
        }
        chart.InsertTriangle(corners[0], corners[1], corners[2]);
    }
}

// Sum over the faces of 3-D area times squared L2 texture stretch (half the
// sum of the squared singular values of the map from the layout onto the
// face), for a layout whose area matches the surface's.
double StretchSum(const TriMesh& chart, const std::vector<double>& uv) {
    double sum = 0.0;
    for (int f = 0; f < chart.GetTriangleCount(); ++f) {
        double a, b, c;
        // A flipped face makes the layout invalid anyway.
        if (_FaceLayoutMetric(chart, uv, f, a, b, c) <= 0) continue;
        const int* t = chart.GetTriangle(f);
        const double area = TriangleArea(chart.GetVertexCoordRef(t[0]), chart.GetVertexCoordRef(t[1]),
                                         chart.GetVertexCoordRef(t[2]));
        sum += area * 0.5 * (a + c);
    }
    return sum;
}

// The total Gaussian curvature inside a chart: the angle defects of its
// inner vertices (a full sphere has 4 pi); `turn`: per vertex, the surface
// angle around it.
double InnerCurvature(const MeshAdjacency& adj, const std::vector<double>& turn) {
    const std::vector<char> boundary = adj.BoundaryVertices();
    double curvature = 0.0;
    for (int v = 0; v < adj.vertexCount; ++v)
        if (!boundary[v] && adj.FacesEnd(v) > adj.FacesBegin(v)) curvature += 2.0 * ORVO_PI - turn[v];
    return curvature;
}

struct Region {
    ChartShape shape;
    RegionLayout layout;
    std::vector<int> faces;
    unsigned version = 0;
    bool alive = true;
    // Regions this one (or a region it took in) could not be merged with.
    std::vector<int> refused;
};

struct Candidate {
    double cost;
    int a, b;
    unsigned versionA, versionB;
    bool operator>(const Candidate& o) const {
        if (cost != o.cost) return cost > o.cost;
        if (a != o.a) return a > o.a;
        return b > o.b;
    }
};

uint64_t PairKey(int a, int b) {
    return (static_cast<uint64_t>(std::min(a, b)) << 32) | static_cast<uint32_t>(std::max(a, b));
}

// More curvature inside a region than this (a sphere's and a quarter) is not
// worth a flattening. With its sharp tips slit open and its holes joined to
// its border, a region may hold more than three quarters of a sphere's and
// still lie flat within a budget: raising the limit from there let bunny,
// spot and tower_holes keep such unions; no limit at all gave the same charts
// on tower_holes, armadillo and bunny.
constexpr double kMostCurvature = 5.0 * 3.14159265358979323846;

// The largest chart a union may make.
constexpr size_t kMaxChartFaces = 150000;

// Unions tried at once (on as many threads as there are): a fixed number, so
// that the charts do not depend on the thread count.
constexpr int kBatchSize = 4;

struct SharedBorder {
    double length = 0.0;
    double crease = 0.0;
};

// A tip with less than this much surface around it cannot lie flat within the
// face limit: the faces round it would have to open to more than twice their
// angles. It is opened to the border before the region is flattened.
constexpr double kSharpTipTurn = 3.14159265358979323846;

// Per vertex of `cut` (a copy of `from` cut open, faces and corners in the same
// order), the mesh vertex it stands for, from the same for `from`.
std::vector<int> CutVertexOrigins(const TriMesh& from, const std::vector<int>& fromOrigin, const TriMesh& cut) {
    std::vector<int> origin(cut.GetVertexCount(), -1);
    for (int f = 0; f < cut.GetTriangleCount(); ++f) {
        const int* a = from.GetTriangle(f);
        const int* b = cut.GetTriangle(f);
        for (int k = 0; k < 3; ++k) origin[b[k]] = fromOrigin[a[k]];
    }
    return origin;
}

// A region's chart as the flattening takes it: the mesh (face i is the
// region's face i, corners in the mesh's order), its adjacency and boundary
// loops, and per vertex the mesh vertex it stands for.
struct CutChart {
    TriMesh mesh;
    MeshAdjacency adj;
    std::vector<std::vector<int>> holes;
    bool holesFound = false;
    std::vector<int> origin;

    // A copy of this chart cut open along `paths` (vertex ids of this chart).
    CutChart Cut(const std::vector<std::vector<int>>& paths) const {
        CutChart cut;
        _SlitChart(mesh, adj, paths, cut.mesh);
        cut.adj.Build(&cut.mesh);
        cut.holesFound = FillMeshHole::FindHoles(&cut.mesh, &cut.holes) == STATUS_SUCCESS;
        cut.origin = CutVertexOrigins(mesh, origin, cut.mesh);
        return cut;
    }
    // `path` (vertex ids of this chart) as mesh vertex ids.
    std::vector<int> MeshPath(std::vector<int> path) const {
        for (int& v : path) v = origin[v];
        return path;
    }
    // Per vertex, the sum of its corner angles, from the angles of the
    // region's faces' corners (`faces`: the region's faces, in order).
    std::vector<double> Turns(const std::vector<int>& faces, const std::vector<double>& cornerAngles) const {
        std::vector<double> turn(mesh.GetVertexCount(), 0.0);
        for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
            const int* t = mesh.GetTriangle(f);
            for (int k = 0; k < 3; ++k) turn[t[k]] += cornerAngles[3 * static_cast<size_t>(faces[f]) + k];
        }
        return turn;
    }
};

// Cuts `chart` open from each of its sharp tips (`turn`: per vertex, the
// surface angle around it) to its border or to an earlier cut, appending the
// cuts (mesh vertex ids) to `slits`.
void OpenSharpTips(CutChart& chart, const std::vector<double>& turn, std::vector<std::vector<int>>& slits) {
    const std::vector<char> boundary = chart.adj.BoundaryVertices();
    std::vector<int> tips;
    for (int v = 0; v < chart.adj.vertexCount; ++v)
        if (!boundary[v] && chart.adj.FacesEnd(v) > chart.adj.FacesBegin(v) && turn[v] < kSharpTipTurn)
            tips.push_back(v);
    if (tips.empty()) return;
    std::stable_sort(tips.begin(), tips.end(), [&](int a, int b) { return turn[a] < turn[b]; });
    const std::vector<std::vector<int>> paths = _SlitPaths(chart.mesh, chart.adj, tips);
    if (paths.empty()) return;
    for (const std::vector<int>& path : paths) slits.push_back(chart.MeshPath(path));
    chart = chart.Cut(paths);
}

// The layout of `chart` judged by the checks of the atlas; `uv` receives the
// last layout tried. The conformal start is tried first and the circle start
// when it fails; with `circleFirst` the circle start alone, unless the chart
// has none. `fromCircle` tells whether the circle start passed. Returns
// whether a layout passed, -1 when none could be made at all.
int JudgedLayout(const CutChart& cut, double area, const StretchBudget& budget, bool spareThread, bool circleFirst,
                 std::vector<double>& uv, bool& fromCircle) {
    const TriMesh& chart = cut.mesh;
    const double maxFaceStretch = budget.maxFaceStretch;
    auto valid = [&](const std::vector<double>& layout) {
        return !_HasFlippedTriangle(chart, layout) && !_BoundaryCrossesItself(cut.holes, layout) &&
               !_HasSqueezedTriangle(chart, layout, maxFaceStretch) &&
               (_WindsOnce(chart, layout, cut.holes) || !_OverlapTest(chart, layout, nullptr));
    };
    // A layout that fails only for a few squeezed faces is often sound once
    // they are relieved. Relief spends stretch around them: a relieved chart
    // is taken only while its own stretch stays within the budget, or it
    // would spend what the other unions need (under a tight budget that made
    // more charts, not fewer).
    const double allowedSum = budget.maxStretch * budget.maxStretch * area;
    auto relieved = [&](std::vector<double>& layout) {
        return _TakeRelievedLayout(
            chart, layout, maxFaceStretch,
            [&](const std::vector<double>& relief) { return valid(relief) && StretchSum(chart, relief) <= allowedSum; },
            &cut.adj);
    };
    // The thread beside would make the conformal start's system and the circle
    // start while this one makes the conformal start: of no use to the circle alone.
    ChartStarts starts(chart, cut.holes, cut.holesFound, &cut.adj, true, spareThread && !circleFirst);
    // The circle start: 1 when it passed, 0 when not, -1 when there is none.
    // A union of charts that each lie flat often spreads so wide that distant
    // parts of its outline meet, though no face of it folds or is squeezed;
    // settled again without ever crossing, it lies flat.
    auto circle = [&](std::vector<double>& layout) {
        return starts.JudgedCircle(layout, maxFaceStretch,
                                   [&](std::vector<double>& l) { return valid(l) || relieved(l); });
    };
    fromCircle = false;
    if (circleFirst) {
        const int judged = circle(uv);
        fromCircle = judged > 0;
        if (judged >= 0) return judged;
    }
    int isometricStatus = STATUS_SUCCESS;
    if (!starts.Conformal(uv, isometricStatus)) return -1;
    if (valid(uv) || relieved(uv)) return 1;
    // A conformal start that folds is often set right by one that cannot.
    std::vector<double> layout;
    if (circle(layout) <= 0) return 0;
    uv.swap(layout);
    fromCircle = true;
    return 1;
}

}  // namespace

std::vector<double> _CornerAngles(const MeshAdjacency& adj, const std::vector<Vector3>& coords) {
    std::vector<double> angles(3 * static_cast<size_t>(adj.faceCount), 0.0);
    for (int f = 0; f < adj.faceCount; ++f) {
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            const Vector3 a = coords[t[(k + 1) % 3]] - coords[t[k]], b = coords[t[(k + 2) % 3]] - coords[t[k]];
            const double la = a.Length(), lb = b.Length();
            if (la > 0.0 && lb > 0.0)
                angles[3 * static_cast<size_t>(f) + k] = std::acos(std::max(-1.0, std::min(1.0, (a * b) / (la * lb))));
        }
    }
    return angles;
}

RegionLayout _FlattenRegion(const MeshAdjacency& adj, const std::vector<Vector3>& coords,
                            const std::vector<double>& cornerAngles, const std::vector<int>& faces,
                            const StretchBudget& budget, bool spareThread, bool circleFirst) {
    RegionLayout result;
    CutChart chart;
    {
        TriMesh region;
        std::vector<int> meshVertex;
        BuildRegionChart(adj, coords, faces, region, meshVertex);
        MeshAdjacency regionAdj;
        regionAdj.Build(&region);
        // A region around a hole (of the mesh, or a chart it surrounds) is cut
        // open from hole to hole first; one with a handle or without boundary
        // cannot be flattened.
        std::vector<std::vector<int>> loops, cuts;
        if (!_JoinBoundaryLoops(region, regionAdj, loops, cuts)) return result;
        chart.mesh = std::move(region);
        chart.adj = std::move(regionAdj);
        chart.origin.swap(meshVertex);
        if (cuts.empty()) {
            // An uncut region's loops are the chart's.
            chart.holes.swap(loops);
            chart.holesFound = true;
        } else {
            for (const std::vector<int>& cut : cuts) result.slits.push_back(chart.MeshPath(cut));
            chart = chart.Cut(cuts);
        }
    }
    std::vector<double> turn = chart.Turns(faces, cornerAngles);
    const size_t cutsBefore = result.slits.size();
    OpenSharpTips(chart, turn, result.slits);
    if (result.slits.size() != cutsBefore) turn = chart.Turns(faces, cornerAngles);
    // More than a closed surface, however it is cut, cannot lie flat without
    // crushing faces: not worth a flattening.
    if (InnerCurvature(chart.adj, turn) > kMostCurvature) return result;
    result.area = _ChartSurfaceArea(chart.mesh);
    std::vector<double> uv;
    const int judged = JudgedLayout(chart, result.area, budget, spareThread, circleFirst, uv, result.fromCircle);
    if (judged < 0) return result;
    result.valid = judged > 0;
    const TriMesh& laid = chart.mesh;
    result.stretchSum = StretchSum(laid, uv);
    result.cornerUv.resize(6 * faces.size());
    for (int f = 0; f < laid.GetTriangleCount(); ++f) {
        const int* t = laid.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            result.cornerUv[6 * static_cast<size_t>(f) + 2 * k] = uv[2 * t[k]];
            result.cornerUv[6 * static_cast<size_t>(f) + 2 * k + 1] = uv[2 * t[k] + 1];
        }
    }
    return result;
}

namespace {

// One union being tried: the pair, its faces and, once flattened, its layout.
struct Trial {
    Candidate candidate;
    std::vector<int> faces;
    RegionLayout layout;
    bool spareThread = false;  // may start a thread of its own (see _FlattenRegion)
    bool circleFirst = false;  // flattened from the circle start alone (see _FlattenRegion)
};

class TrialTask : public TaskBase {
public:
    TrialTask(const MeshAdjacency& adj, const std::vector<Vector3>& coords, const std::vector<double>& cornerAngles,
              const StretchBudget& budget, Trial& trial)
        : TaskBase(TASK_TYPE_WORK), mAdj(adj), mCoords(coords), mCornerAngles(cornerAngles), mBudget(budget),
          mTrial(trial) {}
    int Run() override {
        mTrial.layout = _FlattenRegion(mAdj, mCoords, mCornerAngles, mTrial.faces, mBudget, mTrial.spareThread,
                                       mTrial.circleFirst);
        return STATUS_SUCCESS;
    }

private:
    const MeshAdjacency& mAdj;
    const std::vector<Vector3>& mCoords;
    const std::vector<double>& mCornerAngles;
    const StretchBudget& mBudget;
    Trial& mTrial;
};

class BudgetMerger {
public:
    BudgetMerger(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                 const StretchBudget& budget, int regionCount, std::vector<int>& labels)
        : mAdj(adj), mCoords(coords),
          mOwnAngles(budget.cornerAngles ? std::vector<double>() : _CornerAngles(adj, coords)),
          mCornerAngles(budget.cornerAngles ? *budget.cornerAngles : mOwnAngles), mBudget(budget),
          mLabels(labels),
          mRegions(regionCount),
          mNeighbours(regionCount), mOwner(regionCount), mBusy(regionCount, 0) {
        for (int f = 0; f < adj.faceCount; ++f) {
            Region& r = mRegions[labels[f]];
            r.faces.push_back(f);
            r.shape.area += geo.weight[f];
            r.shape.normal += geo.normal[f] * geo.weight[f];
            const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
            for (int k = 0; k < 3; ++k) {
                const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
                if (g < 0 || labels[g] == labels[f]) continue;
                const double length = (coords[t[(k + 1) % 3]] - coords[t[k]]).Length();
                r.shape.perimeter += length;
                if (g < f) continue;
                SharedBorder& b = mBorders[PairKey(labels[f], labels[g])];
                b.length += length;
                if (geo.normal[f] * geo.normal[g] < budget.limits.creaseCosine) b.crease += length;
            }
        }
        for (const auto& [key, border] : mBorders) {
            const int a = static_cast<int>(key >> 32), b = static_cast<int>(key & 0xFFFFFFFFu);
            mNeighbours[a].push_back(b);
            mNeighbours[b].push_back(a);
        }
        for (int r = 0; r < regionCount; ++r) mOwner[r] = r;
        int threads = budget.threadCount > 0 ? budget.threadCount
                                             : static_cast<int>(std::ceil(0.66 * GetProcessorCount()));
        threads = std::max(1, std::min(threads, kBatchSize));
        if (threads > 1) {
            mPool = std::make_unique<ThreadPool>();
            mThreads = mPool->Init(threads);
            if (mThreads < 2) mPool.reset();
        }
    }

    int Run(std::vector<double>& cornerUv, std::vector<std::vector<int>>& slits) {
        // The regions given are nearly flat: until a union is flattened, each
        // counts as flattened without stretch and as valid (most are merged,
        // and the atlas checks and flattens those that are not).
        for (Region& r : mRegions) {
            r.layout.valid = true;
            r.layout.area = r.shape.area;
            r.layout.stretchSum = r.shape.area;
            mTotalArea += r.shape.area;
        }
        mTotalStretch = mTotalArea;
        mMeanArea = mTotalArea / std::max<size_t>(1, mRegions.size());
        mAllowed = mBudget.maxStretch * mBudget.maxStretch * mTotalArea;
        for (int a = 0; a < static_cast<int>(mRegions.size()); ++a)
            for (int b : mNeighbours[a])
                if (a < b) Push(a, b);

        int count = static_cast<int>(mRegions.size());
        std::vector<Trial> batch;
        std::vector<Trial> alone;  // seeds to flatten on their own after the batch
        std::vector<Candidate> deferred;
        while (!mQueue.empty()) {
            // A stopped call leaves the regions as they stand; the caller
            // sees the stop and keeps nothing of them.
            if (_AtlasCancelRequested()) break;
            // The next few mergeable pairs that share no region are tried together.
            batch.clear();
            deferred.clear();
            while (static_cast<int>(batch.size()) < kBatchSize && !mQueue.empty()) {
                const Candidate c = mQueue.top();
                mQueue.pop();
                if (!Current(c)) continue;
                if (mBusy[c.a] || mBusy[c.b]) {
                    deferred.push_back(c);
                    continue;
                }
                batch.push_back(StartTrial(c));
            }
            // When every pair left shares a region with the one being tried
            // (the last, largest unions), the next of them is tried beside it.
            // Most such unions are refused, and then its result stands; if
            // the first is taken, it is stale and dropped, as it would have
            // been had it waited.
            if (batch.size() == 1 && !deferred.empty()) {
                batch.push_back(StartTrial(deferred.front()));
                deferred.erase(deferred.begin());
            }
            Flatten(batch);
            for (Trial& trial : batch) {
                const Candidate& c = trial.candidate;
                mBusy[c.a] = mBusy[c.b] = 0;
                if (!Current(c)) continue;
                Region& ra = mRegions[c.a];
                Region& rb = mRegions[c.b];
                const double stretch =
                    mTotalStretch - ra.layout.stretchSum - rb.layout.stretchSum + trial.layout.stretchSum;
                if (trial.layout.valid && stretch <= mAllowed) {
                    Merge(c.a, c.b, trial);
                    --count;
                } else {
                    Refuse(c.a, c.b);
                    if (!trial.layout.valid) {
                        QueueAlone(c.a, alone);
                        QueueAlone(c.b, alone);
                    }
                }
            }
            FlattenAlone(alone);
            for (const Candidate& c : deferred) mQueue.push(c);
        }
        cornerUv.assign(6 * static_cast<size_t>(mAdj.faceCount), 0.0);
        slits.clear();
        for (const Region& r : mRegions) {
            if (!r.alive) continue;
            slits.insert(slits.end(), r.layout.slits.begin(), r.layout.slits.end());
            if (r.layout.cornerUv.size() != 6 * r.faces.size()) continue;
            for (size_t i = 0; i < r.faces.size(); ++i)
                std::copy_n(&r.layout.cornerUv[6 * i], 6, &cornerUv[6 * static_cast<size_t>(r.faces[i])]);
        }
        std::vector<int> id(mRegions.size(), -1);
        int next = 0;
        for (int f = 0; f < mAdj.faceCount; ++f) {
            if (id[mLabels[f]] < 0) id[mLabels[f]] = next++;
            mLabels[f] = id[mLabels[f]];
        }
        return count;
    }

private:
    void Push(int a, int b) {
        const SharedBorder& border = mBorders[PairKey(a, b)];
        double cost =
            _ChartMergeCost(mRegions[a].shape, mRegions[b].shape, border.length, border.crease, mBudget.limits);
        if (cost < 0.0) return;
        // Larger unions wait a little longer: every accepted union is flattened
        // whole, so merging like with like flattens each face fewer times.
        cost *= std::sqrt((mRegions[a].shape.area + mRegions[b].shape.area) / mMeanArea);
        mQueue.push({cost, a, b, mRegions[a].version, mRegions[b].version});
    }

    int Owner(int r) {
        while (mOwner[r] != r) {
            mOwner[r] = mOwner[mOwner[r]];
            r = mOwner[r];
        }
        return r;
    }

    // Whether the queued pair still stands and is worth a flattening.
    bool Current(const Candidate& c) {
        const Region& ra = mRegions[c.a];
        const Region& rb = mRegions[c.b];
        if (!ra.alive || !rb.alive || ra.version != c.versionA || rb.version != c.versionB) return false;
        if (!ra.layout.valid || !rb.layout.valid) return false;
        // Flattening time grows faster than the chart: a million-face scan
        // would otherwise spend minutes on its last few unions.
        if (ra.faces.size() + rb.faces.size() > kMaxChartFaces) return false;
        // A union that failed does not get better when either side grows: a
        // pair refused once, in any earlier form, is not tried again.
        for (int r : ra.refused)
            if (Owner(r) == c.b) return false;
        for (int r : rb.refused)
            if (Owner(r) == c.a) return false;
        return true;
    }

    // The union of a pair, ready to be flattened; its regions are busy
    // until the batch is done.
    Trial StartTrial(const Candidate& c) {
        const Region& ra = mRegions[c.a];
        const Region& rb = mRegions[c.b];
        Trial trial;
        trial.candidate = c;
        trial.faces = ra.faces;
        trial.faces.insert(trial.faces.end(), rb.faces.begin(), rb.faces.end());
        // A region that only the circle start laid flat spoils the conformal
        // start of its unions as well: on the scans those of more than 5,000
        // faces passed with it in 3 trials of 65.
        trial.circleFirst = ra.layout.fromCircle || rb.layout.fromCircle;
        mBusy[c.a] = mBusy[c.b] = 1;
        return trial;
    }

    // A union that folds may fold because one side does on its own: a seed
    // still counted as flat is then flattened alone, so that a seed that
    // cannot lie flat is not tried again with each of its neighbours (each
    // such trial would flatten the seed and fail).
    void QueueAlone(int r, std::vector<Trial>& alone) {
        const Region& region = mRegions[r];
        // A layout made for the region (by a union, or on its own) is invalid or
        // has coordinates; the assumed one is valid and has none.
        const bool flattened = !region.layout.valid || !region.layout.cornerUv.empty();
        if (flattened || !region.alive) return;
        for (const Trial& queued : alone)
            if (queued.candidate.a == r) return;
        Trial trial;
        trial.candidate = {0.0, r, r, region.version, region.version};
        trial.faces = region.faces;
        alone.push_back(std::move(trial));
    }

    void FlattenAlone(std::vector<Trial>& alone) {
        if (alone.empty()) return;
        Flatten(alone);
        for (Trial& trial : alone) {
            Region& r = mRegions[trial.candidate.a];
            // Merged since it was queued (by a union tried beside the refused one).
            if (!r.alive || r.version != trial.candidate.versionA) continue;
            if (trial.layout.valid) {
                // Its real stretch replaces the assumed one; the layout is handed
                // on if it stays as it is.
                mTotalStretch += trial.layout.stretchSum - r.layout.stretchSum;
                r.layout = std::move(trial.layout);
            } else {
                r.layout.valid = false;
            }
        }
        alone.clear();
    }

    void Refuse(int a, int b) {
        mRegions[a].refused.push_back(b);
        mRegions[b].refused.push_back(a);
    }

    void Flatten(std::vector<Trial>& trials) {
        // Large unions take a second thread where the batch leaves threads
        // idle, the largest first, one each. In a full batch the threads are
        // busy already, and the circle start made beside a union that needs
        // none would only slow the others.
        std::vector<Trial*> bySize;
        for (Trial& t : trials) bySize.push_back(&t);
        std::stable_sort(bySize.begin(), bySize.end(),
                         [](const Trial* a, const Trial* b) { return a->faces.size() > b->faces.size(); });
        int spare = mPool ? mThreads - static_cast<int>(trials.size()) : 0;
        for (Trial* t : bySize) {
            t->spareThread = spare > 0 && t->faces.size() >= kSpareThreadFaces;
            spare -= t->spareThread ? 1 : 0;
        }
        if (!mPool || trials.size() < 2) {
            for (Trial& t : trials)
                t.layout = _FlattenRegion(mAdj, mCoords, mCornerAngles, t.faces, mBudget, t.spareThread, t.circleFirst);
            return;
        }
        for (Trial& t : trials) {
            auto task = std::make_unique<TrialTask>(mAdj, mCoords, mCornerAngles, mBudget, t);
            if (mPool->InsertTask(task.get()) == STATUS_SUCCESS) {
                task.release();
            } else {
                task->Run();
            }
        }
        mPool->WaitUntilAllDone();
    }

    void Merge(int a, int b, Trial& trial) {
        Region& ra = mRegions[a];
        Region& rb = mRegions[b];
        mTotalStretch += trial.layout.stretchSum - ra.layout.stretchSum - rb.layout.stretchSum;
        const SharedBorder joint = mBorders[PairKey(a, b)];
        for (int f : rb.faces) mLabels[f] = a;
        ra.faces.swap(trial.faces);
        ra.layout = trial.layout;
        ra.shape.area += rb.shape.area;
        ra.shape.normal += rb.shape.normal;
        ra.shape.perimeter += rb.shape.perimeter - 2.0 * joint.length;
        ++ra.version;
        rb.alive = false;
        mOwner[b] = a;
        ra.refused.insert(ra.refused.end(), rb.refused.begin(), rb.refused.end());
        std::vector<int>().swap(rb.refused);
        std::vector<int>().swap(rb.faces);
        mBorders.erase(PairKey(a, b));
        // b's borders become a's.
        for (int n : mNeighbours[b]) {
            if (n == a || !mRegions[n].alive) continue;
            const auto found = mBorders.find(PairKey(b, n));
            if (found == mBorders.end()) continue;
            const SharedBorder moved = found->second;
            mBorders.erase(found);
            SharedBorder& target = mBorders[PairKey(a, n)];
            if (target.length == 0.0) {
                mNeighbours[a].push_back(n);
                mNeighbours[n].push_back(a);
            }
            target.length += moved.length;
            target.crease += moved.crease;
        }
        std::vector<int>& list = mNeighbours[a];
        std::sort(list.begin(), list.end());
        list.erase(std::unique(list.begin(), list.end()), list.end());
        for (int n : list) {
            if (n != a && mRegions[n].alive && mBorders.count(PairKey(a, n))) Push(a, n);
        }
    }

    const MeshAdjacency& mAdj;
    const std::vector<Vector3>& mCoords;
    const std::vector<double> mOwnAngles;  // when the caller had none
    const std::vector<double>& mCornerAngles;  // per face corner, its angle on the surface
    const StretchBudget& mBudget;
    std::vector<int>& mLabels;
    std::vector<Region> mRegions;
    std::unordered_map<uint64_t, SharedBorder> mBorders;
    std::vector<std::vector<int>> mNeighbours;
    std::vector<int> mOwner;  // which region took in each region (itself while it lives)
    std::vector<char> mBusy;  // in the batch being flattened
    std::priority_queue<Candidate, std::vector<Candidate>, std::greater<Candidate>> mQueue;
    std::unique_ptr<ThreadPool> mPool;
    int mThreads = 1;
    double mTotalArea = 0.0, mTotalStretch = 0.0, mAllowed = 0.0, mMeanArea = 1.0;
};

}  // namespace

int _MergeWithinStretchBudget(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                              const StretchBudget& budget, int regionCount, std::vector<int>& labels,
                              std::vector<double>& cornerUv, std::vector<std::vector<int>>& slits) {
    BudgetMerger merger(adj, geo, coords, budget, regionCount, labels);
    return merger.Run(cornerUv, slits);
}

}  // namespace ORVO
