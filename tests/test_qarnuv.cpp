// The qarnuv program as a user runs it: exit codes, messages, the JSON line,
// the written atlas and preview, the demo, and (when Blender is installed)
// the atlas opened in a real modelling tool.
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshChecks.h"
#include "MeshCutKit.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using ORVO::TriMesh;

using testfiles::ScratchDir;


struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

// Runs a program (no shell) in `folder` with its output captured in files there.
Outcome RunProgram(const std::vector<std::string>& args, const std::string& folder) {
    const std::string outPath = folder + "/.stdout", errPath = folder + "/.stderr";
    pid_t pid = fork();
    if (pid == 0) {
        if (chdir(folder.c_str()) != 0) _exit(126);
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int in = open("/dev/null", O_RDONLY);
        if (out < 0 || err < 0 || in < 0) _exit(126);
        dup2(out, 1);
        dup2(err, 2);
        dup2(in, 0);
        std::vector<char*> argv;
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    Outcome result;
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    result.out = testfiles::ReadFile(outPath);
    result.err = testfiles::ReadFile(errPath);
    std::remove(outPath.c_str());
    std::remove(errPath.c_str());
    return result;
}

// A flat JSON object (string, number, true/false/null values) to a map of
// raw value texts. False on any syntax error.
bool ParseFlatJson(const std::string& text, std::map<std::string, std::string>& fields) {
    size_t i = 0;
    auto at = [&](char c) {
        while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
        return i < text.size() && text[i] == c;
    };
    auto readString = [&](std::string& s) {
        if (!at('"')) return false;
        for (++i; i < text.size() && text[i] != '"'; ++i) {
            if (text[i] == '\\') ++i;
            if (i < text.size()) s += text[i];
        }
        return i++ < text.size();
    };
    if (!at('{')) return false;
    do {
        ++i;
        std::string key, value;
        if (!readString(key) || !at(':')) return false;
        ++i;
        if (at('"')) {
            if (!readString(value)) return false;
        } else {
            const size_t start = i;
            while (i < text.size() && text[i] != ',' && text[i] != '}' && text[i] != ' ') ++i;
            value = text.substr(start, i - start);
            char* end = nullptr;
            std::strtod(value.c_str(), &end);
            if (value != "true" && value != "false" && value != "null" &&
                (value.empty() || end != value.c_str() + value.size()))
                return false;
        }
        fields[key] = value;
    } while (at(','));
    if (!at('}')) return false;
    ++i;
    at('\0');  // only to step over trailing blanks
    return i == text.size();
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

// Width and height from a PNG's IHDR chunk, or (0, 0) when it is not a PNG.
std::pair<int, int> PngSize(const std::string& path) {
    const std::string bytes = testfiles::ReadFile(path);
    if (bytes.size() < 24 || bytes.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0 || bytes.compare(12, 4, "IHDR") != 0)
        return {0, 0};
    auto big = [&](size_t at) {
        return (static_cast<unsigned char>(bytes[at]) << 24) | (static_cast<unsigned char>(bytes[at + 1]) << 16) |
               (static_cast<unsigned char>(bytes[at + 2]) << 8) | static_cast<unsigned char>(bytes[at + 3]);
    };
    return {big(16), big(20)};
}

bool FileExists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

#ifdef QARN_QARNUV
const std::string kQarnuv = QARN_QARNUV;
#define REQUIRE_QARNUV()
#else
const std::string kQarnuv;
#define REQUIRE_QARNUV() GTEST_SKIP() << "qarnuv is not built in this configuration"
#endif

// The single error line a failing run must print.
void ExpectOneErrorLine(const Outcome& r, const std::string& mention) {
    const std::vector<std::string> lines = Lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_EQ(lines[0].compare(0, 15, "qarnuv: error: "), 0) << lines[0];
    EXPECT_NE(lines[0].find(mention), std::string::npos) << lines[0];
}

TEST(Qarnuv, UnwrapWritesAtlasPreviewAndJsonLine) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    TriMesh torus = testmesh::Torus(32, 16);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "torus.obj", &torus), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "torus.obj", "atlas.obj", "--charts", "6", "--resolution", "512",
                            "--gap", "2", "--threads", "2", "--preview", "atlas.png", "--preview-size", "256", "--json"},
                           dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;  // no terminal: no progress bar
    const std::vector<std::string> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 1u) << r.out;
    std::map<std::string, std::string> json;
    ASSERT_TRUE(ParseFlatJson(lines[0], json)) << lines[0];
    EXPECT_EQ(json["faces"], std::to_string(torus.GetTriangleCount()));
    EXPECT_EQ(json["input"], "torus.obj");
    const int charts = std::atoi(json["charts"].c_str());
    EXPECT_GE(charts, 1);
    const double utilization = std::atof(json["utilization"].c_str());
    EXPECT_GT(utilization, 0.2);
    EXPECT_LE(utilization, 1.0);
    EXPECT_GE(std::atof(json["stretch_l2"].c_str()), 1.0 - 1e-9);
    EXPECT_GE(std::atof(json["stretch_linf"].c_str()), std::atof(json["stretch_l2"].c_str()));
    EXPECT_GT(std::atof(json["seconds"].c_str()), 0.0);
    EXPECT_EQ(PngSize(dir / "atlas.png"), std::make_pair(256, 256));

    // The written atlas: same surface, one coordinate pair per corner, inside the square.
    TriMesh atlas;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "atlas.obj", &atlas, &tex, &ids), 0);
    ASSERT_EQ(atlas.GetTriangleCount(), torus.GetTriangleCount());
    ASSERT_EQ(ids.size(), 3u * torus.GetTriangleCount());
    for (double t : tex) {
        EXPECT_GE(t, 0.0);
        EXPECT_LE(t, 1.0);
    }
    for (int f = 0; f < atlas.GetTriangleCount(); ++f)
        for (int k = 0; k < 3; ++k) ASSERT_EQ(atlas.GetTriangle(f)[k], torus.GetTriangle(f)[k]);

    // stats reads it back with the same chart count, and finds no fold.
    Outcome s = RunProgram({kQarnuv, "stats", "atlas.obj", "--json"}, dir.Path());
    ASSERT_EQ(s.exitCode, 0) << s.err;
    std::map<std::string, std::string> figures;
    ASSERT_TRUE(ParseFlatJson(Lines(s.out).at(0), figures)) << s.out;
    EXPECT_EQ(std::atoi(figures["charts"].c_str()), charts);
    EXPECT_EQ(figures["overlapping_faces"], "0");
    EXPECT_EQ(figures["flipped_faces"], "0");
    EXPECT_EQ(figures["in_unit_square"], "true");
    EXPECT_NEAR(std::atof(figures["utilization"].c_str()), utilization, 1e-5);

    // The plain summary is one line too; --auto is the default.
    Outcome text = RunProgram({kQarnuv, "unwrap", "torus.obj", "atlas.ply", "--auto"}, dir.Path());
    ASSERT_EQ(text.exitCode, 0) << text.err;
    ASSERT_EQ(Lines(text.out).size(), 1u);
    EXPECT_NE(text.out.find("charts"), std::string::npos);
    EXPECT_NE(text.out.find("utilization"), std::string::npos);
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "atlas.ply", &atlas, &tex, &ids), 0);
    EXPECT_EQ(ids.size(), 3u * torus.GetTriangleCount());
}

