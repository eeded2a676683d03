#include "session/data/nrrd_file.h"

#include "session/data/data_error.h"

namespace zam::session {

bool is_nrrd(std::string_view start) { return start.starts_with("NRRD000"); }

}  // namespace zam::session

#if defined(ZAM_WITH_TEEM)

#include <teem/nrrd.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "base/checked_product.h"
#include "base/file_path.h"
#include "base/part.h"
#include "session/data/byte_source.h"
#include "session/data/element_format.h"
#include "session/data/gzip_bytes.h"

namespace zam::session {
namespace {

constexpr xp_long kMaxHeader = 1 << 20;

std::string read_bytes(const ByteSource& bytes, xp_long first, xp_long count) {
    std::string text(static_cast<std::size_t>(count), '\0');
    const std::string error = bytes.read(first, count, reinterpret_cast<std::byte*>(text.data()));
    if (!error.empty()) throw DataError(error);
    return text;
}

/// The text of a header, without the line that names a file of values: the library would open whatever it names.
struct HeaderText {
    std::string text;
    std::string data_file;   // as named; empty: the values follow
    xp_long data_start = 0;  // of values that follow
    bool ended = false;      // by an empty line
};

/// What stands after the key of a line "data file: NAME"; `nullopt` for other lines.
std::optional<std::string> named_data_file(std::string_view line) {
    const auto colon = line.find(": ");
    std::string key(line.substr(0, std::min(colon, line.size())));
    std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::tolower(c); });
    if (colon == std::string_view::npos || (key != "data file" && key != "datafile")) return std::nullopt;
    const std::string_view value = line.substr(colon + 2);
    const auto first = std::min(value.find_first_not_of(" \t"), value.size());
    const auto last = value.find_last_not_of(" \t");
    return std::string(value.substr(first, last == std::string_view::npos ? 0 : last + 1 - first));
}

HeaderText read_header(const ByteSource& bytes) {
    const std::string start = read_bytes(bytes, 0, std::min(bytes.size(), kMaxHeader));
    HeaderText header;
    std::size_t at = 0;
    while (at < start.size() && !header.ended) {
        const auto newline = std::min(start.find('\n', at), start.size());
        std::string line = start.substr(at, newline - at);
        at = std::min(newline + 1, start.size());
        if (line.ends_with('\r')) line.pop_back();
        header.ended = line.empty();
        if (const auto name = named_data_file(line)) {
            header.data_file = *name;
        } else {
            header.text += line + "\n";
        }
    }
    header.data_start = static_cast<xp_long>(at);
    if (!header.ended && (header.data_file.empty() || bytes.size() > kMaxHeader))
        throw DataError("the header does not end");
    if (header.text.find('\0') != std::string::npos) throw DataError("the header is broken: it has a zero byte");
    return header;
}

struct FreeNrrd {
    void operator()(Nrrd* nrrd) const { nrrdNuke(nrrd); }
};
struct FreeState {
    void operator()(NrrdIoState* state) const { nrrdIoStateNix(state); }
};

/// What the library makes of a header.
struct Header {
    std::unique_ptr<Nrrd, FreeNrrd> nrrd{nrrdNew()};
    std::unique_ptr<NrrdIoState, FreeState> state{nrrdIoStateNew()};
};

/// The line of the library's messages that says most: the last one, without the function that says it.
std::string library_error() {
    char* const messages = biffGetDone(NRRD);
    std::string text(messages ? messages : "");
    std::free(messages);
    while (text.ends_with('\n')) text.pop_back();
    if (const auto newline = text.rfind('\n'); newline != std::string::npos) text.erase(0, newline + 1);
    if (const auto colon = text.find(": "); text.starts_with("[nrrd]") && colon != std::string::npos)
        text.erase(0, colon + 2);
    return text;
}

