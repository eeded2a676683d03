#include "modules/zam/ld_rdfld/header_model.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <type_traits>
#include <unordered_map>

namespace zam::ldrf {
namespace {

// A header that first gives many short rows and then asks for long ones would multiply its size: this much may be
// added.
constexpr std::size_t kMaxValuesAdded = 16U << 20U;

template <class T>
struct TableMember {
    Table name;
    std::pmr::vector<T> StepTables::*values;
};
template <class T>
TableMember(Table, std::pmr::vector<T> StepTables::*) -> TableMember<T>;

constexpr auto kTables = std::tuple{
    TableMember{Table::labels, &StepTables::labels},
    TableMember{Table::units, &StepTables::units},
    TableMember{Table::min_ext, &StepTables::min_ext},
    TableMember{Table::max_ext, &StepTables::max_ext},
    TableMember{Table::min_val, &StepTables::min_val},
    TableMember{Table::max_val, &StepTables::max_val},
    TableMember{Table::flag, &StepTables::flag},
    TableMember{Table::name_list_count, &StepTables::name_list_count},
    TableMember{Table::unit_list_count, &StepTables::unit_list_count},
    TableMember{Table::data_in_file, &StepTables::data_not_given},
    TableMember{Table::data_ptr_file, &StepTables::data},
    TableMember{Table::points_in_file, &StepTables::points_not_given},
    TableMember{Table::points_ptr_file, &StepTables::points},
    TableMember{Table::time_in_file, &StepTables::time_not_given},
    TableMember{Table::time_struct, &StepTables::time},
};

/// Calls `visit` with one table after another as long as it returns true.
template <class Visit>
bool visit_tables(Visit visit) {
    return std::apply([&](const auto&... table) { return (visit(table) && ...); }, kTables);
}

template <class T>
void resize(std::pmr::vector<T>& values, std::size_t size) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        values.resize(size, 1);  // not given
    } else {
        values.resize(size);
    }
}

bool fit_rows(std::pmr::vector<Row>& rows, Table table, int wanted) {
    const auto size = static_cast<std::size_t>(std::max(0, wanted));
    return allocate(table, [&] {
        const Row unset = Row::not_given(size);
        std::size_t added = 0;
        for (Row& row : rows) {
            if (!row.filled()) row = unset;
            if (row.size() < size) added += size - row.size();
            if (added > kMaxValuesAdded) throw std::bad_alloc();
            row.fit(size);
        }
    });
}

/// Gives the copied steps records of their own; steps that share one go on sharing.
template <class Record>
void part(std::pmr::vector<std::shared_ptr<Record>>& records) {
    std::unordered_map<const Record*, std::shared_ptr<Record>> copies;
    for (auto& record : records) {
        if (!record) continue;
        auto& copy = copies[record.get()];
        if (!copy) copy = std::allocate_shared<Record>(records.get_allocator(), *record);
        record = copy;
    }
}

/// Lives in an optional so that a reset makes it anew, with the memory resource of the moment.
std::optional<HeaderModel>& model_place() {
    static std::optional<HeaderModel> model(std::in_place);
    return model;
}

template <class Records>
auto find_record(const Records& records, int step) {
    const bool exists = step >= 1 && static_cast<std::size_t>(step) <= records.size();
    return exists ? records[static_cast<std::size_t>(step) - 1].get() : nullptr;
}

const Source* find_source(const std::pmr::vector<std::shared_ptr<SourceBlock>>& blocks, int step, int n) {
    const SourceBlock* block = find_record(blocks, step);
    if (block == nullptr) return nullptr;
    const auto found = block->find(n);
    return found != block->end() ? &found->second : nullptr;
}

}  // namespace

StepTables::StepTables(std::pmr::memory_resource* resource)
    : labels(resource),
      units(resource),
      min_ext(resource),
      max_ext(resource),
      min_val(resource),
      max_val(resource),
      flag(resource),
      name_list_count(resource),
      unit_list_count(resource),
      data_not_given(resource),
      points_not_given(resource),
      time_not_given(resource),
      data(resource),
      points(resource),
      time(resource) {}

const Source* HeaderModel::variable(int step, int n) const { return find_source(steps.data, step, n); }
const Source* HeaderModel::coordinate(int step, int n) const { return find_source(steps.points, step, n); }
const TimeRecord* HeaderModel::time(int step) const { return find_record(steps.time, step); }

HeaderModel& header_model() { return *model_place(); }

int reset_header_model(int start) {
    const int steps = std::max(start, header_model().steps.count());
    model_place().emplace();
    if (start < 1) {
        header_model().error = "there is no time step " + std::to_string(start);
        return 0;
    }
    header_model().step_counter = start;
    return LDRF_alloc(header_model(), steps);
}

