// Joystick capture: polls a joystick on a periodic event and shows when it leaves its rest position.
// Reads active, threshold, joystick, interval, owner_wnd. Writes joy1_captured, joy2_captured, changed, and the records
// that ref_info and cur_info point to; keeps event_interval and event_on for itself.
#include "modules/zam/joystick/QELjoyCapture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>

#include "contract/contract.h"
#include "modules/support/batch.h"

namespace {

constexpr double kAxisRange = 65535.0;
constexpr unsigned kFirst = 0;
constexpr unsigned kSecond = 1;

// Which joysticks this process has captured. Instances share them, and none gives a capture back.
int first_captured = 0;
int second_captured = 0;

/// Captures a joystick unless the process has it. @return whether it has it now
bool capture(HWND window, unsigned id, int& process_flag, OMXint member) {
    if (process_flag != 1) {
        process_flag = zam::platform::capture_joystick(window, id) == JOYERR_NOERROR ? 1 : 0;
        // deliberate: also when the second joystick could not be captured, the first one's capture ends.
        if (process_flag == 0) zam::platform::release_joystick(kFirst);
    }
    member = process_flag;
    return process_flag == 1;
}

bool read_position(unsigned id, JOYINFOEX& record) {
    record.dwFlags = JOY_RETURNALL;
    return zam::platform::read_joystick(id, record) == JOYERR_NOERROR;
}

/// The threshold in units of an axis, in single precision first, then truncated. No position is beyond a threshold that
/// is not a number.
int threshold_units(double threshold) {
    constexpr int kMaxUnits = std::numeric_limits<int>::max();
    const double units = static_cast<double>(static_cast<float>(threshold)) * kAxisRange;
    if (!(units < static_cast<double>(kMaxUnits))) return kMaxUnits;
    return static_cast<int>(std::max(units, static_cast<double>(-kMaxUnits)));
}

/// Whether two positions differ by more than a number of units, their difference being a signed 32-bit number.
bool beyond(std::uint32_t a, std::uint32_t b, int units) {
    return std::abs(std::int64_t{static_cast<std::int32_t>(a - b)}) > units;
}

}  // namespace

ZAM_LIB_QELjoyCapture::~ZAM_LIB_QELjoyCapture() { take_registration_back(); }

