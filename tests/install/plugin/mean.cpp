// mean: the mean of a field's first component. Reads in, writes mean.
#include <zam/contract/contract.h>

#include <numeric>

extern "C" ZAM_MODULE_API int mean_update(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    const OMobj_id in = OMfind_subobj(instance, OMstr_to_name("in"), OM_OBJ_RD);
    int type = DTYPE_FLOAT;
    void* values = nullptr;
    xp_long size = 0;
    if (FLDget_node_data(in, 0, &type, &values, &size, ARR_READ) != OM_STAT_SUCCESS) {
        ERRverror("mean", 2, "the input has no values\n");
        return 0;
    }
    const bool is_float = type == DTYPE_FLOAT && size > 0;
    const auto* from = static_cast<const float*>(values);
    const double mean = is_float ? std::accumulate(from, from + size, 0.0) / static_cast<double>(size) : 0.0;
    ARRfree_f(values, __FILE__, __LINE__);
    if (!is_float) {
        ERRverror("mean", 2, "the input's values are not float\n");
        return 0;
    }
    return OMset_name_real_val(instance, OMstr_to_name("mean"), mean);
}
