#include "unfold/packing/PageAtlas.h"

#include "foundation/LogLine.h"
#include "unfold/packing/ChartPacker.h"
#include "unfold/packing/ChartPieces.h"
#include "unfold/packing/PlaneArea.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ORVO {

namespace {

std::vector<int> Triangles(const ITriMesh* chart) {
    std::vector<int> tris(3 * static_cast<size_t>(chart->GetTriangleCount()));
    for (int f = 0; f < chart->GetTriangleCount(); ++f) chart->GetTriangleVertexIds(f, &tris[3 * f]);
    return tris;
}

double SurfaceArea(const ITriMesh* chart, const std::vector<int>& tris) {
    double area = 0;
    for (size_t t = 0; t < tris.size(); t += 3)
        area += TriangleArea(chart->GetVertexCoord(tris[t]), chart->GetVertexCoord(tris[t + 1]),
                             chart->GetVertexCoord(tris[t + 2]));
    return area;
}

// A piece of `chart`: the vertices its triangles use, in increasing id order, and its
// triangles in the group's order; `uv` receives their coordinates.
std::unique_ptr<TriMesh> MakePiece(const ITriMesh* chart, const std::vector<int>& tris,
                                   const std::vector<double>& chartUV, const std::vector<int>& group,
                                   std::vector<double>& uv) {
    std::vector<int> used;
    for (int t : group) used.insert(used.end(), &tris[3 * t], &tris[3 * t] + 3);
    std::sort(used.begin(), used.end());
    used.erase(std::unique(used.begin(), used.end()), used.end());
    auto piece = std::make_unique<TriMesh>();
    piece->ReserveVertices(static_cast<int>(used.size()));
    piece->ReserveTriangles(static_cast<int>(group.size()));
    uv.clear();
    for (int v : used) {
        piece->InsertVertex(chart->GetVertexCoord(v));
        uv.push_back(chartUV[2 * v]);
        uv.push_back(chartUV[2 * v + 1]);
    }
    auto local = [&used](int v) { return static_cast<int>(std::lower_bound(used.begin(), used.end(), v) - used.begin()); };
    for (int t : group) piece->InsertTriangle(local(tris[3 * t]), local(tris[3 * t + 1]), local(tris[3 * t + 2]));
    return piece;
}

// Page units per chart unit that give `texelsPerUnit`, measured on the chart's own
// surface against its plane area (1:1 for a chart without area).
double DensityFactor(const ITriMesh* chart, const std::vector<int>& tris, const std::vector<double>& uv,
                     double texelsPerUnit, double lengthUnit, int resolution) {
    const double surface = SurfaceArea(chart, tris);
    const double plane = _PlaneArea(tris, uv);
    const double ratio = surface > 0 && plane > 0 ? std::sqrt(surface / plane) : 1.0;
    return texelsPerUnit * lengthUnit * ratio / resolution;
}

// A chart or a piece of one on its way to the pages: its mesh, its coordinates in
// chart units, the triangles of the chart it came from, in its own order, and (once
// done) its triangles' vertex ids.
struct Piece {
    ITriMesh* mesh;
    std::vector<double> uv;
    std::vector<int> origin;
    std::vector<int> tris;
};

}  // namespace

