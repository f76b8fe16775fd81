#pragma once
// Point sets: the read-only list interface every point algorithm reads
// (IPointList), the editable cloud interface (IPointCloud), its image-grid
// extension (IGridPointCloud), the attributed implementation (PointCloud) and
// adaptors that present a cloud, a mesh's vertices or a subset of either as an
// IPointList. Ids are 0-based ints; accessors do not range-check unless noted.

#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Primitives.h>

#include <vector>

namespace ORVO {

class ITriMesh;

// Read-only view of a point set: count, coordinate, optional normal, colour.
// A normal is meaningful only while HasNormal() is true.
class ORVO_API IPointList {
public:
    virtual int GetPointCount() const = 0;
    virtual Vector3 GetPointCoord(int pid) const = 0;
    virtual Vector3 GetPointNormal(int pid) const = 0;
    virtual bool HasNormal() const = 0;
    // Colour with components 0..1.
    virtual Vector3 GetPointColor(int pid) const = 0;
    virtual ~IPointList() {}
};

// Editable point set with optional normals and colours. The order of the
// virtual operations is part of the binary interface: do not reorder.
class ORVO_API IPointCloud {
public:
    virtual int GetPointCount() const = 0;
    virtual Vector3 GetPointCoord(int pid) const = 0;
    virtual void SetPointCoord(int pid, const Vector3& coord) = 0;
    virtual Vector3 GetPointNormal(int pid) const = 0;
    virtual void SetPointNormal(int pid, const Vector3& normal) = 0;
    virtual Vector3 GetPointColor(int pid) const = 0;
    virtual void SetPointColor(int pid, const Vector3& color) = 0;
    virtual bool HasNormal() const = 0;
    virtual void SetHasNormal(bool has) = 0;
    virtual bool HasColor() const = 0;
    virtual void SetHasColor(bool has) = 0;
    // Appends a point and returns its id.
    virtual int InsertPoint(const Vector3& coord, const Vector3& normal) = 0;
    virtual int InsertPoint(const Vector3& coord) = 0;
    // Exchanges the data of two points.
    virtual void SwapPoint(int a, int b) = 0;
    // Removes the last `count` points.
    virtual void PopbackPoints(int count) = 0;
    // Removes every point.
    virtual void Clear() = 0;
    virtual ~IPointCloud() {}
};

// A cloud whose points may sit in the cells of a width x height image grid
// (cell index = width * y + x). The order of the virtual operations is part
// of the binary interface: do not reorder.
class ORVO_API IGridPointCloud : public IPointCloud {
public:
    // Removes every point and makes an empty width x height grid.
    virtual void InitGrid(int width, int height) = 0;
    // Crops the grid to the bounding rectangle of its occupied cells.
    virtual void RemoveOuterBlankGrids() = 0;
    virtual bool HasGridTopology() const = 0;
    virtual int GetWidth() const = 0;
    virtual int GetHeight() const = 0;
    // True when cell (x, y) holds a point.
    virtual bool IsGridValid(int x, int y) const = 0;
    // Removes the point of cell (x, y), if any; point ids are not stable.
    virtual void InvalidateGrid(int x, int y) = 0;
    // The point id of cell (x, y), or -1 for an empty cell.
    virtual int GetGridPointId(int x, int y) const = 0;
    // The cell of a point, as x and y.
    virtual void GetPointGridId(int pid, int& x, int& y) const = 0;
    // Writes the coordinate of the cell's point, creating the point when the
    // cell is empty.
    virtual void SetGridCoord(int x, int y, const Vector3& coord) = 0;
    virtual Vector3 GetGridCoord(int x, int y) const = 0;
    virtual void SetGridNormal(int x, int y, const Vector3& normal) = 0;
    virtual Vector3 GetGridNormal(int x, int y) const = 0;
    virtual void SetGridColor(int x, int y, const Vector3& color) = 0;
    virtual Vector3 GetGridColor(int x, int y) const = 0;
};

// Point cloud with optional per-point normals and colours and an optional grid
// topology. The normal (colour) list holds one entry per point while its flag
// is on; the two grid maps are valid while the grid flag is on.
//
// Also usable directly as an IPointList (the shared read operations are the
// same functions).
class ORVO_API PointCloud : public IGridPointCloud, public IPointList {
public:
    // No normals, colours or grid; empty lists.
    PointCloud();
    // Sets the normal, colour and grid flags in that order; empty lists.
    PointCloud(bool hasNormal, bool hasColor, bool hasGridTopology);
    PointCloud(const PointCloud& other) = default;
    PointCloud& operator=(const PointCloud& other) = default;
    // Moving leaves `other` empty, without grid topology.
    PointCloud(PointCloud&& other) noexcept;
    PointCloud& operator=(PointCloud&& other) noexcept;
    ~PointCloud() override;

