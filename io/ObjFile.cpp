#include "io/ObjFile.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace ORVO {
namespace {

inline const char* SkipBlanks(const char* p, const char* end) {
    while (p < end && (*p == ' ' || *p == '\t' || *p == '\r')) ++p;
    return p;
}

inline bool ParseDouble(const char*& p, const char* end, double& value) {
    p = SkipBlanks(p, end);
    if (p < end && *p == '+') ++p;
    auto result = std::from_chars(p, end, value);
    if (result.ec != std::errc()) return false;
    p = result.ptr;
    return true;
}

inline bool ParseInt(const char*& p, const char* end, long& value) {
    auto result = std::from_chars(p, end, value);
    if (result.ec != std::errc()) return false;
    p = result.ptr;
    return true;
}

// Resolves a 1-based (or negative, relative) OBJ index against `count` items.
inline int Resolve(long index, size_t count) {
    long resolved = index > 0 ? index - 1 : static_cast<long>(count) + index;
    return resolved >= 0 && resolved < static_cast<long>(count) ? static_cast<int>(resolved) : -1;
}

}  // namespace

int _ReadObj(const std::string& path, ObjContents& contents, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error) *error = "cannot open " + path;
        return -2;
    }
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    contents = ObjContents();
    const char* p = text.data();
    const char* end = p + text.size();
    size_t lineNumber = 0;
    std::vector<int> polygon, polygonTex;
    auto fail = [&](const char* what) {
        if (error) *error = std::string(what) + " at line " + std::to_string(lineNumber);
        return -3;
    };
    while (p < end) {
        ++lineNumber;
        const char* lineEnd = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
        if (lineEnd == nullptr) lineEnd = end;
        const char* q = SkipBlanks(p, lineEnd);
        if (q + 1 < lineEnd && q[0] == 'v' && (q[1] == ' ' || q[1] == '\t')) {
            double x, y, z;
            q += 2;
            if (!ParseDouble(q, lineEnd, x) || !ParseDouble(q, lineEnd, y) || !ParseDouble(q, lineEnd, z))
                return fail("malformed vertex");
            contents.positions.emplace_back(x, y, z);
        } else if (q + 2 < lineEnd && q[0] == 'v' && q[1] == 't' && (q[2] == ' ' || q[2] == '\t')) {
            double u, v = 0.0;
            q += 3;
            if (!ParseDouble(q, lineEnd, u)) return fail("malformed texture coordinate");
            const char* save = q;
            if (!ParseDouble(q, lineEnd, v)) q = save;
            contents.texCoords.push_back(u);
            contents.texCoords.push_back(v);
        } else if (q + 1 < lineEnd && q[0] == 'f' && (q[1] == ' ' || q[1] == '\t')) {
            q += 2;
            polygon.clear();
            polygonTex.clear();
            for (;;) {
                q = SkipBlanks(q, lineEnd);
                if (q >= lineEnd) break;
                long vi = 0, ti = 0;
                if (!ParseInt(q, lineEnd, vi)) return fail("malformed face");
                int vertex = Resolve(vi, contents.positions.size());
                if (vertex < 0) return fail("face index out of range");
                int tex = -1;
                if (q < lineEnd && *q == '/') {
                    ++q;
                    if (q < lineEnd && *q != '/') {
                        if (!ParseInt(q, lineEnd, ti)) return fail("malformed face");
                        tex = Resolve(ti, contents.texCoords.size() / 2);
                        if (tex < 0) return fail("texture index out of range");
                    }
                    if (q < lineEnd && *q == '/') {
                        ++q;
                        long ni;
                        if (q < lineEnd && *q != ' ' && *q != '\t' && *q != '\r' && !ParseInt(q, lineEnd, ni))
                            return fail("malformed face");
                    }
                }
                polygon.push_back(vertex);
                polygonTex.push_back(tex);
            }
            if (polygon.size() < 3) return fail("face with fewer than 3 corners");
            for (size_t k = 1; k + 1 < polygon.size(); ++k) {
                contents.triangles.insert(contents.triangles.end(), {polygon[0], polygon[k], polygon[k + 1]});
                contents.triangleTexIds.insert(contents.triangleTexIds.end(),
                                               {polygonTex[0], polygonTex[k], polygonTex[k + 1]});
            }
        }
        p = lineEnd + 1;
    }
    return 0;
}

int _WriteObj(const std::string& path, const ITriMesh& mesh, const std::vector<double>& texCoords,
              const std::vector<int>& faceTexIds) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return -3;
    std::vector<char> buffer(1 << 20);
    std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        Vector3 p = mesh.GetVertexCoord(v);
        std::fprintf(file, "v %.17g %.17g %.17g\n", p.x, p.y, p.z);
    }
    for (size_t i = 0; i + 1 < texCoords.size(); i += 2) std::fprintf(file, "vt %.17g %.17g\n", texCoords[i], texCoords[i + 1]);
    const bool withTex = faceTexIds.size() == 3 * static_cast<size_t>(mesh.GetTriangleCount());
    int ids[3];
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        mesh.GetTriangleVertexIds(f, ids);
        if (withTex) {
            std::fprintf(file, "f %d/%d %d/%d %d/%d\n", ids[0] + 1, faceTexIds[3 * f] + 1, ids[1] + 1,
                         faceTexIds[3 * f + 1] + 1, ids[2] + 1, faceTexIds[3 * f + 2] + 1);
        } else {
            std::fprintf(file, "f %d %d %d\n", ids[0] + 1, ids[1] + 1, ids[2] + 1);
        }
    }
    bool ok = std::ferror(file) == 0;
    ok = std::fclose(file) == 0 && ok;
    return ok ? 0 : -3;
}

void _ObjToTriMesh(const ObjContents& contents, TriMesh& mesh) {
    mesh.Clear();
    mesh.ReserveVertices(static_cast<int>(contents.positions.size()));
    mesh.ReserveTriangles(static_cast<int>(contents.triangles.size() / 3));
    for (const Vector3& p : contents.positions) mesh.InsertVertex(p);
    for (size_t i = 0; i + 2 < contents.triangles.size(); i += 3)
        mesh.InsertTriangle(contents.triangles[i], contents.triangles[i + 1], contents.triangles[i + 2]);
}

}  // namespace ORVO
