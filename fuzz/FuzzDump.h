#pragma once
// Shared body of the dump-file fuzz targets: the input becomes a dump file,
// a record loads it and runs. Whatever the bytes, this must neither crash nor
// leave a mesh whose triangles name vertices it does not have.

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include "FuzzCommon.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

namespace fuzzdump {

using fuzzcheck::Require;

// One scratch file per process, reused for every input.
inline const std::string& ScratchFile() {
    static const std::string path = [] {
        char pattern[] = "/tmp/qarn_fuzz_dump_XXXXXX";
        const int fd = mkstemp(pattern);
        if (fd >= 0) close(fd);
        // Replays log their failures; keep them off the disk.
        ORVO::LogSystem::SetLogFileName("/dev/null");
        return std::string(pattern);
    }();
    return path;
}

inline void CheckMeshes(ORVO::DumpBase& record) {
    for (int i = 0; i < 64; ++i) {
        ORVO::TriMesh* mesh = record.GetTriMesh(i);
        if (mesh == nullptr) break;
        int ids[3];
        for (int f = 0; f < mesh->GetTriangleCount(); ++f) {
            mesh->GetTriangleVertexIds(f, ids);
            for (int id : ids) Require(id >= 0 && id < mesh->GetVertexCount(), "triangle ids in range");
        }
    }
}

// A file may ask for any amount of work: an iteration count that overflowed
// reads back as INT_MAX, and replaying that many isometric steps is a long
// computation, not a fault. Such requests are bounded before the run so
// that the fuzzer's time goes to the readers and the algorithms' checks.
inline void BoundWork(ORVO::DumpBase& record) {
    if (auto* isometric = dynamic_cast<ORVO::DumpMeshUnfoldOptimizeIsometric*>(&record)) {
        if (isometric->mIterationCount > 50) isometric->mIterationCount = 50;
    }
}

// Loads `data` into `created` (owned from here on) and runs it.
inline void LoadAndRun(ORVO::DumpBase* created, const uint8_t* data, size_t size) {
    std::unique_ptr<ORVO::DumpBase> record(created);
    if (!record) return;
    const std::string& path = ScratchFile();
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return;
    if (size > 0) std::fwrite(data, 1, size, file);
    std::fclose(file);
    record->LoadDumpFile(path);
    CheckMeshes(*record);
    BoundWork(*record);
    const int status = record->Run();
    Require(status <= 0, "a status is 0 or negative");
    CheckMeshes(*record);
}

}  // namespace fuzzdump
