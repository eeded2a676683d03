// What a voxel text holds, without making its grid: few samples can span one that memory hardly holds.
#pragma once

#include "contract/types.h"

extern "C" {

/// Gives a field the mesh that the module reads from a text, and its components with their ranges but without values.
/// Memory grows with the text, not with the grid.
/// @param file          opened through the host
/// @param header_lines  skipped before the samples
/// @param counts        receives three: samples in the text, samples with a place in the grid, nodes with a sample
/// @return 1, or 0 after a report or a line on the standard error stream
ZAM_MODULE_API int zam_describe_voxels(const char* file, int header_lines, OMobj_id field, xp_long* counts);
}
