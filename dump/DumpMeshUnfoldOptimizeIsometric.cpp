#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"

namespace ORVO {

DumpMeshUnfoldOptimizeIsometric::DumpMeshUnfoldOptimizeIsometric() : mIterationCount(0) {}

DumpMeshUnfoldOptimizeIsometric::DumpMeshUnfoldOptimizeIsometric(const DumpMeshUnfoldOptimizeIsometric& other)
    : DumpBase(other),
      mpTriMesh(_CloneMesh(other.mpTriMesh.get())),
      mUVCoords(other.mUVCoords),
      mIterationCount(other.mIterationCount),
      mFixedVertexIndex(other.mFixedVertexIndex) {}

DumpMeshUnfoldOptimizeIsometric& DumpMeshUnfoldOptimizeIsometric::operator=(
    const DumpMeshUnfoldOptimizeIsometric& other) {
    if (this != &other) {
        mpTriMesh = _CloneMesh(other.mpTriMesh.get());
        mUVCoords = other.mUVCoords;
        mIterationCount = other.mIterationCount;
        mFixedVertexIndex = other.mFixedVertexIndex;
    }
    return *this;
}

DumpMeshUnfoldOptimizeIsometric::~DumpMeshUnfoldOptimizeIsometric() = default;

ApiName DumpMeshUnfoldOptimizeIsometric::GetApiName() { return API_MESH_UNFOLD_OPTIMIZE_ISOMETRIC; }

TriMesh* DumpMeshUnfoldOptimizeIsometric::GetTriMesh(int index) { return index == 0 ? mpTriMesh.get() : nullptr; }

void DumpMeshUnfoldOptimizeIsometric::DumpApiInfo(const ITriMesh* triMesh, const std::vector<double>* uvCoords,
                                                  int iterationCount, const std::vector<int>* fixedVertexIndex) {
    DumpFileWriter file("_Mesh_Unfold_OptimizeIsometric_", GetApiName());
    std::ofstream& out = file.Stream();
    DumpTriMesh(triMesh, out);
    _WriteValueList(out, uvCoords, false);
    out << iterationCount << "\n";
    _WriteValueList(out, fixedVertexIndex, false);
}

void DumpMeshUnfoldOptimizeIsometric::LoadDumpFile(const std::string& fileName) {
    DumpFileReader file(fileName);
    std::ifstream& in = file.Stream();
    mpTriMesh.reset(new TriMesh());
    LoadTriMesh(mpTriMesh.get(), in);
    mpTriMesh->UpdateNormal();
    _ReadCountedValues(in, mUVCoords);
    mIterationCount = 0;
    in >> mIterationCount;
    // The ids are parsed as reals and truncated: ids written as integers
    // come back unchanged.
    std::vector<double> ids;
    _ReadCountedValues(in, ids);
    mFixedVertexIndex.assign(ids.size(), 0);
    for (size_t i = 0; i < ids.size(); ++i) mFixedVertexIndex[i] = _TruncateToInt(ids[i]);
}

int DumpMeshUnfoldOptimizeIsometric::Run() {
    const int status = UnfoldMesh::OptimizeIsometric(mpTriMesh.get(), &mUVCoords, mIterationCount, &mFixedVertexIndex);
    if (status == STATUS_SUCCESS) {
        _NormalizeTexCoords(mUVCoords);
        _LayMeshInPlane(mpTriMesh.get(), mUVCoords);
    }
    _LogRunResult("DumpMeshUnfoldOptimizeIsometric", status);
    return status;
}

DumpBase* CreateDumpMeshUnfoldOptimizeIsometric() { return new DumpMeshUnfoldOptimizeIsometric(); }

}  // namespace ORVO
