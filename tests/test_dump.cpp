// Recording calls into dump files: the once-only trigger, file names, the
// text of every block encoding, the registry, and loading whatever a file
// holds without harm.
#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "DumpTestKit.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

using namespace ORVO;
using dumptest::BlockCodec;
using dumptest::InScratchDir;
using testfiles::ReadFile;

TriMesh OneTriangle() {
    TriMesh mesh;
    mesh.InsertVertex(Vector3(0, 0, 0));
    mesh.InsertVertex(Vector3(1, 0, 0));
    mesh.InsertVertex(Vector3(0, 0.5, 0));
    mesh.InsertTriangle(0, 1, 2);
    return mesh;
}

void WriteText(const std::string& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
}

// ---- the trigger and the file names ----

TEST(DumpTrigger, OneRequestRecordsOnlyTheNextCall) {
    InScratchDir dir;
    TriMesh mesh = testmesh::Grid(3, 3);
    std::vector<double> uv;
    DumpOnce();
    UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv);
    UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv);
    std::vector<std::string> files = dir.DumpFiles();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_NE(files[0].find("_Mesh_Unfold_Conformal_"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / files[0]).substr(0, 3), "15\n");
}

TEST(DumpTrigger, WithoutRequestNothingIsWritten) {
    InScratchDir dir;
    TriMesh mesh = testmesh::Grid(3, 3);
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, 2, &tex, &ids, false, false, false, nullptr), 0);
    EXPECT_TRUE(dir.DumpFiles().empty());
}

TEST(DumpTrigger, CallThatFailsItsChecksIsStillRecorded) {
    InScratchDir dir;
    const int before = DumpBase::APICalledTime;
    DumpOnce();
    std::vector<double> tex;
    std::vector<int> ids;
    EXPECT_EQ(UnfoldMesh::GenerateUVAtlas(nullptr, 5, &tex, &ids, true, false, true, nullptr), STATUS_INVALID_INPUT);
    const std::string name = dir.OnlyDumpFile();
    EXPECT_EQ(ReadFile(dir / name), "18\n-1\n5 1 0 1\n");
    EXPECT_EQ(DumpBase::APICalledTime, before + 1);

    DumpMeshUnfoldGenerateUVAtlas record;
    record.LoadDumpFile(dir / name);
    ASSERT_NE(record.GetTriMesh(0), nullptr);
    EXPECT_EQ(record.GetTriMesh(0)->GetVertexCount(), 0);
    // The mesh reader stopped at "-1"; the scalars follow it.
    EXPECT_EQ(record.mChartCount, 5);
    EXPECT_TRUE(record.mNeedInitSplit);
    EXPECT_FALSE(record.mAcceptDirectlyA);
    EXPECT_TRUE(record.mAcceptDirectlyB);
}

TEST(DumpTrigger, NamesCarryTimeTagAndCounter) {
    InScratchDir dir;
    TriMesh mesh = testmesh::Grid(3, 3);
    const int first = DumpBase::APICalledTime;
    DumpOnce();
    SplitMesh::SplitByLines(&mesh, {}, nullptr);
    std::vector<ITriMesh*> charts{&mesh};
    std::vector<std::vector<double>> coords(1, std::vector<double>(2 * mesh.GetVertexCount(), 0.0));
    DumpOnce();
    UnfoldMesh::PackUVAtlas(charts, coords);
    std::vector<std::string> files = dir.DumpFiles();
    ASSERT_EQ(files.size(), 2u);
    const std::string splitSuffix = "_Mesh_Split_SplitByLine_" + std::to_string(first) + ".dump";
    const std::string packSuffix = "_Mesh_Unfold_PackUVAtlas_" + std::to_string(first + 1) + ".dump";
    int matched = 0;
    for (const std::string& name : files) {
        for (const std::string& suffix : {splitSuffix, packSuffix}) {
            if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
                continue;
            ++matched;
            const std::string stamp = name.substr(0, name.size() - suffix.size());
            EXPECT_EQ(stamp.size(), 24u) << name;  // Www_Mmm_dd_hh-mm-ss_yyyy
            EXPECT_EQ(stamp.find_first_of(" :\n/"), std::string::npos) << name;
        }
    }
    EXPECT_EQ(matched, 2);
}

// ---- the payloads written by the trigger ----

