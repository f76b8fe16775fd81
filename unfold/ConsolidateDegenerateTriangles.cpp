// Nudging vertices so that no triangle is exactly flat and no two vertices
// sit on the same point.
//
// Scanned meshes carry zero-area triangles (three collinear points, a
// collapsed edge, a collapsed triangle) and vertices duplicated in place. They
// make normals and cotangent weights undefined in the flattening stages. Every
// fix here is a displacement of at most epsilon, far below the size of any
// real feature, so the shape is unchanged while every triangle gets a defined
// normal and area.
//
// 1. Vertices with identical coordinates: the lowest id (or the first one that
//    may not move) stays, each other one moves towards the centre of its own
//    neighbours (another direction where that would flip or flatten one of its
//    triangles), each by a different distance, so that they end apart.
// 2. Flat triangles (height over the longest edge below epsilon / 10): the
//    corner that raises the area most cheaply moves across the opposite edge
//    until the height is epsilon / 2, on the side that agrees with the normals
//    of the edge neighbours (with their orientation taken into account). A
//    move that would flip or flatten another triangle is not made. Triangles
//    whose neighbours are flat as well wait for them; the passes repeat while
//    they make progress.

#include <QarnUVAtlas/ConsolidateMesh.h>

#include "foundation/LogLine.h"
#include "unfold/UndirectedEdgeTable.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace ORVO {
namespace {

// Heights in units of epsilon: below kFlatHeight a triangle counts as flat,
// a mended one is raised to kMendedHeight.
constexpr double kFlatHeight = 0.1;
constexpr double kMendedHeight = 0.5;
// Coincident vertices move between these distances (in epsilon).
constexpr double kSeparationMin = 0.2;
constexpr double kSeparationMax = 0.5;
constexpr int kMaxPasses = 12;
// Directions tried for a coincident vertex whose inward move would spoil a
// neighbouring triangle.
constexpr int kSpreadTries = 14;

size_t CoordinateHash(const Vector3& p) {
    uint64_t h = 0x9e3779b97f4a7c15ull;
    for (double c : {p.x, p.y, p.z}) {
        if (c == 0.0) c = 0.0;  // -0 and +0 are the same point
        uint64_t bits;
        std::memcpy(&bits, &c, sizeof bits);
        h ^= bits + 0x9e3779b97f4a7c15ull + (h << 6) + (h >> 2);
        h *= 0xff51afd7ed558ccdull;
        h ^= h >> 33;
    }
    return static_cast<size_t>(h);
}

Vector3 SpreadDirection(int index, int count) {
    // Points spread evenly over the unit sphere (golden-angle spiral).
    const double golden = 2.399963229728653;
    const double z = 1.0 - (2.0 * index + 1.0) / (2.0 * count);
    const double r = std::sqrt(std::max(0.0, 1.0 - z * z));
    const double phi = golden * index;
    return Vector3(r * std::cos(phi), r * std::sin(phi), z);
}

class DegeneracyMender {
public:
    DegeneracyMender(const std::vector<int>& corners, const std::vector<Vector3>& original,
                     const std::vector<bool>* mask, double epsilon, std::vector<Vector3>& coords)
        : mCorners(corners),
          mOriginal(original),
          mMask(mask),
          mEpsilon(epsilon),
          mCoords(coords),
          mVertexCount(static_cast<int>(original.size())),
          mFaceCount(static_cast<int>(corners.size() / 3)) {
        mCoords = original;
        mFaceStart.assign(static_cast<size_t>(mVertexCount) + 1, 0);
        for (int v : mCorners) ++mFaceStart[v + 1];
        for (int v = 0; v < mVertexCount; ++v) mFaceStart[v + 1] += mFaceStart[v];
        mFaces.resize(mCorners.size());
        std::vector<int> fill(mFaceStart.begin(), mFaceStart.end() - 1);
        for (size_t c = 0; c < mCorners.size(); ++c) mFaces[fill[mCorners[c]]++] = static_cast<int>(c / 3);
    }

