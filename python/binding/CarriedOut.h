/// @file
/// What the library is asked to do, for a thread of the interpreter.
#pragma once

#include "Conversions.h"
#include "Interpreter.h"

namespace binding {

/// Does `work` without the interpreter's lock, and gives its result, which is a good one.
/// @throw the package's exception for its failure
template <typename Work> auto carriedOut(const Work& work) {
    auto result = unlocked(work);
    raiseIfFailed(result);
    return result;
}

} // namespace binding
