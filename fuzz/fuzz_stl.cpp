// libFuzzer target: the STL reader (ASCII and binary).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ORVO::MeshFileData mesh;
    std::string error;
    int status = ORVO::_ParseStlMesh(reinterpret_cast<const char*>(data), size, mesh, error);
    fuzzcheck::CheckMesh(status, mesh, error);
    if (status == 0) {
        fuzzcheck::CheckMeshRoundTrip(
            mesh, [](const ORVO::MeshFileData& m, std::string& out) { ORVO::_FormatStlMesh(m, false, out); },
            ORVO::_ParseStlMesh);
        // Binary STL is float: values beyond float range become infinite and are refused.
        bool fitsFloat = true;
        for (const ORVO::Vector3& p : mesh.positions)
            fitsFloat = fitsFloat && std::fabs(p.x) < 3e38 && std::fabs(p.y) < 3e38 && std::fabs(p.z) < 3e38;
        if (fitsFloat)
            fuzzcheck::CheckMeshRoundTrip(
                mesh, [](const ORVO::MeshFileData& m, std::string& out) { ORVO::_FormatStlMesh(m, true, out); },
                ORVO::_ParseStlMesh);
    }
    return 0;
}
