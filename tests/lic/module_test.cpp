// The module in its host: pixels byte by byte against the plain form, its output, and what it does when something
// fails.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/host_array.h"
#include "modules/zam/lic_texture.h"
#include "tests/plain/lic.h"
#include "tests/support/module_test.h"

namespace zam::test {
namespace {

using plain::LicScene;

/// Vortices, saddles and lines where the flow turns back; a block without flow, stripes along the axes, no numbers.
std::vector<float> make_vectors(int nx, int ny, int veclen = 2) {
    std::vector<float> v;
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            float xy[2] = {std::sin(0.4F * static_cast<float>(j)) + 0.3F, std::cos(0.5F * static_cast<float>(i))};
            if (i > 10 && i < 14 && j > 3 && j < 8) xy[0] = xy[1] = 0;
            if (i == 5) xy[0] = 0;
            if (j == 9) xy[1] = -0.0F;
            if (i == 20 && j == 10) xy[0] = NAN;
            if (i == 25 && j == 11) xy[1] = -INFINITY;
            if (i == 28 && j == 12) xy[0] = 1e-41F;
            for (int c = 0; c < veclen; ++c) v.push_back(c < 2 ? xy[c] : xy[0] * static_cast<float>(c));
        }
    return v;
}

class Lic : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report) reports.push_back(record.text);
            if (record.what == host::Record::What::status) percents.push_back(record.percent);
        });
        in = host::create(instance, "in_fld", host::Kind::field);
        out = host::create(instance, "out_fld", host::Kind::field);
    }

    void set(const char* name, int value) {
        host::create(instance, name, host::Kind::integer);
        OMset_name_int_val(instance, OMstr_to_name(name), value);
    }
    void set(const LicScene& s) {
        set("line", s.line);
        set("norm", s.norm);
        host::create(instance, "rate", host::Kind::real);
        OMset_name_real_val(instance, OMstr_to_name("rate"), s.rate);
        set("cycle", s.cycle);
        set("phase", s.phase);
        set("animflag", s.animflag);
        set("filvecflag", s.filvecflag);
        set("colvecflag", s.colvecflag);
        set("comp_x", s.comp_x);
        set("comp_y", s.comp_y);
    }
    void set_field(std::vector<xp_long> dims, int veclen, int type, void* values, xp_long count) {
        FLDset_ndim(in, static_cast<int>(dims.size()));
        FLDset_dims(in, dims.data());
        FLDset_nspace(in, 2);
        FLDset_points(in, points_, 4, ARR_CALLER_OWNS);
        FLDset_node_data_comp(in, 0, veclen, "v", "");
        ASSERT_EQ(FLDset_node_data(in, 0, values, type, count, ARR_CALLER_OWNS), 1);
    }
    void set_field(std::vector<xp_long> dims, int veclen, std::vector<float>& values) {
        set_field(std::move(dims), veclen, DTYPE_FLOAT, values.data(), static_cast<xp_long>(values.size()));
    }

    int update() { return ZAMlic_texture_func(instance, 0, 0); }
    std::vector<std::uint8_t> pixels() const {
        int type = -1;
        HostArray<std::uint8_t> data;
        if (FLDget_node_data(out, 0, &type, data.untyped_place(), data.count_place(), ARR_READ) != 1) return {};
        EXPECT_EQ(type, DTYPE_CHAR);
        return {data.data(), data.data() + data.size()};
    }
    std::vector<std::uint8_t> pixel(int n) const {
        const auto all = pixels();
        return {all.begin() + 4 * n, all.begin() + 4 * n + 4};
    }

    OMobj_id in{}, out{};
    std::vector<int> percents;

private:
    float points_[4] = {0, 0, 1, 1};
};

struct PixelCase {
    const char* name;
    LicScene scene;
};

