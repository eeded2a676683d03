// Values in Python and in the session: arrays go both ways without a copy.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "zam/session.h"

namespace zam::python {

/// Lends the values of a NumPy array, which is kept until nothing refers to them any more.
/// @throws Error  if it is not contiguous, aligned and of an element type
Array to_array(const pybind11::array& array);

/// A NumPy array over the values, which it keeps. It cannot be written to: others may hold the same values.
pybind11::array to_numpy(const Array& array);

/// A text for people; bytes that are no UTF-8, which labels and reports may have, are replaced.
pybind11::str text_to_python(std::string_view text);

/// A parameter's value: None, numbers, texts, arrays, fields, and lists and dicts of them.
/// @throws TypeError  for other objects
Value to_value(pybind11::handle object);

/// What an object of a network holds; groups are dicts.
pybind11::object to_python(Value value);

}  // namespace zam::python

namespace pybind11::detail {

template <>
struct type_caster<zam::Array> {
    PYBIND11_TYPE_CASTER(zam::Array, const_name("numpy.ndarray"));

    bool load(handle source, bool /*convert*/) {
        if (!isinstance<array>(source)) return false;
        value = zam::python::to_array(reinterpret_borrow<array>(source));
        return true;
    }
    static handle cast(const zam::Array& source, return_value_policy /*policy*/, handle /*parent*/) {
        return zam::python::to_numpy(source).release();
    }
};

}  // namespace pybind11::detail
