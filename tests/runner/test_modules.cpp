// A module library for the tests of the runner: small modules, each of which shows one thing that a network can do.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>

#include "contract/contract.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"

using namespace zam;

namespace {

OMobj_name name(const char* text) { return OMstr_to_name(text); }

void append(OMobj_id instance, const char* parameter, const std::string& text) {
    const std::string whole = Parameters(instance).text(parameter).value_or("") + text;
    OMset_name_str_val(instance, name(parameter), whole.c_str());
}

void count_tick(void* object) {
    const OMobj_id count = *static_cast<OMobj_id*>(object);
    int ticks = 0;
    OMget_int_val(count, &ticks);
    OMset_int_val(count, ticks + 1);
    OMstatus_check(ticks % 100, "ticking", nullptr);
}

OMobj_id ticking;  // the counter that the timer advances

}  // namespace

extern "C" {

/// sum = a + b; `changed` tells which of them changed since the last run.
ZAM_MODULE_API int test_add(OMobj_id instance, unsigned /*mask*/, int seq) {
    std::string changed;
    for (const char* parameter : {"a", "b"}) {
        if (OMchanged(OMfind_subobj(instance, name(parameter), OM_OBJ_RD), seq) != 0) changed += parameter;
    }
    append(instance, "changed", changed + ";");
    return OMset_name_int_val(instance, name("sum"),
                              Parameters(instance).integer("a", 0) + Parameters(instance).integer("b", 0));
}

/// Records that it was called, where test_add() records changes.
ZAM_MODULE_API int test_add_set_params(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    append(instance, "changed", "set_params ");
    return 1;
}

ZAM_MODULE_API int test_add_delete(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    std::printf("delete %d\n", Parameters(instance).integer("sum", -1));
    return 1;
}

/// Reports as its parameters say, around lines on standard output.
ZAM_MODULE_API int test_report(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    const Parameters parameters(instance);
    const std::string how = parameters.text("how").value_or("");
    const std::string text = parameters.text("text").value_or("");
    std::printf("before\n");
    std::cout << "c++ before\n";
    if (how == "verror") ERRverror("Label", parameters.integer("flags", 96), "%s", text.c_str());
    if (how == "error") ERRerror("label", 0, parameters.integer("flags", 2), "%s", text.c_str());
    if (how == "memory") ERRout_of_memory(text.c_str());
    std::printf("after\n");
    return how == "silent" ? 0 : 1;
}

/// values scaled by a factor into a new array; reports an allocation that fails.
ZAM_MODULE_API int test_scale(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    const auto values = Parameters(instance).array("values");
    if (!values) return 0;
    const auto in = values->as<float>();
    auto out = OutArray<float>::allocate(static_cast<xp_long>(in.size()));
    if (!out) {
        ERRverror("", 96, "scaled array is not allocated\n");
        return 0;
    }
    const auto factor = static_cast<float>(Parameters(instance).integer("factor", 2));
    std::transform(in.begin(), in.end(), out.data(), [&](float value) { return factor * value; });
    return OMset_array(OMfind_subobj(instance, name("scaled"), OM_OBJ_RW), DTYPE_FLOAT, out.release(), out.size(),
                       ARR_HOST_OWNS);
}

/// Grows a list of fields: each run adds one with as many nodes as there are fields.
ZAM_MODULE_API int test_collect(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    const OMobj_id list = OMfind_subobj(instance, name("list"), OM_OBJ_RW);
    xp_long size = 0;
    OMget_array_size(list, &size);
    OMset_array_size(list, size + 1);
    const std::string added = "[" + std::to_string(size) + "]";
    return FLDset_nnodes(OMfind_str_subobj(list, added.c_str(), OM_OBJ_RW), size + 1);
}

/// Its output refers to a field made anew each run, as modules that read files do.
ZAM_MODULE_API int test_make(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    OMobj_id made{};
    const xp_long dim = Parameters(instance).integer("size", 1);
    auto points = OutArray<float>::allocate(2);
    points[0] = 0;
    points[1] = static_cast<float>(dim - 1);
    FLDcreate(instance, &made, 0, "Made", "Mesh_Unif Node_Data");
    FLDset_ndim(made, 1);
    FLDset_dims(made, &dim);
    FLDset_nspace(made, 1);
    FLDset_points(made, points.release(), 2, ARR_HOST_OWNS);
    OMset_obj_ref_mode(OMfind_subobj(instance, name("out"), OM_OBJ_RW), 1);
    return OMset_obj_ref(OMfind_subobj(instance, name("out"), OM_OBJ_RW), made);
}

/// Counts the ticks of the host's timer; shows progress.
ZAM_MODULE_API int test_tick(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    OMpush_status_range(50, 100);
    OMstatus_check(50, nullptr, nullptr);
    OMpop_status_range();
    OMstatus_check(100, "<idle>", nullptr);
    ticking = OMfind_subobj(instance, name("ticks"), OM_OBJ_RW);
    OMset_int_val(ticking, 0);
    return EVadd_select(EV_PERIODIC, 0, count_tick, 0, &ticking, Parameters(instance).integer("interval", 10));
}

/// Its parameters have every kind; it does nothing with them.
ZAM_MODULE_API int test_kinds(OMobj_id /*instance*/, unsigned /*mask*/, int /*seq*/) { return 1; }

}  // extern "C"
