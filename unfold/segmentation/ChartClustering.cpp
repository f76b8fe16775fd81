// Bottom-up chart merging (see ChartClustering.h).
//
// A chart keeps its area, its area-weighted normal sum N, its Euler
// characteristic, the charts next to it with the length of border shared with
// each, and a list of its border half-edges. The flatness lost by merging A
// and B is |N_A| + |N_B| - |N_A + N_B| (zero for two coplanar charts, however
// noisy their faces), so the cost of a merge is that loss, plus a small share
// of the merged area that keeps flat charts from growing without bound, over
// the border length the merge removes from the seams.

#include "unfold/segmentation/ChartClustering.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ORVO {
namespace {

// Atoms: at most this many faces, and at least this many atoms to a chart.
constexpr int kAtomFaces = 16;
constexpr int kAtomsPerChart = 24;
// Atoms grow only across edges whose faces' normals are this close (about 37
// degrees): merges across sharper edges are the charts' to decide.
constexpr double kAtomCosine = 0.8;

struct Neighbour {
    int chart;     // a chart id, possibly merged away since (resolve with Find)
    float length;  // shared border length
    float crease;  // the part of it that runs along creases
};

// A queued merge with the cost it had when queued; the cost is checked again
// when it comes out, since either chart may have grown in the meantime.
struct Candidate {
    float cost;
    int a, b;
};

// Queued merges in buckets of costs within 2% of each other (a heap of a
// million entries spends most of its time missing the cache). Merges come out
// cheapest bucket first, the last queued first within a bucket.
class MergeQueue {
public:
    MergeQueue() : mBuckets(kBucketCount) {}

    void Push(const Candidate& c) {
        const int b = Bucket(c.cost);
        mBuckets[b].push_back(c);
        mLowest = std::min(mLowest, b);
        ++mSize;
    }

    bool Empty() const { return mSize == 0; }

    Candidate Pop() {
        while (mBuckets[mLowest].empty()) ++mLowest;
        const Candidate c = mBuckets[mLowest].back();
        mBuckets[mLowest].pop_back();
        --mSize;
        return c;
    }

private:
    static constexpr int kBucketCount = 2600;
    static constexpr double kFloor = 1e-9;  // costs below share the first bucket

    static int Bucket(float cost) {
        if (!(cost > kFloor)) return 0;
        const int b = 1 + static_cast<int>(std::log(cost / kFloor) / std::log(1.02));
        return std::min(b, kBucketCount - 1);
    }

    std::vector<std::vector<Candidate>> mBuckets;
    int mLowest = kBucketCount - 1;
    size_t mSize = 0;
};

// Charts are numbered by atom: the patches the faces are first gathered in
// (single faces on small meshes), which start as the charts.
class Clustering {
public:
    Clustering(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
               const ClusteringLimits& limits)
        : mAdj(adj), mLimits(limits) {
        const int atoms = FormAtoms(geo);
        mParent.resize(atoms);
        mArea.assign(atoms, 0.0);
        mCurvature.assign(atoms, 0.0);
        mNormal.assign(atoms, Vector3());
        mPerimeter.assign(atoms, 0.0);
        mChi.assign(atoms, 1);
        mNeighbours.resize(atoms);
        mCompactSize.assign(atoms, 3);
        mBorder.resize(atoms);
        mSlot.assign(atoms, -1);
        mBoundaryVertex.assign(adj.vertexCount, 0);
        mVertexMark.assign(adj.vertexCount, 0);
        for (int c = 0; c < atoms; ++c) mParent[c] = c;
        for (int f = 0; f < adj.faceCount; ++f) {
            const int c = mAtom[f];
            mArea[c] += geo.weight[f];
            if (limits.faceCurvature) mCurvature[c] += (*limits.faceCurvature)[f];
            mNormal[c] += geo.normal[f] * geo.weight[f];
            const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k;
                const int g = adj.faceNeighbours[h];
                if (g < 0) {
                    mBorder[c].push_back(h);
                    mBoundaryVertex[t[k]] = 1;
                    mBoundaryVertex[t[(k + 1) % 3]] = 1;
                    continue;
                }
                if (mAtom[g] == c) continue;
                mBorder[c].push_back(h);
                // The perimeter counts seam only: the mesh boundary costs nothing.
                const float length = static_cast<float>((coords[t[(k + 1) % 3]] - coords[t[k]]).Length());
                mPerimeter[c] += length;
                const bool crease = geo.normal[f] * geo.normal[g] < limits.creaseCosine;
                mNeighbours[c].push_back({mAtom[g], length, crease ? length : 0.0f});
            }
        }
        for (int c = 0; c < atoms; ++c) Compact(c);
        mCount = atoms;
    }

