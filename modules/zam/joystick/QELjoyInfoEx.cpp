// Joystick info: the position records of a joystick capture as numbers, each axis as its deflection from rest.
// Reads ref_link, cur_link, axis_scale, verbose, btn_count. Writes x_pos to v_pos, pov, btn_num, buttons, btn_1 to
// btn_8, updated.
#include "modules/zam/joystick/QELjoyInfoEx.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <new>

#include "contract/contract.h"
#include "modules/support/parameters.h"

namespace {

constexpr double kAxisRange = 65535.0;
constexpr int kMaxButtons = 65536;
constexpr std::array<const char*, 8> kButtonNames{"btn_1", "btn_2", "btn_3", "btn_4",
                                                  "btn_5", "btn_6", "btn_7", "btn_8"};

/// A value of the record in both positions, as people know it.
struct Shown {
    const char* label;
    decltype(JOYINFOEX::dwXpos) JOYINFOEX::*value;
};
constexpr Shown kShown[] = {
    {"dwXpos    ", &JOYINFOEX::dwXpos},
    {"dwYpos    ", &JOYINFOEX::dwYpos},
    {"dwZpos    ", &JOYINFOEX::dwZpos},
    {"dwRpos    ", &JOYINFOEX::dwRpos},
    {"dwUpos    ", &JOYINFOEX::dwUpos},
    {"dwVpos    ", &JOYINFOEX::dwVpos},
    {"dwButtonNum ", &JOYINFOEX::dwButtonNumber},
    {"dwButtons ", &JOYINFOEX::dwButtons},
    {"dwPOV     ", &JOYINFOEX::dwPOV},
};

struct Axis {
    const char* member;
    decltype(JOYINFOEX::dwXpos) JOYINFOEX::*value;
};
constexpr Axis kAxes[] = {
    {"x_pos", &JOYINFOEX::dwXpos}, {"y_pos", &JOYINFOEX::dwYpos}, {"z_pos", &JOYINFOEX::dwZpos},
    {"r_pos", &JOYINFOEX::dwRpos}, {"u_pos", &JOYINFOEX::dwUpos}, {"v_pos", &JOYINFOEX::dwVpos},
};

/// The record that a link leads to; null if there is none or the pointer is to something else: a record begins with
/// its size.
const JOYINFOEX* record_of(const OMXptr& link) {
    void* pointer = nullptr;
    if (!link.valid() || link.get(&pointer) != 1 || !pointer) return nullptr;
    const auto* record = static_cast<const JOYINFOEX*>(pointer);
    return record->dwSize == sizeof(JOYINFOEX) ? record : nullptr;
}

void print(const JOYINFOEX& cur, const JOYINFOEX& ref) {
    std::fputs("-- joystick info ex --\n", stderr);
    for (const auto& [label, value] : kShown)
        std::fprintf(stderr, "%s= %d (%d)\n", label, static_cast<int>(cur.*value), static_cast<int>(ref.*value));
}

}  // namespace

int ZAM_LIB_QELjoyInfoEx::inst(unsigned /*event_mask*/, int /*seq*/) { return 1; }

int ZAM_LIB_QELjoyInfoEx::deinst(unsigned /*event_mask*/, int /*seq*/) { return 1; }

int ZAM_LIB_QELjoyInfoEx::update_info(unsigned /*event_mask*/, int /*seq*/) {
    const int count = std::clamp<int>(btn_count(), 0, kMaxButtons);
    for (const char* name : kButtonNames) OMXint(*this, name) = 0;
    const JOYINFOEX* ref = record_of(ref_link());
    const JOYINFOEX* cur = record_of(cur_link());
    if (!ref || !cur) return 1;
    if (verbose() == 1) print(*cur, *ref);
    write_axes(*cur, *ref);
    pov() = static_cast<double>(static_cast<float>(cur->dwPOV));
    btn_num() = static_cast<int>(cur->dwButtonNumber);
    write_buttons(*cur, count);
    updated() = 1;
    return 1;
}

/// Deflections: differences in single precision, scaled in double precision.
void ZAM_LIB_QELjoyInfoEx::write_axes(const JOYINFOEX& cur, const JOYINFOEX& ref) const {
    const double scale = axis_scale();
    for (const auto& [member, value] : kAxes) {
        const float deflection = static_cast<float>(cur.*value) - static_cast<float>(ref.*value);
        OMXreal(*this, member) = static_cast<double>(deflection) * scale / kAxisRange;
    }
}

void ZAM_LIB_QELjoyInfoEx::write_buttons(const JOYINFOEX& cur, int count) const {
    OMset_array_size(buttons().obj_id(), count);
    const auto states = zam::Parameters(obj_id()).elements<int>("buttons", ARR_READ_WRITE);
    std::uint32_t mask = 1;
    for (int i = 0; i < count; ++i) {
        const int pressed = (std::uint32_t{cur.dwButtons} & mask) != 0 ? 1 : 0;
        if (i < states.size()) states[i] = pressed;
        if (i < static_cast<int>(kButtonNames.size()))
            OMXint(*this, kButtonNames[static_cast<std::size_t>(i)]) = pressed;
        mask = std::rotl(mask, 1);  // deliberate: from element 32 on the buttons come round again
    }
}

// --- What the host calls ---

void* ZAM_LIB_QELjoyInfoEx_create(OMobj_id object) { return new (std::nothrow) ZAM_LIB_QELjoyInfoEx(object); }

void ZAM_LIB_QELjoyInfoEx_destroy(void* self) { delete static_cast<ZAM_LIB_QELjoyInfoEx*>(self); }

int ZAM_LIB_QELjoyInfoEx_inst(void* self, unsigned event_mask, int seq) {
    return static_cast<ZAM_LIB_QELjoyInfoEx*>(self)->inst(event_mask, seq);
}

int ZAM_LIB_QELjoyInfoEx_deinst(void* self, unsigned event_mask, int seq) {
    return static_cast<ZAM_LIB_QELjoyInfoEx*>(self)->deinst(event_mask, seq);
}

int ZAM_LIB_QELjoyInfoEx_update_info(void* self, unsigned event_mask, int seq) {
    return static_cast<ZAM_LIB_QELjoyInfoEx*>(self)->update_info(event_mask, seq);
}
