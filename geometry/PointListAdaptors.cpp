// Adaptors presenting clouds, mesh vertices and samples as IPointList.

#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

#include <utility>

namespace ORVO {

// ---- PointCloudPointList -------------------------------------------------------------

PointCloudPointList::PointCloudPointList(const IPointCloud* cloud) : mpCloud(cloud) {}

PointCloudPointList::~PointCloudPointList() {}

int PointCloudPointList::GetPointCount() const { return mpCloud ? mpCloud->GetPointCount() : 0; }

bool PointCloudPointList::HasNormal() const { return mpCloud && mpCloud->HasNormal(); }

// ---- TriMeshPointList ----------------------------------------------------------------

TriMeshPointList::TriMeshPointList(const ITriMesh* mesh) : mpMesh(mesh) {}

TriMeshPointList::~TriMeshPointList() {}

int TriMeshPointList::GetPointCount() const { return mpMesh ? mpMesh->GetVertexCount() : 0; }

Vector3 TriMeshPointList::GetPointCoord(int pid) const { return mpMesh->GetVertexCoord(pid); }

Vector3 TriMeshPointList::GetPointNormal(int pid) const { return mpMesh->GetVertexNormal(pid); }

bool TriMeshPointList::HasNormal() const { return mpMesh && mpMesh->HasVertexNormal(); }

Vector3 TriMeshPointList::GetPointColor(int) const {
    _LogLine("Error: TriMeshPointList::GetPointColor has no implementation");
    return Vector3();
}

// ---- SampledPointList ----------------------------------------------------------------

SampledPointList::SampledPointList(const IPointList* source, const std::vector<int>& sampleIds)
    : mpSource(source), mSampleIds(source ? sampleIds : std::vector<int>()) {}

SampledPointList::SampledPointList(const IPointList* source, std::vector<int>&& sampleIds)
    : mpSource(source), mSampleIds(std::move(sampleIds)) {
    if (!mpSource) mSampleIds.clear();
}

SampledPointList::~SampledPointList() {}

int SampledPointList::GetPointCount() const { return static_cast<int>(mSampleIds.size()); }

bool SampledPointList::HasNormal() const { return mpSource && mpSource->HasNormal(); }

}  // namespace ORVO
