// An instance of the topology module in the embedded host.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "modules/zam/topology.h"
#include "tests/support/module_test.h"

namespace zam::test {

/// Vectors on a grid, u and v of each node.
struct Field {
    int columns, rows;
    std::vector<float> vectors;
};

/// Samples vector(x, y), which gives a TopologyVector, at the nodes.
template <class Vector>
Field sampled(int columns, int rows, Vector vector) {
    Field field{columns, rows, {}};
    for (int j = 0; j < rows; ++j) {
        for (int i = 0; i < columns; ++i) {
            const TopologyVector at = vector(i, j);
            field.vectors.push_back(static_cast<float>(at.x));
            field.vectors.push_back(static_cast<float>(at.y));
        }
    }
    return field;
}

class Topology : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        for (const char* name : {"in_field", "out_field", "out_field2"})
            host::create(instance, name, host::Kind::field);
    }
    void TearDown() override {
        EXPECT_TRUE(!streamline_list_head && !streamline_list_tail && !streamline && !streamline_prev);
        ModuleTest::TearDown();
    }

    OMobj_id find(const char* name) const { return host::find(instance, name); }

    template <class T = float>
    void set_field(const Field& field, int veclen = 2) {
        const OMobj_id in = make_field<T>("in_field", {.dims = {field.columns, field.rows},
                                                       .nspace = 2,
                                                       .veclen = veclen,
                                                       .values = field.vectors,
                                                       .points = {0, 0, 0, 0}});
        if (field.vectors.empty()) FLDset_node_data(in, 0, handed<T>(field.vectors), kTypeCode<T>, 0, ARR_HOST_OWNS);
    }
    int run() { return ZAMtopologyline2D(instance, 0, 0); }
    int run(const Field& field) {
        set_field(field);
        return run();
    }

    std::vector<float> coordinates(const char* name) const { return positions(find(name), FLDget_coord); }
    /// The letters of all critical points in a row; bytes 0 as dots.
    std::string labels() const {
        const auto letters = bytes(find("out_field2"), DTYPE_CHAR);
        std::string text(letters.begin(), letters.end());
        std::replace(text.begin(), text.end(), '\0', '.');
        return text;
    }
};

}  // namespace zam::test
