// glTF 2.0 files: round trips through .glb and .gltf, what the writer puts
// into the container (seen through tinygltf, an independent reader), scenes
// from another writer with node transforms and every triangle mode, and
// clean failures on files the reader cannot take.
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "TestFiles.h"
#include "TestMeshes.h"
#include "io/FileData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#ifdef QARN_HAVE_GLTF
#include <tiny_gltf.h>
#endif

namespace {

using ORVO::Parser;
using ORVO::TriMesh;
using ORVO::Vector3;
using testfiles::ScratchDir;

#ifndef QARN_HAVE_GLTF

TEST(Gltf, RefusedByNameWhenNotBuilt) {
    ScratchDir dir;
    TriMesh mesh = testmesh::Icosphere(1);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "a.glb", &mesh), -2);
    EXPECT_NE(Parser::GetLastError().find("glTF support is not built"), std::string::npos);
}

#else

// Reads what tinygltf makes of a file, without decoding images.
bool LoadWithTinygltf(const std::string& path, tinygltf::Model& model) {
    tinygltf::TinyGLTF loader;
    loader.SetImageLoader(
        [](tinygltf::Image*, const int, std::string*, std::string*, int, int, const unsigned char*, int, void*) {
            return true;
        },
        nullptr);
    std::string err, warn;
    const bool binary = path.size() > 4 && path.compare(path.size() - 4, 4, ".glb") == 0;
    return binary ? loader.LoadBinaryFromFile(&model, &err, &warn, path) : loader.LoadASCIIFromFile(&model, &err, &warn, path);
}

// The bytes behind an accessor, tightly packed as the writer keeps them.
const unsigned char* AccessorBytes(const tinygltf::Model& model, int accessor) {
    const tinygltf::Accessor& a = model.accessors.at(accessor);
    const tinygltf::BufferView& v = model.bufferViews.at(a.bufferView);
    return model.buffers.at(v.buffer).data.data() + v.byteOffset + a.byteOffset;
}

float FloatAt(const tinygltf::Model& model, int accessor, size_t i) {
    float f;
    std::memcpy(&f, AccessorBytes(model, accessor) + 4 * i, 4);
    return f;
}

// A glTF model built in the test, written by tinygltf: a writer other than ours.
struct Draft {
    tinygltf::Model model;
    Draft() {
        model.asset.version = "2.0";
        model.buffers.resize(1);
    }
    int View(const void* bytes, size_t length) {
        std::vector<unsigned char>& data = model.buffers[0].data;
        data.resize((data.size() + 3) & ~size_t(3));
        tinygltf::BufferView view;
        view.buffer = 0;
        view.byteOffset = data.size();
        view.byteLength = length;
        data.insert(data.end(), static_cast<const unsigned char*>(bytes), static_cast<const unsigned char*>(bytes) + length);
        model.bufferViews.push_back(view);
        return static_cast<int>(model.bufferViews.size()) - 1;
    }
    int Accessor(int view, int componentType, int type, size_t count) {
        tinygltf::Accessor a;
        a.bufferView = view;
        a.componentType = componentType;
        a.type = type;
        a.count = count;
        model.accessors.push_back(a);
        return static_cast<int>(model.accessors.size()) - 1;
    }
    int Floats(const std::vector<float>& values, int type, int perElement) {
        return Accessor(View(values.data(), 4 * values.size()), TINYGLTF_COMPONENT_TYPE_FLOAT, type,
                        values.size() / perElement);
    }
    int Shorts(const std::vector<uint16_t>& values) {
        return Accessor(View(values.data(), 2 * values.size()), TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT,
                        TINYGLTF_TYPE_SCALAR, values.size());
    }
    int Mesh(const std::vector<tinygltf::Primitive>& primitives) {
        tinygltf::Mesh mesh;
        mesh.primitives = primitives;
        model.meshes.push_back(mesh);
        return static_cast<int>(model.meshes.size()) - 1;
    }
    static tinygltf::Primitive Primitive(int positions, int indices, int mode) {
        tinygltf::Primitive p;
        p.attributes["POSITION"] = positions;
        p.indices = indices;
        p.mode = mode;
        return p;
    }
    int Node(int mesh, std::vector<int> children = {}) {
        tinygltf::Node node;
        node.mesh = mesh;
        node.children = std::move(children);
        model.nodes.push_back(node);
        return static_cast<int>(model.nodes.size()) - 1;
    }
    void Scene(std::vector<int> roots) {
        tinygltf::Scene scene;
        scene.nodes = std::move(roots);
        model.scenes.push_back(scene);
        model.defaultScene = 0;
    }
    std::string Write(bool binary) const {
        std::ostringstream out;
        tinygltf::TinyGLTF writer;
        EXPECT_TRUE(writer.WriteGltfSceneToStream(&model, out, false, binary));
        return out.str();
    }
};

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// A torus with a real atlas: charts, seams and texture ids per corner.
struct AtlasMesh {
    TriMesh mesh = testmesh::Torus(24, 12);
    std::vector<double> tex;
    std::vector<int> ids;
    AtlasMesh() {
        ORVO::UVAtlasOptions options;
        options.chartCount = 4;
        EXPECT_EQ(ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids), 0);
    }
};