// Page mode: one preview per page, and an OBJ whose groups and materials name the page
// of every face, read back as the same surface.
TEST(Qarnuv, PageModeWritesPagePreviewsAndNamesThePages) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    TriMesh torus = testmesh::Torus(32, 16);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "torus.obj", &torus), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "torus.obj", "paged.obj", "--charts", "8", "--resolution", "256",
                            "--texels-per-unit", "200", "--preview", "paged.png", "--preview-size", "128", "--json"},
                           dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::map<std::string, std::string> json;
    ASSERT_TRUE(ParseFlatJson(Lines(r.out).at(0), json)) << r.out;
    const int pages = std::atoi(json["pages"].c_str());
    ASSERT_GE(pages, 2);
    for (int p = 0; p < pages; ++p)
        EXPECT_EQ(PngSize(dir / ("paged_page" + std::to_string(p) + ".png")), std::make_pair(128, 128)) << p;
    EXPECT_FALSE(FileExists(dir / ("paged_page" + std::to_string(pages) + ".png")));

    // Every face line follows a group and material of its page; each page has faces.
    std::ifstream obj(dir / "paged.obj");
    std::string line, group, material;
    std::map<std::string, int> facesOf;
    bool mtllib = false;
    while (std::getline(obj, line)) {
        if (line.rfind("mtllib ", 0) == 0) mtllib = line == "mtllib paged.mtl";
        if (line.rfind("g ", 0) == 0) group = line.substr(2);
        if (line.rfind("usemtl ", 0) == 0) material = line.substr(7);
        if (line.rfind("f ", 0) == 0) {
            ASSERT_FALSE(group.empty());
            EXPECT_EQ(group, material);
            ++facesOf[group];
        }
    }
    EXPECT_TRUE(mtllib);
    EXPECT_EQ(facesOf.size(), static_cast<size_t>(pages));
    for (int p = 0; p < pages; ++p) EXPECT_GT(facesOf["page_" + std::to_string(p)], 0) << p;
    const std::string mtl = testfiles::ReadFile(dir / "paged.mtl");
    EXPECT_NE(mtl.find("newmtl page_" + std::to_string(pages - 1)), std::string::npos);
    EXPECT_NE(mtl.find("map_Kd paged_page0.png"), std::string::npos);

    TriMesh atlas;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "paged.obj", &atlas, &tex, &ids), 0);
    EXPECT_EQ(atlas.GetTriangleCount(), torus.GetTriangleCount());
    EXPECT_EQ(ids.size(), 3u * torus.GetTriangleCount());
    for (double t : tex) EXPECT_TRUE(t >= 0.0 && t <= 1.0) << t;

    // Pages need the OBJ's groups: a PLY output is refused before the work.
    r = RunProgram({kQarnuv, "unwrap", "torus.obj", "paged.ply", "--texels-per-unit", "200"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, ".obj");
    EXPECT_FALSE(FileExists(dir / "paged.ply"));
}

