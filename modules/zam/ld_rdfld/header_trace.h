// The trace of the header language: a line on the standard output for each statement understood. The build option
// ZAM_TRACE_FIELD_HEADER turns it on.
#pragma once

#include <cstdio>

#if !defined(ZAM_TRACE_FIELD_HEADER)
#define ZAM_TRACE_FIELD_HEADER 0
#endif

// A macro, so that the compiler compares formats with arguments.
#define LDRF_TRACE(...)                                                 \
    do {                                                                \
        if constexpr (ZAM_TRACE_FIELD_HEADER) std::printf(__VA_ARGS__); \
    } while (0)
