// Chart packing benchmark: chart sets cut from the shared meshes by normal-guided
// region growing (each region projected onto its mean plane), and synthetic sets.
// Prints charts, triangles, utilisation, working resolution and seconds per set.
//
//   bench_packer [--verify] [--threads N] [--res R] [--gap G] [--only NAME] [--quick] [--dry]
//                [--atlas FILE.obj ...]
// --dry builds the chart sets without packing them (to measure the bench's own cost).
// --atlas repacks the charts of atlas files (v, vt, f v/vt; a chart is a set of faces
// joined through shared vt entries) instead of the built-in sets: the charts an
// atlas run really produced, so that packing alone can be timed and compared.

#include "tests/ChartPackCheck.h"
#include "unfold/packing/ChartPacker.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <queue>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct ChartSet {
    std::string name;
    std::vector<std::vector<int>> tris;
    std::vector<std::vector<double>> uvs;
};

struct Mesh {
    std::vector<std::array<double, 3>> v;
    std::vector<std::array<int, 3>> f;
};

// Reads the v and f lines of an OBJ (polygons fanned, "a/b/c" corners accepted).
bool ReadObj(const std::string& path, Mesh& mesh) {
    std::ifstream in(path);
    if (!in) return false;
    std::string line;
    std::vector<int> poly;
    while (std::getline(in, line)) {
        if (line.size() < 2) continue;
        if (line[0] == 'v' && line[1] == ' ') {
            std::array<double, 3> p{};
            if (std::sscanf(line.c_str() + 2, "%lf %lf %lf", &p[0], &p[1], &p[2]) == 3) mesh.v.push_back(p);
        } else if (line[0] == 'f' && line[1] == ' ') {
            poly.clear();
            const char* s = line.c_str() + 2;
            while (*s) {
                while (*s == ' ' || *s == '\t') ++s;
                if (!*s || *s == '\r') break;
                int idx = std::atoi(s);
                poly.push_back(idx > 0 ? idx - 1 : static_cast<int>(mesh.v.size()) + idx);
                while (*s && *s != ' ' && *s != '\t') ++s;
            }
            for (size_t i = 2; i < poly.size(); ++i) mesh.f.push_back({poly[0], poly[i - 1], poly[i]});
        }
    }
    return !mesh.f.empty();
}

