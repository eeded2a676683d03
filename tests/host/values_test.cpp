// Numbers, texts, pointers and lists: what each kind reads as and what setting makes of it.
#include <cmath>
#include <limits>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct Values : HostTest {
    std::optional<int> as_int(OMobj_id object) {
        int value = 12345;
        if (OMget_int_val(object, &value) == 1) return value;
        EXPECT_EQ(value, 12345) << "a failing getter changed its result";
        return std::nullopt;
    }
    std::optional<std::string> as_text(OMobj_id object) {
        char* text = nullptr;
        if (OMget_str_val(object, &text, 0) != 1) return std::nullopt;
        std::string copy = text;
        free(text);
        return copy;
    }
};

TEST_F(Values, RealsReadAsIntsWhenTheyFit) {
    constexpr int kLeast = std::numeric_limits<int>::min();
    const double kReals[] = {2.9, -2.9, 2147483647.9, -2147483648.9, 2147483648.0, -2147483649.0, NAN, INFINITY};
    const std::optional<int> kInts[] = {2, -2, 2147483647, kLeast, {}, {}, {}, {}};
    const OMobj_id real = add("real", Kind::real), integer = add("integer", Kind::integer);
    for (std::size_t k = 0; k < std::size(kReals); ++k) {
        const double number = kReals[k];
        const auto expected = kInts[k];
        ASSERT_EQ(OMset_real_val(real, number), 1);
        EXPECT_EQ(as_int(real), expected) << number;
        OMset_int_val(integer, 7);
        EXPECT_EQ(OMset_real_val(integer, number), expected ? 1 : 0) << number;
        EXPECT_EQ(as_int(integer), expected.value_or(7)) << number;
    }
}

TEST_F(Values, SettingKeepsTheKindAndGivesOneToWhatIsUnset) {
    const OMobj_id real = add("real", Kind::real);
    EXPECT_EQ(OMset_name_int_val(module, token("real"), 3), 1);
    EXPECT_EQ(got<double>(OMget_real_val, real), 3.0);
    const std::pair<Kind, int (*)(OMobj_id)> kCases[] = {
        {Kind::integer, [](OMobj_id object) { return OMset_int_val(object, 1); }},
        {Kind::real, [](OMobj_id object) { return OMset_real_val(object, 1.5); }},
        {Kind::text, [](OMobj_id object) { return OMset_str_val(object, "a"); }},
        {Kind::pointer, [](OMobj_id object) { return OMset_ptr_val(object, &object); }},
        {Kind::texts, [](OMobj_id object) { return OMset_str_array_val(object, 0, "a"); }},
        {Kind::array, [](OMobj_id object) { return OMset_array(object, DTYPE_INT, nullptr, 0, ARR_HOST_OWNS); }},
    };
    for (const auto& [own, set] : kCases) {
        const OMobj_id object = add("value", Kind::unset);
        EXPECT_EQ(as_int(object), std::nullopt);
        EXPECT_EQ(got<void*>(OMget_ptr_val, object), nullptr);  // pointers are null until they are set
        EXPECT_EQ(set(object), 1);
        for (const auto& [other, set_other] : kCases) {
            const bool numbers = own <= Kind::real && other <= Kind::real;
            EXPECT_EQ(set_other(object) == 1, numbers || own == other);
            EXPECT_EQ(kind(object), own);
        }
    }
}

TEST_F(Values, TextsAreCutToTheBufferAndNeverNumbers) {
    const OMobj_id text = add("text", Kind::text);
    OMset_str_val(text, "12345");
    EXPECT_EQ(as_int(text), std::nullopt);
    EXPECT_EQ(as_text(text), "12345");
    char buffer[4] = "zzz";
    char* place = buffer;
    EXPECT_EQ(OMget_name_str_val(module, token("text"), &place, sizeof buffer), 1);
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(OMset_str_val(text, nullptr), 1);
    EXPECT_EQ(as_text(text), std::nullopt);
}

TEST_F(Values, ListsOfTextsGrowAndKeepTheirGaps) {
    const OMobj_id list = add("files", Kind::texts);
    OMset_str_array_val(list, 2, "c");
    OMset_str_array_val(list, 9, nullptr);  // beyond the end there is nothing to clear
    EXPECT_EQ(got<xp_long>(OMget_array_size, list), 3);
    EXPECT_EQ(text_at(list, 0), std::nullopt);
    EXPECT_EQ(text_at(list, 2), "c");
    OMset_str_array_val(list, 2, nullptr);
    EXPECT_EQ(text_at(list, 2), std::nullopt);
    for (const xp_long bad : {xp_long{-1}, std::numeric_limits<xp_long>::max()}) {
        EXPECT_EQ(OMset_str_array_val(list, bad, "x"), 0);
        EXPECT_EQ(OMset_array_size(list, bad), 0);
    }
}

TEST_F(Values, ArraysKeepWhatFitsWhenTheyAreResized) {
    const OMobj_id array = add("array", Kind::array);
    const std::int16_t values[] = {1, 2, 3};
    ASSERT_TRUE(set_values(array, DTYPE_SHORT, values, 3));
    const std::vector<std::int16_t> kExpected[] = {{1, 2}, {1, 2, 0, 0}};
    for (const auto& expected : kExpected) {
        EXPECT_EQ(OMset_array_size(array, static_cast<xp_long>(expected.size())), 1);
        xp_long count = 0;
        int type = -1;
        const auto* held = static_cast<const std::int16_t*>(open_values(array, &type, &count));
        EXPECT_EQ(std::vector<std::int16_t>(held, held + count), expected);
        EXPECT_EQ(type, DTYPE_SHORT);
        end_access(const_cast<std::int16_t*>(held));
    }
    for (const xp_long bad : {xp_long{-1}, xp_long{1} << 60}) EXPECT_EQ(OMset_array_size(array, bad), 0);
}

TEST_F(Values, ElementsOfAnArrayOfObjects) {
    const OMobj_id list = create(module, "in", Kind::objects, Kind::field);
    EXPECT_EQ(OMset_array_size(list, 3), 1);
    const OMobj_id last = OMfind_str_subobj(module, "in[2]", OM_OBJ_RD);
    EXPECT_EQ(kind(last), Kind::field);
    EXPECT_EQ(path(last), "module.in[2]");
    EXPECT_EQ(OMset_array_size(list, 1), 1);
    EXPECT_EQ(OMvalid_obj(last), 0);
    EXPECT_EQ(OMset_array_size(list, xp_long{1} << 40), 0);
    EXPECT_EQ(children(list).size(), 1U);
}

}  // namespace
}  // namespace zam::host
