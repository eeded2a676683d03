// Whole field files: header, inline data and sources that name the file itself, read step by step, cropped and stored.
#include "contract/contract.h"
#include "fuzz/target.h"
#include "modules/zam/ld_rdfld/ldrf_rfld.h"
#include "tests/support/scratch_directory.h"

using namespace zam;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::ScratchDirectory scratch;
    fuzz::Instance reader;
    for (const char* name : {"portable", "swap", "flip", "store_all", "check", "exec", "nsteps", "stepno", "forward",
                             "backward", "min0", "max0", "min1", "max1", "min2", "max2"})
        reader.set(name, 0);
    for (const char* name : {"file_ptr", "RF_ptr", "coord_ptr"}) reader.add(name, host::Kind::pointer);
    for (const char* name : {"out", "out_all"}) reader.add(name, host::Kind::field);
    reader.set("filename", scratch.write("field.fld", fuzz::text_of(data, size)));
    int seq = 0;
    const auto update = [&] {
        DVLDread_field_update(reader.id, 0, seq);
        seq = host::now();
    };
    const auto set = [&](const char* name) { OMset_name_int_val(reader.id, OMstr_to_name(name), 1); };
    update();
    int nsteps = 0;
    OMget_name_int_val(reader.id, OMstr_to_name("nsteps"), &nsteps);
    for (const std::string name : {"backward", "flip", "portable", "store_all", "forward"}) {
        if (name == "store_all" && nsteps >= 100) continue;
        set(name.c_str());
        update();
    }
    for (const char* name : {"check", "min0", "exec"}) set(name);
    update();
    DVLDread_field_delete(reader.id, 0, seq);
    return 0;
}
