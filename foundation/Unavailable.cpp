#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Unavailable.h>

namespace ORVO {

namespace {

// The one body behind every entry point this build leaves out. The entry
// points leave their parameters unnamed: nothing may be read or written, and
// nothing is logged.
int NotAvailable() { return STATUS_NOT_AVAILABLE; }

}  // namespace

int MeshFilter::LaplaceSmooth(ITriMesh*, int) { return NotAvailable(); }
int MeshFilter::EnhanceDetail(ITriMesh*, double, int) { return NotAvailable(); }

int MeshSimplification::QuadricSimplify(ITriMesh*, int) { return NotAvailable(); }
int MeshSimplification::SimplifyByRemovingVertex(ITriMesh*, const std::vector<bool>*) {
    return NotAvailable();
}

int MeshSubdivision::LoopSubdivide(ITriMesh*, int) { return NotAvailable(); }
int MeshSubdivision::Densify(ITriMesh*, double) { return NotAvailable(); }

int MeshMeasure::ComputePrincipalCurvature(const ITriMesh*, std::vector<double>*) {
    return NotAvailable();
}
int MeshMeasure::ComputeThickness(const ITriMesh*, std::vector<double>*) { return NotAvailable(); }

int PointCloudConsolidation::CalculateNormal(IPointCloud*, bool, int) { return NotAvailable(); }
int PointCloudConsolidation::SmoothNormal(IPointCloud*, int) { return NotAvailable(); }
int PointCloudConsolidation::CalculateIsolation(const IPointCloud*, std::vector<double>*, int) {
    return NotAvailable();
}

int Registration::ICP(const IPointCloud*, const IPointCloud*, std::vector<double>*) {
    return NotAvailable();
}
int Registration::AlignPointCloud(const IPointCloud*, const IPointCloud*, std::vector<double>*) {
    return NotAvailable();
}

int Sampling::UniformSamplePointCloud(const IPointCloud*, int, std::vector<int>*) {
    return NotAvailable();
}
int Sampling::UniformSampleMesh(const ITriMesh*, int, std::vector<double>*) {
    return NotAvailable();
}

int DetectShape::DetectPrimitive(const IPointCloud*, std::vector<int>*) { return NotAvailable(); }

}  // namespace ORVO
