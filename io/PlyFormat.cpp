// PLY, in the three encodings scanners and mesh tools write. The header is
// read into a list of elements with typed properties; the body is then read
// record by record with every property converted to double, keeping what the
// mesh or cloud needs (vertex x y z, normals, colours, per-vertex or per-face
// texture coordinates, faces, the range grid) and stepping over the rest.
#include "io/FileData.h"
#include "io/TextScan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <type_traits>

namespace ORVO {
namespace {

enum class PlyType : uint8_t { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float32, Float64 };

size_t TypeSize(PlyType type) {
    switch (type) {
        case PlyType::Int8:
        case PlyType::UInt8: return 1;
        case PlyType::Int16:
        case PlyType::UInt16: return 2;
        case PlyType::Int32:
        case PlyType::UInt32:
        case PlyType::Float32: return 4;
        case PlyType::Float64: return 8;
    }
    return 1;
}

bool IsIntegerType(PlyType type) { return type != PlyType::Float32 && type != PlyType::Float64; }

bool TypeFromName(const std::string& name, PlyType& type) {
    struct Entry {
        const char* name;
        PlyType type;
    };
    static const Entry entries[] = {
        {"char", PlyType::Int8},     {"int8", PlyType::Int8},       {"uchar", PlyType::UInt8},
        {"uint8", PlyType::UInt8},   {"short", PlyType::Int16},     {"int16", PlyType::Int16},
        {"ushort", PlyType::UInt16}, {"uint16", PlyType::UInt16},   {"int", PlyType::Int32},
        {"int32", PlyType::Int32},   {"uint", PlyType::UInt32},     {"uint32", PlyType::UInt32},
        {"float", PlyType::Float32}, {"float32", PlyType::Float32}, {"double", PlyType::Float64},
        {"float64", PlyType::Float64}};
    for (const Entry& e : entries) {
        if (name == e.name) {
            type = e.type;
            return true;
        }
    }
    return false;
}

struct PlyProperty {
    std::string name;
    bool isList = false;
    PlyType countType = PlyType::UInt8;
    PlyType valueType = PlyType::Float32;
};

struct PlyElement {
    std::string name;
    int64_t count = 0;
    std::vector<PlyProperty> properties;
};

struct PlyHeader {
    PlyEncoding encoding = PLY_ASCII;
    std::vector<PlyElement> elements;
    std::vector<std::string> objInfo;
    size_t bodyOffset = 0;
};

std::vector<std::string> SplitWords(const char* p, const char* end) {
    std::vector<std::string> words;
    for (;;) {
        p = _SkipBlanks(p, end);
        if (p >= end) break;
        const char* start = p;
        while (p < end && !_IsBlank(*p)) ++p;
        words.emplace_back(start, p);
    }
    return words;
}

int ParseHeader(const char* data, size_t size, PlyHeader& header, std::string& error) {
    const char* end = data + size;
    const char* p = data;
    size_t lineNumber = 0;
    bool haveFormat = false;
    for (;;) {
        if (p >= end) {
            error = "the header has no end_header line";
            return STATUS_FAILED;
        }
        ++lineNumber;
        const char* lineEnd = _LineEnd(p, end);
        if (lineEnd >= end) {
            error = "the header has no end_header line (file truncated?)";
            return STATUS_FAILED;
        }
        const char* next = lineEnd + 1;
        if (_HasNulByte(p, lineEnd)) {
            error = "the header holds binary data";
            return STATUS_FAILED;
        }
        std::vector<std::string> w = SplitWords(p, lineEnd);
        auto fail = [&](const std::string& what) {
            error = what + " (header line " + std::to_string(lineNumber) + ")";
            return STATUS_FAILED;
        };
        if (lineNumber == 1) {
            if (w.size() != 1 || w[0] != "ply") {
                error = "not a PLY file (the first line is not \"ply\")";
                return STATUS_FAILED;
            }
        } else if (w.empty()) {
            // Blank lines are tolerated.
        } else if (w[0] == "format") {
            if (w.size() != 3 || w[2] != "1.0") return fail("unsupported format line");
            if (w[1] == "ascii") header.encoding = PLY_ASCII;
            else if (w[1] == "binary_little_endian") header.encoding = PLY_BINARY_LITTLE_ENDIAN;
            else if (w[1] == "binary_big_endian") header.encoding = PLY_BINARY_BIG_ENDIAN;
            else return fail("unknown encoding \"" + w[1] + "\"");
            haveFormat = true;
        } else if (w[0] == "comment") {
        } else if (w[0] == "obj_info") {
            const char* q = _SkipBlanks(p, lineEnd);
            q = _SkipBlanks(q + 8, lineEnd);
            const char* qe = lineEnd;
            while (qe > q && _IsBlank(qe[-1])) --qe;
            header.objInfo.emplace_back(q, qe);
        } else if (w[0] == "element") {
            if (w.size() != 3) return fail("malformed element line");
            PlyElement element;
            element.name = w[1];
            const char* c = w[2].data();
            auto result = std::from_chars(c, c + w[2].size(), element.count);
            if (result.ec != std::errc() || result.ptr != c + w[2].size() || element.count < 0)
                return fail("element count \"" + w[2] + "\" is not a count");
            if (element.count > static_cast<int64_t>(INT_LARGE))
                return fail("element count " + w[2] + " is too large");
            header.elements.push_back(element);
        } else if (w[0] == "property") {
            if (header.elements.empty()) return fail("property before any element");
            PlyProperty property;
            if (w.size() == 5 && w[1] == "list") {
                property.isList = true;
                if (!TypeFromName(w[2], property.countType) || !TypeFromName(w[3], property.valueType))
                    return fail("unknown property type");
                if (!IsIntegerType(property.countType)) return fail("list count type is not an integer type");
                property.name = w[4];
            } else if (w.size() == 3) {
                if (!TypeFromName(w[1], property.valueType)) return fail("unknown property type \"" + w[1] + "\"");
                property.name = w[2];
            } else {
                return fail("malformed property line");
            }
            header.elements.back().properties.push_back(property);
        } else if (w[0] == "end_header") {
            if (!haveFormat) return fail("no format line before end_header");
            header.bodyOffset = static_cast<size_t>(next - data);
            return STATUS_SUCCESS;
        } else {
            return fail("unknown header keyword \"" + w[0] + "\"");
        }
        p = next;
    }
}

// Reads the body one value at a time, whatever the encoding.
class PlyBody {
public:
    PlyBody(const char* begin, const char* end, PlyEncoding encoding)
        : mpPos(begin), mpEnd(end), mEncoding(encoding) {
        const uint16_t probe = 1;
        uint8_t first;
        std::memcpy(&first, &probe, 1);
        const bool hostLittle = first == 1;
        mSwap = (encoding == PLY_BINARY_LITTLE_ENDIAN && !hostLittle) ||
                (encoding == PLY_BINARY_BIG_ENDIAN && hostLittle);
    }

