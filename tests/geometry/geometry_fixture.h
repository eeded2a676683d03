// Instances of the geometry and utility modules: parameters, byte fields, and what an output holds.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "tests/support/module_test.h"

namespace zam::test {

using Texts = std::vector<std::string>;

/// A field of bytes, or of another type with those numbers.
struct ByteField {
    std::vector<xp_long> dims;
    int veclen = 1;
    std::vector<int> values;
    std::vector<float> points = {0, 0, 0, 1, 1, 1};
};

class GeometryTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        out = host::create(instance, "out", host::Kind::field);
    }

    void set(std::initializer_list<std::pair<const char*, double>> values) const {
        for (const auto& [name, value] : values) OMset_real_val(host::create(instance, name, host::Kind::real), value);
    }
    template <class T = float>
    void set_array(const char* name, const std::vector<T>& values) const {
        const OMobj_id array = host::create(instance, name, host::Kind::array);
        host::set_values(array, kTypeCode<T>, values.data(), static_cast<xp_long>(values.size()));
    }
    template <class T = std::uint8_t>
    OMobj_id set_field(const ByteField& field) const {
        return make_field<T>("in", {.dims = field.dims,
                                    .nspace = static_cast<int>(field.points.size() / 2),
                                    .veclen = field.veclen,
                                    .values = {field.values.begin(), field.values.end()},
                                    .points = field.points});
    }

    static void expect_near(const std::vector<float>& given, const std::vector<float>& expected, double tolerance) {
        ASSERT_EQ(given.size(), expected.size());
        for (std::size_t i = 0; i < given.size(); ++i) EXPECT_NEAR(given[i], expected[i], tolerance) << i;
    }
    static std::vector<int> numbers(OMobj_id field, int comp = 0) {
        const auto floats = values(field, comp);
        return {floats.begin(), floats.end()};
    }

    /// What `update` reports while `out` stays as it is; its result is always 1.
    template <class Update>
    std::string refusal(Update update) {
        reports.clear();
        const int before = host::stamp(out);
        EXPECT_EQ(update(instance, 0U, 0), 1);
        EXPECT_EQ(host::stamp(out), before);
        EXPECT_LE(reports.size(), 1U);
        expect_nothing_left();
        return reports.empty() ? "" : reports[0];
    }

    OMobj_id out{};
};

}  // namespace zam::test
