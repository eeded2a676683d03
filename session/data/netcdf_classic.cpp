#include "session/data/netcdf_classic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "session/data/data_error.h"

namespace zam::session {
namespace {

constexpr std::array<double, 12> kTypeSizes{0, 1, 1, 2, 4, 4, 8, 1, 2, 4, 8, 8};  // by code; none has code 0
enum class Tag : std::uint32_t { absent = 0, dimensions = 10, variables = 11, attributes = 12 };

[[noreturn]] void fail() { throw DataError("the NetCDF header is broken"); }

double padded(double bytes) { return std::ceil(bytes / 4.0) * 4.0; }

/// Goes through a header. Sizes of values are doubles, as files may claim any.
class ClassicHeader {
public:
    explicit ClassicHeader(const ByteSource& bytes) : bytes_(bytes) {}

    void check() {
        const std::uint64_t magic = number(4);
        const auto version = static_cast<int>(magic & 0xFF);
        if (magic >> 8 != 0x434446 || (version != 1 && version != 2 && version != 5)) return;
        word_ = version == 5 ? 8 : 4;
        offset_ = version == 1 ? 4 : 8;
        const std::uint64_t records = number(word_);
        const bool streaming = records == (word_ == 4 ? UINT32_MAX : UINT64_MAX);  // as many as the file has
        records_ = streaming ? 0.0 : static_cast<double>(records);
        for (std::uint64_t left = list(Tag::dimensions); left > 0; --left) {
            skip_name();
            sizes_.push_back(number(word_));
        }
        skip_attributes();
        for (std::uint64_t left = list(Tag::variables); left > 0; --left) take_variable();
        check_records();
    }

private:
    /// A number of `count` bytes, the highest first.
    std::uint64_t number(int count) {
        if (bytes_.size() - at_ < count) throw DataError("the file ends within its header");
        if (at_ < window_start_ || at_ + count > window_start_ + window_size_) fill_window();
        std::uint64_t value = 0;
        for (int i = 0; i < count; ++i)
            value =
                value << 8 | std::to_integer<std::uint64_t>(window_[static_cast<std::size_t>(at_++ - window_start_)]);
        return value;
    }
    void fill_window() {
        window_start_ = at_;
        window_size_ = std::min(bytes_.size() - at_, static_cast<xp_long>(window_.size()));
        const std::string error = bytes_.read(at_, window_size_, window_.data());
        if (!error.empty()) throw DataError(error);
    }

    /// A count of things of which each takes `size` bytes at least.
    std::uint64_t count(double size) {
        const std::uint64_t things = number(word_);
        if (static_cast<double>(things) * size > static_cast<double>(bytes_.size() - at_))
            throw DataError("the file ends within its header");
        return things;
    }
    void skip(double bytes) {
        if (bytes > static_cast<double>(bytes_.size() - at_)) throw DataError("the file ends within its header");
        at_ += static_cast<xp_long>(bytes);
    }
    void skip_name() { skip(padded(static_cast<double>(count(1)))); }
    /// The number of elements of a list.
    std::uint64_t list(Tag expected) {
        const auto tag = static_cast<Tag>(number(4));
        const std::uint64_t elements = count(8);
        if (tag != expected && (tag != Tag::absent || elements > 0)) fail();
        return elements;
    }
    double type_size() {
        const std::uint64_t type = number(4);
        if (type == 0 || type >= kTypeSizes.size()) fail();
        return kTypeSizes[type];
    }
    void skip_attributes() {
        for (std::uint64_t left = list(Tag::attributes); left > 0; --left) {
            skip_name();
            const double size = type_size();
            skip(padded(static_cast<double>(count(size)) * size));
        }
    }

    void take_variable() {
        skip_name();
        double values = 1.0;
        bool has_records = false;
        const std::uint64_t axes = count(word_);
        for (std::uint64_t axis = 0; axis < axes; ++axis) {
            const std::uint64_t dimension = number(word_);
            if (dimension >= sizes_.size()) fail();
            const std::uint64_t size = sizes_[dimension];  // 0: the record dimension
            has_records = has_records || (axis == 0 && size == 0);
            if (axis > 0 || size > 0) values *= static_cast<double>(size);
        }
        skip_attributes();
        const double bytes = values * type_size();
        number(word_);  // the variable's size, which follows from its dimensions
        const auto begin = static_cast<double>(number(offset_));
        if (has_records) {
            record_variables_.push_back({begin, bytes});
        } else {
            require_bytes(begin + bytes);
        }
    }

    void check_records() const {
        double record = 0.0;
        for (const auto& variable : record_variables_) record += padded(variable.bytes);
        if (record_variables_.size() == 1) record = record_variables_.front().bytes;  // deliberate: not padded
        for (const auto& variable : record_variables_) {
            if (records_ > 0.0) require_bytes(variable.begin + (records_ - 1.0) * record + variable.bytes);
        }
    }
    void require_bytes(double bytes) const {
        if (bytes > static_cast<double>(bytes_.size())) throw DataError("the file is too short for all values");
    }

    struct RecordVariable {
        double begin, bytes;  // of its part of a record
    };

    const ByteSource& bytes_;
    xp_long at_ = 0;
    std::array<std::byte, 4096> window_{};
    xp_long window_start_ = 0, window_size_ = 0;
    int word_ = 4, offset_ = 4;  // bytes of counts and of places in the file
    double records_ = 0.0;
    std::vector<std::uint64_t> sizes_;  // of the dimensions
    std::vector<RecordVariable> record_variables_;
};

}  // namespace

void check_classic_netcdf(const ByteSource& bytes) { ClassicHeader(bytes).check(); }

}  // namespace zam::session