TEST(DumpLayout, ConformalWithNullPinsWritesTwoZeros) {
    InScratchDir dir;
    TriMesh mesh = OneTriangle();
    std::vector<double> uv;
    DumpOnce();
    UnfoldMesh::ConformalMap(&mesh, nullptr, nullptr, &uv);
    EXPECT_EQ(ReadFile(dir / dir.OnlyDumpFile()), "15\n3\n0 0 0\n1 0 0\n0 0.5 0\n1\n0 1 2\n0\n0\n");
}

TEST(DumpLayout, ListsRunOnWithoutClosingLineBreak) {
    InScratchDir dir;
    TriMesh mesh = OneTriangle();
    const std::vector<double> uv{0.0, 0.0, 1.0, 0.0, 0.0, 0.25};
    const std::vector<int> pins{0, 2};
    DumpOnce();
    std::vector<double> inOut = uv;
    UnfoldMesh::OptimizeIsometric(&mesh, &inOut, 7, &pins);
    // Real vectors keep 20 significant digits after the mesh block.
    EXPECT_EQ(ReadFile(dir / dir.OnlyDumpFile()),
              "16\n3\n0 0 0\n1 0 0\n0 0.5 0\n1\n0 1 2\n6\n0 0 1 0 0 0.25 7\n2\n0 2 ");

    DumpMeshUnfoldOptimizeIsometric record;
    record.LoadDumpFile(dir / dir.OnlyDumpFile());
    EXPECT_EQ(record.mUVCoords, uv);
    EXPECT_EQ(record.mIterationCount, 7);
    EXPECT_EQ(record.mFixedVertexIndex, pins);
}

TEST(DumpLayout, PackingRecordsTheCountButNoMeshBlocks) {
    InScratchDir dir;
    TriMesh a = OneTriangle(), b = OneTriangle(), c = OneTriangle();
    std::vector<ITriMesh*> charts{&a, &b, &c};
    std::vector<std::vector<double>> coords(3, {0.0, 0.0, 1.0, 0.0, 0.0, 0.5});
    DumpOnce();
    UnfoldMesh::PackUVAtlas(charts, coords);
    const std::string name = dir.OnlyDumpFile();
    // No mesh block sets the precision, so the lists keep the default six digits.
    EXPECT_EQ(ReadFile(dir / name), "8\n3\n3\n6\n0 0 1 0 0 0.5 6\n0 0 1 0 0 0.5 6\n0 0 1 0 0 0.5 ");

    // Reading expects three mesh blocks and so takes the list count and the
    // lists for mesh data: the record is what the file says, not the call.
    // The second block runs into "0.5" where it wants a vertex id, and
    // reading ends there.
    DumpMeshUnfoldPackUVAtlas record;
    record.LoadDumpFile(dir / name);
    ASSERT_EQ(record.mTriMeshes.size(), 2u);
    EXPECT_EQ(record.GetTriMesh(0)->GetVertexCount(), 3);
    EXPECT_EQ(record.GetTriMesh(0)->GetVertexCoord(0).x, 6.0);
    EXPECT_TRUE(record.mUVCoords.empty());
    EXPECT_EQ(record.GetTriMesh(2), nullptr);
    EXPECT_EQ(record.GetTriMesh(-1), nullptr);
}

TEST(DumpLayout, SplitLinesAndOptionsForm) {
    InScratchDir dir;
    TriMesh mesh = OneTriangle();
    DumpOnce();
    SplitMesh::SplitByLines(&mesh, {{0, 1}, {}, {2, 0, 1}}, nullptr);
    EXPECT_EQ(ReadFile(dir / dir.OnlyDumpFile()), "19\n3\n0 0 0\n1 0 0\n0 0.5 0\n1\n0 1 2\n3\n2\n0 1 0\n3\n2 0 1 ");

    InScratchDir second;
    UVAtlasOptions options;
    options.chartCount = 4;
    options.acceptDirectly = true;
    std::vector<double> tex;
    std::vector<int> ids;
    DumpOnce();
    UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids);
    const std::string text = ReadFile(second / second.OnlyDumpFile());
    EXPECT_EQ(text.substr(text.size() - 8), "4 0 1 1\n");
}

// ---- block encodings ----

