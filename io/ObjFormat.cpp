// Wavefront OBJ. Statements other than v, vt, vn and f (groups, materials,
// smoothing, lines, points) carry nothing the library keeps and are skipped.
// Indices are 1-based, or negative for "counted back from the last one read".
#include "io/FileData.h"
#include "io/TextScan.h"

#include <algorithm>
#include <cmath>

namespace ORVO {
namespace {

// Everything an OBJ file says that either kind of import can use.
struct ObjStatements {
    std::vector<Vector3> positions;
    std::vector<Vector3> positionColors;  // filled while every v line has r g b
    bool everyPositionHasColor = true;
    std::vector<double> texCoords;
    std::vector<Vector3> normals;
    std::vector<int> triangles;
    std::vector<int> triangleTexIds;
    std::vector<int> triangleNormalIds;
    bool anyTexId = false;
    bool anyNormalId = false;
};

// 1-based or negative OBJ index to a 0-based id, or -1 when out of range.
inline int ResolveIndex(int64_t index, size_t count) {
    int64_t resolved = index > 0 ? index - 1 : static_cast<int64_t>(count) + index;
    return resolved >= 0 && resolved < static_cast<int64_t>(count) ? static_cast<int>(resolved) : -1;
}

class ObjScanner {
public:
    ObjScanner(const char* data, size_t size, bool wantFaces)
        : mpBegin(data), mpEnd(data + size), mWantFaces(wantFaces) {}

    int Run(ObjStatements& s, std::string& error) {
        const char* p = mpBegin;
        // A rough guess of the element counts keeps the big arrays from regrowing.
        const size_t estimate = static_cast<size_t>(mpEnd - mpBegin) / 64;
        s.positions.reserve(estimate);
        if (mWantFaces) s.triangles.reserve(estimate * 3);
        while (p < mpEnd) {
            ++mLine;
            const char* lineEnd = _LineEnd(p, mpEnd);
            if (!Statement(p, lineEnd, s)) {
                error = mProblem + " at line " + std::to_string(mLine);
                return STATUS_FAILED;
            }
            p = lineEnd + 1;
        }
        return STATUS_SUCCESS;
    }

private:
    bool Fail(const char* what) {
        mProblem = what;
        return false;
    }

    bool Statement(const char* p, const char* end, ObjStatements& s) {
        p = _SkipBlanks(p, end);
        if (p >= end || *p == '#') return true;
        if (_HasNulByte(p, end)) return Fail("binary data in a text file");
        const char* word = p;
        while (p < end && !_IsBlank(*p)) ++p;
        const size_t length = static_cast<size_t>(p - word);
        if (length == 1 && word[0] == 'v') return Position(p, end, s);
        if (length == 2 && word[0] == 'v' && word[1] == 't') return TexCoord(p, end, s);
        if (length == 2 && word[0] == 'v' && word[1] == 'n') return Normal(p, end, s);
        if (length == 1 && word[0] == 'f') return mWantFaces ? Face(p, end, s) : true;
        return true;
    }

    static bool ReadThree(const char*& p, const char* end, double& x, double& y, double& z) {
        return _ReadReal(p, end, x) && _ReadReal(p, end, y) && _ReadReal(p, end, z);
    }

    bool Position(const char* p, const char* end, ObjStatements& s) {
        double x, y, z;
        if (!ReadThree(p, end, x, y, z)) return Fail("malformed vertex (v needs three numbers)");
        s.positions.emplace_back(x, y, z);
        // Optional "r g b" (or a homogeneous w); colours only for point clouds.
        double extra[4];
        int count = 0;
        while (count < 4) {
            p = _SkipBlanks(p, end);
            if (p >= end) break;
            if (!_ReadReal(p, end, extra[count])) return Fail("malformed vertex (trailing text)");
            ++count;
        }
        if (!mWantFaces && s.everyPositionHasColor) {
            if (count == 3) {
                s.positionColors.emplace_back(extra[0], extra[1], extra[2]);
            } else {
                s.everyPositionHasColor = false;
                s.positionColors.clear();
            }
        }
        return true;
    }

