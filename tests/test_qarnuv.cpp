// The qarnuv program as a user runs it: exit codes, messages, the JSON line,
// the written atlas and preview, the demo, and (when Blender is installed)
// the atlas opened in a real modelling tool.
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/TriMesh.h>

#include "ExporterMeshes.h"
#include "MeshChecks.h"
#include "MeshCutKit.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#include <stb/stb_image.h>

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
        } else if (at('[')) {  // a list of numbers, kept as its text
            const size_t close = text.find(']', i);
            if (close == std::string::npos) return false;
            value = text.substr(i, close + 1 - i);
            i = close + 1;
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

TEST(Qarnuv, UnwrapWeldsAndOrientsUnlessToldNot) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    // A sphere as a flat-shading exporter with a careless winding writes it.
    const TriMesh written = exportmesh::Unwelded(exportmesh::Reversed(testmesh::Sphere(1.0, 10, 20), 2));
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "sphere.obj", &written), 0);
    auto run = [&](std::vector<std::string> extra) {
        std::vector<std::string> args = {kQarnuv, "unwrap", "sphere.obj", "atlas.obj", "--json"};
        args.insert(args.end(), extra.begin(), extra.end());
        Outcome r = RunProgram(args, dir.Path());
        EXPECT_EQ(r.exitCode, 0) << r.err;
        std::map<std::string, std::string> json;
        EXPECT_TRUE(ParseFlatJson(Lines(r.out).at(0), json)) << r.out;
        return json;
    };
    std::map<std::string, std::string> repaired = run({});
    EXPECT_GT(std::atoi(repaired["welded_vertices"].c_str()), 0);
    EXPECT_EQ(std::atoi(repaired["turned_faces"].c_str()), written.GetTriangleCount() / 2);
    EXPECT_LE(std::atoi(repaired["charts"].c_str()), 12);
    std::map<std::string, std::string> asWritten = run({"--no-weld", "--no-orient"});
    EXPECT_EQ(asWritten["welded_vertices"], "0");
    EXPECT_EQ(asWritten["turned_faces"], "0");
    EXPECT_EQ(std::atoi(asWritten["charts"].c_str()), written.GetTriangleCount());
}

TEST(Qarnuv, UnwrapKeepsWithinAStretchBudget) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    TriMesh sphere = testmesh::Icosphere(3);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "sphere.obj", &sphere), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "sphere.obj", "atlas.obj", "--max-stretch", "1.05", "--json", "--preview",
                            "atlas.png", "--preview-size", "200"},
                           dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::map<std::string, std::string> json;
    ASSERT_TRUE(ParseFlatJson(Lines(r.out).at(0), json)) << r.out;
    EXPECT_LE(std::atof(json["stretch_l2"].c_str()), 1.05);
    EXPECT_LE(std::atof(json["stretch_linf"].c_str()), 3.0);
    EXPECT_GE(std::atoi(json["charts"].c_str()), 2);  // a closed surface needs a cut

    // The preview keeps its size and shows the stretch scale, blue to red,
    // in a strip under the square.
    int width = 0, height = 0, channels = 0;
    unsigned char* pixels = stbi_load((dir / "atlas.png").c_str(), &width, &height, &channels, 3);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(width, 200);
    EXPECT_EQ(height, 200);
    bool red = false, blue = false;
    for (int y = height - 14; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const unsigned char* p = pixels + 3 * (y * width + x);
            red = red || (p[0] > 200 && p[1] < 60 && p[2] < 60);
            blue = blue || (p[2] > 200 && p[0] < 60 && p[1] < 60);
        }
    stbi_image_free(pixels);
    EXPECT_TRUE(red);
    EXPECT_TRUE(blue);
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
    ExpectOneErrorLine(r, ".obj, .ply, .gltf or .glb");
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
        {{"unwrap", "sphere.off", "out.obj", "--max-stretch", "0.5"}, "--max-stretch"},
        {{"unwrap", "sphere.off", "out.obj", "--max-stretch", "1.1", "--charts", "3"}, "--max-stretch"},
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

// The figures `qarnuv stats --json` gives for an atlas file.
std::map<std::string, std::string> StatsOf(const std::string& file, const std::string& folder) {
    Outcome s = RunProgram({kQarnuv, "stats", file, "--json"}, folder);
    std::map<std::string, std::string> figures;
    EXPECT_EQ(s.exitCode, 0) << s.err;
    const std::vector<std::string> lines = Lines(s.out);
    EXPECT_TRUE(!lines.empty() && ParseFlatJson(lines[0], figures)) << s.out;
    return figures;
}

