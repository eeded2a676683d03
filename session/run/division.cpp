#include "session/run/division.h"

#include <algorithm>
#include <utility>

namespace zam::session {
namespace {

/// What stands for an element that other ranks have.
Value elsewhere() { return {Reference{}}; }

}  // namespace

bool hands_out_frames(const Network& network) {
    return !network.distributed && std::any_of(network.events.begin(), network.events.end(), [](const Event& event) {
        const auto* frames = std::get_if<ForEvent>(&event.what);
        return frames && frames->steps > 1;
    });
}

Division::Division(const Network& network, const Ranks* ranks)
    : network_(network), ranks_(ranks), at_work_(ranks && ranks->count() > 1 && !hands_out_frames(network)) {
    if (at_work_) find_outputs();
}

void Division::find_outputs() {
    for (const auto& output : network_.outputs) find_output(output);
    for (const auto& event : network_.events) {
        if (const auto* write = std::get_if<WriteEvent>(&event.what)) {
            for (const auto& output : write->outputs) find_output(output);
        } else if (const auto* frames = std::get_if<ForEvent>(&event.what)) {
            for (const auto& output : frames->outputs) find_output(output);
        }
    }
}

void Division::find_output(const Output& output) {
    with_legends_ = with_legends_ || output.legend || output.axes;
    for (const auto& reference : {std::optional(output.from), output.under, output.points}) {
        if (!reference) continue;
        const auto [module, name, rest] = split_reference(reference->target);
        const auto number = network_.find(module);
        if (!number) continue;
        shown_.insert(*number);
        const Parameter* shared = shared_parameter(*number);
        if (name.empty() || (shared && shared->name == name)) whole_.insert(*number);
    }
}

/// The parameter of a joint module that is shared out; null if there is none.
const Parameter* Division::shared_parameter(std::size_t module) const {
    const auto& parameters = network_.instances[module].definition->parameters;
    const auto found = std::find_if(parameters.begin(), parameters.end(), [](const auto& one) { return one.shared; });
    return found == parameters.end() ? nullptr : &*found;
}

void Division::give(const Assignment& assignment) {
    if (!at_work_) return;
    const auto kind = assignment.parameter->shape.kind;
    const bool list = kind == Kind::fields || kind == Kind::datamaps;
    if (list && network_.instances[assignment.module].definition->joint)
        given_.insert_or_assign({assignment.module, assignment.parameter->name}, assignment);
    for (const auto* reference :
         references_in(assignment.value)) {  // another module may look at a list that is shared out
        const auto [module, name, rest] = split_reference(reference->target);
        const auto number = network_.find(module);
        const Parameter* shared = number && *number != assignment.module ? shared_parameter(*number) : nullptr;
        if (shared && shared->name == name) whole_.insert(*number);
    }
}

void Division::forget(std::size_t module, const std::string& parameter) { given_.erase({module, parameter}); }

const ValueList* Division::list_given(std::size_t module, const std::string& parameter) const {
    const auto found = given_.find({module, parameter});
    return found == given_.end() ? nullptr : std::get_if<ValueList>(&found->second.value.form);
}

/// The list that the ranks share out; null if the module has none.
const ValueList* Division::shared_list(std::size_t module) const {
    const Parameter* shared = shared_parameter(module);
    return shared ? list_given(module, shared->name) : nullptr;
}

// --- Who runs what ---

/// Joint are those whose definitions say so. One that shares out a list needs a list of several elements, which no
/// single module makes. What leads to another joint module is run as any other module.
void Division::find_joint(const Dependencies& dependencies) {
    const std::size_t count = network_.instances.size();
    joint_.assign(count, false);
    std::vector<std::size_t> before;
    for (std::size_t module = 0; module < count; ++module) {
        const ValueList* list = shared_list(module);
        joint_[module] =
            network_.instances[module].definition->joint && (!shared_parameter(module) || (list && list->size() > 1));
        if (!joint_[module]) continue;
        const auto upstream = dependencies.upstream(module);
        before.insert(before.end(), upstream.begin(), upstream.end());
    }
    const auto led_on = dependencies.with_all_upstream(std::move(before));
    for (std::size_t module = 0; module < count; ++module) joint_[module] = joint_[module] && !led_on[module];
}

/// Whether a legend of a view's image, or its axes, may be read from an element of its list.
bool Division::is_for_legend(std::size_t module, const ValueList& list, std::size_t element) const {
    const auto& parameters = network_.instances[module].definition->parameters;
    const auto image = std::find_if(parameters.begin(), parameters.end(), [](const auto& one) { return one.legend; });
    if (!with_legends_ || image == parameters.end()) return false;
    const auto colors = given_.find({module, image->legend->colors});
    if (colors != given_.end() && std::holds_alternative<Reference>(colors->second.value.form)) return true;
    if (const ValueList* maps = list_given(module, image->legend->colors)) {
        const auto end = maps->begin() + static_cast<std::ptrdiff_t>(std::min(maps->size(), list.size()));
        const auto first = std::find_if(maps->begin(), end,
                                        [](const Value& map) { return !std::holds_alternative<Absent>(map.form); });
        if (first != end) return first == maps->begin() + static_cast<std::ptrdiff_t>(element);
    }
    // else an image that is drawn says what its colours are
    const auto* reference = std::get_if<Reference>(&list[element].form);
    const auto parts = split_reference(reference ? reference->target : std::string_view());
    const auto drawn = network_.find(parts.module);
    const Parameter* made = drawn ? network_.instances[*drawn].definition->find_parameter(parts.parameter) : nullptr;
    return made && made->legend;
}

bool Division::needs_element(std::size_t module, const ValueList& list, std::size_t element) const {
    const auto [first, last] = share_of(static_cast<std::int64_t>(list.size()), ranks_->rank(), ranks_->count());
    const auto at = static_cast<std::int64_t>(element);
    if (at >= first && at < last) return true;
    return ranks_->rank() == 0 && (whole_.contains(module) || is_for_legend(module, list, element));
}

/// By the elements of a joint module's list, whether this rank needs them; empty if it shares out none.
std::vector<bool> Division::needed_elements(std::size_t module) const {
    const ValueList* list = shared_list(module);
    std::vector<bool> needed(list ? list->size() : 0);
    for (std::size_t element = 0; element < needed.size(); ++element)
        needed[element] = needs_element(module, *list, element);
    return needed;
}

/// The modules that one needs immediately, at this rank.
std::vector<std::size_t> Division::upstream_here(std::size_t module, const Dependencies& dependencies) const {
    const auto needed = elements_.find(module);
    const ValueList* list = needed != elements_.end() ? shared_list(module) : nullptr;
    if (!list) return dependencies.upstream(module);
    auto upstream = dependencies.upstream(module, shared_parameter(module)->name);
    for (std::size_t element = 0; element < list->size(); ++element) {
        if (!needed->second[element]) continue;
        const auto referred = referred_modules(network_, (*list)[element]);
        upstream.insert(upstream.end(), referred.begin(), referred.end());
    }
    std::erase(upstream, module);
    return upstream;
}

/// The modules that this rank runs for their own sake: the joint ones, at rank 0 also what outputs name and what nobody
/// refers to.
std::vector<std::size_t> Division::first_needed(const Dependencies& dependencies) const {
    const std::size_t count = network_.instances.size();
    std::vector<bool> wanted = joint_;
    if (ranks_->rank() == 0) {
        std::vector<bool> referred(count, false);
        for (std::size_t module = 0; module < count; ++module) {
            for (const std::size_t other : dependencies.upstream(module)) referred[other] = true;
        }
        for (std::size_t module = 0; module < count; ++module)
            wanted[module] = wanted[module] || !referred[module] || shown_.contains(module);
    }
    std::vector<std::size_t> modules;
    for (std::size_t module = 0; module < count; ++module) {
        if (wanted[module]) modules.push_back(module);
    }
    return modules;
}

std::vector<Assignment> Division::divide(const Dependencies& dependencies) {
    if (!at_work_) return {};
    find_joint(dependencies);
    const auto before = std::exchange(elements_, {});
    std::vector<Assignment> changed;
    for (std::size_t module = 0; module < joint_.size(); ++module) {
        if (!shared_list(module)) continue;
        if (joint_[module]) elements_[module] = needed_elements(module);
        const auto had = before.find(module);
        const auto needs = elements_.find(module);
        const bool same = had != before.end() && needs != elements_.end()
                              ? had->second == needs->second
                              : had == before.end() && needs == elements_.end();
        if (!same) changed.push_back(given_.at({module, shared_parameter(module)->name}));
    }
    here_ = closure(network_.instances.size(), first_needed(dependencies),
                    [&](std::size_t module) { return upstream_here(module, dependencies); });
    return changed;
}

std::optional<Value> Division::share_of_value(const Assignment& assignment) const {
    const auto needed = elements_.find(assignment.module);
    if (needed == elements_.end() || assignment.parameter != shared_parameter(assignment.module)) return std::nullopt;
    const ValueList& list = *shared_list(assignment.module);
    ValueList share;
    for (std::size_t element = 0; element < list.size(); ++element)
        share.push_back(needed->second[element] ? list[element] : elsewhere());
    return Value{std::move(share)};
}

}  // namespace zam::session