TEST(Qarnuv, FailuresExitNonZeroWithOneMessage) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    TriMesh sphere = testmesh::Icosphere(2);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "sphere.off", &sphere), 0);

    Outcome r = RunProgram({kQarnuv, "unwrap", "missing.obj", "out.obj"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "missing.obj");
    EXPECT_TRUE(r.out.empty());

    r = RunProgram({kQarnuv, "unwrap", "sphere.off", "out.stl"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, ".obj or .ply");
    EXPECT_FALSE(FileExists(dir / "out.stl"));

    std::ofstream(dir / "broken.ply") << "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nend_header\n1\n";
    r = RunProgram({kQarnuv, "unwrap", "broken.ply", "out.obj"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "broken.ply");
    EXPECT_FALSE(FileExists(dir / "out.obj"));

    r = RunProgram({kQarnuv, "stats", "sphere.off"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "no texture coordinates");

    // Usage errors exit with 2 and name the offending argument.
    const std::vector<std::pair<std::vector<std::string>, std::string>> usage = {
        {{"unwrap", "sphere.off", "out.obj", "--charts", "3", "--auto"}, "--auto"},
        {{"unwrap", "sphere.off", "out.obj", "--charts", "0"}, "--charts"},
        {{"unwrap", "sphere.off"}, "OUT"},
        {{"frobnicate"}, "frobnicate"},
        {{}, "subcommand"}};
    for (const auto& [args, mention] : usage) {
        std::vector<std::string> argv{kQarnuv};
        argv.insert(argv.end(), args.begin(), args.end());
        r = RunProgram(argv, dir.Path());
        EXPECT_EQ(r.exitCode, 2) << mention;
        ExpectOneErrorLine(r, mention);
    }

    r = RunProgram({kQarnuv, "--help"}, dir.Path());
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_NE(r.out.find("unwrap"), std::string::npos);
    EXPECT_NE(r.out.find("demo"), std::string::npos);
}

TEST(Qarnuv, StatsFindsOverlapsFlipsAndCharts) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    // Chart 1 and chart 2 are single faces whose UV triangles overlap. Chart 3
    // is a fan of three faces around one vertex; the last one is folded back.
    std::ofstream(dir / "bad.obj") << "v 0 0 0\nv 1 0 0\nv 0 1 0\n"
                                      "v 5 0 0\nv 6 0 0\nv 5 1 0\n"
                                      "v 10 0 0\nv 11 0 0\nv 11 1 0\nv 10 1 0\n"
                                      "vt 0.1 0.1\nvt 0.5 0.1\nvt 0.1 0.5\n"
                                      "vt 0.2 0.2\nvt 0.6 0.2\nvt 0.2 0.6\n"
                                      "vt 0.7 0.7\nvt 0.9 0.7\nvt 0.9 0.9\nvt 0.7 0.9\nvt 0.95 0.85\n"
                                      "f 1/1 2/2 3/3\nf 4/4 5/5 6/6\n"
                                      "f 7/7 8/8 9/9\nf 7/7 9/9 10/10\nf 7/7 9/9 8/11\n";
    Outcome r = RunProgram({kQarnuv, "stats", "bad.obj", "--json"}, dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::map<std::string, std::string> figures;
    ASSERT_TRUE(ParseFlatJson(Lines(r.out).at(0), figures)) << r.out;
    EXPECT_EQ(figures["faces"], "5");
    EXPECT_EQ(figures["charts"], "3");
    EXPECT_EQ(figures["flipped_faces"], "1");
    // Faces 0 and 1 overlap; the folded face lies over the first face of its fan.
    EXPECT_EQ(figures["overlapping_faces"], "4");
    EXPECT_EQ(figures["overlap_exact"], "true");
    const double utilization = 0.08 + 0.08 + 0.02 + 0.02 + 0.01;
    EXPECT_NEAR(std::atof(figures["utilization"].c_str()), utilization, 1e-9);
}

TEST(Qarnuv, DemoWritesItsSurfacesAtlasesAndPreviews) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    Outcome r = RunProgram({kQarnuv, "demo", "--preview-size", "128", "--json"}, dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::vector<std::string> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out;
    for (const std::string& line : lines) {
        std::map<std::string, std::string> json;
        ASSERT_TRUE(ParseFlatJson(line, json)) << line;
        EXPECT_EQ(json["overlapping_faces"], "0") << line;
        EXPECT_EQ(json["flipped_faces"], "0") << line;
        EXPECT_GT(std::atoi(json["faces"].c_str()), 5000) << line;
        EXPECT_EQ(PngSize(dir / json["preview"]), std::make_pair(128, 128)) << line;
    }
    for (const char* name : {"demo_handle", "demo_patch"}) {
        const std::string base = dir / name;
        EXPECT_TRUE(FileExists(base + ".obj"));
        EXPECT_TRUE(FileExists(base + "_atlas.obj"));
        EXPECT_TRUE(FileExists(base + "_atlas.png"));
    }
    // The handle surface is closed with genus 1 (Euler characteristic 0), the patch a disc (1).
    TriMesh handle, patch;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "demo_handle.obj", &handle), 0);
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "demo_patch.obj", &patch), 0);
    auto euler = [](const TriMesh& m) {
        const int edges = static_cast<int>(meshcut::EdgeUses(meshcut::Triangles(m)).size());
        return m.GetVertexCount() - edges + m.GetTriangleCount();
    };
    EXPECT_EQ(euler(handle), 0);
    EXPECT_EQ(euler(patch), 1);
}

