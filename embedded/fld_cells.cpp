// Cell sets.
#include <limits>

#include "contract/fld.h"
#include "embedded/field.h"
#include "embedded/host_state.h"

namespace zam::host {
namespace {

constexpr int kMaxCellSets = 1 << 20;
constexpr xp_long kMaxCells = xp_long{1} << 50;

/// A cell set and the object that holds it.
struct CellSetPlace {
    Object* object = nullptr;
    CellSet* cells = nullptr;

    explicit operator bool() const { return cells != nullptr; }
};

CellSetPlace find_cell_set(OMobj_id handle) {
    Object* object = state().store.resolve(handle);
    CellSet* cells = object ? object->part<CellSet>() : nullptr;
    return {object, cells};
}

void add_cell_set(Object& field, const CellType* type) {
    Store& store = state().store;
    auto& list = field.part<Field>()->cell_sets;
    make_room(list);
    auto cells = std::make_unique<CellSet>();
    cells->type = type;
    const std::string name = "cell_set[" + std::to_string(list.size()) + "]";
    list.push_back(&store.add(&field, store.names.token(name), std::move(cells), false));
}

void set_count(Object& field, std::size_t count) {
    auto& list = field.part<Field>()->cell_sets;
    while (list.size() < count) add_cell_set(field, nullptr);
    while (list.size() > count) {
        Object* last = list.back();
        list.pop_back();
        state().store.end(*last, &field);
    }
}

template <class Change>
int change_cells(const char* operation, OMobj_id handle, Change&& change) {
    return status(operation, [&] {
        const CellSetPlace place = find_cell_set(handle);
        if (!place || !change(*place.cells)) return false;
        state().store.touch(*place.object);
        return true;
    });
}

template <class Read>
int read_cells(const char* operation, OMobj_id handle, Read&& read) {
    return status(operation, [&] {
        const CellSetPlace place = find_cell_set(handle);
        return place && read(*place.cells);
    });
}

/// Nodes per cell; of a cell set without a type, the length of its node list over its number of cells.
std::optional<int> nodes_per_cell(const CellSet& cells) {
    if (cells.type) return cells.type->nnodes;
    if (!cells.connect || cells.ncells < 1 || cells.connect.count % cells.ncells != 0) return std::nullopt;
    const xp_long each = cells.connect.count / cells.ncells;
    if (each > std::numeric_limits<int>::max()) return std::nullopt;
    return static_cast<int>(each);
}

/// Length of the node list of polygons; `nullopt` while their nodes per polygon are unknown.
std::optional<xp_long> poly_list_size(const CellSet& cells) {
    if (!cells.type || !cells.type->poly) return std::nullopt;
    if (cells.type->nnodes > 0) return cells.npolys * cells.type->nnodes;
    if (!cells.poly_nnodes) return std::nullopt;
    xp_long total = 0;
    for (xp_long poly = 0; poly < cells.poly_nnodes.count; ++poly) {
        const xp_long nodes = cells.poly_nnodes.as<const xp_long>()[poly];
        if (nodes < 0 || nodes > kMaxCells - total) return std::nullopt;
        total += nodes;
    }
    return total;
}

/// Lends a list of indices; with a writing mode an absent list of `length` is made first.
int lend_list(const char* operation, OMobj_id handle, Array CellSet::*list,
              std::optional<xp_long> (*length)(const CellSet&), xp_long** data, xp_long* size, int mode) {
    return status(operation, [&] {
        const CellSetPlace place = find_cell_set(handle);
        if (!place || !data || !size || !is_access_mode(mode)) return false;
        Array& array = place.cells->*list;
        if (!array) {
            const auto count = length(*place.cells);
            if (mode == ARR_READ || !count) return false;
            array = make_array(DTYPE_LONG, *count);
            if (!array) return false;
            state().store.touch(*place.object);
        }
        auto* lent = static_cast<xp_long*>(state().ledger.lend(operation, array, mode, place.object->id));
        if (!lent) return false;
        *data = lent;
        *size = array.count;
        return true;
    });
}

int set_list(const char* operation, OMobj_id handle, Array CellSet::*list, xp_long* data, xp_long size, int mode) {
    return change_cells(operation, handle, [&](CellSet& cells) {
        Array taken = state().ledger.take(operation, data, DTYPE_LONG, size, mode);
        if (!taken) return false;
        cells.*list = std::move(taken);
        return true;
    });
}

}  // namespace
}  // namespace zam::host

using namespace zam::host;

// --- The list ---

int FLDget_ncell_sets(OMobj_id field, int* count) {
    return status(__func__, [&] {
        const Field* found = find_field(field);
        return found && give(count, static_cast<int>(found->cell_sets.size()));
    });
}

