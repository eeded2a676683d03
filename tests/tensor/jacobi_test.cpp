// The Jacobian transform: against its description node by node, on grids with a known answer, and as a module.
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

#include "base/lanes_target.h"
#include "modules/zam/flow/index_space.h"
#include "modules/zam/lic_jacobi.h"
#include "tests/plain/jacobi.h"
#include "tests/support/module_test.h"

namespace zam::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

/// A grid bent at random, of cells as different in size as `stretch` says; every 50th node lies on its neighbour.
template <int N>
void expect_same_bits(const std::array<xp_long, N>& dims, float stretch) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> shift(-0.4F, 0.4F);
    std::vector<float> positions;
    std::vector<float> vectors;
    xp_long nodes = 1;
    for (const xp_long n : dims) nodes *= n;
    for (xp_long node = 0; node < nodes; ++node) {
        xp_long stride = 1;
        for (std::size_t c = 0; c < N; stride *= dims[c], ++c) {
            const auto index = static_cast<float>(node / stride % dims[c]);
            const bool fold = node % 50 == 49;
            positions.push_back(fold ? positions[positions.size() - N]
                                     : std::pow(stretch, index) * (index + shift(random)));
            vectors.push_back(shift(random));
        }
    }
    const auto expected = plain_index_space<N>(dims, positions, vectors);
    for (const std::int64_t target : lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        lanes_target().Update(target);
        std::vector<float> result(vectors.size(), kNan);
        // a host that finds no inverse: what has one must not come to it
        to_index_space<N>(dims, positions, vectors, result, [](float*, const float*) { return 0; });
        std::size_t different = 0;
        for (std::size_t k = 0; k < result.size(); ++k)
            different += std::bit_cast<std::uint32_t>(result[k]) != std::bit_cast<std::uint32_t>(expected[k]) ? 1U : 0U;
        EXPECT_EQ(different, 0U) << "of " << result.size();
    }
    lanes_target().DeInit();
}

TEST(IndexSpace, HasTheBitsOfTheDescriptionNodeByNode) {
    for (const auto& dims : std::vector<std::array<xp_long, 2>>{{300, 41}, {1, 7}, {7, 1}, {2, 2}, {1, 1}, {128, 3}}) {
        expect_same_bits<2>(dims, 1.0F);
        expect_same_bits<2>(dims, 1.05F);
    }
    for (const auto& dims :
         std::vector<std::array<xp_long, 3>>{{33, 21, 19}, {1, 9, 8}, {9, 1, 8}, {9, 8, 1}, {2, 3, 2}, {260, 2, 2}}) {
        expect_same_bits<3>(dims, 1.0F);
        expect_same_bits<3>(dims, 1.1F);
    }
}

TEST(IndexSpace, LeavesMatricesWithoutAnInverseToTheHost) {
    // rounding leaves something of a zero volume
    const std::array<float, 3> i{3333333, 1234567, 4000037};
    const std::array<float, 3> j{2345671, 3777777, 1111117};
    std::vector<float> positions;
    for (int node = 0; node < 8; ++node) {
        const auto ni = static_cast<float>(node % 2 + node / 4);  // k = i + j lies in their plane; sums are exact
        const auto nj = static_cast<float>(node / 2 % 2 + node / 4);
        for (std::size_t c = 0; c < 3; ++c) positions.push_back(ni * i[c] + nj * j[c]);
    }
    std::vector<float> result(24, kNan);
    to_index_space<3>({2, 2, 2}, positions, std::vector<float>(24, 1.0F), result);
    EXPECT_EQ(result, std::vector<float>(24, 0.0F));

    // a host that finds one
    static std::vector<float> matrix;
    to_index_space<3>({2, 2, 2}, positions, std::vector<float>(24, 1.0F), result, [](float* inverse, const float* of) {
        matrix.assign(of, of + 16);
        std::fill_n(inverse, 16, 0.5F);
        return 1;
    });
    EXPECT_EQ(result, std::vector<float>(24, 2.0F));
    EXPECT_EQ(matrix, (std::vector<float>{i[0], i[1], i[2], 0, j[0], j[1], j[2], 0, i[0] + j[0], i[1] + j[1],
                                          i[2] + j[2], 0, 0, 0, 0, 1}));
    result.resize(8);
    to_index_space<2>({2, 2}, std::vector<float>{0, kNan, 1, 0, 0, 1, 1, 1}, std::vector<float>{1, 2, 1, 2, 1, 2, 1, 2},
                      result, [](float* inverse, const float*) {
                          std::fill_n(inverse, 9, 0.5F);
                          return 1;
                      });
    EXPECT_EQ(result, (std::vector<float>{2, 2, 2, 2, 2, 2, 1, 2}));  // the last is regular
}

class Jacobi : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        out = host::create(instance, "fld_out", host::Kind::field);
    }
    int update() const { return ZAMjacobiTransVec_comp_func(instance, 0, 0); }
    /// A 2 x 2 grid of a unit square with the vector (1, 2) everywhere.
    static FieldContents square() { return {{2, 2}, 0, 2, {0, 0, 1, 0, 0, 1, 1, 1}, 2, {1, 2, 1, 2, 1, 2, 1, 2}}; }

    OMobj_id out{};
};

