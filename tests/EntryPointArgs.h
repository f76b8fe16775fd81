#pragma once
// Arguments for any entry point of the interface, made from its parameter
// types alone: every parameter gets a small real object (a one-triangle mesh,
// a one-point cloud, a one-element vector, ...) or, on request, a null
// pointer; afterwards each object can be compared with a fresh copy of
// itself (was it touched?) or with what a record kept of it.

#include <QarnUVAtlas/MeshQuery.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/Primitives.h>
#include <QarnUVAtlas/TriMesh.h>

#include <cstring>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace entryargs {

using namespace ORVO;

// ---- a seed value of every type that parameters point or refer to ----
inline void Seed(int& v) { v = 3; }
inline void Seed(double& v) { v = 1.0 / 3.0; }
inline void Seed(bool& v) { v = true; }
inline void Seed(Vector3& v) { v = Vector3(1.5, -2.25, 1e-7); }
inline void Seed(Color4& c) { c = Color4(1, 2, 3, 250); }
inline void Seed(Matrix4x4& m) {
    m.InitIdentityTransform();
    m.SetValue(3, 0.1);
}
inline void Seed(TriMesh& mesh) {
    mesh.InsertVertex(Vector3(0, 0, 0));
    mesh.InsertVertex(Vector3(1.0 / 3.0, 0, 0));
    mesh.InsertVertex(Vector3(0, 1, 0.5));
    mesh.InsertTriangle(0, 1, 2);
    mesh.UpdateNormal();
}
inline void Seed(PointCloud& cloud) {
    cloud = PointCloud(true, true, false);
    cloud.InsertPoint(Vector3(0.1, 0.2, 0.3), Vector3(0, 0, 1));
    cloud.InsertPoint(Vector3(1.0 / 3.0, 0.5, 0.7), Vector3(0, 1, 0));
    cloud.SetPointColor(1, Vector3(0.25, 0.5, 0.75));
}
inline void Seed(MeshQueryTool&) {}
template <typename T>
void Seed(std::vector<T>& values) {
    values.resize(2);
    for (T& value : values) Seed(value);
}

// A grid cloud, for the parameters that take one.
inline void SeedGrid(PointCloud& cloud) {
    cloud.InitGrid(3, 2);
    cloud.SetHasNormal(true);
    cloud.SetGridCoord(2, 1, Vector3(1.0 / 3.0, 2, 3));
    cloud.SetGridNormal(2, 1, Vector3(0, 0, 1));
    cloud.SetGridCoord(0, 0, Vector3(-1, 0, 0));
}

// ---- sameness ----
inline bool Same(int a, int b) { return a == b; }
inline bool Same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
inline bool Same(bool a, bool b) { return a == b; }
inline bool Same(const Vector3& a, const Vector3& b) { return Same(a.x, b.x) && Same(a.y, b.y) && Same(a.z, b.z); }
inline bool Same(const Color4& a, const Color4& b) { return a == b; }
inline bool Same(const Matrix4x4& a, const Matrix4x4& b) {
    if (a.IsEmpty() || b.IsEmpty()) return a.IsEmpty() == b.IsEmpty();
    return std::memcmp(a.GetData(), b.GetData(), 16 * sizeof(double)) == 0;
}
inline bool Same(const ITriMesh& a, const ITriMesh& b) {
    if (a.GetVertexCount() != b.GetVertexCount() || a.GetTriangleCount() != b.GetTriangleCount()) return false;
    for (int v = 0; v < a.GetVertexCount(); ++v)
        if (!Same(a.GetVertexCoord(v), b.GetVertexCoord(v))) return false;
    for (int f = 0; f < a.GetTriangleCount(); ++f) {
        int x[3], y[3];
        a.GetTriangleVertexIds(f, x);
        b.GetTriangleVertexIds(f, y);
        if (x[0] != y[0] || x[1] != y[1] || x[2] != y[2]) return false;
    }
    return true;
}
inline bool Same(const PointCloud& a, const PointCloud& b) {
    if (a.GetPointCount() != b.GetPointCount() || a.HasNormal() != b.HasNormal() || a.HasColor() != b.HasColor() ||
        a.HasGridTopology() != b.HasGridTopology() || a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight())
        return false;
    for (int i = 0; i < a.GetPointCount(); ++i) {
        if (!Same(a.GetPointCoord(i), b.GetPointCoord(i))) return false;
        if (a.HasNormal() && !Same(a.GetPointNormal(i), b.GetPointNormal(i))) return false;
        if (a.HasColor() && !Same(a.GetPointColor(i), b.GetPointColor(i))) return false;
    }
    return true;
}
inline bool Same(const MeshQueryTool& a, const MeshQueryTool& b) { return a.IsBuilt() == b.IsBuilt(); }
template <typename T>
bool Same(const std::vector<T>& a, const std::vector<T>& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (!Same(a[i], b[i])) return false;
    return true;
}

