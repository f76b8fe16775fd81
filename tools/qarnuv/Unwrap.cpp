// qarnuv unwrap IN OUT: read a mesh, build its atlas, write it with texture
// coordinates and report what came out.
#include "Qarnuv.h"

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

namespace qarnuv {
namespace {

std::string Number(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

// The dump file the atlas call wrote as recording number `counter`: its name
// is "<time><tag><counter>.dump" in the current folder; the newest such file.
std::string RecordedDumpFile(int counter) {
    namespace fs = std::filesystem;
    const std::string suffix = "_Mesh_Unfold_GenerateUVAtlas_" + std::to_string(counter) + ".dump";
    std::string newest;
    fs::file_time_type newestTime{};
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(".", error)) {
        const std::string name = entry.path().filename().string();
        if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
            continue;
        const fs::file_time_type time = entry.last_write_time(error);
        if (newest.empty() || time > newestTime) {
            newest = name;
            newestTime = time;
        }
    }
    return newest;
}

// The mesh files qarnuv reads, in the order help and messages list them.
struct MeshKind {
    const char* name;     // the extension without its dot
    bool keepsTexCoords;  // a texture coordinate per face corner survives writing
};
constexpr MeshKind kMeshKinds[] = {{"obj", true},  {"ply", true},  {"stl", false},
                                   {"off", false}, {"gltf", true}, {"glb", true}};

// What the working copy changed, when it changed anything.
std::string RepairNote(const UnwrapOutcome& outcome) {
    std::string note;
    if (outcome.weldedVertices > 0) note += ", welded " + std::to_string(outcome.weldedVertices) + " vertices";
    if (outcome.turnedFaces > 0) note += ", turned " + std::to_string(outcome.turnedFaces) + " faces";
    return note;
}

}  // namespace

void PrintError(const std::string& message) { std::fprintf(stderr, "qarnuv: error: %s\n", message.c_str()); }

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof(escape), "\\u%04x", c);
            out += escape;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

bool UnwrapMesh(const ORVO::TriMesh& mesh, const UnwrapSettings& settings, UnwrapOutcome& outcome, std::string& error) {
    ORVO::UVAtlasOptions options;
    options.chartCount = settings.charts;
    options.maxStretch = settings.maxStretch;
    options.resolution = settings.resolution;
    options.gapTexels = settings.gap;
    options.threadCount = settings.threads;
    options.strict = true;
    options.weldVertices = settings.weld;
    options.orientFaces = settings.orient;
    options.texelsPerUnit = settings.texelsPerUnit;
    options.maxPages = settings.maxPages;
    options.facePages = &outcome.facePages;
    ORVO::UVAtlasReport report;
    ORVO::ResetApiProgress();
    int status;
    {
        ProgressBar bar("unwrapping", settings.progress);
        status = ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &outcome.texCoords, &outcome.faceTexIds, &report);
    }
    if (status != ORVO::STATUS_SUCCESS) {
        error = "the atlas could not be built (status " + std::to_string(status) +
                "; the library's log file says why)";
        return false;
    }
    outcome.charts = report.chartCount;
    outcome.seconds = report.seconds;
    outcome.weldedVertices = report.weldedVertices;
    outcome.turnedFaces = report.turnedFaces;
    outcome.pages = report.pageCount;
    outcome.quality = MeasureAtlas(mesh, outcome.texCoords, outcome.faceTexIds, false, &outcome.faceStretch);
    // Pages share the unit square: the fill is per page.
    outcome.quality.utilization /= outcome.pages;
    if (settings.previewPath.empty()) return true;
    if (settings.texelsPerUnit <= 0.0)
        return WritePreview(settings.previewPath, outcome.texCoords, outcome.faceTexIds, outcome.faceStretch,
                            settings.previewSize, settings.resolution, error);
    const std::vector<std::vector<int>> pageFaces = FacesByPage(outcome.facePages, outcome.pages);
    for (int page = 0; page < outcome.pages; ++page) {
        std::vector<int> ids;
        std::vector<double> stretch;
        for (int f : pageFaces[static_cast<size_t>(page)]) {
            ids.insert(ids.end(), &outcome.faceTexIds[3 * f], &outcome.faceTexIds[3 * f] + 3);
            stretch.push_back(outcome.faceStretch[f]);
        }
        if (!WritePreview(PagePreviewPath(settings.previewPath, page), outcome.texCoords, ids, stretch,
                          settings.previewSize, settings.resolution, error))
            return false;
    }
    return true;
}

std::string SummaryLine(const UnwrapOutcome& outcome, const ORVO::TriMesh& mesh) {
    const std::string pages = outcome.pages > 1 ? " on " + std::to_string(outcome.pages) + " pages" : "";
    return std::to_string(mesh.GetTriangleCount()) + " faces, " + std::to_string(outcome.charts) + " charts" + pages +
           ", utilization " +
           Number("%.3f", outcome.quality.utilization) + ", stretch L2 " + Number("%.3f", outcome.quality.stretchL2) +
           " Linf " + Number("%.3f", outcome.quality.stretchLinf) + ", " + Number("%.2f", outcome.seconds) + " s" +
           RepairNote(outcome);
}

