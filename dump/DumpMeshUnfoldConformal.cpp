#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"

namespace ORVO {

DumpMeshUnfoldConformal::DumpMeshUnfoldConformal() = default;

DumpMeshUnfoldConformal::DumpMeshUnfoldConformal(const DumpMeshUnfoldConformal& other)
    : DumpBase(other),
      mpTriMesh(_CloneMesh(other.mpTriMesh.get())),
      mFixedVertexIndex(other.mFixedVertexIndex),
      mFixedVertexCoord(other.mFixedVertexCoord) {}

DumpMeshUnfoldConformal& DumpMeshUnfoldConformal::operator=(const DumpMeshUnfoldConformal& other) {
    if (this != &other) {
        mpTriMesh = _CloneMesh(other.mpTriMesh.get());
        mFixedVertexIndex = other.mFixedVertexIndex;
        mFixedVertexCoord = other.mFixedVertexCoord;
    }
    return *this;
}

DumpMeshUnfoldConformal::~DumpMeshUnfoldConformal() = default;

ApiName DumpMeshUnfoldConformal::GetApiName() { return API_MESH_UNFOLD_CONFORMAL; }

TriMesh* DumpMeshUnfoldConformal::GetTriMesh(int index) { return index == 0 ? mpTriMesh.get() : nullptr; }

void DumpMeshUnfoldConformal::DumpApiInfo(const ITriMesh* triMesh, const std::vector<int>* fixedVertexIndex,
                                          const std::vector<double>* fixedVertexCoord) {
    DumpFileWriter file("_Mesh_Unfold_Conformal_", GetApiName());
    DumpTriMesh(triMesh, file.Stream());
    _WriteValueList(file.Stream(), fixedVertexIndex, false);
    _WriteValueList(file.Stream(), fixedVertexCoord, false);
}

void DumpMeshUnfoldConformal::LoadDumpFile(const std::string& fileName) {
    DumpFileReader file(fileName);
    mpTriMesh.reset(new TriMesh());
    LoadTriMesh(mpTriMesh.get(), file.Stream());
    mpTriMesh->UpdateNormal();
    _ReadCountedValues(file.Stream(), mFixedVertexIndex);
    _ReadCountedValues(file.Stream(), mFixedVertexCoord);
}

int DumpMeshUnfoldConformal::Run() {
    std::vector<double> uv;
    const int status = UnfoldMesh::ConformalMap(mpTriMesh.get(), &mFixedVertexIndex, &mFixedVertexCoord, &uv);
    if (status == STATUS_SUCCESS) {
        mpTriMesh->SetHasVertexTexCoord(true);
        _NormalizeTexCoords(uv);
        _LayMeshInPlane(mpTriMesh.get(), uv);
    }
    _LogRunResult("DumpMeshUnfoldConformal", status);
    return status;
}

DumpBase* CreateDumpMeshUnfoldConformal() { return new DumpMeshUnfoldConformal(); }

}  // namespace ORVO
