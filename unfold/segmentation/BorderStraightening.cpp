// Border straightening (see BorderStraightening.h).

#include "unfold/segmentation/BorderStraightening.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <queue>
#include <utility>

namespace ORVO {
namespace {

constexpr double kChordPull = 0.5;

// One stretch of border between two charts, corner to corner.
struct Chain {
    int labelA = -1, labelB = -1;
    std::vector<int> vertices;    // corner, ..., corner
    std::vector<int> halfEdges;   // for each step, the half-edge of the face on one side
};

class Straightener {
public:
    Straightener(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                 const StraighteningSettings& settings, int regionCount, std::vector<int>& labels)
        : mAdj(adj), mGeo(geo), mCoords(coords), mSettings(settings), mLabels(labels) {
        const int faces = adj.faceCount;
        mBoundaryVertex.assign(adj.vertexCount, 0);
        for (int h = 0; h < 3 * faces; ++h) {
            if (adj.faceNeighbours[h] >= 0) continue;
            const int* t = &adj.triangles[3 * static_cast<size_t>(h / 3)];
            mBoundaryVertex[t[h % 3]] = 1;
            mBoundaryVertex[t[(h % 3 + 1) % 3]] = 1;
        }
        mRegionArea.assign(regionCount, 0.0);
        for (int f = 0; f < faces; ++f) mRegionArea[labels[f]] += geo.weight[f];
        mEdgeWeight.resize(3 * static_cast<size_t>(faces));
        for (int h = 0; h < 3 * faces; ++h) {
            const int g = Across(h);
            const double cosine = g >= 0 ? geo.normal[h / 3] * geo.normal[g] : 1.0;
            mEdgeWeight[h] = _BorderEdgeWeight((coords[To(h)] - coords[From(h)]).Length(), cosine);
        }
        mVertexStamp.assign(adj.vertexCount, 0);
        mPassStamp.assign(adj.vertexCount, 0);
        mPassable.assign(adj.vertexCount, 0);
        mSearchStamp.assign(adj.vertexCount, 0);
        mDistance.assign(adj.vertexCount, 0);
        mCost.assign(adj.vertexCount, 0.0);
        mPrevious.assign(adj.vertexCount, -1);
        mFaceStamp.assign(faces, 0);
        mHalfEdgeStamp.assign(3 * static_cast<size_t>(faces), 0);
        mChainStamp.assign(3 * static_cast<size_t>(faces), 0);
        mSide.assign(faces, -1);
    }

    int Run() {
        int moved = 0;
        // A chain that did not move in one pass moves in the next only if a
        // chart on either side of it changed meanwhile.
        std::vector<char> changed(mRegionArea.size(), 1), changedNow(mRegionArea.size(), 0);
        for (int pass = 0; pass < mSettings.passes; ++pass) {
            std::vector<Chain> chains;
            FindChains(chains);
            int movedNow = 0;
            for (const Chain& chain : chains) {
                if (!changed[chain.labelA] && !changed[chain.labelB]) continue;
                // A move next to one of its corners may have shifted it.
                if (!StillValid(chain)) continue;
                if (!Straighten(chain)) continue;
                ++movedNow;
                changedNow[chain.labelA] = changedNow[chain.labelB] = 1;
            }
            moved += movedNow;
            if (movedNow == 0) break;
            changed.swap(changedNow);
            std::fill(changedNow.begin(), changedNow.end(), 0);
        }
        return moved;
    }

private:
    int Across(int h) const { return mAdj.faceNeighbours[h]; }
    int From(int h) const { return mAdj.triangles[h]; }
    int To(int h) const { return mAdj.triangles[3 * (h / 3) + (h % 3 + 1) % 3]; }

    bool IsBorder(int h) const {
        const int g = Across(h);
        return g >= 0 && mLabels[g] != mLabels[h / 3];
    }

    double EdgeWeight(int h) const { return mEdgeWeight[h]; }

    // The edge weight, raised a little with the distance from the straight
    // segment between the chain's corners: on regular meshes many edge paths
    // are equally short, and of those the one nearest the segment looks straight.
    double PathWeight(int h) const {
        const Vector3 mid = (mCoords[From(h)] + mCoords[To(h)]) * 0.5;
        const Vector3 chord = mChordEnd - mChordStart;
        const double length2 = chord.LengthSquared();
        if (!(length2 > 0.0)) return EdgeWeight(h);
        const double t = std::max(0.0, std::min(1.0, ((mid - mChordStart) * chord) / length2));
        const double off = (mid - (mChordStart + chord * t)).Length() / std::sqrt(length2);
        return EdgeWeight(h) * (1.0 + kChordPull * off);
    }

