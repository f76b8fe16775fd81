// Quality figures of an atlas, computed from the mesh and its per-corner
// texture coordinates alone, so that any tool's output can be compared.
#include "Qarnuv.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <unordered_map>

namespace qarnuv {
namespace {

using ORVO::Vector2;
using ORVO::Vector3;

struct Key3 {
    uint64_t a, b, c;
    bool operator==(const Key3& o) const { return a == o.a && b == o.b && c == o.c; }
};

struct Key3Hash {
    size_t operator()(const Key3& k) const {
        uint64_t h = k.a * 0x9E3779B97F4A7C15ull;
        h ^= (k.b + 0x632BE59BD9B4E019ull + (h << 6) + (h >> 2));
        h ^= (k.c + 0x85EBCA77C2B2AE63ull + (h << 6) + (h >> 2));
        return static_cast<size_t>(h ^ (h >> 31));
    }
};

uint64_t Bits(double value) {
    if (value == 0.0) value = 0.0;  // -0 and 0 are one coordinate
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

int Find(std::vector<int>& parent, int x) {
    while (parent[x] != x) {
        parent[x] = parent[parent[x]];
        x = parent[x];
    }
    return x;
}

double Cross(const Vector2& o, const Vector2& a, const Vector2& b) {
    return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Whether the interiors of two counter-clockwise triangles meet: true unless
// one of the six edge lines has the other triangle on its outer side (or on
// the line, within `tolerance` of the UV extent).
bool InteriorsMeet(const Vector2* a, const Vector2* b, double tolerance) {
    for (int pass = 0; pass < 2; ++pass) {
        const Vector2* t = pass == 0 ? a : b;
        const Vector2* o = pass == 0 ? b : a;
        for (int i = 0; i < 3; ++i) {
            const Vector2& p = t[i];
            const Vector2& q = t[(i + 1) % 3];
            const double slack = tolerance * (q - p).Length();
            if (Cross(p, q, o[0]) <= slack && Cross(p, q, o[1]) <= slack && Cross(p, q, o[2]) <= slack) return false;
        }
    }
    return true;
}

struct Box {
    double minX, minY, maxX, maxY;
};

// Marks faces whose UV interiors meet another face's. Candidates come from a
// uniform grid; each pair is tested once, in the cell holding the low corner
// of the two boxes' intersection. Returns false when the budget ran out.
bool FindOverlaps(const std::vector<std::array<Vector2, 3>>& uv, const std::vector<char>& usable,
                  std::vector<char>& overlapping) {
    const size_t faceCount = uv.size();
    std::vector<Box> boxes(faceCount);
    Box all{1e300, 1e300, -1e300, -1e300};
    size_t used = 0;
    for (size_t f = 0; f < faceCount; ++f) {
        if (!usable[f]) continue;
        Box& b = boxes[f];
        b.minX = std::min({uv[f][0].x, uv[f][1].x, uv[f][2].x});
        b.maxX = std::max({uv[f][0].x, uv[f][1].x, uv[f][2].x});
        b.minY = std::min({uv[f][0].y, uv[f][1].y, uv[f][2].y});
        b.maxY = std::max({uv[f][0].y, uv[f][1].y, uv[f][2].y});
        all.minX = std::min(all.minX, b.minX);
        all.minY = std::min(all.minY, b.minY);
        all.maxX = std::max(all.maxX, b.maxX);
        all.maxY = std::max(all.maxY, b.maxY);
        ++used;
    }
    if (used < 2) return true;
    const double extent = std::max({all.maxX - all.minX, all.maxY - all.minY, 1e-300});
    const double tolerance = 1e-12 * extent;
    const int grid = std::max(1, std::min(4096, static_cast<int>(std::sqrt(static_cast<double>(used)))));
    const double cell = extent / grid * (1.0 + 1e-9);
    auto cellOf = [&](double v, double origin) {
        return std::min(grid - 1, std::max(0, static_cast<int>((v - origin) / cell)));
    };
    // Compressed cell lists: count, then fill.
    const size_t kMaxEntries = 60000000;
    std::vector<uint32_t> start(static_cast<size_t>(grid) * grid + 1, 0);
    size_t entries = 0;
    bool exact = true;
    std::vector<char> inserted(faceCount, 0);
    for (size_t f = 0; f < faceCount; ++f) {
        if (!usable[f]) continue;
        const int x0 = cellOf(boxes[f].minX, all.minX), x1 = cellOf(boxes[f].maxX, all.minX);
        const int y0 = cellOf(boxes[f].minY, all.minY), y1 = cellOf(boxes[f].maxY, all.minY);
        const size_t cover = static_cast<size_t>(x1 - x0 + 1) * static_cast<size_t>(y1 - y0 + 1);
        if (entries + cover > kMaxEntries) {
            exact = false;
            continue;
        }
        entries += cover;
        inserted[f] = 1;
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) ++start[static_cast<size_t>(y) * grid + x + 1];
    }
    std::partial_sum(start.begin(), start.end(), start.begin());
    std::vector<uint32_t> fill(start.begin(), start.end() - 1);
    std::vector<int> members(entries);
    for (size_t f = 0; f < faceCount; ++f) {
        if (!inserted[f]) continue;
        const int x0 = cellOf(boxes[f].minX, all.minX), x1 = cellOf(boxes[f].maxX, all.minX);
        const int y0 = cellOf(boxes[f].minY, all.minY), y1 = cellOf(boxes[f].maxY, all.minY);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) members[fill[static_cast<size_t>(y) * grid + x]++] = static_cast<int>(f);
    }
    const uint64_t kMaxTests = 400000000ull;
    uint64_t tests = 0;
    for (int y = 0; y < grid && exact; ++y) {
        for (int x = 0; x < grid; ++x) {
            const size_t c = static_cast<size_t>(y) * grid + x;
            for (uint32_t i = start[c]; i < start[c + 1]; ++i) {
                const int f = members[i];
                for (uint32_t j = i + 1; j < start[c + 1]; ++j) {
                    const int g = members[j];
                    const Box& a = boxes[f];
                    const Box& b = boxes[g];
                    const double lowX = std::max(a.minX, b.minX), lowY = std::max(a.minY, b.minY);
                    if (lowX > std::min(a.maxX, b.maxX) || lowY > std::min(a.maxY, b.maxY)) continue;
                    if (cellOf(lowX, all.minX) != x || cellOf(lowY, all.minY) != y) continue;
                    if (++tests > kMaxTests) {
                        exact = false;
                        break;
                    }
                    if (InteriorsMeet(uv[f].data(), uv[g].data(), tolerance)) {
                        overlapping[f] = 1;
                        overlapping[g] = 1;
                    }
                }
                if (!exact) break;
            }
            if (!exact) break;
        }
    }
    return exact;
}

}  // namespace

AtlasQuality MeasureAtlas(const ORVO::TriMesh& mesh, const std::vector<double>& texCoords,
                          const std::vector<int>& faceTexIds, bool withOverlaps, std::vector<double>* faceStretch) {
    AtlasQuality q;
    const int faceCount = mesh.GetTriangleCount();
    q.faces = faceCount;
    if (faceStretch) faceStretch->assign(static_cast<size_t>(faceCount), 0.0);
    if (faceTexIds.size() != 3 * static_cast<size_t>(faceCount) || faceCount == 0) return q;

    // Corners are one UV vertex when position and (u, v) are bit-identical.
    std::unordered_map<Key3, int, Key3Hash> positionIds, uvIds;
    positionIds.reserve(static_cast<size_t>(mesh.GetVertexCount()));
    std::vector<int> weld(static_cast<size_t>(mesh.GetVertexCount()));
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const Vector3& p = mesh.GetVertexCoordRef(v);
        weld[v] = positionIds.emplace(Key3{Bits(p.x), Bits(p.y), Bits(p.z)}, static_cast<int>(positionIds.size()))
                      .first->second;
    }
    uvIds.reserve(faceTexIds.size());
    std::vector<int> parent(static_cast<size_t>(faceCount));
    std::iota(parent.begin(), parent.end(), 0);
    std::vector<int> firstFace;
    std::vector<std::array<Vector2, 3>> uv(static_cast<size_t>(faceCount));
    for (int f = 0; f < faceCount; ++f) {
        const int* t = mesh.GetTriangle(f);
        for (int k = 0; k < 3; ++k) {
            const int pair = faceTexIds[3 * static_cast<size_t>(f) + k];
            const double u = pair >= 0 ? texCoords[2 * static_cast<size_t>(pair)] : 0.0;
            const double v = pair >= 0 ? texCoords[2 * static_cast<size_t>(pair) + 1] : 0.0;
            uv[f][k] = Vector2(u, v);
            auto inserted = uvIds.emplace(Key3{static_cast<uint64_t>(weld[t[k]]), Bits(u), Bits(v)},
                                          static_cast<int>(firstFace.size()));
            if (inserted.second) {
                firstFace.push_back(f);
            } else {
                const int a = Find(parent, f), b = Find(parent, firstFace[inserted.first->second]);
                if (a != b) parent[a] = b;
            }
        }
    }
    std::vector<int> chartOf(static_cast<size_t>(faceCount));
    for (int f = 0; f < faceCount; ++f) {
        chartOf[f] = Find(parent, f);
        if (chartOf[f] == f) ++q.charts;
    }

