// Atlas benchmark: runs the options form of GenerateUVAtlas (strict mode,
// 1024 texels, one-texel gap) on every mesh of ../shared/meshes at a few chart
// counts, writes each atlas as OBJ, judges it with ../shared/tools/uveval and
// prints one table row per run.
//
//   bench_atlas [--mesh NAME] [--runs N] [--scale S] [--out DIR] [--counts-only xatlas|all]
//               [--setting counts|budget|auto] [--resolution R] [--gap G]
//
// --setting budget runs every mesh under a stretch budget equal to the L2
// stretch Microsoft's UVAtlas reaches there, --setting auto lets the shape
// choose the charts; both print a table of their own that sets the seams
// beside the peer's (UVAtlas, or xatlas at its default).
// --resolution and --gap set the texture the packing plans for (default 1024, 1); the
// "pack s" column is the packing's share of "seconds" in the same (median) run.
//
// Each configuration runs in a child process, so the peak memory column is
// that run's own (mesh loading included).

#include <QarnUVAtlas/UnfoldMesh.h>

#include <QarnUVAtlas/Parser.h>

#include "BenchProcess.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace {

using benchprocess::CommandOutput;
using benchprocess::JsonField;

// The chart counts xatlas makes on these meshes (../shared/anchors.md; for
// igea and igea_x4 its valid run on the mesh scaled by 100).
const std::map<std::string, int> kReferenceCharts = {
    {"suzanne", 70},      {"torus", 13},        {"spot", 39},   {"teapot", 52},  {"rocker_arm", 43},
    {"armadillo", 99},    {"meshroom_scan", 1109}, {"bunny", 1062}, {"tower_holes", 466}, {"ogre", 720},
    {"igea", 47},         {"igea_x4", 47}};

const char* kMeshOrder[] = {"suzanne", "torus", "spot", "teapot", "rocker_arm", "armadillo",
                            "meshroom_scan", "bunny", "tower_holes", "ogre", "igea", "igea_x4"};

// The seam length ratio and stretch that the peers reach (../shared/anchors.md):
// UVAtlas with its default stretch limit, xatlas at its default charts.
const std::map<std::string, double> kUVAtlasStretch = {
    {"torus", 1.015},  {"spot", 1.094},          {"teapot", 1.063}, {"rocker_arm", 1.090}, {"armadillo", 1.093},
    {"meshroom_scan", 1.082}, {"bunny", 1.094}, {"tower_holes", 1.094}, {"ogre", 1.095}, {"igea", 1.068}};
const std::map<std::string, double> kUVAtlasSeams = {
    {"torus", 0.021},  {"spot", 0.048},          {"teapot", 0.016}, {"rocker_arm", 0.020}, {"armadillo", 0.029},
    {"meshroom_scan", 0.023}, {"bunny", 0.012}, {"tower_holes", 0.008}, {"ogre", 0.027}, {"igea", 0.003}};
const std::map<std::string, double> kXatlasSeams = {
    {"suzanne", 0.203}, {"torus", 0.066},       {"spot", 0.070},  {"teapot", 0.067},      {"rocker_arm", 0.053},
    {"armadillo", 0.064}, {"meshroom_scan", 0.099}, {"bunny", 0.074}, {"tower_holes", 0.051}, {"ogre", 0.065},
    {"igea", 0.014},    {"igea_x4", 0.007}};

// The stretch budget each run is given (0: none), set by --setting.
double gMaxStretch = 0.0;

struct RunResult {
    int status = 0;
    int charts = 0;
    double seconds = 0.0;
    double packSeconds = 0.0;
    int faces = 0;
};

