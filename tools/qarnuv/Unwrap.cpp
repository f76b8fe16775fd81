// qarnuv unwrap IN OUT: read a mesh, build its atlas, write it with texture
// coordinates and report what came out.
#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include <cctype>
#include <cstdio>
#include <filesystem>

namespace qarnuv {
namespace {

std::string Number(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
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
    options.resolution = settings.resolution;
    options.gapTexels = settings.gap;
    options.threadCount = settings.threads;
    options.strict = true;
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
    outcome.pages = report.pageCount;
    std::vector<double> faceStretch;
    outcome.quality = MeasureAtlas(mesh, outcome.texCoords, outcome.faceTexIds, false, &faceStretch);
    // Pages share the unit square: the fill is per page.
    outcome.quality.utilization /= outcome.pages;
    if (settings.previewPath.empty()) return true;
    if (settings.texelsPerUnit <= 0.0)
        return WritePreview(settings.previewPath, outcome.texCoords, outcome.faceTexIds, faceStretch,
                            settings.previewSize, error);
    for (int page = 0; page < outcome.pages; ++page) {
        std::vector<int> ids;
        std::vector<double> stretch;
        for (size_t f = 0; f < outcome.facePages.size(); ++f) {
            if (outcome.facePages[f] != page) continue;
            ids.insert(ids.end(), &outcome.faceTexIds[3 * f], &outcome.faceTexIds[3 * f] + 3);
            stretch.push_back(faceStretch[f]);
        }
        if (!WritePreview(PagePreviewPath(settings.previewPath, page), outcome.texCoords, ids, stretch,
                          settings.previewSize, error))
            return false;
    }
    return true;
}

std::string SummaryLine(const UnwrapOutcome& outcome, const ORVO::TriMesh& mesh) {
    const std::string pages = outcome.pages > 1 ? " on " + std::to_string(outcome.pages) + " pages" : "";
    return std::to_string(mesh.GetTriangleCount()) + " faces, " + std::to_string(outcome.charts) + " charts" + pages +
           ", utilization " +
           Number("%.3f", outcome.quality.utilization) + ", stretch L2 " + Number("%.3f", outcome.quality.stretchL2) +
           " Linf " + Number("%.3f", outcome.quality.stretchLinf) + ", " + Number("%.2f", outcome.seconds) + " s";
}

std::string SummaryJson(const UnwrapOutcome& outcome, const ORVO::TriMesh& mesh, const std::string& input,
                        const std::string& output) {
    return "{\"input\":" + JsonString(input) + ",\"output\":" + JsonString(output) +
           ",\"vertices\":" + std::to_string(mesh.GetVertexCount()) + ",\"faces\":" + std::to_string(mesh.GetTriangleCount()) +
           ",\"charts\":" + std::to_string(outcome.charts) + ",\"pages\":" + std::to_string(outcome.pages) +
           ",\"utilization\":" + Number("%.6g", outcome.quality.utilization) +
           ",\"stretch_l2\":" + Number("%.6g", outcome.quality.stretchL2) +
           ",\"stretch_linf\":" + Number("%.6g", outcome.quality.stretchLinf) +
           ",\"seconds\":" + Number("%.6g", outcome.seconds) + "}";
}

int RunUnwrap(const UnwrapCommand& command) {
    // Refuse an output that would lose the texture coordinates before the long part.
    std::string ext = std::filesystem::path(command.output).extension().string();
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (ext != ".obj" && ext != ".ply") {
        PrintError(command.output + ": the output must be .obj or .ply to keep texture coordinates");
        return 1;
    }
    const bool paged = command.settings.texelsPerUnit > 0.0;
    if (paged && ext != ".obj") {
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
    if (!UnwrapMesh(mesh, command.settings, outcome, error)) {
        PrintError(command.input + ": " + error);
        return 1;
    }
    if (paged) {
        if (!WritePagedObj(command.output, mesh, outcome, command.settings.previewPath, error)) {
            PrintError(error);
            return 1;
        }
    } else if (ORVO::Parser::ExportTriMesh(command.output, &mesh, &outcome.texCoords, &outcome.faceTexIds) !=
               ORVO::STATUS_SUCCESS) {
        PrintError(ORVO::Parser::GetLastError());
        return 1;
    }
    if (command.json) {
        std::printf("%s\n", SummaryJson(outcome, mesh, command.input, command.output).c_str());
    } else {
        std::printf("%s: %s\n", command.output.c_str(), SummaryLine(outcome, mesh).c_str());
    }
    return 0;
}

}  // namespace qarnuv