    size_t Remaining() const { return static_cast<size_t>(mpEnd - mpPos); }
    bool Binary() const { return mEncoding != PLY_ASCII; }

    // False at the end of the data or on a token that is not a number;
    // LastFailure() then says which.
    bool Read(PlyType type, double& value) {
        if (mEncoding == PLY_ASCII) {
            mpPos = _SkipSpaces(mpPos, mpEnd);
            mEnded = mpPos >= mpEnd;
            if (mEnded || !_ReadReal(mpPos, mpEnd, value)) return false;
            // The declared type decides the value, as it would in binary.
            if (type == PlyType::Float32 && std::fabs(value) <= std::numeric_limits<float>::max())
                value = static_cast<float>(value);
            return true;
        }
        const size_t n = TypeSize(type);
        mEnded = Remaining() < n;
        if (mEnded) return false;
        unsigned char bytes[8];
        std::memcpy(bytes, mpPos, n);
        mpPos += n;
        if (mSwap) {
            for (size_t i = 0; i < n / 2; ++i) std::swap(bytes[i], bytes[n - 1 - i]);
        }
        switch (type) {
            case PlyType::Int8: { int8_t v; std::memcpy(&v, bytes, 1); value = v; break; }
            case PlyType::UInt8: { value = bytes[0]; break; }
            case PlyType::Int16: { int16_t v; std::memcpy(&v, bytes, 2); value = v; break; }
            case PlyType::UInt16: { uint16_t v; std::memcpy(&v, bytes, 2); value = v; break; }
            case PlyType::Int32: { int32_t v; std::memcpy(&v, bytes, 4); value = v; break; }
            case PlyType::UInt32: { uint32_t v; std::memcpy(&v, bytes, 4); value = v; break; }
            case PlyType::Float32: { float v; std::memcpy(&v, bytes, 4); value = v; break; }
            case PlyType::Float64: { std::memcpy(&value, bytes, 8); break; }
        }
        return true;
    }

