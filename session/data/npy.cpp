#include "session/data/npy.h"

#include <array>
#include <bit>
#include <charconv>
#include <cstdint>

#include "base/checked_product.h"
#include "session/data/data_error.h"
#include "session/data/element_format.h"

namespace zam::session {
namespace {

constexpr xp_long kMaxHeader = 1 << 20;
constexpr std::size_t kMaxAxes = 64;  // more than NumPy has

/// What a header says: {'descr': '<f4', 'fortran_order': False, 'shape': (4, 3)}.
struct NpyHeader {
    std::string descr;
    bool fortran_order = false;
    std::vector<xp_long> shape;
};

/// Reads the literal of a Python dictionary, as far as headers use it.
class HeaderReader {
public:
    explicit HeaderReader(std::string_view text) : rest_(text) {}

    NpyHeader read() {
        NpyHeader header;
        bool has_descr = false;
        bool has_shape = false;
        expect('{');
        while (!take('}')) {
            const std::string key = text();
            expect(':');
            if (key == "descr") {
                if (take('[')) throw DataError("arrays of records are not read; save one of their fields");
                header.descr = text();
                has_descr = true;
            } else if (key == "fortran_order") {
                header.fortran_order = truth();
            } else if (key == "shape") {
                header.shape = numbers();
                has_shape = true;
            } else {
                throw DataError("the header has an unknown key " + key);
            }
            if (!take(',') && !ahead('}')) fail();
        }
        if (!has_descr || !has_shape) fail();
        return header;
    }

private:
    [[noreturn]] static void fail() { throw DataError("the .npy header is broken"); }
    void skip_blanks() { rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\n"), rest_.size())); }
    bool ahead(char c) {
        skip_blanks();
        return rest_.starts_with(c);
    }
    bool take(char c) {
        if (!ahead(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    void expect(char c) {
        if (!take(c)) fail();
    }
    std::string text() {
        const char quote = ahead('"') ? '"' : '\'';
        expect(quote);
        const auto end = rest_.find(quote);
        if (end == std::string_view::npos) fail();
        std::string value(rest_.substr(0, end));
        rest_.remove_prefix(end + 1);
        return value;
    }
    bool truth() {
        skip_blanks();
        for (const bool value : {true, false}) {
            const std::string_view word = value ? "True" : "False";
            if (!rest_.starts_with(word)) continue;
            rest_.remove_prefix(word.size());
            return value;
        }
        fail();
    }
    std::vector<xp_long> numbers() {
        std::vector<xp_long> values;
        expect('(');
        while (!take(')')) {
            skip_blanks();
            xp_long value = 0;
            const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
            if (error != std::errc{} || value < 0 || values.size() == kMaxAxes) fail();
            rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
            values.push_back(value);
            if (!take(',') && !ahead(')')) fail();
        }
        return values;
    }

    std::string_view rest_;
};

/// The format of a type code such as "<f4": byte order, kind, bytes.
ElementFormat element_format(const std::string& descr) {
    struct Code {
        std::string_view code;
        Stored stored;
    };
    constexpr Code kCodes[] = {{"b1", Stored::uint8},   {"i1", Stored::int8},    {"u1", Stored::uint8},
                               {"i2", Stored::int16},   {"u2", Stored::uint16},  {"i4", Stored::int32},
                               {"u4", Stored::uint32},  {"i8", Stored::int64},   {"u8", Stored::uint64},
                               {"f2", Stored::float16}, {"f4", Stored::float32}, {"f8", Stored::float64}};
    const std::string_view text = descr;
    const bool ordered =
        text.starts_with('<') || text.starts_with('>') || text.starts_with('|') || text.starts_with('=');
    const std::string_view code = ordered ? text.substr(1) : text;
    for (const Code& known : kCodes) {
        if (known.code != code) continue;
        constexpr char kOther = std::endian::native == std::endian::little ? '>' : '<';
        return {known.stored, text.starts_with(kOther)};
    }
    if (code.starts_with('c'))
        throw DataError("complex numbers (" + descr + ") are not read; save a part or the magnitude");
    throw DataError("numbers of type " + descr + " are not read");
}

std::string read_bytes(const ByteSource& bytes, xp_long first, xp_long count) {
    if (count > bytes.size() - first) throw DataError("the file ends within the .npy header");
    std::string text(static_cast<std::size_t>(count), '\0');
    const std::string error = bytes.read(first, count, reinterpret_cast<std::byte*>(text.data()));
    if (!error.empty()) throw DataError(error);
    return text;
}

std::string dims_text(const std::vector<xp_long>& shape) {
    std::string text;
    for (const xp_long size : shape) text += (text.empty() ? "" : " x ") + std::to_string(size);
    return text;
}

/// Where the values of a file begin, and what they are.
struct Contents {
    NpyHeader header;
    ElementFormat format;
    xp_long start;  // byte
};

Contents read_contents(const ByteSourcePointer& bytes) {
    const std::string start = read_bytes(*bytes, 0, 10);
    const auto byte = [&](const std::string& text, std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    const int version = byte(start, 6);
    if (!start.starts_with(kNpyMagic) || version < 1 || version > 3) {
        throw DataError("this is not an .npy file of version 1 to 3");
    }
    xp_long length = byte(start, 8) + 256 * byte(start, 9);
    xp_long header_start = 10;
    if (version > 1) {
        const std::string high = read_bytes(*bytes, 10, 2);
        length += xp_long{65536} * byte(high, 0) + xp_long{16777216} * byte(high, 1);
        header_start = 12;
    }
    if (length > kMaxHeader) throw DataError("the .npy header is longer than 1 MiB");
    const std::string text = read_bytes(*bytes, header_start, length);
    const NpyHeader header = HeaderReader(text).read();
    const ElementFormat format = element_format(header.descr);
    const auto count = checked_product(header.shape);
    const auto needed = count ? checked_product(*count, static_cast<xp_long>(format.size())) : std::nullopt;
    const xp_long data_start = header_start + length;
    if (!needed || *needed > bytes->size() - data_start) {
        throw DataError("the file is too short for an array of " + dims_text(header.shape) + " numbers of type " +
                        header.descr);
    }
    return {header, format, data_start};
}

}  // namespace

DataArray open_npy(const ByteSourcePointer& bytes) {
    const Contents contents = read_contents(bytes);
    DataArray array;
    array.type = contents.format.type();
    array.x_first = contents.header.fortran_order;
    for (const xp_long size : contents.header.shape) {
        array.axes.emplace_back();
        array.axes.back().size = size;
    }
    set_strides(array.axes, contents.header.fortran_order);
    array.values = decode(bytes, contents.start, contents.format);
    return array;
}

std::optional<NpyValues> open_npy_values(const std::string& file) {
    const ByteSourcePointer bytes = open_file(file);
    const auto magic = static_cast<xp_long>(kNpyMagic.size());
    if (bytes->size() < magic || read_bytes(*bytes, 0, magic) != kNpyMagic) return std::nullopt;
    const Contents contents = read_contents(bytes);
    return NpyValues{decode(bytes, contents.start, contents.format), contents.format.type(),
                     checked_product(contents.header.shape).value_or(0), static_cast<xp_long>(contents.format.size())};
}

}  // namespace zam::session
