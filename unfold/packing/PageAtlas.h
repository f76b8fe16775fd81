#pragma once
// The page mode of the atlas: every chart scaled to a fixed texel density, charts too
// large for a page split into pieces, and all of them packed over as many pages as they
// need.

#include "unfold/packing/PagePacker.h"

#include <QarnUVAtlas/TriMesh.h>

#include <memory>
#include <utility>
#include <vector>

namespace ORVO {

struct PageAtlas {
    // Pieces of split charts beyond the first, appended to the chart list (owned here).
    std::vector<std::unique_ptr<TriMesh>> pieces;
    // Per chart of the list as it came: empty when the chart was not split; otherwise,
    // per triangle, the (chart, triangle) it now is. A split chart's place in the list
    // holds its first piece.
    std::vector<std::vector<std::pair<int, int>>> moved;
    // Page of every chart of the final list.
    std::vector<int> chartPage;
    int pageCount = 0;
    double fill = 0;  // total chart area over the pages' total area
};

// Scales every chart so that it has `texelsPerUnit` texels (of `options.resolution`
// per page side) per unit of surface length, measured per chart from its 3-D area
// (chart coordinates times `lengthUnit` are the caller's units) against its (u, v) area;
// splits the charts that do not fit a page; packs everything with _PackPages.
// In/out: charts and coords (the list grows by the pieces; coords end in their page's
// unit square). Returns 0, -2 for invalid input, -3 when a single triangle is larger
// than a page or more than maxPages pages would be needed.
int _PackAtlasPages(std::vector<ITriMesh*>& charts, std::vector<std::vector<double>>& coords, double texelsPerUnit,
                    double lengthUnit, const PagePackOptions& options, PageAtlas& result);

}  // namespace ORVO
