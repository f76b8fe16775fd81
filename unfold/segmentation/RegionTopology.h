#pragma once
// Face geometry and region topology shared by the segmentation stages.

#include <QarnUVAtlas/TriMesh.h>

#include "unfold/MeshAdjacency.h"

#include <vector>

namespace ORVO {

struct FaceGeometry {
    std::vector<Vector3> centroid;
    std::vector<Vector3> normal;  // unit, zero for degenerate faces
    std::vector<double> weight;   // area, raised a little so that no weight is zero
    double totalArea = 0.0;
};

// Centroids, unit normals and (slightly raised) areas of the faces.
FaceGeometry _ComputeFaceGeometry(const ITriMesh* mesh, const MeshAdjacency& adj);

// Euler characteristic of the region `label` made of `faces`, counting a
// vertex once per fan of region faces around it (that is how the cut leaves
// it). A connected region is a disc exactly when the result is 1.
// `localIndex` is scratch of one entry per face, all -1, left so.
int _EulerCharacteristic(const MeshAdjacency& adj, const std::vector<int>& labels, int label,
                         const std::vector<int>& faces, std::vector<int>& localIndex);

// Edge-connected parts of `faces` (all labelled `label`). `seen` is scratch
// of one entry per face, all 0, left so.
void _ConnectedParts(const MeshAdjacency& adj, const std::vector<int>& labels, int label,
                     const std::vector<int>& faces, std::vector<char>& seen, std::vector<std::vector<int>>& parts);

// Splits every region that is not an edge-connected disc until all are.
// Returns the new region count (labels 0 .. count-1).
int _MakeRegionsDiscs(const MeshAdjacency& adj, const FaceGeometry& geo, std::vector<int>& labels, int regionCount);

// Every edge between two differently labelled faces, as a two-vertex line.
void _BorderLines(const MeshAdjacency& adj, const std::vector<int>& labels, std::vector<std::vector<int>>& lines);

}  // namespace ORVO
