#include <QarnUVAtlas/DumpRecord.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/SplitMesh.h>

#include "dump/DumpSupport.h"

namespace ORVO {

DumpMeshSplitByLines::DumpMeshSplitByLines() = default;

DumpMeshSplitByLines::DumpMeshSplitByLines(const DumpMeshSplitByLines& other)
    : DumpBase(other),
      mpTriMesh(_CloneMesh(other.mpTriMesh.get())),
      mSplitLines(other.mSplitLines) {}

DumpMeshSplitByLines& DumpMeshSplitByLines::operator=(const DumpMeshSplitByLines& other) {
    if (this != &other) {
        mpTriMesh = _CloneMesh(other.mpTriMesh.get());
        mSplitLines = other.mSplitLines;
    }
    return *this;
}

DumpMeshSplitByLines::~DumpMeshSplitByLines() = default;

ApiName DumpMeshSplitByLines::GetApiName() { return API_MESH_SPLIT_BY_LINES; }

TriMesh* DumpMeshSplitByLines::GetTriMesh(int index) { return index == 0 ? mpTriMesh.get() : nullptr; }

void DumpMeshSplitByLines::DumpApiInfo(const ITriMesh* triMesh, const std::vector<std::vector<int>>& splitLines) {
    DumpFileWriter file("_Mesh_Split_SplitByLine_", GetApiName());
    std::ofstream& out = file.Stream();
    DumpTriMesh(triMesh, out);
    _WriteBlocks(out, splitLines, [&out](const std::vector<int>& line) { _WriteValueList(out, &line, false); });
}

void DumpMeshSplitByLines::LoadDumpFile(const std::string& fileName) {
    DumpFileReader file(fileName);
    std::ifstream& in = file.Stream();
    mpTriMesh.reset(new TriMesh());
    LoadTriMesh(mpTriMesh.get(), in);
    mpTriMesh->UpdateNormal();
    _ReadBlocks(in, mSplitLines,
                [](std::ifstream& block, std::vector<int>& line) { _ReadCountedValues(block, line); });
}

int DumpMeshSplitByLines::Run() {
    const int status = SplitMesh::SplitByLines(mpTriMesh.get(), mSplitLines, nullptr);
    _LogRunResult("DumpMeshSplitByLines", status);
    return status;
}

DumpBase* CreateDumpMeshSplitByLines() { return new DumpMeshSplitByLines(); }

}  // namespace ORVO
