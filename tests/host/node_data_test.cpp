// Node data: declarations, values, minimum and maximum, null values.
#include <cmath>
#include <limits>
#include <tuple>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct NodeData : HostTest {
    template <class T>
    void set(int type, std::initializer_list<T> values) const {
        const auto size = static_cast<xp_long>(values.size());
        FLDset_nnodes(field, size);
        ASSERT_EQ(FLDset_node_data(field, 0, filled(type, values), type, size, ARR_HOST_OWNS), 1);
    }
    template <class T>
    std::vector<T> minmax() const {
        T limits[2] = {};
        if (FLDget_node_data_minmax(field, 0, limits, limits + 1) != 1) return {};
        return {limits[0], limits[1]};
    }
    OMobj_id field = add("field", Kind::field);
};

TEST_F(NodeData, LimitsOfFloats) {
    const float null = -999;
    Floats many(1000, 1.0F);
    many[500] = -3;
    many[998] = 4;
    const std::tuple<const char*, Floats, Floats> kCases[] = {
        {"plain", {3, 1, 2}, {1, 3}},
        {"more than the lanes", many, {-3, 4}},
        {"numbers only", {NAN, 2, NAN, 5}, {2, 5}},
        {"infinity is a number", {-INFINITY, 0}, {-INFINITY, 0}},
        {"one infinity", {INFINITY}, {INFINITY, INFINITY}},
        {"no number at all", {NAN, NAN}, {}},
        {"null values do not count", {null, 2, 7}, {2, 7}},
        {"nothing but null values", {null, null}, {}},
        {"nothing", {}, {}},
    };
    for (const auto& [what, given, limits] : kCases) {
        FLDset_node_data_ncomp(field, 0);
        Floats values = given;
        if (std::count(values.begin(), values.end(), null) > 0) FLDset_node_null_data(field, 0, &null, DTYPE_FLOAT);
        const auto size = static_cast<xp_long>(values.size());
        ASSERT_EQ(FLDset_node_data(field, 0, values.data(), DTYPE_FLOAT, size, ARR_CALLER_OWNS), 1) << what;
        EXPECT_EQ(minmax<float>(), limits) << what;
        FLDset_node_data_ncomp(field, 0);  // the component ends before the values do
    }
}

TEST_F(NodeData, LimitsHaveTheTypeOfTheValues) {
    set<std::int16_t>(DTYPE_SHORT, {-32768, 5});
    EXPECT_EQ(minmax<std::int16_t>(), (std::vector<std::int16_t>{-32768, 5}));
    set<std::uint8_t>(DTYPE_CHAR, {0, 200});  // raw bytes are colours more often than small negative numbers
    EXPECT_EQ(minmax<std::uint8_t>(), (std::vector<std::uint8_t>{0, 200}));
    const xp_long big = (xp_long{1} << 53) + 1;  // no double holds it
    set<xp_long>(DTYPE_LONG, {big, big});
    EXPECT_EQ(minmax<xp_long>(), (std::vector<xp_long>{big, big}));
    // limits given as another type are converted; those that do not fit cannot be read
    const double low = -1.5, high = 3.5;
    EXPECT_EQ(FLDset_node_data_minmax(field, 0, &low, &high, DTYPE_DOUBLE), 1);
    EXPECT_EQ(minmax<xp_long>(), (std::vector<xp_long>{-1, 3}));
    set<std::uint8_t>(DTYPE_BYTE, {1});
    EXPECT_EQ(FLDset_node_data_minmax(field, 0, &low, &high, DTYPE_DOUBLE), 1);
    EXPECT_EQ(minmax<std::uint8_t>(), std::vector<std::uint8_t>());
}

