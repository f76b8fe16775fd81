#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "unfold/AtlasStatistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using ORVO::IsTriMesh2DOverlapped;
using ORVO::Vector2;

namespace {

// ---------------------------------------------------------------------------
// Brute-force reference: every ordered pair of triangles, the point and
// segment rules read literally, no grid, no shortcuts.

constexpr double kTol = 1e-15;

double Area(const Vector2& a, const Vector2& b, const Vector2& c) {
    return 0.5 * std::fabs((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x));
}

struct Tri {
    int id[3];
    Vector2 p[3];
};

enum { OUTSIDE, INSIDE, SHARED };

int PointRule(int pid, const Vector2& p, const Tri& t) {
    for (int k = 0; k < 3; ++k)
        if (pid == t.id[k]) return SHARED;
    const double minX = std::min({t.p[0].x, t.p[1].x, t.p[2].x});
    const double maxX = std::max({t.p[0].x, t.p[1].x, t.p[2].x});
    const double minY = std::min({t.p[0].y, t.p[1].y, t.p[2].y});
    const double maxY = std::max({t.p[0].y, t.p[1].y, t.p[2].y});
    if (p.x < minX || p.x > maxX || p.y < minY || p.y > maxY) return OUTSIDE;
    const double whole = Area(t.p[0], t.p[1], t.p[2]);
    const double parts = Area(p, t.p[0], t.p[1]) + Area(p, t.p[1], t.p[2]) + Area(p, t.p[2], t.p[0]);
    return whole + kTol >= parts ? INSIDE : OUTSIDE;
}

// A unit vector, or the vector itself when it is shorter than the tolerance.
Vector2 Unit(const Vector2& v) {
    const double len = std::sqrt(v.x * v.x + v.y * v.y);
    return len >= kTol ? Vector2(v.x / len, v.y / len) : v;
}

double Cross(const Vector2& a, const Vector2& b) { return a.x * b.y - a.y * b.x; }

bool StrictlyBetween(const Vector2& x, const Vector2& e0, const Vector2& e1) {
    const double dx = e1.x - e0.x, dy = e1.y - e0.y;
    const double t = std::fabs(dx) >= std::fabs(dy) ? (x.x - e0.x) / dx : (x.y - e0.y) / dy;
    return 0.0 < t && t < 1.0;
}

// One side of the general case: the base segment (e0, e1) against the ends x, y
// of the other. 1: crossing decided, 0: no crossing, -1: undecided.
int BaseSide(const Vector2& e0, const Vector2& e1, const Vector2& x, const Vector2& y) {
    const Vector2 d(e1.x - e0.x, e1.y - e0.y), dx(x.x - e0.x, x.y - e0.y), dy(y.x - e0.x, y.y - e0.y);
    auto len = [](const Vector2& v) { return std::sqrt(v.x * v.x + v.y * v.y); };
    if (len(d) < kTol || len(dx) < kTol || len(dy) < kTol) return 0;
    const Vector2 ud(d.x / len(d), d.y / len(d));
    const Vector2 ux(dx.x / len(dx), dx.y / len(dx));
    const Vector2 uy(dy.x / len(dy), dy.y / len(dy));
    const double c1 = Cross(ud, ux), c2 = Cross(ud, uy);
    if (std::fabs(c1) < kTol && StrictlyBetween(x, e0, e1)) return 1;
    if (std::fabs(c2) < kTol && StrictlyBetween(y, e0, e1)) return 1;
    const int s1 = c1 > 0.0 ? 1 : -1, s2 = c2 > 0.0 ? 1 : -1;
    return s1 * s2 > 0 ? 0 : -1;
}

bool SegmentRule(int a0, int a1, const Vector2& p, const Vector2& q, int b0, int b1, const Vector2& r,
                 const Vector2& s) {
    if ((a0 == b0 && a1 == b1) || (a0 == b1 && a1 == b0)) return false;
    const bool xOverlap = std::min(p.x, q.x) < std::max(r.x, s.x) && std::min(r.x, s.x) < std::max(p.x, q.x);
    const bool yOverlap = std::min(p.y, q.y) < std::max(r.y, s.y) && std::min(r.y, s.y) < std::max(p.y, q.y);
    if (!xOverlap || !yOverlap) return false;
    // Ends shared by id: positions in segment 1 and segment 2.
    int sharedA = -1, sharedB = -1;
    const int ida[2] = {a0, a1}, idb[2] = {b0, b1};
    for (int i = 0; i < 2 && sharedA < 0; ++i)
        for (int j = 0; j < 2; ++j)
            if (ida[i] == idb[j]) {
                sharedA = i;
                sharedB = j;
                break;
            }
    if (sharedA >= 0) {
        const Vector2 at = sharedA == 0 ? p : q;
        const Vector2 otherA = sharedA == 0 ? q : p;
        const Vector2 otherB = sharedB == 0 ? s : r;
        const Vector2 u = Unit(Vector2(otherA.x - at.x, otherA.y - at.y));
        const Vector2 w = Unit(Vector2(otherB.x - at.x, otherB.y - at.y));
        return std::fabs(u.x * w.x + u.y * w.y) > 1.0 - kTol;
    }
    const int first = BaseSide(p, q, r, s);
    if (first >= 0) return first == 1;
    const int second = BaseSide(r, s, p, q);
    return second != 0;
}

// The pair seen from f's side.
bool PairRule(const Tri& f, const Tri& g) {
    int shared = 0;
    for (int k = 0; k < 3; ++k) {
        int hit = PointRule(f.id[k], f.p[k], g);
        if (hit == INSIDE) return true;
        shared += hit == SHARED;
        hit = PointRule(g.id[k], g.p[k], f);
        if (hit == INSIDE) return true;
        shared += hit == SHARED;
    }
    if (shared == 6) return false;
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b)
            if (SegmentRule(f.id[a], f.id[(a + 1) % 3], f.p[a], f.p[(a + 1) % 3], g.id[b], g.id[(b + 1) % 3],
                            g.p[b], g.p[(b + 1) % 3]))
                return true;
    return false;
}

