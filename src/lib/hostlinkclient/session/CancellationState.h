/// @file
/// What copies of a cancellation share.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "hostlinkclient/Call.h"

namespace hostlink {

class Core;

/// The requests that one cancellation ends. Its lock is taken inside that of a core, never the other way round.
struct HOSTLINK_HIDDEN Cancellation::State {
    /// False when it has been cancelled already.
    bool enter(std::weak_ptr<Core> core, uint64_t id);
    void leave(const Core& core, uint64_t id);
    void cancel();

private:
    std::mutex mutex; // guards the two below
    bool cancelled = false;
    std::vector<std::pair<std::weak_ptr<Core>, uint64_t>> requests;
};

} // namespace hostlink