TEST(Qarnuv, UnwrapTakesAndWritesGlb) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    TriMesh torus = testmesh::Torus(32, 16);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "scan.glb", &torus), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "scan.glb", "scan_atlas.glb", "--embed-preview", "--preview-size", "64"},
                           dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("scan_atlas.glb: " + std::to_string(torus.GetTriangleCount()) + " faces"), std::string::npos);
    std::map<std::string, std::string> figures = StatsOf("scan_atlas.glb", dir.Path());
    EXPECT_EQ(figures["faces"], std::to_string(torus.GetTriangleCount()));
    EXPECT_EQ(figures["overlapping_faces"], "0");
    EXPECT_EQ(figures["flipped_faces"], "0");
    EXPECT_EQ(figures["in_unit_square"], "true");
    // The picture is inside the file: a PNG signature after the JSON chunk.
    const std::string bytes = testfiles::ReadFile(dir / "scan_atlas.glb");
    const size_t png = bytes.find("\x89PNG\r\n\x1a\n");
    ASSERT_NE(png, std::string::npos);
    EXPECT_NE(bytes.find("baseColorTexture"), std::string::npos);
    // It is the unit square edge to edge: every face's centre lands on a
    // painted texel, not on a frame or a legend around the square.
    int width = 0, height = 0, channels = 0;
    unsigned char* texture =
        stbi_load_from_memory(reinterpret_cast<const unsigned char*>(bytes.data() + png),
                              static_cast<int>(bytes.size() - png), &width, &height, &channels, 3);
    ASSERT_NE(texture, nullptr);
    EXPECT_EQ(width, 64);
    TriMesh atlas;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "scan_atlas.glb", &atlas, &tex, &ids), 0);
    int blank = 0;
    for (size_t f = 0; 3 * f < ids.size(); ++f) {
        double u = 0, v = 0;
        for (int k = 0; k < 3; ++k) {
            u += tex[2 * ids[3 * f + k]] / 3;
            v += tex[2 * ids[3 * f + k] + 1] / 3;
        }
        const int x = std::min(width - 1, static_cast<int>(u * width));
        const int y = std::min(height - 1, static_cast<int>((1.0 - v) * height));
        const unsigned char* p = texture + 3 * (y * width + x);
        if (p[0] == 255 && p[1] == 255 && p[2] == 255) ++blank;
    }
    stbi_image_free(texture);
    EXPECT_LT(blank, static_cast<int>(ids.size() / 3 / 50)) << blank << " face centres on blank texels";

    r = RunProgram({kQarnuv, "unwrap", "scan.glb", "scan_atlas.obj", "--embed-preview"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, ".gltf or .glb");
}

