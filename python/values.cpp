#include "python/values.h"

#include <utility>

namespace zam::python {

namespace py = pybind11;

namespace {

constexpr int kMaxNesting = 64;

/// Keeps an object of Python's. It may be let go on any thread.
std::shared_ptr<const void> kept(py::object object) {
    PyObject* const held = object.release().ptr();
    return {held, [held](const void* /*held*/) {
                if (Py_IsInitialized() == 0) return;  // the objects went with the interpreter
                const py::gil_scoped_acquire lock;
                Py_DECREF(held);
            }};
}

std::optional<Type> type_of_dtype(const py::dtype& dtype) {
    if (dtype.byteorder() != '=' && dtype.byteorder() != '|') return std::nullopt;
    switch (dtype.kind()) {
        case 'S':
            if (dtype.itemsize() == 1) return Type::Char;
            break;
        case 'b': return Type::Byte;
        case 'u':
            if (dtype.itemsize() == 1) return Type::Byte;
            break;
        case 'i':
            if (dtype.itemsize() == 2) return Type::Short;
            if (dtype.itemsize() == 4) return Type::Int;
            if (dtype.itemsize() == 8) return Type::Long;
            break;
        case 'f':
            if (dtype.itemsize() == 4) return Type::Float;
            if (dtype.itemsize() == 8) return Type::Double;
            break;
        default: break;
    }
    return std::nullopt;
}

py::dtype dtype_of(Type type) {
    switch (type) {
        case Type::Char:
        case Type::Byte: return py::dtype::of<std::uint8_t>();
        case Type::Short: return py::dtype::of<std::int16_t>();
        case Type::Int: return py::dtype::of<std::int32_t>();
        case Type::Float: return py::dtype::of<float>();
        case Type::Double: return py::dtype::of<double>();
        case Type::Long: return py::dtype::of<std::int64_t>();
    }
    throw Error("an array has an element type that does not exist");
}

std::int64_t to_whole(py::handle object) {
    int overflow = 0;
    const auto value = PyLong_AsLongLongAndOverflow(object.ptr(), &overflow);
    if (overflow != 0) throw py::value_error("the number is too large: " + py::repr(object).cast<std::string>());
    return value;
}

Value to_nested(py::handle object, int depth) {
    if (depth > kMaxNesting) throw py::value_error("the value is nested too deeply");
    const auto nested = [&](py::handle inner) { return to_nested(inner, depth + 1); };
    if (object.is_none()) return {};
    if (py::isinstance<py::array>(object)) return to_array(py::reinterpret_borrow<py::array>(object));
    if (py::isinstance<Field>(object)) return object.cast<Field>();
    if (py::isinstance<py::bool_>(object) || py::isinstance<py::int_>(object)) return to_whole(object);
    if (py::isinstance<py::float_>(object)) return object.cast<double>();
    if (py::isinstance<py::str>(object)) return object.cast<std::string>();
    if (py::isinstance<py::dict>(object)) {
        Value::Group group;
        for (const auto& [name, member] : py::reinterpret_borrow<py::dict>(object))
            group.emplace_back(name.cast<std::string>(), nested(member));
        return group;
    }
    if (py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object)) {
        Value::List list;
        for (const py::handle element : object) list.push_back(nested(element));
        return list;
    }
    throw py::type_error("no value of a parameter: " + py::repr(object).cast<std::string>());
}

}  // namespace

Array to_array(const py::array& array) {
    const auto type = type_of_dtype(array.dtype());
    constexpr int kPlain = int{py::array::c_style} | int{py::detail::npy_api::NPY_ARRAY_ALIGNED_};
    if (!type || (array.flags() & kPlain) != kPlain)
        throw Error("the array is not contiguous, aligned and of an element type");
    return {*type, array.data(), static_cast<std::size_t>(array.size()), kept(array)};
}

py::array to_numpy(const Array& array) {
    const py::capsule owner(new Array(array), [](void* held) { delete static_cast<Array*>(held); });
    py::array result(dtype_of(array.type()), {array.size()}, {}, array.data(), owner);
    py::detail::array_proxy(result.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return result;
}

py::str text_to_python(std::string_view text) {
    PyObject* const decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "replace");
    if (!decoded) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

Value to_value(py::handle object) { return to_nested(object, 0); }

py::object to_python(Value value) {
    if (auto* list = std::get_if<Value::List>(&value.form)) {
        py::list result;
        for (auto& element : *list) result.append(to_python(std::move(element)));
        return result;
    }
    if (auto* group = std::get_if<Value::Group>(&value.form)) {
        py::dict result;
        for (auto& [name, member] : *group) result[text_to_python(name)] = to_python(std::move(member));
        return result;
    }
    if (auto* texts = std::get_if<std::vector<std::string>>(&value.form)) {
        py::list result;
        for (const auto& text : *texts) result.append(text_to_python(text));
        return result;
    }
    if (const auto* text = value.get<std::string>()) return text_to_python(*text);
    return std::visit(
        [](auto& form) -> py::object {
            using Form = std::remove_cvref_t<decltype(form)>;
            constexpr bool kIsOne =
                std::is_arithmetic_v<Form> || std::is_same_v<Form, Array> || std::is_same_v<Form, Field>;
            if constexpr (kIsOne)
                return py::cast(std::move(form));
            else
                return py::none();
        },
        value.form);
}

}  // namespace zam::python
