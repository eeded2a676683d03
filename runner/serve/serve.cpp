// `zam serve`: a network in the browser.
#include <cstdio>
#include <filesystem>
#include <string>

#include "base/file_path.h"
#include "runner/commands.h"
#include "runner/console.h"

#if !defined(_WIN32)
#include <pthread.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <thread>

#include "runner/serve/http_server.h"
#include "runner/serve/workbench.h"
#endif

namespace zam::runner {

#if defined(_WIN32)

int serve(const ServeOptions& /*options*/) {
    print_error("zam serve is not available on Windows");
    return kWrong;
}

#else

namespace {

using namespace std::chrono_literals;

/// Signals that end the program, blocked in the calling thread and all that it starts.
sigset_t block_end_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

/// Asks the desktop to show an address. It is no fault if there is none.
void open_browser(const std::string& address) {
    std::string shell = "sh", option = "-c", line = "xdg-open \"$0\" >/dev/null 2>&1 </dev/null &", argument = address;
    std::array<char*, 5> arguments{shell.data(), option.data(), line.data(), argument.data(), nullptr};
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t child = 0;
    if (posix_spawnp(&child, "sh", nullptr, &attributes, arguments.data(), environ) == 0) waitpid(child, nullptr, 0);
    posix_spawnattr_destroy(&attributes);
}

bool is_any_address(const std::string& address) { return address == "0.0.0.0" || address == "::"; }

std::string host_of(const std::string& address, int port) {
    const bool six = address.find(':') != std::string::npos;
    return (six ? "[" + address + "]" : address) + ":" + std::to_string(port);
}

/// What the page may call this server.
Gate gate_for(const std::string& token, const std::string& address, int port) {
    std::vector<std::string> hosts{host_of("127.0.0.1", port), host_of("localhost", port), host_of(address, port)};
    std::array<char, 256> name{};
    const bool any = is_any_address(address);
    if (any && gethostname(name.data(), name.size() - 1) == 0) hosts.push_back(host_of(name.data(), port));
    return {token, std::move(hosts), any ? port : 0};
}

/// Answers until the program is told to end.
void serve_until(const sigset_t& signals, HttpServer& server, Workbench& workbench) {
    auto served = std::async(std::launch::async, [&] { server.run(); });
    int signal = 0;
    sigwait(&signals, &signal);
    // a module that tells of no progress cannot be ended
    std::thread([] {
        std::this_thread::sleep_for(3s);
        std::_Exit(kAllWell);
    }).detach();
    workbench.streams().end();
    std::this_thread::sleep_for(50ms);  // so that pages hear of it
    do server.stop();
    while (served.wait_for(50ms) != std::future_status::ready);
}

}  // namespace

int serve(const ServeOptions& options) {
    const auto server = make_http_server();
    if (!server) {
        print_error("this build of zam has no cpp-httplib, which zam serve needs");
        return kWrong;
    }
    std::error_code error;
    const std::filesystem::path file = file_path(options.file);
    if (!options.file.empty() && !std::filesystem::is_regular_file(file, error)) {
        print_error("cannot open " + options.file);
        return kWrong;
    }
    const sigset_t signals = block_end_signals();
    const int port = server->bind(options.bind, options.port);
    if (port < 0) {
        print_error("cannot listen at " + host_of(options.bind, options.port));
        return kWrong;
    }
    Workbench workbench(file.parent_path().string(), file.filename().string());
    const std::string token = random_token();
    const Gate gate = gate_for(token, options.bind, port);
    server->set_handlers({[&](const Request& request) { return answer_early(gate, request); },
                          [&](const Request& request) { return answer(gate, request, workbench); }, reply_headers()});
    const std::string host = is_any_address(options.bind) ? "127.0.0.1" : options.bind;
    const std::string address = "http://" + host_of(host, port) + "/" + token + "/";
    std::printf("zam: %s\n", address.c_str());
    std::fflush(stdout);
    const SilentOutput silent;  // what modules print
    if (!options.no_open) open_browser(address);
    serve_until(signals, *server, workbench);
    return kAllWell;
}

#endif

}  // namespace zam::runner
