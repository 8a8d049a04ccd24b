// What the package `hostlink` stands on. It gives and takes numbers, texts and tuples; the package makes classes of
// them.
#include <exception>
#include <system_error>

#include <pybind11/pybind11.h>

#include "Interpreter.h"
#include "Parts.h"

// What the system refuses is an OSError, with its number.
static void translateSystemErrors(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const std::system_error& error) {
        PyErr_SetObject(PyExc_OSError, pybind11::make_tuple(error.code().value(), error.what()).ptr());
    }
}

PYBIND11_MODULE(_core, module) {
    module.doc() = "The compiled part of the package hostlink; not to be used by itself.";
    pybind11::register_exception_translator(&translateSystemErrors);
    module.def("begin_exit", &binding::Outside::beginExit);
    module.def("await_others", &binding::Outside::awaitOthers);
    module.def("after_fork", &binding::Outside::forget);
    module.def("unraisable", [](const pybind11::object& error, const pybind11::object& where) {
        PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
        PyErr_WriteUnraisable(where.ptr());
    });
    // For good: what is behind it belongs to a process that this one was forked from.
    module.def("leak", [](const pybind11::object& what) { what.inc_ref(); });
    binding::defineCodec(module);
    binding::defineTransfers(module);
    binding::defineClient(module);
    binding::defineHost(module);
}
