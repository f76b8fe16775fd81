// numpy arrays in and out of the library's types, checked on the way in.
#include "MeshArrays.h"

#include <QarnUVAtlas/Foundation.h>

#include <cmath>
#include <cstring>
#include <limits>

namespace qarnuv_python {
namespace {

std::string ShapeText(const py::array& a) {
    std::string text = "(";
    for (py::ssize_t d = 0; d < a.ndim(); ++d) text += (d ? ", " : "") + std::to_string(a.shape(d));
    return text + (a.ndim() == 1 ? ",)" : ")");
}

std::string DtypeText(const py::array& a) { return py::str(a.dtype()).cast<std::string>(); }

// The argument as a numpy array (lists and tuples are accepted), with the
// expected number of columns.
py::array AsArray(const py::object& value, const char* name, py::ssize_t columns) {
    if (value.is_none()) throw py::value_error(std::string(name) + " is None");
    py::array a = py::array::ensure(value);
    if (!a) throw py::value_error(std::string(name) + " is not an array");
    if (a.ndim() != 2 || a.shape(1) != columns)
        throw py::value_error(std::string(name) + " must have shape (n, " + std::to_string(columns) + "), got " +
                              ShapeText(a));
    return a;
}

char Kind(const py::array& a) { return a.dtype().kind(); }

// A real-valued array as C-contiguous float64 (converting other layouts and dtypes).
py::array_t<double, py::array::c_style> Reals(const py::object& value, const char* name, py::ssize_t columns) {
    py::array a = AsArray(value, name, columns);
    if (Kind(a) != 'f' && Kind(a) != 'i' && Kind(a) != 'u')
        throw py::value_error(std::string(name) + " must hold real numbers, got dtype " + DtypeText(a));
    return py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
}

// An integer array as C-contiguous int64; floats are refused rather than
// truncated, unsigned values beyond int64 turn negative and fail the range check.
py::array_t<int64_t, py::array::c_style> Integers(const py::object& value, const char* name, py::ssize_t columns) {
    py::array a = AsArray(value, name, columns);
    if (Kind(a) != 'i' && Kind(a) != 'u')
        throw py::value_error(std::string(name) + " must hold integers, got dtype " + DtypeText(a));
    return py::array_t<int64_t, py::array::c_style | py::array::forcecast>::ensure(a);
}

}  // namespace

ORVO::TriMesh MeshFromArrays(const py::object& vertices, const py::object& faces) {
    auto v = Reals(vertices, "vertices", 3);
    auto f = Integers(faces, "faces", 3);
    const py::ssize_t vertexCount = v.shape(0), faceCount = f.shape(0);
    if (vertexCount == 0) throw py::value_error("vertices is empty");
    if (faceCount == 0) throw py::value_error("faces is empty");
    if (vertexCount < 3) throw py::value_error("vertices holds " + std::to_string(vertexCount) + " points; a mesh needs 3");
    if (vertexCount > std::numeric_limits<int>::max() || faceCount > std::numeric_limits<int>::max())
        throw py::value_error("more vertices or faces than the library can index");
    const double* xyz = v.data();
    for (py::ssize_t i = 0; i < 3 * vertexCount; ++i)
        if (!std::isfinite(xyz[i])) throw py::value_error("vertex " + std::to_string(i / 3) + " is not finite");
    const int64_t* ids = f.data();
    for (py::ssize_t i = 0; i < 3 * faceCount; ++i)
        if (ids[i] < 0 || ids[i] >= vertexCount)
            throw py::value_error("face " + std::to_string(i / 3) + " refers to vertex " + std::to_string(ids[i]) +
                                  " of " + std::to_string(vertexCount));
    ORVO::TriMesh mesh;
    mesh.ReserveVertices(static_cast<int>(vertexCount));
    mesh.ReserveTriangles(static_cast<int>(faceCount));
    for (py::ssize_t i = 0; i < vertexCount; ++i) mesh.InsertVertex(ORVO::Vector3(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]));
    for (py::ssize_t i = 0; i < faceCount; ++i)
        mesh.InsertTriangle(static_cast<int>(ids[3 * i]), static_cast<int>(ids[3 * i + 1]), static_cast<int>(ids[3 * i + 2]));
    return mesh;
}

std::vector<double> PairsFromArray(const py::object& uv, const char* name) {
    auto a = Reals(uv, name, 2);
    const double* data = a.data();
    const size_t count = 2 * static_cast<size_t>(a.shape(0));
    for (size_t i = 0; i < count; ++i)
        if (!std::isfinite(data[i])) throw py::value_error(std::string(name) + " row " + std::to_string(i / 2) + " is not finite");
    return std::vector<double>(data, data + count);
}

std::vector<int> CornerIdsFromArray(const py::object& cornerUv, int faceCount, size_t pairCount, bool allowMissing) {
    auto a = Integers(cornerUv, "corner_uv", 3);
    if (a.shape(0) != faceCount)
        throw py::value_error("corner_uv has " + std::to_string(a.shape(0)) + " rows for " + std::to_string(faceCount) +
                              " faces");
    const int64_t* ids = a.data();
    std::vector<int> out(3 * static_cast<size_t>(faceCount));
    const int64_t lowest = allowMissing ? -1 : 0;
    for (size_t i = 0; i < out.size(); ++i) {
        if (ids[i] < lowest || ids[i] >= static_cast<int64_t>(pairCount))
            throw py::value_error("corner_uv row " + std::to_string(i / 3) + " refers to uv row " + std::to_string(ids[i]) +
                                  " of " + std::to_string(pairCount));
        out[i] = static_cast<int>(ids[i]);
    }
    return out;
}

py::array_t<double> DoubleArray(const std::vector<double>& values, size_t columns) {
    py::array_t<double> a({static_cast<py::ssize_t>(values.size() / columns), static_cast<py::ssize_t>(columns)});
    if (!values.empty()) std::memcpy(a.mutable_data(), values.data(), values.size() * sizeof(double));
    return a;
}

py::array_t<int32_t> IntArray(const std::vector<int>& values, size_t columns) {
    py::array_t<int32_t> a({static_cast<py::ssize_t>(values.size() / columns), static_cast<py::ssize_t>(columns)});
    int32_t* out = a.mutable_data();
    for (size_t i = 0; i < values.size(); ++i) out[i] = values[i];
    return a;
}

py::array_t<double> VertexArray(const ORVO::TriMesh& mesh) {
    const py::ssize_t count = mesh.GetVertexCount();
    py::array_t<double> a({count, static_cast<py::ssize_t>(3)});
    double* out = a.mutable_data();
    for (py::ssize_t v = 0; v < count; ++v) {
        const ORVO::Vector3& p = mesh.GetVertexCoordRef(static_cast<int>(v));
        out[3 * v] = p.x, out[3 * v + 1] = p.y, out[3 * v + 2] = p.z;
    }
    return a;
}

py::array_t<int32_t> FaceArray(const ORVO::TriMesh& mesh) {
    const py::ssize_t count = mesh.GetTriangleCount();
    py::array_t<int32_t> a({count, static_cast<py::ssize_t>(3)});
    int32_t* out = a.mutable_data();
    for (py::ssize_t f = 0; f < count; ++f) {
        const int* t = mesh.GetTriangle(static_cast<int>(f));
        out[3 * f] = t[0], out[3 * f + 1] = t[1], out[3 * f + 2] = t[2];
    }
    return a;
}

}  // namespace qarnuv_python
