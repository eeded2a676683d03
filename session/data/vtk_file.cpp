// Arrays are written as text, in base 64 or as raw bytes, where the file describes them or all together after it
// ("appended"); the latter two behind their length, whole or packed in blocks.
#include "session/data/vtk_file.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <memory>
#include <optional>

#include "base/checked_product.h"
#include "contract/fld.h"
#include "session/data/base64_bytes.h"
#include "session/data/data_error.h"
#include "session/data/element_format.h"
#include "session/data/gzip_bytes.h"
#include "session/data/text_values.h"
#include "session/data/xml_tags.h"

namespace zam::session {
namespace {

constexpr std::size_t kMaxArrays = 100'000;  // of all pieces
constexpr int kMaxVeclen = 1'000'000;
constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kTooLarge = "the grid has more nodes than a file can hold";
constexpr std::string_view kTooShort = "the file is too short for all values";

constexpr std::pair<std::string_view, int> kGrids[] = {{"ImageData", FLD_UNIFORM},
                                                       {"RectilinearGrid", FLD_RECTILINEAR},
                                                       {"StructuredGrid", FLD_STRUCTURED},
                                                       {"UnstructuredGrid", FLD_UNSTRUCTURED}};
constexpr std::pair<std::string_view, Stored> kTypes[] = {
    {"Int8", Stored::int8},       {"UInt8", Stored::uint8},     {"Int16", Stored::int16}, {"UInt16", Stored::uint16},
    {"Int32", Stored::int32},     {"UInt32", Stored::uint32},   {"Int64", Stored::int64}, {"UInt64", Stored::uint64},
    {"Float32", Stored::float32}, {"Float64", Stored::float64},
};

/// The value that a name has in a table; null if it is not there.
template <class Table>
auto find_named(const Table& table, std::string_view name) -> decltype(&std::begin(table)->second) {
    const auto found =
        std::find_if(std::begin(table), std::end(table), [&](const auto& row) { return row.first == name; });
    return found == std::end(table) ? nullptr : &found->second;
}

// --- Attributes ---

std::string text_of(const XmlTag& tag, std::string_view key, std::string_view otherwise = "") {
    const std::string* value = tag.find(key);
    return std::string(value ? *value : otherwise);
}

/// The numbers of an attribute, `count` of them.
template <class T>
std::vector<T> numbers_of(const XmlTag& tag, std::string_view key, std::string_view otherwise, std::size_t count) {
    const std::string text = text_of(tag, key, otherwise);
    std::vector<T> numbers;
    for (std::size_t at = text.find_first_not_of(kBlanks); at < text.size(); at = text.find_first_not_of(kBlanks, at)) {
        T number{};
        const auto parsed = std::from_chars(text.data() + at, text.data() + text.size(), number);
        if (parsed.ec != std::errc()) break;
        numbers.push_back(number);
        at = static_cast<std::size_t>(parsed.ptr - text.data());
    }
    if (numbers.size() != count) {
        throw DataError(tag.name + " has " + std::string(key) + " \"" + text + "\" where " + std::to_string(count) +
                        " numbers are expected");
    }
    return numbers;
}

xp_long count_of(const XmlTag& tag, std::string_view key, std::string_view otherwise) {
    const xp_long count = numbers_of<xp_long>(tag, key, otherwise, 1)[0];
    if (count < 0) throw DataError(std::string(key) + " is " + std::to_string(count));
    return count;
}

/// Nodes along each axis of an extent.
std::array<xp_long, 3> dims_of(const std::vector<xp_long>& extent) {
    constexpr xp_long kMost = xp_long{1} << 31;
    std::array<xp_long, 3> dims{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const xp_long low = extent[2 * axis];
        const xp_long high = extent[2 * axis + 1];
        if (std::min(low, high) < -kMost || std::max(low, high) >= kMost) throw DataError("an extent is too large");
        dims[axis] = std::max<xp_long>(high - low + 1, 0);
    }
    return dims;
}

/// The product of counts that belong to a file.
xp_long product(std::span<const xp_long> counts) {
    const auto result = checked_product(counts);
    if (!result) throw DataError(kTooLarge);
    return *result;
}

xp_long cells_of(std::array<xp_long, 3> dims) {
    for (xp_long& dim : dims) dim = dim > 1 ? dim - 1 : dim;
    return product(dims);
}

// --- Values ---

/// How a file writes its arrays.
struct Encoding {
    bool reversed = false;  // bytes in the other order than this machine's
    xp_long word = 4;       // bytes of a length
    std::string compressor;
    xp_long appended = 0;  // byte of the file at which the appended arrays begin; 0: there are none
    std::string appended_as;
};

/// An array of a piece, as its tag says.
struct ArrayTag {
    std::vector<VtkArray>* list;  // that it belongs to, and its place there
    std::size_t number;
    std::optional<Stored> stored;
    std::string format;
    xp_long offset;              // among the appended arrays
    xp_long count;               // values
    xp_long begin = 0, end = 0;  // of its text; both 0: there is none
};

/// Bytes behind their lengths.
class LengthWords {
public:
    LengthWords(ByteSourcePointer bytes, xp_long start, const Encoding& encoding)
        : bytes_(std::move(bytes)), start_(start), encoding_(encoding) {}

