#pragma once
// Recording one interface call into a plain-text ".dump" file and running it
// again from that file, elsewhere and later.
//
// Recording: DumpOnce() arms a process-wide flag; the next instrumented entry
// point clears it and writes its own arguments, before any check, into
// "<GetTimeString()><tag><counter>.dump" in the current folder.
// Replay: RegisterDumpInfo(); read the first integer of the file;
// DumpManager::Get()->GetDumpInstance(value); LoadDumpFile(path); Run();
// inspect GetTriMesh(i) / GetPointCloud(i); delete the record.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace ORVO {

class ITriMesh;
class TriMesh;
class IPointCloud;
class IGridPointCloud;
class IPointList;
class PointCloud;

// The number that opens every dump file and selects its record class. Values
// are grouped by family: meshes from 1, point clouds from 101, curves and
// mappings from 201, the relief tool at 300. Gaps are values no record uses.
enum ApiName : int {
    API_MESH_CONSOLIDATION_MAKE_MANIFOLD = 1,
    API_MESH_CONSOLIDATION_GEOMETRY = 2,
    API_FIND_MESH_HOLE = 3,
    API_FILL_MESH_HOLE = 4,
    API_MESH_FILTER_LAPLACE_SMOOTH = 5,
    API_MESH_FILTER_ENHANCE_DETAIL = 6,
    API_MESH_MEASURE_SECTION_APPROXIMATE = 7,
    API_MESH_UNFOLD_PACK_UV_ATLAS = 8,
    API_MESH_SUBDIVISION_LOOP = 9,
    API_MESH_SIMPLIFICATION_QUADRIC = 11,
    API_MESH_MEASURE_SECTION_EXACT = 12,
    API_MESH_CONSOLIDATION_REMOVE_GEOMETRY_NOISE = 13,
    API_MESH_SUBDIVISION_DENSIFY = 14,
    API_MESH_UNFOLD_CONFORMAL = 15,
    API_MESH_UNFOLD_OPTIMIZE_ISOMETRIC = 16,
    API_MESH_MEASURE_SECTION_EXACT_CLOSED = 17,
    API_MESH_UNFOLD_GENERATE_UV_ATLAS = 18,
    API_MESH_SPLIT_BY_LINES = 19,
    API_MESH_SPLIT_INSERT_SPLIT_LINE_BY_EDGE_POINTS = 20,
    API_MESH_SIMPLIFICATION_TEXTURE_COORD = 21,
    API_CREATE_TEXTURE_IMAGE_BY_VERTEX_COLORS = 22,
    API_CREATE_TEXTURE_IMAGE_BY_REF_IMAGES = 23,
    API_BRIDGE_EDGES = 24,
    API_MESH_SPLIT_BY_PLANE = 25,
    API_OFFSET_MESH_UNIFORM_APPROXIMATE = 26,
    API_MESH_SAMPLING_UNIFORM = 28,
    API_MESH_QUERY_TOOL = 29,
    API_TRIANGULATION_CONSTRAINED_DELAUNAY_OPTIMIZATION = 30,
    API_MESH_SIMPLIFICATION_BY_REMOVING_VERTEX = 31,
    API_REMESH_UNIFORM = 32,
    API_TRIANGULATION_MUTUAL_TESSELLATION = 33,
    API_TRIANGULATION_CENTROID_VORONOI_OPTIMIZATION = 34,
    API_TUNE_MESH_COLOR_FROM_MULTI_PATCH = 35,
    API_MESH_MEASURE_PRINCIPAL_CURVATURE = 36,
    API_MESH_MEASURE_THICKNESS = 37,
    API_DEFORM_MESH_INIT = 38,
    API_DEFORM_MESH_DEFORM = 39,
    API_MESH_MEASURE_SECTION_EXACT_OPEN = 41,
    API_MESH_SPLIT_INSERT_SPLIT_LINES_BY_FACE_POINTS = 42,
    API_MESH_SUBDIVISION_INSERT_POINTS_ON_MESH = 43,

