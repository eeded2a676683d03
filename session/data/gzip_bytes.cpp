#include "session/data/gzip_bytes.h"

#include <zlib.h>

#include <algorithm>
#include <array>

#include "session/data/data_error.h"

namespace zam::session {
namespace {

/// Goes through the bytes from the front; what lies before the wanted ones is unpacked and dropped.
class GzipBytes final : public ByteSource {
public:
    GzipBytes(ByteSourcePointer packed, xp_long start, xp_long size)
        : packed_(std::move(packed)), start_(start), size_(size) {
        constexpr int kAnyHeader = 15 + 32;  // gzip's or zlib's, with the largest window
        if (inflateInit2(&stream_, kAnyHeader) != Z_OK)
            throw DataError("there is not enough memory to unpack the data");
        begin();
    }
    GzipBytes(const GzipBytes&) = delete;
    GzipBytes& operator=(const GzipBytes&) = delete;
    ~GzipBytes() override { inflateEnd(&stream_); }

    xp_long size() const override { return size_; }
    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        if (first < position_ || failed_) begin();
        std::string error;
        while (error.empty() && position_ < first) {
            std::array<std::byte, 65536> dropped;
            error = unpack(std::min<xp_long>(first - position_, dropped.size()), dropped.data());
        }
        if (error.empty()) error = unpack(count, destination);
        failed_ = !error.empty();
        return error;
    }

private:
    void begin() const {
        inflateReset(&stream_);
        stream_.avail_in = 0;
        next_ = start_;
        position_ = 0;
    }

    std::string unpack(xp_long count, std::byte* destination) const {
        while (count > 0) {
            if (stream_.avail_in == 0) {
                if (std::string error = refill(); !error.empty()) return error;
            }
            const auto wanted = static_cast<uInt>(std::min<xp_long>(count, 1 << 30));
            stream_.next_out = reinterpret_cast<Bytef*>(destination);
            stream_.avail_out = wanted;
            const int status = inflate(&stream_, Z_NO_FLUSH);
            const xp_long got = wanted - stream_.avail_out;
            position_ += got;
            count -= got;
            destination += got;
            if (status == Z_STREAM_END) {
                inflateReset(&stream_);  // files put together are unpacked as one
            } else if (status != Z_OK && status != Z_BUF_ERROR) {
                return "the packed data is damaged";
            }
        }
        return {};
    }

    std::string refill() const {
        const xp_long count = std::min(packed_->size() - next_, static_cast<xp_long>(input_.size()));
        if (count <= 0) return "the packed data ended early";
        std::string error = packed_->read(next_, count, input_.data());
        stream_.next_in = reinterpret_cast<Bytef*>(input_.data());
        stream_.avail_in = static_cast<uInt>(count);
        next_ += count;
        return error;
    }

    ByteSourcePointer packed_;
    xp_long start_, size_;
    mutable z_stream stream_{};
    mutable std::array<std::byte, 65536> input_{};
    mutable xp_long next_ = 0;      // packed byte that comes after those in input_
    mutable xp_long position_ = 0;  // unpacked byte that comes next
    mutable bool failed_ = false;
};

}  // namespace

ByteSourcePointer open_gzip(ByteSourcePointer packed, xp_long start, xp_long size) {
    if (size / kMostPerPackedByte > packed->size() - start)
        throw DataError("the packed data is too short for all values");
    return std::make_shared<GzipBytes>(std::move(packed), start, size);
}

}  // namespace zam::session
