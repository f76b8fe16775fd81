// Input benchmark: the options form of GenerateUVAtlas (the defaults qarnuv
// uses) on meshes shaped the way exporters and reconstructions write them,
// generated here, with the shared bunny in the same run for the ratio:
//   sphere           a 3,968-face UV sphere, oriented and welded (reference)
//   sphere_mixed     the same with every other face written the other way
//   sphere_unwelded  the same with three vertices of its own per face
//   moebius          a Moebius strip (cannot be oriented)
//   fragments_20k    20,000 separate triangles
//   fragments_50k    50,000 separate triangles (also at 4096 texels)
// Each input runs in a process of its own (this program with --case), so
// peak memory is that run's own, the mesh included. Atlases are judged with ../shared/tools/uveval when it can be
// built: sphere_mixed is judged with the faces it reversed read reversed
// again (its texture is the oriented sphere's map), so that "flipped" means
// the same as for the oriented sphere.
//
// For the fragments, "bound" is the utilization that no packing of those
// triangles can exceed with the one-texel gap.
//
//   bench_input [--runs N] [--only NAME] [--out DIR]

#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "BenchProcess.h"
#include "BenchTiming.h"
#include "tests/ExporterMeshes.h"
#include "tests/TestMeshes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using benchprocess::CommandOutput;
using benchprocess::JsonField;
using ORVO::TriMesh;

struct Case {
    std::string name;
    int resolution;
    std::function<bool(TriMesh&)> make;  // false when the input is not available
    // Faces written reversed by the generator, to be read reversed again by the judge.
    int reversedStep = 0;
};

struct RunResult {
    int status = 0;
    int faces = 0;
    int charts = 0;
    int welded = 0;
    int turned = 0;
    double seconds = 0.0;
    double utilization = 0.0;
    double bound = 0.0;  // fragments: the most any packing can fill at this gap, 0 otherwise
};

// The utilization no packing of separate triangles can exceed with a gap of
// g: each triangle grown by g / 2 (area A + P g / 2 + pi g^2 / 4 at scale s
// for a triangle of area A and perimeter P at scale 1) must fit beside the
// others in the unit square, which bounds the common scale s.
double FillBound(const TriMesh& mesh, double gap) {
    double area = 0.0, perimeter = 0.0;
    for (int f = 0; f < mesh.GetTriangleCount(); ++f) {
        const int* t = mesh.GetTriangle(f);
        const ORVO::Vector3 a = mesh.GetVertexCoord(t[0]), b = mesh.GetVertexCoord(t[1]), c = mesh.GetVertexCoord(t[2]);
        area += 0.5 * (b - a).CrossProduct(c - a).Length();
        perimeter += a.Distance(b) + b.Distance(c) + c.Distance(a);
    }
    const double linear = 0.5 * gap * perimeter;
    const double constant = mesh.GetTriangleCount() * M_PI * gap * gap / 4.0 - 1.0;
    const double s = (-linear + std::sqrt(linear * linear - 4.0 * area * constant)) / (2.0 * area);
    return s * s * area;
}

