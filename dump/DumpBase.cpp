// The text encodings shared by every record: meshes, point clouds, grids,
// point lists, vectors and matrices.

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include "dump/DumpSupport.h"

#include <cstdint>
#include <vector>

namespace ORVO {

namespace {

// Grids are allocated before their points are read. A count read from a
// damaged file must not make us allocate a grid the file could not fill:
// beyond this many cells, a grid needs that many points per cell read.
constexpr int64_t kFreeGridCells = int64_t(1) << 24;
constexpr int64_t kCellsPerReadPoint = 64;

void WriteVector3(std::ofstream& out, const Vector3& v) { out << v.x << " " << v.y << " " << v.z; }

bool ReadVector3(std::ifstream& in, Vector3& v) {
    double x = 0.0, y = 0.0, z = 0.0;
    if (!(in >> x >> y >> z)) return false;
    v = Vector3(x, y, z);
    return true;
}

}  // namespace

int DumpBase::APICalledTime = 0;

DumpBase::~DumpBase() {}

TriMesh* DumpBase::GetTriMesh(int) { return nullptr; }

PointCloud* DumpBase::GetPointCloud(int) { return nullptr; }

void DumpBase::DumpTriMesh(const ITriMesh* mesh, std::ofstream& out) {
    if (mesh == nullptr) {
        out << "-1\n";
        return;
    }
    out.precision(kDumpRealDigits);
    const int vertexCount = mesh->GetVertexCount();
    out << vertexCount << "\n";
    for (int v = 0; v < vertexCount; ++v) {
        WriteVector3(out, mesh->GetVertexCoord(v));
        out << "\n";
    }
    const int triangleCount = mesh->GetTriangleCount();
    out << triangleCount << "\n";
    for (int f = 0; f < triangleCount; ++f) {
        int ids[3];
        mesh->GetTriangleVertexIds(f, ids);
        out << ids[0] << " " << ids[1] << " " << ids[2] << "\n";
    }
}

void DumpBase::LoadTriMesh(ITriMesh* mesh, std::ifstream& in) {
    int vertexCount = 0;
    in >> vertexCount;
    if (vertexCount < 0) return;
    int loaded = 0;
    for (; loaded < vertexCount; ++loaded) {
        Vector3 p;
        if (!ReadVector3(in, p)) break;
        mesh->InsertVertex(p);
    }
    int triangleCount = 0;
    in >> triangleCount;
    for (int f = 0; f < triangleCount; ++f) {
        int a = 0, b = 0, c = 0;
        if (!(in >> a >> b >> c)) break;
        // Every algorithm may index vertices without a range check, so a
        // damaged file must not leave a triangle pointing outside the mesh.
        if (a < 0 || b < 0 || c < 0 || a >= loaded || b >= loaded || c >= loaded) continue;
        mesh->InsertTriangle(a, b, c);
    }
}

void DumpBase::DumpPointCloud(const IPointCloud* cloud, bool withNormal, bool withColor, std::ofstream& out) {
    if (cloud == nullptr) {
        out << "-1\n";
        return;
    }
    out.precision(kDumpRealDigits);
    const int count = cloud->GetPointCount();
    out << count << " " << (withNormal ? 1 : 0) << "\n";
    for (int i = 0; i < count; ++i) {
        WriteVector3(out, cloud->GetPointCoord(i));
        if (withNormal) {
            out << " ";
            WriteVector3(out, cloud->GetPointNormal(i));
        }
        out << "\n";
    }
    out << (withColor ? 1 : 0) << "\n";
    if (!withColor) return;
    for (int i = 0; i < count; ++i) {
        WriteVector3(out, cloud->GetPointColor(i));
        out << "\n";
    }
}

void DumpBase::LoadPointCloud(IPointCloud* cloud, std::ifstream& in) {
    int count = 0, normalFlag = 0;
    in >> count >> normalFlag;
    cloud->SetHasNormal(normalFlag != 0);
    int loaded = 0;
    for (; loaded < count; ++loaded) {
        Vector3 p, n;
        if (!ReadVector3(in, p)) break;
        if (normalFlag != 0) {
            if (!ReadVector3(in, n)) break;
            cloud->InsertPoint(p, n);
        } else {
            cloud->InsertPoint(p);
        }
    }
    int colorFlag = 0;
    in >> colorFlag;
    if (colorFlag == 0) return;
    cloud->SetHasColor(true);
    for (int i = 0; i < loaded; ++i) {
        Vector3 color;
        if (!ReadVector3(in, color)) break;
        cloud->SetPointColor(i, color);
    }
}

void DumpBase::DumpGridPointCloud(const IGridPointCloud* cloud, bool withNormal, std::ofstream& out) {
    if (cloud == nullptr) {
        out << "-1\n";
        return;
    }
    out.precision(kDumpRealDigits);
    const int count = cloud->GetPointCount();
    out << count << "\n" << cloud->GetWidth() << " " << cloud->GetHeight() << "\n" << (withNormal ? 1 : 0) << "\n";
    for (int i = 0; i < count; ++i) {
        int x = 0, y = 0;
        cloud->GetPointGridId(i, x, y);
        out << x << " " << y << " ";
        WriteVector3(out, cloud->GetPointCoord(i));
        if (withNormal) {
            out << " ";
            WriteVector3(out, cloud->GetPointNormal(i));
        }
        out << "\n";
    }
}

void DumpBase::LoadGridPointCloud(IGridPointCloud* cloud, std::ifstream& in) {
    int count = 0, width = 0, height = 0, normalFlag = 0;
    in >> count >> width >> height >> normalFlag;
    struct GridPoint {
        int x, y;
        Vector3 coord, normal;
    };
    std::vector<GridPoint> points;
    for (int i = 0; i < count; ++i) {
        GridPoint p{0, 0, Vector3(), Vector3()};
        if (!(in >> p.x >> p.y) || !ReadVector3(in, p.coord)) break;
        if (normalFlag != 0 && !ReadVector3(in, p.normal)) break;
        points.push_back(p);
    }
    const int64_t cells = static_cast<int64_t>(width) * static_cast<int64_t>(height);
    if (width <= 0 || height <= 0) return;
    if (cells > kFreeGridCells && cells > kCellsPerReadPoint * static_cast<int64_t>(points.size())) return;
    cloud->InitGrid(width, height);
    cloud->SetHasNormal(normalFlag != 0);
    for (const GridPoint& p : points) {
        if (p.x < 0 || p.y < 0 || p.x >= width || p.y >= height) continue;
        cloud->SetGridCoord(p.x, p.y, p.coord);
        if (normalFlag != 0) cloud->SetGridNormal(p.x, p.y, p.normal);
    }
}

void DumpBase::DumpPointList(const IPointList* points, bool withNormal, std::ofstream& out) {
    if (points == nullptr) {
        out << "-1\n";
        return;
    }
    out.precision(kDumpRealDigits);
    const int count = points->GetPointCount();
    out << count << "\n";
    for (int i = 0; i < count; ++i) {
        WriteVector3(out, points->GetPointCoord(i));
        if (withNormal) {
            out << " ";
            WriteVector3(out, points->GetPointNormal(i));
        }
        out << "\n";
    }
}

void DumpBase::LoadStlIntVector(std::vector<int>& values, std::ifstream& in) { _ReadCountedValues(in, values); }

void DumpBase::DumpStlIntVector(const std::vector<int>& values, std::ofstream& out) {
    _WriteValueList(out, &values, true);
}

void DumpBase::LoadStlRealVector(std::vector<double>& values, std::ifstream& in) { _ReadCountedValues(in, values); }

void DumpBase::DumpStlRealVector(const std::vector<double>& values, std::ofstream& out) {
    _WriteValueList(out, &values, true);
}

void DumpBase::LoadStlVector3Vector(std::vector<Vector3>& values, std::ifstream& in) {
    _ReadCountedValues(in, values, ReadVector3);
}

void DumpBase::DumpStlVector3Vector(const std::vector<Vector3>& values, std::ofstream& out) {
    out << static_cast<uint64_t>(values.size()) << "\n";
    for (const Vector3& v : values) {
        WriteVector3(out, v);
        out << " ";
    }
    out << "\n";
}

void DumpBase::LoadStlColor4Vector(std::vector<Color4>& values, std::ifstream& in) {
    _ReadCountedValues(in, values, [](std::ifstream& from, Color4& color) {
        int packed = 0;
        if (!(from >> packed)) return false;
        color = IntToColor4(packed);
        return true;
    });
}

void DumpBase::DumpStlColor4Vector(const std::vector<Color4>& values, std::ofstream& out) {
    out << static_cast<uint64_t>(values.size()) << "\n";
    for (const Color4& c : values) out << Color4ToInt(c) << " ";
}

void DumpBase::LoadMatrix4x4(Matrix4x4& matrix, std::ifstream& in) const {
    for (int i = 0; i < 16; ++i) {
        double value = 0.0;
        if (!(in >> value)) break;
        if (matrix.IsEmpty()) matrix.Init(0.0);
        matrix.SetValue(i, value);
    }
}

void DumpBase::DumpMatrix4x4(const Matrix4x4& matrix, std::ofstream& out) const {
    // An empty matrix reads as zeros; writing them directly spares the log
    // the sixteen complaints GetValue makes about an empty matrix.
    const double* values = matrix.GetData();
    for (int i = 0; i < 16; ++i) out << (values != nullptr ? values[i] : 0.0) << " ";
    out << "\n";
}

}  // namespace ORVO