    std::string LastFailure() const {
        return mEnded ? "the file ends early (truncated data or a wrong count)" : "a value is not a number";
    }

private:
    const char* mpPos;
    const char* mpEnd;
    PlyEncoding mEncoding;
    bool mSwap = false;
    bool mEnded = false;
};

// Where each property of an element goes: a scalar slot, one of the two
// tracked lists, or nowhere.
enum Slot : int {
    SLOT_NONE = -1,
    SLOT_X = 0, SLOT_Y, SLOT_Z, SLOT_NX, SLOT_NY, SLOT_NZ, SLOT_R, SLOT_G, SLOT_B, SLOT_U, SLOT_V,
    SLOT_COUNT,
    SLOT_LIST_INDICES = 100,
    SLOT_LIST_TEXCOORD = 101,
};

int VertexSlot(const std::string& name) {
    static const struct { const char* name; int slot; } names[] = {
        {"x", SLOT_X}, {"y", SLOT_Y}, {"z", SLOT_Z}, {"nx", SLOT_NX}, {"ny", SLOT_NY}, {"nz", SLOT_NZ},
        {"red", SLOT_R}, {"green", SLOT_G}, {"blue", SLOT_B}, {"diffuse_red", SLOT_R},
        {"diffuse_green", SLOT_G}, {"diffuse_blue", SLOT_B}, {"u", SLOT_U}, {"v", SLOT_V}, {"s", SLOT_U},
        {"t", SLOT_V}, {"texture_u", SLOT_U}, {"texture_v", SLOT_V}, {"texture_s", SLOT_U},
        {"texture_t", SLOT_V}};
    for (const auto& n : names)
        if (name == n.name) return n.slot;
    return SLOT_NONE;
}

// Everything the body held that a mesh or cloud can use.
struct PlyContents {
    bool hasVertexElement = false;
    std::vector<Vector3> positions;
    std::vector<Vector3> normals;
    std::vector<Vector3> colors;
    std::vector<double> vertexTex;      // u, v per vertex
    std::vector<int> triangles;
    std::vector<double> cornerTex;      // u, v per triangle corner
    std::vector<char> cornerHasTex;     // per triangle corner
    bool anyFaceTex = false;
    std::vector<int> gridPoints;        // range_grid: point id per cell, -1 when empty
    bool hasGrid = false;
};

class PlyReader {
public:
    PlyReader(const char* data, size_t size, const PlyHeader& header, bool wantFaces)
        : mHeader(header), mBody(data + header.bodyOffset, data + size, header.encoding), mWantFaces(wantFaces) {
        for (const PlyElement& e : header.elements)
            if (e.name == "vertex") mDeclaredVertices = e.count;
    }

