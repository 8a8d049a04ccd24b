/// @file
/// The parts of the module.
#pragma once

#include <pybind11/pybind11.h>

namespace binding {

void defineCodec(pybind11::module_& module);
void defineClient(pybind11::module_& module);
void defineTransfers(pybind11::module_& module);
void defineHost(pybind11::module_& module);

} // namespace binding
