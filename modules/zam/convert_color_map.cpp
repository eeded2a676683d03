// Convert colour map: samples the instance's data map into the four arrays of its colour table.
// Reads active, color_map_size, datamap. Writes color_table.{red,green,blue} (0..255) and .alpha (16 bits).
#include "modules/zam/convert_color_map.h"

#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "contract/gd.h"
#include "contract/om.h"
#include "modules/support/batch.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"

namespace zam {

constexpr std::size_t kPackedBytes = 4;

void split_argb(std::span<const std::uint8_t> packed, const TableColumns& table) {
    const std::uint8_t* argb = packed.data();
    for (std::size_t i = 0; i < table.alpha.size(); ++i, argb += kPackedBytes) {
        table.alpha[i] = argb[0];
        table.red[i] = argb[1];
        table.green[i] = argb[2];
        table.blue[i] = argb[3];
    }
}

namespace {

constexpr Reporter report{.label = "", .flags = 96};

struct Params {
    OMobj_id datamap;  // evaluated at the values 0 .. size - 1
    int size;          // entries in the table
    OMobj_id red, green, blue, alpha;
};

/// `nullopt`, silently, if there is no table to fill.
std::optional<Params> read_params(const Parameters& given) {
    Params params{};
    params.datamap = given.find("datamap", OM_OBJ_RW);
    params.size = given.integer("color_map_size", -1);
    if (params.size < 0) return std::nullopt;
    const Parameters table = given.group("color_table");
    const auto resolve = [&](const char* name, OMobj_id& array) {
        return OMget_obj_val(table.find(name), &array) == 1;
    };
    const bool complete = resolve("red", params.red) && resolve("green", params.green) &&
                          resolve("blue", params.blue) && resolve("alpha", params.alpha);
    return complete ? std::optional(params) : std::nullopt;
}

struct Table {
    OutArray<std::uint8_t> red, green, blue;
    OutArray<std::int16_t> alpha;

    TableColumns columns() const { return {red.span(), green.span(), blue.span(), alpha.span()}; }
};

std::optional<Table> allocate_table(int size, MemoryBudget& memory) {
    Table table;
    if (!(table.red = memory.allocate<std::uint8_t>(size))) return report.reject("red array is not allocated\n");
    if (!(table.green = memory.allocate<std::uint8_t>(size))) return report.reject("green array is not allocated\n");
    if (!(table.blue = memory.allocate<std::uint8_t>(size))) return report.reject("blue array is not allocated\n");
    if (!(table.alpha = memory.allocate<std::int16_t>(size))) return report.reject("alpha array is not allocated\n");
    return table;
}

/// Room for `count` elements, which takes no memory until it is filled; `nullopt`, after a report, if there is too
/// little.
template <class T>
std::optional<std::vector<T>> scratch(std::size_t count, MemoryBudget& memory, const char* failure) {
    try {
        std::vector<T> elements;
        if (memory.take(static_cast<xp_long>(count), sizeof(T))) {
            elements.reserve(count);
            return elements;
        }
    } catch (const std::bad_alloc&) {
        // reported like what does not fit
    }
    return report.reject(failure);
}

/// Fills the table with the colours of 0 to size - 1. @return false if memory runs out (reported) or the map
/// gives no colours
bool sample_map(const Params& params, const Table& table, MemoryBudget& memory) {
    const auto size = static_cast<std::size_t>(params.size);
    auto values = scratch<int>(size, memory, "node array is not allocated\n");
    if (!values) return false;
    auto packed = scratch<std::uint8_t>(size * kPackedBytes, memory, "colormap array is not allocated\n");
    if (!packed) return false;
    for (int value = 0; value < params.size; ++value) values->push_back(value);
    packed->resize(size * kPackedBytes);
    if (GDgen_argbs(params.datamap, values->data(), DTYPE_INT, packed->data(), params.size, 1, params.size, params.size,
                    0) != 1)
        return false;  // silent: no data map
    split_argb(*packed, table.columns());
    return true;
}

template <class T>
bool write_column(OMobj_id column, OutArray<T>& values) {
    if (OMset_array(column, values.type(), values.data(), values.size(), ARR_HOST_OWNS) != 1) return false;
    values.release();
    return true;
}

int write_table(const Params& params, Table table) {
    const WriteBatch batch;
    for (const OMobj_id column : {params.red, params.green, params.blue, params.alpha})
        OMset_array_size(column, params.size);
    const bool written = write_column(params.red, table.red) && write_column(params.green, table.green) &&
                         write_column(params.blue, table.blue) && write_column(params.alpha, table.alpha);
    return written ? 1 : 0;
}

}  // namespace
}  // namespace zam

int ZAMconvert_color_map(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    const zam::Parameters given(instance);
    if (!given.is_active(zam::report)) return 0;
    const auto params = zam::read_params(given);
    if (!params) return 0;
    zam::MemoryBudget memory;
    auto table = zam::allocate_table(params->size, memory);
    if (!table || !zam::sample_map(*params, *table, memory)) return 0;
    return zam::write_table(*params, std::move(*table));
}