    int Run(PlyContents& out, std::string& error) {
        if (int status = CheckSize(error); status != STATUS_SUCCESS) return status;
        for (const PlyElement& element : mHeader.elements) {
            if (!ReadElement(element, out)) {
                error = mProblem;
                return STATUS_FAILED;
            }
        }
        return STATUS_SUCCESS;
    }

private:
    // A binary body shorter than the smallest records the header declares is
    // truncated; saying so up front also keeps huge counts from allocating.
    int CheckSize(std::string& error) {
        if (!mBody.Binary()) return STATUS_SUCCESS;
        long double needed = 0.0L;
        for (const PlyElement& e : mHeader.elements) {
            size_t record = 0;
            for (const PlyProperty& p : e.properties) record += TypeSize(p.isList ? p.countType : p.valueType);
            needed += static_cast<long double>(record) * static_cast<long double>(e.count);
        }
        if (needed > static_cast<long double>(mBody.Remaining())) {
            error = "truncated binary data: the header needs at least " +
                    std::to_string(static_cast<unsigned long long>(needed)) + " bytes, the file holds " +
                    std::to_string(mBody.Remaining());
            return STATUS_FAILED;
        }
        return STATUS_SUCCESS;
    }

    bool Fail(const std::string& what, const PlyElement& element, int64_t record) {
        mProblem = what + " in element " + element.name + " (record " + std::to_string(record + 1) + " of " +
                   std::to_string(element.count) + ")";
        return false;
    }

    bool ReadCount(const PlyProperty& p, const PlyElement& e, int64_t record, int64_t& count) {
        double value;
        if (!mBody.Read(p.countType, value)) return Fail(EndOrJunk(), e, record);
        if (!(value >= 0.0) || value != std::floor(value)) return Fail("a list count is not a count", e, record);
        // Every item takes at least one byte (two in ASCII with its separator).
        const double limit = static_cast<double>(mBody.Remaining()) /
                             (mBody.Binary() ? static_cast<double>(TypeSize(p.valueType)) : 1.0);
        if (value > limit + 1.0) return Fail("the file ends inside a list (truncated data or a wrong count)", e, record);
        count = static_cast<int64_t>(value);
        return true;
    }

    std::string EndOrJunk() const { return mBody.LastFailure(); }

