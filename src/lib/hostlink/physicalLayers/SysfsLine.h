/// @file
/// The host's interrupt line, through sysfs.
#pragma once

/// Makes GPIO line `number` an input that reports falling edges, and opens its value file for reading. A step of the
/// set-up that fails is logged and the others are still taken: the line may have been set up before.
///
/// A file of the line that may not be opened (EACCES) is tried again for a second, over all: right after the export the
/// system may still have to give it to its group. The caller waits meanwhile.
/// @return the value file, which the caller closes; -1 with errno when it cannot be opened
int openGpioLine(int number);