TEST_F(Jacobi, DividesByTheSpacingAndScalesTheLongestAxis) {
    // i runs along y, j along x, and there is one node along k
    make_field("fld_in", {{3, 2, 1},
                          0,
                          3,
                          {-1, 0, 5, -1, .5, 5, -1, 1, 5, 3, 0, 5, 3, .5, 5, 3, 1, 5},
                          3,
                          {1, 2, 3, 1, 2, 3, 1, 2, 3, 4, 5, 6, 4, 5, 6, 4, 5, 6}});
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(values(out, 0), (std::vector<float>{4, .25, 3, 4, .25, 3, 4, .25, 3, 10, 1, 6, 10, 1, 6, 10, 1, 6}));
    EXPECT_EQ(positions(out, FLDget_points), (std::vector<float>{0, 0, 0, 6, 4, 2}));
    int nspace = 0;
    EXPECT_TRUE(FLDget_nspace(out, &nspace) == 1 && nspace == 3);
}

TEST_F(Jacobi, GivesZeroVectorsWhereThereIsNoInverse) {
    struct Case {
        const char* name;
        FieldContents contents;
        std::vector<float> expected;
        float length = 1;  // of the longest axis
    };
    const auto with = [](std::size_t place, float value) {
        auto contents = square();
        contents.coord[place] = value;
        return contents;
    };
    auto hostile = square();
    hostile.values = {kNan, 2, 1, 2, 1, 2, 1, 2};
    const std::vector<float> none(8, 0.0F);
    const std::vector<Case> cases{
        {"a position that is no number reaches its neighbours", with(1, kNan), {0, 0, 0, 0, 0, 0, 1, 2}},
        {"infinity too", with(0, -HUGE_VALF), {0, 0, 0, 0, 0, 0, 1, 2}},
        {"cells without area", {{2, 2}, 0, 2, {0, 0, 1, 1, 2, 2, 3, 3}, 2, square().values}, none, 3},
        {"an inverse beyond floats", {{2, 2}, 0, 2, {0, 0, 1e-40F, 0, 0, 1, 1e-40F, 1}, 2, square().values}, none},
        {"a plane in three dimensions", {{2, 2, 1}, 0, 2, square().coord, 2, square().values}, none},
        {"four dimensions",
         {{2, 2, 1, 1}, 0, 3, std::vector<float>(12, 1), 3, std::vector<float>(12, 1)},
         std::vector<float>(12, 0.0F),
         0},
        {"a single node", {{1, 1}, 0, 2, {2, 5}, 2, {1, 2}}, {1, 2}, 3},
        {"no nodes", {{2, 0}, 0, 2, {}, 2, {}}, {}},
        {"nor any extent", {{0, 0}, 0, 2, {}, 2, {}}, {}, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        make_field("fld_in", c.contents);
        if (c.contents.values.empty()) set_no_values(host::find(instance, "fld_in"));
        EXPECT_EQ(update(), 1);
        EXPECT_EQ(values(out, 0), c.expected);
        EXPECT_EQ(positions(out, FLDget_points)[static_cast<std::size_t>(2 * c.contents.nspace) - 2], c.length);
    }
    make_field("fld_in", hostile);
    EXPECT_EQ(update(), 1);
    EXPECT_TRUE(std::isnan(values(out, 0)[0]) && values(out, 0)[2] == 1);
}

TEST_F(Jacobi, SaysWhatDoesNotFitAndLeavesTheOutput) {
    using C = FieldContents;
    const std::string name = "DVJacobiTransVec_comp_func error: ";
    const std::pair<std::string, void (*)(C&)> cases[] = {
        {name + "Can't get fld_in_nnspace\n", [](C& c) { c.nspace = 0; }},
        {name + "Can't get in_fld_coord, in_fld_size\n", [](C& c) { c.coord.pop_back(); }},
        {name + "Can't get fld_in_dims\n", [](C& c) { c.dims.clear(), c.nnodes = 4; }},
        {name + "Wrong dimension.\n", [](C& c) { c.dims = {4}; }},
        {name + "Wrong dimension or nspace.\n", [](C& c) { c.nspace = 3, c.coord.resize(12); }},
        {"fld_in_ncomp=0. input ncomp must be 1 (veclen 2 or 3)\n", [](C& c) { c.veclen = 0, c.values.clear(); }},
        {"in_fld_veclen=3. input veclen must be 2\n", [](C& c) { c.veclen = 3, c.values.resize(12); }},
        {name + "Can't get fld_in node data\n", [](C& c) { c.values.pop_back(); }},
    };
    EXPECT_EQ(update(), 0);
    const int before = host::stamp(out);
    std::vector<std::string> expected{name + "Can't get fld_in_id\n"};
    for (const auto& [message, change] : cases) {
        auto contents = square();
        change(contents);
        make_field("fld_in", contents);
        EXPECT_EQ(update(), 0);
        expected.push_back(message);
    }
    FLDset_node_data_ncomp(make_field("fld_in", square()), 2);
    EXPECT_EQ(update(), 0);
    expected.emplace_back("fld_in_ncomp=2. input ncomp must be 1 (veclen 2 or 3)\n");
    EXPECT_EQ(reports, expected);
    EXPECT_EQ(host::stamp(out), before);
}

TEST_F(Jacobi, ConvertsOtherTypes) {
    make_field<double>("fld_in", square());
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(values(out, 0), square().values);
    make_field<std::int16_t>("fld_in", square());
    EXPECT_EQ(update(), 1);
    EXPECT_EQ(values(out, 0), square().values);
}

TEST(Vec2Mat3, TakesAPointAsARowAndAddsTheTranslation) {
    float point[2] = {2, 3};
    const float matrix[9] = {1, 10, 7, 100, 1000, 7, 0.5F, 0.25F, 7};
    MATvec2_mat3_multiply(point, matrix);
    EXPECT_EQ(point[0], 302.5F);
    EXPECT_EQ(point[1], 3020.25F);
}

}  // namespace
}  // namespace zam::test
