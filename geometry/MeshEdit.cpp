// Topology edits on any ITriMesh: edge splits and the deletion of triangles
// and vertices. Deletions compact with swaps so every per-item attribute an
// implementation keeps moves with its item, and the survivors keep their order.

#include <QarnUVAtlas/MeshEdit.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

#include <algorithm>
#include <vector>

namespace ORVO {

namespace {

Vector3 Lerp(const Vector3& a, const Vector3& b, double s) { return a + (b - a) * s; }

// Moves the triangles not flagged in `remove` to the front, in order, and
// drops the rest.
void CompactTriangles(ITriMesh* mesh, const std::vector<char>& remove) {
    const int count = mesh->GetTriangleCount();
    int write = 0;
    for (int read = 0; read < count; ++read) {
        if (remove[read]) continue;
        if (read != write) mesh->SwapTriangles(write, read);
        ++write;
    }
    mesh->PopbackTriangles(count - write);
}

// Moves the vertices not flagged in `remove` to the front, in order, drops the
// rest and rewrites the triangles (which must not use a removed vertex).
void CompactVertices(ITriMesh* mesh, const std::vector<char>& remove) {
    const int count = mesh->GetVertexCount();
    std::vector<int> newId(static_cast<size_t>(count), -1);
    // A connectivity-only mesh has no per-vertex data to move.
    const bool hasVertexData = dynamic_cast<TopologyMesh*>(mesh) == nullptr;
    int write = 0;
    for (int read = 0; read < count; ++read) {
        if (remove[read]) continue;
        if (read != write && hasVertexData) mesh->SwapVertex(write, read);
        newId[read] = write++;
    }
    if (write == count) return;
    mesh->PopbackVertices(count - write);
    const int triangleCount = mesh->GetTriangleCount();
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        mesh->GetTriangleVertexIds(f, ids);
        mesh->SetTriangleVertexIds(f, newId[ids[0]], newId[ids[1]], newId[ids[2]]);
    }
}

// True when every triangle's vertex ids lie in [0, vertexCount).
bool TriangleIdsValid(const ITriMesh* mesh, int* badTriangle) {
    const int vertexCount = mesh->GetVertexCount();
    const int triangleCount = mesh->GetTriangleCount();
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        mesh->GetTriangleVertexIds(f, ids);
        for (int k = 0; k < 3; ++k) {
            if (ids[k] < 0 || ids[k] >= vertexCount) {
                *badTriangle = f;
                return false;
            }
        }
    }
    return true;
}

// Appends a vertex and returns its id, or -1 when the mesh did not grow.
int AppendVertex(ITriMesh* mesh, const Vector3& coord) {
    const int before = mesh->GetVertexCount();
    if (TopologyMesh* topo = dynamic_cast<TopologyMesh*>(mesh)) {
        topo->SetVertexCount(before + 1);
        return before;
    }
    const int id = mesh->InsertVertex(coord);
    return mesh->GetVertexCount() == before + 1 ? id : -1;
}

struct EdgeSide {
    int triangle;
    int corner;  // the side runs from this corner to the next
};

}  // namespace

int InsertVertexOnEdge(ITriMesh* triMesh, int v0, int v1, const Vector3& coord, int* newVertex) {
    if (!triMesh) {
        _LogFailure("InsertVertexOnEdge: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    if (v0 < 0 || v1 < 0 || v0 >= vertexCount || v1 >= vertexCount || v0 == v1) {
        _LogFailure("InsertVertexOnEdge: invalid edge vertex ids: ", v0, " ", v1);
        return STATUS_INVALID_INPUT;
    }

    std::vector<EdgeSide> sides;
    const int triangleCount = triMesh->GetTriangleCount();
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        triMesh->GetTriangleVertexIds(f, ids);
        for (int k = 0; k < 3; ++k) {
            const int a = ids[k], b = ids[(k + 1) % 3];
            if ((a == v0 && b == v1) || (a == v1 && b == v0)) {
                sides.push_back(EdgeSide{f, k});
                break;
            }
        }
    }
    if (sides.empty()) {
        _LogFailure("InsertVertexOnEdge: no triangle has the edge ", v0, " ", v1);
        return STATUS_INVALID_INPUT;
    }

    // Where the new vertex sits along v0 -> v1, for interpolating attributes.
    // A connectivity-only mesh has no coordinates (and no attributes).
    double t = 0.5;
    if (!dynamic_cast<TopologyMesh*>(triMesh)) {
        const Vector3 p0 = triMesh->GetVertexCoord(v0);
        const Vector3 edge = triMesh->GetVertexCoord(v1) - p0;
        const double edge2 = edge * edge;
        if (edge2 > 0.0) t = std::min(1.0, std::max(0.0, ((coord - p0) * edge) / edge2));
    }

    const int w = AppendVertex(triMesh, coord);
    if (w < 0) {
        _LogFailure("InsertVertexOnEdge: the mesh did not accept a new vertex");
        return STATUS_FAILED;
    }
    TriMesh* attributed = dynamic_cast<TriMesh*>(triMesh);
    if (triMesh->HasVertexNormal()) {
        Vector3 n = Lerp(triMesh->GetVertexNormal(v0), triMesh->GetVertexNormal(v1), t);
        n.Normalise();
        triMesh->SetVertexNormal(w, n);
    }
    if (attributed) {
        if (attributed->HasVertexColor()) {
            attributed->SetVertexColor(
                w, Lerp(attributed->GetVertexColor(v0), attributed->GetVertexColor(v1), t));
        }
        if (attributed->HasVertexTexCoord()) {
            attributed->SetVertexTexcoord(
                w, Lerp(attributed->GetVertexTexcoord(v0), attributed->GetVertexTexcoord(v1), t));
        }
    }

    for (const EdgeSide& side : sides) {
        int ids[3];
        triMesh->GetTriangleVertexIds(side.triangle, ids);
        const int cp = side.corner;           // p: start of the side
        const int cq = (side.corner + 1) % 3; // q: end of the side
        const int cr = (side.corner + 2) % 3; // r: opposite corner
        const int p = ids[cp], q = ids[cq], r = ids[cr];
        // Parameter of w along p -> q.
        const double s = p == v0 ? t : 1.0 - t;

        // (p, q, r) becomes (p, w, r) in place plus the new (w, q, r): both keep
        // the original orientation.
        int kept[3] = {ids[0], ids[1], ids[2]};
        kept[cq] = w;
        triMesh->SetTriangleVertexIds(side.triangle, kept[0], kept[1], kept[2]);
        const int added = triMesh->InsertTriangle(w, q, r);
        if (triMesh->HasTriangleNormal()) {
            triMesh->SetTriangleNormal(added, triMesh->GetTriangleNormal(side.triangle));
        }
        if (!attributed) continue;
        if (attributed->HasTriangleTexCoord()) {
            const Vector3 tp = attributed->GetTriangleTexcoord(side.triangle, cp);
            const Vector3 tq = attributed->GetTriangleTexcoord(side.triangle, cq);
            const Vector3 tr = attributed->GetTriangleTexcoord(side.triangle, cr);
            const Vector3 tw = Lerp(tp, tq, s);
            attributed->SetTriangleTexcoord(side.triangle, cq, tw);
            attributed->SetTriangleTexcoord(added, 0, tw);
            attributed->SetTriangleTexcoord(added, 1, tq);
            attributed->SetTriangleTexcoord(added, 2, tr);
        }
        if (attributed->HasTriangleColor()) {
            const Vector3 cpv = attributed->GetTriangleColor(side.triangle, cp);
            const Vector3 cqv = attributed->GetTriangleColor(side.triangle, cq);
            const Vector3 crv = attributed->GetTriangleColor(side.triangle, cr);
            const Vector3 cw = Lerp(cpv, cqv, s);
            attributed->SetTriangleColor(side.triangle, cq, cw);
            attributed->SetTriangleColor(added, 0, cw);
            attributed->SetTriangleColor(added, 1, cqv);
            attributed->SetTriangleColor(added, 2, crv);
        }
    }

    if (newVertex) *newVertex = w;
    return STATUS_SUCCESS;
}

