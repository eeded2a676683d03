// How the voxel reader reports: what the host is told, and what goes to the standard error stream.
#pragma once

#include <cstdio>
#include <optional>

#include "modules/support/report.h"

namespace zam::voxel {

constexpr ErrorReporter report{.label = "read_voxel", .text_arguments = 0, .flags = 2};

/// deliberate: most of what can go wrong in a file is a line on the standard error stream, as it stands.
struct StreamReporter {
    bool fail(const char* text) const {
        std::fputs(text, stderr);
        return false;
    }
    std::nullopt_t reject(const char* text) const {
        fail(text);
        return std::nullopt;
    }
};
constexpr StreamReporter kStream;

}  // namespace zam::voxel
