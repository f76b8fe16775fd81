// Cutting a mesh along vertex paths by duplicating the vertices on the cut.
//
// Every corner of every triangle starts as its own wedge; corners at the same
// vertex are merged across each uncut interior edge. What remains apart at a
// vertex are exactly the fans separated by cut edges, and each of them gets a
// vertex of its own. Merging across the cut edges as well must then leave one
// fan per vertex, which is the manifold check done in the same pass.

#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/SplitMesh.h>

#include "dump/DumpSupport.h"
#include "foundation/LogLine.h"
#include "unfold/UndirectedEdgeTable.h"
#include "unfold/WedgeVertices.h"

#include <vector>

namespace ORVO {
namespace {

// Merges the corners of the two faces of edge e at both of its ends. Corners
// are matched by vertex, not by direction, so inconsistently oriented
// neighbours are joined like consistent ones.
void JoinAcrossEdge(const std::vector<int>& corners, const UndirectedEdgeTable& edges, int e,
                    CornerDisjointSets& sets) {
    const int* he = edges.HalfEdgesBegin(e);
    const int h0 = he[0], h1 = he[1];
    if (corners[h0] == corners[h1]) {
        sets.Union(h0, h1);
        sets.Union(_NextHalfEdge(h0), _NextHalfEdge(h1));
    } else {
        sets.Union(h0, _NextHalfEdge(h1));
        sets.Union(_NextHalfEdge(h0), h1);
    }
}

void FillIdentity(std::vector<int>* origins, int count) {
    if (!origins) return;
    origins->resize(static_cast<size_t>(count));
    for (int v = 0; v < count; ++v) (*origins)[v] = v;
}

}  // namespace

int SplitMesh::SplitByLines(ITriMesh* triMesh, const std::vector<std::vector<int>>& lines,
                            std::vector<int>* vertexOrigins) {
    _RecordCall<DumpMeshSplitByLines>(triMesh, lines);
    if (!triMesh) {
        _LogFailure("SplitMesh::SplitByLines: input triMesh is NULL");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    if (lines.empty()) {
        _LogFailure("SplitTriMesh: empty split lines");
        FillIdentity(vertexOrigins, vertexCount);
        return STATUS_SUCCESS;
    }

    std::vector<int> corners;
    if (_ReadTriangleCorners(triMesh, corners) != STATUS_SUCCESS) {
        _LogFailure("SplitMesh::SplitByLines: triangle vertex id out of range");
        return STATUS_INVALID_INPUT;
    }
    const int cornerCount = static_cast<int>(corners.size());
    for (int c = 0; c < cornerCount; c += 3) {
        if (corners[c] == corners[c + 1] || corners[c + 1] == corners[c + 2] || corners[c + 2] == corners[c]) {
            _LogFailure("SplitMesh::SplitByLines: input mesh is non-manifold");
            return STATUS_INVALID_INPUT;
        }
    }

    UndirectedEdgeTable edges;
    edges.Build(corners, vertexCount);
    const int edgeCount = edges.EdgeCount();
    for (int e = 0; e < edgeCount; ++e) {
        if (edges.HalfEdgeCount(e) > 2) {
            _LogFailure("SplitMesh::SplitByLines: input mesh is non-manifold");
            return STATUS_INVALID_INPUT;
        }
    }

    std::vector<char> cut(static_cast<size_t>(edgeCount), 0);
    bool anyCut = false;
    for (const std::vector<int>& line : lines) {
        for (size_t i = 1; i < line.size(); ++i) {
            const int e = edges.FindEdge(line[i - 1], line[i]);
            if (e < 0) continue;
            cut[e] = 1;
            anyCut = true;
        }
    }

    // Wedges: join across every uncut edge with two faces. Remember each
    // corner's wedge before the cut edges are joined too for the fan check.
    CornerDisjointSets sets;
    sets.Reset(cornerCount);
    for (int e = 0; e < edgeCount; ++e) {
        if (!cut[e] && edges.HalfEdgeCount(e) == 2) JoinAcrossEdge(corners, edges, e, sets);
    }
    std::vector<int> wedgeCorners = corners;
    std::vector<int> sources;
    if (anyCut) _AssignWedgeVertices(sets, vertexCount, wedgeCorners, sources);

    for (int e = 0; e < edgeCount; ++e) {
        if (cut[e] && edges.HalfEdgeCount(e) == 2) JoinAcrossEdge(corners, edges, e, sets);
    }
    std::vector<char> fanSeen(static_cast<size_t>(vertexCount), 0);
    for (int c = 0; c < cornerCount; ++c) {
        if (sets.Find(c) != c) continue;
        // c is the lowest corner of its fan; a second fan at the same vertex
        // means the faces around it do not form one disc or half-disc.
        if (fanSeen[corners[c]]) {
            _LogFailure("SplitMesh::SplitByLines: input mesh is non-manifold");
            return STATUS_INVALID_INPUT;
        }
        fanSeen[corners[c]] = 1;
    }

    if (!sources.empty()) {
        _AppendVertexCopies(triMesh, sources);
        _WriteChangedTriangles(triMesh, corners, wedgeCorners);
    }
    FillIdentity(vertexOrigins, vertexCount + static_cast<int>(sources.size()));
    if (vertexOrigins) {
        for (size_t i = 0; i < sources.size(); ++i) (*vertexOrigins)[vertexCount + i] = sources[i];
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
