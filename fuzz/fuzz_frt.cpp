// Whole files of Fortran records: whatever a file says, the read ends in order and leaves nothing behind.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/read_frt.h"
#include "tests/support/scratch_directory.h"

namespace host = zam::host;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const zam::test::ScratchDirectory scratch;
    const std::string file = scratch.write("grid.dat", {reinterpret_cast<const char*>(data), size});
    host::reset();
    int reports = 0;
    host::set_recorder([&](const host::Record&) { ++reports; });
    const OMobj_id instance = host::create(host::root(), "reader", host::Kind::group);
    const OMobj_id out = host::create(instance, "out", host::Kind::field);
    host::create(instance, "frt_fname", host::Kind::text);
    OMset_name_str_val(instance, OMstr_to_name("frt_fname"), file.c_str());
    const int result = ZAMread_frt(instance, 0, 0);
    xp_long nnodes = 0;
    const auto account = host::account();
    if (result == 0 ? reports != 1 : reports > 1) std::abort();
    // a read that succeeds has found every position in the file
    if (result == 1 && (FLDget_nnodes(out, &nnodes) != 1 || nnodes > static_cast<xp_long>(size / 8))) std::abort();
    if (account.outstanding_arrays + account.open_accesses != 0 || !account.faults.empty()) std::abort();
    host::set_recorder(nullptr);
    return 0;
}
