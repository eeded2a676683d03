// Wrapper classes of class modules: members of an object as C++ members that read and write the host's objects.
//
// A class module is a C++ class over OMXobj whose members are the object's parameters. The host finds it by three
// kinds of exported functions, all with C linkage: CLASS_create(object) makes the C++ side for a host object,
// CLASS_destroy(self) ends it, CLASS_METHOD(self, event_mask, seq) runs a method. Creating an instance then runs
// `inst`, setting a member runs the methods that the definition file names for it, destroying runs `deinst`.
#pragma once

#include "contract/om.h"

/// Any object of the host: the base of class modules and of their members.
class OMXobj {
public:
    OMXobj() : id_(OMnull_obj()) {}
    explicit OMXobj(OMobj_id id) : id_(id) {}
    /// The member `name` of `parent`; invalid when the host object lacks it.
    OMXobj(const OMXobj& parent, const char* name)
        : id_(OMfind_subobj(parent.obj_id(), OMstr_to_name(name), OM_OBJ_RW)) {}

    OMobj_id obj_id() const { return id_; }
    bool valid() const { return OMvalid_obj(id_) == 1; }

private:
    OMobj_id id_;
};

/// The handle behind a wrapper.
inline OMobj_id OMXobj_obj_id(const OMXobj& object) { return object.obj_id(); }

/// A member with a scalar value.
class OMXbprim : public OMXobj {
public:
    using OMXobj::OMXobj;
};

/// Value of a member as an int or a real; status as for OMget_int_val.
inline int OMXbprim_get_int_val(const OMXbprim& member, int* value) { return OMget_int_val(member.obj_id(), value); }
inline int OMXbprim_get_real_val(const OMXbprim& member, double* value) {
    return OMget_real_val(member.obj_id(), value);
}

/// An int member. Reading one that has no value gives 0.
class OMXint : public OMXbprim {
public:
    using OMXbprim::OMXbprim;
    OMXint(const OMXint&) = default;
    operator int() const {
        int value = 0;
        (void)OMXbprim_get_int_val(*this, &value);
        return value;
    }
    OMXint& operator=(int value) {
        (void)OMset_int_val(obj_id(), value);
        return *this;
    }
    /// Copies the value, not the handle; an unreadable member copies nothing.
    OMXint& operator=(const OMXint& other) {
        int value = 0;
        if (OMXbprim_get_int_val(other, &value) == OM_STAT_SUCCESS) *this = value;
        return *this;
    }
};

/// A real member. Reading one that has no value gives 0.
class OMXreal : public OMXbprim {
public:
    using OMXbprim::OMXbprim;
    OMXreal(const OMXreal&) = default;
    operator double() const {
        double value = 0.0;
        (void)OMXbprim_get_real_val(*this, &value);
        return value;
    }
    OMXreal& operator=(double value) {
        (void)OMset_real_val(obj_id(), value);
        return *this;
    }
    OMXreal& operator=(const OMXreal& other) {
        double value = 0.0;
        if (OMXbprim_get_real_val(other, &value) == OM_STAT_SUCCESS) *this = value;
        return *this;
    }
};

/// A pointer-valued member.
class OMXptr : public OMXobj {
public:
    using OMXobj::OMXobj;
    int get(void** value) const { return OMget_ptr_val(obj_id(), value); }
    int set(void* value) const { return OMset_ptr_val(obj_id(), value); }
};

/// A text member.
class OMXstr : public OMXobj {
public:
    using OMXobj::OMXobj;
    /// As OMget_str_val with size 0: a new text that the caller releases with free().
    int get(char** value) const { return OMget_str_val(obj_id(), value, 0); }
    int set(const char* value) const { return OMset_str_val(obj_id(), value); }
};
