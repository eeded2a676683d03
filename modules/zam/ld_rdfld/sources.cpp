#include "modules/zam/ld_rdfld/sources.h"

#include "contract/file.h"
#include "modules/zam/ld_rdfld/reports.h"
#include "platform/large_file.h"

namespace zam::ldrf {
namespace {

const char* keyword(SourceKind kind) {
    switch (kind) {
        case SourceKind::coordinate: return "COORD";
        case SourceKind::variable: return "VARIABLE";
        default: return "TIME";
    }
}

/// Whether the last byte of nodes x stride values still has a position.
bool positions_fit(const Source& source, xp_long nodes) {
    constexpr double kLimit = 4e18;
    constexpr double kWidestValue = 8.0;
    const double spread = static_cast<double>(nodes) * static_cast<double>(source.stride);
    const double values = static_cast<double>(source.offset) + spread;
    return static_cast<double>(source.skip) + kWidestValue * values < kLimit;
}

}  // namespace

std::vector<xp_long>& Sources::ends_of(SourceKind kind, int n, const ScheduledRead& read) const {
    return ends_[{format_, kind, n, read.place.chain}];
}

bool Sources::valid(SourceKind kind, int n, int step, const Source& source, xp_long nodes) const {
    if (source.skip >= 0 && source.offset >= 0 && source.stride >= 1 && positions_fit(source, nodes)) return true;
    return kReport.fail("Problem reading file %s: SKIP, OFFSET or STRIDE of %s %d, step %d, is out of range",
                        field_.name.c_str(), keyword(kind), n, step);
}

/// Where a read lies, once the end of the read before it in its chain is known.
Placement Sources::place(SourceKind kind, int n, const ScheduledRead& read) const {
    const Source& source = *read.source;
    Placement placement;
    placement.file_type = source.type;
    placement.stride = source.stride;
    if (read.applies_options) {
        placement.skip = source.skip;
        placement.offset = source.offset;
    }
    if (read.place.ordinal > 0) {
        placement.start = ends_of(kind, n, read)[static_cast<std::size_t>(read.place.ordinal) - 1];
    } else {
        placement.start = source.named ? 0 : header_.data_start;
    }
    return placement;
}

/// Finds where the read before that of `step` in its chain ends, passing over steps that have not been read.
bool Sources::pass_over(SourceKind kind, int n, int step, std::FILE* file, xp_long nodes, int type) {
    const ScheduledRead last = *schedule_.find(kind, n, step);
    if (last.place.ordinal == 0) return true;
    std::vector<xp_long>& ends = ends_of(kind, n, last);
    std::vector<ScheduledRead> unread;  // latest first
    auto wanted = static_cast<std::size_t>(last.place.ordinal);
    for (int at = step - 1; at >= 1 && wanted > ends.size(); --at) {
        const auto read = schedule_.find(kind, n, at);
        if (!read || read->place.chain != last.place.chain) continue;
        if (!valid(kind, n, at, *read->source, nodes)) return false;
        unread.push_back(*read);
        --wanted;
    }
    if (!unread.empty()) reader_.attach(file);
    for (auto read = unread.rbegin(); read != unread.rend(); ++read) {
        reader_.begin(place(kind, n, *read), {type, format_.portable, format_.swap});
        ends.push_back(reader_.end_position(nodes));
    }
    return true;
}

bool Sources::open(SourceKind kind, int n, int step, xp_long nodes, int type, const char* cannot_open,
                   OpenSource& opened) {
    const auto read = schedule_.find(kind, n, step);
    if (!read) {
        return kReport.fail("Problem reading file %s: there is no %s %d for step %d", field_.name.c_str(),
                            keyword(kind), n, step);
    }
    if (!valid(kind, n, step, *read->source, nodes)) return false;
    opened.file = field_.file;
    if (read->source->named) {
        opened.owned.reset(FILEfopen(read->file->c_str(), "rb"));
        opened.file = opened.owned.get();
        if (opened.file == nullptr || platform::length(opened.file) < 0) {
            return kReport.fail(cannot_open, read->file->c_str());
        }
    }
    if (!pass_over(kind, n, step, opened.file, nodes, type)) return false;
    opened.placement = place(kind, n, *read);
    return true;
}

void Sources::note_end(SourceKind kind, int n, int step, xp_long nodes) {
    const auto read = schedule_.find(kind, n, step);
    if (!read || read->source->close != 0) return;
    std::vector<xp_long>& ends = ends_of(kind, n, *read);
    if (ends.size() == static_cast<std::size_t>(read->place.ordinal)) ends.push_back(reader_.end_position(nodes));
}

}  // namespace zam::ldrf
