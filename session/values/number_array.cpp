#include "session/values/number_array.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <utility>

#include "base/element_types.h"
#include "base/file_handle.h"
#include "base/file_path.h"
#include "contract/file.h"
#include "platform/large_file.h"
#include "session/data/data_error.h"
#include "session/data/npy.h"
#include "session/document/special_numbers.h"
#include "session/values/elements.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kValuesPerBlock = 8192;

std::string number_text(double value) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

/// The number as an element of `type` at `place`; false when it does not fit.
bool store(const Number& number, int type, std::byte* place) {
    return with_type(type, [&](auto zero) {
        using T = decltype(zero);
        auto value = std::visit([](auto n) { return exact_element<T>(n); }, number);
        if (type == DTYPE_CHAR && !value) {  // a signed character
            const auto narrow = std::visit([](auto n) { return exact_element<std::int8_t>(n); }, number);
            if (narrow) value = static_cast<T>(*narrow);
        }
        if (!value) return false;
        std::memcpy(place, &*value, sizeof *value);
        return true;
    });
}

std::string does_not_fit(const Number& number, int type) {
    return std::visit(
        [&](auto value) {
            return number_text(static_cast<double>(value)) + " does not fit the element type " +
                   std::string(type_name(type));
        },
        number);
}

/// The type that holds numbers of no declared type: int, else long when all are whole, else double.
int natural_type(const Numbers& numbers) {
    int type = DTYPE_INT;
    for (const auto& number : numbers) {
        const auto* whole = std::get_if<std::int64_t>(&number);
        if (!whole) return DTYPE_DOUBLE;
        if (!std::in_range<std::int32_t>(*whole)) type = DTYPE_LONG;
    }
    return type;
}

std::optional<NumberArray> read_written(const Cursor& cursor, const Numbers& numbers, std::optional<int> type) {
    NumberArray array;
    array.type = type.value_or(natural_type(numbers));
    array.count = static_cast<xp_long>(numbers.size());
    const std::size_t size = type_size(array.type);
    array.values.resize(numbers.size() * size);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (store(numbers[i], array.type, array.values.data() + i * size)) continue;
        cursor.problem("value " + std::to_string(i) + ": " + does_not_fit(numbers[i], array.type));
        return std::nullopt;
    }
    return array;
}

/// Bytes of a regular file; `nullopt`, with a problem, for anything else.
std::optional<xp_long> file_length(const Cursor& cursor, const std::string& file) {
    std::array<char, FILE_NAME_SIZE> expanded{};
    FILEmap_variables(file.c_str(), expanded.data(), static_cast<int>(expanded.size()));
    const fs::path path = file_path(expanded.data());
    std::error_code error;
    if (!fs::exists(path, error)) {
        cursor.problem("the file " + file + " does not exist");
        return std::nullopt;
    }
    const auto length = fs::is_regular_file(path, error) ? fs::file_size(path, error) : 0;
    if (error || !fs::is_regular_file(path, error)) {
        cursor.problem(file + " is not a file of values");
        return std::nullopt;
    }
    return static_cast<xp_long>(length);
}

/// Makes `count` little-endian elements native.
void to_native(std::byte* values, std::size_t count, std::size_t size) {
    if constexpr (std::endian::native == std::endian::little) return;
    for (std::size_t i = 0; i < count; ++i) std::reverse(values + i * size, values + (i + 1) * size);
}

Number number_at(const std::byte* values, int type, std::size_t index) {
    return with_type(type, [&](auto value) -> Number {
        std::memcpy(&value, values + index * sizeof value, sizeof value);
        if constexpr (std::is_floating_point_v<decltype(value)>)
            return static_cast<double>(value);
        else
            return static_cast<std::int64_t>(value);
    });
}

/// A stretch of a file of little-endian values, which stays within the file as long as that does not change.
class FileStretch final : public ValueSource {
public:
    /// @param type    of the values
    /// @param offset  bytes before the first value
    FileStretch(std::string file, int type, xp_long offset) : file_(std::move(file)), type_(type), offset_(offset) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        const std::string error = copy(first, count, destination);
        return error.empty() ? error : file_ + ": " + error;
    }

private:
    std::string copy(xp_long first, xp_long count, std::byte* destination) const;

    std::string file_;
    int type_;
    xp_long offset_;
};

std::string FileStretch::copy(xp_long first, xp_long count, std::byte* destination) const {
    const FileHandle file(FILEfopen(file_.c_str(), "rb"));
    if (!file) return "cannot open the file";
    const std::size_t size = type_size(type_);
    if (platform::seek(file.get(), offset_ + first * static_cast<xp_long>(size), SEEK_SET) != 0)
        return "cannot seek in the file";
    if (std::fread(destination, size, static_cast<std::size_t>(count), file.get()) != static_cast<std::size_t>(count)) {
        return "ended early";
    }
    to_native(destination, static_cast<std::size_t>(count), size);
    return {};
}