    // Border edges (one half-edge each, on the lower face) listed per vertex;
    // chains run between corners: vertices on the mesh boundary or with other
    // than two border edges.
    void FindChains(std::vector<Chain>& chains) {
        const int vertices = mAdj.vertexCount;
        std::vector<int> start(static_cast<size_t>(vertices) + 1, 0);
        std::vector<int> edges;
        for (int h = 0; h < 3 * mAdj.faceCount; ++h) {
            if (!IsBorder(h) || Across(h) < h / 3) continue;
            edges.push_back(h);
            ++start[From(h) + 1];
            ++start[To(h) + 1];
        }
        for (int v = 0; v < vertices; ++v) start[v + 1] += start[v];
        std::vector<int> incident(start[vertices]);
        std::vector<int> fill(start.begin(), start.end() - 1);
        for (size_t e = 0; e < edges.size(); ++e) {
            incident[fill[From(edges[e])]++] = static_cast<int>(e);
            incident[fill[To(edges[e])]++] = static_cast<int>(e);
        }
        auto corner = [&](int v) { return mBoundaryVertex[v] || start[v + 1] - start[v] != 2; };
        std::vector<char> used(edges.size(), 0);
        for (int c = 0; c < vertices; ++c) {
            if (!corner(c)) continue;
            for (int i = start[c]; i < start[c + 1]; ++i) {
                int e = incident[i];
                if (used[e]) continue;
                Chain chain;
                chain.labelA = mLabels[edges[e] / 3];
                chain.labelB = mLabels[Across(edges[e])];
                chain.vertices.push_back(c);
                int v = c;
                for (;;) {
                    used[e] = 1;
                    const int h = edges[e];
                    const int w = From(h) == v ? To(h) : From(h);
                    chain.halfEdges.push_back(h);
                    chain.vertices.push_back(w);
                    if (corner(w)) break;
                    const int a = incident[start[w]], b = incident[start[w] + 1];
                    e = a == e ? b : a;
                    if (used[e]) break;
                    v = w;
                }
                if (chain.vertices.front() != chain.vertices.back() && chain.halfEdges.size() >= 2)
                    chains.push_back(std::move(chain));
            }
        }
    }

    // Border edges at v (each edge once).
    int BorderDegree(int v) const {
        int degree = 0;
        for (int i = mAdj.FacesBegin(v); i < mAdj.FacesEnd(v); ++i) {
            const int f = mAdj.vertexFaces[i];
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k;
                if ((From(h) == v || To(h) == v) && IsBorder(h) && Across(h) > f) ++degree;
            }
        }
        return degree;
    }

    bool StillValid(const Chain& chain) const {
        for (int h : chain.halfEdges) {
            const int la = mLabels[h / 3], lb = mLabels[Across(h)];
            if (!((la == chain.labelA && lb == chain.labelB) || (la == chain.labelB && lb == chain.labelA))) return false;
        }
        for (size_t i = 1; i + 1 < chain.vertices.size(); ++i) {
            if (BorderDegree(chain.vertices[i]) != 2) return false;
        }
        return true;
    }

    // Vertex rings around the chain, inside the two charts. Band faces are
    // those of the two charts with a corner closer than bandRings.
    void BuildBand(const Chain& chain, int a, int b, std::vector<int>& bandFaces) {
        ++mStamp;
        bandFaces.clear();
        std::vector<int> front = chain.vertices, next;
        for (int v : front) {
            mVertexStamp[v] = mStamp;
            mDistance[v] = 0;
        }
        for (int d = 0; d < mSettings.bandRings && !front.empty(); ++d) {
            next.clear();
            for (int u : front) {
                for (int i = mAdj.FacesBegin(u); i < mAdj.FacesEnd(u); ++i) {
                    const int f = mAdj.vertexFaces[i];
                    if (mLabels[f] != a && mLabels[f] != b) continue;
                    if (mFaceStamp[f] != mStamp) {
                        mFaceStamp[f] = mStamp;
                        bandFaces.push_back(f);
                    }
                    const int* t = &mAdj.triangles[3 * static_cast<size_t>(f)];
                    for (int k = 0; k < 3; ++k) {
                        if (mVertexStamp[t[k]] == mStamp) continue;
                        mVertexStamp[t[k]] = mStamp;
                        mDistance[t[k]] = d + 1;
                        next.push_back(t[k]);
                    }
                }
            }
            front.swap(next);
        }
    }

    // Whether the path may pass through v: inside the band, away from the
    // mesh boundary, and with every face around it in one of the two charts.
    // (Asked again and again during one search, so remembered for it.)
    bool Passable(int v, int a, int b) {
        if (mPassStamp[v] == mSearch) return mPassable[v];
        mPassStamp[v] = mSearch;
        mPassable[v] = 0;
        if (mVertexStamp[v] != mStamp || mDistance[v] >= mSettings.bandRings || mBoundaryVertex[v]) return false;
        for (int i = mAdj.FacesBegin(v); i < mAdj.FacesEnd(v); ++i) {
            const int l = mLabels[mAdj.vertexFaces[i]];
            if (l != a && l != b) return false;
        }
        mPassable[v] = 1;
        return true;
    }

