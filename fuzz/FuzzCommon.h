#pragma once
// Shared checks of the reader fuzz targets: whatever a reader accepts must be
// consistent (ids in range, finite numbers) and must survive being written
// and read again; whatever it rejects must come with a message and no data.

#include "io/FileData.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace fuzzcheck {

inline void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "fuzz check failed: %s\n", what);
        std::abort();
    }
}

inline void CheckMesh(int status, const ORVO::MeshFileData& mesh, const std::string& error) {
    if (status != 0) {
        Require(status == -3, "a reader failed with a status other than -3");
        Require(!error.empty(), "a failure without a message");
        Require(mesh.positions.empty() && mesh.triangles.empty() && mesh.texCoords.empty(), "a failure left data behind");
        return;
    }
    Require(!mesh.triangles.empty() && mesh.triangles.size() % 3 == 0, "triangle list");
    for (int id : mesh.triangles) Require(id >= 0 && static_cast<size_t>(id) < mesh.positions.size(), "vertex id in range");
    for (const ORVO::Vector3& p : mesh.positions) Require(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z), "finite position");
    if (!mesh.triangleTexIds.empty()) {
        Require(mesh.triangleTexIds.size() == mesh.triangles.size(), "one texture id per corner");
        for (int id : mesh.triangleTexIds) Require(id >= -1 && 2 * static_cast<size_t>(id + 1) <= mesh.texCoords.size(), "texture id in range");
    }
}

inline void CheckCloud(int status, const ORVO::CloudFileData& cloud, const std::string& error) {
    if (status != 0) {
        Require(status == -3, "a reader failed with a status other than -3");
        Require(!error.empty(), "a failure without a message");
        Require(cloud.positions.empty(), "a failure left data behind");
        return;
    }
    Require(!cloud.positions.empty(), "a cloud with no point");
    Require(cloud.normals.empty() || cloud.normals.size() == cloud.positions.size(), "normal count");
    Require(cloud.colors.empty() || cloud.colors.size() == cloud.positions.size(), "colour count");
    for (int id : cloud.gridPoints) Require(id == -1 || (id >= 0 && static_cast<size_t>(id) < cloud.positions.size()), "grid id");
}

// Writes accepted data with `format` and reads it back with `parse`: the
// result must be accepted and keep the triangle count.
template <typename Format, typename Parse>
void CheckMeshRoundTrip(const ORVO::MeshFileData& mesh, Format format, Parse parse) {
    std::string bytes;
    format(mesh, bytes);
    ORVO::MeshFileData again;
    std::string error;
    Require(parse(bytes.data(), bytes.size(), again, error) == 0, "written data reads back");
    Require(again.triangles.size() == mesh.triangles.size(), "round trip keeps the faces");
}

}  // namespace fuzzcheck