std::array<double, 3> Sub(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
std::array<double, 3> CrossV(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double Dot(const std::array<double, 3>& a, const std::array<double, 3>& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Grows about `target` face regions: seeds spread at random, each face joins the
// seed reachable at least cost, where a step costs the centroid distance scaled up
// by the normal deviation from the seed; faces turned more than ~60 degrees from a
// seed are not taken and seed new regions. Each region is projected on its mean plane.
ChartSet ChartsFromMesh(const std::string& name, const Mesh& mesh, int target, unsigned seed) {
    const int nf = static_cast<int>(mesh.f.size());
    std::vector<std::array<double, 3>> normal(nf), centre(nf);
    std::vector<double> area(nf);
    for (int i = 0; i < nf; ++i) {
        const auto& a = mesh.v[mesh.f[i][0]];
        const auto& b = mesh.v[mesh.f[i][1]];
        const auto& c = mesh.v[mesh.f[i][2]];
        auto n = CrossV(Sub(b, a), Sub(c, a));
        double len = std::sqrt(Dot(n, n));
        area[i] = 0.5 * len;
        normal[i] = len > 0 ? std::array<double, 3>{n[0] / len, n[1] / len, n[2] / len}
                            : std::array<double, 3>{0, 0, 1};
        for (int k = 0; k < 3; ++k) centre[i][k] = (a[k] + b[k] + c[k]) / 3;
    }
    // Face adjacency through shared edges.
    std::vector<std::pair<uint64_t, int>> edges;
    edges.reserve(3 * nf);
    for (int i = 0; i < nf; ++i)
        for (int k = 0; k < 3; ++k) {
            uint64_t a = mesh.f[i][k], b = mesh.f[i][(k + 1) % 3];
            if (a > b) std::swap(a, b);
            edges.push_back({(a << 32) | b, i});
        }
    std::sort(edges.begin(), edges.end());
    std::vector<std::vector<int>> adj(nf);
    for (size_t i = 0; i < edges.size();) {
        size_t j = i;
        while (j < edges.size() && edges[j].first == edges[i].first) ++j;
        for (size_t a = i; a < j; ++a)
            for (size_t b = a + 1; b < j; ++b) {
                adj[edges[a].second].push_back(edges[b].second);
                adj[edges[b].second].push_back(edges[a].second);
            }
        i = j;
    }
    std::mt19937 rng(seed);
    std::vector<int> region(nf, -1);
    std::vector<double> dist(nf, 1e300);
    std::vector<std::array<double, 3>> seedNormal;
    using Item = std::pair<double, int>;
    std::priority_queue<Item, std::vector<Item>, std::greater<Item>> heap;
    auto grow = [&]() {
        while (!heap.empty()) {
            auto [d, f] = heap.top();
            heap.pop();
            if (d > dist[f]) continue;
            int r = region[f];
            for (int g : adj[f]) {
                double c = Dot(seedNormal[r], normal[g]);
                if (c < 0.5) continue;
                auto dv = Sub(centre[g], centre[f]);
                double step = std::sqrt(Dot(dv, dv)) * (1 + 6 * (1 - c));
                if (d + step < dist[g]) {
                    dist[g] = d + step;
                    region[g] = r;
                    heap.push({dist[g], g});
                }
            }
        }
    };
    std::vector<int> faces(nf);
    for (int i = 0; i < nf; ++i) faces[i] = i;
    std::shuffle(faces.begin(), faces.end(), rng);
    for (int i = 0; i < std::min(target, nf); ++i) {
        int f = faces[i];
        region[f] = static_cast<int>(seedNormal.size());
        dist[f] = 0;
        seedNormal.push_back(normal[f]);
        heap.push({0, f});
    }
    grow();
    for (int f : faces)
        if (region[f] < 0) {
            region[f] = static_cast<int>(seedNormal.size());
            dist[f] = 0;
            seedNormal.push_back(normal[f]);
            heap.push({0, f});
            grow();
        }
    // Majority smoothing of the region borders, as a segmentation would leave them:
    // a face whose neighbours mostly lie in one other region joins it when its
    // normal stays inside that region's cone.
    for (int pass = 0; pass < 3; ++pass) {
        for (int f = 0; f < nf; ++f) {
            int other = -1, votes = 0;
            for (int g : adj[f]) {
                if (region[g] == region[f]) continue;
                int n = 0;
                for (int h : adj[f]) n += region[h] == region[g];
                if (n > votes) { votes = n; other = region[g]; }
            }
            if (other >= 0 && votes >= 2 && Dot(seedNormal[other], normal[f]) >= 0.5) region[f] = other;
        }
    }
    const int nr = static_cast<int>(seedNormal.size());
    std::vector<std::vector<int>> members(nr);
    for (int i = 0; i < nf; ++i) members[region[i]].push_back(i);
    ChartSet set;
    set.name = name;
    std::vector<int> local(mesh.v.size(), -1);
    for (int r = 0; r < nr; ++r) {
        if (members[r].empty()) continue;
        std::array<double, 3> n{0, 0, 0};
        for (int f : members[r])
            for (int k = 0; k < 3; ++k) n[k] += normal[f][k] * area[f];
        double len = std::sqrt(Dot(n, n));
        n = len > 0 ? std::array<double, 3>{n[0] / len, n[1] / len, n[2] / len} : seedNormal[r];
        std::array<double, 3> t = std::fabs(n[0]) < 0.9 ? std::array<double, 3>{1, 0, 0}
                                                         : std::array<double, 3>{0, 1, 0};
        auto e1 = CrossV(n, t);
        double l1 = std::sqrt(Dot(e1, e1));
        e1 = {e1[0] / l1, e1[1] / l1, e1[2] / l1};
        auto e2 = CrossV(n, e1);
        std::vector<int> tris;
        std::vector<double> uv;
        std::vector<int> used;
        for (int f : members[r])
            for (int k = 0; k < 3; ++k) {
                int v = mesh.f[f][k];
                if (local[v] < 0) {
                    local[v] = static_cast<int>(uv.size() / 2);
                    used.push_back(v);
                    uv.push_back(Dot(mesh.v[v], e1));
                    uv.push_back(Dot(mesh.v[v], e2));
                }
                tris.push_back(local[v]);
            }
        for (int v : used) local[v] = -1;
        set.tris.push_back(std::move(tris));
        set.uvs.push_back(std::move(uv));
    }
    return set;
}

// Star-shaped blob with a smooth random outline, fanned from its centre.
void AddBlob(ChartSet& set, std::mt19937& rng, double radius, double aspect, int rim) {
    std::uniform_real_distribution<double> uni(0, 1);
    double phase[3] = {uni(rng) * 6.3, uni(rng) * 6.3, uni(rng) * 6.3};
    double amp[3] = {0.25 * uni(rng), 0.15 * uni(rng), 0.08 * uni(rng)};
    std::vector<double> uv = {0, 0};
    std::vector<int> tris;
    for (int i = 0; i < rim; ++i) {
        double a = 2 * M_PI * i / rim;
        double r = radius * (1 + amp[0] * std::sin(2 * a + phase[0]) + amp[1] * std::sin(3 * a + phase[1]) +
                             amp[2] * std::sin(5 * a + phase[2]));
        uv.push_back(r * aspect * std::cos(a));
        uv.push_back(r * std::sin(a));
        tris.insert(tris.end(), {0, 1 + i, 1 + (i + 1) % rim});
    }
    set.tris.push_back(std::move(tris));
    set.uvs.push_back(std::move(uv));
}

ChartSet SyntheticBlobs(int count, double sigma, unsigned seed) {
    ChartSet set;
    set.name = "blobs" + std::to_string(count) + (sigma > 0.8 ? "-varied" : "");
    std::mt19937 rng(seed);
    std::lognormal_distribution<double> size(0, sigma);
    std::uniform_real_distribution<double> uni(0, 1);
    for (int i = 0; i < count; ++i) AddBlob(set, rng, size(rng), 1 + 1.5 * uni(rng), 24);
    return set;
}

// Rectangles, L-shapes and rings cut open, as grids of small triangles.
ChartSet SyntheticShapes(int count, unsigned seed) {
    ChartSet set;
    set.name = "shapes" + std::to_string(count);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> uni(0, 1);
    for (int i = 0; i < count; ++i) {
        std::vector<double> uv;
        std::vector<int> tris;
        int kind = i % 3;
        double s = 0.3 + uni(rng);
        if (kind == 2) {
            // Ring sector of 300 degrees.
            int seg = 24;
            for (int j = 0; j <= seg; ++j) {
                double a = 5.2 * j / seg;
                for (double r : {0.6 * s, s}) {
                    uv.push_back(r * std::cos(a));
                    uv.push_back(r * std::sin(a));
                }
                if (j < seg) tris.insert(tris.end(), {2 * j, 2 * j + 1, 2 * j + 3, 2 * j, 2 * j + 3, 2 * j + 2});
            }
        } else {
            // Unit cells of a 4x4 grid; the L drops the upper right 3x3 block... of cells.
            double w = s * (1 + 2 * uni(rng)), h = s;
            for (int y = 0; y <= 4; ++y)
                for (int x = 0; x <= 4; ++x) {
                    uv.push_back(w * x / 4);
                    uv.push_back(h * y / 4);
                }
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 4; ++x) {
                    if (kind == 1 && x >= 1 && y >= 1) continue;
                    int a = y * 5 + x;
                    tris.insert(tris.end(), {a, a + 1, a + 6, a, a + 6, a + 5});
                }
        }
        set.tris.push_back(std::move(tris));
        set.uvs.push_back(std::move(uv));
    }
    return set;
}

ChartSet TinyAndBig(unsigned seed) {
    ChartSet set;
    set.name = "tiny+big";
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> uni(0, 1);
    for (int i = 0; i < 4; ++i) AddBlob(set, rng, 10 + 5 * uni(rng), 1.2, 64);
    for (int i = 0; i < 1500; ++i) AddBlob(set, rng, 0.3 + 0.4 * uni(rng), 1 + uni(rng), 8);
    return set;
}

// The charts of an atlas file: faces joined through shared texture coordinates.
bool ChartsFromAtlas(const std::string& path, ChartSet& set) {
    std::ifstream in(path);
    if (!in) return false;
    std::vector<double> vt;
    std::vector<std::array<int, 3>> faces;
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, 3, "vt ") == 0) {
            double u = 0, v = 0;
            if (std::sscanf(line.c_str() + 3, "%lf %lf", &u, &v) == 2) vt.insert(vt.end(), {u, v});
        } else if (line.compare(0, 2, "f ") == 0) {
            std::istringstream corners(line.substr(2));
            std::string corner;
            std::vector<int> ids;
            while (corners >> corner) {
                const size_t slash = corner.find('/');
                if (slash == std::string::npos) return false;
                const int id = std::atoi(corner.c_str() + slash + 1);
                ids.push_back(id > 0 ? id - 1 : static_cast<int>(vt.size() / 2) + id);
            }
            for (size_t i = 2; i < ids.size(); ++i) faces.push_back({ids[0], ids[i - 1], ids[i]});
        }
    }
    const int n = static_cast<int>(vt.size() / 2);
    std::vector<int> parent(n);
    for (int i = 0; i < n; ++i) parent[i] = i;
    std::function<int(int)> root = [&](int x) { return parent[x] == x ? x : parent[x] = root(parent[x]); };
    for (const auto& f : faces)
        for (int k = 1; k < 3; ++k) parent[root(f[k])] = root(f[0]);
    std::vector<int> chartOf(n, -1), local(n, -1);
    for (const auto& f : faces) {
        int& c = chartOf[root(f[0])];
        if (c < 0) {
            c = static_cast<int>(set.tris.size());
            set.tris.emplace_back();
            set.uvs.emplace_back();
        }
        for (int id : f) {
            if (local[id] < 0) {
                local[id] = static_cast<int>(set.uvs[c].size() / 2);
                set.uvs[c].insert(set.uvs[c].end(), {vt[2 * id], vt[2 * id + 1]});
            }
            set.tris[c].push_back(local[id]);
        }
    }
    const size_t cut = path.find_last_of('/');
    set.name = cut == std::string::npos ? path : path.substr(cut + 1);
    return !set.tris.empty();
}

