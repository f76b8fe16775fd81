#pragma once
// Word-level helpers on rows of 64-bit words where bit (x & 63) of word
// (x >> 6) stands for column x. Shared by the chart images and the atlas grid.

#include <cstdint>

namespace ORVO {

inline int _LowestBit(uint64_t v) { return __builtin_ctzll(v); }
inline int _HighestBit(uint64_t v) { return 63 - __builtin_clzll(v); }

// Mask of bits lo..63 of a word (lo in 0..63).
inline uint64_t _MaskFrom(int lo) { return ~uint64_t(0) << lo; }
// Mask of bits 0..hi of a word (hi in 0..63).
inline uint64_t _MaskTo(int hi) { return ~uint64_t(0) >> (63 - hi); }

// Sets columns x0..x1 (inclusive, x0 <= x1).
inline void _SetBitRange(uint64_t* row, int x0, int x1) {
    int w0 = x0 >> 6, w1 = x1 >> 6;
    if (w0 == w1) {
        row[w0] |= _MaskFrom(x0 & 63) & _MaskTo(x1 & 63);
        return;
    }
    row[w0] |= _MaskFrom(x0 & 63);
    for (int w = w0 + 1; w < w1; ++w) row[w] = ~uint64_t(0);
    row[w1] |= _MaskTo(x1 & 63);
}

// Largest set column in x0..x1 (inclusive), or -1 when that range is clear.
inline int _LastSetInRange(const uint64_t* row, int x0, int x1) {
    int w0 = x0 >> 6, w1 = x1 >> 6;
    uint64_t v = row[w1] & _MaskTo(x1 & 63);
    if (w0 == w1) {
        v &= _MaskFrom(x0 & 63);
        return v ? (w1 << 6) + _HighestBit(v) : -1;
    }
    if (v) return (w1 << 6) + _HighestBit(v);
    for (int w = w1 - 1; w > w0; --w)
        if (row[w]) return (w << 6) + _HighestBit(row[w]);
    v = row[w0] & _MaskFrom(x0 & 63);
    return v ? (w0 << 6) + _HighestBit(v) : -1;
}

// First set column at or after x and before end, or end when there is none.
inline int _NextSet(const uint64_t* row, int x, int end) {
    if (x >= end) return end;
    int w = x >> 6;
    uint64_t v = row[w] & _MaskFrom(x & 63);
    int lastWord = (end - 1) >> 6;
    while (!v) {
        if (++w > lastWord) return end;
        v = row[w];
    }
    int r = (w << 6) + _LowestBit(v);
    return r < end ? r : end;
}

// First clear column at or after x and before end, or end when there is none.
inline int _NextClear(const uint64_t* row, int x, int end) {
    if (x >= end) return end;
    int w = x >> 6;
    uint64_t v = ~row[w] & _MaskFrom(x & 63);
    int lastWord = (end - 1) >> 6;
    while (!v) {
        if (++w > lastWord) return end;
        v = ~row[w];
    }
    int r = (w << 6) + _LowestBit(v);
    return r < end ? r : end;
}

// Transposes a 64 x 64 bit matrix in place: bit j of word i trades with bit i of
// word j. Off-diagonal blocks swap, halving the block size each round.
inline void _TransposeBits64(uint64_t* a) {
    uint64_t m = 0x00000000FFFFFFFFULL;
    for (int j = 32; j != 0; j >>= 1, m ^= m << j)
        for (int k = 0; k < 64; k = ((k | j) + 1) & ~j) {
            const uint64_t t = ((a[k] >> j) ^ a[k | j]) & m;
            a[k] ^= t << j;
            a[k | j] ^= t;
        }
}

}  // namespace ORVO