    xp_long at(xp_long index) const {
        const xp_long first = start_ + index * encoding_.word;
        std::array<unsigned char, 8> word{};
        if (first > bytes_->size() - encoding_.word ||
            !bytes_->read(first, encoding_.word, reinterpret_cast<std::byte*>(word.data())).empty())
            throw DataError(kTooShort);
        const bool big = encoding_.reversed == (std::endian::native == std::endian::little);
        std::uint64_t value = 0;
        for (xp_long i = 0; i < encoding_.word; ++i)
            value |= std::uint64_t{word[static_cast<std::size_t>(i)]} << 8 * (big ? encoding_.word - 1 - i : i);
        if (value > std::uint64_t{1} << 62) throw DataError("the length of an array is damaged");
        return static_cast<xp_long>(value);
    }
    /// Byte after `count` of them.
    xp_long end(xp_long count) const { return start_ + count * encoding_.word; }

private:
    ByteSourcePointer bytes_;
    xp_long start_;
    const Encoding& encoding_;
};

/// Blocks packed by zlib, one after another: their number, the size of each and of a smaller last one, and how long
/// each is when packed stand before them.
ValueSourcePointer unpack_blocks(const ByteSourcePointer& file, xp_long start, bool base64, const Encoding& encoding,
                                 ElementFormat format, xp_long needed) {
    const LengthWords words(base64 ? open_base64(file, start) : file, base64 ? 0 : start, encoding);
    const xp_long blocks = words.at(0);
    if (blocks > file->size() / encoding.word) throw DataError(kTooShort);
    const xp_long size = words.at(1);
    const xp_long last = words.at(2);  // 0: none is smaller
    const auto whole = checked_product(last > 0 ? blocks - 1 : blocks, size);
    if (!whole || *whole > needed || last != needed - *whole)
        throw DataError("the blocks of the array do not make what the grid needs");
    xp_long packed = 0;
    for (xp_long i = 0; i < blocks; ++i) {
        packed += words.at(3 + i);
        if (packed > file->size()) throw DataError(kTooShort);
    }
    const xp_long data = words.end(3 + blocks);
    const auto bytes = base64 ? open_base64(file, start, data + packed) : file;
    if (packed > bytes->size() - data) throw DataError(kTooShort);
    return decode(open_gzip(bytes, data, needed), 0, format);
}

ValueSourcePointer unpacked(const ByteSourcePointer& file, xp_long start, bool base64, const Encoding& encoding,
                            ElementFormat format, xp_long needed) {
    const auto bytes = base64 ? open_base64(file, start) : file;
    const LengthWords words(bytes, base64 ? 0 : start, encoding);
    if (words.at(0) != needed) {
        throw DataError("the array has " + std::to_string(words.at(0)) + " bytes where the grid needs " +
                        std::to_string(needed));
    }
    if (needed > bytes->size() - words.end(1)) throw DataError(kTooShort);
    return decode(bytes, words.end(1), format);
}

/// Why an array's values cannot be read though nothing is wrong with them; empty: nothing.
std::string why_unread(const ArrayTag& tag, const Encoding& encoding) {
    if (!tag.stored) return "of type " + (*tag.list)[tag.number].stored;
    if (tag.format == "ascii") return {};
    const bool appended = tag.format == "appended";
    if (!appended && tag.format != "binary") return "written as " + tag.format;
    if (appended && encoding.appended_as != "raw" && encoding.appended_as != "base64")
        return "appended as " + encoding.appended_as;
    const bool known = encoding.compressor.empty() || encoding.compressor == "vtkZLibDataCompressor";
    return known ? "" : "packed by " + encoding.compressor;
}

ValueSourcePointer find_values(const ByteSourcePointer& file, const ArrayTag& tag, const Encoding& encoding) {
    const ElementFormat format{*tag.stored, encoding.reversed};
    if (tag.format == "ascii") {
        if (tag.count > tag.end - tag.begin) throw DataError("the text is too short for all values");
        return open_text_values(file, tag.begin, tag.end, format.type());
    }
    const auto needed = checked_product(tag.count, static_cast<xp_long>(format.size()));
    if (!needed) throw DataError(kTooLarge);
    const bool appended = tag.format == "appended";
    if (appended && (encoding.appended == 0 || tag.offset > file->size() - encoding.appended))
        throw DataError(kTooShort);
    const xp_long start = appended ? encoding.appended + tag.offset : tag.begin;
    const bool base64 = !appended || encoding.appended_as == "base64";
    const auto read = encoding.compressor.empty() ? unpacked : unpack_blocks;
    return read(file, start, base64, encoding, format, *needed);
}

/// A file whose arrays are read one after another: it may have many, and what reads one takes memory.
struct SharedFile {
    ByteSourcePointer bytes;
    Encoding encoding;
    const void* open_for = nullptr;  // the array that was read last
    ValueSourcePointer values;       // its values
};

class ArrayValues final : public ValueSource {
public:
    ArrayValues(std::shared_ptr<SharedFile> file, ArrayTag tag) : file_(std::move(file)), tag_(std::move(tag)) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        try {
            if (file_->open_for != this) file_->values = find_values(file_->bytes, tag_, file_->encoding);
            file_->open_for = this;
        } catch (const DataError& error) {
            return error.what();
        }
        return file_->values->read(first, count, destination);
    }

private:
    std::shared_ptr<SharedFile> file_;
    ArrayTag tag_;
};

// --- The file ---

class Reader {
public:
    explicit Reader(const std::string& file) : bytes_(open_file(file)), tags_(bytes_) {}