    int Run(std::vector<int>& labels) {
        MergeQueued();
        // A count the normal cone cannot reach (a small, crumpled piece)
        // is reached with wider cones: the flattening then judges the charts.
        if (mCount > mLimits.targetCount && mLimits.fallbackSpread > mLimits.maxSpread) {
            mLimits.maxSpread = mLimits.fallbackSpread;
            MergeQueued();
        }
        return Relabel(labels);
    }

private:
    // Queues every pair of neighbouring charts, then merges the cheapest while the
    // count is above the target.
    void MergeQueued() {
        for (int c = 0; c < static_cast<int>(mParent.size()); ++c)
            if (mParent[c] == c) PushPairs(c, mNeighbours[c]);
        while (mCount > mLimits.targetCount && !mQueue.Empty()) {
            const Candidate c = mQueue.Pop();
            if (mParent[c.a] != c.a || mParent[c.b] != c.b) continue;
            double length = 0.0, crease = 0.0;
            SharedBorder(c.a, c.b, length, crease);
            const double cost = Cost(c.a, c.b, length, crease);
            if (cost < 0.0) continue;
            // Grown since it was queued: back in line at its present cost.
            if (static_cast<float>(cost) > c.cost) {
                mQueue.Push({static_cast<float>(cost), c.a, c.b});
                continue;
            }
            Merge(c.a, c.b, length);
        }
    }
    // When the charts wanted are many times larger than a face, the faces are
    // first gathered in small patches grown breadth first across edges where
    // the surface bends little, each a topological disc: a large
    // mesh then spends its time on the merges that shape the charts, and
    // holds its merge lists per patch rather than per face. Returns the
    // number of atoms.
    int FormAtoms(const FaceGeometry& geo) {
        const int faces = mAdj.faceCount;
        const int perChart = faces / std::max(1, mLimits.targetCount);
        const int atom = std::min(kAtomFaces, perChart / kAtomsPerChart);
        mAtom.resize(faces);
        if (atom < 2) {
            for (int f = 0; f < faces; ++f) mAtom[f] = f;
            return faces;
        }
        mAtom.assign(faces, -1);
        int count = 0;
        std::vector<int> front;
        for (int seed = 0; seed < faces; ++seed) {
            if (mAtom[seed] >= 0) continue;
            mAtom[seed] = count;
            front.assign(1, seed);
            for (size_t i = 0; i < front.size() && static_cast<int>(front.size()) < atom; ++i) {
                const int f = front[i];
                for (int k = 0; k < 3 && static_cast<int>(front.size()) < atom; ++k) {
                    const int g = mAdj.faceNeighbours[3 * static_cast<size_t>(f) + k];
                    if (g < 0 || mAtom[g] >= 0) continue;
                    const double cosine = geo.normal[f] * geo.normal[g];
                    if (cosine < kAtomCosine || cosine < mLimits.creaseCosine) continue;
                    mAtom[g] = count;
                    front.push_back(g);
                }
            }
            ++count;
        }
        return _MakeRegionsDiscs(mAdj, geo, mAtom, count);
    }

    int Find(int x) {
        while (mParent[x] != x) {
            mParent[x] = mParent[mParent[x]];
            x = mParent[x];
        }
        return x;
    }

    double Cost(int a, int b, double length, double crease) const {
        if (mLimits.maxCurvature > 0.0 && mCurvature[a] + mCurvature[b] > mLimits.maxCurvature) return -1.0;
        return _ChartMergeCost({mArea[a], mNormal[a], mPerimeter[a]}, {mArea[b], mNormal[b], mPerimeter[b]}, length,
                               crease, mLimits);
    }

    // Every shared edge is listed on both sides, so the shorter list will do.
    void SharedBorder(int a, int b, double& length, double& crease) {
        if (mNeighbours[b].size() < mNeighbours[a].size()) std::swap(a, b);
        length = crease = 0.0;
        for (const Neighbour& n : mNeighbours[a]) {
            if (Find(n.chart) != b) continue;
            length += n.length;
            crease += n.crease;
        }
    }

