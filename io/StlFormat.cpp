// STL, ASCII and binary. STL repeats every corner's coordinates per facet, so
// corners with identical coordinates are welded into one vertex, numbered in
// order of first appearance; facets keep their order.
#include "io/FileData.h"
#include "io/TextScan.h"
#include "io/VertexWelder.h"

#include <cmath>
#include <cstdint>

namespace ORVO {
namespace {

constexpr size_t kHeaderBytes = 80;
constexpr size_t kFacetBytes = 50;

bool HostIsLittleEndian() {
    const uint16_t probe = 1;
    uint8_t first;
    std::memcpy(&first, &probe, 1);
    return first == 1;
}

template <typename T>
T LoadLittle(const char* p) {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, p, sizeof(T));
    if (!HostIsLittleEndian()) {
        for (size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
    }
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

template <typename T>
void StoreLittle(std::string& out, T value) {
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if (!HostIsLittleEndian()) {
        for (size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
    }
    out.append(reinterpret_cast<const char*>(bytes), sizeof(T));
}

// A welded point keeps +0 for either zero, so that -0 never reaches the output.
Vector3 PositiveZeros(Vector3 p) {
    for (int k = 0; k < 3; ++k)
        if (p[k] == 0.0) p[k] = 0.0;
    return p;
}

int ParseBinary(const char* data, size_t count, MeshFileData& mesh, std::string& error) {
    VertexWelder welder(3 * count);
    mesh.triangles.reserve(3 * count);
    const char* p = data + kHeaderBytes + 4;
    for (size_t f = 0; f < count; ++f, p += kFacetBytes) {
        for (int c = 0; c < 3; ++c) {
            const char* q = p + 12 + 12 * c;
            Vector3 v(LoadLittle<float>(q), LoadLittle<float>(q + 4), LoadLittle<float>(q + 8));
            if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z)) {
                error = "facet " + std::to_string(f) + " has a coordinate that is not a finite number";
                return STATUS_FAILED;
            }
            mesh.triangles.push_back(welder.Add(PositiveZeros(v), mesh.positions));
        }
    }
    return STATUS_SUCCESS;
}

// Word-by-word reader of ASCII STL.
class AsciiStl {
public:
    AsciiStl(const char* data, size_t size) : mpBegin(data), mpPos(data), mpEnd(data + size) {}

    int Run(MeshFileData& mesh, std::string& error) {
        VertexWelder welder(static_cast<size_t>(mpEnd - mpPos) / 80);
        std::vector<int> polygon;
        if (!Expect("solid")) return Fail("an ASCII STL must start with \"solid\"", error);
        SkipLine();  // the solid's name
        for (;;) {
            std::string word = Word();
            if (word == "endsolid") {
                SkipLine();
                if (_SkipSpaces(mpPos, mpEnd) >= mpEnd) return STATUS_SUCCESS;
                if (!Expect("solid")) return Fail("text after endsolid", error);
                SkipLine();
                continue;
            }
            if (word != "facet") return Fail(word.empty() ? "the file ends before endsolid" : "expected \"facet\"", error);
            if (!Expect("normal")) return Fail("expected \"normal\"", error);
            double n[3];
            for (double& value : n)
                if (!Real(value)) return Fail("malformed facet normal", error);
            if (!Expect("outer") || !Expect("loop")) return Fail("expected \"outer loop\"", error);
            polygon.clear();
            for (;;) {
                word = Word();
                if (word == "endloop") break;
                if (word != "vertex") return Fail("expected \"vertex\" or \"endloop\"", error);
                Vector3 v;
                if (!Real(v.x) || !Real(v.y) || !Real(v.z)) return Fail("malformed vertex", error);
                if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z))
                    return Fail("a vertex coordinate is not a finite number", error);
                polygon.push_back(welder.Add(PositiveZeros(v), mesh.positions));
            }
            if (polygon.size() < 3) return Fail("a facet has fewer than three vertices", error);
            if (!Expect("endfacet")) return Fail("expected \"endfacet\"", error);
            for (size_t k = 1; k + 1 < polygon.size(); ++k)
                mesh.triangles.insert(mesh.triangles.end(), {polygon[0], polygon[k], polygon[k + 1]});
        }
    }

private:
    int Fail(const char* what, std::string& error) {
        error = std::string(what) + " at line " + std::to_string(Line());
        return STATUS_FAILED;
    }

    size_t Line() const {
        size_t line = 1;
        for (const char* p = mpBegin; p < mpPos && p < mpEnd; ++p) line += *p == '\n';
        return line;
    }

    std::string Word() {
        mpPos = _SkipSpaces(mpPos, mpEnd);
        const char* start = mpPos;
        while (mpPos < mpEnd && !_IsSpace(*mpPos)) ++mpPos;
        return std::string(start, mpPos);
    }

