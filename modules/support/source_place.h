// Where in the source a host array was asked for. Like std::source_location, which clang 14 does not have yet.
#pragma once

namespace zam {

struct SourcePlace {
    const char* file;
    int line;

    static constexpr SourcePlace here(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
        return {file, line};
    }
};

}  // namespace zam