    bool ReadElement(const PlyElement& e, PlyContents& out) {
        const bool isVertex = e.name == "vertex";
        const bool isFace = mWantFaces && e.name == "face";
        const bool isGrid = !mWantFaces && e.name == "range_grid";
        std::vector<int> slots(e.properties.size(), SLOT_NONE);
        bool have[SLOT_COUNT] = {};
        double scale[SLOT_COUNT];
        for (double& s : scale) s = 1.0;
        for (size_t i = 0; i < e.properties.size(); ++i) {
            const PlyProperty& p = e.properties[i];
            if (isVertex && !p.isList) {
                int slot = VertexSlot(p.name);
                if (slot != SLOT_NONE && !have[slot]) {
                    slots[i] = slot;
                    have[slot] = true;
                    if (slot >= SLOT_R && slot <= SLOT_B && IsIntegerType(p.valueType))
                        scale[slot] = p.valueType == PlyType::UInt16 ? 1.0 / 65535.0 : 1.0 / 255.0;
                }
            } else if ((isFace || isGrid) && p.isList && (p.name == "vertex_indices" || p.name == "vertex_index")) {
                slots[i] = SLOT_LIST_INDICES;
            } else if (isFace && p.isList && p.name == "texcoord") {
                slots[i] = SLOT_LIST_TEXCOORD;
            }
        }
        if (isVertex) {
            if (!have[SLOT_X] || !have[SLOT_Y] || !have[SLOT_Z]) {
                mProblem = "the vertex element has no x, y and z";
                return false;
            }
            out.hasVertexElement = true;
        }
        if ((isFace || isGrid) && std::find(slots.begin(), slots.end(), int(SLOT_LIST_INDICES)) == slots.end()) {
            mProblem = "the " + e.name + " element has no vertex_indices list";
            return false;
        }
        const bool withNormals = isVertex && have[SLOT_NX] && have[SLOT_NY] && have[SLOT_NZ];
        const bool withColors = isVertex && have[SLOT_R] && have[SLOT_G] && have[SLOT_B];
        const bool withTex = isVertex && have[SLOT_U] && have[SLOT_V];
        // Reserve no more than the remaining bytes could hold.
        const size_t reserve = static_cast<size_t>(
            std::min<int64_t>(e.count, static_cast<int64_t>(mBody.Remaining() / (mBody.Binary() ? 4 : 2) + 1)));
        if (isVertex) {
            out.positions.reserve(reserve);
            if (withNormals) out.normals.reserve(reserve);
            if (withColors) out.colors.reserve(reserve);
            if (withTex) out.vertexTex.reserve(2 * reserve);
        } else if (isFace) {
            out.triangles.reserve(3 * reserve);
        } else if (isGrid) {
            out.gridPoints.reserve(reserve);
            out.hasGrid = true;
        }

        double values[SLOT_COUNT] = {};
        std::vector<double> indices, texcoord;
        for (int64_t r = 0; r < e.count; ++r) {
            indices.clear();
            texcoord.clear();
            for (size_t i = 0; i < e.properties.size(); ++i) {
                const PlyProperty& p = e.properties[i];
                if (!p.isList) {
                    double value;
                    if (!mBody.Read(p.valueType, value)) return Fail(EndOrJunk(), e, r);
                    if (slots[i] >= 0 && slots[i] < SLOT_COUNT) values[slots[i]] = value;
                    continue;
                }
                int64_t count = 0;
                if (!ReadCount(p, e, r, count)) return false;
                std::vector<double>* target = slots[i] == SLOT_LIST_INDICES  ? &indices
                                              : slots[i] == SLOT_LIST_TEXCOORD ? &texcoord
                                                                               : nullptr;
                for (int64_t k = 0; k < count; ++k) {
                    double value;
                    if (!mBody.Read(p.valueType, value)) return Fail(EndOrJunk(), e, r);
                    if (target) target->push_back(value);
                }
            }
            if (isVertex) {
                out.positions.emplace_back(values[SLOT_X], values[SLOT_Y], values[SLOT_Z]);
                if (withNormals) out.normals.emplace_back(values[SLOT_NX], values[SLOT_NY], values[SLOT_NZ]);
                if (withColors)
                    out.colors.emplace_back(values[SLOT_R] * scale[SLOT_R], values[SLOT_G] * scale[SLOT_G],
                                            values[SLOT_B] * scale[SLOT_B]);
                if (withTex) {
                    out.vertexTex.push_back(values[SLOT_U]);
                    out.vertexTex.push_back(values[SLOT_V]);
                }
            } else if (isFace) {
                if (!AddFace(indices, texcoord, out)) return Fail(mProblem, e, r);
            } else if (isGrid) {
                // A cell lists its point, or nothing when the scanner saw nothing there.
                int id = -1;
                if (!indices.empty() && !ToVertexId(indices[0], id)) return Fail(mProblem, e, r);
                out.gridPoints.push_back(id);
            }
        }
        return true;
    }

    bool ToVertexId(double value, int& id) {
        if (!(value >= 0.0) || value != std::floor(value) || value >= static_cast<double>(mDeclaredVertices)) {
            char text[32];
            std::snprintf(text, sizeof(text), "%.17g", value);
            mProblem = std::string("vertex index ") + text + " is not a vertex id (" +
                       std::to_string(mDeclaredVertices) + " vertices)";
            return false;
        }
        id = static_cast<int>(value);
        return true;
    }

