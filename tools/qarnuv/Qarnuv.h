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
// stretch colour, chart outlines as wide as a texel of a texels x texels
// texture, the square's border and, below it, a legend of the stretch colours.
// asTexture: the image is the unit square itself, edge to edge, without
// border or legend, so that it can serve as the mesh's texture.
// False with `error` set when the file cannot be written.
bool WritePreview(const std::string& path, const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                  const std::vector<double>& faceStretch, int size, int texels, std::string& error,
                  bool asTexture = false);

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
    int charts = 0;           // 0: chosen from the mesh
    double maxStretch = 0.0;  // stretch budget; 0: none
    int resolution = 1024;
    int gap = 1;
    int threads = 0;
    std::string previewPath;
    int previewSize = 1024;
    bool progress = true;
    bool weld = true;    // weld vertices at one position (--no-weld)
    bool orient = true;  // orient each piece's faces alike (--no-orient)
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
    int weldedVertices = 0;
    int turnedFaces = 0;
    int pages = 1;               // pages filled (page mode)
    std::vector<int> facePages;  // page of each face (page mode)
    std::vector<double> faceStretch;  // each face's stretch, as the preview colours it
};

// Runs the atlas (strict mode) and, when asked, writes the preview. Returns
// false with `error` set on failure.
bool UnwrapMesh(const ORVO::TriMesh& mesh, const UnwrapSettings& settings, UnwrapOutcome& outcome, std::string& error);

// The preview file of page `page`: "atlas.png" becomes "atlas_page0.png".
std::string PagePreviewPath(const std::string& path, int page);
// The faces of each of `pages` pages, ascending, from each face's page in
// `facePages` (one pass over the faces).
std::vector<std::vector<int>> FacesByPage(const std::vector<int>& facePages, int pages);

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
    bool record = false;  // write a dump file of the atlas call into the current folder
    bool embedPreview = false;  // the preview becomes a .gltf/.glb output's texture
};
int RunUnwrap(const UnwrapCommand& command);

// The lower-case extension of a path, with its dot (".glb").
std::string LowerExtension(const std::string& path);
// Whether qarnuv reads files of this kind.
bool IsMeshFile(const std::string& path);
// Whether files of this kind keep a texture coordinate per face corner.
bool KeepsTexCoords(const std::string& path);
// The kinds qarnuv reads ("obj", "ply", ...), or only those that keep texture
// coordinates, in the order help and messages list them.
std::vector<std::string> MeshKinds(bool texturedOnly);
// Those kinds as extensions: ".obj .ply .gltf .glb" with `separator` " " and
// `last` " ", ".obj, .ply, .gltf or .glb" with ", " and " or ".
std::string MeshExtensionList(bool texturedOnly, const char* separator, const char* last);
// Writes the atlas to `path`; with embedPreview (glTF only) a picture of the
// unit square, drawn here from the outcome's face stretch at
// settings.previewSize, goes inside it as the base-colour texture. False
// with `error` set on failure.
bool WriteAtlas(const std::string& path, const ORVO::TriMesh& mesh, const UnwrapSettings& settings, bool embedPreview,
                const UnwrapOutcome& outcome, std::string& error);

struct StatsCommand {
    std::string atlas;
    bool json = false;
    bool overlaps = true;
};
int RunStats(const StatsCommand& command);

struct ReplayCommand {
    std::string dumpFile;
    std::string output;  // empty: nothing is written
    std::string inputs;  // the record's meshes as loaded, before the run; empty: not written
    bool json = false;
};
// Loads a dump file into the record its first number names, runs it and
// writes the record's meshes (OUT, or OUT_1, OUT_2, ...). Returns 0, or 1
// with an error line for an unreadable file, an unknown number or a failed run.
int RunReplay(const ReplayCommand& command);
struct BatchCommand {
    std::string inputFolder;
    std::string outputFolder;
    int jobs = 1;               // files unwrapped at the same time
    UnwrapSettings settings;    // shared by every file (charts chosen per mesh)
    std::string format;         // "obj", "ply", "gltf", "glb"; "" keeps the input's kind where it can
    bool previews = false;      // a PNG beside each atlas
    bool embedPreview = false;  // glTF outputs carry their picture
    bool json = false;          // one JSON line per file, no table
};
// Unwraps every mesh file directly inside inputFolder into outputFolder.
// Returns 0 when every file was unwrapped, 1 otherwise.
int RunBatch(const BatchCommand& command);

struct DemoCommand {
    std::string folder = ".";
    int previewSize = 1024;
    int threads = 0;
    bool json = false;
};
int RunDemo(const DemoCommand& command);

}  // namespace qarnuv
