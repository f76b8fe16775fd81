// glTF 2.0 writing: the mesh becomes one primitive whose vertices are the
// distinct (position, texture pair) corners, since glTF keeps one texture
// coordinate per vertex; tinygltf writes the JSON or GLB container.
#include "io/FileData.h"

#include <QarnUVAtlas/Foundation.h>

#include <tiny_gltf.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <unordered_map>

namespace ORVO {
namespace {

// Appends `bytes` to the buffer as a view of its own, starting on a 4-byte
// boundary as accessors need. Returns the view's index.
int AddView(tinygltf::Model& model, const void* bytes, size_t length, int target) {
    std::vector<unsigned char>& buffer = model.buffers[0].data;
    buffer.resize((buffer.size() + 3) & ~static_cast<size_t>(3), 0);
    tinygltf::BufferView view;
    view.buffer = 0;
    view.byteOffset = buffer.size();
    view.byteLength = length;
    view.target = target;
    const unsigned char* begin = static_cast<const unsigned char*>(bytes);
    buffer.insert(buffer.end(), begin, begin + length);
    model.bufferViews.push_back(view);
    return static_cast<int>(model.bufferViews.size()) - 1;
}

int AddAccessor(tinygltf::Model& model, int view, int componentType, int type, size_t count) {
    tinygltf::Accessor accessor;
    accessor.bufferView = view;
    accessor.byteOffset = 0;
    accessor.componentType = componentType;
    accessor.type = type;
    accessor.count = count;
    model.accessors.push_back(accessor);
    return static_cast<int>(model.accessors.size()) - 1;
}

// Indices in the smallest type that holds them; the largest value of each
// type is left out, as glTF reserves it (primitive restart).
int AddIndices(tinygltf::Model& model, const std::vector<uint32_t>& indices, size_t vertexCount) {
    const size_t count = indices.size();
    if (vertexCount <= 0xFF) {
        std::vector<uint8_t> small(indices.begin(), indices.end());
        return AddAccessor(model, AddView(model, small.data(), count, TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER),
                           TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE, TINYGLTF_TYPE_SCALAR, count);
    }
    if (vertexCount <= 0xFFFF) {
        std::vector<uint16_t> small(indices.begin(), indices.end());
        return AddAccessor(model, AddView(model, small.data(), 2 * count, TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER),
                           TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT, TINYGLTF_TYPE_SCALAR, count);
    }
    return AddAccessor(model, AddView(model, indices.data(), 4 * count, TINYGLTF_TARGET_ELEMENT_ARRAY_BUFFER),
                       TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT, TINYGLTF_TYPE_SCALAR, count);
}

const char* ImageMimeType(const std::string& image) {
    if (image.size() >= 8 && image.compare(0, 8, "\x89PNG\r\n\x1a\n") == 0) return "image/png";
    if (image.size() >= 3 && image.compare(0, 3, "\xFF\xD8\xFF") == 0) return "image/jpeg";
    return nullptr;
}

// The image as the base-colour texture of the primitive's material: a
// matte surface showing the picture, clamped at the square's border.
int AddTexturedMaterial(tinygltf::Model& model, const std::string& image, const char* mimeType) {
    tinygltf::Image picture;
    picture.name = "atlas";
    picture.mimeType = mimeType;
    picture.bufferView = AddView(model, image.data(), image.size(), 0);
    model.images.push_back(picture);
    tinygltf::Sampler sampler;
    sampler.magFilter = TINYGLTF_TEXTURE_FILTER_LINEAR;
    sampler.minFilter = TINYGLTF_TEXTURE_FILTER_LINEAR_MIPMAP_LINEAR;
    sampler.wrapS = TINYGLTF_TEXTURE_WRAP_CLAMP_TO_EDGE;
    sampler.wrapT = TINYGLTF_TEXTURE_WRAP_CLAMP_TO_EDGE;
    model.samplers.push_back(sampler);
    tinygltf::Texture texture;
    texture.sampler = 0;
    texture.source = 0;
    model.textures.push_back(texture);
    tinygltf::Material material;
    material.name = "atlas";
    material.pbrMetallicRoughness.baseColorTexture.index = 0;
    material.pbrMetallicRoughness.metallicFactor = 0.0;
    material.pbrMetallicRoughness.roughnessFactor = 1.0;
    model.materials.push_back(material);
    return 0;
}

}  // namespace

int _FormatGltfMesh(const MeshFileData& mesh, const std::string& image, bool binary, std::string& out,
                    std::string& error) {
    const char* mimeType = nullptr;
    if (!image.empty() && (mimeType = ImageMimeType(image)) == nullptr) {
        error = "the texture image is neither PNG nor JPEG";
        return STATUS_INVALID_INPUT;
    }
    const bool textured = !mesh.triangleTexIds.empty();
    // One glTF vertex per distinct (position, texture pair) of the corners.
    std::unordered_map<uint64_t, uint32_t> vertexOf;
    std::vector<uint32_t> indices(mesh.triangles.size());
    std::vector<int> vertexPosition, vertexPair;
    vertexOf.reserve(mesh.positions.size() * 2);
    const uint64_t pairSlots = mesh.texCoords.size() / 2 + 1;
    for (size_t c = 0; c < mesh.triangles.size(); ++c) {
        const int position = mesh.triangles[c];
        const int pair = textured ? mesh.triangleTexIds[c] : -1;
        const uint64_t key = static_cast<uint64_t>(position) * pairSlots + static_cast<uint64_t>(pair + 1);
        auto found = vertexOf.emplace(key, static_cast<uint32_t>(vertexPosition.size()));
        if (found.second) {
            vertexPosition.push_back(position);
            vertexPair.push_back(pair);
        }
        indices[c] = found.first->second;
    }
    const size_t vertexCount = vertexPosition.size();
    if (vertexCount >= 0xFFFFFFFFull) {
        error = "too many vertices for glTF's 32-bit indices";
        return STATUS_INVALID_INPUT;
    }
    // Vertices in the order of their positions (a counting sort), so that a
    // reader joining the seams again gets the positions back in their order.
    {
        std::vector<uint32_t> start(mesh.positions.size() + 1, 0);
        for (int position : vertexPosition) ++start[static_cast<size_t>(position) + 1];
        for (size_t p = 0; p < mesh.positions.size(); ++p) start[p + 1] += start[p];
        std::vector<uint32_t> rank(vertexCount);
        std::vector<int> sortedPosition(vertexCount), sortedPair(vertexCount);
        for (size_t v = 0; v < vertexCount; ++v) {
            const uint32_t r = start[vertexPosition[v]]++;
            rank[v] = r;
            sortedPosition[r] = vertexPosition[v];
            sortedPair[r] = vertexPair[v];
        }
        for (uint32_t& index : indices) index = rank[index];
        vertexPosition.swap(sortedPosition);
        vertexPair.swap(sortedPair);
    }

    tinygltf::Model model;
    model.asset.version = "2.0";
    model.asset.generator = "QarnUVAtlas";
    model.buffers.resize(1);
    tinygltf::Primitive primitive;
    primitive.mode = TINYGLTF_MODE_TRIANGLES;
    primitive.indices = AddIndices(model, indices, vertexCount);

    // Positions as 32-bit floats, with the bounds glTF requires.
    std::vector<float> values(3 * vertexCount);
    std::vector<double> lo(3, 0.0), hi(3, 0.0);
    for (size_t v = 0; v < vertexCount; ++v) {
        const Vector3& p = mesh.positions[vertexPosition[v]];
        const float xyz[3] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
        for (int k = 0; k < 3; ++k) {
            values[3 * v + k] = xyz[k];
            lo[k] = v == 0 ? xyz[k] : std::min<double>(lo[k], xyz[k]);
            hi[k] = v == 0 ? xyz[k] : std::max<double>(hi[k], xyz[k]);
        }
    }
    int accessor = AddAccessor(model, AddView(model, values.data(), 4 * values.size(), TINYGLTF_TARGET_ARRAY_BUFFER),
                               TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC3, vertexCount);
    model.accessors[accessor].minValues = lo;
    model.accessors[accessor].maxValues = hi;
    primitive.attributes["POSITION"] = accessor;

    // Normals must have unit length in glTF: a set with a zero one is left out.
    bool normals = !mesh.normals.empty();
    for (size_t v = 0; normals && v < vertexCount; ++v) {
        const Vector3& n = mesh.normals[vertexPosition[v]];
        const double length = n.Length();
        if (!(length > 1e-12) || !std::isfinite(length)) {
            normals = false;
            break;
        }
        for (int k = 0; k < 3; ++k) values[3 * v + k] = static_cast<float>((k == 0 ? n.x : k == 1 ? n.y : n.z) / length);
    }
    if (normals)
        primitive.attributes["NORMAL"] =
            AddAccessor(model, AddView(model, values.data(), 4 * values.size(), TINYGLTF_TARGET_ARRAY_BUFFER),
                        TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC3, vertexCount);

    if (textured) {
        // glTF's texture origin is the top left corner; a corner without a pair gets (0, 0).
        values.assign(2 * vertexCount, 0.0f);
        for (size_t v = 0; v < vertexCount; ++v) {
            const int pair = vertexPair[v];
            values[2 * v] = pair < 0 ? 0.0f : static_cast<float>(mesh.texCoords[2 * pair]);
            values[2 * v + 1] = pair < 0 ? 1.0f : static_cast<float>(1.0 - mesh.texCoords[2 * pair + 1]);
        }
        primitive.attributes["TEXCOORD_0"] =
            AddAccessor(model, AddView(model, values.data(), 4 * values.size(), TINYGLTF_TARGET_ARRAY_BUFFER),
                        TINYGLTF_COMPONENT_TYPE_FLOAT, TINYGLTF_TYPE_VEC2, vertexCount);
    }
    if (mimeType != nullptr) primitive.material = AddTexturedMaterial(model, image, mimeType);
    if (model.buffers[0].data.size() >= 0xFFFFFF00ull) {
        error = "more data than a glTF buffer can hold (4 GiB)";
        return STATUS_INVALID_INPUT;
    }

    tinygltf::Mesh gltfMesh;
    gltfMesh.name = "mesh";
    gltfMesh.primitives.push_back(primitive);
    model.meshes.push_back(gltfMesh);
    tinygltf::Node node;
    node.name = "mesh";
    node.mesh = 0;
    model.nodes.push_back(node);
    tinygltf::Scene scene;
    scene.nodes.push_back(0);
    model.scenes.push_back(scene);
    model.defaultScene = 0;

    std::ostringstream stream;
    tinygltf::TinyGLTF writer;
    if (!writer.WriteGltfSceneToStream(&model, stream, !binary, binary) || !stream) {
        error = "the glTF writer failed";
        return STATUS_FAILED;
    }
    out = stream.str();
    return STATUS_SUCCESS;
}

}  // namespace ORVO
