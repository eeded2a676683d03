// Handles, names, references, contexts and changes.
#include "contract/om.h"
#include "embedded/host_state.h"

using namespace zam::host;

namespace {

// Brackets nest as deep as calls do; more is a module that forgets to end them.
constexpr std::size_t kMaxContexts = 1000;

OMobj_id handle_of(const Object* object) { return object ? object->id : OMnull_obj(); }

}  // namespace

OMobj_id OMnull_obj(void) { return {{0, 0}}; }

int OMvalid_obj(OMobj_id object) { return state().store.find(object) ? 1 : 0; }

OMobj_name OMstr_to_name(const char* text) { return text ? state().store.names.token(text) : 0; }

OMobj_id OMfind_subobj(OMobj_id parent, OMobj_name name, int /*mode*/) {
    return answer(__func__, OMnull_obj(), false, [&] { return handle_of(state().store.child(parent, name)); });
}

OMobj_id OMfind_str_subobj(OMobj_id parent, const char* path, int /*mode*/) {
    return answer(__func__, OMnull_obj(), false,
                  [&] { return handle_of(path ? state().store.walk(parent, path) : nullptr); });
}

// --- References ---

int OMget_obj_val(OMobj_id object, OMobj_id* value) {
    return status(__func__, [&] {
        const Object* target = state().store.resolve(object);
        return target && give(value, target->id);
    });
}

int OMget_obj_ref(OMobj_id object, OMobj_id* referred, int /*flags*/) {
    return status(__func__, [&] {
        const Object* holder = state().store.find(object);
        if (!holder || !holder->refers_to) return false;
        const Object* target = state().store.find(*holder->refers_to);
        return target && give(referred, target->id);
    });
}

int OMset_obj_ref(OMobj_id object, OMobj_id referred) {
    return status(__func__, [&] {
        Store& store = state().store;
        Object* holder = store.find(object);
        return holder && !store.is_root(*holder) && store.refer(*holder, store.find(referred));
    });
}

int OMset_obj_ref_mode(OMobj_id object, int mode) {
    return status(__func__, [&] {
        Object* holder = state().store.find(object);
        if (!holder || (mode != 0 && mode != 1)) return false;
        holder->owns_target = mode == 1;
        return true;
    });
}

// --- Changes and brackets ---

int OMchanged(OMobj_id object, int seq) {
    return answer(__func__, 0, false, [&] {
        Object* found = state().store.find(object);
        return found && state().store.deep_stamp(*found) > seq ? 1 : 0;
    });
}

int OMbegin_op(void) {
    return status(__func__, [&] {
        state().store.begin_group();
        return true;
    });
}

int OMend_op(void) {
    return status(__func__, [&] { return state().store.end_group(); });
}

int OMpush_ctx(OMobj_id context) {
    return status(__func__, [&] {
        auto& contexts = state().contexts;
        if (!state().store.find(context) || contexts.size() >= kMaxContexts) return false;
        contexts.push_back(context);
        return true;
    });
}

int OMpop_ctx(void) {
    return status(__func__, [&] {
        if (state().contexts.empty()) return false;
        state().contexts.pop_back();
        return true;
    });
}
