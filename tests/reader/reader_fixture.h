// An instance of the read-field module in the embedded host, and files for it to read.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "modules/zam/ld_rdfld/ldrf_rfld.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"

namespace zam::test {

/// Values as one text, with commas between them.
template <class Values>
std::string joined(const Values& values) {
    std::ostringstream out;
    for (const auto value : values) out << (out.tellp() > 0 ? "," : "") << value;
    return out.str();
}

class ReadField : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report) reports.push_back(record.text);
            if (record.what == host::Record::What::status && record.percent == 100) ranges.push_back(record.range_high);
        });
        for (const char* name : {"portable", "swap", "flip",   "store_all", "store_all_visible",
                                 "check",    "min0", "min1",   "min2",      "max0",
                                 "max1",     "max2", "end0",   "end1",      "end2",
                                 "ndim",     "exec", "nsteps", "stepno",    "forward",
                                 "backward"})
            set_int(name, 0);
        for (const char* name : {"factor0", "factor1", "factor2"}) host::create(instance, name, host::Kind::real);
        for (const char* name : {"filename", "time_string"}) host::create(instance, name, host::Kind::text);
        for (const char* name : {"out", "out_all"}) host::create(instance, name, host::Kind::field);
        for (const char* name : {"file_ptr", "RF_ptr", "coord_ptr"}) host::create(instance, name, host::Kind::pointer);
    }
    void TearDown() override {
        DVLDread_field_delete(instance, 0, seq);
        ModuleTest::TearDown();
    }

    /// A field file: first line, header, two form feeds, data.
    std::string field_file(const std::string& header, const std::string& data = {}) const {
        return scratch.write("test.fld", "# AVS made by a test\n" + header + "\n\f\f" + data);
    }
    void set(const std::string& name, int value) const {
        OMset_name_int_val(instance, OMstr_to_name(name.c_str()), value);
    }
    int update() {
        const int result = DVLDread_field_update(instance, 0, seq);
        seq = host::now();
        return result;
    }
    int read(const std::string& name) {
        set_text("filename", name);
        return update();
    }
    OMobj_id out() const { return host::find(instance, "out"); }
    OMobj_id out_all() const { return host::find(instance, "out_all"); }

    int seq = 0;
    std::vector<int> ranges;  // upper ends of the stretches that were finished
    const ScratchDirectory scratch;
};

}  // namespace zam::test