    void SeparateCoincident() {
        // Exact duplicates through a hash of the coordinate bits (linear
        // probing); members of a group are chained in increasing id order.
        size_t tableSize = 16;
        while (tableSize < 2 * static_cast<size_t>(mVertexCount)) tableSize *= 2;
        std::vector<int> table(tableSize, -1);
        std::vector<int> nextInGroup(static_cast<size_t>(mVertexCount), -1);
        std::vector<int> lastInGroup(static_cast<size_t>(mVertexCount), -1);
        std::vector<int> heads;
        for (int v = 0; v < mVertexCount; ++v) {
            const Vector3& p = mOriginal[v];
            size_t slot = CoordinateHash(p) & (tableSize - 1);
            while (table[slot] >= 0) {
                const int u = table[slot];
                const Vector3& q = mOriginal[u];
                if (q.x == p.x && q.y == p.y && q.z == p.z) break;
                slot = (slot + 1) & (tableSize - 1);
            }
            const int head = table[slot];
            if (head < 0) {
                table[slot] = v;
                lastInGroup[v] = v;
                continue;
            }
            if (nextInGroup[head] < 0) heads.push_back(head);
            nextInGroup[lastInGroup[head]] = v;
            lastInGroup[head] = v;
        }
        std::sort(heads.begin(), heads.end());
        std::vector<int> group;
        for (int head : heads) {
            group.clear();
            for (int v = head; v >= 0; v = nextInGroup[v]) group.push_back(v);
            SeparateGroup(group);
        }
    }

    void MendFlatTriangles() {
        std::vector<int> work;
        for (int f = 0; f < mFaceCount; ++f) {
            if (!RepeatsVertex(f) && IsFlat(f)) work.push_back(f);
        }
        // Edge neighbours are needed only around flat faces; most meshes have none.
        if (!work.empty()) mEdges.Build(mCorners, mVertexCount);
        bool stalled = false;
        for (int pass = 0; pass < kMaxPasses && !work.empty(); ++pass) {
            // Fallback normals only once waiting for neighbours stopped helping.
            const bool allowFallback = stalled || pass >= kMaxPasses / 2;
            std::vector<int> next;
            bool progress = false;
            for (int f : work) {
                if (!IsFlat(f)) continue;
                Vector3 normal;
                if (!DesiredNormal(f, allowFallback, normal)) {
                    next.push_back(f);
                    continue;
                }
                const int moved = Mend(f, normal);
                if (moved < 0) {
                    next.push_back(f);
                    continue;
                }
                progress = true;
                for (int k = mFaceStart[moved]; k < mFaceStart[moved + 1]; ++k) {
                    const int g = mFaces[k];
                    if (g != f && !RepeatsVertex(g) && IsFlat(g)) next.push_back(g);
                }
                if (IsFlat(f)) next.push_back(f);
            }
            std::sort(next.begin(), next.end());
            next.erase(std::unique(next.begin(), next.end()), next.end());
            if (!progress) {
                if (stalled) break;
                stalled = true;
            } else {
                stalled = false;
            }
            work.swap(next);
        }
    }

private:
    bool Movable(int v) const { return !mMask || (*mMask)[v]; }

    bool RepeatsVertex(int f) const {
        const int* t = &mCorners[3 * static_cast<size_t>(f)];
        return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
    }

    const Vector3& Corner(int f, int k) const { return mCoords[mCorners[3 * static_cast<size_t>(f) + k]]; }

    Vector3 AreaVector(int f) const {
        const Vector3& p0 = Corner(f, 0);
        return (Corner(f, 1) - p0).CrossProduct(Corner(f, 2) - p0);
    }

    double LongestEdge(int f) const {
        const Vector3 &p0 = Corner(f, 0), &p1 = Corner(f, 1), &p2 = Corner(f, 2);
        return std::max(p0.Distance(p1), std::max(p1.Distance(p2), p2.Distance(p0)));
    }

    bool IsFlat(int f) const {
        const Vector3 &p0 = Corner(f, 0), &p1 = Corner(f, 1), &p2 = Corner(f, 2);
        const double longest2 =
            std::max(p0.DistanceSquared(p1), std::max(p1.DistanceSquared(p2), p2.DistanceSquared(p0)));
        const double limit = kFlatHeight * mEpsilon;
        return AreaVector(f).LengthSquared() <= limit * limit * longest2;
    }

    bool WithinBudget(int v, const Vector3& q) const { return q.Distance(mOriginal[v]) <= mEpsilon; }

    void SeparateGroup(const std::vector<int>& group) {
        int anchor = group[0];
        for (int v : group) {
            if (!Movable(v)) {
                anchor = v;
                break;
            }
        }
        int movers = 0;
        for (int v : group) {
            if (v != anchor && Movable(v)) ++movers;
        }
        int rank = 0;
        for (int v : group) {
            if (v == anchor || !Movable(v)) continue;
            ++rank;
            const double distance =
                mEpsilon * (kSeparationMin + (kSeparationMax - kSeparationMin) * rank / static_cast<double>(movers));
            // Inwards if that spoils no sound triangle around v, else the
            // first spread direction that does not; failing all, v stays.
            Vector3 q = mOriginal[v] + InwardDirection(v, rank, movers) * distance;
            for (int k = 0; k < kSpreadTries && !HarmlessMove(v, q, -1); ++k) {
                q = mOriginal[v] + SpreadDirection(k, kSpreadTries) * distance;
            }
            if (HarmlessMove(v, q, -1)) mCoords[v] = q;
        }
    }

