#include "session/network/multiple_objects.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "session/network/frames.h"

namespace zam::session {
namespace {

constexpr std::size_t kMaxCopiedBytes = std::size_t{1} << 28;  // of values that stand in the network

const Member* find_member(const Node& node, std::string_view key) {
    const auto* object = std::get_if<Object>(&node.value);
    if (!object) return nullptr;
    const auto found = std::find_if(object->begin(), object->end(), [&](const auto& m) { return m.key == key; });
    return found == object->end() ? nullptr : &*found;
}

bool is_multiple(const Node& element) { return find_member(element, "for") != nullptr; }

// --- Values ---

/// Calls `change` with every reference within a value.
template <class Change>
void change_references(Value& value, const Change& change) {
    if (auto* reference = std::get_if<Reference>(&value.form)) change(*reference);
    if (auto* converted = std::get_if<ConvertedReference>(&value.form)) change(converted->source);
    if (auto* list = std::get_if<ValueList>(&value.form)) {
        for (auto& element : *list) change_references(element, change);
    } else if (auto* group = std::get_if<ValueGroup>(&value.form)) {
        for (auto& member : *group) change_references(member.value, change);
    }
}

/// Bytes of arrays and texts that a copy of a value takes.
std::size_t bytes_of(const Value& value) {
    std::size_t bytes = 0;
    if (const auto* array = std::get_if<NumberArray>(&value.form)) bytes += array->values.size();
    if (const auto* text = std::get_if<std::string>(&value.form)) bytes += text->size();
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value.form)) {
        for (const auto& text : *texts) bytes += text.size();
    } else if (const auto* list = std::get_if<ValueList>(&value.form)) {
        for (const auto& element : *list) bytes += bytes_of(element);
    } else if (const auto* group = std::get_if<ValueGroup>(&value.form)) {
        for (const auto& member : *group) bytes += bytes_of(member.value);
    }
    return bytes;
}

// --- What differs ---

/// What a parameter, or a member of one, is given in the copies.
struct Varied {
    std::string module;
    std::string rest;  // ".PARAM" and what follows
    std::vector<Cursor> values;
};

/// Values of {"numbered": "brick%04d.fld", "count": 1000, "from": 0}; `nullopt` after a problem.
std::optional<std::vector<Node>> numbered_names(const Cursor& cursor) {
    constexpr std::string_view kKeys[] = {"numbered", "count", "from"};
    cursor.expect_keys(kKeys);
    const auto name_place = cursor.find("numbered");
    const auto count_place = cursor.find("count");
    const auto from_place = cursor.find("from");
    if (!name_place || !count_place) {
        cursor.problem(R"(numbered files have a name and a number: {"numbered": "brick%04d.fld", "count": 10})");
        return std::nullopt;
    }
    const auto name = name_place->text();
    const auto count = count_place->integer(1, kMaxFrames);
    const auto from = from_place ? from_place->integer(0, kMaxFrames) : std::optional<std::int64_t>(0);
    if (name && !is_numbered(*name)) name_place->problem("the name needs one %d, as in brick_%04d.fld");
    if (!name || !count || !from || !is_numbered(*name)) return std::nullopt;
    std::vector<Node> names;
    for (std::int64_t i = 0; i < *count; ++i)
        names.push_back({cursor.node().offset, numbered(*name, static_cast<int>(*from + i))});
    return names;
}

/// The values of a list, each at its place; empty after a problem.
std::vector<Cursor> list_values(const Cursor& list, const ReaderOfCopies& reader) {
    std::vector<Cursor> values;
    if (list.get<Object>()) {
        const auto names = numbered_names(list);
        for (const auto& name : names.value_or(std::vector<Node>())) values.push_back(list.with(*reader.keep(name)));
        return values;
    }
    if (list.array_size() > static_cast<std::size_t>(kMaxFrames)) {
        list.problem("the values are at most " + std::to_string(kMaxFrames));
    } else if (list.array_size() == 0) {
        list.expected("an array of values, one per object,");
    } else if (const auto* numbers = list.get<Numbers>()) {
        for (const auto& number : *numbers) values.push_back(list.with(*reader.keep({list.node().offset, number})));
    } else {
        for (std::size_t i = 0; i < list.array_size(); ++i) values.push_back(list.at(i));
    }
    return values;
}

/// What differs between the copies; empty after a problem.
std::vector<Varied> read_varied(const Cursor& cursor, const Network& network, const ReaderOfCopies& reader) {
    const Cursor lists = *cursor.find("for");
    const auto* members = lists.object();
    if (!members) return {};
    if (members->empty()) lists.problem("no parameter is named that differs");
    std::vector<Varied> all;
    for (const auto& member : *members) {
        const Cursor list = lists.at(member);
        const std::string module(split_reference(member.key).module);
        if (!network.find(module)) {
            lists.key_problem(member, network.no_module(module));
            return {};
        }
        all.push_back({module, member.key.substr(module.size()), list_values(list, reader)});
        const std::size_t count = all.back().values.size();
        if (count == 0) return {};
        if (count == all.front().values.size()) continue;
        list.problem("the lists are of one length: " + std::to_string(all.front().values.size()) + ", not " +
                     std::to_string(count));
        return {};
    }
    return all;
}

