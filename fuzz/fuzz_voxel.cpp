// Whole voxel text files, compared with the plain form of reading them. The first byte is the number of header lines.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/float_values.h"
#include "modules/zam/rd_voxel.h"
#include "tests/plain/voxel.h"
#include "tests/support/scratch_directory.h"

namespace host = zam::host;

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

bool same(float a, float b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void compare(OMobj_id instance, OMobj_id out, const zam::plain::Voxels& plain) {
    zam::HostArray<xp_long> dims;
    int ndim = 0;
    require(FLDget_dims(out, dims.receive(), &ndim) == 1 && ndim == 3);
    for (int axis = 0; axis < 3; ++axis) require(dims[axis] == plain.dims[static_cast<std::size_t>(axis)]);
    for (std::size_t comp = 0; comp < plain.values.size(); ++comp) {
        const auto values = zam::FloatValues::read(out, static_cast<int>(comp));
        require(values && values->span().size() == plain.values[comp].size());
        for (std::size_t i = 0; i < plain.values[comp].size(); ++i)
            require(same(values->span()[i], plain.values[comp][i]));
    }
    std::string label(1024, '\0');
    char* place = label.data();
    require(OMget_name_str_val(instance, OMstr_to_name("time_label"), &place, 1024) == 1);
    require(label.c_str() == plain.time_label);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    static const zam::test::ScratchDirectory scratch;
    const std::string bytes(reinterpret_cast<const char*>(data + 1), size - 1);
    const int header_lines = data[0] - '0';
    const auto plain = zam::plain::read_voxels(bytes, header_lines, -999.0F, "t", 1 << 20);
    if (plain.too_large) return 0;
    const std::string file = scratch.write("samples.txt", bytes);

    host::reset();
    const OMobj_id instance = host::create(host::root(), "reader", host::Kind::group);
    const OMobj_id out = host::create(instance, "outfld", host::Kind::field);
    for (const char* name : {"filename", "timekey", "time_label"}) host::create(instance, name, host::Kind::text);
    host::create(instance, "iheader", host::Kind::integer);
    OMset_name_str_val(instance, OMstr_to_name("filename"), file.c_str());
    OMset_name_str_val(instance, OMstr_to_name("timekey"), "t");
    OMset_name_int_val(instance, OMstr_to_name("iheader"), header_lines);
    require(ZAMread_voxel_update(instance, 0, 0) == (plain.message.empty() ? 1 : 0));
    if (plain.message.empty()) compare(instance, out, plain);
    const auto account = host::account();
    require(account.outstanding_arrays + account.open_accesses == 0 && account.faults.empty());
    return 0;
}
