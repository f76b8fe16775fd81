// Carving spoiled patches out of a chart (see ChartCarving.h).

#include "unfold/segmentation/ChartCarving.h"

#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/ChartLayout.h"

#include <cmath>

namespace ORVO {
namespace {

// A spike's spoiled faces gather round its tip. A spoiled face is carved with
// the faces around those of its corners where at least this share of the
// faces are spoiled (the tip), or around all three corners when none is such
// a gathering point. Carving the tip's ring alone, rather than the rings of
// its neighbours too, shortened the seams of a noisy scan under a budget by a
// tenth (shares from a quarter to 0.6 alike; counting only corners whose every
// face is spoiled gained a third as much). Above a third, so that the
// neighbours of a tip on a regular grid (two spoiled faces of six) are not
// taken for tips themselves.
constexpr double kGatheredShare = 0.4;

// Wedges of faces labelled `label` around v: such faces, less the edges at v
// with that label on both sides; a whole ring around an inner vertex is one.
int Wedges(const MeshAdjacency& adj, const std::vector<int>& labels, int v, int label) {
    int faces = 0, joints = 0, all = 0;
    bool open = false;
    for (int i = adj.FacesBegin(v); i < adj.FacesEnd(v); ++i) {
        const int f = adj.vertexFaces[i];
        ++all;
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        for (int k = 0; k < 3; ++k) {
            if (t[k] != v && t[(k + 1) % 3] != v) continue;
            const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
            if (g < 0) open = true;
            if (labels[f] == label && g > f && labels[g] == label) ++joints;
        }
        if (labels[f] == label) ++faces;
    }
    if (faces == all && faces > 0 && !open) return 1;
    return faces - joints;
}

}  // namespace

bool _CarveSpoiledPatches(const TriMesh& chart, const std::vector<double>& uv, double maxFaceStretch,
                          const std::vector<int>& overlapFaces, double maxShare, std::vector<int>& labels) {
    MeshAdjacency adj;
    adj.Build(&chart);
    const int faces = adj.faceCount;
    std::vector<char> spoiled(faces, 0);
    for (int f : overlapFaces)
        if (f >= 0 && f < faces) spoiled[f] = 1;
    for (int f = 0; f < faces; ++f)
        if (_FaceSpoiled(chart, uv, f, maxFaceStretch)) spoiled[f] = 1;

    // The corners where spoiled faces gather.
    std::vector<char> gathering(adj.vertexCount, 0);
    for (int v = 0; v < adj.vertexCount; ++v) {
        int bad = 0;
        for (int i = adj.FacesBegin(v); i < adj.FacesEnd(v); ++i) bad += spoiled[adj.vertexFaces[i]] ? 1 : 0;
        gathering[v] = bad > 0 && bad >= kGatheredShare * (adj.FacesEnd(v) - adj.FacesBegin(v));
    }
    // Each spoiled face with every face around its gathering corners, or
    // around all its corners when it has none.
    labels.assign(faces, 0);
    bool any = false;
    for (int f = 0; f < faces; ++f) {
        if (!spoiled[f]) continue;
        any = true;
        const int* t = &adj.triangles[3 * static_cast<size_t>(f)];
        const bool gathered = gathering[t[0]] || gathering[t[1]] || gathering[t[2]];
        for (int k = 0; k < 3; ++k) {
            if (gathered && !gathering[t[k]]) continue;
            for (int i = adj.FacesBegin(t[k]); i < adj.FacesEnd(t[k]); ++i) labels[adj.vertexFaces[i]] = 1;
        }
    }
    if (!any) return false;

    // Where either side would meet itself at a vertex (its outline passing
    // the vertex twice, which no layout check lets through), the whole fan
    // of that vertex is carved; the vertices of newly carved faces are looked
    // at again.
    std::vector<int> work;
    std::vector<char> queued(adj.vertexCount, 0);
    auto queueCorners = [&](int f) {
        for (int k = 0; k < 3; ++k) {
            const int v = adj.triangles[3 * static_cast<size_t>(f) + k];
            if (!queued[v]) {
                queued[v] = 1;
                work.push_back(v);
            }
        }
    };
    for (int f = 0; f < faces; ++f)
        if (labels[f]) queueCorners(f);
    while (!work.empty()) {
        const int v = work.back();
        work.pop_back();
        queued[v] = 0;
        if (Wedges(adj, labels, v, 0) <= 1 && Wedges(adj, labels, v, 1) <= 1) continue;
        for (int i = adj.FacesBegin(v); i < adj.FacesEnd(v); ++i) {
            const int f = adj.vertexFaces[i];
            if (labels[f]) continue;
            labels[f] = 1;
            queueCorners(f);
        }
    }

    double total = 0.0, carved = 0.0;
    for (int f = 0; f < faces; ++f) {
        const int* t = chart.GetTriangle(f);
        const double area = TriangleArea(chart.GetVertexCoordRef(t[0]), chart.GetVertexCoordRef(t[1]),
                                         chart.GetVertexCoordRef(t[2]));
        total += area;
        if (labels[f]) carved += area;
    }
    return carved < total && carved <= maxShare * total;
}

}  // namespace ORVO
