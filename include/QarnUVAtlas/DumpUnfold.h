#pragma once
// Records of the UV-atlas calls: conformal flattening, isometric
// optimisation, the atlas itself, chart packing and cutting along lines.
// Each writes the call's inputs when DumpOnce() armed the recording, reads
// them back and repeats the call; the replays of the first three lay the
// result out in the plane (centred on (0.5, 0.5), longer side 1) so that it
// can be looked at as a mesh.
//
// The inputs are public members so that a replay tool can inspect or adjust
// them before Run(); copies are deep.

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/TriMesh.h>

#include <memory>
#include <string>
#include <vector>

namespace ORVO {

// UnfoldMesh::ConformalMap. File: mesh block, then the pinned ids and the pin
// coordinates, each as "count" and the values (a null vector as "0").
class ORVO_API DumpMeshUnfoldConformal : public DumpBase {
public:
    DumpMeshUnfoldConformal();
    DumpMeshUnfoldConformal(const DumpMeshUnfoldConformal& other);
    DumpMeshUnfoldConformal& operator=(const DumpMeshUnfoldConformal& other);
    ~DumpMeshUnfoldConformal() override;

    // Writes a dump file of the call's inputs (pointers may be null).
    void DumpApiInfo(const ITriMesh* triMesh, const std::vector<int>* fixedVertexIndex,
                     const std::vector<double>* fixedVertexCoord);
    ApiName GetApiName() override;
    void LoadDumpFile(const std::string& fileName) override;
    // Flattens the loaded mesh (pins passed as vectors, empty ones too); on
    // success the mesh becomes the normalised flat chart.
    int Run() override;
    // Index 0: the loaded mesh (null before loading); other indices: null.
    TriMesh* GetTriMesh(int index) override;

    std::unique_ptr<TriMesh> mpTriMesh;  // owned; null until loaded
    std::vector<int> mFixedVertexIndex;
    std::vector<double> mFixedVertexCoord;
};

// UnfoldMesh::OptimizeIsometric. File: mesh block, the layout as a real
// vector, the iteration count, the pinned ids.
class ORVO_API DumpMeshUnfoldOptimizeIsometric : public DumpBase {
public:
    DumpMeshUnfoldOptimizeIsometric();
    DumpMeshUnfoldOptimizeIsometric(const DumpMeshUnfoldOptimizeIsometric& other);
    DumpMeshUnfoldOptimizeIsometric& operator=(const DumpMeshUnfoldOptimizeIsometric& other);
    ~DumpMeshUnfoldOptimizeIsometric() override;

    void DumpApiInfo(const ITriMesh* triMesh, const std::vector<double>* uvCoords, int iterationCount,
                     const std::vector<int>* fixedVertexIndex);
    ApiName GetApiName() override;
    void LoadDumpFile(const std::string& fileName) override;
    // Improves the loaded layout in place; on success the mesh becomes the
    // normalised flat chart.
    int Run() override;
    TriMesh* GetTriMesh(int index) override;

    std::unique_ptr<TriMesh> mpTriMesh;  // owned; null until loaded
    std::vector<double> mUVCoords;
    int mIterationCount;
    std::vector<int> mFixedVertexIndex;
};

// UnfoldMesh::GenerateUVAtlas (plain form; the caller's initial split lines
// are not recorded). File: mesh block, then one line "chartCount
// needInitSplit acceptDirectlyA acceptDirectlyB".
class ORVO_API DumpMeshUnfoldGenerateUVAtlas : public DumpBase {
public:
    DumpMeshUnfoldGenerateUVAtlas();
    DumpMeshUnfoldGenerateUVAtlas(const DumpMeshUnfoldGenerateUVAtlas& other);
    DumpMeshUnfoldGenerateUVAtlas& operator=(const DumpMeshUnfoldGenerateUVAtlas& other);
    ~DumpMeshUnfoldGenerateUVAtlas() override;

    void DumpApiInfo(const ITriMesh* triMesh, int chartCount, bool needInitSplit, bool acceptDirectlyA,
                     bool acceptDirectlyB);
    ApiName GetApiName() override;
    void LoadDumpFile(const std::string& fileName) override;
    // Builds the atlas of the loaded mesh; on success the mesh is replaced by
    // the atlas itself: one vertex (u, v, 0) per texture coordinate (after
    // normalisation), one triangle per face.
    int Run() override;
    TriMesh* GetTriMesh(int index) override;

    std::unique_ptr<TriMesh> mpTriMesh;  // owned; null until loaded
    int mChartCount;
    bool mNeedInitSplit;
    bool mAcceptDirectlyA;
    bool mAcceptDirectlyB;
};

// UnfoldMesh::PackUVAtlas. File: the number of charts of the call, a mesh
// block per chart the record itself holds (none when recording a call), the
// number of coordinate lists and each list as "count" and its values.
class ORVO_API DumpMeshUnfoldPackUVAtlas : public DumpBase {
public:
    DumpMeshUnfoldPackUVAtlas();
    DumpMeshUnfoldPackUVAtlas(const DumpMeshUnfoldPackUVAtlas& other);
    DumpMeshUnfoldPackUVAtlas& operator=(const DumpMeshUnfoldPackUVAtlas& other);
    ~DumpMeshUnfoldPackUVAtlas() override;

    void DumpApiInfo(const std::vector<ITriMesh*>& triMeshes, std::vector<std::vector<double>>& uvCoords);
    ApiName GetApiName() override;
    // Reads as many mesh blocks as the chart count says.
    void LoadDumpFile(const std::string& fileName) override;
    // Packs the loaded charts; the record's lists then hold the packed layout.
    int Run() override;
    // Chart `index`, or null outside the loaded charts.
    TriMesh* GetTriMesh(int index) override;

    std::vector<std::unique_ptr<TriMesh>> mTriMeshes;  // owned charts
    std::vector<std::vector<double>> mUVCoords;
};

// SplitMesh::SplitByLines. File: mesh block, the number of lines, each line as
// "count" and its vertex ids.
class ORVO_API DumpMeshSplitByLines : public DumpBase {
public:
    DumpMeshSplitByLines();
    DumpMeshSplitByLines(const DumpMeshSplitByLines& other);
    DumpMeshSplitByLines& operator=(const DumpMeshSplitByLines& other);
    ~DumpMeshSplitByLines() override;

    void DumpApiInfo(const ITriMesh* triMesh, const std::vector<std::vector<int>>& splitLines);
    ApiName GetApiName() override;
    void LoadDumpFile(const std::string& fileName) override;
    // Cuts the loaded mesh in place along the loaded lines.
    int Run() override;
    TriMesh* GetTriMesh(int index) override;

    std::unique_ptr<TriMesh> mpTriMesh;  // owned; null until loaded
    std::vector<std::vector<int>> mSplitLines;
};

// Factories: a new default record, owned by the caller.
ORVO_API DumpBase* CreateDumpMeshUnfoldConformal();
ORVO_API DumpBase* CreateDumpMeshUnfoldOptimizeIsometric();
ORVO_API DumpBase* CreateDumpMeshUnfoldGenerateUVAtlas();
ORVO_API DumpBase* CreateDumpMeshUnfoldPackUVAtlas();
ORVO_API DumpBase* CreateDumpMeshSplitByLines();

}  // namespace ORVO
