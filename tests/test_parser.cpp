// Mesh and point-cloud files: round trips through every format, readers on
// hand-written files of each dialect, and clean failures on malformed input.
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include "TestFiles.h"
#include "TestMeshes.h"
#include "io/FileData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using ORVO::Parser;
using ORVO::PointCloud;
using ORVO::TriMesh;
using ORVO::Vector3;

using testfiles::ScratchDir;

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}


// A sphere whose coordinates have full-precision mantissas, a few values that
// text formats get wrong easily (denormals, -0, large and tiny magnitudes).
TriMesh AwkwardMesh() {
    TriMesh mesh = testmesh::Icosphere(2, 1.0 / 3.0, Vector3(1e5 / 7.0, -2.0 / 3.0, 0.1));
    mesh.SetVertexCoord(0, Vector3(4.9e-324, -0.0, 1e-310));
    mesh.SetVertexCoord(1, Vector3(1.7976931348623157e308 / 1e10, 123456789.123456789, -1e-20));
    return mesh;
}

// Atlas-like texture coordinates with seams: a corner's pair is shared by the
// corners of its vertex within one of two "charts" (face parity).
void SeamedTexCoords(const TriMesh& mesh, std::vector<double>& tex, std::vector<int>& ids) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::map<std::pair<int, int>, int> pairOf;
    tex.clear();
    ids.clear();
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const int* t = mesh.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            auto key = std::make_pair(t[k], f % 2);
            auto it = pairOf.find(key);
            if (it == pairOf.end()) {
                it = pairOf.emplace(key, static_cast<int>(tex.size() / 2)).first;
                tex.push_back(unit(random));
                tex.push_back(unit(random));
            }
            ids.push_back(it->second);
        }
    }
}

void ExpectSameTriangles(const TriMesh& a, const TriMesh& b) {
    ASSERT_EQ(a.GetTriangleCount(), b.GetTriangleCount());
    for (int f = 0; f < a.GetTriangleCount(); ++f) {
        for (int k = 0; k < 3; ++k) ASSERT_EQ(a.GetTriangle(f)[k], b.GetTriangle(f)[k]) << "face " << f;
    }
}

bool BitEqual(double a, double b) { return std::memcmp(&a, &b, sizeof(double)) == 0; }

bool RelativelyClose(double a, double b, double tolerance) {
    return std::fabs(a - b) <= tolerance * std::max(std::fabs(a), std::fabs(b)) || std::fabs(a - b) < 1e-300;
}

// Vertex by vertex; a zero tolerance asks for bit-identical values (-0 included).
void ExpectSamePositions(const TriMesh& a, const TriMesh& b, double tolerance) {
    ASSERT_EQ(a.GetVertexCount(), b.GetVertexCount());
    for (int v = 0; v < a.GetVertexCount(); ++v)
        for (int k = 0; k < 3; ++k) {
            const double x = a.GetVertexCoord(v)[k], y = b.GetVertexCoord(v)[k];
            ASSERT_TRUE(tolerance > 0.0 ? RelativelyClose(x, y, tolerance) : BitEqual(x, y))
                << "vertex " << v << " axis " << k << ": " << x << " vs " << y;
        }
}

// Face by face, corner by corner, the same coordinates (ids may differ).
void ExpectSameCornerPositions(const TriMesh& a, const TriMesh& b) {
    ASSERT_EQ(a.GetTriangleCount(), b.GetTriangleCount());
    for (int f = 0; f < a.GetTriangleCount(); ++f)
        for (int k = 0; k < 3; ++k)
            for (int axis = 0; axis < 3; ++axis)
                ASSERT_TRUE(BitEqual(a.GetVertexCoord(a.GetTriangle(f)[k])[axis],
                                     b.GetVertexCoord(b.GetTriangle(f)[k])[axis]))
                    << "face " << f << " corner " << k;
}

// Per-corner comparison of texture coordinates, whatever the pair numbering.
void ExpectSameCornerTex(const std::vector<double>& texA, const std::vector<int>& idsA,
                         const std::vector<double>& texB, const std::vector<int>& idsB, bool asFloat) {
    ASSERT_EQ(idsA.size(), idsB.size());
    for (size_t c = 0; c < idsA.size(); ++c) {
        for (int k = 0; k < 2; ++k) {
            double expected = texA[2 * idsA[c] + k];
            if (asFloat) expected = static_cast<float>(expected);
            ASSERT_TRUE(BitEqual(expected, texB[2 * idsB[c] + k])) << "corner " << c;
        }
    }
}

// Number of distinct pairs the corners use: seams must not multiply.
size_t UsedPairs(const std::vector<int>& ids) {
    std::vector<int> sorted(ids);
    std::sort(sorted.begin(), sorted.end());
    return static_cast<size_t>(std::unique(sorted.begin(), sorted.end()) - sorted.begin());
}

