// What is wrong with a data file, or with what is asked of it.
#pragma once

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zam::session {

/// Its text is one line, whatever of a file stands in it: control characters appear as \xHH, and very long texts are
/// cut.
class DataError : public std::runtime_error {
public:
    explicit DataError(std::string_view text) : std::runtime_error(one_line(text)) {}

private:
    static std::string one_line(std::string_view text) {
        constexpr std::size_t kMaxBytes = 4000;
        std::string line;
        for (const char byte : text.substr(0, kMaxBytes)) {
            const auto code = static_cast<unsigned char>(byte);
            std::array<char, 8> escaped{byte};
            if (code < 0x20 || code == 0x7F) std::snprintf(escaped.data(), escaped.size(), "\\x%02X", code);
            line += escaped.data();
        }
        return text.size() > kMaxBytes ? line + "..." : line;
    }
};

}  // namespace zam::session
