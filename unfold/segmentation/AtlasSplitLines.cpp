// Split lines of one connected component: the mesh is partitioned into about
// chartCount compact, gently curved, disc-like face regions, and every edge
// between two regions becomes a two-vertex cut line.
//
// Regions are grown from seeds in order of a cost that adds the squared
// distance to the region's centre (scaled by the expected chart radius, so the
// result does not depend on the mesh's units) and the deviation of the face
// normal from the region's mean normal. A few Lloyd iterations move every seed
// to the face that best represents its region, majority filters over the edge
// neighbours and then over the corner stars straighten the borders, and regions
// that are not topological discs are split until they are: the flattening needs
// discs.

#include <QarnUVAtlas/UnfoldMesh.h>

#include "foundation/LogLine.h"
#include "unfold/AtlasContext.h"
#include "unfold/MeshAdjacency.h"
#include "unfold/segmentation/RegionTopology.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <queue>
#include <vector>

namespace ORVO {
namespace {

constexpr int kLloydIterations = 3;
// Weight of the normal deviation (1 - cos) against the squared distance in
// chart radii: a face turned 60 degrees away costs like one a radius away.
// Heavier weights grow long curved strips along the flat directions, which
// flatten well but pack poorly; the flattening absorbs milder curvature.
constexpr double kNormalWeight = 2.0;
constexpr int kSmoothingPasses = 4;


struct Proxy {
    Vector3 centre;
    Vector3 normal;
};

// A queued face as one integer: the cost as a float (whose bits order like the value
// for costs >= 0) above the face id, so that the heap compares integers and ties go
// to the lower face id.
uint64_t QueueKey(float cost, int face) {
    const float c = std::max(cost, 0.0f);  // rounding may leave a hair below 0
    uint32_t bits;
    std::memcpy(&bits, &c, sizeof bits);
    return (static_cast<uint64_t>(bits) << 32) | static_cast<uint32_t>(face);
}

class RegionGrower {
public:
    RegionGrower(const MeshAdjacency& adj, const FaceGeometry& geo, double invRadius2)
        : mAdj(adj), mGeo(geo), mInvRadius2(invRadius2) {
        // Growth reads the faces around the fronts in no useful memory order: one
        // compact record per face, centred and in chart radii so that floats suffice
        // whatever the mesh's units and place.
        const int faces = adj.faceCount;
        Vector3 lo = faces > 0 ? geo.centroid[0] : Vector3(), hi = lo;
        for (const Vector3& c : geo.centroid)
            for (int i = 0; i < 3; ++i) {
                lo[i] = std::min(lo[i], c[i]);
                hi[i] = std::max(hi[i], c[i]);
            }
        mOrigin = (lo + hi) * 0.5;
        mInvRadius = std::sqrt(invRadius2);
        mFaces.resize(faces);
        for (int f = 0; f < faces; ++f) mFaces[f] = Compact(geo.centroid[f], geo.normal[f]);
    }

    double Cost(int f, const Proxy& p) const {
        double d2 = (mGeo.centroid[f] - p.centre).LengthSquared() * mInvRadius2;
        return d2 + kNormalWeight * (1.0 - mGeo.normal[f] * p.normal);
    }

    // Position (in chart radii from the origin) and normal of a face or proxy.
    struct CompactFace {
        float p[3];
        float n[3];
    };

    CompactFace Compact(const Vector3& centre, const Vector3& normal) const {
        const Vector3 q = (centre - mOrigin) * mInvRadius;
        return {{float(q[0]), float(q[1]), float(q[2])}, {float(normal[0]), float(normal[1]), float(normal[2])}};
    }

    static float CompactCost(const CompactFace& f, const CompactFace& p) {
        const float dx = f.p[0] - p.p[0], dy = f.p[1] - p.p[1], dz = f.p[2] - p.p[2];
        const float dot = f.n[0] * p.n[0] + f.n[1] * p.n[1] + f.n[2] * p.n[2];
        return dx * dx + dy * dy + dz * dz + float(kNormalWeight) * (1.0f - dot);
    }

