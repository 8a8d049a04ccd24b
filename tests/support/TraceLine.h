/// @file
/// Entry and exit lines as the stateful layers write them.
#pragma once

#include <string>

#include <serialcomm/dbglog.h>

#include "LogCapture.h"

/// The TRACE line with which the function of that signature begins.
inline LogLine entered(const std::string& signature, const std::string& scope, const std::string& detail = "") {
    return {log4cplus::TRACE_LOG_LEVEL, "Enter " + dbglog_scopedFunction(signature, scope) + ": " + detail};
}

/// The TRACE line with which it ends.
inline LogLine left(const std::string& signature, const std::string& scope, const std::string& detail = "") {
    return {log4cplus::TRACE_LOG_LEVEL, "Leave " + dbglog_scopedFunction(signature, scope) + ": " + detail};
}

inline LogLine trace(const std::string& text) {
    return {log4cplus::TRACE_LOG_LEVEL, text};
}
inline LogLine debug(const std::string& text) {
    return {log4cplus::DEBUG_LOG_LEVEL, text};
}
inline LogLine info(const std::string& text) {
    return {log4cplus::INFO_LOG_LEVEL, text};
}
inline LogLine warning(const std::string& text) {
    return {log4cplus::WARN_LOG_LEVEL, text};
}
inline LogLine error(const std::string& text) {
    return {log4cplus::ERROR_LOG_LEVEL, text};
}