struct Layout {
    std::vector<Vector2> points;
    std::vector<int> triangles;
};

struct Reference {
    std::vector<int> faces;  // ascending
    double ratio = 0.0;
    bool ownSideOnly = true;  // every marked face is also found from its own side
};

Reference BruteForce(const Layout& layout, bool weld) {
    const int n = static_cast<int>(layout.triangles.size() / 3);
    std::vector<int> ids(layout.triangles.begin(), layout.triangles.begin() + 3 * n);
    if (weld) {
        // First id of every exact coordinate pair, by plain search.
        for (int& id : ids) {
            for (int other = 0; other < id; ++other) {
                if (layout.points[other].x == layout.points[id].x && layout.points[other].y == layout.points[id].y) {
                    id = other;
                    break;
                }
            }
        }
    }
    std::vector<Tri> tris(n);
    for (int f = 0; f < n; ++f)
        for (int k = 0; k < 3; ++k) {
            tris[f].id[k] = ids[3 * f + k];
            tris[f].p[k] = layout.points[ids[3 * f + k]];
        }
    std::vector<char> marked(n, 0), own(n, 0);
    for (int f = 0; f < n; ++f)
        for (int g = 0; g < n; ++g)
            if (g != f && PairRule(tris[f], tris[g])) marked[f] = marked[g] = own[f] = 1;
    Reference ref;
    double total = 0.0, over = 0.0;
    for (int f = 0; f < n; ++f) {
        const double a = Area(tris[f].p[0], tris[f].p[1], tris[f].p[2]);
        total += a;
        if (marked[f]) {
            over += a;
            ref.faces.push_back(f);
        }
        if (marked[f] != own[f]) ref.ownSideOnly = false;
    }
    ref.ratio = over / std::max(total, kTol);
    return ref;
}

// Runs the library and the reference on one layout and compares everything.
void ExpectAgreement(const Layout& layout, bool weld, const std::string& what, int* overlappedCount = nullptr) {
    std::vector<int> faces = {123456};
    double ratio = -1.0;
    const bool result = IsTriMesh2DOverlapped(layout.points, layout.triangles, weld, &faces, &ratio);
    const Reference ref = BruteForce(layout, weld);
    std::vector<int> sorted = faces;
    std::sort(sorted.begin(), sorted.end());
    ASSERT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end()) << what << ": repeated face";
    ASSERT_EQ(sorted, ref.faces) << what << " weld=" << weld;
    ASSERT_EQ(result, !ref.faces.empty()) << what;
    ASSERT_NEAR(ratio, ref.ratio, 1e-12 * std::max(1.0, ref.ratio)) << what;
    EXPECT_TRUE(ref.ownSideOnly) << what << ": a face was found only from its partner's side";
    if (overlappedCount && result) ++*overlappedCount;
}

