// Two capture files, merged. The first byte says where the first file ends.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/MergeImages.h"

namespace {

namespace fs = std::filesystem;
namespace host = zam::host;

struct Scratch {
    Scratch() {
        std::string pattern = (fs::temp_directory_path() / "zam_fuzz_XXXXXX").string();
        directory = mkdtemp(pattern.data());
    }
    ~Scratch() { fs::remove_all(directory); }
    fs::path directory;
};

void write(const fs::path& path, const std::uint8_t* data, std::size_t size) {
    if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
}

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
    static const Scratch scratch;
    const fs::path& directory = scratch.directory;
    if (size == 0) return 0;
    const std::size_t first = (size - 1) * data[0] / 255;
    write(directory / "pceimg00000.img", data + 1, first);
    write(directory / "pceimg00001.img", data + 1 + first, size - 1 - first);
    const OMobj_id instance = make_instance(directory.string());
    if (MergeImagesUpdate(instance, 0, 0) != 1) std::abort();
    const auto account = host::account();
    if (account.outstanding_arrays + account.open_accesses != 0 || !account.faults.empty()) std::abort();
    return 0;
}
