// Principal stresses: tensors with a known answer, accuracy against another solver, and the module.
#include <Eigen/Eigenvalues>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "base/lanes_target.h"
#include "modules/zam/princStrVec.h"
#include "modules/zam/tensor/principal_stress.h"
#include "tests/plain/stress.h"
#include "tests/support/module_test.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct Principal {
    std::vector<float> values, axes;
};

Principal solve(const std::vector<float>& tensors) {
    Principal result{std::vector<float>(tensors.size() / 2, kNan), std::vector<float>(tensors.size() / 6 * 9, kNan)};
    principal_stresses(tensors, result.values, result.axes);
    return result;
}

TEST(PrincipalStress, KnownTensors) {
    for (const auto& one : load_text_cases(ZAM_TEST_DATA "/tensors.test", ">=")) {
        SCOPED_TRACE(one.name);
        const auto expected = numbers_in<float>(one.text('='));
        const auto result = solve(numbers_in<float>(one.text('>')));
        for (std::size_t k = 0; k < std::min<std::size_t>(3, expected.size()); ++k)
            EXPECT_FLOAT_EQ(result.values[k], expected[k]);
        for (std::size_t axis = 0; 3 * axis + 3 < expected.size(); ++axis) {  // either sense is right
            const auto dot = [&](const float* a, const float* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
            const float* given = &result.axes[3 * axis];
            const float* known = &expected[3 * axis + 3];
            EXPECT_NEAR(std::fabs(dot(given, known)), dot(known, known), 1e-7);
        }
    }
}

/// Families of tensors that solvers find hard, a thousand of each.
std::vector<float> hard_tensors() {
    std::mt19937 random(3);
    std::uniform_real_distribution<float> u(-1, 1);
    std::vector<float> tensors;
    const auto add = [&](std::array<float, 6> t) { tensors.insert(tensors.end(), t.begin(), t.end()); };
    const auto shake = [&](float by) { return by * u(random); };
    for (int n = 0; n < 1000; ++n) {
        const float a = u(random), b = u(random), c = u(random);
        const float huge = std::pow(10.0F, 20 * u(random));
        add({a, b, c, u(random), u(random), u(random)});
        add({huge * a, huge * b, huge * c, huge * u(random), huge * u(random), huge * u(random)});
        add({1 + shake(1e-6F), 1 + shake(1e-6F), 1 + shake(1e-6F), shake(1e-6F), shake(1e-6F), shake(1e-6F)});
        add({1, 1, 1 + shake(.5F), shake(1e-7F), shake(1e-7F), shake(1e-7F)});
        add({a * a, b * b, c * c, a * b, b * c, c * a});
        add({a, 1e-4F * b, 1e-8F * c, 1e-2F * u(random), 1e-6F * u(random), 1e-4F * u(random)});
        add({a, a, a, b, b, b});
        add({a, -0.0F, b, 0, 0, 0});
        add({1e-30F * a, 1e-30F * b, 1e30F * c, 1e-30F * u(random), u(random), u(random)});
    }
    return tensors;
}

TEST(PrincipalStress, IsAsAccurateAsFloatsAre) {
    const auto tensors = hard_tensors();
    const auto result = solve(tensors);
    double worst_residual = 0;
    double worst_value = 0;
    double worst_angle = 0;
    for (std::size_t n = 0; n < tensors.size() / 6; ++n) {
        const Eigen::Vector<double, 6> t = Eigen::Map<const Eigen::Vector<float, 6>>(&tensors[6 * n]).cast<double>();
        Eigen::Matrix3d a;
        a << t[0], t[3], t[5], t[3], t[1], t[4], t[5], t[4], t[2];
        const Eigen::Vector3d values = Eigen::Map<const Eigen::Vector3f>(&result.values[3 * n]).cast<double>();
        const Eigen::Matrix3d axes = Eigen::Map<const Eigen::Matrix3f>(&result.axes[9 * n]).cast<double>();
        const Eigen::Vector3d expected = Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(a).eigenvalues().reverse();
        worst_residual =
            std::max(worst_residual, (a * axes - axes * values.asDiagonal()).colwise().norm().maxCoeff() / a.norm());
        worst_value = std::max(worst_value, (values - expected).norm() / a.norm());
        worst_angle =
            std::max(worst_angle, (axes.transpose() * axes - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff());
    }
    EXPECT_LE(worst_residual, 1e-7);
    EXPECT_LE(worst_value, 6e-8);
    EXPECT_LE(worst_angle, 1.5e-7);
}

TEST(PrincipalStress, EqualsThePlainFormOfEachTensor) {
    const auto tensors = hard_tensors();
    for (const std::int64_t target : lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        lanes_target().Update(target);
        const auto together = solve(tensors);
        for (std::size_t n = 0; n < tensors.size() / 6; ++n) {
            std::array<float, 12> alone;
            plain_principal_stress(&tensors[6 * n], alone.data(), &alone[3]);
            ASSERT_EQ(std::memcmp(&alone[0], &together.values[3 * n], 3 * sizeof(float)), 0) << n;
            ASSERT_EQ(std::memcmp(&alone[3], &together.axes[9 * n], 9 * sizeof(float)), 0) << n;
        }
    }
    lanes_target().DeInit();
}

class Stress : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        out = host::create(instance, "fld_out", host::Kind::field);
        for (const char* name : {"minPstress", "MaxPstress"}) set_real(name, 77);
    }
    int update() const { return ZAMprincStrVec_comp_func(instance, 0, 0); }
    static FieldContents solid() { return {{}, 2, 3, {1, 2, 3, 4, 5, 6}, 6, {3, 1, 2, 0, 0, 0, -7, 0, 0, 0, 0, 0}}; }
    static FieldContents plate() { return {{}, 1, 2, {8, 9}, 6, {5, 4, 3, 0, 0, 0}}; }

    OMobj_id out{};
};

