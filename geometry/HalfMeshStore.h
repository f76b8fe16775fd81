#pragma once
// Block storage behind HalfMesh's elements. A million-face mesh has some three
// million half-edges; one heap allocation each costs more time and memory than
// the rest of the build together, so elements are carved from large blocks
// that the mesh frees as a whole. Removed elements are kept for reuse.

#include <QarnUVAtlas/HalfMesh.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <vector>

namespace ORVO {

template <typename T>
class _ElementPool {
    static_assert(std::is_trivially_destructible<T>::value,
                  "pooled elements are released with their block, without destructor calls");

public:
    T* Allocate() {
        if (!mFree.empty()) {
            T* item = mFree.back();
            mFree.pop_back();
            *item = T();
            return item;
        }
        if (mLeft == 0) AddBlock(std::max<size_t>(kMinBlock, mHandedOut / 2));
        --mLeft;
        ++mHandedOut;
        return mNext++;
    }

    void Release(T* item) { mFree.push_back(item); }

    // Room for `count` live elements in all without a further allocation.
    void Reserve(size_t count) {
        size_t live = mHandedOut - mFree.size();
        size_t room = mLeft + mFree.size();
        if (live + room >= count) return;
        // Leftovers of the current block are abandoned; Reserve is called before
        // building, when there are none.
        AddBlock(count - live - mFree.size());
    }

private:
    static constexpr size_t kMinBlock = 256;

    void AddBlock(size_t size) {
        mBlocks.emplace_back(new T[size]);
        mNext = mBlocks.back().get();
        mLeft = size;
    }

    std::vector<std::unique_ptr<T[]>> mBlocks;
    T* mNext = nullptr;
    size_t mLeft = 0;
    size_t mHandedOut = 0;  // taken from blocks, including released ones
    std::vector<T*> mFree;
};

struct HalfMesh::ElementStore {
    _ElementPool<Vertex3D> vertices;
    _ElementPool<Edge3D> edges;
    _ElementPool<Face3D> faces;
};

}  // namespace ORVO
