// glTF 2.0 reading: tinygltf parses the JSON or GLB container and resolves
// the buffers; the scene graph, the accessors and the mesh are taken apart
// here, with every offset checked against the buffer it points into, since
// tinygltf leaves that to its caller.
#include "io/FileData.h"

#include "io/FileBytes.h"
#include "io/VertexWelder.h"

#include <QarnUVAtlas/Foundation.h>

#include <tiny_gltf.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sys/stat.h>

namespace ORVO {
namespace {

using Matrix4 = std::array<double, 16>;  // column-major, as glTF stores it

// File access for tinygltf, which loads the buffers and images a .gltf file
// names. Relative names are resolved against the file's folder; with no
// folder (parsing bytes from memory) no file is read at all.
bool FileExists(const std::string& path, void* baseDir) {
    struct stat info;
    return !static_cast<const std::string*>(baseDir)->empty() && ::stat(path.c_str(), &info) == 0 &&
           S_ISREG(info.st_mode);
}

std::string ExpandFilePath(const std::string& path, void*) { return path; }

bool ReadWholeFile(std::vector<unsigned char>* out, std::string* err, const std::string& path, void* baseDir) {
    std::string bytes, problem;
    if (static_cast<const std::string*>(baseDir)->empty()) problem = "external files are not read from memory";
    else if (_ReadFileBytes(path, bytes, problem) == STATUS_SUCCESS) {
        out->assign(bytes.begin(), bytes.end());
        return true;
    }
    if (err) *err += path + ": " + problem + "\n";
    return false;
}

bool WriteWholeFile(std::string* err, const std::string&, const std::vector<unsigned char>&, void*) {
    if (err) *err += "the reader writes no file\n";
    return false;
}

// Images are not decoded: only the geometry is read.
bool SkipImage(tinygltf::Image*, const int, std::string*, std::string*, int, int, const unsigned char*, int, void*) {
    return true;
}

// Parses the container: GLB when the bytes start with its magic, whatever the
// file is called, JSON otherwise. Returns "" or the problem.
std::string LoadModel(const char* data, size_t size, const std::string& baseDir, tinygltf::Model& model) {
    if (size > std::numeric_limits<unsigned int>::max()) return "larger than a glTF file can be (4 GiB)";
    tinygltf::TinyGLTF loader;
    loader.SetImageLoader(SkipImage, nullptr);
    loader.SetFsCallbacks({FileExists, ExpandFilePath, ReadWholeFile, WriteWholeFile, const_cast<std::string*>(&baseDir)});
    std::string err, warn;
    const bool binary = size >= 4 && std::memcmp(data, "glTF", 4) == 0;
    const bool ok = binary ? loader.LoadBinaryFromMemory(&model, &err, &warn, reinterpret_cast<const unsigned char*>(data),
                                                         static_cast<unsigned int>(size), baseDir)
                           : loader.LoadASCIIFromString(&model, &err, &warn, data, static_cast<unsigned int>(size), baseDir);
    if (ok) return std::string();
    // tinygltf's messages end with a line break and may hold several lines: the first one names the cause.
    std::string first = err.substr(0, err.find('\n'));
    return std::string(binary ? "not a valid GLB file" : "not a valid glTF file") + (first.empty() ? "" : ": " + first);
}

// More elements than this in one accessor cannot become a mesh the library
// indexes with int, so such a file is refused before anything is allocated.
constexpr size_t kMaxAccessorElements = static_cast<size_t>(1) << 31;

Matrix4 Identity() { return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}; }

Matrix4 Multiply(const Matrix4& a, const Matrix4& b) {
    Matrix4 m{};
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            for (int k = 0; k < 4; ++k) m[4 * c + r] += a[4 * k + r] * b[4 * c + k];
    return m;
}

// A node's local transform: its matrix, or translation * rotation * scale.
std::string NodeMatrix(const tinygltf::Node& node, Matrix4& m) {
    if (!node.matrix.empty()) {
        if (node.matrix.size() != 16) return "a matrix that does not hold 16 numbers";
        std::copy(node.matrix.begin(), node.matrix.end(), m.begin());
        return std::string();
    }
    if ((!node.translation.empty() && node.translation.size() != 3) ||
        (!node.rotation.empty() && node.rotation.size() != 4) || (!node.scale.empty() && node.scale.size() != 3))
        return "a translation, rotation or scale with the wrong number of values";
    const double t[3] = {node.translation.empty() ? 0.0 : node.translation[0],
                         node.translation.empty() ? 0.0 : node.translation[1],
                         node.translation.empty() ? 0.0 : node.translation[2]};
    const double s[3] = {node.scale.empty() ? 1.0 : node.scale[0], node.scale.empty() ? 1.0 : node.scale[1],
                         node.scale.empty() ? 1.0 : node.scale[2]};
    double x = 0, y = 0, z = 0, w = 1;
    if (!node.rotation.empty()) {
        x = node.rotation[0], y = node.rotation[1], z = node.rotation[2], w = node.rotation[3];
        const double length = std::sqrt(x * x + y * y + z * z + w * w);
        if (!(length > 0.0)) return "a rotation that is not a unit quaternion";
        x /= length, y /= length, z /= length, w /= length;
    }
    const double r[9] = {1 - 2 * (y * y + z * z), 2 * (x * y + z * w),     2 * (x * z - y * w),
                         2 * (x * y - z * w),     1 - 2 * (x * x + z * z), 2 * (y * z + x * w),
                         2 * (x * z + y * w),     2 * (y * z - x * w),     1 - 2 * (x * x + y * y)};
    m = Identity();
    for (int c = 0; c < 3; ++c)
        for (int row = 0; row < 3; ++row) m[4 * c + row] = r[3 * c + row] * s[c];
    for (int row = 0; row < 3; ++row) m[12 + row] = t[row];
    return std::string();
}

struct Instance {
    int mesh = -1;
    Matrix4 world = Identity();
};

// The meshes the scene places, each with its world transform. The default
// scene (or the first) is walked; without scenes, every node that is no
// other's child is a root; a file whose nodes place no mesh has each mesh
// read once as it is.
std::string CollectInstances(const tinygltf::Model& model, std::vector<Instance>& instances) {
    const int nodeCount = static_cast<int>(model.nodes.size());
    std::vector<int> parent(model.nodes.size(), -1);
    for (int n = 0; n < nodeCount; ++n) {
        for (int child : model.nodes[n].children) {
            if (child < 0 || child >= nodeCount) return "node " + std::to_string(n) + " has a child that does not exist";
            if (parent[child] >= 0 || child == n) return "node " + std::to_string(child) + " has more than one parent";
            parent[child] = n;
        }
    }
    std::vector<int> roots;
    const int sceneCount = static_cast<int>(model.scenes.size());
    if (sceneCount > 0) {
        const int scene = model.defaultScene >= 0 && model.defaultScene < sceneCount ? model.defaultScene : 0;
        roots = model.scenes[scene].nodes;
    } else {
        for (int n = 0; n < nodeCount; ++n)
            if (parent[n] < 0) roots.push_back(n);
    }
    // Depth first; a node is entered once, so a cycle cannot loop.
    std::vector<char> entered(model.nodes.size(), 0);
    std::vector<std::pair<int, Matrix4>> stack;
    for (auto it = roots.rbegin(); it != roots.rend(); ++it) stack.emplace_back(*it, Identity());
    while (!stack.empty()) {
        const auto [n, parentWorld] = stack.back();
        stack.pop_back();
        if (n < 0 || n >= nodeCount) return "a scene refers to node " + std::to_string(n) + ", which does not exist";
        if (entered[n]) return "node " + std::to_string(n) + " is reached twice (a cycle or a shared child)";
        entered[n] = 1;
        const tinygltf::Node& node = model.nodes[n];
        Matrix4 local = Identity();
        if (std::string problem = NodeMatrix(node, local); !problem.empty())
            return "node " + std::to_string(n) + " has " + problem;
        const Matrix4 world = Multiply(parentWorld, local);
        if (node.mesh >= 0) {
            if (node.mesh >= static_cast<int>(model.meshes.size()))
                return "node " + std::to_string(n) + " refers to mesh " + std::to_string(node.mesh) + ", which does not exist";
            instances.push_back({node.mesh, world});
        }
        for (auto it = node.children.rbegin(); it != node.children.rend(); ++it) stack.emplace_back(*it, world);
    }
    if (instances.empty())
        for (size_t m = 0; m < model.meshes.size(); ++m) instances.push_back({static_cast<int>(m), Identity()});
    return std::string();
}

int ComponentSize(int type) {
    switch (type) {
        case TINYGLTF_COMPONENT_TYPE_BYTE:
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE: return 1;
        case TINYGLTF_COMPONENT_TYPE_SHORT:
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT: return 2;
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
        case TINYGLTF_COMPONENT_TYPE_FLOAT: return 4;
        default: return 0;
    }
}

// One component at `p` (glTF data is little endian, as are the hosts this
// library is built for); integers are mapped to [0, 1] or [-1, 1] when the
// accessor is normalised.
double ComponentValue(const unsigned char* p, int type, bool normalized) {
    switch (type) {
        case TINYGLTF_COMPONENT_TYPE_BYTE: {
            int8_t v;
            std::memcpy(&v, p, 1);
            return normalized ? std::max(v / 127.0, -1.0) : v;
        }
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE: return normalized ? p[0] / 255.0 : p[0];
        case TINYGLTF_COMPONENT_TYPE_SHORT: {
            int16_t v;
            std::memcpy(&v, p, 2);
            return normalized ? std::max(v / 32767.0, -1.0) : v;
        }
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT: {
            uint16_t v;
            std::memcpy(&v, p, 2);
            return normalized ? v / 65535.0 : v;
        }
        case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT: {
            uint32_t v;
            std::memcpy(&v, p, 4);
            return normalized ? v / 4294967295.0 : v;
        }
        default: {
            float v;
            std::memcpy(&v, p, 4);
            return v;
        }
    }
}

// The bytes of a buffer view, checked against its buffer.
std::string ViewBytes(const tinygltf::Model& model, int view, const unsigned char*& data, size_t& length) {
    if (view < 0 || view >= static_cast<int>(model.bufferViews.size()))
        return "buffer view " + std::to_string(view) + " does not exist";
    const tinygltf::BufferView& bv = model.bufferViews[view];
    if (bv.buffer < 0 || bv.buffer >= static_cast<int>(model.buffers.size()))
        return "buffer view " + std::to_string(view) + " refers to a buffer that does not exist";
    const std::vector<unsigned char>& buffer = model.buffers[bv.buffer].data;
    if (bv.byteOffset > buffer.size() || bv.byteLength > buffer.size() - bv.byteOffset)
        return "buffer view " + std::to_string(view) + " reaches past the end of its buffer";
    data = buffer.data() + bv.byteOffset;
    length = bv.byteLength;
    return std::string();
}

// Whether `count` elements of `elementSize` bytes, `stride` apart from
// `offset`, fit into `length` bytes.
bool Fits(size_t offset, size_t count, size_t stride, size_t elementSize, size_t length) {
    if (count == 0) return offset <= length;
    if (offset > length || length - offset < elementSize) return false;
    return (count - 1) <= (length - offset - elementSize) / stride;
}

// Reads accessor `index`, `components` values per element, into `values`
// (cast to T). Integer-only callers (indices) pass integerOnly.
template <typename T>
std::string ReadAccessor(const tinygltf::Model& model, int index, int components, bool integerOnly,
                         std::vector<T>& values) {
    const std::string name = "accessor " + std::to_string(index);
    if (index < 0 || index >= static_cast<int>(model.accessors.size())) return name + " does not exist";
    const tinygltf::Accessor& a = model.accessors[index];
    if (tinygltf::GetNumComponentsInType(static_cast<uint32_t>(a.type)) != components)
        return name + " has " + std::to_string(tinygltf::GetNumComponentsInType(static_cast<uint32_t>(a.type))) +
               " components per element where " + std::to_string(components) + " are needed";
    const int componentSize = ComponentSize(a.componentType);
    if (componentSize == 0 || (integerOnly && (a.componentType == TINYGLTF_COMPONENT_TYPE_FLOAT ||
                                               a.componentType == TINYGLTF_COMPONENT_TYPE_BYTE ||
                                               a.componentType == TINYGLTF_COMPONENT_TYPE_SHORT)))
        return name + " has an unsupported component type " + std::to_string(a.componentType);
    if (a.count > kMaxAccessorElements) return name + " has too many elements";
    const size_t elementSize = static_cast<size_t>(components) * componentSize;
    values.assign(a.count * components, T());
    if (a.bufferView >= 0) {
        const unsigned char* data = nullptr;
        size_t length = 0;
        if (std::string problem = ViewBytes(model, a.bufferView, data, length); !problem.empty())
            return name + ": " + problem;
        const size_t stride = model.bufferViews[a.bufferView].byteStride ? model.bufferViews[a.bufferView].byteStride
                                                                          : elementSize;
        if (stride < elementSize) return name + " has a byte stride smaller than its element";
        if (!Fits(a.byteOffset, a.count, stride, elementSize, length)) return name + " reaches past the end of its buffer view";
        for (size_t e = 0; e < a.count; ++e) {
            const unsigned char* p = data + a.byteOffset + e * stride;
            for (int c = 0; c < components; ++c)
                values[e * components + c] = static_cast<T>(ComponentValue(p + c * componentSize, a.componentType, a.normalized));
        }
    }
    if (a.sparse.isSparse) {
        // A few replaced elements: indices and values in views of their own.
        const size_t count = static_cast<size_t>(std::max(a.sparse.count, 0));
        const int indexType = a.sparse.indices.componentType;
        const int indexSize = ComponentSize(indexType);
        if (a.sparse.count < 0 || count > a.count || indexSize == 0 || indexType == TINYGLTF_COMPONENT_TYPE_FLOAT ||
            indexType == TINYGLTF_COMPONENT_TYPE_BYTE || indexType == TINYGLTF_COMPONENT_TYPE_SHORT ||
            a.sparse.indices.byteOffset < 0 || a.sparse.values.byteOffset < 0)
            return name + " has a malformed sparse part";
        const unsigned char *indexData = nullptr, *valueData = nullptr;
        size_t indexLength = 0, valueLength = 0;
        if (std::string problem = ViewBytes(model, a.sparse.indices.bufferView, indexData, indexLength); !problem.empty())
            return name + " (sparse indices): " + problem;
        if (std::string problem = ViewBytes(model, a.sparse.values.bufferView, valueData, valueLength); !problem.empty())
            return name + " (sparse values): " + problem;
        if (!Fits(a.sparse.indices.byteOffset, count, indexSize, indexSize, indexLength) ||
            !Fits(a.sparse.values.byteOffset, count, elementSize, elementSize, valueLength))
            return name + " has a sparse part that reaches past its buffer view";
        for (size_t s = 0; s < count; ++s) {
            const size_t e = static_cast<size_t>(
                ComponentValue(indexData + a.sparse.indices.byteOffset + s * indexSize, indexType, false));
            if (e >= a.count) return name + " has a sparse index out of range";
            const unsigned char* p = valueData + a.sparse.values.byteOffset + s * elementSize;
            for (int c = 0; c < components; ++c)
                values[e * components + c] = static_cast<T>(ComponentValue(p + c * componentSize, a.componentType, a.normalized));
        }
    }
    return std::string();
}

// Collects the primitives into one mesh. glTF splits a vertex wherever a
// texture coordinate or normal changes, so corners at the same position are
// joined again here: the atlas needs the surface's real connectivity.
class MeshBuilder {
public:
    explicit MeshBuilder(MeshFileData& mesh) : mMesh(mesh) {}

