// Matrices, composite transforms, colours.
#include <cmath>
#include <random>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

Floats product(Floats a, const Floats& b) {
    MATmat4_multiply(a.data(), b.data(), a.data());  // into the first factor
    return a;
}

const Floats kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
const Floats kTurn = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};  // 90 degrees about z
const Floats kMove = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1};

TEST(Matrices, ProductsApplyTheFirstFactorFirst) {
    EXPECT_EQ(moved({1, 0, 0}, product(kTurn, kMove)), (Floats{5, 7, 7}));  // x turned to y, then moved
    EXPECT_EQ(moved({1, 0, 0}, product(kMove, kTurn)), (Floats{-6, 6, 7}));
}

TEST(Matrices, SumsAreSinglePrecisionInAscendingOrder) {
    // in single precision 2^24 + 1 - 2^24 is 0 if it is summed from the left, otherwise 1
    const Floats a = {16777216, 1, -16777216, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(product(a, Floats(16, 1.0F))[0], 0.0F);
}

TEST(Matrices, InversesUndo) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> value(-2, 2);
    for (int round = 0; round < 200; ++round) {
        Floats matrix(16);
        for (float& element : matrix) element = value(random);
        Floats inverse = matrix;  // in place
        ASSERT_EQ(MATmat4_inverse(inverse.data(), inverse.data()), 1);
        float size = 0;
        for (const float element : inverse) size = std::max(size, std::fabs(element));
        const auto unit = product(matrix, inverse);
        for (std::size_t k = 0; k < 16; ++k) EXPECT_NEAR(unit[k], kIdentity[k], 2e-6F * (1 + size));
    }
    Floats three(9);
    const Floats scaled = {0, 2, 0, 4, 0, 0, 0, 0, 1e-20F};
    EXPECT_EQ(MATmat3_inverse(three.data(), scaled.data()), 1);
    EXPECT_EQ(three, (Floats{0, 0.25, 0, 0.5, 0, 0, 0, 0, 1 / 1e-20F}));
}

TEST(Matrices, SingularOnesLeaveTheResultAlone) {
    const std::vector<Floats> kSingular = {
        {0, 0, 0, 0, 0, 0, 0, 0, 0},        {1, 2, 3, 4, 5, 6, 7, 8, 9},
        {1, 0, 0, 0, 1, 0, 1, 1, 0},        {NAN, 0, 0, 0, 1, 0, 0, 0, 1},
        {INFINITY, 0, 0, 0, 1, 0, 0, 0, 1}, {1e-40F, 0, 0, 0, 1, 0, 0, 0, 1},  // the inverse is beyond single precision
    };
    for (const auto& matrix : kSingular) {
        Floats inverse(9, 42.0F);
        EXPECT_EQ(MATmat3_inverse(inverse.data(), matrix.data()), 0) << matrix[0];
        EXPECT_EQ(inverse, Floats(9, 42.0F));
    }
}

using Graphics = HostTest;

TEST_F(Graphics, TransformsOfGroups) {
    const OMobj_id xform = add("xform", Kind::group);
    EXPECT_EQ(matrix_of(GDxform_get_comp_matrix, xform), kIdentity);  // nothing given, nothing moved
    const float center[] = {1, 0, 0};
    set_values(create(xform, "mat", Kind::array), DTYPE_FLOAT, kTurn.data(), 16);
    set_values(create(xform, "center", Kind::array), DTYPE_FLOAT, center, 3);
    set_values(create(xform, "xlate", Kind::array), DTYPE_FLOAT, kMove.data() + 12, 3);
    // (1, 0, 0) from the centre, turned (0, 1, 0), then (5, 6, 7) and the centre again
    EXPECT_EQ(moved({2, 0, 0}, matrix_of(GDxform_get_comp_matrix, xform)), (Floats{6, 7, 7}));
    set_values(find(xform, "xlate"), DTYPE_FLOAT, center, 2);
    for (const OMobj_id bad : {xform, OMnull_obj()}) EXPECT_EQ(matrix_of(GDxform_get_comp_matrix, bad), Floats());
}

TEST_F(Graphics, ColorsAreThoseOfTheNearestEntry) {
    const OMobj_id datamap = add("datamap", Kind::group);
    OMset_real_val(create(datamap, "min", Kind::real), 10);
    OMset_real_val(create(datamap, "max", Kind::real), 30);
    const std::uint8_t kChannels[4][3] = {{0, 1, 2}, {10, 11, 12}, {20, 21, 22}, {30, 31, 32}};
    const auto* channel = kChannels;
    for (const char* name : {"alpha", "red", "green", "blue"})
        set_values(create(datamap, name, Kind::array), DTYPE_BYTE, channel++, 3);
    const double kValues[] = {10, 14.9, 15, 24.9, 25, 30, -1e30, HUGE_VAL, -HUGE_VAL, std::nan("")};
    const int kEntries[] = {0, 0, 1, 1, 2, 2, 0, 2, 0, 0};
    unsigned char colors[10][4] = {};
    EXPECT_EQ(GDgen_argbs(datamap, kValues, DTYPE_DOUBLE, colors[0], 10, 1, 10, 10, 0), 1);
    for (std::size_t i = 0; i < 10; ++i)
        for (int k = 0; k < 4; ++k) EXPECT_EQ(colors[i][k], 10 * k + kEntries[i]) << kValues[i];
    const std::int16_t shorts[] = {10, 30};
    unsigned char argb[8] = {};
    EXPECT_EQ(GDgen_argbs(datamap, shorts, DTYPE_SHORT, argb, 2, 1, 2, 2, 0), 1);
    EXPECT_EQ(argb[5], 12);
    EXPECT_EQ(GDgen_argbs(datamap, nullptr, DTYPE_SHORT, argb, 0, 1, 0, 0, 0), 1);
    EXPECT_EQ(GDgen_argbs(datamap, shorts, 9, argb, 2, 1, 2, 2, 0), 0);
    OMset_real_val(find(datamap, "max"), 10);  // a range without width: a step
    EXPECT_EQ(GDgen_argbs(datamap, shorts, DTYPE_SHORT, argb, 2, 1, 2, 2, 0), 1);
    EXPECT_EQ(argb[1], 10);
    EXPECT_EQ(argb[5], 12);
    destroy(find(datamap, "green"));
    EXPECT_EQ(GDgen_argbs(datamap, shorts, DTYPE_SHORT, argb, 2, 1, 2, 2, 0), 0);
}

}  // namespace
}  // namespace zam::host
