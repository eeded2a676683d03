// Check of a set of captures against the choices that the next ones would be made with.
// Reads currCount, currSaveMode, saveMode, currDir, tmpDir. Writes warning, done.
#include <exception>

#include "contract/om.h"
#include "modules/support/text_value.h"
#include "modules/zam/ZBufCapture.h"

namespace {

void set_flag(OMobj_id instance, const char* name) { OMset_name_int_val(instance, OMstr_to_name(name), 1); }

/// What cannot be read ends the check silently: there is nothing to compare.
/// @throws std::bad_alloc
void check(OMobj_id instance) {
    int count = 0;
    int set_mode = 0;
    int mode = 0;
    if (OMget_name_int_val(instance, OMstr_to_name("currCount"), &count) != 1 || count < 1) return;
    if (OMget_name_int_val(instance, OMstr_to_name("currSaveMode"), &set_mode) != 1 ||
        OMget_name_int_val(instance, OMstr_to_name("saveMode"), &mode) != 1)
        return;
    if (set_mode != mode) return set_flag(instance, "warning");
    const auto directory = zam::read_text(instance, "currDir");
    if (!directory || directory->empty()) return;
    const auto parent = zam::read_text(instance, "tmpDir");
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
