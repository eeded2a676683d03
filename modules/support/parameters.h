// Parameters of an instance by their names.
#pragma once

#include <algorithm>
#include <optional>
#include <string>

#include "contract/gd.h"
#include "contract/om.h"
#include "modules/support/float_values.h"
#include "modules/support/host_array.h"
#include "modules/support/report.h"
#include "modules/support/text_value.h"
#include "modules/support/typed_bytes.h"

namespace zam {

/// Reads parameters of an instance, or members of a group. The object is only named here, not held.
class Parameters {
public:
    explicit Parameters(OMobj_id object) : object_(object) {}

    OMobj_id find(const char* name, int mode = OM_OBJ_RD) const {
        return OMfind_subobj(object_, OMstr_to_name(name), mode);
    }
    Parameters group(const char* name) const { return Parameters(find(name)); }

    /// The parameter's value; `nullopt` if it cannot be read.
    std::optional<int> integer(const char* name) const {
        int value = 0;
        return OMget_name_int_val(object_, OMstr_to_name(name), &value) == 1 ? std::optional(value) : std::nullopt;
    }
    std::optional<double> real(const char* name) const {
        double value = 0;
        return OMget_name_real_val(object_, OMstr_to_name(name), &value) == 1 ? std::optional(value) : std::nullopt;
    }
    /// @throws std::bad_alloc
    std::optional<std::string> text(const char* name) const {
        const HostText text = host_text(name);
        return text ? std::optional<std::string>(text.get()) : std::nullopt;
    }
    /// As text(), null if it cannot be read: the host's copy, for which the module takes no memory.
    HostText host_text(const char* name) const { return copy_text(object_, name); }
    /// An address that a module keeps in the instance.
    std::optional<void*> pointer(const char* name) const {
        void* value = nullptr;
        return OMget_name_ptr_val(object_, OMstr_to_name(name), &value, 0) == 1 ? std::optional(value) : std::nullopt;
    }
    /// An array as the host holds it.
    std::optional<TypedBytes> array(const char* name) const { return TypedBytes::read_array(object_, name); }
    /// An array of any type, as floats.
    /// @throws std::bad_alloc
    std::optional<FloatValues> floats(const char* name) const { return FloatValues::read_array(object_, name); }
    /// The elements of an array of T, lent in an access mode; empty if there are none, or they are of another type.
    template <class T>
    HostArray<T> elements(const char* name, int mode, SourcePlace where = SourcePlace::here()) const {
        xp_long count = 0;
        int type = kTypeCode<T>;
        void* data = OMret_name_array_ptr(object_, OMstr_to_name(name), mode, &count, &type);
        HostArray<T> lent(static_cast<T*>(data), std::max<xp_long>(count, 0), where);
        if (type != kTypeCode<T>) lent.end_access();
        return lent;
    }
    /// Composes the matrix of a transform. @return false if it cannot be read
    bool transform(const char* name, float (&matrix)[16]) const {
        return GDxform_get_comp_matrix(find(name, OM_OBJ_RW), matrix) == 1;
    }

    /// As above, with a value for a parameter that cannot be read.
    int integer(const char* name, int otherwise) const { return integer(name).value_or(otherwise); }
    double real(const char* name, double otherwise) const { return real(name).value_or(otherwise); }

    /// Whether the instance is to run. deliberate: one without the flag does, after a report.
    bool is_active(const Reporter& report) const {
        const auto active = integer("active");
        if (!active) report.warn("Can't get active ( this module activate flag )\n");
        return active != 0;
    }

private:
    OMobj_id object_;
};

}  // namespace zam
