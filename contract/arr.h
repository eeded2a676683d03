// Arrays that modules and host hand to each other.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Allocates an array that can be handed to the host.
/// @param reserved  null
/// @param type      type code
/// @param count     number of elements, 0 allowed
/// @param zero      0
/// @param file,line where in the source, for the host's account of what is outstanding
/// @return the array, aligned for every type code, or null when memory is exhausted or the size overflows
ZAM_HOST_API void* ARRalloc_f(void* reserved, int type, xp_long count, int zero, const char* file, int line);

/// Ends the use of an array: frees one of ARRalloc_f that was not handed over, ends the access to one that a getter
/// lent. Changes made under ARR_WRITE or ARR_READ_WRITE stay in the host's array. A null pointer does nothing.
ZAM_HOST_API void ARRfree_f(void* array, const char* file, int line);

#ifdef __cplusplus
}
#endif
