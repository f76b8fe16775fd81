#pragma once
// The one implementation behind the records of the wider interface's entry
// points: a record is a class template over the entry point, whose inputs
// (the leading parameters) it keeps, writes, reads and passes back, each by
// the rule of its parameter type (DumpSlot). Outputs (the remaining
// parameters, all pointers) are made fresh for every Run(); meshes and
// clouds among them stay with the record afterwards.
//
// File layout: the ApiName line, then every input in parameter order:
//   mesh            mesh block (null: "-1"; read back as an empty mesh)
//   cloud / grid    point-cloud or grid block, with the cloud's own normal
//                   and colour flags (null: "-1"; read back as empty)
//   clouds          "count", then one cloud block each
//   int/double/bool one line
//   Vector3         "x y z"
//   Matrix4x4       its 16 values
//   vector          count line and values line (a null pointer: "0"); Color4
//                   vectors end without a line break
//   lines           "count", then one int vector each

#include <QarnUVAtlas/Dump.h>
#include <QarnUVAtlas/Export.h>
#include <QarnUVAtlas/Foundation.h>
#include <QarnUVAtlas/PointCloud.h>
#include <QarnUVAtlas/TriMesh.h>

#include <cstddef>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace ORVO {

// A mesh or cloud owned by a record: copied deeply with it.
template <typename T>
class DumpOwned {
public:
    DumpOwned() = default;
    explicit DumpOwned(T* object) : mpObject(object) {}
    DumpOwned(const DumpOwned& other) : mpObject(other.mpObject ? new T(*other.mpObject) : nullptr) {}
    DumpOwned& operator=(const DumpOwned& other) {
        if (this != &other) mpObject.reset(other.mpObject ? new T(*other.mpObject) : nullptr);
        return *this;
    }
    DumpOwned(DumpOwned&&) noexcept = default;
    DumpOwned& operator=(DumpOwned&&) noexcept = default;

    T* get() const { return mpObject.get(); }
    void reset(T* object) { mpObject.reset(object); }

private:
    std::unique_ptr<T> mpObject;
};

// A list of blocks: "count" and a line break, then `writeOne(block)` for each.
template <typename T, typename WriteOne>
void _WriteBlocks(std::ofstream& out, const std::vector<T>& blocks, WriteOne writeOne) {
    out << blocks.size() << "\n";
    for (const T& block : blocks) writeOne(block);
}

// Reads a list of blocks into the cleared vector: the count, then, while the
// stream is good, a default block appended and filled by `readOne(in, block)`.
// Blocks are appended one at a time rather than sized from the count up
// front, so that a damaged count cannot allocate beyond the file.
template <typename T, typename ReadOne>
void _ReadBlocks(std::ifstream& in, std::vector<T>& blocks, ReadOne readOne) {
    blocks.clear();
    int count = 0;
    in >> count;
    for (int i = 0; i < count && in; ++i) {
        blocks.emplace_back();
        readOne(in, blocks.back());
    }
}

class DumpCallBase;
template <typename MeshPointer>
struct DumpMeshSlot;
template <typename CloudPointer, bool Grid>
struct DumpCloudSlot;
template <typename VectorPointer, typename T>
struct DumpOptionalVectorSlot;

// How one parameter type travels: `Stored` is what the record keeps,
// Write/Read put it into and take it from a file, Pass hands it to the
// entry point. Specialised below for every parameter type the interface uses.
template <typename P>
struct DumpSlot;

// What every generic record shares: the file framing and the log line,
// compiled once in the library. The slots reach the block encodings of
// DumpBase through it.
class ORVO_API DumpCallBase : public DumpBase {
protected:
    template <typename P>
    friend struct DumpSlot;
    template <typename MeshPointer>
    friend struct DumpMeshSlot;
    template <typename CloudPointer, bool Grid>
    friend struct DumpCloudSlot;
    template <typename VectorPointer, typename T>
    friend struct DumpOptionalVectorSlot;

    // Writes "<time>_<name without Dump>_<counter>.dump" in the current
    // folder: the ApiName line, then `payload`, every real with 20
    // significant digits so that it reads back exactly.
    void WriteCall(const char* className, ApiName api, const std::function<void(std::ofstream&)>& payload);
    // Opens `fileName`, skips its ApiName value and hands the stream on.
    void ReadCall(const std::string& fileName, const std::function<void(std::ifstream&)>& payload);
    // "<className>::Run success" / "...::Run failed:<status>" at the detail level.
    static void LogRun(const char* className, int status);

