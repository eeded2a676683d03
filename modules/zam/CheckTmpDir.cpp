// Checks a set of captures against the settings that the next ones would be made with.
// Reads currCount, currSaveMode, saveMode, currDir, tmpDir. Writes warning, done.
#include <exception>

#include "contract/om.h"
#include "modules/support/parameters.h"
#include "modules/zam/ZBufCapture.h"

namespace {

void set_flag(OMobj_id instance, const char* name) { OMset_name_int_val(instance, OMstr_to_name(name), 1); }

/// What cannot be read ends the check silently: there is nothing to compare.
/// @throws std::bad_alloc
void check(OMobj_id instance) {
    const zam::Parameters params(instance);
    if (params.integer("currCount", 0) < 1) return;
    const auto set_mode = params.integer("currSaveMode");
    if (!set_mode) return;
    const auto mode = params.integer("saveMode");
    if (!mode) return;
    if (set_mode != mode) return set_flag(instance, "warning");
    const auto directory = params.text("currDir");
    if (!directory || directory->empty()) return;
    const auto parent = params.text("tmpDir");
    if (!parent) return;
    if (!directory->starts_with(*parent)) set_flag(instance, "warning");
    set_flag(instance, "done");  // deliberate: with a warning too
}

}  // namespace

int CheckTmpDirUpdate(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    try {
        check(instance);
    } catch (const std::exception&) {  // silent: no memory for the texts
    }
    return 1;
}
