// The shared part of the generic records: file framing, the replay's log
// line, and the blocks whose null case the records read back as empty.

#include <QarnUVAtlas/DumpRecord.h>

#include "dump/DumpSupport.h"

#include <string>

namespace ORVO {

namespace {

// The name without its "Dump" prefix, between underscores: the file tag.
std::string TagOf(const char* className) {
    std::string name = className;
    if (name.compare(0, 4, "Dump") == 0) name.erase(0, 4);
    return "_" + name + "_";
}

// True, with the "-1" consumed, when the next block is a null one. Other
// blocks are left to be read from where they start.
bool NextBlockIsNull(std::ifstream& in) {
    const std::streampos start = in.tellg();
    int count = 0;
    if (!(in >> count)) return false;
    if (count == -1) return true;
    in.seekg(start);
    return false;
}

}  // namespace

void DumpCallBase::WriteCall(const char* className, ApiName api,
                             const std::function<void(std::ofstream&)>& payload) {
    DumpFileWriter file(TagOf(className).c_str(), api);
    file.Stream().precision(kDumpRealDigits);
    payload(file.Stream());
}

void DumpCallBase::ReadCall(const std::string& fileName, const std::function<void(std::ifstream&)>& payload) {
    DumpFileReader file(fileName);
    payload(file.Stream());
}

void DumpCallBase::LogRun(const char* className, int status) { _LogRunResult(className, status); }

void DumpCallBase::ReadMesh(std::ifstream& in, DumpOwned<TriMesh>& mesh) {
    mesh.reset(new TriMesh());
    LoadTriMesh(mesh.get(), in);
    mesh.get()->UpdateNormal();
}

void DumpCallBase::ReadCloud(std::ifstream& in, DumpOwned<PointCloud>& cloud, bool grid) {
    cloud.reset(new PointCloud());
    if (NextBlockIsNull(in)) return;
    if (grid) {
        LoadGridPointCloud(cloud.get(), in);
    } else {
        LoadPointCloud(cloud.get(), in);
    }
}

void DumpCallBase::WriteCloud(std::ofstream& out, const IPointCloud* cloud) {
    DumpPointCloud(cloud, cloud != nullptr && cloud->HasNormal(), cloud != nullptr && cloud->HasColor(), out);
}

void DumpCallBase::WriteGrid(std::ofstream& out, const IGridPointCloud* grid) {
    DumpGridPointCloud(grid, grid != nullptr && grid->HasNormal(), out);
}

void DumpCallBase::WriteValues(std::ofstream& out, const std::vector<int>& values) { DumpStlIntVector(values, out); }
void DumpCallBase::WriteValues(std::ofstream& out, const std::vector<double>& values) {
    DumpStlRealVector(values, out);
}
void DumpCallBase::WriteValues(std::ofstream& out, const std::vector<Vector3>& values) {
    DumpStlVector3Vector(values, out);
}
void DumpCallBase::WriteValues(std::ofstream& out, const std::vector<Color4>& values) {
    DumpStlColor4Vector(values, out);
}
void DumpCallBase::ReadValues(std::ifstream& in, std::vector<int>& values) { LoadStlIntVector(values, in); }
void DumpCallBase::ReadValues(std::ifstream& in, std::vector<double>& values) { LoadStlRealVector(values, in); }
void DumpCallBase::ReadValues(std::ifstream& in, std::vector<Vector3>& values) { LoadStlVector3Vector(values, in); }
void DumpCallBase::ReadValues(std::ifstream& in, std::vector<Color4>& values) { LoadStlColor4Vector(values, in); }

}  // namespace ORVO