ORVO::MeshFileData ToFileData(const TriMesh& mesh, const std::vector<double>& tex, const std::vector<int>& ids) {
    ORVO::MeshFileData data;
    data.positions = mesh.GetVertexCoords();
    for (int f = 0; f < mesh.GetTriangleCount(); ++f)
        data.triangles.insert(data.triangles.end(), mesh.GetTriangle(f), mesh.GetTriangle(f) + 3);
    data.texCoords = tex;
    data.triangleTexIds = ids;
    return data;
}

TriMesh FromFileData(const ORVO::MeshFileData& data) {
    TriMesh mesh;
    for (const Vector3& p : data.positions) mesh.InsertVertex(p);
    for (size_t c = 0; c < data.triangles.size(); c += 3)
        mesh.InsertTriangle(data.triangles[c], data.triangles[c + 1], data.triangles[c + 2]);
    return mesh;
}

// ------------------------------------------------------------ round trips

TEST(ParserRoundTrip, ObjKeepsPositionsFacesAndCornerTexCoords) {
    ScratchDir dir;
    TriMesh mesh = AwkwardMesh();
    std::vector<double> tex;
    std::vector<int> ids;
    SeamedTexCoords(mesh, tex, ids);
    ASSERT_EQ(Parser::ExportTriMesh(dir / "m.obj", &mesh, &tex, &ids), 0) << Parser::GetLastError();
    TriMesh back;
    std::vector<double> backTex;
    std::vector<int> backIds;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "m.obj", &back, &backTex, &backIds), 0) << Parser::GetLastError();
    ExpectSamePositions(mesh, back, 1e-9);
    ExpectSameTriangles(mesh, back);
    // OBJ keeps the pair list itself, so ids and values come back unchanged.
    EXPECT_EQ(backIds, ids);
    ASSERT_EQ(backTex.size(), tex.size());
    for (size_t i = 0; i < tex.size(); ++i) ASSERT_TRUE(RelativelyClose(tex[i], backTex[i], 1e-9));
    EXPECT_TRUE(Parser::GetLastError().empty());
}

TEST(ParserRoundTrip, PlyInEveryEncoding) {
    ScratchDir dir;
    TriMesh mesh = AwkwardMesh();
    std::vector<double> tex;
    std::vector<int> ids;
    SeamedTexCoords(mesh, tex, ids);
    ASSERT_EQ(Parser::ExportTriMesh(dir / "m.PLY", &mesh, &tex, &ids), 0) << Parser::GetLastError();
    EXPECT_NE(testfiles::ReadFile(dir / "m.PLY").find("format binary_little_endian 1.0"), std::string::npos);
    EXPECT_NE(testfiles::ReadFile(dir / "m.PLY").find("property list uchar float texcoord"), std::string::npos);
    TriMesh back;
    std::vector<double> backTex;
    std::vector<int> backIds;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "m.PLY", &back, &backTex, &backIds), 0) << Parser::GetLastError();
    ExpectSamePositions(mesh, back, 0.0);
    ExpectSameTriangles(mesh, back);
    // Texture coordinates are stored as float, the common tools' convention.
    ExpectSameCornerTex(tex, ids, backTex, backIds, true);
    EXPECT_EQ(UsedPairs(backIds), UsedPairs(ids));

    // The encodings the file interface never picks, through the format layer:
    // big-endian is bit exact too, ASCII within text tolerance.
    for (ORVO::PlyEncoding encoding : {ORVO::PLY_BINARY_BIG_ENDIAN, ORVO::PLY_ASCII}) {
        const bool ascii = encoding == ORVO::PLY_ASCII;
        std::string bytes;
        ORVO::_FormatPlyMesh(ToFileData(mesh, tex, ids), encoding, bytes);
        EXPECT_NE(bytes.find(ascii ? "format ascii 1.0" : "format binary_big_endian 1.0"), std::string::npos);
        ORVO::MeshFileData data;
        std::string error;
        ASSERT_EQ(ORVO::_ParsePlyMesh(bytes.data(), bytes.size(), data, error), 0) << error;
        ExpectSamePositions(mesh, FromFileData(data), ascii ? 1e-9 : 0.0);
        ExpectSameTriangles(mesh, FromFileData(data));
        ExpectSameCornerTex(tex, ids, data.texCoords, data.triangleTexIds, true);
    }
}

