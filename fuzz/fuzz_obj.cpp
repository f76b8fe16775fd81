// libFuzzer target: the OBJ readers (mesh and point cloud).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    ORVO::MeshFileData mesh;
    std::string error;
    int status = ORVO::_ParseObjMesh(text, size, mesh, error);
    fuzzcheck::CheckMesh(status, mesh, error);
    if (status == 0) fuzzcheck::CheckMeshRoundTrip(mesh, ORVO::_FormatObjMesh, ORVO::_ParseObjMesh);
    ORVO::CloudFileData cloud;
    error.clear();
    fuzzcheck::CheckCloud(ORVO::_ParseObjCloud(text, size, cloud, error), cloud, error);
    return 0;
}
