// Local relief of squeezed faces: a spike's squeezed faces open up within the
// face limit while the layout away from them keeps its shape, and layouts it
// cannot help are left alone.

#include "ShapeMeshes.h"
#include "unfold/flattening/ChartLayout.h"
#include "unfold/flattening/SqueezeRelief.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

using shapemesh::SpikedSheet;

// The sheet's flat layout scaled to its surface area, as a flattening leaves it.
std::vector<double> MatchedLayout(const SpikedSheet& sheet) {
    std::vector<double> uv = sheet.uv;
    ORVO::_MatchSurfaceArea(sheet.mesh, uv);
    return uv;
}

TEST(SqueezeRelief, ASpikesSqueezedFacesOpenUpAndTheRestKeepsItsShape) {
    const int cells = 16;
    const SpikedSheet sheet(cells, {{8, 8}}, 0.12);
    const std::vector<double> before = MatchedLayout(sheet);
    std::vector<double> uv = before;
    ASSERT_TRUE(ORVO::_HasSqueezedTriangle(sheet.mesh, uv, 2.5));
    ASSERT_TRUE(ORVO::_RelieveSqueezedFaces(sheet.mesh, uv, 2.5));
    EXPECT_FALSE(ORVO::_HasSqueezedTriangle(sheet.mesh, uv, 2.5));
    EXPECT_FALSE(ORVO::_HasFlippedTriangle(sheet.mesh, uv));
    // Away from the spike the layout is the old one at one common scale (the
    // relieved layout is scaled to the surface's area again).
    const int corner = cells * (cells + 1) + cells;
    const double scale = uv[2 * corner] / before[2 * corner];
    EXPECT_NEAR(scale, 1.0, 0.05);
    int far = 0;
    for (int j = 0; j <= cells; ++j) {
        for (int i = 0; i <= cells; ++i) {
            if (std::abs(i - 8) <= 5 && std::abs(j - 8) <= 5) continue;
            const int v = j * (cells + 1) + i;
            EXPECT_NEAR(uv[2 * v], scale * before[2 * v], 1e-12) << v;
            EXPECT_NEAR(uv[2 * v + 1], scale * before[2 * v + 1], 1e-12) << v;
            ++far;
        }
    }
    EXPECT_GT(far, 100);
}

TEST(SqueezeRelief, ASheetWithManySpikesIsRelievedAtOnce) {
    // Hundreds of squeezed faces around 225 spikes, each a flaw of its own:
    // a rough scan's chart, not a strained layout.
    const int cells = 64;
    std::vector<std::pair<int, int>> spikes;
    for (int j = 4; j <= 60; j += 4)
        for (int i = 4; i <= 60; i += 4) spikes.push_back({i, j});
    const SpikedSheet sheet(cells, spikes, 0.03);
    std::vector<double> uv = MatchedLayout(sheet);
    int squeezed = 0;
    for (int f = 0; f < sheet.mesh.GetTriangleCount(); ++f) squeezed += ORVO::_FaceSpoiled(sheet.mesh, uv, f, 2.5) ? 1 : 0;
    ASSERT_GT(squeezed, 256) << squeezed;
    // The caller's adjacency is used as the relief's own would be.
    ORVO::MeshAdjacency adj;
    adj.Build(&sheet.mesh);
    std::vector<double> given = uv;
    ASSERT_TRUE(ORVO::_RelieveSqueezedFaces(sheet.mesh, uv, 2.5));
    ASSERT_TRUE(ORVO::_RelieveSqueezedFaces(sheet.mesh, given, 2.5, &adj));
    EXPECT_EQ(given, uv);
    EXPECT_FALSE(ORVO::_HasSqueezedTriangle(sheet.mesh, uv, 2.5));
    EXPECT_FALSE(ORVO::_HasFlippedTriangle(sheet.mesh, uv));
}

TEST(SqueezeRelief, LayoutsItCannotHelpAreLeftAlone) {
    // Nothing squeezed.
    const SpikedSheet flat(8, {}, 0.0);
    std::vector<double> uv = MatchedLayout(flat);
    std::vector<double> kept = uv;
    EXPECT_FALSE(ORVO::_RelieveSqueezedFaces(flat.mesh, uv, 2.5));
    EXPECT_EQ(uv, kept);
    // A folded face is not a squeeze: the vertex at (4, 4) pushed across its neighbours.
    const int centre = 4 * 9 + 4, east = 4 * 9 + 5;
    uv[2 * centre] = uv[2 * east] + 0.05;
    ASSERT_TRUE(ORVO::_HasFlippedTriangle(flat.mesh, uv));
    kept = uv;
    EXPECT_FALSE(ORVO::_RelieveSqueezedFaces(flat.mesh, uv, 2.5));
    EXPECT_EQ(uv, kept);
    // Every face squeezed: the whole layout is strained, not a spot of it.
    uv = MatchedLayout(flat);
    for (size_t k = 1; k < uv.size(); k += 2) uv[k] *= 0.2;
    kept = uv;
    EXPECT_FALSE(ORVO::_RelieveSqueezedFaces(flat.mesh, uv, 2.5));
    EXPECT_EQ(uv, kept);
}

}  // namespace
