// libFuzzer target: the OFF reader.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ORVO::MeshFileData mesh;
    std::string error;
    int status = ORVO::_ParseOffMesh(reinterpret_cast<const char*>(data), size, mesh, error);
    fuzzcheck::CheckMesh(status, mesh, error);
    if (status == 0) fuzzcheck::CheckMeshRoundTrip(mesh, ORVO::_FormatOffMesh, ORVO::_ParseOffMesh);
    return 0;
}