    // Cheapest path from the chain's first corner to its last through
    // passable vertices; returns its half-edges (one per step) and cost.
    bool ShortestPath(const Chain& chain, int a, int b, std::vector<int>& path, double& cost) {
        const int source = chain.vertices.front(), target = chain.vertices.back();
        ++mSearch;
        using Entry = std::pair<double, int>;
        std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> queue;
        auto visit = [&](int v, double c, int via) {
            if (mSearchStamp[v] == mSearch && mCost[v] <= c) return;
            mSearchStamp[v] = mSearch;
            mCost[v] = c;
            mPrevious[v] = via;
            queue.push({c, v});
        };
        visit(source, 0.0, -1);
        while (!queue.empty()) {
            const auto [c, u] = queue.top();
            queue.pop();
            if (c > mCost[u]) continue;
            if (u == target) break;
            if (u != source && !Passable(u, a, b)) continue;
            for (int i = mAdj.FacesBegin(u); i < mAdj.FacesEnd(u); ++i) {
                const int f = mAdj.vertexFaces[i];
                const int* t = &mAdj.triangles[3 * static_cast<size_t>(f)];
                for (int k = 0; k < 3; ++k) {
                    if (t[k] != u) continue;
                    // Both edges of f at u, as half-edges of f.
                    for (int h : {3 * f + k, 3 * f + (k + 2) % 3}) {
                        const int w = From(h) == u ? To(h) : From(h);
                        if (w != target && !Passable(w, a, b)) continue;
                        visit(w, c + PathWeight(h), h);
                    }
                }
            }
        }
        if (mSearchStamp[target] != mSearch) return false;
        cost = mCost[target];
        path.clear();
        for (int v = target; v != source;) {
            const int h = mPrevious[v];
            path.push_back(h);
            v = From(h) == v ? To(h) : From(h);
        }
        return true;
    }

    void MarkEdge(int h, std::vector<unsigned>& stamps) {
        stamps[h] = mStamp;
        const int g = Across(h);
        if (g < 0) return;
        const int from = From(h), to = To(h);
        for (int k = 0; k < 3; ++k) {
            const int e = 3 * g + k;
            if ((From(e) == from && To(e) == to) || (From(e) == to && To(e) == from)) stamps[e] = mStamp;
        }
    }

    bool Straighten(const Chain& chain) {
        const int a = chain.labelA, b = chain.labelB;
        std::vector<int> bandFaces, path;
        BuildBand(chain, a, b, bandFaces);
        mChordStart = mCoords[chain.vertices.front()];
        mChordEnd = mCoords[chain.vertices.back()];
        double oldCost = 0.0;
        for (int h : chain.halfEdges) oldCost += PathWeight(h);
        double newCost = 0.0;
        if (!ShortestPath(chain, a, b, path, newCost)) return false;
        if (!(newCost < oldCost * (1.0 - 1e-9))) return false;

        // The band's faces, regrouped: each side of the new path goes to the
        // chart that holds the faces just outside the band on that side. An
        // edge is crossed unless it lies on the new path or on a border
        // between the two charts other than this chain.
        for (int h : path) MarkEdge(h, mHalfEdgeStamp);
        for (int h : chain.halfEdges) MarkEdge(h, mChainStamp);
        auto crossable = [&](int h, int f, int g) {
            if (mHalfEdgeStamp[h] == mStamp) return false;
            return mLabels[g] == mLabels[f] || mChainStamp[h] == mStamp;
        };
        std::vector<int> stack;
        for (int f : bandFaces) mSide[f] = -1;
        for (int f : bandFaces) {
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k, g = Across(h);
                if (g < 0 || mFaceStamp[g] == mStamp || (mLabels[g] != a && mLabels[g] != b)) continue;
                if (!crossable(h, f, g)) continue;
                if (mSide[f] >= 0 && mSide[f] != mLabels[g]) return false;  // both sides reach it: no separation
                if (mSide[f] < 0) stack.push_back(f);
                mSide[f] = mLabels[g];
            }
        }
        while (!stack.empty()) {
            const int f = stack.back();
            stack.pop_back();
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k, g = Across(h);
                if (g < 0 || mFaceStamp[g] != mStamp || !crossable(h, f, g)) continue;
                if (mSide[g] >= 0) {
                    if (mSide[g] != mSide[f]) return false;
                    continue;
                }
                mSide[g] = mSide[f];
                stack.push_back(g);
            }
        }
        // Faces change hands only inside the band, none left unreached, and
        // not too many of them.
        std::vector<int> moved;
        double toA = 0.0, toB = 0.0;
        for (int f : bandFaces) {
            if (mSide[f] < 0) return false;
            if (mSide[f] == mLabels[f]) continue;
            moved.push_back(f);
            (mSide[f] == a ? toA : toB) += mGeo.weight[f];
        }
        if (moved.empty()) return false;
        if (std::max(toA, toB) > mSettings.maxAreaShare * std::min(mRegionArea[a], mRegionArea[b])) return false;

