// qarnuv replay FILE.dump: rebuild a recorded call from its dump file, run it
// again and write what it left in the record's meshes and clouds.
#include "Qarnuv.h"

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include <cxxabi.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <typeinfo>

namespace qarnuv {
namespace {

// Records hand out at most one mesh per chart; this bounds the walk over
// GetTriMesh(i) for records that never answer null.
constexpr int kMaxRecordMeshes = 1 << 20;

std::string RecordClassName(ORVO::DumpBase& record) {
    const char* mangled = typeid(record).name();
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                     std::free);
    std::string name = status == 0 && demangled ? demangled.get() : mangled;
    const std::string prefix = "ORVO::";
    if (name.compare(0, prefix.size(), prefix) == 0) name.erase(0, prefix.size());
    return name;
}

// "OUT" for the only output, "OUT_1", "OUT_2", ... (before the extension)
// when the record holds several.
std::string OutputName(const std::string& out, int index, int count) {
    if (count <= 1) return out;
    std::filesystem::path path(out);
    const std::string stem = path.stem().string() + "_" + std::to_string(index + 1);
    return (path.parent_path() / (stem + path.extension().string())).string();
}

struct ReplayedMesh {
    ORVO::TriMesh* mesh = nullptr;
    ORVO::PointCloud* cloud = nullptr;
    const std::vector<double>* texCoords = nullptr;  // per vertex, packing charts only
};

// The meshes and clouds the record holds now, a packing chart with its
// coordinate list.
std::vector<ReplayedMesh> RecordMeshes(ORVO::DumpBase& record) {
    std::vector<ReplayedMesh> items;
    auto* packing = dynamic_cast<ORVO::DumpMeshUnfoldPackUVAtlas*>(&record);
    for (int i = 0; i < kMaxRecordMeshes; ++i) {
        ReplayedMesh item;
        item.mesh = record.GetTriMesh(i);
        if (item.mesh == nullptr) break;
        if (packing != nullptr && static_cast<size_t>(i) < packing->mUVCoords.size() &&
            packing->mUVCoords[i].size() == 2 * static_cast<size_t>(item.mesh->GetVertexCount()))
            item.texCoords = &packing->mUVCoords[i];
        items.push_back(item);
    }
    for (int i = 0; i < kMaxRecordMeshes; ++i) {
        ReplayedMesh item;
        item.cloud = record.GetPointCloud(i);
        if (item.cloud == nullptr) break;
        items.push_back(item);
    }
    return items;
}

// Writes every item to `out` (OUT_1, OUT_2, ... for several); meshes without
// a triangle are skipped with a note. False, with the error printed, when a
// file cannot be written.
bool WriteRecordMeshes(const std::vector<ReplayedMesh>& items, const std::string& out, bool quiet) {
    const int count = static_cast<int>(items.size());
    for (int i = 0; i < count; ++i) {
        const std::string name = OutputName(out, i, count);
        const ReplayedMesh& item = items[i];
        if (item.mesh != nullptr && item.mesh->GetTriangleCount() == 0) {
            if (!quiet) std::printf("%s not written: the mesh has no triangle\n", name.c_str());
            continue;
        }
        int written;
        if (item.mesh != nullptr) {
            std::vector<int> corners;
            if (item.texCoords != nullptr) {
                corners.resize(3 * static_cast<size_t>(item.mesh->GetTriangleCount()));
                for (int f = 0; f < item.mesh->GetTriangleCount(); ++f)
                    item.mesh->GetTriangleVertexIds(f, &corners[3 * static_cast<size_t>(f)]);
            }
            written = ORVO::Parser::ExportTriMesh(name, item.mesh, item.texCoords,
                                                 item.texCoords != nullptr ? &corners : nullptr);
        } else {
            written = ORVO::Parser::ExportPointCloud(name, item.cloud);
        }
        if (written != ORVO::STATUS_SUCCESS) {
            PrintError(ORVO::Parser::GetLastError());
            return false;
        }
        if (!quiet) std::printf("wrote %s\n", name.c_str());
    }
    return true;
}

// "success", "invalid input", ... for a library status code.
std::string StatusMeaning(int status) {
    switch (status) {
    case ORVO::STATUS_SUCCESS: return "success";
    case ORVO::STATUS_NOT_FOUND: return "not found";
    case ORVO::STATUS_INVALID_INPUT: return "invalid input";
    case ORVO::STATUS_FAILED: return "a sub-step failed";
    case ORVO::STATUS_NOT_INITIALISED: return "used before initialisation";
    case ORVO::STATUS_NOT_ACTIVATED: return "not activated";
    case ORVO::STATUS_NOT_AVAILABLE: return "not available in this build";
    default: return "unknown status";
    }
}

}  // namespace

