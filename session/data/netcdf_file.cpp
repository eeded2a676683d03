#include "session/data/netcdf_file.h"

#include "session/data/data_error.h"

namespace zam::session {

namespace {
constexpr std::string_view kHdf5Magic = "\x89HDF\r\n\x1a\n";
}

bool is_netcdf(std::string_view start) {
    return start.starts_with("CDF\x01") || start.starts_with("CDF\x02") || start.starts_with("CDF\x05") ||
           start.starts_with(kHdf5Magic);
}

}  // namespace zam::session

#if defined(ZAM_WITH_NETCDF)

#include <netcdf.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include "base/available_memory.h"
#include "base/checked_product.h"
#include "base/element_types.h"
#include "base/file_path.h"
#include "base/part.h"
#include "contract/file.h"
#include "session/data/byte_source.h"
#include "session/data/data_file.h"
#include "session/data/element_format.h"
#include "session/data/gzip_bytes.h"
#include "session/data/isolated_arrays.h"
#include "session/data/netcdf_classic.h"
#include "session/data/unpacked_source.h"
#include "session/values/elements.h"

namespace zam::session {
namespace {

constexpr int kMaxVariables = 100'000;
constexpr int kMaxGroupDepth = 32;
constexpr std::size_t kMaxText = 4096;     // bytes of an attribute
constexpr std::size_t kMaxNumbers = 4096;  // of an attribute
constexpr std::size_t kMaxChunkCache = std::size_t{32} << 20;

void require(int status) {
    if (status != NC_NOERR) throw DataError(nc_strerror(status));
}

/// An open file.
class NetcdfFile {
public:
    explicit NetcdfFile(const std::string& name) {
        check_classic_netcdf(*open_file(name));
        std::array<char, FILE_NAME_SIZE> expanded{};
        FILEmap_variables(name.c_str(), expanded.data(), static_cast<int>(expanded.size()));
        // relative names could look like addresses of a network
        std::error_code none;
        const auto path = std::filesystem::absolute(file_path(expanded.data()), none);
        const int status = nc_open(path.c_str(), NC_NOWRITE, &handle_.id);
        if (status != NC_NOERR) throw DataError(std::string("the file cannot be read: ") + nc_strerror(status));
        std::error_code error;
        length = static_cast<xp_long>(std::filesystem::file_size(path, error));
        if (error) throw DataError("the file cannot be read: " + error.message());
        int format = 0;
        require(nc_inq_format(id(), &format));
        compressible = format == NC_FORMAT_NETCDF4 || format == NC_FORMAT_NETCDF4_CLASSIC;
    }

    int id() const { return handle_.id; }
    /// Whether a file of this length can hold so many bytes of values.
    bool can_hold(std::optional<xp_long> bytes) const {
        return bytes && (compressible ? *bytes / kMostPerPackedByte : *bytes) <= length;
    }

    xp_long length = 0;         // bytes
    bool compressible = false;  // kept in HDF5

private:
    struct Handle {
        int id = -1;

