// Flattening one chart and checking the layout: shared by the region stage,
// which turns regions into charts, and by the segmentation, which flattens
// candidate charts to learn what merging them would cost in stretch.

#include <QarnUVAtlas/SparseMatrix.h>
#include <QarnUVAtlas/SparseSolver.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "foundation/LogLine.h"
#include "unfold/MeshAdjacency.h"
#include "unfold/flattening/ChartLayout.h"

#include <algorithm>
#include <cmath>

namespace ORVO {
namespace {

// Smallest share of a chart's layout area that one face is given.
constexpr double kFlatFaceShare = 1e-9;

inline double Cross(const std::vector<double>& uv, int a, int b, int c) {
    double ux = uv[2 * b] - uv[2 * a], uy = uv[2 * b + 1] - uv[2 * a + 1];
    double vx = uv[2 * c] - uv[2 * a], vy = uv[2 * c + 1] - uv[2 * a + 1];
    return ux * vy - uy * vx;
}

// Gives every face of the layout a small positive area. A face that is flat
// on the surface (or squeezed flat by the flattening) would otherwise reach
// the texture with no area at all; the corner opposite its longest edge is
// lifted off that edge, unless the move would shrink another face below the
// same floor.
void InflateFlatFaces(const TriMesh& chart, std::vector<double>& uv) {
    const int faces = chart.GetTriangleCount();
    double total = 0.0;
    for (int f = 0; f < faces; ++f) {
        const int* t = chart.GetTriangle(f);
        total += std::fabs(Cross(uv, t[0], t[1], t[2]));
    }
    const double floorArea = kFlatFaceShare * total;
    if (!(floorArea > 0.0)) return;
    MeshAdjacency adj;
    bool built = false;
    std::vector<double> before;
    for (int f = 0; f < faces; ++f) {
        const int* t = chart.GetTriangle(f);
        if (Cross(uv, t[0], t[1], t[2]) >= floorArea) continue;
        if (t[0] == t[1] || t[1] == t[2] || t[0] == t[2]) continue;
        if (!built) {
            adj.Build(&chart);
            built = true;
        }
        int k = 0;
        double longest = -1.0;
        for (int e = 0; e < 3; ++e) {
            int a = t[e], b = t[(e + 1) % 3];
            double len = std::hypot(uv[2 * b] - uv[2 * a], uv[2 * b + 1] - uv[2 * a + 1]);
            if (len > longest) {
                longest = len;
                k = e;
            }
        }
        if (!(longest > 0.0)) continue;
        int a = t[k], b = t[(k + 1) % 3], v = t[(k + 2) % 3];
        // Unit normal of edge a->b pointing to its left, where v must lie.
        double nx = -(uv[2 * b + 1] - uv[2 * a + 1]) / longest, ny = (uv[2 * b] - uv[2 * a]) / longest;
        double height = (uv[2 * v] - uv[2 * a]) * nx + (uv[2 * v + 1] - uv[2 * a + 1]) * ny;
        double wanted = 2.0 * floorArea / longest;
        double oldU = uv[2 * v], oldV = uv[2 * v + 1];
        before.clear();
        for (int i = adj.FacesBegin(v); i < adj.FacesEnd(v); ++i) {
            const int* s = chart.GetTriangle(adj.vertexFaces[i]);
            before.push_back(Cross(uv, s[0], s[1], s[2]));
        }
        uv[2 * v] += (wanted - height) * nx;
        uv[2 * v + 1] += (wanted - height) * ny;
        // A neighbour may not end below the floor unless it already was, and
        // then it may not shrink.
        bool spoiled = false;
        for (int i = adj.FacesBegin(v); i < adj.FacesEnd(v) && !spoiled; ++i) {
            int g = adj.vertexFaces[i];
            if (g == f) continue;
            const int* s = chart.GetTriangle(g);
            double now = Cross(uv, s[0], s[1], s[2]);
            spoiled = now < std::min(floorArea, before[i - adj.FacesBegin(v)]);
        }
        if (spoiled) {
            uv[2 * v] = oldU;
            uv[2 * v + 1] = oldV;
        }
    }
}

}  // namespace

// Scales the layout so that its area equals the chart's 3-D area: every
// chart then leaves the flattening at the same texel density, whether the
// isometric step converged or not.
void _MatchSurfaceArea(const TriMesh& chart, std::vector<double>& uv) {
    double area3d = 0.0, areaUv = 0.0;
    for (int f = 0; f < chart.GetTriangleCount(); ++f) {
        const int* t = chart.GetTriangle(f);
        area3d += TriangleArea(chart.GetVertexCoordRef(t[0]), chart.GetVertexCoordRef(t[1]),
                               chart.GetVertexCoordRef(t[2]));
        areaUv += 0.5 * std::fabs(Cross(uv, t[0], t[1], t[2]));
    }
    if (!(area3d > 0.0) || !(areaUv > 0.0)) return;
    double scale = std::sqrt(area3d / areaUv);
    if (!std::isfinite(scale)) return;
    for (double& c : uv) c *= scale;
}

bool _ConformalStart(const TriMesh& chart, const std::vector<std::vector<int>>& holes, bool holesFound,
                     std::vector<double>& uv) {
    int status;
    // Where two holes touch at a vertex a loop passes it twice: the second pin
    // is moved along the loop until it differs from the first.
    size_t second = holesFound && !holes.empty() ? holes[0].size() / 2 : 0;
    while (holesFound && !holes.empty() && second < holes[0].size() && holes[0][second] == holes[0][0]) ++second;
    if (holesFound && !holes.empty() && holes[0].size() >= 4 && second < holes[0].size()) {
        const std::vector<int>& loop = holes[0];
        std::vector<int> pins{loop[0], loop[second]};
        std::vector<double> pinCoords{-1.0, -1.0, 1.0, 1.0};
        status = UnfoldMesh::ConformalMap(&chart, &pins, &pinCoords, &uv);
    } else {
        status = UnfoldMesh::ConformalMap(&chart, nullptr, nullptr, &uv);
    }
    if (status != STATUS_SUCCESS) {
        uv.clear();
        return false;
    }
    return true;
}

int _SettleLayout(const TriMesh& chart, std::vector<double>& uv, int isometricIterations, IsometricSystem* system) {
    int status;
    if (!system) {
        status = UnfoldMesh::OptimizeIsometric(&chart, &uv, isometricIterations, nullptr);
    } else if (chart.GetVertexCount() < 3 || chart.GetTriangleCount() < 1 || isometricIterations < 1 ||
               uv.size() < 2 * static_cast<size_t>(chart.GetVertexCount())) {
        status = STATUS_INVALID_INPUT;  // as the public call refuses it
    } else {
        status = system->Prepared() ? STATUS_SUCCESS : system->Prepare(chart, nullptr);
        if (status == STATUS_SUCCESS) status = system->Run(uv, isometricIterations);
    }
    _MatchSurfaceArea(chart, uv);
    InflateFlatFaces(chart, uv);
    return status;
}

bool _SettleWithoutCrossing(const TriMesh& chart, const std::vector<std::vector<int>>& holes, std::vector<double>& uv,
                            int isometricIterations, IsometricSystem& system) {
    auto sound = [&](const std::vector<double>& layout) {
        return !_HasFlippedTriangle(chart, layout) && !_BoundaryCrossesItself(holes, layout);
    };
    if (!system.Prepared() || !sound(uv)) return false;
    std::vector<double> current = uv;
    // Steps blend the layouts before and after; at the surface's scale both
    // are near isometric and the blend is too.
    _MatchSurfaceArea(chart, current);
    std::vector<double> next, part(current.size());
    for (int step = 0; step < isometricIterations; ++step) {
        next = current;
        if (system.Run(next, 1) != STATUS_SUCCESS) {
            if (step == 0) return false;
            break;
        }
        bool moved = sound(next);
        if (moved) current.swap(next);
        for (double t = 0.5; !moved && t > 0.05; t *= 0.5) {
            for (size_t i = 0; i < part.size(); ++i) part[i] = current[i] + t * (next[i] - current[i]);
            moved = sound(part);
            if (moved) current.swap(part);
        }
        if (!moved) break;
    }
    uv.swap(current);
    _MatchSurfaceArea(chart, uv);
    InflateFlatFaces(chart, uv);
    return true;
}

bool _FlattenChart(const TriMesh& chart, const std::vector<std::vector<int>>& holes, bool holesFound, bool strict,
                   std::vector<double>& uv, bool& accept, int isometricIterations, IsometricSystem* system) {
    if (!_ConformalStart(chart, holes, holesFound, uv)) return false;
    // In strict mode a failed isometric step keeps its last layout, which is
    // then checked like any other.
    if (_SettleLayout(chart, uv, isometricIterations, system) != STATUS_SUCCESS && !strict) accept = true;
    return true;
}

// Whether some face is squeezed in the layout: its largest texture-to-surface
// stretch (the larger singular value of the map from the layout back onto
// the triangle) exceeds the limit. Layouts of sharp scan spikes collapse a
// few faces this way without flipping them; splitting the chart fixes them.
bool _HasSqueezedTriangle(const TriMesh& chart, const std::vector<double>& uv, double limit) {
    // Faces this small against the chart have no shape to keep.
    const double degenerate = 1e-10 * _ChartSurfaceArea(chart);
    for (int f = 0; f < chart.GetTriangleCount(); ++f)
        if (_FaceSpoiled(chart, uv, f, limit, degenerate)) return true;
    return false;
}

bool _FaceSpoiled(const TriMesh& chart, const std::vector<double>& uv, int f, double limit, double flatArea) {
    double a, b, c;
    const int state = _FaceLayoutMetric(chart, uv, f, a, b, c, flatArea);
    return state < 0 || (state > 0 && _LargestStretchSquared(a, b, c) > limit * limit);
}

double _ChartSurfaceArea(const TriMesh& chart) {
    double area = 0.0;
    for (int f = 0; f < chart.GetTriangleCount(); ++f) {
        const int* t = chart.GetTriangle(f);
        area += TriangleArea(chart.GetVertexCoordRef(t[0]), chart.GetVertexCoordRef(t[1]),
                             chart.GetVertexCoordRef(t[2]));
    }
    return area;
}

bool _HasFlippedTriangle(const TriMesh& chart, const std::vector<double>& uv) {
    for (int f = 0; f < chart.GetTriangleCount(); ++f) {
        const int* t = chart.GetTriangle(f);
        if (Cross(uv, t[0], t[1], t[2]) < 0.0) return true;
    }
    return false;
}

// Whether any boundary loop crosses itself in the plane. Neighbouring edges
// (and the first with the last) share an end and are not compared. Only edges
// whose bounding boxes meet are compared: a sweep along u finds them, so that
// the outlines of large charts, checked after every settling step, cost about
// their length rather than its square.
bool _BoundaryCrossesItself(const std::vector<std::vector<int>>& holes, const std::vector<double>& uv) {
    for (const std::vector<int>& loop : holes) {
        const size_t n = loop.size();
        if (n < 4) continue;
        std::vector<double> px(n), py(n), dx(n), dy(n);
        std::vector<double> lowU(n), highU(n), lowV(n), highV(n);
        double extent = 0.0;
        for (size_t i = 0; i < n; ++i) {
            int a = loop[i], b = loop[(i + 1) % n];
            px[i] = uv[2 * a];
            py[i] = uv[2 * a + 1];
            dx[i] = uv[2 * a] - uv[2 * b];
            dy[i] = uv[2 * a + 1] - uv[2 * b + 1];
            extent = std::max({extent, std::fabs(px[i]), std::fabs(py[i])});
        }
        // Boxes a little larger than the edges: the crossing test below is
        // exact only up to rounding, and a pair it would report must be compared.
        const double margin = 1e-9 * extent;
        for (size_t i = 0; i < n; ++i) {
            lowU[i] = std::min(px[i], px[i] - dx[i]) - margin;
            highU[i] = std::max(px[i], px[i] - dx[i]) + margin;
            lowV[i] = std::min(py[i], py[i] - dy[i]) - margin;
            highV[i] = std::max(py[i], py[i] - dy[i]) + margin;
        }
        std::vector<size_t> order(n);
        for (size_t i = 0; i < n; ++i) order[i] = i;
        std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return lowU[a] < lowU[b]; });
        for (size_t k = 0; k < n; ++k) {
            const size_t a = order[k];
            for (size_t m = k + 1; m < n && lowU[order[m]] <= highU[a]; ++m) {
                const size_t b = order[m];
                if (lowV[b] > highV[a] || lowV[a] > highV[b]) continue;
                const size_t i = std::min(a, b), j = std::max(a, b);
                if (j == i + 1 || (i == 0 && j == n - 1)) continue;
                double denom = dx[i] * dy[j] - dy[i] * dx[j];
                if (std::fabs(denom) < 1e-15) continue;
                // p_i - s d_i = p_j - t d_j, solved for s and t.
                double rx = px[i] - px[j], ry = py[i] - py[j];
                double s = (rx * dy[j] - ry * dx[j]) / denom;
                double t = (rx * dy[i] - ry * dx[i]) / denom;
                if (s >= 0.0 && s <= 1.0 && t >= 0.0 && t <= 1.0) {
                    _LogDetail("    overlap triangle detected...");
                    return true;
                }
            }
        }
    }
    return false;
}

