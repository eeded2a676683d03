// Reports of a module, with its label and flag word.
#pragma once

#include <optional>

#include "contract/err.h"

namespace zam {

/// A module declares one: `constexpr Reporter report{.label = "", .flags = 96};`
///
/// fail() and reject() are kept apart: one result that converts to 0 and to `nullopt` would make an engaged
/// `std::optional<int>`.
struct Reporter {
    const char* label;
    int flags;

    /// Reports a text as it stands and gives 0, the result of an update that failed.
    int fail(const char* text) const {
        ERRverror(label, flags, "%s", text);
        return 0;
    }
    /// Reports a formatted text and gives 0.
    template <class... Args>
    requires(sizeof...(Args) > 0) int fail(const char* format, Args... args) const {
        ERRverror(label, flags, format, args...);
        return 0;
    }
    /// As fail(), with the end of a step whose result is optional.
    template <class... Args>
    std::nullopt_t reject(const char* text, Args... args) const {
        fail(text, args...);
        return std::nullopt;
    }
    /// Reports a text where the module carries on.
    void warn(const char* text) const { ERRverror(label, flags, "%s", text); }
};

/// As Reporter, for the modules that report through ERRerror, which is told the number of format arguments.
struct ErrorReporter {
    const char* label;
    int text_arguments;  // told of a text as it stands: 0 or 1, as the module has always done
    int flags;

    int fail(const char* text) const {
        warn(text);
        return 0;
    }
    template <class... Args>
    requires(sizeof...(Args) > 0) int fail(const char* format, Args... args) const {
        ERRerror(label, int{sizeof...(Args)}, flags, format, args...);
        return 0;
    }
    template <class... Args>
    std::nullopt_t reject(const char* text, Args... args) const {
        fail(text, args...);
        return std::nullopt;
    }
    void warn(const char* text) const { ERRerror(label, text_arguments, flags, "%s", text); }
};

}  // namespace zam
