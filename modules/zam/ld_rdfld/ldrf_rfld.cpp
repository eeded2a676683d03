// Read field: the parameters, when to read what, and what is kept between calls.
#include "modules/zam/ld_rdfld/ldrf_rfld.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "contract/file.h"
#include "contract/om.h"
#include "modules/support/parameters.h"
#include "modules/zam/ld_rdfld/field_reader.h"
#include "modules/zam/ld_rdfld/header_reader.h"
#include "modules/zam/ld_rdfld/reports.h"

namespace zam::ldrf {
namespace {

constexpr std::array<const char*, kMaxCropAxes> kMinNames{"min0", "min1", "min2"};
constexpr std::array<const char*, kMaxCropAxes> kMaxNames{"max0", "max1", "max2"};
constexpr std::array<const char*, kMaxCropAxes> kFactorNames{"factor0", "factor1", "factor2"};
constexpr std::array<const char*, kMaxCropAxes> kEndNames{"end0", "end1", "end2"};

/// Values of `check`: what a new file does.
enum Check : int {
    kReadAtOnce = 0,
    kShowFirst = 1,     // show the header's crop; data only on `exec`
    kReadFollowed = 2,  // the header insists on its own crop: a full read followed the header
};

/// The parameters of an instance: read and written by name, and asked whether they have changed since call `seq`.
class ReaderParameters : public Parameters {
public:
    ReaderParameters(OMobj_id instance, int seq) : Parameters(instance), instance_(instance), seq_(seq) {}

    bool changed(const char* name) const { return changed(find(name)); }
    bool changed(OMobj_id object) const { return OMvalid_obj(object) == 1 && OMchanged(object, seq_) != 0; }

    void set_int(const char* name, xp_long value) const {
        const xp_long limit = std::numeric_limits<int>::max();
        OMset_name_int_val(instance_, OMstr_to_name(name), static_cast<int>(std::clamp(value, -limit, limit)));
    }
    void set_real(const char* name, double value) const { OMset_name_real_val(instance_, OMstr_to_name(name), value); }
    void set_text(const char* name, const std::string& text) const {
        OMset_name_str_val(instance_, OMstr_to_name(name), text.c_str());
    }
    bool set_pointer(const char* name, void* value) const {
        return OMset_name_ptr_val(instance_, OMstr_to_name(name), value, 0) == 1;
    }

    /// Reads an int or real into `value`; if it cannot be read, writes `value` into the parameter.
    void exchange(const char* name, int& value) const {
        if (const auto given = integer(name))
            value = *given;
        else
            set_int(name, value);
    }
    void exchange(const char* name, float& value) const {
        if (const auto given = real(name))
            value = static_cast<float>(*given);
        else
            set_real(name, static_cast<double>(value));
    }

private:
    OMobj_id instance_;
    int seq_;
};

void read_crop(const ReaderParameters& parameters, CropSettings& crop) {
    for (std::size_t axis = 0; axis < kMaxCropAxes; ++axis) {
        parameters.exchange(kMinNames[axis], crop.min[axis]);
        parameters.exchange(kMaxNames[axis], crop.max[axis]);
        parameters.exchange(kFactorNames[axis], crop.factor[axis]);
    }
}

void write_crop(const ReaderParameters& parameters, const CropSettings& crop) {
    for (std::size_t axis = 0; axis < kMaxCropAxes; ++axis) {
        parameters.set_int(kMinNames[axis], crop.min[axis]);
        parameters.set_int(kMaxNames[axis], crop.max[axis]);
        parameters.set_real(kFactorNames[axis], static_cast<double>(crop.factor[axis]));
    }
}

/// What an instance keeps in one of its pointers: taken out while a call works with it, put back afterwards. An
/// instance that does not let go of its pointer, or cannot hold one, is never left with one that is gone.
template <class Owner>
class Kept {
public:
    Kept(const ReaderParameters& parameters, const char* name, Owner& owner)
        : parameters_(parameters), name_(name), owner_(owner) {
        const auto kept = parameters.pointer(name);
        taken_ = kept && parameters.set_pointer(name, nullptr);
        if (taken_) owner_.reset(static_cast<typename Owner::element_type*>(*kept));
    }
    ~Kept() {
        if (taken_ && owner_ && parameters_.set_pointer(name_, owner_.get())) (void)owner_.release();
    }
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;

private:
    const ReaderParameters& parameters_;
    const char* name_;
    Owner& owner_;
    bool taken_;
};

/// Whether an object that may move through the steps has changed.
enum class Trigger { missing, still, changed };

/// The parameters that decide what a call does, as they were when it came.
struct Asked {
    int check = kReadAtOnce;
    bool exec = false;
    bool name_changed = false;
    bool store_all_changed = false;
    // of a stepping call
    bool file_open = false;
    bool reread = false;  // values are wanted in a form other than the one they were read in
    int nsteps = 0;
    int stepno = 1;
    Trigger forward = Trigger::still, backward = Trigger::still, chosen = Trigger::still;  // `chosen`: stepno