    // ---- IPointCloud ----
    int GetPointCount() const final { return static_cast<int>(mCoords.size()); }
    Vector3 GetPointCoord(int pid) const final { return mCoords[pid]; }
    void SetPointCoord(int pid, const Vector3& coord) final { mCoords[pid] = coord; }
    // (0,0,0) when the normal list does not reach pid.
    Vector3 GetPointNormal(int pid) const override;
    // Ignored when the normal list does not reach pid.
    void SetPointNormal(int pid, const Vector3& normal) override;
    // The default colour while colours are off (or the list does not reach pid).
    Vector3 GetPointColor(int pid) const override;
    // Ignored when the colour list does not reach pid.
    void SetPointColor(int pid, const Vector3& color) override;
    bool HasNormal() const override { return mHasNormal; }
    // Turning the flag on sizes the list to the point count, keeping existing
    // entries and zero-filling new ones; turning it off keeps the list.
    void SetHasNormal(bool has) override;
    bool HasColor() const override { return mHasColor; }
    // As SetHasNormal; new colour entries take the default colour.
    void SetHasColor(bool has) override;
    // Appends coordinate and normal whatever the normal flag; grows the colour
    // list when colours are kept. Drops the grid topology first. Returns the id.
    int InsertPoint(const Vector3& coord, const Vector3& normal) override;
    // Appends the coordinate and grows the kept normal (zero) and colour
    // (default colour) lists. Drops the grid topology first. Returns the id.
    int InsertPoint(const Vector3& coord) override;
    // Swaps coordinates, every kept attribute and, with a grid, the cells.
    void SwapPoint(int a, int b) override;
    // Removes the last `count` points (all of them when count exceeds the
    // point count) and empties their cells.
    void PopbackPoints(int count) override;
    // Removes every point and the grid topology; flags for normals and colours
    // and the default colour stay.
    void Clear() override;

    // ---- IGridPointCloud ----
    // Removes every point and turns the grid flag on with width x height empty
    // cells. Non-positive sizes are logged and leave the cloud unchanged.
    void InitGrid(int width, int height) override;
    // Crops the grid to the smallest rectangle holding every occupied cell and
    // renumbers the cells; point ids do not change. A grid with no occupied
    // cell becomes 0 x 0. Nothing happens without grid topology.
    void RemoveOuterBlankGrids() override;
    bool HasGridTopology() const override { return mHasGridTopology; }
    int GetWidth() const override { return mWidth; }
    int GetHeight() const override { return mHeight; }
    // False also outside the grid or without grid topology.
    bool IsGridValid(int x, int y) const override;
    // Swaps the cell's point with the last point and pops it; empty cells are
    // left alone.
    void InvalidateGrid(int x, int y) override;
    int GetGridPointId(int x, int y) const override { return mGridToPoint[_Cell(x, y)]; }
    void GetPointGridId(int pid, int& x, int& y) const override;
    // Overwrites the coordinate of the cell's point, or appends a new point
    // for an empty cell. Logged and ignored without grid topology.
    void SetGridCoord(int x, int y, const Vector3& coord) override;
    // Getters on an empty cell return (0,0,0) (colour: the default colour);
    // setters on an empty cell are ignored.
    Vector3 GetGridCoord(int x, int y) const override;
    void SetGridNormal(int x, int y, const Vector3& normal) override;
    Vector3 GetGridNormal(int x, int y) const override;
    void SetGridColor(int x, int y, const Vector3& color) override;
    Vector3 GetGridColor(int x, int y) const override;

