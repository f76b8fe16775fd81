// Uses the installed library through its public headers only: constants, the
// log, the clock, the progress value, geometry types, a mesh, the pool and
// the records of recorded calls.
#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/DumpRecords.h>
#include <QarnUVAtlas/DumpUnfold.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/Threads.h>
#include <QarnUVAtlas/TriMesh.h>
#include <QarnUVAtlas/Unavailable.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

int gFailures = 0;

void Check(bool ok, const char* what) {
    std::printf("%s: %s\n", ok ? "ok  " : "FAIL", what);
    if (!ok) ++gFailures;
}

class CountTask : public ORVO::TaskBase {
public:
    explicit CountTask(std::atomic<int>& counter)
        : TaskBase(ORVO::TASK_TYPE_WORK), mCounter(counter) {}
    int Run() override {
        ++mCounter;
        return 0;
    }

private:
    std::atomic<int>& mCounter;
};

}  // namespace

int main() {
    Check(ORVO::Profiler::GetTime() == 0.0, "first clock reading is exactly 0");

    Check(ORVO::REAL_TOL == 1e-15 && ORVO::INT_LARGE == 2147483647 &&
              ORVO::ONE_RADIAN == 0.0174532925199433 && ORVO::gSystemLogLevel == 1,
          "exported constants");

    ORVO::LogSystem::SetLogFileName("consumer_log.txt");
    Check(ORVO::SetActivationKey("consumer"), "activation accepted");
    ORVO::LogSystem::Get()->GetOFStream() << "consumer: wrote a line" << std::endl;
    {
        std::ifstream in("consumer_log.txt");
        std::stringstream text;
        text << in.rdbuf();
        Check(text.str() == "Welcome Orvo\nconsumer: wrote a line\n", "log file content");
    }

    ORVO::ResetApiProgress();
    Check(ORVO::GetApiProgress() == 0.0, "progress after reset");

    const std::string stamp = ORVO::GetTimeString();
    Check(!stamp.empty() && stamp.find_first_of(" :\n") == std::string::npos,
          "time string fit for a file name");

    Check(ORVO::MeshFilter::LaplaceSmooth(nullptr, 1) == ORVO::STATUS_NOT_AVAILABLE,
          "absent entry point answers -8");

    const ORVO::Vector3 a(1.0, 0.0, 0.0);
    const ORVO::Vector3 b(0.0, 1.0, 0.0);
    const ORVO::Vector3 n = a.CrossProduct(b);
    Check(n == ORVO::Vector3(0.0, 0.0, 1.0) && (a - b).Length() > 1.41, "Vector3 arithmetic");

    ORVO::TriMesh mesh;
    mesh.InsertVertex(ORVO::Vector3(0.0, 0.0, 0.0));
    mesh.InsertVertex(a);
    mesh.InsertVertex(b);
    mesh.InsertTriangle(0, 1, 2);
    mesh.UpdateNormal();
    Check(mesh.GetVertexCount() == 3 && mesh.GetTriangleCount() == 1 &&
              mesh.GetTriangleNormal(0) == n,
          "TriMesh with one triangle");

    // A record made by the library's registry is the client's class too, and
    // its generic replay reaches the library's entry point.
    ORVO::RegisterDumpInfo();
    ORVO::DumpBase* record = ORVO::DumpManager::Get()->GetDumpInstance(ORVO::API_MESH_FILTER_LAPLACE_SMOOTH);
    Check(dynamic_cast<ORVO::DumpMeshFilterLaplaceSmooth*>(record) != nullptr, "registry gives the record class");
    Check(record != nullptr && record->Run() == ORVO::STATUS_NOT_AVAILABLE, "generic record replays to -8");
    delete record;
    ORVO::DumpBase* atlas = ORVO::CreateDumpMeshUnfoldGenerateUVAtlas();
    Check(atlas->GetApiName() == ORVO::API_MESH_UNFOLD_GENERATE_UV_ATLAS && atlas->GetTriMesh(0) == nullptr,
          "atlas record before loading");
    delete atlas;

    std::atomic<int> counter{0};
    {
        ORVO::ThreadPool pool;
        const int workers = pool.Init(ORVO::GetProcessorCount());
        Check(workers >= 1, "pool started workers");
        for (int i = 0; i < 1000; ++i) pool.InsertTask(new CountTask(counter));
        pool.WaitUntilAllDone();
    }
    Check(counter.load() == 1000, "pool ran every task");

    const double elapsed = ORVO::Profiler::GetTime();
    Check(elapsed > 0.0, "clock advanced");
    std::printf("%s after %.3f s\n", gFailures == 0 ? "all checks passed" : "checks FAILED",
                elapsed);
    return gFailures == 0 ? 0 : 1;
}
