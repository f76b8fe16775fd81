#include "unfold/packing/ChartPieces.h"

#include "unfold/UndirectedEdgeTable.h"
#include "unfold/packing/ChartOrientation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace ORVO {

namespace {

// Slabs are cut this much narrower than the limit, so that the triangles reaching over
// a cut rarely push a slab past it.
constexpr double kSlabShare = 0.9;

// The smallest rectangle around the vertices of `group`.
HullRectangle GroupRectangle(const std::vector<int>& tris, const std::vector<double>& uv,
                             const std::vector<int>& group, std::vector<double>& points) {
    points.clear();
    for (int t : group)
        for (int c = 0; c < 3; ++c) {
            const int v = tris[3 * t + c];
            points.push_back(uv[2 * v]);
            points.push_back(uv[2 * v + 1]);
        }
    const int n = static_cast<int>(points.size() / 2);
    return _MinimalAreaRectangle(points.data(), _ConvexHull2D(points.data(), n));
}

// The parts of `group` joined through shared vertices, each in the group's order.
std::vector<std::vector<int>> ConnectedParts(const std::vector<int>& tris, const std::vector<int>& group) {
    // Sets of the group's positions: each triangle joins the first one at each of its vertices.
    const int n = static_cast<int>(group.size());
    CornerDisjointSets sets;
    sets.Reset(n);
    std::unordered_map<int, int> firstAt;  // vertex -> position of its first triangle
    for (int i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) {
            const auto found = firstAt.emplace(tris[3 * group[i] + c], i);
            if (!found.second) sets.Union(found.first->second, i);
        }
    std::vector<int> partOf(group.size(), -1);  // set root -> part
    std::vector<std::vector<int>> parts;
    for (int i = 0; i < n; ++i) {
        int& part = partOf[sets.Find(i)];
        if (part < 0) {
            part = static_cast<int>(parts.size());
            parts.emplace_back();
        }
        parts[part].push_back(group[i]);
    }
    return parts;
}

}  // namespace

bool _SplitChartToFit(const std::vector<int>& tris, const std::vector<double>& uv, double limit,
                      std::vector<std::vector<int>>& groups) {
    groups.clear();
    std::vector<std::vector<int>> pending(1);
    pending[0].resize(tris.size() / 3);
    std::iota(pending[0].begin(), pending[0].end(), 0);
    std::vector<double> points;
    while (!pending.empty()) {
        std::vector<int> group = std::move(pending.back());
        pending.pop_back();
        const HullRectangle rect = GroupRectangle(tris, uv, group, points);
        if (std::max(rect.extentAlong, rect.extentAcross) <= limit) {
            groups.push_back(std::move(group));
            continue;
        }
        if (group.size() == 1) return false;
        // Across the longer side of the rectangle, in slabs of equal width.
        double ax = rect.axisX, ay = rect.axisY;
        if (rect.extentAcross > rect.extentAlong) std::swap(ax, ay), ax = -ax;
        std::vector<double> along(group.size());
        double lo = std::numeric_limits<double>::max(), hi = -lo;
        for (size_t i = 0; i < group.size(); ++i) {
            const int* t = &tris[3 * group[i]];
            double sum = 0;
            for (int c = 0; c < 3; ++c) sum += ax * uv[2 * t[c]] + ay * uv[2 * t[c] + 1];
            along[i] = sum / 3;
            lo = std::min(lo, along[i]);
            hi = std::max(hi, along[i]);
        }
        const double extent = std::max(rect.extentAlong, rect.extentAcross);
        const int slabs = std::max(2, static_cast<int>(std::ceil(extent / (kSlabShare * limit))));
        const double width = (hi - lo) / slabs;
        std::vector<std::vector<int>> slab(slabs);
        for (size_t i = 0; i < group.size(); ++i) {
            const int s = width > 0 ? static_cast<int>((along[i] - lo) / width) : 0;
            slab[std::min(slabs - 1, std::max(0, s))].push_back(group[i]);
        }
        // Centroids all in one slab (a fan of long, thin triangles): halve by count instead.
        if (std::count_if(slab.begin(), slab.end(), [](const std::vector<int>& s) { return !s.empty(); }) < 2) {
            std::vector<size_t> order(group.size());
            std::iota(order.begin(), order.end(), 0);
            std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return along[a] < along[b]; });
            slab.assign(2, {});
            for (size_t i = 0; i < order.size(); ++i) slab[2 * i < order.size() ? 0 : 1].push_back(group[order[i]]);
            for (std::vector<int>& s : slab) std::sort(s.begin(), s.end());
        }
        for (std::vector<int>& s : slab) {
            if (s.empty()) continue;
            for (std::vector<int>& part : ConnectedParts(tris, s)) pending.push_back(std::move(part));
        }
    }
    // Pieces in the order of their first triangle, for a stable output.
    std::sort(groups.begin(), groups.end(), [](const std::vector<int>& a, const std::vector<int>& b) {
        return a.front() < b.front();
    });
    return true;
}

}  // namespace ORVO
