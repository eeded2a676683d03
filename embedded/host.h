// The embedded host as its owner sees it: what the runner, the tests and the benchmarks do with it beyond the contract.
//
// There is one host per process; all calls are made from one thread at a time. Contract operations and the functions
// here may be mixed freely. Objects form a tree below root(); a network's module instances are groups directly below
// it. Several networks have a root each, one of which root() gives.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/types.h"

#define ZAM_HOST_CXX_API ZAM_CONTRACT_EXPORT

namespace zam::host {

// --- Objects ---

enum class Kind {
    none,   // a handle that names nothing
    group,  // sub-objects only: instances, transforms (mat, xlate, center), colour tables, datamaps
    integer,
    real,
    text,
    pointer,
    array,    // typed values
    texts,    // array of texts, entries may be empty
    objects,  // array of objects, reached as "name[i]"
    field,
    time_step,  // coordinates or node data of one step of a field
    cell_set,
    unset,  // exists, has no value yet: reading it fails, setting gives it the value's kind
};

/// Forgets every object, registration, switch and record. Arrays still outstanding stay in the account.
ZAM_HOST_CXX_API void reset();

ZAM_HOST_CXX_API OMobj_id root();
/// Makes another root, which is that of root() from now on.
ZAM_HOST_CXX_API OMobj_id add_root();
/// Chooses the root that root() gives.
ZAM_HOST_CXX_API void set_root(OMobj_id root);

/// Makes an object below `parent`; an object of that name there is replaced in place (its handle stays valid, so
/// references to it go on working). Names hold no dots or brackets, but below a root "name[12]" is one of several
/// objects that are made alike. `element_kind` is for Kind::objects.
ZAM_HOST_CXX_API OMobj_id create(OMobj_id parent, std::string_view name, Kind kind, Kind element_kind = Kind::field);

/// Makes an object anew in place: without contents, of a kind that create() makes. Its handle stays valid. False if the
/// object does not exist or has no such kind.
ZAM_HOST_CXX_API bool renew(OMobj_id object, Kind kind);
/// Ends an object and everything below it. References to it then refer to nothing. The root of root() stays.
ZAM_HOST_CXX_API void destroy(OMobj_id object);

/// Kind of the object itself; a reference has the kind of what it finally refers to, none if that is nothing.
ZAM_HOST_CXX_API Kind kind(OMobj_id object);
ZAM_HOST_CXX_API bool is_reference(OMobj_id object);

ZAM_HOST_CXX_API std::string name(OMobj_id object);
/// Names from the root down, joined with dots: "reader.out", "capture.out[2]".
ZAM_HOST_CXX_API std::string path(OMobj_id object);
/// Sub-objects in the order in which they were made; elements of an array of objects.
ZAM_HOST_CXX_API std::vector<OMobj_id> children(OMobj_id object);
/// As OMfind_str_subobj. A field has the sub-objects `coordinates` (reals `min` and `max` over all components) and
/// `xform` (arrays `mat`, `xlate`, `center`).
ZAM_HOST_CXX_API OMobj_id find(OMobj_id from, std::string_view path);

/// Entry of an array of texts.
ZAM_HOST_CXX_API std::optional<std::string> text_at(OMobj_id object, xp_long index);

/// Sets an array to a copy of `count` values of `type`. False, with nothing changed, for objects of other kinds and if
/// memory runs out.
ZAM_HOST_CXX_API bool set_values(OMobj_id object, int type, const void* values, xp_long count);
/// Opens an array for reading; the caller ends the access with ARRfree_f. Null for objects of other kinds and for
/// arrays without contents.
ZAM_HOST_CXX_API const void* open_values(OMobj_id object, int* type, xp_long* count);

// --- Arrays that others outside keep ---

/// Keeps what a getter lent as it is now, whatever becomes of its object: who writes to that later does so in a copy.
/// May be let go on any thread and at any time, also after reset(). Null if nothing is lent there.
ZAM_HOST_CXX_API std::shared_ptr<const void> hold(const void* lent);

/// Until it is withdrawn, a setter with ARR_CALLER_OWNS that is given `data` keeps its owner, and who writes to the
/// array later does so in a copy: the host never writes there.
ZAM_HOST_CXX_API void offer(const void* data, std::size_t bytes, std::shared_ptr<const void> owner);
ZAM_HOST_CXX_API void withdraw(const void* data);

// --- Fields, beyond the contract ---

ZAM_HOST_CXX_API void set_grid_type(OMobj_id field, int grid_type);
/// Whether positions are explicit coordinates that have been set.
ZAM_HOST_CXX_API bool has_coordinates(OMobj_id field);
/// 0 for a field without time steps.
ZAM_HOST_CXX_API int time_nsteps(OMobj_id field);
ZAM_HOST_CXX_API std::vector<float> time_values(OMobj_id field);
/// The three arrays of a field's transform; empty spans leave a part as it is.
ZAM_HOST_CXX_API void set_field_xform(OMobj_id field, std::span<const float> mat, std::span<const float> xlate,
                                      std::span<const float> center);

/// Keeps in mind that a component's values, of a whole type, were scaled from a range: what the type's lowest and
/// highest value stand for, until the component gets other values. Takes a field or a step's node data.
ZAM_HOST_CXX_API void set_scaled_from(OMobj_id node_data, int comp, const std::array<double, 2>& range);
/// The range that a component was scaled from; `nullopt` if it was not.
ZAM_HOST_CXX_API std::optional<std::array<double, 2>> scaled_from(OMobj_id node_data, int comp);

// --- Change stamps ---

/// The moment now; the `seq` to hand to the next update of a module that runs now. Grows with every change.
ZAM_HOST_CXX_API int now();
/// Latest change of the object, of everything below it and of what any of these refer to.
ZAM_HOST_CXX_API int stamp(OMobj_id object);
/// Marks an object as changed without changing it, as setting a trigger does.
ZAM_HOST_CXX_API void touch(OMobj_id object);

// --- Records of reports and progress ---

struct Record {
    enum class What { report, status } what;
    std::string module;  // the module that was running
    std::string call;    // "ERRverror", "ERRerror", "ERRout_of_memory" or "OMstatus_check"
    std::string label;
    int flags = 0;
    std::string text;       // as formatted, line ends kept
    bool has_text = false;  // a status without text has none
    int percent = 0;
    int range_low = 0, range_high = 100;  // the current stretch of the whole
};

/// Receives every record as it happens; null stops that.
ZAM_HOST_CXX_API void set_recorder(std::function<void(const Record&)> recorder);
/// Name that records carry from now on; set around each call of a module.
ZAM_HOST_CXX_API void set_current_module(std::string_view name);
/// Sets what OMstatus_check tells modules of the user's interrupt request.
ZAM_HOST_CXX_API void set_interrupt(bool requested);

/// Ends the call of a module that runs now at its next OMstatus_check that asks for an interrupt request: this is
/// thrown from there, through the module. It is no std::exception, which modules catch as lack of memory.
struct ZAM_HOST_CXX_API CallCancelled {};
ZAM_HOST_CXX_API void cancel_call();

// --- Account of arrays, and failures on demand ---

struct Account {
    std::int64_t allocations = 0;          // calls of ARRalloc_f
    std::int64_t outstanding_arrays = 0;   // allocated, neither freed nor handed over
    std::int64_t open_accesses = 0;        // lent by a getter, not released
    std::int64_t held_arrays = 0;          // by hold(), not yet let go
    std::vector<std::string> faults;       // released twice, never lent, handed over twice: with file and line
    std::vector<std::string> outstanding;  // where each outstanding array or access was made
};
ZAM_HOST_CXX_API Account account();

/// The n-th call of ARRalloc_f from now, from 1, gives null; 0 switches that off.
ZAM_HOST_CXX_API void fail_allocation(std::int64_t n);

/// For tests: the memory that the host, and what it draws, find available from now on; `nullopt`: the true amount.
ZAM_HOST_CXX_API void pretend_available_memory(std::optional<std::int64_t> bytes);

/// The n-th call from now, from 1, of operation `name` ("FLDset_dims"; empty: of any operation that has a status) fails
/// without doing anything; 0 switches that off.
ZAM_HOST_CXX_API void fail_call(std::string_view name, std::int64_t n);
/// Whether the switch set by fail_call has struck.
ZAM_HOST_CXX_API bool call_failed();

// --- Timer ---

/// Moves the virtual clock on, calling periodic callbacks in the order in which they fall due.
ZAM_HOST_CXX_API void advance(std::int64_t units);
/// Units until the next callback is due; `nullopt` if none is registered.
ZAM_HOST_CXX_API std::optional<std::int64_t> next_due();

}  // namespace zam::host