TEST(DumpBlocks, VectorsAndMatrixText) {
    InScratchDir dir;
    BlockCodec codec;
    {
        std::ofstream out(dir / "blocks.txt");
        codec.DumpStlIntVector({}, out);
        codec.DumpStlIntVector({3, -4}, out);
        codec.DumpStlRealVector({0.5}, out);
        codec.DumpStlVector3Vector({Vector3(1, 2, 3), Vector3(4, 5, 6)}, out);
        codec.DumpStlColor4Vector({Color4(1, 2, 3, 4), Color4(255, 0, 0, 255)}, out);
        Matrix4x4 m;
        m.InitIdentityTransform();
        codec.DumpMatrix4x4(m, out);
    }
    const std::string colour1 = std::to_string(Color4ToInt(Color4(1, 2, 3, 4)));
    const std::string colour2 = std::to_string(Color4ToInt(Color4(255, 0, 0, 255)));
    // The colours end without a line break: the matrix starts on their line.
    EXPECT_EQ(ReadFile(dir / "blocks.txt"), "0\n\n2\n3 -4 \n1\n0.5 \n2\n1 2 3 4 5 6 \n2\n" + colour1 + " " + colour2 +
                                                " 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1 \n");

    std::ifstream in(dir / "blocks.txt");
    std::vector<int> ints{9};
    std::vector<double> reals;
    std::vector<Vector3> points;
    std::vector<Color4> colours;
    Matrix4x4 m;
    codec.LoadStlIntVector(ints, in);
    EXPECT_TRUE(ints.empty());
    codec.LoadStlIntVector(ints, in);
    EXPECT_EQ(ints, (std::vector<int>{3, -4}));
    codec.LoadStlRealVector(reals, in);
    EXPECT_EQ(reals, std::vector<double>{0.5});
    codec.LoadStlVector3Vector(points, in);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[1].z, 6.0);
    codec.LoadStlColor4Vector(colours, in);
    EXPECT_EQ(colours, (std::vector<Color4>{Color4(1, 2, 3, 4), Color4(255, 0, 0, 255)}));
    codec.LoadMatrix4x4(m, in);
    ASSERT_FALSE(m.IsEmpty());
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m.GetValue(i), i % 5 == 0 ? 1.0 : 0.0);
}

TEST(DumpBlocks, TwentyDigitsRestoreEveryDouble) {
    InScratchDir dir;
    std::mt19937_64 random(7);
    std::uniform_int_distribution<uint64_t> bits;
    TriMesh mesh;
    const double specials[] = {0.1, 1.0 / 3.0, -2.5e-308, 4.9e-324, 1.7976931348623157e308, -0.0, 123456789.123456789};
    for (double s : specials) mesh.InsertVertex(Vector3(s, -s, s * 0.7));
    while (mesh.GetVertexCount() < 3000) {
        double v[3];
        for (double& x : v) {
            uint64_t b = bits(random);
            std::memcpy(&x, &b, sizeof x);
            if (!std::isfinite(x)) x = 1.0;
        }
        mesh.InsertVertex(Vector3(v[0], v[1], v[2]));
    }
    mesh.InsertTriangle(0, 1, 2);
    BlockCodec codec;
    {
        std::ofstream out(dir / "mesh.txt");
        codec.DumpTriMesh(&mesh, out);
    }
    TriMesh back;
    std::ifstream in(dir / "mesh.txt");
    codec.LoadTriMesh(&back, in);
    ASSERT_EQ(back.GetVertexCount(), mesh.GetVertexCount());
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3 a = mesh.GetVertexCoord(v), b = back.GetVertexCoord(v);
        ASSERT_EQ(std::memcmp(&a.x, &b.x, sizeof(double)), 0) << v;
        ASSERT_EQ(std::memcmp(&a.y, &b.y, sizeof(double)), 0) << v;
        ASSERT_EQ(std::memcmp(&a.z, &b.z, sizeof(double)), 0) << v;
    }
}

