/// @file
/// A library's code, for tests of what libraries are held up by.
#pragma once

/// Notifies a condition that nobody waits for, so many times.
void notifyInALibrary(int times);