int ZAM_LIB_QELjoyCapture::inst(unsigned event_mask, int seq) {
    ref_record_.reset(new (std::nothrow) JOYINFOEX{});
    cur_record_.reset(new (std::nothrow) JOYINFOEX{});
    const bool kept =
        ref_record_ && cur_record_ && ref_info().set(ref_record_.get()) == 1 && cur_info().set(cur_record_.get()) == 1;
    if (!kept) {
        ERRout_of_memory("QELjoyCapture: Failure allocating position records");
        ref_info().set(nullptr);
        ref_record_.reset();
        cur_record_.reset();
        return 0;
    }
    ref_record_->dwSize = sizeof(JOYINFOEX);
    cur_record_->dwSize = sizeof(JOYINFOEX);
    last_z_ = 0;
    return update_init(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture::deinst(unsigned event_mask, int seq) {
    EVflush_events();
    del_event(event_mask, seq);
    ref_info().set(nullptr);
    cur_info().set(nullptr);
    ref_record_.reset();
    cur_record_.reset();
    return 1;
}

/// The record that a member's pointer leads to; null if it cannot be read or leads elsewhere.
JOYINFOEX* ZAM_LIB_QELjoyCapture::published(const OMXptr& member, const Record& record) {
    void* pointer = nullptr;
    return member.get(&pointer) == 1 && pointer == record.get() ? record.get() : nullptr;
}

HWND ZAM_LIB_QELjoyCapture::window() const {
    void* pointer = nullptr;
    const OMXptr owner = owner_wnd();
    if (!owner.valid() || owner.get(&pointer) != 1) return nullptr;
    const auto narrowed = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a window handle is a number, of 32 significant bits
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(narrowed));
}

int ZAM_LIB_QELjoyCapture::update_init(unsigned event_mask, int seq) {
    JOYINFOEX* ref = published(ref_info(), ref_record_);
    JOYINFOEX* cur = published(cur_info(), cur_record_);
    const HWND owner = window();
    const int chosen = joystick();
    const bool has_first = capture(owner, kFirst, first_captured, joy1_captured());
    const bool has_second = capture(owner, kSecond, second_captured, joy2_captured());
    if (!ref || !cur) return 1;
    const unsigned id = chosen == 2 ? kSecond : kFirst;  // deliberate: with no joystick chosen the first one is read
    if ((chosen == 2 ? has_second : has_first) && read_position(id, *ref)) {
        read_position(id, *cur);
        update_pos(event_mask, seq);
        if (active() == 1) update_event(event_mask, seq);
    }
    // deliberate: only now, so that the poll above reports a throttle that is away from where it was last reported
    last_z_ = ref->dwZpos;
    return 1;
}

int ZAM_LIB_QELjoyCapture::update_event(unsigned event_mask, int seq) {
    EVflush_events();
    {
        const zam::Context on_behalf(obj_id());
        del_event(event_mask, seq);
    }
    const int wanted = active();
    if (wanted == 1) return add_event(event_mask, seq);
    if (wanted == 0) return del_event(event_mask, seq);
    return 1;
}

int ZAM_LIB_QELjoyCapture::add_event(unsigned /*event_mask*/, int /*seq*/) {
    if (event_on() != 0) return 1;
    take_registration_back();
    const int every = interval();
    if (EVadd_select(EV_PERIODIC, 0, QELjoyCaptureEventUpdate, 0, this, every) != 1) return 1;
    registered_ = every;
    event_on() = 1;
    event_interval() = every;
    return 1;
}

int ZAM_LIB_QELjoyCapture::del_event(unsigned /*event_mask*/, int /*seq*/) {
    if (event_on() != 1) return 1;
    if (EVdel_select(EV_PERIODIC, 0, QELjoyCaptureEventUpdate, 0, this, event_interval()) == 1) registered_.reset();
    take_registration_back();
    event_on() = 0;
    return 1;
}

/// Ends a registration that event_on and event_interval no longer show, because others changed them: the host
/// must not call an instance that is gone.
void ZAM_LIB_QELjoyCapture::take_registration_back() {
    if (registered_) EVdel_select(EV_PERIODIC, 0, QELjoyCaptureEventUpdate, 0, this, *registered_);
    registered_.reset();
}

int ZAM_LIB_QELjoyCapture::update_pos(unsigned event_mask, int seq) {
    const JOYINFOEX* ref = published(ref_info(), ref_record_);
    JOYINFOEX* cur = published(cur_info(), cur_record_);
    const int chosen = joystick();
    if (!ref || !cur) return 1;
    cur->dwSize = sizeof(JOYINFOEX);
    if (chosen == 0 || !read_position(chosen == 2 ? kSecond : kFirst, *cur)) return 1;
    const int moved = update_threshold(event_mask, seq);
    if (moved == 1) changed() = 1;  // deliberate: also when it is 1, so that the host passes every such poll on
    if (moved == 0 && changed() == 1) changed() = 0;
    return 1;
}

int ZAM_LIB_QELjoyCapture::update_threshold(unsigned /*event_mask*/, int /*seq*/) {
    const int units = threshold_units(threshold());
    const JOYINFOEX* ref = published(ref_info(), ref_record_);
    const JOYINFOEX* cur = published(cur_info(), cur_record_);
    if (!ref || !cur) return 0;
    if (beyond(cur->dwXpos, ref->dwXpos, units) || beyond(cur->dwYpos, ref->dwYpos, units) ||
        beyond(cur->dwRpos, ref->dwRpos, units))
        return 1;
    if (beyond(cur->dwZpos, last_z_, units)) {  // a throttle stays where it is put
        last_z_ = cur->dwZpos;
        return 1;
    }
    return cur->dwButtonNumber != ref->dwButtonNumber || cur->dwButtons != ref->dwButtons ? 1 : 0;
}

// --- What the host calls ---

namespace {

ZAM_LIB_QELjoyCapture& capture_of(void* self) { return *static_cast<ZAM_LIB_QELjoyCapture*>(self); }

}  // namespace

void* ZAM_LIB_QELjoyCapture_create(OMobj_id object) { return new (std::nothrow) ZAM_LIB_QELjoyCapture(object); }

void ZAM_LIB_QELjoyCapture_destroy(void* self) { delete static_cast<ZAM_LIB_QELjoyCapture*>(self); }

int ZAM_LIB_QELjoyCapture_inst(void* self, unsigned event_mask, int seq) {
    return capture_of(self).inst(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_deinst(void* self, unsigned event_mask, int seq) {
    return capture_of(self).deinst(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_update_init(void* self, unsigned event_mask, int seq) {
    return capture_of(self).update_init(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_update_pos(void* self, unsigned event_mask, int seq) {
    return capture_of(self).update_pos(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_update_event(void* self, unsigned event_mask, int seq) {
    return capture_of(self).update_event(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_update_threshold(void* self, unsigned event_mask, int seq) {
    return capture_of(self).update_threshold(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_add_event(void* self, unsigned event_mask, int seq) {
    return capture_of(self).add_event(event_mask, seq);
}

int ZAM_LIB_QELjoyCapture_del_event(void* self, unsigned event_mask, int seq) {
    return capture_of(self).del_event(event_mask, seq);
}

void QELjoyCaptureEventUpdate(void* object) {
    auto& self = capture_of(object);
    if (self.event_on() == 1) self.update_pos(0, 0);
}
