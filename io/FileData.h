#pragma once
// What the format readers produce and the writers consume: plain arrays that
// a reader fills from a byte buffer, so that every reader can be run on
// memory (tests, fuzzing) and the file layer stays in one place.
//
// Readers return 0, or -3 with `error` describing the first problem found;
// on failure the output holds nothing the caller may use. Writers append the
// file's bytes to `out` and cannot fail.

#include <QarnUVAtlas/Primitives.h>

#include <cstddef>
#include <string>
#include <vector>

namespace ORVO {

struct MeshFileData {
    std::vector<Vector3> positions;
    std::vector<Vector3> normals;      // one per position, or empty
    std::vector<int> triangles;        // three position ids per triangle
    std::vector<double> texCoords;     // u, v pairs
    std::vector<int> triangleTexIds;   // three pair ids per triangle (-1: corner has none), or empty
};

struct CloudFileData {
    std::vector<Vector3> positions;
    std::vector<Vector3> normals;      // one per position, or empty
    std::vector<Vector3> colors;       // components 0..1, one per position, or empty
    int gridWidth = 0;                 // grid size; 0 x 0 without a grid
    int gridHeight = 0;
    std::vector<int> gridPoints;       // width*height point ids (-1: empty cell), or empty
};

// Byte order and encoding of a PLY file.
enum PlyEncoding : int {
    PLY_ASCII = 0,
    PLY_BINARY_LITTLE_ENDIAN = 1,
    PLY_BINARY_BIG_ENDIAN = 2,
};

// ---- Wavefront OBJ: v, vt, vn, f (polygons fan-triangulated) ----
int _ParseObjMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error);
// Points are the v lines; vn lines become normals when there is one per point,
// and "v x y z r g b" lines colours when every point has them.
int _ParseObjCloud(const char* data, size_t size, CloudFileData& cloud, std::string& error);
// v, then vt, then "f v/vt" (or "f v" without texture coordinates).
void _FormatObjMesh(const MeshFileData& mesh, std::string& out);
void _FormatObjCloud(const CloudFileData& cloud, std::string& out);

// ---- PLY (ASCII, binary little and big endian) ----
int _ParsePlyMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error);
// A range_grid element with num_cols/num_rows obj_info lines becomes the grid.
int _ParsePlyCloud(const char* data, size_t size, CloudFileData& cloud, std::string& error);
// Double positions (and normals), int vertex_indices, float per-face texcoord lists.
void _FormatPlyMesh(const MeshFileData& mesh, PlyEncoding encoding, std::string& out);
void _FormatPlyCloud(const CloudFileData& cloud, PlyEncoding encoding, std::string& out);

// ---- STL (ASCII and binary; identical corners welded on read) ----
int _ParseStlMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error);
void _FormatStlMesh(const MeshFileData& mesh, bool binary, std::string& out);

// ---- OFF ----
int _ParseOffMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error);
void _FormatOffMesh(const MeshFileData& mesh, std::string& out);

// ---- ASC point clouds: "x y z [nx ny nz]" per line ----
int _ParseAscCloud(const char* data, size_t size, CloudFileData& cloud, std::string& error);
void _FormatAscCloud(const CloudFileData& cloud, std::string& out);

// ---- glTF 2.0: .gltf (JSON) and .glb (binary container) ----
// Every triangle primitive (lists, strips, fans) of every mesh the default
// scene places, node transforms applied; corners at one position become one
// vertex, texture coordinates stay per corner (TEXCOORD_0, v turned so that
// the origin is at the bottom). Bytes starting with "glTF" are read as GLB.
// Relative buffer names are looked up in `baseDir`; with "" none is read.
int _ParseGltfMesh(const char* data, size_t size, const std::string& baseDir, MeshFileData& mesh, std::string& error);
// One mesh with one triangle primitive whose vertices are the distinct
// (position, texture pair) corners; float positions, unit normals when all
// are usable, the smallest index type that fits; `image` (PNG or JPEG bytes,
// or empty) becomes the base-colour texture. Returns 0, or -2 (an image of
// another kind, too much data) / -3 (the container writer failed) with `error`.
int _FormatGltfMesh(const MeshFileData& mesh, const std::string& image, bool binary, std::string& out,
                    std::string& error);

// Checks shared by the readers: every id in range, every value finite, at
// least one triangle. Returns 0 or -3 with `error` set.
int _ValidateMeshData(const MeshFileData& mesh, std::string& error);
int _ValidateCloudData(const CloudFileData& cloud, std::string& error);

}  // namespace ORVO
