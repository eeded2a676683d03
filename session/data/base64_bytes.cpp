#include "session/data/base64_bytes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

namespace zam::session {
namespace {

enum Digit : std::uint8_t { kPadding = 64, kBlank, kOther };

constexpr std::array<std::uint8_t, 256> kDigits = [] {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kOther);
    std::uint8_t value = 0;
    for (const char digit : kAlphabet) digits[static_cast<unsigned char>(digit)] = value++;
    for (const char blank : {' ', '\t', '\r', '\n'}) digits[static_cast<unsigned char>(blank)] = kBlank;
    digits[static_cast<unsigned char>('=')] = kPadding;
    return digits;
}();

class Base64Bytes final : public ByteSource {
public:
    Base64Bytes(ByteSourcePointer text, xp_long start, xp_long size)
        : text_(std::move(text)), start_(start), size_(size), next_(start) {}

    xp_long size() const override { return size_; }
    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        if (first < position_ || failed_) begin();
        const xp_long end = first + count;
        while (position_ < end && !failed_) {
            if (left_ == 0) {
                failed_ = !decode_group();
                continue;
            }
            const auto byte = static_cast<std::byte>(group_ >> 16 & 0xFFU);
            if (position_ >= first) destination[position_ - first] = byte;
            group_ <<= 8;
            --left_;
            ++position_;
        }
        return failed_ ? "the base64 text ended early" : "";
    }

private:
    void begin() const {
        next_ = start_;
        block_size_ = at_ = 0;
        position_ = 0;
        left_ = 0;
        failed_ = false;
    }

    /// Four digits make three bytes, or fewer where they end in padding.
    bool decode_group() const {
        group_ = 0;
        int padding = 0;
        for (int digits = 0; digits < 4;) {
            if (at_ == block_size_ && !refill()) return false;
            const std::uint8_t digit = kDigits[static_cast<std::size_t>(block_[at_++])];
            if (digit == kBlank) continue;
            if (digit == kOther || (padding > 0 && digit != kPadding) || (digit == kPadding && digits < 2))
                return false;
            padding += digit == kPadding ? 1 : 0;
            group_ = group_ << 6 | (digit & 0x3FU);
            ++digits;
        }
        left_ = 3 - padding;
        return true;
    }

    bool refill() const {
        const xp_long count = std::min(text_->size() - next_, static_cast<xp_long>(block_.size()));
        if (count <= 0 || !text_->read(next_, count, block_.data()).empty()) return false;
        next_ += count;
        block_size_ = static_cast<std::size_t>(count);
        at_ = 0;
        return true;
    }

    ByteSourcePointer text_;
    xp_long start_, size_;
    mutable std::array<std::byte, 65536> block_{};
    mutable std::size_t block_size_ = 0;
    mutable std::size_t at_ = 0;       // digit of the block that comes next
    mutable xp_long next_;             // byte of the text that comes after the block
    mutable xp_long position_ = 0;     // byte that comes next
    mutable std::uint32_t group_ = 0;  // bytes that are decoded already, the next of them highest in the lower 24 bits
    mutable int left_ = 0;             // how many these are
    mutable bool failed_ = false;
};

}  // namespace

ByteSourcePointer open_base64(ByteSourcePointer text, xp_long start, std::optional<xp_long> size) {
    const xp_long most = std::max<xp_long>(text->size() - start, 0) / 4 * 3;
    return std::make_shared<Base64Bytes>(std::move(text), start, std::min(size.value_or(most), most));
}

}  // namespace zam::session
