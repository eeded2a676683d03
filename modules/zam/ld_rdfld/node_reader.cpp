#include "modules/zam/ld_rdfld/node_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "modules/support/host_array.h"
#include "modules/zam/ld_rdfld/ascii_values.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

/// Calls visit with a value of the type that a code stands for.
template <class Visit>
Decoded with_type(int type, Visit visit) {
    switch (type) {
        case DTYPE_CHAR: return visit(char{});
        case DTYPE_BYTE: return visit(std::uint8_t{});
        case DTYPE_SHORT: return visit(std::int16_t{});
        case DTYPE_INT: return visit(std::int32_t{});
        case DTYPE_FLOAT: return visit(float{});
        case DTYPE_DOUBLE: return visit(double{});
        default: return visit(xp_long{});
    }
}

class AsciiNodes final : public NodeReader {
public:
    AsciiNodes(std::FILE* file, const Placement& placement, int type, const SourceRole& role)
        : cursor_(file, placement.start),
          type_(type),
          pending_words_(placement.offset),
          stride_(placement.stride),
          role_(role) {
        cursor_.skip_lines(placement.skip);
    }

    Decoded read(std::byte* to, xp_long nodes) override {
        return with_type(type_, [&]<class T>(T value) {
            for (xp_long node = 0; node < nodes; ++node, ++item_) {
                if (!pass_over()) return invalid(" --- 2Invalid number: component %d, item %d");
                if (!cursor_.read(value)) return invalid(number_text());
                std::memcpy(to + node * static_cast<xp_long>(sizeof value), &value, sizeof value);
                pending_words_ = stride_ - 1;
            }
            return Decoded::ok;
        });
    }

    Decoded skip(xp_long nodes) override {
        for (xp_long node = 0; node < nodes; ++node, ++item_) {
            if (!pass_over() || !cursor_.skip_words(1)) return invalid(" --- 2Invalid number: component %d, item %d");
            pending_words_ = stride_ - 1;
        }
        return Decoded::ok;
    }

    xp_long end_position(xp_long nodes) override {
        // the file may end before that: then its end is the place
        if (pass_over()) cursor_.skip_words((nodes - item_) * stride_);
        return cursor_.position();
    }

private:
    bool pass_over() {
        if (pending_words_ == 0) return true;
        const bool passed = cursor_.skip_words(pending_words_);
        pending_words_ = 0;
        return passed;
    }

    const char* number_text() const {
        const bool real = type_ == DTYPE_FLOAT || type_ == DTYPE_DOUBLE;
        return real ? "Invalid float number: component %d, item %d" : "--- 1Invalid number: component %d, item %d";
    }

    Decoded invalid(const char* text) const {
        if (role_.quiet) return Decoded::failed;
        ERRverror(kReport.label, kReport.flags, text, role_.component,
                  static_cast<int>(std::min<xp_long>(item_, std::numeric_limits<int>::max())));
        return Decoded::reported;
    }

    AsciiCursor cursor_;
    int type_;
    xp_long pending_words_;  // to pass over before the next value
    xp_long stride_;
    SourceRole role_;
    xp_long item_ = 0;
};

class BinaryNodes final : public NodeReader {
public:
    BinaryNodes(std::unique_ptr<ByteSource> bytes, const Encoding& encoding, const Placement& placement, Asking asking)
        : bytes_(std::move(bytes)),
          encoding_(encoding),
          wire_(wire_size(encoding)),
          pending_values_(placement.offset),
          stride_(placement.stride),
          records_(placement.file_type == kUnformatted),
          asking_(asking) {}

    Decoded read(std::byte* to, xp_long nodes) override {
        pass_over();
        const Decoded decoded = decode_values(*bytes_, encoding_, to, nodes, stride_, asking_);
        if (wire_ == 1) encoding_.swap = false;  // that bytes are not swapped has been said
        if (nodes > 0) pending_values_ = stride_ - 1;
        item_ += nodes;
        return decoded;
    }

    Decoded skip(xp_long nodes) override {
        pending_values_ += nodes * stride_;  // that this cannot overflow has been checked with the length
        item_ += nodes;
        return Decoded::ok;
    }

    xp_long end_position(xp_long nodes) override {
        (void)skip(nodes - item_);
        // the stride behind the last value may already lie in the next record
        if (records_) pending_values_ = std::max<xp_long>(0, pending_values_ - (stride_ - 1));
        pass_over();
        return bytes_->end_position();
    }

private:
    void pass_over() {
        if (pending_values_ > 0) bytes_->skip(pending_values_ * wire_);
        pending_values_ = 0;
    }

    std::unique_ptr<ByteSource> bytes_;
    Encoding encoding_;
    xp_long wire_;
    xp_long pending_values_;  // to pass over before the next value
    xp_long stride_;
    bool records_;
    Asking asking_;
    xp_long item_ = 0;
};

xp_long first_byte(const Placement& placement) {
    return placement.start + (placement.file_type == kAscii ? 0 : placement.skip);
}

