/// @file
/// The host's interrupt line, through sysfs.
#pragma once

/// Makes GPIO line `number` an input that reports falling edges. A step whose sysfs file cannot be opened is logged and
/// the others are still taken: the line may have been set up before.
void armGpioLine(int number);

/// Opens the value file of the line for reading; −1 with errno when that fails. The caller closes it.
int openGpioValue(int number);