TEST(GltfRoundTrip, BinaryAndTextKeepSurfaceAndCornerCoordinates) {
    ScratchDir dir;
    AtlasMesh atlas;
    for (const char* name : {"atlas.glb", "atlas.GLTF"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(Parser::ExportTriMesh(dir / name, &atlas.mesh, &atlas.tex, &atlas.ids), 0) << Parser::GetLastError();
        TriMesh back;
        std::vector<double> tex;
        std::vector<int> ids;
        ASSERT_EQ(Parser::ImportTriMesh(dir / name, &back, &tex, &ids), 0) << Parser::GetLastError();
        // The seam split is undone: one vertex per position again, faces unchanged.
        ASSERT_EQ(back.GetVertexCount(), atlas.mesh.GetVertexCount());
        ASSERT_EQ(back.GetTriangleCount(), atlas.mesh.GetTriangleCount());
        ASSERT_EQ(ids.size(), atlas.ids.size());
        for (int v = 0; v < back.GetVertexCount(); ++v) {
            const Vector3 d = back.GetVertexCoord(v) - atlas.mesh.GetVertexCoord(v);
            ASSERT_LT(d.Length(), 1e-6) << "vertex " << v;  // positions travel as floats
        }
        for (int f = 0; f < back.GetTriangleCount(); ++f) {
            for (int k = 0; k < 3; ++k) {
                ASSERT_EQ(back.GetTriangle(f)[k], atlas.mesh.GetTriangle(f)[k]);
                const size_t c = 3 * static_cast<size_t>(f) + k;
                ASSERT_NEAR(tex[2 * ids[c]], atlas.tex[2 * atlas.ids[c]], 1e-7);
                ASSERT_NEAR(tex[2 * ids[c] + 1], atlas.tex[2 * atlas.ids[c] + 1], 1e-7);
            }
        }
    }
    // Without coordinates nothing is invented.
    ASSERT_EQ(Parser::ExportTriMesh(dir / "plain.glb", &atlas.mesh), 0);
    TriMesh plain;
    std::vector<double> tex{1, 2};
    std::vector<int> ids{0, 0, 0};
    ASSERT_EQ(Parser::ImportTriMesh(dir / "plain.glb", &plain, &tex, &ids), 0);
    EXPECT_EQ(plain.GetTriangleCount(), atlas.mesh.GetTriangleCount());
    EXPECT_TRUE(tex.empty());
    EXPECT_TRUE(ids.empty());
}

TEST(GltfWriter, OneVertexPerCornerKindAndTheSmallestIndexType) {
    ScratchDir dir;
    AtlasMesh atlas;
    ASSERT_EQ(Parser::ExportTriMesh(dir / "atlas.glb", &atlas.mesh, &atlas.tex, &atlas.ids), 0);
    tinygltf::Model model;
    ASSERT_TRUE(LoadWithTinygltf(dir / "atlas.glb", model));
    ASSERT_EQ(model.meshes.size(), 1u);
    ASSERT_EQ(model.meshes[0].primitives.size(), 1u);
    const tinygltf::Primitive& p = model.meshes[0].primitives[0];
    EXPECT_EQ(p.mode, TINYGLTF_MODE_TRIANGLES);
    std::set<std::pair<int, int>> corners;
    for (size_t c = 0; c < atlas.ids.size(); ++c)
        corners.insert({atlas.mesh.GetTriangle(static_cast<int>(c / 3))[c % 3], atlas.ids[c]});
    const int position = p.attributes.at("POSITION"), uv = p.attributes.at("TEXCOORD_0");
    EXPECT_EQ(model.accessors[position].count, corners.size());
    EXPECT_EQ(model.accessors[uv].count, corners.size());
    EXPECT_GT(corners.size(), static_cast<size_t>(atlas.mesh.GetVertexCount()));  // seams were split
    ASSERT_EQ(model.accessors[position].minValues.size(), 3u);
    ASSERT_EQ(model.accessors[position].maxValues.size(), 3u);
    EXPECT_EQ(model.accessors[p.indices].count, atlas.ids.size());
    // glTF's v runs downwards: the written pair is (u, 1 - v).
    const uint16_t* first = reinterpret_cast<const uint16_t*>(AccessorBytes(model, p.indices));
    ASSERT_EQ(model.accessors[p.indices].componentType, TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT);
    EXPECT_FLOAT_EQ(FloatAt(model, uv, 2 * first[0]), static_cast<float>(atlas.tex[2 * atlas.ids[0]]));
    EXPECT_FLOAT_EQ(FloatAt(model, uv, 2 * first[0] + 1), static_cast<float>(1.0 - atlas.tex[2 * atlas.ids[0] + 1]));

    // Index type by vertex count: up to 255, up to 65535, beyond.
    const std::pair<int, int> sizes[] = {{10, TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE},
                                         {200, TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT},
                                         {300, TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT}};
    for (const auto& [n, type] : sizes) {
        TriMesh grid = testmesh::Grid(n, n);
        ASSERT_EQ(Parser::ExportTriMesh(dir / "grid.gltf", &grid), 0);
        tinygltf::Model g;
        ASSERT_TRUE(LoadWithTinygltf(dir / "grid.gltf", g));
        const tinygltf::Primitive& gp = g.meshes.at(0).primitives.at(0);
        EXPECT_EQ(g.accessors[gp.attributes.at("POSITION")].count, static_cast<size_t>(grid.GetVertexCount())) << n;
        EXPECT_EQ(g.accessors[gp.indices].componentType, type) << n;
        EXPECT_EQ(gp.attributes.count("TEXCOORD_0"), 0u);
    }
}

TEST(GltfWriter, EmbedsTheImageAsBaseColourTexture) {
    ScratchDir dir;
    AtlasMesh atlas;
    const std::string png = std::string("\x89PNG\r\n\x1a\n", 8) + std::string(37, 'x');
    WriteBytes(dir / "atlas.png", png);
    for (const char* name : {"t.glb", "t.gltf"}) {
        ASSERT_EQ(Parser::ExportTexturedTriMesh(dir / name, &atlas.mesh, &atlas.tex, &atlas.ids, dir / "atlas.png"), 0)
            << Parser::GetLastError();
        tinygltf::Model model;
        ASSERT_TRUE(LoadWithTinygltf(dir / name, model)) << name;
        ASSERT_EQ(model.images.size(), 1u);
        EXPECT_EQ(model.images[0].mimeType, "image/png");
        const tinygltf::BufferView& view = model.bufferViews.at(model.images[0].bufferView);
        const unsigned char* bytes = model.buffers[view.buffer].data.data() + view.byteOffset;
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes), view.byteLength), png);
        const int material = model.meshes.at(0).primitives.at(0).material;
        ASSERT_EQ(material, 0);
        const int texture = model.materials[0].pbrMetallicRoughness.baseColorTexture.index;
        ASSERT_EQ(texture, 0);
        EXPECT_EQ(model.textures.at(0).source, 0);
        EXPECT_EQ(model.materials[0].pbrMetallicRoughness.metallicFactor, 0.0);
        // The geometry still reads back whole.
        TriMesh back;
        EXPECT_EQ(Parser::ImportTriMesh(dir / name, &back), 0);
        EXPECT_EQ(back.GetTriangleCount(), atlas.mesh.GetTriangleCount());
    }
    WriteBytes(dir / "notes.txt", "not a picture");
    const std::pair<std::string, std::string> refused[] = {
        {"t.obj", "atlas.png"}, {"t.glb", "notes.txt"}, {"t.glb", "missing.png"}};
    for (const auto& [name, image] : refused) {
        EXPECT_EQ(Parser::ExportTexturedTriMesh(dir / name, &atlas.mesh, &atlas.tex, &atlas.ids, dir / image), -2)
            << name << " " << image;
        EXPECT_FALSE(Parser::GetLastError().empty());
    }
    EXPECT_EQ(Parser::ExportTexturedTriMesh(dir / "u.glb", &atlas.mesh, nullptr, nullptr, dir / "atlas.png"), -2);
    EXPECT_NE(Parser::GetLastError().find("needs texture coordinates"), std::string::npos);
}