    bool TexCoord(const char* p, const char* end, ObjStatements& s) {
        double u, v = 0.0, w;
        if (!_ReadReal(p, end, u)) return Fail("malformed texture coordinate");
        if (_SkipBlanks(p, end) < end && !_ReadReal(p, end, v)) return Fail("malformed texture coordinate");
        if (_SkipBlanks(p, end) < end && !_ReadReal(p, end, w)) return Fail("malformed texture coordinate");
        s.texCoords.push_back(u);
        s.texCoords.push_back(v);
        return true;
    }

    bool Normal(const char* p, const char* end, ObjStatements& s) {
        double x, y, z;
        if (!ReadThree(p, end, x, y, z)) return Fail("malformed normal (vn needs three numbers)");
        s.normals.emplace_back(x, y, z);
        return true;
    }

    // One corner: v, v/vt, v//vn or v/vt/vn.
    bool Corner(const char*& p, const char* end, const ObjStatements& s, int& v, int& t, int& n) {
        int64_t index = 0;
        t = -1;
        n = -1;
        if (!_ReadInteger(p, end, index)) return Fail("malformed face corner");
        v = ResolveIndex(index, s.positions.size());
        if (v < 0) return Fail("face refers to a vertex that does not exist");
        if (p < end && *p == '/') {
            ++p;
            if (p < end && *p != '/' && !_IsBlank(*p)) {
                if (!_ReadInteger(p, end, index)) return Fail("malformed face corner");
                t = ResolveIndex(index, s.texCoords.size() / 2);
                if (t < 0) return Fail("face refers to a texture coordinate that does not exist");
            }
            if (p < end && *p == '/') {
                ++p;
                if (!_ReadInteger(p, end, index)) return Fail("malformed face corner");
                n = ResolveIndex(index, s.normals.size());
                if (n < 0) return Fail("face refers to a normal that does not exist");
            }
        }
        if (!_TokenEnds(p, end)) return Fail("malformed face corner");
        return true;
    }

    bool Face(const char* p, const char* end, ObjStatements& s) {
        int first[3] = {-1, -1, -1}, previous[3] = {-1, -1, -1}, current[3] = {-1, -1, -1};
        int corners = 0;
        for (;;) {
            p = _SkipBlanks(p, end);
            if (p >= end) break;
            if (!Corner(p, end, s, current[0], current[1], current[2])) return false;
            if (corners == 0) {
                std::memcpy(first, current, sizeof(first));
            } else if (corners >= 2) {
                // Fan from the first corner keeps the polygon's orientation.
                s.triangles.insert(s.triangles.end(), {first[0], previous[0], current[0]});
                s.triangleTexIds.insert(s.triangleTexIds.end(), {first[1], previous[1], current[1]});
                s.triangleNormalIds.insert(s.triangleNormalIds.end(), {first[2], previous[2], current[2]});
                s.anyTexId = s.anyTexId || first[1] >= 0 || previous[1] >= 0 || current[1] >= 0;
                s.anyNormalId = s.anyNormalId || first[2] >= 0 || previous[2] >= 0 || current[2] >= 0;
            }
            std::memcpy(previous, current, sizeof(previous));
            ++corners;
        }
        if (corners < 3) return Fail("face with fewer than three corners");
        return true;
    }

    const char* mpBegin;
    const char* mpEnd;
    bool mWantFaces;
    size_t mLine = 0;
    std::string mProblem;
};

void AppendPositions(const std::vector<Vector3>& positions, std::string& out) {
    for (const Vector3& p : positions) {
        out += "v ";
        _AppendReal(out, p.x);
        out += ' ';
        _AppendReal(out, p.y);
        out += ' ';
        _AppendReal(out, p.z);
        out += '\n';
    }
}

}  // namespace

int _ParseObjMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error) {
    mesh = MeshFileData();
    ObjStatements s;
    ObjScanner scanner(data, size, true);
    if (scanner.Run(s, error) != STATUS_SUCCESS) return STATUS_FAILED;
    mesh.positions = std::move(s.positions);
    mesh.triangles = std::move(s.triangles);
    if (s.anyTexId) {
        mesh.texCoords = std::move(s.texCoords);
        mesh.triangleTexIds = std::move(s.triangleTexIds);
    }
    if (s.anyNormalId) {
        // OBJ normals belong to corners; a vertex takes the last one given for it.
        mesh.normals.assign(mesh.positions.size(), Vector3());
        for (size_t c = 0; c < s.triangleNormalIds.size(); ++c) {
            if (s.triangleNormalIds[c] >= 0) mesh.normals[mesh.triangles[c]] = s.normals[s.triangleNormalIds[c]];
        }
    }
    int status = _ValidateMeshData(mesh, error);
    if (status != STATUS_SUCCESS) mesh = MeshFileData();
    return status;
}

