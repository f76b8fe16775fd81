#pragma once
// Packing of flattened charts into the unit square of a texture atlas.

#include <vector>

namespace ORVO {

struct ChartPackOptions {
    int resolution = 1024;     // texture size in texels the gap is measured in
    int gapTexels = 1;         // minimum distance between charts, in texels of `resolution`
    bool allowRotation = true; // rotate charts: the angle that shrinks the bounding box, plus turns of
                               // 90 degrees; of 30 degrees for few charts; of 11.25 degrees for 17 to
                               // 100 charts of a large input and in the last pass of the fewest;
                               // of 45 degrees in a second pass when the fill stays low
    int threadCount = 1;       // threads the packer may use
};

struct ChartPackStats {
    double utilization = 0;    // total triangle area of the packed charts (the square has area 1)
    double scale = 0;          // common factor applied to every chart
    int workResolution = 0;    // pixels per side of the occupancy grid the charts were placed in (the
                               // square they filled may be a little smaller)
    int directions = 0;        // directions each chart could take in that packing (1 without rotation)
    bool tiltedPass = false;   // a second pass with charts also turned by an eighth of a turn ran
    bool otherOrder = false;   // few charts: the layout kept places them in an order other than largest first
    bool allDirections = false;// few charts of a large input: the layout kept came from a last pass in 32 directions
    double seconds = 0;        // wall time of the call
};

// Packs every chart into [0,1]^2. chartTriangles[k] holds 3 local vertex ids per triangle of
// chart k; chartUVs[k] holds 2 doubles (u,v) per vertex of chart k and is overwritten with the
// packed coordinates. All charts get the same scale (uniform texel density), each may be rotated
// (never mirrored), and no two charts come closer than gapTexels/resolution. Returns 0, -2 for
// invalid input (size mismatch, empty list, bad index, non-finite coordinates; chartUVs is left
// untouched), -3 if packing fails (no positive total area, or no scale could be placed).
int _PackCharts(const std::vector<std::vector<int>>& chartTriangles, std::vector<std::vector<double>>& chartUVs,
                const ChartPackOptions& options, ChartPackStats* stats);

// Side in pixels of the finest occupancy grid the packer uses for a texture of
// `resolution` texels, and the gap in whole pixels of a grid of `side` pixels over it
// (rounded up, never down).
int _FineGridSide(int resolution);
int _GapPixels(int gapTexels, int side, int resolution);

}  // namespace ORVO