// ---------------------------------------------------------------------------
// Layout generators.

// (nx + 1) x (ny + 1) points with interior jitter; each quad split along a
// random diagonal, counter-clockwise.
Layout JitteredGrid(int nx, int ny, double jitter, std::mt19937& rng) {
    std::uniform_real_distribution<double> shake(-jitter, jitter);
    std::bernoulli_distribution coin(0.5);
    Layout l;
    for (int j = 0; j <= ny; ++j)
        for (int i = 0; i <= nx; ++i) {
            const bool inner = i > 0 && i < nx && j > 0 && j < ny;
            l.points.emplace_back(i + (inner ? shake(rng) : 0.0), j + (inner ? shake(rng) : 0.0));
        }
    auto id = [nx](int i, int j) { return j * (nx + 1) + i; };
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            const int a = id(i, j), b = id(i + 1, j), c = id(i + 1, j + 1), d = id(i, j + 1);
            if (coin(rng))
                l.triangles.insert(l.triangles.end(), {a, b, c, a, c, d});
            else
                l.triangles.insert(l.triangles.end(), {a, b, d, b, c, d});
        }
    return l;
}

// Random triangles over random points; some ids repeat inside a triangle. On a
// small integer lattice several ids share a point: exact collinearity, touching
// corners, edges along edges, duplicates by position.
Layout RandomSoup(std::mt19937& rng, bool lattice = false) {
    std::uniform_int_distribution<int> countPoints(lattice ? 4 : 3, lattice ? 20 : 25), countTris(2, lattice ? 25 : 30);
    std::uniform_real_distribution<double> coord(0.0, 1.0);
    std::uniform_int_distribution<int> side(2, 4);
    Layout l;
    const int s = lattice ? side(rng) : 0, n = countPoints(rng), f = countTris(rng);
    std::uniform_int_distribution<int> grid(0, s);
    for (int i = 0; i < n; ++i)
        l.points.emplace_back(lattice ? grid(rng) : coord(rng), lattice ? grid(rng) : coord(rng));
    std::uniform_int_distribution<int> pick(0, n - 1);
    for (int t = 0; t < 3 * f; ++t) l.triangles.push_back(pick(rng));
    return l;
}

// A small valid grid, then damaged: moved vertices (folds), swapped corners
// (flips), a seam of duplicated points, or a copied triangle.
Layout DamagedGrid(std::mt19937& rng) {
    std::uniform_int_distribution<int> size(1, 5);
    Layout l = JitteredGrid(size(rng), size(rng), 0.2, rng);
    const int nPoints = static_cast<int>(l.points.size());
    const int nTris = static_cast<int>(l.triangles.size() / 3);
    std::uniform_int_distribution<int> kind(0, 4), pickPoint(0, nPoints - 1), pickTri(0, nTris - 1);
    std::uniform_real_distribution<double> shift(-1.5, 1.5);
    const int damage = kind(rng);
    if (damage == 0) {
        l.points[pickPoint(rng)] += Vector2(shift(rng), shift(rng));
    } else if (damage == 1) {
        const int t = pickTri(rng);
        std::swap(l.triangles[3 * t], l.triangles[3 * t + 1]);
    } else if (damage == 2) {
        // Cut along x = 1: points used on both sides get a copy for the
        // triangles right of the cut (a seam of duplicated points).
        std::vector<char> leftUsed(nPoints, 0);
        std::vector<int> copyOf(nPoints, -1);
        auto right = [&](int t) {
            double cx = 0.0;
            for (int k = 0; k < 3; ++k) cx += l.points[l.triangles[3 * t + k]].x / 3.0;
            return cx >= 1.0;
        };
        for (int t = 0; t < nTris; ++t)
            if (!right(t))
                for (int k = 0; k < 3; ++k) leftUsed[l.triangles[3 * t + k]] = 1;
        for (int t = 0; t < nTris; ++t) {
            if (!right(t)) continue;
            for (int k = 0; k < 3; ++k) {
                int& id = l.triangles[3 * t + k];
                if (id >= nPoints || !leftUsed[id]) continue;
                if (copyOf[id] < 0) {
                    copyOf[id] = static_cast<int>(l.points.size());
                    l.points.push_back(l.points[id]);
                }
                id = copyOf[id];
            }
        }
    } else if (damage == 3) {
        const int t = pickTri(rng);
        l.triangles.insert(l.triangles.end(), {l.triangles[3 * t + 2], l.triangles[3 * t], l.triangles[3 * t + 1]});
    } else {
        // Snap one point onto another's position (a degenerate triangle nearby).
        l.points[pickPoint(rng)] = l.points[pickPoint(rng)];
    }
    return l;
}

