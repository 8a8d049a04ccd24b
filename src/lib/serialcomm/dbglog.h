/// @file
/// How functions are named in trace lines.
#pragma once

#include <string>

/// The text under which a function is named in the entry and exit trace lines.
/// @param function full signature of the function
/// @param scope    what it belongs to, by custom the name of its logger
std::string dbglog_scopedFunction(const std::string& function, const std::string& scope);
