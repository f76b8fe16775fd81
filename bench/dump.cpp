// Recording benchmark: how long a support engineer waits for the dump file of
// an atlas call and for loading it back, next to the atlas call itself.
// Records UnfoldMesh::GenerateUVAtlas (options form, as qarnuv runs it) on a
// mesh (default ../shared/meshes/igea_x4.obj, about one million faces), then
// loads the file into its record; the three times are medians of N runs in
// one process, so their ratios hold when the machine's speed drifts.
//
//   bench_dump [MESH] [--runs N] [--dir SCRATCH]

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "BenchTiming.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <string>
#include <vector>

namespace {

// The dump files a recording left in `dir`.
std::vector<std::string> DumpFilesIn(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* entry = readdir(d)) {
            std::string name = entry->d_name;
            if (name.size() > 5 && name.compare(name.size() - 5, 5, ".dump") == 0) names.push_back(dir + "/" + name);
        }
        closedir(d);
    }
    return names;
}

}  // namespace

int main(int argc, char** argv) {
    std::string meshPath = std::string(QARN_SHARED_DIR) + "/meshes/igea_x4.obj";
    std::string scratch = "/tmp/qarn_bench_dump";
    int runs = 3;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--runs") && i + 1 < argc) {
            runs = std::max(1, std::atoi(argv[++i]));
        } else if (!std::strcmp(argv[i], "--dir") && i + 1 < argc) {
            scratch = argv[++i];
        } else {
            meshPath = argv[i];
        }
    }
    ORVO::TriMesh mesh;
    if (ORVO::Parser::ImportTriMesh(meshPath, &mesh) != 0) {
        std::fprintf(stderr, "bench_dump: cannot read %s (%s)\n", meshPath.c_str(),
                     ORVO::Parser::GetLastError().c_str());
        return 1;
    }
    mkdir(scratch.c_str(), 0755);
    if (chdir(scratch.c_str()) != 0) {
        std::fprintf(stderr, "bench_dump: cannot enter %s\n", scratch.c_str());
        return 1;
    }
    for (const std::string& old : DumpFilesIn(".")) std::remove(old.c_str());

    ORVO::UVAtlasOptions options;
    options.strict = true;
    std::vector<double> atlasTimes, writeTimes, loadTimes;
    long fileBytes = 0;
    int vertices = 0;
    for (int r = 0; r < runs; ++r) {
        std::vector<double> tex;
        std::vector<int> ids;
        double start = benchtiming::Now();
        if (ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids) != 0) {
            std::fprintf(stderr, "bench_dump: the atlas failed\n");
            return 1;
        }
        atlasTimes.push_back(benchtiming::Now() - start);

        // What the trigger does when recording is on: one record, one file.
        start = benchtiming::Now();
        {
            ORVO::DumpMeshUnfoldGenerateUVAtlas record;
            record.DumpApiInfo(&mesh, options.chartCount, false, false, false);
        }
        writeTimes.push_back(benchtiming::Now() - start);

        std::vector<std::string> files = DumpFilesIn(".");
        if (files.size() != 1) {
            std::fprintf(stderr, "bench_dump: expected one dump file, found %zu\n", files.size());
            return 1;
        }
        struct stat info {};
        if (stat(files[0].c_str(), &info) == 0) fileBytes = static_cast<long>(info.st_size);
        start = benchtiming::Now();
        {
            ORVO::DumpMeshUnfoldGenerateUVAtlas record;
            record.LoadDumpFile(files[0]);
            vertices = record.GetTriMesh(0)->GetVertexCount();
        }
        loadTimes.push_back(benchtiming::Now() - start);
        std::remove(files[0].c_str());
    }
    if (vertices != mesh.GetVertexCount()) {
        std::fprintf(stderr, "bench_dump: the loaded mesh has %d vertices, not %d\n", vertices, mesh.GetVertexCount());
        return 1;
    }
    const double atlas = benchtiming::Median(atlasTimes);
    const double write = benchtiming::Median(writeTimes);
    const double load = benchtiming::Median(loadTimes);
    std::printf("| mesh | faces | atlas s | write s | load s | write/atlas | load/atlas | file MB |\n");
    std::printf("|---|---|---|---|---|---|---|---|\n");
    std::printf("| %s | %d | %.3f | %.3f | %.3f | %.2f | %.2f | %.1f |\n", meshPath.c_str(), mesh.GetTriangleCount(),
                atlas, write, load, write / atlas, load / atlas, fileBytes / 1048576.0);
    std::printf("(median of %d runs; peak memory %.0f MB)\n", runs, benchtiming::PeakRssKiB() / 1024.0);
    return 0;
}