TEST(DumpBlocks, PointCloudsGridsAndPointLists) {
    InScratchDir dir;
    BlockCodec codec;
    PointCloud cloud(true, true, false);
    cloud.InsertPoint(Vector3(1, 2, 3), Vector3(0, 0, 1));
    cloud.InsertPoint(Vector3(4, 5, 6), Vector3(0, 1, 0));
    cloud.SetPointColor(0, Vector3(0.25, 0.5, 1));
    PointCloud grid;
    grid.InitGrid(3, 2);
    grid.SetHasNormal(true);
    grid.SetGridCoord(2, 1, Vector3(7, 8, 9));
    grid.SetGridNormal(2, 1, Vector3(1, 0, 0));
    grid.SetGridCoord(0, 0, Vector3(-1, 0, 0));
    {
        std::ofstream out(dir / "clouds.txt");
        codec.DumpPointCloud(&cloud, true, true, out);
        codec.DumpGridPointCloud(&grid, true, out);
        codec.DumpPointList(&cloud, false, out);
    }
    const std::string text = ReadFile(dir / "clouds.txt");
    EXPECT_EQ(text.substr(0, 41), "2 1\n1 2 3 0 0 1\n4 5 6 0 1 0\n1\n0.25 0.5 1\n");
    EXPECT_NE(text.find("\n2\n3 2\n1\n2 1 7 8 9 1 0 0\n0 0 -1 0 0 0 0 0\n2\n1 2 3\n4 5 6\n"), std::string::npos);

    std::ifstream in(dir / "clouds.txt");
    PointCloud cloudBack, gridBack;
    codec.LoadPointCloud(&cloudBack, in);
    codec.LoadGridPointCloud(&gridBack, in);
    ASSERT_EQ(cloudBack.GetPointCount(), 2);
    EXPECT_TRUE(cloudBack.HasNormal());
    EXPECT_TRUE(cloudBack.HasColor());
    EXPECT_EQ(cloudBack.GetPointNormal(1).y, 1.0);
    EXPECT_EQ(cloudBack.GetPointColor(0).x, 0.25);
    ASSERT_TRUE(gridBack.HasGridTopology());
    EXPECT_EQ(gridBack.GetWidth(), 3);
    EXPECT_EQ(gridBack.GetHeight(), 2);
    EXPECT_EQ(gridBack.GetPointCount(), 2);
    EXPECT_EQ(gridBack.GetGridCoord(2, 1).z, 9.0);
    EXPECT_EQ(gridBack.GetGridNormal(2, 1).x, 1.0);
    EXPECT_FALSE(gridBack.IsGridValid(1, 1));
}

TEST(DumpBlocks, NullBlocksAndTheCloudReadersAsymmetry) {
    InScratchDir dir;
    BlockCodec codec;
    {
        std::ofstream out(dir / "nulls.txt");
        codec.DumpTriMesh(nullptr, out);
        codec.DumpPointList(nullptr, false, out);
        out << "7\n";
        codec.DumpPointCloud(nullptr, false, false, out);
        out << "0\n0\n";
    }
    EXPECT_EQ(ReadFile(dir / "nulls.txt"), "-1\n-1\n7\n-1\n0\n0\n");
    std::ifstream in(dir / "nulls.txt");
    TriMesh mesh;
    codec.LoadTriMesh(&mesh, in);  // stops at -1, nothing more is read
    EXPECT_EQ(mesh.GetVertexCount(), 0);
    int next = 0;
    in >> next >> next;
    EXPECT_EQ(next, 7);
    // A cloud block has no null case: -1 is a count, the next token its
    // normal flag, then the colour flag.
    PointCloud cloud;
    codec.LoadPointCloud(&cloud, in);
    EXPECT_EQ(cloud.GetPointCount(), 0);
    in >> next;
    EXPECT_TRUE(in.fail());
}

// ---- the registry ----

TEST(DumpRegistry, EveryValueGivesItsOwnRecord) {
    RegisterDumpInfo();
    DumpManager* manager = DumpManager::Get();
    int registered = 0;
    for (int value = 0; value <= 400; ++value) {
        std::unique_ptr<DumpBase> record(manager->GetDumpInstance(value));
        if (!record) continue;
        ++registered;
        const int expected = (value == 17 || value == 41) ? 12 : value;
        EXPECT_EQ(static_cast<int>(record->GetApiName()), expected) << value;
        EXPECT_EQ(record->GetTriMesh(5), nullptr);
    }
    EXPECT_EQ(registered, 91);
    for (int value : {10, 27, 40, 111, 112, 113, 120, 130, 204, 212})
        EXPECT_EQ(manager->GetDumpInstance(value), nullptr) << value;

    std::unique_ptr<DumpBase> a(manager->GetDumpInstance(12)), b(manager->GetDumpInstance(17)),
        c(manager->GetDumpInstance(41));
    EXPECT_EQ(typeid(*a), typeid(DumpMeshMeasureSectionExact));
    EXPECT_EQ(typeid(*b), typeid(DumpMeshMeasureSectionExact));
    EXPECT_EQ(typeid(*c), typeid(DumpMeshMeasureSectionExact));
    std::unique_ptr<DumpBase> atlas(manager->GetDumpInstance(18));
    EXPECT_NE(dynamic_cast<DumpMeshUnfoldGenerateUVAtlas*>(atlas.get()), nullptr);
    std::unique_ptr<DumpBase> unregistered(CreateDumpOptimiseMappingInterpolateFaceImageColorIds());
    EXPECT_EQ(unregistered->GetApiName(), API_OPTIMISE_MAPPING_INTERPOLATE_FACE_IMAGE_COLOR_IDS);
}