    VtkFile read() {
        bool ended = false;
        while (!ended) {
            const auto tag = tags_.next();
            if (!tag) throw DataError("the file ends early");
            if (in_array_) walk_array(*tag);
            if (tag->opens && !in_array_) open(*tag);
            if (tag->closes && tag->name == section_) section_.clear();
            previous_end_ = tag->end;
            ended = tag->name == "AppendedData" || (tag->closes && tag->name == "VTKFile");
        }
        if (vtk_.grid_type == 0) throw DataError("the file describes no grid");
        const auto shared = std::make_shared<SharedFile>(SharedFile{bytes_, encoding_, nullptr, nullptr});
        for (const auto& tag : arrays_) take_values(tag, shared);
        return std::move(vtk_);
    }

private:
    /// A tag within an array, or the array's own closing one. The text of the array may stand among elements that
    /// describe it.
    void walk_array(const XmlTag& tag) {
        ArrayTag& array = arrays_.back();
        if (children_ == 0 && tag.follows && array.end == 0) {
            array.begin = previous_end_;
            array.end = tag.begin;
        }
        if (tag.opens) ++children_;
        if (!tag.closes) return;
        in_array_ = children_ > 0;
        --children_;
    }

    void open(const XmlTag& tag) {
        if (tag.name == "VTKFile") return open_file_tag(tag);
        if (const int* grid = find_named(kGrids, tag.name)) return open_grid(tag, *grid);
        if (tag.name == "Piece") return open_piece(tag);
        if (tag.name == "DataArray" || tag.name == "Array") return open_array(tag);
        if (tag.name == "AppendedData") return open_appended(tag);
        if (!list_of(tag.name)) return;
        section_ = tag.name;
        number_ = 0;
    }