TEST(Qarnuv, BatchUnwrapsEveryMeshOfAFolder) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    ASSERT_EQ(mkdir((dir / "in").c_str(), 0700), 0);
    TriMesh torus = testmesh::Torus(24, 12), sphere = testmesh::Icosphere(3);
    TriMesh grid = testmesh::Grid(20, 20, [](double x, double y) { return 0.2 * std::sin(4 * x) * std::cos(3 * y); });
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "in/a_torus.obj", &torus), 0);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "in/b_sphere.stl", &sphere), 0);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "in/c_grid.glb", &grid), 0);
    std::ofstream(dir / "in/d_broken.ply") << "ply\nformat ascii 1.0\nelement vertex 3\n";
    std::ofstream(dir / "in/notes.txt") << "not a mesh\n";

    Outcome r = RunProgram({kQarnuv, "batch", "in", "out", "--jobs", "2"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);  // one file is broken; the others are still done
    ExpectOneErrorLine(r, "1 of 4 files");
    const std::vector<std::string> lines = Lines(r.out);
    // A line per file as it finishes, a blank line, the table (header, 4 rows), the totals.
    ASSERT_EQ(lines.size(), 4u + 1u + 5u + 1u) << r.out;
    int progressLines = 0;
    for (int i = 0; i < 4; ++i) progressLines += lines[i].compare(0, 1, "[") == 0 && lines[i].find("/4] ") != std::string::npos;
    EXPECT_EQ(progressLines, 4) << r.out;
    EXPECT_NE(r.out.find("d_broken.ply: failed: "), std::string::npos) << r.out;
    EXPECT_EQ(lines[5].compare(0, 4, "file"), 0) << lines[5];
    const char* rows[] = {"a_torus.obj", "b_sphere.stl", "c_grid.glb", "d_broken.ply"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(lines[6 + i].compare(0, std::strlen(rows[i]), rows[i]), 0) << lines[6 + i];
        EXPECT_NE(lines[6 + i].find(i < 3 ? " ok" : " failed"), std::string::npos) << lines[6 + i];
    }
    EXPECT_NE(lines[10].find("4 files: 3 unwrapped, 1 failed"), std::string::npos) << lines[10];
    // Each output keeps its input's kind where that holds texture coordinates (STL does not).
    const std::pair<const char*, int> outputs[] = {{"out/a_torus.obj", torus.GetTriangleCount()},
                                                   {"out/b_sphere.obj", sphere.GetTriangleCount()},
                                                   {"out/c_grid.glb", grid.GetTriangleCount()}};
    for (const auto& [file, faces] : outputs) {
        SCOPED_TRACE(file);
        std::map<std::string, std::string> figures = StatsOf(file, dir.Path());
        EXPECT_EQ(figures["faces"], std::to_string(faces));
        EXPECT_EQ(figures["corners_without_uv"], "0");
        EXPECT_EQ(figures["overlapping_faces"], "0");
        EXPECT_EQ(figures["flipped_faces"], "0");
    }

    // Without the broken file: all succeed, one JSON line each, glb and pictures on request.
    std::remove((dir / "in/d_broken.ply").c_str());
    r = RunProgram({kQarnuv, "batch", "in", "glb", "--format", "glb", "--preview", "--preview-size", "64", "--json"},
                   dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    ASSERT_EQ(Lines(r.out).size(), 3u) << r.out;
    for (const std::string& line : Lines(r.out)) {
        std::map<std::string, std::string> json;
        ASSERT_TRUE(ParseFlatJson(line, json)) << line;
        EXPECT_TRUE(FileExists(dir / json["output"])) << line;
        EXPECT_EQ(json["output"].substr(json["output"].size() - 4), ".glb");
    }
    for (const char* picture : {"glb/a_torus.png", "glb/b_sphere.png", "glb/c_grid.png"})
        EXPECT_EQ(PngSize(dir / picture), std::make_pair(64, 64)) << picture;

    // Refused before any work: outputs that would collide, the same folder twice, no meshes.
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "in/a_torus.ply", &torus), 0);
    r = RunProgram({kQarnuv, "batch", "in", "again", "--format", "glb"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "would both be written to");
    r = RunProgram({kQarnuv, "batch", "in", "in"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "must differ");
    r = RunProgram({kQarnuv, "batch", "glb/missing", "x"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "not a folder");
    r = RunProgram({kQarnuv, "batch", "in", "x", "--jobs", "0"}, dir.Path());
    EXPECT_EQ(r.exitCode, 2);
    ExpectOneErrorLine(r, "--jobs");
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

// Records the atlas call of an unwrap, replays it from the file and writes the
// replayed atlas: the flat layout of the same faces inside the unit square.
TEST(Qarnuv, RecordAndReplayTheAtlasCall) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    TriMesh torus = testmesh::Torus(24, 12);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "torus.obj", &torus), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "torus.obj", "atlas.obj", "--charts", "4", "--record"}, dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::vector<std::string> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out;
    ASSERT_EQ(lines[0].compare(0, 9, "recorded "), 0) << lines[0];
    const std::string dump = lines[0].substr(9);
    EXPECT_NE(dump.find("_Mesh_Unfold_GenerateUVAtlas_0.dump"), std::string::npos) << dump;
    ASSERT_TRUE(FileExists(dir / dump));
    EXPECT_EQ(testfiles::ReadFile(dir / dump).substr(0, 3), "18\n");

    r = RunProgram({kQarnuv, "replay", dump, "--out", "replayed.obj", "--json"}, dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 1u) << r.out;
    std::map<std::string, std::string> json;
    ASSERT_TRUE(ParseFlatJson(lines[0], json)) << lines[0];
    EXPECT_EQ(json["record"], "DumpMeshUnfoldGenerateUVAtlas");
    EXPECT_EQ(json["api"], "18");
    EXPECT_EQ(json["status"], "0");
    EXPECT_EQ(json["meaning"], "success");
    EXPECT_EQ(json["faces"], "[" + std::to_string(torus.GetTriangleCount()) + "]");

    TriMesh replayed;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "replayed.obj", &replayed), 0);
    ASSERT_EQ(replayed.GetTriangleCount(), torus.GetTriangleCount());
    EXPECT_EQ(json["vertices"], "[" + std::to_string(replayed.GetVertexCount()) + "]");
    for (int v = 0; v < replayed.GetVertexCount(); ++v) {
        const ORVO::Vector3 p = replayed.GetVertexCoord(v);
        ASSERT_TRUE(p.x >= -1e-12 && p.x <= 1 + 1e-12 && p.y >= -1e-12 && p.y <= 1 + 1e-12 && p.z == 0.0) << v;
    }

    // The text summary names the record, the status and the mesh; --inputs
    // gives back the recorded mesh itself.
    r = RunProgram({kQarnuv, "replay", dump, "--inputs", "recorded.obj"}, dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 2u) << r.out;
    EXPECT_EQ(lines[0], "wrote recorded.obj");
    EXPECT_EQ(lines[1].compare(0, 50, "DumpMeshUnfoldGenerateUVAtlas: status 0 (success),"), 0) << r.out;
    TriMesh recorded;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "recorded.obj", &recorded), 0);
    ASSERT_EQ(recorded.GetVertexCount(), torus.GetVertexCount());
    ASSERT_EQ(recorded.GetTriangleCount(), torus.GetTriangleCount());
    for (int v = 0; v < torus.GetVertexCount(); ++v)
        meshcheck::ExpectVec(recorded.GetVertexCoord(v), torus.GetVertexCoord(v), 1e-12);
    for (int f = 0; f < torus.GetTriangleCount(); ++f)
        for (int k = 0; k < 3; ++k) ASSERT_EQ(recorded.GetTriangle(f)[k], torus.GetTriangle(f)[k]);
}

