// The registry: one process-wide map from ApiName values to record factories,
// and the table of every record class the library carries.

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/DumpUnfold.h>

namespace ORVO {

DumpManager* DumpManager::mpDumpManager = nullptr;

DumpManager::DumpManager() {}

DumpManager::DumpManager(const DumpManager& other) : mCreators(other.mCreators) {}

DumpManager& DumpManager::operator=(const DumpManager& other) {
    mCreators = other.mCreators;
    return *this;
}

DumpManager* DumpManager::Get() {
    if (mpDumpManager == nullptr) mpDumpManager = new DumpManager();
    return mpDumpManager;
}

bool DumpManager::RegisterDumpClass(int apiName, DumpCreator creator) {
    return mCreators.emplace(apiName, creator).second;
}

DumpBase* DumpManager::GetDumpInstance(int apiName) {
    const auto found = mCreators.find(apiName);
    if (found == mCreators.end() || found->second == nullptr) return nullptr;
    return found->second();
}

void RegisterDumpInfo() {
    struct Entry {
        ApiName api;
        DumpCreator creator;
    };
    // Meshes, point clouds, curves and mappings. The three exact-section
    // entry points share one record class; the face-image colour id
    // interpolation record is left out on purpose.
    static const Entry kTable[] = {
        {API_MESH_CONSOLIDATION_MAKE_MANIFOLD, &CreateDumpMeshConsolidationMakeManifold},
        {API_MESH_CONSOLIDATION_GEOMETRY, &CreateDumpMeshConsolidationGeometry},
        {API_MESH_CONSOLIDATION_REMOVE_GEOMETRY_NOISE, &CreateDumpMeshConsolidationRemoveGeometryNoise},
        {API_MESH_FILTER_LAPLACE_SMOOTH, &CreateDumpMeshFilterLaplaceSmooth},
        {API_MESH_FILTER_ENHANCE_DETAIL, &CreateDumpMeshFilterEnhanceDetail},
        {API_MESH_MEASURE_SECTION_APPROXIMATE, &CreateDumpMeshMeasureSectionApproximate},
        {API_MESH_MEASURE_SECTION_EXACT, &CreateDumpMeshMeasureSectionExact},
        {API_MESH_MEASURE_SECTION_EXACT_CLOSED, &CreateDumpMeshMeasureSectionExact},
        {API_MESH_MEASURE_SECTION_EXACT_OPEN, &CreateDumpMeshMeasureSectionExact},
        {API_MESH_MEASURE_PRINCIPAL_CURVATURE, &CreateDumpMeshMeasurePrincipalCurvature},
        {API_MESH_MEASURE_THICKNESS, &CreateDumpMeshMeasureThickness},
        {API_MESH_UNFOLD_CONFORMAL, &CreateDumpMeshUnfoldConformal},
        {API_MESH_UNFOLD_OPTIMIZE_ISOMETRIC, &CreateDumpMeshUnfoldOptimizeIsometric},
        {API_MESH_UNFOLD_PACK_UV_ATLAS, &CreateDumpMeshUnfoldPackUVAtlas},
        {API_MESH_UNFOLD_GENERATE_UV_ATLAS, &CreateDumpMeshUnfoldGenerateUVAtlas},
        {API_MESH_SAMPLING_UNIFORM, &CreateDumpMeshSamplingUniform},
        {API_MESH_SPLIT_BY_LINES, &CreateDumpMeshSplitByLines},
        {API_MESH_SPLIT_INSERT_SPLIT_LINE_BY_EDGE_POINTS, &CreateDumpMeshSplitInsertSplitLineByEdgePoints},
        {API_MESH_SPLIT_BY_PLANE, &CreateDumpMeshSplitByPlane},
        {API_MESH_SPLIT_INSERT_SPLIT_LINES_BY_FACE_POINTS, &CreateDumpMeshSplitInsertSplitLinesByFacePoints},
        {API_MESH_SUBDIVISION_LOOP, &CreateDumpMeshSubdivisionLoop},
        {API_MESH_SUBDIVISION_DENSIFY, &CreateDumpMeshSubdivisionDensify},
        {API_MESH_SUBDIVISION_INSERT_POINTS_ON_MESH, &CreateDumpMeshSubdivisionInsertPointsOnMesh},
        {API_MESH_SIMPLIFICATION_QUADRIC, &CreateDumpMeshSimplificationQuadric},
        {API_MESH_SIMPLIFICATION_TEXTURE_COORD, &CreateDumpMeshSimplificationTextureCoord},
        {API_MESH_SIMPLIFICATION_BY_REMOVING_VERTEX, &CreateDumpMeshSimplificationByRemovingVertex},
        {API_CREATE_TEXTURE_IMAGE_BY_VERTEX_COLORS, &CreateDumpTextureImageByVertexColor},
        {API_CREATE_TEXTURE_IMAGE_BY_REF_IMAGES, &CreateDumpTextureImageByRefImages},
        {API_OFFSET_MESH_UNIFORM_APPROXIMATE, &CreateDumpOffsetMeshUniformApproximate},
        {API_FILL_MESH_HOLE, &CreateDumpFillMeshHole},
        {API_FIND_MESH_HOLE, &CreateDumpFindMeshHole},
        {API_BRIDGE_EDGES, &CreateDumpBridgeEdges},
        {API_MESH_QUERY_TOOL, &CreateDumpMeshQueryTool},
        {API_TRIANGULATION_CONSTRAINED_DELAUNAY_OPTIMIZATION, &CreateDumpTriangulationConstrainedDelaunayOptimization},
        {API_TRIANGULATION_MUTUAL_TESSELLATION, &CreateDumpTriangulationMutualTessellation},
        {API_TRIANGULATION_CENTROID_VORONOI_OPTIMIZATION, &CreateDumpTriangulationCentroidVoronoiOptimization},
        {API_REMESH_UNIFORM, &CreateDumpRemeshUniform},
        {API_DEFORM_MESH_INIT, &CreateDumpDeformMeshInit},
        {API_DEFORM_MESH_DEFORM, &CreateDumpDeformMeshDeform},
        {API_TUNE_MESH_COLOR_FROM_MULTI_PATCH, &CreateDumpTuneMeshColorFromMultiPatch},
        {API_DIGITAL_RELIEF_COMPRESS_HEIGHT_FIELD, &CreateDumpDigitalReliefCompressHeightField},
        {API_POINT_CLOUD_CONSOLIDATION_NORMAL_SMOOTHING, &CreateDumpPointCloudConsolidationNormalSmoothing},
        {API_POINT_CLOUD_CONSOLIDATION_NORMAL_CALCULATION, &CreateDumpPointCloudConsolidationNormalCalculation},
        {API_POINT_CLOUD_CONSOLIDATION_SMOOTH_BY_NORMAL, &CreateDumpPointCloudConsolidationSmoothByNormal},
        {API_POINT_CLOUD_CONSOLIDATION_CALCULATE_ISOLATION, &CreateDumpPointCloudConsolidationCalculateIsolation},
        {API_POINT_CLOUD_RECONSTRUCT_MESH, &CreateDumpPointCloudReconstructMesh},
        {API_REGISTRATION_ALIGN_POINT_CLOUD_FAST, &CreateDumpRegistrationAlignPointCloudFast},
        {API_REGISTRATION_ICP, &CreateDumpRegistrationICP},
        {API_REGISTRATION_ALIGN_POINT_CLOUD, &CreateDumpRegistrationAlignPointCloud},
        {API_POINT_CLOUD_SAMPLING_UNIFORM, &CreateDumpPointCloudSamplingUniform},
        {API_REGISTRATION_ALIGN_POINT_CLOUD_BY_MARK, &CreateDumpRegistrationAlignPointCloudByMark},
        {API_REGISTRATION_GLOBAL, &CreateDumpRegistrationGlobal},
        {API_FUSE_POINT_CLOUD_UPDATE, &CreateDumpFusePointCloudUpdate},
        {API_FUSE_POINT_CLOUD_EXTRACT, &CreateDumpFusePointCloudExtract},
        {API_POINT_CLOUD_CONSOLIDATION_NORMAL_REVERSING, &CreateDumpPointCloudConsolidationNormalReversing},
        {API_SUM_POINT_CLOUD_UPDATE, &CreateDumpSumPointCloudUpdate},
        {API_SUM_POINT_CLOUD_EXTRACT, &CreateDumpSumPointCloudExtract},
        {API_TUNE_COLOR_FROM_SINGLE_LIGHT, &CreateDumpTuneColorFromSingleLight},
        {API_POINT_CLOUD_SAMPLING_GEOMETRY, &CreateDumpPointCloudSamplingGeometry},
        {API_FIT_POINT_CLOUD_UNIFORM, &CreateDumpFitPointCloudUniform},
        {API_SIGNED_DISTANCE_FUNCTION_UPDATE, &CreateDumpSignedDistanceFunctionUpdate},
        {API_SIGNED_DISTANCE_FUNCTION_EXTRACT, &CreateDumpSignedDistanceFunctionExtract},
        {API_POINT_CLOUD_CONSOLIDATION_GEOMETRY_SMOOTHING, &CreateDumpPointCloudConsolidationGeometrySmoothing},
        {API_TUNE_TEXTURE_IMAGE_BY_VERTEX_COLOR, &CreateDumpTuneTextureImageByVertexColor},
        {API_TUNE_COLOR_FROM_MULTI_FRAME, &CreateDumpTuneColorFromMultiFrame},
        {API_POINT_CLOUD_SIMPLIFY, &CreateDumpPointCloudSimplify},
        {API_TRIANGULATION_CONSTRAINED_DELAUNAY_2D, &CreateDumpTriangulationConstrainedDelaunay2D},
        {API_TUNE_IMAGE_BY_TRIANGLE_COLOR, &CreateDumpTuneImageByTriangleColor},
        {API_TUNE_IMAGE_BY_POINT_COLOR, &CreateDumpTuneImageByPointColor},
        {API_POINT_CLOUD_SAMPLING_GRID, &CreateDumpPointCloudSamplingGrid},
        {API_POINT_CLOUD_CONSOLIDATION_DETECT_OVERLAP, &CreateDumpPointCloudConsolidationDetectOverlap},
        {API_NON_RIGID_ICP, &CreateDumpNonRigidICP},
        {API_NON_RIGID_GLOBAL_REGISTRATE, &CreateDumpNonRigidGlobalRegistrate},
        {API_DEFORM_POINT_LIST_DEFORM, &CreateDumpDeformPointListDeform},
        {API_POINT_CLOUD_CONSOLIDATION_NORMAL_ORIENT, &CreateDumpPointCloudConsolidationNormalOrient},
        {API_DETECT_SHAPE_DETECT_PRIMITIVE, &CreateDumpDetectShapeDetectPrimitive},
        {API_DETECT_SHAPE_SELECT_PRIMITIVE, &CreateDumpDetectShapeSelectPrimitive},
        {API_GRID_REGISTRATION_ICP, &CreateDumpGridRegistrationICP},
        {API_GRID_REGISTRATION_ALIGN_GRID, &CreateDumpGridRegistrationAlignGrid},
        {API_OPTIMISE_CURVE_SMOOTH_CURVE_ON_MESH, &CreateDumpOptimiseCurveSmoothCurveOnMesh},
        {API_OPTIMISE_MAPPING_INTERPOLATE, &CreateDumpOptimiseMappingInterpolate},
        {API_OPTIMISE_MAPPING_TRANSFER_TO_MESH, &CreateDumpOptimiseMappingTransferToMesh},
        {API_OPTIMISE_CURVE_APPROXIMATE_OFFSET, &CreateDumpOptimiseCurveApproximateOffset},
        {API_OPTIMISE_CURVE_MAKE_BIJECTIVE, &CreateDumpOptimiseCurveMakeBijective},
        {API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_ON_MESH, &CreateDumpOptimiseCurveConnectFacePointsOnMesh},
        {API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_BY_CUTTING_PLANE, &CreateDumpOptimiseCurveConnectFacePointsByCuttingPlane},
        {API_OPTIMISE_CURVE_SMOOTH_CURVE_CROSS_MESH, &CreateDumpOptimiseCurveSmoothCurveCrossMesh},
        {API_OPTIMISE_MAPPING_PROJECT_TO_MESH, &CreateDumpOptimiseMappingProjectToMesh},
        {API_OPTIMISE_MAPPING_FUSE_IMAGE_COLOR_IDS, &CreateDumpOptimiseMappingFuseImageColorIds},
        {API_TUNE_TEXTURE_IMAGE_COLOR, &CreateDumpTuneTextureImageColor},
        {API_OPTIMISE_CURVE_CONNECT_VERTEX_BY_CUTTING_PLANE, &CreateDumpOptimiseCurveConnectVertexByCuttingPlane},
    };
    DumpManager* manager = DumpManager::Get();
    for (const Entry& entry : kTable) manager->RegisterDumpClass(entry.api, entry.creator);
}

}  // namespace ORVO
