#include "session/data/text_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

#include "base/element_types.h"

namespace zam::session {
namespace {

class TextValues final : public ValueSource {
public:
    TextValues(ByteSourcePointer text, xp_long start, xp_long end, int type)
        : text_(std::move(text)), start_(start), end_(end), type_(type), next_(start) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        if (first < position_) {
            next_ = start_;
            position_ = 0;
            block_size_ = at_ = 0;
        }
        return with_type(type_, [&](auto zero) -> std::string {
            using T = decltype(zero);
            for (; position_ < first + count; ++position_) {
                const std::string_view word = next_word();
                if (word.empty()) return "the text ends after " + std::to_string(position_) + " values";
                T value{};
                const auto parsed = std::from_chars(word.data(), word.data() + word.size(), value);
                if (parsed.ec != std::errc() || parsed.ptr != word.data() + word.size())
                    return "value " + std::to_string(position_) + " is no number of type " +
                           std::string(type_name(type_));
                if (position_ >= first) std::memcpy(destination + (position_ - first) * kSize<T>, &value, sizeof value);
            }
            return {};
        });
    }

private:
    template <class T>
    static constexpr auto kSize = static_cast<xp_long>(sizeof(T));

    /// The next word, "?" for one that is longer than any number. Empty at the end.
    std::string_view next_word() const {
        std::size_t size = 0;
        while (at_ < block_size_ || refill()) {
            const char c = block_[at_++];
            const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
            if (blank && size > 0) break;
            if (!blank && size < word_.size()) word_[size++] = c;
        }
        return size < word_.size() ? std::string_view(word_.data(), size) : "?";
    }

    bool refill() const {
        const xp_long count = std::min(end_ - next_, static_cast<xp_long>(block_.size()));
        if (count <= 0 || !text_->read(next_, count, reinterpret_cast<std::byte*>(block_.data())).empty()) return false;
        next_ += count;
        block_size_ = static_cast<std::size_t>(count);
        at_ = 0;
        return true;
    }

    ByteSourcePointer text_;
    xp_long start_, end_;
    int type_;
    mutable std::array<char, 65536> block_{};
    mutable std::array<char, 400> word_{};
    mutable std::size_t block_size_ = 0;
    mutable std::size_t at_ = 0;    // character of the block that comes next
    mutable xp_long next_;          // byte of the text that comes after the block
    mutable xp_long position_ = 0;  // value that comes next
};

}  // namespace

ValueSourcePointer open_text_values(ByteSourcePointer text, xp_long start, xp_long end, int type) {
    return std::make_shared<TextValues>(std::move(text), start, end, type);
}

}  // namespace zam::session
