#pragma once
// File helpers for tests that write and read real files: a scratch folder
// removed with its contents, and whole-file reading.

#include <cstdio>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace testfiles {

// A fresh folder under /tmp, removed with every file in it when the object goes.
class ScratchDir {
public:
    ScratchDir() {
        char pattern[] = "/tmp/qarn_test_XXXXXX";
        const char* made = mkdtemp(pattern);
        mPath = made ? made : "/tmp";
    }
    ~ScratchDir() {
        if (DIR* dir = opendir(mPath.c_str())) {
            while (dirent* entry = readdir(dir)) {
                std::string name = entry->d_name;
                if (name != "." && name != "..") std::remove((mPath + "/" + name).c_str());
            }
            closedir(dir);
        }
        rmdir(mPath.c_str());
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& Path() const { return mPath; }
    std::string operator/(const std::string& name) const { return mPath + "/" + name; }

private:
    std::string mPath;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

}  // namespace testfiles
