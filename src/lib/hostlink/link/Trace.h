/// @file
/// Entry and exit lines of the stateful layers.
#pragma once

#include <string>

#include "LinkLog.h"

/// How a function is named in entry and exit lines: the text that the serial library's `dbglog_scopedFunction` makes of
/// its full signature and its logger's scope. `signature` is the compiler's; spellings that differ between compilers
/// are made one.
std::string tracedName(const char* signature, const char* loggerScope);

// NOLINTBEGIN(bugprone-macro-parentheses): the detail is a stream expression such as `"len " << count`.

/// "Enter ", the function, ": " and the detail (a stream expression), at TRACE. Nothing is formatted when that is off.
#define HOSTLINK_TRACE_ENTER(logger, scope, detail)                                                                    \
    LOG4CPLUS_TRACE(logger, "Enter " << tracedName(__PRETTY_FUNCTION__, scope) << ": " << detail)

/// The same for "Leave ".
#define HOSTLINK_TRACE_LEAVE(logger, scope, detail)                                                                    \
    LOG4CPLUS_TRACE(logger, "Leave " << tracedName(__PRETTY_FUNCTION__, scope) << ": " << detail)

// NOLINTEND(bugprone-macro-parentheses)