int FLDset_ncell_sets(OMobj_id field, int count) {
    return status(__func__, [&] {
        Object* object = state().store.resolve(field);
        if (!object || !object->part<Field>() || count < 0 || count > kMaxCellSets) return false;
        set_count(*object, static_cast<std::size_t>(count));
        state().store.touch(*object);
        return true;
    });
}

int FLDget_cell_set(OMobj_id field, int index, OMobj_id* cell_set) {
    return status(__func__, [&] {
        const Field* found = find_field(field);
        if (!found || index < 0 || static_cast<std::size_t>(index) >= found->cell_sets.size()) return false;
        return give(cell_set, found->cell_sets[static_cast<std::size_t>(index)]->id);
    });
}

int FLDadd_cell_set(OMobj_id field, const char* type_name) {
    return status(__func__, [&] {
        Object* object = state().store.resolve(field);
        const Field* found = object ? object->part<Field>() : nullptr;
        const CellType* type = find_cell_type(type_name);
        if (!found || !type || found->cell_sets.size() >= kMaxCellSets) return false;
        add_cell_set(*object, type);
        state().store.touch(*object);
        return true;
    });
}

int FLDset_cell_set(OMobj_id cell_set, const char* type_name) {
    return change_cells(__func__, cell_set, [&](CellSet& cells) {
        const CellType* type = find_cell_type(type_name);
        if (!type) return false;
        if (type != cells.type) {  // node lists belong to the type they were made for
            cells.connect = {};
            cells.poly_connect = {};
            cells.poly_nnodes = {};
        }
        cells.type = type;
        return true;
    });
}

int FLDget_cell_set_name(OMobj_id cell_set, char* type_name, int size) {
    return read_cells(__func__, cell_set, [&](const CellSet& cells) {
        return give_text(type_name, size, cells.type ? cells.type->name : "");
    });
}

// --- Cells ---

int FLDget_ncells(OMobj_id cell_set, xp_long* ncells) {
    return read_cells(__func__, cell_set, [&](const CellSet& cells) { return give(ncells, cells.ncells); });
}

int FLDset_ncells(OMobj_id cell_set, xp_long ncells) {
    return change_cells(__func__, cell_set, [&](CellSet& cells) {
        if (ncells < 0 || ncells > kMaxCells) return false;
        if (ncells != cells.ncells) cells.connect = {};
        cells.ncells = ncells;
        return true;
    });
}

int FLDget_cell_set_nnodes(OMobj_id cell_set, int* nnodes) {
    return read_cells(__func__, cell_set, [&](const CellSet& cells) {
        const auto each = nodes_per_cell(cells);
        return each && give(nnodes, *each);
    });
}

int FLDget_node_connect(OMobj_id cell_set, xp_long** connect, xp_long* size, int mode) {
    const auto length = [](const CellSet& cells) -> std::optional<xp_long> {
        if (!cells.type) return std::nullopt;
        return cells.ncells * cells.type->nnodes;
    };
    return lend_list(__func__, cell_set, &CellSet::connect, length, connect, size, mode);
}

int FLDset_node_connect(OMobj_id cell_set, xp_long* connect, xp_long size, int mode) {
    return set_list(__func__, cell_set, &CellSet::connect, connect, size, mode);
}

// --- Polygons ---

int FLDget_poly_flag(OMobj_id cell_set, int* flag) {
    return read_cells(__func__, cell_set,
                      [&](const CellSet& cells) { return give(flag, cells.type && cells.type->poly ? 1 : 0); });
}

int FLDget_npolys(OMobj_id cell_set, xp_long* npolys) {
    return read_cells(__func__, cell_set, [&](const CellSet& cells) { return give(npolys, cells.npolys); });
}

int FLDset_npolys(OMobj_id cell_set, xp_long npolys) {
    return change_cells(__func__, cell_set, [&](CellSet& cells) {
        if (npolys < 0 || npolys > kMaxCells) return false;
        if (npolys != cells.npolys) {
            cells.poly_connect = {};
            cells.poly_nnodes = {};
        }
        cells.npolys = npolys;
        return true;
    });
}

int FLDget_poly_nnodes(OMobj_id cell_set, xp_long** counts, xp_long* size, int mode) {
    const auto length = [](const CellSet& cells) -> std::optional<xp_long> { return cells.npolys; };
    return lend_list(__func__, cell_set, &CellSet::poly_nnodes, length, counts, size, mode);
}

int FLDget_poly_connect(OMobj_id cell_set, xp_long** connect, xp_long* size, int mode) {
    return lend_list(__func__, cell_set, &CellSet::poly_connect, poly_list_size, connect, size, mode);
}

int FLDset_poly_connect(OMobj_id cell_set, xp_long* connect, xp_long size, int mode) {
    return set_list(__func__, cell_set, &CellSet::poly_connect, connect, size, mode);
}
