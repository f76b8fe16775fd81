// qarnuv stats ATLAS: the quality figures of any atlas file, so that the
// output of different tools can be compared on the same terms.
#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Parser.h>

#include <cstdio>

namespace qarnuv {

int RunStats(const StatsCommand& command) {
    ORVO::TriMesh mesh;
    std::vector<double> texCoords;
    std::vector<int> faceTexIds;
    if (ORVO::Parser::ImportTriMesh(command.atlas, &mesh, &texCoords, &faceTexIds) != ORVO::STATUS_SUCCESS) {
        PrintError(ORVO::Parser::GetLastError());
        return 1;
    }
    if (faceTexIds.empty()) {
        PrintError(command.atlas + ": no texture coordinates, so no atlas to measure");
        return 1;
    }
    int missing = 0;
    for (int id : faceTexIds) missing += id < 0;
    const AtlasQuality q = MeasureAtlas(mesh, texCoords, faceTexIds, command.overlaps, nullptr);
    if (command.json) {
        std::printf("{\"atlas\":%s,\"faces\":%d,\"corners_without_uv\":%d,\"charts\":%d,", JsonString(command.atlas).c_str(),
                    q.faces, missing, q.charts);
        if (q.overlapMeasured) std::printf("\"overlapping_faces\":%d,\"overlap_exact\":%s,", q.overlappingFaces,
                                           q.overlapExact ? "true" : "false");
        std::printf("\"flipped_faces\":%d,\"zero_area_faces\":%d,\"utilization\":%.6g,\"stretch_l2\":%.6g,"
                    "\"stretch_linf\":%.6g,\"in_unit_square\":%s}\n",
                    q.flippedFaces, q.zeroAreaFaces, q.utilization, q.stretchL2, q.stretchLinf,
                    q.inUnitSquare ? "true" : "false");
        return 0;
    }
    std::printf("atlas              %s\n", command.atlas.c_str());
    std::printf("faces              %d\n", q.faces);
    if (missing > 0) std::printf("corners without uv %d\n", missing);
    std::printf("charts             %d\n", q.charts);
    if (q.overlapMeasured)
        std::printf("overlapping faces  %d%s\n", q.overlappingFaces, q.overlapExact ? "" : " (at least; test budget ran out)");
    std::printf("flipped faces      %d\n", q.flippedFaces);
    std::printf("zero-area faces    %d\n", q.zeroAreaFaces);
    std::printf("utilization        %.4f\n", q.utilization);
    std::printf("stretch L2         %.4f\n", q.stretchL2);
    std::printf("stretch Linf       %.4f\n", q.stretchLinf);
    std::printf("inside unit square %s\n", q.inUnitSquare ? "yes" : "no");
    return 0;
}

}  // namespace qarnuv