TEST(ParserRoundTrip, StlWeldsBackToTheSameMesh) {
    ScratchDir dir;
    // STL stores float: positions that are floats survive bit for bit.
    TriMesh mesh = testmesh::Torus(24, 12);
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        Vector3 p = mesh.GetVertexCoord(v);
        mesh.SetVertexCoord(v, Vector3(static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)));
    }
    ASSERT_EQ(Parser::ExportTriMesh(dir / "m.stl", &mesh), 0) << Parser::GetLastError();
    EXPECT_EQ(testfiles::ReadFile(dir / "m.stl").size(), 84u + 50u * mesh.GetTriangleCount());
    TriMesh back;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "m.stl", &back), 0) << Parser::GetLastError();
    // Welding numbers vertices by first use: same count, same corners per face.
    EXPECT_EQ(back.GetVertexCount(), mesh.GetVertexCount());
    ExpectSameCornerPositions(mesh, back);

    std::string bytes;
    ORVO::_FormatStlMesh(ToFileData(mesh, {}, {}), false, bytes);
    EXPECT_EQ(bytes.compare(0, 5, "solid"), 0);
    ORVO::MeshFileData data;
    std::string error;
    ASSERT_EQ(ORVO::_ParseStlMesh(bytes.data(), bytes.size(), data, error), 0) << error;
    EXPECT_EQ(data.positions.size(), static_cast<size_t>(mesh.GetVertexCount()));
    ExpectSameCornerPositions(mesh, FromFileData(data));
}

TEST(ParserRoundTrip, OffKeepsPositionsFacesAndPerVertexTexCoords) {
    ScratchDir dir;
    TriMesh mesh = AwkwardMesh();
    std::vector<double> tex;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        tex.push_back(v / 7.0);
        tex.push_back(1.0 - v / 11.0);
    }
    ASSERT_EQ(Parser::ExportTriMesh(dir / "m.off", &mesh, &tex), 0) << Parser::GetLastError();
    EXPECT_EQ(testfiles::ReadFile(dir / "m.off").compare(0, 6, "STOFF\n"), 0);
    TriMesh back;
    std::vector<double> backTex;
    std::vector<int> backIds;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "m.off", &back, &backTex, &backIds), 0) << Parser::GetLastError();
    ExpectSamePositions(mesh, back, 1e-9);
    ExpectSameTriangles(mesh, back);
    ASSERT_EQ(backTex.size(), tex.size());
    for (size_t i = 0; i < tex.size(); ++i) ASSERT_TRUE(RelativelyClose(tex[i], backTex[i], 1e-9));
    EXPECT_EQ(backIds, ToFileData(back, {}, {}).triangles);  // one pair per vertex

    // Per-corner coordinates do not fit OFF: the geometry is written alone.
    std::vector<int> ids;
    SeamedTexCoords(mesh, tex, ids);
    ASSERT_EQ(Parser::ExportTriMesh(dir / "c.off", &mesh, &tex, &ids), 0);
    ASSERT_EQ(Parser::ImportTriMesh(dir / "c.off", &back, &backTex, &backIds), 0);
    ExpectSameTriangles(mesh, back);
    EXPECT_TRUE(backTex.empty());
    EXPECT_TRUE(backIds.empty());
}

TEST(ParserRoundTrip, TriMeshCornerTexCoordsTravelWithTheMesh) {
    ScratchDir dir;
    TriMesh mesh = testmesh::Icosphere(1);
    mesh.SetHasTriangleTexCoord(true);
    for (int f = 0; f < mesh.GetTriangleCount(); ++f)
        for (int k = 0; k < 3; ++k) mesh.SetTriangleTexcoord(f, k, Vector3(f * 0.01, k * 0.25, 0.0));
    ASSERT_EQ(Parser::ExportTriMesh(dir / "t.obj", &mesh), 0);
    TriMesh back(false, false, true);
    ASSERT_EQ(Parser::ImportTriMesh(dir / "t.obj", &back), 0);
    ASSERT_TRUE(back.HasTriangleTexCoord());
    ExpectSameTriangles(mesh, back);
    for (int f = 0; f < mesh.GetTriangleCount(); ++f)
        for (int k = 0; k < 3; ++k) {
            EXPECT_DOUBLE_EQ(back.GetTriangleTexcoord(f, k).x, f * 0.01);
            EXPECT_DOUBLE_EQ(back.GetTriangleTexcoord(f, k).y, k * 0.25);
        }
}

PointCloud SampleCloud(bool withNormals, bool withColors) {
    PointCloud cloud(withNormals, withColors, false);
    std::mt19937 random(11);
    std::normal_distribution<double> gauss(0.0, 3.0);
    for (int i = 0; i < 500; ++i) {
        Vector3 p(gauss(random), gauss(random) / 7.0, gauss(random) * 1e3);
        Vector3 n = p;
        n.Normalise();
        if (withNormals) cloud.InsertPoint(p, n);
        else cloud.InsertPoint(p);
        if (withColors) cloud.SetPointColor(i, Vector3((i % 256) / 255.0, ((7 * i) % 256) / 255.0, 1.0));
    }
    return cloud;
}

