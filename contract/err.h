// Reports of failures. The host adds nothing to the texts; what the flag words mean is the host's business.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Reports a formatted message.
/// @param label   who reports; may be empty
/// @param flags   96 most modules, 66 geometry modules, 2 field file reader
/// @param format  as for printf
ZAM_HOST_API void ERRverror(const char* label, int flags, const char* format, ...) ZAM_PRINTF_LIKE(3, 4);

/// Reports a formatted message, with the number of format arguments.
/// @param flags  2 for errors, 16 for warnings
ZAM_HOST_API void ERRerror(const char* label, int argument_count, int flags, const char* format, ...)
    ZAM_PRINTF_LIKE(4, 5);

/// Reports that memory ran out; the text names the routine and the array.
ZAM_HOST_API void ERRout_of_memory(const char* text);

#ifdef __cplusplus
}
#endif