int LDRF_alloc(HeaderModel& model, int steps) {
    if (steps > kMaxSteps) {
        model.error = "more than " + std::to_string(kMaxSteps) + " time steps";
        return 0;
    }
    const auto size = static_cast<std::size_t>(std::max(0, steps));
    const auto size_table = [&](const auto& table) {
        return allocate(table.name, [&] { resize(model.steps.*table.values, size); });
    };
    if (visit_tables(size_table)) return 1;
    // Tables of different lengths are of no use.
    visit_tables([&](const auto& table) { return (model.steps.*table.values).clear(), true; });
    return 0;
}

int fit_rows(HeaderModel& model) {
    StepTables& steps = model.steps;
    return fit_rows(steps.min_ext, Table::min_ext, model.nspace) &&
                   fit_rows(steps.max_ext, Table::max_ext, model.nspace) &&
                   fit_rows(steps.min_val, Table::min_val, model.veclen) &&
                   fit_rows(steps.max_val, Table::max_val, model.veclen)
               ? 1
               : 0;
}

void copy_step(StepTables& steps, int from, int to) {
    visit_tables([&](const auto& table) {
        auto& values = steps.*table.values;
        if constexpr (!std::is_same_v<decltype(steps.labels)&, decltype(values)>) {
            values[static_cast<std::size_t>(to)] = values[static_cast<std::size_t>(from)];
        }
        return true;
    });
}

std::unique_ptr<HeaderModel> copy_header(const HeaderModel& model) {
    std::unique_ptr<HeaderModel> copy;
    const auto make = [&] {
        StepTables no_steps(model.steps.flag.get_allocator().resource());
        copy = std::make_unique<HeaderModel>(HeaderModel{model, std::move(no_steps)});
    };
    if (!allocate(Table::data_struct, make, true)) return nullptr;
    const auto copy_table = [&](const auto& table) {
        const auto assign = [&] { copy->steps.*table.values = model.steps.*table.values; };
        return allocate(table.name, assign, true);
    };
    const bool copied = visit_tables(copy_table) &&
                        allocate(
                            Table::data_struct, [&] { part(copy->steps.data); }, true) &&
                        allocate(
                            Table::points_struct, [&] { part(copy->steps.points); }, true) &&
                        allocate(
                            Table::time_struct, [&] { part(copy->steps.time); }, true);
    return copied ? std::move(copy) : nullptr;
}

const char* allocation_failure(Table table, bool kept_copy) {
    struct Texts {
        const char* reading;
        const char* keeping;
    };
    static constexpr Texts kTexts[] = {
        {"rd_fld2: Failure allocating labels array", "rd_fld2: Failure allocating labels array"},
        {"rd_fld2: Failure allocating units array", "rd_fld2: Failure allocating units array"},
        {"rd_fld2: Failure allocating min_ext array", "rd_fld2: Failure allocating min_ext array"},
        {"rd_fld2: Failure allocating max_ext array", "rd_fld2: Failure allocating max_ext array"},
        {"rd_fld2: Failure allocating min_val array", "rd_fld2: Failure allocating min_val array"},
        {"rd_fld2: Failure allocating max_val array", "rd_fld2: Failure allocating max_val array"},
        {"rd_fld2: Failure allocating flag array", "rd_fld2: Failure allocating flag array"},
        {"rd_fld2: Failure allocating name_list_count array", "rd_fld2: Failure allocating name_list_count array"},
        {"rd_fld2: Failure allocating unit_list_count array", "rd_fld2: Failure allocating unit_list_count array"},
        {"rd_fld2: Failure allocating data_in_file\tarray", "rd_fld2: Failure allocating data_in_file  array"},
        {"rd_fld2: Failure allocating data_ptr_file\tarray", "rd_fld2: Failure allocating data_ptr_file  array"},
        {"rd_fld2: Failure allocating points_in_file\tarray", "rd_fld2: Failure allocating points_in_file  array"},
        {"rd_fld2: Failure allocating points_ptr_file\tarray", "rd_fld2: Failure allocating points_ptr_file  array"},
        {"rd_fld2: Failure allocating time_in_file\tarray", "rd_fld2: Failure allocating time_in_file  array"},
        {"rd_fld2: Failure allocating data struct", "rd_fld2: Failure allocating data struct"},
        {"rd_fld2: Failure allocating points struct", "rd_fld2: Failure allocating points struct"},
        {"rd_fld2: Failure allocating time_t struct", "rd_fld2: Failure allocating time_t  struct"},
    };
    const Texts& texts = kTexts[static_cast<std::size_t>(table)];
    return kept_copy ? texts.keeping : texts.reading;
}

}  // namespace zam::ldrf