// Triangle (0,0,0) (1,0,0) (0,1,0) as positions and indices of a draft.
struct UnitTriangle {
    int positions, indices;
    explicit UnitTriangle(Draft& d)
        : positions(d.Floats({0, 0, 0, 1, 0, 0, 0, 1, 0}, TINYGLTF_TYPE_VEC3, 3)), indices(d.Shorts({0, 1, 2})) {}
};

Vector3 FaceNormal(const TriMesh& mesh, int f) {
    const int* t = mesh.GetTriangle(f);
    const Vector3 a = mesh.GetVertexCoord(t[0]), b = mesh.GetVertexCoord(t[1]), c = mesh.GetVertexCoord(t[2]);
    const Vector3 u = b - a, v = c - a;
    return Vector3(u.y * v.z - u.z * v.y, u.z * v.x - u.x * v.z, u.x * v.y - u.y * v.x);
}

TEST(GltfReader, NodeTransformsAndEveryTriangleMode) {
    ScratchDir dir;
    Draft d;
    UnitTriangle tri(d);
    const int triangle = d.Mesh({Draft::Primitive(tri.positions, tri.indices, TINYGLTF_MODE_TRIANGLES)});
    // A strip of four points (two faces) and a fan over the same four (two faces).
    const int quad = d.Floats({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, TINYGLTF_TYPE_VEC3, 3);
    const int fanOrder = d.Shorts({0, 1, 3, 2});
    const int strips = d.Mesh({Draft::Primitive(quad, -1, TINYGLTF_MODE_TRIANGLE_STRIP),
                               Draft::Primitive(quad, fanOrder, TINYGLTF_MODE_TRIANGLE_FAN)});
    d.Mesh({Draft::Primitive(tri.positions, tri.indices, TINYGLTF_MODE_TRIANGLES)});  // placed by no node
    // Parent moves by (10, 0, 0); its child turns a quarter about z and doubles.
    const int child = d.Node(triangle);
    d.model.nodes[child].rotation = {0, 0, std::sqrt(0.5), std::sqrt(0.5)};
    d.model.nodes[child].scale = {2, 2, 2};
    const int parent = d.Node(-1, {child});
    d.model.nodes[parent].translation = {10, 0, 0};
    const int lifted = d.Node(strips);
    d.model.nodes[lifted].matrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 5, 0, 1};  // column-major: moves y by 5
    const int mirrored = d.Node(triangle);
    d.model.nodes[mirrored].scale = {-1, 1, 1};
    d.model.nodes[mirrored].translation = {0, 0, 7};
    d.Scene({parent, lifted, mirrored});
    WriteBytes(dir / "scene.gltf", d.Write(false));

    TriMesh mesh;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "scene.gltf", &mesh), 0) << Parser::GetLastError();
    ASSERT_EQ(mesh.GetTriangleCount(), 1 + 2 + 2 + 1);  // the unplaced mesh is not read
    auto corner = [&](int f, int k) { return mesh.GetVertexCoord(mesh.GetTriangle(f)[k]); };
    auto near = [](Vector3 a, Vector3 b) { return (a - b).Length() < 1e-6; };
    // Child: (1,0,0) turns to (0,1,0), doubles to (0,2,0), moves to (10,2,0).
    EXPECT_TRUE(near(corner(0, 0), Vector3(10, 0, 0)));
    EXPECT_TRUE(near(corner(0, 1), Vector3(10, 2, 0)));
    EXPECT_TRUE(near(corner(0, 2), Vector3(8, 0, 0)));
    for (int f = 1; f <= 4; ++f) {
        for (int k = 0; k < 3; ++k) EXPECT_GE(corner(f, k).y, 5.0) << "face " << f;
        EXPECT_GT(FaceNormal(mesh, f).z, 0.0) << "strip and fan faces keep their facing, face " << f;
    }
    // Strip and fan share their four welded points: 3 + 4 + 3 vertices in all.
    EXPECT_EQ(mesh.GetVertexCount(), 10);
    // The mirror keeps the face's front side on the same side as it was drawn.
    EXPECT_TRUE(near(corner(5, 0), Vector3(0, 0, 7)));
    EXPECT_GT(FaceNormal(mesh, 5).z, 0.0);
}

