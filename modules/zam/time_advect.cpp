// Time advection: the clock of particles that move through the steps of a time-varying field.
// Reads total_step, current_step, current_step_label, in_probe (seeds, at step 1), in_probe2 (particles, later on).
// Writes time (the current step's entry), out_probe (positions in world space), out_time (since the previous step).
#include "modules/zam/time_advect.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"

namespace {

using zam::HostArray;
using zam::MemoryBudget;
using zam::OutArray;
using zam::Parameters;

// --- The clock ---

struct Step {
    int number;  // from 1
    float time;
};

std::optional<Step> read_step(OMobj_id instance) {
    std::array<char, 257> label{};  // 256 characters
    char* place = label.data();
    const auto number = Parameters(instance).integer("current_step");
    if (!number) return std::nullopt;
    if (OMget_name_str_val(instance, OMstr_to_name("current_step_label"), &place, int{label.size()}) != 1)
        return std::nullopt;
    return Step{*number, static_cast<float>(std::strtod(label.data(), nullptr))};
}

/// Writes the step's entry of `time`. @return false, with nothing written, if there is no such entry
bool record_time(const Parameters& params, const Step& step) {
    const auto time = params.elements<float>("time", ARR_READ_WRITE);
    if (step.number < 1 || time.size() < step.number) return false;
    time[step.number - 1] = step.time;
    return true;
}

/// Time since the previous step; `nullopt` if `time` is too short.
std::optional<float> elapsed_time(const Parameters& params, const Step& step) {
    if (step.number == 1) return 0.0F;
    const auto time = params.elements<float>("time", ARR_READ);
    if (time.size() < step.number) return std::nullopt;
    return time[step.number - 1] - time[step.number - 2];
}

// --- The probe ---

/// Row vectors: p' = (p - center) mat + xlate + center, without the translation that mat may hold.
struct Transform {
    HostArray<float> mat, xlate, center;

    bool is_complete() const { return mat.size() >= 16 && xlate.size() >= 3 && center.size() >= 3; }

    void apply(const float* from, int nspace, float* to) const {
        const float x = from[0] - center[0];
        const float y = from[1] - center[1];
        const float z = (nspace >= 3 ? from[2] : 0.0F) - center[2];
        for (int k = 0; k < 3; ++k) to[k] = x * mat[k] + y * mat[4 + k] + z * mat[8 + k] + xlate[k] + center[k];
    }
};

/// Positions of a probe's nodes in world space, three floats each; empty if they cannot be computed.
OutArray<float> world_positions(OMobj_id probe) {
    xp_long nnodes = 0;
    int nspace = 0;
    HostArray<float> coord;
    if (FLDget_nnodes(probe, &nnodes) != 1 || nnodes < 1 || FLDget_nspace(probe, &nspace) != 1 || nspace < 2) return {};
    if (FLDget_coord(probe, coord.receive(), coord.receive_count(), ARR_READ) != 1) return {};
    if (coord.span().empty() || coord.size() / nspace < nnodes || nnodes > std::numeric_limits<xp_long>::max() / 3)
        return {};
    const Parameters xform = Parameters(probe).group("xform");
    const Transform transform{xform.elements<float>("mat", ARR_READ), xform.elements<float>("xlate", ARR_READ),
                              xform.elements<float>("center", ARR_READ)};
    if (!transform.is_complete()) return {};
    MemoryBudget memory;
    auto world = memory.allocate<float>(nnodes * 3);
    if (!world) return {};
    for (xp_long node = 0; node < nnodes; ++node) {
        transform.apply(coord.data() + node * nspace, nspace, world.data() + node * 3);
    }
    return world;
}

void write_outputs(OMobj_id instance, OutArray<float> positions, float elapsed) {
    const OMobj_id probe = Parameters(instance).find("out_probe", OM_OBJ_RW);
    if (FLDset_nnodes(probe, positions.size() / 3) != 1 || FLDset_nspace(probe, 3) != 1) return;
    if (FLDset_coord(probe, positions.data(), positions.size(), ARR_HOST_OWNS) != 1) return;
    positions.release();
    OMset_name_real_val(instance, OMstr_to_name("out_time"), static_cast<double>(elapsed));
}

void update(OMobj_id instance, int seq) {
    // what changed does not matter, but hosts may count on being asked
    const Parameters params(instance);
    if (OMchanged(params.find("total_step"), seq) == 0) OMchanged(params.find("current_step"), seq);
    const auto step = read_step(instance);
    if (!step || !record_time(params, *step)) return;
    const auto elapsed = elapsed_time(params, *step);
    if (!elapsed) return;
    auto positions = world_positions(params.find(step->number == 1 ? "in_probe" : "in_probe2"));
    if (!positions) {
        std::fputs("Can not get coordinate.\n", stdout);
        return;
    }
    write_outputs(instance, std::move(positions), *elapsed);
}

}  // namespace

int ZAMtime_advect(OMobj_id instance, unsigned /*event_mask*/, int seq) {
    update(instance, seq);
    return 1;  // deliberate: also when something could not be done
}