    // Grows one region per seed over edge-adjacent faces, cheapest face first.
    // Faces that no seed reaches start regions of their own, appended to
    // seeds and proxies, so that every face ends up labelled.
    void Grow(std::vector<int>& seeds, std::vector<Proxy>& proxies, std::vector<int>& labels) {
        const int faces = mAdj.faceCount;
        labels.assign(faces, -1);
        std::vector<uint64_t> storage;
        storage.reserve(static_cast<size_t>(faces));
        std::priority_queue<uint64_t, std::vector<uint64_t>, std::greater<uint64_t>> queue(std::greater<uint64_t>(),
                                                                                          std::move(storage));
        // Cheapest cost queued per face, and its region: an entry no cheaper than one
        // already queued can never be the one that claims the face, and most neighbours
        // of a face belong to the same region and would queue the same cost again. So
        // the first entry of a face to come out is the one queued last.
        mQueued.assign(faces, std::numeric_limits<float>::max());
        mQueuedRegion.resize(faces);
        std::vector<CompactFace> regionKey(proxies.size());
        for (size_t r = 0; r < proxies.size(); ++r) regionKey[r] = Compact(proxies[r].centre, proxies[r].normal);
        auto claim = [&](int f, int r) {
            labels[f] = r;
            for (int k = 0; k < 3; ++k) {
                int g = mAdj.faceNeighbours[3 * static_cast<size_t>(f) + k];
                if (g < 0 || labels[g] >= 0) continue;
                const float c = CompactCost(mFaces[g], regionKey[r]);
                if (c >= mQueued[g]) continue;
                mQueued[g] = c;
                mQueuedRegion[g] = r;
                queue.push(QueueKey(c, g));
            }
        };
        for (size_t r = 0; r < seeds.size(); ++r) {
            if (labels[seeds[r]] < 0) claim(seeds[r], static_cast<int>(r));
        }
        int scan = 0;
        for (;;) {
            while (!queue.empty()) {
                const int face = static_cast<int>(queue.top() & 0xFFFFFFFFu);
                queue.pop();
                if (labels[face] >= 0) continue;
                claim(face, mQueuedRegion[face]);
            }
            while (scan < faces && labels[scan] >= 0) ++scan;
            if (scan == faces) break;
            seeds.push_back(scan);
            proxies.push_back({mGeo.centroid[scan], mGeo.normal[scan]});
            regionKey.push_back(mFaces[scan]);
            claim(scan, static_cast<int>(seeds.size()) - 1);
        }
    }

