#pragma once
// Between numpy arrays and the library's meshes and atlases. Every check a
// caller can fail (shapes, dtypes, NaN, ids out of range, empty arrays)
// throws pybind11::value_error with a message naming the argument, so that
// nothing malformed reaches the library. All functions need the GIL.

#include <QarnUVAtlas/TriMesh.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace qarnuv_python {

namespace py = pybind11;

// A mesh from `vertices` (V, 3) of any real dtype (converted to float64) and
// `faces` (F, 3) of any integer dtype, in any memory layout. V >= 3, F >= 1,
// coordinates finite, every id in [0, V).
ORVO::TriMesh MeshFromArrays(const py::object& vertices, const py::object& faces);

// (T, 2) real texture coordinates, flattened to u, v pairs; finite values.
std::vector<double> PairsFromArray(const py::object& uv, const char* name);

// (F, 3) integer pair ids per face corner, each in [-1, pairCount) when
// allowMissing (-1: the corner has none), else in [0, pairCount).
std::vector<int> CornerIdsFromArray(const py::object& cornerUv, int faceCount, size_t pairCount, bool allowMissing);

// Copies of library data as numpy arrays: (n / columns, columns).
py::array_t<double> DoubleArray(const std::vector<double>& values, size_t columns);
py::array_t<int32_t> IntArray(const std::vector<int>& values, size_t columns);

// The vertices (V, 3) float64 and faces (F, 3) int32 of a mesh.
py::array_t<double> VertexArray(const ORVO::TriMesh& mesh);
py::array_t<int32_t> FaceArray(const ORVO::TriMesh& mesh);

}  // namespace qarnuv_python
