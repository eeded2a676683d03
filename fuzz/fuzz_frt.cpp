// Whole files of Fortran records: whatever a file says, the read ends in order and leaves nothing behind.
#include "contract/contract.h"
#include "fuzz/target.h"
#include "modules/zam/read_frt.h"
#include "tests/support/scratch_directory.h"

using namespace zam;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::ScratchDirectory scratch;
    fuzz::Instance reader;
    reader.set("frt_fname", scratch.write("grid.dat", fuzz::text_of(data, size)));
    const OMobj_id out = reader.add("out", host::Kind::field);
    const int result = ZAMread_frt(reader.id, 0, 0);
    fuzz::require(result == 0 ? reader.reports == 1 : reader.reports <= 1);
    // a read that succeeds has found every position in the file
    xp_long nnodes = 0;
    fuzz::require(result == 0 || (FLDget_nnodes(out, &nnodes) == 1 && nnodes <= static_cast<xp_long>(size / 8)));
    return 0;
}
