#include "session/data/unpacked_source.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/element_types.h"

namespace zam::session {
namespace {

class UnpackedSource final : public ValueSource {
public:
    UnpackedSource(ValueSourcePointer stored, int from, int to, Unpacking unpacking)
        : stored_(std::move(stored)), from_(from), to_(to), unpacking_(std::move(unpacking)) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        const auto from_size = static_cast<xp_long>(type_size(from_));
        const auto to_size = static_cast<xp_long>(type_size(to_));
        const xp_long block = std::min(count, kStreamBlockBytes / static_cast<xp_long>(sizeof(double)));
        std::vector<std::byte> packed(static_cast<std::size_t>(block * from_size));
        for (xp_long done = 0; done < count; done += block) {
            const xp_long wanted = std::min(block, count - done);
            if (std::string error = stored_->read(first + done, wanted, packed.data()); !error.empty()) return error;
            with_type(from_, [&](auto from) {
                with_type(to_, [&](auto to) {
                    using From = decltype(from);
                    using To = decltype(to);
                    if constexpr (std::is_same_v<From, To> || std::is_floating_point_v<To>)
                        unpack_block<From, To>(packed.data(), wanted, destination + done * to_size);
                });
            });
        }
        return {};
    }

private:
    template <class From, class To>
    void unpack_block(const std::byte* packed, xp_long count, std::byte* destination) const {
        const bool scaled = unpacking_.scale || unpacking_.offset;
        const double scale = unpacking_.scale.value_or(1.0);
        const double offset = unpacking_.offset.value_or(0.0);
        for (xp_long i = 0; i < count; ++i) {
            From stored{};
            std::memcpy(&stored, packed + i * static_cast<xp_long>(sizeof stored), sizeof stored);
            To value{};
            if (is_null(stored)) {
                value = static_cast<To>(unpacking_.nulls.front());
            } else if (scaled) {
                value = static_cast<To>(static_cast<double>(stored) * scale + offset);
            } else {
                value = static_cast<To>(stored);
            }
            std::memcpy(destination + i * static_cast<xp_long>(sizeof value), &value, sizeof value);
        }
    }

    template <class From>
    bool is_null(From stored) const {
        return std::any_of(unpacking_.nulls.begin(), unpacking_.nulls.end(), [&](double null) {
            return stored == static_cast<From>(null) || (std::isnan(null) && std::isnan(static_cast<double>(stored)));
        });
    }

    ValueSourcePointer stored_;
    int from_, to_;
    Unpacking unpacking_;
};

}  // namespace

ValueSourcePointer unpack(ValueSourcePointer stored, int from, int to, Unpacking unpacking) {
    return std::make_shared<UnpackedSource>(std::move(stored), from, to, std::move(unpacking));
}

}  // namespace zam::session
