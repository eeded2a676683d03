// What counts as available, and modules that are asked for more: each array alone would fit, all together do not.
#include <sys/resource.h>

#include <functional>

#include "embedded/view.h"
#include "modules/zam/MergeImages.h"
#include "modules/zam/cone.h"
#include "modules/zam/lic_texture.h"
#include "modules/zam/rd_voxel.h"
#include "modules/zam/read_frt.h"
#include "modules/zam/revolve_c.h"
#include "modules/zam/tracer.h"
#include "modules/zam/uni2cylinder.h"
#include "platform/memory.h"
#include "platform/memory_budget.h"
#include "platform/posix/memory_files.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"

namespace zam::test {
namespace {

constexpr std::int64_t kMegabyte = 1 << 20;

struct SystemFile {
    const char* name;
    const char* text;
};

const struct {
    const char* name;
    std::vector<SystemFile> files;
    std::int64_t free, group;
} kSystems[] = {
    {"no files", {}, platform::kNoLimit, platform::kNoLimit},
    {"machine",
     {{"proc/meminfo", "MemTotal:  900 kB\nMemFree: 9 kB\nMemAvailable:   70 kB\n"}},
     70 * 1024,
     platform::kNoLimit},
    {"version 2, the files' pages dropped",
     {{"proc/self/cgroup", "0::/a/b\n"},
      {"sys/fs/cgroup/a/b/memory.max", "1000\n"},
      {"sys/fs/cgroup/a/b/memory.current", "900\n"},
      {"sys/fs/cgroup/a/b/memory.stat", "anon 500\ninactive_anon 70\ninactive_file 100\nactive_file 50\n"}},
     platform::kNoLimit,
     250},
    {"version 2, limited above",
     {{"proc/self/cgroup", "1:name=systemd:/x\n0::/a/b\n"},
      {"sys/fs/cgroup/a/b/memory.max", "max\n"},
      {"sys/fs/cgroup/a/b/memory.current", "900\n"},
      {"sys/fs/cgroup/a/memory.max", "5000\n"},
      {"sys/fs/cgroup/a/memory.current", "4000\n"}},
     platform::kNoLimit,
     1000},
    {"version 2, a container's own root",
     {{"proc/self/cgroup", "0::/\n"}, {"sys/fs/cgroup/memory.max", "300\n"}, {"sys/fs/cgroup/memory.current", "400\n"}},
     platform::kNoLimit,
     0},
    {"version 1, a path from outside",
     {{"proc/self/cgroup", "9:cpu,memory:/docker/12\n8:pids:/\n"},
      {"sys/fs/cgroup/memory/memory.limit_in_bytes", "2000\n"},
      {"sys/fs/cgroup/memory/memory.usage_in_bytes", "1500\n"},
      {"sys/fs/cgroup/memory/memory.stat", "cache 9\ninactive_file 7\ntotal_inactive_file 30\ntotal_active_file 20\n"}},
     platform::kNoLimit,
     550},
    {"version 1, without a limit",
     {{"proc/self/cgroup", "4:memory:/\n"},
      {"sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n"},
      {"sys/fs/cgroup/memory/memory.usage_in_bytes", "12\n"}},
     platform::kNoLimit,
     9223372036854771700},
};

TEST(Available, FollowsTheSystemsFiles) {
    for (const auto& system : kSystems) {
        const ScratchDirectory root;
        for (const auto& file : system.files) {
            std::filesystem::create_directories(std::filesystem::path(root.file(file.name)).parent_path());
            root.write(file.name, file.text);
        }
        EXPECT_EQ(platform::free_memory(root.path()), system.free) << system.name;
        EXPECT_EQ(platform::group_memory(root.path()), system.group) << system.name;
    }
}

TEST(Available, IsWithinTheLimitsOfTheProcess) {
    const std::int64_t before = platform::available_memory();
    EXPECT_GT(before, 0);
    EXPECT_LE(before, platform::physical_memory());
    for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
        rlimit limit{};
        getrlimit(resource, &limit);
        const rlim_t old =
            std::exchange(limit.rlim_cur, 64 * kMegabyte);  // below what the process has, or little above
        setrlimit(resource, &limit);
        EXPECT_LE(platform::available_memory(), 64 * kMegabyte);
        limit.rlim_cur = old;
        setrlimit(resource, &limit);
    }
}

TEST(Budget, CountsEverythingTaken) {
    platform::pretend_available_memory(160 * kMegabyte);  // a sixteenth stays free
    platform::MemoryBudget memory;
    EXPECT_FALSE(memory.take(-1, 1));
    EXPECT_FALSE(memory.take(std::int64_t{1} << 61, 8));
    EXPECT_TRUE(memory.take(kMegabyte, 10));
    EXPECT_TRUE(memory.take(kMegabyte, 100));
    EXPECT_FALSE(memory.take(40 * kMegabyte + 1, 1));
    EXPECT_EQ(memory.left(), 40 * kMegabyte);
    EXPECT_TRUE(memory.take(40 * kMegabyte, 1));
    platform::pretend_available_memory(0);
    EXPECT_THROW(memory.require(1, 1), std::bad_alloc);
    EXPECT_TRUE(memory.take(0, 8));
    EXPECT_TRUE(platform::MemoryBudget().take(16 * kMegabyte, 1));  // small updates do not ask
    EXPECT_FALSE(platform::MemoryBudget().take(16 * kMegabyte + 1, 1));
    platform::pretend_available_memory(std::nullopt);
}

class Refusals : public ModuleTest {
public:
    void set(const char* name, double value) const {
        OMset_real_val(host::create(instance, name, host::Kind::real), value);
    }
    void set_text(const char* name, const std::string& text) const {
        OMset_str_val(host::create(instance, name, host::Kind::text), text.c_str());
    }
    void set_array(const char* name, const std::vector<float>& values) const {
        host::set_values(host::create(instance, name, host::Kind::array), DTYPE_FLOAT, values.data(),
                         static_cast<xp_long>(values.size()));
    }
    template <class T = float>
    void set_uniform(const char* name, const std::vector<xp_long>& dims, int veclen, std::size_t nvalues) const {
        const OMobj_id field = make_field<T>(name, {.dims = dims,
                                                    .nspace = static_cast<int>(dims.size()),
                                                    .veclen = veclen,
                                                    .values = std::vector<float>(nvalues, 1)});
        const auto points = handed<float>(std::vector<float>(2 * dims.size(), 1));
        FLDset_points(field, points, static_cast<xp_long>(2 * dims.size()), ARR_HOST_OWNS);
    }
    /// A file of these words at these places, with holes between.
    std::string sparse_file(const char* name, const std::vector<std::pair<long, std::int32_t>>& words) const {
        std::ofstream file(directory.file(name), std::ios::binary);
        for (const auto& [at, word] : words) file.seekp(at).write(reinterpret_cast<const char*>(&word), sizeof word);
        return directory.file(name);
    }
    ScratchDirectory directory;
};

/// With 40 MB available.
const struct {
    const char* name;
    int (*update)(OMobj_id, unsigned, int);
    std::function<void(const Refusals&)> make;
    int result;
    std::string said;  // reported, or else printed on the standard error stream
} kRefusals[] = {
    {"cone", DVConeUpdate,
     [](const Refusals& test) {
         for (const char* name : {"offset", "length", "radius"}) test.set(name, 1);
         test.set("div", 700'000);
     },
     1, "can't alloc coord connect_array!\n"},
    {"revolve", DVRevolveUpdate,
     [](const Refusals& test) {
         test.set_array("profile", {0, 1, 1, 1, 2, 1, 3, 1});
         test.set("smooth", 1);
         test.set("resolution", 250'000);
     },
     1, "revolve: couldn't get coordinate array!"},
    {"revolve, many cell sets", DVRevolveUpdate,
     [](const Refusals& test) { test.set_array("profile", std::vector<float>(120'000, 1)); }, 1,
     "revolve: couldn't get coordinate array!"},
    {"cylinder", ADDuni2cylinder,
     [](const Refusals& test) {
         test.set_uniform<std::uint8_t>("in", {2000, 900, 2}, 1, 4);
     },
     1, ""},
    {"voxel grid", ZAMread_voxel_update,
     [](const Refusals& test) {
         test.set_text("filename", test.directory.write(
                                       "v.txt", "0 0 0 1 2\n.01 .01 .01 3 4\n1.7 1.7 1.7 5 6\n1.71 1.71 1.71 7 8\n"));
     },
     0, "Unexpected error\n"},
    {"Fortran records", ZAMread_frt,
     [](const Refusals& test) {
         test.set_text("frt_fname", test.sparse_file("g.frt", {{0, 8},
                                                               {4, 2000},
                                                               {8, 2000},
                                                               {12, 8},
                                                               {16, 32'000'000},
                                                               {32'000'020, 32'000'000},
                                                               {32'000'024, 16'000'000},
                                                               {48'000'028, 16'000'000}}));
     },
     0, "Can't allocation data value."},
    {"tracer", ZAMtracer_render_update,
     [](const Refusals& test) {
         test.set_uniform<std::uint8_t>("in", {2, 2, 2}, 1, 8);
         test.set("width", 4000);
         test.set("height", 2500);
     },
     0, "image array is not allocated\n"},
    {"LIC", ZAMlic_texture_func,
     [](const Refusals& test) {
         test.set_uniform("in_fld", {1200, 1200}, 3, 4'320'000);
     },
     0, "flow array is not allocated\n"},
    {"merge", MergeImagesUpdate,
     [](const Refusals& test) {
         const auto name = test.sparse_file("pceimg00000.img", {{80'000'006, 0}});
         std::fstream(name, std::ios::in | std::ios::out) << "0500002000";
         test.set_text("currDir", test.directory.path());
         test.set_array("backCol", {0, 0, 0});
         test.set("currCount", 1);
         test.set("saveMode", 0);
     },
     1, "Can not merge image in Zbuffer brending.\n"},
    {"view", host_view,
     [](const Refusals& test) {
         test.set("width", 3100);
         test.set("height", 1600);
     },
     0, "the image's arrays are not allocated\n"},
};

TEST_F(Refusals, AreSaid) {
    for (const auto& c : kRefusals) {
        SCOPED_TRACE(c.name);
        host::reset();
        ModuleTest::SetUp();
        c.make(*this);
        for (const char* name : {"out", "outfld", "out_fld"}) host::create(instance, name, host::Kind::field);
        reports.clear();
        platform::pretend_available_memory(40 * kMegabyte);
        host::pretend_available_memory(40 * kMegabyte);
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.update(instance, 0, 0), c.result);
        const std::string printed = testing::internal::GetCapturedStderr();
        platform::pretend_available_memory(std::nullopt);
        host::pretend_available_memory(std::nullopt);
        EXPECT_EQ(reports.empty() ? printed : reports[0], c.said);
        for (const char* name : {"out", "outfld", "out_fld"})
            EXPECT_EQ(values(host::find(instance, name), 0), std::vector<float>());
        expect_nothing_left();
    }
}

}  // namespace
}  // namespace zam::test