struct Row {
    std::string name;
    int charts = 0;
    long long triangles = 0;
    double util = 0;
    int work = 0;
    double seconds = 0;
    double cpu = 0;
    int status = 0;
    std::string check;
};

bool gDryRun = false;  // build the sets only: the cost of the bench itself

Row RunSet(const ChartSet& set, const ORVO::ChartPackOptions& opt, bool verify) {
    Row row;
    row.name = set.name;
    row.charts = static_cast<int>(set.tris.size());
    for (const auto& t : set.tris) row.triangles += t.size() / 3;
    std::vector<std::vector<double>> uvs = set.uvs;
    ORVO::ChartPackStats stats;
    const std::clock_t cpu0 = std::clock();
    if (gDryRun) return row;
    row.status = ORVO::_PackCharts(set.tris, uvs, opt, &stats);
    row.cpu = double(std::clock() - cpu0) / CLOCKS_PER_SEC;
    row.util = stats.utilization;
    row.work = stats.workResolution;
    row.seconds = stats.seconds;
    if (verify && row.status == 0) {
        double required = (opt.gapTexels - 1e-6) / opt.resolution;
        packcheck::Report rep = packcheck::CheckPacking(set.tris, uvs, required);
        std::string problem;
        double s = 0;
        bool rigid = packcheck::CheckRigid(set.tris, set.uvs, uvs, &s, &problem);
        if (!rep.inside || rep.closePairs > 0 || !rigid)
            row.check = "FAIL " + rep.firstProblem + " " + problem;
        else {
            char buf[64];
            std::snprintf(buf, sizeof buf, "ok (min gap %.2f texels)", rep.minDistance * opt.resolution);
            row.check = buf;
        }
    }
    return row;
}

}  // namespace

