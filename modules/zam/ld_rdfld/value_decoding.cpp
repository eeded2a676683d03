#include "modules/zam/ld_rdfld/value_decoding.h"

#include <cstdint>
#include <cstring>

#include "base/byte_order.h"
#include "modules/support/host_array.h"
#include "platform/xdr.h"

namespace zam::ldrf {
namespace {

/// Decodes the words that the XDR memory stream lends: the same values as from its functions, several times faster.
bool decode_xdr(std::byte* wire, xp_long bytes, int type, std::byte* to, xp_long count) {
    XDR xdr;
    xdrmem_create(&xdr, reinterpret_cast<char*>(wire), static_cast<unsigned>(bytes), XDR_DECODE);
    const std::int32_t* word = XDR_INLINE(&xdr, static_cast<unsigned>(bytes));
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

/// Two bytes per value, most significant first: deliberately not the 4-byte short of XDR.
void decode_short(const std::byte* wire, std::byte* to, xp_long count) {
    std::memcpy(to, wire, static_cast<std::size_t>(count) * 2);
    if constexpr (std::endian::native == std::endian::little) {
        reverse_bytes<std::uint16_t>(to, static_cast<std::size_t>(count));
    }
}

}  // namespace

bool Encoding::native() const { return !portable || type == DTYPE_BYTE; }

bool decodable(const Encoding& encoding) {
    return type_size(encoding.type) != 0 && (encoding.native() || encoding.type != DTYPE_CHAR);
}

xp_long wire_size(const Encoding& encoding) {
    if (encoding.portable && encoding.type == DTYPE_LONG) return 4;
    return static_cast<xp_long>(type_size(encoding.type));
}

void swap_values(std::byte* values, const Encoding& encoding, xp_long count) {
    if (encoding.swap) reverse_bytes(encoding.type, values, static_cast<std::size_t>(count));
}

bool decode_values(std::byte* wire, const Encoding& encoding, std::byte* to, xp_long count) {
    const xp_long bytes = count * wire_size(encoding);
    if (encoding.native()) {
        std::memcpy(to, wire, static_cast<std::size_t>(bytes));
        swap_values(to, encoding, count);
        return true;
    }
    if (encoding.type == DTYPE_SHORT) {
        decode_short(wire, to, count);
        return true;
    }
    return decode_xdr(wire, bytes, encoding.type, to, count);
}

}  // namespace zam::ldrf
