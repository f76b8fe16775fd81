#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"
#include "foundation/Activation.h"
#include "foundation/ApiProgress.h"
#include "foundation/LogLine.h"
#include "numerics/ComplexLeastSquares.h"
#include "unfold/AtlasStatistics.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <vector>

namespace ORVO {

namespace {

// The complex corner weights of one triangle in its own plane frame, where the
// corners sit at (0, 0), (L, 0) and (x2, y2).
struct ConformalTriangle {
    int v[3];
    double re[3];
    double im[2];  // the third corner's imaginary part is always 0
    double doubledArea;
};

ConformalTriangle _ConformalTriangle(const ITriMesh& mesh, int fid) {
    ConformalTriangle t;
    mesh.GetTriangleVertexIds(fid, t.v);
    const Vector3 p0 = mesh.GetVertexCoord(t.v[0]);
    const Vector3 p1 = mesh.GetVertexCoord(t.v[1]);
    const Vector3 p2 = mesh.GetVertexCoord(t.v[2]);
    Vector3 normal = (p1 - p0).CrossProduct(p2 - p0);
    normal.Normalise();
    Vector3 e1 = p1 - p0;
    const double len = e1.Normalise();
    Vector3 e2 = normal.CrossProduct(e1);
    e2.Normalise();
    const Vector3 d = p2 - p0;
    const double x2 = d * e1;
    const double y2 = d * e2;
    // Flat or folded triangles stay in the system with a very large weight.
    t.doubledArea = std::max(y2 * len, REAL_TOL);
    t.re[0] = x2 - len;
    t.re[1] = -x2;
    t.re[2] = len;
    t.im[0] = y2;
    t.im[1] = -y2;
    return t;
}

// Marks the vertices whose neighbour count exceeds their incident-triangle
// count by one: the ends of an open fan, i.e. boundary vertices.
std::vector<char> _BoundaryVertices(const std::vector<ConformalTriangle>& tris, int vertexCount) {
    std::vector<int> start(static_cast<size_t>(vertexCount) + 1, 0);
    for (const ConformalTriangle& t : tris)
        for (int k = 0; k < 3; ++k) ++start[t.v[k] + 1];
    for (int v = 0; v < vertexCount; ++v) start[v + 1] += start[v];
    // Two neighbour slots per incident corner.
    std::vector<int> neighbours(2 * static_cast<size_t>(start[vertexCount]));
    std::vector<int> fill(start.begin(), start.end() - 1);
    for (const ConformalTriangle& t : tris) {
        for (int k = 0; k < 3; ++k) {
            const int slot = fill[t.v[k]]++;
            neighbours[2 * slot] = t.v[(k + 1) % 3];
            neighbours[2 * slot + 1] = t.v[(k + 2) % 3];
        }
    }
    std::vector<char> boundary(vertexCount, 0);
    for (int v = 0; v < vertexCount; ++v) {
        const int incident = start[v + 1] - start[v];
        if (incident == 0) continue;
        int* first = neighbours.data() + 2 * static_cast<size_t>(start[v]);
        int* last = neighbours.data() + 2 * static_cast<size_t>(start[v + 1]);
        std::sort(first, last);
        const int distinct = static_cast<int>(std::unique(first, last) - first);
        boundary[v] = distinct == incident + 1;
    }
    return boundary;
}

int _ConformalMap(const ITriMesh& mesh, const std::vector<int>* fixedVertexIndex,
                  const std::vector<double>* fixedVertexCoord, std::vector<double>* uvCoords) {
    const int vertexCount = mesh.GetVertexCount();
    const int faceCount = mesh.GetTriangleCount();
    const double startTime = Profiler::GetTime();
    ApiProgress& progress = ApiProgress::Get();
    progress.SetProgress(0.0);

    std::vector<ConformalTriangle> tris(faceCount);
    for (int f = 0; f < faceCount; ++f) tris[f] = _ConformalTriangle(mesh, f);
    progress.SetProgress(0.1);

    std::vector<int> pinIds;
    std::vector<double> pinCoords;
    if (fixedVertexIndex) {
        if (!fixedVertexCoord || fixedVertexCoord->size() != 2 * fixedVertexIndex->size()) {
            _LogFailure("UnfoldMesh::ConformalMap: invalid input");
            return STATUS_INVALID_INPUT;
        }
        pinIds = *fixedVertexIndex;
        pinCoords = *fixedVertexCoord;
    } else {
        const std::vector<char> boundary = _BoundaryVertices(tris, vertexCount);
        for (int f = 0; f < faceCount && pinIds.empty(); ++f) {
            const int* v = tris[f].v;
            for (int k = 0; k < 3; ++k) {
                const int a = v[k];
                const int b = v[(k + 1) % 3];
                if (!boundary[a] || !boundary[b]) continue;
                // 1.414, not sqrt(2): the pair lands on the diagonal at very
                // nearly its 3-D distance.
                const double side = mesh.GetVertexCoord(a).Distance(mesh.GetVertexCoord(b)) / 1.414;
                pinIds = {a, b};
                pinCoords = {0.0, 0.0, side, side};
                break;
            }
        }
        if (pinIds.empty()) {
            _LogFailure("UnfoldMesh::ConformalMap: no boundary vertex found");
            return STATUS_INVALID_INPUT;
        }
    }
    progress.SetProgress(0.2);

    // Column of every free vertex, or -(1 + slot) of its pin. A pin id outside
    // the mesh pins nothing; a repeated id keeps its first coordinates.
    std::vector<int> column(vertexCount, 0);
    for (size_t k = 0; k < pinIds.size(); ++k) {
        const int v = pinIds[k];
        if (v >= 0 && v < vertexCount && column[v] == 0) column[v] = -1 - static_cast<int>(k);
    }
    int freeCount = 0;
    for (int v = 0; v < vertexCount; ++v)
        if (column[v] >= 0) column[v] = freeCount++;

    // Each triangle contributes one complex row: the pairs (u, v) enter it as
    // (a + ib)(u + iv), so the system is solved over complex unknowns.
    std::vector<double> solutionU, solutionV;
    if (freeCount > 0) {
        ComplexLeastSquares system;
        system.Reserve(3 * static_cast<size_t>(faceCount));
        std::vector<double> rhsRe(faceCount, 0.0), rhsIm(faceCount, 0.0);
        for (int f = 0; f < faceCount; ++f) {
            const ConformalTriangle& t = tris[f];
            const double scale = 1.0 / std::sqrt(t.doubledArea);
            double pinnedRe = 0.0, pinnedIm = 0.0;
            for (int k = 0; k < 3; ++k) {
                const double a = t.re[k] * scale;
                const double b = (k < 2 ? t.im[k] : 0.0) * scale;
                const int c = column[t.v[k]];
                if (c >= 0) {
                    system.Add(f, c, a, b);
                } else {
                    const double u = pinCoords[2 * static_cast<size_t>(-1 - c)];
                    const double v = pinCoords[2 * static_cast<size_t>(-1 - c) + 1];
                    pinnedRe += a * u - b * v;
                    pinnedIm += b * u + a * v;
                }
            }
            rhsRe[f] = -pinnedRe;
            rhsIm[f] = -pinnedIm;
        }
        std::vector<ConformalTriangle> released;
        released.swap(tris);
        progress.SetProgress(0.3);
        progress.SetProgress(0.4);

        if (system.Factorize(faceCount, freeCount) != STATUS_SUCCESS) {
            _LogFailure("UnfoldMesh::ConformalMap::Sparse Matrix Factorize Failed");
            return STATUS_FAILED;
        }
        progress.SetProgress(0.8);
        if (system.Solve(rhsRe, rhsIm, solutionU, solutionV) != STATUS_SUCCESS) {
            _LogFailure("UnfoldMesh::ConformalMap::Sparse Matrix Solve X Failed");
            return STATUS_FAILED;
        }
    } else {
        progress.SetProgress(0.3);
        progress.SetProgress(0.4);
        progress.SetProgress(0.8);
    }
    progress.SetProgress(0.9);

    uvCoords->assign(2 * static_cast<size_t>(vertexCount), 0.0);
    for (int v = 0; v < vertexCount; ++v) {
        const int c = column[v];
        double* uv = uvCoords->data() + 2 * static_cast<size_t>(v);
        if (c >= 0) {
            uv[0] = solutionU[c];
            uv[1] = solutionV[c];
        } else {
            uv[0] = pinCoords[2 * static_cast<size_t>(-1 - c)];
            uv[1] = pinCoords[2 * static_cast<size_t>(-1 - c) + 1];
        }
    }
    progress.SetProgress(1.0);

    const double seconds = Profiler::GetTime() - startTime;
    _LogDetail("UnfoldMesh::ConformalMap time: ", seconds);
    _AddSeconds(_AtlasStatistics().conformalSeconds, seconds);
    return STATUS_SUCCESS;
}

}  // namespace

int UnfoldMesh::ConformalMap(const ITriMesh* triMesh, const std::vector<int>* fixedVertexIndex,
                             const std::vector<double>* fixedVertexCoord, std::vector<double>* uvCoords) {
    _RecordCall<DumpMeshUnfoldConformal>(triMesh, fixedVertexIndex, fixedVertexCoord);
    if (!_ActivationGateA()) return STATUS_NOT_ACTIVATED;
    if (!triMesh || !uvCoords) {
        _LogFailure("UnfoldMesh::ConformalMap invalid input parameters");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    if (vertexCount < 3 || faceCount < 1) {
        _LogFailure("UnfoldMesh::ConformalMap invalid vertexCount: ", vertexCount, " triangleCount: ", faceCount);
        return STATUS_INVALID_INPUT;
    }
    try {
        return _ConformalMap(*triMesh, fixedVertexIndex, fixedVertexCoord, uvCoords);
    } catch (const std::bad_alloc&) {
        _LogFailure("UnfoldMesh::ConformalMap: out of memory");
        return STATUS_FAILED;
    }
}

}  // namespace ORVO