        Handle() = default;
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;
        ~Handle() {
            if (id >= 0) nc_close(id);
        }
    };
    Handle handle_;
};
using FilePointer = std::shared_ptr<const NetcdfFile>;

/// A dimension or a variable with its name.
struct Dimension {
    int id = 0;
    std::string name;
    xp_long size = 0;
    bool unlimited = false;
};

// --- Attributes of a variable ---

std::string text_attribute(int group, int variable, const char* name) {
    nc_type type = 0;
    std::size_t length = 0;
    if (nc_inq_att(group, variable, name, &type, &length) != NC_NOERR) return {};
    if (type == NC_CHAR && length <= kMaxText) {
        std::string text(length, '\0');
        if (nc_get_att_text(group, variable, name, text.data()) != NC_NOERR) return {};
        return text.c_str();  // some programs count the zero at the end
    }
    if (type != NC_STRING || length != 1) return {};
    char* string = nullptr;
    if (nc_get_att_string(group, variable, name, &string) != NC_NOERR) return {};
    std::string text(string ? string : "");
    nc_free_string(1, &string);
    return text;
}

std::vector<double> number_attribute(int group, int variable, const char* name) {
    nc_type type = 0;
    std::size_t length = 0;
    if (nc_inq_att(group, variable, name, &type, &length) != NC_NOERR) return {};
    if (type == NC_CHAR || type > NC_UINT64 || length > kMaxNumbers) return {};
    std::vector<double> numbers(length);
    if (nc_get_att_double(group, variable, name, numbers.data()) != NC_NOERR) return {};
    return numbers;
}

std::optional<double> one_number(int group, int variable, const char* name) {
    const auto numbers = number_attribute(group, variable, name);
    return numbers.size() == 1 ? std::optional(numbers.front()) : std::nullopt;
}

// --- Values ---

std::optional<Stored> stored_form(nc_type type, bool is_unsigned) {
    switch (type) {
        case NC_BYTE: return is_unsigned ? Stored::uint8 : Stored::int8;
        case NC_UBYTE: return Stored::uint8;
        case NC_SHORT: return is_unsigned ? Stored::uint16 : Stored::int16;
        case NC_USHORT: return Stored::uint16;
        case NC_INT: return is_unsigned ? Stored::uint32 : Stored::int32;
        case NC_UINT: return Stored::uint32;
        case NC_INT64: return Stored::int64;
        case NC_UINT64: return Stored::uint64;
        case NC_FLOAT: return Stored::float32;
        case NC_DOUBLE: return Stored::float64;
        default: return std::nullopt;
    }
}

/// The numbers of a variable as they are stored, in native byte order, read as hyperslabs.
class VariableBytes final : public ByteSource {
public:
    /// @param cache  bytes of chunks that are kept while values are read; 0: there are none
    VariableBytes(FilePointer file, int group, int variable, std::vector<xp_long> sizes, std::size_t number,
                  std::size_t cache)
        : file_(std::move(file)),
          group_(group),
          variable_(variable),
          sizes_(std::move(sizes)),
          number_(static_cast<xp_long>(number)),
          cache_(cache) {}

    xp_long size() const override { return checked_product(sizes_).value_or(0) * number_; }
    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        if (first == 0) keep_chunks(cache_);
        std::string error = read_slabs(first, count, destination);
        if (first + count == size()) keep_chunks(0);  // whoever wanted all values has them
        return error;
    }

private:
    void keep_chunks(std::size_t bytes) const {
        constexpr std::size_t kSlots = 4133;
        if (cache_ > 0) nc_set_var_chunk_cache(group_, variable_, bytes, kSlots, 0.75F);
    }

    std::string read_slabs(xp_long first, xp_long count, std::byte* destination) const {
        xp_long at = first / number_;
        const xp_long end = at + count / number_;
        while (at < end) {
            const xp_long taken = read_slab(at, end - at, destination);
            if (taken == 0) return nc_strerror(status_);
            at += taken;
            destination += taken * number_;
        }
        return {};
    }

    /// Reads the largest slab that begins with value `first` and has no more than `count` values.
    /// @return how many it has; 0 after a failure
    xp_long read_slab(xp_long first, xp_long count, std::byte* destination) const {
        std::vector<std::size_t> start(sizes_.size() + 1);
        std::vector<std::size_t> counts(sizes_.size() + 1, 1);
        xp_long values = 1;  // of the slab
        bool whole = true;   // the slab has all of the axes so far
        xp_long rest = first;
        for (std::size_t axis = sizes_.size(); axis-- > 0;) {
            const xp_long index = rest % sizes_[axis];
            rest /= sizes_[axis];
            start[axis] = static_cast<std::size_t>(index);
            if (!whole) continue;
            const xp_long indices = std::min(sizes_[axis] - index, count / values);
            counts[axis] = static_cast<std::size_t>(indices);
            values *= indices;
            whole = indices == sizes_[axis];
        }
        status_ = nc_get_vara(group_, variable_, start.data(), counts.data(), destination);
        return status_ == NC_NOERR ? values : 0;
    }

