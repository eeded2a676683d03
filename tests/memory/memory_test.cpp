// Modules that need more than there is: each array alone would fit, all together do not.
#include "base/memory.h"
#include "base/available_memory.h"
#include "embedded/view/view.h"
#include "modules/zam/MergeImages.h"
#include "modules/zam/cone.h"
#include "modules/zam/lic_texture.h"
#include "modules/zam/rd_voxel.h"
#include "modules/zam/read_frt.h"
#include "modules/zam/revolve_c.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

constexpr std::int64_t kMegabyte = 1 << 20;

TEST(Budget, CountsEverythingTaken) {
    pretend_available_memory(160 * kMegabyte);  // a sixteenth stays free
    AvailableMemory memory;
    EXPECT_FALSE(memory.take(-1, 1));
    EXPECT_FALSE(memory.take(std::int64_t{1} << 61, 8));
    EXPECT_TRUE(memory.take(kMegabyte, 10));
    EXPECT_TRUE(memory.take(kMegabyte, 100));
    EXPECT_FALSE(memory.take(40 * kMegabyte + 1, 1));
    EXPECT_EQ(memory.left(), 40 * kMegabyte);
    EXPECT_TRUE(memory.take(40 * kMegabyte, 1));
    pretend_available_memory(0);
    EXPECT_THROW(memory.require(1, 1), std::bad_alloc);
    EXPECT_TRUE(memory.take(0, 8));
    EXPECT_TRUE(AvailableMemory().take(16 * kMegabyte, 1));  // small updates are not checked
    EXPECT_FALSE(AvailableMemory().take(16 * kMegabyte + 1, 1));
    pretend_available_memory(std::nullopt);
}

class Refusals : public ModuleTest {
protected:
    /// Everything that the modules below read.
    void SetUp() override {
        ModuleTest::SetUp();
        const std::pair<const char*, double> numbers[] = {{"offset", 1},    {"length", 1},   {"radius", 1},
                                                          {"div", 7e5},     {"width", 3100}, {"height", 1600},
                                                          {"currCount", 1}, {"saveMode", 0}};
        for (const auto& [name, value] : numbers) OMset_real_val(host::create(instance, name, host::Kind::real), value);
        const std::pair<const char*, std::string> texts[] = {
            {"filename", directory.write("v.txt", "0 0 0 1 2\n.01 .01 .01 3 4\n1.7 1.7 1.7 5 6\n1.71 1.71 1.71 7 8\n")},
            {"frt_fname", sparse_file("g.frt", {0, 4, 8, 12, 16, 32'000'020, 32'000'024, 48'000'028},
                                      {8, 2000, 2000, 8, 32'000'000, 32'000'000, 16'000'000, 16'000'000})},
            {"currDir", directory.path()}};
        for (const auto& [name, text] : texts)
            OMset_str_val(host::create(instance, name, host::Kind::text), text.c_str());
        const auto capture = sparse_file("pceimg00000.img", {80'000'006}, {0});
        std::fstream(capture, std::ios::in | std::ios::out) << "0500002000";
        for (const char* name : {"profile", "backCol"}) {
            const std::vector<float> ones(120'000, 1);
            host::set_values(host::create(instance, name, host::Kind::array), DTYPE_FLOAT, ones.data(), 120'000);
        }
        make_field("in_fld", {{1200, 1200}, 0, 2, {}, 3, std::vector<float>(4'320'000, 1), {0, 0, 1, 1}});
        for (const char* name : {"out", "outfld", "out_fld"}) host::create(instance, name, host::Kind::field);
    }
    /// Writes a file with words at some places, and holes between them.
    std::string sparse_file(const char* name, const std::vector<long>& places,
                            const std::vector<std::int32_t>& words) const {
        std::ofstream file(directory.file(name), std::ios::binary);
        for (std::size_t i = 0; i < words.size(); ++i)
            file.seekp(places[i]).write(reinterpret_cast<const char*>(&words[i]), sizeof words[i]);
        return directory.file(name);
    }
    ScratchDirectory directory;
};

/// With 40 MB available.
const struct {
    int (*update)(OMobj_id, unsigned, int);
    int result;
    std::string said;  // reported, or else printed on the standard error stream
} kRefusals[] = {
    {DVConeUpdate, 1, "can't alloc coord connect_array!\n"},
    {DVRevolveUpdate, 1, "revolve: couldn't get coordinate array!"},  // for its many cell sets
    {ZAMread_voxel_update, 0, "Unexpected error\n"},
    {ZAMread_frt, 0, "Can't allocation data value."},
    {ZAMlic_texture_func, 0, "flow array is not allocated\n"},
    {MergeImagesUpdate, 1, "Can not merge image in Zbuffer brending.\n"},
    {host_view, 0, "the image's arrays are not allocated\n"},
};

TEST_F(Refusals, AreSaid) {
    for (const auto& c : kRefusals) {
        reports.clear();
        pretend_available_memory(40 * kMegabyte);
        host::pretend_available_memory(40 * kMegabyte);
        testing::internal::CaptureStderr();
        EXPECT_EQ(c.update(instance, 0, 0), c.result);
        const std::string printed = testing::internal::GetCapturedStderr();
        pretend_available_memory(std::nullopt);
        host::pretend_available_memory(std::nullopt);
        EXPECT_EQ(reports.empty() ? printed : reports[0], c.said);
        expect_nothing_left();
    }
}

}  // namespace
}  // namespace zam::test
