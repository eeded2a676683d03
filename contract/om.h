// Object manager: objects by name, their values, references, contexts, grouped changes and progress.
//
// Unless a line says otherwise, an operation takes the handle of the object concerned first and returns its status:
// 1 for success, anything else for failure. A failing getter leaves the place of its result as it was. Operations on
// values follow references: a parameter that refers to another object reads and writes that object.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

// --- Handles and names ---

/// A handle that names nothing.
ZAM_HOST_API OMobj_id OMnull_obj(void);

/// Whether `object` names an object that exists: 1 or 0.
ZAM_HOST_API int OMvalid_obj(OMobj_id object);

/// The token of a name. The same text gives the same token for the life of the host. A null text gives 0.
ZAM_HOST_API OMobj_name OMstr_to_name(const char* text);

/// The sub-object `name` of `parent` (references followed), or an invalid handle if there is none.
/// @param mode  OM_OBJ_RD to read, OM_OBJ_RW to read and write
ZAM_HOST_API OMobj_id OMfind_subobj(OMobj_id parent, OMobj_name name, int mode);

/// The object that `path` names below `parent`: names joined with dots, elements of an array of objects as "in[3]".
/// An invalid handle if there is none.
ZAM_HOST_API OMobj_id OMfind_str_subobj(OMobj_id parent, const char* path, int mode);

// --- Scalar values by name of a sub-object ---

/// Reads sub-object `name` as an int. A real is truncated toward zero; one that does not fit in an int fails.
ZAM_HOST_API int OMget_name_int_val(OMobj_id object, OMobj_name name, int* value);

/// Reads sub-object `name` as a real.
ZAM_HOST_API int OMget_name_real_val(OMobj_id object, OMobj_name name, double* value);

/// Reads sub-object `name` as a text.
/// @param value  with size 0: receives a new text that the caller releases with free().
///               otherwise: *value is the caller's buffer of `size` bytes; a longer text is cut, always terminated.
ZAM_HOST_API int OMget_name_str_val(OMobj_id object, OMobj_name name, char** value, int size);

/// Reads the pointer kept in sub-object `name`; it is null until one has been set. `zero` is 0.
ZAM_HOST_API int OMget_name_ptr_val(OMobj_id object, OMobj_name name, void** value, int zero);

/// Set sub-object `name`, which must exist. Texts are copied; a null text clears.
ZAM_HOST_API int OMset_name_int_val(OMobj_id object, OMobj_name name, int value);
ZAM_HOST_API int OMset_name_real_val(OMobj_id object, OMobj_name name, double value);
ZAM_HOST_API int OMset_name_str_val(OMobj_id object, OMobj_name name, const char* value);

/// Keeps a pointer of the module's in sub-object `name`. The host never follows it. `zero` is 0.
ZAM_HOST_API int OMset_name_ptr_val(OMobj_id object, OMobj_name name, void* value, int zero);

// --- Scalar values of an object itself; conversions, ownership and failures as for the forms by name ---

ZAM_HOST_API int OMget_int_val(OMobj_id object, int* value);
ZAM_HOST_API int OMget_real_val(OMobj_id object, double* value);
ZAM_HOST_API int OMget_str_val(OMobj_id object, char** value, int size);
ZAM_HOST_API int OMget_ptr_val(OMobj_id object, void** value);
ZAM_HOST_API int OMset_int_val(OMobj_id object, int value);
ZAM_HOST_API int OMset_real_val(OMobj_id object, double value);
ZAM_HOST_API int OMset_str_val(OMobj_id object, const char* value);
ZAM_HOST_API int OMset_ptr_val(OMobj_id object, void* value);

/// Sets entry `index` (from 0) of an array of texts, which grows as needed; null clears the entry.
ZAM_HOST_API int OMset_str_array_val(OMobj_id object, xp_long index, const char* value);

/// Resolves a reference into the handle of the object referred to, through chains of references; an object that is not
/// a reference gives itself. Fails if a reference leads nowhere.
ZAM_HOST_API int OMget_obj_val(OMobj_id object, OMobj_id* value);

// --- Arrays ---

/// Opens the typed array in sub-object `name`.
/// @param mode   ARR_READ or ARR_READ_WRITE
/// @param count  receives the number of elements, or null
/// @param type   receives the type code, or null
/// @return the host's array, which the caller releases with ARRfree_f, or null
ZAM_HOST_API void* OMret_name_array_ptr(OMobj_id object, OMobj_name name, int mode, xp_long* count, int* type);

/// Number of elements of an array: typed values, texts or objects.
ZAM_HOST_API int OMget_array_size(OMobj_id object, xp_long* count);

/// Resizes an array; kept elements keep their values, new ones are 0 or empty objects of the array's kind.
ZAM_HOST_API int OMset_array_size(OMobj_id object, xp_long count);

/// Replaces the contents of an array.
/// @param array  `count` elements of `type`; with mode ARR_HOST_OWNS an array of ARRalloc_f that is the host's from a
///               successful call on, with ARR_CALLER_OWNS memory that stays the caller's
ZAM_HOST_API int OMset_array(OMobj_id object, int type, void* array, xp_long count, int mode);

// --- Change, grouping, references, contexts ---

/// Non-zero when `object`, or what it refers to, changed after the update that `seq` stands for.
ZAM_HOST_API int OMchanged(OMobj_id object, int seq);

/// Bracket writes that the host propagates as one change. Brackets nest.
ZAM_HOST_API int OMbegin_op(void);
ZAM_HOST_API int OMend_op(void);

/// The object that `object` refers to, one step. Fails if it is not a reference. `flags` is 0.
ZAM_HOST_API int OMget_obj_ref(OMobj_id object, OMobj_id* referred, int flags);

/// Makes `object` refer to `referred`; an invalid handle takes the reference away.
ZAM_HOST_API int OMset_obj_ref(OMobj_id object, OMobj_id referred);

/// Reference mode of `object`: 1 owns what it refers to (an object that nothing else holds ends with the reference),
/// 0 only points there.
ZAM_HOST_API int OMset_obj_ref_mode(OMobj_id object, int mode);

/// Bracket host calls made on behalf of another object.
ZAM_HOST_API int OMpush_ctx(OMobj_id context);
ZAM_HOST_API int OMpop_ctx(void);

// --- Progress ---

/// The next stretch of work covers `low` to `high` percent of the current stretch. Stretches nest.
ZAM_HOST_API int OMpush_status_range(int low, int high);
ZAM_HOST_API int OMpop_status_range(void);

/// Reports progress.
/// @param percent    0 to 100 within the current stretch
/// @param text       what is being done, or null
/// @param interrupt  set to 1 when the user asked to stop, else 0; or null. A host that ends a call of a module for its
///                   user may throw from here unless it is null: C++ modules own what they hold, C modules give null
ZAM_HOST_API int OMstatus_check(int percent, const char* text, int* interrupt);

#ifdef __cplusplus
}
#endif