// Whether a layout that has passed the flip and boundary tests is sure to be free of
// overlaps without testing pairs of triangles: with every triangle turning
// counter-clockwise, the number of triangles over a point is the winding number of the
// boundary around it, at most 1 for a single simple loop. The triangles must also turn
// once around every vertex (2 pi inside, less on the boundary), which the boundary test
// alone, blind to touching and parallel edges, does not show. False means "not shown",
// and the pair test decides.
bool _WindsOnce(const TriMesh& chart, const std::vector<double>& uv, const std::vector<std::vector<int>>& holes) {
    if (holes.size() != 1) return false;
    const int vertexCount = chart.GetVertexCount();
    std::vector<char> role(vertexCount, 0);  // 1: inside, 2: on the boundary
    for (int v : holes[0]) {
        if (v < 0 || v >= vertexCount || role[v]) return false;  // a loop through a vertex twice
        role[v] = 2;
    }
    std::vector<double> turn(vertexCount, 0.0);
    for (int f = 0; f < chart.GetTriangleCount(); ++f) {
        const int* t = chart.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            const int a = t[k], b = t[(k + 1) % 3], c = t[(k + 2) % 3];
            const double ux = uv[2 * b] - uv[2 * a], uy = uv[2 * b + 1] - uv[2 * a + 1];
            const double vx = uv[2 * c] - uv[2 * a], vy = uv[2 * c + 1] - uv[2 * a + 1];
            const double cross = ux * vy - uy * vx;
            if (!(cross > 0.0)) return false;
            turn[a] += std::atan2(cross, ux * vx + uy * vy);
            if (!role[a]) role[a] = 1;
        }
    }
    const double full = 2.0 * ORVO_PI;
    for (int v = 0; v < vertexCount; ++v) {
        // Inside, the sum is a whole number of turns; on the boundary it must stay
        // clearly below one.
        if (role[v] == 1 && std::fabs(turn[v] - full) > 0.5 * full) return false;
        if (role[v] == 2 && turn[v] > full - 1e-9) return false;
    }
    return true;
}

