#pragma once
// The UV atlas: cutting a mesh into charts, flattening each chart with low
// distortion, checking it for folds and packing all charts into one square.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <atomic>
#include <vector>

namespace ORVO {

// Settings of the options form of GenerateUVAtlas. The defaults reproduce the
// plain form's pipeline, except `strict` and the input repair (`weldVertices`,
// `orientFaces`), which a real user wants on, and the charts, which the
// options form shapes itself (borders along creases and on short paths; see
// chartCount and maxStretch).
struct ORVO_API UVAtlasOptions {
    // Charts wanted for the whole mesh (shared among components by vertex
    // count); 0 lets the library choose from the mesh (see maxStretch).
    int chartCount = 0;
    // Texture size in texels and the gap kept between charts, in texels.
    int resolution = 1024;
    int gapTexels = 1;
    // In strict mode every chart, at any split depth, is checked with the 2-D
    // overlap test and split further while it folds, so that no output
    // triangle is flipped or overlaps another.
    bool strict = true;
    // Accept every region's first flattening without checks.
    bool acceptDirectly = false;
    // Worker threads; 0 uses the process-wide setting (SetThreadCount).
    int threadCount = 0;
    // When not null, polled between components, stages and charts: once it
    // reads true the call stops, leaves the outputs untouched and returns -3.
    // Another thread sets it to abandon a long call (an interrupted script).
    const std::atomic<bool>* cancel = nullptr;
    // Optional cut lines (input vertex ids along mesh edges) applied first.
    const std::vector<std::vector<int>>* initSplitLines = nullptr;

    // Input as exporters write it. The atlas works on a copy of the mesh in
    // which vertices at the same position (equal, or closer than 1e-6 of the
    // bounding-box diagonal) are one vertex, so that faces written with
    // corners of their own are joined again; a seam is kept only where its
    // two sides' positions differ. Each piece's faces are then turned to
    // agree with their neighbours (a piece that cannot be oriented, such as a
    // Moebius strip, is cut). The outputs still refer to the caller's faces
    // and corner order: a face that was turned is mirrored in the texture
    // like its geometry. Pieces of a few faces are laid flat directly.
    bool weldVertices = true;
    bool orientFaces = true;
    // Stretch budget: the area-weighted L2 texture stretch the whole atlas may
    // reach (1 = none; the scale `qarnuv stats` reports). Charts then grow and
    // merge for as long as the atlas stays within it and no face is stretched
    // more than 3 times, so the budget, not chartCount, decides the charts.
    // 0: no budget. With chartCount 0 as well, the shape decides: charts do
    // not cross creases, keep their normals within a cone and together stay
    // within a stretch of 1.02. Values between 0 and 1 are invalid.
    double maxStretch = 0.0;
    // Page mode (fixed texel density over several pages). With texelsPerUnit > 0 every
    // chart gets that many texels (of `resolution` per page side) per unit of surface
    // length, in the mesh's own units, and is never shrunk: the charts fill as many
    // resolution x resolution pages as they need, each page a unit square of texture
    // coordinates of its own. A chart larger than a page is split along triangle edges.
    // 0 (the default) packs every chart into one unit square at the largest scale.
    double texelsPerUnit = 0.0;
    // Most pages page mode may fill; 0 for no limit. Needing more fails with -3.
    int maxPages = 0;
    // Output when not null: the page of every input face (3 corners share it), all 0
    // outside page mode; written only on success.
    std::vector<int>* facePages = nullptr;
};

// What an options-form call produced.
struct ORVO_API UVAtlasReport {
    int chartCount = 0;        // charts in the atlas
    double utilization = 0.0;  // total UV triangle area / unit square
    double seconds = 0.0;      // wall time of the call