int _ParseObjCloud(const char* data, size_t size, CloudFileData& cloud, std::string& error) {
    cloud = CloudFileData();
    ObjStatements s;
    ObjScanner scanner(data, size, false);
    if (scanner.Run(s, error) != STATUS_SUCCESS) return STATUS_FAILED;
    if (s.positions.empty()) {
        error = "no points (v lines)";
        return STATUS_FAILED;
    }
    cloud.positions = std::move(s.positions);
    if (s.normals.size() == cloud.positions.size()) cloud.normals = std::move(s.normals);
    if (s.everyPositionHasColor && s.positionColors.size() == cloud.positions.size()) {
        // Colours written as 0..255 are brought to 0..1.
        double largest = 0.0;
        for (const Vector3& c : s.positionColors) largest = std::max({largest, c.x, c.y, c.z});
        const double scale = largest > 1.0 ? 1.0 / 255.0 : 1.0;
        cloud.colors.reserve(s.positionColors.size());
        for (const Vector3& c : s.positionColors) cloud.colors.push_back(c * scale);
    }
    int status = _ValidateCloudData(cloud, error);
    if (status != STATUS_SUCCESS) cloud = CloudFileData();
    return status;
}

void _FormatObjMesh(const MeshFileData& mesh, std::string& out) {
    out.reserve(out.size() + mesh.positions.size() * 64 + mesh.triangles.size() * 16 + mesh.texCoords.size() * 24);
    AppendPositions(mesh.positions, out);
    for (size_t i = 0; i + 1 < mesh.texCoords.size(); i += 2) {
        out += "vt ";
        _AppendReal(out, mesh.texCoords[i]);
        out += ' ';
        _AppendReal(out, mesh.texCoords[i + 1]);
        out += '\n';
    }
    const bool withTex = mesh.triangleTexIds.size() == mesh.triangles.size() && !mesh.texCoords.empty();
    for (size_t c = 0; c + 2 < mesh.triangles.size(); c += 3) {
        // One form per face: a face with a corner lacking a pair is written without any.
        const bool faceTex = withTex && mesh.triangleTexIds[c] >= 0 && mesh.triangleTexIds[c + 1] >= 0 &&
                             mesh.triangleTexIds[c + 2] >= 0;
        out += 'f';
        for (size_t k = c; k < c + 3; ++k) {
            out += ' ';
            _AppendInteger(out, static_cast<int64_t>(mesh.triangles[k]) + 1);
            if (faceTex) {
                out += '/';
                _AppendInteger(out, static_cast<int64_t>(mesh.triangleTexIds[k]) + 1);
            }
        }
        out += '\n';
    }
}

void _FormatObjCloud(const CloudFileData& cloud, std::string& out) {
    const bool withNormals = cloud.normals.size() == cloud.positions.size();
    const bool withColors = cloud.colors.size() == cloud.positions.size();
    for (size_t i = 0; i < cloud.positions.size(); ++i) {
        if (withNormals) {
            out += "vn ";
            _AppendReal(out, cloud.normals[i].x);
            out += ' ';
            _AppendReal(out, cloud.normals[i].y);
            out += ' ';
            _AppendReal(out, cloud.normals[i].z);
            out += '\n';
        }
        const Vector3& p = cloud.positions[i];
        out += "v ";
        _AppendReal(out, p.x);
        out += ' ';
        _AppendReal(out, p.y);
        out += ' ';
        _AppendReal(out, p.z);
        if (withColors) {
            for (int k = 0; k < 3; ++k) {
                out += ' ';
                _AppendReal(out, cloud.colors[i][k]);
            }
        }
        out += '\n';
    }
}

}  // namespace ORVO