Header parse(const std::string& text) {
    Header header;
    nrrdIoStateSet(header.state.get(), nrrdIoStateSkipData, 1);
    if (nrrdStringRead(header.nrrd.get(), text.c_str(), header.state.get()) != 0)
        throw DataError("the header is broken: " + library_error());
    return header;
}

// --- Values ---

ElementFormat element_format(int type, int endian) {
    const auto stored = [&] {
        switch (type) {
            case nrrdTypeChar: return Stored::int8;
            case nrrdTypeUChar: return Stored::uint8;
            case nrrdTypeShort: return Stored::int16;
            case nrrdTypeUShort: return Stored::uint16;
            case nrrdTypeInt: return Stored::int32;
            case nrrdTypeUInt: return Stored::uint32;
            case nrrdTypeLLong: return Stored::int64;
            case nrrdTypeULLong: return Stored::uint64;
            case nrrdTypeFloat: return Stored::float32;
            case nrrdTypeDouble: return Stored::float64;
            default: throw DataError("blocks of bytes are not read");
        }
    };
    constexpr int kOther = std::endian::native == std::endian::little ? airEndianBig : airEndianLittle;
    return {stored(), endian == kOther};
}

/// The file of values, and where they begin in it.
struct Data {
    ByteSourcePointer bytes;
    xp_long start = 0;
};

Data find_data(const std::string& file, const ByteSourcePointer& bytes, const HeaderText& header) {
    if (header.data_file.empty()) return {bytes, header.data_start};
    if (header.data_file.starts_with("LIST") || header.data_file.find('%') != std::string::npos)
        throw DataError("values in several files are not read");
    const auto name = (file_path(file).parent_path() / file_path(header.data_file)).string();
    try {
        return {open_file(name), 0};
    } catch (const DataError& error) {
        throw DataError("data file " + name + ": " + error.what());
    }
}

xp_long skip_lines(const Data& data, unsigned int lines) {
    xp_long at = data.start;
    for (; lines > 0; --lines) {
        for (bool found = false; !found;) {
            const xp_long count = std::min<xp_long>(data.bytes->size() - at, 4096);
            if (count <= 0) throw DataError("the file ends within the lines to skip");
            const auto newline = read_bytes(*data.bytes, at, count).find('\n');
            found = newline != std::string::npos;
            at += found ? static_cast<xp_long>(newline) + 1 : count;
        }
    }
    return at;
}

/// @param count  values; `nullopt`: too many to count
ValueSourcePointer find_values(Data data, const NrrdIoState& state, ElementFormat format,
                               std::optional<xp_long> count) {
    const auto needed = count ? checked_product(*count, static_cast<xp_long>(format.size())) : std::nullopt;
    const xp_long skipped = std::max<xp_long>(state.byteSkip, 0);  // bytes, unpacked ones where they are packed
    if (!needed || *needed > std::numeric_limits<xp_long>::max() - skipped)
        throw DataError("the array has more values than a file can hold");
    data.start = skip_lines(data, state.lineSkip);
    if (state.encoding == nrrdEncodingGzip) {
        if (state.byteSkip < 0) throw DataError("packed data cannot be found from the end of its file");
        return decode(open_gzip(data.bytes, data.start, *needed + skipped), skipped, format);
    }
    if (state.encoding != nrrdEncodingRaw) {
        throw DataError(std::string("data encoded as ") + state.encoding->name +
                        " is not read; \"unu save -f nrrd -e raw\" makes it raw");
    }
    const xp_long start = state.byteSkip == -1 ? data.bytes->size() - *needed : data.start + skipped;
    if (state.byteSkip < -1) throw DataError("the header is broken: a byte skip of " + std::to_string(state.byteSkip));
    if (start < data.start || *needed > data.bytes->size() - start)
        throw DataError("the file is too short for all values");
    return decode(data.bytes, start, format);
}

// --- Axes ---

bool has_direction(const Nrrd& nrrd, const NrrdAxisInfo& axis) {
    return nrrd.spaceDim > 0 && AIR_EXISTS(axis.spaceDirection[0]);
}

