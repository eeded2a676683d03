// The module in its host: pixels byte by byte against the plain form, its output, and what it does when something
// fails.
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "base/lanes_target.h"
#include "modules/zam/lic_texture.h"
#include "tests/plain/lic.h"
#include "tests/support/module_test.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

using plain::LicScene;

/// Vortices, saddles, lines where the flow turns back; a block without flow, stripes along the axes, NaN, infinity.
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

/// Members of a scene by their names; those that the module has are its parameters.
const std::map<std::string, int LicScene::*> kInts{{"nx", &LicScene::nx},
                                                   {"ny", &LicScene::ny},
                                                   {"veclen", &LicScene::veclen},
                                                   {"line", &LicScene::line},
                                                   {"norm", &LicScene::norm},
                                                   {"cycle", &LicScene::cycle},
                                                   {"phase", &LicScene::phase},
                                                   {"comp_x", &LicScene::comp_x},
                                                   {"animflag", &LicScene::animflag},
                                                   {"comp_y", &LicScene::comp_y},
                                                   {"filvecflag", &LicScene::filvecflag},
                                                   {"colvecflag", &LicScene::colvecflag}};

class Lic : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        out = host::create(instance, "out_fld", host::Kind::field);
    }
    void set(const LicScene& s) {
        set_real("rate", s.rate);
        for (const auto& [name, member] : kInts) set_int(name.c_str(), s.*member);
    }
    void set_field(const std::vector<xp_long>& dims, int veclen, const std::vector<float>& values) {
        in = make_field("in_fld",
                        {.dims = dims, .nspace = 2, .veclen = veclen, .values = values, .points = {0, 0, 1, 1}});
    }
    int update() { return ZAMlic_texture_func(instance, 0, 0); }
    std::vector<std::uint8_t> pixels() const { return bytes(out, DTYPE_CHAR); }
    std::vector<std::uint8_t> pixel(int n) const {
        const auto all = pixels();
        return {all.begin() + 4 * n, all.begin() + 4 * n + 4};
    }
    /// Draws a scene of the field that is set.
    void expect_plain_pixels(const LicScene& scene, const std::vector<float>& vectors) {
        set(scene);
        EXPECT_EQ(update(), 1);
        LicScene plain = scene;
        plain.vectors = vectors.data();
        EXPECT_EQ(pixels(), plain::PlainLic(plain).draw());
    }

    OMobj_id in{}, out{};
};

LicScene scene_of(const TextCase& one) {
    LicScene scene{.nx = 37, .ny = 23};
    std::istringstream in(one.text('>'));
    for (std::string item; in >> item;) {
        const std::size_t equals = item.find('=');
        const double value = std::stod(item.substr(equals + 1));
        const auto of = kInts.find(item.substr(0, equals));
        of == kInts.end() ? scene.rate = value : scene.*of->second = static_cast<int>(value);
    }
    return scene;
}

TEST_F(Lic, DrawsThePlainPixels) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/scenes.test", ">")) {
        SCOPED_TRACE(one.name);
        const LicScene scene = scene_of(one);
        const auto vectors = make_vectors(scene.nx, scene.ny, scene.veclen);
        set_field({scene.nx, scene.ny}, scene.veclen, vectors);
        for (const std::int64_t target : lanes_targets()) {
            SCOPED_TRACE(hwy::TargetName(target));
            lanes_target().Update(target);
            expect_plain_pixels(scene, vectors);
        }
        lanes_target().DeInit();
        const auto same = [](float a, float b) { return std::bit_cast<int>(a) == std::bit_cast<int>(b); };
        EXPECT_TRUE(std::ranges::equal(values(in, 0), vectors, same)) << "the input has changed";
    }
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
    for (const int line : {257, 1000, 1001, 70001})
        expect_plain_pixels({.nx = 16, .ny = 16, .line = line, .norm = 1, .rate = 0.5}, swirl);
}

TEST_F(Lic, WhiteNoiseGivesWhatTheArithmeticSays) {
    std::vector<float> uniform;
    for (int n = 0; n < 41 * 41; ++n) uniform.insert(uniform.end(), {1.0F, 1.0F});
    const int middle = 41 * 20 + 20;
    set_field({41, 41}, 2, uniform);
    set({.rate = -1});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(middle), (std::vector<std::uint8_t>{0, 255, 255, 255}));
    set({.norm = 1, .rate = -1});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(middle)[1], 12) << "deliberate: 255 * 20 / 19 wraps";
    EXPECT_EQ(pixel(0)[1], 255 * 11 / 19) << "ten steps one way, out at once the other way";
    uniform[2 * middle] = uniform[2 * middle + 1] = 2;
    uniform[0] = uniform[1] = 0.5F;
    set_field({41, 41}, 2, uniform);
    set({.rate = -1, .colvecflag = 1});
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(pixel(0), (std::vector<std::uint8_t>{0, 127, 127, 255}));
    EXPECT_EQ(pixel(middle), (std::vector<std::uint8_t>{0, 255, 127, 127}));
    uniform[0] = uniform[1] = 0;
    set_field({41, 41}, 2, uniform);
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
        set({.line = INT_MAX, .norm = 1, .rate = 0.5, .cycle = INT_MIN, .phase = INT_MAX, .animflag = anim});
        EXPECT_EQ(update(), 1);
    }
}

TEST_F(Lic, WritesAnImageFieldWithProgress) {
    std::vector<int> percents;
    host::set_recorder([&](const host::Record& record) {
        if (record.what == host::Record::What::status) percents.push_back(record.percent);
    });
    const auto vectors = make_vectors(37, 10);
    set_field({37, 5, 2}, 2, vectors);  // of a stack of planes the first
    EXPECT_EQ(update(), 1) << "without any parameter";
    EXPECT_EQ(percents, (std::vector<int>{0, 25, 50, 75, 100}));
    expect_image(out, 37, 5);
    EXPECT_EQ(pixels(), plain::PlainLic({.nx = 37, .ny = 5, .vectors = vectors.data()}).draw());
}

TEST_F(Lic, TakesTheBytesOfOtherTypesForFloats) {
    auto vectors = make_vectors(6, 8);
    set_field({6, 8}, 2, {});
    FLDset_node_data(in, 0, vectors.data(), DTYPE_BYTE, 96, ARR_CALLER_OWNS);  // 12 vectors
    vectors.resize(24);
    vectors.resize(96);
    expect_plain_pixels({.nx = 6, .ny = 8, .rate = 0.5}, vectors);
}

TEST_F(Lic, RefusesWhatItCannotDraw) {
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
                 {{6, 8}, 1, 0, 1, {}}};
    for (const auto& test : cases) {
        reports.clear();
        set_field(test.dims, test.veclen, std::vector<float>(96));
        set_int("comp_x", test.comp_x);
        set_int("comp_y", test.comp_y);
        EXPECT_EQ(update(), 0);
        EXPECT_EQ(reports, test.reports);
        EXPECT_TRUE(pixels().empty());
    }
}

}  // namespace
}  // namespace zam::test
