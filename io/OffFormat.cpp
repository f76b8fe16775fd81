// OFF: a keyword line ([ST][C][N]OFF), the counts "vertices faces edges",
// one vertex per line, then one face per line as "n i0 ... i(n-1) [colour]".
// Comments start with '#'. Per-vertex normals (N) and texture coordinates
// (ST) are kept; colours are skipped.
#include "io/FileData.h"
#include "io/TextScan.h"

#include <cmath>

namespace ORVO {
namespace {

// Lines with their comments and surrounding blanks removed; blank ones skipped.
class OffLines {
public:
    OffLines(const char* data, size_t size) : mpPos(data), mpEnd(data + size) {}

    bool Next(const char*& begin, const char*& end) {
        while (mpPos < mpEnd) {
            const char* lineEnd = _LineEnd(mpPos, mpEnd);
            begin = _SkipBlanks(mpPos, lineEnd);
            const void* hash = begin < lineEnd ? std::memchr(begin, '#', static_cast<size_t>(lineEnd - begin)) : nullptr;
            end = hash ? static_cast<const char*>(hash) : lineEnd;
            while (end > begin && _IsBlank(end[-1])) --end;
            mpPos = lineEnd < mpEnd ? lineEnd + 1 : mpEnd;
            ++mLine;
            if (begin < end) return true;
        }
        return false;
    }

    size_t Line() const { return mLine; }
    size_t Remaining() const { return static_cast<size_t>(mpEnd - mpPos); }

private:
    const char* mpPos;
    const char* mpEnd;
    size_t mLine = 0;
};

int Fail(std::string& error, const std::string& what, size_t line) {
    error = what + " at line " + std::to_string(line);
    return STATUS_FAILED;
}

int ParseOff(const char* data, size_t size, MeshFileData& mesh, std::string& error) {
    if (_HasNulByte(data, data + size)) {
        error = "binary data in a text file (binary OFF is not supported)";
        return STATUS_FAILED;
    }
    OffLines lines(data, size);
    const char* p;
    const char* end;
    if (!lines.Next(p, end)) {
        error = "empty file";
        return STATUS_FAILED;
    }
    // Keyword: optional prefixes ST, C, N in that order, then OFF.
    const char* word = p;
    while (p < end && !_IsBlank(*p)) ++p;
    std::string keyword(word, p);
    bool hasTex = false, hasNormal = false;
    size_t k = 0;
    if (keyword.compare(k, 2, "ST") == 0) { hasTex = true; k += 2; }
    if (keyword.compare(k, 1, "C") == 0) k += 1;
    if (keyword.compare(k, 1, "N") == 0) { hasNormal = true; k += 1; }
    if (keyword.compare(k, std::string::npos, "OFF") != 0) {
        error = "not an OFF file (keyword \"" + keyword.substr(0, 16) + "\")";
        return STATUS_FAILED;
    }
    p = _SkipBlanks(p, end);
    if (end - p >= 6 && std::memcmp(p, "BINARY", 6) == 0) {
        error = "binary OFF is not supported";
        return STATUS_FAILED;
    }
    // The counts may share the keyword's line.
    if (p >= end && !lines.Next(p, end)) return Fail(error, "no counts line", lines.Line());
    int64_t counts[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i) {
        p = _SkipBlanks(p, end);
        if (i == 2 && p >= end) break;  // the edge count is often left out
        if (!_ReadInteger(p, end, counts[i]) || !_TokenEnds(p, end)) return Fail(error, "malformed counts", lines.Line());
    }
    if (_SkipBlanks(p, end) < end) return Fail(error, "malformed counts", lines.Line());
    if (counts[0] < 0 || counts[1] < 0 || counts[0] > INT_LARGE || counts[1] > INT_LARGE)
        return Fail(error, "vertex or face count out of range", lines.Line());
    const int64_t vertexCount = counts[0], faceCount = counts[1];
    // Each line needs at least a few bytes: do not reserve beyond what the file can hold.
    const size_t lineBudget = lines.Remaining() / 4 + 1;
    mesh.positions.reserve(std::min<size_t>(static_cast<size_t>(vertexCount), lineBudget));
    mesh.triangles.reserve(3 * std::min<size_t>(static_cast<size_t>(faceCount), lineBudget));

    std::vector<double> values;
    for (int64_t v = 0; v < vertexCount; ++v) {
        if (!lines.Next(p, end)) return Fail(error, "the file ends after " + std::to_string(v) + " of " +
                                                        std::to_string(vertexCount) + " vertices", lines.Line());
        values.clear();
        while ((p = _SkipBlanks(p, end)) < end) {
            double value;
            if (!_ReadReal(p, end, value)) return Fail(error, "malformed vertex", lines.Line());
            values.push_back(value);
        }
        const size_t needed = 3 + (hasNormal ? 3 : 0) + (hasTex ? 2 : 0);
        if (values.size() < needed) return Fail(error, "a vertex line has too few numbers", lines.Line());
        mesh.positions.emplace_back(values[0], values[1], values[2]);
        if (hasNormal) mesh.normals.emplace_back(values[3], values[4], values[5]);
        if (hasTex) {
            mesh.texCoords.push_back(values[values.size() - 2]);
            mesh.texCoords.push_back(values[values.size() - 1]);
        }
    }
    std::vector<int> polygon;
    for (int64_t f = 0; f < faceCount; ++f) {
        if (!lines.Next(p, end)) return Fail(error, "the file ends after " + std::to_string(f) + " of " +
                                                        std::to_string(faceCount) + " faces", lines.Line());
        int64_t n;
        if (!_ReadInteger(p, end, n) || !_TokenEnds(p, end)) return Fail(error, "malformed face", lines.Line());
        if (n < 3) return Fail(error, "a face has fewer than three corners", lines.Line());
        if (n > static_cast<int64_t>(end - p)) return Fail(error, "a face lists more corners than its line holds", lines.Line());
        polygon.clear();
        for (int64_t c = 0; c < n; ++c) {
            int64_t id;
            if (!_ReadInteger(p, end, id) || !_TokenEnds(p, end)) return Fail(error, "malformed face", lines.Line());
            if (id < 0 || id >= vertexCount)
                return Fail(error, "face refers to vertex " + std::to_string(id) + " of " + std::to_string(vertexCount),
                            lines.Line());
            polygon.push_back(static_cast<int>(id));
        }
        for (size_t c = 1; c + 1 < polygon.size(); ++c)
            mesh.triangles.insert(mesh.triangles.end(), {polygon[0], polygon[c], polygon[c + 1]});
    }
    if (hasTex) mesh.triangleTexIds = mesh.triangles;
    return _ValidateMeshData(mesh, error);
}

}  // namespace

int _ParseOffMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error) {
    mesh = MeshFileData();
    const int status = ParseOff(data, size, mesh, error);
    if (status != STATUS_SUCCESS) mesh = MeshFileData();
    return status;
}