int _PackAtlasPages(std::vector<ITriMesh*>& charts, std::vector<std::vector<double>>& coords, double texelsPerUnit,
                    double lengthUnit, const PagePackOptions& options, PageAtlas& result) {
    if (charts.empty() || charts.size() != coords.size() || !(texelsPerUnit > 0) || !std::isfinite(texelsPerUnit) ||
        !(lengthUnit > 0) || !std::isfinite(lengthUnit) || options.resolution < 1) {
        _LogFailure("PackUVAtlas: invalid page mode input: texels per unit ", texelsPerUnit);
        return STATUS_INVALID_INPUT;
    }
    const size_t original = charts.size();
    for (size_t k = 0; k < original; ++k) {
        if (charts[k] == nullptr || coords[k].size() != 2 * static_cast<size_t>(charts[k]->GetVertexCount())) {
            _LogFailure("PackUVAtlas: chart ", k, " is null or its coordinates do not match its vertices");
            return STATUS_INVALID_INPUT;
        }
    }
    // A piece must fit the page's grid with the one-pixel margin of its image and a
    // pixel to spare for rounding.
    const int side = _FineGridSide(options.resolution);
    const double limit = (side - 3.0) / side;
    result.pieces.clear();
    result.moved.assign(original, {});
    std::vector<std::vector<int>> triangles(original);
    std::vector<std::vector<int>> groups;
    for (size_t k = 0; k < original; ++k) {
        // Each piece is scaled to the density on its own surface, so that the flattening's
        // small changes of scale from piece to piece do not reach the texels; a piece that
        // then does not fit a page is cut again.
        std::vector<Piece> work(1);
        work[0].mesh = charts[k];
        work[0].uv = std::move(coords[k]);
        work[0].origin.resize(static_cast<size_t>(charts[k]->GetTriangleCount()));
        std::iota(work[0].origin.begin(), work[0].origin.end(), 0);
        std::vector<Piece> done;
        while (!work.empty()) {
            Piece piece = std::move(work.back());
            work.pop_back();
            std::vector<int> tris = Triangles(piece.mesh);
            std::vector<double> scaled = piece.uv;
            const double factor =
                DensityFactor(piece.mesh, tris, piece.uv, texelsPerUnit, lengthUnit, options.resolution);
            for (double& c : scaled) c *= factor;
            if (!_SplitChartToFit(tris, scaled, limit, groups)) {
                _LogFailure("PackUVAtlas: chart ", k, " has a triangle larger than a page at ", texelsPerUnit,
                            " texels per unit");
                return STATUS_FAILED;
            }
            if (groups.size() == 1) {
                piece.uv = std::move(scaled);
                piece.tris = std::move(tris);
                done.push_back(std::move(piece));
                continue;
            }
            for (const std::vector<int>& group : groups) {
                Piece part;
                result.pieces.push_back(MakePiece(piece.mesh, tris, piece.uv, group, part.uv));
                part.mesh = result.pieces.back().get();
                for (int t : group) part.origin.push_back(piece.origin[t]);
                work.push_back(std::move(part));
            }
        }
        if (done.size() > 1) {
            _LogDetail("PackUVAtlas: chart ", k, " is larger than a page and is split in ", done.size(), " pieces");
            // Pieces in the order of their first triangle, for a stable output.
            std::sort(done.begin(), done.end(), [](const Piece& a, const Piece& b) { return a.origin[0] < b.origin[0]; });
            result.moved[k].assign(static_cast<size_t>(charts[k]->GetTriangleCount()), {-1, -1});
        }
        for (size_t i = 0; i < done.size(); ++i) {
            const int index = i == 0 ? static_cast<int>(k) : static_cast<int>(charts.size());
            if (i == 0) {
                charts[k] = done[i].mesh;
                coords[k] = std::move(done[i].uv);
                triangles[k] = std::move(done[i].tris);
            } else {
                charts.push_back(done[i].mesh);
                coords.push_back(std::move(done[i].uv));
                triangles.push_back(std::move(done[i].tris));
            }
            if (done.size() > 1)
                for (size_t t = 0; t < done[i].origin.size(); ++t)
                    result.moved[k][done[i].origin[t]] = {index, static_cast<int>(t)};
        }
    }

    PagePackStats stats;
    const int status = _PackPages(triangles, coords, options, result.chartPage, &stats);
    if (status != STATUS_SUCCESS) return status;
    result.pageCount = stats.pageCount;
    result.fill = stats.fill;
    return STATUS_SUCCESS;
}

}  // namespace ORVO
