/// @file
/// The rig as a file system: gpio/ to be seen as /sys/class/gpio, and dev/ with the bus devices.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Rig.h"

namespace busrig {

/// A mounted file system, served by threads of its own from construction to destruction.
class RigFs {
public:
    /// Mounts and serves; throws std::runtime_error with the reason when that is not possible.
    /// @param sharedRig  not owned, must live longer
    /// @param mountPoint an existing folder
    /// @param onEnd      called by a thread of the file system when somebody else has unmounted it or the connection to
    ///                   the kernel broke
    RigFs(Rig& sharedRig, const std::string& mountPoint, std::function<void()> onEnd);
    /// Unmounts. Nobody may wait in a held transaction any more: stop the rig first.
    ~RigFs();
    RigFs(const RigFs&) = delete;
    RigFs& operator=(const RigFs&) = delete;

private:
    struct Impl;
    const std::unique_ptr<Impl> impl;
};

} // namespace busrig