    API_POINT_CLOUD_CONSOLIDATION_NORMAL_SMOOTHING = 101,
    API_POINT_CLOUD_CONSOLIDATION_NORMAL_CALCULATION = 102,
    API_POINT_CLOUD_CONSOLIDATION_SMOOTH_BY_NORMAL = 103,
    API_POINT_CLOUD_CONSOLIDATION_CALCULATE_ISOLATION = 104,
    API_POINT_CLOUD_RECONSTRUCT_MESH = 105,
    API_REGISTRATION_ALIGN_POINT_CLOUD_FAST = 106,
    API_REGISTRATION_ICP = 107,
    API_REGISTRATION_ALIGN_POINT_CLOUD = 108,
    API_POINT_CLOUD_SAMPLING_UNIFORM = 109,
    API_REGISTRATION_ALIGN_POINT_CLOUD_BY_MARK = 110,
    API_REGISTRATION_GLOBAL = 114,
    API_FUSE_POINT_CLOUD_UPDATE = 115,
    API_FUSE_POINT_CLOUD_EXTRACT = 116,
    API_POINT_CLOUD_CONSOLIDATION_NORMAL_REVERSING = 117,
    API_SUM_POINT_CLOUD_UPDATE = 118,
    API_SUM_POINT_CLOUD_EXTRACT = 119,
    API_TUNE_COLOR_FROM_SINGLE_LIGHT = 121,
    API_POINT_CLOUD_SAMPLING_GEOMETRY = 122,
    API_FIT_POINT_CLOUD_UNIFORM = 123,
    API_SIGNED_DISTANCE_FUNCTION_UPDATE = 124,
    API_SIGNED_DISTANCE_FUNCTION_EXTRACT = 125,
    API_POINT_CLOUD_CONSOLIDATION_GEOMETRY_SMOOTHING = 126,
    API_TUNE_TEXTURE_IMAGE_BY_VERTEX_COLOR = 127,
    API_TUNE_COLOR_FROM_MULTI_FRAME = 128,
    API_POINT_CLOUD_SIMPLIFY = 129,
    API_TRIANGULATION_CONSTRAINED_DELAUNAY_2D = 131,
    API_TUNE_IMAGE_BY_TRIANGLE_COLOR = 132,
    API_TUNE_IMAGE_BY_POINT_COLOR = 133,
    API_POINT_CLOUD_SAMPLING_GRID = 134,
    API_POINT_CLOUD_CONSOLIDATION_DETECT_OVERLAP = 135,
    API_NON_RIGID_ICP = 136,
    API_NON_RIGID_GLOBAL_REGISTRATE = 137,
    API_DEFORM_POINT_LIST_DEFORM = 138,
    API_POINT_CLOUD_CONSOLIDATION_NORMAL_ORIENT = 139,
    API_DETECT_SHAPE_DETECT_PRIMITIVE = 140,
    API_DETECT_SHAPE_SELECT_PRIMITIVE = 141,
    API_GRID_REGISTRATION_ICP = 142,
    API_GRID_REGISTRATION_ALIGN_GRID = 143,

    API_OPTIMISE_CURVE_SMOOTH_CURVE_ON_MESH = 201,
    API_OPTIMISE_MAPPING_INTERPOLATE = 202,
    API_OPTIMISE_MAPPING_TRANSFER_TO_MESH = 203,
    // Has a record class, but the registry leaves it out.
    API_OPTIMISE_MAPPING_INTERPOLATE_FACE_IMAGE_COLOR_IDS = 204,
    API_OPTIMISE_CURVE_APPROXIMATE_OFFSET = 205,
    API_OPTIMISE_CURVE_MAKE_BIJECTIVE = 206,
    API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_ON_MESH = 207,
    API_OPTIMISE_CURVE_CONNECT_FACE_POINTS_BY_CUTTING_PLANE = 208,
    API_OPTIMISE_CURVE_SMOOTH_CURVE_CROSS_MESH = 209,
    API_OPTIMISE_MAPPING_PROJECT_TO_MESH = 210,
    API_OPTIMISE_MAPPING_FUSE_IMAGE_COLOR_IDS = 211,
    API_TUNE_TEXTURE_IMAGE_COLOR = 213,
    API_OPTIMISE_CURVE_CONNECT_VERTEX_BY_CUTTING_PLANE = 214,

    API_DIGITAL_RELIEF_COMPRESS_HEIGHT_FIELD = 300,
};

// One recorded call. A record class per recordable entry point holds that
// call's inputs (owned meshes and clouds, copies of scalars and vectors),
// writes them (its DumpApiInfo), reads them back (LoadDumpFile) and repeats
// the call (Run). The protected block writers and readers give every record
// the same text encodings; the order of the virtual operations is part of the
// binary interface: do not reorder.
class ORVO_API DumpBase {
public:
    virtual ~DumpBase();
    // The record's own value of the registry.
    virtual ApiName GetApiName() = 0;
    // Reads a file written by the record's DumpApiInfo. The leading ApiName
    // value is read and ignored. A missing or short file leaves the inputs
    // that were not read at their defaults; nothing is reported.
    virtual void LoadDumpFile(const std::string& fileName) = 0;
    // Calls the recorded entry point with the loaded inputs and returns its
    // status code unchanged; on success the outputs are written back into
    // the record's own meshes or clouds.
    virtual int Run() = 0;
    // Meshes and clouds the record owns (it keeps ownership); null for an
    // index it does not hold.
    virtual TriMesh* GetTriMesh(int index);
    virtual PointCloud* GetPointCloud(int index);