const PixelCase kPixels[] = {
    {"defaults", {.nx = 37, .ny = 23}},
    {"half_black", {.nx = 37, .ny = 23, .rate = 0.5}},
    {"shortest", {.nx = 37, .ny = 23, .line = 1, .rate = 0.5}},
    {"a_step_at_least", {.nx = 37, .ny = 23, .line = -3, .rate = 0.5, .filvecflag = 0}},
    {"long_enough_to_go_round", {.nx = 37, .ny = 23, .line = 3000, .rate = 0.5}},
    {"whole_kernel", {.nx = 37, .ny = 23, .line = 7, .norm = 1, .rate = 0.5}},
    {"whole_kernel_of_nothing", {.nx = 37, .ny = 23, .line = 0, .norm = 1, .rate = 0.5}},
    {"ripple_without_cycle", {.nx = 37, .ny = 23, .rate = 0.5, .phase = 2, .animflag = 1}},
    {"ripple_of_equal_frequencies", {.nx = 37, .ny = 23, .rate = 0.5, .cycle = 1, .phase = 1, .animflag = 1}},
    {"ripple_backward", {.nx = 37, .ny = 23, .rate = 0.5, .cycle = -1, .phase = 4, .animflag = 1}},
    {"ripple_over_whole_kernel", {.nx = 37, .ny = 23, .norm = 1, .rate = 0.3, .cycle = 3, .phase = 3, .animflag = 1}},
    {"ripple_of_nothing", {.nx = 37, .ny = 23, .line = 0, .norm = 1, .rate = 0.3, .cycle = 3, .animflag = 1}},
    {"ripple_switches_magnitudes_off",
     {.nx = 37, .ny = 23, .line = 3, .rate = 0.5, .cycle = 2, .animflag = 1, .filvecflag = 1, .colvecflag = 1}},
    {"length_by_magnitude", {.nx = 37, .ny = 23, .line = 20, .rate = 0.5, .filvecflag = 1}},
    {"length_is_raised", {.nx = 37, .ny = 23, .line = 2, .norm = 1, .rate = 0.5, .filvecflag = -1}},
    {"color_by_magnitude", {.nx = 37, .ny = 23, .rate = 0.5, .colvecflag = 1}},
    {"both_by_magnitude", {.nx = 37, .ny = 23, .norm = 1, .rate = 0.4, .filvecflag = 1, .colvecflag = 1}},
    {"other_components", {.nx = 37, .ny = 23, .veclen = 4, .rate = 0.5, .comp_x = 3, .comp_y = 0}},
    {"one_row", {.nx = 19, .ny = 1, .rate = 0.5}},
    {"one_column", {.nx = 1, .ny = 19, .rate = 0.5, .filvecflag = 1, .colvecflag = 1}},
    {"one_pixel", {.nx = 1, .ny = 1, .rate = 0.5, .filvecflag = 1, .colvecflag = 1}},
};

TEST_F(Lic, DrawsThePlainPixels) {
    for (PixelCase test : kPixels) {
        auto vectors = make_vectors(test.scene.nx, test.scene.ny, test.scene.veclen);
        const auto bytes = std::string(reinterpret_cast<const char*>(vectors.data()), vectors.size() * sizeof(float));
        test.scene.vectors = vectors.data();
        set_field({test.scene.nx, test.scene.ny}, test.scene.veclen, vectors);
        set(test.scene);
        EXPECT_EQ(update(), 1) << test.name;
        EXPECT_EQ(pixels(), plain::PlainLic(test.scene).draw()) << test.name;
        EXPECT_EQ(bytes.compare(0, bytes.size(), reinterpret_cast<const char*>(vectors.data()), bytes.size()), 0);
        expect_nothing_left();
    }
}

TEST_F(Lic, TakesDefaultsForWhatIsMissing) {
    auto vectors = make_vectors(37, 23);
    set_field({37, 23}, 2, vectors);
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixels(), plain::PlainLic({.nx = 37, .ny = 23, .vectors = vectors.data()}).draw());
}

/// Swirls inward, so that walks against the vectors leave and those with them end up going round.
TEST_F(Lic, CountsTheRoundsOfLongWalks) {
    std::vector<float> swirl;
    for (int j = 0; j < 16; ++j)
        for (int i = 0; i < 16; ++i) {
            const float x = static_cast<float>(i) - 7.4F;
            const float y = static_cast<float>(j) - 7.7F;
            swirl.insert(swirl.end(), {-y - 0.1F * x, x - 0.1F * y});
        }
    set_field({16, 16}, 2, swirl);
    for (const int line : {257, 1000, 1001, 70001}) {
        const LicScene scene{.nx = 16, .ny = 16, .vectors = swirl.data(), .line = line, .norm = 1, .rate = 0.5};
        set(scene);
        EXPECT_EQ(update(), 1);
        EXPECT_EQ(pixels(), plain::PlainLic(scene).draw()) << line;
    }
}

