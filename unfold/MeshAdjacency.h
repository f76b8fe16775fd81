#pragma once
// Flat connectivity of a triangle mesh for the atlas stages: the triangles as
// one id array, the faces around every vertex, and the face across every edge.

#include <QarnUVAtlas/TriMesh.h>

#include <vector>

namespace ORVO {

struct MeshAdjacency {
    int vertexCount = 0;
    int faceCount = 0;
    std::vector<int> triangles;        // 3 vertex ids per face
    std::vector<int> vertexFaceStart;  // faces of v: vertexFaces[vertexFaceStart[v] .. vertexFaceStart[v+1])
    std::vector<int> vertexFaces;
    // Face across edge k (corner k to corner k+1) of face f at 3f+k; -1 on the
    // boundary and on edges shared by more than two faces.
    std::vector<int> faceNeighbours;

    void Build(const ITriMesh* mesh);
    // Builds from an id array already in hand (3 per face).
    void Build(std::vector<int> triangleIds, int vertexCountIn);

    int FacesBegin(int v) const { return vertexFaceStart[v]; }
    int FacesEnd(int v) const { return vertexFaceStart[v + 1]; }
    // Per vertex, 1 when it ends an edge without a face across (the boundary,
    // or an edge shared by more than two faces).
    std::vector<char> BoundaryVertices() const;
};

}  // namespace ORVO