    // UV areas, the box of all UVs and the unit-square check.
    double minU = 1e300, minV = 1e300, maxU = -1e300, maxV = -1e300;
    for (const auto& tri : uv) {
        for (const Vector2& p : tri) {
            minU = std::min(minU, p.x);
            maxU = std::max(maxU, p.x);
            minV = std::min(minV, p.y);
            maxV = std::max(maxV, p.y);
        }
    }
    const double slack = 1e-9;
    q.inUnitSquare = minU >= -slack && minV >= -slack && maxU <= 1.0 + slack && maxV <= 1.0 + slack;
    const double boxArea = (maxU - minU) * (maxV - minV);
    std::vector<double> twiceArea(static_cast<size_t>(faceCount));
    std::vector<char> usable(static_cast<size_t>(faceCount), 0);
    std::vector<double> chartArea(static_cast<size_t>(faceCount), 0.0);
    for (int f = 0; f < faceCount; ++f) {
        twiceArea[f] = Cross(uv[f][0], uv[f][1], uv[f][2]);
        if (std::fabs(twiceArea[f]) <= 1e-14 * boxArea || !std::isfinite(twiceArea[f])) {
            ++q.zeroAreaFaces;
            continue;
        }
        usable[f] = 1;
        chartArea[chartOf[f]] += twiceArea[f];
        q.utilization += 0.5 * std::fabs(twiceArea[f]);
    }
    for (int f = 0; f < faceCount; ++f) {
        if (usable[f] && (twiceArea[f] > 0.0) != (chartArea[chartOf[f]] > 0.0)) ++q.flippedFaces;
    }