// Triangles along one line: edges that continue each other, edges lying on
// edges, touching only at ends.
Layout CollinearStrip(std::mt19937& rng) {
    std::uniform_int_distribution<int> count(3, 8), pick(0, 1);
    std::uniform_real_distribution<double> height(0.2, 1.0);
    Layout l;
    const int n = count(rng);
    for (int i = 0; i < n; ++i) l.points.emplace_back(i, 0.0);
    std::uniform_int_distribution<int> base(0, n - 2), len(1, 2);
    const int tris = count(rng);
    for (int t = 0; t < tris; ++t) {
        const int a = base(rng);
        const int b = std::min(n - 1, a + len(rng));
        const double sign = pick(rng) ? 1.0 : -1.0;
        l.points.emplace_back((a + b) / 2.0 + 0.3 * (pick(rng) ? 1 : -1), sign * height(rng));
        const int apex = static_cast<int>(l.points.size()) - 1;
        if (sign > 0)
            l.triangles.insert(l.triangles.end(), {a, b, apex});
        else
            l.triangles.insert(l.triangles.end(), {b, a, apex});
    }
    return l;
}

// A layout scaled and moved far away: the rules are the same but the grid and
// the tolerances see different magnitudes.
Layout Transformed(Layout l, double scale, double dx, double dy) {
    for (Vector2& p : l.points) p = Vector2(p.x * scale + dx, p.y * scale + dy);
    return l;
}

// ---------------------------------------------------------------------------

TEST(Overlap2D, AgreesWithBruteForceOnRandomAndAdversarialLayouts) {
    std::mt19937 rng(20240611u);
    std::bernoulli_distribution coin(0.5);
    int layouts = 0, overlapped = 0;
    for (int round = 0; round < 700; ++round) {
        const Layout soup = RandomSoup(rng);
        const Layout lattice = RandomSoup(rng, true);
        const Layout damaged = DamagedGrid(rng);
        const Layout strip = CollinearStrip(rng);
        for (const Layout* l : {&soup, &lattice, &damaged, &strip}) {
            const bool weld = coin(rng);
            ExpectAgreement(*l, weld, "round " + std::to_string(round), &overlapped);
            ++layouts;
            if (HasFatalFailure()) return;
        }
        if (round % 50 == 0) {
            ExpectAgreement(Transformed(lattice, 1e-6, 3.0, -7.0), true, "small lattice", &overlapped);
            ExpectAgreement(Transformed(damaged, 1e5, -2e6, 1e6), false, "large grid", &overlapped);
            layouts += 2;
        }
    }
    // The mix must exercise both answers, not only one.
    EXPECT_GT(overlapped, layouts / 5);
    EXPECT_LT(overlapped, layouts);
}

TEST(Overlap2D, AgreesWithBruteForceOnAThousandTriangleGridWithFolds) {
    std::mt19937 rng(77u);
    Layout l = JitteredGrid(25, 20, 0.25, rng);
    ExpectAgreement(l, false, "clean grid");
    EXPECT_FALSE(IsTriMesh2DOverlapped(l.points, l.triangles, false, nullptr, nullptr));
    // Fold a few vertices across their neighbours.
    std::uniform_int_distribution<int> pick(0, static_cast<int>(l.points.size()) - 1);
    for (int k = 0; k < 6; ++k) l.points[pick(rng)] += Vector2(1.3, -0.9);
    ExpectAgreement(l, false, "folded grid");
    ExpectAgreement(l, true, "folded grid, welded");
    // Enough cell entries for the grid to sort them bucket by bucket.
    Layout big = JitteredGrid(45, 40, 0.25, rng);
    std::uniform_int_distribution<int> pickBig(0, static_cast<int>(big.points.size()) - 1);
    for (int k = 0; k < 6; ++k) big.points[pickBig(rng)] += Vector2(1.3, -0.9);
    ExpectAgreement(big, false, "folded large grid");
}