int main(int argc, char** argv) {
    bool verify = false, quick = false;
    std::string only;
    std::vector<std::string> atlases;
    ORVO::ChartPackOptions opt;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--verify") verify = true;
        else if (a == "--quick") quick = true;
        else if (a == "--dry") gDryRun = true;
        else if (a == "--threads" && i + 1 < argc) opt.threadCount = std::atoi(argv[++i]);
        else if (a == "--res" && i + 1 < argc) opt.resolution = std::atoi(argv[++i]);
        else if (a == "--gap" && i + 1 < argc) opt.gapTexels = std::atoi(argv[++i]);
        else if (a == "--only" && i + 1 < argc) only = argv[++i];
        else if (a == "--atlas") while (i + 1 < argc && argv[i + 1][0] != '-') atlases.push_back(argv[++i]);
    }
    std::printf("%-22s %7s %9s %7s %6s %8s %8s  %s\n", "set", "charts", "triangles", "util", "work", "seconds",
                "cpu-s", verify ? "check" : "");
    auto report = [&](const ChartSet& set) {
        if (!only.empty() && set.name.find(only) == std::string::npos) return;
        Row r = RunSet(set, opt, verify);
        std::printf("%-22s %7d %9lld %7.4f %6d %8.3f %8.3f  %s%s\n", r.name.c_str(), r.charts, r.triangles, r.util,
                    r.work, r.seconds, r.cpu, r.status != 0 ? "status " : "", r.status != 0 ? std::to_string(r.status).c_str() : r.check.c_str());
        std::fflush(stdout);
    };

    if (!atlases.empty()) {
        for (const std::string& path : atlases) {
            ChartSet set;
            if (ChartsFromAtlas(path, set)) report(set);
            else std::printf("%-22s (unreadable, skipped)\n", path.c_str());
        }
        return 0;
    }
    const std::string dir = std::string(QARN_SHARED_DIR) + "/meshes/";
    struct MeshCase {
        const char* file;
        std::vector<int> targets;
    };
    // Chart counts keep about 20 to 1000 triangles per chart, as an atlas of such meshes would.
    std::vector<MeshCase> cases = {{"spot.obj", {40, 150}},
                                   {"armadillo.obj", {100, 600}},
                                   {"meshroom_scan.obj", {300, 1000}},
                                   {"bunny.obj", {60, 500, 2000}},
                                   {"igea.obj", {1000, 2500}},
                                   {"igea_x4.obj", {2500}}};
    if (quick) cases = {{"armadillo.obj", {100, 600}}, {"bunny.obj", {2000}}};
    for (const MeshCase& mc : cases) {
        std::string stem0 = std::string(mc.file).substr(0, std::strlen(mc.file) - 4);
        if (!only.empty() && stem0.find(only) == std::string::npos && only.find(stem0) == std::string::npos) continue;
        Mesh mesh;
        if (!ReadObj(dir + mc.file, mesh)) {
            std::printf("%-22s (not found, skipped)\n", mc.file);
            continue;
        }
        std::string stem = std::string(mc.file).substr(0, std::strlen(mc.file) - 4);
        for (int target : mc.targets) {
            std::string name = stem + "/" + std::to_string(target);
            if (!only.empty() && name.find(only) == std::string::npos) continue;
            report(ChartsFromMesh(name, mesh, target, 7));
        }
    }
    if (quick) return 0;
    report(SyntheticBlobs(50, 0.5, 1));
    report(SyntheticBlobs(500, 0.5, 2));
    report(SyntheticBlobs(2500, 0.5, 3));
    report(SyntheticBlobs(1000, 1.0, 4));
    report(SyntheticShapes(300, 5));
    report(TinyAndBig(6));
    return 0;
}
