#include <QarnUVAtlas/TriMesh.h>
#include "geometry/CoordinateFit.h"

#include "foundation/LogLine.h"

#include <algorithm>
#include <map>
#include <utility>

namespace ORVO {

namespace {

const Vector3 kDefaultMeshColor(0.86, 0.86, 0.86);

// Drops the last `count` entries (all of them when fewer remain).
template <typename T>
void DropLast(std::vector<T>& values, size_t count) {
    values.resize(values.size() > count ? values.size() - count : 0);
}

// Releases the memory as well as the entries.
template <typename T>
void ReleaseAll(std::vector<T>& values) {
    std::vector<T>().swap(values);
}

template <typename T>
void SwapIfPresent(std::vector<T>& values, size_t a, size_t b) {
    if (a < values.size() && b < values.size()) std::swap(values[a], values[b]);
}

void AppendZeros(std::vector<Vector3>& values, int count) {
    for (int i = 0; i < count; ++i) values.push_back(Vector3());
}

}  // namespace

TriMesh::TriMesh()
    : mMeshType(MESH_TYPE_GENERAL),
      mHasVertexNormal(false),
      mHasVertexColor(false),
      mHasVertexTexCoord(false),
      mHasTriangleNormal(false),
      mHasTriangleColor(false),
      mHasTriangleTexCoord(false),
      mDefaultColor(kDefaultMeshColor) {}

TriMesh::TriMesh(bool hasVertexColor, bool hasVertexTexCoord, bool hasTriangleTexCoord) : TriMesh() {
    mHasVertexColor = hasVertexColor;
    mHasVertexTexCoord = hasVertexTexCoord;
    mHasTriangleTexCoord = hasTriangleTexCoord;
}

TriMesh::TriMesh(const TriMesh& other) : ITriMesh(other) { _CopyFrom(other); }

TriMesh& TriMesh::operator=(const TriMesh& other) {
    if (this != &other) _CopyFrom(other);
    return *this;
}

TriMesh::TriMesh(TriMesh&& other) noexcept = default;
TriMesh& TriMesh::operator=(TriMesh&& other) noexcept = default;

TriMesh::~TriMesh() {}

void TriMesh::_CopyFrom(const TriMesh& other) {
    mMeshType = other.mMeshType;
    mVertexCoords = other.mVertexCoords;
    mVertexNormals = other.mVertexNormals;
    mVertexColors = other.mVertexColors;
    mVertexTexcoords = other.mVertexTexcoords;
    std::vector<std::unique_ptr<int[]>> triangles;
    triangles.reserve(other.mTriangles.size());
    for (const auto& src : other.mTriangles) {
        triangles.emplace_back(new int[3]{src[0], src[1], src[2]});
    }
    mTriangles.swap(triangles);
    mTriangleNormals = other.mTriangleNormals;
    mTriangleColors = other.mTriangleColors;
    mTriangleTexcoords = other.mTriangleTexcoords;
    mHasVertexNormal = other.mHasVertexNormal;
    mHasVertexColor = other.mHasVertexColor;
    mHasVertexTexCoord = other.mHasVertexTexCoord;
    mHasTriangleNormal = other.mHasTriangleNormal;
    mHasTriangleColor = other.mHasTriangleColor;
    mHasTriangleTexCoord = other.mHasTriangleTexCoord;
    mDefaultColor = other.mDefaultColor;
}

// ---------------------------------------------------------------- growth

int TriMesh::InsertVertex(const Vector3& coord) {
    mVertexCoords.push_back(coord);
    if (mHasVertexNormal) mVertexNormals.push_back(Vector3());
    if (mHasVertexColor) mVertexColors.push_back(Vector3());
    if (mHasVertexTexCoord) mVertexTexcoords.push_back(Vector3());
    return static_cast<int>(mVertexCoords.size()) - 1;
}

int TriMesh::InsertVertex(const Vector3& coord, const Vector3& normal) {
    mVertexCoords.push_back(coord);
    mVertexNormals.push_back(normal);
    if (mHasVertexColor) mVertexColors.push_back(Vector3());
    if (mHasVertexTexCoord) mVertexTexcoords.push_back(Vector3());
    return static_cast<int>(mVertexCoords.size()) - 1;
}

int TriMesh::InsertTriangle(int v0, int v1, int v2) {
    mTriangles.emplace_back(new int[3]{v0, v1, v2});
    if (mHasTriangleNormal) mTriangleNormals.push_back(Vector3());
    if (mHasTriangleTexCoord) AppendZeros(mTriangleTexcoords, 3);
    if (mHasTriangleColor) AppendZeros(mTriangleColors, 3);
    return static_cast<int>(mTriangles.size()) - 1;
}

void TriMesh::ReserveVertices(int count) {
    if (count <= 0) return;
    size_t n = static_cast<size_t>(count);
    mVertexCoords.reserve(n);
    if (mHasVertexNormal) mVertexNormals.reserve(n);
    if (mHasVertexColor) mVertexColors.reserve(n);
    if (mHasVertexTexCoord) mVertexTexcoords.reserve(n);
}

void TriMesh::ReserveTriangles(int count) {
    if (count <= 0) return;
    size_t n = static_cast<size_t>(count);
    mTriangles.reserve(n);
    if (mHasTriangleNormal) mTriangleNormals.reserve(n);
    if (mHasTriangleColor) mTriangleColors.reserve(3 * n);
    if (mHasTriangleTexCoord) mTriangleTexcoords.reserve(3 * n);
}

// ---------------------------------------------------------------- removal

void TriMesh::SwapVertex(int a, int b) {
    size_t ia = static_cast<size_t>(a), ib = static_cast<size_t>(b);
    std::swap(mVertexCoords[ia], mVertexCoords[ib]);
    if (mHasVertexNormal) SwapIfPresent(mVertexNormals, ia, ib);
    if (mHasVertexColor) SwapIfPresent(mVertexColors, ia, ib);
    if (mHasVertexTexCoord) SwapIfPresent(mVertexTexcoords, ia, ib);
}

void TriMesh::PopbackVertices(int count) {
    if (count <= 0) return;
    size_t n = static_cast<size_t>(count);
    DropLast(mVertexCoords, n);
    if (mHasVertexNormal) DropLast(mVertexNormals, n);
    if (mHasVertexColor) DropLast(mVertexColors, n);
    if (mHasVertexTexCoord) DropLast(mVertexTexcoords, n);
}

void TriMesh::SwapTriangles(int a, int b) {
    size_t ia = static_cast<size_t>(a), ib = static_cast<size_t>(b);
    std::swap(mTriangles[ia], mTriangles[ib]);
    if (mHasTriangleNormal) SwapIfPresent(mTriangleNormals, ia, ib);
    for (size_t corner = 0; corner < 3; ++corner) {
        if (mHasTriangleColor) SwapIfPresent(mTriangleColors, 3 * ia + corner, 3 * ib + corner);
        if (mHasTriangleTexCoord) SwapIfPresent(mTriangleTexcoords, 3 * ia + corner, 3 * ib + corner);
    }
}

void TriMesh::PopbackTriangles(int count) {
    if (count <= 0) return;
    size_t n = static_cast<size_t>(count);
    DropLast(mTriangles, n);  // the unique_ptrs free the id arrays
    if (mHasTriangleNormal) DropLast(mTriangleNormals, n);
    if (mHasTriangleColor) DropLast(mTriangleColors, 3 * n);
    if (mHasTriangleTexCoord) DropLast(mTriangleTexcoords, 3 * n);
}

void TriMesh::Clear() {
    ReleaseAll(mVertexCoords);
    ReleaseAll(mVertexNormals);
    ReleaseAll(mVertexColors);
    ReleaseAll(mVertexTexcoords);
    ReleaseAll(mTriangles);
    ReleaseAll(mTriangleNormals);
    ReleaseAll(mTriangleColors);
    ReleaseAll(mTriangleTexcoords);
}

// ---------------------------------------------------------------- normals

Vector3 TriMesh::GetVertexNormal(int vid) const {
    size_t i = static_cast<size_t>(vid);
    return i < mVertexNormals.size() ? mVertexNormals[i] : Vector3();
}

void TriMesh::SetVertexNormal(int vid, const Vector3& normal) {
    size_t i = static_cast<size_t>(vid);
    if (i < mVertexNormals.size()) mVertexNormals[i] = normal;
}

Vector3 TriMesh::GetTriangleNormal(int fid) const {
    size_t i = static_cast<size_t>(fid);
    return i < mTriangleNormals.size() ? mTriangleNormals[i] : Vector3();
}

void TriMesh::SetTriangleNormal(int fid, const Vector3& normal) {
    size_t i = static_cast<size_t>(fid);
    if (i < mTriangleNormals.size()) mTriangleNormals[i] = normal;
}

void TriMesh::UpdateNormal() {
    const size_t vertexCount = mVertexCoords.size();
    const size_t triangleCount = mTriangles.size();
    mVertexNormals.assign(vertexCount, Vector3());
    mHasVertexNormal = true;
    mTriangleNormals.resize(triangleCount);
    mHasTriangleNormal = true;

    // The unnormalised cross product is twice the area, so summing it weights
    // each triangle by its area.
    for (size_t f = 0; f < triangleCount; ++f) {
        const int* t = mTriangles[f].get();
        const Vector3& p0 = mVertexCoords[t[0]];
        Vector3 n = (mVertexCoords[t[1]] - p0).CrossProduct(mVertexCoords[t[2]] - p0);
        mVertexNormals[t[0]] += n;
        mVertexNormals[t[1]] += n;
        mVertexNormals[t[2]] += n;
        n.Normalise();
        mTriangleNormals[f] = n;
    }

    std::vector<char> lacking(vertexCount, 0);
    size_t lackingCount = 0;
    for (size_t v = 0; v < vertexCount; ++v) {
        if (mVertexNormals[v].Normalise() < REAL_TOL) {
            lacking[v] = 1;
            ++lackingCount;
        }
    }

    // Vertices touched only by zero-area triangles borrow a neighbour's normal
    // across those triangles; isolated vertices have no neighbour and keep zero.
    while (lackingCount > 0) {
        size_t fixedThisSweep = 0;
        for (size_t f = 0; f < triangleCount; ++f) {
            const int* t = mTriangles[f].get();
            int source = -1;
            bool anyLacking = false;
            for (int c = 0; c < 3; ++c) {
                if (lacking[t[c]]) {
                    anyLacking = true;
                } else {
                    source = t[c];
                }
            }
            if (!anyLacking || source < 0) continue;
            const Vector3 normal = mVertexNormals[source];
            for (int c = 0; c < 3; ++c) {
                if (lacking[t[c]]) {
                    mVertexNormals[t[c]] = normal;
                    lacking[t[c]] = 0;
                    --lackingCount;
                    ++fixedThisSweep;
                }
            }
        }
        if (fixedThisSweep == 0) break;
    }
}

// ---------------------------------------------------------------- attributes

Vector3 TriMesh::GetVertexColor(int vid) const {
    size_t i = static_cast<size_t>(vid);
    if (mHasVertexColor && i < mVertexColors.size()) return mVertexColors[i];
    return mDefaultColor;
}

void TriMesh::SetVertexColor(int vid, const Vector3& color) {
    size_t i = static_cast<size_t>(vid);
    if (i < mVertexColors.size()) mVertexColors[i] = color;
}

Vector3 TriMesh::GetVertexTexcoord(int vid) const {
    size_t i = static_cast<size_t>(vid);
    return i < mVertexTexcoords.size() ? mVertexTexcoords[i] : Vector3();
}

void TriMesh::SetVertexTexcoord(int vid, const Vector3& texcoord) {
    size_t i = static_cast<size_t>(vid);
    if (i < mVertexTexcoords.size()) mVertexTexcoords[i] = texcoord;
}

Vector3 TriMesh::GetTriangleColor(int fid, int corner) const {
    if (!HasTriangleColor()) return mDefaultColor;
    size_t i = 3 * static_cast<size_t>(fid) + static_cast<size_t>(corner);
    return i < mTriangleColors.size() ? mTriangleColors[i] : mDefaultColor;
}

void TriMesh::SetTriangleColor(int fid, int corner, const Vector3& color) {
    size_t i = 3 * static_cast<size_t>(fid) + static_cast<size_t>(corner);
    if (i < mTriangleColors.size()) mTriangleColors[i] = color;
}

Vector3 TriMesh::GetTriangleTexcoord(int fid, int corner) const {
    size_t i = 3 * static_cast<size_t>(fid) + static_cast<size_t>(corner);
    return i < mTriangleTexcoords.size() ? mTriangleTexcoords[i] : Vector3();
}

void TriMesh::SetTriangleTexcoord(int fid, int corner, const Vector3& texcoord) {
    size_t i = 3 * static_cast<size_t>(fid) + static_cast<size_t>(corner);
    if (i < mTriangleTexcoords.size()) mTriangleTexcoords[i] = texcoord;
}

// ---------------------------------------------------------------- flags

void TriMesh::SetHasVertexNormal(bool has) {
    mHasVertexNormal = has;
    if (has) mVertexNormals.resize(mVertexCoords.size());
}

void TriMesh::SetHasVertexColor(bool has) {
    mHasVertexColor = has;
    if (has) mVertexColors.resize(mVertexCoords.size());
}

void TriMesh::SetHasVertexTexCoord(bool has) {
    mHasVertexTexCoord = has;
    if (has) mVertexTexcoords.resize(mVertexCoords.size());
}

void TriMesh::SetHasTriangleNormal(bool has) {
    mHasTriangleNormal = has;
    if (has) mTriangleNormals.resize(mTriangles.size());
}

void TriMesh::SetHasTriangleColor(bool has) {
    mHasTriangleColor = has;
    if (has) mTriangleColors.resize(3 * mTriangles.size());
}

void TriMesh::SetHasTriangleTexCoord(bool has) {
    mHasTriangleTexCoord = has;
    if (has) mTriangleTexcoords.resize(3 * mTriangles.size());
}

// ---------------------------------------------------------------- whole mesh

int TriMesh::FuseVertex() {
    const int vertexCount = GetVertexCount();
    if (vertexCount < 2) {
        _LogLine("TriMesh::FuseVertex: vertexCount < 3");
        return STATUS_INVALID_INPUT;
    }
    // Vector3::operator< treats points closer than REAL_TOL as one key.
    std::map<Vector3, int> firstOccurrence;
    std::vector<int> newIds(static_cast<size_t>(vertexCount));
    std::vector<Vector3> kept;
    kept.reserve(static_cast<size_t>(vertexCount));
    for (int v = 0; v < vertexCount; ++v) {
        const Vector3& p = mVertexCoords[v];
        auto found = firstOccurrence.find(p);
        if (found != firstOccurrence.end()) {
            newIds[v] = found->second;
        } else {
            int id = static_cast<int>(kept.size());
            firstOccurrence.emplace(p, id);
            kept.push_back(p);
            newIds[v] = id;
        }
    }
    mVertexCoords.swap(kept);
    for (auto& t : mTriangles) {
        t[0] = newIds[t[0]];
        t[1] = newIds[t[1]];
        t[2] = newIds[t[2]];
    }
    mMeshType = MESH_TYPE_GENERAL;
    return STATUS_SUCCESS;
}

void TriMesh::UnifyCoords(double scale, const Vector3& center) { _ScaleCoords(mVertexCoords, scale, center); }

void TriMesh::UnifyCoords(double size, double* scaleOut, Vector3* centerOut) {
    _FitCoordsIntoCube(mVertexCoords, size, scaleOut, centerOut);
}

}  // namespace ORVO
