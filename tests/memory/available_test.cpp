// What counts as available: the system's files, and the limits of the process.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <utility>

#include "base/available_memory.h"
#include "base/posix/memory_files.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

constexpr std::int64_t kMegabyte = 1 << 20;

TEST(Available, FollowsTheSystemsFiles) {
    const auto limit = [](std::int64_t bytes) { return bytes == kNoLimit ? "-" : std::to_string(bytes); };
    for (const auto& system : load_text_cases(ZAM_TEST_DATA "/systems.test", ">=?")) {
        const ScratchDirectory root;
        for (const auto& file : system.list('=')) {
            const auto end = file.find(' ');
            const auto name = file.substr(0, end);
            std::filesystem::create_directories(std::filesystem::path(root.file(name)).parent_path());
            root.write(name, file.substr(end + 1) + "\n");
        }
        EXPECT_EQ(limit(free_memory(root.path())) + " " + limit(group_memory(root.path())) + "\n", system.text('?'))
            << system.name;
    }
}

TEST(Available, IsWithinTheLimitsOfTheProcess) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer needs more room than the limits set here";
#endif
    const std::int64_t before = available_memory();
    EXPECT_GT(before, 0);
    EXPECT_LE(before, physical_memory());
    for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
        rlimit limit{};
        getrlimit(resource, &limit);
        const rlim_t old = std::exchange(limit.rlim_cur, 64 * kMegabyte);  // below what the process uses, or just above
        setrlimit(resource, &limit);
        EXPECT_LE(available_memory(), 64 * kMegabyte);
        limit.rlim_cur = old;
        setrlimit(resource, &limit);
    }
}

}  // namespace
}  // namespace zam::test
