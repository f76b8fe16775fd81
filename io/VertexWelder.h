#pragma once
// Welding of corners that share exact coordinates, for the formats that
// repeat a vertex's position at every corner.

#include <QarnUVAtlas/Primitives.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace ORVO {

// Open-addressing table from exact coordinates to vertex ids, numbered in
// order of first appearance. -0.0 and 0.0 are the same point; a new point is
// stored as given.
class VertexWelder {
public:
    // `expectedCorners` sizes the table; it grows as needed.
    explicit VertexWelder(size_t expectedCorners) {
        size_t capacity = 16;
        while (capacity < 2 * expectedCorners) capacity *= 2;
        mSlots.assign(capacity, -1);
    }

    // Returns the id of the point equal to `p`, appending `p` to `positions`
    // when there is none yet.
    int Add(const Vector3& p, std::vector<Vector3>& positions) {
        if (2 * (positions.size() + 1) > mSlots.size()) Grow(positions);
        size_t mask = mSlots.size() - 1;
        for (size_t i = Hash(p) & mask;; i = (i + 1) & mask) {
            int id = mSlots[i];
            if (id < 0) {
                id = static_cast<int>(positions.size());
                positions.push_back(p);
                mSlots[i] = id;
                return id;
            }
            const Vector3& q = positions[static_cast<size_t>(id)];
            if (q.x == p.x && q.y == p.y && q.z == p.z) return id;
        }
    }

private:
    static size_t Hash(const Vector3& p) {
        uint64_t h = 1469598103934665603ull;
        for (int k = 0; k < 3; ++k) {
            const double c = p[k] == 0.0 ? 0.0 : p[k];  // one hash for both zeros
            uint64_t bits;
            std::memcpy(&bits, &c, sizeof(bits));
            h = (h ^ bits) * 1099511628211ull;
            h ^= h >> 29;
        }
        return static_cast<size_t>(h);
    }

    void Grow(const std::vector<Vector3>& positions) {
        mSlots.assign(mSlots.size() * 2, -1);
        const size_t mask = mSlots.size() - 1;
        for (size_t id = 0; id < positions.size(); ++id) {
            size_t i = Hash(positions[id]) & mask;
            while (mSlots[i] >= 0) i = (i + 1) & mask;
            mSlots[i] = static_cast<int>(id);
        }
    }

    std::vector<int> mSlots;
};

}  // namespace ORVO