    // Reads a mesh, cloud or grid block into a new object; "-1" gives an
    // empty one without reading further.
    void ReadMesh(std::ifstream& in, DumpOwned<TriMesh>& mesh);
    void ReadCloud(std::ifstream& in, DumpOwned<PointCloud>& cloud, bool grid);
    void WriteCloud(std::ofstream& out, const IPointCloud* cloud);
    void WriteGrid(std::ofstream& out, const IGridPointCloud* grid);
    // The vector blocks of DumpBase, chosen by element type.
    void WriteValues(std::ofstream& out, const std::vector<int>& values);
    void WriteValues(std::ofstream& out, const std::vector<double>& values);
    void WriteValues(std::ofstream& out, const std::vector<Vector3>& values);
    void WriteValues(std::ofstream& out, const std::vector<Color4>& values);
    void ReadValues(std::ifstream& in, std::vector<int>& values);
    void ReadValues(std::ifstream& in, std::vector<double>& values);
    void ReadValues(std::ifstream& in, std::vector<Vector3>& values);
    void ReadValues(std::ifstream& in, std::vector<Color4>& values);
};

// Scalars: one value per line.
template <typename T>
struct DumpScalarSlot {
    using Stored = T;
    static void Write(DumpCallBase&, std::ofstream& out, T value) { out << value << "\n"; }
    static void Read(DumpCallBase&, std::ifstream& in, T& value) {
        value = T();
        in >> value;
    }
    static T Pass(const T& value) { return value; }
};
template <>
struct DumpSlot<int> : DumpScalarSlot<int> {};
template <>
struct DumpSlot<double> : DumpScalarSlot<double> {};
template <>
struct DumpSlot<bool> : DumpScalarSlot<bool> {};

template <>
struct DumpSlot<const Vector3&> {
    using Stored = Vector3;
    static void Write(DumpCallBase&, std::ofstream& out, const Vector3& v) {
        out << v.x << " " << v.y << " " << v.z << "\n";
    }
    static void Read(DumpCallBase&, std::ifstream& in, Vector3& v) {
        v = Vector3();
        in >> v.x >> v.y >> v.z;
    }
    static const Vector3& Pass(const Vector3& v) { return v; }
};

template <>
struct DumpSlot<const Matrix4x4&> {
    using Stored = Matrix4x4;
    static void Write(DumpCallBase& r, std::ofstream& out, const Matrix4x4& m) { r.DumpMatrix4x4(m, out); }
    static void Read(DumpCallBase& r, std::ifstream& in, Matrix4x4& m) {
        m = Matrix4x4();
        r.LoadMatrix4x4(m, in);
    }
    static const Matrix4x4& Pass(const Matrix4x4& m) { return m; }
};

// Meshes, in or in/out: the record owns a copy.
template <typename MeshPointer>
struct DumpMeshSlot {
    using Stored = DumpOwned<TriMesh>;
    static void Write(DumpCallBase& r, std::ofstream& out, const ITriMesh* mesh) { r.DumpTriMesh(mesh, out); }
    static void Read(DumpCallBase& r, std::ifstream& in, Stored& mesh) { r.ReadMesh(in, mesh); }
    static MeshPointer Pass(const Stored& mesh) { return mesh.get(); }
};
template <>
struct DumpSlot<const ITriMesh*> : DumpMeshSlot<const ITriMesh*> {};
template <>
struct DumpSlot<ITriMesh*> : DumpMeshSlot<ITriMesh*> {};

// Clouds and grid clouds, in or in/out.
template <typename CloudPointer, bool Grid>
struct DumpCloudSlot {
    using Stored = DumpOwned<PointCloud>;
    static void Write(DumpCallBase& r, std::ofstream& out, CloudPointer cloud) {
        if constexpr (Grid) {
            r.WriteGrid(out, cloud);
        } else {
            r.WriteCloud(out, cloud);
        }
    }
    static void Read(DumpCallBase& r, std::ifstream& in, Stored& cloud) { r.ReadCloud(in, cloud, Grid); }
    static CloudPointer Pass(const Stored& cloud) { return cloud.get(); }
};
template <>
struct DumpSlot<const IPointCloud*> : DumpCloudSlot<const IPointCloud*, false> {};
template <>
struct DumpSlot<IPointCloud*> : DumpCloudSlot<IPointCloud*, false> {};
template <>
struct DumpSlot<const IGridPointCloud*> : DumpCloudSlot<const IGridPointCloud*, true> {};

