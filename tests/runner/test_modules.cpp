// A module library for the tests of the runner: small modules, each of which shows one thing that a network can do.
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"

namespace {

OMobj_name name(const char* text) { return OMstr_to_name(text); }

int int_of(OMobj_id instance, const char* parameter, int otherwise) {
    int value = otherwise;
    OMget_name_int_val(instance, name(parameter), &value);
    return value;
}

std::string text_of(OMobj_id instance, const char* parameter) {
    char* text = nullptr;
    OMget_name_str_val(instance, name(parameter), &text, 0);
    std::string result = text ? text : "";
    free(text);
    return result;
}

void append(OMobj_id instance, const char* parameter, const std::string& text) {
    OMset_name_str_val(instance, name(parameter), (text_of(instance, parameter) + text).c_str());
}

void count_tick(void* object) {
    const OMobj_id count = *static_cast<OMobj_id*>(object);
    int ticks = 0;
    OMget_int_val(count, &ticks);
    OMset_int_val(count, ticks + 1);
}

OMobj_id ticking;  // the counter that the timer advances

}  // namespace

extern "C" {

/// sum = a + b; `changed` tells which of them changed since the last run; prints to both standard streams' C side.
ZAM_MODULE_API int test_add(OMobj_id instance, unsigned /*mask*/, int seq) {
    std::string changed;
    for (const char* parameter : {"a", "b"}) {
        if (OMchanged(OMfind_subobj(instance, name(parameter), OM_OBJ_RD), seq) != 0) changed += parameter;
    }
    append(instance, "changed", changed + ";");
    OMset_name_int_val(instance, name("sum"), int_of(instance, "a", 0) + int_of(instance, "b", 0));
    return 1;
}

/// Keeps a and b apart: the one set last wins. The first line of the module's story.
ZAM_MODULE_API int test_add_set_params(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    append(instance, "changed", "set_params ");
    return 1;
}

ZAM_MODULE_API int test_add_delete(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    std::printf("delete %d\n", int_of(instance, "sum", -1));
    return 1;
}

/// Reports as its parameters say, around lines on standard output.
ZAM_MODULE_API int test_report(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    const std::string how = text_of(instance, "how");
    const std::string text = text_of(instance, "text");
    std::printf("before\n");
    std::cout << "c++ before\n";
    if (how == "verror") ERRverror("Label", int_of(instance, "flags", 96), "%s", text.c_str());
    if (how == "error") ERRerror("label", 0, int_of(instance, "flags", 2), "%s", text.c_str());
    if (how == "memory") ERRout_of_memory(text.c_str());
    std::printf("after\n");
    return how == "silent" ? 0 : 1;
}

/// values scaled by a factor into a new array; reports an allocation that fails.
ZAM_MODULE_API int test_scale(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    xp_long count = 0;
    int type = 0;
    auto* in = static_cast<float*>(OMret_name_array_ptr(instance, name("values"), ARR_READ, &count, &type));
    if (!in) return 0;
    auto* out = static_cast<float*>(ARRalloc_f(nullptr, DTYPE_FLOAT, count, 0, __FILE__, __LINE__));
    if (out) {
        for (xp_long i = 0; i < count; ++i) out[i] = in[i] * static_cast<float>(int_of(instance, "factor", 2));
        OMset_array(OMfind_subobj(instance, name("scaled"), OM_OBJ_RW), DTYPE_FLOAT, out, count, ARR_HOST_OWNS);
    } else {
        ERRverror("", 96, "scaled array is not allocated\n");
    }
    ARRfree_f(in, __FILE__, __LINE__);
    return out ? 1 : 0;
}

/// Grows a list of fields: each run adds one with as many nodes as there are fields.
ZAM_MODULE_API int test_collect(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    const OMobj_id list = OMfind_subobj(instance, name("list"), OM_OBJ_RW);
    xp_long size = 0;
    OMget_array_size(list, &size);
    OMset_array_size(list, size + 1);
    const std::string path = "list[" + std::to_string(size) + "]";
    return FLDset_nnodes(OMfind_str_subobj(instance, path.c_str(), OM_OBJ_RW), size + 1);
}

/// Its output refers to a field made anew each run, as reading modules do it.
ZAM_MODULE_API int test_make(OMobj_id instance, unsigned /*mask*/, int /*seq*/) {
    OMobj_id made{};
    const xp_long dim = int_of(instance, "size", 1);
    const float points[2] = {0.0F, static_cast<float>(dim - 1)};
    auto* copy = static_cast<float*>(ARRalloc_f(nullptr, DTYPE_FLOAT, 2, 0, __FILE__, __LINE__));
    std::memcpy(copy, points, sizeof points);
    FLDcreate(instance, &made, 0, "Made", "Mesh_Unif Node_Data");
    FLDset_ndim(made, 1);
    FLDset_dims(made, &dim);
    FLDset_nspace(made, 1);
    FLDset_points(made, copy, 2, ARR_HOST_OWNS);
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
    return EVadd_select(EV_PERIODIC, 0, count_tick, 0, &ticking, int_of(instance, "interval", 10));
}

/// Its parameters have every kind; it does nothing with them.
ZAM_MODULE_API int test_kinds(OMobj_id /*instance*/, unsigned /*mask*/, int /*seq*/) { return 1; }

}  // extern "C"
