#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"

namespace ORVO {

DumpMeshUnfoldGenerateUVAtlas::DumpMeshUnfoldGenerateUVAtlas()
    : mChartCount(0), mNeedInitSplit(false), mAcceptDirectlyA(false), mAcceptDirectlyB(false) {}

DumpMeshUnfoldGenerateUVAtlas::DumpMeshUnfoldGenerateUVAtlas(const DumpMeshUnfoldGenerateUVAtlas& other)
    : DumpBase(other),
      mpTriMesh(_CloneMesh(other.mpTriMesh.get())),
      mChartCount(other.mChartCount),
      mNeedInitSplit(other.mNeedInitSplit),
      mAcceptDirectlyA(other.mAcceptDirectlyA),
      mAcceptDirectlyB(other.mAcceptDirectlyB) {}

DumpMeshUnfoldGenerateUVAtlas& DumpMeshUnfoldGenerateUVAtlas::operator=(const DumpMeshUnfoldGenerateUVAtlas& other) {
    if (this != &other) {
        mpTriMesh = _CloneMesh(other.mpTriMesh.get());
        mChartCount = other.mChartCount;
        mNeedInitSplit = other.mNeedInitSplit;
        mAcceptDirectlyA = other.mAcceptDirectlyA;
        mAcceptDirectlyB = other.mAcceptDirectlyB;
    }
    return *this;
}

DumpMeshUnfoldGenerateUVAtlas::~DumpMeshUnfoldGenerateUVAtlas() = default;

ApiName DumpMeshUnfoldGenerateUVAtlas::GetApiName() { return API_MESH_UNFOLD_GENERATE_UV_ATLAS; }

TriMesh* DumpMeshUnfoldGenerateUVAtlas::GetTriMesh(int index) { return index == 0 ? mpTriMesh.get() : nullptr; }

void DumpMeshUnfoldGenerateUVAtlas::DumpApiInfo(const ITriMesh* triMesh, int chartCount, bool needInitSplit,
                                                bool acceptDirectlyA, bool acceptDirectlyB) {
    DumpFileWriter file("_Mesh_Unfold_GenerateUVAtlas_", GetApiName());
    std::ofstream& out = file.Stream();
    DumpTriMesh(triMesh, out);
    out << chartCount << " " << needInitSplit << " " << acceptDirectlyA << " " << acceptDirectlyB << "\n";
}

void DumpMeshUnfoldGenerateUVAtlas::LoadDumpFile(const std::string& fileName) {
    DumpFileReader file(fileName);
    std::ifstream& in = file.Stream();
    mpTriMesh.reset(new TriMesh());
    LoadTriMesh(mpTriMesh.get(), in);
    mpTriMesh->UpdateNormal();
    mChartCount = 0;
    mNeedInitSplit = mAcceptDirectlyA = mAcceptDirectlyB = false;
    in >> mChartCount >> mNeedInitSplit >> mAcceptDirectlyA >> mAcceptDirectlyB;
}

int DumpMeshUnfoldGenerateUVAtlas::Run() {
    std::vector<double> texCoords;
    std::vector<int> faceTexIds;
    const int status = UnfoldMesh::GenerateUVAtlas(mpTriMesh.get(), mChartCount, &texCoords, &faceTexIds,
                                                   mNeedInitSplit, mAcceptDirectlyA, mAcceptDirectlyB, nullptr);
    if (status == STATUS_SUCCESS) {
        _NormalizeTexCoords(texCoords);
        mpTriMesh->Clear();
        const size_t pairs = texCoords.size() / 2;
        for (size_t i = 0; i < pairs; ++i) mpTriMesh->InsertVertex(Vector3(texCoords[2 * i], texCoords[2 * i + 1], 0.0));
        for (size_t c = 0; c + 2 < faceTexIds.size(); c += 3)
            mpTriMesh->InsertTriangle(faceTexIds[c], faceTexIds[c + 1], faceTexIds[c + 2]);
    }
    _LogRunResult("DumpMeshUnfoldGenerateUVAtlas", status);
    return status;
}

DumpBase* CreateDumpMeshUnfoldGenerateUVAtlas() { return new DumpMeshUnfoldGenerateUVAtlas(); }

}  // namespace ORVO
