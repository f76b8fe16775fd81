// The Python module: unwrap, load, save and stats on numpy arrays. The GIL
// is released while the library works, so threads (and Dask workers with
// several threads) unwrap side by side; in the main thread a long unwrap
// also answers Ctrl-C through the atlas's stop flag.
#include "MeshArrays.h"

#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <optional>
#include <thread>

namespace py = pybind11;
using namespace qarnuv_python;

namespace {

struct Atlas {
    py::array_t<double> uv;
    py::array_t<int32_t> cornerUv;
    int charts = 0;
    double utilization = 0.0;
    double stretchL2 = 0.0;
    double stretchLinf = 0.0;
    double seconds = 0.0;
};

struct Mesh {
    py::array_t<double> vertices;
    py::array_t<int32_t> faces;
    py::object uv = py::none();
    py::object cornerUv = py::none();
};

bool InMainThread() {
    py::module_ threading = py::module_::import("threading");
    return threading.attr("current_thread")().is(threading.attr("main_thread")());
}

// Runs `work` without the GIL. Signals reach only the main thread, so there
// the work goes to a helper thread while this one wakes every 50 ms to let
// Python run its signal handlers; when one raises (KeyboardInterrupt), the
// stop flag is set, the work is waited for and the exception goes up.
template <typename Work>
int RunWithoutGil(Work work) {
    std::atomic<bool> stop{false};
    if (!InMainThread()) {
        py::gil_scoped_release release;
        return work(&stop);
    }
    bool interrupted = false;
    int status = 0;
    {
        py::gil_scoped_release release;
        std::packaged_task<int()> task([&]() { return work(&stop); });
        std::future<int> done = task.get_future();
        std::thread helper(std::move(task));
        while (done.wait_for(std::chrono::milliseconds(50)) != std::future_status::ready) {
            if (interrupted) continue;
            py::gil_scoped_acquire acquire;
            if (PyErr_CheckSignals() != 0) {
                interrupted = true;
                stop = true;
            }
        }
        helper.join();
        status = done.get();
    }
    if (interrupted) throw py::error_already_set();
    return status;
}

Atlas Unwrap(const py::object& vertices, const py::object& faces, int charts, int resolution, int gap, bool strict,
             int threads) {
    if (charts < 0) throw py::value_error("charts must be >= 0 (0 lets the library choose)");
    if (resolution < 1) throw py::value_error("resolution must be >= 1 texel");
    if (gap < 0) throw py::value_error("gap must be >= 0 texels");
    if (threads < 0) throw py::value_error("threads must be >= 0 (0 uses the library's setting)");
    const ORVO::TriMesh mesh = MeshFromArrays(vertices, faces);
    ORVO::UVAtlasOptions options;
    options.chartCount = charts;
    options.resolution = resolution;
    options.gapTexels = gap;
    options.strict = strict;
    options.threadCount = threads;
    std::vector<double> texCoords;
    std::vector<int> faceTexIds;
    ORVO::UVAtlasReport report;
    qarnuv::AtlasQuality quality;
    const int status = RunWithoutGil([&](const std::atomic<bool>* stop) {
        options.cancel = stop;
        const int result = ORVO::UnfoldMesh::GenerateUVAtlas(&mesh, options, &texCoords, &faceTexIds, &report);
        if (result == ORVO::STATUS_SUCCESS) quality = qarnuv::MeasureAtlas(mesh, texCoords, faceTexIds, false, nullptr);
        return result;
    });
    if (status != ORVO::STATUS_SUCCESS)
        throw py::value_error("the atlas could not be built (status " + std::to_string(status) +
                              "; the library's log file says why)");
    Atlas atlas;
    atlas.uv = DoubleArray(texCoords, 2);
    atlas.cornerUv = IntArray(faceTexIds, 3);
    atlas.charts = report.chartCount;
    atlas.utilization = quality.utilization;
    atlas.stretchL2 = quality.stretchL2;
    atlas.stretchLinf = quality.stretchLinf;
    atlas.seconds = report.seconds;
    return atlas;
}

using Path = std::filesystem::path;

// A mesh file as the library reads it, without the GIL.
struct FileMesh {
    ORVO::TriMesh mesh;
    std::vector<double> texCoords;
    std::vector<int> faceTexIds;
};

FileMesh ReadMesh(const std::string& path) {
    FileMesh file;
    int status;
    {
        py::gil_scoped_release release;
        status = ORVO::Parser::ImportTriMesh(path, &file.mesh, &file.texCoords, &file.faceTexIds);
    }
    if (status != ORVO::STATUS_SUCCESS) throw py::value_error(ORVO::Parser::GetLastError());
    return file;
}

Mesh Load(const Path& path) {
    const FileMesh file = ReadMesh(path.string());
    Mesh out;
    out.vertices = VertexArray(file.mesh);
    out.faces = FaceArray(file.mesh);
    if (!file.faceTexIds.empty()) {
        out.uv = DoubleArray(file.texCoords, 2);
        out.cornerUv = IntArray(file.faceTexIds, 3);
    }
    return out;
}

void Save(const Path& file, const py::object& vertices, const py::object& faces, const py::object& uv,
          const py::object& cornerUv, const std::optional<Path>& texture) {
    const std::string path = file.string();
    const ORVO::TriMesh mesh = MeshFromArrays(vertices, faces);
    std::vector<double> texCoords;
    std::vector<int> faceTexIds;
    if (!uv.is_none()) texCoords = PairsFromArray(uv, "uv");
    if (!cornerUv.is_none()) {
        if (uv.is_none()) throw py::value_error("corner_uv needs uv");
        faceTexIds = CornerIdsFromArray(cornerUv, mesh.GetTriangleCount(), texCoords.size() / 2, false);
    } else if (!uv.is_none() && texCoords.size() / 2 != static_cast<size_t>(mesh.GetVertexCount())) {
        throw py::value_error("uv without corner_uv must hold one row per vertex");
    }
    const std::vector<double>* tex = uv.is_none() ? nullptr : &texCoords;
    const std::vector<int>* ids = cornerUv.is_none() ? nullptr : &faceTexIds;
    int status;
    {
        py::gil_scoped_release release;
        status = texture ? ORVO::Parser::ExportTexturedTriMesh(path, &mesh, tex, ids, texture->string())
                         : ORVO::Parser::ExportTriMesh(path, &mesh, tex, ids);
    }
    if (status != ORVO::STATUS_SUCCESS) throw py::value_error(ORVO::Parser::GetLastError());
}

py::dict StatsDict(const qarnuv::AtlasQuality& q, int cornersWithoutUv) {
    py::dict d;
    d["faces"] = q.faces;
    d["corners_without_uv"] = cornersWithoutUv;
    d["charts"] = q.charts;
    d["overlapping_faces"] = q.overlapMeasured ? py::object(py::int_(q.overlappingFaces)) : py::object(py::none());
    d["overlap_exact"] = q.overlapMeasured ? py::object(py::bool_(q.overlapExact)) : py::object(py::none());
    d["flipped_faces"] = q.flippedFaces;
    d["zero_area_faces"] = q.zeroAreaFaces;
    d["utilization"] = q.utilization;
    d["stretch_l2"] = q.stretchL2;
    d["stretch_linf"] = q.stretchLinf;
    d["in_unit_square"] = q.inUnitSquare;
    return d;
}

py::dict Measure(const ORVO::TriMesh& mesh, const std::vector<double>& texCoords, const std::vector<int>& faceTexIds,
                 bool overlaps) {
    int missing = 0;
    for (int id : faceTexIds) missing += id < 0;
    qarnuv::AtlasQuality q;
    {
        py::gil_scoped_release release;
        q = qarnuv::MeasureAtlas(mesh, texCoords, faceTexIds, overlaps, nullptr);
    }
    return StatsDict(q, missing);
}

py::dict StatsOfFile(const Path& path, bool overlaps) {
    const FileMesh file = ReadMesh(path.string());
    if (file.faceTexIds.empty())
        throw py::value_error(path.string() + ": no texture coordinates, so no atlas to measure");
    return Measure(file.mesh, file.texCoords, file.faceTexIds, overlaps);
}

py::dict StatsOfArrays(const py::object& vertices, const py::object& faces, const py::object& uv,
                       const py::object& cornerUv, bool overlaps) {
    const ORVO::TriMesh mesh = MeshFromArrays(vertices, faces);
    if (uv.is_none() || cornerUv.is_none()) throw py::value_error("stats needs uv and corner_uv");
    const std::vector<double> texCoords = PairsFromArray(uv, "uv");
    const std::vector<int> faceTexIds = CornerIdsFromArray(cornerUv, mesh.GetTriangleCount(), texCoords.size() / 2, true);
    return Measure(mesh, texCoords, faceTexIds, overlaps);
}

}  // namespace