    std::string Add(const tinygltf::Model& model, const tinygltf::Primitive& primitive, const Matrix4& world,
                    const std::string& where) {
        const int mode = primitive.mode < 0 ? TINYGLTF_MODE_TRIANGLES : primitive.mode;
        if (mode != TINYGLTF_MODE_TRIANGLES && mode != TINYGLTF_MODE_TRIANGLE_STRIP && mode != TINYGLTF_MODE_TRIANGLE_FAN)
            return where + " has mode " + std::to_string(mode) + " (" + ModeName(mode) +
                   "): only triangles, triangle strips and triangle fans can be read";
        const auto position = primitive.attributes.find("POSITION");
        if (position == primitive.attributes.end()) return where + " has no POSITION attribute";
        std::vector<double> points, normals, uv;
        std::string problem = ReadAccessor(model, position->second, 3, false, points);
        const auto normal = primitive.attributes.find("NORMAL");
        if (problem.empty() && normal != primitive.attributes.end())
            problem = ReadAccessor(model, normal->second, 3, false, normals);
        const auto texcoord = primitive.attributes.find("TEXCOORD_0");
        if (problem.empty() && texcoord != primitive.attributes.end())
            problem = ReadAccessor(model, texcoord->second, 2, false, uv);
        if (!problem.empty()) return where + ": " + problem;
        const size_t count = points.size() / 3;
        if ((!normals.empty() && normals.size() != 3 * count) || (!uv.empty() && uv.size() != 2 * count))
            return where + " has attributes of different lengths";
        if (normal == primitive.attributes.end()) mNormalsComplete = false;

        std::vector<uint32_t> indices;
        if (primitive.indices >= 0) {
            if (std::string p = ReadAccessor(model, primitive.indices, 1, true, indices); !p.empty()) return where + ": " + p;
            for (uint32_t i : indices)
                if (i >= count) return where + " has index " + std::to_string(i) + " of " + std::to_string(count) + " vertices";
        } else {
            indices.resize(count);
            for (size_t i = 0; i < count; ++i) indices[i] = static_cast<uint32_t>(i);
        }

        // World positions, welded; normals by the inverse transpose (cofactors
        // times the determinant's sign).
        const Matrix4& m = world;
        const double det = m[0] * (m[5] * m[10] - m[9] * m[6]) - m[4] * (m[1] * m[10] - m[9] * m[2]) +
                           m[8] * (m[1] * m[6] - m[5] * m[2]);
        // Rows of the cofactor matrix, once per primitive.
        const double c00 = m[5] * m[10] - m[6] * m[9], c01 = m[2] * m[9] - m[1] * m[10], c02 = m[1] * m[6] - m[2] * m[5];
        const double c10 = m[6] * m[8] - m[4] * m[10], c11 = m[0] * m[10] - m[2] * m[8], c12 = m[2] * m[4] - m[0] * m[6];
        const double c20 = m[4] * m[9] - m[5] * m[8], c21 = m[1] * m[8] - m[0] * m[9], c22 = m[0] * m[5] - m[1] * m[4];
        const double sign = det < 0.0 ? -1.0 : 1.0;
        std::vector<int> vertexOf(count);
        for (size_t v = 0; v < count; ++v) {
            const double* p = &points[3 * v];
            const Vector3 world3(m[0] * p[0] + m[4] * p[1] + m[8] * p[2] + m[12],
                                 m[1] * p[0] + m[5] * p[1] + m[9] * p[2] + m[13],
                                 m[2] * p[0] + m[6] * p[1] + m[10] * p[2] + m[14]);
            Vector3 n;
            if (!normals.empty()) {
                const double* q = &normals[3 * v];
                n = Vector3(c00 * q[0] + c01 * q[1] + c02 * q[2], c10 * q[0] + c11 * q[1] + c12 * q[2],
                            c20 * q[0] + c21 * q[1] + c22 * q[2]) *
                    sign;
                const double length = n.Length();
                if (length > 0.0 && std::isfinite(length)) n = n * (1.0 / length);
            }
            vertexOf[v] = Weld(world3, n);
            if (vertexOf[v] < 0) return where + ": more vertices than a mesh can index";
        }
        int uvBase = -1;
        if (!uv.empty()) {
            mHasTexCoords = true;
            uvBase = static_cast<int>(mMesh.texCoords.size() / 2);
            if (mMesh.texCoords.size() / 2 + count > static_cast<size_t>(INT_LARGE)) return where + ": too many texture coordinates";
            // glTF puts the texture origin at the top left, this library at the bottom left.
            for (size_t v = 0; v < count; ++v) {
                mMesh.texCoords.push_back(uv[2 * v]);
                mMesh.texCoords.push_back(1.0 - uv[2 * v + 1]);
            }
        }

        const bool mirrored = det < 0.0;
        auto addTriangle = [&](uint32_t a, uint32_t b, uint32_t c) {
            if (mirrored) std::swap(b, c);  // a mirroring transform turns the winding
            for (uint32_t corner : {a, b, c}) {
                mMesh.triangles.push_back(vertexOf[corner]);
                mTexIds.push_back(uvBase < 0 ? -1 : uvBase + static_cast<int>(corner));
            }
        };
        if (mode == TINYGLTF_MODE_TRIANGLES) {
            if (indices.size() % 3 != 0) return where + " has an index count that is not a multiple of 3";
            for (size_t i = 0; i + 2 < indices.size(); i += 3) addTriangle(indices[i], indices[i + 1], indices[i + 2]);
        } else if (mode == TINYGLTF_MODE_TRIANGLE_STRIP) {
            // Every other triangle of a strip is turned so that all face the same way;
            // repeated indices (strip restarts) make no face.
            for (size_t i = 0; i + 2 < indices.size(); ++i) {
                const uint32_t a = indices[i], b = indices[i + 1 + i % 2], c = indices[i + 2 - i % 2];
                if (a != b && b != c && a != c) addTriangle(a, b, c);
            }
        } else {
            for (size_t i = 1; i + 1 < indices.size(); ++i) addTriangle(indices[i], indices[i + 1], indices[0]);
        }
        if (mMesh.triangles.size() / 3 > static_cast<size_t>(INT_LARGE)) return where + ": more faces than a mesh can index";
        return std::string();
    }

