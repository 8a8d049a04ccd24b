/// @file
/// Learning that the line is lost.
#pragma once

#include <functional>
#include <string>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>

/// Tells when the serial library has lost a line, which it says in its log and nowhere else: to a program that only
/// waits, a lost line looks like a quiet one. (Another serial library may log something else; then the next write
/// tells.) As long as the object exists.
class LineWatch {
public:
    /// @param onLoss called with what the library says, on one of its threads
    explicit LineWatch(const std::function<void(const std::string& reason)>& onLoss);
    ~LineWatch();
    LineWatch(const LineWatch&) = delete;
    LineWatch& operator=(const LineWatch&) = delete;

private:
    log4cplus::Logger logger;
    log4cplus::SharedAppenderPtr appender;
};
