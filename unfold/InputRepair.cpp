// The working copy of the caller's mesh for the options form of the atlas:
// welded, then oriented, with the map back to the caller's vertices and
// corner order.

#include "unfold/InputRepair.h"

#include "unfold/UndirectedEdgeTable.h"

namespace ORVO {

void _RepairInput(const ITriMesh* mesh, double diagonal, bool weld, bool orient, RepairedInput& result) {
    const int vertexCount = mesh->GetVertexCount();
    const int faceCount = mesh->GetTriangleCount();
    result = RepairedInput();
    std::vector<int> kept;
    if (weld) {
        result.weldedVertices = _WeldVertices(mesh, kWeldTolerance * diagonal, kept);
    }
    // Kept vertices are renumbered in their own order, so that the copy's
    // vertex order follows the caller's.
    result.vertexOf.resize(vertexCount);
    int workingCount = 0;
    for (int v = 0; v < vertexCount; ++v) {
        const int k = weld ? kept[v] : v;
        result.vertexOf[v] = k == v ? workingCount++ : result.vertexOf[k];
    }
    std::vector<int> corners;
    _ReadTriangleCorners(mesh, corners);
    for (int& c : corners) c = result.vertexOf[c];
    std::vector<double> coords(3 * static_cast<size_t>(workingCount));
    for (int v = 0; v < vertexCount; ++v) {
        if ((weld ? kept[v] : v) != v) continue;
        const Vector3 p = mesh->GetVertexCoord(v);
        double* q = &coords[3 * static_cast<size_t>(result.vertexOf[v])];
        q[0] = p.x;
        q[1] = p.y;
        q[2] = p.z;
    }
    if (orient) result.turnedFaces = _OrientFaces(corners, coords, workingCount, result.turned);
    if (result.weldedVertices == 0 && result.turnedFaces == 0) {
        result.turned.clear();
        return;
    }
    result.turned.resize(faceCount, 0);
    auto copy = std::make_unique<TriMesh>();
    copy->ReserveVertices(workingCount);
    copy->ReserveTriangles(faceCount);
    for (int v = 0; v < workingCount; ++v)
        copy->InsertVertex(Vector3(coords[3 * v], coords[3 * v + 1], coords[3 * v + 2]));
    for (int f = 0; f < faceCount; ++f) {
        const int* t = &corners[3 * static_cast<size_t>(f)];
        if (result.turned[f]) {
            copy->InsertTriangle(t[0], t[2], t[1]);
        } else {
            copy->InsertTriangle(t[0], t[1], t[2]);
        }
    }
    result.mesh = std::move(copy);
}

}  // namespace ORVO
