#include "modules/zam/ld_rdfld/value_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "base/element_types.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

constexpr xp_long kBlockBytes = xp_long{1} << 18;  // stays in the second-level cache between reading and converting

/// Calls visit with a constant that is the width of a value.
template <class Visit>
void with_width(xp_long width, Visit visit) {
    switch (width) {
        case 1: return visit(std::integral_constant<xp_long, 1>{});
        case 2: return visit(std::integral_constant<xp_long, 2>{});
        case 4: return visit(std::integral_constant<xp_long, 4>{});
        default: return visit(std::integral_constant<xp_long, 8>{});
    }
}

/// Moves the values with the given indices, ascending from 0, to the front.
template <class Index>
void gather(std::byte* block, xp_long count, xp_long width, Index index) {
    with_width(width, [&](auto bytes) {
        for (xp_long i = 1; i < count; ++i) std::memcpy(block + i * bytes, block + index(i) * bytes, bytes);
    });
}

/// Spreads contiguous values over places `spacing` apart.
void scatter(const std::byte* from, xp_long count, xp_long width, std::byte* to, xp_long spacing) {
    with_width(width, [&](auto bytes) {
        for (xp_long i = 0; i < count; ++i) std::memcpy(to + i * spacing * bytes, from + i * bytes, bytes);
    });
}

/// The kept nodes as rows along the first axis; leading axes that are kept whole make longer rows with the next one.
class Rows {
public:
    explicit Rows(const KeptNodes& kept) : kept_(kept), row_(kept.axis[0]) {
        while (outer_ < kept.ndim && row_.whole() && kept.axis[static_cast<std::size_t>(outer_)].factor <= 1.0) {
            const KeptAxis& axis = kept.axis[static_cast<std::size_t>(outer_++)];
            row_.count = axis.count * row_.full;
            row_.min = axis.min * row_.full;
            row_.full *= axis.full;
            row_.factor = 1.0;
        }
    }

    const KeptAxis& row() const { return row_; }

    /// First kept node of the current row, in the file's order.
    xp_long start() const {
        xp_long start = row_.min;
        xp_long nodes_per_index = row_.full;
        for (auto i = static_cast<std::size_t>(outer_); i < static_cast<std::size_t>(kept_.ndim); ++i) {
            start += kept_.axis[i].node(at_[i]) * nodes_per_index;
            nodes_per_index *= kept_.axis[i].full;
        }
        return start;
    }

    /// Advances to the next row; false after the last.
    bool next() {
        for (auto i = static_cast<std::size_t>(outer_); i < static_cast<std::size_t>(kept_.ndim); ++i) {
            if (++at_[i] < kept_.axis[i].count) return true;
            at_[i] = 0;
        }
        return false;
    }

private:
    const KeptNodes& kept_;
    KeptAxis row_;
    int outer_ = 1;  // the first axis that is not part of a row
    std::array<xp_long, kMaxDims> at_{};
};

xp_long first_byte(const Placement& placement) {
    return far_sum(placement.start, placement.file_type == kAscii ? 0 : placement.skip);
}

}  // namespace

void ValueReader::begin(const Placement& placement, const Encoding& encoding) {
    placement_ = placement;
    encoding_ = encoding;
    value_ = 0;
    bytes_.begin(first_byte(placement), placement.file_type == kUnformatted);
    if (!text()) return;
    words_.emplace(bytes_.file());
    words_->skip_lines(placement.skip);
}

std::optional<Fault> ValueReader::read(const KeptNodes& kept, std::byte* to, xp_long spacing) {
    if (!text() && !decodable(encoding_)) {
        std::fputs(kept.whole() ? "rf_read_field2: LDRFread_stuff_all: unknown dtype\n"
                                : "rf_read_field3: read_stuff2: unknown dtype\n",
                   stderr);
        return Fault{Fault::not_decoded};
    }
    // deliberate: bytes stay as they are, and that is a success
    if (!text() && encoding_.native() && encoding_.swap && wire_size(encoding_) == 1) {
        std::fputs("rf_read_field: can't swap bytes\n", stderr);
    }
    Rows rows(kept);
    const xp_long row_bytes = rows.row().count * spacing * static_cast<xp_long>(type_size(encoding_.type));
    for (;;) {
        if (const Result fault = go_to_node(rows.start())) return fault;
        if (const Result fault = read_row(rows.row(), to, spacing)) return fault;
        if (!rows.next()) return std::nullopt;
        to += row_bytes;
    }
}

std::optional<Fault> ValueReader::read_and_drop(xp_long nodes) {
    std::array<std::byte, sizeof(double)> value;
    for (xp_long node = 0; node < nodes; ++node) {
        if (const Result fault = go_to_node(node)) return fault;
        if (const Result fault = read_row(KeptAxis{}, value.data(), 1)) return fault;
    }
    return std::nullopt;
}

/// Skips whatever lies before a node's value.
std::optional<Fault> ValueReader::go_to_node(xp_long node) {
    const xp_long missing = placement_.offset + node * placement_.stride - value_;
    if (missing <= 0) return std::nullopt;
    value_ += missing;
    if (!text()) {
        bytes_.skip(missing * wire_size(encoding_));
        return std::nullopt;
    }
    const xp_long passed = words_->skip_words(missing);
    if (passed == missing) return std::nullopt;
    const xp_long words_of_nodes = std::max<xp_long>(0, value_ - missing + passed - placement_.offset);
    return Fault{.kind = Fault::missing_word, .node = (words_of_nodes + placement_.stride - 1) / placement_.stride};
}

