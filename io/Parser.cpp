// The file entry points: pick the format by extension, move bytes between the
// disk and the format layer, and convert between the file data and the
// library's mesh and cloud types. Every failure is logged once here.
#include <QarnUVAtlas/Parser.h>

#include "foundation/LogLine.h"
#include "io/FileBytes.h"
#include "io/FileData.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace ORVO {
namespace {

thread_local std::string tLastError;

#ifndef QARN_HAVE_GLTF
const char* const kNoGltf = "glTF support is not built into this library (libtinygltf-dev was missing)";
#endif

enum class Format { Unknown, Obj, Ply, Stl, Off, Asc, Gltf, Glb };

std::string Extension(const std::string& fileName) {
    const size_t dot = fileName.find_last_of('.');
    const size_t slash = fileName.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return std::string();
    std::string ext = fileName.substr(dot + 1);
    for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext;
}

Format FormatOf(const std::string& fileName) {
    const std::string ext = Extension(fileName);
    if (ext == "obj") return Format::Obj;
    if (ext == "ply") return Format::Ply;
    if (ext == "stl") return Format::Stl;
    if (ext == "off") return Format::Off;
    if (ext == "asc") return Format::Asc;
    if (ext == "gltf") return Format::Gltf;
    if (ext == "glb") return Format::Glb;
    return Format::Unknown;
}

const char* const kMeshExtensions = "meshes: obj, ply, stl, off, gltf, glb";

// The folder a .gltf file's relative buffer names start from.
std::string FolderOf(const std::string& fileName) {
    const size_t slash = fileName.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : fileName.substr(0, slash);
}

int Report(int status, const char* operation, const std::string& fileName, const std::string& problem) {
    tLastError = fileName + ": " + problem;
    _LogFailure(operation, ": ", tLastError);
    return status;
}

int UnknownExtension(const char* operation, const std::string& fileName, const char* kinds) {
    const std::string ext = Extension(fileName);
    return Report(STATUS_INVALID_INPUT, operation, fileName,
                  (ext.empty() ? std::string("no file extension") : "unsupported extension \"." + ext + "\"") +
                      " (" + kinds + ")");
}

// Runs an entry point's body so that no exception (an allocation failing on
// a huge file, for instance) crosses the interface.
template <typename Body>
int Guarded(const char* operation, const std::string& fileName, Body body) {
    try {
        return body();
    } catch (const std::exception& e) {
        return Report(STATUS_FAILED, operation, fileName, std::string("cannot be processed: ") + e.what());
    }
}

bool Finite(const Vector3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// Mesh to file data, with the caller's texture coordinates checked. Returns
// an empty string or the problem.
std::string CollectMesh(const ITriMesh& mesh, const std::vector<double>* texCoords, const std::vector<int>* faceTexIds,
                        MeshFileData& data) {
    const int vertexCount = mesh.GetVertexCount();
    const int triangleCount = mesh.GetTriangleCount();
    if (vertexCount < 1 || triangleCount < 1) return "the mesh has no triangles";
    data.positions.resize(static_cast<size_t>(vertexCount));
    for (int v = 0; v < vertexCount; ++v) {
        data.positions[v] = mesh.GetVertexCoord(v);
        if (!Finite(data.positions[v])) return "vertex " + std::to_string(v) + " is not finite";
    }
    if (mesh.HasVertexNormal()) {
        data.normals.resize(static_cast<size_t>(vertexCount));
        for (int v = 0; v < vertexCount; ++v) data.normals[v] = mesh.GetVertexNormal(v);
        if (!std::all_of(data.normals.begin(), data.normals.end(), Finite)) data.normals.clear();
    }
    data.triangles.resize(3 * static_cast<size_t>(triangleCount));
    for (int f = 0; f < triangleCount; ++f) {
        int* ids = &data.triangles[3 * static_cast<size_t>(f)];
        mesh.GetTriangleVertexIds(f, ids);
        for (int k = 0; k < 3; ++k)
            if (ids[k] < 0 || ids[k] >= vertexCount)
                return "triangle " + std::to_string(f) + " refers to vertex " + std::to_string(ids[k]);
    }
    if (texCoords != nullptr) {
        if (texCoords->size() % 2 != 0) return "texCoords holds an odd number of values";
        for (double value : *texCoords)
            if (!std::isfinite(value)) return "a texture coordinate is not finite";
        data.texCoords = *texCoords;
        const long pairs = static_cast<long>(texCoords->size() / 2);
        if (faceTexIds != nullptr) {
            if (faceTexIds->size() != data.triangles.size()) return "faceTexIds does not hold 3 ids per triangle";
            for (int id : *faceTexIds)
                if (id < 0 || id >= pairs) return "faceTexIds refers to pair " + std::to_string(id) + " of " + std::to_string(pairs);
            data.triangleTexIds = *faceTexIds;
        } else {
            if (pairs != vertexCount) return "texCoords without faceTexIds must hold one pair per vertex";
            data.triangleTexIds = data.triangles;
        }
    } else if (faceTexIds != nullptr) {
        return "faceTexIds given without texCoords";
    } else if (const TriMesh* triMesh = dynamic_cast<const TriMesh*>(&mesh);
               triMesh != nullptr && triMesh->HasTriangleTexCoord()) {
        data.texCoords.resize(2 * data.triangles.size());
        data.triangleTexIds.resize(data.triangles.size());
        for (int f = 0; f < triangleCount; ++f) {
            for (int k = 0; k < 3; ++k) {
                const size_t corner = 3 * static_cast<size_t>(f) + k;
                const Vector3 t = triMesh->GetTriangleTexcoord(f, k);
                data.texCoords[2 * corner] = t.x;
                data.texCoords[2 * corner + 1] = t.y;
                data.triangleTexIds[corner] = static_cast<int>(corner);
            }
        }
    }
    return std::string();
}

void FillTriMesh(const MeshFileData& data, TriMesh& mesh) {
    mesh.Clear();
    const bool withNormals = !data.normals.empty();
    mesh.SetHasVertexNormal(false);
    mesh.ReserveVertices(static_cast<int>(data.positions.size()));
    mesh.ReserveTriangles(static_cast<int>(data.triangles.size() / 3));
    for (size_t v = 0; v < data.positions.size(); ++v) {
        if (withNormals) mesh.InsertVertex(data.positions[v], data.normals[v]);
        else mesh.InsertVertex(data.positions[v]);
    }
    if (withNormals) mesh.SetHasVertexNormal(true);
    for (size_t c = 0; c + 2 < data.triangles.size(); c += 3)
        mesh.InsertTriangle(data.triangles[c], data.triangles[c + 1], data.triangles[c + 2]);
    if (mesh.HasTriangleTexCoord() && !data.triangleTexIds.empty()) {
        for (size_t c = 0; c < data.triangleTexIds.size(); ++c) {
            const int t = data.triangleTexIds[c];
            if (t >= 0)
                mesh.SetTriangleTexcoord(static_cast<int>(c / 3), static_cast<int>(c % 3),
                                         Vector3(data.texCoords[2 * t], data.texCoords[2 * t + 1], 0.0));
        }
    }
}

std::string CollectCloud(const IPointCloud& cloud, const IGridPointCloud* grid, CloudFileData& data) {
    const int count = cloud.GetPointCount();
    if (count < 1) return "the point cloud is empty";
    data.positions.resize(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        data.positions[i] = cloud.GetPointCoord(i);
        if (!Finite(data.positions[i])) return "point " + std::to_string(i) + " is not finite";
    }
    if (cloud.HasNormal()) {
        data.normals.resize(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) data.normals[i] = cloud.GetPointNormal(i);
        if (!std::all_of(data.normals.begin(), data.normals.end(), Finite)) return "a normal is not finite";
    }
    if (cloud.HasColor()) {
        data.colors.resize(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) data.colors[i] = cloud.GetPointColor(i);
    }
    if (grid != nullptr && grid->HasGridTopology() && grid->GetWidth() > 0 && grid->GetHeight() > 0) {
        data.gridWidth = grid->GetWidth();
        data.gridHeight = grid->GetHeight();
        data.gridPoints.resize(static_cast<size_t>(data.gridWidth) * static_cast<size_t>(data.gridHeight));
        for (int y = 0; y < data.gridHeight; ++y) {
            for (int x = 0; x < data.gridWidth; ++x) {
                const int id = grid->IsGridValid(x, y) ? grid->GetGridPointId(x, y) : -1;
                data.gridPoints[static_cast<size_t>(y) * data.gridWidth + x] = id >= 0 && id < count ? id : -1;
            }
        }
    }
    return std::string();
}

// Moves file data into a cloud; with a grid, points are added cell by cell in
// the file's point order so that ids stay those of the file.
void FillPointCloud(const CloudFileData& data, PointCloud& cloud) {
    cloud.Clear();
    cloud.SetHasNormal(false);
    cloud.SetHasColor(false);
    const int count = static_cast<int>(data.positions.size());
    if (!data.gridPoints.empty()) {
        // The readers have checked that every point sits in exactly one cell.
        std::vector<int> cellOfPoint(data.positions.size(), -1);
        for (size_t cell = 0; cell < data.gridPoints.size(); ++cell)
            if (data.gridPoints[cell] >= 0) cellOfPoint[data.gridPoints[cell]] = static_cast<int>(cell);
        cloud.InitGrid(data.gridWidth, data.gridHeight);
        cloud.ReservePoint(count);
        for (int i = 0; i < count; ++i)
            cloud.SetGridCoord(cellOfPoint[i] % data.gridWidth, cellOfPoint[i] / data.gridWidth, data.positions[i]);
    } else {
        cloud.ReservePoint(count);
        for (int i = 0; i < count; ++i) cloud.InsertPoint(data.positions[i]);
    }
    if (!data.normals.empty()) {
        cloud.SetHasNormal(true);
        for (int i = 0; i < count; ++i) cloud.SetPointNormal(i, data.normals[i]);
    }
    if (!data.colors.empty()) {
        cloud.SetHasColor(true);
        for (int i = 0; i < count; ++i) cloud.SetPointColor(i, data.colors[i]);
    }
}

int ExportCloud(const char* operation, const std::string& fileName, const IPointCloud* cloud,
                const IGridPointCloud* grid) {
    tLastError.clear();
    return Guarded(operation, fileName, [&]() -> int {
        if (cloud == nullptr) return Report(STATUS_INVALID_INPUT, operation, fileName, "the point cloud is NULL");
        const Format format = FormatOf(fileName);
        if (format != Format::Obj && format != Format::Ply && format != Format::Asc)
            return UnknownExtension(operation, fileName, "point clouds: obj, ply, asc");
        CloudFileData data;
        std::string problem = CollectCloud(*cloud, grid, data);
        if (!problem.empty()) return Report(STATUS_INVALID_INPUT, operation, fileName, problem);
        std::string bytes;
        if (format == Format::Obj) _FormatObjCloud(data, bytes);
        else if (format == Format::Ply) _FormatPlyCloud(data, PLY_BINARY_LITTLE_ENDIAN, bytes);
        else _FormatAscCloud(data, bytes);
        if (int status = _WriteFileBytes(fileName, bytes, problem); status != STATUS_SUCCESS)
            return Report(status, operation, fileName, problem);
        return STATUS_SUCCESS;
    });
}

// Mesh export for both entry points; `imageFileName`, when given, names the
// picture a glTF file embeds as its texture.
int ExportMesh(const char* operation, const std::string& fileName, const ITriMesh* mesh,
               const std::vector<double>* texCoords, const std::vector<int>* faceTexIds,
               const std::string* imageFileName) {
    tLastError.clear();
    return Guarded(operation, fileName, [&]() -> int {
        if (mesh == nullptr) return Report(STATUS_INVALID_INPUT, operation, fileName, "the mesh is NULL");
        const Format format = FormatOf(fileName);
        if (format == Format::Unknown || format == Format::Asc)
            return UnknownExtension(operation, fileName, kMeshExtensions);
        const bool gltf = format == Format::Gltf || format == Format::Glb;
#ifndef QARN_HAVE_GLTF
        if (gltf) return Report(STATUS_INVALID_INPUT, operation, fileName, kNoGltf);
#endif
        std::string image, problem;
        if (imageFileName != nullptr) {
            if (!gltf)
                return Report(STATUS_INVALID_INPUT, operation, fileName,
                              "a texture image can be embedded in .gltf and .glb files only");
            if (texCoords == nullptr)
                return Report(STATUS_INVALID_INPUT, operation, fileName, "a texture image needs texture coordinates");
            if (int status = _ReadFileBytes(*imageFileName, image, problem); status != STATUS_SUCCESS)
                return Report(status, operation, fileName, "texture image " + *imageFileName + ": " + problem);
        }
        MeshFileData data;
        problem = CollectMesh(*mesh, texCoords, faceTexIds, data);
        if (!problem.empty()) return Report(STATUS_INVALID_INPUT, operation, fileName, problem);
        std::string bytes;
        switch (format) {
            case Format::Obj: _FormatObjMesh(data, bytes); break;
            case Format::Ply: _FormatPlyMesh(data, PLY_BINARY_LITTLE_ENDIAN, bytes); break;
            case Format::Stl: _FormatStlMesh(data, true, bytes); break;
            case Format::Off: _FormatOffMesh(data, bytes); break;
#ifdef QARN_HAVE_GLTF
            case Format::Gltf:
            case Format::Glb:
                if (int status = _FormatGltfMesh(data, image, format == Format::Glb, bytes, problem);
                    status != STATUS_SUCCESS)
                    return Report(status, operation, fileName, problem);
                break;
#endif
            default: break;
        }
        if (int status = _WriteFileBytes(fileName, bytes, problem); status != STATUS_SUCCESS)
            return Report(status, operation, fileName, problem);
        return STATUS_SUCCESS;
    });
}

}  // namespace

int Parser::ImportTriMesh(const std::string& fileName, TriMesh* mesh, std::vector<double>* texCoords,
                          std::vector<int>* faceTexIds) {
    static const char* const kOperation = "Parser::ImportTriMesh";
    tLastError.clear();
    const int result = Guarded(kOperation, fileName, [&]() -> int {
        if (texCoords) texCoords->clear();
        if (faceTexIds) faceTexIds->clear();
        if (mesh == nullptr) return Report(STATUS_INVALID_INPUT, kOperation, fileName, "the mesh is NULL");
        mesh->Clear();
        const Format format = FormatOf(fileName);
        if (format == Format::Unknown || format == Format::Asc)
            return UnknownExtension(kOperation, fileName, kMeshExtensions);
#ifndef QARN_HAVE_GLTF
        if (format == Format::Gltf || format == Format::Glb)
            return Report(STATUS_INVALID_INPUT, kOperation, fileName, kNoGltf);
#endif
        std::string bytes, problem;
        if (int status = _ReadFileBytes(fileName, bytes, problem); status != STATUS_SUCCESS)
            return Report(status, kOperation, fileName, problem);
        MeshFileData data;
        int status = STATUS_FAILED;
        switch (format) {
            case Format::Obj: status = _ParseObjMesh(bytes.data(), bytes.size(), data, problem); break;
            case Format::Ply: status = _ParsePlyMesh(bytes.data(), bytes.size(), data, problem); break;
            case Format::Stl: status = _ParseStlMesh(bytes.data(), bytes.size(), data, problem); break;
            case Format::Off: status = _ParseOffMesh(bytes.data(), bytes.size(), data, problem); break;
#ifdef QARN_HAVE_GLTF
            case Format::Gltf:
            case Format::Glb:
                status = _ParseGltfMesh(bytes.data(), bytes.size(), FolderOf(fileName), data, problem);
                break;
#endif
            default: break;
        }
        if (status != STATUS_SUCCESS) return Report(STATUS_FAILED, kOperation, fileName, problem);
        bytes = std::string();
        FillTriMesh(data, *mesh);
        if (texCoords && faceTexIds && !data.triangleTexIds.empty()) {
            *texCoords = std::move(data.texCoords);
            *faceTexIds = std::move(data.triangleTexIds);
        }
        return STATUS_SUCCESS;
    });
    if (result != STATUS_SUCCESS) {
        // Whatever went wrong, nothing partial is handed back.
        if (mesh) mesh->Clear();
        if (texCoords) texCoords->clear();
        if (faceTexIds) faceTexIds->clear();
    }
    return result;
}

int Parser::ExportTriMesh(const std::string& fileName, const ITriMesh* mesh, const std::vector<double>* texCoords,
                          const std::vector<int>* faceTexIds) {
    return ExportMesh("Parser::ExportTriMesh", fileName, mesh, texCoords, faceTexIds, nullptr);
}

int Parser::ExportTexturedTriMesh(const std::string& fileName, const ITriMesh* mesh,
                                  const std::vector<double>* texCoords, const std::vector<int>* faceTexIds,
                                  const std::string& imageFileName) {
    return ExportMesh("Parser::ExportTexturedTriMesh", fileName, mesh, texCoords, faceTexIds, &imageFileName);
}

int Parser::ImportPointCloud(const std::string& fileName, PointCloud* cloud) {
    static const char* const kOperation = "Parser::ImportPointCloud";
    tLastError.clear();
    const int result = Guarded(kOperation, fileName, [&]() -> int {
        if (cloud == nullptr) return Report(STATUS_INVALID_INPUT, kOperation, fileName, "the point cloud is NULL");
        cloud->Clear();
        const Format format = FormatOf(fileName);
        if (format != Format::Obj && format != Format::Ply && format != Format::Asc)
            return UnknownExtension(kOperation, fileName, "point clouds: obj, ply, asc");
        std::string bytes, problem;
        if (int status = _ReadFileBytes(fileName, bytes, problem); status != STATUS_SUCCESS)
            return Report(status, kOperation, fileName, problem);
        CloudFileData data;
        int status = STATUS_FAILED;
        if (format == Format::Obj) status = _ParseObjCloud(bytes.data(), bytes.size(), data, problem);
        else if (format == Format::Ply) status = _ParsePlyCloud(bytes.data(), bytes.size(), data, problem);
        else status = _ParseAscCloud(bytes.data(), bytes.size(), data, problem);
        if (status != STATUS_SUCCESS) return Report(STATUS_FAILED, kOperation, fileName, problem);
        FillPointCloud(data, *cloud);
        return STATUS_SUCCESS;
    });
    if (result != STATUS_SUCCESS && cloud) cloud->Clear();
    return result;
}

int Parser::ExportPointCloud(const std::string& fileName, const IPointCloud* cloud) {
    return ExportCloud("Parser::ExportPointCloud", fileName, cloud, nullptr);
}

int Parser::ExportGridPointCloud(const std::string& fileName, const IGridPointCloud* cloud) {
    return ExportCloud("Parser::ExportGridPointCloud", fileName, cloud, cloud);
}

std::string Parser::GetLastError() { return tLastError; }

}  // namespace ORVO
