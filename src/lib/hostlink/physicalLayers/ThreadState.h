/// @file
/// What the kernel says about a thread.
#pragma once

#include <sys/types.h>

/// The calling thread's id.
pid_t currentThreadId();

/// Whether the thread of this process waits in the kernel: state "S" in proc(5)'s stat. False when there is no such
/// thread, or no /proc.
bool isAsleep(pid_t thread);