    // Queues a's merges with the charts named in `list` (each once).
    void PushPairs(int a, const std::vector<Neighbour>& list) {
        mPushed.clear();
        for (const Neighbour& n : list) {
            const int b = Find(n.chart);
            if (b == a || mSlot[b] == -2) continue;
            mSlot[b] = -2;
            mPushed.push_back(b);
            double length, crease;
            SharedBorder(a, b, length, crease);
            const double cost = Cost(a, b, length, crease);
            if (cost >= 0.0) mQueue.Push({static_cast<float>(cost), std::min(a, b), std::max(a, b)});
        }
        for (int b : mPushed) mSlot[b] = -1;
    }

    // Border half-edges of chart `s` not shared with itself; those shared
    // with `o` go to `shared`. Entries that have become inner edges are dropped.
    void SortBorder(int s, int o, std::vector<int>& kept, std::vector<int>& shared) {
        kept.clear();
        shared.clear();
        for (int h : mBorder[s]) {
            const int g = mAdj.faceNeighbours[h];
            if (g < 0) {
                kept.push_back(h);
                continue;
            }
            const int r = Find(mAtom[g]);
            if (r == s) continue;
            (r == o ? shared : kept).push_back(h);
        }
    }

    // The Euler characteristic of the union of a and b, from the edges they
    // share: every shared edge joins two corners' fans at each of its ends,
    // and a vertex whose whole closed fan then lies in the union closes a
    // cycle of fans (one joining too many).
    int JoinedChi(int a, int b, const std::vector<int>& shared) {
        int closed = 0;
        mTouched.clear();
        for (int h : shared) {
            const int f = h / 3, k = h % 3;
            const int* t = &mAdj.triangles[3 * static_cast<size_t>(f)];
            for (int v : {t[k], t[(k + 1) % 3]}) {
                if (mVertexMark[v]) continue;
                mVertexMark[v] = 1;
                mTouched.push_back(v);
                if (mBoundaryVertex[v]) continue;
                bool whole = true;
                for (int i = mAdj.FacesBegin(v); i < mAdj.FacesEnd(v) && whole; ++i) {
                    const int r = Find(mAtom[mAdj.vertexFaces[i]]);
                    whole = r == a || r == b;
                }
                closed += whole ? 1 : 0;
            }
        }
        for (int v : mTouched) mVertexMark[v] = 0;
        return mChi[a] + mChi[b] - static_cast<int>(shared.size()) + closed;
    }

    // Drops merged-away and repeated entries from c's neighbour list.
    void Compact(int c) {
        std::vector<Neighbour>& list = mNeighbours[c];
        size_t out = 0;
        for (size_t i = 0; i < list.size(); ++i) {
            const int r = Find(list[i].chart);
            if (r == c) continue;
            if (mSlot[r] >= 0) {
                list[mSlot[r]].length += list[i].length;
                list[mSlot[r]].crease += list[i].crease;
                continue;
            }
            mSlot[r] = static_cast<int>(out);
            list[out++] = {r, list[i].length, list[i].crease};
        }
        list.resize(out);
        for (const Neighbour& n : list) mSlot[n.chart] = -1;
        mCompactSize[c] = std::max<size_t>(out, 3);
    }

    // Joins the two charts unless the union would not be a disc.
    void Merge(int a, int b, double sharedLength) {
        // The chart with the longer border list survives, so that each list
        // entry moves O(log n) times.
        int keep = a, gone = b;
        if (mBorder[b].size() > mBorder[a].size()) std::swap(keep, gone);
        SortBorder(gone, keep, mKept, mShared);
        const int chi = JoinedChi(keep, gone, mShared);
        if (chi != 1) {
            // Not a disc (an annulus around a hole, or a closed piece): the
            // pair is dropped until one of them grows and queues it again.
            return;
        }
        mParent[gone] = keep;
        mArea[keep] += mArea[gone];
        mCurvature[keep] += mCurvature[gone];
        mNormal[keep] += mNormal[gone];
        mPerimeter[keep] += mPerimeter[gone] - 2.0 * sharedLength;
        mChi[keep] = chi;
        std::vector<int>& border = mBorder[keep];
        border.insert(border.end(), mKept.begin(), mKept.end());
        std::vector<int>().swap(mBorder[gone]);

        // The lost chart's neighbours join the survivor's list; the list is
        // cleaned once it has doubled. Only merges whose shared border
        // changed are queued anew: the survivor's other queued merges are
        // re-costed as they come out.
        std::vector<Neighbour> moved;
        moved.swap(mNeighbours[gone]);
        std::vector<Neighbour>& list = mNeighbours[keep];
        list.insert(list.end(), moved.begin(), moved.end());
        if (list.size() > 2 * mCompactSize[keep]) Compact(keep);
        --mCount;
        PushPairs(keep, moved);
    }

