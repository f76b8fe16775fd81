// Replaying recorded UV-atlas calls: the record built from the file's number
// gives exactly what the direct call gave (the library is deterministic),
// laid out in the plane and normalised where the record does so.
#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "DumpTestKit.h"
#include "FlattenMeshes.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include "dump/DumpSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace ORVO;
using dumptest::InScratchDir;

// Loads the only dump file of `dir` into the record its first number names.
std::unique_ptr<DumpBase> LoadRecorded(const InScratchDir& dir) {
    RegisterDumpInfo();
    const std::string path = dir / dir.OnlyDumpFile();
    std::ifstream in(path);
    int api = 0;
    in >> api;
    std::unique_ptr<DumpBase> record(DumpManager::Get()->GetDumpInstance(api));
    if (record) record->LoadDumpFile(path);
    return record;
}

// What the replay promises for a layout: centred on (0.5, 0.5), longer side 1.
std::vector<double> Normalised(std::vector<double> uv) {
    _NormalizeTexCoords(uv);
    return uv;
}

// The mesh as the replay leaves it: vertex i at (u_i, v_i, 0).
void ExpectPlanarLayout(const ITriMesh& mesh, const std::vector<double>& uv) {
    ASSERT_EQ(2 * static_cast<size_t>(mesh.GetVertexCount()), uv.size());
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3 p = mesh.GetVertexCoord(v);
        ASSERT_EQ(p.x, uv[2 * v]) << v;
        ASSERT_EQ(p.y, uv[2 * v + 1]) << v;
        ASSERT_EQ(p.z, 0.0) << v;
    }
}

void ExpectAtlasReplay(const TriMesh& mesh, int chartCount) {
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, chartCount, &tex, &ids, false, false, false, nullptr), 0);
    InScratchDir dir;
    std::vector<double> tex2;
    std::vector<int> ids2;
    DumpOnce();
    ASSERT_EQ(UnfoldMesh::GenerateUVAtlas(&mesh, chartCount, &tex2, &ids2, false, false, false, nullptr), 0);
    ASSERT_EQ(tex2, tex);  // recording does not change the call

    std::unique_ptr<DumpBase> record = LoadRecorded(dir);
    ASSERT_NE(dynamic_cast<DumpMeshUnfoldGenerateUVAtlas*>(record.get()), nullptr);
    ASSERT_EQ(record->Run(), 0);
    const TriMesh* atlas = record->GetTriMesh(0);
    ASSERT_NE(atlas, nullptr);
    const std::vector<double> expected = Normalised(tex);
    ExpectPlanarLayout(*atlas, expected);
    ASSERT_EQ(atlas->GetTriangleCount(), mesh.GetTriangleCount());
    for (int f = 0; f < atlas->GetTriangleCount(); ++f) {
        int t[3];
        atlas->GetTriangleVertexIds(f, t);
        ASSERT_EQ(t[0], ids[3 * f]);
        ASSERT_EQ(t[1], ids[3 * f + 1]);
        ASSERT_EQ(t[2], ids[3 * f + 2]);
    }
    double uMin = 1, uMax = 0, vMin = 1, vMax = 0;
    for (size_t i = 0; i < expected.size(); i += 2) {
        uMin = std::min(uMin, expected[i]);
        uMax = std::max(uMax, expected[i]);
        vMin = std::min(vMin, expected[i + 1]);
        vMax = std::max(vMax, expected[i + 1]);
    }
    EXPECT_NEAR(std::max(uMax - uMin, vMax - vMin), 1.0, 1e-12);
    EXPECT_NEAR((uMin + uMax) / 2, 0.5, 1e-12);
    EXPECT_NEAR((vMin + vMax) / 2, 0.5, 1e-12);
}

TEST(DumpReplay, AtlasOfGeneratedMeshes) {
    ExpectAtlasReplay(testmesh::Torus(24, 12), 6);
    TriMesh two = testmesh::Icosphere(2);
    testmesh::Append(two, testmesh::Grid(6, 4, [](double x, double y) { return 0.2 * x * y; }), Vector3(3, 0, 0));
    ExpectAtlasReplay(two, 5);
}

