// Bounding-volume hierarchy over a mesh's triangles. Built top-down with a
// binned surface-area heuristic on the widest centroid axis; nodes live in one
// flat array with the two children of an inner node side by side, and leaves
// refer to a contiguous run of triangles reordered into leaf order. Queries
// walk the tree with an explicit stack, nearer child first.

#include <QarnUVAtlas/MeshQuery.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace ORVO {

namespace {

constexpr int kBinCount = 16;
constexpr int kMaxLeafSize = 8;         // leaves never exceed this unless centroids coincide
constexpr int kMinLeafSize = 2;         // always a leaf at or below this size
constexpr float kTraversalCost = 1.0f;  // relative to one triangle test

// Single-precision bounds halve the memory the builder streams through and
// the size of a node. They are rounded outwards, so a box always contains its
// triangles and the pruning distances stay lower bounds of the true ones;
// the triangle tests themselves run in double precision.
float RoundDown(double x) {
    float f = static_cast<float>(x);
    if (static_cast<double>(f) > x) f = std::nextafter(f, -std::numeric_limits<float>::infinity());
    return f;
}
float RoundUp(double x) {
    float f = static_cast<float>(x);
    if (static_cast<double>(f) < x) f = std::nextafter(f, std::numeric_limits<float>::infinity());
    return f;
}

struct Box {
    float lo[3];
    float hi[3];

    void Reset() {
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::numeric_limits<float>::infinity();
            hi[k] = -std::numeric_limits<float>::infinity();
        }
    }
    void Grow(const Box& b) {
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], b.lo[k]);
            hi[k] = std::max(hi[k], b.hi[k]);
        }
    }
    void Grow(const float* p) {
        for (int k = 0; k < 3; ++k) {
            lo[k] = std::min(lo[k], p[k]);
            hi[k] = std::max(hi[k], p[k]);
        }
    }
    // Half the surface area; only ratios matter to the heuristic.
    float HalfArea() const {
        const float dx = hi[0] - lo[0], dy = hi[1] - lo[1], dz = hi[2] - lo[2];
        if (!(dx >= 0.0f)) return 0.0f;
        return dx * dy + dy * dz + dz * dx;
    }
    // Squared distance from p to the box (0 inside).
    double DistanceSquared(const double* p) const {
        double d2 = 0.0;
        for (int k = 0; k < 3; ++k) {
            double d = 0.0;
            if (p[k] < lo[k]) d = lo[k] - p[k];
            else if (p[k] > hi[k]) d = p[k] - hi[k];
            d2 += d * d;
        }
        return d2;
    }
};

// count > 0: leaf over triangle slots [first, first + count).
// count == 0: inner node whose children are nodes first and first + 1.
struct Node {
    Box box;
    int32_t first;
    int32_t count;
};

// One triangle as the builder sees it; partitioned in place, so each level
// of the build reads memory sequentially.
struct PrimRef {
    Box box;
    int32_t id;
    float Centroid(int axis) const { return 0.5f * (box.lo[axis] + box.hi[axis]); }
    void Centroid(float* c) const {
        for (int k = 0; k < 3; ++k) c[k] = Centroid(k);
    }
};

struct Bin {
    Box box;        // union of the triangles' boxes
    Box centroids;  // box of their centroids
    int count;
};

struct BuildItem {
    int node;
    int begin;
    int end;
    Box centroids;
};

// Stack with room for typical depths on the call stack and a heap fallback
// for degenerate trees.
template <typename T>
class TraversalStack {
public:
    void Push(const T& v) {
        if (mSize < kInline) {
            mInline[mSize++] = v;
        } else {
            mOverflow.push_back(v);
            ++mSize;
        }
    }
    bool Empty() const { return mSize == 0; }
    T Pop() {
        --mSize;
        if (mSize >= kInline) {
            T v = mOverflow.back();
            mOverflow.pop_back();
            return v;
        }
        return mInline[mSize];
    }

private:
    static constexpr size_t kInline = 96;
    T mInline[kInline];
    size_t mSize = 0;
    std::vector<T> mOverflow;
};

