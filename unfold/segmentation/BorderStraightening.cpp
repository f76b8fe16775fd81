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
        mRegionFaces.resize(regionCount);
        mRegionArea.assign(regionCount, 0.0);
        for (int f = 0; f < faces; ++f) {
            mRegionFaces[labels[f]].push_back(f);
            mRegionArea[labels[f]] += geo.weight[f];
        }
        mVertexStamp.assign(adj.vertexCount, 0);
        mSearchStamp.assign(adj.vertexCount, 0);
        mDistance.assign(adj.vertexCount, 0);
        mCost.assign(adj.vertexCount, 0.0);
        mPrevious.assign(adj.vertexCount, -1);
        mFaceStamp.assign(faces, 0);
        mHalfEdgeStamp.assign(3 * static_cast<size_t>(faces), 0);
        mChainStamp.assign(3 * static_cast<size_t>(faces), 0);
        mLocalIndex.assign(faces, -1);
        mSide.assign(faces, -1);
    }

    int Run() {
        int moved = 0;
        for (int pass = 0; pass < mSettings.passes; ++pass) {
            std::vector<Chain> chains;
            FindChains(chains);
            int movedNow = 0;
            for (const Chain& chain : chains) {
                // A move next to one of its corners may have shifted it.
                if (!StillValid(chain)) continue;
                if (Straighten(chain)) ++movedNow;
            }
            moved += movedNow;
            if (movedNow == 0) break;
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

    double EdgeWeight(int h) const {
        const int g = Across(h);
        const double cosine = g >= 0 ? mGeo.normal[h / 3] * mGeo.normal[g] : 1.0;
        return _BorderEdgeWeight((mCoords[To(h)] - mCoords[From(h)]).Length(), cosine);
    }

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
    bool Passable(int v, int a, int b) const {
        if (mVertexStamp[v] != mStamp || mDistance[v] >= mSettings.bandRings || mBoundaryVertex[v]) return false;
        for (int i = mAdj.FacesBegin(v); i < mAdj.FacesEnd(v); ++i) {
            const int l = mLabels[mAdj.vertexFaces[i]];
            if (l != a && l != b) return false;
        }
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

        // The two charts' faces, regrouped: sides of the new path, with every
        // other border between the two charts kept where it is.
        for (int h : path) MarkEdge(h, mHalfEdgeStamp);
        for (int h : chain.halfEdges) MarkEdge(h, mChainStamp);
        std::vector<int> faces;
        faces.reserve(mRegionFaces[a].size() + mRegionFaces[b].size());
        faces.insert(faces.end(), mRegionFaces[a].begin(), mRegionFaces[a].end());
        faces.insert(faces.end(), mRegionFaces[b].begin(), mRegionFaces[b].end());
        for (int f : faces) mSide[f] = -1;
        std::vector<int> stack, part;
        std::vector<int> newLabel(faces.size());
        for (size_t i = 0; i < faces.size(); ++i) mLocalIndex[faces[i]] = static_cast<int>(i);
        bool ok = true;
        for (int seed : faces) {
            if (mSide[seed] >= 0) continue;
            part.clear();
            stack.assign(1, seed);
            mSide[seed] = 1;
            double areaA = 0.0, areaB = 0.0;
            while (!stack.empty()) {
                const int f = stack.back();
                stack.pop_back();
                part.push_back(f);
                (mLabels[f] == a ? areaA : areaB) += mGeo.weight[f];
                for (int k = 0; k < 3; ++k) {
                    const int h = 3 * f + k, g = Across(h);
                    if (g < 0 || mSide[g] >= 0 || (mLabels[g] != a && mLabels[g] != b)) continue;
                    if (mHalfEdgeStamp[h] == mStamp) continue;
                    if (mLabels[g] != mLabels[f] && mChainStamp[h] != mStamp) continue;
                    mSide[g] = 1;
                    stack.push_back(g);
                }
            }
            const int label = areaA >= areaB ? a : b;
            for (int f : part) newLabel[mLocalIndex[f]] = label;
        }
        // Faces may change hands only inside the band, and not too many.
        double handed = 0.0;
        for (size_t i = 0; i < faces.size() && ok; ++i) {
            const int f = faces[i];
            if (newLabel[i] == mLabels[f]) continue;
            ok = mFaceStamp[f] == mStamp;
            handed += mGeo.weight[f];
        }
        ok = ok && handed <= mSettings.maxAreaShare * std::min(mRegionArea[a], mRegionArea[b]);
        std::vector<int> facesA, facesB;
        if (ok) {
            for (size_t i = 0; i < faces.size(); ++i) (newLabel[i] == a ? facesA : facesB).push_back(faces[i]);
            ok = !facesA.empty() && !facesB.empty();
        }
        for (int f : faces) mLocalIndex[f] = -1;
        if (!ok) return false;

        std::vector<std::pair<int, int>> undo;
        for (size_t i = 0; i < faces.size(); ++i) {
            if (newLabel[i] == mLabels[faces[i]]) continue;
            undo.push_back({faces[i], mLabels[faces[i]]});
            mLabels[faces[i]] = newLabel[i];
        }
        ok = IsDisc(a, facesA) && IsDisc(b, facesB);
        if (!ok) {
            for (const auto& [f, l] : undo) mLabels[f] = l;
            return false;
        }
        mRegionFaces[a].swap(facesA);
        mRegionFaces[b].swap(facesB);
        for (int l : {a, b}) {
            mRegionArea[l] = 0.0;
            for (int f : mRegionFaces[l]) mRegionArea[l] += mGeo.weight[f];
        }
        return true;
    }

    bool IsDisc(int label, const std::vector<int>& faces) {
        std::vector<std::vector<int>> parts;
        mSeen.resize(mAdj.faceCount, 0);
        _ConnectedParts(mAdj, mLabels, label, faces, mSeen, parts);
        if (parts.size() != 1) return false;
        return _EulerCharacteristic(mAdj, mLabels, label, faces, mLocalIndex) == 1;
    }

    const MeshAdjacency& mAdj;
    const FaceGeometry& mGeo;
    const std::vector<Vector3>& mCoords;
    const StraighteningSettings& mSettings;
    std::vector<int>& mLabels;
    Vector3 mChordStart, mChordEnd;
    std::vector<char> mBoundaryVertex;
    std::vector<std::vector<int>> mRegionFaces;
    std::vector<double> mRegionArea;
    unsigned mStamp = 0, mSearch = 0;
    std::vector<unsigned> mVertexStamp, mSearchStamp, mFaceStamp, mHalfEdgeStamp, mChainStamp;
    std::vector<int> mDistance;
    std::vector<double> mCost;
    std::vector<int> mPrevious;
    std::vector<int> mLocalIndex;
    std::vector<int> mSide;
    std::vector<char> mSeen;
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