// Runs the atlas `runs` times in a child; returns the median time, charts and
// the child's peak memory in MB.
RunResult RunChild(const std::string& meshPath, int charts, int runs, double scale, int resolution, int gap,
                   const std::string& outPath, long& peakKb) {
    int fds[2];
    if (pipe(fds) != 0) return {};
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        RunResult result;
        ORVO::TriMesh mesh;
        if (ORVO::Parser::ImportTriMesh(meshPath, &mesh) != 0) {
            result.status = -100;
        } else {
            for (int v = 0; v < mesh.GetVertexCount(); ++v) mesh.SetVertexCoord(v, mesh.GetVertexCoord(v) * scale);
            result.faces = mesh.GetTriangleCount();
            ORVO::UVAtlasOptions options;
            options.chartCount = charts;
            options.maxStretch = gMaxStretch;
            options.resolution = resolution;
            options.gapTexels = gap;
            std::vector<std::pair<double, double>> times;
            std::vector<double> tex;
            std::vector<int> ids;
            for (int r = 0; r < runs; ++r) {
                ORVO::UVAtlasReport report;
                result.status = ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids, &report);
                if (result.status != 0) break;
                times.push_back({report.seconds, report.packSeconds});
                result.charts = report.chartCount;
            }
            if (result.status == 0) {
                std::sort(times.begin(), times.end());
                result.seconds = times[times.size() / 2].first;
                result.packSeconds = times[times.size() / 2].second;
                ORVO::Parser::ExportTriMesh(outPath, &mesh, &tex, &ids);
            }
        }
        ssize_t written = write(fds[1], &result, sizeof(result));
        (void)written;
        _exit(0);
    }
    close(fds[1]);
    RunResult result;
    result.status = -101;
    if (read(fds[0], &result, sizeof(result)) != static_cast<ssize_t>(sizeof(result))) result.status = -101;
    close(fds[0]);
    int wstatus = 0;
    struct rusage usage {};
    wait4(pid, &wstatus, 0, &usage);
    peakKb = usage.ru_maxrss;
    return result;
}