    // Dump files written by this process so far; part of every file name.
    static int APICalledTime;

protected:
    // Null writes "-1". Otherwise switches the stream to 20 significant
    // digits (kept for the rest of the file), then the vertex count, one
    // "x y z" line per vertex, the triangle count and one "a b c" line per
    // triangle.
    virtual void DumpTriMesh(const ITriMesh* mesh, std::ofstream& out);
    // Fills `mesh` from a mesh block: a negative vertex count ends the block
    // at once. Reading stops at the first token that does not parse; a
    // triangle naming a vertex the block does not hold is skipped.
    virtual void LoadTriMesh(ITriMesh* mesh, std::ifstream& in);
    // Null writes "-1". Otherwise 20 digits; "count normalFlag"; one line per
    // point (x y z, plus nx ny nz with the flag); the colour flag; with it,
    // one "r g b" line per point. The flags are the arguments'.
    virtual void DumpPointCloud(const IPointCloud* cloud, bool withNormal, bool withColor, std::ofstream& out);
    // Reads a point-cloud block into `cloud` (no special case for "-1": the
    // next token is then taken for the normal flag).
    virtual void LoadPointCloud(IPointCloud* cloud, std::ifstream& in);
    // Null writes "-1". Otherwise 20 digits; point count, grid width and
    // height, normal flag; per point its grid cell x y, x y z and, with the
    // flag, nx ny nz.
    virtual void DumpGridPointCloud(const IGridPointCloud* cloud, bool withNormal, std::ofstream& out);
    // Reads a grid block: a grid of the stated size holding the points at
    // their cells. A negative count or size, or a grid larger than the file
    // could describe, leaves the cloud empty.
    virtual void LoadGridPointCloud(IGridPointCloud* cloud, std::ifstream& in);
    // Null writes "-1". Otherwise 20 digits; the count; per point x y z (plus
    // nx ny nz when withNormal). Written only: point lists are never read.
    virtual void DumpPointList(const IPointList* points, bool withNormal, std::ofstream& out);
    // Vectors: a count line, then one line of values each followed by a
    // space. Readers take the count and then at most that many values,
    // stopping at the first that does not parse.
    virtual void LoadStlIntVector(std::vector<int>& values, std::ifstream& in);
    virtual void DumpStlIntVector(const std::vector<int>& values, std::ofstream& out);
    virtual void LoadStlRealVector(std::vector<double>& values, std::ifstream& in);
    virtual void DumpStlRealVector(const std::vector<double>& values, std::ofstream& out);
    virtual void LoadStlVector3Vector(std::vector<Vector3>& values, std::ifstream& in);
    virtual void DumpStlVector3Vector(const std::vector<Vector3>& values, std::ofstream& out);
    // Colours travel as packed integers; the writer ends without a line
    // break, so the next block starts on the same line.
    virtual void LoadStlColor4Vector(std::vector<Color4>& values, std::ifstream& in);
    virtual void DumpStlColor4Vector(const std::vector<Color4>& values, std::ofstream& out);
    // The 16 values in the matrix's own index order, then a line break.
    virtual void LoadMatrix4x4(Matrix4x4& matrix, std::ifstream& in) const;
    virtual void DumpMatrix4x4(const Matrix4x4& matrix, std::ofstream& out) const;
};

// Factory of one record class: a new default record the caller owns.
typedef DumpBase* (*DumpCreator)();

// The registry from ApiName values to record factories (process-wide).
class ORVO_API DumpManager {
public:
    // The only instance, made with an empty registry on first use.
    static DumpManager* Get();
    // Adds `creator` under `apiName`. Returns false, changing nothing, when
    // the value is already registered.
    bool RegisterDumpClass(int apiName, DumpCreator creator);
    // A new record for `apiName` (the caller deletes it), or null when the
    // value is not registered.
    DumpBase* GetDumpInstance(int apiName);

    DumpManager(const DumpManager& other);
    DumpManager& operator=(const DumpManager& other);

    static DumpManager* mpDumpManager;

private:
    DumpManager();
    std::map<int, DumpCreator> mCreators;
};

// Registers every record class of the library. Call once before a replay.
ORVO_API void RegisterDumpInfo();

// Asks the next instrumented call (of any thread) to record its arguments.
// That call clears the request, so one DumpOnce() gives at most one file.
ORVO_API void DumpOnce();

}  // namespace ORVO
