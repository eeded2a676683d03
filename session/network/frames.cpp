#include "session/network/frames.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "base/element_types.h"

namespace zam::session {
namespace {

constexpr int kMaxNumberWidth = 20;
constexpr std::size_t kMaxDepth = 32;  // of members

// --- Values between two others ---

Number between(const Number& low, const Number& high, double share, bool whole) {
    if (share == 0.0) return low;
    const auto real = [](const Number& number) {
        return std::visit([](auto n) { return static_cast<double>(n); }, number);
    };
    const double value = std::lerp(real(low), real(high), share);
    if (whole && std::fabs(value) < 0x1p62) return static_cast<std::int64_t>(std::llround(value));
    return value;
}

const Node* find_member(const Object& object, std::string_view key) {
    const auto found = std::find_if(object.begin(), object.end(), [&](const auto& m) { return m.key == key; });
    return found == object.end() ? nullptr : &found->node;
}

/// Whether two values differ in their numbers alone.
bool can_be_joined(const Node& a, const Node& b) {
    if (a.value.index() != b.value.index()) return false;
    if (std::holds_alternative<Number>(a.value)) return true;
    if (const auto* numbers = std::get_if<Numbers>(&a.value))
        return numbers->size() == std::get<Numbers>(b.value).size();
    if (const auto* elements = std::get_if<Elements>(&a.value)) {
        const auto& others = std::get<Elements>(b.value);
        return std::equal(elements->begin(), elements->end(), others.begin(), others.end(), can_be_joined);
    }
    if (const auto* object = std::get_if<Object>(&a.value)) {
        const auto& other = std::get<Object>(b.value);
        return object->size() == other.size() && std::all_of(object->begin(), object->end(), [&](const auto& member) {
                   const Node* found = find_member(other, member.key);
                   return found && can_be_joined(member.node, *found);
               });
    }
    if (const auto* text = std::get_if<std::string>(&a.value)) return *text == std::get<std::string>(b.value);
    if (const auto* flag = std::get_if<bool>(&a.value)) return *flag == std::get<bool>(b.value);
    return true;
}

/// Whether fractions are no values of a member, whatever its object is.
bool is_whole_member(std::string_view key) {
    constexpr std::string_view kWholeMembers[] = {"step", "step_axis", "vector_axis"};
    return std::find(std::begin(kWholeMembers), std::end(kWholeMembers), key) != std::end(kWholeMembers);
}

/// @pre  they can be joined
Node between(const Node& low, const Node& high, double share, bool whole) {
    Node node = low;
    if (auto* number = std::get_if<Number>(&node.value)) {
        *number = between(*number, std::get<Number>(high.value), share, whole);
    } else if (auto* numbers = std::get_if<Numbers>(&node.value)) {
        const auto& ends = std::get<Numbers>(high.value);
        for (std::size_t i = 0; i < ends.size(); ++i) (*numbers)[i] = between((*numbers)[i], ends[i], share, whole);
    } else if (auto* elements = std::get_if<Elements>(&node.value)) {
        const auto& ends = std::get<Elements>(high.value);
        for (std::size_t i = 0; i < ends.size(); ++i) (*elements)[i] = between((*elements)[i], ends[i], share, whole);
    } else if (auto* object = std::get_if<Object>(&node.value)) {
        for (auto& member : *object) {
            const Node& end = *find_member(std::get<Object>(high.value), member.key);
            member.node = between(member.node, end, share, whole || is_whole_member(member.key));
        }
    }
    return node;
}

Node value_at(const Track& track, const ForEvent& event, int step) {
    const auto last = static_cast<std::int64_t>(track.values.size()) - 1;
    if (!track.joined) return track.values[static_cast<std::size_t>(step)];
    const std::int64_t intervals = event.loop ? event.steps : std::max(event.steps - 1, 1);
    const std::int64_t passed = step * last;
    const auto index = static_cast<std::size_t>(passed / intervals);
    const double share = static_cast<double>(passed % intervals) / static_cast<double>(intervals);
    return share == 0.0 ? track.values[index]
                        : between(track.values[index], track.values[index + 1], share, track.whole);
}

// --- Lists ---

/// Whether fractions are no values of what the last name of the path says.
bool is_whole(const std::vector<std::string>& path, const Shape& shape) {
    if (!path.empty()) return is_whole_member(path.back());
    if (shape.kind == Kind::integer || shape.kind == Kind::trigger) return true;
    const int type = shape.array_type.value_or(DTYPE_DOUBLE);
    return shape.kind == Kind::array && type != DTYPE_FLOAT && type != DTYPE_DOUBLE;
}

bool has_references(const Node& node) {
    if (const auto* elements = std::get_if<Elements>(&node.value)) {
        return std::any_of(elements->begin(), elements->end(), has_references);
    }
    const auto* object = std::get_if<Object>(&node.value);
    return object && std::any_of(object->begin(), object->end(),
                                 [](const auto& member) { return member.key == "ref" || has_references(member.node); });
}

/// Lets every part of a value stand at one place.
void move_to(Node& node, std::size_t offset) {
    node.offset = offset;
    if (auto* elements = std::get_if<Elements>(&node.value)) {
        for (auto& element : *elements) move_to(element, offset);
    } else if (auto* object = std::get_if<Object>(&node.value)) {
        for (auto& member : *object) {
            member.key_offset = offset;
            move_to(member.node, offset);
        }
    }
}

bool put(Node& node, std::span<const std::string> path, const Node& member) {
    if (path.empty()) {
        node = member;
        return true;
    }
    if (std::holds_alternative<std::nullptr_t>(node.value)) node.value = Object{};
    auto* object = std::get_if<Object>(&node.value);
    if (!object) return false;
    auto found = std::find_if(object->begin(), object->end(), [&](const auto& m) { return m.key == path[0]; });
    if (found == object->end()) found = object->insert(found, {path[0], member.offset, {member.offset, nullptr}});
    return put(found->node, path.subspan(1), member);
}

// --- Numbered names ---

struct NumberPlace {
    std::size_t begin, end;  // of "%04d" in the name
    int width;
    char fill;
};

std::optional<NumberPlace> number_place(std::string_view file, std::size_t from) {
    for (std::size_t begin = file.find('%', from); begin != std::string_view::npos; begin = file.find('%', begin + 1)) {
        std::size_t at = begin + 1;
        const char fill = at < file.size() && file[at] == '0' ? '0' : ' ';
        int width = 0;
        for (; at < file.size() && file[at] >= '0' && file[at] <= '9' && width <= kMaxNumberWidth; ++at) {
            width = width * 10 + (file[at] - '0');
        }
        if (at < file.size() && file[at] == 'd' && width <= kMaxNumberWidth)
            return NumberPlace{begin, at + 1, width, fill};
    }
    return std::nullopt;
}

}  // namespace

std::optional<Node> with_member(const Node* base, const std::vector<std::string>& path, const Node& member) {
    Node node = base ? *base : Node{};
    move_to(node, member.offset);
    return put(node, path, member) ? std::optional(std::move(node)) : std::nullopt;
}

std::size_t value_count(const Node& node) {
    std::size_t count = 1;
    if (const auto* numbers = std::get_if<Numbers>(&node.value)) count += numbers->size();
    if (const auto* elements = std::get_if<Elements>(&node.value)) {
        for (const auto& element : *elements) count += value_count(element);
    } else if (const auto* object = std::get_if<Object>(&node.value)) {
        for (const auto& member : *object) count += value_count(member.node);
    }
    return count;
}

std::optional<std::vector<std::string>> member_path(std::string_view rest) {
    std::vector<std::string> path;
    while (!rest.empty()) {
        if (rest.front() != '.' || path.size() == kMaxDepth) return std::nullopt;
        rest.remove_prefix(1);
        const std::size_t end = std::min(rest.find_first_of(".["), rest.size());
        if (end == 0) return std::nullopt;
        path.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end);
    }
    return path;
}