void ExpectSameCloud(const PointCloud& a, const PointCloud& b, bool bitExact, bool colors) {
    ASSERT_EQ(a.GetPointCount(), b.GetPointCount());
    ASSERT_EQ(a.HasNormal(), b.HasNormal());
    ASSERT_EQ(colors, b.HasColor());
    for (int i = 0; i < a.GetPointCount(); ++i) {
        for (int k = 0; k < 3; ++k) {
            if (bitExact) {
                ASSERT_TRUE(BitEqual(a.GetPointCoord(i)[k], b.GetPointCoord(i)[k])) << i;
            } else {
                ASSERT_TRUE(RelativelyClose(a.GetPointCoord(i)[k], b.GetPointCoord(i)[k], 1e-9)) << i;
            }
            if (a.HasNormal()) {
                ASSERT_NEAR(a.GetPointNormal(i)[k], b.GetPointNormal(i)[k], bitExact ? 0.0 : 1e-9);
            }
            if (colors) {
                // Colours travel as bytes in PLY.
                ASSERT_NEAR(a.GetPointColor(i)[k], b.GetPointColor(i)[k], 0.5 / 255.0 + 1e-12);
            }
        }
    }
}

TEST(ParserRoundTrip, PointCloudsInEveryFormat) {
    ScratchDir dir;
    const PointCloud full = SampleCloud(true, true), bare = SampleCloud(false, false);
    // Binary PLY is bit exact; ASC carries positions and normals only. One
    // target cloud for all, so each import must clear what came before.
    struct Case { const char* name; const PointCloud* cloud; bool bitExact, colors; };
    const Case cases[] = {{"p.ply", &full, true, true},   {"p.obj", &full, false, true},
                          {"p.asc", &full, false, false}, {"b.ply", &bare, true, false},
                          {"b.obj", &bare, false, false}, {"b.asc", &bare, false, false}};
    PointCloud back;
    for (const Case& c : cases) {
        ASSERT_EQ(Parser::ExportPointCloud(dir / c.name, c.cloud), 0) << c.name << Parser::GetLastError();
        ASSERT_EQ(Parser::ImportPointCloud(dir / c.name, &back), 0) << c.name << Parser::GetLastError();
        ExpectSameCloud(*c.cloud, back, c.bitExact, c.colors);
        EXPECT_FALSE(back.HasGridTopology()) << c.name;
    }
}

TEST(ParserRoundTrip, GridPointCloudKeepsItsCells) {
    ScratchDir dir;
    PointCloud grid(true, false, true);
    grid.InitGrid(7, 5);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            if ((x + 2 * y) % 3 != 0) grid.SetGridCoord(x, y, Vector3(x * 0.1, y / 3.0, std::sin(x + y)));
    grid.SetHasNormal(true);
    for (int i = 0; i < grid.GetPointCount(); ++i) grid.SetPointNormal(i, Vector3(0, 0, 1));
    ASSERT_GT(grid.GetPointCount(), 10);
    ASSERT_EQ(Parser::ExportGridPointCloud(dir / "g.ply", &grid), 0) << Parser::GetLastError();
    PointCloud back;
    ASSERT_EQ(Parser::ImportPointCloud(dir / "g.ply", &back), 0) << Parser::GetLastError();
    ASSERT_TRUE(back.HasGridTopology());
    ASSERT_EQ(back.GetWidth(), 7);
    ASSERT_EQ(back.GetHeight(), 5);
    ExpectSameCloud(grid, back, true, false);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) {
            ASSERT_EQ(back.IsGridValid(x, y), grid.IsGridValid(x, y)) << x << "," << y;
            if (grid.IsGridValid(x, y)) {
                ASSERT_EQ(back.GetGridPointId(x, y), grid.GetGridPointId(x, y));
            }
        }
    // Formats without a grid still get the points.
    ASSERT_EQ(Parser::ExportGridPointCloud(dir / "g.asc", &grid), 0);
    ASSERT_EQ(Parser::ImportPointCloud(dir / "g.asc", &back), 0);
    EXPECT_EQ(back.GetPointCount(), grid.GetPointCount());
    EXPECT_FALSE(back.HasGridTopology());
}

// ------------------------------------------------------------ dialects

