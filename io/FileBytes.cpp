#include "io/FileBytes.h"

#include <QarnUVAtlas/Foundation.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace ORVO {

int _ReadFileBytes(const std::string& path, std::string& bytes, std::string& error) {
    bytes.clear();
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        error = std::string("cannot open: ") + std::strerror(errno);
        return STATUS_INVALID_INPUT;
    }
    if (!S_ISREG(info.st_mode)) {
        error = "not a regular file";
        return STATUS_INVALID_INPUT;
    }
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        error = std::string("cannot open: ") + std::strerror(errno);
        return STATUS_INVALID_INPUT;
    }
    bytes.resize(static_cast<size_t>(info.st_size));
    const size_t got = bytes.empty() ? 0 : std::fread(&bytes[0], 1, bytes.size(), file);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed || got != bytes.size()) {
        error = "cannot read the whole file";
        bytes.clear();
        return STATUS_INVALID_INPUT;
    }
    return STATUS_SUCCESS;
}

int _WriteFileBytes(const std::string& path, const std::string& bytes, std::string& error) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        error = std::string("cannot create: ") + std::strerror(errno);
        return STATUS_INVALID_INPUT;
    }
    const size_t put = bytes.empty() ? 0 : std::fwrite(bytes.data(), 1, bytes.size(), file);
    bool ok = put == bytes.size() && std::ferror(file) == 0;
    const int savedErrno = errno;
    ok = std::fclose(file) == 0 && ok;
    if (!ok) {
        error = std::string("write failed: ") + std::strerror(savedErrno != 0 ? savedErrno : errno);
        std::remove(path.c_str());
        return STATUS_FAILED;
    }
    return STATUS_SUCCESS;
}

}  // namespace ORVO