/// Spreads contiguous values over places `spacing` apart.
void scatter(const std::byte* from, xp_long count, xp_long width, std::byte* to, xp_long spacing) {
    for (xp_long i = 0; i < count; ++i) {
        std::memcpy(to + i * spacing * width, from + i * width, static_cast<std::size_t>(width));
    }
}

/// Reads runs of nodes, thinned along the run, to spaced places.
class RunReader {
public:
    RunReader(NodeReader& reader, int type, std::byte* to, xp_long spacing)
        : reader_(reader), width_(static_cast<xp_long>(type_size(type))), to_(to), spacing_(spacing) {}

    /// Reads the nodes that `axis` keeps of a run that starts at the axis' first kept node.
    Decoded read(const KeptAxis& axis) {
        const bool thinned = axis.factor > 1.0;
        if (!thinned && spacing_ == 1) return read_direct(axis.count);
        const xp_long span = axis.last() - axis.min + 1;
        xp_long kept = 0;
        for (xp_long done = 0; done < span; done += kScratchNodes) {
            const xp_long part = std::min(kScratchNodes, span - done);
            scratch_.resize(static_cast<std::size_t>(kScratchNodes * width_));
            if (const Decoded decoded = reader_.read(scratch_.data(), part); decoded != Decoded::ok) return decoded;
            if (!thinned) {
                scatter(scratch_.data(), part, width_, to_, spacing_);
                to_ += part * spacing_ * width_;
                continue;
            }
            for (; kept < axis.count && axis.node(kept) - axis.min < done + part; ++kept) {
                const xp_long at = axis.node(kept) - axis.min - done;
                std::memcpy(to_, scratch_.data() + at * width_, static_cast<std::size_t>(width_));
                to_ += spacing_ * width_;
            }
        }
        return Decoded::ok;
    }

private:
    static constexpr xp_long kScratchNodes = 1 << 15;

    Decoded read_direct(xp_long count) {
        const Decoded decoded = reader_.read(to_, count);
        to_ += count * width_;
        return decoded;
    }

    NodeReader& reader_;
    xp_long width_;
    std::byte* to_;
    xp_long spacing_;
    std::vector<std::byte> scratch_;
};

/// Index, in the file's order, of the first kept node of the row with the given position along axes 1 and up.
xp_long row_start(const KeptNodes& kept, const std::array<xp_long, kMaxDims>& row) {
    xp_long start = kept.axis[0].min;
    xp_long nodes_per_index = kept.axis[0].full;
    for (std::size_t i = 1; i < static_cast<std::size_t>(kept.ndim); ++i) {
        start += kept.axis[i].node(row[i]) * nodes_per_index;
        nodes_per_index *= kept.axis[i].full;
    }
    return start;
}

/// Advances to the next kept row; false behind the last.
bool next_row(const KeptNodes& kept, std::array<xp_long, kMaxDims>& row) {
    for (std::size_t i = 1; i < static_cast<std::size_t>(kept.ndim); ++i) {
        if (++row[i] < kept.axis[i].count) return true;
        row[i] = 0;
    }
    return false;
}

}  // namespace

std::unique_ptr<NodeReader> open_nodes(std::FILE* file, const Placement& placement, const Encoding& encoding,
                                       const SourceRole& role, Asking asking) {
    if (placement.file_type == kAscii) return std::make_unique<AsciiNodes>(file, placement, encoding.type, role);
    std::unique_ptr<ByteSource> bytes;
    if (placement.file_type == kUnformatted) {
        bytes = std::make_unique<RecordBytes>(file, first_byte(placement), platform::length(file));
    } else {
        bytes = std::make_unique<PlainBytes>(file, first_byte(placement));
    }
    return std::make_unique<BinaryNodes>(std::move(bytes), encoding, placement, asking);
}

Decoded read_kept_nodes(NodeReader& reader, const KeptNodes& kept, int type, std::byte* to, xp_long spacing) {
    RunReader run(reader, type, to, spacing);
    if (kept.whole()) {
        KeptAxis all;
        all.full = all.count = kept.full_nodes;
        return run.read(all);
    }
    std::array<xp_long, kMaxDims> row{};
    xp_long at = 0;
    do {
        const xp_long start = row_start(kept, row);
        if (const Decoded decoded = reader.skip(start - at); decoded != Decoded::ok) return decoded;
        if (const Decoded decoded = run.read(kept.axis[0]); decoded != Decoded::ok) return decoded;
        at = start + kept.axis[0].last() - kept.axis[0].min + 1;
    } while (next_row(kept, row));
    return Decoded::ok;
}

std::optional<ShortFile> too_short(std::FILE* file, const Placement& placement, const Encoding& encoding,
                                   xp_long last_node) {
    const xp_long wire = wire_size(encoding);
    const xp_long marker = placement.file_type == kUnformatted ? 4 : 0;
    const xp_long first = first_byte(placement) + marker + placement.offset * wire;
    const xp_long asked = (last_node * placement.stride + 1) * wire;
    const xp_long left = std::max<xp_long>(0, platform::length(file) - first);
    if (asked <= left) return std::nullopt;
    return ShortFile{asked, left};
}

}  // namespace zam::ldrf
