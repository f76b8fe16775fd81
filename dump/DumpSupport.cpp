#include "dump/DumpSupport.h"

#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/TriMesh.h>

#include "foundation/LogLine.h"

#include <algorithm>
#include <atomic>
#include <limits>
#include <locale>
#include <stdexcept>

namespace ORVO {

namespace {

// A plain flag in effect; atomic so that a recording request made on one
// thread and taken on another is not a data race.
std::atomic<bool> gDumpOnceFlag{false};

// Dump files of million-face meshes run to tens of megabytes: a large stream
// buffer keeps the per-call overhead of the file system out of the way.
constexpr size_t kStreamBufferBytes = 1 << 20;

}  // namespace

bool _GetDumpOnceFlag() { return gDumpOnceFlag.load(); }

void _SetDumpOnceFlag(bool armed) { gDumpOnceFlag.store(armed); }

bool _TakeDumpOnceRequest() {
    // Cheap load first: the common case (not armed) must not write to the
    // shared cache line on every call.
    if (!gDumpOnceFlag.load(std::memory_order_relaxed)) return false;
    return gDumpOnceFlag.exchange(false);
}

void DumpOnce() { _SetDumpOnceFlag(true); }

DumpFileWriter::DumpFileWriter(const char* tag, ApiName api) : mBuffer(kStreamBufferBytes) {
    const std::string fileName = GetTimeString() + tag + std::to_string(DumpBase::APICalledTime) + ".dump";
    // The file is read back on other machines: numbers must not follow the
    // writer's locale.
    mOut.imbue(std::locale::classic());
    mOut.rdbuf()->pubsetbuf(mBuffer.data(), static_cast<std::streamsize>(mBuffer.size()));
    mOut.open(fileName, std::ios::out | std::ios::trunc);
    mOut << static_cast<int>(api) << "\n";
}

DumpFileWriter::~DumpFileWriter() {
    if (mOut.is_open()) mOut.close();
    ++DumpBase::APICalledTime;
}

DumpFileReader::DumpFileReader(const std::string& fileName) : mBuffer(kStreamBufferBytes) {
    mIn.imbue(std::locale::classic());
    mIn.rdbuf()->pubsetbuf(mBuffer.data(), static_cast<std::streamsize>(mBuffer.size()));
    mIn.open(fileName, std::ios::in);
    int apiName = 0;
    mIn >> apiName;  // names the record class; the caller already chose it
}

int _TruncateToInt(double value) {
    if (!(value > -2147483648.0)) return value != value ? 0 : std::numeric_limits<int>::min();
    if (!(value < 2147483648.0)) return std::numeric_limits<int>::max();
    return static_cast<int>(value);
}

void _NormalizeTexCoords(std::vector<double>& uv) {
    if (uv.size() < 2) throw std::out_of_range("invalid vector<T> subscript");
    double uMin = uv[0], uMax = uv[0], vMin = uv[1], vMax = uv[1];
    const size_t pairs = uv.size() / 2;
    for (size_t i = 1; i < pairs; ++i) {
        uMin = std::min(uMin, uv[2 * i]);
        uMax = std::max(uMax, uv[2 * i]);
        vMin = std::min(vMin, uv[2 * i + 1]);
        vMax = std::max(vMax, uv[2 * i + 1]);
    }
    const double range = std::max(uMax - uMin, vMax - vMin);
    if (!(range > 1e-15)) return;
    const double scale = 1.0 / range;
    const double uCentre = (uMin + uMax) / 2.0;
    const double vCentre = (vMin + vMax) / 2.0;
    for (size_t i = 0; i < pairs; ++i) {
        uv[2 * i] = (uv[2 * i] - uCentre) * scale + 0.5;
        uv[2 * i + 1] = (uv[2 * i + 1] - vCentre) * scale + 0.5;
    }
}

std::unique_ptr<TriMesh> _CloneMesh(const TriMesh* mesh) {
    return std::unique_ptr<TriMesh>(mesh != nullptr ? new TriMesh(*mesh) : nullptr);
}

void _LayMeshInPlane(ITriMesh* mesh, const std::vector<double>& uv) {
    const int vertexCount = mesh->GetVertexCount();
    const size_t pairs = uv.size() / 2;
    for (int v = 0; v < vertexCount && static_cast<size_t>(v) < pairs; ++v)
        mesh->SetVertexCoord(v, Vector3(uv[2 * static_cast<size_t>(v)], uv[2 * static_cast<size_t>(v) + 1], 0.0));
    mesh->UpdateNormal();
}

void _LogRunResult(const char* className, int status) {
    if (status == STATUS_SUCCESS) {
        _LogDetail(className, "::Run success");
    } else {
        _LogDetail(className, "::Run failed:", status);
    }
}

}  // namespace ORVO