    // Keeps normals only when every vertex has one, texture ids only when
    // some primitive has coordinates.
    void Finish() {
        if (!mNormalsComplete) mMesh.normals.clear();
        if (mHasTexCoords) mMesh.triangleTexIds.swap(mTexIds);
        else mMesh.texCoords.clear();
    }

private:
    static const char* ModeName(int mode) {
        switch (mode) {
            case TINYGLTF_MODE_POINTS: return "points";
            case TINYGLTF_MODE_LINE: return "lines";
            case TINYGLTF_MODE_LINE_LOOP: return "line loop";
            case TINYGLTF_MODE_LINE_STRIP: return "line strip";
            default: return "unknown";
        }
    }

    // Welds `p`; a new vertex takes `normal`. Returns its id, or -1 when the
    // mesh cannot index another vertex.
    int Weld(const Vector3& p, const Vector3& normal) {
        const size_t before = mMesh.positions.size();
        const int id = mWeld.Add(p, mMesh.positions);
        if (mMesh.positions.size() != before) {
            if (before >= static_cast<size_t>(INT_LARGE)) return -1;
            mMesh.normals.push_back(normal);
        }
        return id;
    }

    MeshFileData& mMesh;
    VertexWelder mWeld{0};
    std::vector<int> mTexIds;
    bool mNormalsComplete = true;
    bool mHasTexCoords = false;
};

// Extensions a file may require without changing its geometry (materials,
// textures, lights), and quantised attributes, which the accessor reader
// handles. Anything else (compressed geometry above all) is refused.
bool ExtensionSupported(const std::string& name) {
    return name == "KHR_mesh_quantization" || name == "KHR_lights_punctual" || name.rfind("KHR_materials_", 0) == 0 ||
           name.rfind("KHR_texture_", 0) == 0 || name.rfind("EXT_texture_", 0) == 0;
}

}  // namespace