        // Both charts must stay discs: their Euler characteristic, counted on
        // what the move touches, may not change (a chart broken in two, or
        // around a hole, would change it), and neither may vanish.
        const int beforeA = LocalEuler(moved, a), beforeB = LocalEuler(moved, b);
        for (int f : moved) std::swap(mLabels[f], mSide[f]);
        const int afterA = LocalEuler(moved, a), afterB = LocalEuler(moved, b);
        const double areaA = mRegionArea[a] + toA - toB, areaB = mRegionArea[b] + toB - toA;
        if (afterA != beforeA || afterB != beforeB || !(areaA > 0.0) || !(areaB > 0.0)) {
            for (int f : moved) std::swap(mLabels[f], mSide[f]);
            return false;
        }
        mRegionArea[a] = areaA;
        mRegionArea[b] = areaB;
        return true;
    }

    // The part of the Euler characteristic of the faces labelled `label`
    // (vertices counted once per fan, as the cut leaves them) that comes from
    // the given faces and the edges and vertices they touch.
    int LocalEuler(const std::vector<int>& faces, int label) {
        ++mStamp;
        int vertices = 0, edges = 0, count = 0;
        for (int f : faces) {
            count += mLabels[f] == label ? 1 : 0;
            const int* t = &mAdj.triangles[3 * static_cast<size_t>(f)];
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k, g = Across(h);
                // Each edge once: not again from a second moved face.
                const bool counted = g >= 0 && mFaceStamp[g] == mStamp;
                if (!counted && (mLabels[f] == label || (g >= 0 && mLabels[g] == label))) ++edges;
                const int v = t[k];
                if (mVertexStamp[v] == mStamp) continue;
                mVertexStamp[v] = mStamp;
                vertices += Fans(v, label);
            }
            mFaceStamp[f] = mStamp;
        }
        return vertices - edges + count;
    }

    // Fans of faces labelled `label` around v: such faces, less the edges at v
    // both of whose faces carry the label, plus one when they close the
    // whole ring around an inner vertex.
    int Fans(int v, int label) const {
        int faces = 0, joints = 0, all = 0;
        for (int i = mAdj.FacesBegin(v); i < mAdj.FacesEnd(v); ++i) {
            const int f = mAdj.vertexFaces[i];
            ++all;
            if (mLabels[f] != label) continue;
            ++faces;
            for (int k = 0; k < 3; ++k) {
                const int h = 3 * f + k, g = Across(h);
                if ((From(h) == v || To(h) == v) && g >= 0 && g > f && mLabels[g] == label) ++joints;
            }
        }
        return faces - joints + (faces == all && faces > 0 && !mBoundaryVertex[v] ? 1 : 0);
    }

    const MeshAdjacency& mAdj;
    const FaceGeometry& mGeo;
    const std::vector<Vector3>& mCoords;
    const StraighteningSettings& mSettings;
    std::vector<int>& mLabels;
    Vector3 mChordStart, mChordEnd;
    std::vector<char> mBoundaryVertex;
    std::vector<double> mRegionArea;
    unsigned mStamp = 0, mSearch = 0;
    std::vector<unsigned> mVertexStamp, mSearchStamp, mPassStamp, mFaceStamp, mHalfEdgeStamp, mChainStamp;
    std::vector<char> mPassable;
    std::vector<double> mEdgeWeight;  // per half-edge, see _BorderEdgeWeight
    std::vector<int> mDistance;
    std::vector<double> mCost;
    std::vector<int> mPrevious;
    std::vector<int> mSide;
};

}  // namespace

double _BorderEdgeWeight(double length, double normalCosine) {
    // 1 - cos is 0 on flat surface and 1 across a right angle.
    const double bend = std::max(0.0, 1.0 - normalCosine);
    return length / (1.0 + 4.0 * bend);
}

int _StraightenBorders(const MeshAdjacency& adj, const FaceGeometry& geo, const std::vector<Vector3>& coords,
                       const StraighteningSettings& settings, int regionCount, std::vector<int>& labels) {
    Straightener straightener(adj, geo, coords, settings, regionCount, labels);
    return straightener.Run();
}

}  // namespace ORVO
