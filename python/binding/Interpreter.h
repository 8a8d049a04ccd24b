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
/// interpreter; only threads that came from it leave it, here, and come back. All functions are called with its lock.
///
/// A thread that comes back after the interpreter has ended would be unwound through C++ by it. So its end waits for
/// them, and lets nobody leave any more.
class Outside {
public:
    /// @throw pybind11::error_already_set (RuntimeError) the interpreter is ending
    static void enter();
    static void leave() noexcept;

    /// From now on only the calling thread may leave the interpreter's lock.
    static void beginExit();
    /// Waits until all other threads have come back, at most some seconds.
    static void awaitOthers();
};

/// Does `work` without the interpreter's lock, which is taken again afterwards by plain calls: a destructor that takes
/// it could not be unwound.
template <typename Work> auto unlocked(const Work& work) {
    using Given = decltype(work());
    std::conditional_t<std::is_void_v<Given>, std::optional<bool>, std::optional<Given>> given;
    std::exception_ptr wrong;
    Outside::enter();
    PyThreadState* const state = PyEval_SaveThread();
    try {
        if constexpr (std::is_void_v<Given>)
            work();
        else
            given.emplace(work());
    } catch (const std::exception&) {
        wrong = std::current_exception();
    }
    PyEval_RestoreThread(state);
    Outside::leave();
    if (wrong) std::rethrow_exception(wrong);
    if constexpr (!std::is_void_v<Given>) return std::move(*given);
}

} // namespace binding
