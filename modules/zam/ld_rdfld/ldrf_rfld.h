// Entries of the read-field module: reads a field file into a field, one time step at a time or all at once.
//
// The instance keeps three pointers between calls: `file_ptr`, the open field file; `RF_ptr`, what is kept of its
// header; `coord_ptr`, the positions read last. An update makes them, a failed read or DVLDread_field_delete ends them.
#pragma once

#include "contract/types.h"

extern "C" {

/// Reads what `filename`, `stepno` and the other parameters ask for into `out` (and `out_all`).
/// @return 1; 0 after a report, or if there was nothing to do
ZAM_MODULE_API int DVLDread_field_update(OMobj_id instance, unsigned event_mask, int seq);

/// Makes `portable` and `swap` exclude each other: the one changed last wins. @return 1
ZAM_MODULE_API int DVLDread_field_set_params(OMobj_id instance, unsigned event_mask, int seq);

/// Releases what the instance keeps between calls. @return 1
ZAM_MODULE_API int DVLDread_field_delete(OMobj_id instance, unsigned event_mask, int seq);
}
