// File helpers of the host. Either separator, '/' or '\', is accepted in names.
#pragma once

#include <stdio.h>  // NOLINT(modernize-deprecated-headers): C programs read this too

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Longest file name that the helpers write, terminator included.
enum { FILE_NAME_SIZE = 1024 };

/// Opens a file as fopen does, after expanding host variables in its name. Null on failure; directories fail.
ZAM_HOST_API FILE* FILEfopen(const char* name, const char* mode);

/// Expands host variables: `$NAME` is the environment variable (unset: empty), `$XP_PATH<k>` entry k, from 0, of the
/// blank-separated list in XP_PATH.
/// @param expanded  buffer of `size` bytes; a longer result is cut, always terminated
/// @return `expanded`
ZAM_HOST_API char* FILEmap_variables(const char* name, char* expanded, int size);

/// 1 when the name starts at a root: a separator, or a drive letter and a colon.
ZAM_HOST_API int FILEis_path_absolute(const char* name);

/// The directory part of a name without its last separator ("/" keeps it); empty if there is none.
/// @return `directory`, a buffer of `size` bytes
ZAM_HOST_API char* FILEget_dir_name(const char* name, char* directory, int size);

/// Joins a directory and a file name with a separator; an empty directory gives the file name alone.
/// @return `joined`, a buffer of `size` bytes
ZAM_HOST_API char* FILEconcat_dir_and_file(const char* directory, const char* file, char* joined, int size);

#ifdef __cplusplus
}
#endif
