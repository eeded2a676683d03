// An instance of the topology module in the embedded host.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/host_array.h"
#include "modules/zam/topology.h"

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

class Topology : public ::testing::Test {
protected:
    void SetUp() override {
        host::reset();
        host::set_recorder([this](const host::Record& record) { reports.push_back(record.text); });
        instance = host::create(host::root(), "topology", host::Kind::group);
        for (const char* name : {"in_field", "out_field", "out_field2"}) create(name, host::Kind::field);
        for (const char* name : {"Interval", "Radius"}) create(name, host::Kind::unset);
    }
    void TearDown() override {
        const auto account = host::account();
        EXPECT_EQ(account.outstanding_arrays + account.open_accesses, 0);
        EXPECT_TRUE(account.faults.empty());
        EXPECT_TRUE(!streamline_list_head && !streamline_list_tail && !streamline && !streamline_prev);
        host::set_recorder(nullptr);
        host::reset();
    }

    void create(const char* name, host::Kind kind) { host::create(instance, name, kind); }
    OMobj_id find(const char* name) const { return host::find(instance, name); }
    void set(const char* name, double value) const { OMset_name_real_val(instance, OMstr_to_name(name), value); }

    template <class T = float>
    void set_field(const Field& field, int veclen = 2) {
        const OMobj_id in = find("in_field");
        const xp_long dims[]{field.columns, field.rows};
        auto points = OutArray<float>::allocate(4);
        auto data = OutArray<T>::allocate(static_cast<xp_long>(field.vectors.size()));
        points[0] = points[1] = points[2] = points[3] = 0.0F;
        for (std::size_t i = 0; i < field.vectors.size(); ++i)
            data[static_cast<xp_long>(i)] = static_cast<T>(field.vectors[i]);
        FLDset_ndim(in, 2);
        FLDset_dims(in, dims);
        FLDset_nspace(in, 2);
        FLDset_npoints(in, 2);
        FLDset_points(in, points.release(), 4, ARR_HOST_OWNS);
        FLDset_node_data_ncomp(in, 1);
        FLDset_node_data_veclen(in, 0, veclen);
        const xp_long size = data.size();
        FLDset_node_data(in, 0, data.release(), kTypeCode<T>, size, ARR_HOST_OWNS);
    }
    int run() { return ZAMtopologyline2D(instance, 0, 0); }
    int run(const Field& field) {
        set_field(field);
        return run();
    }

    std::vector<float> coordinates(const char* name) const {
        HostArray<float> coord;
        if (FLDget_coord(find(name), coord.place(), coord.count_place(), ARR_READ) != 1) return {};
        return {coord.data(), coord.data() + coord.size()};
    }
    std::vector<xp_long> connectivity(const char* name) const {
        OMobj_id cells{};
        HostArray<xp_long> connect;
        if (FLDget_cell_set(find(name), 0, &cells) != 1) return {-1};
        if (FLDget_node_connect(cells, connect.place(), connect.count_place(), ARR_READ) != 1) return {-1};
        return {connect.data(), connect.data() + connect.size()};
    }
    /// The letters of all critical points in a row; bytes 0 as dots.
    std::string labels() const {
        int type = -1;
        HostArray<char> data;
        if (FLDget_node_data(find("out_field2"), 0, &type, data.untyped_place(), data.count_place(), ARR_READ) != 1)
            return "none";
        std::string text(data.data(), data.data() + data.size());
        for (char& letter : text) letter = letter == '\0' ? '.' : letter;
        return text;
    }

    OMobj_id instance{};
    std::vector<std::string> reports;
};

}  // namespace zam::test
