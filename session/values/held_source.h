// An array that somebody holds, as a source of values.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "base/element_types.h"
#include "session/values/value_source.h"

namespace zam::session {

class HeldSource final : public ValueSource {
public:
    HeldSource(std::shared_ptr<const void> values, int type)
        : values_(std::move(values)), size_(static_cast<xp_long>(type_size(type))) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        std::memcpy(destination, in_memory() + first * size_, static_cast<std::size_t>(count * size_));
        return {};
    }
    const std::byte* in_memory() const override { return static_cast<const std::byte*>(values_.get()); }
    std::shared_ptr<const void> owner() const override { return values_; }

private:
    std::shared_ptr<const void> values_;
    xp_long size_;
};

}  // namespace zam::session
