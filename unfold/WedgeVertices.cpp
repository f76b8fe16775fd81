#include "unfold/WedgeVertices.h"

namespace ORVO {

void _AssignWedgeVertices(CornerDisjointSets& sets, int vertexCount, std::vector<int>& corners,
                          std::vector<int>& sources) {
    sources.clear();
    const int cornerCount = static_cast<int>(corners.size());
    // A set's representative is its lowest corner, so scanning corners in
    // order meets every set first at its representative.
    std::vector<int> setVertex(static_cast<size_t>(cornerCount), -1);
    std::vector<char> vertexTaken(static_cast<size_t>(vertexCount), 0);
    for (int c = 0; c < cornerCount; ++c) {
        const int root = sets.Find(c);
        if (root == c) {
            const int v = corners[c];
            if (!vertexTaken[v]) {
                vertexTaken[v] = 1;
                setVertex[c] = v;
            } else {
                setVertex[c] = vertexCount + static_cast<int>(sources.size());
                sources.push_back(v);
            }
        }
        corners[c] = setVertex[root];
    }
}

void _AppendVertexCopies(ITriMesh* mesh, const std::vector<int>& sources) {
    if (sources.empty()) return;
    // A connectivity-only mesh has no coordinates to copy; it grows by count.
    if (TopologyMesh* topo = dynamic_cast<TopologyMesh*>(mesh)) {
        topo->SetVertexCount(topo->GetVertexCount() + static_cast<int>(sources.size()));
        return;
    }
    TriMesh* tri = dynamic_cast<TriMesh*>(mesh);
    if (tri) tri->ReserveVertices(mesh->GetVertexCount() + static_cast<int>(sources.size()));
    const bool normals = mesh->HasVertexNormal();
    for (int source : sources) {
        const int id = mesh->InsertVertex(mesh->GetVertexCoord(source));
        if (normals) mesh->SetVertexNormal(id, mesh->GetVertexNormal(source));
        if (tri) {
            if (tri->HasVertexColor()) tri->SetVertexColor(id, tri->GetVertexColor(source));
            if (tri->HasVertexTexCoord()) tri->SetVertexTexcoord(id, tri->GetVertexTexcoord(source));
        }
    }
}

void _WriteChangedTriangles(ITriMesh* mesh, const std::vector<int>& previous, const std::vector<int>& corners) {
    const int triangleCount = static_cast<int>(corners.size() / 3);
    for (int f = 0; f < triangleCount; ++f) {
        const size_t c = 3 * static_cast<size_t>(f);
        if (previous[c] != corners[c] || previous[c + 1] != corners[c + 1] || previous[c + 2] != corners[c + 2]) {
            mesh->SetTriangleVertexIds(f, corners[c], corners[c + 1], corners[c + 2]);
        }
    }
}

}  // namespace ORVO
