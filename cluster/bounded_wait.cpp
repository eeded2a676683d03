#include "cluster/bounded_wait.h"

#include <unistd.h>

#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "session/outputs/output_file.h"

namespace zam::cluster {
namespace {

constexpr unsigned kAnHour = 3600;  // seconds

std::array<char, 160> message{};  // made beforehand: a handler of signals formats nothing
std::size_t message_size = 0;

extern "C" void give_up(int /*signal*/) {
    session::remove_parts();
    [[maybe_unused]] const auto written = write(STDERR_FILENO, message.data(), message_size);
    std::_Exit(EXIT_FAILURE);
}

}  // namespace

unsigned wait_limit() {
    const char* const given = std::getenv("ZAM_RANKS_WAIT");
    const std::string_view text = given ? given : "";
    unsigned seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool valid = error == std::errc() && end == text.data() + text.size() && seconds > 0;
    return valid ? seconds : kAnHour;
}

void name_waiting_rank(int rank) {
    const int size =
        std::snprintf(message.data(), message.size(),
                      "zam: rank %d: error: has waited %u s for other ranks and gives up (ZAM_RANKS_WAIT=SECONDS)\n",
                      rank, wait_limit());
    message_size = static_cast<std::size_t>(size);
    std::signal(SIGALRM, give_up);
}

BoundedWait::BoundedWait() { alarm(wait_limit()); }
BoundedWait::~BoundedWait() { alarm(0); }

}  // namespace zam::cluster
