/// @file
/// The mounts of the sandbox, in the order in which they are to be made. Each throws `CannotRun` with the reason.
#pragma once

#include <string>

namespace busrig {

/// Where things are inside the sandbox: on the private /dev, so that no folder of the machine is hidden or written to.
constexpr const char* sandboxMountPoint = "/dev/busrig/fs";
constexpr const char* sandboxControlPath = "/dev/busrig/control";

/// Throws `CannotRun` with what could not be done and the reason, which is in `errno`.
[[noreturn]] void fail(const std::string& what);

/// Cuts this mount namespace off from the one it was copied from.
void makeMountsPrivate();

/// Replaces /dev, which belongs to the whole machine, by a folder with the nodes that every program expects.
/// @param fuseNode what /dev/fuse is to be
void mountPrivateDev(const std::string& fuseNode);

/// Shows the rig's files under their real names, once the file system is mounted at `sandboxMountPoint`.
void showRigFiles();

/// A /proc of this process namespace, where that is allowed. /proc/self is right without it.
void mountProc();

} // namespace busrig
