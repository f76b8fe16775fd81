#pragma once
// Reading and writing meshes and point clouds, the format chosen by the file
// name's extension (case-insensitive):
//   meshes:       .obj (v, vt, vn, f; polygons fan-triangulated), .ply (ASCII,
//                 binary little/big endian), .stl (ASCII, binary; identical
//                 corners welded), .off, .gltf and .glb (glTF 2.0: every
//                 triangle primitive the scene places, node transforms
//                 applied, corners at one position welded; written as one
//                 mesh whose vertices are split where texture coordinates
//                 differ, with float positions)
//   point clouds: .obj, .ply (a range grid keeps the grid topology), .asc
//                 ("x y z [nx ny nz]" per line)
// Texture coordinates travel as in the atlas: u,v pairs plus three pair ids
// per triangle. OBJ and PLY carry them per corner, OFF only one pair per
// vertex, STL not at all (they are dropped there); glTF keeps them per vertex
// of its own, which after the seam split is per corner.
//
// Status codes: 0; -2 for a null argument, an unknown extension, a missing or
// unreadable file, or data that cannot be written; -3 for a file whose
// content is malformed (truncated, counts that do not match, ids out of
// range, non-finite numbers) or a failed write. Every failure writes one log
// line naming the operation, the file and the problem; GetLastError() returns
// the same text. A failed import leaves the outputs empty, never partly filled.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include <string>
#include <vector>

namespace ORVO {

class ORVO_API Parser {
public:
    // Reads a mesh into `mesh` (cleared first; its vertex-normal flag follows
    // the file). When texCoords/faceTexIds are given they receive the file's
    // texture coordinates (both empty when it has none; an id of -1 marks a
    // corner without one). When the mesh's triangle-texcoord flag is on, the
    // per-corner coordinates are stored on it as well. Returns 0, -2, -3.
    static int ImportTriMesh(const std::string& fileName, TriMesh* mesh, std::vector<double>* texCoords = nullptr,
                             std::vector<int>* faceTexIds = nullptr);

    // Writes `mesh` with optional texture coordinates: texCoords with
    // faceTexIds (3 per triangle), or texCoords alone holding one pair per
    // vertex. Without them, a TriMesh's per-corner texture coordinates are
    // written when its flag is on. PLY is written binary (little endian).
    // Returns 0, -2 (null mesh, no triangle, ids or sizes inconsistent,
    // non-finite values, file cannot be created), -3 (write failed).
    static int ExportTriMesh(const std::string& fileName, const ITriMesh* mesh,
                             const std::vector<double>* texCoords = nullptr,
                             const std::vector<int>* faceTexIds = nullptr);

    // Reads a point cloud (cleared first) with its normals and colours where
    // the file has them, and a PLY range grid as grid topology. Returns 0, -2, -3.
    static int ImportPointCloud(const std::string& fileName, PointCloud* cloud);

    // Writes the points with normals and colours where the cloud has them
    // (ASC: normals only). Returns 0, -2 (null or empty cloud, non-finite
    // values, file cannot be created), -3 (write failed).
    static int ExportPointCloud(const std::string& fileName, const IPointCloud* cloud);

    // As ExportPointCloud; a PLY file also records the grid (num_cols,
    // num_rows and a range_grid element) so that ImportPointCloud restores it.
    static int ExportGridPointCloud(const std::string& fileName, const IGridPointCloud* cloud);

    // As ExportTriMesh for .gltf and .glb files, with the picture in
    // `imageFileName` (PNG or JPEG) embedded as the base-colour texture, so
    // that viewers show the mesh textured. texCoords are required.
    // Returns 0, -2 (as ExportTriMesh, and: another extension, no texCoords,
    // an image that cannot be read or is neither PNG nor JPEG), -3.
    static int ExportTexturedTriMesh(const std::string& fileName, const ITriMesh* mesh,
                                     const std::vector<double>* texCoords, const std::vector<int>* faceTexIds,
                                     const std::string& imageFileName);

    // The message of the last failed call on this thread ("" after a success).
    static std::string GetLastError();
};

}  // namespace ORVO