    FilePointer file_;
    int group_, variable_;
    std::vector<xp_long> sizes_;
    xp_long number_;  // bytes
    std::size_t cache_;
    mutable int status_ = NC_NOERR;
};

/// Bytes of chunks to keep so that reading row by row unpacks each of them once; 0 if there are no chunks.
/// @throws DataError  if a chunk is larger than the file justifies
std::size_t chunk_cache(const NetcdfFile& file, int group, int variable, const std::vector<xp_long>& sizes,
                        std::size_t number) {
    int storage = NC_CONTIGUOUS;
    std::vector<std::size_t> chunk(sizes.size() + 1);
    if (!file.compressible || sizes.empty()) return 0;
    require(nc_inq_var_chunking(group, variable, &storage, chunk.data()));
    if (storage != NC_CHUNKED) return 0;
    std::optional<xp_long> bytes = static_cast<xp_long>(number);
    for (std::size_t axis = 0; axis < sizes.size() && bytes; ++axis)
        bytes = checked_product(*bytes, static_cast<xp_long>(chunk[axis]));
    AvailableMemory memory;
    if (!file.can_hold(bytes) || !memory.take(*bytes, 2)) throw DataError("the file is too short for its chunks");
    auto cache = static_cast<std::size_t>(*bytes);
    for (std::size_t axis = 1; axis < sizes.size() && cache < kMaxChunkCache; ++axis)
        cache *= (static_cast<std::size_t>(sizes[axis]) + chunk[axis] - 1) / std::max<std::size_t>(chunk[axis], 1);
    return std::clamp<std::size_t>(cache, 1 << 20, kMaxChunkCache);
}

// --- Variables ---

/// Reads the variables of a file, group by group.
class VariableReader {
public:
    explicit VariableReader(FilePointer file) : file_(std::move(file)) {}

    std::vector<DataArray> read() {
        read_group(file_->id(), "", 0);
        for (auto& array : arrays_) array.by_name_only = array.by_name_only || described_.contains(array.name);
        return std::move(arrays_);
    }

private:
    void read_group(int group, const std::string& prefix, int depth);
    DataArray read_variable(int group, int variable, const std::string& prefix);
    void set_values(DataArray& array, int group, int variable, nc_type type, const std::vector<xp_long>& sizes) const;
    std::vector<Dimension> dimensions_of(int group, int variable) const;
    std::vector<float> positions(int group, const Dimension& dimension) const;