PYBIND11_MODULE(_qarnuv, m) {
    m.doc() = "QarnUVAtlas on numpy arrays: cut a triangle mesh into charts, flatten them and pack a UV atlas.";
    m.attr("__version__") = QARN_VERSION;

    py::class_<Atlas>(m, "Atlas", "The result of unwrap().")
        .def_readonly("uv", &Atlas::uv, "(T, 2) float64 texture coordinates in the unit square")
        .def_readonly("corner_uv", &Atlas::cornerUv, "(F, 3) int32: the uv row each face corner uses")
        .def_readonly("charts", &Atlas::charts, "number of charts")
        .def_readonly("utilization", &Atlas::utilization, "share of the unit square covered by charts")
        .def_readonly("stretch_l2", &Atlas::stretchL2, "texture stretch over the surface (1 is none)")
        .def_readonly("stretch_linf", &Atlas::stretchLinf, "largest per-face texture stretch")
        .def_readonly("seconds", &Atlas::seconds, "wall time the library took")
        .def("__repr__", [](const Atlas& a) {
            char utilization[32];
            std::snprintf(utilization, sizeof(utilization), "%.3f", a.utilization);
            return "<qarnuv.Atlas " + std::to_string(a.cornerUv.shape(0)) + " faces, " + std::to_string(a.charts) +
                   " charts, utilization " + utilization + ">";
        });

    py::class_<Mesh>(m, "Mesh", "A mesh read by load().")
        .def_readonly("vertices", &Mesh::vertices, "(V, 3) float64 positions")
        .def_readonly("faces", &Mesh::faces, "(F, 3) int32 vertex ids, counter-clockwise")
        .def_readonly("uv", &Mesh::uv, "(T, 2) float64 texture coordinates, or None")
        .def_readonly("corner_uv", &Mesh::cornerUv, "(F, 3) int32 uv row per face corner (-1: none), or None")
        .def("__repr__", [](const Mesh& mesh) {
            return "<qarnuv.Mesh " + std::to_string(mesh.vertices.shape(0)) + " vertices, " +
                   std::to_string(mesh.faces.shape(0)) + " faces" + (mesh.uv.is_none() ? "" : ", with uv") + ">";
        });

    m.def("unwrap", &Unwrap, py::arg("vertices"), py::arg("faces"), py::arg("charts") = 0,
          py::arg("resolution") = 1024, py::arg("gap") = 1, py::arg("strict") = true, py::arg("threads") = 0,
          R"(Build a UV atlas of a triangle mesh.

vertices: (V, 3) positions (float64; other real dtypes and layouts are converted).
faces: (F, 3) vertex ids of any integer dtype.
charts: charts wanted; 0 lets the library choose from the mesh size.
resolution, gap: texture size the packing plans for and texels kept between charts.
strict: no output triangle is flipped or overlaps another.
threads: worker threads; 0 uses the library's setting.

Returns an Atlas. The GIL is released while it works; Ctrl-C in the main
thread stops it (KeyboardInterrupt). Raises ValueError on bad input.)");

    m.def("load", &Load, py::arg("path"),
          R"(Read a mesh file (.obj .ply .stl .off .gltf .glb) into a Mesh. Raises ValueError
with the library's message when the file cannot be read.)");

    m.def("save", &Save, py::arg("path"), py::arg("vertices"), py::arg("faces"), py::arg("uv") = py::none(),
          py::arg("corner_uv") = py::none(), py::kw_only(), py::arg("texture") = py::none(),
          R"(Write a mesh, the format chosen by the extension (.obj .ply .stl .off .gltf .glb).

uv with corner_uv gives a texture coordinate per face corner (as unwrap returns
them); uv alone holds one row per vertex. texture: a PNG or JPEG file embedded
as the base-colour texture (.gltf and .glb only). Raises ValueError on failure.)");

    m.def("stats", &StatsOfFile, py::arg("path"), py::kw_only(), py::arg("overlaps") = true,
          R"(Quality figures of an atlas file, as `qarnuv stats` prints them (a dict).)");
    m.def("stats", &StatsOfArrays, py::arg("vertices"), py::arg("faces"), py::arg("uv"), py::arg("corner_uv"),
          py::kw_only(), py::arg("overlaps") = true,
          R"(Quality figures of an atlas given as arrays: faces, corners_without_uv, charts,
overlapping_faces and overlap_exact (None with overlaps=False), flipped_faces,
zero_area_faces, utilization, stretch_l2, stretch_linf, in_unit_square.)");

    m.def("set_log_file", [](const Path& path) { ORVO::LogSystem::SetLogFileName(path.string()); }, py::arg("path"),
          "Where the library writes its log (by default QarnUVAtlas.txt in the current folder).");
}