    bool AddFace(const std::vector<double>& indices, const std::vector<double>& texcoord, PlyContents& out) {
        const size_t n = indices.size();
        if (n < 3) {
            mProblem = "a face has fewer than three corners";
            return false;
        }
        if (!texcoord.empty() && texcoord.size() != 2 * n) {
            mProblem = "a texcoord list does not hold two values per corner";
            return false;
        }
        mPolygon.resize(n);
        for (size_t k = 0; k < n; ++k)
            if (!ToVertexId(indices[k], mPolygon[k])) return false;
        out.anyFaceTex = out.anyFaceTex || !texcoord.empty();
        for (size_t k = 1; k + 1 < n; ++k) {
            const size_t corner[3] = {0, k, k + 1};
            for (size_t c : corner) {
                out.triangles.push_back(mPolygon[c]);
                out.cornerHasTex.push_back(texcoord.empty() ? 0 : 1);
                out.cornerTex.push_back(texcoord.empty() ? 0.0 : texcoord[2 * c]);
                out.cornerTex.push_back(texcoord.empty() ? 0.0 : texcoord[2 * c + 1]);
            }
        }
        return true;
    }

    const PlyHeader& mHeader;
    PlyBody mBody;
    bool mWantFaces;
    int64_t mDeclaredVertices = 0;
    std::vector<int> mPolygon;
    std::string mProblem;
};

int ReadContents(const char* data, size_t size, bool wantFaces, PlyContents& contents, PlyHeader& header,
                 std::string& error) {
    if (int status = ParseHeader(data, size, header, error); status != STATUS_SUCCESS) return status;
    PlyReader reader(data, size, header, wantFaces);
    if (int status = reader.Run(contents, error); status != STATUS_SUCCESS) return status;
    if (!contents.hasVertexElement) {
        error = "no vertex element";
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

// Per-corner texture coordinates to shared pairs: corners of one vertex with
// bit-identical (u, v) share a pair, so that seams stay where the file had them.
void ShareCornerPairs(const PlyContents& c, size_t vertexCount, MeshFileData& mesh) {
    std::vector<int> head(vertexCount, -1);
    std::vector<int> next;
    mesh.triangleTexIds.resize(c.triangles.size());
    for (size_t k = 0; k < c.triangles.size(); ++k) {
        if (!c.cornerHasTex[k]) {
            mesh.triangleTexIds[k] = -1;
            continue;
        }
        const double u = c.cornerTex[2 * k], v = c.cornerTex[2 * k + 1];
        const int vertex = c.triangles[k];
        int found = -1;
        for (int t = head[vertex]; t >= 0; t = next[t]) {
            if (std::memcmp(&mesh.texCoords[2 * t], &u, sizeof(double)) == 0 &&
                std::memcmp(&mesh.texCoords[2 * t + 1], &v, sizeof(double)) == 0) {
                found = t;
                break;
            }
        }
        if (found < 0) {
            found = static_cast<int>(next.size());
            mesh.texCoords.push_back(u);
            mesh.texCoords.push_back(v);
            next.push_back(head[vertex]);
            head[vertex] = found;
        }
        mesh.triangleTexIds[k] = found;
    }
}

// Writes values in the file's encoding; ASCII records end with EndRecord().
class PlyWriter {
public:
    PlyWriter(std::string& out, PlyEncoding encoding) : mOut(out), mEncoding(encoding) {
        const uint16_t probe = 1;
        uint8_t first;
        std::memcpy(&first, &probe, 1);
        mSwap = (encoding == PLY_BINARY_BIG_ENDIAN) == (first == 1);
    }

    template <typename T>
    void Put(T value) {
        if (mEncoding == PLY_ASCII) {
            if (!mAtRecordStart) mOut += ' ';
            mAtRecordStart = false;
            if constexpr (std::is_floating_point_v<T>) _AppendReal(mOut, value);
            else _AppendInteger(mOut, static_cast<int64_t>(value));
            return;
        }
        char bytes[sizeof(T)];
        std::memcpy(bytes, &value, sizeof(T));
        if (mSwap) {
            for (size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
        }
        mOut.append(bytes, sizeof(T));
    }

    void EndRecord() {
        if (mEncoding == PLY_ASCII) mOut += '\n';
        mAtRecordStart = true;
    }

private:
    std::string& mOut;
    PlyEncoding mEncoding;
    bool mSwap = false;
    bool mAtRecordStart = true;
};

const char* EncodingName(PlyEncoding encoding) {
    switch (encoding) {
        case PLY_ASCII: return "ascii";
        case PLY_BINARY_BIG_ENDIAN: return "binary_big_endian";
        default: return "binary_little_endian";
    }
}

// Float properties hold what a float can: larger values are clamped.
float ToFloat(double value) {
    const double largest = std::numeric_limits<float>::max();
    return static_cast<float>(std::max(-largest, std::min(largest, value)));
}

void AppendVector(PlyWriter& writer, const Vector3& v) {
    writer.Put(v.x);
    writer.Put(v.y);
    writer.Put(v.z);
}

}  // namespace

int _ParsePlyMesh(const char* data, size_t size, MeshFileData& mesh, std::string& error) {
    mesh = MeshFileData();
    PlyHeader header;
    PlyContents c;
    if (ReadContents(data, size, true, c, header, error) != STATUS_SUCCESS) return STATUS_FAILED;
    const size_t vertexCount = c.positions.size();
    mesh.positions = std::move(c.positions);
    mesh.normals = std::move(c.normals);
    mesh.triangles = c.triangles;
    if (c.anyFaceTex) {
        ShareCornerPairs(c, vertexCount, mesh);
    } else if (!c.vertexTex.empty()) {
        mesh.texCoords = std::move(c.vertexTex);
        mesh.triangleTexIds = mesh.triangles;
    }
    int status = _ValidateMeshData(mesh, error);
    if (status != STATUS_SUCCESS) mesh = MeshFileData();
    return status;
}

int _ParsePlyCloud(const char* data, size_t size, CloudFileData& cloud, std::string& error) {
    cloud = CloudFileData();
    PlyHeader header;
    PlyContents c;
    if (ReadContents(data, size, false, c, header, error) != STATUS_SUCCESS) return STATUS_FAILED;
    cloud.positions = std::move(c.positions);
    cloud.normals = std::move(c.normals);
    cloud.colors = std::move(c.colors);
    if (c.hasGrid) {
        int64_t columns = -1, rows = -1;
        for (const std::string& info : header.objInfo) {
            std::vector<std::string> w = SplitWords(info.data(), info.data() + info.size());
            if (w.size() != 2) continue;
            int64_t value;
            auto result = std::from_chars(w[1].data(), w[1].data() + w[1].size(), value);
            if (result.ec != std::errc()) continue;
            if (w[0] == "num_cols") columns = value;
            if (w[0] == "num_rows") rows = value;
        }
        if (columns <= 0 || rows <= 0 || columns > INT_LARGE || rows > INT_LARGE ||
            columns * rows != static_cast<int64_t>(c.gridPoints.size())) {
            error = "the range grid does not match its num_cols x num_rows";
            cloud = CloudFileData();
            return STATUS_FAILED;
        }
        cloud.gridWidth = static_cast<int>(columns);
        cloud.gridHeight = static_cast<int>(rows);
        cloud.gridPoints = std::move(c.gridPoints);
    }
    int status = _ValidateCloudData(cloud, error);
    if (status != STATUS_SUCCESS) cloud = CloudFileData();
    return status;
}

void _FormatPlyMesh(const MeshFileData& mesh, PlyEncoding encoding, std::string& out) {
    const bool withNormals = !mesh.normals.empty() && mesh.normals.size() == mesh.positions.size();
    const bool withTex = !mesh.texCoords.empty() && mesh.triangleTexIds.size() == mesh.triangles.size();
    out += "ply\nformat ";
    out += EncodingName(encoding);
    out += " 1.0\ncomment written by QarnUVAtlas\nelement vertex ";
    _AppendInteger(out, static_cast<int64_t>(mesh.positions.size()));
    out += "\nproperty double x\nproperty double y\nproperty double z\n";
    if (withNormals) out += "property double nx\nproperty double ny\nproperty double nz\n";
    out += "element face ";
    _AppendInteger(out, static_cast<int64_t>(mesh.triangles.size() / 3));
    out += "\nproperty list uchar int vertex_indices\n";
    if (withTex) out += "property list uchar float texcoord\n";
    out += "end_header\n";
    out.reserve(out.size() + mesh.positions.size() * (withNormals ? 48 : 24) + mesh.triangles.size() * (withTex ? 13 : 5));

    PlyWriter writer(out, encoding);
    for (size_t i = 0; i < mesh.positions.size(); ++i) {
        AppendVector(writer, mesh.positions[i]);
        if (withNormals) AppendVector(writer, mesh.normals[i]);
        writer.EndRecord();
    }
    for (size_t c = 0; c + 2 < mesh.triangles.size(); c += 3) {
        writer.Put(static_cast<uint8_t>(3));
        for (size_t k = c; k < c + 3; ++k) writer.Put(static_cast<int32_t>(mesh.triangles[k]));
        if (withTex) {
            // A corner without a pair cannot be listed alone: the face then has none.
            const bool all = mesh.triangleTexIds[c] >= 0 && mesh.triangleTexIds[c + 1] >= 0 &&
                             mesh.triangleTexIds[c + 2] >= 0;
            writer.Put(static_cast<uint8_t>(all ? 6 : 0));
            for (size_t k = c; all && k < c + 3; ++k) {
                const size_t t = static_cast<size_t>(mesh.triangleTexIds[k]);
                writer.Put(ToFloat(mesh.texCoords[2 * t]));
                writer.Put(ToFloat(mesh.texCoords[2 * t + 1]));
            }
        }
        writer.EndRecord();
    }
}

void _FormatPlyCloud(const CloudFileData& cloud, PlyEncoding encoding, std::string& out) {
    const size_t n = cloud.positions.size();
    const bool withNormals = cloud.normals.size() == n && n > 0;
    const bool withColors = cloud.colors.size() == n && n > 0;
    const size_t cells = static_cast<size_t>(cloud.gridWidth) * static_cast<size_t>(cloud.gridHeight);
    const bool withGrid = cells > 0 && cloud.gridPoints.size() == cells;
    out += "ply\nformat ";
    out += EncodingName(encoding);
    out += " 1.0\ncomment written by QarnUVAtlas\n";
    if (withGrid) {
        out += "obj_info num_cols ";
        _AppendInteger(out, cloud.gridWidth);
        out += "\nobj_info num_rows ";
        _AppendInteger(out, cloud.gridHeight);
        out += '\n';
    }
    out += "element vertex ";
    _AppendInteger(out, static_cast<int64_t>(n));
    out += "\nproperty double x\nproperty double y\nproperty double z\n";
    if (withNormals) out += "property double nx\nproperty double ny\nproperty double nz\n";
    if (withColors) out += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    if (withGrid) {
        out += "element range_grid ";
        _AppendInteger(out, static_cast<int64_t>(cells));
        out += "\nproperty list uchar int vertex_indices\n";
    }
    out += "end_header\n";

    PlyWriter writer(out, encoding);
    for (size_t i = 0; i < n; ++i) {
        AppendVector(writer, cloud.positions[i]);
        if (withNormals) AppendVector(writer, cloud.normals[i]);
        if (withColors) {
            for (int k = 0; k < 3; ++k) {
                const double c = std::min(1.0, std::max(0.0, cloud.colors[i][k]));
                writer.Put(static_cast<uint8_t>(std::lround(c * 255.0)));
            }
        }
        writer.EndRecord();
    }
    for (size_t i = 0; withGrid && i < cells; ++i) {
        if (cloud.gridPoints[i] < 0) {
            writer.Put(static_cast<uint8_t>(0));
        } else {
            writer.Put(static_cast<uint8_t>(1));
            writer.Put(static_cast<int32_t>(cloud.gridPoints[i]));
        }
        writer.EndRecord();
    }
}

}  // namespace ORVO