TEST(Qarnuv, ReplayRefusesWhatItCannotRun) {
    REQUIRE_QARNUV();
    ScratchDir dir;
    // A call the atlas refuses (two vertices) is recorded all the same, and
    // its replay fails the same way.
    std::ofstream(dir / "two.obj") << "v 0 0 0\nv 1 0 0\nf 1 2 1\n";
    Outcome r = RunProgram({kQarnuv, "unwrap", "two.obj", "out.obj", "--record"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "status -2");
    std::vector<std::string> lines = Lines(r.out);
    ASSERT_EQ(lines.size(), 1u) << r.out;
    ASSERT_EQ(lines[0].compare(0, 9, "recorded "), 0) << lines[0];
    r = RunProgram({kQarnuv, "replay", lines[0].substr(9), "--out", "x.obj"}, dir.Path());
    EXPECT_EQ(r.exitCode, 1);
    ExpectOneErrorLine(r, "invalid input");
    EXPECT_NE(r.out.find("status -2 (invalid input), mesh 2 vertices 1 faces"), std::string::npos) << r.out;
    EXPECT_FALSE(FileExists(dir / "x.obj"));

    std::ofstream(dir / "unknown.dump") << "10\n-1\n";
    std::ofstream(dir / "garbage.dump") << "\x7f\x45LF garbage";
    std::ofstream(dir / "empty_pack.dump") << "8\n0\n0\n";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"unknown.dump", "10 names no recorded call"},
        {"garbage.dump", "cannot read a recorded call"},
        {"missing.dump", "cannot read a recorded call"},
        {"empty_pack.dump", "status -2"}};
    for (const auto& [file, mention] : cases) {
        r = RunProgram({kQarnuv, "replay", file}, dir.Path());
        EXPECT_EQ(r.exitCode, 1) << file;
        ExpectOneErrorLine(r, mention);
    }
    r = RunProgram({kQarnuv, "replay"}, dir.Path());
    EXPECT_EQ(r.exitCode, 2);
    ExpectOneErrorLine(r, "FILE");
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

