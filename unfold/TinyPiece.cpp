// The direct layout of pieces of a few faces. A fragment of one or a handful
// of triangles is almost always developable as it stands; unfolding it face
// by face across its edges gives a layout without any stretch, at a cost in
// proportion to its size and without the solver, the splitting or the pool.

#include "unfold/TinyPiece.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ORVO {
namespace {

// Faces thinner than this (doubled area over the longest edge squared) are
// left to the full route, which knows how to treat slivers.
constexpr double kThinnestFace = 1e-6;
// How far a vertex may land from where another face put it, against the
// piece's size, before the piece counts as not developable.
constexpr double kLandingTolerance = 1e-9;
// Orientation tolerance of the overlap test, against the squared size.
constexpr double kSideTolerance = 1e-12;

struct Point {
    double u, v;
};

double Cross(const Point& o, const Point& a, const Point& b) {
    return (a.u - o.u) * (b.v - o.v) - (a.v - o.v) * (b.u - o.u);
}

// Whether some edge of `t` has every corner of `s` on its outer side or on it:
// then the interiors of the two counter-clockwise triangles are apart.
bool EdgeSeparates(const Point* t, const Point* s, double tolerance) {
    for (int k = 0; k < 3; ++k) {
        const Point& a = t[k];
        const Point& b = t[(k + 1) % 3];
        if (Cross(a, b, s[0]) <= tolerance && Cross(a, b, s[1]) <= tolerance && Cross(a, b, s[2]) <= tolerance)
            return true;
    }
    return false;
}

class PieceLayout {
public:
    PieceLayout(const ITriMesh* mesh, const std::vector<int>& faces, const Vector3& centre, double scale)
        : mFaceCount(static_cast<int>(faces.size())) {
        for (int f : faces) {
            int ids[3];
            mesh->GetTriangleVertexIds(f, ids);
            mVertices.insert(mVertices.end(), ids, ids + 3);
        }
        std::sort(mVertices.begin(), mVertices.end());
        mVertices.erase(std::unique(mVertices.begin(), mVertices.end()), mVertices.end());
        mPositions.resize(mVertices.size());
        for (size_t i = 0; i < mVertices.size(); ++i)
            mPositions[i] = (mesh->GetVertexCoord(mVertices[i]) - centre) * scale;
        mTriangles.resize(faces.size());
        for (size_t f = 0; f < faces.size(); ++f) {
            int ids[3];
            mesh->GetTriangleVertexIds(faces[f], ids);
            for (int k = 0; k < 3; ++k)
                mTriangles[f][k] = static_cast<int>(std::lower_bound(mVertices.begin(), mVertices.end(), ids[k]) -
                                                    mVertices.begin());
        }
    }

    bool Run() {
        if (!ShapesUsable() || !FindNeighbours()) return false;
        double size2 = 0.0;
        for (const Vector3& p : mPositions) size2 = std::max(size2, p.DistanceSquared(mPositions[0]));
        mSize = std::sqrt(size2);
        return Unfold() && Valid();
    }

    void Write(std::unique_ptr<TriMesh>& chart, std::vector<double>& uv) const {
        chart = std::make_unique<TriMesh>();
        chart->ReserveVertices(static_cast<int>(mVertices.size()));
        chart->ReserveTriangles(mFaceCount);
        for (const Vector3& p : mPositions) chart->InsertVertex(p);
        for (const std::array<int, 3>& t : mTriangles) chart->InsertTriangle(t[0], t[1], t[2]);
        uv.resize(2 * mPlaced.size());
        for (size_t i = 0; i < mPlaced.size(); ++i) {
            uv[2 * i] = mPlaced[i].u;
            uv[2 * i + 1] = mPlaced[i].v;
        }
    }

private:
    bool ShapesUsable() const {
        for (const std::array<int, 3>& t : mTriangles) {
            if (t[0] == t[1] || t[1] == t[2] || t[2] == t[0]) return false;
            const Vector3 &a = mPositions[t[0]], &b = mPositions[t[1]], &c = mPositions[t[2]];
            const double longest2 = std::max({a.DistanceSquared(b), b.DistanceSquared(c), c.DistanceSquared(a)});
            if (!((b - a).CrossProduct(c - a).Length() > kThinnestFace * longest2)) return false;
        }
        return true;
    }

    // The face across each edge; fails where an edge has more than two faces
    // or two faces running it the same way (an unglued or cut edge).
    bool FindNeighbours() {
        mNeighbour.assign(3 * static_cast<size_t>(mFaceCount), -1);
        for (int f = 0; f < mFaceCount; ++f) {
            for (int k = 0; k < 3; ++k) {
                const int a = mTriangles[f][k], b = mTriangles[f][(k + 1) % 3];
                for (int g = 0; g < mFaceCount; ++g) {
                    if (g == f) continue;
                    for (int j = 0; j < 3; ++j) {
                        const int c = mTriangles[g][j], d = mTriangles[g][(j + 1) % 3];
                        if (c == a && d == b) return false;
                        if (c != b || d != a) continue;
                        if (mNeighbour[3 * f + k] >= 0) return false;
                        mNeighbour[3 * f + k] = g;
                    }
                }
            }
        }
        return true;
    }

