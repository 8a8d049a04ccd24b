/// @file
/// In whose callback a thread is.
#pragma once

#include <utility>

namespace hostlink {

class Core;

/// Marks this thread, as long as it lives, as one that calls the program for a client: what the client is asked on it
/// is asked out of a callback.
class Calling {
public:
    explicit Calling(const Core* forClient) : before(std::exchange(client, forClient)) {}
    Calling(const Calling&) = delete;
    Calling& operator=(const Calling&) = delete;
    ~Calling() { client = before; }

    /// Marks a thread of the client's own, for good.
    static void mark(const Core* forClient) { client = forClient; }
    static bool isFor(const Core* which) { return client == which; }

private:
    static inline thread_local const Core* client = nullptr;
    const Core* const before;
};

} // namespace hostlink