TEST(ParserReaders, ObjPolygonsNegativeIndicesAndNormals) {
    ScratchDir dir;
    WriteBytes(dir / "q.obj",
               "# a quad and a pentagon\r\n"
               "o thing\r\nv 0 0 0\r\nv 1 0 0\r\nv 1 1 0\r\nv 0 1 0\r\nv 2 0.5 0\r\n"
               "vn 0 0 1\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
               "g part\nusemtl x\ns off\n"
               "f 1/1/1 2/2/1 3/3/1 4/4/1\n"
               "f -4//1 -1//1 -3//1\n"
               "f 1 2 5 3 4\n");
    TriMesh mesh;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "q.obj", &mesh, &tex, &ids), 0) << Parser::GetLastError();
    ASSERT_EQ(mesh.GetVertexCount(), 5);
    ASSERT_EQ(mesh.GetTriangleCount(), 2 + 1 + 3);
    // Fans from the first corner, in the polygon's order.
    const int expected[6][3] = {{0, 1, 2}, {0, 2, 3}, {1, 4, 2}, {0, 1, 4}, {0, 4, 2}, {0, 2, 3}};
    for (int f = 0; f < 6; ++f)
        for (int k = 0; k < 3; ++k) EXPECT_EQ(mesh.GetTriangle(f)[k], expected[f][k]) << f;
    ASSERT_EQ(tex.size(), 8u);
    ASSERT_EQ(ids.size(), 18u);
    EXPECT_EQ(ids[0], 0);
    EXPECT_EQ(ids[5], 3);
    EXPECT_EQ(ids[6], -1);  // the second face has no texture coordinates
    EXPECT_TRUE(mesh.HasVertexNormal());
    EXPECT_DOUBLE_EQ(mesh.GetVertexNormal(4).z, 1.0);
}

TEST(ParserReaders, PlyAsciiWithQuadsColoursAndOtherElements) {
    ScratchDir dir;
    WriteBytes(dir / "s.ply",
               "ply\r\nformat ascii 1.0\r\ncomment made by a scanner\r\nobj_info anything\r\n"
               "element vertex 4\r\nproperty float x\r\nproperty float y\r\nproperty float z\r\n"
               "property uchar red\r\nproperty uchar green\r\nproperty uchar blue\r\nproperty float confidence\r\n"
               "element face 1\r\nproperty uchar flags\r\nproperty list uchar int vertex_indices\r\n"
               "element edge 1\r\nproperty int vertex1\r\nproperty int vertex2\r\n"
               "end_header\r\n"
               "0 0 0 255 0 0 0.5\r\n1 0 0 0 255 0 0.5\r\n1 1 0 0 0 255 0.5\r\n0 1 0 10 10 10 0.5\r\n"
               "7 4 0 1 2 3\r\n0 1\r\n");
    TriMesh mesh;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "s.ply", &mesh), 0) << Parser::GetLastError();
    EXPECT_EQ(mesh.GetVertexCount(), 4);
    ASSERT_EQ(mesh.GetTriangleCount(), 2);
    EXPECT_EQ(mesh.GetTriangle(1)[1], 2);
    EXPECT_EQ(mesh.GetTriangle(1)[2], 3);
    PointCloud cloud;
    ASSERT_EQ(Parser::ImportPointCloud(dir / "s.ply", &cloud), 0) << Parser::GetLastError();
    ASSERT_TRUE(cloud.HasColor());
    EXPECT_DOUBLE_EQ(cloud.GetPointColor(1).y, 1.0);
    EXPECT_DOUBLE_EQ(cloud.GetPointColor(3).x, 10.0 / 255.0);
}

TEST(ParserReaders, PlyBigEndianFloatScannerFile) {
    ScratchDir dir;
    std::string bytes =
        "ply\nformat binary_big_endian 1.0\nelement vertex 3\nproperty float32 x\nproperty float32 y\n"
        "property float32 z\nproperty float32 s\nproperty float32 t\nelement face 1\n"
        "property list uint8 int32 vertex_indices\nend_header\n";
    auto putBig = [&bytes](const void* p, size_t n) {
        for (size_t i = 0; i < n; ++i) bytes += static_cast<const char*>(p)[n - 1 - i];
    };
    const float values[3][5] = {{0.5f, 0, 0, 0, 0}, {1.25f, 0, 0, 1, 0}, {0, 2.5f, 0, 0, 1}};
    for (const auto& row : values)
        for (float v : row) putBig(&v, 4);
    bytes += '\3';
    for (int32_t id : {0, 1, 2}) putBig(&id, 4);
    WriteBytes(dir / "be.ply", bytes);
    TriMesh mesh;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "be.ply", &mesh, &tex, &ids), 0) << Parser::GetLastError();
    EXPECT_DOUBLE_EQ(mesh.GetVertexCoord(1).x, 1.25);
    EXPECT_DOUBLE_EQ(mesh.GetVertexCoord(2).y, 2.5);
    // Per-vertex s, t become one pair per vertex.
    ASSERT_EQ(tex, (std::vector<double>{0, 0, 1, 0, 0, 1}));
    EXPECT_EQ(ids, (std::vector<int>{0, 1, 2}));
}

