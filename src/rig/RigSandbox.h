/// @file
/// A place in which a program finds the rig's files under their real names.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace busrig {

/// The rig cannot run on this machine; the text says why.
class CannotRun : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What CTest takes as "skipped", and what is given back when the rig cannot run here.
constexpr int skipExitCode = 77;
/// Given back when the program ended well but the rig itself did not, for example because a sanitizer found something.
constexpr int brokenRigExitCode = 70;

struct SandboxCommand {
    /// The program that serves the rig, with its options. It is given three more arguments: the mount point, the path
    /// of the control socket to make, and a descriptor on which to write one byte once both are there. After SIGTERM it
    /// ends with exit code 0; where it cannot mount, with `skipExitCode` and the reason on the standard error.
    std::vector<std::string> server;
    /// The program to run and its arguments.
    std::vector<std::string> words;
};

/// Runs the command in private mount and process namespaces where /sys/class/gpio, /dev/i2c-* and /dev/spidev* are the
/// rig's. Returns the command's exit code, or 128 plus the number of the signal that ended it.
///
/// Root needs nothing else; another user gets a user namespace as well, and needs a /dev/fuse that may be opened (the
/// environment's ZENT_RIG_FUSE_NODE names another node to use). Killing the calling process in any way ends everything
/// inside and unmounts everything. The calling process must have one thread, as a new user namespace is not given to
/// more.
///
/// Where this is not possible, the reason goes to the standard error and the result is `skipExitCode`.
int runInSandbox(const SandboxCommand& command);

} // namespace busrig
