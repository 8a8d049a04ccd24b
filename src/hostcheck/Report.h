/// @file
/// What the checks found, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "Runner.h"

namespace hostcheck {

/// One result as lines of text.
std::string asText(const Result& result);
/// "61 passed, 1 failed, 12 skipped", and the names of those that failed.
std::string summary(const std::vector<Result>& results);
/// One object with all results.
std::string asJson(const std::vector<Result>& results);
/// A test suite in the form of JUnit.
std::string asJunit(const std::vector<Result>& results);
/// All checks, with what they do, expect and why.
std::string checkList(const std::vector<const Check*>& checks);

const char* nameOf(Outcome outcome);

} // namespace hostcheck