bool is_domain(const Nrrd& nrrd, const NrrdAxisInfo& axis) {
    if (axis.kind == nrrdKindUnknown) return nrrd.spaceDim == 0 || has_direction(nrrd, axis);
    return nrrdKindIsDomain(axis.kind) != 0;
}

/// Spacing and origin of an axis of space.
/// @return whether its direction is that of the `number`-th axis of space
bool place(const Nrrd& nrrd, const NrrdAxisInfo& from, unsigned int number, DataAxis& axis) {
    if (!has_direction(nrrd, from)) {
        const bool cells = from.center == nrrdCenterCell;
        const double steps = static_cast<double>(from.size) - (cells ? 0.0 : 1.0);
        if (AIR_EXISTS(from.spacing)) {
            axis.spacing = from.spacing;
        } else if (AIR_EXISTS(from.min) && AIR_EXISTS(from.max) && steps > 0.0) {
            axis.spacing = (from.max - from.min) / steps;
        }
        if (AIR_EXISTS(from.min)) axis.origin = from.min + (cells ? axis.spacing.value_or(1.0) / 2.0 : 0.0);
        return true;
    }
    double squares = 0.0;
    for (unsigned int i = 0; i < nrrd.spaceDim; ++i) squares += from.spaceDirection[i] * from.spaceDirection[i];
    axis.spacing = std::sqrt(squares);
    if (number >= nrrd.spaceDim) return false;
    if (AIR_EXISTS(nrrd.spaceOrigin[number])) axis.origin = nrrd.spaceOrigin[number];
    return from.spaceDirection[number] == *axis.spacing;
}

void set_axes(DataArray& array, const Nrrd& nrrd) {
    bool straight = true;
    unsigned int number = 0;
    for (unsigned int i = 0; i < nrrd.dim; ++i) {
        const NrrdAxisInfo& from = nrrd.axis[i];
        DataAxis axis;
        axis.size = static_cast<xp_long>(std::min<std::size_t>(from.size, std::numeric_limits<xp_long>::max()));
        axis.vector = !is_domain(nrrd, from);
        if (!axis.vector) straight = place(nrrd, from, number++, axis) && straight;
        DataAxis* const before = array.axes.empty() ? nullptr : &array.axes.back();
        if (axis.vector && before && before->vector) {
            before->size = checked_product(before->size, axis.size).value_or(-1);  // parts of parts: one after another
        } else {
            array.axes.push_back(axis);
        }
    }
    const auto vectors =
        std::count_if(array.axes.begin(), array.axes.end(), [](const DataAxis& axis) { return axis.vector; });
    if (vectors > 1) throw DataError("parts of vectors lie on axes that are apart");
    if (!straight) array.note = "the space directions are not those of the axes; their lengths are kept as spacing";
}

}  // namespace

std::vector<DataArray> open_nrrd(const std::string& file) {
    const ByteSourcePointer bytes = open_file(file);
    const HeaderText text = read_header(*bytes);
    const Header header = parse(text.text);
    const Nrrd& nrrd = *header.nrrd;
    DataArray array;
    const ElementFormat format = element_format(nrrd.type, header.state->endian);
    array.type = format.type();
    array.x_first = true;
    array.label = nrrd.content ? nrrd.content : "";
    array.units = nrrd.sampleUnits ? nrrd.sampleUnits : "";
    set_axes(array, nrrd);
    const auto count = set_strides(array.axes, true);
    array.values = find_values(find_data(file, bytes, text), *header.state, format, count);
    return {array};
}
ZAM_PART_EXPORT(open_nrrd)

}  // namespace zam::session

#else

#include "base/part.h"

namespace zam::session {

std::vector<DataArray> open_nrrd(const std::string& file) {
    static const auto open = part_function<decltype(open_nrrd)>("zam_teem", "open_nrrd");
    if (!open) throw DataError("this build reads no NRRD files: it was made without teem");
    return open(file);
}

}  // namespace zam::session

#endif
