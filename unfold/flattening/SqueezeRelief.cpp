// Local relief of squeezed faces (see SqueezeRelief.h).

#include "unfold/flattening/SqueezeRelief.h"

#include "unfold/flattening/ChartLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ORVO {
namespace {

// Squeezed faces beyond this count (or share of the chart) are not a local
// flaw: the whole layout is strained. A noisy scan's chart may hold hundreds
// of spikes, each squeezing a few faces of its own: under a budget, relieving
// up to 1024 of them (a tenth of the chart) kept more such charts whole, at
// no measurable cost on the shared meshes.
constexpr int kMostSqueezed = 1024;
constexpr double kMostSqueezedShare = 0.10;
// Rings of vertices around the squeezed faces that may move. Six rings
// rescued no more layouts than four on the shared scans, at a higher cost.
constexpr int kReliefRings = 4;
constexpr int kMostSweeps = 160;
// Every eight sweeps the worst face must ease by this factor, or the relief
// stops: a squeeze that no longer eases will not give way (on the scans, the
// reliefs that succeed do so in 8 to 40 sweeps).
constexpr double kProgress = 0.98;
// The relief aims a little below the limit: scaling the layout back to the
// chart's area afterwards moves every face's stretch by a hair.
constexpr double kAim = 0.97;

constexpr double kInfinite = std::numeric_limits<double>::infinity();

// A surface triangle in its own plane: (0,0), (len,0), (x2,y2).
struct FaceFrame {
    double len = 0.0, x2 = 0.0, y2 = 0.0, area = 0.0;
    bool flat = true;  // no shape to keep: only its orientation counts
};

class Relief {
public:
    // `adj`: the chart's adjacency, or null to build it here.
    Relief(const TriMesh& chart, std::vector<double>& uv, const MeshAdjacency* adj)
        : mChart(chart), mUv(uv), mGiven(adj) {}
    // It may point at its own adjacency: not to be copied.
    Relief(const Relief&) = delete;
    Relief& operator=(const Relief&) = delete;

    bool Run(double limit) {
        const int faces = mChart.GetTriangleCount();
        if (faces < 1 || mUv.size() < 2 * static_cast<size_t>(mChart.GetVertexCount())) return false;
        mFlatArea = 1e-10 * _ChartSurfaceArea(mChart);
        std::vector<int> squeezed;
        for (int f = 0; f < faces; ++f) {
            const double stretch = StretchSquared(f);
            if (stretch == kInfinite) return false;  // a fold is not a squeeze
            if (stretch > limit * limit) squeezed.push_back(f);
        }
        if (squeezed.empty() || static_cast<int>(squeezed.size()) > kMostSqueezed ||
            squeezed.size() > kMostSqueezedShare * faces + 1)
            return false;

        BuildFrames();
        if (!mGiven) {
            mBuilt.Build(&mChart);
            mGiven = &mBuilt;
        }
        CollectFreeVertices(squeezed);
        const double aim = limit * kAim;
        double lastWorst = kInfinite;
        bool moved = false;
        for (int sweep = 0; sweep < kMostSweeps; ++sweep) {
            bool any = false;
            for (int v : mFree) any = MoveVertex(v) || any;
            moved = moved || any;
            if (!any) break;
            if (sweep % 8 == 7) {
                const double worst = WorstStretch();
                if (worst <= aim || worst > kProgress * lastWorst) break;
                lastWorst = worst;
            }
        }
        if (!moved) return false;
        _MatchSurfaceArea(mChart, mUv);
        return true;
    }

private:
    void BuildFrames() {
        const int faces = mChart.GetTriangleCount();
        mFrames.assign(faces, FaceFrame());
        for (int f = 0; f < faces; ++f) {
            const int* t = mChart.GetTriangle(f);
            const Vector3& p0 = mChart.GetVertexCoordRef(t[0]);
            const Vector3 e1 = mChart.GetVertexCoordRef(t[1]) - p0;
            const Vector3 d = mChart.GetVertexCoordRef(t[2]) - p0;
            const double doubled = e1.CrossProduct(d).Length();
            FaceFrame& fr = mFrames[f];
            fr.len = e1.Length();
            if (!(doubled > 2.0 * mFlatArea) || !(fr.len > 0.0)) continue;
            fr.x2 = (d * e1) / fr.len;
            fr.y2 = doubled / fr.len;
            fr.area = 0.5 * doubled;
            fr.flat = false;
        }
    }