std::string FindOnPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::stringstream folders(path ? path : "");
    std::string folder;
    while (std::getline(folders, folder, ':')) {
        const std::string candidate = folder + "/" + program;
        if (!folder.empty() && access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return std::string();
}

// Blender imports the OBJ that qarnuv wrote; its UV layer must have one entry
// per face corner, equal to ours.
TEST(Qarnuv, BlenderReadsTheWrittenTexCoords) {
    REQUIRE_QARNUV();
    const std::string blender = FindOnPath("blender");
    if (blender.empty()) GTEST_SKIP() << "blender is not installed";
    ScratchDir dir;
    TriMesh mesh = testmesh::Torus(24, 12);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "in.obj", &mesh), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "in.obj", "atlas.obj", "--charts", "5"}, dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    TriMesh atlas;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "atlas.obj", &atlas, &tex, &ids), 0);

    const std::string script =
        "import bpy\n"
        "for o in list(bpy.data.objects): bpy.data.objects.remove(o)\n"
        "path = '" + (dir / "atlas.obj") + "'\n"
        "if hasattr(bpy.ops.wm, 'obj_import'): bpy.ops.wm.obj_import(filepath=path)\n"
        "else: bpy.ops.import_scene.obj(filepath=path, split_mode='OFF')\n"
        "meshes = [o.data for o in bpy.data.objects if o.type == 'MESH']\n"
        "out = open('" + (dir / "blender.txt") + "', 'w')\n"
        "me = meshes[0]\n"
        "uv = me.uv_layers.active.data\n"
        "out.write('%d %d %d %d %d\\n' % (len(meshes), len(me.vertices), len(me.polygons), len(me.loops), len(uv)))\n"
        "for p in me.polygons:\n"
        "    out.write(' '.join('%d %r %r' % (me.loops[l].vertex_index, uv[l].uv[0], uv[l].uv[1]) for l in p.loop_indices) + '\\n')\n"
        "for v in me.vertices: out.write('%r %r %r\\n' % tuple(v.co))\n"
        "out.close()\n";
    Outcome b = RunProgram({blender, "-b", "--factory-startup", "--python-exit-code", "3", "--python-expr", script},
                           dir.Path());
    ASSERT_EQ(b.exitCode, 0) << b.out << b.err;
    std::istringstream in(testfiles::ReadFile(dir / "blender.txt"));
    int objects = 0, vertices = 0, polygons = 0, loops = 0, uvs = 0;
    ASSERT_TRUE(in >> objects >> vertices >> polygons >> loops >> uvs) << b.out << b.err;
    EXPECT_EQ(objects, 1);
    EXPECT_EQ(vertices, atlas.GetVertexCount());
    ASSERT_EQ(polygons, atlas.GetTriangleCount());
    EXPECT_EQ(loops, 3 * polygons);
    EXPECT_EQ(uvs, 3 * polygons);  // one UV entry per face corner
    for (int f = 0; f < polygons; ++f) {
        for (int k = 0; k < 3; ++k) {
            int vertex = -1;
            double u = 0, v = 0;
            ASSERT_TRUE(in >> vertex >> u >> v);
            ASSERT_EQ(vertex, atlas.GetTriangle(f)[k]) << "face " << f;
            // Blender keeps UVs as 32-bit floats.
            ASSERT_NEAR(u, tex[2 * ids[3 * f + k]], 1e-6) << "face " << f << " corner " << k;
            ASSERT_NEAR(v, tex[2 * ids[3 * f + k] + 1], 1e-6) << "face " << f << " corner " << k;
        }
    }
    for (int i = 0; i < vertices; ++i) {
        double x, y, z;
        ASSERT_TRUE(in >> x >> y >> z);
        meshcheck::ExpectVec(ORVO::Vector3(x, y, z), atlas.GetVertexCoord(i), 1e-6);
    }
}

}  // namespace