TEST(DumpRegistry, RegisteringTwiceKeepsTheFirst) {
    RegisterDumpInfo();
    RegisterDumpInfo();  // every value is already there: nothing changes
    DumpManager* manager = DumpManager::Get();
    EXPECT_FALSE(manager->RegisterDumpClass(18, &CreateDumpMeshSplitByLines));
    std::unique_ptr<DumpBase> record(manager->GetDumpInstance(18));
    EXPECT_EQ(record->GetApiName(), API_MESH_UNFOLD_GENERATE_UV_ATLAS);
    EXPECT_TRUE(manager->RegisterDumpClass(10, &CreateDumpMeshSplitByLines));
    std::unique_ptr<DumpBase> added(manager->GetDumpInstance(10));
    EXPECT_EQ(added->GetApiName(), API_MESH_SPLIT_BY_LINES);
}

TEST(DumpRegistry, EmptyShellsLoadNothingAndSucceed) {
    InScratchDir dir;
    WriteText(dir / "any.dump", "118\n3\n1 2 3\n");
    std::unique_ptr<DumpBase> shells[] = {
        std::unique_ptr<DumpBase>(CreateDumpSumPointCloudUpdate()),
        std::unique_ptr<DumpBase>(CreateDumpSumPointCloudExtract()),
        std::unique_ptr<DumpBase>(CreateDumpFusePointCloudUpdate()),
        std::unique_ptr<DumpBase>(CreateDumpFusePointCloudExtract()),
        std::unique_ptr<DumpBase>(CreateDumpSignedDistanceFunctionUpdate()),
        std::unique_ptr<DumpBase>(CreateDumpSignedDistanceFunctionExtract())};
    for (auto& shell : shells) {
        shell->LoadDumpFile(dir / "any.dump");
        EXPECT_EQ(shell->Run(), 0);
        EXPECT_EQ(shell->GetTriMesh(0), nullptr);
        EXPECT_EQ(shell->GetPointCloud(0), nullptr);
    }
}

// ---- loading what a file holds, whatever it is ----

TEST(DumpLoading, DamagedFilesNeverHurt) {
    InScratchDir dir;
    const std::string cases[] = {
        "",                                           // empty
        "18\n",                                       // ends after the number
        "18\n3\n0 0 0\n1 0",                          // cut inside a vertex
        "18\n2000000000\n0 0 0\n",                    // a count far beyond the data
        "18\n3\n0 0 0\n1 0 0\n0 1 0\n2000000000\n0 1 2\n",
        "18\n3\n0 0 0\n1 0 0\n0 1 0\n2\n0 1 7\n-5 1 2\n9 9 9\n",  // ids outside the mesh
        "\x01\x02garbage\xff\xfe text 1e999 nan",
        "8\n2000000000\n-1\n",                        // packing: many charts, no data
        "8\n0\n2000000000\n2000000000\n0.5",          // packing: huge lists
        "19\n-1\n2000000000\n2000000000\n1 2",        // split lines
        "16\n-1\n2000000000\n1e300 -1e300\n",         // ids parsed as reals
        "15\n3\n0 0 0\n1 0 0\n0 1 0\n1\n0 1 2\n2000000000\n1 2\n",
    };
    const DumpCreator creators[] = {&CreateDumpMeshUnfoldConformal, &CreateDumpMeshUnfoldOptimizeIsometric,
                                    &CreateDumpMeshUnfoldGenerateUVAtlas, &CreateDumpMeshUnfoldPackUVAtlas,
                                    &CreateDumpMeshSplitByLines};
    int index = 0;
    for (const std::string& text : cases) {
        const std::string path = dir / ("case" + std::to_string(index++) + ".dump");
        WriteText(path, text);
        for (DumpCreator create : creators) {
            std::unique_ptr<DumpBase> record(create());
            record->LoadDumpFile(path);
            record->LoadDumpFile(path);  // loading again replaces what the first load made
            const int status = record->Run();
            EXPECT_LE(status, 0) << text;
            for (int i = 0; i < 4; ++i) {
                TriMesh* mesh = record->GetTriMesh(i);
                if (mesh == nullptr) continue;
                int ids[3];
                for (int f = 0; f < mesh->GetTriangleCount(); ++f) {
                    mesh->GetTriangleVertexIds(f, ids);
                    for (int id : ids) ASSERT_TRUE(id >= 0 && id < mesh->GetVertexCount()) << text;
                }
            }
        }
    }
    // A file that does not exist leaves the record at its defaults.
    DumpMeshUnfoldGenerateUVAtlas missing;
    missing.LoadDumpFile(dir / "no_such_file.dump");
    EXPECT_EQ(missing.mChartCount, 0);
    EXPECT_EQ(missing.GetTriMesh(0)->GetVertexCount(), 0);
    EXPECT_EQ(missing.Run(), STATUS_INVALID_INPUT);
}

