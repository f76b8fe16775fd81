#include "unfold/UndirectedEdgeTable.h"

#include <algorithm>
#include <cstdint>

namespace ORVO {

int _ReadTriangleCorners(const ITriMesh* mesh, std::vector<int>& corners) {
    const int vertexCount = mesh->GetVertexCount();
    const int triangleCount = mesh->GetTriangleCount();
    corners.resize(3 * static_cast<size_t>(triangleCount));
    if (const TriMesh* tri = dynamic_cast<const TriMesh*>(mesh)) {
        for (int f = 0; f < triangleCount; ++f) {
            const int* t = tri->GetTriangle(f);
            corners[3 * static_cast<size_t>(f)] = t[0];
            corners[3 * static_cast<size_t>(f) + 1] = t[1];
            corners[3 * static_cast<size_t>(f) + 2] = t[2];
        }
    } else {
        for (int f = 0; f < triangleCount; ++f) mesh->GetTriangleVertexIds(f, &corners[3 * static_cast<size_t>(f)]);
    }
    for (int id : corners) {
        if (id < 0 || id >= vertexCount) return STATUS_INVALID_INPUT;
    }
    return STATUS_SUCCESS;
}

void _IncidentFaces(const std::vector<int>& corners, int vertexCount, std::vector<int>& start,
                    std::vector<int>& faces) {
    start.assign(static_cast<size_t>(vertexCount) + 1, 0);
    for (int c : corners) ++start[static_cast<size_t>(c) + 1];
    for (int v = 0; v < vertexCount; ++v) start[v + 1] += start[v];
    faces.resize(corners.size());
    std::vector<int> fill(start.begin(), start.end() - 1);
    for (size_t i = 0; i < corners.size(); ++i) faces[fill[corners[i]]++] = static_cast<int>(i / 3);
}

void UndirectedEdgeTable::Build(const std::vector<int>& corners, int vertexCount) {
    const int halfEdgeCount = static_cast<int>(corners.size());
    const size_t v1 = static_cast<size_t>(vertexCount) + 1;

    // Bucket the half-edges by their lower end (a counting sort), each entry
    // carrying (higher end, half-edge) packed so one integer sort orders it.
    std::vector<int> bucketStart(v1, 0);
    for (int f = 0; f < halfEdgeCount; f += 3) {
        const int a = corners[f], b = corners[f + 1], c = corners[f + 2];
        if (a != b) ++bucketStart[std::min(a, b) + 1];
        if (b != c) ++bucketStart[std::min(b, c) + 1];
        if (c != a) ++bucketStart[std::min(c, a) + 1];
    }
    for (size_t v = 1; v < v1; ++v) bucketStart[v] += bucketStart[v - 1];
    std::vector<uint64_t> keys(static_cast<size_t>(bucketStart[vertexCount]));
    {
        std::vector<int> fill(bucketStart.begin(), bucketStart.end() - 1);
        auto put = [&](int a, int b, int h) {
            if (a == b) return;
            const int lo = std::min(a, b), hi = std::max(a, b);
            keys[fill[lo]++] = (static_cast<uint64_t>(hi) << 32) | static_cast<uint32_t>(h);
        };
        for (int f = 0; f < halfEdgeCount; f += 3) {
            const int a = corners[f], b = corners[f + 1], c = corners[f + 2];
            put(a, b, f);
            put(b, c, f + 1);
            put(c, a, f + 2);
        }
    }

    mEdgeOfHalfEdge.assign(static_cast<size_t>(halfEdgeCount), -1);
    mHalfEdges.resize(keys.size());
    mEdgeStart.clear();
    mEdgeLow.clear();
    mEdgeHigh.clear();
    mEdgeStart.reserve(keys.size() / 2 + 2);
    mEdgeLow.reserve(keys.size() / 2 + 1);
    mEdgeHigh.reserve(keys.size() / 2 + 1);
    mVertexEdgeStart.assign(v1, 0);

    for (int v = 0; v < vertexCount; ++v) {
        mVertexEdgeStart[v] = static_cast<int>(mEdgeLow.size());
        uint64_t* begin = keys.data() + bucketStart[v];
        uint64_t* end = keys.data() + bucketStart[v + 1];
        // Buckets hold a vertex's edges; they are short except around the odd
        // hub vertex, where the general sort keeps the bound at n log n.
        if (end - begin < 2) {
            // Nothing to order; begin + 1 would step past the data (or off a
            // null pointer when the mesh has no triangle at all).
        } else if (end - begin <= 24) {
            for (uint64_t* i = begin + 1; i < end; ++i) {
                const uint64_t key = *i;
                uint64_t* j = i;
                while (j > begin && *(j - 1) > key) {
                    *j = *(j - 1);
                    --j;
                }
                *j = key;
            }
        } else {
            std::sort(begin, end);
        }
        int previousHigh = -1;
        for (uint64_t* i = begin; i < end; ++i) {
            const int hi = static_cast<int>(*i >> 32);
            const int h = static_cast<int>(*i & 0xffffffffu);
            if (hi != previousHigh) {
                mEdgeStart.push_back(static_cast<int>(i - keys.data()));
                mEdgeLow.push_back(v);
                mEdgeHigh.push_back(hi);
                previousHigh = hi;
            }
            mHalfEdges[i - keys.data()] = h;
            mEdgeOfHalfEdge[h] = static_cast<int>(mEdgeLow.size()) - 1;
        }
    }
    mVertexEdgeStart[vertexCount] = static_cast<int>(mEdgeLow.size());
    mEdgeStart.push_back(static_cast<int>(keys.size()));
}

int UndirectedEdgeTable::FindEdge(int a, int b) const {
    const int vertexCount = static_cast<int>(mVertexEdgeStart.size()) - 1;
    if (a == b || a < 0 || b < 0 || a >= vertexCount || b >= vertexCount) return -1;
    const int lo = std::min(a, b), hi = std::max(a, b);
    const int* first = mEdgeHigh.data() + mVertexEdgeStart[lo];
    const int* last = mEdgeHigh.data() + mVertexEdgeStart[lo + 1];
    const int* found = std::lower_bound(first, last, hi);
    if (found == last || *found != hi) return -1;
    return static_cast<int>(found - mEdgeHigh.data());
}

}  // namespace ORVO
