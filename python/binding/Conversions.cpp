#include "Conversions.h"

#include <cstdint>
#include <variant>

namespace binding {

namespace {

hostlink::Value numberOf(const py::int_& number, Encoding encoding) {
    const bool negative = PyObject_RichCompareBool(number.ptr(), py::int_(0).ptr(), Py_LT) == 1;
    const auto make = [encoding](auto known) -> hostlink::Value {
        if (encoding == Encoding{}) return hostlink::Value(known);
        const hostlink::Result<hostlink::Value> made = hostlink::Value::in(encoding, known);
        raiseIfFailed(made);
        return *made;
    };
    try {
        return negative ? make(number.cast<int64_t>()) : make(number.cast<uint64_t>());
    } catch (const py::cast_error&) {
        raise({hostlink::Outcome::BadArgument, py::repr(number).cast<std::string>() + " does not fit 64 bits"});
    }
}

} // namespace

py::str textOf(const std::string& text) {
    PyObject* const decoded =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
    if (decoded == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

py::tuple pairOf(const hostlink::Value& value) {
    const py::object content = std::visit(
        [](const auto& held) -> py::object {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>)
                return py::none();
            else if constexpr (std::is_same_v<Held, ByteArray>)
                return bytesOf(held);
            else
                return py::int_(held);
        },
        value.alternatives());
    return py::make_tuple(static_cast<int>(value.encoding()), content);
}

hostlink::Value valueOf(const py::tuple& pair) {
    const py::object content = pair[1];
    if (content.is_none()) return {};
    if (py::isinstance<py::bytes>(content)) return byteArrayOf(content);
    return numberOf(content, static_cast<Encoding>(pair[0].cast<int>()));
}

hostlink::StateId stateOf(const py::handle& state) {
    if (py::isinstance<py::str>(state)) return state.cast<std::string>();
    try {
        return state.cast<int64_t>();
    } catch (const py::cast_error&) {
        return INT64_MAX; // no state, and the request says so
    }
}

py::tuple failureOf(const hostlink::Failure& failure) {
    py::list held;
    for (const hostlink::StateValue& each : failure.held())
        held.append(py::make_tuple(each.state.number(), pairOf(each.value)));
    return py::make_tuple(hostlink::nameOf(failure.outcome()), textOf(failure.text()), failure.mayHaveBeenExecuted(),
                          failure.refusals(), held);
}

void raise(const hostlink::Failure& failure) {
    const py::object make = py::module_::import("hostlink.errors").attr("failure");
    const py::object error = make(*failureOf(failure));
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
    throw py::error_already_set();
}

} // namespace binding
