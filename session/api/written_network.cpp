#include "session/api/written_network.h"

#include <algorithm>
#include <string_view>

#include "session/network/network.h"
#include "zam/session.h"

namespace zam {
namespace {

constexpr std::size_t kMaxChanges = 1000;  // that wait

using Written = session::Json;  // zam::Json is a text

/// A value as options have it: JSON, or else a text.
Written value_of(const std::string& text) {
    Written value = Written::parse(text, nullptr, false, true);
    return value.is_discarded() ? Written(text) : value;
}

/// The two sides of an option, which has been read before.
std::pair<std::string, std::string> sides_of(const std::string& option) {
    const auto equals = option.find('=');
    return {option.substr(0, equals), option.substr(equals + 1)};
}

/// Whether a target is of a module that an object with a "for" made: names that stand in files have no brackets.
bool is_of_copy(const std::string& target) {
    return session::split_reference(target).module.find('[') != std::string_view::npos;
}

}  // namespace

WrittenNetwork::WrittenNetwork(std::string text, const session::NetworkOptions& changes) : text_(std::move(text)) {
    for (const auto& option : changes.set) {
        auto [target, value] = sides_of(option);
        set(target, std::move(value));
    }
    for (const auto& option : changes.write) {
        auto [file, output] = sides_of(option);
        changes_.push_back({Change::What::write, std::move(file), std::move(output)});
    }
}

void WrittenNetwork::add(const std::string& module, const std::string& use) {
    changes_.push_back({Change::What::add, module, use});
}

void WrittenNetwork::forget(const std::string& target) {
    const auto is_value = [](const Change& change) {
        return change.what == Change::What::set || change.what == Change::What::take_back;
    };
    std::erase_if(changes_, [&](const Change& change) { return is_value(change) && change.target == target; });
}

void WrittenNetwork::set(const std::string& target, std::string value, bool of_program) {
    if (is_of_copy(target)) {
        of_copies_.insert(target);
        return;
    }
    of_program_.erase(target);
    if (of_program) {
        of_program_.insert(target);
        value = "null";
    }
    // of the changes that wait only the latest counts
    forget(target);
    changes_.push_back({Change::What::set, target, std::move(value)});
    if (changes_.size() > kMaxChanges) apply_changes();
}

void WrittenNetwork::take_back(const std::string& target) {
    if (is_of_copy(target)) {
        of_copies_.insert(target);
        return;
    }
    of_program_.erase(target);
    forget(target);
    changes_.push_back({Change::What::take_back, target, {}});
}

void WrittenNetwork::apply(const Change& change) {
    if (change.what == Change::What::add) {
        document_["modules"][change.target] = {{"use", change.value}};
        return;
    }
    if (change.what == Change::What::write) {
        document_["write"][change.target] = value_of(change.value);
        return;
    }
    const auto [module, parameter, rest] = session::split_reference(change.target);
    Written& instance = document_["modules"][std::string(module)];
    if (change.what == Change::What::set) {
        Written* value = &instance["params"][std::string(parameter)];
        for (std::string_view path = rest; !path.empty();) {  // ".MEMBER", of options of the program
            const auto end = std::min(path.find('.', 1), path.size());
            value = &(*value)[std::string(path.substr(1, end - 1))];
            path.remove_prefix(end);
        }
        *value = value_of(change.value);
    } else if (instance.contains("params")) {
        instance["params"].erase(std::string(parameter));
    }
}

void WrittenNetwork::apply_changes() {
    if (document_.is_null()) document_ = Written::parse(std::exchange(text_, {}), nullptr, true, true);
    for (const auto& change : std::exchange(changes_, {})) apply(change);
}

void WrittenNetwork::refuse(const std::string& target) {
    throw Error(target + " was given values of the program's, which no file has");
}

std::string WrittenNetwork::text() {
    if (!of_program_.empty()) refuse(*of_program_.begin());
    if (!of_copies_.empty())
        throw Error(*of_copies_.begin() + " was changed, and no file gives one copy alone another value");
    apply_changes();
    return session::network_text(document_) + "\n";
}

std::string WrittenNetwork::value(const std::string& target) {
    if (of_program_.contains(target)) refuse(target);
    if (is_of_copy(target)) return {};
    apply_changes();
    const auto [module, parameter, rest] = session::split_reference(target);
    const auto& instance = document_["modules"][std::string(module)];
    const auto params = instance.find("params");
    if (params == instance.end()) return {};
    const auto found = params->find(std::string(parameter));
    return found == params->end() ? "" : found->dump(-1, ' ', false, Written::error_handler_t::replace);
}

}  // namespace zam
