// Two capture files, merged. The first byte says where the first file ends.
#include "contract/contract.h"
#include "fuzz/target.h"
#include "modules/zam/MergeImages.h"
#include "tests/support/scratch_directory.h"

using namespace zam;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::ScratchDirectory scratch;
    if (size == 0) return 0;
    const std::string bytes = fuzz::text_of(data + 1, size - 1);
    const std::size_t first = bytes.size() * data[0] / 255;
    scratch.write("pceimg00000.img", bytes.substr(0, first));
    scratch.write("pceimg00001.img", bytes.substr(first));
    fuzz::Instance merge;
    merge.set("currCount", 2);
    merge.set("saveMode", 0);
    merge.set("end_flag", 0);
    merge.set("currDir", scratch.path());
    const float background[] = {1, 0.5F, 0};
    host::set_values(merge.add("backCol", host::Kind::array), DTYPE_FLOAT, background, 3);
    merge.add("out_fld", host::Kind::field);
    fuzz::require(MergeImagesUpdate(merge.id, 0, 0) == 1);
    return 0;
}