    // Towards the mean of the vertex's neighbours, so that the copy moves into
    // its own faces; a spread direction when that mean is the point itself.
    Vector3 InwardDirection(int v, int rank, int movers) const {
        Vector3 sum;
        int count = 0;
        for (int k = mFaceStart[v]; k < mFaceStart[v + 1]; ++k) {
            const int f = mFaces[k];
            for (int c = 0; c < 3; ++c) {
                const int w = mCorners[3 * static_cast<size_t>(f) + c];
                if (w == v) continue;
                sum += mOriginal[w];
                ++count;
            }
        }
        if (count > 0) {
            Vector3 d = sum / count - mOriginal[v];
            // Lengths far below epsilon cannot give a direction reliably.
            if (d.Length() > 1e-3 * mEpsilon) {
                d.Normalise();
                return d;
            }
        }
        return SpreadDirection(rank - 1, movers);
    }

    // Unit normal the mended triangle should take: the edge neighbours'
    // normals, each turned to this face's orientation; failing those, the
    // normals of the faces around its corners; failing all, (if allowed) its
    // own or one square to its longest edge.
    bool DesiredNormal(int f, bool allowFallback, Vector3& normal) const {
        Vector3 sum;
        for (int h = 3 * f; h < 3 * f + 3; ++h) {
            const int e = mEdges.EdgeOf(h);
            for (const int* other = mEdges.HalfEdgesBegin(e); other < mEdges.HalfEdgesEnd(e); ++other) {
                const int g = *other / 3;
                if (g == f || RepeatsVertex(g) || IsFlat(g)) continue;
                // A neighbour running the edge the other way is consistently
                // oriented with f; one running it the same way is turned over.
                const double sign = (mCorners[*other] == mCorners[h]) ? -1.0 : 1.0;
                Vector3 n = AreaVector(g);
                n.Normalise();
                sum += n * sign;
            }
        }
        if (sum.Length() > 1e-6) {
            normal = sum;
            normal.Normalise();
            return true;
        }
        for (int k = 0; k < 3; ++k) {
            const int v = mCorners[3 * static_cast<size_t>(f) + k];
            for (int i = mFaceStart[v]; i < mFaceStart[v + 1]; ++i) {
                const int g = mFaces[i];
                if (g == f || RepeatsVertex(g) || IsFlat(g)) continue;
                Vector3 n = AreaVector(g);
                n.Normalise();
                sum += n;
            }
        }
        if (sum.Length() > 1e-6) {
            normal = sum;
            normal.Normalise();
            return true;
        }
        if (!allowFallback) return false;
        Vector3 own = AreaVector(f);
        if (own.Length() > 0.0) {
            own.Normalise();
            normal = own;
            return true;
        }
        Vector3 edge = Corner(f, 1) - Corner(f, 0);
        for (int k = 1; k < 3; ++k) {
            Vector3 e = Corner(f, (k + 1) % 3) - Corner(f, k);
            if (e.Length() > edge.Length()) edge = e;
        }
        if (edge.Length() == 0.0) {
            normal = Vector3(0.0, 0.0, 1.0);
            return true;
        }
        const double ax = std::fabs(edge.x), ay = std::fabs(edge.y), az = std::fabs(edge.z);
        const Vector3 axis = (ax <= ay && ax <= az) ? Vector3(1, 0, 0) : (ay <= az ? Vector3(0, 1, 0) : Vector3(0, 0, 1));
        normal = edge.CrossProduct(axis);
        normal.Normalise();
        return true;
    }

    // Whether moving v to q keeps every other triangle around v as it was:
    // not flat if it was not, and not turned over.
    bool HarmlessMove(int v, const Vector3& q, int mendedFace) {
        const Vector3 old = mCoords[v];
        bool harmless = true;
        for (int i = mFaceStart[v]; i < mFaceStart[v + 1] && harmless; ++i) {
            const int g = mFaces[i];
            if (g == mendedFace || RepeatsVertex(g) || IsFlat(g)) continue;
            const Vector3 before = AreaVector(g);
            mCoords[v] = q;
            const Vector3 after = AreaVector(g);
            if (before * after <= 0.0 || IsFlat(g)) harmless = false;
            mCoords[v] = old;
        }
        return harmless;
    }