TEST_F(Lic, WhiteNoiseGivesWhatTheArithmeticSays) {
    std::vector<float> uniform;
    for (int n = 0; n < 41 * 41; ++n) uniform.insert(uniform.end(), {1.0F, 1.0F});
    const int middle = 41 * 20 + 20;
    set_field({41, 41}, 2, uniform);
    set({.nx = 41, .ny = 41, .rate = -1});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(middle), (std::vector<std::uint8_t>{0, 255, 255, 255}));
    set({.nx = 41, .ny = 41, .norm = 1, .rate = -1});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(middle)[1], 12) << "deliberate: 255 * 20 / 19 wraps";
    EXPECT_EQ(pixel(0)[1], 255 * 11 / 19) << "ten steps one way, out at once the other way";
    uniform[2 * middle] = uniform[2 * middle + 1] = 2;
    uniform[0] = uniform[1] = 0.5F;
    set({.nx = 41, .ny = 41, .rate = -1, .colvecflag = 1});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(0), (std::vector<std::uint8_t>{0, 127, 127, 255}));
    EXPECT_EQ(pixel(middle), (std::vector<std::uint8_t>{0, 255, 127, 127}));
    uniform[0] = uniform[1] = 0;
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(0), (std::vector<std::uint8_t>{0, 50, 50, 50}));
}

TEST_F(Lic, EndsEvenTheLongestWalks) {
    std::vector<float> vortex;
    for (int j = 0; j < 8; ++j)
        for (int i = 0; i < 8; ++i)
            vortex.insert(vortex.end(), {3.5F - static_cast<float>(j), static_cast<float>(i) - 3.5F});
    set_field({8, 8}, 2, vortex);
    for (const int anim : {0, 1}) {
        set({.nx = 8,
             .ny = 8,
             .line = INT_MAX,
             .norm = 1,
             .rate = 0.5,
             .cycle = INT_MIN,
             .phase = INT_MAX,
             .animflag = anim});
        EXPECT_EQ(update(), 1);
    }
}

TEST_F(Lic, WritesAnImageFieldWithProgress) {
    auto vectors = make_vectors(4, 10);
    set_field({4, 5, 2}, 2, vectors);  // of a stack of planes the first
    EXPECT_EQ(update(), 1) << "without any parameter";
    EXPECT_EQ(percents, (std::vector<int>{0, 25, 50, 75, 100}));
    HostArray<xp_long> dims;
    HostArray<float> points;
    int ndim = 0, nspace = 0, ncomp = 0, veclen = 0, id = 0;
    EXPECT_EQ(FLDget_dims(out, dims.place(), &ndim), 1);
    FLDget_points(out, points.place(), points.count_place(), ARR_READ);
    FLDget_nspace(out, &nspace);
    FLDget_node_data_ncomp(out, &ncomp);
    FLDget_node_data_veclen(out, 0, &veclen);
    FLDget_node_data_id(out, 0, &id);
    EXPECT_EQ((std::vector<xp_long>{ndim, dims[0], dims[1], nspace, ncomp, veclen, id}),
              (std::vector<xp_long>{2, 4, 5, 2, 1, 4, 669}));
    EXPECT_EQ((std::vector<float>(points.data(), points.data() + points.size())), (std::vector<float>{0, 0, 3, 4}));
    EXPECT_EQ(pixels().size(), 80U);
}

TEST_F(Lic, TakesTheBytesOfOtherTypesForFloats) {
    auto vectors = make_vectors(6, 8);
    set_field({6, 8}, 2, DTYPE_BYTE, vectors.data(), 96);  // 12 vectors
    set({.nx = 6, .ny = 8, .rate = 0.5});
    EXPECT_EQ(update(), 1);
    std::vector<float> cut(vectors.begin(), vectors.begin() + 24);
    cut.resize(96);
    EXPECT_EQ(pixels(), plain::PlainLic({.nx = 6, .ny = 8, .vectors = cut.data(), .rate = 0.5}).draw());
}

TEST_F(Lic, RefusesWhatItCannotDraw) {
    auto vectors = make_vectors(6, 8);
    const std::string no_plane = "in_fld has no plane of nodes\n";
    const std::string no_component = "comp_x and comp_y must be components of the vectors\n";
    const struct {
        std::vector<xp_long> dims;
        int veclen, comp_x, comp_y;
        std::vector<std::string> reports;
    } cases[] = {{{48}, 2, 0, 1, {no_plane}},
                 {{0, 8}, 2, 0, 1, {no_plane}},
                 {{6, 8}, 2, 2, 1, {no_component}},
                 {{6, 8}, 2, 0, -1, {no_component}},
                 {{12, 8}, 1, 0, 1, {}}};
    EXPECT_EQ(update(), 0) << "an empty field";
    for (const auto& test : cases) {
        reports.clear();
        xp_long count = test.veclen;
        for (const xp_long n : test.dims) count *= n;
        set_field(test.dims, test.veclen, DTYPE_FLOAT, vectors.data(), count);
        set("comp_x", test.comp_x);
        set("comp_y", test.comp_y);
        EXPECT_EQ(update(), 0);
        EXPECT_EQ(reports, test.reports);
        EXPECT_TRUE(pixels().empty());
    }
}

}  // namespace
}  // namespace zam::test
