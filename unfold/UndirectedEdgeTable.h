#pragma once
// The half-edges of a triangle list grouped by the undirected edge they lie
// on. Cutting, boundary walking and the manifold repair all need to know which
// triangles meet along an edge; grouping by the lower vertex id and sorting
// each (small) group by the higher id does that in near-linear time, without
// a hash table, and gives the same numbering on every run.
//
// Half-edge h = 3f + k runs from corner k of face f to corner (k + 1) % 3;
// corner h of a face is the vertex the half-edge starts at.

#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

// Copies the vertex ids of every triangle of mesh into corners (3 per face).
// Returns 0, or -2 when a vertex id lies outside [0, vertex count).
int _ReadTriangleCorners(const ITriMesh* mesh, std::vector<int>& corners);

// Vertex-to-face incidence of the triangles `corners` (3 ids per face, each in
// [0, vertexCount)): the faces around v are faces[start[v] .. start[v + 1]), in
// id order.
void _IncidentFaces(const std::vector<int>& corners, int vertexCount, std::vector<int>& start,
                    std::vector<int>& faces);

// The half-edge of the same face that follows / precedes h.
inline int _NextHalfEdge(int h) { return (h % 3 == 2) ? h - 2 : h + 1; }
inline int _PrevHalfEdge(int h) { return (h % 3 == 0) ? h + 2 : h - 1; }

class UndirectedEdgeTable {
public:
    // corners: 3 vertex ids per face, all in [0, vertexCount).
    void Build(const std::vector<int>& corners, int vertexCount);

    int EdgeCount() const { return static_cast<int>(mEdgeLow.size()); }
    // Edge of half-edge h; -1 when both of its ends are the same vertex.
    int EdgeOf(int h) const { return mEdgeOfHalfEdge[h]; }
    // The half-edges on edge e, in increasing half-edge (= face) order.
    const int* HalfEdgesBegin(int e) const { return mHalfEdges.data() + mEdgeStart[e]; }
    const int* HalfEdgesEnd(int e) const { return mHalfEdges.data() + mEdgeStart[e + 1]; }
    int HalfEdgeCount(int e) const { return mEdgeStart[e + 1] - mEdgeStart[e]; }
    int LowVertex(int e) const { return mEdgeLow[e]; }
    int HighVertex(int e) const { return mEdgeHigh[e]; }
    // The edge joining a and b, or -1 when no triangle has it (or a == b, or
    // either id is out of range).
    int FindEdge(int a, int b) const;

private:
    std::vector<int> mEdgeOfHalfEdge;
    std::vector<int> mEdgeStart;
    std::vector<int> mHalfEdges;
    std::vector<int> mEdgeLow;
    std::vector<int> mEdgeHigh;
    // Edges are numbered by (low, high): those of low vertex v are
    // mVertexEdgeStart[v] .. mVertexEdgeStart[v + 1] - 1.
    std::vector<int> mVertexEdgeStart;
};

// Disjoint sets over triangle corners. The representative of a set is always
// its smallest member, so "the first wedge" of a vertex is simply the set that
// holds the vertex's lowest corner, independent of the union order.
class CornerDisjointSets {
public:
    void Reset(int count) {
        mParent.resize(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) mParent[i] = i;
    }
    int Find(int x) {
        while (mParent[x] != x) {
            mParent[x] = mParent[mParent[x]];
            x = mParent[x];
        }
        return x;
    }
    void Union(int a, int b) {
        a = Find(a);
        b = Find(b);
        if (a < b) {
            mParent[b] = a;
        } else if (b < a) {
            mParent[a] = b;
        }
    }

private:
    std::vector<int> mParent;
};

}  // namespace ORVO