TEST(DumpReplay, AtlasOfTheScannedBunny) {
    const std::string path = testmesh::SharedMesh("bunny.obj");
    if (path.empty()) GTEST_SKIP() << "../shared/meshes/bunny.obj is not beside the project";
    TriMesh bunny;
    ASSERT_TRUE(testmesh::LoadObj(path, bunny));
    ExpectAtlasReplay(bunny, 40);
}

TEST(DumpReplay, ConformalAndIsometricOnADiscPatch) {
    TriMesh patch = flatten_test::MakeSpherePatch(8, 2.0, 3);
    ASSERT_TRUE(flatten_test::IsDisc(patch));
    const std::vector<int> pins{0, patch.GetVertexCount() - 1};
    const std::vector<double> pinCoords{0.0, 0.0, 1.0, 0.5};
    std::vector<double> uv;
    ASSERT_EQ(UnfoldMesh::ConformalMap(&patch, &pins, &pinCoords, &uv), 0);
    {
        InScratchDir dir;
        std::vector<double> again;
        DumpOnce();
        ASSERT_EQ(UnfoldMesh::ConformalMap(&patch, &pins, &pinCoords, &again), 0);
        std::unique_ptr<DumpBase> record = LoadRecorded(dir);
        ASSERT_EQ(record->GetApiName(), API_MESH_UNFOLD_CONFORMAL);
        ASSERT_EQ(record->Run(), 0);
        EXPECT_TRUE(record->GetTriMesh(0)->HasVertexTexCoord());
        ExpectPlanarLayout(*record->GetTriMesh(0), Normalised(uv));
        EXPECT_EQ(record->GetTriMesh(1), nullptr);
    }

    std::vector<double> improved = uv;
    ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&patch, &improved, 5, &pins), 0);
    InScratchDir dir;
    std::vector<double> again = uv;
    DumpOnce();
    ASSERT_EQ(UnfoldMesh::OptimizeIsometric(&patch, &again, 5, &pins), 0);
    std::unique_ptr<DumpBase> record = LoadRecorded(dir);
    ASSERT_EQ(record->GetApiName(), API_MESH_UNFOLD_OPTIMIZE_ISOMETRIC);
    ASSERT_EQ(record->Run(), 0);
    ExpectPlanarLayout(*record->GetTriMesh(0), Normalised(improved));
}

TEST(DumpReplay, ConformalWithoutPinsReplaysWithEmptyPins) {
    TriMesh patch = flatten_test::MakeSpherePatch(6, 2.0, 5);
    const std::vector<int> noIds;
    const std::vector<double> noCoords;
    std::vector<double> direct;
    const int directStatus = UnfoldMesh::ConformalMap(&patch, &noIds, &noCoords, &direct);
    InScratchDir dir;
    std::vector<double> uv;
    DumpOnce();
    UnfoldMesh::ConformalMap(&patch, nullptr, nullptr, &uv);
    std::unique_ptr<DumpBase> record = LoadRecorded(dir);
    auto* conformal = dynamic_cast<DumpMeshUnfoldConformal*>(record.get());
    ASSERT_NE(conformal, nullptr);
    EXPECT_TRUE(conformal->mFixedVertexIndex.empty());
    EXPECT_TRUE(conformal->mFixedVertexCoord.empty());
    // Replay passes the two empty vectors, not nulls: as the direct call with them.
    EXPECT_EQ(record->Run(), directStatus);
}