    // Moves every proxy to its region's area-weighted centre and mean normal,
    // and every seed to the face of its region that best matches its proxy.
    void UpdateProxies(const std::vector<int>& labels, std::vector<int>& seeds, std::vector<Proxy>& proxies) const {
        const size_t regions = seeds.size();
        std::vector<double> weight(regions, 0.0);
        std::vector<Vector3> centre(regions), normal(regions);
        for (int f = 0; f < mAdj.faceCount; ++f) {
            int r = labels[f];
            double w = mGeo.weight[f];
            weight[r] += w;
            centre[r] += mGeo.centroid[f] * w;
            normal[r] += mGeo.normal[f] * w;
        }
        for (size_t r = 0; r < regions; ++r) {
            proxies[r].centre = centre[r] / weight[r];
            double len = normal[r].Length();
            // A region whose normals cancel (a closed piece) keeps its old normal.
            if (len > 1e-9 * weight[r]) proxies[r].normal = normal[r] / len;
        }
        std::vector<double> best(regions, REAL_LARGE);
        for (int f = 0; f < mAdj.faceCount; ++f) {
            int r = labels[f];
            double c = Cost(f, proxies[r]);
            if (c < best[r]) {
                best[r] = c;
                seeds[r] = f;
            }
        }
    }

private:
    const MeshAdjacency& mAdj;
    const FaceGeometry& mGeo;
    double mInvRadius2;
    Vector3 mOrigin;
    double mInvRadius = 1.0;
    std::vector<CompactFace> mFaces;
    std::vector<float> mQueued;
    std::vector<int> mQueuedRegion;
};

// Majority filter on the region borders: a face two of whose three
// neighbours lie in one other region joins that region. Such a face has at
// most one neighbour in its own region, so its region stays edge-connected.
void SmoothBorders(const MeshAdjacency& adj, std::vector<int>& labels, int regionCount) {
    std::vector<int> sizes(regionCount, 0);
    for (int l : labels) ++sizes[l];
    for (int pass = 0; pass < kSmoothingPasses; ++pass) {
        int moved = 0;
        for (int f = 0; f < adj.faceCount; ++f) {
            int own = labels[f];
            if (sizes[own] <= 1) continue;
            const int* nb = &adj.faceNeighbours[3 * static_cast<size_t>(f)];
            int l[3];
            for (int k = 0; k < 3; ++k) l[k] = nb[k] >= 0 ? labels[nb[k]] : -1;
            int target = -1;
            if (l[0] >= 0 && l[0] != own && (l[0] == l[1] || l[0] == l[2])) target = l[0];
            else if (l[1] >= 0 && l[1] != own && l[1] == l[2]) target = l[1];
            if (target < 0) continue;
            labels[f] = target;
            --sizes[own];
            ++sizes[target];
            ++moved;
        }
        _LogDetail("OptimizeSplitLines: optimIndex=", pass, " moved=", moved);
        if (moved == 0) break;
    }
}

// A wider majority filter: a border face joins the region of one of its edge
// neighbours when that region holds more of the faces around its three corners than
// its own does. It evens out the notches the edge filter leaves, a face or two deep,
// which cost perimeter and so gap and fill in the atlas.
void SmoothBordersOverStars(const MeshAdjacency& adj, std::vector<int>& labels, int regionCount) {
    std::vector<int> sizes(regionCount, 0);
    for (int l : labels) ++sizes[l];
    std::vector<int> count(regionCount, 0);
    std::vector<int> touched;
    for (int pass = 0; pass < kSmoothingPasses; ++pass) {
        int moved = 0;
        for (int f = 0; f < adj.faceCount; ++f) {
            const int own = labels[f];
            if (sizes[own] <= 1) continue;
            const int* nb = &adj.faceNeighbours[3 * static_cast<size_t>(f)];
            int edgeLabels[3];
            bool border = false;
            for (int k = 0; k < 3; ++k) {
                edgeLabels[k] = nb[k] >= 0 ? labels[nb[k]] : -1;
                border = border || (edgeLabels[k] >= 0 && edgeLabels[k] != own);
            }
            if (!border) continue;
            touched.clear();
            const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
            for (int k = 0; k < 3; ++k)
                for (int i = adj.FacesBegin(t[k]); i < adj.FacesEnd(t[k]); ++i) {
                    const int h = adj.vertexFaces[i];
                    if (h == f) continue;
                    if (count[labels[h]]++ == 0) touched.push_back(labels[h]);
                }
            int best = own;
            for (int k = 0; k < 3; ++k) {
                const int l = edgeLabels[k];
                if (l >= 0 && l != own && count[l] > count[own] && (best == own || count[l] > count[best])) best = l;
            }
            for (int l : touched) count[l] = 0;
            if (best == own) continue;
            labels[f] = best;
            --sizes[own];
            ++sizes[best];
            ++moved;
        }
        if (moved == 0) break;
    }
}


}  // namespace

int UnfoldMesh::GenerateAtlasSplitLines(const ITriMesh* triMesh, int chartCount,
                                        std::vector<std::vector<int>>& splitLines) {
    if (triMesh == nullptr) {
        _LogFailure("GenerateAtlasSplitLines: invalid input triMesh == NULL");
        return STATUS_INVALID_INPUT;
    }
    if (chartCount < 1) {
        _LogFailure("GenerateAtlasSplitLines: invalid initSplitCount =", chartCount);
        return STATUS_INVALID_INPUT;
    }
    splitLines.clear();
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    if (faceCount < 1 || vertexCount < 1) return STATUS_SUCCESS;

    MeshAdjacency adj;
    adj.Build(triMesh);
    FaceGeometry geo = _ComputeFaceGeometry(triMesh, adj);

    const int wanted = std::max(1, std::min({chartCount, vertexCount, faceCount}));
    double radius2 = geo.totalArea / (ORVO_PI * wanted);
    double invRadius2 = radius2 > 0.0 ? 1.0 / radius2 : 1.0;

    // Seeds: evenly spaced vertex ids, each represented by its first face.
    std::vector<int> seeds;
    std::vector<char> taken(faceCount, 0);
    for (int i = 0; i < wanted; ++i) {
        int v = static_cast<int>((static_cast<double>(i) + 0.5) * vertexCount / wanted);
        if (adj.FacesBegin(v) == adj.FacesEnd(v)) continue;
        int f = adj.vertexFaces[adj.FacesBegin(v)];
        if (taken[f]) continue;
        taken[f] = 1;
        seeds.push_back(f);
    }
    if (seeds.empty()) seeds.push_back(0);
    std::vector<Proxy> proxies(seeds.size());
    for (size_t r = 0; r < seeds.size(); ++r) proxies[r] = {geo.centroid[seeds[r]], geo.normal[seeds[r]]};

    RegionGrower grower(adj, geo, invRadius2);
    std::vector<int> labels;
    for (int it = 0; it < kLloydIterations; ++it) {
        if (_AtlasCancelRequested()) return STATUS_FAILED;  // an atlas call was stopped; no line is kept
        grower.Grow(seeds, proxies, labels);
        grower.UpdateProxies(labels, seeds, proxies);
    }
    grower.Grow(seeds, proxies, labels);
    int regionCount = static_cast<int>(seeds.size());

    int marked = 0;
    for (int l : labels) marked += l >= 0 ? 1 : 0;
    if (marked != faceCount) {
        _LogFailure("GenerateAtlasSplitLines: Error: faceMarkCount != faceCount, faceMarkCount=", marked,
                    " faceCount=", faceCount);
        return STATUS_FAILED;
    }

    SmoothBorders(adj, labels, regionCount);
    SmoothBordersOverStars(adj, labels, regionCount);
    regionCount = _MakeRegionsDiscs(adj, geo, labels, regionCount);

    _BorderLines(adj, labels, splitLines);
    _LogDetail("GenerateAtlasSplitLines: regions=", regionCount, " lines=", splitLines.size());
    return STATUS_SUCCESS;
}

}  // namespace ORVO