int RunReplay(const ReplayCommand& command) {
    std::ifstream probe(command.dumpFile);
    int api = 0;
    if (!probe || !(probe >> api)) {
        PrintError(command.dumpFile + ": cannot read a recorded call from this file");
        return 1;
    }
    probe.close();
    ORVO::RegisterDumpInfo();
    std::unique_ptr<ORVO::DumpBase> record(ORVO::DumpManager::Get()->GetDumpInstance(api));
    if (!record) {
        PrintError(command.dumpFile + ": " + std::to_string(api) + " names no recorded call this build knows");
        return 1;
    }
    const std::string className = RecordClassName(*record);
    int status = 0;
    double seconds = 0.0;
    try {
        record->LoadDumpFile(command.dumpFile);
        // The call's own inputs, for rerunning them with other settings.
        if (!command.inputs.empty() && !WriteRecordMeshes(RecordMeshes(*record), command.inputs, command.json))
            return 1;
        const auto start = std::chrono::steady_clock::now();
        status = record->Run();
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    } catch (const std::exception& e) {
        PrintError(command.dumpFile + ": replaying " + className + " stopped: " + e.what());
        return 1;
    }

    const std::vector<ReplayedMesh> outputs = RecordMeshes(*record);
    std::string sizes, vertices, faces;
    for (const ReplayedMesh& item : outputs) {
        const int v = item.mesh ? item.mesh->GetVertexCount() : item.cloud->GetPointCount();
        const int f = item.mesh ? item.mesh->GetTriangleCount() : 0;
        sizes += std::string(sizes.empty() ? "" : ", ") + (item.mesh ? "mesh " : "cloud ") + std::to_string(v) +
                 (item.mesh ? " vertices " + std::to_string(f) + " faces" : " points");
        vertices += (vertices.empty() ? "" : ",") + std::to_string(v);
        faces += (faces.empty() ? "" : ",") + std::to_string(f);
    }
    if (command.json) {
        char time[32];
        std::snprintf(time, sizeof(time), "%.6g", seconds);
        std::printf("{\"file\":%s,\"record\":%s,\"api\":%d,\"status\":%d,\"meaning\":%s,\"vertices\":[%s],"
                    "\"faces\":[%s],\"seconds\":%s}\n",
                    JsonString(command.dumpFile).c_str(), JsonString(className).c_str(), api, status,
                    JsonString(StatusMeaning(status)).c_str(), vertices.c_str(), faces.c_str(), time);
    } else {
        std::printf("%s: status %d (%s), %s, %.2f s\n", className.c_str(), status, StatusMeaning(status).c_str(),
                    sizes.empty() ? "no mesh" : sizes.c_str(), seconds);
    }
    if (status != ORVO::STATUS_SUCCESS) {
        PrintError(command.dumpFile + ": the replayed call failed with status " + std::to_string(status) + " (" +
                   StatusMeaning(status) + "; the library's log file says why)");
        return 1;
    }
    if (command.output.empty()) return 0;
    return WriteRecordMeshes(outputs, command.output, command.json) ? 0 : 1;
}

}  // namespace qarnuv