// --- Modules ---

class Copies {
public:
    Copies(Network& network, const ReaderOfCopies& reader) : network_(network), reader_(reader) {}

    /// The values that stand in the place of an element; empty after a problem.
    ValueList make(const MultipleObject& multiple, const Value& element);
    /// By the modules' numbers before, whether there are copies.
    const std::vector<bool>& copied() const { return copied_; }
    /// The modules that lead to some, and these themselves.
    std::vector<bool> leading_to(std::vector<std::size_t> modules) const;

private:
    std::vector<std::size_t> upstream(std::size_t module) const;
    std::vector<std::size_t> modules_to_copy(const MultipleObject& multiple, std::size_t last,
                                             const std::vector<Varied>& varied) const;
    bool has_room(const MultipleObject& multiple, const std::vector<std::size_t>& modules, std::size_t times) const;
    void rename(Value& value) const;
    void copy(std::size_t module, std::size_t number);

    Network& network_;
    const ReaderOfCopies& reader_;
    std::size_t first_copy_ = network_.instances.size();
    std::vector<bool> copied_ = std::vector<bool>(first_copy_, false);
    std::map<std::size_t, std::size_t> next_;              // by module: the number of its next copy
    std::map<std::string, std::string, std::less<>> now_;  // names of the latest copies by those of the modules
};

std::vector<std::size_t> Copies::upstream(std::size_t module) const {
    std::vector<std::size_t> all;
    for (const auto& assignment : network_.instances[module].given) {
        const auto referred = referred_modules(network_, assignment.value);
        all.insert(all.end(), referred.begin(), referred.end());
    }
    return all;
}

std::vector<bool> Copies::leading_to(std::vector<std::size_t> modules) const {
    return closure(network_.instances.size(), std::move(modules), [&](std::size_t module) { return upstream(module); });
}

/// The modules on the ways from those that vary to the one that makes the object; empty after a problem.
std::vector<std::size_t> Copies::modules_to_copy(const MultipleObject& multiple, std::size_t last,
                                                 const std::vector<Varied>& varied) const {
    const auto before = leading_to({last});
    std::vector<std::vector<std::size_t>> downstream(network_.instances.size());
    for (std::size_t module = 0; module < before.size(); ++module) {
        if (!before[module]) continue;
        for (const std::size_t other : upstream(module)) downstream[other].push_back(module);
    }
    std::vector<std::size_t> first;
    for (const auto& one : varied) {
        first.push_back(*network_.find(one.module));
        if (before[first.back()]) continue;
        multiple.cursor.problem(one.module + one.rest + " makes no difference to " + network_.instances[last].name);
        return {};
    }
    const auto reached =
        closure(before.size(), std::move(first), [&](std::size_t module) { return downstream[module]; });
    std::vector<std::size_t> modules;
    for (std::size_t module = 0; module < reached.size(); ++module) {
        if (reached[module]) modules.push_back(module);
    }
    return modules;
}

bool Copies::has_room(const MultipleObject& multiple, const std::vector<std::size_t>& modules,
                      std::size_t times) const {
    std::size_t bytes = 0;
    for (const std::size_t module : modules) {
        for (const auto& assignment : network_.instances[module].given) bytes += bytes_of(assignment.value);
    }
    const bool few = modules.size() * times <= kMaxModules - std::min(kMaxModules, network_.instances.size());
    if (!few) multiple.cursor.problem("a network has at most 10000 modules");
    if (bytes <= kMaxCopiedBytes / times) return few;
    multiple.cursor.problem("the values that stand in the modules are too many for so many copies");
    return false;
}

/// Lets the references within a value lead to the latest copies.
void Copies::rename(Value& value) const {
    change_references(value, [&](Reference& reference) {
        const auto module = split_reference(reference.target).module;
        const auto found = now_.find(module);
        if (found != now_.end()) reference.target.replace(0, module.size(), found->second);
    });
}

void Copies::copy(std::size_t module, std::size_t number) {
    copied_[module] = true;
    Instance instance = network_.instances[module];
    instance.name = now_[instance.name];
    for (auto& assignment : instance.given) {
        assignment.module = network_.instances.size();
        rename(assignment.value);
    }
    next_[module] = number + 1;
    reader_.written_as(module, network_.instances.size());
    network_.add(std::move(instance));
}