    void open_file_tag(const XmlTag& tag) {
        const std::string type = text_of(tag, "type");
        if (!find_named(kGrids, type)) throw DataError("VTK files of type " + type + " are not described");
        const bool big = text_of(tag, "byte_order") == "BigEndian";
        encoding_.reversed = big == (std::endian::native == std::endian::little);
        encoding_.word = text_of(tag, "header_type") == "UInt64" ? 8 : 4;
        encoding_.compressor = text_of(tag, "compressor");
    }

    void open_grid(const XmlTag& tag, int grid_type) {
        if (vtk_.grid_type != 0) throw DataError("the file describes several grids");
        vtk_.grid_type = grid_type;
        if (grid_type == FLD_UNSTRUCTURED) return;
        const auto extent = numbers_of<xp_long>(tag, "WholeExtent", "", 6);
        const auto dims = dims_of(extent);
        vtk_.dims.assign(dims.begin(), dims.end());
        vtk_.nnodes = product(dims);
        vtk_.ncells = cells_of(dims);
        if (grid_type == FLD_UNIFORM) place(tag, extent);
    }

    void place(const XmlTag& tag, const std::vector<xp_long>& extent) {
        const std::vector<double> along_axes{1, 0, 0, 0, 1, 0, 0, 0, 1};
        const auto origin = numbers_of<double>(tag, "Origin", "0 0 0", 3);
        const auto spacing = numbers_of<double>(tag, "Spacing", "1 1 1", 3);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            vtk_.first[axis] = origin[axis] + spacing[axis] * static_cast<double>(extent[2 * axis]);
            vtk_.last[axis] = origin[axis] + spacing[axis] * static_cast<double>(extent[2 * axis + 1]);
        }
        if (numbers_of<double>(tag, "Direction", "1 0 0 0 1 0 0 0 1", 9) != along_axes)
            vtk_.notes.emplace_back("the axes have directions of their own; the extent is told as if they had not");
    }

    void open_piece(const XmlTag& tag) {
        if (vtk_.grid_type == 0) throw DataError("a piece belongs to no grid");
        if (vtk_.dims.empty()) {
            piece_nodes_ = count_of(tag, "NumberOfPoints", "");
            piece_cells_ = count_of(tag, "NumberOfCells", "");
            constexpr xp_long kMost = xp_long{1} << 62;
            if (piece_nodes_ > kMost - vtk_.nnodes || piece_cells_ > kMost - vtk_.ncells) throw DataError(kTooLarge);
            vtk_.nnodes += piece_nodes_;
            vtk_.ncells += piece_cells_;
        } else {
            piece_dims_ = dims_of(numbers_of<xp_long>(tag, "Extent", "", 6));
            piece_nodes_ = product(piece_dims_);
            piece_cells_ = cells_of(piece_dims_);
        }
        if (piece_nodes_ > 0) ++pieces_;
    }

    /// The list that the arrays of a part of a piece belong to; null for other parts.
    std::vector<VtkArray>* list_of(std::string_view section) {
        if (section == "PointData") return &vtk_.node_data;
        if (section == "CellData") return &vtk_.cell_data;
        if (section == "Points" || section == "Coordinates") return &vtk_.positions;
        return section == "Cells" ? &vtk_.cell_types : nullptr;
    }

    /// Number of values that the next array has of each component.
    xp_long tuples() const {
        if (section_ == "PointData" || section_ == "Points") return piece_nodes_;
        return section_ == "Coordinates" ? piece_dims_[std::min<std::size_t>(number_, 2)] : piece_cells_;
    }

