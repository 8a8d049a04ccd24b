/// @file
/// Leaving the interpreter's lock, and its end.
#pragma once

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

#include <pybind11/pybind11.h>

namespace binding {

/// How many threads are outside the interpreter in calls of this module. No thread of the libraries ever enters the
/// interpreter; only threads that came from it leave it, here, and come back.
///
/// A thread that came back while the interpreter ends would be torn out of its C++ calls by it. So, once its end has
/// begun, none comes back any more: they stand still until the process ends, as daemon threads do, and there are no
/// others by then.
class Outside {
public:
    /// Before the interpreter's lock is let go.
    static void enter();
    /// Before it is taken again. Does not return once the interpreter is ending.
    static void leave();

    /// From now on only the calling thread comes back.
    static void beginExit();
    /// Waits until no other thread does anything outside, at most some seconds.
    static void awaitOthers();
    /// In a process that was forked: the others' threads are not there.
    static void forget();
};

/// Does `work` without the interpreter's lock, which is taken again afterwards by a plain call: a destructor that takes
/// it could not be unwound.
template <typename Work> auto unlocked(const Work& work) {
    using Given = decltype(work());
    std::conditional_t<std::is_void_v<Given>, std::optional<bool>, std::optional<Given>> given;
    std::exception_ptr wrong;
    PyThreadState* const state = PyEval_SaveThread();
    Outside::enter();
    try {
        if constexpr (std::is_void_v<Given>)
            work();
        else
            given.emplace(work());
    } catch (const std::exception&) {
        wrong = std::current_exception();
    }
    Outside::leave();
    PyEval_RestoreThread(state);
    if (wrong) std::rethrow_exception(wrong);
    if constexpr (!std::is_void_v<Given>) return std::move(*given);
}

} // namespace binding
