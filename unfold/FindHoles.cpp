// Boundary loops of a triangle mesh.
//
// The half-edges of each edge are paired, one running each way; what is left
// over is boundary. At every vertex as many boundary half-edges leave as
// arrive (each face and each pair adds one of each), so the boundary splits
// into closed circuits, one per connected piece. Where pieces of boundary
// touch at a vertex they form one piece, walked as one circuit that passes the
// vertex more than once. Otherwise the walk leaves a vertex through the fan it
// arrived in: turning around the vertex through paired edges, from the face
// it came through, to the first boundary half-edge leaving it.

#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/FillMeshHole.h>

#include "dump/DumpSupport.h"
#include "foundation/LogLine.h"
#include "unfold/UndirectedEdgeTable.h"

#include <vector>

namespace ORVO {
namespace {

constexpr int kBoundary = -1;
constexpr int kCollapsed = -2;  // both ends are the same vertex

// Partner of every half-edge: the i-th half-edge running low -> high on an
// edge is paired with the i-th running high -> low, in triangle order.
std::vector<int> PairHalfEdges(const std::vector<int>& corners, const UndirectedEdgeTable& edges) {
    std::vector<int> partner(corners.size(), kCollapsed);
    std::vector<int> forward, backward;
    const int edgeCount = edges.EdgeCount();
    for (int e = 0; e < edgeCount; ++e) {
        const int* begin = edges.HalfEdgesBegin(e);
        const int* end = edges.HalfEdgesEnd(e);
        if (end - begin == 2 && corners[begin[0]] != corners[begin[1]]) {
            partner[begin[0]] = begin[1];
            partner[begin[1]] = begin[0];
            continue;
        }
        forward.clear();
        backward.clear();
        for (const int* h = begin; h < end; ++h) {
            (corners[*h] == edges.LowVertex(e) ? forward : backward).push_back(*h);
        }
        size_t paired = forward.size() < backward.size() ? forward.size() : backward.size();
        for (size_t i = 0; i < paired; ++i) {
            partner[forward[i]] = backward[i];
            partner[backward[i]] = forward[i];
        }
        for (size_t i = paired; i < forward.size(); ++i) partner[forward[i]] = kBoundary;
        for (size_t i = paired; i < backward.size(); ++i) partner[backward[i]] = kBoundary;
    }
    return partner;
}

}  // namespace

int FillMeshHole::FindHoles(const ITriMesh* triMesh, std::vector<std::vector<int>>* holes) {
    _RecordCall<DumpFindMeshHole>(triMesh);
    if (!triMesh || !holes) {
        _LogFailure("FillMeshHole::FindHoles: invalid input");
        return STATUS_INVALID_INPUT;
    }
    std::vector<int> corners;
    if (_ReadTriangleCorners(triMesh, corners) != STATUS_SUCCESS) {
        _LogFailure("FillMeshHole::FindHoles: triangle vertex id out of range");
        return STATUS_INVALID_INPUT;
    }
    holes->clear();
    const int vertexCount = triMesh->GetVertexCount();
    const int halfEdgeCount = static_cast<int>(corners.size());

    UndirectedEdgeTable edges;
    edges.Build(corners, vertexCount);
    const std::vector<int> partner = PairHalfEdges(corners, edges);

    // Boundary half-edges by their start vertex, plus how many corners each
    // vertex has (which bounds a turn around it).
    std::vector<int> outStart(static_cast<size_t>(vertexCount) + 1, 0);
    std::vector<int> cornerCount(static_cast<size_t>(vertexCount), 0);
    int boundaryCount = 0;
    for (int h = 0; h < halfEdgeCount; ++h) {
        ++cornerCount[corners[h]];
        if (partner[h] == kBoundary) {
            ++outStart[corners[h] + 1];
            ++boundaryCount;
        }
    }
    if (boundaryCount == 0) return STATUS_SUCCESS;
    for (int v = 0; v < vertexCount; ++v) outStart[v + 1] += outStart[v];
    std::vector<int> outgoing(static_cast<size_t>(boundaryCount));
    std::vector<int> cursor(outStart.begin(), outStart.end() - 1);
    for (int h = 0; h < halfEdgeCount; ++h) {
        if (partner[h] == kBoundary) outgoing[cursor[corners[h]]++] = h;
    }
    // From here on cursor[v] is the first possibly unused outgoing entry of v.
    for (int v = 0; v < vertexCount; ++v) cursor[v] = outStart[v];

    std::vector<char> used(static_cast<size_t>(halfEdgeCount), 0);

    // The boundary half-edge leaving the fan that `arriving` enters, or -1
    // when the turn meets a collapsed half-edge or does not end.
    auto turn = [&](int arriving) {
        const int v = corners[_NextHalfEdge(arriving)];
        int leaving = _NextHalfEdge(arriving);
        for (int step = 0; step <= cornerCount[v]; ++step) {
            const int p = partner[leaving];
            if (p == kBoundary) return leaving;
            if (p == kCollapsed) return -1;
            leaving = _NextHalfEdge(p);
        }
        return -1;
    };
    auto anyUnused = [&](int v) {
        while (cursor[v] < outStart[v + 1] && used[outgoing[cursor[v]]]) ++cursor[v];
        return cursor[v] < outStart[v + 1] ? outgoing[cursor[v]] : -1;
    };

    // One closed circuit per connected piece of the boundary (Hierholzer):
    // walk on while an unused boundary half-edge leaves the current vertex,
    // preferring the one of the same fan; when stuck, the finished stretch is
    // emitted backwards and the walk resumes from the last vertex that still
    // has unused half-edges, which splices touching loops into one.
    std::vector<int> stack, circuit;
    for (int first = 0; first < halfEdgeCount; ++first) {
        if (partner[first] != kBoundary || used[first]) continue;
        used[first] = 1;
        stack.assign(1, first);
        circuit.clear();
        while (!stack.empty()) {
            const int h = stack.back();
            int next = turn(h);
            if (next < 0 || used[next]) next = anyUnused(corners[_NextHalfEdge(h)]);
            if (next >= 0) {
                used[next] = 1;
                stack.push_back(next);
            } else {
                circuit.push_back(h);
                stack.pop_back();
            }
        }
        std::vector<int> loop(circuit.size());
        for (size_t i = 0; i < circuit.size(); ++i) loop[i] = corners[circuit[circuit.size() - 1 - i]];
        holes->push_back(std::move(loop));
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