    // Puts corner `k2` of face f to the left of its edge from corner k0 to
    // corner k1, both already placed, at its distances on the surface.
    bool PlaceCorner(int f, int k0, int k1, int k2) {
        const std::array<int, 3>& t = mTriangles[f];
        const Vector3 e = mPositions[t[k1]] - mPositions[t[k0]];
        const Vector3 w = mPositions[t[k2]] - mPositions[t[k0]];
        const double length = e.Length();
        const double along = (e * w) / length, height = e.CrossProduct(w).Length() / length;
        const Point& a = mPlaced[t[k0]];
        const Point& b = mPlaced[t[k1]];
        const double du = b.u - a.u, dv = b.v - a.v, planar = std::hypot(du, dv);
        if (!(planar > 0.0)) return false;
        const Point p{a.u + (du * along - dv * height) / planar, a.v + (dv * along + du * height) / planar};
        if (mSet[t[k2]]) {
            const Point& q = mPlaced[t[k2]];
            return std::hypot(q.u - p.u, q.v - p.v) <= kLandingTolerance * mSize;
        }
        mPlaced[t[k2]] = p;
        mSet[t[k2]] = 1;
        return true;
    }

    bool Unfold() {
        mPlaced.assign(mVertices.size(), Point{0.0, 0.0});
        mSet.assign(mVertices.size(), 0);
        const std::array<int, 3>& first = mTriangles[0];
        mPlaced[first[1]] = Point{(mPositions[first[1]] - mPositions[first[0]]).Length(), 0.0};
        mSet[first[0]] = mSet[first[1]] = 1;
        if (!PlaceCorner(0, 0, 1, 2)) return false;
        std::vector<char> laid(mFaceCount, 0);
        std::vector<int> queue{0};
        laid[0] = 1;
        for (size_t i = 0; i < queue.size(); ++i) {
            const int f = queue[i];
            for (int k = 0; k < 3; ++k) {
                const int g = mNeighbour[3 * f + k];
                if (g < 0 || laid[g]) continue;
                // g runs the shared edge backwards: its corner j holds the end
                // of f's edge k.
                const int end = mTriangles[f][(k + 1) % 3];
                int j = 0;
                while (mTriangles[g][j] != end) ++j;
                if (!PlaceCorner(g, j, (j + 1) % 3, (j + 2) % 3)) return false;
                laid[g] = 1;
                queue.push_back(g);
            }
        }
        return static_cast<int>(queue.size()) == mFaceCount;
    }

    bool Valid() const {
        const double tolerance = kSideTolerance * mSize * mSize;
        std::vector<std::array<Point, 3>> corners(mFaceCount);
        for (int f = 0; f < mFaceCount; ++f) {
            for (int k = 0; k < 3; ++k) corners[f][k] = mPlaced[mTriangles[f][k]];
            if (!(Cross(corners[f][0], corners[f][1], corners[f][2]) > tolerance)) return false;
        }
        for (int f = 0; f < mFaceCount; ++f) {
            for (int g = f + 1; g < mFaceCount; ++g) {
                const bool neighbours =
                    mNeighbour[3 * f] == g || mNeighbour[3 * f + 1] == g || mNeighbour[3 * f + 2] == g;
                if (neighbours) continue;  // on either side of their edge by construction
                if (!EdgeSeparates(corners[f].data(), corners[g].data(), tolerance) &&
                    !EdgeSeparates(corners[g].data(), corners[f].data(), tolerance))
                    return false;
            }
        }
        return true;
    }

    int mFaceCount;
    std::vector<int> mVertices;  // piece vertex -> mesh vertex, increasing
    std::vector<Vector3> mPositions;
    std::vector<std::array<int, 3>> mTriangles;
    std::vector<int> mNeighbour;  // 3 per face
    std::vector<Point> mPlaced;
    std::vector<char> mSet;
    double mSize = 0.0;
};

}  // namespace

bool _FlattenTinyPiece(const ITriMesh* mesh, const std::vector<int>& faces, const Vector3& centre, double scale,
                       std::unique_ptr<TriMesh>& chart, std::vector<double>& uv) {
    if (faces.empty() || faces.size() > kTinyPieceFaces) return false;
    PieceLayout layout(mesh, faces, centre, scale);
    if (!layout.Run()) return false;
    layout.Write(chart, uv);
    return true;
}

}  // namespace ORVO
