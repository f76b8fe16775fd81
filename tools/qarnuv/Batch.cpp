// qarnuv batch IN_DIR OUT_DIR: unwraps every mesh file of a folder, a few
// files at a time, with one line per finished file and a table at the end.
#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <system_error>

namespace qarnuv {
namespace {

namespace fs = std::filesystem;

struct BatchItem {
    std::string name;    // file name inside IN_DIR
    std::string input;   // full paths
    std::string output;
    std::string preview;
    bool ok = false;
    std::string error;
    int faces = 0;
    UnwrapOutcome outcome;
    std::string summary;  // the tool's summary line (or JSON line) of this atlas
};

// The files to unwrap, sorted by name, each with the file it becomes. False
// with `error` set when the folders are unusable or two inputs would write
// the same output.
bool PlanBatch(const BatchCommand& command, std::vector<BatchItem>& items, std::string& error) {
    std::error_code ec;
    if (!fs::is_directory(command.inputFolder, ec)) {
        error = command.inputFolder + ": not a folder";
        return false;
    }
    fs::create_directories(command.outputFolder, ec);
    if (!fs::is_directory(command.outputFolder, ec)) {
        error = command.outputFolder + ": cannot be created";
        return false;
    }
    if (fs::equivalent(command.inputFolder, command.outputFolder, ec)) {
        error = "OUT_DIR must differ from IN_DIR (the atlases keep their input's name)";
        return false;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(command.inputFolder, ec)) {
        if (!entry.is_regular_file(ec) || !IsMeshFile(entry.path().string())) continue;
        BatchItem item;
        item.name = entry.path().filename().string();
        item.input = entry.path().string();
        const std::string own = LowerExtension(item.name);
        const std::string ext = !command.format.empty() ? "." + command.format : KeepsTexCoords(item.name) ? own : ".obj";
        const fs::path stem = entry.path().stem();
        item.output = (fs::path(command.outputFolder) / stem).string() + ext;
        if (command.previews) item.preview = (fs::path(command.outputFolder) / stem).string() + ".png";
        items.push_back(std::move(item));
    }
    if (ec) {
        error = command.inputFolder + ": " + ec.message();
        return false;
    }
    if (items.empty()) {
        error = command.inputFolder + ": no mesh files (" + MeshExtensionList(false, " ", " ") + ")";
        return false;
    }
    std::sort(items.begin(), items.end(), [](const BatchItem& a, const BatchItem& b) { return a.name < b.name; });
    std::map<std::string, std::string> writer;
    for (const BatchItem& item : items) {
        auto [it, fresh] = writer.emplace(item.output, item.name);
        if (!fresh) {
            error = it->second + " and " + item.name + " would both be written to " + item.output;
            return false;
        }
    }
    return true;
}

void UnwrapItem(const BatchCommand& command, const UnwrapSettings& settings, BatchItem& item) {
    try {
        ORVO::TriMesh mesh;
        if (ORVO::Parser::ImportTriMesh(item.input, &mesh) != ORVO::STATUS_SUCCESS) {
            item.error = ORVO::Parser::GetLastError();
            return;
        }
        item.faces = mesh.GetTriangleCount();
        UnwrapSettings own = settings;
        own.previewPath = item.preview;
        if (!UnwrapMesh(mesh, own, item.outcome, item.error) ||
            !WriteAtlas(item.output, mesh, own, command.embedPreview, item.outcome, item.error))
            return;
        item.ok = true;
        item.summary = command.json ? SummaryJson(item.outcome, mesh, item.input, item.output)
                                    : SummaryLine(item.outcome, mesh);
    } catch (const std::bad_alloc&) {
        item.error = "out of memory";
    }
    // Only the figures are kept: the coordinates are in the written file.
    item.outcome.texCoords = std::vector<double>();
    item.outcome.faceTexIds = std::vector<int>();
    item.outcome.faceStretch = std::vector<double>();
}

std::string Fixed(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

void PrintTable(const std::vector<BatchItem>& items, int failed, double wallSeconds) {
    size_t width = 4;
    for (const BatchItem& item : items) width = std::max(width, item.name.size());
    std::printf("\n%-*s %10s %7s %6s %7s %7s %8s  %s\n", static_cast<int>(width), "file", "faces", "charts", "util",
                "L2", "Linf", "seconds", "result");
    double unwrapSeconds = 0.0;
    for (const BatchItem& item : items) {
        if (!item.ok) {
            std::printf("%-*s %10s %7s %6s %7s %7s %8s  failed\n", static_cast<int>(width), item.name.c_str(), "-", "-",
                        "-", "-", "-", "-");
            continue;
        }
        const UnwrapOutcome& o = item.outcome;
        unwrapSeconds += o.seconds;
        std::printf("%-*s %10d %7d %6s %7s %7s %8s  ok\n", static_cast<int>(width), item.name.c_str(), item.faces,
                    o.charts, Fixed("%.3f", o.quality.utilization).c_str(), Fixed("%.3f", o.quality.stretchL2).c_str(),
                    Fixed("%.3f", o.quality.stretchLinf).c_str(), Fixed("%.2f", o.seconds).c_str());
    }
    std::printf("%zu files: %zu unwrapped, %d failed; %.2f s unwrapping, %.2f s in all\n", items.size(),
                items.size() - failed, failed, unwrapSeconds, wallSeconds);
}

}  // namespace

int RunBatch(const BatchCommand& command) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<BatchItem> items;
    std::string error;
    if (!PlanBatch(command, items, error)) {
        PrintError(error);
        return 1;
    }
    const int jobs = std::max(1, std::min(command.jobs, static_cast<int>(items.size())));
    UnwrapSettings settings = command.settings;
    settings.progress = false;
    // Parallel files share the processor: each atlas gets its part of it.
    if (settings.threads == 0 && jobs > 1)
        settings.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()) / jobs);

    std::atomic<size_t> next{0};
    std::mutex printLock;
    size_t finished = 0;
    auto work = [&]() {
        for (size_t i; (i = next++) < items.size();) {
            BatchItem& item = items[i];
            UnwrapItem(command, settings, item);
            std::lock_guard<std::mutex> guard(printLock);
            ++finished;
            if (command.json) {
                if (item.ok) {
                    std::printf("%s\n", item.summary.c_str());
                } else {
                    std::printf("{\"input\":%s,\"error\":%s}\n", JsonString(item.input).c_str(),
                                JsonString(item.error).c_str());
                }
            } else if (item.ok) {
                std::printf("[%zu/%zu] %s -> %s: %s\n", finished, items.size(), item.name.c_str(), item.output.c_str(),
                            item.summary.c_str());
            } else {
                std::printf("[%zu/%zu] %s: failed: %s\n", finished, items.size(), item.name.c_str(), item.error.c_str());
            }
            std::fflush(stdout);
        }
    };
    std::vector<std::thread> helpers;
    for (int j = 1; j < jobs; ++j) helpers.emplace_back(work);
    work();
    for (std::thread& helper : helpers) helper.join();

    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const int failed =
        static_cast<int>(std::count_if(items.begin(), items.end(), [](const BatchItem& item) { return !item.ok; }));
    if (!command.json) PrintTable(items, failed, wall);
    if (failed > 0) {
        PrintError(std::to_string(failed) + " of " + std::to_string(items.size()) + " files could not be unwrapped");
        return 1;
    }
    return 0;
}

}  // namespace qarnuv
