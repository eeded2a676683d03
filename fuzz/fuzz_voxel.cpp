// Whole voxel text files, compared with the plain form of reading them. The first byte is the number of header lines.
#include <algorithm>
#include <cmath>

#include "contract/contract.h"
#include "fuzz/target.h"
#include "modules/support/float_values.h"
#include "modules/zam/rd_voxel.h"
#include "tests/plain/voxel.h"
#include "tests/support/scratch_directory.h"

using namespace zam;
using fuzz::require;

namespace {

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void compare(OMobj_id instance, OMobj_id out, const plain::Voxels& expected) {
    HostArray<xp_long> dims;
    int ndim = 0;
    require(FLDget_dims(out, dims.receive(), &ndim) == 1 && ndim == 3);
    for (int axis = 0; axis < 3; ++axis) require(dims[axis] == expected.dims[static_cast<std::size_t>(axis)]);
    for (std::size_t comp = 0; comp < expected.values.size(); ++comp) {
        const auto values = FloatValues::read(out, static_cast<int>(comp));
        require(values && std::ranges::equal(values->span(), expected.values[comp], same));
    }
    std::string label(1024, '\0');
    char* place = label.data();
    require(OMget_name_str_val(instance, OMstr_to_name("time_label"), &place, 1024) == 1);
    require(label.c_str() == expected.time_label);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    static const test::ScratchDirectory scratch;
    const std::string bytes = fuzz::text_of(data + 1, size - 1);
    const int header_lines = data[0] - '0';
    const auto expected = plain::read_voxels(bytes, header_lines, -999.0F, "t", 1 << 20);
    if (expected.too_large) return 0;

    fuzz::Instance reader;
    const OMobj_id out = reader.add("outfld", host::Kind::field);
    reader.add("time_label", host::Kind::text);
    reader.set("filename", scratch.write("samples.txt", bytes));
    reader.set("timekey", "t");
    reader.set("iheader", header_lines);
    require(ZAMread_voxel_update(reader.id, 0, 0) == (expected.message.empty() ? 1 : 0));
    if (expected.message.empty()) compare(reader.id, out, expected);
    return 0;
}