// Runs one case `runs` times in this process, writes the last atlas (and
// the surface to judge it against) into `out` and prints one line of
// figures for the parent, this process's peak memory included.
int RunCase(const Case& c, int runs, const std::string& out) {
    RunResult result;
    TriMesh mesh;
    if (!c.make(mesh)) {
        std::printf("RESULT -100\n");
        return 0;
    }
    result.faces = mesh.GetTriangleCount();
    if (c.name.rfind("fragments", 0) == 0) result.bound = FillBound(mesh, 1.0 / c.resolution);
    ORVO::UVAtlasOptions options;
    options.resolution = c.resolution;
    std::vector<double> times, tex;
    std::vector<int> ids;
    for (int r = 0; r < runs && result.status == 0; ++r) {
        ORVO::UVAtlasReport report;
        result.status = ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &tex, &ids, &report);
        times.push_back(report.seconds);
        result.charts = report.chartCount;
        result.utilization = report.utilization;
        result.welded = report.weldedVertices;
        result.turned = report.turnedFaces;
    }
    if (result.status == 0) {
        result.seconds = benchtiming::Median(times);
        TriMesh judged = mesh;
        if (c.reversedStep > 0) {
            judged = exportmesh::Reversed(mesh, c.reversedStep);
            for (int f = 0; f < mesh.GetTriangleCount(); f += c.reversedStep) std::swap(ids[3 * f + 1], ids[3 * f + 2]);
        }
        ORVO::Parser::ExportTriMesh(out + "/" + c.name + ".obj", &judged);
        ORVO::Parser::ExportTriMesh(out + "/" + c.name + "_atlas.obj", &judged, &tex, &ids);
    }
    std::printf("RESULT %d %d %d %d %d %.6f %ld %.6f %.6f\n", result.status, result.faces, result.charts, result.welded,
                result.turned, result.seconds, benchtiming::PeakRssKiB(), result.utilization, result.bound);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string shared = QARN_SHARED_DIR;
    std::string only, out = "input-out", single;
    int runs = 3;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--runs" && i + 1 < argc) runs = std::max(1, std::atoi(argv[++i]));
        else if (a == "--only" && i + 1 < argc) only = argv[++i];
        else if (a == "--out" && i + 1 < argc) out = argv[++i];
        else if (a == "--case" && i + 1 < argc) single = argv[++i];
    }

    const TriMesh sphere = testmesh::Sphere(1.0, 32, 64);
    const std::vector<Case> cases = {
        {"bunny", 1024, [&](TriMesh& m) {
             const std::string path = shared + "/meshes/bunny.obj";
             return access(path.c_str(), R_OK) == 0 && testmesh::LoadObj(path, m);
         }},
        {"sphere", 1024, [&](TriMesh& m) { m = sphere; return true; }},
        {"sphere_mixed", 1024, [&](TriMesh& m) { m = exportmesh::Reversed(sphere, 2); return true; }, 2},
        {"sphere_unwelded", 1024, [&](TriMesh& m) { m = exportmesh::Unwelded(sphere); return true; }},
        {"moebius", 1024, [&](TriMesh& m) { m = exportmesh::MoebiusStrip(200); return true; }},
        {"fragments_20k", 1024, [&](TriMesh& m) { m = exportmesh::Fragments(20000, 20000); return true; }},
        {"fragments_50k", 1024, [&](TriMesh& m) { m = exportmesh::Fragments(50000, 50000); return true; }},
        {"fragments_50k_4096", 4096, [&](TriMesh& m) { m = exportmesh::Fragments(50000, 50000); return true; }},
    };
    // A child: one case, its figures on one line.
    if (!single.empty()) {
        for (const Case& c : cases) {
            if (c.name == single) return RunCase(c, runs, out);
        }
        return 1;
    }

    mkdir(out.c_str(), 0755);
    const std::string judge = out + "/uveval";
    if (access(judge.c_str(), X_OK) != 0)
        CommandOutput("sh " + shared + "/tools/build-uveval.sh " + out + " >/dev/null 2>&1");
    const bool judging = access(judge.c_str(), X_OK) == 0;
    std::printf("| input | faces | texels | charts | welded | turned | seconds | peak MB | utilization | bound | "
                "overlap | flipped | in unit square | stretch_l2 | stretch_linf | seam_length_ratio |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    std::fflush(stdout);
    for (const Case& c : cases) {
        if (!only.empty() && only != c.name) continue;
        // Each case in a process of its own, so that its peak memory is its own.
        const std::string line = CommandOutput(std::string(argv[0]) + " --case " + c.name + " --runs " +
                                         std::to_string(runs) + " --out " + out);
        RunResult r;
        long peakKb = 0;
        const size_t at = line.find("RESULT ");
        const int fields = at == std::string::npos
                               ? 0
                               : std::sscanf(line.c_str() + at, "RESULT %d %d %d %d %d %lf %ld %lf %lf", &r.status,
                                             &r.faces, &r.charts, &r.welded, &r.turned, &r.seconds, &peakKb,
                                             &r.utilization, &r.bound);
        if (fields >= 1 && r.status == -100) {
            std::printf("| %s | not available (skipped) |\n", c.name.c_str());
            continue;
        }
        if (fields != 9 || r.status != 0) {
            std::printf("| %s | failed (%d) |\n", c.name.c_str(), fields == 0 ? -101 : r.status);
            continue;
        }
        std::string json;
        const std::string files = out + "/" + c.name + ".obj " + out + "/" + c.name + "_atlas.obj";
        if (judging) json = CommandOutput(judge + " " + files + " 2>/dev/null");
        const std::string bound = r.bound > 0.0 ? std::to_string(r.bound).substr(0, 5) : "-";
        std::printf("| %s | %d | %d | %d | %d | %d | %.3f | %.0f | %.3f | %s | %s | %s | %s | %s | %s | %s |\n",
                    c.name.c_str(), r.faces, c.resolution, r.charts, r.welded, r.turned, r.seconds, peakKb / 1024.0,
                    r.utilization, bound.c_str(), JsonField(json, "overlap").c_str(),
                    JsonField(json, "flipped_faces").c_str(), JsonField(json, "in_unit_square").c_str(),
                    JsonField(json, "stretch_l2").c_str(), JsonField(json, "stretch_linf").c_str(),
                    JsonField(json, "seam_length_ratio").c_str());
        std::fflush(stdout);
    }
    return 0;
}