    void open_array(const XmlTag& tag) {
        std::vector<VtkArray>* const list = list_of(section_);
        VtkArray array{text_of(tag, "Name"), {}, text_of(tag, "type"), {}, 1, {}};
        const bool described = list && (section_ != "Cells" || array.name == "types");
        if (!described || piece_nodes_ == 0) return;  // empty pieces may do without attributes
        const Stored* const stored = find_named(kTypes, array.stored);
        if (stored) array.type = ElementFormat{*stored}.type();
        const xp_long veclen = count_of(tag, "NumberOfComponents", "1");
        if (veclen < 1 || veclen > kMaxVeclen)
            throw DataError(array.name + " has " + std::to_string(veclen) + " components");
        array.veclen = static_cast<int>(veclen);
        const auto count = checked_product(tuples(), veclen);
        if (!count) throw DataError(kTooLarge);
        list_array(*list, array);
        const std::string format = text_of(tag, "format", "ascii");
        const xp_long offset = format == "appended" ? count_of(tag, "offset", "") : 0;
        arrays_.push_back({list, number_++, stored ? std::optional(*stored) : std::nullopt, format, offset, *count});
        in_array_ = !tag.closes;
        children_ = 0;
    }

    /// Every piece has the same arrays; the first one that is not empty says which.
    void list_array(std::vector<VtkArray>& list, const VtkArray& array) const {
        if (arrays_.size() == kMaxArrays) throw DataError("there are more than 100000 arrays");
        if (pieces_ == 1 && list.size() == number_) list.push_back(array);
        if (number_ >= list.size() || list[number_].name != array.name || list[number_].stored != array.stored ||
            list[number_].veclen != array.veclen)
            throw DataError("the pieces of the file have different arrays");
    }

    /// The arrays begin after the first underscore.
    void open_appended(const XmlTag& tag) {
        std::array<char, 256> start{};
        const xp_long count = std::min<xp_long>(bytes_->size() - tag.end, start.size());
        const std::string error = bytes_->read(tag.end, count, reinterpret_cast<std::byte*>(start.data()));
        const auto underscore = std::string_view(start.data(), static_cast<std::size_t>(count)).find('_');
        if (!error.empty() || underscore == std::string_view::npos) throw DataError("the file ends early");
        encoding_.appended = tag.end + static_cast<xp_long>(underscore) + 1;
        encoding_.appended_as = text_of(tag, "encoding", "base64");
    }

    void take_values(const ArrayTag& tag, const std::shared_ptr<SharedFile>& file) {
        VtkArray& array = (*tag.list)[tag.number];
        array.unread = why_unread(tag, encoding_);
        if (tag.count == 0 || !array.unread.empty()) return;
        try {
            NumberArray values;
            values.type = *array.type;
            values.count = tag.count;
            static_cast<void>(find_values(bytes_, tag, encoding_));  // whether they are there at all
            values.source = std::make_shared<ArrayValues>(file, tag);
            array.pieces.push_back(std::move(values));
        } catch (const DataError& error) {
            throw DataError(array.name + ": " + error.what());
        }
    }

    ByteSourcePointer bytes_;
    XmlTags tags_;
    Encoding encoding_;
    VtkFile vtk_;
    std::vector<ArrayTag> arrays_;
    std::string section_;       // of a piece: "PointData"
    std::size_t number_ = 0;    // of its arrays so far
    bool in_array_ = false;     // the last of arrays_
    int children_ = 0;          // elements within it that are open
    xp_long previous_end_ = 0;  // byte after the tag before
    xp_long pieces_ = 0;        // that have nodes
    std::array<xp_long, 3> piece_dims_{};
    xp_long piece_nodes_ = 0;
    xp_long piece_cells_ = 0;
};

}  // namespace

bool is_vtk(std::string_view start) {
    const auto first = start.find_first_not_of(kBlanks);
    return first != std::string_view::npos && start[first] == '<' && start.find("<VTKFile") != std::string_view::npos;
}

VtkFile open_vtk(const std::string& file) { return Reader(file).read(); }

}  // namespace zam::session
