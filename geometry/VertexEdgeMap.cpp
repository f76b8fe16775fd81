#include <QarnUVAtlas/HalfMesh.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace ORVO {

namespace {

// Scanning beats bisection on the handful of keys a vertex usually has.
constexpr int kLinearScanLimit = 16;

}  // namespace

VertexEdgeMap::~VertexEdgeMap() { Release(); }

VertexEdgeMap::VertexEdgeMap(VertexEdgeMap&& other) noexcept : mSize(0), mCapacity(kInlineCapacity) {
    StealFrom(other);
}

VertexEdgeMap& VertexEdgeMap::operator=(VertexEdgeMap&& other) noexcept {
    if (this != &other) {
        Release();
        StealFrom(other);
    }
    return *this;
}

VertexEdgeMap::VertexEdgeMap(const VertexEdgeMap& other) : mSize(0), mCapacity(kInlineCapacity) {
    while (mCapacity < other.mSize) Grow();
    std::memcpy(Keys(), other.Keys(), sizeof(int) * other.mSize);
    std::memcpy(Edges(), other.Edges(), sizeof(Edge3D*) * other.mSize);
    mSize = other.mSize;
}

VertexEdgeMap& VertexEdgeMap::operator=(const VertexEdgeMap& other) {
    if (this != &other) {
        VertexEdgeMap copy(other);
        Release();
        StealFrom(copy);
    }
    return *this;
}

void VertexEdgeMap::StealFrom(VertexEdgeMap& other) noexcept {
    mSize = other.mSize;
    mCapacity = other.mCapacity;
    if (other.IsInline()) {
        std::memcpy(mStore.local.keys, other.mStore.local.keys, sizeof(int) * mSize);
        std::memcpy(mStore.local.edges, other.mStore.local.edges, sizeof(Edge3D*) * mSize);
    } else {
        mStore.heap = other.mStore.heap;
    }
    other.mSize = 0;
    other.mCapacity = kInlineCapacity;
}

void VertexEdgeMap::Release() {
    if (!IsInline()) ::operator delete(static_cast<void*>(mStore.heap.edges));
    mSize = 0;
    mCapacity = kInlineCapacity;
}

void VertexEdgeMap::Grow() {
    int capacity = mCapacity * 2;
    void* block = ::operator new(static_cast<size_t>(capacity) * (sizeof(Edge3D*) + sizeof(int)));
    Edge3D** edges = static_cast<Edge3D**>(block);
    int* keys = reinterpret_cast<int*>(edges + capacity);
    std::memcpy(keys, Keys(), sizeof(int) * mSize);
    std::memcpy(edges, Edges(), sizeof(Edge3D*) * mSize);
    int size = mSize;
    Release();
    mSize = size;
    mCapacity = capacity;
    mStore.heap.edges = edges;
    mStore.heap.keys = keys;
}

int VertexEdgeMap::LowerBound(int key) const {
    const int* keys = Keys();
    if (mSize <= kLinearScanLimit) {
        int i = 0;
        while (i < mSize && keys[i] < key) ++i;
        return i;
    }
    return static_cast<int>(std::lower_bound(keys, keys + mSize, key) - keys);
}

Edge3D* VertexEdgeMap::Find(int key) const {
    int i = LowerBound(key);
    return (i < mSize && Keys()[i] == key) ? Edges()[i] : nullptr;
}

bool VertexEdgeMap::Insert(int key, Edge3D* edge) {
    int i = LowerBound(key);
    if (i < mSize && Keys()[i] == key) return false;
    if (mSize == mCapacity) Grow();
    int* keys = Keys();
    Edge3D** edges = Edges();
    std::memmove(keys + i + 1, keys + i, sizeof(int) * (mSize - i));
    std::memmove(edges + i + 1, edges + i, sizeof(Edge3D*) * (mSize - i));
    keys[i] = key;
    edges[i] = edge;
    ++mSize;
    return true;
}

void VertexEdgeMap::Assign(int key, Edge3D* edge) {
    int i = LowerBound(key);
    if (i < mSize && Keys()[i] == key) {
        Edges()[i] = edge;
        return;
    }
    Insert(key, edge);
}

bool VertexEdgeMap::Erase(int key) {
    int i = LowerBound(key);
    if (i >= mSize || Keys()[i] != key) return false;
    int* keys = Keys();
    Edge3D** edges = Edges();
    std::memmove(keys + i, keys + i + 1, sizeof(int) * (mSize - i - 1));
    std::memmove(edges + i, edges + i + 1, sizeof(Edge3D*) * (mSize - i - 1));
    --mSize;
    return true;
}

void VertexEdgeMap::Clear() { Release(); }

}  // namespace ORVO
