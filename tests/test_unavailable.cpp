// The entry points this build declares but does not carry: every one answers
// -8 at once, logs nothing and leaves its arguments alone, whatever they are;
// and none of them consumes a recording request.
#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/FillMeshHole.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/SplitMesh.h>
#include <QarnUVAtlas/Unavailable.h>

#include "DumpTestKit.h"
#include "EntryPointArgs.h"
#include "TestFiles.h"

#include "dump/DumpSupport.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace ORVO;

struct EntryPoint {
    const char* name;
    // Calls the entry point with real objects (or nulls); writes whether every
    // argument was left as it was.
    std::function<int(bool null, bool& unchanged)> call;
};

template <typename... P>
int CallWithArguments(int (*entry)(P...), bool null, bool& unchanged) {
    auto args = entryargs::ArgsFor(entry, null);
    const int status = args.Apply(entry);
    unchanged = args.Unchanged();
    return status;
}

const std::vector<EntryPoint>& AllEntryPoints() {
    static const std::vector<EntryPoint> list = {
#define ORVO_UNAVAILABLE(Name, Parameters) \
    {#Name, [](bool null, bool& unchanged) { return CallWithArguments(&Name, null, unchanged); }},
#include "foundation/UnavailableList.h"
#undef ORVO_UNAVAILABLE
    };
    return list;
}

TEST(Unavailable, TheInterfaceCarries115AbsentEntryPoints) {
    const std::vector<EntryPoint>& entries = AllEntryPoints();
    EXPECT_EQ(entries.size(), 115u);
    std::vector<std::string> names;
    for (const EntryPoint& e : entries) names.push_back(e.name);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::unique(names.begin(), names.end()), names.end()) << "an entry point is listed twice";
}

TEST(Unavailable, EveryEntryPointAnswersMinusEightTouchingNothing) {
    dumptest::InScratchDir dir;
    LogSystem::SetLogFileName(dir / "log.txt");
    for (const EntryPoint& entry : AllEntryPoints()) {
        for (bool null : {true, false}) {
            bool unchanged = false;
            EXPECT_EQ(entry.call(null, unchanged), STATUS_NOT_AVAILABLE) << entry.name;
            EXPECT_TRUE(unchanged) << entry.name << (null ? " with nulls" : " with objects");
        }
    }
    LogSystem::SetLogFileName(dir / "log2.txt");
    EXPECT_EQ(testfiles::ReadFile(dir / "log.txt"), "");
}

TEST(Unavailable, AbsentEntryPointsLeaveARecordingRequestArmed) {
    dumptest::InScratchDir dir;
    DumpOnce();
    for (const EntryPoint& entry : AllEntryPoints()) {
        bool unchanged = false;
        entry.call(false, unchanged);
    }
    EXPECT_TRUE(_GetDumpOnceFlag());
    EXPECT_TRUE(dir.DumpFiles().empty());
    _SetDumpOnceFlag(false);
}

}  // namespace
