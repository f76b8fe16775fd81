// The face adjacency every atlas stage walks: checked against a search of all
// face pairs on meshes with boundaries, fins (edges held by three faces) and
// faces that name a vertex twice.

#include <QarnUVAtlas/TriMesh.h>

#include "TestMeshes.h"
#include "unfold/MeshAdjacency.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using ORVO::MeshAdjacency;
using ORVO::TriMesh;
using ORVO::Vector3;

// The face across edge k of face f: the one other face that holds both ends
// of the edge, or -1 when none or several do (or the edge has one end twice).
int FaceAcross(const MeshAdjacency& adj, int f, int k) {
    const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
    const int a = t[k], b = t[(k + 1) % 3];
    if (a == b) return -1;
    int found = -1, count = 0;
    for (int g = 0; g < adj.faceCount; ++g) {
        if (g == f) continue;
        const int* s = &adj.triangles[3 * static_cast<size_t>(g)];
        if (std::count(s, s + 3, a) && std::count(s, s + 3, b)) {
            found = g;
            ++count;
        }
    }
    return count == 1 ? found : -1;
}

void ExpectAdjacencyOf(const TriMesh& mesh) {
    MeshAdjacency adj;
    adj.Build(&mesh);
    ASSERT_EQ(adj.faceCount, mesh.GetTriangleCount());
    ASSERT_EQ(adj.faceNeighbours.size(), 3 * static_cast<size_t>(adj.faceCount));
    for (int f = 0; f < adj.faceCount; ++f) {
        for (int k = 0; k < 3; ++k) {
            const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            EXPECT_EQ(g, FaceAcross(adj, f, k)) << "face " << f << " edge " << k;
            if (g < 0) continue;
            // The neighbour points back across the same edge.
            const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
            const int* s = &adj.triangles[3 * static_cast<size_t>(g)];
            bool back = false;
            for (int j = 0; j < 3; ++j) {
                const bool sameEdge = (s[j] == t[k] && s[(j + 1) % 3] == t[(k + 1) % 3]) ||
                                      (s[j] == t[(k + 1) % 3] && s[(j + 1) % 3] == t[k]);
                back = back || (sameEdge && adj.faceNeighbours[3 * static_cast<size_t>(g) + j] == f);
            }
            EXPECT_TRUE(back) << "face " << f << " edge " << k;
        }
    }
    // Each vertex lists every face that holds it, once.
    for (int v = 0; v < adj.vertexCount; ++v) {
        std::vector<int> listed(adj.vertexFaces.begin() + adj.FacesBegin(v), adj.vertexFaces.begin() + adj.FacesEnd(v));
        std::vector<int> holding;
        for (int f = 0; f < adj.faceCount; ++f) {
            const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
            if (std::count(t, t + 3, v)) holding.push_back(f);
        }
        std::sort(listed.begin(), listed.end());
        EXPECT_EQ(listed, holding) << "vertex " << v;
    }
}

TEST(MeshAdjacency, ClosedAndOpenSurfaces) {
    {
        SCOPED_TRACE("icosphere");
        ExpectAdjacencyOf(testmesh::Icosphere(2));
    }
    {
        SCOPED_TRACE("grid");
        ExpectAdjacencyOf(testmesh::Grid(5, 4));
    }
}

// A fin (three faces on one edge) leaves that edge without a neighbour on
// every side; a face that names a vertex twice meets its neighbours across
// both of its non-degenerate edges, and faces of mixed orientation still meet.
TEST(MeshAdjacency, FinsDegenerateFacesAndMixedOrientation) {
    TriMesh mesh;
    for (int i = 0; i < 8; ++i) mesh.InsertVertex(Vector3(i % 3, i / 3, 0.1 * i));
    mesh.InsertTriangle(0, 1, 3);  // three faces on edge 0-1
    mesh.InsertTriangle(1, 0, 4);
    mesh.InsertTriangle(0, 1, 5);
    mesh.InsertTriangle(1, 5, 6);  // beside the third, across 1-5
    mesh.InsertTriangle(6, 5, 7);  // opposite orientation across 5-6
    mesh.InsertTriangle(3, 3, 1);  // names vertex 3 twice, on edge 1-3
    mesh.InsertTriangle(4, 2, 0);  // open on two edges
    ExpectAdjacencyOf(mesh);
    MeshAdjacency adj;
    adj.Build(&mesh);
    for (int f = 0; f < 3; ++f) EXPECT_EQ(adj.faceNeighbours[3 * f], -1) << f;  // edge 0-1 of each
    EXPECT_EQ(adj.faceNeighbours[3 * 3 + 0], 2);  // across 1-5
    EXPECT_EQ(adj.faceNeighbours[3 * 4 + 0], 3);  // across 6-5
}

}  // namespace
