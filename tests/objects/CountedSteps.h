/// @file
/// How many items the core's readers walk over for the code under test. What counts time cannot tell a slow machine
/// from a slow way.
#pragma once

/// Items that were read or skipped since the program began, by all threads. Link `counted_steps` for it.
long countedSteps();
