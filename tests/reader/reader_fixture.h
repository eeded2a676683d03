// An instance of the read-field module in the embedded host, and files for it to read.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/host_array.h"
#include "modules/zam/ld_rdfld/ldrf_rfld.h"

namespace zam::test {

/// Bytes of values in memory order, or reversed.
template <class T>
std::string bytes_of(const std::vector<T>& values, bool reverse = false) {
    std::string bytes;
    for (const T& value : values) {
        std::string one(sizeof value, '\0');
        std::memcpy(one.data(), &value, sizeof value);
        bytes += reverse ? std::string(one.rbegin(), one.rend()) : one;
    }
    return bytes;
}

/// The values first, first + 1, ... as T.
template <class T>
std::vector<T> counting(std::size_t count, T first = T{}) {
    std::vector<T> values(count);
    for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<T>(first + static_cast<T>(i));
    return values;
}

class ReadField : public ::testing::Test {
protected:
    void SetUp() override {
        host::reset();
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        directory_ = std::filesystem::path(::testing::TempDir()) / (std::string("zam_reader_") + test->name());
        std::filesystem::create_directories(directory_);
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report) reports.push_back(record.text);
            if (record.what == host::Record::What::status && record.percent == 100) ranges.push_back(record.range_high);
        });
        make_instance();
        faults_before_ = host::account().faults.size();
    }

    void TearDown() override {
        if (OMvalid_obj(instance) == 1) DVLDread_field_delete(instance, 0, seq);
        const auto account = host::account();
        EXPECT_EQ(account.outstanding_arrays, 0) << outstanding(account);
        EXPECT_EQ(account.open_accesses, 0) << outstanding(account);
        EXPECT_EQ(account.faults.size(), faults_before_) << (account.faults.empty() ? "" : account.faults.back());
        host::set_recorder(nullptr);
        host::reset();
        std::filesystem::remove_all(directory_);
    }

    void make_instance() {
        instance = host::create(host::root(), "reader", host::Kind::group);
        for (const char* name : {"portable", "swap", "flip",   "store_all", "store_all_visible",
                                 "check",    "min0", "min1",   "min2",      "max0",
                                 "max1",     "max2", "end0",   "end1",      "end2",
                                 "ndim",     "exec", "nsteps", "stepno",    "forward",
                                 "backward"}) {
            host::create(instance, name, host::Kind::integer);
            set(name, 0);
        }
        for (const char* name : {"factor0", "factor1", "factor2"}) host::create(instance, name, host::Kind::real);
        for (const char* name : {"filename", "time_string"}) host::create(instance, name, host::Kind::text);
        for (const char* name : {"out", "out_all"}) host::create(instance, name, host::Kind::field);
        for (const char* name : {"file_ptr", "RF_ptr", "coord_ptr"}) host::create(instance, name, host::Kind::pointer);
        seq = 0;
    }

    /// Writes a file into the test's directory and gives its name.
    std::string file(const std::string& name, const std::string& bytes) const {
        const auto path = directory_ / name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path.string();
    }
    /// A field file: first line, header, two form feeds, data.
    std::string field_file(const std::string& header, const std::string& data = {}) const {
        return file("test.fld", "# AVS field file\n" + header + "\n\f\f" + data);
    }

    void set(const char* name, int value) { OMset_name_int_val(instance, OMstr_to_name(name), value); }
    void set(const char* name, double value) { OMset_name_real_val(instance, OMstr_to_name(name), value); }
    void set(const char* name, const std::string& value) {
        OMset_name_str_val(instance, OMstr_to_name(name), value.c_str());
    }
    int get(const char* name) const {
        int value = -999;
        OMget_name_int_val(instance, OMstr_to_name(name), &value);
        return value;
    }
    double get_real(const char* name) const {
        double value = -999.0;
        OMget_name_real_val(instance, OMstr_to_name(name), &value);
        return value;
    }
    std::string text(const char* name) const {
        std::string buffer(256, '\0');
        char* place = buffer.data();
        OMget_name_str_val(instance, OMstr_to_name(name), &place, static_cast<int>(buffer.size()));
        return buffer.c_str();
    }

    int update() {
        const int result = DVLDread_field_update(instance, 0, seq);
        seq = host::now();
        return result;
    }
    int read(const std::string& name) {
        set("filename", name);
        return update();
    }

    OMobj_id out() const { return host::find(instance, "out"); }
    OMobj_id out_all() const { return host::find(instance, "out_all"); }

    std::vector<xp_long> dims(OMobj_id field) const {
        HostArray<xp_long> dims;
        int ndim = 0;
        if (FLDget_dims(field, dims.place(), &ndim) != 1) return {};
        return {dims.data(), dims.data() + ndim};
    }
    std::vector<double> values(OMobj_id field, int comp) const {
        int type = -1;
        HostArray<std::byte> data;
        if (FLDget_node_data(field, comp, &type, data.untyped_place(), data.count_place(), ARR_READ) != 1) return {};
        switch (type) {
            case DTYPE_BYTE: return as_doubles<std::uint8_t>(data);
            case DTYPE_SHORT: return as_doubles<std::int16_t>(data);
            case DTYPE_INT: return as_doubles<std::int32_t>(data);
            case DTYPE_FLOAT: return as_doubles<float>(data);
            case DTYPE_DOUBLE: return as_doubles<double>(data);
            case DTYPE_LONG: return as_doubles<xp_long>(data);
            default: return {};
        }
    }
    std::vector<float> points(OMobj_id field) const {
        HostArray<float> data;
        if (FLDget_points(field, data.place(), data.count_place(), ARR_READ) != 1) return {};
        return {data.data(), data.data() + data.size()};
    }
    std::vector<float> coordinates(OMobj_id field) const {
        HostArray<float> data;
        if (FLDget_coord(field, data.place(), data.count_place(), ARR_READ) != 1) return {};
        return {data.data(), data.data() + data.size()};
    }
    std::string label(OMobj_id field, int comp) const {
        char buffer[FLD_LABEL_SIZE] = "";
        FLDget_node_data_label(field, comp, buffer, FLD_LABEL_SIZE);
        return buffer;
    }

    OMobj_id instance{};
    int seq = 0;
    std::vector<std::string> reports;
    std::vector<int> ranges;  // upper ends of the stretches that were finished
    std::filesystem::path directory_;

private:
    template <class T>
    static std::vector<double> as_doubles(const HostArray<std::byte>& data) {
        std::vector<double> values(static_cast<std::size_t>(data.size()));
        for (std::size_t i = 0; i < values.size(); ++i) {
            T value;
            std::memcpy(&value, data.data() + i * sizeof value, sizeof value);
            values[i] = static_cast<double>(value);
        }
        return values;
    }
    static std::string outstanding(const host::Account& account) {
        std::string text;
        for (const auto& place : account.outstanding) text += place + "\n";
        return text;
    }

    std::size_t faults_before_ = 0;
};

}  // namespace zam::test
