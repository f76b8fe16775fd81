#pragma once
// Whole-file reading and writing for the format layer: a reader parses from
// memory, a writer formats into memory, and only these two touch the disk.

#include <string>

namespace ORVO {

// Reads the regular file `path` into `bytes`. Returns 0, or -2 with `error`
// set when it is missing, not a regular file or unreadable.
int _ReadFileBytes(const std::string& path, std::string& bytes, std::string& error);

// Writes `bytes` to `path`, replacing it. Returns 0, -2 when the file cannot
// be created, -3 when writing fails (the partial file is removed).
int _WriteFileBytes(const std::string& path, const std::string& bytes, std::string& error);

}  // namespace ORVO
