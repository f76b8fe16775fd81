// A short tour of the library through its public interface: it builds a
// sphere mesh, measures it on a worker pool and reports what it did.
//
//   qarn_demo [rings]      rings of the sphere, 3..2000 (default 64)
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/Threads.h>
#include <QarnUVAtlas/TriMesh.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// A latitude-longitude sphere of radius 1: two poles plus rings-1 rows of
// 2*rings vertices.
void BuildSphere(int rings, ORVO::TriMesh& mesh) {
    const int segments = 2 * rings;
    mesh.InsertVertex(ORVO::Vector3(0.0, 0.0, 1.0));
    for (int r = 1; r < rings; ++r) {
        const double theta = ORVO::ORVO_PI * r / rings;
        for (int s = 0; s < segments; ++s) {
            const double phi = 2.0 * ORVO::ORVO_PI * s / segments;
            mesh.InsertVertex(ORVO::Vector3(std::sin(theta) * std::cos(phi),
                                            std::sin(theta) * std::sin(phi), std::cos(theta)));
        }
    }
    const int south = mesh.InsertVertex(ORVO::Vector3(0.0, 0.0, -1.0));
    auto ring = [segments](int r, int s) { return 1 + (r - 1) * segments + s % segments; };
    for (int s = 0; s < segments; ++s) mesh.InsertTriangle(0, ring(1, s), ring(1, s + 1));
    for (int r = 1; r + 1 < rings; ++r) {
        for (int s = 0; s < segments; ++s) {
            mesh.InsertTriangle(ring(r, s), ring(r + 1, s), ring(r + 1, s + 1));
            mesh.InsertTriangle(ring(r, s), ring(r + 1, s + 1), ring(r, s + 1));
        }
    }
    for (int s = 0; s < segments; ++s) {
        mesh.InsertTriangle(ring(rings - 1, s), south, ring(rings - 1, s + 1));
    }
}

// Sums the areas of a range of triangles into a shared total.
class AreaTask : public ORVO::TaskBase {
public:
    AreaTask(const ORVO::TriMesh& mesh, int begin, int end, ORVO::Mutex& lock, double& total)
        : TaskBase(ORVO::TASK_TYPE_WORK), mMesh(mesh), mBegin(begin), mEnd(end), mLock(lock),
          mTotal(total) {}
    int Run() override {
        double sum = 0.0;
        int ids[3];
        for (int f = mBegin; f < mEnd; ++f) {
            mMesh.GetTriangleVertexIds(f, ids);
            const ORVO::Vector3 p0 = mMesh.GetVertexCoord(ids[0]);
            const ORVO::Vector3 e1 = mMesh.GetVertexCoord(ids[1]) - p0;
            const ORVO::Vector3 e2 = mMesh.GetVertexCoord(ids[2]) - p0;
            sum += 0.5 * e1.CrossProduct(e2).Length();
        }
        ORVO::ScopedLock guard(mLock);
        mTotal += sum;
        return 0;
    }

private:
    const ORVO::TriMesh& mMesh;
    int mBegin;
    int mEnd;
    ORVO::Mutex& mLock;
    double& mTotal;
};

}  // namespace

int main(int argc, char** argv) {
    const double start = ORVO::Profiler::GetTime();
    int rings = 64;
    if (argc > 1) rings = std::atoi(argv[1]);
    if (rings < 3 || rings > 2000) {
        std::fprintf(stderr, "usage: %s [rings 3..2000]\n", argv[0]);
        return 2;
    }

    const std::string logName = "qarn_demo_" + ORVO::GetTimeString() + ".log";
    ORVO::LogSystem::SetLogFileName(logName);
    ORVO::SetActivationKey("demo");
    ORVO::ResetApiProgress();

    ORVO::TriMesh mesh;
    BuildSphere(rings, mesh);
    mesh.UpdateNormal();
    std::printf("built a unit sphere: %d vertices, %d triangles\n", mesh.GetVertexCount(),
                mesh.GetTriangleCount());

    double area = 0.0;
    ORVO::Mutex lock;
    int workers = 0;
    {
        ORVO::ThreadPool pool;
        workers = pool.Init(ORVO::GetProcessorCount());
        const int triangles = mesh.GetTriangleCount();
        const int chunk = 256;
        int tasks = 0;
        for (int begin = 0; begin < triangles; begin += chunk, ++tasks) {
            const int end = begin + chunk < triangles ? begin + chunk : triangles;
            pool.InsertTask(new AreaTask(mesh, begin, end, lock, area));
        }
        pool.WaitUntilAllDone();
        std::printf("measured the surface on %d worker thread(s) in %d tasks\n", workers, tasks);
    }
    const double exact = 4.0 * ORVO::ORVO_PI;
    std::printf("surface area %.6f (exact sphere %.6f, %.3f%% below it)\n", area, exact,
                100.0 * (exact - area) / exact);

    // Every vertex normal of a sphere points away from its centre.
    double worst = 0.0;
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        ORVO::Vector3 radial = mesh.GetVertexCoord(v);
        radial.Normalise();
        const double deviation = (mesh.GetVertexNormal(v) - radial).Length();
        if (deviation > worst) worst = deviation;
    }
    std::printf("largest deviation of a vertex normal from the radial direction: %.2e\n", worst);

    ORVO::LogSystem::Get()->GetOFStream()
        << "qarn_demo: area " << area << " on " << workers << " workers" << std::endl;
    std::printf("progress value %.2f, log written to %s\n", ORVO::GetApiProgress(),
                logName.c_str());
    std::printf("done in %.3f s\n", ORVO::Profiler::GetTime() - start);
    return 0;
}
