#include "runner/serve/requests.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>

#include "runner/serve/json_text.h"
#include "runner/serve/page_files.h"
#include "zam/session.h"

namespace zam::runner {
namespace {

constexpr int kMaxDepth = 40;  // of JSON in a body

Reply refused(int status, const std::string& why) {
    return {.status = status, .body = why.empty() ? nullptr : shared_text(dump({{"error", why}}))};
}

Reply as_json(const Json& json) { return {.body = shared_text(dump(json))}; }

/// Whether two texts are the same, in a time that does not tell where they differ.
bool same_text(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
    }
    return difference == 0;
}

/// Whether a host is numbers and a port: "192.168.0.7:8080", "[fe80::1]:8080".
bool is_address(std::string_view host, int port) {
    const std::string end = ":" + std::to_string(port);
    if (!host.ends_with(end)) return false;
    host.remove_suffix(end.size());
    const bool six = host.starts_with('[') && host.ends_with(']');
    return !host.empty() &&
           host.find_first_not_of(six ? "[0123456789abcdefABCDEF:.]" : "0123456789.") == std::string::npos;
}

// --- What is asked ---

std::string asked(const Request& request, const std::string& name) {
    const auto found = request.query.find(name);
    if (found == request.query.end()) throw Error("\"" + name + "\" is missing");
    return found->second;
}

template <class Number>
Number number(const std::string& name, const std::string& value) {
    Number result{};
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), result);
    if (error != std::errc() || end != value.data() + value.size()) throw Error("\"" + name + "\" is no number");
    return result;
}

/// A body as JSON. Nesting is bounded before it is parsed, since values are taken apart by recursion.
Json parse_body(const std::string& body) {
    int depth = 0;
    const auto shallow = [&](int /*depth*/, Json::parse_event_t event, Json& /*parsed*/) {
        const bool begins = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
        const bool ends = event == Json::parse_event_t::object_end || event == Json::parse_event_t::array_end;
        depth += begins ? 1 : ends ? -1 : 0;
        if (depth > kMaxDepth) throw Error("the body is nested too deeply");
        return true;
    };
    Json json = Json::parse(body, shallow, false);
    if (!json.is_object()) throw Error("the body is no JSON object");
    return json;
}

template <class T>
T member(const Json& body, const char* name) {
    const auto found = body.find(name);
    if (found == body.end()) throw Error("\"" + std::string(name) + "\" is missing");
    bool fits = false;
    if constexpr (std::is_same_v<T, bool>)
        fits = found->is_boolean();
    else if constexpr (std::is_same_v<T, std::string>)
        fits = found->is_string();
    else
        fits = found->is_number_integer();
    if (!fits) throw Error("\"" + std::string(name) + "\" is of another kind");
    return found->get<T>();
}

template <class T>
T member_or(const Json& body, const char* name, T otherwise) {
    return body.contains(name) ? member<T>(body, name) : otherwise;
}

int whole(const Json& body, const char* name, int low, int high) {
    const auto value = member<std::int64_t>(body, name);
    if (value < low || value > high) throw Error("\"" + std::string(name) + "\" is out of range");
    return static_cast<int>(value);
}

// --- Answers ---

using Bench = Workbench&;

Reply get_picture(const Request& request, Bench bench) {
    const auto version = request.query.contains("version") ? asked(request, "version") : "0";
    const auto picture = bench.published().picture(asked(request, "output"), number<std::uint64_t>("version", version));
    if (!picture) return refused(404, "there is no picture");
    return {.type = "image/png", .body = picture};
}

Reply get_vector(const Request& request, Bench bench) {
    const auto drawing = bench.published().drawing(asked(request, "output"));
    if (!drawing) return refused(404, "there is no drawing");
    return {.type = "image/svg+xml", .body = drawing};
}

Reply get_value(const Request& request, Bench bench) {
    const auto x = number<double>("x", asked(request, "x"));
    const auto y = number<double>("y", asked(request, "y"));
    return as_json(bench.published().value(asked(request, "output"), x, y));
}

Reply get_events(const Request& /*request*/, Bench bench) {
    auto stream = bench.streams().subscribe();
    if (!stream) return refused(503, "too many pages listen");
    return {.type = "text/event-stream", .stream = std::move(stream)};
}

Reply changed(std::int64_t change) { return as_json({{"change", change}}); }

Reply post_change(const Json& body, Bench bench) {
    WrittenValues values;
    if (const auto set = body.find("set"); set != body.end()) {
        if (!set->is_object()) throw Error("\"set\" is no object");
        for (const auto& [target, value] : set->items()) values[target] = dump(value);
    }
    if (const auto reset = body.find("reset"); reset != body.end()) {
        if (!reset->is_array()) throw Error("\"reset\" is no list");
        for (const auto& target : *reset) {
            if (!target.is_string()) throw Error("\"reset\" is no list of names");
            values[target.get<std::string>()] = "";
        }
    }
    return changed(
        bench.change(values, member_or(body, "dragging", false), member_or<std::int64_t>(body, "gesture", 0)));
}

Reply post_show(const Json& body, Bench bench) {
    constexpr int kMaxSide = 100'000;
    for (const char* side : {"width", "height"}) whole(body, side, 0, kMaxSide);  // nothing depends on the room yet
    return changed(bench.show(member<std::string>(body, "output")));
}

Reply post_save(const Json& body, Bench bench) {
    const bool saved = bench.save(member<std::string>(body, "file"), member_or(body, "confirmed", false),
                                  member_or(body, "events", true));
    return saved ? as_json(Json::object()) : refused(409, "there is such a file");
}

