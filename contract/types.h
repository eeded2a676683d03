// What every family of host operations shares: handles, type codes, access and hand-over modes, status values.
#pragma once

#include <stddef.h>  // NOLINT(modernize-deprecated-headers): C programs read this too
#include <stdint.h>  // NOLINT(modernize-deprecated-headers)

/// Number of the contract. It changes when modules have to be compiled anew: an operation, a structure or a constant is
/// no longer what it was. The definitions of plug-ins say which one their library was made for.
#define ZAM_CONTRACT_ABI 1

#if defined(_WIN32)
#define ZAM_CONTRACT_EXPORT __declspec(dllexport)
#define ZAM_CONTRACT_IMPORT __declspec(dllimport)
#else
#define ZAM_CONTRACT_EXPORT __attribute__((visibility("default")))
#define ZAM_CONTRACT_IMPORT __attribute__((visibility("default")))
#endif

// Host operations are imported by modules and exported by the host that implements them.
#if defined(ZAM_IMPLEMENTS_CONTRACT)
#define ZAM_HOST_API ZAM_CONTRACT_EXPORT
#else
#define ZAM_HOST_API ZAM_CONTRACT_IMPORT
#endif

// Module entries, exported helpers and exported state of the module library.
#define ZAM_MODULE_API ZAM_CONTRACT_EXPORT

#if defined(__GNUC__)
#define ZAM_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define ZAM_PRINTF_LIKE(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// Counts, sizes and node indices: always 64 bits, whatever `long` is.
typedef int64_t xp_long;

/// The host's handle of one object. Copied freely; what the two words mean is the host's business.
typedef struct OMobj_id {
    uintptr_t word[2];
} OMobj_id;

/// Token of a name, from OMstr_to_name. Tokens are never 0.
typedef int OMobj_name;

/// A host call succeeded when it returned exactly this.
enum { OM_STAT_SUCCESS = 1, OM_STAT_FAILURE = 0 };

/// Element types of arrays, hand-overs and node data.
enum {
    DTYPE_CHAR = 0,    // raw 8-bit storage; sizes in bytes
    DTYPE_BYTE = 1,    // unsigned 8-bit
    DTYPE_SHORT = 2,   // signed 16-bit
    DTYPE_INT = 3,     // signed 32-bit
    DTYPE_FLOAT = 4,   // 32-bit IEEE
    DTYPE_DOUBLE = 5,  // 64-bit IEEE
    DTYPE_LONG = 6     // xp_long
};

/// Last argument of array getters.
enum {
    ARR_READ = 0,       // contents must not be changed
    ARR_WRITE = 1,      // contents are about to be replaced; an array that is absent is made
    ARR_READ_WRITE = 2  // contents are read and changed in place
};

/// Last argument of array setters.
enum {
    ARR_HOST_OWNS = 1,    // the host takes an array of ARRalloc_f over and frees it
    ARR_CALLER_OWNS = 2,  // the host refers to the caller's memory, which must outlive the reference
};

/// Mode of OMfind_subobj and OMfind_str_subobj.
enum { OM_OBJ_RD = 0, OM_OBJ_RW = 1 };

#ifdef __cplusplus
}
#endif
