// The records of the wider interface: each writes exactly what it keeps,
// loads back equal inputs (for every parameter type the interface uses, with
// objects and with nulls), and replays the call: -8 where the algorithm is
// absent, the real result where this build has it, 0 for the empty shells.
#include <QarnUVAtlas/ConsolidateMesh.h>
#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/FillMeshHole.h>

#include "DumpTestKit.h"
#include "EntryPointArgs.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <typeinfo>

namespace {

using namespace ORVO;
using dumptest::InScratchDir;
using entryargs::Same;

// What a record keeps of an argument equals the argument; a null mesh,
// cloud or vector comes back empty.
template <typename P>
bool Kept(const DumpOwned<TriMesh>& kept, P argument) {
    if (argument == nullptr) return kept.get() != nullptr && kept.get()->GetVertexCount() == 0;
    return kept.get() != nullptr && Same(*kept.get(), *argument);
}
template <typename P>
bool Kept(const DumpOwned<PointCloud>& kept, P argument) {
    if (argument == nullptr) return kept.get() != nullptr && kept.get()->GetPointCount() == 0;
    return kept.get() != nullptr && Same(*kept.get(), *static_cast<const PointCloud*>(argument));
}
bool Kept(const std::vector<DumpOwned<PointCloud>>& kept, const std::vector<IPointCloud*>& argument) {
    if (kept.size() != argument.size()) return false;
    for (size_t i = 0; i < kept.size(); ++i)
        if (!Kept(kept[i], argument[i])) return false;
    return true;
}
template <typename T>
bool Kept(const std::vector<T>& kept, const std::vector<T>* argument) {
    return argument == nullptr ? kept.empty() : Same(kept, *argument);
}
template <typename T>
bool Kept(const T& kept, const T& argument) {
    return Same(kept, argument);
}

// Fills what a record keeps as a recording of a real call would.
void SeedKept(DumpOwned<TriMesh>& mesh) {
    mesh.reset(new TriMesh());
    entryargs::Seed(*mesh.get());
}
void SeedKept(DumpOwned<PointCloud>& cloud) {
    cloud.reset(new PointCloud());
    entryargs::Seed(*cloud.get());
}
void SeedKept(std::vector<DumpOwned<PointCloud>>& clouds) {
    clouds.resize(2);
    for (DumpOwned<PointCloud>& cloud : clouds) SeedKept(cloud);
}
template <typename T>
void SeedKept(T& value) {
    entryargs::Seed(value);
}

// Every type the generic records keep appears in some record; this set says
// which were met, so that a record list without one of them fails the test.
std::set<std::string> gTypesSeen;

template <typename Record, typename... P>
void ExpectRoundTrip(const char* name, bool live, std::tuple<P...>*, bool null) {
    InScratchDir dir;
    entryargs::ArgList<P...> args(null);
    Record writer;
    args.Apply([&](auto... a) {
        writer.DumpApiInfo(a...);
        return 0;
    });
    ASSERT_TRUE(args.Unchanged()) << name;
    const std::vector<std::string> files = dir.DumpFiles();
    if (!live) {
        EXPECT_TRUE(files.empty()) << name << " is an empty shell and writes nothing";
        return;
    }
    ASSERT_EQ(files.size(), 1u) << name;
    const std::string expectedTag = "_" + std::string(name).substr(4) + "_";
    EXPECT_NE(files[0].find(expectedTag), std::string::npos) << files[0];
    EXPECT_EQ(std::stoi(testfiles::ReadFile(dir / files[0])), static_cast<int>(writer.GetApiName())) << name;

    std::unique_ptr<DumpBase> fresh(DumpManager::Get()->GetDumpInstance(writer.GetApiName()));
    ASSERT_NE(fresh, nullptr) << name;
    auto* loaded = dynamic_cast<Record*>(fresh.get());
    ASSERT_NE(loaded, nullptr) << name;
    loaded->LoadDumpFile(dir / files[0]);
    bool same = true;
    int index = 0;
    std::apply(
        [&](auto&... arg) {
            std::apply(
                [&](const auto&... kept) {
                    auto check = [&](const auto& k, auto& a) {
                        gTypesSeen.insert(typeid(k).name());
                        if (!Kept(k, a.Get())) {
                            ADD_FAILURE() << name << ": input " << index << (null ? " (nulls)" : "") << " differs";
                            same = false;
                        }
                        ++index;
                    };
                    (check(kept, arg), ...);
                    (void)check;
                },
                loaded->GetInputs());
        },
        args.args);
    EXPECT_TRUE(same);

    // A copy is deep and equal.
    Record copy(*loaded);
    EXPECT_EQ(copy.GetApiName(), writer.GetApiName());
    if (copy.GetTriMesh(0) != nullptr) {
        EXPECT_NE(copy.GetTriMesh(0), loaded->GetTriMesh(0));
    }
}

template <typename Record>
void ExpectRecord(const char* name, bool live) {
    typename Record::InputTypes* types = nullptr;
    ExpectRoundTrip<Record>(name, live, types, false);
    ExpectRoundTrip<Record>(name, live, types, true);
}

TEST(DumpRecords, EveryRecordWritesAndLoadsItsInputsBack) {
    RegisterDumpInfo();
    // The one unregistered record is reached by its factory instead.
    DumpManager::Get()->RegisterDumpClass(API_OPTIMISE_MAPPING_INTERPOLATE_FACE_IMAGE_COLOR_IDS,
                                          &CreateDumpOptimiseMappingInterpolateFaceImageColorIds);
#define ORVO_EXPECT_RECORD(Name, Factory, Api, Function, InputCount, Live) ExpectRecord<Name>(#Name, Live);
    ORVO_DUMP_RECORD_LIST(ORVO_EXPECT_RECORD)
#undef ORVO_EXPECT_RECORD
    // Meshes, clouds, cloud lists, the four vector types, lines, scalars,
    // points and matrices all took part.
    EXPECT_EQ(gTypesSeen.size(), 13u);
}

TEST(DumpRecords, ReplayAnswersAsTheEntryPoint) {
    InScratchDir dir;
    int absent = 0, shells = 0, live = 0;
    const std::set<std::string> shellNames = {"DumpFusePointCloudUpdate",        "DumpFusePointCloudExtract",
                                              "DumpSumPointCloudUpdate",         "DumpSumPointCloudExtract",
                                              "DumpSignedDistanceFunctionUpdate", "DumpSignedDistanceFunctionExtract"};
    const std::set<std::string> liveNames = {"DumpMeshConsolidationMakeManifold", "DumpFindMeshHole",
                                             "DumpMeshQueryTool"};
    auto replay = [&](const char* name, auto* record) {
        // Inputs are real objects, as a recording of a real call holds.
        std::apply([](auto&... kept) { (SeedKept(kept), ...); }, record->GetInputs());
        const int status = record->Run();
        if (shellNames.count(name)) {
            EXPECT_EQ(status, STATUS_SUCCESS) << name;
            ++shells;
        } else if (liveNames.count(name)) {
            EXPECT_EQ(status, STATUS_SUCCESS) << name;
            ++live;
        } else {
            EXPECT_EQ(status, STATUS_NOT_AVAILABLE) << name;
            ++absent;
        }
    };
#define ORVO_REPLAY_RECORD(Name, Factory, Api, Function, InputCount, Live) \
    {                                                                      \
        Name record;                                                       \
        replay(#Name, &record);                                            \
    }
    ORVO_DUMP_RECORD_LIST(ORVO_REPLAY_RECORD)
#undef ORVO_REPLAY_RECORD
    EXPECT_EQ(shells, 6);
    EXPECT_EQ(live, 3);
    EXPECT_EQ(absent, 76);
}

}  // namespace

namespace {

// Where this build has the algorithm, a generic record replays the real call:
// finding holes records itself like the atlas calls, and a replayed
// consolidation keeps the mesh it made.
TEST(DumpRecords, AvailableAlgorithmsReplayForReal) {
    InScratchDir dir;
    TriMesh open = testmesh::Grid(3, 3, nullptr, [](int i, int j) { return !(i == 1 && j == 1); });
    DumpOnce();
    std::vector<std::vector<int>> holes;
    ASSERT_EQ(FillMeshHole::FindHoles(&open, &holes), 0);
    ASSERT_EQ(holes.size(), 2u);  // the rim and the hole in the middle
    const std::string name = dir.OnlyDumpFile();
    EXPECT_NE(name.find("_FindMeshHole_"), std::string::npos) << name;
    RegisterDumpInfo();
    std::unique_ptr<DumpBase> record(DumpManager::Get()->GetDumpInstance(std::stoi(testfiles::ReadFile(dir / name))));
    ASSERT_NE(dynamic_cast<DumpFindMeshHole*>(record.get()), nullptr);
    record->LoadDumpFile(dir / name);
    EXPECT_EQ(record->Run(), STATUS_SUCCESS);
    ASSERT_NE(record->GetTriMesh(0), nullptr);
    EXPECT_TRUE(Same(*record->GetTriMesh(0), open));

    // Two fans meeting at one vertex: consolidation gives that vertex a twin.
    TriMesh bowtie;
    for (const Vector3& p : {Vector3(0, 0, 0), Vector3(1, 0, 0), Vector3(1, 1, 0), Vector3(-1, 0, 0), Vector3(-1, -1, 0)})
        bowtie.InsertVertex(p);
    bowtie.InsertTriangle(0, 1, 2);
    bowtie.InsertTriangle(0, 3, 4);
    TriMesh direct;
    ASSERT_EQ(ConsolidateMesh::MakeManifold(&bowtie, &direct, nullptr), 0);
    ASSERT_EQ(direct.GetVertexCount(), 6);
    InScratchDir second;
    DumpMeshConsolidationMakeManifold writer;
    writer.DumpApiInfo(&bowtie);
    DumpMeshConsolidationMakeManifold replay;
    replay.LoadDumpFile(second / second.OnlyDumpFile());
    EXPECT_EQ(replay.GetTriMesh(1), nullptr);  // nothing made before Run()
    ASSERT_EQ(replay.Run(), STATUS_SUCCESS);
    ASSERT_NE(replay.GetTriMesh(1), nullptr);
    EXPECT_TRUE(Same(*replay.GetTriMesh(1), direct));
    EXPECT_EQ(replay.GetTriMesh(2), nullptr);
}

}  // namespace
