// Requests to zam serve, one per line: "POST change {...}", "GET value?output=out.png&x=1&y=2". Names that begin with a
// slash are whole paths, which may lack the token. Every input begins with the same network. What takes long is left
// alone.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "fuzz/target.h"
#include "runner/serve/requests.h"
#include "tests/support/scratch_directory.h"

using namespace zam::runner;

namespace {

constexpr const char* kToken = "0123456789abcdef0123456789abcdef";
constexpr const char* kHost = "127.0.0.1:80";
constexpr const char* kNetwork = R"({
  "modules": {
    "render": {"use": "tracer", "params": {
      "in": {"field": {"dims": [4, 4, 4], "node_data": [{"type": "byte", "values": {"values_file": "volume.raw"}}]}},
      "width": 20, "height": 10}},
    "view": {"use": "host_view", "params": {"width": 9, "height": 9, "objects": [{"ref": "render.out"}]}}},
  "write": {"out.png": "render.out", "page.png": {"from": "render.out", "legend": true}, "out.svg": "render.out",
            "view.webp": "view.out", "out.json": "render.out"}
})";

/// A directory with a network, its data, and a file that is out of reach beside it.
class Desk {
public:
    Desk() {
        std::filesystem::create_directories(directory() / "sub");
        std::ofstream(directory() / "volume.raw") << std::string(32, '\7') << std::string(32, '\x55');
        lay_out();
    }
    std::filesystem::path directory() const { return std::filesystem::path(scratch_.path()) / "desk"; }
    /// Writes the network, which requests may have changed.
    void lay_out() const { std::ofstream(directory() / "network.json") << kNetwork; }

private:
    zam::test::ScratchDirectory scratch_;
};

Request request_of(const std::string& line) {
    std::istringstream words(line);
    Request request;
    std::string name;
    words >> request.method >> name;
    std::getline(words >> std::ws, request.body);
    const auto mark = std::min(name.find('?'), name.size());
    request.path =
        name.starts_with('/') ? name.substr(0, mark) : "/" + std::string(kToken) + "/" + name.substr(0, mark);
    std::istringstream query(name.substr(std::min(mark + 1, name.size())));
    for (std::string part; std::getline(query, part, '&');) {
        const auto equals = std::min(part.find('='), part.size());
        request.query.emplace(part.substr(0, equals), part.substr(std::min(equals + 1, part.size())));
    }
    request.host = kHost;
    request.origin = "http://" + request.host;
    return request;
}

/// Waits until what was asked for is drawn, or a little.
void let_run(const Workbench& bench) {
    for (int i = 0; i < 40 && bench.published().state()->find(R"("state":"waiting")") != std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void require_sound(const Reply& reply) {
    constexpr int kStatuses[] = {200, 400, 403, 404, 405, 409, 413, 503};
    zam::fuzz::require(std::find(std::begin(kStatuses), std::end(kStatuses), reply.status) != std::end(kStatuses));
    const bool has_json = reply.body && reply.type == "application/json";
    zam::fuzz::require(!has_json || nlohmann::json::accept(*reply.body));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Desk desk;
    static Workbench bench(desk.directory().string(), "");
    static const Gate gate(kToken, {kHost});
    const std::string text = zam::fuzz::text_of(data, size);
    if (!zam::fuzz::has_small_numbers(text)) return 0;

    const auto ask = [&](const std::string& line) {
        Reply reply = answer(gate, request_of(line), bench);
        require_sound(reply);
        return reply;
    };
    desk.lay_out();
    zam::fuzz::require(ask(R"(POST open {"file":"network.json"})").status == 200);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) ask(line);
    let_run(bench);
    // whatever was done to it, the network can be saved and read
    zam::fuzz::require(ask(R"(POST save {"file":"saved.json","confirmed":true})").status == 200);
    zam::fuzz::require(ask(R"(POST open {"file":"saved.json"})").status == 200);
    return 0;
}
