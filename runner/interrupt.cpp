#include "runner/interrupt.h"

#include <csignal>
#include <cstdlib>

#if !defined(_WIN32)
#include <unistd.h>
#endif

#include "session/outputs/output_file.h"

namespace zam::runner {
namespace {

constexpr int kSignalStatus = 128;

extern "C" void end_program(int signal) {
    session::remove_parts();
#if !defined(_WIN32)
    constexpr char kClearLine[] = "\r\033[K";  // where a progress line may stand
    if (isatty(STDERR_FILENO) != 0) [[maybe_unused]]
        const auto written = write(STDERR_FILENO, kClearLine, sizeof kClearLine - 1);
#endif
    std::_Exit(kSignalStatus + signal);
}

}  // namespace

void end_on_interrupt() {
    constexpr int kSignals[] = {
        SIGINT,
        SIGTERM,
#if defined(SIGHUP)
        SIGHUP,  // the terminal was closed
#endif
    };
    for (const int signal : kSignals) {
        if (std::signal(signal, end_program) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
}

}  // namespace zam::runner