    bool Expect(const char* word) { return Word() == word; }

    bool Real(double& value) {
        mpPos = _SkipSpaces(mpPos, mpEnd);
        return _ReadReal(mpPos, mpEnd, value);
    }

    void SkipLine() {
        mpPos = _LineEnd(mpPos, mpEnd);
        if (mpPos < mpEnd) ++mpPos;
    }

    const char* mpBegin;
    const char* mpPos;
    const char* mpEnd;
};

bool StartsWithSolid(const char* data, size_t size) {
    const char* p = _SkipSpaces(data, data + size);
    const size_t left = static_cast<size_t>(data + size - p);
    return left >= 5 && std::memcmp(p, "solid", 5) == 0;
}

Vector3 FacetNormal(const Vector3& a, const Vector3& b, const Vector3& c) {
    Vector3 n = (b - a).CrossProduct(c - a);
    const double length = n.Length();
    return length > 0.0 ? n / length : Vector3();
}

}  // namespace

int _ParseStlMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error) {
    mesh = MeshFileData();
    int status = STATUS_SUCCESS;
    // A binary file's size follows from its facet count; some binary headers
    // begin with "solid" too, so the size decides first.
    const bool sizeMatchesBinary =
        size >= kHeaderBytes + 4 &&
        static_cast<uint64_t>(size) == kHeaderBytes + 4 + kFacetBytes * static_cast<uint64_t>(LoadLittle<uint32_t>(data + kHeaderBytes));
    if (sizeMatchesBinary) {
        status = ParseBinary(data, LoadLittle<uint32_t>(data + kHeaderBytes), mesh, error);
    } else if (StartsWithSolid(data, size) && !_HasNulByte(data, data + size)) {
        AsciiStl reader(data, size);
        status = reader.Run(mesh, error);
    } else if (size < kHeaderBytes + 4) {
        error = "too short for a binary STL (" + std::to_string(size) + " bytes)";
        status = STATUS_FAILED;
    } else {
        error = "binary STL size does not match its facet count (truncated data or a wrong count): " +
                std::to_string(LoadLittle<uint32_t>(data + kHeaderBytes)) + " facets need " +
                std::to_string(kHeaderBytes + 4 + kFacetBytes * static_cast<uint64_t>(LoadLittle<uint32_t>(data + kHeaderBytes))) +
                " bytes, the file holds " + std::to_string(size);
        status = STATUS_FAILED;
    }
    if (status == STATUS_SUCCESS) status = _ValidateMeshData(mesh, error);
    if (status != STATUS_SUCCESS) mesh = MeshFileData();
    return status;
}

void _FormatStlMesh(const MeshFileData& mesh, bool binary, std::string& out) {
    const size_t count = mesh.triangles.size() / 3;
    if (binary) {
        std::string header = "QarnUVAtlas binary STL";
        header.resize(kHeaderBytes, ' ');
        out += header;
        StoreLittle<uint32_t>(out, static_cast<uint32_t>(count));
        out.reserve(out.size() + count * kFacetBytes);
        for (size_t f = 0; f < count; ++f) {
            const Vector3& a = mesh.positions[mesh.triangles[3 * f]];
            const Vector3& b = mesh.positions[mesh.triangles[3 * f + 1]];
            const Vector3& c = mesh.positions[mesh.triangles[3 * f + 2]];
            const Vector3 n = FacetNormal(a, b, c);
            for (const Vector3* v : {&n, &a, &b, &c})
                for (int k = 0; k < 3; ++k) StoreLittle<float>(out, static_cast<float>((*v)[k]));
            StoreLittle<uint16_t>(out, 0);
        }
        return;
    }
    out += "solid qarn\n";
    for (size_t f = 0; f < count; ++f) {
        const Vector3* corners[3] = {&mesh.positions[mesh.triangles[3 * f]], &mesh.positions[mesh.triangles[3 * f + 1]],
                                     &mesh.positions[mesh.triangles[3 * f + 2]]};
        const Vector3 n = FacetNormal(*corners[0], *corners[1], *corners[2]);
        out += "facet normal ";
        for (int k = 0; k < 3; ++k) {
            _AppendReal(out, n[k]);
            out += k < 2 ? ' ' : '\n';
        }
        out += " outer loop\n";
        for (const Vector3* v : corners) {
            out += "  vertex ";
            for (int k = 0; k < 3; ++k) {
                _AppendReal(out, (*v)[k]);
                out += k < 2 ? ' ' : '\n';
            }
        }
        out += " endloop\nendfacet\n";
    }
    out += "endsolid qarn\n";
}

}  // namespace ORVO