bool _OverlapTest(const TriMesh& chart, const std::vector<double>& uv, std::vector<int>* overlapFaces) {
    std::vector<Vector2> points(chart.GetVertexCount());
    for (size_t i = 0; i < points.size(); ++i) points[i] = Vector2(uv[2 * i], uv[2 * i + 1]);
    std::vector<int> triangles(3 * static_cast<size_t>(chart.GetTriangleCount()));
    for (int f = 0; f < chart.GetTriangleCount(); ++f) chart.GetTriangleVertexIds(f, &triangles[3 * f]);
    return IsTriMesh2DOverlapped(points, triangles, false, overlapFaces, nullptr);
}

bool _CircleStart(const TriMesh& chart, const std::vector<std::vector<int>>& holes, std::vector<double>& uv,
                  const MeshAdjacency* chartAdj) {
    if (holes.size() != 1 || holes[0].size() < 3) return false;
    const std::vector<int>& loop = holes[0];
    const int vertexCount = chart.GetVertexCount();
    std::vector<int> index(vertexCount, -1);  // inner vertices: their unknown; boundary: -2
    for (int v : loop) {
        if (index[v] == -2) return false;  // a loop through a vertex twice is no circle
        index[v] = -2;
    }
    uv.assign(2 * static_cast<size_t>(vertexCount), 0.0);
    // The loop on the unit circle, spaced by its edge lengths.
    double perimeter = 0.0;
    std::vector<double> along(loop.size(), 0.0);
    for (size_t i = 0; i < loop.size(); ++i) {
        along[i] = perimeter;
        perimeter += (chart.GetVertexCoordRef(loop[(i + 1) % loop.size()]) - chart.GetVertexCoordRef(loop[i])).Length();
    }
    if (!(perimeter > 0.0)) return false;
    for (size_t i = 0; i < loop.size(); ++i) {
        const double angle = 2.0 * ORVO_PI * along[i] / perimeter;
        uv[2 * loop[i]] = std::cos(angle);
        uv[2 * loop[i] + 1] = std::sin(angle);
    }
    int unknowns = 0;
    for (int v = 0; v < vertexCount; ++v)
        if (index[v] == -1) index[v] = unknowns++;
    if (unknowns > 0) {
        // Every inner vertex at the mean of its neighbours (each edge once).
        MeshAdjacency built;
        if (!chartAdj) built.Build(&chart);
        const MeshAdjacency& adj = chartAdj ? *chartAdj : built;
        SparseMatrix system(unknowns, unknowns);
        std::vector<double> bu(unknowns, 0.0), bv(unknowns, 0.0);
        for (int f = 0; f < adj.faceCount; ++f) {
            for (int k = 0; k < 3; ++k) {
                const int g = adj.faceNeighbours[3 * static_cast<size_t>(f) + k];
                if (g >= 0 && g < f) continue;
                const int a = adj.triangles[3 * f + k], b = adj.triangles[3 * f + (k + 1) % 3];
                for (int side = 0; side < 2; ++side) {
                    const int i = side ? b : a, j = side ? a : b;
                    if (index[i] < 0) continue;
                    system.AddTriplet(index[i], index[i], 1.0);
                    if (index[j] >= 0) {
                        system.AddTriplet(index[i], index[j], -1.0);
                    } else {
                        bu[index[i]] += uv[2 * j];
                        bv[index[i]] += uv[2 * j + 1];
                    }
                }
            }
        }
        system.BuildFromTriplets();
        LinearSparseLLTSolver solver;
        std::vector<double> xu, xv;
        if (solver.Factorize(system) != STATUS_SUCCESS || solver.Solve(bu, &xu) != STATUS_SUCCESS ||
            solver.Solve(bv, &xv) != STATUS_SUCCESS)
            return false;
        for (int v = 0; v < vertexCount; ++v) {
            if (index[v] < 0) continue;
            uv[2 * v] = xu[index[v]];
            uv[2 * v + 1] = xv[index[v]];
        }
    }
    return true;
}

