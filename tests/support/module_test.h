// An instance of a module in the embedded host, and fields for it to read.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"

namespace zam::test {

/// A mesh with coordinates and at most one component. Without dims it is unstructured.
struct FieldContents {
    std::vector<xp_long> dims;
    xp_long nnodes = 0;  // where there are no dims
    int nspace = 3;
    std::vector<float> coord = {};
    int veclen = 0;  // 0: no component
    std::vector<float> values = {};
    std::vector<float> points = {};  // of a uniform field, which has no coord
};

/// An array that the host can take over.
template <class T, class U>
T* handed(const std::vector<U>& values) {
    auto array = OutArray<T>::allocate(static_cast<xp_long>(values.size()));
    std::transform(values.begin(), values.end(), array.data(), [](U value) { return static_cast<T>(value); });
    return array.release();
}

class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::reset();
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report) reports.push_back(record.text);
        });
        instance = host::create(host::root(), "module", host::Kind::group);
    }
    void TearDown() override {
        expect_nothing_left();
        host::set_recorder(nullptr);
        host::reset();
    }

    static void expect_nothing_left() {
        const auto account = host::account();
        EXPECT_EQ(account.outstanding_arrays, 0) << (account.outstanding.empty() ? "" : account.outstanding[0]);
        EXPECT_EQ(account.open_accesses, 0) << (account.outstanding.empty() ? "" : account.outstanding[0]);
        EXPECT_EQ(account.faults, std::vector<std::string>());
    }

    /// Makes field `name` of the instance anew; values are held as T.
    template <class T = float>
    OMobj_id make_field(const char* name, const FieldContents& contents) const {
        const OMobj_id field = host::create(instance, name, host::Kind::field);
        if (!contents.dims.empty()) {
            FLDset_ndim(field, static_cast<int>(contents.dims.size()));
            FLDset_dims(field, contents.dims.data());
        } else {
            FLDset_nnodes(field, contents.nnodes);
        }
        if (contents.nspace > 0) FLDset_nspace(field, contents.nspace);
        const auto size = [](const auto& values) { return static_cast<xp_long>(values.size()); };
        if (!contents.coord.empty())
            FLDset_coord(field, handed<float>(contents.coord), size(contents.coord), ARR_HOST_OWNS);
        if (!contents.points.empty())
            FLDset_points(field, handed<float>(contents.points), size(contents.points), ARR_HOST_OWNS);
        if (contents.veclen > 0) FLDset_node_data_veclen(field, 0, contents.veclen);
        if (!contents.values.empty())
            FLDset_node_data(field, 0, handed<T>(contents.values), kTypeCode<T>, size(contents.values), ARR_HOST_OWNS);
        return field;
    }

    /// Gives a field without nodes empty arrays.
    static void set_no_values(OMobj_id field) {
        FLDset_coord(field, handed<float>(std::vector<float>()), 0, ARR_HOST_OWNS);
        FLDset_node_data(field, 0, handed<float>(std::vector<float>()), DTYPE_FLOAT, 0, ARR_HOST_OWNS);
    }
    void set_int(const char* name, int value) const {
        OMset_int_val(host::create(instance, name, host::Kind::integer), value);
    }
    void set_real(const char* name, double value) const {
        host::create(instance, name, host::Kind::real);
        OMset_name_real_val(instance, OMstr_to_name(name), value);
    }

    void set_text(const char* name, const std::string& value) const {
        OMset_str_val(host::create(instance, name, host::Kind::text), value.c_str());
    }
    int get(const std::string& name) const { return Parameters(instance).integer(name.c_str(), -999); }
    double get_real(const char* name) const { return Parameters(instance).real(name, -999); }
    std::string text(const char* name) const { return Parameters(instance).text(name).value_or("none"); }

    static std::vector<xp_long> dims(OMobj_id field) {
        HostArray<xp_long> dims;
        int ndim = 0;
        if (FLDget_dims(field, dims.receive(), &ndim) != 1) return {};
        return {dims.data(), dims.data() + ndim};
    }
    static std::vector<float> values(OMobj_id field, int comp) {
        const auto data = FloatValues::read(field, comp);
        return data ? std::vector<float>(data->span().begin(), data->span().end()) : std::vector<float>();
    }
    /// What a getter of points or coordinates lends.
    static std::vector<float> positions(OMobj_id field, int (*get)(OMobj_id, float**, xp_long*, int)) {
        HostArray<float> data;
        if (get(field, data.receive(), data.receive_count(), ARR_READ) != 1) return {};
        return {data.data(), data.data() + data.size()};
    }

    /// What a cell set connects; {-1} if it cannot be read.
    static std::vector<xp_long> connectivity(OMobj_id field, int cell_set = 0) {
        OMobj_id cells{};
        HostArray<xp_long> connect;
        if (FLDget_cell_set(field, cell_set, &cells) != 1) return {-1};
        if (FLDget_node_connect(cells, connect.receive(), connect.receive_count(), ARR_READ) != 1) return {-1};
        return {connect.data(), connect.data() + connect.size()};
    }

    /// The bytes of component 0, which is of that type; empty if there are none.
    static std::vector<std::uint8_t> bytes(OMobj_id field, int expected_type) {
        HostArray<std::uint8_t> data;
        int type = -1;
        if (FLDget_node_data(field, 0, &type, data.receive_untyped(), data.receive_count(), ARR_READ) != 1) return {};
        EXPECT_EQ(type, expected_type);
        return {data.data(), data.data() + data.size()};
    }
    /// Expects an image of width x height pixels, whatever their colours and its further components.
    static void expect_image(OMobj_id field, xp_long width, xp_long height, int components = 1) {
        HostArray<xp_long> dims;
        int ndim = 0, nspace = 0, ncomp = 0, veclen = 0, id = 0;
        ASSERT_EQ(FLDget_dims(field, dims.receive(), &ndim), 1);
        FLDget_nspace(field, &nspace);
        FLDget_node_data_ncomp(field, &ncomp);
        FLDget_node_data_veclen(field, 0, &veclen);
        FLDget_node_data_id(field, 0, &id);
        EXPECT_EQ((std::vector<xp_long>{ndim, dims[0], dims[1], nspace, ncomp, veclen, id}),
                  (std::vector<xp_long>{2, width, height, 2, components, 4, 669}));
        EXPECT_EQ(positions(field, FLDget_points),
                  (std::vector<float>{0, 0, static_cast<float>(width - 1), static_cast<float>(height - 1)}));
    }

    OMobj_id instance{};
    std::vector<std::string> reports;
};

}  // namespace zam::test
