// The command line.
#pragma once

namespace zam::runner {

/// Runs the program with its arguments.
/// @return its exit status
int run_program(int argc, const char* const* argv);

}  // namespace zam::runner