// ---- one argument per parameter type ----

// The object behind an interface pointer.
template <typename T>
struct Concrete {
    using type = T;
};
template <>
struct Concrete<ITriMesh> {
    using type = TriMesh;
};
template <>
struct Concrete<IPointCloud> {
    using type = PointCloud;
};
template <>
struct Concrete<IGridPointCloud> {
    using type = PointCloud;
};

// Holds the argument for parameter type P: an object (seeded) and a copy
// of it taken before the call; Get() gives the argument, null pointers
// included when `null` was asked for.
template <typename P, typename Enable = void>
struct Arg {
    // Scalars.
    explicit Arg(bool) { Seed(value); }
    P Get() { return value; }
    bool Unchanged() const { return true; }
    P value{};
};

template <typename T>
struct Arg<T*, void> {
    using Object = typename Concrete<std::remove_const_t<T>>::type;
    explicit Arg(bool null) : isNull(null), object(new Object()), before(new Object()) {
        if constexpr (std::is_same_v<std::remove_const_t<T>, IGridPointCloud>) {
            SeedGrid(*object);
            SeedGrid(*before);
        } else {
            Seed(*object);
            Seed(*before);
        }
    }
    T* Get() { return isNull ? nullptr : object.get(); }
    bool Unchanged() const { return Same(*object, *before); }
    bool isNull;
    std::unique_ptr<Object> object, before;
};

template <typename T>
struct Arg<const T&, std::enable_if_t<!std::is_same_v<T, std::vector<IPointCloud*>>>> {
    explicit Arg(bool) {
        Seed(object);
        Seed(before);
    }
    const T& Get() { return object; }
    bool Unchanged() const { return Same(object, before); }
    T object, before;
};

template <>
struct Arg<const std::vector<IPointCloud*>&, void> {
    explicit Arg(bool) : clouds(2), before(2) {
        for (PointCloud& c : clouds) Seed(c);
        for (PointCloud& c : before) Seed(c);
        for (PointCloud& c : clouds) pointers.push_back(&c);
    }
    const std::vector<IPointCloud*>& Get() { return pointers; }
    bool Unchanged() const { return Same(clouds, before) && pointers.size() == 2; }
    std::vector<PointCloud> clouds, before;
    std::vector<IPointCloud*> pointers;
};

// Arguments for every parameter of `P...`.
template <typename... P>
struct ArgList {
    explicit ArgList(bool null) : args(Arg<P>(null)...) { (void)null; }
    // Calls f with the arguments, in order.
    template <typename F>
    decltype(auto) Apply(F&& f) {
        return std::apply([&](auto&... a) { return f(a.Get()...); }, args);
    }
    bool Unchanged() const {
        return std::apply([](const auto&... a) { return (a.Unchanged() && ...); }, args);
    }
    std::tuple<Arg<P>...> args;
};

template <typename... P>
ArgList<P...> ArgsFor(int (*)(P...), bool null) {
    return ArgList<P...>(null);
}

}  // namespace entryargs