TEST(GltfReader, SparseAccessorsAndExternalBuffers) {
    ScratchDir dir;
    Draft d;
    UnitTriangle tri(d);
    // Vertex 2 of the triangle is replaced by (0, 3, 0) through a sparse part.
    const uint16_t which[] = {2};
    const float value[] = {0, 3, 0};
    const int whichView = d.View(which, sizeof(which)), valueView = d.View(value, sizeof(value));
    tinygltf::Accessor& positions = d.model.accessors[tri.positions];
    positions.sparse.isSparse = true;
    positions.sparse.count = 1;
    positions.sparse.indices.bufferView = whichView;
    positions.sparse.indices.byteOffset = 0;
    positions.sparse.indices.componentType = TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT;
    positions.sparse.values.bufferView = valueView;
    positions.sparse.values.byteOffset = 0;
    d.Node(d.Mesh({Draft::Primitive(tri.positions, tri.indices, TINYGLTF_MODE_TRIANGLES)}));
    d.Scene({0});
    WriteBytes(dir / "sparse.glb", d.Write(true));
    TriMesh mesh;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "sparse.glb", &mesh), 0) << Parser::GetLastError();
    ASSERT_EQ(mesh.GetVertexCount(), 3);
    EXPECT_DOUBLE_EQ(mesh.GetVertexCoord(2).y, 3.0);

    // A .gltf whose buffer is a file beside it, named relative to it.
    std::string bin(reinterpret_cast<const char*>(d.model.buffers[0].data.data()), 44);
    WriteBytes(dir / "tri.bin", bin);
    const std::string json =
        R"({"asset":{"version":"2.0"},"buffers":[{"uri":"tri.bin","byteLength":44}],)"
        R"("bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":36},{"buffer":0,"byteOffset":36,"byteLength":6}],)"
        R"("accessors":[{"bufferView":0,"componentType":5126,"type":"VEC3","count":3},)"
        R"({"bufferView":1,"componentType":5123,"type":"SCALAR","count":3}],)"
        R"("meshes":[{"primitives":[{"attributes":{"POSITION":0},"indices":1}]}],"nodes":[{"mesh":0}],"scenes":[{"nodes":[0]}]})";
    WriteBytes(dir / "external.gltf", json);
    ASSERT_EQ(Parser::ImportTriMesh(dir / "external.gltf", &mesh), 0) << Parser::GetLastError();
    EXPECT_EQ(mesh.GetTriangleCount(), 1);
    // From memory no file is opened.
    ORVO::MeshFileData data;
    std::string error;
    EXPECT_EQ(ORVO::_ParseGltfMesh(json.data(), json.size(), "", data, error), -3);
    EXPECT_TRUE(data.positions.empty());
}