    // The vertices within kReliefRings rings of the squeezed faces, nearest first.
    void CollectFreeVertices(const std::vector<int>& squeezed) {
        std::vector<int> ring(mChart.GetVertexCount(), -1);
        mFree.clear();
        for (int f : squeezed) {
            for (int k = 0; k < 3; ++k) {
                const int v = mChart.GetTriangle(f)[k];
                if (ring[v] >= 0) continue;
                ring[v] = 0;
                mFree.push_back(v);
            }
        }
        for (size_t i = 0; i < mFree.size(); ++i) {
            const int v = mFree[i];
            if (ring[v] >= kReliefRings) continue;
            for (int j = Adj().FacesBegin(v); j < Adj().FacesEnd(v); ++j) {
                const int* t = mChart.GetTriangle(Adj().vertexFaces[j]);
                for (int k = 0; k < 3; ++k) {
                    if (ring[t[k]] >= 0) continue;
                    ring[t[k]] = ring[v] + 1;
                    mFree.push_back(t[k]);
                }
            }
        }
    }

    // Symmetric Dirichlet energy of face f (area times the squared Frobenius
    // norms of the map onto the layout and of its inverse) and, when `grad`
    // is given, its gradient by the layout position of corner `corner`.
    // Infinite when the face is folded; 0 for a flat face that is not.
    double FaceEnergy(int f, int corner, double* grad) const {
        const int* t = mChart.GetTriangle(f);
        const double* u0 = &mUv[2 * static_cast<size_t>(t[0])];
        const double* u1 = &mUv[2 * static_cast<size_t>(t[1])];
        const double* u2 = &mUv[2 * static_cast<size_t>(t[2])];
        const double s1 = u1[0] - u0[0], q1 = u1[1] - u0[1];
        const double s2 = u2[0] - u0[0], q2 = u2[1] - u0[1];
        const double detT = s1 * q2 - s2 * q1;
        if (!(detT > 0.0)) return kInfinite;
        const FaceFrame& fr = mFrames[f];
        if (fr.flat) {
            if (grad) grad[0] = grad[1] = 0.0;
            return 0.0;
        }
        // J = T M maps the face onto its layout: T holds the layout's edges
        // from corner 0, M inverts the face's own.
        const double m00 = 1.0 / fr.len, m01 = -fr.x2 / (fr.len * fr.y2), m11 = 1.0 / fr.y2;
        const double j00 = s1 * m00, j01 = s1 * m01 + s2 * m11;
        const double j10 = q1 * m00, j11 = q1 * m01 + q2 * m11;
        const double norm = j00 * j00 + j01 * j01 + j10 * j10 + j11 * j11;
        const double det = detT * m00 * m11;
        const double inv = 1.0 / (det * det);
        const double energy = fr.area * norm * (1.0 + inv);
        if (grad) {
            // dE/dT: the norm's part through 2 J M^T, the determinant's
            // through the cofactors of T.
            const double a = fr.area * 2.0 * (1.0 + inv);
            const double b = -fr.area * 2.0 * norm * inv / det * (m00 * m11);
            const double g00 = a * (j00 * m00 + j01 * m01) + b * q2;
            const double g01 = a * (j01 * m11) - b * q1;
            const double g10 = a * (j10 * m00 + j11 * m01) - b * s2;
            const double g11 = a * (j11 * m11) + b * s1;
            // The columns of T belong to corners 1 and 2, less corner 0.
            if (corner == 1) {
                grad[0] = g00;
                grad[1] = g10;
            } else if (corner == 2) {
                grad[0] = g01;
                grad[1] = g11;
            } else {
                grad[0] = -(g00 + g01);
                grad[1] = -(g10 + g11);
            }
        }
        return energy;
    }

