#pragma once
// Small pieces shared by the text readers and writers: cursor helpers over a
// byte range, number parsing that insists on a whole token, and shortest
// round-trip number formatting (what is written reads back bit-exactly).

#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace ORVO {

inline bool _IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }
inline bool _IsSpace(char c) { return _IsBlank(c) || c == '\n'; }

inline const char* _SkipBlanks(const char* p, const char* end) {
    while (p < end && _IsBlank(*p)) ++p;
    return p;
}

inline const char* _SkipSpaces(const char* p, const char* end) {
    while (p < end && _IsSpace(*p)) ++p;
    return p;
}

// End of the line that starts at p (the '\n' or `end`).
inline const char* _LineEnd(const char* p, const char* end) {
    if (p >= end) return end;
    const void* nl = std::memchr(p, '\n', static_cast<size_t>(end - p));
    return nl ? static_cast<const char*>(nl) : end;
}

// Whether a token ends at p: end of range, a blank or a line end, or one of
// the extra separators given.
inline bool _TokenEnds(const char* p, const char* end, const char* extraSeparators = "") {
    return p >= end || _IsSpace(*p) || (*p != '\0' && std::strchr(extraSeparators, *p) != nullptr);
}

// Reads one real after optional blanks; the token must end there. Accepts a
// leading '+'. Non-finite spellings ("nan", "inf") parse: callers reject them.
inline bool _ReadReal(const char*& p, const char* end, double& value, const char* extraSeparators = "") {
    const char* q = _SkipBlanks(p, end);
    if (q < end && *q == '+') ++q;
    auto result = std::from_chars(q, end, value);
    if (result.ec == std::errc::result_out_of_range) {
        // Denormal or overflowing spellings: take them as the nearest representable value.
        char* stop = nullptr;
        std::string token(q, static_cast<size_t>(result.ptr - q));
        value = std::strtod(token.c_str(), &stop);
    } else if (result.ec != std::errc()) {
        return false;
    }
    if (!_TokenEnds(result.ptr, end, extraSeparators)) return false;
    p = result.ptr;
    return true;
}

// Reads one integer after optional blanks; stops at the first non-digit (the
// caller decides what may follow). False on no digits or overflow of int64.
inline bool _ReadInteger(const char*& p, const char* end, int64_t& value) {
    const char* q = _SkipBlanks(p, end);
    if (q < end && *q == '+') ++q;
    auto result = std::from_chars(q, end, value);
    if (result.ec != std::errc()) return false;
    p = result.ptr;
    return true;
}

// Appends the shortest decimal form that reads back as the same double.
inline void _AppendReal(std::string& out, double value) {
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    out.append(buffer, result.ptr);
}

inline void _AppendReal(std::string& out, float value) {
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    out.append(buffer, result.ptr);
}

inline void _AppendInteger(std::string& out, int64_t value) {
    char buffer[24];
    auto result = std::to_chars(buffer, buffer + sizeof(buffer), value);
    out.append(buffer, result.ptr);
}

// Whether the range holds a NUL byte: text formats never do, binary junk does.
inline bool _HasNulByte(const char* p, const char* end) {
    return p < end && std::memchr(p, '\0', static_cast<size_t>(end - p)) != nullptr;
}

}  // namespace ORVO
