#pragma once
// Packing at a fixed scale over several pages: the charts keep their size and fill as
// many pages as they need, each page a square texture of its own.

#include <vector>

namespace ORVO {

struct PagePackOptions {
    int resolution = 1024;      // page size in texels
    int gapTexels = 1;          // minimum distance between charts of a page, in texels
    int maxPages = 0;           // most pages to fill; 0 for no limit
    bool allowRotation = true;  // turn charts (never mirror them)
    int threadCount = 1;        // threads the packer may use
};

struct PagePackStats {
    int pageCount = 0;
    double fill = 0;     // total chart area over the pages' total area
    double seconds = 0;  // wall time of the call
};

// Packs charts whose coordinates are in page units (1 is a page's side) into pages
// without scaling them. chartTriangles[k] holds 3 vertex ids per triangle of chart k,
// chartUVs[k] 2 coordinates per vertex; on success chartUVs[k] is overwritten with the
// chart's coordinates in the unit square of its page and chartPage[k] names that page
// (0, 1, ...). Pages are filled one after another, each with every chart still waiting
// that finds room, largest first. Returns 0, -2 for invalid input (as _PackCharts), -3
// when a chart is larger than a page or the charts need more than maxPages pages
// (chartUVs and chartPage then unspecified).
int _PackPages(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
               const PagePackOptions& options, std::vector<int>& chartPage, PagePackStats* stats);

}  // namespace ORVO
