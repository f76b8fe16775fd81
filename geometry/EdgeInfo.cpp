// The undirected edge list of a triangle mesh. Sides are bucketed by their
// smaller end vertex and sorted inside each bucket, which finds equal sides
// without a map per vertex; edge ids are then handed out in order of first
// appearance. The std::map output is filled only when asked for, in key order
// so that every insertion is a constant-time append.

#include <QarnUVAtlas/MeshInfo.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"
#include "geometry/EdgeInfoBuilder.h"
#include "geometry/TriangleReader.h"

#include <algorithm>
#include <cstdint>

namespace ORVO {

namespace {

void SortBucket(uint64_t* first, uint64_t* last) {
    if (last - first > 16) {
        std::sort(first, last);
        return;
    }
    for (uint64_t* i = first + 1; i < last; ++i) {
        uint64_t value = *i;
        uint64_t* j = i;
        while (j > first && *(j - 1) > value) {
            *j = *(j - 1);
            --j;
        }
        *j = value;
    }
}

}  // namespace

int _ConstructEdgeInfo(const ITriMesh* triMesh, std::vector<EdgeInfo>& edgeInfos,
                       std::vector<std::map<int, int>>* vertexEdgeMap, bool oneWay) {
    if (!triMesh) {
        _LogLine("ConstructEdgeInfo: input triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    if (vertexCount < 3 || faceCount < 1) {
        _LogLine("ConstructEdgeInfo: invalid input vertexCount < 3 || faceCount < 1");
        return STATUS_INVALID_INPUT;
    }
    const size_t sideCount = 3 * static_cast<size_t>(faceCount);
    std::vector<int> corners(sideCount);
    const _TriangleReader reader(triMesh);
    for (int t = 0; t < faceCount; ++t) {
        int* ids = &corners[3 * static_cast<size_t>(t)];
        reader.Read(t, ids);
        for (int k = 0; k < 3; ++k) {
            if (ids[k] < 0 || ids[k] >= vertexCount) {
                _LogLine("ConstructEdgeInfo: triangle vertex id out of range: ", t, " ", ids[k]);
                return STATUS_INVALID_INPUT;
            }
        }
    }
    auto sideEnds = [&corners](size_t s, int* lo, int* hi) {
        size_t base = s - s % 3;
        int a = corners[s];
        int b = corners[s % 3 == 2 ? base : s + 1];
        *lo = a < b ? a : b;
        *hi = a < b ? b : a;
    };

    // Bucket every side under its smaller vertex as (larger vertex, side).
    std::vector<int> offsets(static_cast<size_t>(vertexCount) + 1, 0);
    for (size_t s = 0; s < sideCount; ++s) {
        int lo, hi;
        sideEnds(s, &lo, &hi);
        ++offsets[lo + 1];
    }
    for (int v = 0; v < vertexCount; ++v) offsets[v + 1] += offsets[v];
    std::vector<uint64_t> entries(sideCount);
    {
        std::vector<int> fill(offsets.begin(), offsets.end() - 1);
        for (size_t s = 0; s < sideCount; ++s) {
            int lo, hi;
            sideEnds(s, &lo, &hi);
            entries[fill[lo]++] = (static_cast<uint64_t>(hi) << 32) | static_cast<uint64_t>(s);
        }
    }
    // For each side, the first side (lowest index) with the same two ends.
    std::vector<int> edgeOfSide(sideCount);
    for (int v = 0; v < vertexCount; ++v) {
        uint64_t* first = entries.data() + offsets[v];
        uint64_t* last = entries.data() + offsets[v + 1];
        SortBucket(first, last);
        uint32_t leader = 0;
        for (uint64_t* it = first; it < last; ++it) {
            uint32_t side = static_cast<uint32_t>(*it);
            if (it == first || (*it >> 32) != (*(it - 1) >> 32)) leader = side;
            edgeOfSide[side] = static_cast<int>(leader);
        }
    }
    // Number the edges by their first side; a later side takes its leader's id.
    std::vector<int> triangleCounts;
    triangleCounts.reserve(sideCount / 2 + 1);
    for (size_t s = 0; s < sideCount; ++s) {
        int leader = edgeOfSide[s];
        if (static_cast<size_t>(leader) == s) {
            edgeOfSide[s] = static_cast<int>(triangleCounts.size());
            triangleCounts.push_back(1);
        } else {
            edgeOfSide[s] = edgeOfSide[leader];
            ++triangleCounts[edgeOfSide[s]];
        }
    }
    const int edgeCount = static_cast<int>(triangleCounts.size());
    std::vector<EdgeInfo> built;
    built.reserve(std::max<size_t>(edgeCount, static_cast<size_t>(vertexCount) + faceCount));
    for (size_t s = 0; s < sideCount; ++s) {
        int edge = edgeOfSide[s];
        if (edge == static_cast<int>(built.size())) {
            int lo, hi;
            sideEnds(s, &lo, &hi);
            built.emplace_back(lo, hi);
            built.back().GetTriangleIds().reserve(triangleCounts[edge]);
        }
        built[edge].AddTriangleId(static_cast<int>(s / 3));
    }
    edgeInfos.swap(built);

    if (vertexEdgeMap) {
        std::vector<std::map<int, int>> maps(vertexCount);
        // Buckets in vertex order, larger ends ascending inside each: every key
        // reaches its map in increasing order.
        for (int v = 0; v < vertexCount; ++v) {
            for (int i = offsets[v]; i < offsets[v + 1]; ++i) {
                if (i > offsets[v] && (entries[i] >> 32) == (entries[i - 1] >> 32)) continue;
                int hi = static_cast<int>(entries[i] >> 32);
                int edge = edgeOfSide[static_cast<uint32_t>(entries[i])];
                maps[v].emplace_hint(maps[v].end(), hi, edge);
                if (!oneWay && hi != v) maps[hi].emplace_hint(maps[hi].end(), v, edge);
            }
        }
        vertexEdgeMap->swap(maps);
    }
    return STATUS_SUCCESS;
}

int ConstructEdgeInfo(const ITriMesh* triMesh, std::vector<EdgeInfo>& edgeInfos,
                      std::vector<std::map<int, int>>* vertexEdgeMap) {
    return _ConstructEdgeInfo(triMesh, edgeInfos, vertexEdgeMap, false);
}

}  // namespace ORVO
