// An instance of a module in the embedded host, and fields for it to read.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"

namespace zam::test {

/// A mesh with coordinates and at most one component. Without dims it is unstructured.
struct FieldContents {
    std::vector<xp_long> dims;
    xp_long nnodes = 0;  // where there are no dims
    int nspace = 3;
    std::vector<float> coord = {};
    int veclen = 0;  // 0: no component
    std::vector<float> values = {};
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
        if (contents.veclen > 0) FLDset_node_data_veclen(field, 0, contents.veclen);
        if (!contents.values.empty())
            FLDset_node_data(field, 0, handed<T>(contents.values), kTypeCode<T>, size(contents.values), ARR_HOST_OWNS);
        return field;
    }

    static std::vector<float> values(OMobj_id field, int comp) {
        const auto data = FloatValues::read(field, comp);
        return data ? std::vector<float>(data->span().begin(), data->span().end()) : std::vector<float>();
    }
    /// What a getter of points or coordinates lends.
    static std::vector<float> positions(OMobj_id field, int (*get)(OMobj_id, float**, xp_long*, int)) {
        HostArray<float> data;
        if (get(field, data.place(), data.count_place(), ARR_READ) != 1) return {};
        return {data.data(), data.data() + data.size()};
    }

    OMobj_id instance{};
    std::vector<std::string> reports;
};

}  // namespace zam::test