TEST(DumpLoading, TruncatedMeshKeepsWhatWasWhole) {
    InScratchDir dir;
    WriteText(dir / "cut.dump", "18\n4\n0 0 0\n1 0 0\n0 1 0\n1 1");
    DumpMeshUnfoldGenerateUVAtlas record;
    record.mChartCount = 9;
    record.LoadDumpFile(dir / "cut.dump");
    EXPECT_EQ(record.GetTriMesh(0)->GetVertexCount(), 3);
    EXPECT_EQ(record.GetTriMesh(0)->GetTriangleCount(), 0);
    EXPECT_EQ(record.mChartCount, 0);  // the fields after the cut read as nothing
}

// A number too large for its field reads as the largest value (what the
// failed extraction gives) and ends the reading: nothing after it is taken.
TEST(DumpLoading, OverflowingNumberEndsTheRead) {
    InScratchDir dir;
    WriteText(dir / "big.dump", "16\n3\n0 0 0\n1 0 0\n0 1 0\n1\n0 1 2\n6\n0 0 1 0 0 1 99999999999999999999\n1\n0 ");
    DumpMeshUnfoldOptimizeIsometric record;
    record.LoadDumpFile(dir / "big.dump");
    EXPECT_EQ(record.mUVCoords.size(), 6u);
    EXPECT_EQ(record.mIterationCount, std::numeric_limits<int>::max());
    EXPECT_TRUE(record.mFixedVertexIndex.empty());
}

TEST(DumpRecords, CopiesAreDeep) {
    DumpMeshUnfoldConformal record;
    record.mpTriMesh.reset(new TriMesh(OneTriangle()));
    record.mFixedVertexIndex = {0, 1};
    DumpMeshUnfoldConformal copy(record);
    ASSERT_NE(copy.GetTriMesh(0), nullptr);
    EXPECT_NE(copy.GetTriMesh(0), record.GetTriMesh(0));
    copy.GetTriMesh(0)->SetVertexCoord(0, Vector3(9, 9, 9));
    EXPECT_EQ(record.GetTriMesh(0)->GetVertexCoord(0).x, 0.0);
    EXPECT_EQ(copy.mFixedVertexIndex, record.mFixedVertexIndex);

    DumpMeshUnfoldPackUVAtlas pack;
    pack.mTriMeshes.emplace_back(new TriMesh(OneTriangle()));
    pack.mUVCoords = {{0, 0, 1, 0, 0, 1}};
    DumpMeshUnfoldPackUVAtlas assigned;
    assigned = pack;
    ASSERT_NE(assigned.GetTriMesh(0), nullptr);
    EXPECT_NE(assigned.GetTriMesh(0), pack.GetTriMesh(0));
    EXPECT_EQ(assigned.mUVCoords, pack.mUVCoords);
    assigned = assigned;  // self-assignment keeps the charts
    EXPECT_NE(assigned.GetTriMesh(0), nullptr);
}

}  // namespace