TEST(GltfReader, RefusesWhatItCannotReadWithOneMessage) {
    ScratchDir dir;
    struct Case {
        const char* name;
        std::string bytes;
        const char* mention;
    };
    std::vector<Case> cases;
    auto draft = [](const std::function<void(Draft&, UnitTriangle&)>& change, bool binary) {
        Draft d;
        UnitTriangle tri(d);
        d.Node(d.Mesh({Draft::Primitive(tri.positions, tri.indices, TINYGLTF_MODE_TRIANGLES)}));
        d.Scene({0});
        change(d, tri);
        return d.Write(binary);
    };
    cases.push_back({"lines.gltf", draft([](Draft& d, UnitTriangle&) { d.model.meshes[0].primitives[0].mode = 1; }, false),
                     "mode 1 (lines)"});
    cases.push_back({"draco.glb",
                     draft([](Draft& d, UnitTriangle&) { d.model.extensionsRequired = {"KHR_draco_mesh_compression"}; }, true),
                     "KHR_draco_mesh_compression"});
    cases.push_back({"past_end.glb",
                     draft([](Draft& d, UnitTriangle& t) { d.model.accessors[t.positions].byteOffset = 400; }, true),
                     "reaches past"});
    cases.push_back({"index.glb", draft([](Draft& d, UnitTriangle& t) { d.model.accessors[t.positions].count = 2; }, true),
                     "index 2 of 2 vertices"});
    cases.push_back({"no_position.gltf",
                     draft([](Draft& d, UnitTriangle& t) { d.model.meshes[0].primitives[0].attributes = {{"NORMAL", t.positions}}; }, false),
                     "no POSITION"});
    cases.push_back({"cycle.gltf", draft([](Draft& d, UnitTriangle&) { d.model.nodes[0].children = {0}; }, false),
                     "more than one parent"});
    const std::string good = draft([](Draft&, UnitTriangle&) {}, true);
    cases.push_back({"truncated.glb", good.substr(0, good.size() / 2), "GLB"});
    cases.push_back({"garbage.gltf", "{\"asset\": [not json", "glTF"});
    cases.push_back({"missing_bin.gltf",
                     R"({"asset":{"version":"2.0"},"buffers":[{"uri":"nowhere.bin","byteLength":44}]})", "nowhere.bin"});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        WriteBytes(dir / c.name, c.bytes);
        TriMesh mesh = testmesh::Icosphere(1);
        std::vector<double> tex{1, 2};
        std::vector<int> ids{0, 0, 0};
        EXPECT_EQ(Parser::ImportTriMesh(dir / c.name, &mesh, &tex, &ids), -3);
        EXPECT_EQ(mesh.GetVertexCount(), 0);
        EXPECT_TRUE(tex.empty() && ids.empty());
        const std::string message = Parser::GetLastError();
        EXPECT_NE(message.find(c.name), std::string::npos) << message;
        EXPECT_NE(message.find(c.mention), std::string::npos) << message;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
    }
}

#endif  // QARN_HAVE_GLTF

}  // namespace
