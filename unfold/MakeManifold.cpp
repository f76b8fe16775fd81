// Splitting a mesh's non-manifold edges and vertices apart.
//
// Each edge keeps at most one "glued" pair of faces, running it in opposite
// directions; every other face on the edge is treated as if the edge were
// boundary. Corners at a vertex that are linked through glued edges form a
// fan (a path or a cycle, since each corner has two edges and each edge at
// most one partner), and every fan becomes a vertex.
//
// Splitting fans is not always enough on its own: a loose face of a
// three-sheet edge can sit in the same fans as the glued pair at both ends of
// the edge and so land on the glued pair's new edge again. Such clashes are
// found on the few edges that had more than one face without being a single
// glued pair, and resolved by unglueing the loose face from its fan at one
// end; the fans are then recomputed. Every round removes a glued edge, so the
// rounds end, and in practice one or two suffice.

#include <QarnUVAtlas/ConsolidateMesh.h>

#include "foundation/LogLine.h"
#include "unfold/UndirectedEdgeTable.h"
#include "unfold/WedgeVertices.h"

#include <algorithm>
#include <vector>

namespace ORVO {
namespace {

// After this many rounds a clashing face is detached from all its
// neighbours at once, which settles any case the single unglueing leaves.
constexpr int kGentleRounds = 16;

class ManifoldSplitter {
public:
    ManifoldSplitter(const std::vector<int>& corners, int vertexCount)
        : mCorners(corners), mVertexCount(vertexCount) {
        mEdges.Build(mCorners, vertexCount);
        mGlued.assign(mCorners.size(), -1);
        mIsWatched.assign(static_cast<size_t>(mEdges.EdgeCount()), 0);
        mDetached.assign(mCorners.size() / 3, 0);
    }

    void ChooseGluedPairs() {
        const int edgeCount = mEdges.EdgeCount();
        for (int e = 0; e < edgeCount; ++e) {
            const int count = mEdges.HalfEdgeCount(e);
            if (count < 2) continue;
            int forward = -1, backward = -1;
            for (const int* h = mEdges.HalfEdgesBegin(e); h < mEdges.HalfEdgesEnd(e); ++h) {
                // A face that repeats a vertex is never glued: its corners
                // must end on different vertices.
                if (RepeatsVertex(*h / 3)) continue;
                if (mCorners[*h] == mEdges.LowVertex(e)) {
                    if (forward < 0) forward = *h;
                } else {
                    if (backward < 0) backward = *h;
                }
            }
            if (forward >= 0 && backward >= 0) {
                mGlued[forward] = backward;
                mGlued[backward] = forward;
            }
            if (count > 2 || forward < 0 || backward < 0) Watch(e);
        }
    }

    // Fans from the current glued pairs; returns whether a clash was resolved
    // (in which case the fans must be computed again).
    bool Round(bool detachWholeFace) {
        const int cornerCount = static_cast<int>(mCorners.size());
        mSets.Reset(cornerCount);
        for (int h = 0; h < cornerCount; ++h) {
            const int g = mGlued[h];
            if (g > h) {
                mSets.Union(h, _NextHalfEdge(g));
                mSets.Union(_NextHalfEdge(h), g);
            }
        }
        mResult = mCorners;
        _AssignWedgeVertices(mSets, mVertexCount, mResult, mSources);

        bool changed = false;
        std::vector<int> detachedFaces;
        const size_t watchedCount = mWatched.size();  // edges unglued below are checked next round
        std::vector<ResultEdge> members;
        for (size_t i = 0; i < watchedCount; ++i) {
            const int e = mWatched[i];
            members.clear();
            for (const int* h = mEdges.HalfEdgesBegin(e); h < mEdges.HalfEdgesEnd(e); ++h) {
                const int r0 = mResult[*h], r1 = mResult[_NextHalfEdge(*h)];
                members.push_back({std::min(r0, r1), std::max(r0, r1), *h});
            }
            std::sort(members.begin(), members.end());
            for (size_t runStart = 0; runStart < members.size();) {
                size_t runEnd = runStart + 1;
                while (runEnd < members.size() && members[runEnd].low == members[runStart].low &&
                       members[runEnd].high == members[runStart].high) {
                    ++runEnd;
                }
                // Half-edges that landed on one result edge: the glued pair
                // (if it is among them) or else the first one stays.
                const bool runHasPair = runEnd - runStart > 1 && HasGluedPair(members, runStart, runEnd);
                for (size_t k = runStart; k < runEnd && runEnd - runStart > 1; ++k) {
                    const int h = members[k].halfEdge;
                    if (mGlued[h] >= 0 || (!runHasPair && k == runStart)) continue;
                    if (mDetached[h / 3]) continue;  // already moved this round
                    mDetached[h / 3] = 1;
                    detachedFaces.push_back(h / 3);
                    if (Detach(h, detachWholeFace)) changed = true;
                }
                runStart = runEnd;
            }
        }
        for (int f : detachedFaces) mDetached[f] = 0;
        return changed;
    }

