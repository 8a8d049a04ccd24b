/// @file
/// Callbacks in a program's own loop.
#pragma once

#include <cstddef>
#include <memory>

#include <hostlink/HostLinkExport.h>

namespace hostlink {

/// Has callbacks wait for a program that lives in a loop around `poll`, `epoll` or a toolkit's own: given to clients as
/// `Options::events`, it keeps what they would call on their threads until `dispatch()` calls it. Copies are one; it
/// may serve several clients, and outlive them. A client keeps one copy: without the program's, nothing calls what it
/// has to say.
class HOSTLINK_EXPORT Events {
public:
    /// @throw std::system_error no descriptor to be had
    Events();
    Events(const Events& other);
    Events& operator=(const Events& other);
    ~Events();

    /// Readable (`POLLIN`) as long as callbacks wait. Only to be waited for, not to be read or closed.
    int descriptor() const;

    /// Calls what waits now, one after another, on the calling thread; does not wait for more, nor call what comes
    /// meanwhile. What a callback throws comes out of here, and those behind it wait on.
    ///
    /// On one thread at a time: a call during another one, or from a callback, does nothing.
    /// @return how many callbacks were called
    std::size_t dispatch() const;

    class Queue;
    /// For the library's own use.
    const std::shared_ptr<Queue>& queue() const { return waiting; }

private:
    std::shared_ptr<Queue> waiting;
};

} // namespace hostlink
