#include "session/run/held_arrays.h"

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "base/element_types.h"
#include "session/objects/run_error.h"
#include "session/values/held_source.h"

namespace zam::session {
namespace {

constexpr std::size_t kLargeBytes = std::size_t{1} << 20;

std::size_t bytes_of(const NumberArray& array) { return static_cast<std::size_t>(array.count) * type_size(array.type); }

/// Finds the arrays of a value that are large and made when they are needed. Its fields become its own.
struct LargeArrays {
    std::vector<NumberArray*> found;

    void look_at(NumberArray& array) {
        if (array.source && !array.source->owner() && bytes_of(array) >= kLargeBytes) found.push_back(&array);
    }
    void look_at(std::vector<ComponentValue>& components) {
        for (auto& component : components) look_at(component.values);
    }
    void look_at(FieldPointer& field) {
        auto own = std::make_shared<FieldValue>(*field);
        look_at(own->points);
        look_at(own->coord);
        look_at(own->node_data);
        for (auto& cells : own->cell_sets) {
            look_at(cells.connect);
            look_at(cells.poly_connect);
        }
        for (auto& step : own->steps) {
            look_at(step.coord);
            look_at(step.node_data);
        }
        field = std::move(own);
    }
    void look_at(ValueList& list) {
        for (auto& element : list) look_into(element);
    }
    void look_at(ValueGroup& group) {
        for (auto& member : group) look_into(member.value);
    }
    template <class Other>
    void look_at(Other& /*no arrays*/) {}
    void look_into(Value& value) {
        std::visit([&](auto& form) { look_at(form); }, value.form);
    }
};

std::vector<NumberArray*> large_arrays(Value& value) {
    LargeArrays arrays;
    arrays.look_into(value);
    return std::move(arrays.found);
}

/// Joint at the ranks of a machine.
void hold_once(NumberArray& array, Ranks& ranks) {
    std::shared_ptr<const std::byte> held;
    try {
        held = ranks.hold_once(bytes_of(array), [&](std::span<std::byte> memory) {
            const std::string error = copy_values(array, memory.data());
            if (!error.empty()) throw RunError(error);
        });
    } catch (const std::exception&) {  // silent: a rank that cannot read it either will say so
    }
    if (held) array.source = std::make_shared<HeldSource>(std::move(held), array.type);
}

/// Joint: whether each of some numbers is the same at all ranks.
std::vector<bool> are_alike(const std::vector<double>& numbers, Ranks& ranks) {
    std::vector<double> largest;
    for (const double number : numbers) largest.insert(largest.end(), {number, -number});
    ranks.maximum(largest);
    std::vector<bool> alike;
    for (std::size_t i = 0; i < largest.size(); i += 2) alike.push_back(largest[i] == -largest[i + 1]);
    return alike;
}

}  // namespace

std::vector<DifferentArrays> hold_arrays_once(std::vector<Assignment>& assignments, Ranks& ranks) {
    std::vector<std::vector<NumberArray*>> arrays;
    std::vector<DifferentArrays> here;
    std::vector<double> counts, orders;
    for (auto& assignment : assignments) {
        const auto& large = arrays.emplace_back(large_arrays(assignment.value));
        counts.push_back(static_cast<double>(large.size()));
        here.push_back({here.size(), 0});
        orders.push_back(0.0);
        for (const NumberArray* const array : large) {
            here.back().bytes += bytes_of(*array);
            orders.back() += static_cast<double>(here.back().bytes);  // a sum that their order changes
        }
    }
    const auto same_counts = are_alike(counts, ranks);
    const auto same_orders = are_alike(orders, ranks);
    std::vector<DifferentArrays> different;
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        if (!same_counts[i] || !same_orders[i]) {
            different.push_back(here[i]);
            continue;
        }
        for (NumberArray* const array : arrays[i]) hold_once(*array, ranks);
    }
    return different;
}

}  // namespace zam::session
