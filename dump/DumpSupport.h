#pragma once
// What the record classes share: the dump-once request, the file each
// recording writes, the text-stream setup of both directions, the plane
// normalisation of a replayed layout and the replay's log line.

#include <QarnUVAtlas/Dump.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace ORVO {

// The armed state of DumpOnce(); not exported.
bool _GetDumpOnceFlag();
void _SetDumpOnceFlag(bool armed);
// True when a recording was asked for; clears the request in the same step,
// so that of two racing calls only one records.
bool _TakeDumpOnceRequest();

// Writes one recorded call with `record.DumpApiInfo(args...)` when DumpOnce()
// armed the flag; clears the flag. An instrumented entry point calls it
// first, before any check. Recording never fails the call it records.
template <typename Record, typename... Args>
void _RecordCall(Args&&... args) {
    if (!_TakeDumpOnceRequest()) return;
    try {
        Record record;
        record.DumpApiInfo(args...);
    } catch (...) {
        // Out of memory while writing: the recording is lost, the call goes on.
    }
}

// A dump file being written: opened (truncated) under
// "<GetTimeString()><tag><APICalledTime>.dump" in the current folder with the
// ApiName line already written. The destructor closes it and advances
// DumpBase::APICalledTime, also when the file could not be created.
class DumpFileWriter {
public:
    DumpFileWriter(const char* tag, ApiName api);
    ~DumpFileWriter();
    DumpFileWriter(const DumpFileWriter&) = delete;
    DumpFileWriter& operator=(const DumpFileWriter&) = delete;

    std::ofstream& Stream() { return mOut; }

private:
    std::vector<char> mBuffer;
    std::ofstream mOut;
};

// Opens `fileName` for reading with a large buffer and the classic locale,
// and reads (and ignores) the leading ApiName value. A missing file gives a
// failed stream, from which every later extraction fails.
class DumpFileReader {
public:
    explicit DumpFileReader(const std::string& fileName);
    DumpFileReader(const DumpFileReader&) = delete;
    DumpFileReader& operator=(const DumpFileReader&) = delete;

    std::ifstream& Stream() { return mIn; }

private:
    std::vector<char> mBuffer;
    std::ifstream mIn;
};

// Every real from the first mesh or cloud block on keeps 20 significant
// digits, enough to restore any double exactly.
constexpr std::streamsize kDumpRealDigits = 20;

// Reads "count" and then at most that many values into the cleared vector,
// each with `readOne(in, value)`, stopping at the first that fails: a huge
// count in a short file neither allocates nor loops beyond what the file
// holds.
template <typename T, typename ReadOne>
void _ReadCountedValues(std::ifstream& in, std::vector<T>& values, ReadOne readOne) {
    values.clear();
    int count = 0;
    in >> count;
    for (int i = 0; i < count; ++i) {
        T value{};
        if (!readOne(in, value)) break;
        values.push_back(value);
    }
}

// The same for values the stream reads itself.
template <typename T>
void _ReadCountedValues(std::ifstream& in, std::vector<T>& values) {
    _ReadCountedValues(in, values, [](std::ifstream& from, T& value) { return static_cast<bool>(from >> value); });
}

// A list of values: "count" and a line break, then every value followed by
// one space, then a line break only when `closeLine` (the UV-atlas records'
// lists leave it out); a null list is "0" and a line break.
template <typename T>
void _WriteValueList(std::ofstream& out, const std::vector<T>* values, bool closeLine) {
    if (values == nullptr) {
        out << "0\n";
        return;
    }
    out << values->size() << "\n";
    for (const T& value : *values) out << value << " ";
    if (closeLine) out << "\n";
}

// A real read in place of an integer, truncated towards zero; values beyond
// the int range are clamped rather than left undefined.
int _TruncateToInt(double value);

// Centres a (u, v) layout on (0.5, 0.5) and scales its longer side to 1;
// a layout whose extent is at most 1e-15 is left as it is. Fewer than two
// values throw std::out_of_range ("invalid vector<T> subscript").
void _NormalizeTexCoords(std::vector<double>& uv);

// A deep copy of `mesh`, or null for null: records copy their meshes.
std::unique_ptr<TriMesh> _CloneMesh(const TriMesh* mesh);

// Replaces every vertex position of `mesh` by (u, v, 0) and updates normals.
void _LayMeshInPlane(ITriMesh* mesh, const std::vector<double>& uv);

// "<className>::Run success" or "<className>::Run failed:<status>", written
// only at the detail level of the log.
void _LogRunResult(const char* className, int status);

}  // namespace ORVO