TEST(ParserReaders, StlAsciiWithTwoSolidsIsWelded) {
    ScratchDir dir;
    const char* facet =
        "  facet normal 0 0 1\n    outer loop\n      vertex %s\n      vertex %s\n      vertex %s\n"
        "    endloop\n  endfacet\n";
    char a[256], b[256];
    std::snprintf(a, sizeof(a), facet, "0 0 0", "1 0 0", "0 1 0");
    std::snprintf(b, sizeof(b), facet, "1 0 0", "1e0 1 0", "0 1.0 -0");
    WriteBytes(dir / "a.STL", std::string("solid one\n") + a + "endsolid one\nsolid two\n" + b + "endsolid two\n");
    TriMesh mesh;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "a.STL", &mesh), 0) << Parser::GetLastError();
    EXPECT_EQ(mesh.GetVertexCount(), 4);
    ASSERT_EQ(mesh.GetTriangleCount(), 2);
    EXPECT_EQ(std::vector<int>(mesh.GetTriangle(1), mesh.GetTriangle(1) + 3), (std::vector<int>{1, 3, 2}));

    // A binary file whose header happens to start with "solid" is still binary.
    std::string binary(80, ' ');
    binary.replace(0, 5, "solid");
    uint32_t count = 1;
    binary.append(reinterpret_cast<const char*>(&count), 4);
    const float corners[12] = {0, 0, 1, 0, 0, 0, 3, 0, 0, 0, 3, 0};
    binary.append(reinterpret_cast<const char*>(corners), sizeof(corners));
    binary.append(2, '\0');
    WriteBytes(dir / "b.stl", binary);
    ASSERT_EQ(Parser::ImportTriMesh(dir / "b.stl", &mesh), 0) << Parser::GetLastError();
    EXPECT_DOUBLE_EQ(mesh.GetVertexCoord(1).x, 3.0);
}

TEST(ParserReaders, OffWithCommentsColoursAndPolygons) {
    ScratchDir dir;
    WriteBytes(dir / "c.off",
               "COFF # coloured\n# counts follow\n\n5 2 0\n0 0 0 255 0 0 255\n1 0 0 0 255 0 255\n"
               "1 1 0 0 0 255 255\n0 1 0 1 1 1 255\n  2 2 2 0 0 0 255 # apex\n4 0 1 2 3 0.5 0.5 0.5\n3 2 3 4\n");
    TriMesh mesh;
    ASSERT_EQ(Parser::ImportTriMesh(dir / "c.off", &mesh), 0) << Parser::GetLastError();
    EXPECT_EQ(mesh.GetVertexCount(), 5);
    ASSERT_EQ(mesh.GetTriangleCount(), 3);
    EXPECT_DOUBLE_EQ(mesh.GetVertexCoord(4).z, 2.0);
    WriteBytes(dir / "one.off", "OFF 3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n");
    ASSERT_EQ(Parser::ImportTriMesh(dir / "one.off", &mesh), 0) << Parser::GetLastError();
    EXPECT_EQ(mesh.GetTriangleCount(), 1);
}

TEST(ParserReaders, AscWithSeparatorsAndComments) {
    ScratchDir dir;
    WriteBytes(dir / "p.asc", "# scan\n// exported\n1,2,3,0,0,1\n  4;5;6;0;1;0\r\n7\t8\t9 1 0 0\n\n");
    PointCloud cloud;
    ASSERT_EQ(Parser::ImportPointCloud(dir / "p.asc", &cloud), 0) << Parser::GetLastError();
    ASSERT_EQ(cloud.GetPointCount(), 3);
    EXPECT_TRUE(cloud.HasNormal());
    EXPECT_DOUBLE_EQ(cloud.GetPointCoord(2).y, 8.0);
    EXPECT_DOUBLE_EQ(cloud.GetPointNormal(1).y, 1.0);
}

// ------------------------------------------------------------ failures

