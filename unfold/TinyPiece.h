#pragma once
// Pieces of a few faces laid flat directly: the fast path of the options
// form for the floating fragments that reconstructions leave behind.

#include <QarnUVAtlas/TriMesh.h>

#include <memory>
#include <vector>

namespace ORVO {

// Largest piece, in faces, that is laid flat directly.
constexpr size_t kTinyPieceFaces = 12;

// Unfolds the faces of one connected piece (ids into `mesh`, at most
// kTinyPieceFaces) into the plane without distortion: the first face as it
// is, each further one across an edge it shares with a laid face. The
// positions are taken to (p - centre) * scale first. Succeeds only when the
// layout is exact and valid: every face non-degenerate and counter-clockwise,
// every inner edge shared by two faces in opposite directions, every vertex
// landing at one place, no two faces overlapping. Then writes the chart (the
// piece's vertices in increasing id order, its faces in the order given) and
// its (u, v) pairs, and returns true; otherwise the piece takes the full
// route and nothing is written.
bool _FlattenTinyPiece(const ITriMesh* mesh, const std::vector<int>& faces, const Vector3& centre, double scale,
                       std::unique_ptr<TriMesh>& chart, std::vector<double>& uv);

}  // namespace ORVO
