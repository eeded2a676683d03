// Networks of the real modules: what they write and print is beside them.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

// steps: forward, backward over the end, a step by number, data flipped; another module follows the step.
// volume: a bar along x below the middle of the picture; turned by 90 degrees it stands right of the middle.
// joystick: classes whose methods run as their parameters change, a joystick plugged in late, polls, settings loaded.
// failing: a reader that cannot read, and what follows from that. Each with its exit status.
const std::pair<std::string, int> kNetworks[] = {{"steps", 0}, {"volume", 0}, {"joystick", 0}, {"failing", 1}};

class Networks : public testing::TestWithParam<std::pair<std::string, int>> {};

TEST_P(Networks, WriteWhatIsExpected) {
    const auto& [name, expected_status] = GetParam();
    const auto folder = std::filesystem::path(ZAM_TEST_NETWORKS) / name;
    const Scratch scratch;
    const std::string command = "cd '" + folder.string() + "' && unset ZAM_MODULE_PATH && '" + program() +
                                "' run network.json --output-dir '" + scratch.file("") + "' --log '" +
                                scratch.file("log") + "' >'" + scratch.file("stdout") + "' 2>'" +
                                scratch.file("stderr") + "' </dev/null";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), expected_status);
    for (const auto& entry : std::filesystem::directory_iterator(folder / "expected")) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string expected{std::istreambuf_iterator<char>(in), {}};
        EXPECT_EQ(scratch.read(entry.path().filename()), expected) << entry.path();
    }
}

INSTANTIATE_TEST_SUITE_P(Real, Networks, testing::ValuesIn(kNetworks),
                         [](const auto& info) { return info.param.first; });

}  // namespace
}  // namespace zam::test