    const std::vector<int>& Result() const { return mResult; }
    const std::vector<int>& Sources() const { return mSources; }

private:
    struct ResultEdge {
        int low, high, halfEdge;
        bool operator<(const ResultEdge& o) const {
            if (low != o.low) return low < o.low;
            if (high != o.high) return high < o.high;
            return halfEdge < o.halfEdge;
        }
    };

    bool HasGluedPair(const std::vector<ResultEdge>& members, size_t begin, size_t end) const {
        for (size_t k = begin; k < end; ++k) {
            if (mGlued[members[k].halfEdge] >= 0) return true;
        }
        return false;
    }

    bool RepeatsVertex(int f) const {
        const int* t = &mCorners[3 * static_cast<size_t>(f)];
        return t[0] == t[1] || t[1] == t[2] || t[2] == t[0];
    }

    void Watch(int e) {
        if (mIsWatched[e]) return;
        mIsWatched[e] = 1;
        mWatched.push_back(e);
    }

    bool Unglue(int h) {
        const int g = mGlued[h];
        if (g < 0) return false;
        mGlued[h] = -1;
        mGlued[g] = -1;
        Watch(mEdges.EdgeOf(h));
        return true;
    }

    // Takes the face of half-edge h out of the fan at one end of h (or out of
    // all its fans), so that h no longer coincides with another half-edge.
    // Returns whether anything was unglued.
    bool Detach(int h, bool wholeFace) {
        if (wholeFace) {
            const int f0 = 3 * (h / 3);
            const bool a = Unglue(f0), b = Unglue(f0 + 1), c = Unglue(f0 + 2);
            return a || b || c;
        }
        return Unglue(_PrevHalfEdge(h)) || Unglue(_NextHalfEdge(h));
    }

    const std::vector<int>& mCorners;
    const int mVertexCount;
    UndirectedEdgeTable mEdges;
    std::vector<int> mGlued;    // partner half-edge, or -1
    std::vector<int> mWatched;  // edges where two result half-edges might clash
    std::vector<char> mIsWatched;
    std::vector<char> mDetached;  // faces already detached in the current round
    CornerDisjointSets mSets;
    std::vector<int> mResult;
    std::vector<int> mSources;
};

}  // namespace

int ConsolidateMesh::MakeManifold(const ITriMesh* triMesh, TriMesh* result, std::vector<int>* vertexOrigins) {
    if (!triMesh || !result) {
        _LogFailure("ConsolidateMesh::MakeManifold: input triMesh or result is NULL");
        return STATUS_INVALID_INPUT;
    }
    std::vector<int> corners;
    if (_ReadTriangleCorners(triMesh, corners) != STATUS_SUCCESS) {
        _LogFailure("ConsolidateMesh::MakeManifold: triangle vertex id out of range");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();

    ManifoldSplitter splitter(corners, vertexCount);
    splitter.ChooseGluedPairs();
    for (int round = 0; splitter.Round(round >= kGentleRounds); ++round) {
    }

    // Copying first keeps every attribute; result may be triMesh itself.
    int status = CopyTriMesh(triMesh, result);
    if (status != STATUS_SUCCESS) return status;
    _AppendVertexCopies(result, splitter.Sources());
    _WriteChangedTriangles(result, corners, splitter.Result());

    if (vertexOrigins) {
        const std::vector<int>& sources = splitter.Sources();
        vertexOrigins->resize(static_cast<size_t>(vertexCount) + sources.size());
        for (int v = 0; v < vertexCount; ++v) (*vertexOrigins)[v] = v;
        for (size_t i = 0; i < sources.size(); ++i) (*vertexOrigins)[vertexCount + i] = sources[i];
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