    double VertexEnergy(int v, double* grad) const {
        double sum = 0.0;
        if (grad) grad[0] = grad[1] = 0.0;
        for (int j = Adj().FacesBegin(v); j < Adj().FacesEnd(v); ++j) {
            const int f = Adj().vertexFaces[j];
            const int* t = mChart.GetTriangle(f);
            const int corner = t[0] == v ? 0 : t[1] == v ? 1 : 2;
            double g[2];
            const double e = FaceEnergy(f, corner, grad ? g : nullptr);
            if (!std::isfinite(e)) return kInfinite;
            sum += e;
            if (grad) {
                grad[0] += g[0];
                grad[1] += g[1];
            }
        }
        return sum;
    }

    // One step of v down its energy gradient, at most a third of its shortest
    // edge, halved until the energy falls (no face can fold on the way: the
    // energy is infinite there). Returns true when v moved.
    bool MoveVertex(int v) {
        double grad[2];
        const double before = VertexEnergy(v, grad);
        const double length = std::hypot(grad[0], grad[1]);
        if (!std::isfinite(before) || !(length > 0.0)) return false;
        const size_t iu = 2 * static_cast<size_t>(v), iv = iu + 1;
        // The nearest neighbour by squared distance; its length alone is needed.
        double nearest = kInfinite, du = 0.0, dv = 0.0;
        for (int j = Adj().FacesBegin(v); j < Adj().FacesEnd(v); ++j) {
            const int* t = mChart.GetTriangle(Adj().vertexFaces[j]);
            for (int k = 0; k < 3; ++k) {
                if (t[k] == v) continue;
                const size_t o = 2 * static_cast<size_t>(t[k]);
                const double x = mUv[o] - mUv[iu], y = mUv[o + 1] - mUv[iv];
                const double squared = x * x + y * y;
                if (squared < nearest) {
                    nearest = squared;
                    du = x;
                    dv = y;
                }
            }
        }
        const double shortest = nearest == kInfinite ? kInfinite : std::hypot(du, dv);
        if (!(shortest > 0.0) || !std::isfinite(shortest)) return false;
        const double u = mUv[iu], w = mUv[iv];
        double step = shortest / 3.0 / length;
        for (int tries = 0; tries < 10; ++tries, step *= 0.5) {
            mUv[iu] = u - step * grad[0];
            mUv[iv] = w - step * grad[1];
            if (VertexEnergy(v, nullptr) < before * (1.0 - 1e-9)) return true;
        }
        mUv[iu] = u;
        mUv[iv] = w;
        return false;
    }

    // The square of face f's largest texture-to-surface stretch: 0 for a flat
    // face, infinite for a folded one.
    double StretchSquared(int f) const {
        double a, b, c;
        const int state = _FaceLayoutMetric(mChart, mUv, f, a, b, c, mFlatArea);
        return state < 0 ? kInfinite : state > 0 ? _LargestStretchSquared(a, b, c) : 0.0;
    }

    // The largest texture-to-surface stretch of the faces around the free
    // vertices (infinite when one is folded).
    double WorstStretch() const {
        double worst = 0.0;
        for (int v : mFree)
            for (int j = Adj().FacesBegin(v); j < Adj().FacesEnd(v); ++j)
                worst = std::max(worst, StretchSquared(Adj().vertexFaces[j]));
        return std::sqrt(worst);
    }

    const TriMesh& mChart;
    std::vector<double>& mUv;
    double mFlatArea = 0.0;  // faces of at most this surface area have no shape to keep
    std::vector<FaceFrame> mFrames;
    const MeshAdjacency* mGiven;  // for the faces around each vertex
    MeshAdjacency mBuilt;         // when none was given
    const MeshAdjacency& Adj() const { return *mGiven; }
    std::vector<int> mFree;
};

}  // namespace

bool _RelieveSqueezedFaces(const TriMesh& chart, std::vector<double>& uv, double limit, const MeshAdjacency* adj) {
    Relief relief(chart, uv, adj);
    return relief.Run(limit);
}

}  // namespace ORVO