TEST(Overlap2D, ConcurrentCallsAnswerAsSequentialOnes) {
    // Worker threads flatten charts side by side, each reusing its own grid.
    std::mt19937 rng(911u);
    std::vector<Layout> layouts;
    for (int i = 0; i < 40; ++i) {
        layouts.push_back(i % 2 ? DamagedGrid(rng) : RandomSoup(rng));
        if (i % 10 == 0) layouts.push_back(JitteredGrid(120, 110, 0.4, rng));  // past the sorting switch
    }
    std::vector<std::vector<int>> expected(layouts.size());
    for (size_t i = 0; i < layouts.size(); ++i)
        IsTriMesh2DOverlapped(layouts[i].points, layouts[i].triangles, false, &expected[i], nullptr);
    std::vector<std::vector<std::vector<int>>> got(2, std::vector<std::vector<int>>(layouts.size()));
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 3; ++round)
                for (size_t k = 0; k < layouts.size(); ++k) {
                    const size_t i = t == 0 ? k : layouts.size() - 1 - k;
                    IsTriMesh2DOverlapped(layouts[i].points, layouts[i].triangles, false, &got[t][i], nullptr);
                }
        });
    for (std::thread& th : threads) th.join();
    int overlapped = 0;
    for (size_t i = 0; i < layouts.size(); ++i) {
        overlapped += !expected[i].empty();
        for (int t = 0; t < 2; ++t) {
            std::vector<int> a = expected[i], b = got[t][i];
            std::sort(a.begin(), a.end());
            std::sort(b.begin(), b.end());
            EXPECT_EQ(a, b) << "layout " << i << " thread " << t;
        }
    }
    EXPECT_GT(overlapped, 0);
}

TEST(Overlap2D, FewHugeAmongManyTinyTrianglesGiveTheSameAnswer) {
    // The mean edge is tiny next to the big triangles, which would cover a vast
    // number of cells; the answer must not depend on it.
    std::mt19937 rng(5u);
    Layout l = JitteredGrid(22, 22, 0.2, rng);
    for (Vector2& p : l.points) p = p * 1e-3;
    const int base = static_cast<int>(l.points.size());
    l.points.insert(l.points.end(), {Vector2(-5, -5), Vector2(50, -5), Vector2(-5, 60), Vector2(100, 100)});
    l.triangles.insert(l.triangles.end(), {base, base + 1, base + 2, base + 1, base + 3, base + 2});
    ExpectAgreement(l, false, "huge and tiny");
    std::vector<int> faces;
    EXPECT_TRUE(IsTriMesh2DOverlapped(l.points, l.triangles, false, &faces, nullptr));
    // The tiny triangles lie inside the first huge one (whether a corner counts
    // as inside depends on rounding against an absolute tolerance at this
    // scale, which the reference reproduces); the second huge one is clear.
    const int firstHuge = static_cast<int>(l.triangles.size() / 3) - 2;
    EXPECT_NE(std::find(faces.begin(), faces.end(), firstHuge), faces.end());
    EXPECT_EQ(std::find(faces.begin(), faces.end(), firstHuge + 1), faces.end());
    EXPECT_GT(faces.size(), l.triangles.size() / 3 / 2);
}

TEST(Overlap2D, DuplicatedSeamPointsOverlapUnlessWelded) {
    // The shared edge's ends appear twice, with different ids.
    const std::vector<Vector2> points = {{0, 0}, {1, 0}, {0.5, 1}, {0.5, -1}, {0, 0}, {1, 0}};
    const std::vector<int> tris = {0, 1, 2, 5, 4, 3};
    std::vector<int> faces;
    double ratio = 0.0;
    EXPECT_TRUE(IsTriMesh2DOverlapped(points, tris, false, &faces, &ratio));
    std::sort(faces.begin(), faces.end());
    EXPECT_EQ(faces, (std::vector<int>{0, 1}));
    EXPECT_DOUBLE_EQ(ratio, 1.0);
    EXPECT_FALSE(IsTriMesh2DOverlapped(points, tris, true, &faces, &ratio));
    EXPECT_TRUE(faces.empty());
    EXPECT_EQ(ratio, 0.0);
    // The input list itself is not renumbered by welding.
    EXPECT_EQ(tris, (std::vector<int>{0, 1, 2, 5, 4, 3}));
    // Welding compares values: -0 is the same point as 0.
    const std::vector<Vector2> minusZero = {{0, 0}, {1, 0}, {0.5, 1}, {0.5, -1}, {-0.0, -0.0}, {1, 0}};
    EXPECT_FALSE(IsTriMesh2DOverlapped(minusZero, tris, true, nullptr, nullptr));
}