Reply post_step(const Json& body, Bench bench) {
    return changed(bench.step(whole(body, "step", 0, std::numeric_limits<int>::max())));
}

struct Get {
    std::string_view name;
    Reply (*answer)(const Request&, Bench);
};
constexpr Get kGets[] = {
    {"state", [](const Request&, Bench bench) -> Reply { return {.body = bench.published().state()}; }},
    {"events", get_events},
    {"picture", get_picture},
    {"vector", get_vector},
    {"value", get_value},
    {"histogram", [](const Request& request, Bench bench) { return as_json(bench.histogram(asked(request, "of"))); }},
    {"files",
     [](const Request& request, Bench bench) {
         return as_json(bench.folder().list(request.query.contains("of") ? asked(request, "of") : ""));
     }},
};

struct Post {
    std::string_view name;
    Reply (*answer)(const Json&, Bench);
};
constexpr Post kPosts[] = {
    {"change", post_change},
    {"show", post_show},
    {"undo", [](const Json&, Bench bench) { return changed(bench.undo()); }},
    {"redo", [](const Json&, Bench bench) { return changed(bench.redo()); }},
    {"record", [](const Json& body, Bench bench) { return changed(bench.record(member<bool>(body, "on"))); }},
    {"save", post_save},
    {"open", [](const Json& body, Bench bench) { return changed(bench.open(member<std::string>(body, "file"))); }},
    {"step", post_step},
    {"joystick", [](const Json& body, Bench bench) { return changed(bench.joystick(body)); }},
    {"rest", [](const Json&, Bench bench) { return changed(bench.rest()); }},
};

template <std::size_t N, class Handler>
const Handler* find(const Handler (&handlers)[N], std::string_view name) {
    const auto* found =
        std::find_if(std::begin(handlers), std::end(handlers), [&](const Handler& one) { return one.name == name; });
    return found == std::end(handlers) ? nullptr : found;
}

/// What a name of the page's own files has for a type.
std::string type_of(std::string_view name) {
    constexpr std::pair<std::string_view, const char*> kTypes[] = {{".html", "text/html; charset=utf-8"},
                                                                   {".js", "text/javascript; charset=utf-8"},
                                                                   {".css", "text/css; charset=utf-8"},
                                                                   {".svg", "image/svg+xml"}};
    for (const auto& [ending, type] : kTypes) {
        if (name.ends_with(ending)) return type;
    }
    return "application/octet-stream";
}

const PageFile* page_file(std::string_view name) {
    const auto files = page_files();
    const auto found = std::find_if(files.begin(), files.end(), [&](const PageFile& file) {
        return file.name == (name.empty() ? "index.html" : name);
    });
    return found == files.end() ? nullptr : &*found;
}

}  // namespace

const std::vector<std::pair<std::string, std::string>>& reply_headers() {
    static const std::vector<std::pair<std::string, std::string>> headers{
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; connect-src 'self'; "
         "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-store"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
    };
    return headers;
}

std::string_view Gate::asked_for(std::string_view path) const {
    const std::size_t length = token_.size() + 2;  // slashes before and after it
    return path.size() < length ? std::string_view() : path.substr(length);
}

bool Gate::lets_in(const Request& request) const {
    const std::string_view path = request.path;
    const bool has_token = path.starts_with('/') && same_text(path.substr(1, token_.size()), token_) &&
                           path.substr(1 + token_.size()).starts_with('/');
    const bool named = std::find(hosts_.begin(), hosts_.end(), request.host) != hosts_.end();
    const bool is_host = named || (port_ > 0 && is_address(request.host, port_));
    const bool own_origin = request.origin ? request.origin == "http://" + request.host
                                           : request.method == "GET" || request.method == "HEAD";
    return has_token && is_host && own_origin;
}

std::string random_token() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    constexpr int kWords = 4;
    try {
        std::random_device device("/dev/urandom");
        std::string token;
        for (int word = 0; word < kWords; ++word) {
            const std::uint32_t bits = device();
            for (int shift = 28; shift >= 0; shift -= 4) token += kDigits[bits >> shift & 15U];
        }
        return token;
    } catch (const std::exception&) {
        throw Error("the system has no random numbers for the page's address");
    }
}

std::optional<Reply> answer_early(const Gate& gate, const Request& request) {
    if (!gate.lets_in(request)) return refused(403, "");
    const auto name = gate.asked_for(request.path);
    const bool get = find(kGets, name) || page_file(name);
    const bool post = find(kPosts, name);
    if (!get && !post) return refused(404, "there is nothing of that name");
    if (request.method != (get ? "GET" : "POST"))
        return refused(405, "the method is " + std::string(get ? "GET" : "POST"));
    return std::nullopt;
}

Reply answer(const Gate& gate, const Request& request, Workbench& workbench) {
    if (auto early = answer_early(gate, request)) return std::move(*early);
    if (request.body.size() > kMaxBody) return refused(413, "the body is larger than 1 MB");
    const auto name = gate.asked_for(request.path);
    try {
        if (const auto* get = find(kGets, name)) return get->answer(request, workbench);
        if (const auto* post = find(kPosts, name)) return post->answer(parse_body(request.body), workbench);
        const PageFile* file = page_file(name);
        // the file's bytes are the program's own
        return {.type = type_of(file->name), .body = shared_text(std::string(file->bytes))};
    } catch (const Busy& busy) {
        return refused(503, busy.what());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return refused(400, error.what());
    }
}

}  // namespace zam::runner
