// libFuzzer target: the glTF reader (GLB and JSON containers alike).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ORVO::MeshFileData mesh;
    std::string error;
    // No folder: a file naming external buffers is refused, never opened.
    int status = ORVO::_ParseGltfMesh(reinterpret_cast<const char*>(data), size, "", mesh, error);
    fuzzcheck::CheckMesh(status, mesh, error);
    bool fitsFloat = status == 0;
    for (const ORVO::Vector3& p : mesh.positions)
        fitsFloat = fitsFloat && std::fabs(p.x) < 3e38 && std::fabs(p.y) < 3e38 && std::fabs(p.z) < 3e38;
    // glTF keeps float positions: values beyond float range cannot travel.
    if (fitsFloat)
        fuzzcheck::CheckMeshRoundTrip(
            mesh,
            [](const ORVO::MeshFileData& m, std::string& out) {
                std::string problem;
                fuzzcheck::Require(ORVO::_FormatGltfMesh(m, std::string(), true, out, problem) == 0, "GLB writer");
            },
            [](const char* bytes, size_t n, ORVO::MeshFileData& m, std::string& e) {
                return ORVO::_ParseGltfMesh(bytes, n, "", m, e);
            });
    return 0;
}
