#pragma once
// Pieces of the qarnuv command-line program shared by its subcommands.

#include <QarnUVAtlas/TriMesh.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace qarnuv {

// Quality figures of an atlas (mesh + per-corner texture coordinates).
//   charts: faces connected through shared UV vertices, where corners are the
//     same UV vertex when their 3-D positions are identical and their (u, v)
//     are identical;
//   overlappingFaces: faces whose UV interior meets another face's interior
//     (separating-axis test, touching edges or corners do not count);
//   flippedFaces: non-degenerate faces oriented against the UV-area-weighted
//     majority of their chart; zeroAreaFaces: |UV area| tiny against the UV box;
//   utilization: total |UV area| in the unit square;
//   stretchL2 / stretchLinf: Sander et al.'s texture stretch, L2 over the
//     surface and the largest per-face value, times sqrt(UV area / 3-D area)
//     so that an isometry up to a global scale gives 1.
struct AtlasQuality {
    int faces = 0;
    int charts = 0;
    int overlappingFaces = 0;
    bool overlapMeasured = false;
    bool overlapExact = true;  // false when the pair-test budget ran out
    int flippedFaces = 0;
    int zeroAreaFaces = 0;
    double utilization = 0.0;
    double stretchL2 = 0.0;
    double stretchLinf = 0.0;
    bool inUnitSquare = true;
};

// Measures an atlas. faceStretch (when not null) receives each face's
// normalised L2 stretch, 0 for faces with no UV or 3-D area.
AtlasQuality MeasureAtlas(const ORVO::TriMesh& mesh, const std::vector<double>& texCoords,
                          const std::vector<int>& faceTexIds, bool withOverlaps, std::vector<double>* faceStretch);

// Writes a size x size PNG of the unit square: faces filled with their
// stretch colour, chart outlines, the square's border. False with `error` set
// when the file cannot be written.
bool WritePreview(const std::string& path, const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                  const std::vector<double>& faceStretch, int size, std::string& error);

// The colour ramp position of a face's stretch: 1 (blue) for none, falling
// to 0.2 (red) at a factor of 1.5 or more (or 1/1.5 or less); -1 (black) for
// a face without area.
double StretchColourPosition(double stretch);

// A one-line bar on standard error fed by the library's progress value,
// polled from its own thread; drawn only when standard error is a terminal.
class ProgressBar {
public:
    // Draws nothing when `enabled` is false or standard error is not a terminal.
    ProgressBar(const std::string& label, bool enabled);
    ~ProgressBar();
    void Stop();

private:
    void Loop();
    std::string mLabel;
    std::atomic<bool> mRunning{false};
    std::thread mThread;
};

struct UnwrapSettings {
    int charts = 0;  // 0: chosen from the mesh
    int resolution = 1024;
    int gap = 1;
    int threads = 0;
    std::string previewPath;
    int previewSize = 1024;
    bool progress = true;
    // Page mode: texels per unit of surface length (0: one page) and the page limit.
    double texelsPerUnit = 0.0;
    int maxPages = 0;
};

struct UnwrapOutcome {
    std::vector<double> texCoords;
    std::vector<int> faceTexIds;
    int charts = 0;
    double seconds = 0.0;
    AtlasQuality quality;
    int pages = 1;               // pages filled (page mode)
    std::vector<int> facePages;  // page of each face (page mode)
};

// Runs the atlas (strict mode) and, when asked, writes the preview. Returns
// false with `error` set on failure.
bool UnwrapMesh(const ORVO::TriMesh& mesh, const UnwrapSettings& settings, UnwrapOutcome& outcome, std::string& error);

// The preview file of page `page`: "atlas.png" becomes "atlas_page0.png".
std::string PagePreviewPath(const std::string& path, int page);

// Writes the mesh with its texture coordinates as OBJ, the faces of each page in a
// group and material "page_N" (materials in a .mtl file beside it, each naming its
// page's preview as texture when `previewPath` is not empty). False with `error` set
// when a file cannot be written.
bool WritePagedObj(const std::string& path, const ORVO::TriMesh& mesh, const UnwrapOutcome& outcome,
                   const std::string& previewPath, std::string& error);

// "charts 12  utilization 0.71  ..." and its one-line JSON form.
std::string SummaryLine(const UnwrapOutcome& outcome, const ORVO::TriMesh& mesh);
std::string SummaryJson(const UnwrapOutcome& outcome, const ORVO::TriMesh& mesh, const std::string& input,
                        const std::string& output);

// A JSON string literal for `text`.
std::string JsonString(const std::string& text);
// "qarnuv: error: <message>" on standard error.
void PrintError(const std::string& message);

struct UnwrapCommand {
    std::string input;
    std::string output;
    UnwrapSettings settings;
    bool json = false;
};
int RunUnwrap(const UnwrapCommand& command);

struct StatsCommand {
    std::string atlas;
    bool json = false;
    bool overlaps = true;
};
int RunStats(const StatsCommand& command);

struct DemoCommand {
    std::string folder = ".";
    int previewSize = 1024;
    int threads = 0;
    bool json = false;
};
int RunDemo(const DemoCommand& command);

}  // namespace qarnuv
