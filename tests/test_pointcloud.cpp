#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include "MeshChecks.h"
#include "TestFiles.h"
#include "TestMeshes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using ORVO::IGridPointCloud;
using ORVO::IPointCloud;
using ORVO::IPointList;
using ORVO::PointCloud;
using ORVO::PointCloudPointList;
using ORVO::SampledPointList;
using ORVO::TriMesh;
using ORVO::TriMeshPointList;
using ORVO::Vector3;

namespace {

using testfiles::ReadFile;
using meshcheck::ExpectVec;

// Every point sits in exactly one cell and every occupied cell names its point.
void ExpectGridConsistent(const PointCloud& cloud) {
    ASSERT_TRUE(cloud.HasGridTopology());
    int occupied = 0;
    for (int y = 0; y < cloud.GetHeight(); ++y) {
        for (int x = 0; x < cloud.GetWidth(); ++x) {
            const int pid = cloud.GetGridPointId(x, y);
            EXPECT_EQ(cloud.IsGridValid(x, y), pid != -1);
            if (pid == -1) continue;
            ++occupied;
            ASSERT_GE(pid, 0);
            ASSERT_LT(pid, cloud.GetPointCount());
            int px = -1, py = -1;
            cloud.GetPointGridId(pid, px, py);
            EXPECT_EQ(px, x);
            EXPECT_EQ(py, y);
        }
    }
    EXPECT_EQ(occupied, cloud.GetPointCount());
}

// A 3-point grid cloud on a 3 x 1 grid with normals and colours told apart by id.
PointCloud ThreePointGridCloud() {
    PointCloud cloud(true, true, false);
    cloud.InitGrid(3, 1);
    for (int i = 0; i < 3; ++i) {
        cloud.SetGridCoord(i, 0, Vector3(i, 10.0 * i, 0));
        cloud.SetGridNormal(i, 0, Vector3(0, 0, i + 1));
        cloud.SetGridColor(i, 0, Vector3(0.1 * i, 0.2, 0.3));
    }
    return cloud;
}

// --- Construction and attributes ---------------------------------------------------

TEST(PointCloud, FlagsStartAsAskedAndColourIsTheDefaultWhileColoursAreOff) {
    PointCloud cloud;
    EXPECT_FALSE(cloud.HasNormal() || cloud.HasColor() || cloud.HasGridTopology());
    PointCloud flagged(true, false, true);  // normal, colour, grid
    EXPECT_TRUE(flagged.HasNormal() && flagged.HasGridTopology());
    EXPECT_FALSE(flagged.HasColor());
    EXPECT_EQ(flagged.GetPointCount(), 0);

    EXPECT_EQ(cloud.InsertPoint(Vector3(1, 2, 3)), 0);
    ExpectVec(cloud.GetPointColor(0), Vector3(0.09, 0.48627, 0.69));
    // Writing a colour while colours are off keeps nothing.
    cloud.SetPointColor(0, Vector3(1, 0, 0));
    ExpectVec(cloud.GetPointColor(0), Vector3(0.09, 0.48627, 0.69));
    cloud.SetHasColor(true);
    cloud.SetPointColor(0, Vector3(1, 0, 0));
    ExpectVec(cloud.GetPointColor(0), Vector3(1, 0, 0));
    cloud.SetHasColor(false);
    ExpectVec(cloud.GetPointColor(0), Vector3(0.09, 0.48627, 0.69));
}

TEST(PointCloud, NormalInsertionKeepsTheNormalWhateverTheFlag) {
    PointCloud cloud;
    cloud.InsertPoint(Vector3(0, 0, 0));
    EXPECT_EQ(cloud.InsertPoint(Vector3(1, 1, 1), Vector3(0, 0, -1)), 1);
    EXPECT_FALSE(cloud.HasNormal());
    // The normal lands at the new point's id even though point 0 has none.
    ExpectVec(cloud.GetPointNormal(1), Vector3(0, 0, -1));
    cloud.SetHasNormal(true);
    ExpectVec(cloud.GetPointNormal(0), Vector3());
    ExpectVec(cloud.GetPointNormal(1), Vector3(0, 0, -1));
    cloud.SetPointNormal(0, Vector3(0, 0, 1));
    ExpectVec(cloud.GetPointNormal(0), Vector3(0, 0, 1));
    ExpectVec(cloud.GetPointCoord(1), Vector3(1, 1, 1));
}

TEST(PointCloud, SwapAndPopbackMoveEveryAttribute) {
    PointCloud cloud(true, true, false);
    for (int i = 0; i < 4; ++i) {
        cloud.InsertPoint(Vector3(i, 0, 0), Vector3(0, i, 0));
        cloud.SetPointColor(i, Vector3(0, 0, 0.25 * i));
    }
    cloud.SwapPoint(0, 3);
    ExpectVec(cloud.GetPointCoord(0), Vector3(3, 0, 0));
    ExpectVec(cloud.GetPointNormal(0), Vector3(0, 3, 0));
    ExpectVec(cloud.GetPointColor(0), Vector3(0, 0, 0.75));
    ExpectVec(cloud.GetPointCoord(3), Vector3(0, 0, 0));
    ExpectVec(cloud.GetPointColor(3), Vector3(0, 0, 0));

    cloud.PopbackPoints(2);
    EXPECT_EQ(cloud.GetPointCount(), 2);
    ExpectVec(cloud.GetPointCoord(1), Vector3(1, 0, 0));
    // Lists stay aligned: a new point gets fresh entries at its own id.
    EXPECT_EQ(cloud.InsertPoint(Vector3(9, 9, 9)), 2);
    ExpectVec(cloud.GetPointNormal(2), Vector3());
    ExpectVec(cloud.GetPointColor(2), cloud.GetDefaultColor());
}

TEST(PointCloud, ClearRemovesPointsAndGridButKeepsFlags) {
    PointCloud cloud = ThreePointGridCloud();
    cloud.ReservePoint(100);
    cloud.Clear();
    EXPECT_EQ(cloud.GetPointCount(), 0);
    EXPECT_FALSE(cloud.HasGridTopology());
    EXPECT_TRUE(cloud.HasNormal() && cloud.HasColor());

    // Dropping only the grid keeps the points.
    PointCloud grid = ThreePointGridCloud();
    grid.ClearGridTopologyInfo();
    EXPECT_FALSE(grid.HasGridTopology());
    EXPECT_FALSE(grid.IsGridValid(0, 0));
    EXPECT_EQ(grid.GetPointCount(), 3);
    ExpectVec(grid.GetPointCoord(2), Vector3(2, 20, 0));
}

// Clouds and meshes share the fitting; the mesh tests cover its edge cases.
TEST(PointCloud, UnifyCoordsFitsTheCloudIntoACube) {
    PointCloud cloud;
    cloud.InsertPoint(Vector3(1, 2, 3));
    cloud.InsertPoint(Vector3(5, 3, 4));
    cloud.InsertPoint(Vector3(3, 2.5, 3));
    double scale = 0.0;
    Vector3 center;
    cloud.UnifyCoords(2.0, &scale, &center);
    EXPECT_DOUBLE_EQ(scale, 0.5);
    ExpectVec(center, Vector3(3, 2.5, 3.5));
    ExpectVec(cloud.GetPointCoord(0), Vector3(-1, -0.25, -0.25), 1e-15);
    // The explicit form undoes it with the inverse scale about the origin.
    cloud.UnifyCoords(1.0 / scale, Vector3(0, 0, 0) - center * scale);
    ExpectVec(cloud.GetPointCoord(1), Vector3(5, 3, 4), 1e-12);
}

// --- Grid topology -----------------------------------------------------------------

TEST(PointCloudGrid, InitGridMakesEmptyCells) {
    PointCloud cloud;
    cloud.InsertPoint(Vector3(1, 1, 1));
    cloud.InitGrid(4, 3);
    EXPECT_EQ(cloud.GetWidth(), 4);
    EXPECT_EQ(cloud.GetHeight(), 3);
    EXPECT_EQ(cloud.GetPointCount(), 0);
    ExpectGridConsistent(cloud);  // with no points: every cell empty
    EXPECT_FALSE(cloud.IsGridValid(4, 0));
    EXPECT_FALSE(cloud.IsGridValid(-1, 0));
}

TEST(PointCloudGrid, SetGridCoordCreatesThenOverwrites) {
    PointCloud cloud(true, false, false);
    cloud.InitGrid(5, 4);
    cloud.SetGridCoord(3, 2, Vector3(1, 2, 3));
    EXPECT_EQ(cloud.GetPointCount(), 1);
    EXPECT_EQ(cloud.GetGridPointId(3, 2), 0);
    EXPECT_EQ(cloud.GetPointGridIndex(0), 5 * 2 + 3);
    ExpectGridConsistent(cloud);  // point 0 knows its cell (3, 2)

    cloud.SetGridCoord(3, 2, Vector3(4, 5, 6));
    EXPECT_EQ(cloud.GetPointCount(), 1);
    ExpectVec(cloud.GetGridCoord(3, 2), Vector3(4, 5, 6));
    ExpectVec(cloud.GetGridNormal(3, 2), Vector3());  // normal list grew with the point

    cloud.SetGridNormal(3, 2, Vector3(0, 1, 0));
    ExpectVec(cloud.GetPointNormal(0), Vector3(0, 1, 0));
    // Writes to an empty cell create nothing.
    cloud.SetGridNormal(0, 0, Vector3(1, 0, 0));
    cloud.SetGridColor(0, 0, Vector3(1, 0, 0));
    EXPECT_EQ(cloud.GetPointCount(), 1);
    ExpectVec(cloud.GetGridCoord(0, 0), Vector3());
}

TEST(PointCloudGrid, RoundTripThroughEveryCell) {
    PointCloud cloud(true, true, false);
    const int width = 13, height = 7;
    cloud.InitGrid(width, height);
    std::mt19937 rng(5);
    std::vector<std::pair<int, int>> cells;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            if (rng() % 3 != 0) cells.emplace_back(x, y);
    std::shuffle(cells.begin(), cells.end(), rng);
    for (const auto& c : cells) {
        cloud.SetGridCoord(c.first, c.second, Vector3(c.first, c.second, 0.5));
        cloud.SetGridNormal(c.first, c.second, Vector3(0, 0, c.first + 1));
        cloud.SetGridColor(c.first, c.second, Vector3(0, c.second * 0.1, 0));
    }
    EXPECT_EQ(cloud.GetPointCount(), static_cast<int>(cells.size()));
    ExpectGridConsistent(cloud);
    for (int pid = 0; pid < cloud.GetPointCount(); ++pid) {
        int x = -1, y = -1;
        cloud.GetPointGridId(pid, x, y);
        ExpectVec(cloud.GetPointCoord(pid), Vector3(x, y, 0.5));
        ExpectVec(cloud.GetPointNormal(pid), Vector3(0, 0, x + 1));
        ExpectVec(cloud.GetGridColor(x, y), Vector3(0, y * 0.1, 0));
    }
}

TEST(PointCloudGrid, InsertingAPointDropsTheGrid) {
    PointCloud cloud = ThreePointGridCloud(), other = ThreePointGridCloud();
    EXPECT_EQ(cloud.InsertPoint(Vector3(7, 7, 7)), 3);
    EXPECT_FALSE(cloud.HasGridTopology());
    EXPECT_EQ(cloud.GetPointCount(), 4);
    EXPECT_FALSE(cloud.IsGridValid(0, 0));
    other.InsertPoint(Vector3(7, 7, 7), Vector3(0, 0, 1));
    EXPECT_FALSE(other.HasGridTopology());
    ExpectVec(other.GetPointNormal(3), Vector3(0, 0, 1));
    ExpectVec(other.GetPointColor(3), other.GetDefaultColor());
}

TEST(PointCloudGrid, InvalidatingPointZeroMovesTheLastPointIntoItsId) {
    PointCloud cloud = ThreePointGridCloud();
    ASSERT_EQ(cloud.GetGridPointId(0, 0), 0);
    cloud.InvalidateGrid(0, 0);
    EXPECT_EQ(cloud.GetPointCount(), 2);
    EXPECT_FALSE(cloud.IsGridValid(0, 0));
    // Old point 2 is now point 0, with all its data and its cell.
    ExpectVec(cloud.GetPointCoord(0), Vector3(2, 20, 0));
    ExpectVec(cloud.GetPointNormal(0), Vector3(0, 0, 3));
    ExpectVec(cloud.GetPointColor(0), Vector3(0.2, 0.2, 0.3));
    EXPECT_EQ(cloud.GetGridPointId(2, 0), 0);
    EXPECT_EQ(cloud.GetGridPointId(1, 0), 1);
    ExpectGridConsistent(cloud);

    // An empty cell is left alone.
    cloud.InvalidateGrid(0, 0);
    EXPECT_EQ(cloud.GetPointCount(), 2);
}

TEST(PointCloudGrid, RandomInvalidationsKeepTheMapsConsistent) {
    PointCloud cloud(false, true, false);
    const int width = 20, height = 15;
    cloud.InitGrid(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) cloud.SetGridCoord(x, y, Vector3(x, y, x * y));
    std::mt19937 rng(11);
    for (int round = 0; round < 200; ++round) {
        const int x = static_cast<int>(rng() % width);
        const int y = static_cast<int>(rng() % height);
        cloud.InvalidateGrid(x, y);
        EXPECT_FALSE(cloud.IsGridValid(x, y));
    }
    ExpectGridConsistent(cloud);
    // Each surviving point still carries the coordinate of its own cell.
    for (int pid = 0; pid < cloud.GetPointCount(); ++pid) {
        int x = -1, y = -1;
        cloud.GetPointGridId(pid, x, y);
        ExpectVec(cloud.GetPointCoord(pid), Vector3(x, y, x * y));
    }
}

TEST(PointCloudGrid, SwapAndPopbackKeepBothMapsInStep) {
    PointCloud cloud = ThreePointGridCloud();
    cloud.SwapPoint(0, 1);
    EXPECT_EQ(cloud.GetGridPointId(0, 0), 1);
    EXPECT_EQ(cloud.GetGridPointId(1, 0), 0);
    ExpectVec(cloud.GetGridCoord(0, 0), Vector3(0, 0, 0));
    ExpectVec(cloud.GetGridNormal(1, 0), Vector3(0, 0, 2));
    ExpectGridConsistent(cloud);

    // Popping points 1 and 2 empties their cells (0 and 2): one occupied cell left.
    cloud.PopbackPoints(2);
    EXPECT_EQ(cloud.GetPointCount(), 1);
    EXPECT_TRUE(cloud.IsGridValid(1, 0));
    ExpectGridConsistent(cloud);
    // The cell can take a new point again.
    cloud.SetGridCoord(2, 0, Vector3(5, 5, 5));
    EXPECT_EQ(cloud.GetGridPointId(2, 0), 1);
    ExpectGridConsistent(cloud);
}

TEST(PointCloudGrid, RemoveOuterBlankGridsCropsAndKeepsPoints) {
    PointCloud cloud(true, false, false);
    cloud.InitGrid(8, 6);
    const int xs[] = {2, 5, 3, 4};
    const int ys[] = {1, 3, 2, 4};
    for (int i = 0; i < 4; ++i) cloud.SetGridCoord(xs[i], ys[i], Vector3(xs[i], ys[i], i));
    cloud.RemoveOuterBlankGrids();
    EXPECT_TRUE(cloud.HasGridTopology());
    EXPECT_EQ(cloud.GetWidth(), 4);   // x from 2 to 5
    EXPECT_EQ(cloud.GetHeight(), 4);  // y from 1 to 4
    EXPECT_EQ(cloud.GetPointCount(), 4);
    ExpectGridConsistent(cloud);
    for (int i = 0; i < 4; ++i) {
        // Ids are unchanged; cells move by the cropped margin.
        EXPECT_EQ(cloud.GetGridPointId(xs[i] - 2, ys[i] - 1), i);
        ExpectVec(cloud.GetPointCoord(i), Vector3(xs[i], ys[i], i));
    }
    // Cropping a tight grid again changes nothing.
    cloud.RemoveOuterBlankGrids();
    EXPECT_EQ(cloud.GetWidth(), 4);
    EXPECT_EQ(cloud.GetHeight(), 4);
    ExpectGridConsistent(cloud);

    // An empty grid crops to nothing; a cloud without a grid is left alone.
    PointCloud blank, plain;
    blank.InitGrid(3, 3);
    blank.RemoveOuterBlankGrids();
    EXPECT_TRUE(blank.HasGridTopology());
    EXPECT_EQ(blank.GetWidth(), 0);
    EXPECT_EQ(blank.GetHeight(), 0);
    plain.InsertPoint(Vector3(1, 1, 1));
    plain.RemoveOuterBlankGrids();
    EXPECT_FALSE(plain.HasGridTopology());
    EXPECT_EQ(plain.GetPointCount(), 1);
}

TEST(PointCloudGrid, MisuseIsLoggedAndIgnored) {
    ORVO::LogSystem::SetLogFileName("test_pointcloud_misuse.txt");
    PointCloud cloud;
    cloud.SetGridCoord(0, 0, Vector3(1, 1, 1));
    cloud.InitGrid(0, 5);
    EXPECT_EQ(cloud.GetPointCount(), 0);
    EXPECT_FALSE(cloud.HasGridTopology());
    EXPECT_EQ(ReadFile("test_pointcloud_misuse.txt"),
              "PointCloud::SetGridCoord: the cloud has no grid topology\n"
              "PointCloud::InitGrid: invalid grid size: 0 5\n");
}

TEST(PointCloudGrid, WorksThroughTheAbstractInterfaces) {
    PointCloud cloud(false, false, false);
    IGridPointCloud* grid = &cloud;
    grid->InitGrid(2, 2);
    grid->SetGridCoord(1, 1, Vector3(3, 3, 3));
    const IPointList* list = &cloud;
    EXPECT_EQ(static_cast<IPointCloud*>(grid)->GetPointCount(), 1);
    ExpectVec(list->GetPointCoord(0), Vector3(3, 3, 3));
}

// --- Point-list adaptors -----------------------------------------------------------

TEST(PointList, CloudAdaptorForwardsEveryQuery) {
    PointCloud cloud(true, true, false);
    cloud.InsertPoint(Vector3(1, 2, 3), Vector3(0, 0, 1));
    cloud.SetPointColor(0, Vector3(0.3, 0.4, 0.5));
    PointCloudPointList list(&cloud);
    EXPECT_EQ(list.GetPointCount(), 1);
    EXPECT_TRUE(list.HasNormal());
    ExpectVec(list.GetPointCoord(0), Vector3(1, 2, 3));
    ExpectVec(list.GetPointNormal(0), Vector3(0, 0, 1));
    ExpectVec(list.GetPointColor(0), Vector3(0.3, 0.4, 0.5));

    PointCloudPointList none(nullptr);
    EXPECT_EQ(none.GetPointCount(), 0);
    EXPECT_FALSE(none.HasNormal());
}

TEST(PointList, MeshAdaptorExposesVerticesAndHasNoColour) {
    TriMesh mesh;
    testmesh::AddSquare(mesh);
    TriMeshPointList list(&mesh);
    EXPECT_EQ(list.GetPointCount(), 4);
    EXPECT_FALSE(list.HasNormal());
    ExpectVec(list.GetPointCoord(1), Vector3(1, 0, 0));
    mesh.UpdateNormal();
    EXPECT_TRUE(list.HasNormal());
    ExpectVec(list.GetPointNormal(2), Vector3(0, 0, 1), 1e-15);

    ORVO::LogSystem::SetLogFileName("test_pointlist_color.txt");
    ExpectVec(list.GetPointColor(0), Vector3());
    EXPECT_EQ(ReadFile("test_pointlist_color.txt"),
              "Error: TriMeshPointList::GetPointColor has no implementation\n");

    TriMeshPointList none(nullptr);
    EXPECT_EQ(none.GetPointCount(), 0);
}

TEST(PointList, SampleSeesTheChosenPointsInItsOwnOrder) {
    PointCloud cloud(true, false, false);
    for (int i = 0; i < 6; ++i) cloud.InsertPoint(Vector3(i, 0, 0), Vector3(0, i, 0));
    SampledPointList sample(&cloud, std::vector<int>{4, 1, 5});
    EXPECT_EQ(sample.GetPointCount(), 3);
    EXPECT_TRUE(sample.HasNormal());
    ExpectVec(sample.GetPointCoord(0), Vector3(4, 0, 0));
    ExpectVec(sample.GetPointNormal(2), Vector3(0, 5, 0));
    EXPECT_EQ(sample.GetSourceId(1), 1);

    // A sample of a sample composes the id maps.
    const std::vector<int> ids = {2, 0};
    SampledPointList nested(&sample, ids);
    ExpectVec(nested.GetPointCoord(0), Vector3(5, 0, 0));
    ExpectVec(nested.GetPointCoord(1), Vector3(4, 0, 0));

    SampledPointList none(nullptr, ids);
    EXPECT_EQ(none.GetPointCount(), 0);
    EXPECT_FALSE(none.HasNormal());
}

}  // namespace
