/// @file
/// What a shell may offer in the place of an argument.
#pragma once

#include <commandline/OptionRow.h>

namespace command {

/// What can stand in the place of an argument, as far as a shell can tell.
enum class Completion {
    Nothing,
    Words,       ///< one of `OptionRow::words`
    States,      ///< names of states
    Assignments, ///< names of states, a value behind each
    Profiles,
    Files,
    Folders
};

Completion completionOf(const commandline::OptionRow& option);

} // namespace command
