#include "session/document/json_of.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace zam::session {
namespace {

using Json = nlohmann::ordered_json;

Json to_json(const Node& node);

struct Conversion {
    Json operator()(std::nullptr_t) const { return nullptr; }
    Json operator()(bool flag) const { return flag; }
    Json operator()(const std::string& text) const { return text; }
    Json operator()(const Number& number) const {
        if (const auto* whole = std::get_if<std::int64_t>(&number)) return *whole;
        const double real = std::get<double>(number);
        if (std::isnan(real)) return "nan";
        if (std::isinf(real)) return real > 0 ? "inf" : "-inf";
        return real;
    }
    Json operator()(const Numbers& numbers) const {
        Json array = Json::array();
        for (const auto& number : numbers) array.push_back((*this)(number));
        return array;
    }
    Json operator()(const Elements& elements) const {
        Json array = Json::array();
        for (const auto& element : elements) array.push_back(to_json(element));
        return array;
    }
    Json operator()(const Object& members) const {
        Json object = Json::object();
        for (const auto& member : members) object[member.key] = to_json(member.node);
        return object;
    }
};

Json to_json(const Node& node) { return std::visit(Conversion(), node.value); }

}  // namespace

std::string json_of(const Node& node) { return to_json(node).dump(); }

}  // namespace zam::session