/// Values of another type, each of which has to fit the new one.
class ConvertedValues final : public ValueSource {
public:
    ConvertedValues(ValueSourcePointer values, std::string file, int type, int as)
        : values_(std::move(values)), file_(std::move(file)), type_(type), as_(as) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        std::vector<std::byte> block(kValuesPerBlock * type_size(type_));
        const auto per_block = static_cast<xp_long>(kValuesPerBlock);
        for (xp_long done = 0; done < count; done += per_block) {
            const xp_long wanted = std::min(per_block, count - done);
            if (std::string error = values_->read(first + done, wanted, block.data()); !error.empty()) return error;
            for (xp_long i = 0; i < wanted; ++i, destination += type_size(as_)) {
                const Number number = number_at(block.data(), type_, static_cast<std::size_t>(i));
                if (store(number, as_, destination)) continue;
                return file_ + ": value " + std::to_string(first + done + i) + ": " + does_not_fit(number, as_);
            }
        }
        return {};
    }

private:
    ValueSourcePointer values_;
    std::string file_;
    int type_, as_;
};

/// What a values file holds from where its values begin.
struct FileValues {
    ValueSourcePointer values;
    int type = DTYPE_FLOAT;
    xp_long available = 0;    // values
    xp_long stored_size = 0;  // bytes of one of them in the file
    std::string place;        // where they begin: " from byte 4 on"
};

/// An .npy file says itself what it holds, unless an offset tells where values begin. A problem where it says otherwise
/// than the document.
/// @return `nullopt` if it is a file of another kind, or after a problem
std::optional<FileValues> read_npy_values(const Cursor& cursor, const std::string& file) {
    if (cursor.find("offset")) return std::nullopt;
    try {
        const auto npy = open_npy_values(file);
        if (!npy) return std::nullopt;
        const auto type = read_type(cursor, npy->type);
        if (type && *type != npy->type) {
            cursor.find("type")->problem(file + " holds values of type " + std::string(type_name(npy->type)));
            return std::nullopt;
        }
        return FileValues{npy->values, npy->type, npy->count, npy->stored_size, {}};
    } catch (const DataError& error) {
        cursor.find("values_file")->problem(file + ": " + error.what());
        return std::nullopt;
    }
}

std::optional<NumberArray> read_file_stretch(const Cursor& cursor, std::optional<int> type,
                                             std::optional<xp_long> wanted) {
    constexpr std::string_view kKeys[] = {"values_file", "type", "offset", "count"};
    constexpr auto kMaxInteger = std::numeric_limits<std::int64_t>::max();
    cursor.expect_keys(kKeys);
    const auto name_place = *cursor.find("values_file");
    const auto name = name_place.text();
    const auto raw_type = read_type(cursor, type.value_or(DTYPE_FLOAT));
    const auto offset_place = cursor.find("offset");
    const auto count_place = cursor.find("count");
    const auto offset = offset_place ? offset_place->integer(0, kMaxInteger) : 0;
    const auto count = count_place ? count_place->integer(0, kMaxInteger) : 0;
    if (!name || !raw_type || !offset || !count) return std::nullopt;

    const std::string file = cursor.input_file(*name);
    const auto length = file_length(name_place, file);
    if (!length) return std::nullopt;
    const std::size_t problems = cursor.environment().problems.count();
    auto values = read_npy_values(cursor, file);
    if (cursor.environment().problems.count() > problems) return std::nullopt;
    if (!values) {
        const auto size = static_cast<xp_long>(type_size(*raw_type));
        values = {std::make_shared<FileStretch>(file, *raw_type, *offset), *raw_type,
                  *length < *offset ? 0 : (*length - *offset) / size, size,
                  " from byte " + std::to_string(*offset) + " on"};
    }
    if (*offset > *length || (count_place && *count > values->available)) {
        name_place.problem(file + " holds " + std::to_string(values->available) + " values of type " +
                           std::string(type_name(values->type)) + values->place);
        return std::nullopt;
    }
    NumberArray array;
    array.type = type.value_or(values->type);
    array.count = count_place ? *count : std::min(values->available, wanted.value_or(values->available));
    array.source = values->values;
    if (array.type != values->type)
        array.source = std::make_shared<ConvertedValues>(values->values, file, values->type, array.type);
    if (!count_place && array.count < values->available) {
        cursor.note(std::to_string(array.count * values->stored_size) + " bytes of " +
                    std::to_string(values->available * values->stored_size) + " taken");
    }
    return array;
}

