// Clears captures. Reads currCount, currDir and the set's directory. Empties out, deletes the set's files and its
// directory, sets currCount to 0 and currDir to the empty text.
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_handle.h"
#include "contract/om.h"
#include "modules/support/parameters.h"
#include "modules/zam/ZBufCapture.h"
#include "modules/zam/capture/capture_file.h"
#include "platform/directory.h"

namespace {

namespace platform = zam::platform;

/// Deletes captures 0 to `count` - 1 as far as they exist. The directory is searched, since a count may be any number.
/// @throws std::bad_alloc
void delete_captures(const std::string& directory, int count) {
    std::vector<int> numbers;
    platform::visit_names(directory, [&](std::string_view name) {
        const auto number = zam::capture_number(name);
        if (number && *number < count) numbers.push_back(*number);
    });
    for (const int number : numbers) {
        const std::string name = zam::capture_name_to_read(directory, number);
        const bool readable = zam::FileHandle(platform::open_to_read(name)) != nullptr;
        if (readable) platform::delete_file(name);
    }
}

/// @throws std::bad_alloc
void clear(OMobj_id instance) {
    const zam::Parameters params(instance);
    const OMobj_id out = params.find("out", OM_OBJ_RW);
    OMset_array_size(out, 0);
    params.find("depth", OM_OBJ_RW);
    OMset_array_size(out, 0);  // deliberate: `out` once more; `depth` stays as it is

    const int count = params.integer("currCount", 0);
    OMset_name_int_val(instance, OMstr_to_name("currCount"), 0);
    const auto directory = params.text("currDir");
    if (directory && !directory->empty()) {
        delete_captures(*directory, count);
        if (!platform::remove_directory(*directory)) return;  // silent: currDir still says where the other files are
    }
    OMset_name_str_val(instance, OMstr_to_name("currDir"), "");
}

}  // namespace

int ZBufClearUpdate(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        clear(instance);
    } catch (const std::exception&) {  // no memory for names: what is left of the set stays recorded
    }
    return 1;
}