    // Moves one corner of flat face f so that its area vector points along
    // normal with the mended height. Returns the moved vertex, or -1.
    int Mend(int f, const Vector3& normal) {
        const double target = kMendedHeight * mEpsilon * LongestEdge(f);
        const double current = AreaVector(f) * normal;
        struct Candidate {
            int vertex;
            Vector3 step;
            double gain;  // area gained per unit of displacement
        };
        Candidate candidates[3];
        int count = 0;
        for (int k = 0; k < 3; ++k) {
            const int v = mCorners[3 * static_cast<size_t>(f) + k];
            if (!Movable(v)) continue;
            // Moving corner k by d adds (p_prev - p_next) x d to the area vector.
            const Vector3 opposite = Corner(f, (k + 2) % 3) - Corner(f, (k + 1) % 3);
            Vector3 direction = normal.CrossProduct(opposite);
            const double gain = direction.Length();
            if (!(gain > 0.0) || !(target > current)) continue;
            direction /= gain;
            candidates[count++] = {v, direction * ((target - current) / gain), gain};
        }
        // Largest gain first (stable, three entries at most).
        for (int i = 1; i < count; ++i) {
            for (int j = i; j > 0 && candidates[j].gain > candidates[j - 1].gain; --j) {
                std::swap(candidates[j], candidates[j - 1]);
            }
        }
        for (int i = 0; i < count; ++i) {
            const int v = candidates[i].vertex;
            const Vector3 q = mCoords[v] + candidates[i].step;
            if (WithinBudget(v, q) && HarmlessMove(v, q, f)) {
                mCoords[v] = q;
                return v;
            }
        }
        // No full move fits the budget: go as far as it allows.
        for (int i = 0; i < count; ++i) {
            const int v = candidates[i].vertex;
            Vector3 offset = mCoords[v] + candidates[i].step - mOriginal[v];
            const double length = offset.Length();
            if (length > mEpsilon) offset *= mEpsilon * (1.0 - 1e-9) / length;
            const Vector3 q = mOriginal[v] + offset;
            const double gained = (q - mCoords[v]).Length();
            if (gained > 0.0 && AreaVectorWith(f, v, q) * normal > current && HarmlessMove(v, q, f)) {
                mCoords[v] = q;
                return v;
            }
        }
        return -1;
    }

    Vector3 AreaVectorWith(int f, int v, const Vector3& q) {
        const Vector3 old = mCoords[v];
        mCoords[v] = q;
        const Vector3 area = AreaVector(f);
        mCoords[v] = old;
        return area;
    }

    const std::vector<int>& mCorners;
    const std::vector<Vector3>& mOriginal;
    const std::vector<bool>* mMask;
    const double mEpsilon;
    std::vector<Vector3>& mCoords;
    const int mVertexCount;
    const int mFaceCount;
    UndirectedEdgeTable mEdges;
    // Faces around each vertex (a face repeating a vertex is listed twice).
    std::vector<int> mFaceStart;
    std::vector<int> mFaces;
};

}  // namespace

int ConsolidateMesh::ConsolidateDegenerateTriangles(const ITriMesh* triMesh, const std::vector<bool>* mask,
                                                    double epsilon, std::vector<Vector3>& coords) {
    if (!triMesh) {
        _LogFailure("ConsolidateMesh::ConsolidateDegenerateTriangles: input triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    if (!(epsilon > 0.0) || !std::isfinite(epsilon)) {
        _LogFailure("ConsolidateMesh::ConsolidateDegenerateTriangles: invalid epsilon ", epsilon);
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    if (mask && mask->size() != static_cast<size_t>(vertexCount)) {
        _LogFailure("ConsolidateMesh::ConsolidateDegenerateTriangles: mask size != vertexCount");
        return STATUS_INVALID_INPUT;
    }
    std::vector<int> corners;
    if (_ReadTriangleCorners(triMesh, corners) != STATUS_SUCCESS) {
        _LogFailure("ConsolidateMesh::ConsolidateDegenerateTriangles: triangle vertex id out of range");
        return STATUS_INVALID_INPUT;
    }
    std::vector<Vector3> original(static_cast<size_t>(vertexCount));
    const TriMesh* tri = dynamic_cast<const TriMesh*>(triMesh);
    for (int v = 0; v < vertexCount; ++v) {
        original[v] = tri ? tri->GetVertexCoordRef(v) : triMesh->GetVertexCoord(v);
        if (!std::isfinite(original[v].x) || !std::isfinite(original[v].y) || !std::isfinite(original[v].z)) {
            _LogFailure("ConsolidateMesh::ConsolidateDegenerateTriangles: non-finite vertex coordinate ", v);
            return STATUS_INVALID_INPUT;
        }
    }

    std::vector<Vector3> result;
    DegeneracyMender mender(corners, original, mask, epsilon, result);
    mender.SeparateCoincident();
    mender.MendFlatTriangles();
    coords.swap(result);
    return STATUS_SUCCESS;
}

}  // namespace ORVO
