#include "Interpreter.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace binding {

namespace {

constexpr std::chrono::seconds longestReturn{10}; // for threads that come back; all that they wait for has been ended

// Never destroyed: threads may be on their way while the process ends.
struct Count {
    std::mutex mutex;
    std::condition_variable changed;
    unsigned outside = 0;     // guarded by the mutex
    bool isExiting = false;   // as is this
    std::thread::id whoExits; // and this
};

Count& count() {
    static Count* const only = new Count;
    return *only;
}

} // namespace

void Outside::enter() {
    {
        const std::lock_guard lock(count().mutex);
        if (!count().isExiting || count().whoExits == std::this_thread::get_id()) {
            ++count().outside;
            return;
        }
    }
    PyErr_SetString(PyExc_RuntimeError, "hostlink: the interpreter is ending");
    throw pybind11::error_already_set();
}

void Outside::leave() noexcept {
    const std::lock_guard lock(count().mutex);
    --count().outside;
    count().changed.notify_all();
}

void Outside::beginExit() {
    const std::lock_guard lock(count().mutex);
    count().isExiting = true;
    count().whoExits = std::this_thread::get_id();
}

void Outside::awaitOthers() {
    PyThreadState* const state = PyEval_SaveThread();
    {
        std::unique_lock lock(count().mutex);
        count().changed.wait_for(lock, longestReturn, [] { return count().outside == 0; });
    }
    PyEval_RestoreThread(state);
}

} // namespace binding