TEST_F(NodeData, LimitsHoldAsLongAsTheValues) {
    set<int>(DTYPE_INT, {1, 2});
    const int low = -7, high = 7;
    FLDset_node_data_minmax(field, 0, &low, &high, DTYPE_INT);
    EXPECT_EQ(minmax<int>(), (std::vector<int>{-7, 7}));
    const OMobj_id copy = add("copy", Kind::field);
    EXPECT_EQ(FLDcopy_node_minmax(copy, field, 0, 0), 1);
    EXPECT_EQ(FLDcopy_node_minmax(copy, field, 0, 1), 0);
    set<int>(DTYPE_INT, {3, 4});
    EXPECT_EQ(minmax<int>(), (std::vector<int>{3, 4}));
    FLDset_node_data_minmax(field, 0, &low, &high, DTYPE_INT);
    node_data(field, ARR_READ_WRITE, [&](void* data) {
        EXPECT_EQ(minmax<int>(), (std::vector<int>{3, 4}));
        static_cast<int*>(data)[0] = 9;
    });
    EXPECT_EQ(minmax<int>(), (std::vector<int>{4, 9}));
    field = copy;
    EXPECT_EQ(minmax<int>(), (std::vector<int>{-7, 7}));
}

TEST_F(NodeData, NullValues) {
    set<std::uint8_t>(DTYPE_BYTE, {1, 2});
    const auto null = [this] {
        int flag = -1;
        std::uint8_t value = 77;
        EXPECT_EQ(FLDget_node_null_data(field, 0, &flag, &value), 1);
        return std::pair<int, int>(flag, value);
    };
    EXPECT_EQ(null(), std::pair(0, 77));
    const float given = 2;
    EXPECT_EQ(FLDset_node_null_data(field, 0, &given, DTYPE_FLOAT), 1);
    EXPECT_EQ(null(), std::pair(1, 2));
    EXPECT_EQ(minmax<std::uint8_t>(), (std::vector<std::uint8_t>{1, 1}));
    EXPECT_EQ(FLDset_node_null_flag(field, 0, 0), 1);
    EXPECT_EQ(minmax<std::uint8_t>(), (std::vector<std::uint8_t>{1, 2}));
}

TEST_F(NodeData, DeclarationsSurviveAndAreCutToBuffers) {
    // the first component comes with its first setting
    for (const int bad : {-3, 0}) EXPECT_EQ(FLDset_node_data_veclen(field, 0, bad), 0);
    EXPECT_EQ(FLDset_node_data_veclen(field, 1, 4), 0);
    EXPECT_EQ(got<int>(FLDget_node_data_ncomp, field), 0);
    EXPECT_EQ(FLDset_node_data_veclen(field, 0, 4), 1);
    EXPECT_EQ(got<int>(FLDget_node_data_ncomp, field), 1);
    EXPECT_EQ(FLDset_node_data_ncomp(field, 2), 1);
    const std::string longer(2000, 'l');
    EXPECT_EQ(FLDset_node_data_comp(field, 1, 3, longer.c_str(), nullptr), 1);
    EXPECT_EQ(FLDset_node_data_id(field, 1, 669), 1);
    EXPECT_EQ(FLDset_node_data_ncomp(field, 5), 1);
    char label[FLD_LABEL_SIZE];
    EXPECT_EQ(FLDget_node_data_label(field, 1, label, sizeof label), 1);
    EXPECT_EQ(std::string(label), longer.substr(0, 1023));
    EXPECT_EQ(got<int>(FLDget_node_data_id, field, 1), 669);
    for (const int bad : {-1, 5, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(FLDset_node_data_veclen(field, bad, 1), 0);
        EXPECT_EQ(got<int>(FLDget_node_data_id, field, bad), std::nullopt);
    }
}

TEST_F(NodeData, ArraysKeepTheirTrueSize) {
    FLDset_nnodes(field, 100);
    ASSERT_EQ(FLDset_node_data(field, 0, filled<float>(DTYPE_FLOAT, {1, 2, 3}), DTYPE_FLOAT, 3, ARR_HOST_OWNS), 1);
    EXPECT_EQ(node_data(field, ARR_READ), std::pair(int{DTYPE_FLOAT}, xp_long{3}));
    EXPECT_EQ(got<int>(FLDget_node_data_veclen, field, 0), 1);
    FLDset_node_data_type(field, 0, DTYPE_DOUBLE);
    FLDset_node_data_veclen(field, 0, 2);
    EXPECT_EQ(node_data(field, ARR_WRITE), std::pair(int{DTYPE_DOUBLE}, xp_long{200}));
}

}  // namespace
}  // namespace zam::host
