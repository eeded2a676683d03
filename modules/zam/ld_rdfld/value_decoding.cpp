#include "modules/zam/ld_rdfld/value_decoding.h"

#include <rpc/xdr.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "modules/support/host_array.h"
#include "modules/zam/ld_rdfld/byte_order.h"
#include "modules/zam/ld_rdfld/reports.h"

namespace zam::ldrf {
namespace {

constexpr xp_long kBlockBytes = xp_long{1} << 18;  // stays in the second-level cache between reading and converting

void swap_values(std::byte* values, std::size_t count, std::size_t width) {
    switch (width) {
        case 2: return reverse_bytes<std::uint16_t>(values, count);
        case 4: return reverse_bytes<std::uint32_t>(values, count);
        default: return reverse_bytes<std::uint64_t>(values, count);
    }
}

/// Moves every stride-th value to the front.
template <std::size_t kWidth>
void gather(std::byte* block, xp_long count, xp_long stride) {
    for (xp_long i = 1; i < count; ++i) {
        std::memcpy(block + i * static_cast<xp_long>(kWidth), block + i * stride * static_cast<xp_long>(kWidth),
                    kWidth);
    }
}

void gather(std::byte* block, xp_long count, xp_long stride, xp_long width) {
    if (stride == 1) return;
    switch (width) {
        case 1: return gather<1>(block, count, stride);
        case 2: return gather<2>(block, count, stride);
        case 4: return gather<4>(block, count, stride);
        default: return gather<8>(block, count, stride);
    }
}

/// Decodes the words that the XDR memory stream lends: what its functions give value by value, several times faster.
bool decode_xdr_block(std::byte* wire, xp_long bytes, int type, std::byte* to, xp_long count) {
    XDR xdr;
    xdrmem_create(&xdr, reinterpret_cast<char*>(wire), static_cast<u_int>(bytes), XDR_DECODE);
    const std::int32_t* word = XDR_INLINE(&xdr, static_cast<u_int>(bytes));
    if (word == nullptr) return false;
    const auto store = [&](xp_long i, auto value) {
        std::memcpy(to + i * static_cast<xp_long>(sizeof value), &value, sizeof value);
    };
    switch (type) {
        case DTYPE_INT:
        case DTYPE_FLOAT:
            for (xp_long i = 0; i < count; ++i) store(i, IXDR_GET_INT32(word));
            return true;
        case DTYPE_DOUBLE:
            for (xp_long i = 0; i < count; ++i) {
                const std::uint64_t high = IXDR_GET_U_INT32(word);
                store(i, high << 32 | IXDR_GET_U_INT32(word));
            }
            return true;
        default:  // a long: 4 bytes on the wire, 8 in memory
            for (xp_long i = 0; i < count; ++i) store(i, static_cast<xp_long>(IXDR_GET_INT32(word)));
            return true;
    }
}

/// Two bytes a value, most significant first: deliberately not the 4-byte short of XDR.
void decode_short_block(const std::byte* wire, std::byte* to, xp_long count) {
    std::memcpy(to, wire, static_cast<std::size_t>(count) * 2);
    if constexpr (std::endian::native == std::endian::little) {
        reverse_bytes<std::uint16_t>(to, static_cast<std::size_t>(count));
    }
}

Decoded report_short_read(xp_long asked, xp_long got) {
    kReport.fail("Attempted binary read of %lld bytes read only %lld", static_cast<long long>(asked),
                 static_cast<long long>(got));
    return Decoded::reported;
}

/// Contiguous native values go straight to their place, swapped block by block while they are in the cache.
Decoded read_native(ByteSource& bytes, const Encoding& encoding, std::byte* to, xp_long count) {
    const xp_long width = wire_size(encoding);
    const xp_long total = count * width;
    const xp_long step = encoding.swap ? kBlockBytes : total;
    for (xp_long done = 0; done < total; done += step) {
        const xp_long part = std::min(step, total - done);
        const auto got = static_cast<xp_long>(bytes.read(to + done, static_cast<std::size_t>(part)));
        if (got < part) return report_short_read(total, done + got);
        if (encoding.swap)
            swap_values(to + done, static_cast<std::size_t>(part / width), static_cast<std::size_t>(width));
    }
    return Decoded::ok;
}

Decoded unknown_type(Asking asking) {
    std::fputs(asking == Asking::whole_field ? "rf_read_field2: LDRFread_stuff_all: unknown dtype\n"
                                             : "rf_read_field3: read_stuff2: unknown dtype\n",
               stderr);
    return Decoded::failed;
}

bool convert_block(std::byte* wire, const Encoding& encoding, std::byte* to, xp_long count) {
    const bool native = !encoding.portable || encoding.type == DTYPE_BYTE;
    const auto bytes = static_cast<std::size_t>(count * wire_size(encoding));
    if (native) {
        std::memcpy(to, wire, bytes);
        if (encoding.swap) swap_values(to, static_cast<std::size_t>(count), type_size(encoding.type));
        return true;
    }
    if (encoding.type == DTYPE_SHORT) {
        decode_short_block(wire, to, count);
        return true;
    }
    return decode_xdr_block(wire, static_cast<xp_long>(bytes), encoding.type, to, count);
}

}  // namespace

xp_long wire_size(const Encoding& encoding) {
    if (encoding.portable && encoding.type == DTYPE_LONG) return 4;
    return static_cast<xp_long>(type_size(encoding.type));
}

Decoded decode_values(ByteSource& bytes, Encoding encoding, std::byte* to, xp_long count, xp_long stride,
                      Asking asking) {
    const bool native = !encoding.portable || encoding.type == DTYPE_BYTE;
    if (type_size(encoding.type) == 0 || (!native && encoding.type == DTYPE_CHAR)) return unknown_type(asking);
    if (count <= 0) return Decoded::ok;
    if (native && encoding.swap && type_size(encoding.type) == 1) {
        std::fputs("rf_read_field: can't swap bytes\n", stderr);
        encoding.swap = false;  // deliberate: bytes stay as they are, and that is a success
    }
    if (native && stride == 1) return read_native(bytes, encoding, to, count);

    const xp_long wire = wire_size(encoding);
    const auto width = static_cast<xp_long>(type_size(encoding.type));
    // values that lie far apart are read one by one
    const xp_long per_block = stride > kBlockBytes / wire ? 1 : kBlockBytes / (wire * stride);
    std::vector<std::byte> block(static_cast<std::size_t>(std::max(kBlockBytes, wire)));
    for (xp_long done = 0; done < count;) {
        const xp_long part = std::min(per_block, count - done);
        const xp_long span = ((part - 1) * stride + 1) * wire;
        const auto got = static_cast<xp_long>(bytes.read(block.data(), static_cast<std::size_t>(span)));
        if (got < span) {
            if (!native) return Decoded::failed;
            return report_short_read(((count - 1) * stride + 1) * wire, done * stride * wire + got);
        }
        gather(block.data(), part, stride, wire);
        if (!convert_block(block.data(), encoding, to + done * width, part)) return Decoded::failed;
        done += part;
        if (done < count) bytes.skip((stride - 1) * wire);
    }
    return Decoded::ok;
}

}  // namespace zam::ldrf