TEST(ParserErrors, ArgumentsExtensionsAndMissingFiles) {
    ScratchDir dir;
    TriMesh mesh = testmesh::Icosphere(0);
    PointCloud cloud = SampleCloud(false, false);
    EXPECT_EQ(Parser::ImportTriMesh(dir / "m.obj", nullptr), -2);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.obj", nullptr), -2);
    EXPECT_EQ(Parser::ImportPointCloud(dir / "p.asc", nullptr), -2);
    EXPECT_EQ(Parser::ExportPointCloud(dir / "p.asc", nullptr), -2);
    EXPECT_EQ(Parser::ExportGridPointCloud(dir / "p.asc", nullptr), -2);

    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.xyz", &mesh), -2);
    EXPECT_NE(Parser::GetLastError().find("unsupported extension \".xyz\""), std::string::npos);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "noextension", &mesh), -2);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.asc", &mesh), -2);  // a cloud format
    EXPECT_EQ(Parser::ExportPointCloud(dir / "p.stl", &cloud), -2);
    EXPECT_EQ(Parser::ImportTriMesh(dir / "missing.obj", &mesh), -2);
    EXPECT_NE(Parser::GetLastError().find("missing.obj"), std::string::npos);
    EXPECT_EQ(mesh.GetVertexCount(), 0);
    EXPECT_EQ(Parser::ImportPointCloud(dir / "missing.ply", &cloud), -2);
    EXPECT_EQ(cloud.GetPointCount(), 0);
    mkdir((dir / "folder.obj").c_str(), 0700);
    EXPECT_EQ(Parser::ImportTriMesh(dir / "folder.obj", &mesh), -2);
    rmdir((dir / "folder.obj").c_str());
    mesh = testmesh::Icosphere(0);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "no/such/folder/m.obj", &mesh), -2);
    EXPECT_NE(Parser::GetLastError().find("cannot create"), std::string::npos);
    TriMesh empty;
    EXPECT_EQ(Parser::ExportTriMesh(dir / "e.obj", &empty), -2);
    PointCloud none;
    EXPECT_EQ(Parser::ExportPointCloud(dir / "e.asc", &none), -2);

    // Upper-case extensions are the same formats.
    mesh = testmesh::Icosphere(0);
    ASSERT_EQ(Parser::ExportTriMesh(dir / "UP.OBJ", &mesh), 0);
    EXPECT_TRUE(Parser::GetLastError().empty());
    ASSERT_EQ(Parser::ImportTriMesh(dir / "UP.OBJ", &mesh), 0);
    EXPECT_EQ(mesh.GetTriangleCount(), 20);
}

TEST(ParserErrors, ExportRejectsInconsistentTexCoords) {
    ScratchDir dir;
    TriMesh mesh = testmesh::Icosphere(0);
    std::vector<double> tex;
    std::vector<int> ids;
    SeamedTexCoords(mesh, tex, ids);
    std::vector<int> shortIds(ids.begin(), ids.end() - 1);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.obj", &mesh, &tex, &shortIds), -2);
    std::vector<int> badIds = ids;
    badIds[4] = static_cast<int>(tex.size() / 2);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.obj", &mesh, &tex, &badIds), -2);
    std::vector<double> oddTex(tex.begin(), tex.end() - 1);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.obj", &mesh, &oddTex, &ids), -2);
    std::vector<double> nanTex = tex;
    nanTex[3] = std::nan("");
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.ply", &mesh, &nanTex, &ids), -2);
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.obj", &mesh, &tex), -2);  // not one pair per vertex
    EXPECT_EQ(Parser::ExportTriMesh(dir / "m.obj", &mesh, nullptr, &ids), -2);
    TriMesh nanMesh = testmesh::Icosphere(0);
    nanMesh.SetVertexCoord(3, Vector3(0, std::nan(""), 0));
    EXPECT_EQ(Parser::ExportTriMesh(dir / "n.stl", &nanMesh), -2);
    // None of the refused calls left a file behind.
    struct stat info;
    EXPECT_NE(stat((dir / "m.obj").c_str(), &info), 0);
    EXPECT_NE(stat((dir / "n.stl").c_str(), &info), 0);
}

// The format layer alone, as the fuzz targets run it.
int ParseWithFormatLayer(const std::string& ext, bool cloudFile, const std::string& bytes, ORVO::MeshFileData& mesh,
                         ORVO::CloudFileData& cloud, std::string& error) {
    const char* p = bytes.data();
    const size_t n = bytes.size();
    if (cloudFile) {
        if (ext == "asc") return ORVO::_ParseAscCloud(p, n, cloud, error);
        return ext == "ply" ? ORVO::_ParsePlyCloud(p, n, cloud, error) : ORVO::_ParseObjCloud(p, n, cloud, error);
    }
    if (ext == "obj") return ORVO::_ParseObjMesh(p, n, mesh, error);
    if (ext == "ply") return ORVO::_ParsePlyMesh(p, n, mesh, error);
    return ext == "stl" ? ORVO::_ParseStlMesh(p, n, mesh, error) : ORVO::_ParseOffMesh(p, n, mesh, error);
}