    // ---- further operations ----
    // Reserves room for `count` points in every kept list.
    void ReservePoint(int count);
    // Drops the grid: the flag goes off, both maps are emptied, size 0 x 0.
    void ClearGridTopologyInfo();
    // Every coordinate becomes (coord - center) * scale; nothing happens when
    // scale <= REAL_TOL. Normals are left as they are.
    void UnifyCoords(double scale, const Vector3& center);
    // Fits the cloud into a cube of edge `size` centred at the origin, writing
    // the scale and the old box centre where the pointers are not null. An
    // empty cloud or one flat to a point is left unchanged and nothing is written.
    void UnifyCoords(double size, double* scaleOut, Vector3* centerOut);

    Vector3 GetDefaultColor() const { return mDefaultColor; }
    void SetDefaultColor(const Vector3& color) { mDefaultColor = color; }
    const std::vector<Vector3>& GetPointCoords() const { return mCoords; }
    // The cell index of a point (width * y + x); valid with grid topology.
    int GetPointGridIndex(int pid) const { return mPointToGrid[pid]; }

private:
    size_t _Cell(int x, int y) const {
        return static_cast<size_t>(mWidth) * static_cast<size_t>(y) + static_cast<size_t>(x);
    }
    // Point id of cell (x, y), or -1 when empty, outside or without grid.
    int _PointOfCell(int x, int y) const;
    // Grows the kept normal and colour lists to the point count.
    void _GrowAttributes();

    bool mHasNormal;
    bool mHasColor;
    bool mHasGridTopology;
    std::vector<Vector3> mCoords;
    std::vector<Vector3> mNormals;
    std::vector<Vector3> mColors;
    std::vector<int> mGridToPoint;  // width * height entries, -1 for an empty cell
    std::vector<int> mPointToGrid;  // one cell index per point
    int mWidth;
    int mHeight;
    Vector3 mDefaultColor;
};

// Presents an IPointCloud as an IPointList. Does not own the cloud, which must
// outlive the adaptor; a null cloud reads as an empty list.
class ORVO_API PointCloudPointList : public IPointList {
public:
    explicit PointCloudPointList(const IPointCloud* cloud);
    ~PointCloudPointList() override;

    int GetPointCount() const override;
    Vector3 GetPointCoord(int pid) const override { return mpCloud->GetPointCoord(pid); }
    Vector3 GetPointNormal(int pid) const override { return mpCloud->GetPointNormal(pid); }
    bool HasNormal() const override;
    Vector3 GetPointColor(int pid) const override { return mpCloud->GetPointColor(pid); }

private:
    const IPointCloud* mpCloud;
};

// Presents a mesh's vertices as an IPointList (normals are the vertex
// normals). Meshes carry no colour through ITriMesh: the colour query logs an
// error and returns (0,0,0). Does not own the mesh; a null mesh reads as empty.
class ORVO_API TriMeshPointList : public IPointList {
public:
    explicit TriMeshPointList(const ITriMesh* mesh);
    ~TriMeshPointList() override;

    int GetPointCount() const override;
    Vector3 GetPointCoord(int pid) const override;
    Vector3 GetPointNormal(int pid) const override;
    bool HasNormal() const override;
    Vector3 GetPointColor(int pid) const override;

private:
    const ITriMesh* mpMesh;
};

// A subset of another point list: point i of the sample is point ids[i] of the
// source. Does not own the source, which must outlive the sample; a null
// source reads as empty. The ids are not checked.
class ORVO_API SampledPointList : public IPointList {
public:
    SampledPointList(const IPointList* source, const std::vector<int>& sampleIds);
    SampledPointList(const IPointList* source, std::vector<int>&& sampleIds);
    ~SampledPointList() override;

    int GetPointCount() const override;
    Vector3 GetPointCoord(int pid) const override { return mpSource->GetPointCoord(mSampleIds[pid]); }
    Vector3 GetPointNormal(int pid) const override { return mpSource->GetPointNormal(mSampleIds[pid]); }
    bool HasNormal() const override;
    Vector3 GetPointColor(int pid) const override { return mpSource->GetPointColor(mSampleIds[pid]); }

    // The source id of sample point pid.
    int GetSourceId(int pid) const { return mSampleIds[pid]; }
    const std::vector<int>& GetSampleIds() const { return mSampleIds; }

private:
    const IPointList* mpSource;
    std::vector<int> mSampleIds;
};

}  // namespace ORVO