template <>
struct DumpSlot<const std::vector<IPointCloud*>&> {
    using Stored = std::vector<DumpOwned<PointCloud>>;
    static void Write(DumpCallBase& r, std::ofstream& out, const std::vector<IPointCloud*>& clouds) {
        _WriteBlocks(out, clouds, [&r, &out](const IPointCloud* cloud) { r.WriteCloud(out, cloud); });
    }
    static void Read(DumpCallBase& r, std::ifstream& in, Stored& clouds) {
        _ReadBlocks(in, clouds, [&r](std::ifstream& block, DumpOwned<PointCloud>& cloud) {
            r.ReadCloud(block, cloud, false);
        });
    }
    // A fresh list of the record's clouds, alive for the call it is passed to.
    static std::vector<IPointCloud*> Pass(const Stored& clouds) {
        std::vector<IPointCloud*> pointers;
        for (const DumpOwned<PointCloud>& cloud : clouds) pointers.push_back(cloud.get());
        return pointers;
    }
};

// Vectors of ints, reals, points and colours, by reference or as optional
// (possibly null) pointers; a null pointer reads back as an empty vector.
template <typename T>
struct DumpSlot<const std::vector<T>&> {
    using Stored = std::vector<T>;
    static void Write(DumpCallBase& r, std::ofstream& out, const std::vector<T>& v) {
        r.WriteValues(out, v);
    }
    static void Read(DumpCallBase& r, std::ifstream& in, Stored& v) { r.ReadValues(in, v); }
    static const std::vector<T>& Pass(const Stored& v) { return v; }
};

template <typename VectorPointer, typename T>
struct DumpOptionalVectorSlot {
    using Stored = std::vector<T>;
    static void Write(DumpCallBase& r, std::ofstream& out, const std::vector<T>* v) {
        if (v == nullptr) {
            out << "0\n";
        } else {
            r.WriteValues(out, *v);
        }
    }
    static void Read(DumpCallBase& r, std::ifstream& in, Stored& v) { r.ReadValues(in, v); }
    static VectorPointer Pass(Stored& v) { return &v; }
};
template <typename T>
struct DumpSlot<const std::vector<T>*> : DumpOptionalVectorSlot<const std::vector<T>*, T> {};
template <typename T>
struct DumpSlot<std::vector<T>*> : DumpOptionalVectorSlot<std::vector<T>*, T> {};

template <>
struct DumpSlot<const std::vector<std::vector<int>>&> {
    using Stored = std::vector<std::vector<int>>;
    static void Write(DumpCallBase& r, std::ofstream& out, const Stored& lines) {
        _WriteBlocks(out, lines, [&r, &out](const std::vector<int>& line) { r.WriteValues(out, line); });
    }
    static void Read(DumpCallBase& r, std::ifstream& in, Stored& lines) {
        _ReadBlocks(in, lines, [&r](std::ifstream& block, std::vector<int>& line) { r.ReadValues(block, line); });
    }
    static const Stored& Pass(const Stored& lines) { return lines; }
};

// The first `N` parameter types of a function as Inputs, the rest as Outputs.
template <typename Tuple, size_t Offset, typename Indices>
struct DumpTupleSlice;
template <typename Tuple, size_t Offset, size_t... I>
struct DumpTupleSlice<Tuple, Offset, std::index_sequence<I...>> {
    using type = std::tuple<std::tuple_element_t<Offset + I, Tuple>...>;
};

template <typename Function, size_t N>
struct DumpSignature;
template <typename... P, size_t N>
struct DumpSignature<int (*)(P...), N> {
    static_assert(N <= sizeof...(P), "more inputs than parameters");
    using Inputs = typename DumpTupleSlice<std::tuple<P...>, 0, std::make_index_sequence<N>>::type;
    using Outputs = typename DumpTupleSlice<std::tuple<P...>, N, std::make_index_sequence<sizeof...(P) - N>>::type;
};

// A record of the entry point `Function`, registered as `Api`. `Self` names
// the record class (Self::ClassName()). A record that is not `Live` is an
// empty shell: it writes and reads nothing and its Run() succeeds at once.
template <typename Self, ApiName Api, auto Function, typename Inputs, typename Outputs, bool Live>
class DumpCall;

