#pragma once
// Wavefront OBJ reading and writing for meshes with per-corner texture
// coordinates: positions (v), texture coordinates (vt) and faces (f, polygons
// fan-triangulated; v, v/vt, v//vn and v/vt/vn forms; negative indices).

#include <QarnUVAtlas/TriMesh.h>

#include <string>
#include <vector>

namespace ORVO {

struct ObjContents {
    std::vector<Vector3> positions;
    std::vector<double> texCoords;    // u, v per vt line
    std::vector<int> triangles;       // 3 position ids per triangle
    std::vector<int> triangleTexIds;  // 3 vt ids per triangle, -1 where a corner has none
};

// Reads `path`. Returns 0, -2 when the file cannot be opened, -3 when a line is
// malformed or an index is out of range (message names the line).
int _ReadObj(const std::string& path, ObjContents& contents, std::string* error);

// Writes positions, texture coordinates and faces "f v/vt". Returns 0 or -3.
int _WriteObj(const std::string& path, const ITriMesh& mesh, const std::vector<double>& texCoords,
              const std::vector<int>& faceTexIds);

// Fills `mesh` (cleared first) with the positions and triangles.
void _ObjToTriMesh(const ObjContents& contents, TriMesh& mesh);

}  // namespace ORVO