TEST(Overlap2D, FoldedTriangleAndItsNeighbourAreBothReportedWithTheirAreaShare) {
    // Triangle 1 shares edge 0-1 with triangle 0 but lies on the same side:
    // folded over it. Triangle 2 is far away and clean.
    const std::vector<Vector2> points = {{0, 0}, {2, 0}, {1, 2}, {1, 1}, {10, 10}, {12, 10}, {10, 13}};
    const std::vector<int> tris = {0, 1, 2, 1, 0, 3, 4, 5, 6};
    std::vector<int> faces;
    double ratio = 0.0;
    EXPECT_TRUE(IsTriMesh2DOverlapped(points, tris, false, &faces, &ratio));
    std::sort(faces.begin(), faces.end());
    EXPECT_EQ(faces, (std::vector<int>{0, 1}));
    const double a0 = 2.0, a1 = 1.0, a2 = 3.0;
    EXPECT_NEAR(ratio, (a0 + a1) / (a0 + a1 + a2), 1e-15);
}

TEST(Overlap2D, SingleTriangleIsNeverOverlappedAndTheLineIsDetailOnly) {
    ORVO::LogSystem::SetLogFileName("test_overlap2d_single.txt");
    const std::vector<Vector2> points = {{0, 0}, {1, 0}, {0, 1}};
    std::vector<int> faces = {1, 2};
    double ratio = 0.5;
    EXPECT_FALSE(IsTriMesh2DOverlapped(points, {0, 1, 2}, false, &faces, &ratio));
    EXPECT_TRUE(faces.empty());
    EXPECT_EQ(ratio, 0.0);
    EXPECT_FALSE(IsTriMesh2DOverlapped(points, {}, true, nullptr, nullptr));
    // "faceCount < 2" is a detail line: silent at the shipped level.
    std::ifstream in("test_overlap2d_single.txt");
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str().find("faceCount < 2"), std::string::npos);
}

TEST(Overlap2D, ReportsProgressAndAddsToTheRunningTotal) {
    std::mt19937 rng(3u);
    const Layout l = JitteredGrid(60, 60, 0.2, rng);
    ORVO::ResetApiProgress();
    const double before = ORVO::_AtlasStatistics().overlapSeconds.load();
    EXPECT_FALSE(IsTriMesh2DOverlapped(l.points, l.triangles, true, nullptr, nullptr));
    EXPECT_EQ(ORVO::GetApiProgress(), 1.0);
    EXPECT_GT(ORVO::_AtlasStatistics().overlapSeconds.load(), before);
}

TEST(Overlap2D, IdsOutsideThePointListAreRefused) {
    const std::vector<Vector2> points = {{0, 0}, {1, 0}, {0, 1}};
    std::vector<int> faces = {3};
    EXPECT_FALSE(IsTriMesh2DOverlapped(points, {0, 1, 2, 0, 1, 3}, false, &faces, nullptr));
    EXPECT_TRUE(faces.empty());
    EXPECT_FALSE(IsTriMesh2DOverlapped(points, {0, 1, 2, -1, 1, 2}, true, &faces, nullptr));
}

TEST(Overlap2D, TrianglesWithNonFiniteCornersAreReportedAndOthersStillTested) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Clean neighbours 0 and 1, a triangle 2 reaching to infinity, a triangle 3
    // with a NaN corner, and triangle 4 folded over triangle 0.
    const std::vector<Vector2> points = {{0, 0}, {1, 0}, {0.5, 1}, {0.5, -1}, {inf, 0}, {nan, 2}, {0.5, 0.5}};
    const std::vector<int> tris = {0, 1, 2, 1, 0, 3, 0, 4, 2, 2, 5, 1, 1, 0, 6};
    std::vector<int> faces;
    double ratio = -1.0;
    EXPECT_TRUE(IsTriMesh2DOverlapped(points, tris, false, &faces, &ratio));
    std::sort(faces.begin(), faces.end());
    EXPECT_EQ(faces, (std::vector<int>{0, 2, 3, 4}));
    EXPECT_TRUE(std::isfinite(ratio));
    EXPECT_NEAR(ratio, (0.5 + 0.25) / (0.5 + 0.5 + 0.25), 1e-15);
    // Points nobody uses do not matter, whatever their value.
    std::vector<Vector2> extra = {{0, 0}, {1, 0}, {0.5, 1}, {0.5, -1}, {-inf, nan}};
    EXPECT_FALSE(IsTriMesh2DOverlapped(extra, {0, 1, 2, 1, 0, 3}, true, &faces, &ratio));
}

}  // namespace
