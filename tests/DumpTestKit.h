#pragma once
// Helpers for the recording and replay tests: a scratch folder made the
// current folder for the test's life (dump files are written there), the
// dump files in it, and a record class that opens the protected block
// writers and readers.

#include <QarnUVAtlas/Dump.h>

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <dirent.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace dumptest {

// Makes a fresh scratch folder the current folder; restores the old one.
class InScratchDir {
public:
    InScratchDir() {
        char old[4096];
        mOld = getcwd(old, sizeof(old)) ? old : ".";
        if (chdir(mDir.Path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << mDir.Path();
    }
    ~InScratchDir() {
        if (chdir(mOld.c_str()) != 0) ADD_FAILURE() << "cannot return to " << mOld;
    }
    InScratchDir(const InScratchDir&) = delete;
    InScratchDir& operator=(const InScratchDir&) = delete;

    std::string operator/(const std::string& name) const { return mDir / name; }

    // Names of the ".dump" files in the folder, sorted.
    std::vector<std::string> DumpFiles() const {
        std::vector<std::string> names;
        if (DIR* dir = opendir(mDir.Path().c_str())) {
            while (dirent* entry = readdir(dir)) {
                std::string name = entry->d_name;
                if (name.size() > 5 && name.compare(name.size() - 5, 5, ".dump") == 0) names.push_back(name);
            }
            closedir(dir);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    // The only dump file's name; fails the test when there is not exactly one.
    std::string OnlyDumpFile() const {
        std::vector<std::string> names = DumpFiles();
        EXPECT_EQ(names.size(), 1u);
        return names.empty() ? std::string() : names.front();
    }

private:
    testfiles::ScratchDir mDir;
    std::string mOld;
};

// A record with no payload of its own, used to reach the block encodings.
class BlockCodec : public ORVO::DumpBase {
public:
    ORVO::ApiName GetApiName() override { return ORVO::API_MESH_UNFOLD_CONFORMAL; }
    void LoadDumpFile(const std::string&) override {}
    int Run() override { return 0; }

    using DumpBase::DumpGridPointCloud;
    using DumpBase::DumpMatrix4x4;
    using DumpBase::DumpPointCloud;
    using DumpBase::DumpPointList;
    using DumpBase::DumpStlColor4Vector;
    using DumpBase::DumpStlIntVector;
    using DumpBase::DumpStlRealVector;
    using DumpBase::DumpStlVector3Vector;
    using DumpBase::DumpTriMesh;
    using DumpBase::LoadGridPointCloud;
    using DumpBase::LoadMatrix4x4;
    using DumpBase::LoadPointCloud;
    using DumpBase::LoadStlColor4Vector;
    using DumpBase::LoadStlIntVector;
    using DumpBase::LoadStlRealVector;
    using DumpBase::LoadStlVector3Vector;
    using DumpBase::LoadTriMesh;
};

}  // namespace dumptest