bool is_lent(const Cursor& cursor) { return !cursor.environment().lent.empty() && cursor.find("lent"); }

/// An array that a program lends: its own values, or conversions of them where another type is asked for.
std::optional<NumberArray> take_lent(const Cursor& cursor, std::optional<int> type) {
    const auto& lent = cursor.environment().lent;
    const auto number = cursor.find("lent")->integer(0, static_cast<std::int64_t>(lent.size()) - 1);
    if (!number) return std::nullopt;
    NumberArray array = lent[static_cast<std::size_t>(*number)];
    if (type && *type != array.type && array.source) {
        array.source = std::make_shared<ConvertedValues>(array.source, "the array", array.type, *type);
    }
    array.type = type.value_or(array.type);
    return array;
}

}  // namespace

bool is_array_elsewhere(const Cursor& cursor) { return cursor.find("values_file") || is_lent(cursor); }

std::optional<int> read_type(const Cursor& object, int otherwise) {
    const auto place = object.find("type");
    if (!place) return otherwise;
    const auto name = place->text();
    const auto type = name ? type_from_name(*name) : std::nullopt;
    if (name && !type) place->problem("unknown type; there are char, byte, short, int, float, double and long");
    return type;
}

std::optional<int> read_type_of_values(const Cursor& cursor) {
    const auto name = cursor.find("values_file") ? cursor.find("values_file")->text() : std::nullopt;
    if (!name || cursor.find("type") || cursor.find("offset")) return read_type(cursor, DTYPE_FLOAT);
    try {
        const auto npy = open_npy_values(cursor.input_file(*name));
        return npy ? npy->type : int{DTYPE_FLOAT};
    } catch (const DataError&) {
        return DTYPE_FLOAT;  // silent: whoever reads the values reports it
    }
}

std::optional<NumberArray> read_number_array(const Cursor& cursor, std::optional<int> type,
                                             std::optional<xp_long> wanted) {
    if (const auto* numbers = cursor.get<Numbers>()) return read_written(cursor, *numbers, type);
    if (cursor.find("values_file")) return read_file_stretch(cursor, type, wanted);
    if (is_lent(cursor)) return take_lent(cursor, type);
    const auto* elements = cursor.get<Elements>();
    if (!elements) {
        cursor.expected("an array of numbers");
        return std::nullopt;
    }
    for (std::size_t i = 0; i < elements->size(); ++i) {
        if (std::holds_alternative<Number>((*elements)[i].value)) continue;
        cursor.at(i).expected("a number");
        break;
    }
    return std::nullopt;
}

std::optional<NumberArray> read_exactly(const Cursor& cursor, int type, xp_long count) {
    auto array = read_number_array(cursor, type, count);
    if (!array || array->count == count) return array;
    cursor.problem(std::to_string(count) + " numbers are expected, not " + std::to_string(array->count));
    return std::nullopt;
}

std::optional<NumberArray> read_one_number(const Cursor& cursor, int type) {
    const auto* written = cursor.get<Number>();
    const auto special = written ? std::nullopt : cursor.real();
    if (!written && !special) return std::nullopt;
    const Number number = written ? *written : Number{*special};
    NumberArray array{.type = type, .count = 1, .values = std::vector<std::byte>(type_size(type)), .source = {}};
    if (store(number, type, array.values.data())) return array;
    cursor.problem(does_not_fit(number, type));
    return std::nullopt;
}

std::optional<NumberArray> one_value(int type, double value) {
    NumberArray array{.type = type, .count = 1, .values = std::vector<std::byte>(type_size(type)), .source = {}};
    const bool fits = with_type(type, [&](auto zero) {
        const auto element = nearest_element<decltype(zero)>(value);
        if (element) std::memcpy(array.values.data(), &*element, sizeof *element);
        return element.has_value();
    });
    return fits ? std::optional(std::move(array)) : std::nullopt;
}

std::string copy_values(const NumberArray& array, xp_long first, xp_long count, void* destination) {
    auto* const bytes = static_cast<std::byte*>(destination);
    if (count == 0) return {};
    if (array.source) return array.source->read(first, count, bytes);
    const auto size = static_cast<xp_long>(type_size(array.type));
    std::memcpy(bytes, array.values.data() + first * size, static_cast<std::size_t>(count * size));
    return {};
}

const std::byte* values_in_memory(const NumberArray& array, xp_long first) {
    const std::byte* const values = array.source ? array.source->in_memory() : array.values.data();
    return values ? values + first * static_cast<xp_long>(type_size(array.type)) : nullptr;
}

std::string copy_values(const NumberArray& array, void* destination) {
    return copy_values(array, 0, array.count, destination);
}

}  // namespace zam::session