// Visits the tree's leaves nearest first. `boxKey(box, key)` returns false when the box
// cannot hold anything within `bound`, else writes its nearest key; `visit(slot)` tests
// one triangle and may lower `bound` (the caller's best so far).
template <typename Tree, typename BoxKey, typename Visit>
void NearestFirst(const Tree& tree, const double& bound, BoxKey&& boxKey, Visit&& visit) {
    struct Entry {
        int node;
        double key;
    };
    TraversalStack<Entry> stack;
    double rootKey = 0.0;
    if (boxKey(tree.nodes[0].box, rootKey)) stack.Push(Entry{0, rootKey});
    while (!stack.Empty()) {
        Entry e = stack.Pop();
        if (e.key > bound) continue;
        for (;;) {
            const auto& node = tree.nodes[e.node];
            if (node.count > 0) {
                for (int s = node.first; s < node.first + node.count; ++s) visit(s);
                break;
            }
            const int l = node.first, r = node.first + 1;
            double kl = 0.0, kr = 0.0;
            const bool inL = boxKey(tree.nodes[l].box, kl);
            const bool inR = boxKey(tree.nodes[r].box, kr);
            if (inL && inR) {
                const bool leftFirst = kl <= kr;
                stack.Push(Entry{leftFirst ? r : l, leftFirst ? kr : kl});
                e.node = leftFirst ? l : r;
            } else if (inL) {
                e.node = l;
            } else if (inR) {
                e.node = r;
            } else {
                break;
            }
        }
    }
}

Vector3 ClosestPointOnSegment(const Vector3& p, const Vector3& a, const Vector3& b) {
    const Vector3 ab = b - a;
    const double len2 = ab * ab;
    if (!(len2 > 0.0)) return a;
    double t = ((p - a) * ab) / len2;
    t = std::min(1.0, std::max(0.0, t));
    return a + ab * t;
}

// Möller-Trumbore test, both faces. Writes t and returns true on a hit with t >= 0.
bool IntersectRayTriangle(const Vector3& o, const Vector3& d, const Vector3& a, const Vector3& b,
                          const Vector3& c, double* t) {
    const Vector3 e1 = b - a;
    const Vector3 e2 = c - a;
    const Vector3 pv = d.CrossProduct(e2);
    const double det = e1 * pv;
    if (det == 0.0 || !std::isfinite(det)) return false;
    const double inv = 1.0 / det;
    const Vector3 tv = o - a;
    const double u = (tv * pv) * inv;
    if (u < 0.0 || u > 1.0) return false;
    const Vector3 qv = tv.CrossProduct(e1);
    const double v = (d * qv) * inv;
    if (v < 0.0 || u + v > 1.0) return false;
    const double tt = (e2 * qv) * inv;
    if (!(tt >= 0.0)) return false;
    *t = tt;
    return true;
}

// Where the ray enters the box, clipped to [0, tMax]; false when it misses.
bool RayBoxInterval(const double* o, const double* d, const double* inv, const Box& box,
                    double tMax, double* tNear) {
    double t0 = 0.0, t1 = tMax;
    for (int k = 0; k < 3; ++k) {
        if (d[k] == 0.0) {
            if (o[k] < box.lo[k] || o[k] > box.hi[k]) return false;
            continue;
        }
        double ta = (box.lo[k] - o[k]) * inv[k];
        double tb = (box.hi[k] - o[k]) * inv[k];
        if (ta > tb) std::swap(ta, tb);
        t0 = std::max(t0, ta);
        t1 = std::min(t1, tb);
        if (t0 > t1) return false;
    }
    *tNear = t0;
    return true;
}

}  // namespace

