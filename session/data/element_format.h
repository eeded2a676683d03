// How data files store numbers, and the element types that these become.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

#include "session/data/byte_source.h"
#include "session/values/value_source.h"

namespace zam::session {

/// The numbers that data files hold. Those that no element type has become the smallest one that holds them all;
/// uint64 becomes double.
enum class Stored { int8, uint8, int16, uint16, int32, uint32, int64, uint64, float16, float32, float64 };

struct ElementFormat {
    Stored stored = Stored::float32;
    bool reversed = false;  // bytes in the other order than this machine's

    std::size_t size() const;  // bytes of one number in the file
    int type() const;          // the element type that it becomes
};

/// `count` numbers from byte `start` of `bytes` on, as values of the format's element type.
ValueSourcePointer decode(ByteSourcePointer bytes, xp_long start, ElementFormat format);

}  // namespace zam::session