std::string SummaryJson(const UnwrapOutcome& outcome, const ORVO::TriMesh& mesh, const std::string& input,
                        const std::string& output) {
    return "{\"input\":" + JsonString(input) + ",\"output\":" + JsonString(output) +
           ",\"vertices\":" + std::to_string(mesh.GetVertexCount()) + ",\"faces\":" + std::to_string(mesh.GetTriangleCount()) +
           ",\"charts\":" + std::to_string(outcome.charts) + ",\"pages\":" + std::to_string(outcome.pages) +
           ",\"utilization\":" + Number("%.6g", outcome.quality.utilization) +
           ",\"stretch_l2\":" + Number("%.6g", outcome.quality.stretchL2) +
           ",\"stretch_linf\":" + Number("%.6g", outcome.quality.stretchLinf) +
           ",\"seconds\":" + Number("%.6g", outcome.seconds) +
           ",\"welded_vertices\":" + std::to_string(outcome.weldedVertices) +
           ",\"turned_faces\":" + std::to_string(outcome.turnedFaces) + "}";
}

std::string LowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

bool IsMeshFile(const std::string& path) {
    const std::string ext = LowerExtension(path);
    for (const MeshKind& kind : kMeshKinds)
        if (ext == std::string(".") + kind.name) return true;
    return false;
}

bool KeepsTexCoords(const std::string& path) {
    const std::string ext = LowerExtension(path);
    for (const MeshKind& kind : kMeshKinds)
        if (kind.keepsTexCoords && ext == std::string(".") + kind.name) return true;
    return false;
}

std::vector<std::string> MeshKinds(bool texturedOnly) {
    std::vector<std::string> names;
    for (const MeshKind& kind : kMeshKinds)
        if (kind.keepsTexCoords || !texturedOnly) names.push_back(kind.name);
    return names;
}

std::string MeshExtensionList(bool texturedOnly, const char* separator, const char* last) {
    const std::vector<std::string> names = MeshKinds(texturedOnly);
    std::string list;
    for (size_t i = 0; i < names.size(); ++i) {
        if (i > 0) list += i + 1 == names.size() ? last : separator;
        list += "." + names[i];
    }
    return list;
}

bool WriteAtlas(const std::string& path, const ORVO::TriMesh& mesh, const UnwrapSettings& settings, bool embedPreview,
                const UnwrapOutcome& outcome, std::string& error) {
    // The embedded picture is drawn for the purpose: the unit square edge to
    // edge, so that it lies on the surface where the coordinates say (the
    // preview file has a frame and a legend around the square).
    std::string temporary;
    if (embedPreview) {
        static std::atomic<int> serial{0};  // batch jobs draw pictures at the same time
        temporary = (std::filesystem::temp_directory_path() /
                     ("qarnuv-texture-" + std::to_string(getpid()) + "-" + std::to_string(serial++) + ".png"))
                        .string();
        if (!WritePreview(temporary, outcome.texCoords, outcome.faceTexIds, outcome.faceStretch, settings.previewSize,
                          settings.resolution, error, true))
            return false;
    }
    const int status =
        embedPreview ? ORVO::Parser::ExportTexturedTriMesh(path, &mesh, &outcome.texCoords, &outcome.faceTexIds,
                                                           temporary)
                     : ORVO::Parser::ExportTriMesh(path, &mesh, &outcome.texCoords, &outcome.faceTexIds);
    if (!temporary.empty()) std::remove(temporary.c_str());
    if (status != ORVO::STATUS_SUCCESS) {
        error = ORVO::Parser::GetLastError();
        return false;
    }
    return true;
}

int RunUnwrap(const UnwrapCommand& command) {
    // Refuse an output that would lose the texture coordinates before the long part.
    if (!KeepsTexCoords(command.output)) {
        PrintError(command.output + ": the output must be " + MeshExtensionList(true, ", ", " or ") +
                   " to keep texture coordinates");
        return 1;
    }
    const std::string outExt = LowerExtension(command.output);
    if (command.embedPreview && outExt != ".gltf" && outExt != ".glb") {
        PrintError(command.output + ": --embed-preview needs a .gltf or .glb output");
        return 1;
    }
    const bool paged = command.settings.texelsPerUnit > 0.0;
    if (paged && outExt != ".obj") {
        PrintError(command.output + ": with --texels-per-unit the output must be .obj (its groups name the pages)");
        return 1;
    }
    ORVO::TriMesh mesh;
    if (ORVO::Parser::ImportTriMesh(command.input, &mesh) != ORVO::STATUS_SUCCESS) {
        PrintError(ORVO::Parser::GetLastError());
        return 1;
    }
    UnwrapOutcome outcome;
    std::string error;
    const int recording = ORVO::DumpBase::APICalledTime;
    if (command.record) ORVO::DumpOnce();
    const bool unwrapped = UnwrapMesh(mesh, command.settings, outcome, error);
    // The call is recorded before it checks anything, so a failed call leaves
    // its file too: that is the one a support engineer wants.
    std::string dumpFile;
    if (command.record) {
        dumpFile = RecordedDumpFile(recording);
        if (dumpFile.empty()) {
            PrintError("the atlas call was not recorded (is the current folder writable?)");
            return 1;
        }
        if (!command.json || !unwrapped) std::printf("recorded %s\n", dumpFile.c_str());
    }
    if (!unwrapped) {
        PrintError(command.input + ": " + error);
        return 1;
    }
    if (paged) {
        if (!WritePagedObj(command.output, mesh, outcome, command.settings.previewPath, error)) {
            PrintError(error);
            return 1;
        }
    } else if (!WriteAtlas(command.output, mesh, command.settings, command.embedPreview, outcome, error)) {
        PrintError(error);
        return 1;
    }
    if (command.json) {
        std::string json = SummaryJson(outcome, mesh, command.input, command.output);
        if (!dumpFile.empty()) json.insert(json.size() - 1, ",\"dump\":" + JsonString(dumpFile));
        std::printf("%s\n", json.c_str());
    } else {
        std::printf("%s: %s\n", command.output.c_str(), SummaryLine(outcome, mesh).c_str());
    }
    return 0;
}

}  // namespace qarnuv