// tests/data/malformed holds small broken files of every format. Files named
// cloud_* and *.asc are point clouds; the rest are meshes. Each must fail
// cleanly both through the file interface and in the format layer alone,
// leaving no data in any output.
TEST(ParserErrors, MalformedCorpusGivesOneCleanErrorEach) {
    std::string source = __FILE__;
    const std::string folder = source.substr(0, source.find_last_of('/')) + "/data/malformed";
    DIR* dir = opendir(folder.c_str());
    ASSERT_NE(dir, nullptr) << folder;
    std::vector<std::string> names;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        const std::string ext = name.substr(name.find_last_of('.') + 1);
        if (ext == "obj" || ext == "ply" || ext == "stl" || ext == "off" || ext == "asc") names.push_back(name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    ASSERT_GE(names.size(), 80u);

    ScratchDir scratch;
    const std::string logPath = scratch / "log.txt";
    ORVO::LogSystem::SetLogFileName(logPath);
    std::map<std::string, int> perFormat;
    for (const std::string& name : names) {
        const std::string path = folder + "/" + name;
        const std::string ext = name.substr(name.find_last_of('.') + 1);
        const bool cloudFile = name.compare(0, 6, "cloud_") == 0 || ext == "asc";
        int status;
        if (cloudFile) {
            PointCloud cloud = SampleCloud(true, false);
            status = Parser::ImportPointCloud(path, &cloud);
            EXPECT_EQ(cloud.GetPointCount(), 0) << name;
        } else {
            TriMesh mesh = testmesh::Icosphere(1);
            std::vector<double> tex = {1, 2};
            std::vector<int> ids = {0, 0, 0};
            status = Parser::ImportTriMesh(path, &mesh, &tex, &ids);
            EXPECT_EQ(mesh.GetVertexCount(), 0) << name;
            EXPECT_EQ(mesh.GetTriangleCount(), 0) << name;
            EXPECT_TRUE(tex.empty() && ids.empty()) << name;
        }
        EXPECT_EQ(status, -3) << name << ": " << Parser::GetLastError();
        const std::string message = Parser::GetLastError();
        EXPECT_EQ(message.compare(0, path.size() + 2, path + ": "), 0) << message;
        EXPECT_GT(message.size(), path.size() + 8) << name;
        EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        ++perFormat[ext];

        ORVO::MeshFileData meshData;
        ORVO::CloudFileData cloudData;
        std::string error;
        EXPECT_EQ(ParseWithFormatLayer(ext, cloudFile, testfiles::ReadFile(path), meshData, cloudData, error), -3)
            << name;
        EXPECT_FALSE(error.empty()) << name;
        EXPECT_TRUE(meshData.positions.empty() && meshData.triangles.empty() && meshData.texCoords.empty() &&
                    meshData.triangleTexIds.empty() && meshData.normals.empty())
            << name;
        EXPECT_TRUE(cloudData.positions.empty() && cloudData.normals.empty() && cloudData.gridPoints.empty()) << name;
    }
    ORVO::LogSystem::SetLogFileName("QarnUVAtlas.txt");
    for (const char* ext : {"obj", "ply", "stl", "off", "asc"}) EXPECT_GE(perFormat[ext], 5) << ext;
    // One log line per failure, each naming the operation and the file.
    std::istringstream log(testfiles::ReadFile(logPath));
    std::string line;
    size_t lines = 0;
    while (std::getline(log, line)) {
        ++lines;
        EXPECT_EQ(line.compare(0, 8, "Parser::"), 0) << line;
        EXPECT_NE(line.find("/data/malformed/"), std::string::npos) << line;
    }
    EXPECT_EQ(lines, names.size());
}

TEST(ParserErrors, EveryTruncationOfABinaryFileFails) {
    TriMesh mesh = testmesh::Icosphere(1);
    std::vector<double> tex;
    std::vector<int> ids;
    SeamedTexCoords(mesh, tex, ids);
    std::string ply, stl;
    ORVO::_FormatPlyMesh(ToFileData(mesh, tex, ids), ORVO::PLY_BINARY_LITTLE_ENDIAN, ply);
    ORVO::_FormatStlMesh(ToFileData(mesh, {}, {}), true, stl);
    ORVO::MeshFileData data;
    std::string error;
    ASSERT_EQ(ORVO::_ParsePlyMesh(ply.data(), ply.size(), data, error), 0) << error;
    ASSERT_EQ(ORVO::_ParseStlMesh(stl.data(), stl.size(), data, error), 0) << error;
    int checked = 0;
    for (size_t cut = 0; cut < ply.size(); cut += 1 + cut / 40, ++checked) {
        ASSERT_EQ(ORVO::_ParsePlyMesh(ply.data(), cut, data, error), -3) << "PLY cut at " << cut;
        ASSERT_TRUE(data.positions.empty() && data.triangles.empty());
        ASSERT_FALSE(error.empty());
    }
    for (size_t cut = 0; cut < stl.size(); cut += 1 + cut / 40, ++checked) {
        ASSERT_EQ(ORVO::_ParseStlMesh(stl.data(), cut, data, error), -3) << "STL cut at " << cut;
        ASSERT_TRUE(data.positions.empty() && data.triangles.empty());
    }
    EXPECT_GT(checked, 200);
}

}  // namespace
