// The public packing entry point: reads each chart's triangles and hands the
// charts to the chart packer.

#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/UnfoldMesh.h>

#include "dump/DumpSupport.h"
#include "foundation/LogLine.h"
#include "unfold/packing/ChartPacker.h"

#include <algorithm>
#include <thread>

namespace ORVO {

int UnfoldMesh::PackUVAtlas(const std::vector<ITriMesh*>& charts, std::vector<std::vector<double>>& chartTexCoords,
                            int resolution, int gapTexels) {
    _RecordCall<DumpMeshUnfoldPackUVAtlas>(charts, chartTexCoords);
    if (charts.empty() || charts.size() != chartTexCoords.size()) {
        _LogFailure("PackUVAtlas: singleRegionList.empty() || singleRegionList.size() != texCoordList.size()");
        return STATUS_INVALID_INPUT;
    }
    if (resolution < 1 || gapTexels < 0) {
        _LogFailure("PackUVAtlas: invalid resolution or gap: ", resolution, " ", gapTexels);
        return STATUS_INVALID_INPUT;
    }
    std::vector<std::vector<int>> triangles(charts.size());
    for (size_t k = 0; k < charts.size(); ++k) {
        const ITriMesh* chart = charts[k];
        if (chart == nullptr || chartTexCoords[k].size() != 2 * static_cast<size_t>(chart->GetVertexCount())) {
            _LogFailure("PackUVAtlas: chart ", k, " is null or its coordinates do not match its vertices");
            return STATUS_INVALID_INPUT;
        }
        triangles[k].resize(3 * static_cast<size_t>(chart->GetTriangleCount()));
        for (int f = 0; f < chart->GetTriangleCount(); ++f) chart->GetTriangleVertexIds(f, &triangles[k][3 * f]);
    }
    ChartPackOptions options;
    options.resolution = resolution;
    options.gapTexels = gapTexels;
    // A second attempt runs beside the first where a second core exists.
    options.threadCount = std::max(1, std::min(2, static_cast<int>(std::thread::hardware_concurrency())));
    return _PackCharts(triangles, chartTexCoords, options, nullptr);
}

}  // namespace ORVO