TEST(DumpReplay, PackingFromAFileThatHoldsTheCharts) {
    std::vector<TriMesh> meshes;
    std::vector<std::vector<double>> coords;
    for (int k = 0; k < 4; ++k) {
        meshes.push_back(testmesh::Grid(2 + k, 3));
        std::vector<double> uv;
        for (int v = 0; v < meshes.back().GetVertexCount(); ++v) {
            const Vector3 p = meshes.back().GetVertexCoord(v);
            uv.push_back(p.x * (1 + k) + 0.1 * k);
            uv.push_back(p.y * 0.7 - 0.3);
        }
        coords.push_back(uv);
    }
    std::vector<ITriMesh*> charts;
    for (TriMesh& m : meshes) charts.push_back(&m);

    // A record holding the charts writes them: record one, then have it
    // write the call, which gives the file layout with mesh blocks.
    InScratchDir dir;
    DumpMeshUnfoldPackUVAtlas holder;
    for (TriMesh& m : meshes) holder.mTriMeshes.emplace_back(new TriMesh(m));
    holder.DumpApiInfo(charts, coords);
    std::unique_ptr<DumpBase> record = LoadRecorded(dir);
    auto* pack = dynamic_cast<DumpMeshUnfoldPackUVAtlas*>(record.get());
    ASSERT_NE(pack, nullptr);
    ASSERT_EQ(pack->mTriMeshes.size(), 4u);
    EXPECT_EQ(pack->mUVCoords, coords);  // 20 digits from the first mesh block on

    std::vector<std::vector<double>> direct = coords;
    ASSERT_EQ(UnfoldMesh::PackUVAtlas(charts, direct), 0);
    ASSERT_EQ(record->Run(), 0);
    EXPECT_EQ(pack->mUVCoords, direct);
}

TEST(DumpReplay, SplitByLinesCutsAsTheDirectCall) {
    TriMesh direct = testmesh::Grid(4, 4);
    const std::vector<std::vector<int>> lines{{2, 7, 12, 17, 22}, {10, 11, 12}};
    TriMesh recorded = direct;
    ASSERT_EQ(SplitMesh::SplitByLines(&direct, lines, nullptr), 0);
    InScratchDir dir;
    DumpOnce();
    ASSERT_EQ(SplitMesh::SplitByLines(&recorded, lines, nullptr), 0);
    std::unique_ptr<DumpBase> record = LoadRecorded(dir);
    ASSERT_EQ(record->GetApiName(), API_MESH_SPLIT_BY_LINES);
    ASSERT_EQ(record->Run(), 0);
    const TriMesh* cut = record->GetTriMesh(0);
    ASSERT_GT(direct.GetVertexCount(), 25);
    ASSERT_EQ(cut->GetVertexCount(), direct.GetVertexCount());
    ASSERT_EQ(cut->GetTriangleCount(), direct.GetTriangleCount());
    for (int f = 0; f < cut->GetTriangleCount(); ++f) {
        int a[3], b[3];
        cut->GetTriangleVertexIds(f, a);
        direct.GetTriangleVertexIds(f, b);
        EXPECT_EQ(std::vector<int>(a, a + 3), std::vector<int>(b, b + 3));
    }
}

TEST(DumpReplay, FailedRunLeavesTheMeshAndLogsOnlyTheAlgorithm) {
    InScratchDir dir;
    LogSystem::SetLogFileName(dir / "log.txt");
    DumpMeshUnfoldGenerateUVAtlas record;
    record.mpTriMesh.reset(new TriMesh(testmesh::Grid(2, 2)));
    record.mChartCount = 0;  // refused by the atlas
    EXPECT_EQ(record.Run(), STATUS_INVALID_INPUT);
    EXPECT_EQ(record.GetTriMesh(0)->GetVertexCount(), 9);
    LogSystem::SetLogFileName(dir / "log2.txt");
    const std::string log = testfiles::ReadFile(dir / "log.txt");
    EXPECT_NE(log.find("UnfoldMesh::GenerateUVAtlas invalid input parameters"), std::string::npos);
    // The replay's own line is a detail line, silent at the shipped level.
    EXPECT_EQ(log.find("DumpMeshUnfoldGenerateUVAtlas::Run"), std::string::npos);
}

TEST(DumpReplay, NormalisationRules) {
    std::vector<double> flat{2.0, 3.0, 2.0, 3.0, 2.0, 3.0};
    const std::vector<double> same = flat;
    _NormalizeTexCoords(flat);
    EXPECT_EQ(flat, same);  // no extent: left as it was

    std::vector<double> wide{-1.0, 0.0, 3.0, 1.0};
    _NormalizeTexCoords(wide);
    EXPECT_EQ(wide, (std::vector<double>{0.0, 0.375, 1.0, 0.625}));

    std::vector<double> one{1.0};
    try {
        _NormalizeTexCoords(one);
        ADD_FAILURE() << "no out-of-range error";
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "invalid vector<T> subscript");
    }
}

}  // namespace
