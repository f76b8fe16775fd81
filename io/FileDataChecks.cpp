// Checks every reader runs before it hands data back, so that no format can
// deliver a mesh whose ids point outside its arrays or whose numbers are not
// finite.
#include "io/FileData.h"

#include <algorithm>
#include <cmath>

namespace ORVO {
namespace {

bool Finite(const Vector3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// Index of the first non-finite entry, or -1.
long FirstNonFinite(const std::vector<Vector3>& values) {
    for (size_t i = 0; i < values.size(); ++i)
        if (!Finite(values[i])) return static_cast<long>(i);
    return -1;
}

}  // namespace

int _ValidateMeshData(const MeshFileData& mesh, std::string& error) {
    if (mesh.triangles.empty()) {
        error = "no faces";
        return STATUS_FAILED;
    }
    if (mesh.positions.size() > static_cast<size_t>(INT_LARGE) || mesh.triangles.size() / 3 > static_cast<size_t>(INT_LARGE)) {
        error = "more elements than a mesh can index";
        return STATUS_FAILED;
    }
    if (long bad = FirstNonFinite(mesh.positions); bad >= 0) {
        error = "vertex " + std::to_string(bad) + " has a coordinate that is not a finite number";
        return STATUS_FAILED;
    }
    if (!mesh.normals.empty() && mesh.normals.size() != mesh.positions.size()) {
        error = "normal count differs from vertex count";
        return STATUS_FAILED;
    }
    if (long bad = FirstNonFinite(mesh.normals); bad >= 0) {
        error = "normal " + std::to_string(bad) + " is not finite";
        return STATUS_FAILED;
    }
    const int vertexCount = static_cast<int>(mesh.positions.size());
    for (size_t c = 0; c < mesh.triangles.size(); ++c) {
        if (mesh.triangles[c] < 0 || mesh.triangles[c] >= vertexCount) {
            error = "face " + std::to_string(c / 3) + " refers to vertex " + std::to_string(mesh.triangles[c]) +
                    " of " + std::to_string(vertexCount);
            return STATUS_FAILED;
        }
    }
    if (mesh.texCoords.size() % 2 != 0) {
        error = "odd number of texture coordinate values";
        return STATUS_FAILED;
    }
    for (size_t i = 0; i < mesh.texCoords.size(); ++i) {
        if (!std::isfinite(mesh.texCoords[i])) {
            error = "texture coordinate " + std::to_string(i / 2) + " is not finite";
            return STATUS_FAILED;
        }
    }
    if (!mesh.triangleTexIds.empty()) {
        if (mesh.triangleTexIds.size() != mesh.triangles.size()) {
            error = "texture ids do not cover every face corner";
            return STATUS_FAILED;
        }
        const long pairs = static_cast<long>(mesh.texCoords.size() / 2);
        for (size_t c = 0; c < mesh.triangleTexIds.size(); ++c) {
            if (mesh.triangleTexIds[c] < -1 || mesh.triangleTexIds[c] >= pairs) {
                error = "face " + std::to_string(c / 3) + " refers to texture coordinate " +
                        std::to_string(mesh.triangleTexIds[c]) + " of " + std::to_string(pairs);
                return STATUS_FAILED;
            }
        }
    }
    return STATUS_SUCCESS;
}

int _ValidateCloudData(const CloudFileData& cloud, std::string& error) {
    if (cloud.positions.empty()) {
        error = "no points";
        return STATUS_FAILED;
    }
    if (cloud.positions.size() > static_cast<size_t>(INT_LARGE)) {
        error = "more points than a cloud can index";
        return STATUS_FAILED;
    }
    if (long bad = FirstNonFinite(cloud.positions); bad >= 0) {
        error = "point " + std::to_string(bad) + " has a coordinate that is not a finite number";
        return STATUS_FAILED;
    }
    if ((!cloud.normals.empty() && cloud.normals.size() != cloud.positions.size()) ||
        (!cloud.colors.empty() && cloud.colors.size() != cloud.positions.size())) {
        error = "attribute count differs from point count";
        return STATUS_FAILED;
    }
    if (long bad = FirstNonFinite(cloud.normals); bad >= 0) {
        error = "normal " + std::to_string(bad) + " is not finite";
        return STATUS_FAILED;
    }
    if (long bad = FirstNonFinite(cloud.colors); bad >= 0) {
        error = "colour " + std::to_string(bad) + " is not finite";
        return STATUS_FAILED;
    }
    if (!cloud.gridPoints.empty()) {
        const size_t cells = static_cast<size_t>(cloud.gridWidth) * static_cast<size_t>(cloud.gridHeight);
        if (cloud.gridWidth <= 0 || cloud.gridHeight <= 0 || cloud.gridPoints.size() != cells) {
            error = "grid size does not match its cell count";
            return STATUS_FAILED;
        }
        // A grid holds every point exactly once, so that point ids can follow the file.
        const int count = static_cast<int>(cloud.positions.size());
        std::vector<char> seen(cloud.positions.size(), 0);
        for (size_t i = 0; i < cells; ++i) {
            const int id = cloud.gridPoints[i];
            if (id < -1 || id >= count) {
                error = "grid cell " + std::to_string(i) + " refers to point " + std::to_string(id) + " of " +
                        std::to_string(count);
                return STATUS_FAILED;
            }
            if (id >= 0 && seen[id]++) {
                error = "the grid lists point " + std::to_string(id) + " twice";
                return STATUS_FAILED;
            }
        }
        const auto missing = std::find(seen.begin(), seen.end(), 0);
        if (missing != seen.end()) {
            error = "point " + std::to_string(missing - seen.begin()) + " is in no grid cell";
            return STATUS_FAILED;
        }
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