Vector3 ClosestPointOnTriangle(const Vector3& p, const Vector3& a, const Vector3& b,
                               const Vector3& c) {
    const Vector3 ab = b - a;
    const Vector3 ac = c - a;
    const double ab2 = ab * ab;
    const double ac2 = ac * ac;
    const double cross2 = ab.CrossProduct(ac).LengthSquared();
    // Zero-area (or nearly so) triangles: the surface is the union of the sides,
    // and the region tests below would divide by zero.
    if (!(cross2 > 1e-24 * ab2 * ac2) || !(cross2 > 0.0)) {
        Vector3 best = ClosestPointOnSegment(p, a, b);
        double bestD2 = p.DistanceSquared(best);
        for (const Vector3& q : {ClosestPointOnSegment(p, b, c), ClosestPointOnSegment(p, c, a)}) {
            const double d2 = p.DistanceSquared(q);
            if (d2 < bestD2) {
                bestD2 = d2;
                best = q;
            }
        }
        return best;
    }

    // Locate p among the seven Voronoi regions of the triangle (three corners,
    // three sides, the face) with dot products relative to each corner.
    const Vector3 ap = p - a;
    const double d1 = ab * ap;
    const double d2 = ac * ap;
    if (d1 <= 0.0 && d2 <= 0.0) return a;

    const Vector3 bp = p - b;
    const double d3 = ab * bp;
    const double d4 = ac * bp;
    if (d3 >= 0.0 && d4 <= d3) return b;

    const double vc = d1 * d4 - d3 * d2;
    if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0) return a + ab * (d1 / (d1 - d3));

    const Vector3 cp = p - c;
    const double d5 = ab * cp;
    const double d6 = ac * cp;
    if (d6 >= 0.0 && d5 <= d6) return c;

    const double vb = d5 * d2 - d1 * d6;
    if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0) return a + ac * (d2 / (d2 - d6));

    const double va = d3 * d6 - d5 * d4;
    const double onBc = d4 - d3;
    const double onCb = d5 - d6;
    if (va <= 0.0 && onBc >= 0.0 && onCb >= 0.0) return b + (c - b) * (onBc / (onBc + onCb));

    const double sum = va + vb + vc;
    if (!(sum > 0.0)) return ClosestPointOnSegment(p, b, c);
    const double v = vb / sum;
    const double w = vc / sum;
    return a + ab * v + ac * w;
}

struct MeshQueryTool::Impl {
    std::vector<Node> nodes;
    std::vector<Vector3> vertices;
    std::vector<int32_t> slotTriangle;  // slot -> original triangle id
    std::vector<int32_t> slotCorners;   // three vertex ids per slot
    int triangleCount = 0;

    void Corners(int slot, Vector3* a, Vector3* b, Vector3* c) const {
        const int32_t* t = &slotCorners[3 * static_cast<size_t>(slot)];
        *a = vertices[t[0]];
        *b = vertices[t[1]];
        *c = vertices[t[2]];
    }

    // Builds the nodes over prims, which it reorders into leaf order.
    void BuildTree(std::vector<PrimRef>& prims);
};

namespace {

// Bounds of prims[begin, end) and of their centroids.
void MeasureRange(const std::vector<PrimRef>& prims, int begin, int end, Box* box, Box* centroids) {
    box->Reset();
    centroids->Reset();
    for (int i = begin; i < end; ++i) {
        float c[3];
        prims[i].Centroid(c);
        box->Grow(prims[i].box);
        centroids->Grow(c);
    }
}

}  // namespace