ValueList Copies::make(const MultipleObject& multiple, const Value& element) {
    const auto references = references_in(element);
    const auto last =
        references.empty() ? std::nullopt : network_.find(split_reference(references.front()->target).module);
    const auto varied = read_varied(multiple.cursor, network_, reader_);
    if (!last) return {element};  // the check of the network says what is wrong with the reference
    if (varied.empty()) return {};
    const auto modules = modules_to_copy(multiple, *last, varied);
    const std::size_t times = varied.front().values.size();
    const bool copyable = std::all_of(modules.begin(), modules.end(), [&](auto m) { return m < first_copy_; });
    if (modules.empty() || !copyable || !has_room(multiple, modules, times)) return {};
    std::size_t first = 0;
    for (const std::size_t module : modules) first = std::max(first, next_[module]);
    ValueList made;
    for (std::size_t i = 0; i < times; ++i) {
        now_.clear();
        const std::string number = "[" + std::to_string(first + i) + "]";
        for (const std::size_t module : modules)
            now_[network_.instances[module].name] = network_.instances[module].name + number;
        for (const std::size_t module : modules) copy(module, first + i);
        for (const auto& one : varied) {
            auto assignment = reader_.read_assignment(one.values[i], one.module + number + one.rest);
            if (!assignment) return {};
            network_.give(std::move(*assignment));
        }
        rename(made.emplace_back(element));
    }
    return made;
}

/// Puts the copies of some elements into a list. @param multiples  of one list
void put_into_list(Network& network, Copies& copies, std::span<const MultipleObject> multiples) {
    auto& given = network.instances[multiples.front().module].given;
    const auto found = std::find_if(given.begin(), given.end(), [&](const auto& assignment) {
        return assignment.parameter == multiples.front().parameter;
    });
    const auto* list = found == given.end() ? nullptr : std::get_if<ValueList>(&found->value.form);
    if (!list) return;
    const ValueList before = *list;
    const auto place = found - given.begin();
    ValueList after;
    auto next = multiples.begin();
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (next == multiples.end() || next->element != i) {
            after.push_back(before[i]);
            continue;
        }
        auto made = copies.make(*next++, before[i]);
        std::move(made.begin(), made.end(), std::back_inserter(after));
    }
    auto& assignments = network.instances[multiples.front().module].given;  // which copies may have moved
    assignments[static_cast<std::size_t>(place)].value.form = std::move(after);
}

}  // namespace

std::vector<MultipleObject> multiple_objects(const Cursor& list, std::size_t module, const Parameter* parameter) {
    std::vector<MultipleObject> found;
    const auto* elements = list.get<Elements>();
    for (std::size_t i = 0; elements && i < elements->size(); ++i) {
        if (is_multiple((*elements)[i])) found.push_back({module, parameter, i, list.at(i)});
    }
    return found;
}

Node with_single_references(const Node& list) {
    Node single = list;
    for (auto& element : std::get<Elements>(single.value)) {
        if (!is_multiple(element)) continue;
        std::erase_if(std::get<Object>(element.value),
                      [](const Member& member) { return member.key == "for" || member.key == "distribute"; });
    }
    return single;
}

std::vector<bool> copy_modules(Network& network, const std::vector<MultipleObject>& multiples,
                               const std::vector<bool>& kept, const ReaderOfCopies& reader) {
    const std::size_t count = network.instances.size();
    Copies copies(network, reader);
    for (auto first = multiples.begin(); first != multiples.end();) {
        const auto end = std::find_if(first, multiples.end(), [&](const auto& one) {
            return one.module != first->module || one.parameter != first->parameter;
        });
        put_into_list(network, copies, {first, end});
        first = end;
    }
    std::vector<std::size_t> needed;
    for (std::size_t module = 0; module < network.instances.size(); ++module) {
        if (module >= count || !copies.copied()[module] || kept[module]) needed.push_back(module);
    }
    auto replaced = copies.leading_to(needed);
    replaced.resize(count);
    replaced.flip();
    return replaced;
}

void mark_named(const Node& node, const Network& network, std::vector<bool>& named) {
    const auto mark = [&](std::string_view text) {
        const auto [module, parameter, rest] = split_reference(text);
        const auto number = network.find(module);
        const auto* definition = number ? network.instances[*number].definition : nullptr;
        const bool whole = parameter.empty() && rest.empty();
        if (definition && (whole || definition->find_parameter(parameter))) named[*number] = true;
    };
    if (const auto* text = std::get_if<std::string>(&node.value)) mark(*text);
    if (const auto* elements = std::get_if<Elements>(&node.value)) {
        for (const auto& element : *elements) mark_named(element, network, named);
    } else if (const auto* object = std::get_if<Object>(&node.value)) {
        for (const auto& member : *object) {
            mark(member.key);
            mark_named(member.node, network, named);
        }
    }
}

}  // namespace zam::session
