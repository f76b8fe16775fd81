#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

#include <utility>

namespace ORVO {

TopologyMesh::TopologyMesh() : mVertexCount(0) {}

TopologyMesh::TopologyMesh(int vertexCount) : mVertexCount(vertexCount) {}

TopologyMesh::TopologyMesh(int vertexCount, const std::vector<int>& triangleVertexIds)
    : mVertexCount(vertexCount), mTriangleVertexIds(triangleVertexIds) {
    // A trailing incomplete triple is not a triangle.
    mTriangleVertexIds.resize(mTriangleVertexIds.size() / 3 * 3);
}

TopologyMesh::~TopologyMesh() {}

Vector3 TopologyMesh::GetVertexCoord(int) const {
    _LogLine("Warning GetVertexCoord: TopologyMesh has no geometry");
    return Vector3();
}

void TopologyMesh::SetVertexCoord(int, const Vector3&) {
    _LogLine("Warning SetVertexCoord: TopologyMesh has no geometry");
}

Vector3 TopologyMesh::GetVertexNormal(int) const {
    _LogLine("Warning GetVertexNormal: TopologyMesh has no geometry");
    return Vector3();
}

void TopologyMesh::SetVertexNormal(int, const Vector3&) {
    _LogLine("Warning SetVertexNormal: TopologyMesh has no geometry");
}

void TopologyMesh::SetTriangleVertexIds(int fid, int v0, int v1, int v2) {
    int* t = &mTriangleVertexIds[3 * static_cast<size_t>(fid)];
    t[0] = v0;
    t[1] = v1;
    t[2] = v2;
}

Vector3 TopologyMesh::GetTriangleNormal(int) const {
    _LogLine("Warning GetTriangleNormal: TopologyMesh has no geometry");
    return Vector3();
}

void TopologyMesh::SetTriangleNormal(int, const Vector3&) {
    _LogLine("Warning SetTriangleNormal: TopologyMesh has no geometry");
}

int TopologyMesh::InsertTriangle(int v0, int v1, int v2) {
    mTriangleVertexIds.push_back(v0);
    mTriangleVertexIds.push_back(v1);
    mTriangleVertexIds.push_back(v2);
    return GetTriangleCount() - 1;
}

int TopologyMesh::InsertVertex(const Vector3&) {
    _LogLine("Warning InsertVertex: TopologyMesh has no geometry");
    return 0;
}

void TopologyMesh::SwapVertex(int, int) {
    _LogLine("Warning SwapVertex: TopologyMesh has no geometry");
}

void TopologyMesh::PopbackVertices(int count) {
    mVertexCount -= count;
    if (mVertexCount < 0) {
        _LogLine("Warning PopbackVertices: invalid vertex count left: ", mVertexCount);
    }
}

void TopologyMesh::SwapTriangles(int a, int b) {
    size_t ia = 3 * static_cast<size_t>(a), ib = 3 * static_cast<size_t>(b);
    for (size_t c = 0; c < 3; ++c) std::swap(mTriangleVertexIds[ia + c], mTriangleVertexIds[ib + c]);
}

void TopologyMesh::PopbackTriangles(int count) {
    if (count <= 0) return;
    size_t drop = 3 * static_cast<size_t>(count);
    size_t size = mTriangleVertexIds.size();
    mTriangleVertexIds.resize(size > drop ? size - drop : 0);
}

void TopologyMesh::UpdateNormal() {
    _LogLine("Warning UpdateNormal: TopologyMesh has no geometry");
}

void TopologyMesh::Clear() {
    mVertexCount = 0;
    std::vector<int>().swap(mTriangleVertexIds);
}

}  // namespace ORVO
