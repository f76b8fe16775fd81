#include <QarnUVAtlas/MeshViews.h>

#include <utility>

namespace ORVO {

// ================================================================ SubTriMesh

SubTriMesh::SubTriMesh() : mpParent(nullptr) {}

SubTriMesh::SubTriMesh(ITriMesh* parent, const std::vector<int>& triangleIds) : mpParent(nullptr) {
    Init(parent, triangleIds);
}

SubTriMesh::~SubTriMesh() {}

int SubTriMesh::Init(ITriMesh* parent, const std::vector<int>& triangleIds) {
    Clear();
    mpParent = nullptr;
    if (!parent) return STATUS_INVALID_INPUT;
    const int parentTriangles = parent->GetTriangleCount();
    const int parentVertices = parent->GetVertexCount();
    mTriangleIds.reserve(triangleIds.size());
    mLocalTriangles.reserve(3 * triangleIds.size());
    int ids[3];
    for (int fid : triangleIds) {
        if (fid < 0 || fid >= parentTriangles) {
            Clear();
            return STATUS_INVALID_INPUT;
        }
        parent->GetTriangleVertexIds(fid, ids);
        for (int c = 0; c < 3; ++c) {
            if (ids[c] < 0 || ids[c] >= parentVertices) {
                Clear();
                return STATUS_INVALID_INPUT;
            }
            auto inserted = mLocalOfParent.emplace(ids[c], static_cast<int>(mVertexIds.size()));
            if (inserted.second) mVertexIds.push_back(ids[c]);
            mLocalTriangles.push_back(inserted.first->second);
        }
        mTriangleIds.push_back(fid);
    }
    mpParent = parent;
    return STATUS_SUCCESS;
}

int SubTriMesh::InitFromVertices(ITriMesh* parent, const std::vector<int>& vertexIds) {
    Clear();
    mpParent = nullptr;
    if (!parent) return STATUS_INVALID_INPUT;
    const int parentVertices = parent->GetVertexCount();
    mVertexIds.reserve(vertexIds.size());
    for (int vid : vertexIds) {
        if (vid < 0 || vid >= parentVertices) {
            Clear();
            return STATUS_INVALID_INPUT;
        }
        // A vertex listed twice is held once, at its first position.
        if (mLocalOfParent.emplace(vid, static_cast<int>(mVertexIds.size())).second) {
            mVertexIds.push_back(vid);
        }
    }
    const int parentTriangles = parent->GetTriangleCount();
    int ids[3];
    for (int fid = 0; fid < parentTriangles; ++fid) {
        parent->GetTriangleVertexIds(fid, ids);
        int local[3];
        bool inside = true;
        for (int c = 0; c < 3 && inside; ++c) {
            auto found = mLocalOfParent.find(ids[c]);
            if (found == mLocalOfParent.end()) {
                inside = false;
            } else {
                local[c] = found->second;
            }
        }
        if (!inside) continue;
        mTriangleIds.push_back(fid);
        mLocalTriangles.insert(mLocalTriangles.end(), local, local + 3);
    }
    mpParent = parent;
    return STATUS_SUCCESS;
}

int SubTriMesh::GetLocalVertexId(int parentVid) const {
    auto found = mLocalOfParent.find(parentVid);
    return found == mLocalOfParent.end() ? -1 : found->second;
}

void SubTriMesh::SetVertexCoord(int vid, const Vector3& coord) {
    mpParent->SetVertexCoord(mVertexIds[vid], coord);
}

Vector3 SubTriMesh::GetVertexNormal(int vid) const { return mpParent->GetVertexNormal(mVertexIds[vid]); }

void SubTriMesh::SetVertexNormal(int vid, const Vector3& normal) {
    mpParent->SetVertexNormal(mVertexIds[vid], normal);
}

bool SubTriMesh::HasVertexNormal() const { return mpParent && mpParent->HasVertexNormal(); }

void SubTriMesh::SetTriangleVertexIds(int fid, int v0, int v1, int v2) {
    int* t = &mLocalTriangles[3 * static_cast<size_t>(fid)];
    t[0] = v0;
    t[1] = v1;
    t[2] = v2;
    mpParent->SetTriangleVertexIds(mTriangleIds[fid], mVertexIds[v0], mVertexIds[v1], mVertexIds[v2]);
}

Vector3 SubTriMesh::GetTriangleNormal(int fid) const { return mpParent->GetTriangleNormal(mTriangleIds[fid]); }

void SubTriMesh::SetTriangleNormal(int fid, const Vector3& normal) {
    mpParent->SetTriangleNormal(mTriangleIds[fid], normal);
}

bool SubTriMesh::HasTriangleNormal() const { return mpParent && mpParent->HasTriangleNormal(); }

int SubTriMesh::InsertTriangle(int v0, int v1, int v2) {
    int parentFid = mpParent->InsertTriangle(mVertexIds[v0], mVertexIds[v1], mVertexIds[v2]);
    mTriangleIds.push_back(parentFid);
    mLocalTriangles.push_back(v0);
    mLocalTriangles.push_back(v1);
    mLocalTriangles.push_back(v2);
    return static_cast<int>(mTriangleIds.size()) - 1;
}

int SubTriMesh::InsertVertex(const Vector3& coord) {
    int parentVid = mpParent->InsertVertex(coord);
    int local = static_cast<int>(mVertexIds.size());
    mVertexIds.push_back(parentVid);
    mLocalOfParent[parentVid] = local;
    return local;
}

void SubTriMesh::SwapVertex(int a, int b) {
    std::swap(mVertexIds[a], mVertexIds[b]);
    mLocalOfParent[mVertexIds[a]] = a;
    mLocalOfParent[mVertexIds[b]] = b;
}

void SubTriMesh::PopbackVertices(int count) {
    for (int i = 0; i < count && !mVertexIds.empty(); ++i) {
        mLocalOfParent.erase(mVertexIds.back());
        mVertexIds.pop_back();
    }
}

void SubTriMesh::SwapTriangles(int a, int b) {
    std::swap(mTriangleIds[a], mTriangleIds[b]);
    size_t ia = 3 * static_cast<size_t>(a), ib = 3 * static_cast<size_t>(b);
    for (size_t c = 0; c < 3; ++c) std::swap(mLocalTriangles[ia + c], mLocalTriangles[ib + c]);
}

void SubTriMesh::PopbackTriangles(int count) {
    if (count <= 0) return;
    size_t n = static_cast<size_t>(count);
    size_t keep = mTriangleIds.size() > n ? mTriangleIds.size() - n : 0;
    mTriangleIds.resize(keep);
    mLocalTriangles.resize(3 * keep);
}

void SubTriMesh::UpdateNormal() {
    if (mpParent) mpParent->UpdateNormal();
}

void SubTriMesh::Clear() {
    mVertexIds.clear();
    mTriangleIds.clear();
    mLocalTriangles.clear();
    mLocalOfParent.clear();
}

// ================================================================ TriangleList

TriangleList::TriangleList() {}

TriangleList::TriangleList(const std::vector<int>& triangleVertexIds) : mIds(triangleVertexIds) {
    mIds.resize(mIds.size() / 3 * 3);
}

TriangleList::TriangleList(const ITriMesh* mesh) {
    if (!mesh) return;
    const int count = mesh->GetTriangleCount();
    mIds.resize(3 * static_cast<size_t>(count));
    for (int f = 0; f < count; ++f) mesh->GetTriangleVertexIds(f, &mIds[3 * static_cast<size_t>(f)]);
}

TriangleList::~TriangleList() {}

void TriangleList::SetTriangleVertexIds(int idx, int v0, int v1, int v2) {
    int* t = &mIds[3 * static_cast<size_t>(idx)];
    t[0] = v0;
    t[1] = v1;
    t[2] = v2;
}

int TriangleList::InsertTriangle(int v0, int v1, int v2) {
    mIds.push_back(v0);
    mIds.push_back(v1);
    mIds.push_back(v2);
    return GetTriangleCount() - 1;
}

void TriangleList::Reserve(int triangleCount) {
    if (triangleCount > 0) mIds.reserve(3 * static_cast<size_t>(triangleCount));
}

// ================================================================ SubTriangleList

SubTriangleList::SubTriangleList(const ITriMesh* parent, const std::vector<int>& triangleIds)
    : mpParentMesh(parent), mpParentList(nullptr), mTriangleIds(triangleIds) {}

SubTriangleList::SubTriangleList(const ITriangleList* parent, const std::vector<int>& triangleIds)
    : mpParentMesh(nullptr), mpParentList(parent), mTriangleIds(triangleIds) {}

SubTriangleList::~SubTriangleList() {}

int SubTriangleList::GetTriangleCount() const {
    if (!mpParentMesh && !mpParentList) return 0;
    return static_cast<int>(mTriangleIds.size());
}

void SubTriangleList::GetTriangleVertexIds(int idx, int* ids) const {
    if (mpParentMesh) {
        mpParentMesh->GetTriangleVertexIds(mTriangleIds[idx], ids);
    } else if (mpParentList) {
        mpParentList->GetTriangleVertexIds(mTriangleIds[idx], ids);
    }
}

}  // namespace ORVO