int DeleteTriMeshTriangles(ITriMesh* triMesh, const std::vector<int>& triangleIds) {
    if (!triMesh) {
        _LogFailure("DeleteTriMeshTriangles: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int count = triMesh->GetTriangleCount();
    std::vector<char> remove(static_cast<size_t>(count), 0);
    for (int f : triangleIds) {
        if (f < 0 || f >= count) {
            _LogFailure("DeleteTriMeshTriangles: invalid triangle id: ", f);
            return STATUS_INVALID_INPUT;
        }
        remove[f] = 1;
    }
    if (!triangleIds.empty()) CompactTriangles(triMesh, remove);
    return STATUS_SUCCESS;
}

int DeleteTriMeshVertices(ITriMesh* triMesh, const std::vector<int>& vertexIds) {
    if (!triMesh) {
        _LogFailure("DeleteTriMeshVertices: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    std::vector<char> removeVertex(static_cast<size_t>(vertexCount), 0);
    for (int v : vertexIds) {
        if (v < 0 || v >= vertexCount) {
            _LogFailure("DeleteTriMeshVertices: invalid vertex id: ", v);
            return STATUS_INVALID_INPUT;
        }
        removeVertex[v] = 1;
    }
    int badTriangle = -1;
    if (!TriangleIdsValid(triMesh, &badTriangle)) {
        _LogFailure("DeleteTriMeshVertices: triangle with an invalid vertex id: ", badTriangle);
        return STATUS_INVALID_INPUT;
    }
    if (vertexIds.empty()) return STATUS_SUCCESS;

    const int triangleCount = triMesh->GetTriangleCount();
    std::vector<char> removeTriangle(static_cast<size_t>(triangleCount), 0);
    bool anyTriangle = false;
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        triMesh->GetTriangleVertexIds(f, ids);
        if (removeVertex[ids[0]] || removeVertex[ids[1]] || removeVertex[ids[2]]) {
            removeTriangle[f] = 1;
            anyTriangle = true;
        }
    }
    if (anyTriangle) CompactTriangles(triMesh, removeTriangle);
    CompactVertices(triMesh, removeVertex);
    return STATUS_SUCCESS;
}

int DeleteIsolatedVertices(ITriMesh* triMesh, int* removed) {
    if (!triMesh) {
        _LogFailure("DeleteIsolatedVertices: triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    int badTriangle = -1;
    if (!TriangleIdsValid(triMesh, &badTriangle)) {
        _LogFailure("DeleteIsolatedVertices: triangle with an invalid vertex id: ", badTriangle);
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    std::vector<char> unused(static_cast<size_t>(vertexCount), 1);
    const int triangleCount = triMesh->GetTriangleCount();
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        triMesh->GetTriangleVertexIds(f, ids);
        unused[ids[0]] = unused[ids[1]] = unused[ids[2]] = 0;
    }
    const int isolated = static_cast<int>(std::count(unused.begin(), unused.end(), 1));
    if (isolated > 0) CompactVertices(triMesh, unused);
    if (removed) *removed = isolated;
    return STATUS_SUCCESS;
}

}  // namespace ORVO
