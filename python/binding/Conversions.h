/// @file
/// What the libraries have as the package has it, and back. With the interpreter's lock.
#pragma once

#include <chrono>
#include <string>

#include <pybind11/pybind11.h>

#include <hostlink/ByteArray.h>
#include <hostlinkclient/Result.h>
#include <hostlinkclient/StateId.h>
#include <hostlinkclient/Value.h>

namespace binding {

namespace py = pybind11;

inline py::bytes bytesOf(const ByteArray& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline ByteArray byteArrayOf(const py::bytes& bytes) {
    const std::string_view view = bytes;
    return ByteArray(view.begin(), view.end());
}

/// Text from elsewhere; bytes that are no UTF-8 are kept as surrogates.
py::str textOf(const std::string& text);

/// A pair of the encoding's number and None, a number or bytes.
py::tuple pairOf(const hostlink::Value& value);

/// From such a pair; with 0 for the encoding, a number in the smallest one that has room.
/// @throw Python's exception for `BadArgument`: the number does not fit
hostlink::Value valueOf(const py::tuple& pair);

/// From a number or a name.
hostlink::StateId stateOf(const py::handle& state);

/// The numbers and texts that make the package's exception: outcome, text, whether the host may have acted, refusals
/// and what the host holds.
py::tuple failureOf(const hostlink::Failure& failure);

/// Throws the package's exception for a failure.
[[noreturn]] void raise(const hostlink::Failure& failure);

inline void raiseIfFailed(const hostlink::ResultBase& result) {
    if (!result) raise(*result.failure());
}

/// Puts what stands in a dictionary under that name into a variable; leaves that as it is when nothing does.
template <typename Type> void take(const py::dict& from, const char* name, Type& into) {
    if (from.contains(name)) into = from[name].cast<Type>();
}

/// Milliseconds, or other spans, as whole numbers.
template <typename Number, typename Period>
void take(const py::dict& from, const char* name, std::chrono::duration<Number, Period>& into) {
    if (from.contains(name)) into = std::chrono::duration<Number, Period>(from[name].cast<Number>());
}

} // namespace binding
