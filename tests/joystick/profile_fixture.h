// Profile files, set and asked for by the system's calls.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/profile.h"
#include "tests/support/scratch_directory.h"

namespace zam::test {

class ProfileFile : public ::testing::Test {
protected:
    static std::string get(const std::string& file, std::uint32_t size = 64, const char* otherwise = "none  ",
                           const char* section = "s") {
        std::string buffer(64, '#');
        const auto length = GetPrivateProfileStringA(section, "k", otherwise, buffer.data(), size, file.c_str());
        EXPECT_EQ(std::string(buffer.c_str()).size(), length);
        return buffer.c_str();
    }
    static int set(const std::string& file, const char* value = "9", const char* section = "s") {
        return WritePrivateProfileStringA(section, "k", value, file.c_str());
    }
    std::ptrdiff_t files() const {
        return std::distance(std::filesystem::directory_iterator(scratch.path()),
                             std::filesystem::directory_iterator());
    }
    ScratchDirectory scratch;
};

}  // namespace zam::test
