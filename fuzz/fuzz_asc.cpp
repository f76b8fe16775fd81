// libFuzzer target: the ASC point-cloud reader.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ORVO::CloudFileData cloud;
    std::string error;
    int status = ORVO::_ParseAscCloud(reinterpret_cast<const char*>(data), size, cloud, error);
    fuzzcheck::CheckCloud(status, cloud, error);
    if (status == 0) {
        std::string out;
        ORVO::_FormatAscCloud(cloud, out);
        ORVO::CloudFileData again;
        fuzzcheck::Require(ORVO::_ParseAscCloud(out.data(), out.size(), again, error) == 0, "cloud reads back");
        fuzzcheck::Require(again.positions.size() == cloud.positions.size(), "cloud keeps its points");
    }
    return 0;
}