bool _FlattenChartFromCircle(const TriMesh& chart, const std::vector<std::vector<int>>& holes, std::vector<double>& uv,
                             int isometricIterations, IsometricSystem* system) {
    if (!_CircleStart(chart, holes, uv)) return false;
    _SettleLayout(chart, uv, isometricIterations, system);
    return true;
}

int _FaceLayoutMetric(const TriMesh& chart, const std::vector<double>& uv, int f, double& a, double& b, double& c,
                      double flatArea) {
    const int* t = chart.GetTriangle(f);
    const Vector3& p0 = chart.GetVertexCoordRef(t[0]);
    const Vector3 e1 = chart.GetVertexCoordRef(t[1]) - p0;
    const Vector3 d = chart.GetVertexCoordRef(t[2]) - p0;
    const double doubled = e1.CrossProduct(d).Length();
    const double len = e1.Length();
    if (!(doubled > 2.0 * flatArea) || !(len > 0.0)) return 0;
    // The face in its own plane: (0,0), (len,0), (x2,y2); J maps layout edges
    // onto these: J [s1 s2; q1 q2] = [len x2; 0 y2].
    const double x2 = (d * e1) / len, y2 = doubled / len;
    const double s1 = uv[2 * t[1]] - uv[2 * t[0]], q1 = uv[2 * t[1] + 1] - uv[2 * t[0] + 1];
    const double s2 = uv[2 * t[2]] - uv[2 * t[0]], q2 = uv[2 * t[2] + 1] - uv[2 * t[0] + 1];
    const double det = s1 * q2 - s2 * q1;
    if (!(det > 0.0)) return -1;
    const double j00 = (len * q2 - x2 * q1) / det, j01 = (x2 * s1 - len * s2) / det;
    const double j10 = (-y2 * q1) / det, j11 = (y2 * s1) / det;
    a = j00 * j00 + j10 * j10;
    b = j00 * j01 + j10 * j11;
    c = j01 * j01 + j11 * j11;
    return 1;
}

double _LargestStretchSquared(double a, double b, double c) {
    return 0.5 * ((a + c) + std::sqrt((a - c) * (a - c) + 4.0 * b * b));
}

}  // namespace ORVO