    bool stepping() const { return !exec && !name_changed && !store_all_changed; }
    bool moving() const { return stepping() && file_open && !reread && nsteps >= 2; }
};

enum class Action { nothing, show_header, read_new, step };

/// What a call does.
struct Choice {
    Action action = Action::nothing;
    int step = 1;                 // to read
    const char* fault = nullptr;  // to be reported
};

/// Moves on through the steps.
Choice choose_step(const Asked& asked) {
    if (asked.forward == Trigger::missing) return {.fault = "Can't get 'forward' object id."};
    if (asked.backward == Trigger::missing) return {.fault = "Can't get 'backward' object id."};
    if (asked.chosen == Trigger::missing) return {.fault = "Can't get 'stepno' object id."};
    int step = asked.stepno;
    if (asked.forward == Trigger::changed) {
        step = step >= asked.nsteps ? 1 : step + 1;
    } else if (asked.backward == Trigger::changed) {
        step = step <= 1 ? asked.nsteps : step - 1;
    } else if (asked.chosen != Trigger::changed) {
        return {};
    }
    return {Action::step, std::clamp(step, 1, asked.nsteps)};
}

Choice choose(const Asked& asked) {
    if (asked.stepping()) {
        if (!asked.file_open) return {};  // nothing has been read yet
        if (asked.reread) return {Action::step, asked.stepno};
        return asked.moving() ? choose_step(asked) : Choice{};
    }
    const bool store_all_asks = asked.store_all_changed && !asked.name_changed;  // not only because the file did
    const bool show_first = asked.check == kShowFirst && !asked.exec && !store_all_asks;
    return {show_first ? Action::show_header : Action::read_new};
}

/// One call of the update.
class Update {
public:
    Update(OMobj_id instance, int seq) : parameters_(instance, seq) { read_.instance = instance; }

    int run();
    void release();

private:
    Asked look();
    void look_at_steps(Asked& asked) const;
    Trigger look_at(const char* name) const;
    bool perform(const Choice& choice);
    bool open_new_file();
    bool read_new(Action action);
    bool read_step();
    bool read_file_name();
    bool find_outputs();
    int finish(Action action, bool done);
    void write_back_header();
    int connect_outputs();

    ReaderParameters parameters_;
    FieldRead read_;
    FileHandle file_;
    OMobj_id out_ = OMnull_obj();
    OMobj_id out_all_ = OMnull_obj();
    int check_ = kReadAtOnce;
    bool data_read_ = false;
    bool reread_ = false;  // stored steps no longer hold what is wanted

