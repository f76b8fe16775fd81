#pragma once
// Records of the wider interface's entry points, one generic record class
// each (DumpRecord.h). Those of available algorithms (consolidation into a
// manifold, finding holes, building a mesh query tool) replay the real call;
// the others replay an entry point that answers STATUS_NOT_AVAILABLE (-8)
// in this build. Six records are empty shells: they write and read nothing
// and their Run() returns 0.

#include <QarnUVAtlas/ConsolidateMesh.h>
#include <QarnUVAtlas/DumpRecord.h>
#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/MeshQuery.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/Unavailable.h>

namespace ORVO {

// X(record class, factory, ApiName value, entry point, number of inputs, live)
// A record is added by one entry here; RegisterDumpInfo() registers it from
// this list too.
#define ORVO_DUMP_RECORD_LIST(X) \
    X(DumpMeshConsolidationMakeManifold, CreateDumpMeshConsolidationMakeManifold, API_MESH_CONSOLIDATION_MAKE_MANIFOLD, \
      ConsolidateMesh::MakeManifold, 1, true) \
    X(DumpMeshConsolidationGeometry, CreateDumpMeshConsolidationGeometry, API_MESH_CONSOLIDATION_GEOMETRY, \
      MeshConsolidation::Geometry, 3, true) \
    X(DumpFindMeshHole, CreateDumpFindMeshHole, API_FIND_MESH_HOLE, \
      FillMeshHole::FindHoles, 1, true) \
    X(DumpFillMeshHole, CreateDumpFillMeshHole, API_FILL_MESH_HOLE, \
      FillMeshHole::FillHole, 3, true) \
    X(DumpMeshFilterLaplaceSmooth, CreateDumpMeshFilterLaplaceSmooth, API_MESH_FILTER_LAPLACE_SMOOTH, \
      MeshFilter::LaplaceSmooth, 2, true) \
    X(DumpMeshFilterEnhanceDetail, CreateDumpMeshFilterEnhanceDetail, API_MESH_FILTER_ENHANCE_DETAIL, \
      MeshFilter::EnhanceDetail, 3, true) \
    X(DumpMeshMeasureSectionApproximate, CreateDumpMeshMeasureSectionApproximate, API_MESH_MEASURE_SECTION_APPROXIMATE, \
      MeshMeasure::SectionApproximate, 3, true) \
    X(DumpMeshSubdivisionLoop, CreateDumpMeshSubdivisionLoop, API_MESH_SUBDIVISION_LOOP, \
      MeshSubdivision::Loop, 2, true) \
    X(DumpMeshSimplificationQuadric, CreateDumpMeshSimplificationQuadric, API_MESH_SIMPLIFICATION_QUADRIC, \
      MeshSimplification::Quadric, 2, true) \
    X(DumpMeshMeasureSectionExact, CreateDumpMeshMeasureSectionExact, API_MESH_MEASURE_SECTION_EXACT, \
      MeshMeasure::SectionExact, 3, true) \
    X(DumpMeshConsolidationRemoveGeometryNoise, CreateDumpMeshConsolidationRemoveGeometryNoise, API_MESH_CONSOLIDATION_REMOVE_GEOMETRY_NOISE, \
      MeshConsolidation::RemoveGeometryNoise, 3, true) \
    X(DumpMeshSubdivisionDensify, CreateDumpMeshSubdivisionDensify, API_MESH_SUBDIVISION_DENSIFY, \
      MeshSubdivision::Densify, 2, true) \
    X(DumpMeshSplitInsertSplitLineByEdgePoints, CreateDumpMeshSplitInsertSplitLineByEdgePoints, API_MESH_SPLIT_INSERT_SPLIT_LINE_BY_EDGE_POINTS, \
      SplitMesh::InsertSplitLineByEdgePoints, 3, true) \
    X(DumpMeshSimplificationTextureCoord, CreateDumpMeshSimplificationTextureCoord, API_MESH_SIMPLIFICATION_TEXTURE_COORD, \
      MeshSimplification::TextureCoord, 4, true) \
    X(DumpCreateTextureImageByVertexColors, CreateDumpTextureImageByVertexColor, API_CREATE_TEXTURE_IMAGE_BY_VERTEX_COLORS, \
      CreateTextureImageByVertexColors, 5, true) \
    X(DumpCreateTextureImageByRefImages, CreateDumpTextureImageByRefImages, API_CREATE_TEXTURE_IMAGE_BY_REF_IMAGES, \
      CreateTextureImageByRefImages, 8, true) \
    X(DumpBridgeEdges, CreateDumpBridgeEdges, API_BRIDGE_EDGES, \
      FillMeshHole::BridgeEdges, 3, true) \
    X(DumpMeshSplitByPlane, CreateDumpMeshSplitByPlane, API_MESH_SPLIT_BY_PLANE, \
      SplitMesh::SplitByPlane, 3, true) \
    X(DumpOffsetMeshUniformApproximate, CreateDumpOffsetMeshUniformApproximate, API_OFFSET_MESH_UNIFORM_APPROXIMATE, \
      OffsetMesh::UniformApproximate, 2, true) \
    X(DumpMeshSamplingUniform, CreateDumpMeshSamplingUniform, API_MESH_SAMPLING_UNIFORM, \
      MeshSampling::Uniform, 2, true) \
    X(DumpMeshQueryTool, CreateDumpMeshQueryTool, API_MESH_QUERY_TOOL, \
      MeshQueryTool::BuildTool, 1, true) \
    X(DumpTriangulationConstrainedDelaunayOptimization, CreateDumpTriangulationConstrainedDelaunayOptimization, API_TRIANGULATION_CONSTRAINED_DELAUNAY_OPTIMIZATION, \
      Triangulation::ConstrainedDelaunayOptimization, 2, true) \
    X(DumpMeshSimplificationByRemovingVertex, CreateDumpMeshSimplificationByRemovingVertex, API_MESH_SIMPLIFICATION_BY_REMOVING_VERTEX, \
      MeshSimplification::ByRemovingVertex, 2, true) \
    X(DumpRemeshUniform, CreateDumpRemeshUniform, API_REMESH_UNIFORM, \
      Remesh::Uniform, 3, true) \
    X(DumpTriangulationMutualTessellation, CreateDumpTriangulationMutualTessellation, API_TRIANGULATION_MUTUAL_TESSELLATION, \
      Triangulation::MutualTessellation, 2, true) \
    X(DumpTriangulationCentroidVoronoiOptimization, CreateDumpTriangulationCentroidVoronoiOptimization, API_TRIANGULATION_CENTROID_VORONOI_OPTIMIZATION, \
      Triangulation::CentroidVoronoiOptimization, 2, true) \
    X(DumpTuneMeshColorFromMultiPatch, CreateDumpTuneMeshColorFromMultiPatch, API_TUNE_MESH_COLOR_FROM_MULTI_PATCH, \
      TuneMeshColor::FromMultiPatch, 3, true) \
    X(DumpMeshMeasurePrincipalCurvature, CreateDumpMeshMeasurePrincipalCurvature, API_MESH_MEASURE_PRINCIPAL_CURVATURE, \
      MeshMeasure::PrincipalCurvature, 1, true) \
    X(DumpMeshMeasureThickness, CreateDumpMeshMeasureThickness, API_MESH_MEASURE_THICKNESS, \
      MeshMeasure::Thickness, 1, true) \
    X(DumpDeformMeshInit, CreateDumpDeformMeshInit, API_DEFORM_MESH_INIT, \
      DeformMesh::Init, 2, true) \
    X(DumpDeformMeshDeform, CreateDumpDeformMeshDeform, API_DEFORM_MESH_DEFORM, \
      DeformMesh::Deform, 4, true) \
    X(DumpMeshSplitInsertSplitLinesByFacePoints, CreateDumpMeshSplitInsertSplitLinesByFacePoints, API_MESH_SPLIT_INSERT_SPLIT_LINES_BY_FACE_POINTS, \
      SplitMesh::InsertSplitLinesByFacePoints, 3, true) \
    X(DumpMeshSubdivisionInsertPointsOnMesh, CreateDumpMeshSubdivisionInsertPointsOnMesh, API_MESH_SUBDIVISION_INSERT_POINTS_ON_MESH, \
      MeshSubdivision::InsertPointsOnMesh, 3, true) \
    X(DumpPointCloudConsolidationNormalSmoothing, CreateDumpPointCloudConsolidationNormalSmoothing, API_POINT_CLOUD_CONSOLIDATION_NORMAL_SMOOTHING, \
      PointCloudConsolidation::NormalSmoothing, 2, true) \
    X(DumpPointCloudConsolidationNormalCalculation, CreateDumpPointCloudConsolidationNormalCalculation, API_POINT_CLOUD_CONSOLIDATION_NORMAL_CALCULATION, \
      PointCloudConsolidation::NormalCalculation, 3, true) \
    X(DumpPointCloudConsolidationSmoothByNormal, CreateDumpPointCloudConsolidationSmoothByNormal, API_POINT_CLOUD_CONSOLIDATION_SMOOTH_BY_NORMAL, \
      PointCloudConsolidation::SmoothByNormal, 3, true) \
    X(DumpPointCloudConsolidationCalculateIsolation, CreateDumpPointCloudConsolidationCalculateIsolation, API_POINT_CLOUD_CONSOLIDATION_CALCULATE_ISOLATION, \
      PointCloudConsolidation::CalculateIsolation, 2, true) \
    X(DumpPointCloudReconstructMesh, CreateDumpPointCloudReconstructMesh, API_POINT_CLOUD_RECONSTRUCT_MESH, \
      PointCloudReconstructMesh, 2, true) \
    X(DumpRegistrationAlignPointCloudFast, CreateDumpRegistrationAlignPointCloudFast, API_REGISTRATION_ALIGN_POINT_CLOUD_FAST, \
      Registration::AlignPointCloudFast, 2, true) \
    X(DumpRegistrationICP, CreateDumpRegistrationICP, API_REGISTRATION_ICP, \
      Registration::ICP, 3, true) \
    X(DumpRegistrationAlignPointCloud, CreateDumpRegistrationAlignPointCloud, API_REGISTRATION_ALIGN_POINT_CLOUD, \
      Registration::AlignPointCloud, 2, true) \
    X(DumpPointCloudSamplingUniform, CreateDumpPointCloudSamplingUniform, API_POINT_CLOUD_SAMPLING_UNIFORM, \
      PointCloudSampling::Uniform, 2, true) \
    X(DumpRegistrationAlignPointCloudByMark, CreateDumpRegistrationAlignPointCloudByMark, API_REGISTRATION_ALIGN_POINT_CLOUD_BY_MARK, \
      Registration::AlignPointCloudByMark, 4, true) \
    X(DumpRegistrationGlobal, CreateDumpRegistrationGlobal, API_REGISTRATION_GLOBAL, \
      Registration::Global, 1, true) \
    X(DumpFusePointCloudUpdate, CreateDumpFusePointCloudUpdate, API_FUSE_POINT_CLOUD_UPDATE, \
      FusePointCloud::Update, 2, false) \
    X(DumpFusePointCloudExtract, CreateDumpFusePointCloudExtract, API_FUSE_POINT_CLOUD_EXTRACT, \
      FusePointCloud::Extract, 0, false) \
    X(DumpPointCloudConsolidationNormalReversing, CreateDumpPointCloudConsolidationNormalReversing, API_POINT_CLOUD_CONSOLIDATION_NORMAL_REVERSING, \
      PointCloudConsolidation::NormalReversing, 1, true) \
    X(DumpSumPointCloudUpdate, CreateDumpSumPointCloudUpdate, API_SUM_POINT_CLOUD_UPDATE, \
      SumPointCloud::Update, 2, false) \
    X(DumpSumPointCloudExtract, CreateDumpSumPointCloudExtract, API_SUM_POINT_CLOUD_EXTRACT, \
      SumPointCloud::Extract, 0, false) \
    X(DumpTuneColorFromSingleLight, CreateDumpTuneColorFromSingleLight, API_TUNE_COLOR_FROM_SINGLE_LIGHT, \
      TuneColor::FromSingleLight, 2, true) \
    X(DumpPointCloudSamplingGeometry, CreateDumpPointCloudSamplingGeometry, API_POINT_CLOUD_SAMPLING_GEOMETRY, \
      PointCloudSampling::Geometry, 2, true) \
    X(DumpFitPointCloudUniform, CreateDumpFitPointCloudUniform, API_FIT_POINT_CLOUD_UNIFORM, \
      FitPointCloud::Uniform, 2, true) \
    X(DumpSignedDistanceFunctionUpdate, CreateDumpSignedDistanceFunctionUpdate, API_SIGNED_DISTANCE_FUNCTION_UPDATE, \
      SignedDistanceFunction::Update, 2, false) \
    X(DumpSignedDistanceFunctionExtract, CreateDumpSignedDistanceFunctionExtract, API_SIGNED_DISTANCE_FUNCTION_EXTRACT, \
      SignedDistanceFunction::Extract, 0, false) \
    X(DumpPointCloudConsolidationGeometrySmoothing, CreateDumpPointCloudConsolidationGeometrySmoothing, API_POINT_CLOUD_CONSOLIDATION_GEOMETRY_SMOOTHING, \
      PointCloudConsolidation::GeometrySmoothing, 3, true) \
    X(DumpTuneTextureImageByVertexColor, CreateDumpTuneTextureImageByVertexColor, API_TUNE_TEXTURE_IMAGE_BY_VERTEX_COLOR, \
      TuneTextureImage::ByVertexColor, 6, true) \
    X(DumpTuneColorFromMultiFrame, CreateDumpTuneColorFromMultiFrame, API_TUNE_COLOR_FROM_MULTI_FRAME, \
      TuneColor::FromMultiFrame, 2, true) \
    X(DumpPointCloudSimplify, CreateDumpPointCloudSimplify, API_POINT_CLOUD_SIMPLIFY, \
      PointCloudSimplify, 2, true) \
    X(DumpTriangulationConstrainedDelaunay2D, CreateDumpTriangulationConstrainedDelaunay2D, API_TRIANGULATION_CONSTRAINED_DELAUNAY_2D, \
      Triangulation::ConstrainedDelaunay2D, 2, true) \
    X(DumpTuneImageByTriangleColor, CreateDumpTuneImageByTriangleColor, API_TUNE_IMAGE_BY_TRIANGLE_COLOR, \
      TuneImage::ByTriangleColor, 6, true) \
    X(DumpTuneImageByPointColor, CreateDumpTuneImageByPointColor, API_TUNE_IMAGE_BY_POINT_COLOR, \
      TuneImage::ByPointColor, 4, true) \
    X(DumpPointCloudSamplingGrid, CreateDumpPointCloudSamplingGrid, API_POINT_CLOUD_SAMPLING_GRID, \
      PointCloudSampling::Grid, 2, true) \
    X(DumpPointCloudConsolidationDetectOverlap, CreateDumpPointCloudConsolidationDetectOverlap, API_POINT_CLOUD_CONSOLIDATION_DETECT_OVERLAP, \
      PointCloudConsolidation::DetectOverlap, 3, true) \
    X(DumpNonRigidICP, CreateDumpNonRigidICP, API_NON_RIGID_ICP, \
      NonRigid::ICP, 3, true) \
    X(DumpNonRigidGlobalRegistrate, CreateDumpNonRigidGlobalRegistrate, API_NON_RIGID_GLOBAL_REGISTRATE, \
      NonRigid::GlobalRegistrate, 2, true) \
    X(DumpDeformPointListDeform, CreateDumpDeformPointListDeform, API_DEFORM_POINT_LIST_DEFORM, \
      DeformPointList::Deform, 3, true) \
    X(DumpPointCloudConsolidationNormalOrient, CreateDumpPointCloudConsolidationNormalOrient, API_POINT_CLOUD_CONSOLIDATION_NORMAL_ORIENT, \
      PointCloudConsolidation::NormalOrient, 2, true) \
    X(DumpDetectShapeDetectPrimitive, CreateDumpDetectShapeDetectPrimitive, API_DETECT_SHAPE_DETECT_PRIMITIVE, \
      DetectShape::DetectPrimitive, 1, true) \
    X(DumpDetectShapeSelectPrimitive, CreateDumpDetectShapeSelectPrimitive, API_DETECT_SHAPE_SELECT_PRIMITIVE, \
      DetectShape::SelectPrimitive, 3, true) \
    X(DumpGridRegistrationICP, CreateDumpGridRegistrationICP, API_GRID_REGISTRATION_ICP, \
      GridRegistration::ICP, 3, true) \
    X(DumpGridRegistrationAlignGrid, CreateDumpGridRegistrationAlignGrid, API_GRID_REGISTRATION_ALIGN_GRID, \
      GridRegistration::AlignGrid, 2, true) \
    X(DumpOptimiseCurveSmoothCurveOnMesh, CreateDumpOptimiseCurveSmoothCurveOnMesh, API_OPTIMISE_CURVE_SMOOTH_CURVE_ON_MESH, \
      OptimiseCurve::SmoothCurveOnMesh, 4, true) \
    X(DumpOptimiseMappingInterpolate, CreateDumpOptimiseMappingInterpolate, API_OPTIMISE_MAPPING_INTERPOLATE, \
      OptimiseMapping::Interpolate, 3, true) \
    X(DumpOptimiseMappingTransferToMesh, CreateDumpOptimiseMappingTransferToMesh, API_OPTIMISE_MAPPING_TRANSFER_TO_MESH, \
      OptimiseMapping::TransferToMesh, 3, true) \
    X(DumpOptimiseMappingInterpolateFaceImageColorIds, CreateDumpOptimiseMappingInterpolateFaceImageColorIds, API_OPTIMISE_MAPPING_INTERPOLATE_FACE_IMAGE_COLOR_IDS, \
      OptimiseMapping::InterpolateFaceImageColorIds, 2, true) \
    X(DumpOptimiseCurveApproximateOffset, CreateDumpOptimiseCurveApproximateOffset, API_OPTIMISE_CURVE_APPROXIMATE_OFFSET, \
      OptimiseCurve::ApproximateOffset, 3, true) \
    X(DumpOptimiseCurveMakeBijective, CreateDumpOptimiseCurveMakeBijective, API_OPTIMISE_CURVE_MAKE_BIJECTIVE, \
      OptimiseCurve::MakeBijective, 1, true) \
    X(DumpOptimiseCurveConnectFacePointsOnMesh, CreateDumpOptimiseCurveConnectFacePointsOnMesh, API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_ON_MESH, \
      OptimiseCurve::ConnectFacePointsOnMesh, 3, true) \
    X(DumpOptimiseCurveConnectFacePointsByCuttingPlane, CreateDumpOptimiseCurveConnectFacePointsByCuttingPlane, API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_BY_CUTTING_PLANE, \
      OptimiseCurve::ConnectFacePointsByCuttingPlane, 4, true) \
    X(DumpOptimiseCurveSmoothCurveCrossMesh, CreateDumpOptimiseCurveSmoothCurveCrossMesh, API_OPTIMISE_CURVE_SMOOTH_CURVE_CROSS_MESH, \
      OptimiseCurve::SmoothCurveCrossMesh, 3, true) \
    X(DumpOptimiseMappingProjectToMesh, CreateDumpOptimiseMappingProjectToMesh, API_OPTIMISE_MAPPING_PROJECT_TO_MESH, \
      OptimiseMapping::ProjectToMesh, 2, true) \
    X(DumpOptimiseMappingFuseImageColorIds, CreateDumpOptimiseMappingFuseImageColorIds, API_OPTIMISE_MAPPING_FUSE_IMAGE_COLOR_IDS, \
      OptimiseMapping::FuseImageColorIds, 3, true) \
    X(DumpTuneTextureImageColor, CreateDumpTuneTextureImageColor, API_TUNE_TEXTURE_IMAGE_COLOR, \
      TuneTextureImage::Color, 3, true) \
    X(DumpOptimiseCurveConnectVertexByCuttingPlane, CreateDumpOptimiseCurveConnectVertexByCuttingPlane, API_OPTIMISE_CURVE_CONNECT_VERTEX_BY_CUTTING_PLANE, \
      OptimiseCurve::ConnectVertexByCuttingPlane, 4, true) \
    X(DumpDigitalReliefCompressHeightField, CreateDumpDigitalReliefCompressHeightField, API_DIGITAL_RELIEF_COMPRESS_HEIGHT_FIELD, \
      DigitalRelief::CompressHeightField, 4, true)

#define ORVO_DUMP_DECLARE_RECORD(Name, Factory, Api, Function, InputCount, Live)     \
    class ORVO_API Name : public DumpRecordOf<Name, Api, &Function, InputCount, Live> { \
    public:                                                                           \
        static const char* ClassName() { return #Name; }                              \
    };                                                                                \
    ORVO_API DumpBase* Factory();
ORVO_DUMP_RECORD_LIST(ORVO_DUMP_DECLARE_RECORD)
#undef ORVO_DUMP_DECLARE_RECORD

}  // namespace ORVO
