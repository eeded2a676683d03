// XDR as far as fields need it: words lent by a memory stream. The system's library; where there is none, the same of
// ours.
#pragma once

#if !defined(_WIN32)
#include <rpc/xdr.h>
#else

#include <cstdint>
#include <cstring>

/// A stream over words in memory, most significant byte first.
struct XDR {
    char* next;
    unsigned left;
};

enum xdr_op { XDR_ENCODE, XDR_DECODE, XDR_FREE };

inline void xdrmem_create(XDR* stream, char* memory, unsigned bytes, xdr_op) { *stream = {memory, bytes}; }

/// Lends the next bytes; null if there are not as many.
inline std::int32_t* XDR_INLINE(XDR* stream, unsigned bytes) {
    if (bytes > stream->left) return nullptr;
    char* const lent = stream->next;
    *stream = {lent + bytes, stream->left - bytes};
    return reinterpret_cast<std::int32_t*>(lent);
}

/// The word at a place, which moves on.
inline std::uint32_t IXDR_GET_U_INT32(const std::int32_t*& word) {
    return __builtin_bswap32(static_cast<std::uint32_t>(*word++));
}
inline std::int32_t IXDR_GET_INT32(const std::int32_t*& word) {
    return static_cast<std::int32_t>(IXDR_GET_U_INT32(word));
}

#endif
