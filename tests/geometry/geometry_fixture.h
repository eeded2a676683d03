// Instances of the geometry and utility modules: parameters, byte fields, and what an output holds.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "modules/support/parameters.h"
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
    OMobj_id set_field(const ByteField& contents) const {
        const OMobj_id field = host::create(instance, "in", host::Kind::field);
        FLDset_ndim(field, static_cast<int>(contents.dims.size()));
        FLDset_dims(field, contents.dims.data());
        const auto points = static_cast<xp_long>(contents.points.size());
        FLDset_nspace(field, static_cast<int>(points / 2));
        if (points > 0) FLDset_points(field, handed<float>(contents.points), points, ARR_HOST_OWNS);
        add_component<T>(field, 0, contents);
        return field;
    }
    template <class T = std::uint8_t>
    static void add_component(OMobj_id field, int comp, const ByteField& contents) {
        FLDset_node_data_ncomp(field, comp + 1);
        FLDset_node_data_veclen(field, comp, contents.veclen);
        if (contents.values.empty()) return;
        FLDset_node_data(field, comp, handed<T>(contents.values), kTypeCode<T>,
                         static_cast<xp_long>(contents.values.size()), ARR_HOST_OWNS);
    }

    static void expect_near(const std::vector<float>& given, const std::vector<float>& expected, double tolerance) {
        ASSERT_EQ(given.size(), expected.size());
        for (std::size_t i = 0; i < given.size(); ++i) EXPECT_NEAR(given[i], expected[i], tolerance) << i;
    }
    static std::vector<int> numbers(OMobj_id field, int comp = 0) {
        const auto floats = values(field, comp);
        return {floats.begin(), floats.end()};
    }
    static std::vector<xp_long> dims(OMobj_id field) {
        HostArray<xp_long> array;
        int ndim = 0;
        if (FLDget_dims(field, array.receive(), &ndim) != 1) return {};
        return {array.data(), array.data() + ndim};
    }
    static std::vector<xp_long> connect(OMobj_id field, int cell_set) {
        OMobj_id cells{};
        HostArray<xp_long> list;
        FLDget_cell_set(field, cell_set, &cells);
        if (FLDget_node_connect(cells, list.receive(), list.receive_count(), ARR_READ) != 1) return {};
        return {list.data(), list.data() + list.size()};
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
