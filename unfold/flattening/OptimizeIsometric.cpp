#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/HalfMesh.h>
#include <QarnUVAtlas/SparseMatrix.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"
#include "foundation/Activation.h"
#include "foundation/ApiProgress.h"
#include "foundation/LogLine.h"
#include "numerics/CholeskyPair.h"
#include "numerics/Rotation2x2.h"
#include "numerics/SparseMatrixImpl.h"
#include "unfold/AtlasStatistics.h"
#include "unfold/flattening/IsometricFrame.h"
#include "unfold/flattening/IsometricSystem.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <vector>

namespace ORVO {

double _ClampedCotangent(double cosine) {
    const double limit = std::cos(0.001 * ONE_RADIAN);
    cosine = std::max(-limit, std::min(cosine, limit));
    return 1.0 / std::tan(std::acos(cosine));
}

IsometricTriangleFrame _IsometricTriangleFrame(const Vector3& a, const Vector3& b, const Vector3& c,
                                               const Vector3& unitNormal) {
    IsometricTriangleFrame t;
    Vector3 e1 = b - a;
    t.length = e1.Normalise();
    Vector3 e2 = unitNormal.CrossProduct(e1);
    e2.Normalise();
    const Vector3 d = c - a;
    t.x2 = d * e1;
    t.y2 = d * e2;
    const double l = t.length, x2 = t.x2, y2 = t.y2;
    // Side lengths only divide here, so they are kept away from zero.
    const double ab = std::max(l, REAL_TOL);
    const double bc = std::max(std::sqrt((x2 - l) * (x2 - l) + y2 * y2), REAL_TOL);
    const double ac = std::max(std::sqrt(x2 * x2 + y2 * y2), REAL_TOL);
    t.cotB = _ClampedCotangent((l - x2) * l / ab / bc);
    t.cotC = _ClampedCotangent(((x2 - l) * x2 + y2 * y2) / bc / ac);
    t.cotA = _ClampedCotangent(x2 * l / ac / ab);
    return t;
}

namespace {

const char* const kName = "UnfoldMesh::Optimize2Isometric";

// One outgoing half-edge of a free vertex, in the order of the walk around it.
struct WalkStep {
    int edge;       // i -> j
    int pair;       // j -> i, -1 when missing
    int edgeFace;   // face of edge, -1 on the boundary
    int pairFace;   // face of pair, -1 on the boundary
    int target;     // j
    double weight;  // cot alpha + cot beta of the faces present
};

}  // namespace

// Everything of the optimisation that the start does not change.
struct IsometricSystem::Data {
    int faceCount = 0;
    // Local vector and cotangent weight of every half-edge that has a face;
    // the three half-edges of each face, with their start and end vertices.
    std::vector<double> localX, localY, weight;
    std::vector<int> faceEdge, faceStart, faceEnd;
    // Column of each vertex in the system, -1 for pins.
    std::vector<int> column;
    std::vector<int> freeVertex;
    // The walk around each free vertex, recorded once for the matrix and for
    // every right-hand side.
    std::vector<int> walkStart;
    std::vector<WalkStep> walk;
    CholeskyPair solver;  // one pass over the factor solves for u and v
};

IsometricSystem::IsometricSystem() = default;
IsometricSystem::~IsometricSystem() = default;

int IsometricSystem::Prepare(const ITriMesh& mesh, const std::vector<int>* fixedVertexIndex) {
    const double startTime = Profiler::GetTime();
    mData.reset();
    if (mesh.GetTriangleCount() < 1) return STATUS_INVALID_INPUT;
    auto data = std::make_unique<Data>();
    const int vertexCount = mesh.GetVertexCount();
    const int faceCount = mesh.GetTriangleCount();
    data->faceCount = faceCount;

    std::vector<Vector3> normals(faceCount);
    for (int f = 0; f < faceCount; ++f) {
        int v[3];
        mesh.GetTriangleVertexIds(f, v);
        const Vector3 p0 = mesh.GetVertexCoord(v[0]);
        normals[f] = (mesh.GetVertexCoord(v[1]) - p0).CrossProduct(mesh.GetVertexCoord(v[2]) - p0);
        normals[f].Normalise();
    }
    std::unique_ptr<HalfMesh> half(CreateHalfMeshFromITriMesh(&mesh));
    if (!half) {
        _LogFailure(kName, ": CreateHalfMeshFromITriMesh failed");
        return STATUS_FAILED;
    }

    const int edgeCount = half->GetEdgeCount();
    std::vector<double>& localX = data->localX;
    std::vector<double>& localY = data->localY;
    std::vector<double>& weight = data->weight;
    localX.assign(edgeCount, 0.0);
    localY.assign(edgeCount, 0.0);
    weight.assign(edgeCount, 0.0);
    data->faceEdge.resize(3 * static_cast<size_t>(faceCount));
    data->faceStart.resize(3 * static_cast<size_t>(faceCount));
    data->faceEnd.resize(3 * static_cast<size_t>(faceCount));
    for (int f = 0; f < faceCount; ++f) {
        Edge3D* h = half->GetFace(f)->GetEdge();
        Edge3D* next = h->GetNext();
        Edge3D* pre = h->GetPre();
        const IsometricTriangleFrame t = _IsometricTriangleFrame(
            pre->GetVertex()->GetCoord(), h->GetVertex()->GetCoord(), next->GetVertex()->GetCoord(), normals[f]);
        localX[h->GetId()] = t.length;
        localY[h->GetId()] = 0.0;
        localX[next->GetId()] = t.x2 - t.length;
        localY[next->GetId()] = t.y2;
        localX[pre->GetId()] = -t.x2;
        localY[pre->GetId()] = -t.y2;
        weight[pre->GetId()] = t.cotB;
        weight[h->GetId()] = t.cotC;
        weight[next->GetId()] = t.cotA;
        Edge3D* e = h;
        for (int m = 0; m < 3; ++m, e = e->GetNext()) {
            data->faceEdge[3 * f + m] = e->GetId();
            data->faceStart[3 * f + m] = HalfMesh::GetStartVertex(e)->GetId();
            data->faceEnd[3 * f + m] = e->GetVertex()->GetId();
        }
    }
    std::vector<Vector3>().swap(normals);
    ApiProgress::Get().SetProgress(0.2);

    // Pins keep their input; a pin id outside the mesh pins nothing.
    std::vector<int>& column = data->column;
    column.assign(vertexCount, 0);
    if (fixedVertexIndex) {
        for (const int v : *fixedVertexIndex)
            if (v >= 0 && v < vertexCount) column[v] = -1;
    } else {
        int v[3];
        mesh.GetTriangleVertexIds(0, v);
        column[v[0]] = -1;
    }
    int freeCount = 0;
    std::vector<int>& freeVertex = data->freeVertex;
    freeVertex.reserve(vertexCount);
    for (int v = 0; v < vertexCount; ++v) {
        if (column[v] < 0) continue;
        column[v] = freeCount++;
        freeVertex.push_back(v);
    }

    std::vector<int>& walkStart = data->walkStart;
    std::vector<WalkStep>& walk = data->walk;
    walkStart.assign(static_cast<size_t>(freeCount) + 1, 0);
    walk.reserve(7 * static_cast<size_t>(freeCount));
    for (int r = 0; r < freeCount; ++r) {
        const Vertex3D* vertex = half->GetVertex(freeVertex[r]);
        Edge3D* start = vertex->GetEdge();
        // No walk can have more distinct steps than the vertex has outgoing
        // half-edges; broken links of non-manifold input end it there too.
        int stepsLeft = half->GetVertexEdgeMap(vertex->GetEdgeMapId()).Size();
        if (stepsLeft == 0) stepsLeft = edgeCount;
        for (Edge3D* e = start; e && stepsLeft > 0; --stepsLeft) {
            const Edge3D* pair = e->GetPair();
            WalkStep step;
            step.edge = e->GetId();
            step.pair = pair ? pair->GetId() : -1;
            step.edgeFace = e->GetFace() ? e->GetFace()->GetId() : -1;
            step.pairFace = pair && pair->GetFace() ? pair->GetFace()->GetId() : -1;
            step.target = e->GetVertex()->GetId();
            step.weight = (step.edgeFace >= 0 ? weight[step.edge] : 0.0) +
                          (step.pairFace >= 0 ? weight[step.pair] : 0.0);
            walk.push_back(step);
            if (step.pairFace < 0) break;
            e = pair->GetNext();
            if (e == start) break;
        }
        walkStart[r + 1] = static_cast<int>(walk.size());
    }
    half.reset();

    if (freeCount > 0) {
        SparseMatrix laplacian(freeCount, freeCount);
        SparseMatrixImpl* impl = laplacian.GetImpl();
        if (!impl) {
            _LogFailure(kName, "::Sparse Matrix Build Failed");
            return STATUS_FAILED;
        }
        std::vector<EigenTriplet>& triplets = impl->mTriplets;
        triplets.reserve(walk.size() + freeCount);
        for (int r = 0; r < freeCount; ++r) {
            double diagonal = 0.0;
            for (int s = walkStart[r]; s < walkStart[r + 1]; ++s) {
                const WalkStep& step = walk[s];
                const int c = column[step.target];
                if (c >= 0) triplets.emplace_back(r, c, -step.weight);
                diagonal += step.weight;
            }
            triplets.emplace_back(r, r, diagonal);
        }
        const bool built = laplacian.BuildFromTriplets();
        std::vector<EigenTriplet>().swap(triplets);
        if (!built) {
            _LogFailure(kName, "::Sparse Matrix Build Failed");
            return STATUS_FAILED;
        }
        if (data->solver.Factorize(laplacian) != STATUS_SUCCESS) {
            _LogFailure(kName, "::Sparse Matrix Factorize Failed");
            return STATUS_FAILED;
        }
    }
    mData = std::move(data);
    _AddSeconds(_AtlasStatistics().isometricSeconds, Profiler::GetTime() - startTime);
    return STATUS_SUCCESS;
}

int IsometricSystem::Run(std::vector<double>& uv, int iterationCount) {
    if (!mData) return STATUS_NOT_INITIALISED;
    const double startTime = Profiler::GetTime();
    Data& d = *mData;
    ApiProgress& progress = ApiProgress::Get();
    const int faceCount = d.faceCount;
    const int freeCount = static_cast<int>(d.freeVertex.size());
    std::vector<double> rotation(4 * static_cast<size_t>(faceCount));
    std::vector<double> bu(freeCount), bv(freeCount), xu, xv;
    for (int k = 0; k < iterationCount && freeCount > 0; ++k) {
        progress.SetProgress(0.5 + 0.5 * k / iterationCount);

        // Local step: the rotation that best carries each triangle's own
        // frame onto its current layout.
        for (int f = 0; f < faceCount; ++f) {
            double s[4] = {0.0, 0.0, 0.0, 0.0};
            for (int m = 0; m < 3; ++m) {
                const int e = d.faceEdge[3 * f + m];
                const int a = d.faceStart[3 * f + m];
                const int b = d.faceEnd[3 * f + m];
                const double du = uv[2 * static_cast<size_t>(b)] - uv[2 * static_cast<size_t>(a)];
                const double dv = uv[2 * static_cast<size_t>(b) + 1] - uv[2 * static_cast<size_t>(a) + 1];
                const double w = d.weight[e];
                s[0] += w * du * d.localX[e];
                s[1] += w * du * d.localY[e];
                s[2] += w * dv * d.localX[e];
                s[3] += w * dv * d.localY[e];
            }
            _NearestRotation2x2(s, &rotation[4 * static_cast<size_t>(f)]);
        }

        // Global step: outgoing half-edges pull with their own face's rotation,
        // incoming ones (the pairs) push with theirs.
        for (int r = 0; r < freeCount; ++r) {
            double su = 0.0, sv = 0.0;
            for (int s = d.walkStart[r]; s < d.walkStart[r + 1]; ++s) {
                const WalkStep& step = d.walk[s];
                if (d.column[step.target] < 0) {
                    su += step.weight * uv[2 * static_cast<size_t>(step.target)];
                    sv += step.weight * uv[2 * static_cast<size_t>(step.target) + 1];
                }
                if (step.edgeFace >= 0) {
                    const double* R = &rotation[4 * static_cast<size_t>(step.edgeFace)];
                    const double w = d.weight[step.edge], x = d.localX[step.edge], y = d.localY[step.edge];
                    su -= w * (R[0] * x + R[1] * y);
                    sv -= w * (R[2] * x + R[3] * y);
                }
                if (step.pairFace >= 0) {
                    const double* R = &rotation[4 * static_cast<size_t>(step.pairFace)];
                    const double w = d.weight[step.pair], x = d.localX[step.pair], y = d.localY[step.pair];
                    su += w * (R[0] * x + R[1] * y);
                    sv += w * (R[2] * x + R[3] * y);
                }
            }
            bu[r] = su;
            bv[r] = sv;
        }
        if (d.solver.Solve(bu, bv, xu, xv) != STATUS_SUCCESS) {
            const bool uFinite = std::all_of(xu.begin(), xu.end(), [](double x) { return std::isfinite(x); });
            _LogFailure(kName, uFinite ? "::Sparse Matrix Solve V Failed" : "::Sparse Matrix Solve U Failed");
            return STATUS_FAILED;
        }
        for (int r = 0; r < freeCount; ++r) {
            uv[2 * static_cast<size_t>(d.freeVertex[r])] = xu[r];
            uv[2 * static_cast<size_t>(d.freeVertex[r]) + 1] = xv[r];
        }
    }
    progress.SetProgress(1.0);
    _AddSeconds(_AtlasStatistics().isometricCalls, 1.0);
    _AddSeconds(_AtlasStatistics().isometricSeconds, Profiler::GetTime() - startTime);
    return STATUS_SUCCESS;
}

namespace {

int _OptimizeIsometric(const ITriMesh& mesh, std::vector<double>& uv, int iterationCount,
                       const std::vector<int>* fixedVertexIndex) {
    const double startTime = Profiler::GetTime();
    IsometricSystem system;
    int status = system.Prepare(mesh, fixedVertexIndex);
    ApiProgress::Get().SetProgress(0.25);
    if (status == STATUS_SUCCESS) status = system.Run(uv, iterationCount);
    if (status != STATUS_SUCCESS) return status;
    _LogDetail(kName, " time: ", Profiler::GetTime() - startTime);
    return STATUS_SUCCESS;
}

}  // namespace

int UnfoldMesh::OptimizeIsometric(const ITriMesh* triMesh, std::vector<double>* uvCoords, int iterationCount,
                                  const std::vector<int>* fixedVertexIndex) {
    _RecordCall<DumpMeshUnfoldOptimizeIsometric>(triMesh, uvCoords, iterationCount, fixedVertexIndex);
    if (!_ActivationGateA()) return STATUS_NOT_ACTIVATED;
    if (!triMesh || !uvCoords) {
        _LogFailure(kName, " invalid input parameters");
        return STATUS_INVALID_INPUT;
    }
    const int vertexCount = triMesh->GetVertexCount();
    const int faceCount = triMesh->GetTriangleCount();
    if (vertexCount < 3 || faceCount < 1) {
        _LogFailure(kName, " invalid vertexCount: ", vertexCount, " triangleCount: ", faceCount);
        return STATUS_INVALID_INPUT;
    }
    if (iterationCount < 1) {
        _LogFailure(kName, " invalid iterationCount: ", iterationCount);
        return STATUS_INVALID_INPUT;
    }
    // Reading a layout shorter than the mesh would run off its end.
    if (uvCoords->size() < 2 * static_cast<size_t>(vertexCount)) {
        _LogFailure(kName, " invalid uvCoords size: ", uvCoords->size());
        return STATUS_INVALID_INPUT;
    }
    try {
        return _OptimizeIsometric(*triMesh, *uvCoords, iterationCount, fixedVertexIndex);
    } catch (const std::bad_alloc&) {
        _LogFailure(kName, ": out of memory");
        return STATUS_FAILED;
    }
}

}  // namespace ORVO
