// Whole field files: header, inline data and sources that name the file itself, read step by step, cropped and stored.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/ld_rdfld/ldrf_rfld.h"
#include "tests/support/scratch_directory.h"

namespace {

namespace host = zam::host;

OMobj_id make_instance(const std::string& file) {
    host::reset();
    const OMobj_id instance = host::create(host::root(), "reader", host::Kind::group);
    for (const char* name : {"portable", "swap", "flip", "store_all", "check", "exec", "nsteps", "stepno", "forward",
                             "backward", "min0", "max0", "min1", "max1", "min2", "max2"}) {
        host::create(instance, name, host::Kind::integer);
        OMset_name_int_val(instance, OMstr_to_name(name), 0);
    }
    for (const char* name : {"file_ptr", "RF_ptr", "coord_ptr"}) host::create(instance, name, host::Kind::pointer);
    for (const char* name : {"out", "out_all"}) host::create(instance, name, host::Kind::field);
    host::create(instance, "filename", host::Kind::text);
    OMset_name_str_val(instance, OMstr_to_name("filename"), file.c_str());
    return instance;
}

/// Sets a parameter and updates, as an event of a network would.
void change(OMobj_id instance, const char* name, int value, int& seq) {
    OMset_name_int_val(instance, OMstr_to_name(name), value);
    DVLDread_field_update(instance, 0, seq);
    seq = host::now();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const zam::test::ScratchDirectory scratch;
    const OMobj_id instance = make_instance(scratch.write("field.fld", {reinterpret_cast<const char*>(data), size}));
    int seq = 0;
    DVLDread_field_update(instance, 0, seq);
    seq = host::now();
    int nsteps = 0;
    OMget_name_int_val(instance, OMstr_to_name("nsteps"), &nsteps);
    change(instance, "backward", 1, seq);
    change(instance, "flip", 1, seq);
    change(instance, "portable", 1, seq);
    if (nsteps < 100) change(instance, "store_all", 1, seq);
    change(instance, "forward", 1, seq);
    OMset_name_int_val(instance, OMstr_to_name("check"), 1);
    OMset_name_int_val(instance, OMstr_to_name("min0"), 1);
    change(instance, "exec", 1, seq);
    DVLDread_field_delete(instance, 0, seq);
    const auto account = host::account();
    if (account.outstanding_arrays + account.open_accesses != 0 || !account.faults.empty()) std::abort();
    return 0;
}
