#include "session/data/strided_source.h"

#include <algorithm>
#include <cstring>

#include "base/element_types.h"

namespace zam::session {

StridedSource::StridedSource(ValueSourcePointer values, int type, xp_long start, StridedAxis parts,
                             std::span<const StridedAxis> space)
    : NodeSource(parts.size, type_size(type)), values_(std::move(values)), start_(start), part_stride_(parts.stride) {
    for (const StridedAxis& axis : space) {
        if (!runs_.empty() && axis.stride == runs_.back().stride * runs_.back().size) {
            runs_.back().size *= axis.size;
        } else {
            runs_.push_back(axis);
        }
    }
}

std::string StridedSource::read_nodes(xp_long node, xp_long count, std::byte* destination) const {
    while (count > 0) {
        const xp_long in_run = std::min(count, runs_.front().size - node % runs_.front().size);
        xp_long from = start_;
        xp_long rest = node;
        for (const StridedAxis& run : runs_) {
            from += rest % run.size * run.stride;
            rest /= run.size;
        }
        if (std::string error = read_run(from, in_run, destination); !error.empty()) return error;
        node += in_run;
        count -= in_run;
        destination += in_run * veclen() * value_size();
    }
    return {};
}

/// Reads nodes that follow each other along the first run, from value `from` of the array on.
std::string StridedSource::read_run(xp_long from, xp_long count, std::byte* destination) const {
    const xp_long stride = runs_.front().stride;
    const xp_long together = part_stride_ == 1 ? veclen() : 1;  // parts that are neighbours in the file
    if (together == veclen() && stride == veclen()) return values_->read(from, count * veclen(), destination);
    const xp_long block = std::clamp<xp_long>(kStreamBlockBytes / value_size() / stride, 1, count);
    std::vector<std::byte> stored(static_cast<std::size_t>(((block - 1) * stride + together) * value_size()));
    for (xp_long done = 0; done < count; done += block) {
        const xp_long nodes = std::min(block, count - done);
        for (xp_long part = 0; part < veclen(); part += together) {
            const xp_long first = from + done * stride + part * part_stride_;
            std::string error = values_->read(first, (nodes - 1) * stride + together, stored.data());
            if (!error.empty()) return error;
            for (xp_long i = 0; i < nodes; ++i) {
                std::memcpy(destination + ((done + i) * veclen() + part) * value_size(),
                            stored.data() + i * stride * value_size(),
                            static_cast<std::size_t>(together * value_size()));
            }
        }
    }
    return {};
}

}  // namespace zam::session