    int Relabel(std::vector<int>& labels) {
        labels.assign(mAdj.faceCount, -1);
        std::vector<int> id(mParent.size(), -1);
        int count = 0;
        for (int f = 0; f < mAdj.faceCount; ++f) {
            const int r = Find(mAtom[f]);
            if (id[r] < 0) id[r] = count++;
            labels[f] = id[r];
        }
        return count;
    }

    const MeshAdjacency& mAdj;
    ClusteringLimits mLimits;
    std::vector<int> mAtom;    // per face: its atom, the first chart it belongs to
    std::vector<int> mParent;  // per atom: the atom it was merged into (itself while it leads a chart)
    std::vector<double> mArea;
    std::vector<double> mCurvature;  // absolute curvature held (see ClusteringLimits)
    std::vector<Vector3> mNormal;
    std::vector<double> mPerimeter;
    std::vector<int> mChi;
    std::vector<std::vector<Neighbour>> mNeighbours;
    std::vector<size_t> mCompactSize;
    std::vector<std::vector<int>> mBorder;
    std::vector<int> mSlot;  // per chart id: its index in a list being cleaned, or a mark
    std::vector<char> mBoundaryVertex;
    std::vector<char> mVertexMark;
    std::vector<int> mKept, mShared, mTouched, mPushed;
    MergeQueue mQueue;
    int mCount = 0;
};

}  // namespace

std::vector<double> _AbsoluteCurvatureShares(const MeshAdjacency& adj, const std::vector<double>& cornerAngles) {
    std::vector<double> turn(adj.vertexCount, 0.0);
    for (size_t h = 0; h < 3 * static_cast<size_t>(adj.faceCount); ++h) turn[adj.triangles[h]] += cornerAngles[h];
    const std::vector<char> open = adj.BoundaryVertices();  // on the mesh's boundary: no defect
    std::vector<double> shares(adj.faceCount, 0.0);
    for (int f = 0; f < adj.faceCount; ++f) {
        for (int k = 0; k < 3; ++k) {
            const size_t h = 3 * static_cast<size_t>(f) + k;
            const int v = adj.triangles[h];
            if (open[v] || !(turn[v] > 0.0)) continue;
            shares[f] += std::fabs(2.0 * ORVO_PI - turn[v]) * cornerAngles[h] / turn[v];
        }
    }
    return shares;
}

// The union's normal spread (squared, over a scale, so that it only counts
// once the union is clearly curved) plus its roundness (perimeter squared over
// area, 1 for a disc) times a weight, divided by the square of the share of
// the smaller perimeter the two have in common: a chart mostly surrounded by
// another is taken in first, so flat stretches end in large charts and curved
// ones in small charts, which for a given count keeps the seams short.
double _ChartMergeCost(const ChartShape& a, const ChartShape& b, double length, double crease,
                       const ClusteringLimits& limits) {
    if (!(length > 0.0)) return -1.0;
    if (crease > 0.5 * length) return -1.0;
    const double area = a.area + b.area;
    const double spread = std::max(0.0, 1.0 - (a.normal + b.normal).Length() / area);
    if (spread > limits.maxSpread) return -1.0;
    const double perimeter = std::max(0.0, a.perimeter + b.perimeter - 2.0 * length);
    const double roundness = perimeter * perimeter / (4.0 * ORVO_PI * area);
    const double shared = length / std::min(a.perimeter, b.perimeter);
    const double curved = spread / limits.spreadScale;
    return (curved * curved + limits.roundnessWeight * roundness) / (shared * shared);
}

int _ClusterFaces(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                  const ClusteringLimits& limits, std::vector<int>& labels) {
    Clustering clustering(adj, geo, coords, limits);
    return clustering.Run(labels);
}

}  // namespace ORVO