// One row per mesh for the budget and auto settings: our charts, time and
// judged quality, and the seams beside the peer's.
void RunSetting(const std::string& setting, const std::string& shared, const std::string& only,
                const std::string& outDir, const std::string& judge, int runs) {
    const bool budget = setting == "budget";
    std::printf("| mesh | faces | setting | charts | peer charts | seconds | overlap | flipped | zero-area | utilization "
                "| stretch_l2 | stretch_linf | seam_length_ratio | peer seams | ours / peer |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    std::fflush(stdout);
    for (const char* name : kMeshOrder) {
        if (!only.empty() && only != name) continue;
        if (budget && !kUVAtlasStretch.count(name)) continue;
        std::string meshPath = shared + "/meshes/" + name + ".obj";
        if (access(meshPath.c_str(), R_OK) != 0) continue;
        gMaxStretch = budget ? kUVAtlasStretch.at(name) : 0.0;
        const std::string label = budget ? "budget " + std::to_string(gMaxStretch).substr(0, 5) : "auto";
        std::string outPath = outDir + "/" + name + "_" + setting + ".obj";
        long peakKb = 0;
        RunResult r = RunChild(meshPath, 0, runs, 1.0, 1024, 1, outPath, peakKb);
        if (r.status != 0) {
            std::printf("| %s | %d | %s | failed (%d) |\n", name, r.faces, label.c_str(), r.status);
            std::fflush(stdout);
            continue;
        }
        std::string json = CommandOutput(judge + " " + meshPath + " " + outPath + " 2>/dev/null");
        const double peer = budget ? kUVAtlasSeams.at(name) : kXatlasSeams.at(name);
        const std::string peerCharts = budget ? "-" : std::to_string(kReferenceCharts.at(name));
        const double seams = std::atof(JsonField(json, "seam_length_ratio").c_str());
        std::printf("| %s | %d | %s | %d | %s | %.3f | %s | %s | %s | %s | %s | %s | %.4f | %.3f | %.2f |\n", name,
                    r.faces, label.c_str(), r.charts, peerCharts.c_str(), r.seconds, JsonField(json, "overlap").c_str(),
                    JsonField(json, "flipped_faces").c_str(), JsonField(json, "zero_area_uv_faces").c_str(),
                    JsonField(json, "utilization").c_str(), JsonField(json, "stretch_l2").c_str(),
                    JsonField(json, "stretch_linf").c_str(), seams, peer, seams / peer);
        std::fflush(stdout);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string shared = QARN_SHARED_DIR;
    std::string only, outDir = "atlas-out", countMode = "all", setting = "counts";
    int runs = 3;
    int resolution = 1024, gap = 1;
    double scale = 1.0;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--mesh" && i + 1 < argc) only = argv[++i];
        else if (a == "--runs" && i + 1 < argc) runs = std::max(1, std::atoi(argv[++i]));
        else if (a == "--scale" && i + 1 < argc) scale = std::atof(argv[++i]);
        else if (a == "--out" && i + 1 < argc) outDir = argv[++i];
        else if (a == "--counts-only" && i + 1 < argc) countMode = argv[++i];
        else if (a == "--setting" && i + 1 < argc) setting = argv[++i];
        else if (a == "--resolution" && i + 1 < argc) resolution = std::max(16, std::atoi(argv[++i]));
        else if (a == "--gap" && i + 1 < argc) gap = std::max(0, std::atoi(argv[++i]));
    }
    struct stat st {};
    if (stat((shared + "/meshes").c_str(), &st) != 0) {
        std::printf("bench_atlas: %s/meshes not found, nothing to measure (skipped)\n", shared.c_str());
        return 0;
    }
    mkdir(outDir.c_str(), 0755);
    std::string judge = outDir + "/uveval";
    if (access(judge.c_str(), X_OK) != 0) {
        CommandOutput("sh " + shared + "/tools/build-uveval.sh " + outDir + " >/dev/null 2>&1");
    }

    if (setting == "budget" || setting == "auto") {
        RunSetting(setting, shared, only, outDir, judge, runs);
        return 0;
    }
    std::printf("| mesh | faces | charts asked | charts made | seconds | pack s | peak MB | overlap | flipped | in unit "
                "square | zero-area | utilization | stretch_l2 | stretch_linf | sym_dirichlet | seam_length_ratio |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    std::fflush(stdout);
    for (const char* name : kMeshOrder) {
        if (!only.empty() && only != name) continue;
        std::string meshPath = shared + "/meshes/" + name + ".obj";
        if (access(meshPath.c_str(), R_OK) != 0) continue;
        int reference = kReferenceCharts.at(name);
        std::vector<int> counts{reference};
        if (countMode == "all") counts = {std::max(1, reference / 2), reference, reference * 2};
        for (int charts : counts) {
            std::string outPath = outDir + "/" + name + "_" + std::to_string(charts) + ".obj";
            long peakKb = 0;
            RunResult r = RunChild(meshPath, charts, runs, scale, resolution, gap, outPath, peakKb);
            if (r.status != 0) {
                std::printf("| %s | %d | %d | failed (%d) |\n", name, r.faces, charts, r.status);
                std::fflush(stdout);
                continue;
            }
            // The judge compares with the mesh as the atlas saw it.
            std::string original = meshPath;
            if (scale != 1.0) {
                original = outDir + "/" + name + "_scaled.obj";
                ORVO::TriMesh mesh;
                ORVO::Parser::ImportTriMesh(meshPath, &mesh);
                for (int v = 0; v < mesh.GetVertexCount(); ++v) mesh.SetVertexCoord(v, mesh.GetVertexCoord(v) * scale);
                ORVO::Parser::ExportTriMesh(original, &mesh);
            }
            std::string json = CommandOutput(judge + " " + original + " " + outPath + " 2>/dev/null");
            std::printf("| %s | %d | %d | %d | %.3f | %.3f | %.0f | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", name,
                        r.faces, charts, r.charts, r.seconds, r.packSeconds, peakKb / 1024.0,
                        JsonField(json, "overlap").c_str(),
                        JsonField(json, "flipped_faces").c_str(), JsonField(json, "in_unit_square").c_str(),
                        JsonField(json, "zero_area_uv_faces").c_str(), JsonField(json, "utilization").c_str(),
                        JsonField(json, "stretch_l2").c_str(), JsonField(json, "stretch_linf").c_str(),
                        JsonField(json, "sym_dirichlet").c_str(), JsonField(json, "seam_length_ratio").c_str());
            std::fflush(stdout);
        }
    }
    return 0;
}