template <typename Self, ApiName Api, auto Function, typename... In, typename... Out, bool Live>
class DumpCall<Self, Api, Function, std::tuple<In...>, std::tuple<Out...>, Live> : public DumpCallBase {
public:
    // The entry point's input parameter types, and what the record keeps of them.
    using InputTypes = std::tuple<In...>;
    using StoredInputs = std::tuple<typename DumpSlot<In>::Stored...>;

    // Writes a dump file of the call's inputs.
    void DumpApiInfo(In... args) {
        if constexpr (Live) {
            WriteCall(Self::ClassName(), Api, [&](std::ofstream& out) {
                (DumpSlot<In>::Write(*this, out, args), ...);
                (void)out;
            });
        } else {
            ((void)args, ...);
        }
    }
    ApiName GetApiName() override { return Api; }
    void LoadDumpFile(const std::string& fileName) override {
        if constexpr (Live) {
            mResultMeshes.clear();
            mResultClouds.clear();
            ReadCall(fileName, [this](std::ifstream& in) { ReadInputs(in, std::index_sequence_for<In...>()); });
        }
    }
    // Calls the entry point with the loaded inputs; an in/out mesh or cloud
    // is changed in place, output meshes and clouds are kept on success.
    int Run() override {
        if constexpr (!Live) {
            return STATUS_SUCCESS;
        } else {
            std::tuple<std::remove_pointer_t<Out>...> outputs;
            const int status = Call(outputs, std::index_sequence_for<In...>(), std::index_sequence_for<Out...>());
            if (status == STATUS_SUCCESS) std::apply([this](auto&... made) { (Keep(made), ...); }, outputs);
            LogRun(Self::ClassName(), status);
            return status;
        }
    }
    // Input meshes in parameter order, then the meshes the last Run() made.
    TriMesh* GetTriMesh(int index) override { return Pick(Owned<TriMesh>(), mResultMeshes, index); }
    PointCloud* GetPointCloud(int index) override { return Pick(Owned<PointCloud>(), mResultClouds, index); }

    const StoredInputs& GetInputs() const { return mInputs; }
    StoredInputs& GetInputs() { return mInputs; }

private:
    template <size_t... I>
    void ReadInputs(std::ifstream& in, std::index_sequence<I...>) {
        (DumpSlot<In>::Read(*this, in, std::get<I>(mInputs)), ...);
        (void)in;
    }
    template <typename Made, size_t... I, size_t... J>
    int Call(Made& outputs, std::index_sequence<I...>, std::index_sequence<J...>) {
        (void)outputs;
        return Function(DumpSlot<In>::Pass(std::get<I>(mInputs))..., &std::get<J>(outputs)...);
    }
    void Keep(TriMesh& mesh) { mResultMeshes.emplace_back(new TriMesh(std::move(mesh))); }
    void Keep(PointCloud& cloud) { mResultClouds.emplace_back(new PointCloud(std::move(cloud))); }
    template <typename T>
    void Keep(T&) {}

    template <typename T>
    std::vector<T*> Owned() {
        std::vector<T*> found;
        std::apply([&found](auto&... stored) { (Collect(stored, found), ...); }, mInputs);
        return found;
    }
    template <typename T>
    static void Collect(DumpOwned<T>& stored, std::vector<T*>& found) {
        if (stored.get() != nullptr) found.push_back(stored.get());
    }
    template <typename T>
    static void Collect(std::vector<DumpOwned<T>>& stored, std::vector<T*>& found) {
        for (DumpOwned<T>& one : stored) Collect(one, found);
    }
    template <typename Stored, typename T>
    static void Collect(Stored&, std::vector<T*>&) {}
    template <typename T>
    static T* Pick(const std::vector<T*>& inputs, const std::vector<DumpOwned<T>>& results, int index) {
        if (index < 0) return nullptr;
        const size_t at = static_cast<size_t>(index);
        if (at < inputs.size()) return inputs[at];
        return at - inputs.size() < results.size() ? results[at - inputs.size()].get() : nullptr;
    }

    StoredInputs mInputs;
    std::vector<DumpOwned<TriMesh>> mResultMeshes;
    std::vector<DumpOwned<PointCloud>> mResultClouds;
};

// The record of `Function`, whose first `InputCount` parameters are its inputs.
template <typename Self, ApiName Api, auto Function, size_t InputCount, bool Live = true>
using DumpRecordOf = DumpCall<Self, Api, Function, typename DumpSignature<decltype(Function), InputCount>::Inputs,
                              typename DumpSignature<decltype(Function), InputCount>::Outputs, Live>;

}  // namespace ORVO