void MeshQueryTool::Impl::BuildTree(std::vector<PrimRef>& prims) {
    const int n = static_cast<int>(prims.size());
    Box rootBox, rootCentroids;
    MeasureRange(prims, 0, n, &rootBox, &rootCentroids);

    nodes.clear();
    nodes.reserve(static_cast<size_t>(2 * (n / kMinLeafSize) + 1));
    nodes.push_back(Node{rootBox, 0, 0});

    std::vector<BuildItem> work;
    work.push_back(BuildItem{0, 0, n, rootCentroids});
    Bin bins[kBinCount];
    Box leftBoxes[kBinCount], leftCentroids[kBinCount];
    float leftAreas[kBinCount];
    int leftCounts[kBinCount];

    while (!work.empty()) {
        const BuildItem item = work.back();
        work.pop_back();
        const int count = item.end - item.begin;
        const Box nodeBox = nodes[item.node].box;
        auto makeLeaf = [&]() {
            nodes[item.node].first = item.begin;
            nodes[item.node].count = count;
        };
        if (count <= kMinLeafSize) {
            makeLeaf();
            continue;
        }

        int axis = 0;
        float extent = item.centroids.hi[0] - item.centroids.lo[0];
        for (int k = 1; k < 3; ++k) {
            const float e = item.centroids.hi[k] - item.centroids.lo[k];
            if (e > extent) {
                extent = e;
                axis = k;
            }
        }

        int mid = -1;
        bool boundsFromBins = false;
        Box childBox[2], childCentroids[2];
        if (!(extent > 0.0f)) {
            // All centroids coincide: no spatial split exists. Small groups
            // stay together; large ones are halved by position so that
            // leaves stay bounded.
            if (count <= kMaxLeafSize) {
                makeLeaf();
                continue;
            }
            mid = item.begin + count / 2;
        } else {
            const float lo = item.centroids.lo[axis];
            const float scale = kBinCount / extent;
            auto binOf = [&](const PrimRef& prim) {
                const float t = (prim.Centroid(axis) - lo) * scale;
                // Written so that a NaN lands in bin 0 instead of an undefined cast.
                if (!(t > 0.0f)) return 0;
                return t < static_cast<float>(kBinCount) ? std::min(kBinCount - 1, static_cast<int>(t))
                                                         : kBinCount - 1;
            };
            for (Bin& bin : bins) {
                bin.box.Reset();
                bin.centroids.Reset();
                bin.count = 0;
            }
            for (int i = item.begin; i < item.end; ++i) {
                const PrimRef& prim = prims[i];
                Bin& bin = bins[binOf(prim)];
                float c[3];
                prim.Centroid(c);
                bin.box.Grow(prim.box);
                bin.centroids.Grow(c);
                ++bin.count;
            }

            // Prefix unions from the left; the suffix is swept from the right.
            Box acc, accC;
            acc.Reset();
            accC.Reset();
            int accCount = 0;
            for (int b = 0; b < kBinCount; ++b) {
                acc.Grow(bins[b].box);
                accC.Grow(bins[b].centroids);
                accCount += bins[b].count;
                leftBoxes[b] = acc;
                leftCentroids[b] = accC;
                leftAreas[b] = acc.HalfArea();
                leftCounts[b] = accCount;
            }
            float bestCost = std::numeric_limits<float>::infinity();
            int bestSplit = -1;  // split after this bin
            Box right, rightC, bestRight, bestRightC;
            right.Reset();
            rightC.Reset();
            bestRight.Reset();
            bestRightC.Reset();
            int rightCount = 0;
            for (int b = kBinCount - 1; b >= 1; --b) {
                right.Grow(bins[b].box);
                rightC.Grow(bins[b].centroids);
                rightCount += bins[b].count;
                const int leftCount = leftCounts[b - 1];
                if (leftCount == 0 || rightCount == 0) continue;
                const float cost = leftAreas[b - 1] * leftCount + right.HalfArea() * rightCount;
                if (cost < bestCost) {
                    bestCost = cost;
                    bestSplit = b - 1;
                    bestRight = right;
                    bestRightC = rightC;
                }
            }

            const float nodeArea = nodeBox.HalfArea();
            if (bestSplit < 0) {
                // Only reachable through rounding or NaN coordinates: the
                // extreme centroids normally fall in the first and last bins.
                if (count <= kMaxLeafSize) {
                    makeLeaf();
                    continue;
                }
                mid = item.begin + count / 2;
            } else if (count <= kMaxLeafSize &&
                       bestCost + kTraversalCost * nodeArea >= nodeArea * static_cast<float>(count)) {
                makeLeaf();
                continue;
            } else {
                PrimRef* first = prims.data() + item.begin;
                PrimRef* last = prims.data() + item.end;
                PrimRef* split =
                    std::partition(first, last, [&](const PrimRef& prim) { return binOf(prim) <= bestSplit; });
                mid = static_cast<int>(split - prims.data());
                childBox[0] = leftBoxes[bestSplit];
                childCentroids[0] = leftCentroids[bestSplit];
                childBox[1] = bestRight;
                childCentroids[1] = bestRightC;
                boundsFromBins = true;
            }
        }
        if (!boundsFromBins) {
            MeasureRange(prims, item.begin, mid, &childBox[0], &childCentroids[0]);
            MeasureRange(prims, mid, item.end, &childBox[1], &childCentroids[1]);
        }

        const int left = static_cast<int>(nodes.size());
        nodes[item.node].first = left;
        nodes[item.node].count = 0;
        nodes.push_back(Node{childBox[0], 0, 0});
        nodes.push_back(Node{childBox[1], 0, 0});
        work.push_back(BuildItem{left + 1, mid, item.end, childCentroids[1]});
        work.push_back(BuildItem{left, item.begin, mid, childCentroids[0]});
    }
}