TEST_F(Stress, WritesValuesDirectionsAndTheirRange) {
    const float xform[16] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 5, 6, 7, 1};
    FLDset_xform(make_field("fld_in", solid()), xform);
    make_field<double>("fld2_in", plate());
    ASSERT_EQ(update(), 1);  // without a switch: fld_in
    EXPECT_EQ(values(out, 0), (std::vector<float>{3, 2, 1, 0, 0, -7}));
    EXPECT_EQ(values(out, 1), (std::vector<float>{1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 1, 1, 0, 0}));
    EXPECT_EQ(positions(out, FLDget_coord), solid().coord);
    EXPECT_TRUE(get_real("minPstress") == -7 && get_real("MaxPstress") == 3);
    float written[16] = {};
    FLDget_xform(out, written);
    EXPECT_TRUE(std::equal(xform, xform + 16, written));

    for (const auto& [value, expected] : {std::pair{0, 5.0}, {1, 3.0}, {-1, 3.0}}) {
        set_int("fld_switch", value);
        ASSERT_EQ(update(), 1);
        EXPECT_EQ(get_real("MaxPstress"), expected);
        EXPECT_EQ(positions(out, FLDget_coord), value == 0 ? std::vector<float>({8, 9, 0}) : solid().coord);
    }
    make_field("fld_in", plate());  // two dimensions come from either input
    host::fail_call("FLDget_xform", 1);
    host::destroy(host::find(instance, "minPstress"));
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(positions(out, FLDget_coord), (std::vector<float>{8, 9, 0}));
    EXPECT_EQ(reports, std::vector<std::string>());
    EXPECT_EQ(get_real("MaxPstress"), 5.0);
    FLDget_xform(out, written);
    EXPECT_TRUE(std::equal(xform, xform + 16, written));  // kept
}

TEST_F(Stress, StopsAsDescribed) {
    using C = FieldContents;
    const std::string name = "in princStrVec_comp_func error: ";
    const std::pair<std::string, void (*)(C&)> cases[] = {
        {name + "Can't get in_fld_nnspace\n", [](C& c) { c.nspace = 0; }},
        {name + "Can't get in_fld_coord, in_fld_size\n", [](C& c) { c.coord.pop_back(); }},
        {"in_fld_ncomp=0. input ncomp must be 1 (veclen 6)\n", [](C& c) { c.veclen = 0, c.values.clear(); }},
        {"", [](C& c) { c.veclen = 5; }},
        {name + "Can't get in_fld node data\n", [](C& c) { c.values.pop_back(); }}};
    const int before = host::stamp(out);
    for (const int field_switch : {0, 1}) {
        set_int("fld_switch", field_switch);
        reports.clear();
        EXPECT_EQ(update(), 0);
        std::vector<std::string> expected{name + "Can't get in_fld_id\n"};
        const char* input = field_switch == 0 ? "fld2_in" : "fld_in";
        for (const auto& [message, change] : cases) {
            auto contents = solid();
            change(contents);
            make_field(input, contents);
            EXPECT_EQ(update(), 0);
            if (!message.empty()) expected.push_back(message);
        }
        make_field(input, solid());
        host::fail_call("FLDget_nnodes", 1);
        EXPECT_EQ(update(), 0);
        if (field_switch == 0) expected.push_back(name + "Can't get in_fld_nnodes\n");
        EXPECT_EQ(reports, expected);
    }
    EXPECT_EQ(host::stamp(out), before);
    EXPECT_EQ(get_real("minPstress"), 77);
}

TEST_F(Stress, WithoutNodesKeepsTheRange) {
    set_no_values(make_field("fld_in", {{}, 0, 3, {}, 6, {}}));
    EXPECT_EQ(update(), 1);
    EXPECT_TRUE(get_real("minPstress") == 77 && get_real("MaxPstress") == 77);
}

}  // namespace
}  // namespace zam::test
