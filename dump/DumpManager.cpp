// The registry: one process-wide map from ApiName values to record factories,
// filled with every record class the library carries.

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/DumpUnfold.h>

namespace ORVO {

DumpManager* DumpManager::mpDumpManager = nullptr;

DumpManager::DumpManager() {}

DumpManager::DumpManager(const DumpManager& other) : mCreators(other.mCreators) {}

DumpManager& DumpManager::operator=(const DumpManager& other) {
    mCreators = other.mCreators;
    return *this;
}

DumpManager* DumpManager::Get() {
    if (mpDumpManager == nullptr) mpDumpManager = new DumpManager();
    return mpDumpManager;
}

bool DumpManager::RegisterDumpClass(int apiName, DumpCreator creator) {
    return mCreators.emplace(apiName, creator).second;
}

DumpBase* DumpManager::GetDumpInstance(int apiName) {
    const auto found = mCreators.find(apiName);
    if (found == mCreators.end() || found->second == nullptr) return nullptr;
    return found->second();
}

void RegisterDumpInfo() {
    DumpManager* manager = DumpManager::Get();
    // Every generic record under its own value, but for the face-image colour
    // id interpolation, which is left out on purpose. Values never repeat, so
    // the order of registration does not matter.
#define ORVO_REGISTER_RECORD(Name, Factory, Api, Function, InputCount, Live) \
    if (Api != API_OPTIMISE_MAPPING_INTERPOLATE_FACE_IMAGE_COLOR_IDS) manager->RegisterDumpClass(Api, &Factory);
    ORVO_DUMP_RECORD_LIST(ORVO_REGISTER_RECORD)
#undef ORVO_REGISTER_RECORD
    // The UV-atlas records, and the exact-section variants that share the
    // exact-section record class.
    manager->RegisterDumpClass(API_MESH_MEASURE_SECTION_EXACT_CLOSED, &CreateDumpMeshMeasureSectionExact);
    manager->RegisterDumpClass(API_MESH_MEASURE_SECTION_EXACT_OPEN, &CreateDumpMeshMeasureSectionExact);
    manager->RegisterDumpClass(API_MESH_UNFOLD_CONFORMAL, &CreateDumpMeshUnfoldConformal);
    manager->RegisterDumpClass(API_MESH_UNFOLD_OPTIMIZE_ISOMETRIC, &CreateDumpMeshUnfoldOptimizeIsometric);
    manager->RegisterDumpClass(API_MESH_UNFOLD_PACK_UV_ATLAS, &CreateDumpMeshUnfoldPackUVAtlas);
    manager->RegisterDumpClass(API_MESH_UNFOLD_GENERATE_UV_ATLAS, &CreateDumpMeshUnfoldGenerateUVAtlas);
    manager->RegisterDumpClass(API_MESH_SPLIT_BY_LINES, &CreateDumpMeshSplitByLines);
}

}  // namespace ORVO