MeshQueryTool::MeshQueryTool() {}

MeshQueryTool::~MeshQueryTool() {}

MeshQueryTool::MeshQueryTool(MeshQueryTool&& other) noexcept : mpImpl(std::move(other.mpImpl)) {}

MeshQueryTool& MeshQueryTool::operator=(MeshQueryTool&& other) noexcept {
    mpImpl = std::move(other.mpImpl);
    return *this;
}

void MeshQueryTool::Clear() { mpImpl.reset(); }

bool MeshQueryTool::IsBuilt() const { return mpImpl != nullptr; }

int MeshQueryTool::GetTriangleCount() const { return mpImpl ? mpImpl->triangleCount : 0; }

int MeshQueryTool::GetVertexCount() const {
    return mpImpl ? static_cast<int>(mpImpl->vertices.size()) : 0;
}

int MeshQueryTool::BuildTool(const ITriMesh* triMesh, MeshQueryTool* tool) {
    if (tool == nullptr) {
        _LogFailure("MeshQueryTool::BuildTool: tool is NULL");
        return STATUS_INVALID_INPUT;
    }
    return tool->Build(triMesh);
}

int MeshQueryTool::Build(const ITriMesh* triMesh) {
    mpImpl.reset();
    if (!triMesh) {
        _LogFailure("MeshQueryTool::Build: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    const int triangleCount = triMesh->GetTriangleCount();
    if (triangleCount < 1 || vertexCount < 1) {
        _LogFailure("MeshQueryTool::Build: triMesh has no triangle: ", vertexCount, " ", triangleCount);
        return STATUS_INVALID_INPUT;
    }

    std::unique_ptr<Impl> impl(new Impl);
    impl->triangleCount = triangleCount;
    if (const TriMesh* tri = dynamic_cast<const TriMesh*>(triMesh)) {
        impl->vertices = tri->GetVertexCoords();
    } else {
        impl->vertices.resize(static_cast<size_t>(vertexCount));
        for (int v = 0; v < vertexCount; ++v) impl->vertices[v] = triMesh->GetVertexCoord(v);
    }

    std::vector<int32_t> corners(3 * static_cast<size_t>(triangleCount));
    const TriMesh* attributed = dynamic_cast<const TriMesh*>(triMesh);
    for (int f = 0; f < triangleCount; ++f) {
        int32_t* ids = &corners[3 * static_cast<size_t>(f)];
        if (attributed) {
            const int* t = attributed->GetTriangle(f);
            ids[0] = t[0];
            ids[1] = t[1];
            ids[2] = t[2];
        } else {
            int t[3];
            triMesh->GetTriangleVertexIds(f, t);
            ids[0] = t[0];
            ids[1] = t[1];
            ids[2] = t[2];
        }
        for (int k = 0; k < 3; ++k) {
            if (ids[k] < 0 || ids[k] >= vertexCount) {
                _LogFailure("MeshQueryTool::Build: invalid vertex id in triangle ", f, ": ", ids[k]);
                return STATUS_INVALID_INPUT;
            }
        }
    }

    // Each vertex rounded outwards once; a triangle's box is the union of its
    // corners' boxes.
    std::vector<Box> vertexBoxes(static_cast<size_t>(vertexCount));
    for (int v = 0; v < vertexCount; ++v) {
        const Vector3& p = impl->vertices[v];
        Box& box = vertexBoxes[v];
        for (int k = 0; k < 3; ++k) {
            box.lo[k] = RoundDown(p[k]);
            box.hi[k] = RoundUp(p[k]);
        }
    }
    std::vector<PrimRef> prims(static_cast<size_t>(triangleCount));
    for (int f = 0; f < triangleCount; ++f) {
        const int32_t* ids = &corners[3 * static_cast<size_t>(f)];
        PrimRef& prim = prims[f];
        prim.box = vertexBoxes[ids[0]];
        prim.box.Grow(vertexBoxes[ids[1]]);
        prim.box.Grow(vertexBoxes[ids[2]]);
        prim.id = f;
    }
    std::vector<Box>().swap(vertexBoxes);

    impl->BuildTree(prims);

    // Lay the triangles out in leaf order so a leaf reads one contiguous run.
    impl->slotTriangle.resize(static_cast<size_t>(triangleCount));
    impl->slotCorners.resize(corners.size());
    for (int s = 0; s < triangleCount; ++s) {
        const int32_t id = prims[s].id;
        impl->slotTriangle[s] = id;
        const size_t src = 3 * static_cast<size_t>(id);
        const size_t dst = 3 * static_cast<size_t>(s);
        impl->slotCorners[dst] = corners[src];
        impl->slotCorners[dst + 1] = corners[src + 1];
        impl->slotCorners[dst + 2] = corners[src + 2];
    }
    mpImpl = std::move(impl);
    return STATUS_SUCCESS;
}

int MeshQueryTool::QueryClosestPoint(const Vector3& p, Vector3* closest, int* triangleId,
                                     double* distance) const {
    if (!mpImpl) {
        _LogFailure("MeshQueryTool::QueryClosestPoint: the tool is not built");
        return STATUS_NOT_INITIALISED;
    }
    const Impl& impl = *mpImpl;
    const double q[3] = {p.x, p.y, p.z};
    double bestD2 = std::numeric_limits<double>::infinity();
    int bestSlot = -1;
    Vector3 bestPoint;

    NearestFirst(
        impl, bestD2,
        [&](const Box& box, double& d2) {
            d2 = box.DistanceSquared(q);
            return d2 <= bestD2;
        },
        [&](int s) {
            Vector3 a, b, c;
            impl.Corners(s, &a, &b, &c);
            const Vector3 cp = ClosestPointOnTriangle(p, a, b, c);
            const double d2 = p.DistanceSquared(cp);
            if (d2 < bestD2) {
                bestD2 = d2;
                bestSlot = s;
                bestPoint = cp;
            }
        });

    if (bestSlot < 0) {
        // Only possible with non-finite coordinates or query point.
        _LogFailure("MeshQueryTool::QueryClosestPoint: no triangle found");
        return STATUS_FAILED;
    }
    if (closest) *closest = bestPoint;
    if (triangleId) *triangleId = impl.slotTriangle[bestSlot];
    if (distance) *distance = std::sqrt(bestD2);
    return STATUS_SUCCESS;
}

int MeshQueryTool::QueryRayIntersection(const Vector3& origin, const Vector3& direction,
                                        Vector3* hitPoint, int* triangleId, double* rayParam) const {
    if (!mpImpl) {
        _LogFailure("MeshQueryTool::QueryRayIntersection: the tool is not built");
        return STATUS_NOT_INITIALISED;
    }
    if (!(direction.LengthSquared() > 0.0)) {
        _LogFailure("MeshQueryTool::QueryRayIntersection: zero direction");
        return STATUS_INVALID_INPUT;
    }
    const Impl& impl = *mpImpl;
    const double o[3] = {origin.x, origin.y, origin.z};
    const double d[3] = {direction.x, direction.y, direction.z};
    double inv[3];
    for (int k = 0; k < 3; ++k) inv[k] = d[k] != 0.0 ? 1.0 / d[k] : 0.0;

    double bestT = std::numeric_limits<double>::infinity();
    int bestSlot = -1;
    NearestFirst(
        impl, bestT, [&](const Box& box, double& tNear) { return RayBoxInterval(o, d, inv, box, bestT, &tNear); },
        [&](int s) {
            Vector3 a, b, c;
            impl.Corners(s, &a, &b, &c);
            double t = 0.0;
            if (IntersectRayTriangle(origin, direction, a, b, c, &t) && t < bestT) {
                bestT = t;
                bestSlot = s;
            }
        });

    if (bestSlot < 0) return STATUS_NOT_FOUND;
    if (hitPoint) *hitPoint = origin + direction * bestT;
    if (triangleId) *triangleId = impl.slotTriangle[bestSlot];
    if (rayParam) *rayParam = bestT;
    return STATUS_SUCCESS;
}

}  // namespace ORVO