/// Reads the kept nodes of a row whose first one is next.
std::optional<Fault> ValueReader::read_row(const KeptAxis& row, std::byte* to, xp_long spacing) {
    if (text()) return read_words(row, to, spacing);
    const bool contiguous = placement_.stride == 1 && row.factor <= 1.0 && spacing == 1;
    return contiguous && encoding_.native() ? read_direct(row.count, to) : read_blocks(row, to, spacing);
}

std::optional<Fault> ValueReader::read_words(const KeptAxis& row, std::byte* to, xp_long spacing) {
    const xp_long first = (value_ - placement_.offset) / placement_.stride;  // node
    const bool thinned = row.factor > 1.0;
    const xp_long run = thinned || placement_.stride > 1 ? 1 : row.count;  // nodes whose words follow each other
    const xp_long step = spacing * static_cast<xp_long>(type_size(encoding_.type));
    return with_type(encoding_.type, [&]<class T>(T /*value*/) -> Result {
        for (xp_long i = 0; i < row.count; i += run) {
            const xp_long node = first + (thinned ? row.node(i) - row.min : i);
            if (const Result fault = go_to_node(node)) return fault;
            const xp_long read = words_->read_run<T>(run, to + i * step, spacing);
            if (read < run) return Fault{.kind = Fault::no_number, .node = node + read};
            value_ += run;
        }
        return std::nullopt;
    });
}

/// Contiguous native values go straight to their place, swapped block by block while they are in the cache.
std::optional<Fault> ValueReader::read_direct(xp_long count, std::byte* to) {
    const xp_long width = wire_size(encoding_);
    const xp_long total = count * width;
    const xp_long step = encoding_.swap ? kBlockBytes : total;
    for (xp_long done = 0; done < total; done += step) {
        const xp_long part = std::min(step, total - done);
        const auto got = static_cast<xp_long>(bytes_.read(to + done, static_cast<std::size_t>(part)));
        if (got < part) return Fault{.kind = Fault::short_read, .asked = total, .got = done + got};
        swap_values(to + done, encoding_, part / width);
    }
    value_ += count;
    return std::nullopt;
}

/// Blocks of the file, of which the kept values are brought together, decoded and put in their places.
std::optional<Fault> ValueReader::read_blocks(const KeptAxis& row, std::byte* to, xp_long spacing) {
    const xp_long wire = wire_size(encoding_);
    const auto width = static_cast<xp_long>(type_size(encoding_.type));
    const xp_long stride = placement_.stride;
    const bool thinned = row.factor > 1.0;
    // values that lie far apart are read one by one
    const double apart = static_cast<double>(wire) * static_cast<double>(stride) * std::ceil(row.factor);
    const xp_long per_block = std::max<xp_long>(1, static_cast<xp_long>(static_cast<double>(kBlockBytes) / apart));
    wire_.resize(static_cast<std::size_t>(kBlockBytes));
    if (spacing > 1) decoded_.resize(static_cast<std::size_t>(2 * kBlockBytes));  // an XDR long grows to twice its size

    const xp_long row_value = value_;
    for (xp_long done = 0; done < row.count;) {
        const xp_long part = std::min(per_block, row.count - done);
        const xp_long first = thinned ? row.node(done) : row.min + done;
        const auto value_of = [&](xp_long i) { return (row.node(done + i) - first) * stride; };
        const xp_long skipped = row_value + (first - row.min) * stride - value_;
        const xp_long values = value_of(part - 1) + 1;
        xp_long got = skipped > 0 ? bytes_.skip(skipped * wire) : 0;
        got += static_cast<xp_long>(bytes_.read(wire_.data(), static_cast<std::size_t>(values * wire)));
        if (got < (skipped + values) * wire) return cut_short(row, (value_ - row_value) * wire + got);
        value_ += skipped + values;

        if (thinned) {
            gather(wire_.data(), part, wire, value_of);
        } else if (stride > 1) {
            gather(wire_.data(), part, wire, [stride](xp_long i) { return i * stride; });
        }
        std::byte* const place = to + done * spacing * width;
        if (!decode_values(wire_.data(), encoding_, spacing > 1 ? decoded_.data() : place, part)) {
            return Fault{Fault::not_decoded};
        }
        if (spacing > 1) scatter(decoded_.data(), part, width, place, spacing);
        done += part;
    }
    return std::nullopt;
}

/// A row of which only the first `got` bytes, from its first value to its last, are there.
std::optional<Fault> ValueReader::cut_short(const KeptAxis& row, xp_long got) const {
    if (!encoding_.native()) return Fault{Fault::not_decoded};
    const xp_long asked = ((row.last() - row.min) * placement_.stride + 1) * wire_size(encoding_);
    return Fault{.kind = Fault::short_read, .asked = asked, .got = got};
}

xp_long ValueReader::end_position(xp_long nodes) {
    const xp_long end = placement_.offset + nodes * placement_.stride;
    if (text()) {
        words_->skip_words(end - value_);  // the file may end before that: then its end is the place
        return words_->position();
    }
    if (placement_.file_type == kBinary) return far_sum(first_byte(placement_), end * wire_size(encoding_));
    // the stride after the last value may already lie in the next record
    const xp_long last = end - (placement_.stride - 1);
    if (last > value_) bytes_.skip((last - value_) * wire_size(encoding_));
    return bytes_.end_position();
}

std::optional<ShortFile> too_short(std::FILE* file, const Placement& placement, const Encoding& encoding,
                                   xp_long last_node) {
    const xp_long wire = wire_size(encoding);
    const xp_long marker = placement.file_type == kUnformatted ? 4 : 0;
    const xp_long first = far_sum(first_byte(placement), marker + placement.offset * wire);
    const xp_long asked = (last_node * placement.stride + 1) * wire;
    const xp_long left = std::max<xp_long>(0, platform::length(file) - first);
    if (asked <= left) return std::nullopt;
    return ShortFile{asked, left};
}

}  // namespace zam::ldrf