    // put back in reverse order, before the members above end
    Kept<FileHandle> kept_file_{parameters_, "file_ptr", file_};
    Kept<std::unique_ptr<KeptHeader>> kept_header_{parameters_, "RF_ptr", read_.header};
    Kept<std::unique_ptr<CoordinateCache>> kept_coordinates_{parameters_, "coord_ptr", read_.coordinates};
};

void Update::release() {
    LDRFinit(read_);
    file_.reset();
}

int Update::run() {
    const Asked asked = look();
    check_ = asked.check;
    reread_ = asked.reread;
    const Choice choice = choose(asked);
    if (choice.fault != nullptr) return kReport.fail(choice.fault);
    if (choice.action == Action::nothing) return 0;
    bool done = false;
    try {
        done = perform(choice);
    } catch (const std::bad_alloc&) {
        ERRout_of_memory("DVread_field_update: Failure allocating results struct");
    }
    return finish(choice.action, done);
}

// --- What is asked for ---

/// Reads the parameters, and resets those that a new file or `check` decides.
Asked Update::look() {
    Asked asked;
    read_.portable = parameters_.integer("portable", 0) == 1;
    read_.swap = parameters_.integer("swap", 0) == 1;
    read_.flip = parameters_.integer("flip", 0) == 1;
    asked.store_all_changed = parameters_.changed(parameters_.find("store_all", OM_OBJ_RW));
    read_.store_all = parameters_.integer("store_all", 0) == 1;
    asked.name_changed = parameters_.changed("filename");
    if (asked.name_changed) {  // a new file never starts with all steps stored
        read_.store_all = false;
        parameters_.set_int("store_all", 0);
        parameters_.set_int("store_all_visible", 0);
    }
    if (asked.store_all_changed && !read_.store_all) parameters_.set_int("store_all_visible", 0);

    asked.check = parameters_.integer("check", kReadAtOnce);
    if (read_.header) read_.crop = read_.header->crop;
    if (asked.check != kReadAtOnce) {
        read_crop(parameters_, read_.crop);
    } else {
        write_crop(parameters_, read_.crop);
        parameters_.set_int("exec", 0);
    }
    asked.exec = parameters_.integer("exec", 0) == 1;
    asked.file_open = file_ != nullptr;
    if (asked.stepping() && asked.file_open) look_at_steps(asked);
    return asked;
}

void Update::look_at_steps(Asked& asked) const {
    asked.nsteps = parameters_.integer("nsteps", 0);
    asked.stepno = parameters_.integer("stepno", 1);
    asked.reread = parameters_.changed("flip") || parameters_.changed("portable");
    if (!asked.moving()) return;
    asked.forward = look_at("forward");
    asked.backward = look_at("backward");
    asked.chosen = look_at("stepno");
}

Trigger Update::look_at(const char* name) const {
    const OMobj_id object = parameters_.find(name);
    if (OMvalid_obj(object) != 1) return Trigger::missing;
    return parameters_.changed(object) ? Trigger::changed : Trigger::still;
}

// --- Reading ---

bool Update::perform(const Choice& choice) {
    read_.step = choice.step;
    return choice.action == Action::step ? read_step() : open_new_file() && read_new(choice.action);
}

/// Fails with a report if there is no name.
bool Update::read_file_name() {
    auto name = parameters_.text("filename");
    if (!name) return kReport.fail("Can't get filename.");
    read_.field.name = std::move(*name);
    return true;
}

/// Fails with a report if the outputs are missing.
bool Update::find_outputs() {
    out_ = parameters_.find("out");
    if (OMvalid_obj(out_) != 1) return kReport.fail("Can't get 'out' object id.");
    out_all_ = parameters_.find("out_all");
    if (OMvalid_obj(out_all_) != 1) return kReport.fail("Can't get 'out_all' object id.");
    return true;
}

bool Update::open_new_file() {
    read_crop(parameters_, read_.crop);
    parameters_.set_int("stepno", 0);
    parameters_.set_int("nsteps", 0);
    if (!read_file_name()) return false;
    if (!find_outputs()) return false;
    release();
    file_.reset(FILEfopen(read_.field.name.c_str(), "rb"));
    if (!file_) return kReport.fail("Can't open file");
    read_.field.file = file_.get();
    const int nsteps = count_steps(file_.get());
    return nsteps >= 1 && LDRF_alloc(header_model(), nsteps) == 1;
}

/// Reads the header, or header and data. Data follow a header at once if it insists on its own crop.
bool Update::read_new(Action action) {
    if (action == Action::show_header) {
        if (!LDRFread_field_header(read_)) return false;
        data_read_ = read_.header_insists;
    } else {
        read_.user_crop = check_ != kReadAtOnce;
        data_read_ = true;
    }
    if (data_read_ && !LDRFread_field(read_)) return false;
    if (action == Action::show_header || check_ == kReadFollowed) check_ = kShowFirst;
    return true;
}

bool Update::read_step() {
    data_read_ = true;
    if (!read_file_name()) return false;
    if (!find_outputs()) return false;
    read_.field.file = file_.get();
    read_.user_crop = check_ != kReadAtOnce;
    if (read_.store_all) {
        read_.all_stored = !reread_ && OMget_obj_ref(out_all_, &read_.out_all, 0) == 1;
    }
    return LDRFread_field(read_);
}

// --- The end of every call that did something ---

/// Writes back what the call decided. Nothing is kept of a failed one, nor of a header without data.
int Update::finish(Action action, bool done) {
    parameters_.set_int("exec", 0);
    if (done && action != Action::step) parameters_.set_int("nsteps", read_.nsteps);
    if (done || action == Action::step) write_back_header();
    if (data_read_ && (done || action == Action::step)) {
        parameters_.set_int("stepno", read_.step);
        parameters_.set_text("time_string", read_.time_text);
    }
    if (done && data_read_) return connect_outputs();
    release();
    return done ? 1 : 0;
}

/// What is known of the header, and the crop in force.
void Update::write_back_header() {
    parameters_.set_int("check", check_);
    if (read_.header) read_.ndim = read_.header->model->ndim;
    if (read_.ndim < 0) return;
    parameters_.set_int("ndim", read_.ndim);
    write_crop(parameters_, read_.crop);
    for (std::size_t axis = 0; axis < kMaxCropAxes; ++axis) parameters_.set_int(kEndNames[axis], read_.crop.end[axis]);
}

int Update::connect_outputs() {
    if (read_.store_all && !read_.all_stored) {
        OMset_obj_ref_mode(out_all_, 1);
        if (OMset_obj_ref(out_all_, read_.out_all) != 1) return 0;
    }
    OMset_obj_ref_mode(out_, 1);
    return OMset_obj_ref(out_, read_.out_field);
}

}  // namespace
}  // namespace zam::ldrf

using zam::ldrf::ReaderParameters;
using zam::ldrf::Update;

int DVLDread_field_set_params(OMobj_id instance, unsigned /*event_mask*/, int seq) {
    const ReaderParameters parameters(instance, seq);
    const OMobj_id portable = parameters.find("portable", OM_OBJ_RW);
    const OMobj_id swap = parameters.find("swap", OM_OBJ_RW);
    if (OMvalid_obj(portable) != 1 || OMvalid_obj(swap) != 1) return 1;
    if (parameters.integer("portable", 0) != 1 || parameters.integer("swap", 0) != 1) return 1;
    if (parameters.changed(portable)) {
        parameters.set_int("swap", 0);
    } else if (parameters.changed(swap)) {
        parameters.set_int("portable", 0);
    }
    return 1;
}

int DVLDread_field_update(OMobj_id instance, unsigned /*event_mask*/, int seq) {
    try {
        return Update(instance, seq).run();
    } catch (const std::bad_alloc&) {
        ERRout_of_memory("DVread_field_update: Failure allocating results struct");
        return 0;
    }
}

int DVLDread_field_delete(OMobj_id instance, unsigned /*event_mask*/, int seq) {
    Update(instance, seq).release();
    return 1;
}