void _FormatOffMesh(const MeshFileData& mesh, std::string& out) {
    // Texture coordinates fit OFF only when they are one pair per vertex.
    const bool perVertexTex = !mesh.texCoords.empty() && mesh.texCoords.size() == 2 * mesh.positions.size() &&
                              mesh.triangleTexIds == mesh.triangles;
    const bool withNormals = !mesh.normals.empty() && mesh.normals.size() == mesh.positions.size();
    out += perVertexTex ? "ST" : "";
    out += withNormals ? "NOFF\n" : "OFF\n";
    _AppendInteger(out, static_cast<int64_t>(mesh.positions.size()));
    out += ' ';
    _AppendInteger(out, static_cast<int64_t>(mesh.triangles.size() / 3));
    out += " 0\n";
    for (size_t i = 0; i < mesh.positions.size(); ++i) {
        for (int k = 0; k < 3; ++k) {
            if (k) out += ' ';
            _AppendReal(out, mesh.positions[i][k]);
        }
        for (int k = 0; withNormals && k < 3; ++k) {
            out += ' ';
            _AppendReal(out, mesh.normals[i][k]);
        }
        for (int k = 0; perVertexTex && k < 2; ++k) {
            out += ' ';
            _AppendReal(out, mesh.texCoords[2 * i + k]);
        }
        out += '\n';
    }
    for (size_t c = 0; c + 2 < mesh.triangles.size(); c += 3) {
        out += '3';
        for (size_t k = c; k < c + 3; ++k) {
            out += ' ';
            _AppendInteger(out, mesh.triangles[k]);
        }
        out += '\n';
    }
}

}  // namespace ORVO
