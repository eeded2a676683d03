// The module in its host: what it reads, writes and reports.
#include <climits>
#include <cstdint>
#include <numeric>

#include "modules/zam/tracer.h"
#include "tests/plain/tracer.h"
#include "tests/support/module_test.h"

namespace zam::test {
namespace {

/// Bytes of all values, among them those whose colour is 0.
std::vector<float> ramp(std::size_t size, int step) {
    std::vector<float> values(size);
    for (std::size_t i = 0; i < size; ++i) values[i] = static_cast<std::uint8_t>(static_cast<std::size_t>(step) * i);
    return values;
}

/// An instance with a volume of 4 x 5 x 6 bytes, as a network would make it.
class TracerModule : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report)
                reports.push_back(record.label + "|" + std::to_string(record.flags) + "|" + record.text);
        });
        out = host::create(instance, "out", host::Kind::field);
        set_int("width", 12);
        set_int("height", 10);
        make_volume({4, 5, 6}, 1);
        table = host::create(instance, "color_table", host::Kind::group);
        for (const char* name : {"alpha", "red", "green", "blue"}) set_map(name, 256);
    }
    void set_map(const char* name, xp_long size) const {
        std::uint8_t values[256];
        std::iota(values, values + size, std::uint8_t{0});
        host::set_values(host::create(table, name, host::Kind::array), DTYPE_BYTE, values, size);
    }
    /// The position must not matter.
    void make_volume(const std::vector<xp_long>& dims, int veclen) const {
        make_field<std::uint8_t>(
            "in", {.dims = dims, .veclen = veclen, .values = ramp(120, 29), .points = {40, 41, 42, 43, 44, 45}});
    }
    int update() const { return ZAMtracer_render_update(instance, 0, 0); }
    std::vector<std::uint8_t> image() const { return bytes(out, DTYPE_BYTE); }

    OMobj_id out{}, table{};
};

std::vector<std::uint8_t> plain_image(bool interpolate) {
    std::uint8_t nodes[120];
    for (int i = 0; i < 120; ++i) nodes[i] = static_cast<std::uint8_t>(29 * i);
    float table[256][4];
    for (int i = 0; i < 256; ++i) {
        table[i][0] = static_cast<float>(i / 255.0);
        for (int c = 1; c < 4; ++c) table[i][c] = static_cast<float>(i);
    }
    const float inverse[16] = {4.0F / 3, 0, 0, 0, 0, 5.0F / 4, 0, 0, 0, 0, 6.0F / 5, 0, 0, 0, 0, 1};
    const plain::Scene scene{nodes, {4, 5, 6}, 1, table, nullptr, 1, 1, inverse, 12, 10, interpolate};
    std::vector<std::uint8_t> image(plain::image_size(scene));
    plain::render(scene, image.data());
    return image;
}

TEST_F(TracerModule, WritesAnImageField) {
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(image(), plain_image(true));
    expect_image(out, 12, 10);
    set_int("interpolate", 0);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(image(), plain_image(false));
    host::destroy(out);
    EXPECT_EQ(update(), 1) << "nowhere to write to";
    EXPECT_EQ(reports, std::vector<std::string>());
}

TEST_F(TracerModule, ReportsWhatItCannotRender) {
    const struct {
        std::vector<xp_long> dims;
        int veclen, width, height, result;
        const char* report;
        const char* printed = "";
    } cases[] = {
        {{12, 10}, 1, 12, 10, 0, "|96|in is not a volume\n"},
        {{4, 0, 6}, 1, 12, 10, 0, "|96|in is not a volume\n"},
        {{4, 5, 7}, 1, 12, 10, 0, "|96|in has too little node data\n"},
        {{4, 5, 6}, 1, 0, 10, 0, "|96|width and height must be at least 1\n"},
        {{4, 5, 6}, 1, 12, -3, 0, "|96|width and height must be at least 1\n"},
        {{4, 5, 6}, 1, INT_MAX, INT_MAX, 0, "|96|image array is not allocated\n"},
        {{2, 5, 4},
         3,
         12,
         10,
         1,
         "|96|veclen must be 1 or 4\n",
         "tracer_body  OK  tracer requires 4-vector or 1-vector data"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.report);
        reports.clear();
        make_volume(c.dims, c.veclen);
        set_int("width", c.width);
        set_int("height", c.height);
        testing::internal::CaptureStdout();
        EXPECT_EQ(update(), c.result);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed);
        EXPECT_EQ(reports, std::vector<std::string>{c.report});
        EXPECT_EQ(image(), std::vector<std::uint8_t>(c.result == 1 ? 480 : 0));
    }
}

TEST_F(TracerModule, TakesWhatIsMissingAsItsDefault) {
    for (const char* name : {"width", "height", "color_table"}) host::destroy(host::find(instance, name));
    table = host::create(instance, "color_table", host::Kind::group);
    set_map("alpha", 3);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(image().size(), 128U * 128 * 4);
    for (const std::uint8_t byte : image()) ASSERT_LE(byte, 12);  // opacities up to 2 / 255, black
}

}  // namespace
}  // namespace zam::test
