/// @file
/// The log of a fuzz target.
#pragma once

/// Has the library format every line, for an appender that drops it, or no line at all. The first call starts
/// log4cplus.
void formatLog(bool formatted);