    FilePointer file_;
    std::vector<DataArray> arrays_;
    std::set<std::string, std::less<>> described_;  // variables that describe others
};

void VariableReader::read_group(int group, const std::string& prefix, int depth) {
    int variables = 0;
    require(nc_inq_nvars(group, &variables));
    for (int variable = 0; variable < variables && arrays_.size() < kMaxVariables; ++variable)
        arrays_.push_back(read_variable(group, variable, prefix));
    int count = 0;
    if (!file_->compressible || depth == kMaxGroupDepth || nc_inq_grps(group, &count, nullptr) != NC_NOERR) return;
    std::vector<int> groups(static_cast<std::size_t>(count) + 1);
    require(nc_inq_grps(group, &count, groups.data()));
    groups.pop_back();
    for (const int inner : groups) {
        std::array<char, NC_MAX_NAME + 1> name{};
        require(nc_inq_grpname(inner, name.data()));
        read_group(inner, prefix + name.data() + "/", depth + 1);
    }
}

std::vector<Dimension> VariableReader::dimensions_of(int group, int variable) const {
    int count = 0;
    require(nc_inq_varndims(group, variable, &count));
    std::vector<int> ids(static_cast<std::size_t>(count) + 1);
    require(nc_inq_vardimid(group, variable, ids.data()));
    ids.pop_back();
    std::set<int> unlimited;
    for (int place = group, known = NC_NOERR; known == NC_NOERR; known = nc_inq_grp_parent(place, &place)) {
        int number = 0;
        if (nc_inq_unlimdims(place, &number, nullptr) != NC_NOERR || number < 1) continue;
        std::vector<int> found(static_cast<std::size_t>(number));
        if (nc_inq_unlimdims(place, &number, found.data()) == NC_NOERR) unlimited.insert(found.begin(), found.end());
    }
    std::vector<Dimension> dimensions;
    for (const int id : ids) {
        std::array<char, NC_MAX_NAME + 1> name{};
        std::size_t size = 0;
        require(nc_inq_dim(group, id, name.data(), &size));
        dimensions.push_back({id, name.data(), static_cast<xp_long>(size), unlimited.contains(id)});
    }
    return dimensions;
}

/// The values of the coordinate variable of a dimension; empty if it has none.
/// @throws DataError  if they are no positions
std::vector<float> VariableReader::positions(int group, const Dimension& dimension) const {
    int variable = 0;
    while (nc_inq_varid(group, dimension.name.c_str(), &variable) != NC_NOERR) {
        if (nc_inq_grp_parent(group, &group) != NC_NOERR) return {};
    }
    const auto own = dimensions_of(group, variable);
    nc_type type = NC_NAT;
    require(nc_inq_vartype(group, variable, &type));
    if (own.size() != 1 || own.front().id != dimension.id || !stored_form(type, false)) return {};
    DataArray array;
    set_values(array, group, variable, type, {dimension.size});
    if (!array.fault.empty()) throw DataError("coordinate variable " + dimension.name + ": " + array.fault);
    AvailableMemory memory;
    if (!memory.take(dimension.size, type_size(array.type) + sizeof(float))) {
        throw DataError("coordinate variable " + dimension.name + ": there is not enough memory");
    }
    std::vector<std::byte> values(static_cast<std::size_t>(dimension.size) * type_size(array.type));
    const std::string error = array.values->read(0, dimension.size, values.data());
    if (!error.empty()) throw DataError("coordinate variable " + dimension.name + ": " + error);
    std::vector<float> positions(static_cast<std::size_t>(dimension.size));
    with_type(array.type, [&](auto value) {
        for (std::size_t i = 0; i < positions.size(); ++i) {
            std::memcpy(&value, values.data() + i * sizeof value, sizeof value);
            positions[i] = static_cast<float>(value);
        }
    });
    const bool finite = std::all_of(positions.begin(), positions.end(), [](float at) { return std::isfinite(at); });
    if (!finite) throw DataError("coordinate variable " + dimension.name + ": not all of its values are finite");
    return positions;
}

/// Type, values, null value, units and label of a variable, or its fault.
void VariableReader::set_values(DataArray& array, int group, int variable, nc_type type,
                                const std::vector<xp_long>& sizes) const {
    const bool is_unsigned = text_attribute(group, variable, "_Unsigned") == "true";
    const auto stored = stored_form(type, is_unsigned);
    if (!stored) {
        array.fault = type == NC_CHAR || type == NC_STRING ? "texts are not read" : "numbers of this type are not read";
        return;
    }
    const ElementFormat format{*stored, false};
    const auto count = checked_product(sizes);
    if (!count || !file_->can_hold(checked_product(*count, static_cast<xp_long>(format.size())))) {
        array.fault = "the file is too short for all values";
        return;
    }
    const std::size_t cache = chunk_cache(*file_, group, variable, sizes, format.size());
    array.values =
        decode(std::make_shared<VariableBytes>(file_, group, variable, sizes, format.size(), cache), 0, format);

    Unpacking unpacking{one_number(group, variable, "scale_factor"), one_number(group, variable, "add_offset"), {}};
    const int from = format.type();
    const bool scaled = unpacking.scale || unpacking.offset;
    array.type = !scaled ? from : format.size() <= 2 ? int{DTYPE_FLOAT} : int{DTYPE_DOUBLE};
    const auto fits = [](int element, double value) {
        return with_type(element, [&](auto zero) { return exact_element<decltype(zero)>(value).has_value(); });
    };
    for (const char* name : {"_FillValue", "missing_value"}) {
        for (double null : number_attribute(group, variable, name)) {
            if (is_unsigned && null < 0.0) null += std::ldexp(1.0, 8 * static_cast<int>(format.size()));
            const auto& nulls = unpacking.nulls;
            const bool known = std::find(nulls.begin(), nulls.end(), null) != nulls.end();
            if (!known && fits(from, null) && fits(array.type, null)) unpacking.nulls.push_back(null);
        }
    }
    if (!unpacking.nulls.empty()) array.null_value = unpacking.nulls.front();
    // a single null of a type that double holds exactly is what the component's null value says already
    if (scaled || unpacking.nulls.size() > 1 || (from == DTYPE_LONG && array.null_value))
        array.values = unpack(array.values, from, array.type, std::move(unpacking));
    array.units = text_attribute(group, variable, "units");
    array.label = text_attribute(group, variable, "long_name");
}

DataArray VariableReader::read_variable(int group, int variable, const std::string& prefix) {
    std::array<char, NC_MAX_NAME + 1> name{};
    nc_type type = NC_NAT;
    require(nc_inq_varname(group, variable, name.data()));
    require(nc_inq_vartype(group, variable, &type));
    for (const char* attribute : {"coordinates", "bounds", "climatology", "grid_mapping"}) {
        std::istringstream words(text_attribute(group, variable, attribute));
        for (std::string word; words >> word;) described_.insert(prefix + word);
    }
    DataArray array;
    array.name = prefix + name.data();
    try {
        const auto dimensions = dimensions_of(group, variable);
        const bool coordinate = dimensions.size() == 1 && dimensions.front().name == name.data();
        array.by_name_only = coordinate || dimensions.empty() || type == NC_CHAR || type == NC_STRING;
        std::vector<xp_long> sizes;
        for (const Dimension& dimension : dimensions) {
            sizes.push_back(dimension.size);
            DataAxis& axis = array.axes.emplace_back();
            axis.size = dimension.size;
            axis.name = dimension.name;
            axis.step = dimension.unlimited &&
                        std::none_of(array.axes.begin(), array.axes.end() - 1, [](auto& other) { return other.step; });
        }
        set_values(array, group, variable, type, sizes);
        set_strides(array.axes, false);
        for (std::size_t axis = 0; axis < sizes.size() && array.fault.empty() && !coordinate; ++axis)
            array.axes[axis].positions = positions(group, dimensions[axis]);
    } catch (const DataError& error) {
        array.fault = error.what();
    }
    if (array.label.empty()) array.label = array.name;
    return array;
}

std::vector<DataArray> open_here(const std::string& file) {
    return VariableReader(std::make_shared<const NetcdfFile>(file)).read();
}

}  // namespace

std::vector<DataArray> open_netcdf(const std::string& file) {
    const bool in_hdf5 = data_file_start(file).starts_with(kHdf5Magic);
    return in_hdf5 ? open_isolated(open_here, file) : open_here(file);  // HDF5's library can crash over damaged files
}
ZAM_PART_EXPORT(open_netcdf)

}  // namespace zam::session

#else

#include "base/part.h"

namespace zam::session {

std::vector<DataArray> open_netcdf(const std::string& file) {
    static const auto open = part_function<decltype(open_netcdf)>("zam_netcdf", "open_netcdf");
    if (!open) throw DataError("this build reads no NetCDF files: it was made without libnetcdf");
    return open(file);
}

}  // namespace zam::session

#endif
