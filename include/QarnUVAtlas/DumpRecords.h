#pragma once
// Record classes of the interface's other algorithm families. In this build
// they are registered so that every dump file's number selects its class,
// but they carry no payload yet: loading reads nothing and Run() answers as
// the entry point would.

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Foundation.h>

#include <string>

namespace ORVO {

template <ApiName Api, int RunStatus>
class DumpPendingRecord : public DumpBase {
public:
    ApiName GetApiName() override { return Api; }
    void LoadDumpFile(const std::string&) override {}
    int Run() override { return RunStatus; }
};

class ORVO_API DumpMeshConsolidationMakeManifold : public DumpPendingRecord<API_MESH_CONSOLIDATION_MAKE_MANIFOLD, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshConsolidationGeometry : public DumpPendingRecord<API_MESH_CONSOLIDATION_GEOMETRY, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpFindMeshHole : public DumpPendingRecord<API_FIND_MESH_HOLE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpFillMeshHole : public DumpPendingRecord<API_FILL_MESH_HOLE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshFilterLaplaceSmooth : public DumpPendingRecord<API_MESH_FILTER_LAPLACE_SMOOTH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshFilterEnhanceDetail : public DumpPendingRecord<API_MESH_FILTER_ENHANCE_DETAIL, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshMeasureSectionApproximate : public DumpPendingRecord<API_MESH_MEASURE_SECTION_APPROXIMATE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSubdivisionLoop : public DumpPendingRecord<API_MESH_SUBDIVISION_LOOP, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSimplificationQuadric : public DumpPendingRecord<API_MESH_SIMPLIFICATION_QUADRIC, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshMeasureSectionExact : public DumpPendingRecord<API_MESH_MEASURE_SECTION_EXACT, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshConsolidationRemoveGeometryNoise : public DumpPendingRecord<API_MESH_CONSOLIDATION_REMOVE_GEOMETRY_NOISE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSubdivisionDensify : public DumpPendingRecord<API_MESH_SUBDIVISION_DENSIFY, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSplitInsertSplitLineByEdgePoints : public DumpPendingRecord<API_MESH_SPLIT_INSERT_SPLIT_LINE_BY_EDGE_POINTS, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSimplificationTextureCoord : public DumpPendingRecord<API_MESH_SIMPLIFICATION_TEXTURE_COORD, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpCreateTextureImageByVertexColors : public DumpPendingRecord<API_CREATE_TEXTURE_IMAGE_BY_VERTEX_COLORS, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpCreateTextureImageByRefImages : public DumpPendingRecord<API_CREATE_TEXTURE_IMAGE_BY_REF_IMAGES, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpBridgeEdges : public DumpPendingRecord<API_BRIDGE_EDGES, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSplitByPlane : public DumpPendingRecord<API_MESH_SPLIT_BY_PLANE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOffsetMeshUniformApproximate : public DumpPendingRecord<API_OFFSET_MESH_UNIFORM_APPROXIMATE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSamplingUniform : public DumpPendingRecord<API_MESH_SAMPLING_UNIFORM, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshQueryTool : public DumpPendingRecord<API_MESH_QUERY_TOOL, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTriangulationConstrainedDelaunayOptimization : public DumpPendingRecord<API_TRIANGULATION_CONSTRAINED_DELAUNAY_OPTIMIZATION, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSimplificationByRemovingVertex : public DumpPendingRecord<API_MESH_SIMPLIFICATION_BY_REMOVING_VERTEX, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpRemeshUniform : public DumpPendingRecord<API_REMESH_UNIFORM, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTriangulationMutualTessellation : public DumpPendingRecord<API_TRIANGULATION_MUTUAL_TESSELLATION, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTriangulationCentroidVoronoiOptimization : public DumpPendingRecord<API_TRIANGULATION_CENTROID_VORONOI_OPTIMIZATION, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTuneMeshColorFromMultiPatch : public DumpPendingRecord<API_TUNE_MESH_COLOR_FROM_MULTI_PATCH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshMeasurePrincipalCurvature : public DumpPendingRecord<API_MESH_MEASURE_PRINCIPAL_CURVATURE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshMeasureThickness : public DumpPendingRecord<API_MESH_MEASURE_THICKNESS, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpDeformMeshInit : public DumpPendingRecord<API_DEFORM_MESH_INIT, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpDeformMeshDeform : public DumpPendingRecord<API_DEFORM_MESH_DEFORM, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSplitInsertSplitLinesByFacePoints : public DumpPendingRecord<API_MESH_SPLIT_INSERT_SPLIT_LINES_BY_FACE_POINTS, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpMeshSubdivisionInsertPointsOnMesh : public DumpPendingRecord<API_MESH_SUBDIVISION_INSERT_POINTS_ON_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudConsolidationNormalSmoothing : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_NORMAL_SMOOTHING, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudConsolidationNormalCalculation : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_NORMAL_CALCULATION, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudConsolidationSmoothByNormal : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_SMOOTH_BY_NORMAL, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudConsolidationCalculateIsolation : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_CALCULATE_ISOLATION, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudReconstructMesh : public DumpPendingRecord<API_POINT_CLOUD_RECONSTRUCT_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpRegistrationAlignPointCloudFast : public DumpPendingRecord<API_REGISTRATION_ALIGN_POINT_CLOUD_FAST, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpRegistrationICP : public DumpPendingRecord<API_REGISTRATION_ICP, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpRegistrationAlignPointCloud : public DumpPendingRecord<API_REGISTRATION_ALIGN_POINT_CLOUD, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudSamplingUniform : public DumpPendingRecord<API_POINT_CLOUD_SAMPLING_UNIFORM, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpRegistrationAlignPointCloudByMark : public DumpPendingRecord<API_REGISTRATION_ALIGN_POINT_CLOUD_BY_MARK, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpRegistrationGlobal : public DumpPendingRecord<API_REGISTRATION_GLOBAL, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpFusePointCloudUpdate : public DumpPendingRecord<API_FUSE_POINT_CLOUD_UPDATE, STATUS_SUCCESS> {};
class ORVO_API DumpFusePointCloudExtract : public DumpPendingRecord<API_FUSE_POINT_CLOUD_EXTRACT, STATUS_SUCCESS> {};
class ORVO_API DumpPointCloudConsolidationNormalReversing : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_NORMAL_REVERSING, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpSumPointCloudUpdate : public DumpPendingRecord<API_SUM_POINT_CLOUD_UPDATE, STATUS_SUCCESS> {};
class ORVO_API DumpSumPointCloudExtract : public DumpPendingRecord<API_SUM_POINT_CLOUD_EXTRACT, STATUS_SUCCESS> {};
class ORVO_API DumpTuneColorFromSingleLight : public DumpPendingRecord<API_TUNE_COLOR_FROM_SINGLE_LIGHT, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudSamplingGeometry : public DumpPendingRecord<API_POINT_CLOUD_SAMPLING_GEOMETRY, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpFitPointCloudUniform : public DumpPendingRecord<API_FIT_POINT_CLOUD_UNIFORM, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpSignedDistanceFunctionUpdate : public DumpPendingRecord<API_SIGNED_DISTANCE_FUNCTION_UPDATE, STATUS_SUCCESS> {};
class ORVO_API DumpSignedDistanceFunctionExtract : public DumpPendingRecord<API_SIGNED_DISTANCE_FUNCTION_EXTRACT, STATUS_SUCCESS> {};
class ORVO_API DumpPointCloudConsolidationGeometrySmoothing : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_GEOMETRY_SMOOTHING, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTuneTextureImageByVertexColor : public DumpPendingRecord<API_TUNE_TEXTURE_IMAGE_BY_VERTEX_COLOR, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTuneColorFromMultiFrame : public DumpPendingRecord<API_TUNE_COLOR_FROM_MULTI_FRAME, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudSimplify : public DumpPendingRecord<API_POINT_CLOUD_SIMPLIFY, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTriangulationConstrainedDelaunay2D : public DumpPendingRecord<API_TRIANGULATION_CONSTRAINED_DELAUNAY_2D, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTuneImageByTriangleColor : public DumpPendingRecord<API_TUNE_IMAGE_BY_TRIANGLE_COLOR, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTuneImageByPointColor : public DumpPendingRecord<API_TUNE_IMAGE_BY_POINT_COLOR, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudSamplingGrid : public DumpPendingRecord<API_POINT_CLOUD_SAMPLING_GRID, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudConsolidationDetectOverlap : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_DETECT_OVERLAP, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpNonRigidICP : public DumpPendingRecord<API_NON_RIGID_ICP, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpNonRigidGlobalRegistrate : public DumpPendingRecord<API_NON_RIGID_GLOBAL_REGISTRATE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpDeformPointListDeform : public DumpPendingRecord<API_DEFORM_POINT_LIST_DEFORM, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpPointCloudConsolidationNormalOrient : public DumpPendingRecord<API_POINT_CLOUD_CONSOLIDATION_NORMAL_ORIENT, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpDetectShapeDetectPrimitive : public DumpPendingRecord<API_DETECT_SHAPE_DETECT_PRIMITIVE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpDetectShapeSelectPrimitive : public DumpPendingRecord<API_DETECT_SHAPE_SELECT_PRIMITIVE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpGridRegistrationICP : public DumpPendingRecord<API_GRID_REGISTRATION_ICP, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpGridRegistrationAlignGrid : public DumpPendingRecord<API_GRID_REGISTRATION_ALIGN_GRID, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveSmoothCurveOnMesh : public DumpPendingRecord<API_OPTIMISE_CURVE_SMOOTH_CURVE_ON_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseMappingInterpolate : public DumpPendingRecord<API_OPTIMISE_MAPPING_INTERPOLATE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseMappingTransferToMesh : public DumpPendingRecord<API_OPTIMISE_MAPPING_TRANSFER_TO_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveApproximateOffset : public DumpPendingRecord<API_OPTIMISE_CURVE_APPROXIMATE_OFFSET, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveMakeBijective : public DumpPendingRecord<API_OPTIMISE_CURVE_MAKE_BIJECTIVE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveConnectFacePointsOnMesh : public DumpPendingRecord<API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_ON_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveConnectFacePointsByCuttingPlane : public DumpPendingRecord<API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_BY_CUTTING_PLANE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveSmoothCurveCrossMesh : public DumpPendingRecord<API_OPTIMISE_CURVE_SMOOTH_CURVE_CROSS_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseMappingProjectToMesh : public DumpPendingRecord<API_OPTIMISE_MAPPING_PROJECT_TO_MESH, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseMappingFuseImageColorIds : public DumpPendingRecord<API_OPTIMISE_MAPPING_FUSE_IMAGE_COLOR_IDS, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpTuneTextureImageColor : public DumpPendingRecord<API_TUNE_TEXTURE_IMAGE_COLOR, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseCurveConnectVertexByCuttingPlane : public DumpPendingRecord<API_OPTIMISE_CURVE_CONNECT_VERTEX_BY_CUTTING_PLANE, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpDigitalReliefCompressHeightField : public DumpPendingRecord<API_DIGITAL_RELIEF_COMPRESS_HEIGHT_FIELD, STATUS_NOT_AVAILABLE> {};
class ORVO_API DumpOptimiseMappingInterpolateFaceImageColorIds : public DumpPendingRecord<API_OPTIMISE_MAPPING_INTERPOLATE_FACE_IMAGE_COLOR_IDS, STATUS_NOT_AVAILABLE> {};

// Factories: a new default record, owned by the caller.
ORVO_API DumpBase* CreateDumpMeshConsolidationMakeManifold();
ORVO_API DumpBase* CreateDumpMeshConsolidationGeometry();
ORVO_API DumpBase* CreateDumpFindMeshHole();
ORVO_API DumpBase* CreateDumpFillMeshHole();
ORVO_API DumpBase* CreateDumpMeshFilterLaplaceSmooth();
ORVO_API DumpBase* CreateDumpMeshFilterEnhanceDetail();
ORVO_API DumpBase* CreateDumpMeshMeasureSectionApproximate();
ORVO_API DumpBase* CreateDumpMeshSubdivisionLoop();
ORVO_API DumpBase* CreateDumpMeshSimplificationQuadric();
ORVO_API DumpBase* CreateDumpMeshMeasureSectionExact();
ORVO_API DumpBase* CreateDumpMeshConsolidationRemoveGeometryNoise();
ORVO_API DumpBase* CreateDumpMeshSubdivisionDensify();
ORVO_API DumpBase* CreateDumpMeshSplitInsertSplitLineByEdgePoints();
ORVO_API DumpBase* CreateDumpMeshSimplificationTextureCoord();
ORVO_API DumpBase* CreateDumpTextureImageByVertexColor();
ORVO_API DumpBase* CreateDumpTextureImageByRefImages();
ORVO_API DumpBase* CreateDumpBridgeEdges();
ORVO_API DumpBase* CreateDumpMeshSplitByPlane();
ORVO_API DumpBase* CreateDumpOffsetMeshUniformApproximate();
ORVO_API DumpBase* CreateDumpMeshSamplingUniform();
ORVO_API DumpBase* CreateDumpMeshQueryTool();
ORVO_API DumpBase* CreateDumpTriangulationConstrainedDelaunayOptimization();
ORVO_API DumpBase* CreateDumpMeshSimplificationByRemovingVertex();
ORVO_API DumpBase* CreateDumpRemeshUniform();
ORVO_API DumpBase* CreateDumpTriangulationMutualTessellation();
ORVO_API DumpBase* CreateDumpTriangulationCentroidVoronoiOptimization();
ORVO_API DumpBase* CreateDumpTuneMeshColorFromMultiPatch();
ORVO_API DumpBase* CreateDumpMeshMeasurePrincipalCurvature();
ORVO_API DumpBase* CreateDumpMeshMeasureThickness();
ORVO_API DumpBase* CreateDumpDeformMeshInit();
ORVO_API DumpBase* CreateDumpDeformMeshDeform();
ORVO_API DumpBase* CreateDumpMeshSplitInsertSplitLinesByFacePoints();
ORVO_API DumpBase* CreateDumpMeshSubdivisionInsertPointsOnMesh();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationNormalSmoothing();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationNormalCalculation();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationSmoothByNormal();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationCalculateIsolation();
ORVO_API DumpBase* CreateDumpPointCloudReconstructMesh();
ORVO_API DumpBase* CreateDumpRegistrationAlignPointCloudFast();
ORVO_API DumpBase* CreateDumpRegistrationICP();
ORVO_API DumpBase* CreateDumpRegistrationAlignPointCloud();
ORVO_API DumpBase* CreateDumpPointCloudSamplingUniform();
ORVO_API DumpBase* CreateDumpRegistrationAlignPointCloudByMark();
ORVO_API DumpBase* CreateDumpRegistrationGlobal();
ORVO_API DumpBase* CreateDumpFusePointCloudUpdate();
ORVO_API DumpBase* CreateDumpFusePointCloudExtract();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationNormalReversing();
ORVO_API DumpBase* CreateDumpSumPointCloudUpdate();
ORVO_API DumpBase* CreateDumpSumPointCloudExtract();
ORVO_API DumpBase* CreateDumpTuneColorFromSingleLight();
ORVO_API DumpBase* CreateDumpPointCloudSamplingGeometry();
ORVO_API DumpBase* CreateDumpFitPointCloudUniform();
ORVO_API DumpBase* CreateDumpSignedDistanceFunctionUpdate();
ORVO_API DumpBase* CreateDumpSignedDistanceFunctionExtract();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationGeometrySmoothing();
ORVO_API DumpBase* CreateDumpTuneTextureImageByVertexColor();
ORVO_API DumpBase* CreateDumpTuneColorFromMultiFrame();
ORVO_API DumpBase* CreateDumpPointCloudSimplify();
ORVO_API DumpBase* CreateDumpTriangulationConstrainedDelaunay2D();
ORVO_API DumpBase* CreateDumpTuneImageByTriangleColor();
ORVO_API DumpBase* CreateDumpTuneImageByPointColor();
ORVO_API DumpBase* CreateDumpPointCloudSamplingGrid();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationDetectOverlap();
ORVO_API DumpBase* CreateDumpNonRigidICP();
ORVO_API DumpBase* CreateDumpNonRigidGlobalRegistrate();
ORVO_API DumpBase* CreateDumpDeformPointListDeform();
ORVO_API DumpBase* CreateDumpPointCloudConsolidationNormalOrient();
ORVO_API DumpBase* CreateDumpDetectShapeDetectPrimitive();
ORVO_API DumpBase* CreateDumpDetectShapeSelectPrimitive();
ORVO_API DumpBase* CreateDumpGridRegistrationICP();
ORVO_API DumpBase* CreateDumpGridRegistrationAlignGrid();
ORVO_API DumpBase* CreateDumpOptimiseCurveSmoothCurveOnMesh();
ORVO_API DumpBase* CreateDumpOptimiseMappingInterpolate();
ORVO_API DumpBase* CreateDumpOptimiseMappingTransferToMesh();
ORVO_API DumpBase* CreateDumpOptimiseCurveApproximateOffset();
ORVO_API DumpBase* CreateDumpOptimiseCurveMakeBijective();
ORVO_API DumpBase* CreateDumpOptimiseCurveConnectFacePointsOnMesh();
ORVO_API DumpBase* CreateDumpOptimiseCurveConnectFacePointsByCuttingPlane();
ORVO_API DumpBase* CreateDumpOptimiseCurveSmoothCurveCrossMesh();
ORVO_API DumpBase* CreateDumpOptimiseMappingProjectToMesh();
ORVO_API DumpBase* CreateDumpOptimiseMappingFuseImageColorIds();
ORVO_API DumpBase* CreateDumpTuneTextureImageColor();
ORVO_API DumpBase* CreateDumpOptimiseCurveConnectVertexByCuttingPlane();
ORVO_API DumpBase* CreateDumpDigitalReliefCompressHeightField();
ORVO_API DumpBase* CreateDumpOptimiseMappingInterpolateFaceImageColorIds();

}  // namespace ORVO
