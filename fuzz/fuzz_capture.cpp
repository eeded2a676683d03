// Two capture files, merged. The first byte says where the first file ends.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/MergeImages.h"
#include "tests/support/scratch_directory.h"

namespace {

namespace host = zam::host;

OMobj_id make_instance(const std::string& directory) {
    host::reset();
    const OMobj_id instance = host::create(host::root(), "merge", host::Kind::group);
    OMset_int_val(host::create(instance, "currCount", host::Kind::integer), 2);
    OMset_int_val(host::create(instance, "saveMode", host::Kind::integer), 0);
    OMset_int_val(host::create(instance, "end_flag", host::Kind::integer), 0);
    OMset_str_val(host::create(instance, "currDir", host::Kind::text), directory.c_str());
    const float background[] = {1, 0.5F, 0};
    host::set_values(host::create(instance, "backCol", host::Kind::array), DTYPE_FLOAT, background, 3);
    host::create(instance, "out_fld", host::Kind::field);
    return instance;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const zam::test::ScratchDirectory scratch;
    if (size == 0) return 0;
    const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t first = bytes.size() * data[0] / 255;
    scratch.write("pceimg00000.img", bytes.substr(0, first));
    scratch.write("pceimg00001.img", bytes.substr(first));
    const OMobj_id instance = make_instance(scratch.path());
    if (MergeImagesUpdate(instance, 0, 0) != 1) std::abort();
    const auto account = host::account();
    if (account.outstanding_arrays + account.open_accesses != 0 || !account.faults.empty()) std::abort();
    return 0;
}
