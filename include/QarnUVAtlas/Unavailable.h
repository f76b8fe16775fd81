#pragma once
// Algorithm families of the wider ORVO interface that this build does not
// carry. Their entry points keep their names and signatures so that callers
// link, but every one of them returns STATUS_NOT_AVAILABLE (-8) at once: it
// reads and writes none of its arguments and logs nothing, so a caller can tell
// an absent algorithm from a real failure.

#include <QarnUVAtlas/Export.h>

#include <vector>

namespace ORVO {

class ITriMesh;
class IPointCloud;

// Smoothing and detail enhancement of triangle meshes.
class ORVO_API MeshFilter {
public:
    // Laplacian smoothing of the vertex positions, `iterationCount` passes.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int LaplaceSmooth(ITriMesh* triMesh, int iterationCount);
    // Amplifies fine detail by `intensity` over `iterationCount` passes.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int EnhanceDetail(ITriMesh* triMesh, double intensity, int iterationCount);
};

// Reduction of triangle count.
class ORVO_API MeshSimplification {
public:
    // Quadric-error edge collapse down to `targetVertexCount` vertices.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int QuadricSimplify(ITriMesh* triMesh, int targetVertexCount);
    // Removes the vertices flagged in `removeFlags` and re-triangulates the holes.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int SimplifyByRemovingVertex(ITriMesh* triMesh, const std::vector<bool>* removeFlags);
};

// Refinement of triangle meshes.
class ORVO_API MeshSubdivision {
public:
    // Loop subdivision, `levelCount` levels.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int LoopSubdivide(ITriMesh* triMesh, int levelCount);
    // Splits edges longer than `maxEdgeLength`.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int Densify(ITriMesh* triMesh, double maxEdgeLength);
};

// Differential and volumetric measurements on meshes.
class ORVO_API MeshMeasure {
public:
    // Per-vertex principal curvatures, two values per vertex in `curvatures`.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int ComputePrincipalCurvature(const ITriMesh* triMesh, std::vector<double>* curvatures);
    // Per-vertex wall thickness along the inward normal, into `thickness`.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int ComputeThickness(const ITriMesh* triMesh, std::vector<double>* thickness);
};

// Normal estimation and cleaning of point clouds.
class ORVO_API PointCloudConsolidation {
public:
    // Estimates point normals from `neighborCount` nearest neighbours.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int CalculateNormal(IPointCloud* pointCloud, bool isDepthImage, int neighborCount);
    // Smooths point normals over `neighborCount` neighbours.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int SmoothNormal(IPointCloud* pointCloud, int neighborCount);
    // Scores every point's isolation into `isolation` (one value per point).
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int CalculateIsolation(const IPointCloud* pointCloud, std::vector<double>* isolation,
                                  int neighborCount);
};

// Rigid alignment of point clouds.
class ORVO_API Registration {
public:
    // Iterative closest point; writes a row-major 4x4 transform (16 values).
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int ICP(const IPointCloud* reference, const IPointCloud* moving,
                   std::vector<double>* transform);
    // Coarse global alignment of `moving` onto `reference`, transform as above.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int AlignPointCloud(const IPointCloud* reference, const IPointCloud* moving,
                               std::vector<double>* transform);
};

// Sampling of meshes and point clouds.
class ORVO_API Sampling {
public:
    // Picks `sampleCount` evenly spread point ids into `sampleIds`.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int UniformSamplePointCloud(const IPointCloud* pointCloud, int sampleCount,
                                       std::vector<int>* sampleIds);
    // Samples `sampleCount` points on the surface; coordinates x,y,z into `points`.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int UniformSampleMesh(const ITriMesh* triMesh, int sampleCount,
                                 std::vector<double>* points);
};

// Detection of geometric primitives.
class ORVO_API DetectShape {
public:
    // Labels each point with the primitive (plane, sphere, ...) it belongs to.
    // Not in this build: returns STATUS_NOT_AVAILABLE (-8), touches nothing.
    static int DetectPrimitive(const IPointCloud* pointCloud, std::vector<int>* labels);
};

}  // namespace ORVO