    // Texture stretch of the map from UV to the surface, per face.
    double area3dTotal = 0.0, areaUvTotal = 0.0, l2Sum = 0.0, linf = 0.0;
    std::vector<double> rawL2(static_cast<size_t>(faceCount), 0.0);
    for (int f = 0; f < faceCount; ++f) {
        const int* t = mesh.GetTriangle(f);
        const Vector3& q1 = mesh.GetVertexCoordRef(t[0]);
        const Vector3& q2 = mesh.GetVertexCoordRef(t[1]);
        const Vector3& q3 = mesh.GetVertexCoordRef(t[2]);
        const double area3d = 0.5 * (q2 - q1).CrossProduct(q3 - q1).Length();
        area3dTotal += area3d;
        areaUvTotal += 0.5 * std::fabs(twiceArea[f]);
        if (!usable[f] || !(area3d > 0.0)) continue;
        const double s1 = uv[f][0].x, s2 = uv[f][1].x, s3 = uv[f][2].x;
        const double t1 = uv[f][0].y, t2 = uv[f][1].y, t3 = uv[f][2].y;
        const double d = twiceArea[f];
        const Vector3 ss = (q1 * (t2 - t3) + q2 * (t3 - t1) + q3 * (t1 - t2)) / d;
        const Vector3 st = (q1 * (s3 - s2) + q2 * (s1 - s3) + q3 * (s2 - s1)) / d;
        const double a = ss * ss, b = ss * st, c = st * st;
        rawL2[f] = std::sqrt(0.5 * (a + c));
        const double largest = std::sqrt(0.5 * ((a + c) + std::sqrt((a - c) * (a - c) + 4.0 * b * b)));
        l2Sum += rawL2[f] * rawL2[f] * area3d;
        linf = std::max(linf, largest);
    }
    if (area3dTotal > 0.0 && areaUvTotal > 0.0) {
        const double scale = std::sqrt(areaUvTotal / area3dTotal);
        q.stretchL2 = std::sqrt(l2Sum / area3dTotal) * scale;
        q.stretchLinf = linf * scale;
        if (faceStretch)
            for (int f = 0; f < faceCount; ++f) (*faceStretch)[f] = rawL2[f] * scale;
    }

    if (withOverlaps) {
        // Orient every usable face counter-clockwise for the separating-axis test.
        for (int f = 0; f < faceCount; ++f)
            if (usable[f] && twiceArea[f] < 0.0) std::swap(uv[f][1], uv[f][2]);
        std::vector<char> overlapping(static_cast<size_t>(faceCount), 0);
        q.overlapExact = FindOverlaps(uv, usable, overlapping);
        q.overlappingFaces = static_cast<int>(std::count(overlapping.begin(), overlapping.end(), 1));
        q.overlapMeasured = true;
    }
    return q;
}

}  // namespace qarnuv
