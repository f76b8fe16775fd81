// libFuzzer target: the PLY readers (mesh and point cloud, all encodings).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* bytes = reinterpret_cast<const char*>(data);
    ORVO::MeshFileData mesh;
    std::string error;
    int status = ORVO::_ParsePlyMesh(bytes, size, mesh, error);
    fuzzcheck::CheckMesh(status, mesh, error);
    if (status == 0) {
        for (ORVO::PlyEncoding encoding : {ORVO::PLY_ASCII, ORVO::PLY_BINARY_LITTLE_ENDIAN, ORVO::PLY_BINARY_BIG_ENDIAN})
            fuzzcheck::CheckMeshRoundTrip(
                mesh, [encoding](const ORVO::MeshFileData& m, std::string& out) { ORVO::_FormatPlyMesh(m, encoding, out); },
                ORVO::_ParsePlyMesh);
    }
    ORVO::CloudFileData cloud;
    error.clear();
    status = ORVO::_ParsePlyCloud(bytes, size, cloud, error);
    fuzzcheck::CheckCloud(status, cloud, error);
    if (status == 0) {
        std::string out;
        ORVO::_FormatPlyCloud(cloud, ORVO::PLY_BINARY_LITTLE_ENDIAN, out);
        ORVO::CloudFileData again;
        fuzzcheck::Require(ORVO::_ParsePlyCloud(out.data(), out.size(), again, error) == 0, "cloud reads back");
        fuzzcheck::Require(again.positions.size() == cloud.positions.size(), "cloud keeps its points");
    }
    return 0;
}