    // What the working copy changed (see weldVertices and orientFaces).
    int weldedVertices = 0;    // caller vertices merged into another at its position
    int turnedFaces = 0;       // faces whose orientation disagreed with their piece
    int pageCount = 1;         // pages filled (page mode; 1 otherwise); utilization is then
                               // the total UV area over all pages' area
    double packSeconds = 0.0;  // of `seconds`, the time spent packing the charts
};

class ORVO_API UnfoldMesh {
public:
    // Cuts `triMesh` into charts, flattens and packs them into [0,1]^2.
    // Inputs: triMesh (>= 3 vertices, >= 1 triangle), chartCount >= 1 (shared
    //   among connected components by vertex count), needInitSplit with
    //   initSplitLines (input vertex ids along edges) to cut first,
    //   acceptDirectlyA/B to accept every first flattening unchecked.
    // Outputs: texCoords (u,v pairs, chart after chart) and faceTexIds (3 per
    //   face: the pair index of each corner), written only on success.
    // Returns 0, -2 for invalid input (null, counts, non-finite coordinates,
    //   ids out of range), or the failing stage's code.
    static int GenerateUVAtlas(const ITriMesh* triMesh, int chartCount, std::vector<double>* texCoords,
                               std::vector<int>* faceTexIds, bool needInitSplit, bool acceptDirectlyA,
                               bool acceptDirectlyB, const std::vector<std::vector<int>>* initSplitLines);

    // Options form: the same pipeline with the texture resolution and gap,
    // strict mode, thread count, chart count or stretch budget of `options`;
    // fills `report` when not null. In page mode (options.texelsPerUnit > 0)
    // the (u, v) of each face lie in the unit square of its page, given in
    // options.facePages when asked for. Returns as the plain form; -2 also for
    // a negative chart count, resolution below 1, negative gap, maxStretch
    // that is not 0 and not a finite value of at least 1, a negative or
    // non-finite texelsPerUnit or a negative maxPages; -3 also when page mode
    // needs more than maxPages pages or meets a single triangle larger than a
    // page.
    static int GenerateUVAtlas(const ITriMesh* triMesh, const UVAtlasOptions& options,
                               std::vector<double>* texCoords, std::vector<int>* faceTexIds,
                               UVAtlasReport* report = nullptr);

    // Least-squares conformal flattening of one disc-like chart.
    // Inputs: triMesh; optional pins fixedVertexIndex with fixedVertexCoord
    //   (u,v per pin); without pins two boundary vertices are pinned.
    // Output: uvCoords, 2 per vertex, written only on success.
    // Returns 0, -2 (invalid input, no boundary), -3 (system build/solve failed).
    static int ConformalMap(const ITriMesh* triMesh, const std::vector<int>* fixedVertexIndex,
                            const std::vector<double>* fixedVertexCoord, std::vector<double>* uvCoords);

    // As-rigid-as-possible improvement of a flattening, iterationCount
    // local/global steps; pins keep their input (u,v) (default: the first
    // vertex of triangle 0).
    // In/out: uvCoords, 2 per vertex. Returns 0, -2 (invalid input), -3.
    static int OptimizeIsometric(const ITriMesh* triMesh, std::vector<double>* uvCoords, int iterationCount,
                                 const std::vector<int>* fixedVertexIndex);

    // Split lines for one connected component so that cutting along them
    // leaves about chartCount disc-like, gently curved regions.
    // Output: splitLines, each a list of vertex ids along mesh edges.
    // Returns 0, -2 (null mesh, chartCount < 1).
    static int GenerateAtlasSplitLines(const ITriMesh* triMesh, int chartCount,
                                       std::vector<std::vector<int>>& splitLines);

    // Moves every chart into [0,1]^2: one common scale, rotation allowed,
    // no two charts closer than gapTexels texels of a resolution^2 texture.
    // In/out: chartTexCoords[k], 2 per vertex of charts[k].
    // Returns 0, -2 (empty or mismatched lists, non-finite input), -3.
    static int PackUVAtlas(const std::vector<ITriMesh*>& charts, std::vector<std::vector<double>>& chartTexCoords,
                           int resolution = 1024, int gapTexels = 1);
};

// Whether any two triangles of a flattened chart overlap in the plane.
// Inputs: uvPoints, triangles (3 point ids each); weldCoincidentPoints makes
//   points with identical coordinates one point first.
// Outputs (when not null): overlapFaces, the overlapping triangle ids;
//   overlapRatio, their area share. Returns true when an overlap was found.
ORVO_API bool IsTriMesh2DOverlapped(const std::vector<Vector2>& uvPoints, const std::vector<int>& triangles,
                                    bool weldCoincidentPoints, std::vector<int>* overlapFaces,
                                    double* overlapRatio);

}  // namespace ORVO