// Blender imports the GLB that qarnuv wrote (texture embedded) and must find
// one texture coordinate per face corner, equal to ours, and the picture;
// the GLB Blender's own exporter then writes must read back with the same
// corners.
TEST(Qarnuv, BlenderImportsOurGlbAndWritesOneWeRead) {
    REQUIRE_QARNUV();
    const std::string blender = FindOnPath("blender");
    if (blender.empty()) GTEST_SKIP() << "blender is not installed";
    ScratchDir dir;
    TriMesh mesh = testmesh::Torus(24, 12);
    ASSERT_EQ(ORVO::Parser::ExportTriMesh(dir / "in.ply", &mesh), 0);
    Outcome r = RunProgram({kQarnuv, "unwrap", "in.ply", "atlas.glb", "--charts", "5", "--embed-preview", "--preview-size",
                            "64"},
                           dir.Path());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    TriMesh atlas;
    std::vector<double> tex;
    std::vector<int> ids;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "atlas.glb", &atlas, &tex, &ids), 0);

    // Smooth shading: the default guess of Debian's Blender 3.4 importer
    // fails with the numpy it is packaged with, and shading is not tested here.
    const std::string script =
        "import bpy\n"
        "for o in list(bpy.data.objects): bpy.data.objects.remove(o)\n"
        "bpy.ops.import_scene.gltf(filepath='" + (dir / "atlas.glb") + "', import_shading='SMOOTH')\n"
        "meshes = [o for o in bpy.data.objects if o.type == 'MESH']\n"
        "me = meshes[0].data\n"
        "uv = me.uv_layers.active.data\n"
        "images = [n.image for m in me.materials for n in m.node_tree.nodes if n.type == 'TEX_IMAGE' and n.image]\n"
        "out = open('" + (dir / "blender.txt") + "', 'w')\n"
        "out.write('%d %d %d %d %d\\n' % (len(meshes), len(me.polygons), len(me.loops), len(uv), len(images)))\n"
        "out.write('%d %d\\n' % tuple(images[0].size) if images else '0 0\\n')\n"
        "for p in me.polygons:\n"
        "    for l in p.loop_indices:\n"
        "        co = me.vertices[me.loops[l].vertex_index].co\n"
        "        out.write('%r %r %r %r %r\\n' % (co[0], co[1], co[2], uv[l].uv[0], uv[l].uv[1]))\n"
        "out.close()\n"
        "bpy.ops.export_scene.gltf(filepath='" + (dir / "blender.glb") + "', export_format='GLB')\n";
    Outcome b = RunProgram({blender, "-b", "--factory-startup", "--python-exit-code", "3", "--python-expr", script},
                           dir.Path());
    ASSERT_EQ(b.exitCode, 0) << b.out << b.err;
    std::istringstream in(testfiles::ReadFile(dir / "blender.txt"));
    int objects = 0, polygons = 0, loops = 0, uvs = 0, images = 0, width = 0, height = 0;
    ASSERT_TRUE(in >> objects >> polygons >> loops >> uvs >> images >> width >> height) << b.out << b.err;
    EXPECT_EQ(objects, 1);
    ASSERT_EQ(polygons, atlas.GetTriangleCount());
    EXPECT_EQ(loops, 3 * polygons);
    EXPECT_EQ(uvs, 3 * polygons);  // one UV entry per face corner
    EXPECT_EQ(images, 1);
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 64);
    // Blender turns glTF's y-up into its z-up: (x, y, z) arrives as (x, -z, y).
    for (int f = 0; f < polygons; ++f) {
        for (int k = 0; k < 3; ++k) {
            double x, y, z, u, v;
            ASSERT_TRUE(in >> x >> y >> z >> u >> v);
            const ORVO::Vector3 p = atlas.GetVertexCoord(atlas.GetTriangle(f)[k]);
            ASSERT_NEAR(x, p.x, 1e-6) << "face " << f;
            ASSERT_NEAR(y, -p.z, 1e-6) << "face " << f;
            ASSERT_NEAR(z, p.y, 1e-6) << "face " << f;
            ASSERT_NEAR(u, tex[2 * ids[3 * f + k]], 1e-6) << "face " << f << " corner " << k;
            ASSERT_NEAR(v, tex[2 * ids[3 * f + k] + 1], 1e-6) << "face " << f << " corner " << k;
        }
    }

    // Blender's GLB: the same surface and the same corner coordinates.
    TriMesh again;
    std::vector<double> tex2;
    std::vector<int> ids2;
    ASSERT_EQ(ORVO::Parser::ImportTriMesh(dir / "blender.glb", &again, &tex2, &ids2), 0) << ORVO::Parser::GetLastError();
    ASSERT_EQ(again.GetTriangleCount(), atlas.GetTriangleCount());
    ASSERT_EQ(ids2.size(), ids.size());
    for (int f = 0; f < again.GetTriangleCount(); ++f) {
        for (int k = 0; k < 3; ++k) {
            meshcheck::ExpectVec(again.GetVertexCoord(again.GetTriangle(f)[k]), atlas.GetVertexCoord(atlas.GetTriangle(f)[k]),
                                 1e-6);
            ASSERT_NEAR(tex2[2 * ids2[3 * f + k]], tex[2 * ids[3 * f + k]], 1e-6) << "face " << f;
            ASSERT_NEAR(tex2[2 * ids2[3 * f + k] + 1], tex[2 * ids[3 * f + k] + 1], 1e-6) << "face " << f;
        }
    }
}

}  // namespace