std::optional<Track> read_track(const Cursor& list, std::vector<std::string> path, const Parameter& parameter,
                                int steps) {
    if (list.array_size() == 0) {
        list.expected("an array of the values to go through");
        return std::nullopt;
    }
    if (list.array_size() > static_cast<std::size_t>(kMaxFrames)) {
        list.problem("the values to go through are at most " + std::to_string(kMaxFrames));
        return std::nullopt;
    }
    Track track{.path = std::move(path), .values = {}, .joined = true, .whole = false};
    track.whole = is_whole(track.path, parameter.shape);
    if (const auto* numbers = list.get<Numbers>()) {
        track.values.resize(numbers->size());
        for (std::size_t i = 0; i < numbers->size(); ++i) {
            track.values[i].offset = list.node().offset;
            track.values[i].value = (*numbers)[i];
        }
    } else {
        track.values = *list.get<Elements>();
    }
    const auto& values = track.values;
    if ((!track.path.empty() && track.path.back() == "ref") ||
        std::any_of(values.begin(), values.end(), has_references)) {
        list.problem("references do not go through frames");
        return std::nullopt;
    }
    track.joined = std::adjacent_find(values.begin(), values.end(), [](const auto& a, const auto& b) {
                       return !can_be_joined(a, b);
                   }) == values.end();
    if (!track.joined && values.size() != static_cast<std::size_t>(steps)) {
        list.problem("values other than numbers are one per step: " + std::to_string(steps) + ", not " +
                     std::to_string(values.size()));
        return std::nullopt;
    }
    return track;
}

Node node_at(const Sweep& sweep, const ForEvent& event, int step) {
    Node node = sweep.base;
    for (const auto& track : sweep.tracks) put(node, track.path, value_at(track, event, step));
    return node;
}

std::vector<Assignment> assignments_at(const ForEvent& event, int step, Problems& problems) {
    std::vector<Assignment> assignments;
    Environment environment{problems, event.directory};
    for (const auto& sweep : event.sweeps) {
        const auto place = Document::from_option(sweep.place, "");
        const Node node = node_at(sweep, event, step);
        auto value = read_value(Cursor(*place, environment).with(node), sweep.parameter->shape);
        auto files = std::exchange(environment.files, {});
        if (!value) continue;
        assignments.push_back(
            {sweep.module, sweep.parameter, std::move(*value), {sweep.place, 0, 0, {}}, std::move(files)});
    }
    return assignments;
}

bool is_numbered(std::string_view file) {
    const auto place = number_place(file, 0);
    return place && !number_place(file, place->end);
}

std::string numbered(std::string_view file, int number) {
    const auto place = number_place(file, 0);
    std::string digits = std::to_string(number);
    const auto width = static_cast<std::size_t>(place->width);
    if (digits.size() < width) digits.insert(0, width - digits.size(), place->fill);
    return std::string(file.substr(0, place->begin)) + digits + std::string(file.substr(place->end));
}

}  // namespace zam::session
