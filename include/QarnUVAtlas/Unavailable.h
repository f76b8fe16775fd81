#pragma once
// Algorithm families of the wider ORVO interface that this build does not
// carry. Their entry points keep their names and signatures so that callers
// compile and link, but every one of them returns STATUS_NOT_AVAILABLE (-8) at
// once: it reads and writes none of its arguments and logs nothing, so a
// caller can tell an absent algorithm from a real failure. The parameters say
// what each would take (inputs first, outputs last, meshes and clouds by
// pointer, optional vectors by pointer). Further entry points of this kind sit
// with their families' available ones: FillMeshHole (FillMeshHole.h) and
// SplitMesh (SplitMesh.h).

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <vector>

namespace ORVO {

class ITriMesh;
class TriMesh;
class IPointCloud;
class IGridPointCloud;
class PointCloud;

// Cleaning of raw meshes: merged vertices, duplicate faces, noise pieces.
class ORVO_API MeshConsolidation {
public:
    // Merges vertices closer than `tolerance`, drops degenerate (and, when asked, duplicate) faces.
    static int Geometry(ITriMesh* triMesh, double tolerance, bool removeDuplicateFaces);
    // Deletes connected pieces smaller than both limits.
    static int RemoveGeometryNoise(ITriMesh* triMesh, int minComponentFaceCount, double minComponentDiagonal);
    // Welds vertices closer than `distance`.
    static int FuseVertices(ITriMesh* triMesh, double distance);
    // Deletes faces that repeat another face's vertices.
    static int RemoveDuplicateFaces(ITriMesh* triMesh);
};

// Smoothing and detail enhancement of triangle meshes.
class ORVO_API MeshFilter {
public:
    // Laplacian smoothing of the vertex positions.
    static int LaplaceSmooth(ITriMesh* triMesh, int iterationCount);
    // Amplifies fine detail by `intensity`.
    static int EnhanceDetail(ITriMesh* triMesh, double intensity, int iterationCount);
    // Feature-keeping smoothing of the face normals, then the positions.
    static int BilateralSmooth(ITriMesh* triMesh, double normalSigma, int iterationCount);
    // Averages vertex normals over their neighbours.
    static int SmoothNormals(ITriMesh* triMesh, int iterationCount);
};

// Sections, curvature, thickness and distances on meshes.
class ORVO_API MeshMeasure {
public:
    // Points where the plane cuts the surface, one per crossed edge, unordered. Output: points.
    static int SectionApproximate(const ITriMesh* triMesh, const Vector3& planePoint, const Vector3& planeNormal,
                                  std::vector<Vector3>* points);
    // The section curves of the plane through the surface, each in walking order. Output: curves.
    static int SectionExact(const ITriMesh* triMesh, const Vector3& planePoint, const Vector3& planeNormal,
                            std::vector<std::vector<Vector3>>* curves);
    // As SectionExact, keeping only the closed curves. Output: curves.
    static int SectionExactClosed(const ITriMesh* triMesh, const Vector3& planePoint, const Vector3& planeNormal,
                                  std::vector<std::vector<Vector3>>* curves);
    // As SectionExact, keeping only the curves that end on the boundary. Output: curves.
    static int SectionExactOpen(const ITriMesh* triMesh, const Vector3& planePoint, const Vector3& planeNormal,
                                std::vector<std::vector<Vector3>>* curves);
    // Two principal curvatures per vertex. Output: curvatures.
    static int PrincipalCurvature(const ITriMesh* triMesh, std::vector<double>* curvatures);
    // Wall thickness per vertex along the inward normal. Output: thickness.
    static int Thickness(const ITriMesh* triMesh, std::vector<double>* thickness);
    // Enclosed volume of a closed mesh. Output: volume.
    static int Volume(const ITriMesh* triMesh, double* volume);
    // Distance along the surface from the nearest source, per vertex. Output: distances.
    static int GeodesicDistance(const ITriMesh* triMesh, const std::vector<int>& sourceVertexIds,
                                std::vector<double>* distances);
    // Distance of every vertex to the surface of `reference`. Output: distances.
    static int DistanceToMesh(const ITriMesh* triMesh, const ITriMesh* reference, std::vector<double>* distances);
};

// Refinement of triangle meshes.
class ORVO_API MeshSubdivision {
public:
    // Loop subdivision.
    static int Loop(ITriMesh* triMesh, int levelCount);
    // Splits edges longer than `maxEdgeLength`.
    static int Densify(ITriMesh* triMesh, double maxEdgeLength);
    // Inserts each point as a vertex of the face it lies on.
    static int InsertPointsOnMesh(ITriMesh* triMesh, const std::vector<int>& faceIds,
                                  const std::vector<Vector3>& points);
    // Interpolating butterfly subdivision.
    static int Butterfly(ITriMesh* triMesh, int levelCount);
};

// Reduction of the triangle count.
class ORVO_API MeshSimplification {
public:
    // Quadric-error edge collapse down to `targetVertexCount` vertices.
    static int Quadric(ITriMesh* triMesh, int targetVertexCount);
    // As Quadric, keeping the texture seams and carrying the coordinates along. Output: resultTexCoords,
    // resultFaceTexIds.
    static int TextureCoord(ITriMesh* triMesh, const std::vector<double>& texCoords,
                            const std::vector<int>& faceTexIds, int targetVertexCount,
                            std::vector<double>* resultTexCoords, std::vector<int>* resultFaceTexIds);
    // Removes the listed vertices and re-triangulates the holes.
    static int ByRemovingVertex(ITriMesh* triMesh, const std::vector<int>& vertexIds);
    // Collapses edges shorter than `minEdgeLength`.
    static int ByEdgeLength(ITriMesh* triMesh, double minEdgeLength);
};

// Textures baked from colours, and meshes and thinning made from point clouds.
// Bakes per-vertex colours into an imageSize x imageSize texture. Output: image.
ORVO_API int CreateTextureImageByVertexColors(const ITriMesh* triMesh, const std::vector<Color4>& vertexColors,
                                              const std::vector<double>& texCoords,
                                              const std::vector<int>& faceTexIds, int imageSize,
                                              std::vector<Color4>* image);
// Bakes a texture from a photograph taken by `camera`. Output: image.
ORVO_API int CreateTextureImageByRefImages(const ITriMesh* triMesh, const std::vector<double>& texCoords,
                                           const std::vector<int>& faceTexIds,
                                           const std::vector<Color4>& refImagePixels, int refImageWidth,
                                           int refImageHeight, const Matrix4x4& camera, int imageSize,
                                           std::vector<Color4>* image);
// A watertight surface through an oriented cloud. Output: result.
ORVO_API int PointCloudReconstructMesh(const IPointCloud* pointCloud, int depth, TriMesh* result);
// Thins the cloud to about one point per `spacing`.
ORVO_API int PointCloudSimplify(IPointCloud* pointCloud, double spacing);

// Offset surfaces.
class ORVO_API OffsetMesh {
public:
    // The surface at `distance` along the normals. Output: result.
    static int UniformApproximate(const ITriMesh* triMesh, double distance, TriMesh* result);
};

// Re-triangulation with even edge lengths.
class ORVO_API Remesh {
public:
    // Isotropic remeshing towards `targetEdgeLength`.
    static int Uniform(ITriMesh* triMesh, double targetEdgeLength, int iterationCount);
};

// Point samples of a surface.
class ORVO_API MeshSampling {
public:
    // `sampleCount` points spread evenly over the surface. Output: samples.
    static int Uniform(const ITriMesh* triMesh, int sampleCount, PointCloud* samples);
    // Surface points no two closer than `radius`. Output: samples.
    static int Poisson(const ITriMesh* triMesh, double radius, PointCloud* samples);
};

// Delaunay-type triangulations and their optimisation.
class ORVO_API Triangulation {
public:
    // Flips edges towards Delaunay, keeping the edges along the lines.
    static int ConstrainedDelaunayOptimization(ITriMesh* triMesh,
                                               const std::vector<std::vector<int>>& constrainedLines);
    // Both surfaces re-triangulated along their intersection. Output: result.
    static int MutualTessellation(const ITriMesh* meshA, const ITriMesh* meshB, TriMesh* result);
    // Moves vertices towards the centroids of their Voronoi cells.
    static int CentroidVoronoiOptimization(ITriMesh* triMesh, int iterationCount);
    // Delaunay triangulation of points in the xy plane keeping the given edges (id pairs). Output: triangles.
    static int ConstrainedDelaunay2D(const std::vector<Vector3>& points, const std::vector<int>& constrainedEdges,
                                     std::vector<int>* triangles);
    // Delaunay triangulation of points in the xy plane. Output: triangles.
    static int Delaunay2D(const std::vector<Vector3>& points, std::vector<int>* triangles);
};

// Colour correction of coloured meshes.
class ORVO_API TuneMeshColor {
public:
    // Evens out colour steps between patches scanned under different light. Output: tunedColors.
    static int FromMultiPatch(const ITriMesh* triMesh, const std::vector<Color4>& vertexColors,
                              const std::vector<int>& vertexPatchIds, std::vector<Color4>* tunedColors);
};

// Cage and handle deformation of meshes.
class ORVO_API DeformMesh {
public:
    // Cage coordinates of every vertex of triMesh. Output: weights.
    static int Init(const ITriMesh* cageMesh, const ITriMesh* triMesh, std::vector<double>* weights);
    // Moves triMesh with its cage to the new cage positions.
    static int Deform(const ITriMesh* cageMesh, const std::vector<Vector3>& cageCoords,
                      const std::vector<double>& weights, ITriMesh* triMesh);
    // Moves the handles and lets the rest follow smoothly.
    static int Laplacian(ITriMesh* triMesh, const std::vector<int>& handleIds,
                         const std::vector<Vector3>& handlePositions);
};

// Normal estimation and cleaning of point clouds.
class ORVO_API PointCloudConsolidation {
public:
    // Smooths point normals over `neighborCount` neighbours.
    static int NormalSmoothing(IPointCloud* pointCloud, int neighborCount);
    // Estimates point normals from `neighborCount` nearest neighbours.
    static int NormalCalculation(IPointCloud* pointCloud, bool isDepthImage, int neighborCount);
    // Moves points along their normals towards their neighbours' planes.
    static int SmoothByNormal(IPointCloud* pointCloud, int neighborCount, int iterationCount);
    // Scores every point's isolation. Output: isolation.
    static int CalculateIsolation(const IPointCloud* pointCloud, int neighborCount,
                                  std::vector<double>* isolation);
    // Turns every normal around.
    static int NormalReversing(IPointCloud* pointCloud);
    // Smooths point positions.
    static int GeometrySmoothing(IPointCloud* pointCloud, int neighborCount, double weight);
    // Points of pointCloud within `distance` of reference. Output: overlapIds.
    static int DetectOverlap(const IPointCloud* reference, const IPointCloud* pointCloud, double distance,
                             std::vector<int>* overlapIds);
    // Turns normals to face `viewPoint`.
    static int NormalOrient(IPointCloud* pointCloud, const Vector3& viewPoint);
    // Deletes points far from their neighbours.
    static int RemoveOutliers(IPointCloud* pointCloud, int neighborCount, double ratio);
};

// Rigid alignment of point clouds and meshes.
class ORVO_API Registration {
public:
    // Coarse alignment of moving onto reference from sampled features. Output: transform.
    static int AlignPointCloudFast(const IPointCloud* reference, const IPointCloud* moving, Matrix4x4* transform);
    // Iterative closest point refinement. Output: transform.
    static int ICP(const IPointCloud* reference, const IPointCloud* moving, int iterationCount,
                   Matrix4x4* transform);
    // Global alignment of moving onto reference. Output: transform.
    static int AlignPointCloud(const IPointCloud* reference, const IPointCloud* moving, Matrix4x4* transform);
    // Alignment from matched marker points. Output: transform.
    static int AlignPointCloudByMark(const IPointCloud* reference, const IPointCloud* moving,
                                     const std::vector<Vector3>& referenceMarks,
                                     const std::vector<Vector3>& movingMarks, Matrix4x4* transform);
    // Joint alignment of all clouds into the frame of the first. Output: transforms.
    static int Global(const std::vector<IPointCloud*>& pointClouds, std::vector<Matrix4x4>* transforms);
    // Share of moving within `distance` of reference once transformed. Output: overlapRatio.
    static int ComputeOverlap(const IPointCloud* reference, const IPointCloud* moving, const Matrix4x4& transform,
                              double distance, double* overlapRatio);
    // Rigid alignment of moving onto reference. Output: transform.
    static int AlignMeshes(const ITriMesh* reference, const ITriMesh* moving, Matrix4x4* transform);
};

// Subsets of point clouds.
class ORVO_API PointCloudSampling {
public:
    // `sampleCount` evenly spread point ids. Output: sampleIds.
    static int Uniform(const IPointCloud* pointCloud, int sampleCount, std::vector<int>* sampleIds);
    // Point ids favouring curved regions. Output: sampleIds.
    static int Geometry(const IPointCloud* pointCloud, int sampleCount, std::vector<int>* sampleIds);
    // Every `step`-th cell of a grid cloud. Output: sampleIds.
    static int Grid(const IGridPointCloud* gridCloud, int step, std::vector<int>* sampleIds);
    // Point ids no two closer than `radius`. Output: sampleIds.
    static int Poisson(const IPointCloud* pointCloud, double radius, std::vector<int>* sampleIds);
};

// Fusion of depth frames into one cloud (stateful: Init, Update per frame, Extract).
class ORVO_API FusePointCloud {
public:
    // Starts a fusion volume.
    static int Init(double voxelSize, const Vector3& boxMin, const Vector3& boxMax);
    // Adds one depth frame seen from `pose`.
    static int Update(const IGridPointCloud* frame, const Matrix4x4& pose);
    // The fused cloud. Output: result.
    static int Extract(PointCloud* result);
};

// Accumulation of clouds on a grid (stateful: Init, Update per cloud, Extract).
class ORVO_API SumPointCloud {
public:
    // Starts an accumulation grid.
    static int Init(double cellSize);
    // Adds one cloud seen from `pose`.
    static int Update(const IPointCloud* pointCloud, const Matrix4x4& pose);
    // The accumulated cloud. Output: result.
    static int Extract(PointCloud* result);
};

// Volumetric fusion of depth frames into a surface (stateful: Init, Update, Extract).
class ORVO_API SignedDistanceFunction {
public:
    // Starts a signed-distance volume.
    static int Init(double voxelSize, const Vector3& boxMin, const Vector3& boxMax);
    // Integrates one depth frame seen from `pose`.
    static int Update(const IGridPointCloud* depthFrame, const Matrix4x4& pose);
    // The zero surface of the volume. Output: result.
    static int Extract(TriMesh* result);
};

// Colour correction of point clouds.
class ORVO_API TuneColor {
public:
    // Removes the shading of one directional light from the colours.
    static int FromSingleLight(IPointCloud* pointCloud, const Vector3& lightDirection);
    // Evens out colour steps between frames.
    static int FromMultiFrame(IPointCloud* pointCloud, const std::vector<int>& frameIds);
};

// Surfaces fitted to point clouds.
class ORVO_API FitPointCloud {
public:
    // A smooth surface with edges of about `spacing` fitted to the cloud. Output: result.
    static int Uniform(const IPointCloud* pointCloud, double spacing, TriMesh* result);
};

// Correction of baked texture images (pixels as Color4, row by row).
class ORVO_API TuneTextureImage {
public:
    // Corrects a baked texture (in place) towards the vertex colours.
    static int ByVertexColor(const ITriMesh* triMesh, const std::vector<Color4>& vertexColors,
                             const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                             int imageWidth, std::vector<Color4>* image);
    // Scales the colour channels of a texture in place.
    static int Color(std::vector<Color4>* image, int imageWidth, const Vector3& gain);
    // Blends texels across chart seams in place.
    static int BlendSeams(const ITriMesh* triMesh, const std::vector<double>& texCoords,
                          const std::vector<int>& faceTexIds, int imageWidth, std::vector<Color4>* image);
};

// Correction of images against geometry colours.
class ORVO_API TuneImage {
public:
    // Corrects a texture (in place) towards per-triangle colours.
    static int ByTriangleColor(const ITriMesh* triMesh, const std::vector<Color4>& triangleColors,
                               const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                               int imageWidth, std::vector<Color4>* image);
    // Corrects a photograph (in place) towards the colours of a cloud it sees.
    static int ByPointColor(const IPointCloud* pointCloud, const Matrix4x4& camera, int imageWidth,
                            std::vector<Color4>* image);
};

// Non-rigid registration.
class ORVO_API NonRigid {
public:
    // Bends source onto target. Output: result.
    static int ICP(const ITriMesh* source, const IPointCloud* target, int iterationCount, TriMesh* result);
    // Bends all clouds onto each other. Output: results.
    static int GlobalRegistrate(const std::vector<IPointCloud*>& pointClouds, int iterationCount,
                                std::vector<PointCloud>* results);
};

// Handle deformation of point sets.
class ORVO_API DeformPointList {
public:
    // Moves the handle points and lets the others follow.
    static int Deform(IPointCloud* points, const std::vector<int>& handleIds,
                      const std::vector<Vector3>& handlePositions);
};

// Detection of geometric primitives.
class ORVO_API DetectShape {
public:
    // Labels each point with the primitive (plane, sphere, ...) it belongs to. Output: labels.
    static int DetectPrimitive(const IPointCloud* pointCloud, std::vector<int>* labels);
    // The primitive grown from one seed point. Output: selectedIds.
    static int SelectPrimitive(const IPointCloud* pointCloud, int seedPointId, double tolerance,
                               std::vector<int>* selectedIds);
    // Least-squares plane of the cloud. Output: planePoint, planeNormal.
    static int FitPlane(const IPointCloud* pointCloud, Vector3* planePoint, Vector3* planeNormal);
};

// Alignment of grid (depth-image) clouds.
class ORVO_API GridRegistration {
public:
    // Iterative closest point on grid neighbourhoods. Output: transform.
    static int ICP(const IGridPointCloud* reference, const IGridPointCloud* moving, int iterationCount,
                   Matrix4x4* transform);
    // Coarse alignment of two grid clouds. Output: transform.
    static int AlignGrid(const IGridPointCloud* reference, const IGridPointCloud* moving, Matrix4x4* transform);
};

// Curves on and across surfaces.
class ORVO_API OptimiseCurve {
public:
    // Smooths a curve that lies on the surface, keeping it there. Output: smoothed.
    static int SmoothCurveOnMesh(const ITriMesh* triMesh, const std::vector<int>& curveFaceIds,
                                 const std::vector<Vector3>& curvePoints, int iterationCount,
                                 std::vector<Vector3>* smoothed);
    // The curve moved sideways by `offset` on the surface. Output: result.
    static int ApproximateOffset(const ITriMesh* triMesh, const std::vector<Vector3>& curvePoints, double offset,
                                 std::vector<Vector3>* result);
    // Removes self-crossings of a curve. Output: result.
    static int MakeBijective(const std::vector<Vector3>& curvePoints, std::vector<Vector3>* result);
    // Shortest curve on the surface through the points in turn. Output: curve.
    static int ConnectFacePointsOnMesh(const ITriMesh* triMesh, const std::vector<int>& faceIds,
                                       const std::vector<Vector3>& points, std::vector<Vector3>* curve);
    // Connects consecutive points by plane sections of the surface. Output: curve.
    static int ConnectFacePointsByCuttingPlane(const ITriMesh* triMesh, const std::vector<int>& faceIds,
                                               const std::vector<Vector3>& points, const Vector3& planeNormal,
                                               std::vector<Vector3>* curve);
    // Smooths a curve that crosses the surface. Output: result.
    static int SmoothCurveCrossMesh(const ITriMesh* triMesh, const std::vector<Vector3>& curvePoints,
                                    double weight, std::vector<Vector3>* result);
    // Connects two vertices by a plane section. Output: curve.
    static int ConnectVertexByCuttingPlane(const ITriMesh* triMesh, int vertexA, int vertexB,
                                           const Vector3& planeNormal, std::vector<Vector3>* curve);
    // Evenly spaced points along a curve. Output: result.
    static int Resample(const std::vector<Vector3>& curvePoints, double spacing, std::vector<Vector3>* result);
};

// Per-vertex values and colours carried over surfaces.
class ORVO_API OptimiseMapping {
public:
    // Smooth per-vertex values through the anchors. Output: values.
    static int Interpolate(const ITriMesh* triMesh, const std::vector<int>& anchorVertexIds,
                           const std::vector<Vector3>& anchorValues, std::vector<Vector3>* values);
    // Carries vertex colours from source to target. Output: targetColors.
    static int TransferToMesh(const ITriMesh* source, const ITriMesh* target,
                              const std::vector<Color4>& sourceColors, std::vector<Color4>* targetColors);
    // Per-vertex source image ids from per-face ones. Output: vertexImageIds.
    static int InterpolateFaceImageColorIds(const ITriMesh* triMesh, const std::vector<int>& faceImageIds,
                                            std::vector<int>* vertexImageIds);
    // The nearest surface point and its face for every point. Output: faceIds, projected.
    static int ProjectToMesh(const ITriMesh* triMesh, const std::vector<Vector3>& points,
                             std::vector<int>* faceIds, std::vector<Vector3>* projected);
    // Smooths the choice of source image per face. Output: fusedIds.
    static int FuseImageColorIds(const ITriMesh* triMesh, const std::vector<int>& faceImageIds, int imageCount,
                                 std::vector<int>* fusedIds);
    // The target vertex matching every source vertex. Output: correspondence.
    static int BuildCorrespondence(const ITriMesh* source, const ITriMesh* target,
                                   std::vector<int>* correspondence);
};

// Reliefs from height fields.
class ORVO_API DigitalRelief {
public:
    // Compresses the depth range of a height field, keeping detail. Output: compressed.
    static int CompressHeightField(const std::vector<double>& heights, int width, int height, double ratio,
                                   std::vector<double>* compressed);
    // The height field of the surface seen along `viewDirection`. Output: heights.
    static int GenerateHeightField(const ITriMesh* triMesh, const Vector3& viewDirection, int width, int height,
                                   std::vector<double>* heights);
};

// Nearest-neighbour search in point clouds.
class ORVO_API Ann {
public:
    // The ids of the nearest points of every query (neighborCount per query). Output: neighborIds.
    static int FindNearestNeighbors(const IPointCloud* pointCloud, const std::vector<Vector3>& queries,
                                    int neighborCount, std::vector<int>* neighborIds);
    // The ids of the points within `radius` of every query. Output: neighborIds.
    static int FindRadiusNeighbors(const IPointCloud* pointCloud, const std::vector<Vector3>& queries,
                                   double radius, std::vector<std::vector<int>>* neighborIds);
    // The id of the point nearest to `query`. Output: pointId.
    static int FindNearestPoint(const IPointCloud* pointCloud, const Vector3& query, int* pointId);
};

// Graph-cut labelling.
class ORVO_API GraphCut {
public:
    // Minimum s-t cut: label 0 (source side) or 1 per node. Output: labels.
    static int Segment(int nodeCount, const std::vector<double>& sourceWeights,
                       const std::vector<double>& sinkWeights, const std::vector<int>& edges,
                       const std::vector<double>& edgeWeights, std::vector<int>* labels);
    // One label per node minimising data plus smoothness costs. Output: labels.
    static int MultiLabel(int nodeCount, int labelCount, const std::vector<double>& dataCosts,
                          const std::vector<int>& edges, const std::vector<double>& smoothCosts,
                          std::vector<int>* labels);
};

}  // namespace ORVO
