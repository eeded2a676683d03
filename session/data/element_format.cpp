#include "session/data/element_format.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/byte_order.h"
#include "base/element_types.h"

namespace zam::session {
namespace {

/// IEEE half precision, in the low bits of a word.
struct Half {
    std::uint16_t bits;

    explicit operator float() const {
        const int exponent = (bits >> 10) & 0x1F;
        const int fraction = bits & 0x3FF;
        const float sign = (bits & 0x8000) != 0 ? -1.0F : 1.0F;
        if (exponent == 0) return sign * std::ldexp(static_cast<float>(fraction), -24);
        if (exponent < 31) return sign * std::ldexp(static_cast<float>(fraction + 1024), exponent - 25);
        return fraction != 0 ? std::nanf("") : sign * HUGE_VALF;
    }
};

template <class From, class To>
void widen(const std::byte* from, std::size_t count, std::byte* to) {
    for (std::size_t i = 0; i < count; ++i) {
        From value{};
        std::memcpy(&value, from + i * sizeof value, sizeof value);
        const To wide = static_cast<To>(value);  // NOLINT(bugprone-signed-char-misuse): a number of 8 bits
        std::memcpy(to + i * sizeof wide, &wide, sizeof wide);
    }
}

void reverse(std::byte* values, std::size_t count, xp_long size) {
    if (size == 2) return reverse_bytes<std::uint16_t>(values, count);
    if (size == 4) return reverse_bytes<std::uint32_t>(values, count);
    if (size == 8) return reverse_bytes<std::uint64_t>(values, count);
}

struct StoredForm {
    std::size_t size;
    int type;
    void (*widen)(const std::byte* from, std::size_t count, std::byte* to);  // null: stored as the type is
};

/// In the order of Stored.
constexpr StoredForm kForms[] = {
    {1, DTYPE_SHORT, widen<std::int8_t, std::int16_t>},
    {1, DTYPE_BYTE, nullptr},
    {2, DTYPE_SHORT, nullptr},
    {2, DTYPE_INT, widen<std::uint16_t, std::int32_t>},
    {4, DTYPE_INT, nullptr},
    {4, DTYPE_LONG, widen<std::uint32_t, xp_long>},
    {8, DTYPE_LONG, nullptr},
    {8, DTYPE_DOUBLE, widen<std::uint64_t, double>},
    {2, DTYPE_FLOAT, widen<Half, float>},
    {4, DTYPE_FLOAT, nullptr},
    {8, DTYPE_DOUBLE, nullptr},
};

const StoredForm& form_of(const ElementFormat& format) { return kForms[static_cast<std::size_t>(format.stored)]; }

class DecodedSource final : public ValueSource {
public:
    DecodedSource(ByteSourcePointer bytes, xp_long start, ElementFormat format)
        : bytes_(std::move(bytes)), start_(start), format_(format) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        const StoredForm& form = form_of(format_);
        const auto size = static_cast<xp_long>(form.size);
        if (!form.widen) return read_stored(first, count, destination);
        const xp_long block = std::min(count, kStreamBlockBytes / size);
        std::vector<std::byte> stored(static_cast<std::size_t>(block * size));
        for (xp_long done = 0; done < count; done += block) {
            const xp_long wanted = std::min(block, count - done);
            if (std::string error = read_stored(first + done, wanted, stored.data()); !error.empty()) return error;
            form.widen(stored.data(), static_cast<std::size_t>(wanted),
                       destination + done * static_cast<xp_long>(type_size(form.type)));
        }
        return {};
    }

private:
    std::string read_stored(xp_long first, xp_long count, std::byte* destination) const {
        const auto size = static_cast<xp_long>(form_of(format_).size);
        std::string error = bytes_->read(start_ + first * size, count * size, destination);
        if (error.empty() && format_.reversed) reverse(destination, static_cast<std::size_t>(count), size);
        return error;
    }

    ByteSourcePointer bytes_;
    xp_long start_;
    ElementFormat format_;
};

}  // namespace

std::size_t ElementFormat::size() const { return form_of(*this).size; }
int ElementFormat::type() const { return form_of(*this).type; }

ValueSourcePointer decode(ByteSourcePointer bytes, xp_long start, ElementFormat format) {
    return std::make_shared<DecodedSource>(std::move(bytes), start, format);
}

}  // namespace zam::session
