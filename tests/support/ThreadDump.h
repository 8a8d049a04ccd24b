/// @file
/// Where each thread is when a program gives up.
#pragma once

/// Prints the calls of every thread to the standard error: addresses for addr2line(1), with names where a library
/// exports them. A thread that blocks signals, as those of links do, or does not answer within a moment, is left out.
void dumpThreads();

/// From now on abort() does that first.
void dumpThreadsOnAbort();