int _ParseGltfMesh(const char* data, size_t size, const std::string& baseDir, MeshFileData& mesh, std::string& error) {
    mesh = MeshFileData();
    tinygltf::Model model;
    if (std::string problem = LoadModel(data, size, baseDir, model); !problem.empty()) {
        error = problem;
        return STATUS_FAILED;
    }
    for (const std::string& name : model.extensionsRequired) {
        if (!ExtensionSupported(name)) {
            error = "needs the glTF extension " + name + ", which this reader does not support";
            return STATUS_FAILED;
        }
    }
    std::vector<Instance> instances;
    std::string problem = CollectInstances(model, instances);
    MeshBuilder builder(mesh);
    for (size_t i = 0; problem.empty() && i < instances.size(); ++i) {
        const tinygltf::Mesh& source = model.meshes[instances[i].mesh];
        for (size_t p = 0; problem.empty() && p < source.primitives.size(); ++p)
            problem = builder.Add(model, source.primitives[p], instances[i].world,
                                  "mesh " + std::to_string(instances[i].mesh) + " primitive " + std::to_string(p));
    }
    if (problem.empty()) {
        builder.Finish();
        if (mesh.triangles.empty()) problem = "no triangles in any mesh of the scene";
    }
    if (problem.empty() && _ValidateMeshData(mesh, problem) == STATUS_SUCCESS) return STATUS_SUCCESS;
    mesh = MeshFileData();
    error = problem;
    return STATUS_FAILED;
}

}  // namespace ORVO
